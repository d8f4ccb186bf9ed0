// The stations of a radio: the two parsers over stored and made-up outputs, and the readers over tools that are
// scripts.

#include "vantu-ll-api/vantu_ll_iwinfo.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using namespace std::string_literals;
using support::cases_of;
using support::fake_tool;
using support::forbid_new_descriptors;
using support::in_child;
using support::in_fresh_process;
using support::is_text;
using support::is_zero;
using support::lines_of;
using support::log_capture;
using support::no_child_is_left;
using support::open_descriptors;
using support::pclose_error;
using support::printable;
using support::put;
using support::stream_of;
using support::temp_dir;
using support::texts;

// Stands before the C library's: closes the pipe, and then fails when the test says so.
extern "C" int pclose(FILE *pipe)
{
    return support::pclose_answer(support::real<int(FILE *)>("pclose")(pipe));
}

namespace
{

using station = iwinfo_assoclist_device;
using stations = support::list<vantu_ll_iwinfo_assoclist_sclist_init>;

const std::string no_results = "ERROR internal_iwinfo_assoclist: failed to find array \"results\" in json";
const std::string not_parsed = "ERROR iwinfo_assoclist failed to parse json: ";

std::string direction(uint64_t rate, uint64_t bytes, uint64_t packages)
{
    return std::to_string(rate) + "/" + std::to_string(bytes) + "/" + std::to_string(packages);
}

std::string dump(const station &one)
{
    return "mac="s + one.mac + " interface=" + one.interface + " signal=" + std::to_string(one.signal) +
           " noise=" + std::to_string(one.noise) + " inactive=" + std::to_string(one.inactive) +
           " modulation=" + one.modulation + " channel_width=" + one.channel_width +
           " connected=" + std::to_string(one.sta_connect_time) +
           " rx=" + direction(one.rx_rate, one.rx_bytes, one.rx_packages) +
           " tx=" + direction(one.tx_rate, one.tx_bytes, one.tx_packages);
}

texts dump(sclist_t &list)
{
    texts out;
    for (const station &one : support::all_of<station>(list))
        out.push_back(dump(one));
    return out;
}

station station_of(const std::string &mac, const std::string &interface = "wl0")
{
    station one = {};
    put(one.mac, mac);
    put(one.interface, interface);
    return one;
}

// A list that a reading before has filled.
struct used_stations : stations {
    used_stations()
    {
        const station old = station_of("02:00:00:00:00:99", "old");
        EXPECT_EQ(sclist_append(this, &old), 1);
    }
};
const texts old_station = {dump(station_of("02:00:00:00:00:99", "old"))};

// One of the two sources.
struct source {
    const char *name;
    const char *folder;
    const char *tool;
    int (*parse)(FILE *stream, const char *radio, sclist_t *list);
    int (*read)(const char *radio, sclist_t *list);
    std::string command; // for the radio "wl0"
    std::string call;    // the same as the tool sees it
    std::string report;  // of one station
    size_t shortest;     // how many characters at least stand for a station
};

const source sources[] = {
    {"text", "iwinfo_assoclist", "iwinfo", internal_iwinfo_assoclist_direct, vantu_ll_iwinfo_assoclist_direct,
     "iwinfo 'wl0' assoclist", "2:wl0 assoclist\n",
     "02:00:00:00:01:23  -58 dBm / -93 dBm (SNR 35)  210 ms ago\n"
     "\tRX: 24.0 MBit/s                                  812 Pkts.\n"
     "\tTX: 54.0 MBit/s                                  977 Pkts.\n"
     "\texpected throughput: unknown\n\n",
     5},
    {"json", "ubus_iwinfo", "ubus", internal_iwinfo_assoclist, vantu_ll_iwinfo_assoclist,
     "ubus call iwinfo assoclist '{ \"device\": \"wl0\" }'", "4:call iwinfo assoclist { \"device\": \"wl0\" }\n",
     "{\"results\":[{\"mac\":\"02:00:00:00:01:23\",\"signal\":-58,\"noise\":-93,\"inactive\":210,"
     "\"rx\":{\"rate\":24000,\"packages\":812},\"tx\":{\"rate\":54000,\"packages\":977}}]}\n",
     2},
};
const source &text_source = sources[0];
const source &json_source = sources[1];

const texts reported_station = {
    "mac=02:00:00:00:01:23 interface=wl0 signal=-58 noise=-93 inactive=210 modulation= channel_width= connected=0 "
    "rx=24000/0/812 tx=54000/0/977"};

struct outcome {
    int result;
    texts records;
    texts log;
};

outcome parse(const source &from, std::string_view text, const char *radio = "wl0")
{
    used_stations list;
    const log_capture log;
    const int result = from.parse(stream_of(text).get(), radio, &list);
    return {result, dump(list), log.lines};
}

outcome parse_text(const std::string &text)
{
    return parse(text_source, text);
}

outcome parse_json(const std::string &text)
{
    return parse(json_source, text);
}

outcome read(const source &from, const std::string &radio)
{
    used_stations list;
    const log_capture log;
    const int result = from.read(radio.c_str(), &list);
    return {result, dump(list), log.lines};
}

// ---- Stored outputs ----

TEST(Parsers, StoredOutputsGiveTheExpectedRecordsAndMessages)
{
    for (const source &each : sources) {
        for (const std::string &name : cases_of(each.folder)) {
            const std::string text = support::fixture(name + ".txt");
            const outcome got = parse(each, text);
            EXPECT_EQ(got.result, 0) << name;
            support::expect_stored(name, lines_of(got.records), got.log);
        }
    }
}

// What holds for each record whatever the output was.
bool is_sound(const station &one)
{
    return is_text(one.mac) && is_text(one.interface) && is_text(one.modulation) && is_text(one.channel_width) &&
           strcmp(one.interface, "wl0") == 0;
}

// Parses hostile text and checks what came of it.
void survive(const source &from, std::string_view text)
{
    used_stations list;
    ASSERT_EQ(from.parse(stream_of(text).get(), "wl0", &list), 0) << printable(text);
    ASSERT_LE(sclist_size(&list), (text.size() + 1) / from.shortest) << printable(text);
    bool sound = true;
    SCLIST_FOREACH(const station, one, &list) {
        sound = sound && is_sound(*one);
    }
    SCLIST_FOREACH_END(&list)
    ASSERT_TRUE(sound) << printable(text);
}

TEST(Parsers, EveryTruncationOfAStoredOutputGivesSoundRecords)
{
    const support::quiet_log quiet;
    for (const source &each : sources) {
        for (const std::string &name : cases_of(each.folder)) {
            support::every_truncation(support::fixture(name + ".txt"),
                                      [&](std::string_view text) { survive(each, text); });
        }
    }
}

TEST(Parsers, EveryCorruptionOfAStoredOutputGivesSoundRecords)
{
    const support::quiet_log quiet;
    for (const source &each : sources) {
        for (const std::string &name : cases_of(each.folder)) {
            support::every_corruption(support::fixture(name + ".txt"),
                                      [&](std::string_view text) { survive(each, text); });
        }
    }
}

TEST(Parsers, NoStationsEmptyTheListAndGiveZero)
{
    for (const std::string output : {"", "No station connected\n", "\n\n\n\n"})
        EXPECT_EQ(parse_text(output).records, texts{}) << printable(output);
    const outcome got = parse_json("{\"results\":[]}");
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.records, texts{});
    EXPECT_EQ(got.log, texts{});
}

TEST(Parsers, TheRadioIsTheOneThatWasAskedAndIsCutTo31Characters)
{
    for (const source &each : sources) {
        const struct {
            std::string radio;
            std::string want;
        } rows[] = {
            {"wlan0", "wlan0"},
            {std::string(31, 'r'), std::string(31, 'r')},
            {std::string(32, 'r'), std::string(31, 'r')},
            {"", ""},
        };
        for (const auto &row : rows) {
            stations list;
            EXPECT_EQ(each.parse(stream_of(each.report).get(), row.radio.c_str(), &list), 0);
            ASSERT_EQ(sclist_size(&list), 1U) << each.name;
            EXPECT_EQ(support::at<station>(list, 0)->interface, row.want) << each.name;
        }
    }
}

// ---- The tool's text ----

// A block whose three lines that count are given.
std::string block(const std::string &first, const std::string &rx, const std::string &tx)
{
    return first + "\n" + rx + "\n" + tx + "\n\texpected throughput: unknown\n\n";
}

const std::string first_line = "02:00:00:00:01:23  -58 dBm / -93 dBm (SNR 35)  210 ms ago";
const std::string rx_line = "\tRX: 24.0 MBit/s    812 Pkts.";
const std::string tx_line = "\tTX: 54.0 MBit/s    977 Pkts.";

// The station of these lines with one of them replaced.
station of_first(const std::string &line)
{
    stations list;
    (void)internal_iwinfo_assoclist_direct(stream_of(block(line, rx_line, tx_line)).get(), "wl0", &list);
    EXPECT_EQ(sclist_size(&list), 1U) << line;
    return sclist_size(&list) == 0 ? station{} : *support::at<station>(list, 0);
}

TEST(TextParser, TheFirstLine)
{
    const struct {
        const char *name;
        std::string line;
        std::string mac;
        int signal;
        int noise;
        uint64_t inactive;
    } rows[] = {
        {"as it is printed", first_line, "02:00:00:00:01:23", -58, -93, 210},
        {"single blanks", "02:00:00:00:01:23 -58 dBm / -93 dBm (SNR 35) 210 ms ago", "02:00:00:00:01:23", -58, -93,
         210},
        {"runs of blanks", "   m    -58   dBm  /   -93  dBm   (SNR   35)   210   ms   ago  ", "m", -58, -93, 210},
        {"one word more", first_line + " more", "02:00:00:00:01:23", -58, -93, 210},
        {"no levels", "m unknown / unknown (SNR 0) 210 ms ago", "m", 0, 0, 0},
        {"no noise", "m -58 dBm / unknown (SNR -58) 210 ms ago", "m", -58, 0, 0},
        {"figures with words behind", "m -58x dBm / -93y dBm (SNR 35) 210ms ago", "m", -58, -93, 210},
        {"a plus sign", "m +5 dBm / +6 dBm (SNR 35) +7 ms", "m", 5, 6, 7},
        {"the largest figures", "m 2147483647 dBm / -2147483648 dBm (SNR 0) 9223372036854775807 ms", "m", INT32_MAX,
         INT32_MIN, INT64_MAX},
        {"figures beyond their range", "m 2147483648 dBm / -2147483649 dBm (SNR 0) 9223372036854775808 ms", "m",
         INT32_MAX, INT32_MIN, INT64_MAX},
        {"an idle time below zero", "m -1 dBm / -2 dBm (SNR 1) -3 ms", "m", -1, -2, 0},
        {"a mac of 31 characters", std::string(31, 'm'), std::string(31, 'm'), 0, 0, 0},
        {"a mac of 32 characters", std::string(32, 'm'), std::string(31, 'm'), 0, 0, 0},
        {"a tab stays part of the word", "\tm -58 dBm", "\tm", -58, 0, 0},
        {"a tab between words parts nothing", "m\t-58 dBm / -93", "m\t-58", 0, 0, 0},
        {"the line end stays part of the word", "m", "m\n", 0, 0, 0},
        {"an empty line", "", "\n", 0, 0, 0},
    };
    for (const auto &row : rows) {
        const station got = of_first(row.line);
        EXPECT_EQ(got.mac, row.mac) << row.name;
        EXPECT_EQ(got.signal, row.signal) << row.name;
        EXPECT_EQ(got.noise, row.noise) << row.name;
        EXPECT_EQ(got.inactive, row.inactive) << row.name;
    }
}

TEST(TextParser, TheRateLines)
{
    const struct {
        const char *name;
        std::string line;
        uint64_t rate;
        uint64_t packages;
    } rows[] = {
        {"a whole rate", "\tRX: 54.0 MBit/s    977 Pkts.", 54000, 977},
        {"6.5 MBit/s are stored as 6000", "\tRX: 6.5 MBit/s    977 Pkts.", 6000, 977},
        {"0.9 MBit/s are stored as 0", "\tRX: 0.9 MBit/s    977 Pkts.", 0, 977},
        {"indented with blanks", "        RX: 54.0 MBit/s 977 Pkts.", 54000, 977},
        {"HT details put a word in the place of the packets", "\tRX: 54.0 MBit/s, MCS 3, 20MHz   977 Pkts.", 54000, 0},
        {"VHT details do so too", "\tRX: 54.0 MBit/s, VHT-MCS 3, 20MHz, VHT-NSS 1   977 Pkts.", 54000, 0},
        {"a single figure as detail", "\tRX: 54.0 MBit/s, 5   977 Pkts.", 54000, 5},
        {"unknown has no unit, so that the packets are one word early", "\tRX: unknown   977 Pkts.", 0, 0},
        {"no packets", "\tRX: 54.0 MBit/s", 54000, 0},
        {"only the label", "\tRX:", 0, 0},
        {"an empty line", "", 0, 0},
        {"a rate below zero", "\tRX: -1.0 MBit/s 1 Pkts.", 0, 1},
        {"packets below zero", "\tRX: 1.0 MBit/s -1 Pkts.", 1000, 0},
        {"the largest figures", "\tRX: 2147483647 MBit/s 9223372036854775807 Pkts.", 2147483647000, INT64_MAX},
        {"figures beyond their range", "\tRX: 2147483648 MBit/s 9223372036854775808 Pkts.", 2147483647000, INT64_MAX},
        {"hexadecimal is not read", "\tRX: 0x10 MBit/s 0x10 Pkts.", 0, 0},
    };
    for (const auto &row : rows) {
        stations list;
        const std::string text = block(first_line, row.line, "\tTX:") + block(first_line, "\tRX:", row.line);
        (void)internal_iwinfo_assoclist_direct(stream_of(text).get(), "wl0", &list);
        ASSERT_EQ(sclist_size(&list), 2U) << row.name;
        const auto *receiving = support::at<station>(list, 0);
        const auto *sending = support::at<station>(list, 1);
        EXPECT_EQ(receiving->rx_rate, row.rate) << row.name;
        EXPECT_EQ(receiving->rx_packages, row.packages) << row.name;
        EXPECT_EQ(sending->tx_rate, row.rate) << row.name;
        EXPECT_EQ(sending->tx_packages, row.packages) << row.name;
    }
}

TEST(TextParser, AWordThatIsMissingLeavesTheStationBeforeWhichIsKept)
{
    const outcome got = parse_text(text_source.report + block("other", "\tRX:", "\tTX: 6.0"));
    ASSERT_EQ(got.records.size(), 2U);
    EXPECT_EQ(got.records[1], "mac=other\n interface=wl0 signal=-58 noise=-93 inactive=210 modulation= channel_width= "
                              "connected=0 rx=24000/0/812 tx=6000/0/977");
}

TEST(TextParser, OnlyFiveLinesAreAStation)
{
    const std::string lines = text_source.report + text_source.report;
    size_t end = 0;
    for (size_t count = 0; count <= 10; count++) {
        const outcome got = parse_text(lines.substr(0, end));
        EXPECT_EQ(got.result, 0) << count;
        EXPECT_EQ(got.records.size(), count / 5) << count;
        EXPECT_EQ(got.log, texts{}) << count;
        end = lines.find('\n', end) + 1;
    }
}

TEST(TextParser, TheFifthLineNeedsNoLineEnd)
{
    EXPECT_EQ(parse_text(block(first_line, rx_line, tx_line) + "a\nb\nc\nd\ne").records.size(), 2U);
    EXPECT_EQ(parse_text("a\nb\nc\nd\n").records.size(), 0U);
    EXPECT_EQ(parse_text("a\nb\nc\nd\n ").records.size(), 1U);
}

TEST(TextParser, TheLastTwoLinesOfABlockAreNotLookedAt)
{
    const std::string lines = first_line + "\n" + rx_line + "\n" + tx_line + "\n";
    for (const std::string rest : {"\n\n", "m 1 2 3 4 5 6 7 8\nm 1 2 3 4 5 6 7 8\n", "\tRX: 1.0 MBit/s 1\n\tTX: 2.0\n"})
        EXPECT_EQ(parse_text(lines + rest).records, reported_station) << printable(rest);
}

TEST(TextParser, ALineOf1023CharactersIsOneLineAndALongerOneIsTwo)
{
    const std::string rest = "\n" + rx_line + "\n" + tx_line + "\nx\n";
    const auto line = [&](size_t length) { return first_line + std::string(length - first_line.size(), ' '); };
    EXPECT_EQ(parse_text(line(1022) + rest + "x\n").records, reported_station);
    // The line end is a line of its own, in the place of the receive line.
    const outcome got = parse_text(line(1023) + rest);
    ASSERT_EQ(got.records.size(), 1U);
    EXPECT_NE(got.records[0].find(" rx=0/0/0 tx=24000/0/812"), std::string::npos) << got.records[0];
}

TEST(TextParser, ANulByteEndsItsLine)
{
    const outcome got = parse_text(block("m -58 dBm\0 / -93"s, rx_line, tx_line));
    ASSERT_EQ(got.records.size(), 1U);
    EXPECT_EQ(got.records[0].find("mac=m interface=wl0 signal=-58 noise=0 "), 0U) << got.records[0];
}

TEST(TextParser, ManyStationsKeepTheirOrder)
{
    std::string text;
    for (int i = 0; i < 300; i++)
        text += block("m" + std::to_string(i) + " -" + std::to_string(i) + " dBm", rx_line, tx_line);
    stations list;
    EXPECT_EQ(internal_iwinfo_assoclist_direct(stream_of(text).get(), "wl0", &list), 0);
    ASSERT_EQ(sclist_size(&list), 300U);
    int number = 0;
    for (const station &one : support::all_of<station>(list)) {
        EXPECT_EQ(one.mac, "m" + std::to_string(number));
        EXPECT_EQ(one.signal, -number);
        number++;
    }
}

// ---- The reply on ubus ----

station of_members(const std::string &members)
{
    stations list;
    (void)internal_iwinfo_assoclist(stream_of("{\"results\":[{" + members + "}]}").get(), "wl0", &list);
    EXPECT_EQ(sclist_size(&list), 1U) << members;
    return sclist_size(&list) == 0 ? station{} : *support::at<station>(list, 0);
}

TEST(JsonParser, EachMemberFillsItsFieldAndNoOther)
{
    const struct {
        const char *members;
        void (*fill)(station &one);
    } rows[] = {
        {"\"mac\":\"02:00:00:00:01:23\"", [](station &one) { put(one.mac, "02:00:00:00:01:23"); }},
        {"\"modulation\":\"ofdm\"", [](station &one) { put(one.modulation, "ofdm"); }},
        {"\"channel_width\":\"80\"", [](station &one) { put(one.channel_width, "80"); }},
        {"\"signal\":-58", [](station &one) { one.signal = -58; }},
        {"\"noise\":-93", [](station &one) { one.noise = -93; }},
        {"\"inactive\":4294967296", [](station &one) { one.inactive = 4294967296; }},
        {"\"sta_connect_time\":4294967297", [](station &one) { one.sta_connect_time = 4294967297; }},
        {"\"rx\":{\"rate\":4294967298}", [](station &one) { one.rx_rate = 4294967298; }},
        {"\"rx\":{\"bytes\":4294967299}", [](station &one) { one.rx_bytes = 4294967299; }},
        {"\"rx\":{\"packages\":4294967300}", [](station &one) { one.rx_packages = 4294967300; }},
        {"\"tx\":{\"rate\":4294967301}", [](station &one) { one.tx_rate = 4294967301; }},
        {"\"tx\":{\"bytes\":4294967302}", [](station &one) { one.tx_bytes = 4294967302; }},
        {"\"tx\":{\"packages\":4294967303}", [](station &one) { one.tx_packages = 4294967303; }},
        {"", [](station &) {}},
        {"\"Mac\":\"x\",\"signal_avg\":-1,\"rate\":1,\"bytes\":2,\"interface\":\"x\"", [](station &) {}},
        {"\"rx\":{\"packets\":9}", [](station &) {}},
        {"\"rx\":{},\"tx\":{}", [](station &) {}},
    };
    for (const auto &row : rows) {
        station want = station_of("");
        row.fill(want);
        EXPECT_EQ(dump(of_members(row.members)), dump(want)) << row.members;
    }
}

TEST(JsonParser, TextsAreCutToTheirFields)
{
    const struct {
        const char *name;
        size_t room;
        std::string (*field)(const station &one);
    } rows[] = {
        {"mac", 31, [](const station &one) { return std::string(one.mac); }},
        {"modulation", 7, [](const station &one) { return std::string(one.modulation); }},
        {"channel_width", 7, [](const station &one) { return std::string(one.channel_width); }},
    };
    for (const auto &row : rows) {
        for (const size_t length : {row.room, row.room + 1, row.room + 300}) {
            const station got = of_members("\""s + row.name + "\":\"" + std::string(length, 'x') + "\"");
            EXPECT_EQ(row.field(got), std::string(row.room, 'x')) << row.name << length;
        }
    }
}

TEST(JsonParser, NumbersBeyondTheirFieldsAreTheLargest)
{
    EXPECT_EQ(of_members("\"signal\":9999999999").signal, INT32_MAX);
    EXPECT_EQ(of_members("\"noise\":-9999999999").noise, INT32_MIN);
    EXPECT_EQ(of_members("\"inactive\":18446744073709551615").inactive, UINT64_MAX);
    EXPECT_EQ(of_members("\"inactive\":99999999999999999999").inactive, UINT64_MAX);
    EXPECT_EQ(of_members("\"inactive\":-1").inactive, 0U);
}

TEST(JsonParser, EachStationStartsFromNothing)
{
    const outcome got = parse_json(
        "{\"results\":[{\"mac\":\"a\",\"signal\":-1,\"noise\":-2,\"inactive\":3,\"modulation\":\"m\",\"channel_width\":"
        "\"w\",\"sta_connect_time\":4,\"rx\":{\"rate\":5,\"bytes\":6,\"packages\":7},\"tx\":{\"rate\":8,\"bytes\":9,"
        "\"packages\":10}},{}]}");
    EXPECT_EQ(got.records, (texts{"mac=a interface=wl0 signal=-1 noise=-2 inactive=3 modulation=m channel_width=w "
                                  "connected=4 rx=5/6/7 tx=8/9/10",
                                  dump(station_of(""))}));
}

TEST(JsonParser, AnElementThatIsNoObjectIsAStationOfWhichNothingIsKnown)
{
    const std::string nothing = dump(station_of(""));
    EXPECT_EQ(parse_json("{\"results\":[1,null,\"text\",[],true,{}]}").records, texts(6, nothing));
}

TEST(JsonParser, AReplyThatIsJsonWithoutTheArrayIsTold)
{
    for (const std::string reply :
         {"{}", "{\"Results\":[]}", "{\"results\":{}}", "{\"results\":null}", "{\"results\":\"[]\"}", "{\"results\":1}",
          "[]", "[{\"results\":[]}]", "\"results\"", "null\n", "7\n", "true\n"}) {
        const outcome got = parse_json(reply);
        EXPECT_EQ(got.result, 0) << reply;
        EXPECT_EQ(got.records, texts{}) << reply;
        EXPECT_EQ(got.log, texts{no_results}) << reply;
    }
}

TEST(JsonParser, AReplyThatDoesNotParseIsToldWithBothMessages)
{
    for (const std::string reply : {"", "\n", "Command failed: Not found\n", "{\"results\":[", "{\"results\":[{]}",
                                    "{results}", "]", "\x80\xff"}) {
        const outcome got = parse_json(reply);
        EXPECT_EQ(got.result, 0) << printable(reply);
        EXPECT_EQ(got.records, texts{}) << printable(reply);
        EXPECT_EQ(got.log, (texts{not_parsed + reply, no_results})) << printable(reply);
    }
}

TEST(JsonParser, ALongReplyThatDoesNotParseIsToldInPart)
{
    const outcome got = parse_json("{\"results\":[\"" + std::string(5000, 'x') + "\" nonsense");
    ASSERT_EQ(got.log.size(), 2U);
    EXPECT_EQ(got.log[0].find(not_parsed), 0U);
    EXPECT_NE(got.log[0].find("nonsense"), std::string::npos);
    EXPECT_EQ(got.log[1], no_results);
    EXPECT_EQ(got.records, texts{});
}

TEST(JsonParser, WhatStandsBehindTheReplyIsNotLookedAt)
{
    const outcome got = parse_json(json_source.report + "nonsense {");
    EXPECT_EQ(got.records, reported_station);
    EXPECT_EQ(got.log, texts{});
}

// Breaks a reply at its commas.
std::string broken(std::string reply, const std::string &separator)
{
    for (size_t at = 0; (at = reply.find(',', at)) != std::string::npos; at += separator.size() + 1)
        reply.insert(at + 1, separator);
    return separator + reply;
}

TEST(JsonParser, LineBreaksDoNotMatter)
{
    for (const std::string &separator : {"\n"s, "\r\n"s, "\n\t\t"s, std::string(3000, '\n'), std::string(1023, ' ')}) {
        const outcome got = parse_json(broken(json_source.report, separator));
        EXPECT_EQ(got.records, reported_station) << printable(separator.substr(0, 3));
        EXPECT_EQ(got.log, texts{}) << printable(separator.substr(0, 3));
    }
}

// Every place where the reader may have to go on is once behind the end of what it reads at a time.
TEST(JsonParser, TheLengthDoesNotMatter)
{
    for (size_t before = 700; before <= 1100; before++) {
        const outcome got = parse_json(std::string(before, ' ') + json_source.report);
        ASSERT_EQ(got.records, reported_station) << before;
        ASSERT_EQ(got.log, texts{}) << before;
    }
}

TEST(JsonParser, ManyStationsKeepTheirOrder)
{
    std::string reply = "{\"results\":[";
    for (int i = 0; i < 1000; i++)
        reply +=
            (i == 0 ? "" : ",") + "{\"mac\":\"m"s + std::to_string(i) + "\",\"signal\":-" + std::to_string(i) + "}";
    stations list;
    EXPECT_EQ(internal_iwinfo_assoclist(stream_of(reply + "]}").get(), "wl0", &list), 0);
    ASSERT_EQ(sclist_size(&list), 1000U);
    int number = 0;
    for (const station &one : support::all_of<station>(list)) {
        EXPECT_EQ(one.mac, "m" + std::to_string(number));
        EXPECT_EQ(one.signal, -number);
        number++;
    }
}

TEST(JsonParser, AnAbyssOfBracketsIsNoReply)
{
    const support::quiet_log quiet;
    const outcome got = parse_json("{\"results\":" + std::string(100000, '['));
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.records, texts{});
    EXPECT_EQ(got.log.size(), 2U);
}

// ---- The readers ----

TEST(Readers, RunTheToolAndGiveItsStationsInPlaceOfThoseBefore)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report);
        const outcome got = read(each, "wl0");
        EXPECT_EQ(got.result, 0) << each.name;
        EXPECT_EQ(got.records, reported_station) << each.name;
        EXPECT_EQ(got.log, texts{"TRACE Running: " + each.command}) << each.name;
        EXPECT_EQ(tool.calls(), each.call) << each.name;
    }
}

TEST(Readers, AnEmptyNameGivesThreeAndRunsNothing)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report);
        const outcome got = read(each, "");
        EXPECT_EQ(got.result, 3) << each.name;
        EXPECT_EQ(got.records, old_station) << each.name;
        EXPECT_EQ(got.log, texts{"ERROR vantu_ll_iwinfo_assoclist: Radio string empty."}) << each.name;
        EXPECT_EQ(tool.calls(), "") << each.name;
    }
}

TEST(Readers, AToolThatCannotBeStartedGivesOneAndAMessage)
{
    for (const source &each : sources) {
        const texts want = {"TRACE Running: " + each.command, "ERROR incorrect parameters or too many files."};
        EXPECT_EQ(in_child([&] {
                      forbid_new_descriptors();
                      const outcome got = read(each, "wl0");
                      return got.result != 1 ? 1 : got.records != old_station ? 2 : got.log != want ? 3 : 0;
                  }),
                  0)
            << each.name;
    }
}

TEST(Readers, ANameThatEndsItsQuotesOrItsLineIsRefusedAndNothingRuns)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    const std::string names[] = {
        "wl0';touch " + marker + ";'",
        "'",
        "wl0'",
        "wl0\ntouch " + marker,
        "wl0\n",
        "wl0\r",
        "wl0\t",
        "\x1b[2J",
        "wl0\x7f",
    };
    for (const source &each : sources) {
        for (const std::string &name : names) {
            const fake_tool tool(each.tool, each.report);
            const outcome got = read(each, name);
            EXPECT_EQ(got.result, 1) << each.name << printable(name);
            EXPECT_EQ(got.records, old_station) << each.name << printable(name);
            ASSERT_FALSE(got.log.empty());
            EXPECT_EQ(got.log.back(), "ERROR incorrect parameters or too many files.") << each.name << printable(name);
            EXPECT_EQ(tool.calls(), "") << each.name << printable(name);
            EXPECT_FALSE(fs::exists(marker)) << each.name << printable(name);
        }
    }
}

TEST(Readers, AnyOtherNameIsPassedOnAsItStands)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    const std::string run = "touch " + marker;
    for (const std::string &name : {"wl0;" + run, "$(" + run + ")", "`" + run + "`", "wl0 | " + run, "wl0>" + marker,
                                    "*"s, "$HOME"s, "#"s, "w\xc3\xb6l0"s, "wl0 "s, "%s%n"s}) {
        const struct {
            const source &from;
            std::string call;
        } rows[] = {
            {text_source, "2:" + name + " assoclist\n"},
            {json_source, "4:call iwinfo assoclist { \"device\": \"" + name + "\" }\n"},
        };
        for (const auto &row : rows) {
            const fake_tool tool(row.from.tool, "", 0, "printf '%s:%s\\n' \"$#\" \"$*\"");
            EXPECT_EQ(read(row.from, name).result, 0) << name;
            EXPECT_EQ(tool.calls(), row.call) << name;
            EXPECT_FALSE(fs::exists(marker)) << name;
        }
    }
}

TEST(Readers, ATextCommandOf299CharactersIsRun)
{
    const std::string name(299 - strlen("iwinfo '' assoclist"), 'r');
    const fake_tool tool("iwinfo", text_source.report);
    const outcome got = read(text_source, name);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, texts{"TRACE Running: iwinfo '" + name + "' assoclist"});
    EXPECT_EQ(tool.calls(), "2:" + name + " assoclist\n");
}

TEST(Readers, ALongerTextCommandIsCutSilently)
{
    const std::string name(300 - strlen("iwinfo '' assoclist"), 'r');
    const fake_tool tool("iwinfo", text_source.report);
    const outcome got = read(text_source, name);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, texts{"TRACE Running: iwinfo '" + name + "' assoclis"});
    EXPECT_EQ(tool.calls(), "2:" + name + " assoclis\n");
}

TEST(Readers, AnArgumentOfUbusOf255CharactersIsWholeAndALongerOneIsCutSilently)
{
    const size_t room = 255 - strlen("{ \"device\": \"\" }");
    for (const size_t over : {0U, 1U, 3U, 100U}) {
        const std::string argument = "{ \"device\": \"" + std::string(room + over, 'r') + "\" }";
        const fake_tool tool("ubus", json_source.report);
        const outcome got = read(json_source, std::string(room + over, 'r'));
        EXPECT_EQ(got.result, 0) << over;
        EXPECT_EQ(tool.calls(), "4:call iwinfo assoclist " + argument.substr(0, 255) + "\n") << over;
    }
}

TEST(Readers, TheExitStatusOfTheToolDoesNotCount)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report, 4);
        const outcome got = read(each, "wl0");
        EXPECT_EQ(got.result, 0) << each.name;
        EXPECT_EQ(got.records, reported_station) << each.name;
    }
}

TEST(Readers, AMissingToolIsARadioWithoutStations)
{
    const temp_dir nothing;
    const support::search_path path(nothing.path(), true);
    const outcome text = read(text_source, "wl0");
    EXPECT_EQ(text.result, 0);
    EXPECT_EQ(text.records, texts{});
    EXPECT_EQ(text.log, texts{"TRACE Running: " + text_source.command});
    const outcome json = read(json_source, "wl0");
    EXPECT_EQ(json.result, 0);
    EXPECT_EQ(json.records, texts{});
    EXPECT_EQ(json.log, (texts{"TRACE Running: " + json_source.command, not_parsed, no_results}));
}

TEST(Readers, AReplyThatIsJsonButDoesNotEndIsGivenUp)
{
    support::tool_dir tools;
    tools.add(json_source.tool, "printf '{ \"results\": ['; exec yes '{ \"mac\": \"02:01\" },'");
    const outcome got = read(json_source, "wl0");
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.records, texts{});
    ASSERT_EQ(got.log.size(), 4u);
    EXPECT_EQ(got.log[1], "ERROR the output does not end: the rest is not read");
    EXPECT_EQ(got.log[2].substr(0, not_parsed.size()), not_parsed);
    EXPECT_EQ(got.log[3], no_results);
}

TEST(Readers, AToolThatWasReapedByAnotherIsNoFailure)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report);
        in_fresh_process([&] {
            (void)signal(SIGCHLD, SIG_IGN);
            const outcome got = read(each, "wl0");
            EXPECT_EQ(got.result, 0) << each.name;
            EXPECT_EQ(got.records, reported_station) << each.name;
            EXPECT_EQ(got.log, texts{"TRACE Running: " + each.command}) << each.name;
        });
    }
}

TEST(Readers, AnotherFailureOfTheCloseIsToldAndTheStationsStand)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report);
        pclose_error = EINTR;
        const outcome got = read(each, "wl0");
        pclose_error = 0;
        EXPECT_EQ(got.result, 0) << each.name;
        EXPECT_EQ(got.records, reported_station) << each.name;
        EXPECT_EQ(got.log,
                  (texts{"TRACE Running: " + each.command,
                         "ERROR " + each.command + " errno:" + std::to_string(EINTR) + ", " + strerror(EINTR)}))
            << each.name;
    }
}

TEST(Readers, LeaveNoDescriptorAndNoChild)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, each.report);
        const size_t before = open_descriptors();
        (void)read(each, "wl0");
        (void)read(each, "");
        (void)read(each, "'");
        EXPECT_EQ(open_descriptors(), before) << each.name;
        EXPECT_TRUE(no_child_is_left()) << each.name;
    }
}

TEST(Readers, EveryMessageNamesTheModulesFile)
{
    for (const source &each : sources) {
        const fake_tool tool(each.tool, "nonsense");
        const auto names_of = [&each](const char *radio) {
            const log_capture log;
            stations list;
            (void)each.read(radio, &list);
            return log.files();
        };
        const std::set<std::string> want = {"vantu_ll_iwinfo.cpp"};
        EXPECT_EQ(names_of(""), want) << each.name;
        EXPECT_EQ(names_of("wl0"), want) << each.name;
        EXPECT_EQ(names_of("'"), want) << each.name;
        pclose_error = EINTR;
        EXPECT_EQ(names_of("wl0"), want) << each.name;
        pclose_error = 0;
    }
}

// ---- The list ----

TEST(StationList, CopiesItsRecords)
{
    EXPECT_EQ(vantu_ll_iwinfo_assoclist_sclist_init(nullptr), -1);
    stations list;
    station one = station_of("02:00:00:00:01:23");
    EXPECT_EQ(list.attrs.meter(&one), sizeof(station));
    EXPECT_EQ(sclist_append(&list, &one), 1);
    put(one.mac, "other");
    EXPECT_STREQ(support::at<station>(list, 0)->mac, "02:00:00:00:01:23");
}

TEST(StationList, IsSoughtByTheMacIgnoringCaseAndByNothingElse)
{
    stations list;
    for (const char *mac : {"02:00:00:00:01:aa", "02:00:00:00:01:AA", "02:00:00:00:01:BB"}) {
        const station one = station_of(mac, "wl0");
        (void)sclist_append(&list, &one);
    }
    EXPECT_EQ(sclist_seek(&list, "02:00:00:00:01:AA"), support::at<station>(list, 0));
    EXPECT_EQ(sclist_seek(&list, "02:00:00:00:01:bb"), support::at<station>(list, 2));
    EXPECT_EQ(sclist_seek(&list, "02:00:00:00:01:b"), nullptr);
    EXPECT_EQ(sclist_seek(&list, "wl0"), nullptr);
    EXPECT_EQ(sclist_seek(&list, ""), nullptr);
}

TEST(StationList, RecordsAreEqualWhenTheirMacsAreIdentical)
{
    stations list;
    const station one = station_of("02:00:00:00:01:aa", "wl0");
    (void)sclist_append(&list, &one);
    station same = station_of("02:00:00:00:01:aa", "wl1");
    same.signal = -1;
    const station other_case = station_of("02:00:00:00:01:AA", "wl0");
    EXPECT_EQ(sclist_locate(&list, &same), 0);
    EXPECT_EQ(sclist_locate(&list, &other_case), -1);
    EXPECT_LT(list.attrs.comparator(&other_case, &one), 0);
    EXPECT_GT(list.attrs.comparator(&one, &other_case), 0);
}

} // namespace
