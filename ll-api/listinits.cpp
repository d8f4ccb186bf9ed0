// The lists of leases and of connections: see listinits.h.

#include "vantu-ll-api/listinits.h"

#include "typed_list.hpp"
#include "vantu-ll-api/vantu_ll_wrt.h"

namespace
{

constexpr auto _dhcp_size = vantu::record_size<vantu_ll_dhcp>;
constexpr auto _dhcp_seeker = vantu::seek_text<&vantu_ll_dhcp::mac_address, &vantu_ll_dhcp::ip_address>;
constexpr auto _dhcp_comparator = vantu::compare_text<&vantu_ll_dhcp::mac_address>;

constexpr auto _conntrack_size = vantu::record_size<vantu_ll_conntrack_flow>;

bool same_address(const vantu_ip &a, const vantu_ip &b)
{
    return memcmp(&a._u.ipv4, &b._u.ipv4, sizeof(a._u.ipv4)) == 0;
}

bool same_flow(const vantu_ll_conntrack_flow &a, const vantu_ll_conntrack_flow &b)
{
    return a.dport == b.dport && a.sport == b.sport && same_address(a.src, b.src) && same_address(a.dst, b.dst) &&
           a.proto == b.proto;
}

int _conntrack_seeker(const void *element, const void *key)
{
    return same_flow(*static_cast<const vantu_ll_conntrack_flow *>(element),
                     *static_cast<const vantu_ll_conntrack_flow *>(key))
               ? 1
               : 0;
}

int _conntrack_comparator(const void *a, const void *b)
{
    return _conntrack_seeker(a, b) != 0 ? 0 : 1;
}

} // namespace

int vantu_ll_wrt_dhcp_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _dhcp_size, _dhcp_seeker, _dhcp_comparator);
}

int vantu_ll_wrt_conntrack_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _conntrack_size, _conntrack_seeker, _conntrack_comparator);
}
