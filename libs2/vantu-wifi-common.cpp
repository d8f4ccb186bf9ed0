// The long-lived lists of radios and devices, the boost text and the CSV reader: see vantu-libs2/vantu-wifi-common.h.

#include "vantu-libs2/vantu-wifi-common.h"

#include "csv_file.hpp"
#include "list_owner.hpp"
#include "printable.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-ll-api/log.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace
{

// As a listing shows a text.
using shown = vantu::printable<256>;

void release(vantu_common_radio &radio)
{
    if (radio.radio_stats_buff.array != nullptr)
        vantu_ringbuffer_free(&radio.radio_stats_buff);
    sclist_destroy(&radio.issues);
}

// Appends the kept radios that the fresh reading lacks to `gone` and, when it is given, to `removed`.
void find_gone_radios(sclist_t *kept, sclist_t *fresh, sclist_t *gone, sclist_t *removed)
{
    SCLIST_FOREACH(vantu_common_radio, radio, kept) {
        if (sclist_seek(fresh, radio->interface) != nullptr)
            continue;
        if (removed != nullptr)
            (void)sclist_append(removed, radio);
        (void)sclist_append(gone, radio);
    }
    SCLIST_FOREACH_END(kept);
}

// The kept copy owns the history and the issues; the one in `added` only shares them.
void add_radio(sclist_t *kept, sclist_t *added, vantu_common_radio &radio)
{
    log_info("New radio found %s", radio.interface);
    vantu_ringbuffer_init(&radio.radio_stats_buff, RADIO_STATS_BUFFER_SIZE, sizeof(vantu_radio_stats));
    (void)vantu_issuelist_init(&radio.issues);
    if (sclist_append(kept, &radio) != 1) {
        release(radio);
        return;
    }
    if (added != nullptr)
        (void)sclist_append(added, &radio);
}

void refresh_radio(vantu_common_radio &kept, const vantu_common_radio &fresh)
{
    const vantu_common_radio before = kept;
    kept = fresh;
    kept.usr_data = before.usr_data;
    kept.radio_stats_buff = before.radio_stats_buff;
    kept.issues = before.issues;
    kept.issue_stats = before.issue_stats;
}

void find_gone_devices(sclist_t *kept, sclist_t *fresh, sclist_t *gone)
{
    SCLIST_FOREACH(vantu_common_device, device, kept) {
        if (sclist_seek(fresh, device->mac) == nullptr)
            (void)sclist_append(gone, device);
    }
    SCLIST_FOREACH_END(kept);
}

// Writes pieces of text one behind the other. Past the end of the buffer nothing more is written, but counting goes on.
class text_writer
{
public:
    text_writer(char *buffer, int size) : buffer_(buffer), size_(size) {}

    __attribute__((format(printf, 2, 3))) void print(const char *pattern, ...)
    {
        char *at = buffer_ + std::min(length_, size_);
        va_list arguments;
        va_start(arguments, pattern);
        const auto left = static_cast<size_t>(vantu_util_new_str_len(buffer_, at, size_));
        length_ += vsnprintf(left > 0 ? at : nullptr, left, pattern, arguments);
        va_end(arguments);
    }

    int length() const { return length_; }

private:
    char *buffer_;
    int size_;
    int length_ = 0;
};

// Has the platform parse a line's fields into a new row and appends it.
// False when memory is short.
bool append_row(sclist_t *list, vantu::csv_fields &fields, vantu_platform_ops *ops)
{
    const int size = ops->get_data_struct_size();
    const vantu::heap_ptr<void> row(calloc(1, size > 0 ? static_cast<size_t>(size) : 1));
    if (row == nullptr) {
        log_error("no memory for a data row of %d bytes", size);
        return false;
    }
    if (ops->csv_string_to_data_struct == nullptr || ops->csv_string_to_data_struct(fields.at, row.get()) != 0)
        log_error("error: csv_string_to_data_struct %d", fields.count);
    return sclist_append(list, row.get()) > 0;
}

} // namespace

int vantu_common_radio_list_update(sclist_t *kept, sclist_t *removed, sclist_t *added, vantu_platform_ops *ops)
{
    sclist_t fresh;
    const vantu::list_owner fresh_owner(fresh, vantu_common_radio_list_init);
    sclist_t gone;
    const vantu::list_owner gone_owner(gone, vantu_common_radio_list_init);
    (void)ops->get_radios(&fresh);

    find_gone_radios(kept, &fresh, &gone, removed);
    SCLIST_FOREACH(vantu_common_radio, radio, &fresh) {
        radio->usr_data = nullptr;
        auto *found = static_cast<vantu_common_radio *>(sclist_seek(kept, radio->interface));
        if (found == nullptr)
            add_radio(kept, added, *radio);
        else
            refresh_radio(*found, *radio);
    }
    SCLIST_FOREACH_END(&fresh);
    SCLIST_FOREACH(vantu_common_radio, radio, &gone) {
        release(*radio);
        (void)sclist_delete(kept, radio);
    }
    SCLIST_FOREACH_END(&gone);
    return 0;
}

int vantu_common_device_list_update(sclist_t *kept, new_device_cb_t add_cb, remove_device_cb_t remove_cb,
                                    update_device_cb_t update_cb, vantu_platform_ops *ops)
{
    sclist_t fresh;
    const vantu::list_owner fresh_owner(fresh, vantu_common_device_list_init);
    sclist_t gone;
    const vantu::list_owner gone_owner(gone, vantu_common_device_list_init);
    (void)ops->get_associated_devices(&fresh);

    find_gone_devices(kept, &fresh, &gone);
    SCLIST_FOREACH(vantu_common_device, device, &fresh) {
        device->usr_data = nullptr;
        auto *found = static_cast<vantu_common_device *>(sclist_seek(kept, device->mac));
        if (found != nullptr) {
            update_cb(found, device);
        } else {
            add_cb(device);
            (void)sclist_append(kept, device);
        }
    }
    SCLIST_FOREACH_END(&fresh);
    if (sclist_size(&gone) > 0)
        log_debug("Free devices from remove list size %d", static_cast<int>(sclist_size(&gone)));
    SCLIST_FOREACH(vantu_common_device, device, &gone) {
        remove_cb(device);
        (void)sclist_delete(kept, device);
    }
    SCLIST_FOREACH_END(&gone);
    return 0;
}

int vantu_common_device_list_duplicate(sclist_t *source, sclist_t *destination)
{
    SCLIST_FOREACH(vantu_common_device, device, source) {
        (void)sclist_append(destination, device);
    }
    SCLIST_FOREACH_END(source);
    return 0;
}

vantu_common_device *vantu_common_device_list_get_device_by_mac(sclist_t *devices, const char *mac)
{
    return static_cast<vantu_common_device *>(sclist_seek(devices, mac));
}

vantu_common_device *vantu_common_device_list_get_device_by_ip(sclist_t *devices, const char *ip)
{
    vantu_common_device *found = nullptr;
    SCLIST_FOREACH(vantu_common_device, device, devices) {
        if (strcmp(device->ipv4, ip) == 0) {
            found = device;
            break;
        }
    }
    SCLIST_FOREACH_END(devices);
    return found;
}

int vantu_common_device_get_boost(const vantu_common_device *device, int qos_class)
{
    int sum = 0;
    for (const vantu_common_device_boost &slot : device->boost)
        sum += slot.boost[qos_class];
    return sum;
}

int vantu_common_device_get_boost_as_string(const vantu_common_device *device, char *buffer, int size, uint64_t now)
{
    text_writer text(buffer, size);
    text.print("idx: %d, since: %d\n", device->boost_idx, static_cast<int>((now - device->boost_last_time) / 1000000));
    for (int qos_class = 0; qos_class < DEVICE_COMMON_BOOST_CLASSES; qos_class++) {
        text.print("[");
        for (const vantu_common_device_boost &slot : device->boost)
            text.print("%d,", slot.boost[qos_class]);
        text.print("] = %d\n", vantu_common_device_get_boost(device, qos_class));
    }
    return text.length();
}

int vantu_util_new_str_len(const char *start, const char *position, int size)
{
    const auto left = size - (position - start);
    return left > 0 ? static_cast<int>(left) : 0;
}

int vantu_common_csv_to_data_list(sclist_t *list, const char *path, vantu_platform_ops *ops)
{
    vantu::csv_file file(path);
    if (!file.is_open()) {
        log_error("failed to open file %s", path);
        return static_cast<int>(sclist_size(list));
    }
    bool has_memory = file.read_header();
    while (has_memory && file.read_row()) {
        if (file.fields_of_line() == file.header().count)
            has_memory = append_row(list, file.fields(), ops);
        else
            log_error("csv data and header count does not match %d %d. skip store in array\n", file.fields_of_line(),
                      file.header().count);
    }
    return static_cast<int>(sclist_size(list));
}

void vantu_common_radio_print(sclist_t *radios)
{
    SCLIST_FOREACH(vantu_common_radio, radio, radios) {
        (void)printf("%s %d %d %" PRIu64 " %" PRIu64 "\n", shown(radio->interface).text(), radio->noise, radio->channel,
                     radio->rx_bytes, radio->tx_bytes);
    }
    SCLIST_FOREACH_END(radios);
}

void vantu_common_devices_print(sclist_t *devices)
{
    SCLIST_FOREACH(vantu_common_device, device, devices) {
        (void)printf("%s %s %s %s %d %d %" PRIu64 " %" PRIu64 "\n", shown(device->hostname).text(),
                     shown(device->interface).text(), shown(device->mac).text(), shown(device->ipv4).text(),
                     device->noise, device->rssi, device->rx_bytes, device->tx_bytes);
    }
    SCLIST_FOREACH_END(devices);
}
