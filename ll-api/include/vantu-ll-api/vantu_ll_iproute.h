// The neighbour table and the default gateway, from the text of the system's `ip` tool.
#ifndef VANTU_LL_API_VANTU_LL_IPROUTE_H
#define VANTU_LL_API_VANTU_LL_IPROUTE_H

#include <stdio.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// One line of "ip neigh". Longer texts are cut; every text is terminated.
typedef struct ip_neigh {
    char ip[46];               // as printed, IPv4 or IPv6
    int addr_family;           // AF_INET or AF_INET6; 0 when `ip` is neither
    unsigned char address[16]; // binary; 4 bytes used for IPv4
    char interface[18];        // third word of the line
    char mac[18];              // empty when the line has no "lladdr"
    char status[18];           // last word: "REACHABLE", "STALE", "DELAY", "PROBE", "FAILED", "INCOMPLETE", ...
} ip_neigh;

// An empty list of ip_neigh. Sought by a text that equals `mac` or else `ip`, ignoring case; records are equal
// when their `ip` texts are identical. Returns 0; -1 when memory is short.
int vantu_ll_iproute_ipneigh_list_init(sclist_t *list);

// Empties `list` and fills it from "ip neigh". Returns the number of neighbours, 0 also when the tool cannot be
// run; nothing is logged for that.
int vantu_ll_iproute_get_ip_neigh(sclist_t *list);

// The parser behind it: appends one record for each line of more than three words, also when the address is
// none ("failed to parse internet address" is logged). Always returns 0.
int _internal_iproute_get_ip_neigh_parse(FILE *stream, sclist_t *list);

// The default route's gateway address from "ip route", of which at most 14 characters are kept when the text
// has 15 or more. The text is the module's and is overwritten by the next call; when the tool prints nothing it
// is what it was (empty at first). NULL when the tool cannot be started, which is logged.
char *vantu_ll_iproute_get_host_ip(void);

#ifdef __cplusplus
}
#endif

#endif
