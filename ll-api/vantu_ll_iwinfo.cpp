// Reads the stations of a radio. "iwinfo wlan0 assoclist" has a block of five lines a station, the last one empty and
// the three before it with a tab in front:
//
//     02:00:00:00:01:23  -58 dBm / -93 dBm (SNR 35)  210 ms ago
//         RX: 24.0 MBit/s                                  812 Pkts.
//         TX: 54.0 MBit/s                                  977 Pkts.
//         expected throughput: unknown
//
//
// "ubus call iwinfo assoclist '{ "device": "wlan0" }'" (laid out here):
//
//     { "results": [ { "mac": "02:00:00:00:01:23", "signal": -58, "noise": -93, "inactive": 210,
//                      "rx": { "rate": 24000, "bytes": 91022, ... }, "tx": { "rate": 54000, ... }, ... } ] }

#include "vantu-ll-api/vantu_ll_iwinfo.h"

#include "json.hpp"
#include "stream.hpp"
#include "text.hpp"
#include "tool.hpp"
#include "typed_list.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace
{

using station = iwinfo_assoclist_device;

constexpr size_t line_size = 1024;
constexpr int lines_of_station = 5;
constexpr uint64_t kbit_of_mbit = 1000;
// A reply of some hundreds of stations; one without end would fill the memory first.
constexpr size_t longest_reply = 1U << 20U;

constexpr auto _iwinfo_devicemac_size = vantu::record_size<station>;
constexpr auto _iwinfo_devicemac_seeker = vantu::seek_text<&station::mac>;
constexpr auto _iwinfo_devicemac_comparator = vantu::compare_text<&station::mac>;

// What is no number counts as 0, one that is too large as the largest.
int number_of(const char *word)
{
    return static_cast<int>(std::clamp<long>(strtol(word, nullptr, 10), INT_MIN, INT_MAX));
}

uint64_t count_of(const char *word)
{
    return static_cast<uint64_t>(std::max<long long>(strtoll(word, nullptr, 10), 0));
}

void take_first_line(station &one, int place, const char *word)
{
    switch (place) {
    case 0:
        vantu::copy_text(one.mac, word);
        break;
    case 1:
        one.signal = number_of(word);
        break;
    case 4:
        one.noise = number_of(word);
        break;
    case 8:
        one.inactive = count_of(word);
        break;
    default:
        break;
    }
}

void take_rate_line(uint64_t &rate, uint64_t &packages, int place, const char *word)
{
    if (place == 1)
        rate = static_cast<uint64_t>(std::max(number_of(word), 0)) * kbit_of_mbit;
    else if (place == 3)
        packages = count_of(word);
}

void take_word(station &one, int line, int place, const char *word)
{
    switch (line) {
    case 0:
        take_first_line(one, place, word);
        break;
    case 1:
        take_rate_line(one.rx_rate, one.rx_packages, place, word);
        break;
    case 2:
        take_rate_line(one.tx_rate, one.tx_packages, place, word);
        break;
    default:
        break;
    }
}

void take_text(json_object *object, const char *name, char *out, size_t size)
{
    if (json_object *member = vantu::json_member(object, name))
        (void)snprintf(out, size, "%s", json_object_get_string(member));
}

void take_direction(json_object *object, const char *name, uint64_t &rate, uint64_t &bytes, uint64_t &packages)
{
    json_object *direction = vantu::json_member(object, name);
    vantu::take_number(direction, "rate", rate);
    vantu::take_number(direction, "bytes", bytes);
    vantu::take_number(direction, "packages", packages);
}

station to_station(json_object *object, const char *radio)
{
    station one = {};
    vantu::copy_text(one.interface, radio);
    take_text(object, "mac", one.mac, sizeof(one.mac));
    take_text(object, "modulation", one.modulation, sizeof(one.modulation));
    take_text(object, "channel_width", one.channel_width, sizeof(one.channel_width));
    vantu::take_number(object, "signal", one.signal);
    vantu::take_number(object, "noise", one.noise);
    vantu::take_number(object, "inactive", one.inactive);
    vantu::take_number(object, "sta_connect_time", one.sta_connect_time);
    take_direction(object, "rx", one.rx_rate, one.rx_bytes, one.rx_packages);
    take_direction(object, "tx", one.tx_rate, one.tx_bytes, one.tx_packages);
    return one;
}

// Parses a reply while it is read. What is no JSON is logged with its part that was read last.
vantu::json_text read_json(FILE *stream)
{
    const std::unique_ptr<json_tokener, void (*)(json_tokener *)> tokener(json_tokener_new(), json_tokener_free);
    char part[line_size] = "";
    size_t length = 0;
    size_t total = 0;
    while (tokener != nullptr && (length = fread(part, 1, sizeof(part) - 1, stream)) > 0) {
        part[length] = '\0';
        total += length;
        if (total > longest_reply) {
            log_error("the output does not end: the rest is not read");
            break;
        }
        vantu::json_text parsed(json_tokener_parse_ex(tokener.get(), part, static_cast<int>(length)));
        if (json_tokener_get_error(tokener.get()) == json_tokener_success)
            return parsed;
        if (json_tokener_get_error(tokener.get()) != json_tokener_continue)
            break;
    }
    log_error("iwinfo_assoclist failed to parse json: %s", part);
    return nullptr;
}

// The frame around both sources; `command` is built by the caller from a checked name.
template <typename Command, typename Parser>
int read_stations(const char *radio, sclist_t *list, const Command &command, Parser parser)
{
    if (radio[0] == '\0') {
        log_error("vantu_ll_iwinfo_assoclist: Radio string empty.");
        return 3;
    }
    log_trace("Running: %s", command.text());
    return vantu::run_tool(command, {nullptr, 1}, [&](FILE *stream) { return parser(stream, radio, list); });
}

} // namespace

int vantu_ll_iwinfo_assoclist_sclist_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _iwinfo_devicemac_size, _iwinfo_devicemac_seeker, _iwinfo_devicemac_comparator);
}

int internal_iwinfo_assoclist_direct(FILE *stream, const char *radio, sclist_t *list)
{
    (void)sclist_clear(list);
    station one = {};
    int line = 0;
    char text[line_size];
    vantu::line_source lines(stream);
    while (lines.next(text)) {
        if (line == 0)
            vantu::copy_text(one.interface, radio);
        char *rest = text;
        char *word = nullptr;
        for (int place = 0; (word = strtok_r(rest, " ", &rest)) != nullptr; place++)
            take_word(one, line, place, word);
        if (++line < lines_of_station)
            continue;
        (void)sclist_append(list, &one);
        line = 0;
    }
    return 0;
}

int internal_iwinfo_assoclist(FILE *stream, const char *radio, sclist_t *list)
{
    (void)sclist_clear(list);
    const vantu::json_text reply = read_json(stream);
    json_object *results = vantu::json_member(reply.get(), "results", json_type_array);
    if (results == nullptr) {
        log_error("internal_iwinfo_assoclist: failed to find array \"results\" in json");
        return 0;
    }
    const size_t count = json_object_array_length(results);
    for (size_t i = 0; i < count; i++) {
        const station one = to_station(json_object_array_get_idx(results, i), radio);
        (void)sclist_append(list, &one);
    }
    return 0;
}

int vantu_ll_iwinfo_assoclist_direct(const char *radio, sclist_t *list)
{
    const vantu::command_line<300> command("iwinfo '%s' assoclist", vantu::quoted{radio});
    return read_stations(radio, list, command, internal_iwinfo_assoclist_direct);
}

int vantu_ll_iwinfo_assoclist(const char *radio, sclist_t *list)
{
    const vantu::json_request<256> request(R"({ "device": "%s" })", radio);
    const vantu::command_line<300> command("ubus call iwinfo assoclist '%s'", vantu::quoted{request.text()});
    return read_stations(radio, list, command, internal_iwinfo_assoclist);
}
