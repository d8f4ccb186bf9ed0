// The report of one station: the parser over stored and made-up reports, the reader over a `wlctl` that is a script,
// and the differences of counters.

#include "vantu-ll-api/vantu_ll_wlctl.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <set>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using sta_info = vantu_ll_wlctl_sta_info;
using wme_data = vantu_ll_wlctl_wme_counters_data;
using wme_counters = vantu_ll_wlctl_wme_counters;

// Stands before the C library's: closes the pipe, and then fails when the test says so.
extern "C" int pclose(FILE *pipe)
{
    return pclose_answer(real<int(FILE *)>("pclose")(pipe));
}

namespace
{

// One field of a record: its name, its value as text, and for the counters how to set it.
template <typename Record>
struct field {
    const char *name;
    std::string (*text)(const Record &);
    void (*set)(Record &, uint64_t); // null: no single number
    bool differenced;
};

template <typename Record, auto Field>
std::string number_text(const Record &record)
{
    return std::to_string(record.*Field);
}

template <typename Record, auto Field>
void set_number(Record &record, uint64_t value)
{
    record.*Field = static_cast<std::decay_t<decltype(record.*Field)>>(value);
}

template <auto Field>
std::string array_text(const sta_info &record)
{
    std::string out;
    for (const auto value : record.*Field)
        out += (out.empty() ? "" : " ") + std::to_string(value);
    return out;
}

template <auto Field>
std::string text_text(const sta_info &record)
{
    return record.*Field;
}

#define NUMBER(name)                                                                                    \
    {                                                                                                   \
#name, number_text < sta_info, &sta_info::name>, set_number < sta_info, &sta_info::name>, false \
    }
#define COUNTER(name)                                                                                  \
    {                                                                                                  \
#name, number_text < sta_info, &sta_info::name>, set_number < sta_info, &sta_info::name>, true \
    }
#define ARRAY(name)                                          \
    {                                                        \
#name, array_text < &sta_info::name>, nullptr, false \
    }
#define TEXT(name)                                          \
    {                                                       \
#name, text_text < &sta_info::name>, nullptr, false \
    }

// In the order of the record.
// clang-format off
const field<sta_info> fields[] = {
    NUMBER(version),
    TEXT(rateset),
    NUMBER(rx_rate),
    COUNTER(tx_bytes), COUNTER(rx_bytes), COUNTER(tx_pkts), COUNTER(rx_pkts),
    COUNTER(tx_failures), COUNTER(tx_retries), COUNTER(rx_retries),
    NUMBER(flags), NUMBER(htcaps), NUMBER(vhtcaps), NUMBER(idle), NUMBER(in_network),
    TEXT(state),
    COUNTER(tx_ucast_pkts), COUNTER(tx_ucast_bytes), COUNTER(tx_mcast_pkts), COUNTER(tx_mcast_bytes),
    COUNTER(rx_ucast_pkts), COUNTER(rx_ucast_bytes), COUNTER(rx_mcast_pkts), COUNTER(rx_mcast_bytes),
    ARRAY(rate_of_last_tx_pkt),
    COUNTER(rx_decrypt_succeeds), COUNTER(rx_decrypt_failures), COUNTER(tx_data_pkts_retried),
    ARRAY(antenna_rssi_last_rx_frame), ARRAY(antenna_rssi_avg), ARRAY(antenna_noise_floor),
    COUNTER(tx_pkts_retry_exhausted),
    COUNTER(tx_fw_total_pkts_sent), COUNTER(tx_fw_pkts_retries), COUNTER(tx_fw_pkts_retry_exhausted),
};
// clang-format on

#define WME_COUNTER(name)                                                                              \
    {                                                                                                  \
#name, number_text < wme_data, &wme_data::name>, set_number < wme_data, &wme_data::name>, true \
    }

const field<wme_data> wme_fields[] = {
    WME_COUNTER(txframes),       WME_COUNTER(txbytes),       WME_COUNTER(txfailedframes), WME_COUNTER(txfailedbytes),
    WME_COUNTER(rxframes),       WME_COUNTER(rxbytes),       WME_COUNTER(rxfailedframes), WME_COUNTER(rxfailedbytes),
    WME_COUNTER(forward_frames), WME_COUNTER(forward_bytes),
};

// The fields of a record that are not zero or empty.
texts dump(const sta_info &info)
{
    const sta_info none = {};
    texts out;
    for (const auto &each : fields) {
        if (each.text(info) != each.text(none))
            out.push_back(each.name + "="s + each.text(info));
    }
    return out;
}

// A record without a byte of 0.
sta_info used_info()
{
    sta_info info;
    memset(&info, 0x5a, sizeof(info));
    return info;
}

bool same_bytes(const sta_info &a, const sta_info &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

struct outcome {
    int result;
    texts record;
    texts log;
};

// Checks on the way that a failure leaves the output as it was.
outcome parse(std::string_view text)
{
    sta_info info = used_info();
    log_capture log;
    const int result = internal_wlctl_get_sta_info_file(stream_of(text).get(), &info);
    if (result == 0)
        return {result, dump(info), log.lines};
    EXPECT_TRUE(same_bytes(info, used_info())) << printable(text);
    return {result, {}, log.lines};
}

// A `wlctl` that prints `output`.
struct fake_wlctl : fake_tool {
    explicit fake_wlctl(const std::string &output, int exit_status = 0) : fake_tool("wlctl", output, exit_status) {}
};

const std::string first_line = "[VER 8] STA 02:00:00:00:00:01:\n";
const texts version_told = {"TRACE sta_info version: 8"};

// ---- The parser ----

TEST(StationReport, StoredOutputsGiveTheExpectedRecordsAndMessages)
{
    for (const std::string &name : cases_of("wlctl_sta_info")) {
        const outcome got = parse(fixture(name + ".txt"));
        expect_stored(name, "result=" + std::to_string(got.result) + "\n" + lines_of(got.record), got.log);
    }
}

TEST(StationReport, FirstLines)
{
    const std::string us = "internal_wlctl_get_sta_info_file: ";
    const std::string refused = "ERROR " + us + "unable to read version";
    const struct {
        const char *name;
        std::string text;
        int result;
        texts record;
        std::string log;
    } rows[] = {
        {"version 8", first_line, 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"version 0", "[VER 0] STA x:\n", 0, {}, "TRACE sta_info version: 0"},
        {"no last newline", "[VER 10] STA x:", 0, {"version=10"}, "TRACE sta_info version: 10"},
        {"no station", "[VER 8]\n", 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"cut behind the number", "[VER 8", 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"other words behind it", "[VER 8) CLIENT\n", 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"no blank before the number", "[VER8] STA x:\n", 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"more blanks", "[VER  \t8] STA x:\n", 0, {"version=8"}, "TRACE sta_info version: 8"},
        {"a negative version", "[VER -1] STA x:\n", 0, {"version=4294967295"}, "TRACE sta_info version: -1"},
        {"a version of 33 bits keeps the low 32",
         "[VER 4294967303] STA x:\n",
         0,
         {"version=7"},
         "TRACE sta_info version: 7"},
        {"empty output", "", -1, {}, "DEBUG " + us + "unable to read first line"},
        {"a blank line", "\n" + first_line, -1, {}, refused},
        {"a driver without the version", " STA 02:00:00:00:00:01:\n\t idle 3 seconds\n", -1, {}, refused},
        {"the tool's complaint", "wlctl: Not Found\n", -1, {}, refused},
        {"a blank before the bracket", " " + first_line, -1, {}, refused},
        {"no bracket", "VER 8 STA x:\n", -1, {}, refused},
        {"no number", "[VER ] STA x:\n", -1, {}, refused},
        {"a word as number", "[VER x] STA x:\n", -1, {}, refused},
        {"small letters", "[ver 8] STA x:\n", -1, {}, refused},
        {"it begins with NUL", "\0"s + first_line, -1, {}, refused},
        {"a NUL before the number", "[VER \0 8]\n"s, -1, {}, refused},
        {"format characters", "%s%n\n", -1, {}, refused},
        {"the report without it", "\t idle 3 seconds\n" + first_line, -1, {}, refused},
    };
    for (const auto &row : rows) {
        const outcome got = parse(row.text);
        EXPECT_EQ(got.result, row.result) << row.name;
        EXPECT_EQ(got.record, row.record) << row.name;
        EXPECT_EQ(got.log, texts{row.log}) << row.name;
    }
}

// A line and the fields that it sets.
struct line_row {
    const char *name;
    std::string line;
    texts record;
};

template <size_t N>
void expect_lines(const line_row (&rows)[N])
{
    for (const line_row &row : rows) {
        const outcome got = parse(first_line + row.line);
        texts want = {"version=8"};
        want.insert(want.end(), row.record.begin(), row.record.end());
        EXPECT_EQ(got.result, 0) << row.name << ": " << row.line;
        EXPECT_EQ(got.record, want) << row.name << ": " << row.line;
        EXPECT_EQ(got.log, version_told) << row.name << ": " << row.line;
    }
}

// The lines that hold one number, with what the field holds.
enum class width { low_32, whole_64, low_32_of_64 };
const struct number_line {
    const char *before; // the number
    const char *behind;
    const char *field;
    width keeps;
} number_lines[] = {
    {"rate of last rx pkt: ", " kbps", "rx_rate", width::low_32},
    {"rx data bytes: ", "", "rx_bytes", width::whole_64},
    {"tx total bytes: ", "", "tx_bytes", width::whole_64},
    {"rx total pkts retried: ", "", "rx_retries", width::low_32},
    {"tx pkts retries: ", "", "tx_retries", width::low_32},
    {"tx total pkts: ", "", "tx_pkts", width::low_32},
    {"rx data pkts: ", "", "rx_pkts", width::low_32},
    {"tx failures: ", "", "tx_failures", width::low_32},
    {"idle ", " seconds", "idle", width::low_32},
    {"in network ", " seconds", "in_network", width::low_32},
    {"tx ucast pkts: ", "", "tx_ucast_pkts", width::low_32},
    {"tx ucast bytes: ", "", "tx_ucast_bytes", width::low_32_of_64},
    {"tx mcast/bcast pkts: ", "", "tx_mcast_pkts", width::low_32},
    {"tx mcast/bcast bytes: ", "", "tx_mcast_bytes", width::low_32_of_64},
    {"rx ucast pkts: ", "", "rx_ucast_pkts", width::low_32},
    {"rx ucast bytes: ", "", "rx_ucast_bytes", width::low_32_of_64},
    {"rx mcast/bcast pkts: ", "", "rx_mcast_pkts", width::low_32},
    {"rx mcast/bcast bytes: ", "", "rx_mcast_bytes", width::low_32_of_64},
    {"rx decrypt succeeds: ", "", "rx_decrypt_succeeds", width::low_32},
    {"rx decrypt failures: ", "", "rx_decrypt_failures", width::low_32},
    {"tx data pkts retried: ", "", "tx_data_pkts_retried", width::low_32},
    {"tx pkts retry exhausted: ", "", "tx_pkts_retry_exhausted", width::low_32},
    {"tx FW total pkts sent: ", "", "tx_fw_total_pkts_sent", width::low_32},
    {"tx FW pkts retries: ", "", "tx_fw_pkts_retries", width::low_32},
    {"tx FW pkts retry exhausted: ", "", "tx_fw_pkts_retry_exhausted", width::low_32},
};

TEST(StationReport, EachNumberGoesToItsField)
{
    for (const number_line &each : number_lines) {
        const std::string set = each.field + "="s;
        const line_row rows[] = {
            {"as printed", "\t "s + each.before + "7" + each.behind + "\n", {set + "7"}},
            {"without indent", each.before + "7"s + each.behind + "\n", {set + "7"}},
            {"more indent", "  \t\t "s + each.before + "7" + each.behind + "\n", {set + "7"}},
            {"no last newline", "\t "s + each.before + "7" + each.behind, {set + "7"}},
            {"CR LF", "\t "s + each.before + "7" + each.behind + "\r\n", {set + "7"}},
            {"only the number counts", "\t "s + each.before + "7 apples", {set + "7"}},
            {"nothing behind the number", "\t "s + each.before + "7", {set + "7"}},
            {"more blanks before the number", "\t "s + each.before + "   7", {set + "7"}},
            {"a plus sign", "\t "s + each.before + "+7", {set + "7"}},
            {"a hexadecimal number is its 0", "\t "s + each.before + "0x7", {}},
            {"a fraction is cut", "\t "s + each.before + "7.9", {set + "7"}},
            {"the last of two lines counts", "\t "s + each.before + "7\n\t " + each.before + "8\n", {set + "8"}},
            {"no number", "\t "s + each.before + each.behind + "\n", {}},
            {"a word as number", "\t "s + each.before + "seven" + each.behind + "\n", {}},
            {"a word before it", "\t my "s + each.before + "7" + each.behind + "\n", {}},
            {"a NUL before it", "\t "s + each.before + "\0"s + "7\n", {}},
        };
        expect_lines(rows);
    }
}

TEST(StationReport, NumbersKeepTheirLow32BitsExceptTheTotalBytesWhichAreWhole)
{
    const struct {
        const char *text;
        const char *low_32;
        const char *whole_64;
    } values[] = {
        {"4294967295", "4294967295", "4294967295"},
        {"4294967296", "0", "4294967296"},
        {"5000000000", "705032704", "5000000000"},
        {"-1", "4294967295", "18446744073709551615"},
        {"-5000000000", "3589934592", "18446744068709551616"},
        {"9223372036854775807", "4294967295", "9223372036854775807"},
        {"-9223372036854775808", "0", "9223372036854775808"},
        {"0", "0", "0"},
    };
    for (const number_line &each : number_lines) {
        for (const auto &value : values) {
            const std::string kept = each.keeps == width::whole_64 ? value.whole_64 : value.low_32;
            const line_row rows[] = {
                {value.text, each.before + std::string(value.text) + each.behind + "\n",
                 kept == "0" ? texts{} : texts{each.field + "="s + kept}},
            };
            expect_lines(rows);
        }
    }
}

TEST(StationReport, ANumberBeyond64BitsIsTheLargest)
{
    const line_row rows[] = {
        {"20 digits", "\t tx total bytes: 18446744073709551615\n", {"tx_bytes=9223372036854775807"}},
        {"40 digits", "\t tx total bytes: " + std::string(40, '9') + "\n", {"tx_bytes=9223372036854775807"}},
        {"40 digits in 32 bits", "\t idle " + std::string(40, '9') + " seconds\n", {"idle=4294967295"}},
        {"the least in 32 bits", "\t idle -" + std::string(40, '9') + " seconds\n", {}},
    };
    expect_lines(rows);
}

TEST(StationReport, Ratesets)
{
    const std::string rates_127(127, 'r');
    const line_row rows[] = {
        {"6 to 54", "\t rateset [ 6 9 12 18 24 36 48 54 ]\n", {"rateset=6 9 12 18 24 36 48 54"}},
        {"without indent", "rateset [ 1 2 5.5 11 ]", {"rateset=1 2 5.5 11"}},
        {"words behind the bracket", "\t rateset [ 1 2 ] basic [ 1 ]\n", {"rateset=1 2"}},
        {"no blank before the closing bracket loses a digit, which is kept",
         "\t rateset [ 6 9 12]\n",
         {"rateset=6 9 1"}},
        {"no blank behind the opening bracket", "\t rateset [6 9 ]\n", {"rateset=6 9"}},
        {"no closing bracket loses the newline instead", "\t rateset [ 6 9 12\n", {"rateset=6 9 12"}},
        {"one rate", "\t rateset [ 6 ]\n", {"rateset=6"}},
        {"one character", "\t rateset [ 6]\n", {}},
        {"no rate", "\t rateset [ ]\n", {}},
        {"nothing between the brackets", "\t rateset []\n", {}},
        {"nothing behind the bracket", "\t rateset [\n", {}},
        {"a bracket of another kind", "\t rateset ( 6 9 )\n", {}},
        {"no bracket", "\t rateset 6 9\n", {}},
        {"tabs stay", "\t rateset [ 6\t9 ]\n", {"rateset=6\t9"}},
        {"hostile text", "\t rateset [ %n,\"$(x)\" ]\n", {"rateset=%n,\"$(x)\""}},
        {"126 characters", "\t rateset [ " + rates_127.substr(1) + " ]\n", {"rateset=" + rates_127.substr(1)}},
        {"127 characters fit", "\t rateset [ " + rates_127 + " ]\n", {"rateset=" + rates_127}},
        {"128 characters are cut", "\t rateset [ " + rates_127 + "r ]\n", {"rateset=" + rates_127}},
        {"as long as a line can be", "\t rateset [ " + std::string(243, 'r'), {"rateset=" + rates_127}},
        {"it is no other list", "MCS SET : [ 0 1 2 ]\n", {}},
    };
    expect_lines(rows);
}

TEST(StationReport, RatesOfTheLastSentPacket)
{
    const line_row rows[] = {
        {"both", "\t rate of last tx pkt: 866667 kbps - 780000 kbps\n", {"rate_of_last_tx_pkt=866667 780000"}},
        {"no unit behind the second",
         "\t rate of last tx pkt: 866667 kbps - 780000",
         {"rate_of_last_tx_pkt=866667 780000"}},
        {"low 32 bits", "\t rate of last tx pkt: 4294967297 kbps - -1 kbps\n", {"rate_of_last_tx_pkt=1 4294967295"}},
        {"one only", "\t rate of last tx pkt: 6000 kbps\n", {}},
        {"another unit", "\t rate of last tx pkt: 6000 Mbps - 780000 kbps\n", {}},
        {"no dash", "\t rate of last tx pkt: 6000 kbps 780000 kbps\n", {}},
        {"none", "\t rate of last tx pkt: n/a\n", {}},
        {"it is not the rate of the last received one", "\t rate of last rx pkt: 5 kbps - 6 kbps\n", {"rx_rate=5"}},
    };
    expect_lines(rows);
}

TEST(StationReport, States)
{
    const std::string state_69(69, 's');
    const line_row rows[] = {
        {"usual", "\t state: AUTHENTICATED ASSOCIATED AUTHORIZED\n", {"state=AUTHENTICATED ASSOCIATED AUTHORIZED"}},
        {"one word", "\t state: AUTHENTICATED\n", {"state=AUTHENTICATED"}},
        {"no blank before it", "state:NONE", {"state=NONE"}},
        {"a trailing blank stays", "\t state: AUTHENTICATED \n", {"state=AUTHENTICATED "}},
        {"a tab ends it", "\t state: AUTHENTICATED\tASSOCIATED\n", {"state=AUTHENTICATED"}},
        {"CR stays", "\t state: AUTHENTICATED\r\n", {"state=AUTHENTICATED\r"}},
        {"none", "\t state:\n", {}},
        {"blanks", "\t state:   \n", {}},
        {"no colon", "\t state AUTHENTICATED\n", {}},
        {"hostile text", "\t state: %s%n;$(x),\"\xff\x1b[2J\n", {"state=%s%n;$(x),\"\xff\x1b[2J"}},
        {"68 characters", "\t state: " + state_69.substr(1) + "\n", {"state=" + state_69.substr(1)}},
        {"69 characters fit", "\t state: " + state_69 + "\n", {"state=" + state_69}},
        {"70 characters are cut", "\t state: " + state_69 + "t\n", {"state=" + state_69}},
        {"as long as a line can be", "state: " + std::string(248, 's'), {"state=" + state_69}},
    };
    expect_lines(rows);
}

TEST(StationReport, WordsOfFlagsAndCapabilities)
{
    for (const auto &[line, name] : {std::pair("flags", "flags"), std::pair("VHT caps", "vhtcaps")}) {
        const std::string before = "\t "s + line + " ";
        const std::string set = name + "="s;
        const line_row rows[] = {
            {"word and names", before + "0x1e03b: BRCM WME N_CAP\n", {set + "122939"}},
            {"capital digits", before + "0x1E03B: BRCM\n", {set + "122939"}},
            {"no names", before + "0x1e03b:\n", {set + "122939"}},
            {"no colon", before + "0x1e03b", {set + "122939"}},
            {"a word of 32 bits", before + "0xffffffff: ALL\n", {set + "4294967295"}},
            {"a word of 33 bits keeps the low 32", before + "0x1ffff0001: ALL\n", {set + "4294901761"}},
            {"digits up to what is none", before + "0x1eg03b: x\n", {set + "30"}},
            {"the last of two lines counts", before + "0x1: a\n" + before + "0x2: b\n", {set + "2"}},
            {"a line without the prefix takes nothing away", before + "0x3: a\n" + before + "7: b\n", {set + "3"}},
            {"a blank behind the prefix, which is kept", before + "0x 1f: a\n", {set + "31"}},
            {"names between prefix and digits", before + "0xWME 1f: a\n", {}},
            {"word zero", before + "0x0: none\n", {}},
            {"the prefix alone", before + "0x\n", {}},
            {"no prefix", before + "1e03b: BRCM\n", {}},
            {"a capital prefix", before + "0X1e03b: BRCM\n", {}},
            {"words only", before + "BRCM WME\n", {}},
            {"nothing", before + "\n", {}},
            {"as long as a line can be",
             line + " 0x"s + std::string(255 - strlen(line) - 3, '1'),
             {set + "4294967295"}},
        };
        expect_lines(rows);
    }
}

TEST(StationReport, WordsOfTheCapabilitiesOfTheOlderGeneration)
{
    const line_row rows[] = {
        {"word and names", "\t HT caps 0x1ed: LDPC 40MHz\n", {"htcaps=493"}},
        {"two blanks behind the colon", "\t HT caps 0x300:  STBC-Rx\n", {"htcaps=768"}},
        {"no names", "HT caps 0x1ed", {"htcaps=493"}},
        {"a blank ends it", "\t HT caps 0x1ed LDPC 40MHz\n", {"htcaps=493"}},
        {"a tab ends it", "\t HT caps 0x1ed\t40MHz\n", {"htcaps=493"}},
        {"a word of 33 bits keeps the low 32", "\t HT caps 0x100000001: x\n", {"htcaps=1"}},
        {"a sign", "\t HT caps 0x-1: x\n", {"htcaps=4294967295"}},
        {"no digits count as 0", "\t HT caps 0x1: a\n\t HT caps 0xLDPC: b\n", {}},
        {"nothing before the colon takes nothing away", "\t HT caps 0x1: a\n\t HT caps 0x: b\n", {"htcaps=1"}},
        {"no prefix", "\t HT caps 1ed: LDPC\n", {}},
        {"the next generation's line is not its", "\t VHT caps 0xff: LDPC\n", {"vhtcaps=255"}},
        {"nor the one after that", "\t HE caps 0x6629: LDPC\n", {}},
    };
    expect_lines(rows);
}

TEST(StationReport, FourAntennas)
{
    for (const auto &[line, name] : {
             std::pair("per antenna rssi of last rx data frame:", "antenna_rssi_last_rx_frame"),
             std::pair("per antenna average rssi of rx data frames:", "antenna_rssi_avg"),
             std::pair("per antenna noise floor:", "antenna_noise_floor"),
         }) {
        const std::string before = "\t "s + line;
        const std::string set = name + "="s;
        const line_row rows[] = {
            {"four", before + " -61 -63 -55 -62\n", {set + "-61 -63 -55 -62"}},
            {"two", before + " -76 -77 0 0\n", {set + "-76 -77 0 0"}},
            {"positive", before + " 1 2 3 4", {set + "1 2 3 4"}},
            {"tabs", before + "\t-1\t-2\t-3\t-4\t\n", {set + "-1 -2 -3 -4"}},
            {"a fifth is ignored", before + " -1 -2 -3 -4 -5\n", {set + "-1 -2 -3 -4"}},
            {"low 32 bits as a signed number",
             before + " 4294967295 2147483648 -4294967297 9223372036854775807\n",
             {set + "-1 -2147483648 -1 -1"}},
            {"the last of two lines counts", before + " 1 2 3 4\n" + before + " 5 6 7 8\n", {set + "5 6 7 8"}},
            {"three are none", before + " -61 -63 -55\n", {}},
            {"three take nothing away", before + " 1 2 3 4\n" + before + " 5 6 7\n", {set + "1 2 3 4"}},
            {"the fourth is a word", before + " -61 -63 -55 n/a\n", {}},
            {"commas", before + " -61, -63, -55, -62\n", {}},
            {"none", before + "\n", {}},
        };
        expect_lines(rows);
    }
}

TEST(StationReport, LinesThatOtherDriversPrintAreIgnored)
{
    for (const char *line : {
             "chanspec 100/160 (0xed72)",
             "aid:9",
             "connection: SECURED",
             "auth: WPA2-PSK",
             "crypto: AES_CCM",
             "HE caps 0x6629: LDPC",
             "OMI 0x02fa: 160Mhz rx=3ss tx=3ss",
             "rx data dur: 5",
             "tx total pkts sent: 5",
             "tx data pkts: 5",
             "tx data bytes: 5",
             "tx data pkts retry exhausted: 5",
             "smoothed rssi: -47",
             "MCS SET : [ 0 1 2 3 ]",
             "VHT SET : 0x1 1x1 2x1",
             "        : 0x2 1x2",
             "HE SET  :",
             "20/40/80 MHz:",
             "NSS1 Tx: 0-11        Rx: 0-11",
             "tx nrate",
             "legacy rate 11 Mbps stf mode 0 auto",
             "rx nrate",
             "he mcs 8 Nss 3 Tx Exp 0 bw160 ldpc",
             "wnm",
             "0x1:  BSS-Transition",
             "VENDOR OUI VALUE[0] 02:00:5E",
             "link bandwidth = 160 MHZ",
             "RRM capability = 0x12",
             "Frequency Bands Supported: 5G",
             "",
             " ",
             "\t",
             "idleness 5 seconds",
             "Idle 5 seconds",
             "tx total bytes 5",
             "tx total bytes = 5",
             "tx  failure: 5",
             "[VER 9] STA 02:00:00:00:00:02:",
             "%s%n",
         }) {
        const line_row rows[] = {{"ignored", line + "\n"s, {}}, {"ignored", "\t "s + line + " \n", {}}};
        expect_lines(rows);
    }
}

TEST(StationReport, BlanksBetweenTheWordsMayBeMoreOrNone)
{
    const line_row rows[] = {
        {"more", "\t tx   failures:\t 5\n", {"tx_failures=5"}},
        {"none", "txfailures:5\n", {"tx_failures=5"}},
    };
    expect_lines(rows);
}

TEST(StationReport, ALineGoesToOneFieldOnly)
{
    // Each line that one row takes, in one report; no other field is set.
    std::string report = first_line;
    size_t lines = 0;
    for (const number_line &each : number_lines) {
        report += "\t "s + each.before + std::to_string(++lines) + each.behind + "\n";
    }
    const outcome got = parse(report);
    EXPECT_EQ(got.record.size(), 1 + lines);
    for (size_t i = 0; i < lines; i++) {
        const std::string want = number_lines[i].field + "="s + std::to_string(i + 1);
        EXPECT_EQ(std::count(got.record.begin(), got.record.end(), want), 1) << want;
    }
}

TEST(StationReport, TheOrderOfTheLinesDoesNotCount)
{
    const std::string text = fixture("wlctl_sta_info/wifi6_5ghz.txt");
    const size_t first = text.find('\n') + 1;
    std::string reversed;
    for (size_t begin = first; begin < text.size();) {
        const size_t end = text.find('\n', begin) + 1;
        reversed.insert(0, text.substr(begin, end - begin));
        begin = end;
    }
    EXPECT_EQ("result=0\n" + lines_of(parse(text.substr(0, first) + reversed).record),
              fixture("wlctl_sta_info/wifi6_5ghz.expected"));
}

TEST(StationReport, LinesAreReadByAtMost255Characters)
{
    // `text` behind so many blanks that it begins a line's read.
    const auto behind = [](size_t blanks, const std::string &text) { return std::string(blanks, ' ') + text; };
    const line_row rows[] = {
        {"254 characters and newline", behind(240, "tx failures: 5") + "\n", {"tx_failures=5"}},
        {"a number at the end of a read", behind(241, "tx failures: 5") + "\n", {"tx_failures=5"}},
        {"a number is cut by the end of a read", behind(241, "tx failures: 56") + "\n", {"tx_failures=5"}},
        {"a number just behind a read", behind(242, "tx failures: 5") + "\n", {}},
        {"what follows 255 characters counts as a line", std::string(255, 'x') + "idle 6 seconds\n", {"idle=6"}},
        {"a word that begins a read is taken wherever it stood",
         std::string(255, 'x') + "tx total pkts: 5 tx failures: 6\n",
         {"tx_pkts=5"}},
        {"a word in the midst of a read is not", std::string(250, 'x') + " idle 6 seconds\n", {}},
    };
    expect_lines(rows);
}

TEST(StationReport, AFirstLineOfMoreThan255CharactersIsTwoLines)
{
    const std::string first = "[VER 8] STA ";
    const outcome got = parse(first + std::string(255 - first.size(), 'x') + "idle 6 seconds\n");
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.record, (texts{"version=8", "idle=6"}));
}

TEST(StationReport, FieldsThatAreNotPrintedAreZero)
{
    sta_info info = used_info();
    const quiet_log quiet;
    EXPECT_EQ(internal_wlctl_get_sta_info_file(stream_of(first_line).get(), &info), 0);
    sta_info want;
    memset(&want, 0, sizeof(want));
    want.version = 8;
    EXPECT_EQ(dump(info), dump(want));
    EXPECT_STREQ(info.state, "");
    EXPECT_STREQ(info.rateset, "");
}

// Parses hostile text and checks what came of it.
void survive(std::string_view text)
{
    sta_info info = used_info();
    const int result = internal_wlctl_get_sta_info_file(stream_of(text).get(), &info);
    ASSERT_TRUE(result == 0 || result == -1) << result << printable(text);
    if (result == -1) {
        ASSERT_TRUE(same_bytes(info, used_info())) << printable(text);
        return;
    }
    ASSERT_TRUE(is_text(info.state) && is_text(info.rateset)) << printable(text);
    for (const uint64_t bytes : {info.tx_ucast_bytes, info.tx_mcast_bytes, info.rx_ucast_bytes, info.rx_mcast_bytes})
        ASSERT_LE(bytes, UINT32_MAX) << printable(text);
}

TEST(StationReport, EveryTruncationOfAStoredOutputIsSurvived)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("wlctl_sta_info"))
        every_truncation(fixture(name + ".txt"), survive);
}

// The pieces of a text that the parser reads at a time.
texts reads_of(const std::string &text)
{
    texts out;
    const support::stream stream = stream_of(text);
    char piece[256];
    while (fgets(piece, sizeof(piece), stream.get()) != nullptr)
        out.emplace_back(piece);
    return out;
}

// A piece with all its numbers alike.
std::string kind_of(const std::string &piece)
{
    std::string kind;
    for (const char c : piece) {
        if (!isxdigit(static_cast<unsigned char>(c)) || islower(c))
            kind += c;
        else if (kind.empty() || kind.back() != '0')
            kind += '0';
    }
    return kind;
}

// What stands in a read does not depend on those before it, so that each kind of line is corrupted by itself; in
// whole reports that would take minutes.
TEST(StationReport, EveryCorruptionOfAStoredOutputIsSurvived)
{
    const quiet_log quiet;
    const std::string next_line = "\t idle 3 seconds\n";
    std::set<std::string> kinds;
    for (const std::string &name : cases_of("wlctl_sta_info")) {
        std::string before;
        for (const std::string &piece : reads_of(fixture(name + ".txt"))) {
            if (kinds.insert(kind_of(piece)).second) {
                every_corruption(piece, [&](std::string_view text) {
                    std::string report = before;
                    survive(report.append(text).append(next_line));
                });
            }
            before = first_line;
        }
    }
}

// ---- The reader ----

const char *const mac = "02:00:00:00:00:01";
const std::string usual_command = "wlctl -i wl0 sta_info 02:00:00:00:00:01";

TEST(StationReportReader, AsksTheToolOnce)
{
    const fake_wlctl tool(fixture("wlctl_sta_info/wifi4_2ghz.txt"));
    sta_info info = used_info();
    log_capture log;
    EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", mac, &info), 0);
    EXPECT_EQ("result=0\n" + lines_of(dump(info)), fixture("wlctl_sta_info/wifi4_2ghz.expected"));
    EXPECT_EQ(tool.calls(), "4:-i wl0 sta_info 02:00:00:00:00:01\n");
    EXPECT_EQ(log.lines, (texts{"TRACE running: " + usual_command, "TRACE sta_info version: 8"}));
}

TEST(StationReportReader, EmptyTextsArePassedOnAsTheyAre)
{
    const struct {
        const char *interface;
        const char *station;
        const char *calls;
        const char *command;
    } rows[] = {
        {"", mac, "3:-i sta_info 02:00:00:00:00:01\n", "wlctl -i  sta_info 02:00:00:00:00:01"},
        {"wl0", "", "3:-i wl0 sta_info\n", "wlctl -i wl0 sta_info "},
        {"", "", "2:-i sta_info\n", "wlctl -i  sta_info "},
    };
    for (const auto &row : rows) {
        const fake_wlctl tool(first_line);
        sta_info info;
        log_capture log;
        EXPECT_EQ(vantu_ll_wlctl_get_sta_info(row.interface, row.station, &info), 0) << row.command;
        EXPECT_EQ(tool.calls(), row.calls);
        EXPECT_EQ(log.lines, (texts{"TRACE running: "s + row.command, "TRACE sta_info version: 8"}));
    }
}

TEST(StationReportReader, ACommandLineOf254CharactersIsRunAndALongerOneIsCutSilently)
{
    for (const size_t length : {253U, 254U, 255U, 256U, 400U}) {
        const std::string station(length - strlen("wlctl -i wl0 sta_info "), 'a');
        const fake_wlctl tool(first_line);
        sta_info info;
        log_capture log;
        EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", station.c_str(), &info), 0) << length;
        const std::string run = ("wlctl -i wl0 sta_info " + station).substr(0, 254);
        EXPECT_EQ(tool.calls(), "4:" + run.substr(strlen("wlctl ")) + "\n") << length;
        EXPECT_EQ(log.lines.at(0), "TRACE running: " + run) << length;
    }
}

TEST(StationReportReader, AStationThatTheDriverDoesNotKnowLeavesTheOutputAlone)
{
    const struct {
        const char *output;
        const char *log;
    } rows[] = {
        {"wlctl: Not Found\n", "ERROR internal_wlctl_get_sta_info_file: unable to read version"},
        {"", "DEBUG internal_wlctl_get_sta_info_file: unable to read first line"},
    };
    for (const auto &row : rows) {
        const fake_wlctl tool(row.output, 1);
        sta_info info = used_info();
        log_capture log;
        EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", mac, &info), -1);
        EXPECT_TRUE(same_bytes(info, used_info()));
        EXPECT_EQ(log.lines, (texts{"TRACE running: " + usual_command, row.log}));
    }
}

TEST(StationReportReader, AMissingToolIsAnEmptyReport)
{
    const temp_dir nothing;
    const search_path path(nothing.path(), true);
    sta_info info = used_info();
    log_capture log;
    EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", mac, &info), -1);
    EXPECT_TRUE(same_bytes(info, used_info()));
    EXPECT_EQ(log.lines.back(), "DEBUG internal_wlctl_get_sta_info_file: unable to read first line");
}

TEST(StationReportReader, AToolThatCannotBeStartedIsToldWithTheNumberOneWhichIsKept)
{
    EXPECT_EQ(in_child([] {
                  sta_info info = used_info();
                  log_capture log;
                  forbid_new_descriptors();
                  if (vantu_ll_wlctl_get_sta_info("wl0", mac, &info) != -1)
                      return 1;
                  if (log.lines !=
                      texts{"TRACE running: " + usual_command, "ERROR Command [" + usual_command + "] failed. errno=1"})
                      return 2;
                  return same_bytes(info, used_info()) ? 0 : 3;
              }),
              0);
}

TEST(StationReportReader, TheExitStatusOfTheToolDoesNotCount)
{
    const fake_wlctl tool(first_line, 3);
    const quiet_log quiet;
    sta_info info;
    EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", mac, &info), 0);
}

TEST(StationReportReader, AToolThatWasReapedByAnotherCountsAsSuccessWhateverWasParsed)
{
    for (const std::string &report : {first_line, "wlctl: Not Found\n"s}) {
        const fake_wlctl tool(report);
        EXPECT_EQ(in_child([&] {
                      (void)signal(SIGCHLD, SIG_IGN);
                      sta_info info = used_info();
                      const quiet_log quiet;
                      if (vantu_ll_wlctl_get_sta_info("wl0", mac, &info) != 0)
                          return 1;
                      return same_bytes(info, used_info()) == (report == first_line) ? 2 : 0;
                  }),
                  0)
            << report;
    }
}

TEST(StationReportReader, AnotherFailureOfTheCloseIsToldAndTheParsersResultStands)
{
    for (const std::string &report : {first_line, "wlctl: Not Found\n"s}) {
        const fake_wlctl tool(report);
        sta_info info;
        log_capture log;
        pclose_error = EINTR;
        EXPECT_EQ(vantu_ll_wlctl_get_sta_info("wl0", mac, &info), report == first_line ? 0 : -1) << report;
        pclose_error = 0;
        ASSERT_EQ(log.lines.size(), 3U) << report;
        EXPECT_EQ(log.lines[2], "ERROR " + usual_command + " errno:" + std::to_string(EINTR) + ", " + strerror(EINTR));
    }
}

TEST(StationReportReader, LeavesNoDescriptorAndNoChild)
{
    const fake_wlctl tool(fixture("wlctl_sta_info/flattened.txt"));
    const quiet_log quiet;
    sta_info info;
    const size_t before = open_descriptors();
    (void)vantu_ll_wlctl_get_sta_info("wl0", mac, &info);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(no_child_is_left());
}

TEST(StationReportReader, TextsThatTheShellWouldInterpretAreRefusedAndNothingRuns)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    const std::string run = "touch " + marker;
    const std::string hostile[] = {
        ";" + run,
        "|" + run,
        "&" + run,
        "\n" + run,
        "$(" + run + ")",
        "`" + run + "`",
        ">" + marker,
        " " + run,
        "||" + run,
        "#",
        "'",
        "\"",
        "\\",
        "~",
        "*",
        "?",
        "$HOME",
        " ",
        "; " + run,
        ">>" + marker,
        "\r\n" + run,
        "\t",
        "{" + run + ";}",
        "\xc3\xb6",
    };
    for (const std::string &text : hostile) {
        for (const bool in_mac : {false, true}) {
            const std::string interface = in_mac ? "wl0" : "wl0" + text;
            const std::string station = in_mac ? mac + text : mac;
            const std::string command = "wlctl -i " + interface + " sta_info " + station;
            const fake_wlctl tool(first_line);
            sta_info info = used_info();
            log_capture log;
            EXPECT_EQ(vantu_ll_wlctl_get_sta_info(interface.c_str(), station.c_str(), &info), -1) << printable(text);
            EXPECT_EQ(log.lines, (texts{"TRACE running: " + command, "ERROR incorrect parameters or too many files."}))
                << printable(text);
            EXPECT_TRUE(same_bytes(info, used_info())) << printable(text);
            EXPECT_EQ(tool.calls(), "") << printable(text);
            EXPECT_FALSE(fs::exists(marker)) << printable(text);
        }
    }
}

TEST(StationReportReader, EveryMessageNamesTheModulesFile)
{
    const fake_wlctl tool("nonsense\n");
    const log_capture log;
    sta_info info;
    (void)vantu_ll_wlctl_get_sta_info("wl0", mac, &info);
    (void)vantu_ll_wlctl_get_sta_info("wl0;", mac, &info);
    pclose_error = EINTR;
    (void)vantu_ll_wlctl_get_sta_info("wl0", mac, &info);
    pclose_error = 0;
    EXPECT_EQ(log.files(), std::set<std::string>{"vantu_ll_wlctl_sta_info.cpp"});
}

// ---- Differences ----

TEST(Delta64, IsNewerMinusOlderWhenTheCounterGrewElseZero)
{
    const struct {
        uint64_t older;
        uint64_t newer;
        uint64_t delta;
    } rows[] = {
        {0, 0, 0},
        {0, 1, 1},
        {1, 0, 0},
        {5, 5, 0},
        {5, 12, 7},
        {12, 5, 0},
        {0, UINT64_MAX, UINT64_MAX},
        {UINT64_MAX, 0, 0},
        {UINT64_MAX - 1, UINT64_MAX, 1},
        {UINT64_MAX, UINT64_MAX, 0},
        {UINT32_MAX, 0x100000000U, 1},
        {0x100000000U, UINT32_MAX, 0},
        {1, 0x8000000000000001U, 0x8000000000000000U},
    };
    for (const auto &row : rows)
        EXPECT_EQ(get_delta64(row.older, row.newer), row.delta) << row.older << " " << row.newer;
}

TEST(Delta32, IsRightAcrossAWrap)
{
    const struct {
        uint32_t older;
        uint32_t newer;
        int32_t delta;
    } rows[] = {
        {0, 0, 0},
        {5, 12, 7},
        {12, 5, -7},
        {UINT32_MAX, 0, 1},
        {UINT32_MAX - 4, 5, 10},
        {0, UINT32_MAX, -1},
        {0, INT32_MAX, INT32_MAX},
        {0, 0x80000000U, INT32_MIN},
    };
    for (const auto &row : rows)
        EXPECT_EQ(get_delta32(row.older, row.newer), row.delta) << row.older << " " << row.newer;
}

// A record each of whose fields has another value; `step` apart from those of another record.
sta_info distinct(uint64_t step, const char *text)
{
    sta_info info = {};
    uint64_t value = 1000;
    for (const auto &each : fields) {
        value += 10 + step;
        if (each.set != nullptr)
            each.set(info, value);
    }
    for (size_t i = 0; i < 4; i++) {
        const int number = static_cast<int>(100 * step + i);
        info.antenna_rssi_last_rx_frame[i] = -number - 1;
        info.antenna_rssi_avg[i] = -number - 20;
        info.antenna_noise_floor[i] = -number - 50;
        info.rate_of_last_tx_pkt[i / 2] = static_cast<uint32_t>(number);
    }
    strcpy(info.state, text);
    strcpy(info.rateset, text);
    return info;
}

TEST(StationDelta, HoldsTheGrowthOfEachCounterAndTheOlderValueOfAllElse)
{
    const sta_info older = distinct(0, "older");
    const sta_info newer = distinct(3, "newer");
    sta_info got = older;
    EXPECT_EQ(vantu_ll_wlctl_sta_info_get_delta(&got, &newer), 0);
    uint64_t growth = 0;
    size_t counters = 0;
    for (const auto &each : fields) {
        growth += 3;
        counters += each.differenced;
        EXPECT_EQ(each.text(got), each.differenced ? std::to_string(growth) : each.text(older)) << each.name;
        EXPECT_NE(each.text(older), each.text(newer)) << each.name;
    }
    EXPECT_EQ(counters, 22U);
}

TEST(StationDelta, ACounterThatWentDownOrStoodStillIsZero)
{
    const sta_info more = distinct(3, "");
    const sta_info less = distinct(0, "");
    for (const sta_info &newer : {less, more}) {
        sta_info got = more;
        EXPECT_EQ(vantu_ll_wlctl_sta_info_get_delta(&got, &newer), 0);
        for (const auto &each : fields)
            EXPECT_EQ(each.text(got), each.differenced ? "0" : each.text(more)) << each.name;
    }
}

TEST(StationDelta, OneCounterThatWentDownDoesNotTouchTheOthers)
{
    const sta_info older = distinct(0, "");
    for (const auto &reset : fields) {
        if (!reset.differenced)
            continue;
        sta_info newer = distinct(3, "");
        reset.set(newer, 1);
        sta_info got = older;
        (void)vantu_ll_wlctl_sta_info_get_delta(&got, &newer);
        uint64_t growth = 0;
        for (const auto &each : fields) {
            growth += 3;
            if (each.differenced) {
                EXPECT_EQ(each.text(got), std::to_string(&each == &reset ? 0 : growth)) << each.name;
            }
        }
    }
}

TEST(StationDelta, FieldsOf32BitsGiveZeroAfterAWrapAndTheWholeRangeWithoutOne)
{
    sta_info older = {};
    sta_info newer = {};
    older.tx_pkts = UINT32_MAX; // wrapped
    newer.tx_pkts = 3;
    newer.rx_pkts = UINT32_MAX;
    older.tx_bytes = 1;
    newer.tx_bytes = UINT64_MAX;
    newer.rx_ucast_bytes = 0x500000000U;
    (void)vantu_ll_wlctl_sta_info_get_delta(&older, &newer);
    EXPECT_EQ(older.tx_pkts, 0U);
    EXPECT_EQ(older.rx_pkts, UINT32_MAX);
    EXPECT_EQ(older.tx_bytes, UINT64_MAX - 1);
    EXPECT_EQ(older.rx_ucast_bytes, 0x500000000U);
}

TEST(StationDelta, LeavesTheNewerRecordAlone)
{
    sta_info older = distinct(0, "older");
    const sta_info newer = distinct(3, "newer");
    const texts before = dump(newer);
    (void)vantu_ll_wlctl_sta_info_get_delta(&older, &newer);
    EXPECT_EQ(dump(newer), before);
}

// The counters of one category, from `first` on.
wme_data counted(uint64_t first, uint64_t expired)
{
    wme_data data = {};
    for (const auto &each : wme_fields)
        each.set(data, first *= 3);
    data.tx_frames_time_expired = expired;
    return data;
}

TEST(CategoryDelta, HoldsTheGrowthOfTheTenCountersAndTheOlderExpiredFrames)
{
    wme_data got = counted(1, 7);
    const wme_data newer = counted(2, 1000);
    EXPECT_EQ(vantu_ll_wlctl_wme_counters_data_get_delta(&got, &newer), 0);
    uint64_t growth = 1;
    for (const auto &each : wme_fields)
        EXPECT_EQ(each.text(got), std::to_string(growth *= 3)) << each.name;
    EXPECT_EQ(got.tx_frames_time_expired, 7U);
}

TEST(CategoryDelta, ACounterThatWentDownOrStoodStillIsZero)
{
    for (const uint64_t first : {1U, 2U}) {
        wme_data got = counted(2, 1000);
        const wme_data newer = counted(first, 7);
        EXPECT_EQ(vantu_ll_wlctl_wme_counters_data_get_delta(&got, &newer), 0);
        for (const auto &each : wme_fields)
            EXPECT_EQ(each.text(got), "0") << each.name;
        EXPECT_EQ(got.tx_frames_time_expired, 1000U);
    }
}

TEST(CategoryDelta, CountersHave64Bits)
{
    wme_data got = {};
    wme_data newer = {};
    for (const auto &each : wme_fields) {
        each.set(got, 1);
        each.set(newer, UINT64_MAX);
    }
    (void)vantu_ll_wlctl_wme_counters_data_get_delta(&got, &newer);
    for (const auto &each : wme_fields)
        EXPECT_EQ(each.text(got), std::to_string(UINT64_MAX - 1)) << each.name;
}

TEST(CountersDelta, EachCategoryHasItsOwn)
{
    wme_counters got = {counted(1, 11), counted(10, 12), counted(100, 13), counted(1000, 14)};
    const wme_counters newer = {counted(3, 91), counted(40, 92), counted(500, 93), counted(6000, 94)};
    EXPECT_EQ(vantu_ll_wlctl_wme_counters_get_delta(&got, &newer), 0);
    const struct {
        const wme_data &category;
        uint64_t growth;
        uint64_t expired;
    } rows[] = {{got.AC_BE, 2, 11}, {got.AC_BK, 30, 12}, {got.AC_VI, 400, 13}, {got.AC_VO, 5000, 14}};
    for (const auto &row : rows) {
        uint64_t growth = row.growth;
        for (const auto &each : wme_fields)
            EXPECT_EQ(each.text(row.category), std::to_string(growth *= 3)) << each.name << " " << row.growth;
        EXPECT_EQ(row.category.tx_frames_time_expired, row.expired);
    }
}

TEST(CountersDelta, TheCategoriesLieInTheOrderOfTheReport)
{
    EXPECT_EQ(offsetof(wme_counters, AC_BE), 0 * sizeof(wme_data));
    EXPECT_EQ(offsetof(wme_counters, AC_BK), 1 * sizeof(wme_data));
    EXPECT_EQ(offsetof(wme_counters, AC_VI), 2 * sizeof(wme_data));
    EXPECT_EQ(offsetof(wme_counters, AC_VO), 3 * sizeof(wme_data));
}

} // namespace
