// The tests of the flow-control operations: connection tracking, sets and rules.

#include "harness.h"
#include "list_owner.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"

int test_get_conntrack(vantu_platform_ops *ops)
{
    log_trace("Testing get_conntrack");
    ASSERT_NUM(_check_funcptr("get_conntrack", ops->get_conntrack), 0);

    sclist_t ports;
    const vantu::list_owner ports_owner(ports, vantu_init_port_range_list);
    sclist_t flows;
    const vantu::list_owner flows_owner(flows, vantu_ll_wrt_conntrack_list_init);
    (void)ops->get_conntrack(&flows, &ports, 10);

    const auto count = static_cast<int>(sclist_size(&flows));
    log_debug("  got %d flows", count);
    log_debug("Done get_conntrack");
    return count;
}
