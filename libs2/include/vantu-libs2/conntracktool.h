// Flow tracking and marking: snapshots of the connection tracking table, their differences, connection marks, and the
// port ranges of named services. Flows are vantu_ll_conntrack_flow (vantu-ll-api/vantu_ll_wrt.h); two are the same when
// their ports, protocol and the first four bytes of each address are.
#ifndef VANTU_LIBS2_CONNTRACKTOOL_H
#define VANTU_LIBS2_CONNTRACKTOOL_H

#include <stdint.h>

#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-platforms/vantu-platform-ops.h"
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

// An empty list of vantu_proto_port_range without a seeker. Its comparator is an order and no equality, on purpose: 1
// when the first range's start_port is not above the second's, else 0. Returns 0; -1 when memory is short.
int vantu_init_port_range_list(sclist_t *list);

// Appends all connections (the get_conntrack operation, which also gets `second`) to `out`, a list from
// vantu_ll_wrt_conntrack_list_init that is not emptied first. Returns the size of `out`; 0 when the platform lacks the
// operation (logged).
int read_all_conntrack(sclist_t *out, sclist_t *second, vantu_platform_ops *ops);

// 0 when the two are the same flow, else -1.
int conntrack_compare_flows(const vantu_ll_conntrack_flow *a, const vantu_ll_conntrack_flow *b);

// Turns the counters of each flow of the earlier snapshot `flows` that the later one, `other`, holds too into the
// differences to it (_get_delta64) and sets its has_delta. A flow that `other` holds at its very first position counts
// as not found, on purpose. Costs linear time. Returns 0.
int conntrack_get_byte_deltas(sclist_t *flows, sclist_t *other);

// Looks at the first flow of the list that is not the given one: 1 when the given flow's own mark is `mark`, else 0. -1
// when there is none. The marks in the list are never read; this is kept as it is.
int conntrack_is_marked(const vantu_ll_conntrack_flow *flow, int mark, sclist_t *flows);

// Sets the mark of a flow's connection with the `conntrack` tool; the destination port takes no part, and UDP is asked
// for as TCP (see vantu_ip_proto_to_str). Failures, and a protocol without a name, are logged.
void conntrack_mark_flow(const vantu_ll_conntrack_flow *flow, int mark);

// Logs a flow at debug level.
void conntrack_debug_print_flow(const vantu_ll_conntrack_flow *flow);

#ifdef __cplusplus
}
#endif

#endif
