// The tests of the flow-control operations: connection tracking, sets and rules.

#include "harness.h"
#include "list_owner.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"

namespace
{

struct set_entry {
    const char *set;
    const char *entry;
};

constexpr set_entry test_entries[] = {
    {"vantuvi", "203.0.113.77,udp:19305,192.168.2.131"},
    {"vantuvi", "203.0.113.77,udp:19305,192.168.2.132"},
    {"vantuvi", "203.0.113.77,udp:19305,192.168.2.133"},
    {"vantuvi6", "2001:db8:77::1,udp:443,2001:db8:2::131"},
};

void change_test_entries(vantu_platform_ops *ops, const char *operation)
{
    for (const set_entry &one : test_entries)
        (void)ops->ipset_add_member(one.entry, one.set, operation);
}

// Reads a set and logs its members; 1, after a message, when it does not hold as many as wanted.
int check_members(vantu_platform_ops *ops, const char *set, int wanted)
{
    sclist_t members;
    const vantu::list_owner owner(members, vantu_ipset_entry_list_init);
    (void)ops->ipset_get_members(&members, set);
    const auto n_members = static_cast<int>(sclist_size(&members));
    ASSERT_NUM(n_members, wanted);
    int index = 0;
    SCLIST_FOREACH(char, member, &members) {
        log_debug("%d. %s", index++, member);
    }
    SCLIST_FOREACH_END(&members);
    return 0;
}

} // namespace

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

int test_ipset(vantu_platform_ops *ops)
{
    log_trace("Testing ipset");
    const int add = _check_funcptr("ipset_add_member", ops->ipset_add_member);
    const int get = _check_funcptr("ipset_get_members", ops->ipset_get_members);
    if ((add | get) != 0)
        return add | get;

    log_debug("  ipset_add_member, 3 times");
    change_test_entries(ops, "A");
    log_debug("  ipset_get_members");
    if (check_members(ops, "vantuvi", 3) != 0 || check_members(ops, "vantuvi6", 1) != 0)
        return 1;
    log_debug("  remove ipset member");
    change_test_entries(ops, "D");
    if (ops->flush_flows != nullptr)
        ops->flush_flows();
    log_debug("Done test_ipset");
    return 0;
}

int test_iptables_setup(vantu_platform_ops *ops)
{
    ASSERT_NUM(_check_funcptr("iptables_setup", ops->iptables_setup), 0);
    ops->iptables_setup();
    return 0;
}

int test_iptables_check(vantu_platform_ops *ops)
{
    ASSERT_NUM(_check_funcptr("iptables_check", ops->iptables_check), 0);
    log_debug("iptables_check returned %d", ops->iptables_check());
    return 0;
}

int test_iptables_destroy(vantu_platform_ops *ops)
{
    ASSERT_NUM(_check_funcptr("iptables_destroy", ops->iptables_destroy), 0);
    ops->iptables_destroy();
    return 0;
}
