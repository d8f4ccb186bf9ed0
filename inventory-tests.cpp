// The tests that read the router's inventory through the operations table and print it.

#include "harness.h"
#include "list_owner.hpp"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

int test_get_dhcpleases(vantu_platform_ops *ops)
{
    log_trace("Testing get_dhcpleases");
    ASSERT_NUM(_check_funcptr("get_dhcpleases", ops->get_dhcpleases), 0);

    sclist_t dhcps;
    const vantu::list_owner owner(dhcps, vantu_ll_wrt_dhcp_list_init);
    ASSERT_NUM(ops->get_dhcpleases(&dhcps), 0);
    SCLIST_FOREACH(vantu_ll_dhcp, lease, &dhcps)
    {
        log_debug("\t\t%s\t%s\t%s\t%u\n", lease->mac_address, lease->hostname, lease->ip_address, lease->expires);
    }
    SCLIST_FOREACH_END(&dhcps);
    // clang-format off: the assertion prints its source text
    ASSERT(sclist_size(&dhcps)>0);
    // clang-format on
    return 0;
}
