// The kept list of devices against a vector: fresh readings with devices that come, go, share addresses and have none.

#include "fuzz.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"

namespace
{

struct device {
    std::string mac;
    std::string ipv4;
    int rssi;
    bool operator==(const device &other) const { return mac == other.mac && ipv4 == other.ipv4 && rssi == other.rssi; }
};

struct calls {
    std::vector<std::string> added;
    std::vector<std::string> removed;
    std::vector<std::string> updated;
};

std::vector<device> readings;
calls made;

int get_devices(sclist_t *devices)
{
    for (const device &one : readings) {
        vantu_common_device record = {};
        fuzz::fill(record.mac, one.mac);
        fuzz::fill(record.ipv4, one.ipv4);
        record.rssi = one.rssi;
        REQUIRE(sclist_append(devices, &record) == 1);
    }
    return 0;
}

void on_new(vantu_common_device *record)
{
    REQUIRE(record->usr_data == nullptr);
    record->usr_data = malloc(8);
    made.added.push_back(record->mac);
}

void on_gone(vantu_common_device *record)
{
    free(record->usr_data);
    made.removed.push_back(record->mac);
}

void on_update(vantu_common_device *kept, vantu_common_device *fresh)
{
    kept->rssi = fresh->rssi;
    made.updated.push_back(fresh->mac);
}

// The first device that has the address, ignoring case.
std::vector<device>::iterator find(std::vector<device> &among, const std::string &address)
{
    return std::find_if(among.begin(), among.end(), [&](const device &one) {
        return strcasecmp(one.mac.c_str(), address.c_str()) == 0 || strcasecmp(one.ipv4.c_str(), address.c_str()) == 0;
    });
}

calls update(std::vector<device> &model)
{
    calls expected;
    for (const device &one : model) {
        if (find(readings, one.mac) == readings.end())
            expected.removed.push_back(one.mac);
    }
    for (const device &one : readings) {
        const auto found = find(model, one.mac);
        if (found != model.end()) {
            found->rssi = one.rssi;
            expected.updated.push_back(one.mac);
        } else {
            model.push_back(one);
            expected.added.push_back(one.mac);
        }
    }
    for (const std::string &mac : expected.removed)
        model.erase(std::find_if(model.begin(), model.end(), [&](const device &one) { return one.mac == mac; }));
    return expected;
}

void check(sclist_t *kept, const std::vector<device> &model)
{
    size_t i = 0;
    REQUIRE(sclist_size(kept) == model.size());
    SCLIST_FOREACH(vantu_common_device, record, kept) {
        REQUIRE((device{record->mac, record->ipv4, record->rssi}) == model[i++]);
    }
    SCLIST_FOREACH_END(kept);
}

void check_finds(sclist_t *kept, std::vector<device> &model, const std::string &address)
{
    const auto by_any = find(model, address);
    const auto *found = vantu_common_device_list_get_device_by_mac(kept, address.c_str());
    REQUIRE((found != nullptr) == (by_any != model.end()));
    REQUIRE(found == nullptr || by_any->mac == found->mac);
    const auto by_ip = std::find_if(model.begin(), model.end(), [&](const device &one) { return one.ipv4 == address; });
    found = vantu_common_device_list_get_device_by_ip(kept, address.c_str());
    REQUIRE((found != nullptr) == (by_ip != model.end()));
}

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    vantu_platform_ops ops = {};
    ops.get_associated_devices = get_devices;
    sclist_t kept;
    REQUIRE(vantu_common_device_list_init(&kept) == 0);
    std::vector<device> model;
    for (int round = 0; round < 8 && in.remaining_bytes() > 0; round++) {
        readings.clear();
        for (int left = in.ConsumeIntegralInRange(0, 6); left > 0; left--)
            readings.push_back({fuzz::take_name(in, 2), fuzz::take_name(in, 1), in.ConsumeIntegral<int8_t>()});
        made = {};
        REQUIRE(vantu_common_device_list_update(&kept, on_new, on_gone, on_update, &ops) == 0);
        const calls expected = update(model);
        REQUIRE(made.added == expected.added && made.removed == expected.removed && made.updated == expected.updated);
        check(&kept, model);
        check_finds(&kept, model, fuzz::take_name(in, 2));
    }
    REQUIRE(vantu_common_device_list_free(&kept) == 0);
}
