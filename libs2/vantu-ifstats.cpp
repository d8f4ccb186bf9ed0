// Interface counters: see vantu-libs2/vantu-ifstats.h.

#include "vantu-libs2/vantu-ifstats.h"

#include "vantu-ll-api/log.h"

#include <cstdlib>
#include <cstring>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <sys/socket.h>

namespace
{

bool has_link_counters(const ifaddrs &entry, const char *ifname)
{
    return entry.ifa_addr != nullptr && strcmp(entry.ifa_name, ifname) == 0 && entry.ifa_addr->sa_family == AF_PACKET &&
           entry.ifa_data != nullptr;
}

} // namespace

vantu_byte_stats *vantu_get_if_stats(const char *ifname)
{
    static vantu_byte_stats stats;
    stats = {};

    ifaddrs *all = nullptr;
    if (getifaddrs(&all) == -1) {
        log_error("getifaddrs");
        exit(EXIT_FAILURE);
    }
    for (const ifaddrs *entry = all; entry != nullptr; entry = entry->ifa_next) {
        if (!has_link_counters(*entry, ifname))
            continue;
        const auto *link = static_cast<const rtnl_link_stats *>(entry->ifa_data);
        stats = {link->tx_bytes, link->rx_bytes, link->tx_packets, link->rx_packets};
    }
    freeifaddrs(all);
    return &stats;
}
