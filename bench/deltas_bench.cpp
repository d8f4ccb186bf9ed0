// What it costs to difference two snapshots of the connection table, by the number of connections: eight times as many
// must not cost much more than eight times as much.

#include "list_owner.hpp"
#include "runner.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <sys/socket.h>

namespace
{

constexpr unsigned int few = 8192;
constexpr unsigned int many = 65536;

// An earlier and a later reading of the same connections, which the kernel lists in another order each time.
class snapshots
{
public:
    explicit snapshots(unsigned int count)
    {
        for (unsigned int i = 0; i < count; i++) {
            const vantu_ll_conntrack_flow before = connection(i, 1000);
            const vantu_ll_conntrack_flow after = connection(count - 1 - i, 3000);
            (void)sclist_append(&earlier_, &before);
            (void)sclist_append(&later_, &after);
        }
    }

    void difference() { (void)conntrack_get_byte_deltas(&earlier_, &later_); }

private:
    static vantu_ll_conntrack_flow connection(unsigned int number, uint64_t bytes)
    {
        vantu_ll_conntrack_flow flow = {};
        char text[16];
        (void)snprintf(text, sizeof(text), "10.0.%u.%u", number >> 16 & 255U, number >> 8 & 255U);
        (void)string_to_vantu_ip(AF_INET, text, &flow.src);
        (void)string_to_vantu_ip(AF_INET, "203.0.113.5", &flow.dst);
        flow.proto = 6;
        flow.sport = static_cast<uint16_t>(1024 + (number & 255U));
        flow.dport = 443;
        flow.tx_bytes = bytes;
        return flow;
    }

    sclist_t earlier_;
    sclist_t later_;
    vantu::list_owner earlier_owner_{earlier_, vantu_ll_wrt_conntrack_list_init};
    vantu::list_owner later_owner_{later_, vantu_ll_wrt_conntrack_list_init};
};

} // namespace

int main()
{
    snapshots small(few);
    snapshots large(many);
    bench::compare(
        "byte deltas of two snapshots, 8,192 and 65,536 connections; aim: at most 12", 21,
        {{"8,192 connections", [&] { small.difference(); }}, {"65,536 connections", [&] { large.difference(); }}});
    return 0;
}
