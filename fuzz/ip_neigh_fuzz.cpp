// The neighbours and the default gateway.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_iproute.h"

#include <arpa/inet.h>

static int family_of(const char *address)
{
    unsigned char bytes[16];
    for (const int family : {AF_INET, AF_INET6}) {
        if (inet_pton(family, address, bytes) == 1)
            return family;
    }
    return 0;
}

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<ip_neigh> neighbours(vantu_ll_iproute_ipneigh_list_init);
    fuzz::tools_print(input);
    REQUIRE(vantu_ll_iproute_get_ip_neigh(neighbours.get()) == static_cast<int>(neighbours.size()));
    REQUIRE(neighbours.size() <= fuzz::reads_of(input, 256));
    for (const ip_neigh *neighbour : neighbours.records()) {
        REQUIRE(fuzz::is_terminated(neighbour->ip) && fuzz::is_terminated(neighbour->interface));
        REQUIRE(fuzz::is_terminated(neighbour->mac) && fuzz::is_terminated(neighbour->status));
        REQUIRE(neighbour->ip[0] != '\0' && neighbour->interface[0] != '\0' && neighbour->status[0] != '\0');
        REQUIRE(neighbour->addr_family == family_of(neighbour->ip));
    }
    const char *gateway = vantu_ll_iproute_get_host_ip();
    REQUIRE(gateway != nullptr && strlen(gateway) <= 14);
}
