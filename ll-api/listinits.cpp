// The lists of leases and of connections: see listinits.h.

#include "vantu-ll-api/listinits.h"

#include "flow_key.hpp"
#include "typed_list.hpp"
#include "vantu-ll-api/vantu_ll_wrt.h"

namespace
{

constexpr auto _dhcp_size = vantu::record_size<vantu_ll_dhcp>;
constexpr auto _dhcp_seeker = vantu::seek_text<&vantu_ll_dhcp::mac_address, &vantu_ll_dhcp::ip_address>;
constexpr auto _dhcp_comparator = vantu::compare_text<&vantu_ll_dhcp::mac_address>;

constexpr auto _conntrack_size = vantu::record_size<vantu_ll_conntrack_flow>;

int _conntrack_seeker(const void *element, const void *key)
{
    return vantu::same_flow(*static_cast<const vantu_ll_conntrack_flow *>(element),
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
