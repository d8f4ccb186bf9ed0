// The lists of inventory records: see vantu-libs2/sclists-functions.h.

#include "vantu-libs2/sclists-functions.h"

#include "typed_list.hpp"
#include "vantu-libs2/vantu-wifi-common.h"

#include <cstdlib>

namespace
{

constexpr auto _radio_size = vantu::record_size<vantu_common_radio>;
constexpr auto _radio_seeker = vantu::seek_text<&vantu_common_radio::interface>;
constexpr auto _radio_comparator = vantu::compare_text<&vantu_common_radio::interface>;

constexpr auto _device_size = vantu::record_size<vantu_common_device>;
constexpr auto _device_seeker = vantu::seek_text<&vantu_common_device::mac, &vantu_common_device::ipv4>;
constexpr auto _device_comparator = vantu::compare_text<&vantu_common_device::mac>;

constexpr auto _neighbor_size = vantu::record_size<vantu_common_ap_neighbor>;
constexpr auto _neighbor_seeker =
    vantu::seek_text<&vantu_common_ap_neighbor::BSSID, &vantu_common_ap_neighbor::SSIDName>;
constexpr auto _neighbor_comparator = vantu::compare_text<&vantu_common_ap_neighbor::BSSID>;

constexpr auto _network_size = vantu::record_size<vantu_network>;
constexpr auto _network_seeker = vantu::seek_text<&vantu_network::bssid>;
constexpr auto _network_comparator = vantu::compare_text<&vantu_network::bssid>;

constexpr auto _issue_size = vantu::record_size<vantu_issue>;

void free_what_it_owns(vantu_common_radio &radio)
{
    free(radio.usr_data);
    radio.usr_data = nullptr;
    if (radio.radio_stats_buff.array != nullptr)
        vantu_ringbuffer_free(&radio.radio_stats_buff);
    if (radio.issues.head_sentinel != nullptr)
        sclist_destroy(&radio.issues);
}

} // namespace

int vantu_common_radio_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _radio_size, _radio_seeker, _radio_comparator);
}

int vantu_common_device_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _device_size, _device_seeker, _device_comparator);
}

int vantu_common_ap_neighbor_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _neighbor_size, _neighbor_seeker, _neighbor_comparator);
}

int vantu_network_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _network_size, _network_seeker, _network_comparator);
}

int vantu_issuelist_init(sclist_t *list)
{
    if (sclist_init(list) != 0)
        return -1;
    return sclist_attributes_copy(list, _issue_size, 1) != 0 ? -2 : 0;
}

int vantu_common_radio_list_free(sclist_t *list)
{
    if (list->head_sentinel == nullptr)
        return 0;
    SCLIST_FOREACH(vantu_common_radio, radio, list) {
        free_what_it_owns(*radio);
    }
    SCLIST_FOREACH_END(list);
    sclist_destroy(list);
    return 0;
}

int vantu_common_device_list_free(sclist_t *list)
{
    if (list->head_sentinel == nullptr)
        return 0;
    SCLIST_FOREACH(vantu_common_device, device, list) {
        free(device->usr_data);
    }
    SCLIST_FOREACH_END(list);
    sclist_destroy(list);
    return 0;
}

int vantu_common_ap_neighbor_list_free(sclist_t *list)
{
    sclist_destroy(list);
    return 0;
}

int vantu_network_list_free(sclist_t *list)
{
    sclist_destroy(list);
    return 0;
}
