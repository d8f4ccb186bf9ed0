// The stations and the channel of a radio: the parsers over stored and made-up reports, the readers over a `wlctl`
// that is a script, the choice of the tool's path, and what makes two stations of the list the same.

#include "vantu-ll-api/vantu_ll_wlctl.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

bool router_has_tool = false; // whether /bin/wlctl is there

} // namespace

// Stands before the C library's: closes the pipe, and then fails when the test says so.
extern "C" int pclose(FILE *pipe)
{
    return pclose_answer(real<int(FILE *)>("pclose")(pipe));
}

// Stands before the C library's, since the machine that runs the tests may or may not have the router's tool.
extern "C" int stat(const char *path, struct stat *info) noexcept
{
    if (strcmp(path, "/bin/wlctl") != 0)
        return fstatat(AT_FDCWD, path, info, 0);
    if (router_has_tool) {
        *info = {};
        return 0;
    }
    errno = ENOENT;
    return -1;
}

namespace
{

std::string dump(const vantu_ll_wlctl_devicemac &station)
{
    return std::string("radio=") + station.radio + " mac=" + station.mac;
}

std::string dump(const vantu_ll_wlctl_chanim_info &info)
{
    const auto field = [](const char *name, auto value) { return name + ("=" + std::to_string(value)); };
    return field("chanspec", info.chanspec) + field(" tx", info.tx) + field(" inbss", info.inbss) +
           field(" obss", info.obss) + field(" nocat", info.nocat) + field(" nopkt", info.nopkt) +
           field(" doze", info.doze) + field(" txop", info.txop) + field(" goodtx", info.goodtx) +
           field(" badtx", info.badtx) + field(" glitch", info.glitch) + field(" badplcp", info.badplcp) +
           field(" knoise", info.knoise) + field(" idle", info.idle) + field(" busy", info.busy) +
           field(" timestamp", info.timestamp) + field(" epochstamp", info.epochstamp);
}

int init_stations(sclist_t *list)
{
    vantu_ll_wlctl_assoclist_sclist_init(list);
    return 0;
}

using stations = support::list<init_stations>;

texts dump(sclist_t &list)
{
    texts out;
    SCLIST_FOREACH(const vantu_ll_wlctl_devicemac, station, &list) {
        out.push_back(dump(*station));
    }
    SCLIST_FOREACH_END(&list)
    return out;
}

// A list that holds one station of another radio.
struct used_stations : stations {
    used_stations()
    {
        const vantu_ll_wlctl_devicemac old = {"old", "02:00:00:00:00:99"};
        EXPECT_EQ(sclist_append(this, &old), 1);
    }
};

const texts old_station = {"radio=old mac=02:00:00:00:00:99"};

// A record in which every figure is 77.
vantu_ll_wlctl_chanim_info used_info()
{
    return {77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77};
}

struct outcome {
    int result;
    texts records;
    texts log;
};

outcome parse_stations(std::string_view text, const char *radio = "wl0")
{
    used_stations list;
    log_capture log;
    const int result = internal_wlctl_assoclist(stream_of(text).get(), radio, &list);
    return {result, dump(list), log.lines};
}

outcome parse_channel(std::string_view text, vantu_ll_wlctl_chanim_info info = {})
{
    log_capture log;
    const int result = internal_wlctl_get_chanim_stats(stream_of(text).get(), &info);
    return {result, {dump(info)}, log.lines};
}

// A `wlctl` that prints `output`.
struct fake_wlctl : fake_tool {
    explicit fake_wlctl(const std::string &output, int exit_status = 0) : fake_tool("wlctl", output, exit_status) {}
};

void expect_stored_outputs(const std::string &tool, const std::function<outcome(const std::string &)> &parse)
{
    for (const std::string &name : cases_of(tool)) {
        const outcome got = parse(fixture(name + ".txt"));
        expect_stored(name, "result=" + std::to_string(got.result) + "\n" + lines_of(got.records), got.log);
    }
}

// The two readers as far as they are alike.
struct reader {
    const char *name;
    const char *arguments;                            // behind the radio
    const char *trace;                                // before the command line
    const char *empty;                                // the message for a radio without a name
    const char *report;                               // that is understood
    int (*run)(const char *radio, std::string &dump); // which holds what the output held before and after
};

int run_stations(const char *radio, std::string &output)
{
    used_stations list;
    const int result = vantu_ll_wlctl_assoclist(radio, &list);
    output = lines_of(dump(list));
    return result;
}

int run_channel(const char *radio, std::string &output)
{
    vantu_ll_wlctl_chanim_info info = used_info();
    const int result = vantu_ll_wlctl_get_chanim_stats(radio, &info);
    output = dump(info);
    return result;
}

const reader readers[] = {
    {"assoclist", "assoclist", "TRACE vantu_ll_wlctl_assoclist running ",
     "ERROR vantu_ll_wlctl_assoclist: Radio string empty.", "assoclist 02:00:00:00:00:01\n", run_stations},
    {"chanim_stats", "chanim_stats", "TRACE running: ", "ERROR vantu_ll_wlctl_get_chanim_stats: Radio string empty.",
     "version: 4\nheader\n36/80 1 2 3 4 5 6 7 8 9 10 11 -90 13 14 15\n", run_channel},
};

// ---- The station list ----

TEST(StationList, CopiesWholeRecords)
{
    stations list;
    vantu_ll_wlctl_devicemac station = {"wl0", "02:00:00:00:00:01"};
    EXPECT_EQ(list.attrs.meter(&station), sizeof(vantu_ll_wlctl_devicemac));
    EXPECT_EQ(list.attrs.copy_data, 1);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(sclist_append(&list, &station), 1);
    strcpy(station.mac, "gone");
    EXPECT_EQ(dump(list), texts{"radio=wl0 mac=02:00:00:00:00:01"});
}

TEST(StationList, IsSoughtByMacInAnyCase)
{
    stations list;
    const quiet_log quiet;
    (void)internal_wlctl_assoclist(
        stream_of("assoclist 02:00:00:00:00:aa\nassoclist 02:00:00:00:00:BB\nassoclist 02:00:00:00:00:bb\nstray\n")
            .get(),
        "wl0", &list);
    const struct {
        const char *key;
        int position; // -1: not found
    } rows[] = {
        {"02:00:00:00:00:aa", 0},
        {"02:00:00:00:00:AA", 0},
        {"02:00:00:00:00:bb", 1}, // the first whatever its case
        {"", 3},                  // a line that was not understood has no MAC
        {"02:00:00:00:00:a", -1},
        {"02:00:00:00:00:aa0", -1},
        {"wl0", -1},
    };
    for (const auto &row : rows) {
        const void *want = row.position < 0 ? nullptr : sclist_get_at(&list, static_cast<unsigned>(row.position));
        EXPECT_EQ(sclist_seek(&list, row.key), want) << row.key;
    }
    vantu_ll_wlctl_devicemac station = {"wl0", "02:00:00:00:00:aa"};
    EXPECT_EQ(list.attrs.seeker(&station, "02:00:00:00:00:AA"), 1);
    EXPECT_EQ(list.attrs.seeker(&station, "02:00:00:00:00:AB"), 0);
}

TEST(StationList, RecordsWithMacsInAnotherCaseDifferAlthoughTheyAreFoundWhichIsKept)
{
    stations list;
    const vantu_ll_wlctl_devicemac lower = {"wl0", "02:00:00:00:00:aa"};
    const vantu_ll_wlctl_devicemac upper = {"wl0", "02:00:00:00:00:AA"};
    const vantu_ll_wlctl_devicemac elsewhere = {"wl1", "02:00:00:00:00:aa"};
    (void)sclist_append(&list, &lower);
    EXPECT_NE(sclist_seek(&list, upper.mac), nullptr);
    EXPECT_EQ(sclist_locate(&list, &upper), -1);
    EXPECT_EQ(sclist_locate(&list, &elsewhere), 0); // the radio does not count
    EXPECT_LT(list.attrs.comparator(&upper, &lower), 0);
    EXPECT_GT(list.attrs.comparator(&lower, &upper), 0);
    EXPECT_EQ(list.attrs.comparator(&lower, &elsewhere), 0);
}

// ---- The parser of stations ----

TEST(StationParser, StoredOutputsGiveTheExpectedRecordsAndMessages)
{
    expect_stored_outputs("wlctl_assoclist", [](const std::string &text) { return parse_stations(text); });
}

TEST(StationParser, Lines)
{
    const std::string mac = "02:00:00:00:00:01";
    const std::string record = "radio=wl0 mac=" + mac;
    const std::string none = "radio=wl0 mac=";
    const auto refused = [](const std::string &line, int items = 0) {
        return "ERROR internal_wlctl_assoclist: wrong number of stats (" + std::to_string(items) + ") line: (" + line +
               ")";
    };
    const struct {
        const char *name;
        std::string text;
        int result;
        texts records;
        texts log;
    } rows[] = {
        {"nobody is associated", "", 0, {}, {}},
        {"one station", "assoclist " + mac + "\n", 0, {record}, {}},
        {"no last newline", "assoclist " + mac, 0, {record}, {}},
        {"CR LF", "assoclist " + mac + "\r\n", 0, {record}, {}},
        {"the same station twice", "assoclist " + mac + "\nassoclist " + mac + "\n", 0, {record, record}, {}},
        {"more blanks, a tab", "assoclist  \t" + mac + "\n", 0, {record}, {}},
        {"words behind the MAC", "assoclist " + mac + " wl0 more\n", 0, {record}, {}},
        {"no blank is needed, which is kept", "assoclist" + mac + "\n", 0, {record}, {}},
        {"any text counts as MAC, which is kept", "assoclist a,\"b\";%n\n", 0, {none + "a,\"b\";%n"}, {}},
        {"a MAC of 16 characters", "assoclist 02:00:00:00:00:1\n", 0, {none + "02:00:00:00:00:1"}, {}},
        {"a MAC of 18 characters is cut", "assoclist " + mac + "2\n", 0, {record}, {}},
        {"a stray line adds a record without MAC and stops nothing, which is kept",
         "No stations\nassoclist " + mac + "\n",
         -1,
         {none, record},
         {refused("No stations\n")}},
        {"each stray line is told",
         "one\nassoclist " + mac + "\ntwo",
         -1,
         {none, record, none},
         {refused("one\n"), refused("two")}},
        {"the word alone", "assoclist\n", -1, {none}, {refused("assoclist\n", -1)}},
        {"the word and blanks", "assoclist  \n", -1, {none}, {refused("assoclist  \n", -1)}},
        {"a blank line", "\n", -1, {none}, {refused("\n")}},
        {"a blank before the word", " assoclist " + mac + "\n", -1, {none}, {refused(" assoclist " + mac + "\n")}},
        {"the word in capitals", "ASSOCLIST " + mac + "\n", -1, {none}, {refused("ASSOCLIST " + mac + "\n")}},
        {"a part of the word", "assoc " + mac + "\n", -1, {none}, {refused("assoc " + mac + "\n")}},
        {"a line that begins with NUL", "\0assoclist\n"s, -1, {none}, {refused("", -1)}},
        {"a NUL ends the MAC", "assoclist 02:00\0:00\n"s, 0, {none + "02:00"}, {}},
        {"format characters in a stray line", "%s%n\n", -1, {none}, {refused("%s%n\n")}},
        // A read takes 255 characters.
        {"254 characters and newline", filled("assoclist " + mac + " ~", 254) + "\n", 0, {record}, {}},
        {"255 characters at the end", filled("assoclist " + mac + " ~", 255), 0, {record}, {}},
        {"255 characters leave their newline as a line of its own",
         filled("assoclist " + mac + " ~", 255) + "\n",
         -1,
         {record, none},
         {refused("\n")}},
        {"what follows 255 characters counts as a line",
         filled("assoclist " + mac + " ~", 255) + "assoclist 02:00:00:00:00:02\n",
         0,
         {record, none + "02:00:00:00:00:02"},
         {}},
        {"a MAC as long as a line can be", filled("assoclist ~", 255), 0, {none + std::string(17, 'p')}, {}},
    };
    for (const auto &row : rows) {
        const outcome got = parse_stations(row.text);
        EXPECT_EQ(got.result, row.result) << row.name;
        EXPECT_EQ(got.records, row.records) << row.name;
        EXPECT_EQ(got.log, row.log) << row.name;
    }
}

TEST(StationParser, KeepsThirteenCharactersOfTheRadio)
{
    for (const size_t length : {0U, 3U, 12U, 13U, 14U, 300U}) {
        const std::string radio(length, 'r');
        const outcome got = parse_stations("assoclist 02:00:00:00:00:01\n", radio.c_str());
        EXPECT_EQ(got.result, 0) << length;
        EXPECT_EQ(got.records, texts{"radio=" + radio.substr(0, 13) + " mac=02:00:00:00:00:01"}) << length;
    }
}

TEST(StationParser, ListsManyStations)
{
    std::string text;
    for (int i = 0; i < 300; i++)
        text += "assoclist 02:00:00:00:00:01\n";
    EXPECT_EQ(parse_stations(text).records, texts(300, "radio=wl0 mac=02:00:00:00:00:01"));
}

void survive_stations(std::string_view text)
{
    stations list;
    const int result = internal_wlctl_assoclist(stream_of(text).get(), "wl0", &list);
    ASSERT_TRUE(result == 0 || result == -1) << result << printable(text);
    ASSERT_LE(sclist_size(&list), text.size()) << printable(text);
    bool sound = true;
    bool understood = true;
    SCLIST_FOREACH(const vantu_ll_wlctl_devicemac, station, &list) {
        sound = sound && is_text(station->mac) && strcmp(station->radio, "wl0") == 0;
        understood = understood && station->mac[0] != '\0';
    }
    SCLIST_FOREACH_END(&list)
    ASSERT_TRUE(sound) << printable(text);
    ASSERT_EQ(understood, result == 0) << printable(text);
}

TEST(StationParser, EveryTruncationOfAStoredOutputGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("wlctl_assoclist"))
        every_truncation(fixture(name + ".txt"), survive_stations);
}

TEST(StationParser, EveryCorruptionOfAStoredOutputGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("wlctl_assoclist"))
        every_corruption(fixture(name + ".txt"), survive_stations);
}

// ---- The parser of the channel ----

TEST(ChannelParser, StoredOutputsGiveTheExpectedRecordsAndMessages)
{
    expect_stored_outputs("wlctl_chanim_stats", [](const std::string &text) { return parse_channel(text); });
}

// A report of the given first line and values.
std::string channel_report(const std::string &first, const std::string &values)
{
    return first + "\nheader\n" + values + "\n";
}

const char *const values_3 = "0xd0a6 1 2 3 4 5 6 7 8 9 10 11 -12 13 14";
const char *const values_4 = "36/80 1 2 3 4 5 6 7 8 9 10 11 -12 13 14 15";
const char *const dump_3 = "chanspec=53414 tx=1 inbss=2 obss=3 nocat=4 nopkt=5 doze=6 txop=7 goodtx=8 badtx=9 "
                           "glitch=10 badplcp=11 knoise=-12 idle=13 busy=0 timestamp=14 epochstamp=0";
const char *const dump_4 = "chanspec=0 tx=1 inbss=2 obss=3 nocat=4 nopkt=5 doze=6 txop=7 goodtx=8 badtx=9 "
                           "glitch=10 badplcp=11 knoise=-12 idle=13 busy=14 timestamp=15 epochstamp=0";

TEST(ChannelParser, TheFirstNumberOfTheFirstLineIsTheVersionWhichDecidesTheLayout)
{
    const struct {
        const char *name;
        const char *first;
        int version; // as told; -1: there is none
        int layout;
    } rows[] = {
        {"3", "version: 3", 3, 3},
        {"4", "version: 4", 4, 4},
        {"5", "version: 5", 5, 4},
        {"0", "version: 0", 0, 3},
        {"10", "version: 10", 10, 4},
        {"a blank behind", "version: 4 ", 4, 4},
        {"CR", "version: 4\r", 4, 4},
        {"no blank before", "v4", 4, 4},
        {"a blank before alone", " 4", 4, 4},
        {"the second number does not count", "interval 3 s, version 4", 3, 3},
        {"a point ends it", "wlctl 3.9", 3, 3},
        {"the sign is skipped as text, which is kept", "version: -1", 1, 3},
        {"leading zeros", "version: 0004", 4, 4},
        {"no digit", "version: none", -1, 0},
        {"a blank line", "", -1, 0},
        {"a digit at its beginning, which is kept", "4", -1, 0},
        {"a digit at its beginning, another number later", "4 version 4", -1, 0},
    };
    const texts none = {"ERROR internal_wlctl_get_chanim_stats: unable to get version"};
    for (const auto &row : rows) {
        const outcome got = parse_channel(channel_report(row.first, row.layout == 3 ? values_3 : values_4));
        if (row.version == -1) {
            EXPECT_EQ(got.result, -1) << row.name;
            EXPECT_EQ(got.records, texts{dump(vantu_ll_wlctl_chanim_info{})}) << row.name;
            EXPECT_EQ(got.log, none) << row.name;
            continue;
        }
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(got.records, texts{row.layout == 3 ? dump_3 : dump_4}) << row.name;
        EXPECT_EQ(got.log, texts{"TRACE Found chanim version " + std::to_string(row.version)}) << row.name;
    }
}

TEST(ChannelParser, AChannelWordInHexadecimalIsConvertedInVersion3Only)
{
    const std::string values = "0xd0a6 1 2 3 4 5 6 7 8 9 10 11 -12 13 14";
    EXPECT_EQ(parse_channel(channel_report("version: 3", values)).records, texts{dump_3});
    EXPECT_EQ(parse_channel(channel_report("version: 4", values + " 15")).records, texts{dump_4});
}

TEST(ChannelParser, ReportsThatAreNotUnderstood)
{
    const std::string us = "internal_wlctl_get_chanim_stats: ";
    const std::string no_header = "ERROR " + us + "unable to get header line";
    const std::string no_values = "ERROR " + us + "unable to chanim stats line";
    const struct {
        const char *name;
        std::string text;
        texts log;
    } rows[] = {
        {"empty output", "", {"DEBUG " + us + "unable get first line"}},
        {"the tool's complaint", "wlctl: Not Found\n", {"ERROR " + us + "unable to get version"}},
        {"a first line that begins with NUL", "\0version: 4\n"s, {"ERROR " + us + "unable to get version"}},
        {"no header, version 3", "version: 3\n", {"TRACE Found chanim version 3", no_header}},
        {"no header, version 4", "version: 4", {"TRACE Found chanim version 4", no_header}},
        {"no values, version 3", "version: 3\nheader\n", {"TRACE Found chanim version 3", no_values}},
        {"no values, version 4", "version: 4\nheader", {"TRACE Found chanim version 4", no_values}},
        {"flattened to one line",
         "version: 4 header 36/80 1 2 3 4 5 6 7 8 9 10 11 -12 13 14 15\n",
         {"TRACE Found chanim version 4", no_header}},
    };
    for (const auto &row : rows) {
        const outcome got = parse_channel(row.text, used_info());
        EXPECT_EQ(got.result, -1) << row.name;
        EXPECT_EQ(got.records, texts{dump(used_info())}) << row.name; // the parser zeroes nothing
        EXPECT_EQ(got.log, row.log) << row.name;
    }
}

TEST(ChannelParser, AFirstLineOfMoreThan255CharactersIsTwoLines)
{
    const std::string report = filled("version: 4 ~", 255) + "\n" + values_4 + "\n";
    EXPECT_EQ(parse_channel(report).records, texts{dump_4});
}

TEST(ChannelParser, ValuesBeforeAMismatchAreKept)
{
    const auto counted = [](int items) {
        return "ERROR internal_wlctl_get_chanim_stats: wrong number of stats (" + std::to_string(items) + ")";
    };
    // The names of the fields in the order of a line's columns, by layout.
    const std::vector<std::string> columns_3 = {"chanspec", "tx",      "inbss",  "obss",   "nocat",
                                                "nopkt",    "doze",    "txop",   "goodtx", "badtx",
                                                "glitch",   "badplcp", "knoise", "idle",   "timestamp"};
    std::vector<std::string> columns_4 = columns_3;
    columns_4.insert(columns_4.end() - 1, "busy");
    for (const int version : {3, 4}) {
        const std::vector<std::string> &columns = version == 3 ? columns_3 : columns_4;
        std::string values = version == 3 ? "0x1" : "36";
        for (size_t good = 1; good <= columns.size(); good++) {
            // All columns up to this one are numbers, the next is none.
            std::string want = " " + dump(used_info());
            for (size_t i = version == 3 ? 0 : 1; i < good; i++) {
                const std::string before = " " + columns[i] + "=77";
                const size_t at = want.find(before);
                ASSERT_NE(at, std::string::npos) << columns[i];
                want.replace(at, before.size(), " " + columns[i] + "=" + std::to_string(i == 0 ? 1 : 100 + i));
            }
            const outcome got =
                parse_channel(channel_report("version: " + std::to_string(version), values + " x"), used_info());
            const bool whole = good == columns.size();
            EXPECT_EQ(got.result, whole ? 0 : -1) << version << " " << good;
            EXPECT_EQ(" " + got.records.at(0), want) << version << " " << good;
            texts log = {"TRACE Found chanim version " + std::to_string(version)};
            if (!whole)
                log.push_back(counted(static_cast<int>(good)));
            EXPECT_EQ(got.log, log) << version << " " << good;
            values += " " + std::to_string(100 + good);
        }
    }
}

TEST(ChannelParser, ValueLines)
{
    constexpr int good = 100; // in place of a count: the line is understood
    const std::string nothing = dump(vantu_ll_wlctl_chanim_info{});
    const std::string rest_3 = " 1 2 3 4 5 6 7 8 9 10 11 -12 13 14";
    const std::string tail = dump_3 + strlen("chanspec=53414");
    const struct {
        const char *name;
        const char *version;
        std::string values;
        int items; // told
        std::string record;
    } rows[] = {
        {"a word of eight digits", "3", "0xffffffff" + rest_3, good, "chanspec=4294967295" + tail},
        {"a word of more digits keeps its low 32 bits", "3", "0x1d000d0a6" + rest_3, good,
         "chanspec=3489714342" + tail},
        {"capital digits", "3", "0xD0A6" + rest_3, good, "chanspec=53414" + tail},
        {"digits up to what is none", "3", "0xd0a6/80" + rest_3, good, "chanspec=53414" + tail},
        {"no digits at all", "3", "0xzz" + rest_3, good, "chanspec=0" + tail},
        {"a blank behind the prefix, which is kept", "3", "0x d0a6" + rest_3, good, "chanspec=53414" + tail},
        {"a column more is ignored", "3", values_3 + " 99"s, good, dump_3},
        {"a column more is ignored", "4", values_4 + " 99"s, good, dump_4},
        {"tabs", "4", "36/160\t1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t-12\t13\t14\t15\t", good, dump_4},
        {"a blank before the channel", "4", " "s + values_4, good, dump_4},
        {"words in the channel's place", "4", "%n;$(x)"s + rest_3 + " 15", good, dump_4},
        {"no prefix", "3", "d0a6" + rest_3, 0, nothing},
        {"a capital prefix", "3", "0Xd0a6" + rest_3, 0, nothing},
        {"a blank before the prefix", "3", " 0xd0a6" + rest_3, 0, nothing},
        {"the channel as a number", "3", "11" + rest_3, 0, nothing},
        {"a blank line", "3", "", 0, nothing},
        {"a blank line", "4", "", -1, nothing},
        {"a fraction ends the line", "4", "36/80 1.5 2", 2,
         "chanspec=0 tx=1" + nothing.substr(strlen("chanspec=0 tx=0"))},
        {"the figures of version 4 under version 3", "3", values_4, 0, nothing},
    };
    for (const auto &row : rows) {
        const outcome got = parse_channel(channel_report("version: "s + row.version, row.values));
        texts log = {"TRACE Found chanim version "s + row.version};
        if (row.items != good)
            log.push_back("ERROR internal_wlctl_get_chanim_stats: wrong number of stats (" + std::to_string(row.items) +
                          ")");
        EXPECT_EQ(got.result, row.items == good ? 0 : -1) << row.name;
        EXPECT_EQ(got.records, texts{row.record}) << row.name;
        EXPECT_EQ(got.log, log) << row.name;
    }
}

void survive_channel(std::string_view text)
{
    vantu_ll_wlctl_chanim_info info = used_info();
    const int result = internal_wlctl_get_chanim_stats(stream_of(text).get(), &info);
    ASSERT_TRUE(result == 0 || result == -1) << result << printable(text);
    ASSERT_EQ(info.epochstamp, 77U) << printable(text); // not this reader's
}

TEST(ChannelParser, EveryTruncationOfAStoredOutputIsSurvived)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("wlctl_chanim_stats"))
        every_truncation(fixture(name + ".txt"), survive_channel);
}

TEST(ChannelParser, EveryCorruptionOfAStoredOutputIsSurvived)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("wlctl_chanim_stats"))
        every_corruption(fixture(name + ".txt"), survive_channel);
}

// ---- The readers ----

TEST(StationReader, AsksTheToolOnceAndReplacesWhatTheListHeld)
{
    const fake_wlctl tool(fixture("wlctl_assoclist/two_stations.txt"));
    used_stations list;
    log_capture log;
    EXPECT_EQ(vantu_ll_wlctl_assoclist("wl0", &list), 0);
    EXPECT_EQ("result=0\n" + lines_of(dump(list)), fixture("wlctl_assoclist/two_stations.expected"));
    EXPECT_EQ(tool.calls(), "3:-i wl0 assoclist\n");
    EXPECT_EQ(log.lines, texts{"TRACE vantu_ll_wlctl_assoclist running wlctl -i wl0 assoclist"});
}

TEST(StationReader, ARadioWithoutStationsGivesAnEmptyList)
{
    const fake_wlctl tool("");
    used_stations list;
    const quiet_log quiet;
    EXPECT_EQ(vantu_ll_wlctl_assoclist("wl1.2", &list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(tool.calls(), "3:-i wl1.2 assoclist\n");
}

TEST(StationReader, AStrayLineFailsButTheStationsAreListed)
{
    const fake_wlctl tool("No stations\nassoclist 02:00:00:00:00:01\n");
    stations list;
    const quiet_log quiet;
    EXPECT_EQ(vantu_ll_wlctl_assoclist("wl0", &list), -1);
    EXPECT_EQ(dump(list), (texts{"radio=wl0 mac=", "radio=wl0 mac=02:00:00:00:00:01"}));
}

TEST(ChannelReader, AsksTheToolOnceAndZeroesTheRecordFirst)
{
    const fake_wlctl tool(fixture("wlctl_chanim_stats/version_3.txt"));
    vantu_ll_wlctl_chanim_info info = used_info();
    log_capture log;
    EXPECT_EQ(vantu_ll_wlctl_get_chanim_stats("wl1", &info), 0);
    EXPECT_EQ("result=0\n" + dump(info) + "\n", fixture("wlctl_chanim_stats/version_3.expected"));
    EXPECT_EQ(tool.calls(), "3:-i wl1 chanim_stats\n");
    EXPECT_EQ(log.lines, (texts{"TRACE running: wlctl -i wl1 chanim_stats", "TRACE Found chanim version 3"}));
}

TEST(ChannelReader, AFailedReportLeavesZeroesBehindTheLastValue)
{
    const fake_wlctl tool(channel_report("version: 4", "36/80 1 2"));
    vantu_ll_wlctl_chanim_info info = used_info();
    const quiet_log quiet;
    EXPECT_EQ(vantu_ll_wlctl_get_chanim_stats("wl0", &info), -1);
    vantu_ll_wlctl_chanim_info want = {};
    want.tx = 1;
    want.inbss = 2;
    EXPECT_EQ(dump(info), dump(want));
}

// What the output of a reader holds when nothing was read.
std::string unread(const reader &each)
{
    return each.run == run_stations ? lines_of(old_station) : dump(vantu_ll_wlctl_chanim_info{});
}

TEST(RadioReaders, AnEmptyRadioNameIsRefusedWithThreeBeforeAnythingElse)
{
    for (const reader &each : readers) {
        const fake_wlctl tool(each.report);
        std::string output;
        log_capture log;
        EXPECT_EQ(each.run("", output), 3) << each.name;
        EXPECT_EQ(log.lines, texts{each.empty}) << each.name;
        EXPECT_EQ(output, each.run == run_stations ? lines_of(old_station) : dump(used_info())) << each.name;
        EXPECT_EQ(tool.calls(), "") << each.name;
    }
}

TEST(RadioReaders, ACommandLineOf62CharactersIsRunAndALongerOneIsCutSilently)
{
    for (const reader &each : readers) {
        const std::string arguments = each.arguments;
        const size_t room = 62 - strlen("wlctl -i  ") - arguments.size();
        const struct {
            size_t radio;
            std::string behind;
        } rows[] = {
            {room, " " + arguments},
            {room + 1, " " + arguments.substr(0, arguments.size() - 1)},
            {room + arguments.size() - 1, " " + arguments.substr(0, 1)},
            {room + arguments.size() + 1, ""},
            {200, ""},
        };
        for (const auto &row : rows) {
            const std::string radio(row.radio, 'r');
            const std::string passed = "-i " + radio.substr(0, 53) + row.behind;
            const fake_wlctl tool(each.report);
            std::string output;
            log_capture log;
            EXPECT_EQ(each.run(radio.c_str(), output), 0) << each.name << row.radio;
            EXPECT_EQ(tool.calls(), (row.behind.size() < 2 ? "2:" : "3:") + passed + "\n") << each.name << row.radio;
            ASSERT_FALSE(log.lines.empty());
            EXPECT_EQ(log.lines.front(), each.trace + ("wlctl " + passed)) << each.name << row.radio;
        }
    }
}

TEST(RadioReaders, AToolThatCannotBeStartedGivesOneAndAMessage)
{
    for (const reader &each : readers) {
        const std::string command = "wlctl -i wl0 "s + each.arguments;
        EXPECT_EQ(in_child([&] {
                      std::string output;
                      log_capture log;
                      forbid_new_descriptors();
                      if (each.run("wl0", output) != 1)
                          return 1;
                      if (log.lines != texts{each.trace + command, "ERROR incorrect parameters or too many files."})
                          return 2;
                      return output != unread(each) ? 3 : 0;
                  }),
                  0)
            << each.name;
    }
}

TEST(RadioReaders, AMissingToolPrintsNothing)
{
    const temp_dir nothing;
    const search_path path(nothing.path(), true);
    const quiet_log quiet;
    std::string output;
    EXPECT_EQ(run_stations("wl0", output), 0);
    EXPECT_EQ(output, "");
    EXPECT_EQ(run_channel("wl0", output), -1);
    EXPECT_EQ(output, dump(vantu_ll_wlctl_chanim_info{}));
    EXPECT_TRUE(no_child_is_left());
}

TEST(RadioReaders, TheExitStatusOfTheToolDoesNotCount)
{
    for (const reader &each : readers) {
        const fake_wlctl tool(each.report, 1);
        const quiet_log quiet;
        std::string output;
        EXPECT_EQ(each.run("wl0", output), 0) << each.name;
    }
}

TEST(RadioReaders, AToolThatWasReapedByAnotherCountsAsSuccessWhateverWasParsed)
{
    for (const reader &each : readers) {
        for (const char *report : {each.report, "nonsense\n"}) {
            const fake_wlctl tool(report);
            EXPECT_EQ(in_child([&] {
                          (void)signal(SIGCHLD, SIG_IGN);
                          std::string output;
                          log_capture log;
                          if (each.run("wl0", output) != 0)
                              return 1;
                          // What was parsed is still there, and told.
                          return (log.lines.back().rfind("ERROR", 0) == 0) != (report != each.report) ? 2 : 0;
                      }),
                      0)
                << each.name << " " << report;
        }
    }
}

TEST(RadioReaders, AnotherFailureOfTheCloseIsToldAndTheParsersResultStands)
{
    for (const reader &each : readers) {
        for (const char *report : {each.report, "nonsense\n"}) {
            const fake_wlctl tool(report);
            std::string output;
            log_capture log;
            pclose_error = EINTR;
            EXPECT_EQ(each.run("wl0", output), report == each.report ? 0 : -1) << each.name;
            pclose_error = 0;
            ASSERT_FALSE(log.lines.empty()) << each.name;
            EXPECT_EQ(log.lines.back(), "ERROR wlctl -i wl0 "s + each.arguments + " errno:" + std::to_string(EINTR) +
                                            ", " + strerror(EINTR))
                << each.name;
        }
    }
}

TEST(RadioReaders, LeaveNoDescriptorAndNoChild)
{
    for (const reader &each : readers) {
        const fake_wlctl tool(each.report);
        const quiet_log quiet;
        std::string output;
        const size_t before = open_descriptors();
        (void)each.run("wl0", output);
        EXPECT_EQ(open_descriptors(), before) << each.name;
        EXPECT_TRUE(no_child_is_left()) << each.name;
    }
}

TEST(RadioReaders, ARadioNameThatTheShellWouldInterpretIsRefusedAndNothingRuns)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    const std::string run = "touch " + marker;
    const std::string names[] = {
        "wl0;" + run,
        "wl0|" + run,
        "wl0&" + run,
        "wl0\n" + run,
        "$(" + run + ")",
        "`" + run + "`",
        "wl0>" + marker,
        "wl0 " + run,
        "wl0||" + run,
        "wl0#",
        "'",
        "\"",
        "wl0\\",
        "~",
        "*",
        "?",
        "$HOME",
        " ",
        "wl0 assoclist;$",
        "w\xc3\xb6l0",
        "(" + run + ")\n",
        "\t",
        "wl0<" + marker,
        "!wl0",
    };
    for (const reader &each : readers) {
        for (const std::string &name : names) {
            const fake_wlctl tool(each.report);
            std::string output;
            log_capture log;
            EXPECT_EQ(each.run(name.c_str(), output), 1) << each.name << " " << printable(name);
            ASSERT_FALSE(log.lines.empty());
            EXPECT_EQ(log.lines.back(), "ERROR incorrect parameters or too many files.") << printable(name);
            EXPECT_EQ(output, unread(each)) << each.name << " " << printable(name);
            EXPECT_EQ(tool.calls(), "") << each.name << " " << printable(name);
            EXPECT_FALSE(fs::exists(marker)) << each.name << " " << printable(name);
        }
    }
}

TEST(RadioReaders, ANameThatIsDangerousOnlyBehindTheCutIsRefusedToo)
{
    const fake_wlctl tool("");
    const quiet_log quiet;
    std::string output;
    EXPECT_EQ(run_stations((std::string(100, 'r') + ";reboot").c_str(), output), 1);
    EXPECT_EQ(tool.calls(), "");
}

TEST(RadioReaders, EveryMessageNamesTheModulesFile)
{
    const fake_wlctl tool("version: 3\n");
    for (const reader &each : readers) {
        const auto names_of = [&each](const char *radio) {
            const log_capture log;
            std::string output;
            (void)each.run(radio, output);
            return log.files();
        };
        const std::set<std::string> want = {"vantu_ll_wlctl.cpp"};
        EXPECT_EQ(names_of(""), want) << each.name;
        EXPECT_EQ(names_of("wl0"), want) << each.name;
        EXPECT_EQ(names_of("wl0;"), want) << each.name; // told by the frame that all readers share
        pclose_error = EINTR;
        EXPECT_EQ(names_of("wl0"), want) << each.name;
        pclose_error = 0;
    }
}

// ---- The tool's path ----

// What the initialiser logs, and the command line that is run then, in a process of its own since the path outlives
// the call. `here` is the working directory.
texts initialised(const std::string &here, bool on_router, int times = 1)
{
    const temp_dir out;
    const std::string file = out / "log";
    EXPECT_EQ(in_child([&] {
                  router_has_tool = on_router;
                  if (chdir(here.c_str()) != 0)
                      return 1;
                  log_capture log;
                  for (int i = 0; i < times; i++)
                      vantu_ll_wlctl_init();
                  stations list;
                  (void)vantu_ll_wlctl_assoclist("wl0", &list);
                  write_file(file, lines_of(log.lines));
                  return 0;
              }),
              0);
    return split_lines(content_of(file));
}

const std::string bare_command = "TRACE vantu_ll_wlctl_assoclist running wlctl -i wl0 assoclist";
const std::string router_command = "TRACE vantu_ll_wlctl_assoclist running /bin/wlctl -i wl0 assoclist";

TEST(ToolPath, IsTheBareNameAtFirst)
{
    EXPECT_STREQ(WLCTL_PATH, "wlctl");
    EXPECT_EQ(initialised("/", true, 0), texts{bare_command});
}

TEST(ToolPath, StaysWhenThereIsAFileOfThatNameInTheWorkingDirectory)
{
    const fake_wlctl tool("");
    const temp_dir dir;
    std::ofstream(dir / "wlctl") << "";
    for (const bool on_router : {false, true})
        EXPECT_EQ(initialised(dir.path(), on_router), (texts{"INFO wlctl path is default path wlctl", bare_command}));
}

TEST(ToolPath, WhateverBearsTheNameCounts)
{
    const fake_wlctl tool("");
    const temp_dir dir;
    fs::create_directory(dir / "wlctl");
    EXPECT_EQ(initialised(dir.path(), true), (texts{"INFO wlctl path is default path wlctl", bare_command}));
}

TEST(ToolPath, BecomesTheRoutersWhenOnlyThatIsThere)
{
    const temp_dir dir;
    EXPECT_EQ(initialised(dir.path(), true), (texts{"INFO wlctl path is /bin/wlctl", router_command}));
}

TEST(ToolPath, IsTheDefaultForTheNextCallOnceItHasChanged)
{
    const temp_dir dir;
    EXPECT_EQ(initialised(dir.path(), true, 2),
              (texts{"INFO wlctl path is /bin/wlctl", "INFO wlctl path is default path /bin/wlctl", router_command}));
}

TEST(ToolPath, StaysWithAMessageWhenNeitherIsThere)
{
    const fake_wlctl tool(""); // on the search path, which is not looked at
    const temp_dir dir;
    EXPECT_EQ(initialised(dir.path(), false), (texts{"ERROR wlctl path not found", bare_command}));
}

} // namespace
