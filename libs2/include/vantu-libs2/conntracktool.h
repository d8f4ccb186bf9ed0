// Named services and the port ranges that belong to them.
#ifndef VANTU_LIBS2_CONNTRACKTOOL_H
#define VANTU_LIBS2_CONNTRACKTOOL_H

#include <stdint.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vantu_proto_service {
    char service_name[128];
    char service_type[64]; // category
    int priority;
    int type; // service type code
} vantu_proto_service;

typedef struct vantu_proto_port_range {
    int protocol;        // layer-4 protocol number
    uint16_t start_port; // first and last port of the range, host byte order
    uint16_t end_port;
    vantu_proto_service *service; // not owned
} vantu_proto_port_range;

// An empty list of vantu_proto_port_range without a seeker. Its comparator is an order and no equality, on
// purpose: 1 when the first range's start_port is not above the second's, else 0. Returns 0; -1 when memory is
// short.
int vantu_init_port_range_list(sclist_t *list);

#ifdef __cplusplus
}
#endif

#endif
