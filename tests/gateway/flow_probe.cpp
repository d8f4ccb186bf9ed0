// Prints the connections as the program's netlink reader sees them: its result in the first line, then one connection a
// line: protocol number, source, source port, destination, destination port, mark, between blanks.

#include "list_owner.hpp"
#include "nf_conntrack/nf_conntrack.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cstdio>

int main()
{
    sclist_t flows;
    const vantu::list_owner owner(flows, vantu_ll_wrt_conntrack_list_init);
    (void)printf("result %d\n", nfconntrack_get_conntrack(&flows, nullptr, 0));
    SCLIST_FOREACH(vantu_ll_conntrack_flow, flow, &flows) {
        char source[INET6_ADDRSTRLEN];
        char destination[INET6_ADDRSTRLEN];
        (void)printf("%d %s %d %s %d %u\n", flow->proto, vantu_ip_to_string(&flow->src, source, sizeof(source)),
                     flow->sport, vantu_ip_to_string(&flow->dst, destination, sizeof(destination)), flow->dport,
                     flow->mark);
    }
    SCLIST_FOREACH_END(&flows);
    return 0;
}
