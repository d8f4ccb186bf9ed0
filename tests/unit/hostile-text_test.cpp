// Texts from outside and the shell: whatever a router, a station or a user names, no reader runs anything but its tool,
// and the names that routers really print reach the tool as they are.

#include "brcm-generic/brcm-sampling.h"
#include "brcm-generic/vantu-wifi-brcm.h"
#include "hobe-lxc/vantu-hobe-lxc.h"
#include "json.hpp"
#include "support.hpp"
#include "tool.hpp"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-libs2/temporary-storage.h"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/vantu_ll_iwinfo.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using namespace std::string_literals;
using support::fake_tool;
using support::log_capture;
using support::printable;
using support::texts;

// What was handed to the shell.
texts started;

} // namespace

// Stand before the C library's. The tool for sets has a fixed place, which a test cannot have.

extern "C" FILE *popen(const char *command, const char *mode)
{
    started.push_back(command);
    const bool is_absolute = strncmp(command, "/usr/sbin/ipset", 15) == 0;
    return support::real<FILE *(const char *, const char *)>("popen")(is_absolute ? "true" : command, mode);
}

extern "C" int system(const char *command)
{
    started.push_back(command);
    return 0;
}

namespace
{

const char *const refusal = "ERROR incorrect parameters or too many files.";
constexpr char mac[] = "02:00:00:00:00:01";

// A place of a command line that a text from outside takes.
struct way {
    const char *name;
    bool quoted; // between single quotes
    bool json;   // and there in a request
    int refused; // the result when nothing is run
    int (*run)(const char *text);
};

template <typename Record, int (*Read)(const char *, Record *)>
int read(const char *text)
{
    Record record;
    return Read(text, &record);
}

template <int (*Init)(sclist_t *), int (*Read)(const char *, sclist_t *)>
int list(const char *text)
{
    const support::list<Init> out;
    return Read(text, const_cast<support::list<Init> *>(&out));
}

int init_stations(sclist_t *to)
{
    vantu_ll_wlctl_assoclist_sclist_init(to);
    return 0;
}

int station_report(const char *interface, const char *address)
{
    vantu_ll_wlctl_sta_info info;
    return vantu_ll_wlctl_get_sta_info(interface, address, &info);
}

int set_members(int (*get)(sclist_t *, const char *), const char *set)
{
    support::list<vantu_ipset_entry_list_init> members;
    return get(&members, set);
}

int bus_call(const char *object, const char *method, const char *request)
{
    char reply[64];
    return ubus_cmd_call(object, method, request, reply, sizeof(reply));
}

int store_value(const char *config, const char *section, const char *option)
{
    char out[64];
    return hobe_container_get_uci(config, section, option, out, sizeof(out));
}

int radio_sample(const char *interface)
{
    vantu_radio_stats stats = {};
    return brcm_sample_radio_stats(interface, &stats, 0);
}

int station_sample(const char *interface, const char *address)
{
    vantu_sta_stats stats = {};
    return brcm_sample_sta_stats(interface, address, &stats, 0);
}

// clang-format off
const way ways[] = {
    // name                        quoted json   refused
    {"stations: radio",             false, false, 1,  list<init_stations, vantu_ll_wlctl_assoclist>},
    {"channel: radio",              false, false, 1,  read<vantu_ll_wlctl_chanim_info, vantu_ll_wlctl_get_chanim_stats>},
    {"station report: interface",   false, false, -1, [](const char *text) { return station_report(text, mac); }},
    {"station report: address",     false, false, -1, [](const char *text) { return station_report("wl0", text); }},
    {"counters: radio",             false, false, 1,  read<vantu_ll_wlctl_wme_counters, vantu_ll_wlctl_get_wme_counters>},
    {"station data: radio",         false, false, -1, read<vantu_ll_wlctl_bsdata_list, vantu_ll_wlctl_get_bsdata>},
    {"long retries: radio",         false, false, 1,  read<int, vantu_ll_wlctl_get_long_retry_limit>},
    {"short retries: radio",        false, false, 1,  read<int, vantu_ll_wlctl_get_short_retry_limit>},
    {"categories, ap: radio",       false, false, 1,  read<vantu_ll_wlctl_wme_ac, vantu_ll_wlctl_get_wme_ac_ap>},
    {"categories, sta: radio",      false, false, 1,  read<vantu_ll_wlctl_wme_ac, vantu_ll_wlctl_get_wme_ac_sta>},
    {"discards: radio",             false, false, 1,  read<vantu_ll_wlctl_wme_dp, vantu_ll_wlctl_get_wme_dp>},
    {"activity: interface",         false, false, 1,  [](const char *text) { return brcm_is_device_active(text, mac); }},
    {"activity: address",           false, false, 1,  [](const char *text) { return brcm_is_device_active("wl0", text); }},
    {"station sample: interface",   false, false, -1, [](const char *text) { return station_sample(text, mac); }},
    {"station sample: address",     false, false, -1, [](const char *text) { return station_sample("wl0", text); }},
    {"set, add: entry",             false, false, -1, [](const char *text) { return vantu_ipset_cmd_add_member(text, "vantuvi", "A"); }},
    {"set, add: set",               false, false, -1, [](const char *text) { return vantu_ipset_cmd_add_member("192.0.2.1", text, "A"); }},
    {"set, add: operation",         false, false, -1, [](const char *text) { return vantu_ipset_cmd_add_member("192.0.2.1", "vantuvi", text); }},
    {"set, list: set",              false, false, -1, [](const char *text) { return set_members(vantu_ipset_cmd_get_members, text); }},
    {"bus: object",                 false, false, 1,  [](const char *text) { return bus_call(text, "get", "{}"); }},
    {"bus: method",                 false, false, 1,  [](const char *text) { return bus_call("uci", text, "{}"); }},
    {"bus: request",                true,  false, 1,  [](const char *text) { return bus_call("uci", "get", text); }},
    {"iwinfo, text: radio",         true,  false, 1,  list<vantu_ll_iwinfo_assoclist_sclist_init, vantu_ll_iwinfo_assoclist_direct>},
    {"iwinfo, bus: radio",          true,  true,  1,  list<vantu_ll_iwinfo_assoclist_sclist_init, vantu_ll_iwinfo_assoclist>},
    {"set by bus, add: entry",      true,  true,  1,  [](const char *text) { return vantu_ipset_ubuscmd_add_member(text, "vantuvi", "add"); }},
    {"set by bus, add: set",        true,  true,  1,  [](const char *text) { return vantu_ipset_ubuscmd_add_member("192.0.2.1", text, "add"); }},
    {"set by bus, add: operation",  true,  true,  1,  [](const char *text) { return vantu_ipset_ubuscmd_add_member("192.0.2.1", "vantuvi", text); }},
    {"set by bus, list: set",       true,  true,  -1, [](const char *text) { return set_members(vantu_ipset_ubuscmd_get_members, text); }},
    {"store: config",               true,  true,  -1, [](const char *text) { return store_value(text, "wan", "ifname"); }},
    {"store: section",              true,  true,  -1, [](const char *text) { return store_value("network", text, "ifname"); }},
    {"store: option",               true,  true,  -1, [](const char *text) { return store_value("network", "wan", text); }},
};
// clang-format on

// Each would leave a file if the shell interpreted it, or change what the tool is called with.
texts injections(const std::string &marker)
{
    const std::string run = "touch " + marker;
    return {
        ";" + run,
        "; " + run + ";",
        "wl0;" + run,
        "wl0;" + run + ";#",
        "$(" + run + ")",
        "wl0$(" + run + ")",
        "`" + run + "`",
        "wl0`" + run + "`",
        "&&" + run,
        "wl0&&" + run,
        "&" + run,
        "wl0 & " + run + " &",
        "|" + run,
        "wl0|" + run,
        "||" + run,
        "no || " + run,
        "\n" + run,
        "wl0\n" + run + "\n",
        "\r" + run,
        "wl0\r\n" + run,
        "'" + run + "'",
        "';" + run + ";'",
        "'$(" + run + ")'",
        "'`" + run + "`'",
        "'\"'" + run,
        "\"" + run + "\"",
        "\";" + run + ";\"",
        "\"}';" + run + ";'",
        "\"$(" + run + ")\"",
        ">" + marker,
        "wl0>" + marker,
        ">>" + marker,
        "2>" + marker,
        "&>" + marker,
        "<" + marker,
        "<<" + marker,
        "<(" + run + ")",
        ">(" + run + ")",
        "(" + run + ")",
        "{ " + run + "; }",
        "{wl0,wl1}",
        "wl*",
        "wl?",
        "*",
        "~",
        "~root",
        "$HOME",
        "${IFS}" + run,
        "$IFS",
        "$((1+1))",
        "$0",
        "!wl0",
        "#",
        "wl0#" + run,
        "\\",
        "wl0\\",
        "\\\n" + run,
        " ",
        "wl0 -x",
        " wl0",
        "wl0 ",
        "\t",
        "wl0\t" + run,
        "\v",
        "\f",
        "\b",
        "\a",
        "\x01",
        "\x1f",
        "\x7f",
        "\033[31mred\033[0m",
        "=cmd|' /C " + run + "'!A0",
        "=1+1",
        "%s%n;" + run,
        "K\xc3\xbc"
        "che",
        "\xe2\x80\xae",
        "\xc2\x9b"
        "31m",
        "\xff\xfe",
        "\xc0\xaf",
        "\xef\xbc\x9b" + run,
        "if true; then " + run + "; fi",
        "a=b " + run,
        "^" + run,
    };
}

// Texts that only look bad: a shell takes them as they are.
const char *const harmless[] = {"%n", "%s%s%s%n", "../../etc/passwd", "-x", "--help", "/dev/null", "@home", "+x", "."};

// What routers print.
const char *const real_names[] = {
    "wl0",
    "wl0.1",
    "wl1_2",
    "br-lan",
    "eth3",
    "eth3@if2",
    "eth0.2",
    "phy0-ap0",
    "radio0",
    "wlan0-1",
    "02:aa:bb:cc:dd:01",
    "02:AA:BB:CC:DD:01",
    "192.0.2.1",
    "2001:db8::1",
    "fe80::1%eth3",
    "fe80::1%br-lan",
    "192.0.2.1,tcp:443,192.168.1.2",
    "my-phone.lan",
    "DESKTOP_7",
    "@version[0]",
};

bool may_stand_unquoted(const std::string &text)
{
    return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:@%+,/[]-") ==
           std::string::npos;
}

bool may_stand_quoted(const std::string &text)
{
    for (size_t at = text.find('\xc2'); at != text.npos; at = text.find('\xc2', at + 1)) {
        if (at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xa0) // a control character
            return false;
    }
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return c == '\'' || static_cast<unsigned char>(c) < 0x20 || c == '\x7f'; });
}

bool may_stand(const way &where, const std::string &text)
{
    if (where.json && text.find_first_of("\xc0\xfe\xff") != std::string::npos) // no JSON can say it
        return false;
    return where.quoted ? may_stand_quoted(text) : may_stand_unquoted(text);
}

// A directory that holds the tools, each of which writes down its arguments, one a line.
class tools
{
public:
    tools()
    {
        for (const char *tool : {"wlctl", "ubus", "iwinfo"})
            dir_.add(tool, "printf '%s\\n' \"$@\" > '" + (dir_ / "arguments") + "'\n");
    }
    texts arguments() const { return support::split_lines(support::content_of(dir_ / "arguments")); }
    void forget() const { fs::remove(dir_ / "arguments"); }

private:
    support::tool_dir dir_;
};

bool has(const texts &all, const std::string &one)
{
    return std::find(all.begin(), all.end(), one) != all.end();
}

// Whether one of the texts is a request in which the text is a value.
bool has_value(const texts &all, const std::string &value)
{
    for (const std::string &argument : all) {
        const vantu::json_text request(json_tokener_parse(argument.c_str()));
        if (json_object_is_type(request.get(), json_type_object) == 0)
            continue;
        json_object_object_foreach(request.get(), name, member)
        {
            (void)name;
            if (value == json_object_get_string(member))
                return true;
        }
    }
    return false;
}

// The text arrived at the tool, as one argument or a value of a request.
void expect_passed(const way &where, const std::string &text, const texts &arguments, const std::string &what)
{
    ASSERT_EQ(started.size(), 1U) << what;
    if (started[0].compare(0, 15, "/usr/sbin/ipset") == 0)
        EXPECT_NE(started[0].find(text), std::string::npos) << what;
    else if (where.json)
        EXPECT_TRUE(has_value(arguments, text)) << what << support::lines_of(arguments);
    else
        EXPECT_TRUE(has(arguments, text)) << what << support::lines_of(arguments);
}

void expect_refused(const way &where, int result, const texts &log, const std::string &what)
{
    EXPECT_EQ(started, texts{}) << what;
    EXPECT_EQ(result, where.refused) << what;
    EXPECT_EQ(std::count(log.begin(), log.end(), refusal), 1) << what << support::lines_of(log);
}

void run_through(const way &where, const std::string &text, const tools &fakes)
{
    const std::string what = where.name + ": "s + printable(text) + "\n";
    started.clear();
    fakes.forget();
    const log_capture log;
    const int result = where.run(text.c_str());
    if (may_stand(where, text)) {
        EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), refusal), 0) << what;
        expect_passed(where, text, fakes.arguments(), what);
    } else {
        expect_refused(where, result, log.lines, what);
    }
}

TEST(HostileText, IsNoCommandWhereverItStands)
{
    const support::temp_dir dir;
    const std::string marker = dir / "ran";
    const texts all = injections(marker);
    ASSERT_GE(all.size(), 50U);
    const tools fakes;
    for (const way &where : ways) {
        for (const std::string &text : all) {
            run_through(where, text, fakes);
            ASSERT_FALSE(fs::exists(marker)) << where.name << ": " << printable(text);
        }
    }
}

TEST(HostileText, EveryInjectionIsRefusedWhereNoQuotesStandAroundIt)
{
    for (const std::string &text : injections("ran"))
        EXPECT_FALSE(may_stand_unquoted(text)) << printable(text);
}

TEST(HostileText, WhatTheShellDoesNotInterpretReachesTheToolAsItIs)
{
    const tools fakes;
    for (const way &where : ways) {
        for (const std::string text : harmless)
            run_through(where, text, fakes);
    }
}

TEST(RealNames, ReachTheToolAsTheyAre)
{
    const tools fakes;
    for (const way &where : ways) {
        for (const std::string text : real_names)
            run_through(where, text, fakes);
    }
}

TEST(HostileText, ASampleOfARadioRunsNothing)
{
    const support::temp_dir dir;
    const std::string marker = dir / "ran";
    for (const std::string &text : injections(marker)) {
        started.clear();
        const log_capture log;
        EXPECT_EQ(radio_sample(text.c_str()), 1) << printable(text);
        EXPECT_TRUE(has(log.lines, refusal)) << printable(text);
        for (const std::string &command : started)
            EXPECT_EQ(command.find(text), std::string::npos) << printable(text);
        EXPECT_FALSE(fs::exists(marker)) << printable(text);
    }
}

// ---- Requests ----

std::string value_of(const std::string &text)
{
    const vantu::json_request<600> request(R"({ "name": "%s" })", text.c_str());
    const vantu::json_text parsed(json_tokener_parse(request.text()));
    json_object *member = vantu::json_member(parsed.get(), "name");
    return member == nullptr ? "not valid: "s + request.text() : json_object_get_string(member);
}

TEST(JsonRequest, KeepsAnyTextWithoutControlCharactersAsItsValue)
{
    for (const std::string text : {"", "wl0", "\"", "\\", "\"\\", "\\\"", "\\\\", "a\"b\\c", "\", \"x\": \"y",
                                   "\\u0041", "}", "{", "[", "%s", "%n", "/",
                                   "K\xc3\xbc"
                                   "che"})
        EXPECT_EQ(value_of(text), text);
}

TEST(JsonRequest, IsRefusedForBytesThatJsonCannotSay)
{
    for (const std::string text : {"wl\xff\xfe", "\xc3", "a\xc3z", "\x80\"", "\xe2\x82", "\xc2\x9b"}) {
        const vantu::json_request<600> request(R"({ "name": "%s" })", text.c_str());
        EXPECT_FALSE(vantu::may_stand(vantu::quoted{request.text()})) << printable(text);
        EXPECT_EQ(value_of(text).size(), text.size()) << "it is valid all the same";
    }
    EXPECT_EQ(value_of("\xe2\x82\xac\xc2\xa0\xc3\xbc"), "\xe2\x82\xac\xc2\xa0\xc3\xbc");
}

TEST(JsonRequest, ATextThatIsCutEndsInsideTheQuotes)
{
    EXPECT_EQ(value_of(std::string(255, 'x')), std::string(255, 'x'));
    EXPECT_EQ(value_of(std::string(256, 'x')), std::string(255, 'x'));
    EXPECT_EQ(value_of(std::string(253, 'x') + "\""), std::string(253, 'x') + "\"");
}

TEST(JsonRequest, ACutLeavesNoHalfOfAnEscape)
{
    EXPECT_EQ(value_of(std::string(254, 'x') + "\""), std::string(254, 'x'));
    EXPECT_EQ(value_of(std::string(254, 'x') + "\\"), std::string(254, 'x'));
    EXPECT_EQ(value_of(std::string(252, 'x') + "\"\""), std::string(252, 'x') + "\"");
}

// ---- Files of rows ----

TEST(StatisticsFile, KeepsItsRowsAndColumnsWhateverAStationIsCalled)
{
    const support::temp_dir dir;
    const texts all = injections("ran");
    support::list<vantu_fpingdq_stats_init_table> pings;
    for (const std::string &text : all) {
        vantu_fpingdq_stats row = {};
        support::put(row.mac, text);
        support::put(row.radio, text);
        support::put(row.ip, "a,\"b\"\n" + text);
        ASSERT_EQ(sclist_append(&pings, &row), 1);
    }
    ASSERT_EQ(vantu_fpingdq_stats_to_csvfile(&pings, (dir / "pings.csv").c_str()), 0);
    const texts lines = support::split_lines(support::content_of(dir / "pings.csv"));
    ASSERT_EQ(lines.size(), 1 + all.size());
    const auto columns = std::count(lines[0].begin(), lines[0].end(), ',');
    for (const std::string &line : lines) {
        EXPECT_EQ(std::count(line.begin(), line.end(), ','), columns) << printable(line);
        EXPECT_EQ(std::count(line.begin(), line.end(), '"'), 0) << printable(line);
        EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 || c == '\x7f';
        })) << printable(line);
    }
}

// ---- Files that are named after a station ----

struct debug_file_case {
    std::string address;
    bool kept;
};

TEST(StationSample, WritesADebugFileOnlyForAnAddressThatCanNameOne)
{
    const std::string report = "[VER 8] STA 02:00:00:00:00:01:\n";
    const debug_file_case rows[] = {
        {"02:AA:BB:CC:7E:57", true},    {"02:aa:bb:cc:7e:57", true}, {"../02:AA:BB:CC:DD:01", false},
        {"/02:AA:BB:CC:DD:01", false},  {"../../etc/passwd", false}, {"02:AA/BB", false},
        {std::string(300, 'a'), false},
    };
    global_ops.fill_data_struct = [](const char *, const char *, void *) { return 0; };
    global_ops.calculate_delta = [](void *, void *) { return 0; };
    global_ops.data_struct_to_csv_string = [](const char *, const char *, char *, void *) { return 0; };
    const std::string directory = vantu_get_or_create_tmp_path();
    ASSERT_NE(directory, "");
    for (const debug_file_case &row : rows) {
        const fake_tool tool("wlctl", report);
        const std::string file = directory + "/vantu-kivwifi-sta-" + row.address + "-debug.csv";
        if (row.kept)
            fs::remove(file);
        const log_capture log;
        vantu_sta_stats stats = {};
        ASSERT_EQ(brcm_sample_sta_stats("wl0", row.address.c_str(), &stats, 1), 0) << row.address;
        const std::string message = "ERROR " + row.address + " cannot name a file: its samples are not kept";
        EXPECT_EQ(has(log.lines, message), !row.kept) << row.address << support::lines_of(log.lines);
        if (row.kept) {
            EXPECT_TRUE(fs::remove(file)) << row.address;
        } else if (row.address.size() < 200) {
            EXPECT_FALSE(fs::exists(file)) << row.address;
        }
    }
    global_ops = {};
}

} // namespace
