// Reads the lease file and the connection tracking table. Leases, as the DHCP server writes them:
//
//     1767225600 02:00:00:00:01:23 192.168.1.23 tablet 01:02:00:00:00:01:23
//     1767225600 02:00:00:00:01:24 192.168.1.24 * *
//     duid 00:01:00:01:02:03:04:05:02:00:00:00:00:01
//
// Connections, as the kernel shows them; counters stand there only when accounting is on, and vendors' kernels
// add words of their own (one line here, wrapped):
//
//     ipv4     2 tcp      6 3571 ESTABLISHED src=192.168.1.23 dst=203.0.113.5 sport=50222 dport=443
//         packets=31 bytes=4410 src=203.0.113.5 dst=198.51.100.7 sport=443 dport=50222 packets=29 bytes=38120
//         [ASSURED] mark=0 zone=0 use=2

#include "vantu-ll-api/vantu_ll_wrt.h"

#include "stream.hpp"
#include "text.hpp"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/testfile.h"
#include "vantu-ll-api/vantu_ll_error.h"

#include <cerrno>
#include <cstdlib>

namespace
{

constexpr char lease_file[] = "/etc/dhcp_lan.leases";
constexpr char conntrack_file[] = "/proc/net/nf_conntrack";
constexpr char conntrack_command[] = "conntrack -L";
constexpr char conntrack_sample[] = "wrt_conntrack.txt";

constexpr long most_connections = 1 << 20;

constexpr uint8_t proto_icmp = 1;
constexpr uint8_t proto_igmp = 2;

using parser = int (*)(FILE *stream, sclist_t *list);

// Runs a parser over a file. A file that opens but cannot be read (a directory, say) counts as unreadable.
int read_file(const char *path, const char *sample, parser parse, sclist_t *list)
{
    const vantu::file_stream stream(_ll_fopen_text_or_testfile(path, sample));
    if (stream == nullptr) {
        (void)sclist_clear(list);
        return VANTU_LLAPI_RETURN_ERR_GENERAL;
    }
    const int result = parse(stream.get(), list);
    if (ferror(stream.get()) != 0) {
        log_error("%s cannot be read: %s", path, strerror(errno));
        (void)sclist_clear(list);
        return VANTU_LLAPI_RETURN_ERR_GENERAL;
    }
    return result;
}

void parse_lease(const char *line, sclist_t *list)
{
    vantu_ll_dhcp lease = {};
    char duid[42];
    if (sscanf(line, "%u %17s %39s %255s", &lease.expires, lease.mac_address, lease.ip_address, lease.hostname) == 4)
        (void)sclist_append(list, &lease);
    else if (sscanf(line, "duid %41s", duid) != 1)
        log_error("Error parsing dhcp %s", line);
}

// The words of one line, between blanks, taken one by one; `current` is null after the last. A scan only goes
// forward. Splitting ends each word in the line itself.
struct word_cursor {
    char *rest = nullptr;
    char *current = nullptr;

    explicit word_cursor(char *line) { current = strtok_r(line, " ", &rest); }

    const char *next() { return current = strtok_r(nullptr, " ", &rest); }

    // What follows `prefix` in the current word; null when it begins otherwise.
    const char *after(std::string_view prefix) const
    {
        if (current == nullptr || strncmp(current, prefix.data(), prefix.size()) != 0)
            return nullptr;
        return current + prefix.size();
    }

    // The current word is `prefix` and a number, which is cut to the width of `target`.
    template <typename T>
    bool number(std::string_view prefix, T &target) const
    {
        const char *digits = after(prefix);
        if (digits == nullptr)
            return false;
        char *end = nullptr;
        const unsigned long long value = strtoull(digits, &end, 10);
        if (end == digits)
            return false;
        target = static_cast<T>(value);
        return true;
    }

    // Goes on to the first word, from the current one, that is `prefix` and a number.
    template <typename T>
    bool scan(std::string_view prefix, T &target)
    {
        while (current != nullptr && !number(prefix, target))
            (void)next();
        return current != nullptr;
    }

    // The current word is `prefix` and an address, which is kept as text over the bytes of `target`.
    bool address(std::string_view prefix, vantu_ip &target) const
    {
        char text[sizeof(target._u)];
        const char *from = after(prefix);
        if (from == nullptr || sscanf(from, "%15s", text) != 1)
            return false;
        memcpy(&target._u, text, strlen(text) + 1);
        return true;
    }
};
static_assert(sizeof(vantu_ip::_u) == 16, "an address text is scanned with a width of 15");

// What became of a line: taken, passed over silently, or refused with the words of the log line.
struct verdict {
    enum { taken, passed_over, refused } what;
    int error;
    const char *place;
};

constexpr verdict taken = {verdict::taken, 0, nullptr};
constexpr verdict passed_over = {verdict::passed_over, 0, nullptr};

constexpr verdict refused(int error, const char *place = "line")
{
    return {verdict::refused, error, place};
}

// Takes the words after the family up to the source; the third of them is the protocol's number.
bool take_protocol_and_source(word_cursor &word, vantu_ll_conntrack_flow &flow)
{
    for (int index = 0; word.next() != nullptr; index++) {
        if (index == 2)
            flow.proto = static_cast<uint8_t>(strtol(word.current, nullptr, 10));
        if (word.address("src=", flow.src))
            return true;
    }
    return false;
}

// Takes what follows the ports: counters of both directions and the mark when accounting is on, and the use
// count, without which a line is refused.
verdict take_counters(word_cursor &word, vantu_ll_conntrack_flow &flow)
{
    if (word.next() == nullptr)
        return refused(8, "packets");
    if (word.number("packets=", flow.tx_packets)) {
        if (word.next() == nullptr)
            return refused(10, "bytes");
        (void)word.number("bytes=", flow.tx_bytes);
        (void)word.scan("packets=", flow.rx_packets);
        (void)word.scan("bytes=", flow.rx_bytes);
        (void)word.scan("mark=", flow.mark);
    }
    return word.scan("use=", flow.use) ? taken : refused(7, "found == 0");
}

verdict take_flow(word_cursor &word, vantu_ll_conntrack_flow &flow)
{
    if (word.current == nullptr)
        return refused(0);
    if (strcmp(word.current, "ipv4") != 0)
        return passed_over;

    const bool has_source = take_protocol_and_source(word, flow);
    if (flow.proto == proto_icmp || flow.proto == proto_igmp)
        return passed_over;
    if (!has_source)
        return refused(1);
    (void)word.next();
    if (!word.address("dst=", flow.dst))
        return refused(2);
    if (word.next() == nullptr)
        return refused(4);
    if (!word.number("sport=", flow.sport))
        return refused(3);
    if (word.next() == nullptr)
        return refused(6);
    if (!word.number("dport=", flow.dport))
        return refused(5);
    return take_counters(word, flow);
}

} // namespace

int internal_vantu_ll_wrt_get_dhcp(FILE *stream, sclist_t *list)
{
    (void)sclist_clear(list);
    if (stream == nullptr)
        return VANTU_LLAPI_RETURN_ERR_GENERAL;

    char line[256];
    vantu::line_source lines(stream);
    while (lines.next(line))
        parse_lease(line, list);
    return VANTU_LLAPI_RETURN_OK;
}

int vantu_ll_wrt_get_dhcp(sclist_t *list)
{
    log_trace("Reading %s", lease_file);
    return read_file(lease_file, "wrt_dhcp_leases.txt", internal_vantu_ll_wrt_get_dhcp, list);
}

int internal_vantu_ll_wrt_get_conntrack(FILE *stream, sclist_t *list)
{
    (void)sclist_clear(list);
    if (stream == nullptr) {
        log_error("%s: Error, file not open", __func__);
        return VANTU_LLAPI_RETURN_ERR_GENERAL;
    }

    char line[320];
    vantu::line_source lines(stream, most_connections);
    while (lines.next(line)) {
        vantu_ll_conntrack_flow flow = {};
        word_cursor word(line);
        const verdict verdict = take_flow(word, flow);
        if (verdict.what == verdict::taken)
            (void)sclist_append(list, &flow);
        else if (verdict.what == verdict::refused)
            // Splitting has cut the line behind its first word, and that is what is shown.
            log_error("%s: Error %d parsing %s %s", __func__, verdict.error, verdict.place, line);
    }
    return VANTU_LLAPI_RETURN_OK;
}

int vantu_ll_wrt_get_conntrack(sclist_t *list)
{
    return read_file(conntrack_file, conntrack_sample, internal_vantu_ll_wrt_get_conntrack, list);
}

int vantu_ll_wrt_get_conntrack_from_tools(sclist_t *list)
{
    const vantu::pipe_stream pipe(_ll_popen_cmd_or_testfile(conntrack_command, conntrack_sample));
    if (pipe == nullptr) {
        (void)sclist_clear(list);
        return VANTU_LLAPI_RETURN_ERR_GENERAL;
    }
    return internal_vantu_ll_wrt_get_conntrack(pipe.get(), list);
}
