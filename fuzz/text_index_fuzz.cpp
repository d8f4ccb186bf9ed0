// The index of a list's texts against seeking the list.

#include "fuzz.hpp"
#include "text_index.hpp"
#include "vantu-ll-api/vantu_ll_iproute.h"

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    fuzz::list<ip_neigh> neighbours(vantu_ll_iproute_ipneigh_list_init);
    for (int left = in.ConsumeIntegralInRange(0, 40); left > 0; left--) {
        ip_neigh one = {};
        fuzz::fill(one.mac, fuzz::take_name(in, 3));
        fuzz::fill(one.ip, fuzz::take_name(in, 3));
        REQUIRE(sclist_append(neighbours.get(), &one) == 1);
    }
    const vantu::text_index<ip_neigh, &ip_neigh::mac, &ip_neigh::ip> index(*neighbours.get());
    while (in.remaining_bytes() > 0) {
        const std::string key = fuzz::take_name(in, 3);
        REQUIRE(index.find(key.c_str()) == sclist_seek(neighbours.get(), key.c_str()));
    }
}
