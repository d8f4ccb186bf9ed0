// Reads what `ip` prints. "ip neigh" has one neighbour a line; words between the address of the link layer and
// the state come and go with the tool's version and options:
//
//     192.168.1.23 dev br-lan lladdr 02:00:00:00:01:23 REACHABLE
//     192.168.1.31 dev br-lan  FAILED
//     fe80::2 dev eth3 lladdr 02:00:00:00:0f:02 router STALE
//     192.168.1.40 dev br-lan lladdr 02:00:00:00:01:40 ref 1 used 0/0/0 probes 1 DELAY

#include "vantu-ll-api/vantu_ll_iproute.h"

#include "stream.hpp"
#include "text.hpp"
#include "typed_list.hpp"
#include "vantu-ll-api/log.h"

#include <arpa/inet.h>

namespace
{

constexpr size_t line_size = 256;
constexpr int max_tokens = 13;

constexpr auto _ipneigh_size = vantu::record_size<ip_neigh>;
constexpr auto _ipneigh_seeker = vantu::seek_text<&ip_neigh::mac, &ip_neigh::ip>;
constexpr auto _ipneigh_comparator = vantu::compare_text<&ip_neigh::ip>;

// The words of a line, each in a buffer that holds any line.
struct words {
    char text[max_tokens][line_size];
    int count;
};

void split(const char *line, words &out)
{
    auto &t = out.text;
    out.count = sscanf(line, "%s %s %s %s %s %s %s %s %s %s %s %s %s", t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7],
                       t[8], t[9], t[10], t[11], t[12]);
}

void parse_address(ip_neigh &neighbour)
{
    for (const int family : {AF_INET, AF_INET6}) {
        if (inet_pton(family, neighbour.ip, neighbour.address) == 1) {
            neighbour.addr_family = family;
            return;
        }
    }
    log_error("failed to parse internet address");
}

ip_neigh to_neighbour(const words &line)
{
    ip_neigh neighbour = {};
    vantu::copy_text(neighbour.ip, line.text[0]);
    vantu::copy_text(neighbour.interface, line.text[2]);
    vantu::copy_text(neighbour.status, line.text[line.count - 1]);
    if (line.count >= 5 && strcmp(line.text[3], "lladdr") == 0)
        vantu::copy_text(neighbour.mac, line.text[4]);
    parse_address(neighbour);
    return neighbour;
}

} // namespace

int vantu_ll_iproute_ipneigh_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _ipneigh_size, _ipneigh_seeker, _ipneigh_comparator);
}

int _internal_iproute_get_ip_neigh_parse(FILE *stream, sclist_t *list)
{
    char line[line_size];
    words parsed;
    vantu::line_source lines(stream);
    while (lines.next(line)) {
        split(line, parsed);
        if (parsed.count <= 3)
            continue;
        const ip_neigh neighbour = to_neighbour(parsed);
        (void)sclist_append(list, &neighbour);
    }
    return 0;
}

int vantu_ll_iproute_get_ip_neigh(sclist_t *list)
{
    (void)sclist_clear(list);
    const vantu::pipe_stream pipe(popen("ip neigh", "re"));
    if (pipe != nullptr)
        (void)_internal_iproute_get_ip_neigh_parse(pipe.get(), list);
    return static_cast<int>(sclist_size(list));
}

char *vantu_ll_iproute_get_host_ip(void)
{
    static char gateway[16];

    const vantu::pipe_stream pipe(popen("ip route show default 0.0.0.0/0|awk '{print $3}'", "re"));
    if (pipe == nullptr) {
        log_error("Failed to get ip of host");
        return nullptr;
    }
    char line[sizeof(gateway)];
    if (fgets(line, sizeof(line), pipe.get()) != nullptr) {
        // The last character is meant to be the line end; it goes whatever it is.
        const size_t length = strlen(line);
        vantu::copy_text(gateway, {line, length > 0 ? length - 1 : 0});
    }
    return gateway;
}
