// Leases. What was understood is written as the server writes it, and must be understood alike.

#include "fuzz.hpp"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

static constexpr size_t line_size = 256;

static std::string line_of(const vantu_ll_dhcp &lease)
{
    return fuzz::format("%u %s %s %s\n", lease.expires, lease.mac_address, lease.ip_address, lease.hostname);
}

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<vantu_ll_dhcp> leases(vantu_ll_wrt_dhcp_list_init);
    REQUIRE(fuzz::parse(input, internal_vantu_ll_wrt_get_dhcp, leases.get()) == 0);
    REQUIRE(leases.size() <= fuzz::reads_of(input, line_size));
    std::string text;
    std::vector<const vantu_ll_dhcp *> kept;
    for (const vantu_ll_dhcp *lease : leases.records()) {
        REQUIRE(fuzz::is_terminated(lease->mac_address) && strlen(lease->mac_address) <= 17);
        REQUIRE(fuzz::is_terminated(lease->ip_address) && lease->ip_address[0] != '\0');
        REQUIRE(fuzz::is_terminated(lease->hostname) && lease->hostname[0] != '\0');
        const std::string line = line_of(*lease);
        if (line.size() < line_size) {
            text += line;
            kept.push_back(lease);
        }
    }
    fuzz::list<vantu_ll_dhcp> again(vantu_ll_wrt_dhcp_list_init);
    REQUIRE(fuzz::parse(text, internal_vantu_ll_wrt_get_dhcp, again.get()) == 0);
    const auto records = again.records();
    REQUIRE(records.size() == kept.size());
    for (size_t i = 0; i < kept.size(); i++)
        REQUIRE(line_of(*records[i]) == line_of(*kept[i]));
}
