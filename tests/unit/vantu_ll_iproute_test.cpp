// The neighbour table and the gateway: the parser over stored and made-up lines, and the readers over an `ip`
// tool that is a script.

#include "vantu-ll-api/vantu_ll_iproute.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <unistd.h>

using namespace std::string_literals;
using namespace support;

namespace
{

std::string dump(const ip_neigh &neighbour)
{
    const int family = neighbour.addr_family;
    std::string address;
    for (int i = 0; i < (family == AF_INET ? 4 : family == AF_INET6 ? 16 : 0); i++) {
        char digits[3];
        (void)snprintf(digits, sizeof(digits), "%02x", neighbour.address[i]);
        address += digits;
    }
    return std::string("ip=") + neighbour.ip + " family=" +
           (family == AF_INET    ? "inet"
            : family == AF_INET6 ? "inet6"
            : family == 0        ? "none"
                                 : "?") +
           " address=" + (address.empty() ? "-" : address) + " interface=" + neighbour.interface +
           " mac=" + neighbour.mac + " status=" + neighbour.status;
}

texts dump(sclist_t &list)
{
    texts out;
    SCLIST_FOREACH(const ip_neigh, neighbour, &list) {
        out.push_back(dump(*neighbour));
    }
    SCLIST_FOREACH_END(&list)
    return out;
}

using neighbours = support::list<vantu_ll_iproute_ipneigh_list_init>;

struct outcome {
    int result;
    texts records;
    texts log;
};

outcome parse(std::string_view text)
{
    neighbours list;
    log_capture log;
    const int result = _internal_iproute_get_ip_neigh_parse(stream_of(text).get(), &list);
    return {result, dump(list), log.lines};
}

// An `ip` that prints `output`.
struct fake_ip : fake_tool {
    explicit fake_ip(const std::string &output) : fake_tool("ip", output) {}
};

// What holds for each record whatever the line was.
bool is_sound(const ip_neigh &neighbour)
{
    unsigned char address[16] = {};
    return is_text(neighbour.ip) && is_text(neighbour.interface) && is_text(neighbour.mac) &&
           is_text(neighbour.status) && neighbour.ip[0] != '\0' && neighbour.interface[0] != '\0' &&
           neighbour.status[0] != '\0' &&
           (neighbour.addr_family == 0 ||
            (inet_pton(neighbour.addr_family, neighbour.ip, address) == 1 &&
             memcmp(address, neighbour.address, neighbour.addr_family == AF_INET ? 4 : 16) == 0));
}

// Parses hostile text and checks what came of it; the shortest line that counts has eight characters.
void survive(std::string_view text)
{
    neighbours list;
    ASSERT_EQ(_internal_iproute_get_ip_neigh_parse(stream_of(text).get(), &list), 0) << printable(text);
    ASSERT_LE(sclist_size(&list), (text.size() + 1) / 8) << printable(text);
    unsigned int walked = 0;
    bool sound = true;
    SCLIST_FOREACH(const ip_neigh, neighbour, &list) {
        walked++;
        sound = sound && is_sound(*neighbour);
    }
    SCLIST_FOREACH_END(&list)
    ASSERT_TRUE(sound) << printable(text);
    ASSERT_EQ(walked, sclist_size(&list)) << printable(text);
}

TEST(NeighbourParser, StoredOutputsGiveTheExpectedRecordsAndMessages)
{
    for (const std::string &name : cases_of("ip_neigh")) {
        const std::string text = fixture(name + ".txt");
        const outcome got = parse(text);
        EXPECT_EQ(got.result, 0) << name;
        expect_stored(name, lines_of(got.records), got.log);
    }
}

TEST(NeighbourParser, EveryTruncationOfAStoredOutputGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("ip_neigh"))
        every_truncation(fixture(name + ".txt"), survive);
}

TEST(NeighbourParser, EveryCorruptionOfAStoredOutputGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("ip_neigh"))
        every_corruption(fixture(name + ".txt"), survive);
}

TEST(NeighbourParser, Lines)
{
    const std::string record = "ip=192.0.2.1 family=inet address=c0000201 interface=";
    const texts failed_address = {"ERROR failed to parse internet address"};
    const std::string a45(45, 'a');
    const std::string v6 = "2001:0db8:0000:0000:0000:ffff:255.255.255.255"; // 45 characters
    const struct {
        const char *name;
        std::string text;
        texts records;
        texts log;
    } rows[] = {
        {"empty output", "", {}, {}},
        {"blank line", "\n", {}, {}},
        {"line of blanks", "    \n", {}, {}},
        {"one word", "192.0.2.1\n", {}, {}},
        {"three words are too few", "192.0.2.1 dev br0\n", {}, {}},
        {"four words suffice", "192.0.2.1 dev br0 FAILED\n", {record + "br0 mac= status=FAILED"}, {}},
        {"the second word may be any", "192.0.2.1 on br0 FAILED\n", {record + "br0 mac= status=FAILED"}, {}},
        {"lladdr as the last of four words is the state",
         "192.0.2.1 dev br0 lladdr\n",
         {record + "br0 mac= status=lladdr"},
         {}},
        {"lladdr without state repeats the MAC as state",
         "192.0.2.1 dev br0 lladdr 02:00:00:00:00:01\n",
         {record + "br0 mac=02:00:00:00:00:01 status=02:00:00:00:00:01"},
         {}},
        {"lladdr in capitals is another word",
         "192.0.2.1 dev br0 LLADDR 02:00:00:00:00:01 STALE\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"lladdr with more behind it is another word",
         "192.0.2.1 dev br0 lladdrs 02:00:00:00:00:01 STALE\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"lladdr later than the fourth word does not count",
         "192.0.2.1 dev br0 router lladdr 02:00:00:00:00:01 STALE\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"the state is the last word, not the flag before it",
         "2001:db8::1 dev br0 lladdr 02:00:00:00:00:01 router STALE\n",
         {"ip=2001:db8::1 family=inet6 address=20010db8000000000000000000000001 interface=br0 "
          "mac=02:00:00:00:00:01 status=STALE"},
         {}},
        {"thirteen words are read",
         "192.0.2.1 dev br0 lladdr 02:00:00:00:00:01 6 7 8 9 10 11 12 STALE\n",
         {record + "br0 mac=02:00:00:00:00:01 status=STALE"},
         {}},
        {"of fourteen words the thirteenth is the state",
         "192.0.2.1 dev br0 lladdr 02:00:00:00:00:01 6 7 8 9 10 11 12 thirteen STALE\n",
         {record + "br0 mac=02:00:00:00:00:01 status=thirteen"},
         {}},
        {"tabs part words, too", "192.0.2.1\tdev\tbr0\tFAILED\n", {record + "br0 mac= status=FAILED"}, {}},
        {"no last newline", "192.0.2.1 dev br0 FAILED", {record + "br0 mac= status=FAILED"}, {}},
        {"CR LF", "192.0.2.1 dev br0 FAILED\r\n", {record + "br0 mac= status=FAILED"}, {}},
        {"a CR alone parts words, not lines",
         "192.0.2.1 dev br0 FAILED\r192.0.2.2 dev br0 STALE\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"a NUL hides the rest of its line",
         "192.0.2.1 dev br0 lladdr 02:0\0 0 STALE\n192.0.2.1 dev br0 FAILED\n"s,
         {record + "br0 mac=02:0 status=02:0", record + "br0 mac= status=FAILED"},
         {}},
        {"a NUL before the fourth word drops the line", "192.0.2.1 dev br0\0 FAILED\n"s, {}, {}},
        {"a line that begins with NUL", "\0 192.0.2.1 dev br0 FAILED\n"s, {}, {}},
        {"format characters stay", "192.0.2.1 dev %n%s FAILED\n", {record + "%n%s mac= status=FAILED"}, {}},
        {"what is no address is kept",
         "a,\"b\" dev br0 FAILED\n",
         {"ip=a,\"b\" family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"an address with a zone is none",
         "fe80::1%br0 dev br0 FAILED\n",
         {"ip=fe80::1%br0 family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"an address with a port is none",
         "192.0.2.1:80 dev br0 FAILED\n",
         {"ip=192.0.2.1:80 family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"an address beyond 255 is none",
         "192.0.2.256 dev br0 FAILED\n",
         {"ip=192.0.2.256 family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"an address text of 45 characters fits",
         v6 + " dev br0 FAILED\n",
         {"ip=" + v6 + " family=inet6 address=20010db8000000000000ffffffffffff interface=br0 mac= status=FAILED"},
         {}},
        {"an address text of 46 characters is cut",
         a45 + "b dev br0 FAILED\n",
         {"ip=" + a45 + " family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"a cut that leaves an address makes it one",
         v6 + "x dev br0 FAILED\n",
         {"ip=" + v6 + " family=inet6 address=20010db8000000000000ffffffffffff interface=br0 mac= status=FAILED"},
         {}},
        {"a device of 17 characters fits",
         "192.0.2.1 dev abcdefghijklmnopq FAILED\n",
         {record + "abcdefghijklmnopq mac= status=FAILED"},
         {}},
        {"a device of 18 characters is cut",
         "192.0.2.1 dev abcdefghijklmnopqr FAILED\n",
         {record + "abcdefghijklmnopq mac= status=FAILED"},
         {}},
        {"a MAC of 18 characters and more is cut",
         "192.0.2.1 dev ib0 lladdr 02:00:00:00:00:01:02:03:04:05 STALE\n",
         {record + "ib0 mac=02:00:00:00:00:01 status=STALE"},
         {}},
        {"a state of 17 characters fits",
         "192.0.2.1 dev br0 ABCDEFGHIJKLMNOPQ\n",
         {record + "br0 mac= status=ABCDEFGHIJKLMNOPQ"},
         {}},
        {"a state of 18 characters is cut",
         "192.0.2.1 dev br0 ABCDEFGHIJKLMNOPQR\n",
         {record + "br0 mac= status=ABCDEFGHIJKLMNOPQ"},
         {}},
        {"a bad line stops nothing", "nonsense\n192.0.2.1 dev br0 FAILED\n", {record + "br0 mac= status=FAILED"}, {}},
        {"the same line twice gives two records",
         "192.0.2.1 dev br0 FAILED\n192.0.2.1 dev br0 FAILED\n",
         {record + "br0 mac= status=FAILED", record + "br0 mac= status=FAILED"},
         {}},
        // A read takes 255 characters.
        {"254 characters and newline",
         filled("192.0.2.1 dev br0 ~ STALE", 254) + "\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"255 characters and newline",
         filled("192.0.2.1 dev br0 ~ STALE", 255) + "\n",
         {record + "br0 mac= status=STALE"},
         {}},
        {"255 characters at the end", filled("192.0.2.1 dev br0 ~ STALE", 255), {record + "br0 mac= status=STALE"}, {}},
        {"256 characters lose the last",
         filled("192.0.2.1 dev br0 ~ STALE", 256) + "\n",
         {record + "br0 mac= status=STAL"},
         {}},
        {"what follows 255 characters counts as a line",
         filled("192.0.2.1 dev br0 ~ STALE", 255) + "192.0.2.1 dev br1 FAILED\n",
         {record + "br0 mac= status=STALE", record + "br1 mac= status=FAILED"},
         {}},
        {"a device as long as a line can be",
         filled("192.0.2.1 dev ~ FAILED", 255) + "\n",
         {record + std::string(17, 'p') + " mac= status=FAILED"},
         {}},
        {"an address text as long as a line can be",
         filled("~ dev br0 FAILED", 255) + "\n",
         {"ip=" + std::string(45, 'p') + " family=none address=- interface=br0 mac= status=FAILED"},
         failed_address},
        {"a word that fills the line and the next", std::string(600, 'p') + "\n", {}, {}},
    };
    for (const auto &row : rows) {
        const outcome got = parse(row.text);
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(got.records, row.records) << row.name;
        EXPECT_EQ(got.log, row.log) << row.name;
    }
}

TEST(NeighbourParser, AppendsToWhatTheListHolds)
{
    neighbours list;
    for (int round = 0; round < 2; round++)
        EXPECT_EQ(_internal_iproute_get_ip_neigh_parse(stream_of("192.0.2.1 dev br0 FAILED\n").get(), &list), 0);
    EXPECT_EQ(sclist_size(&list), 2U);
}

TEST(NeighbourParser, AnIPv4AddressLeavesTheRestOfTheBytesZero)
{
    neighbours list;
    (void)_internal_iproute_get_ip_neigh_parse(stream_of("192.0.2.1 dev br0 FAILED\n").get(), &list);
    const auto *neighbour = static_cast<const ip_neigh *>(sclist_get_at(&list, 0));
    ASSERT_NE(neighbour, nullptr);
    const unsigned char want[16] = {192, 0, 2, 1};
    EXPECT_EQ(memcmp(neighbour->address, want, sizeof(want)), 0);
}

TEST(NeighbourList, CopiesWholeRecords)
{
    neighbours list;
    ip_neigh neighbour = {};
    EXPECT_EQ(list.attrs.meter(&neighbour), sizeof(ip_neigh));
    EXPECT_NE(list.attrs.copy_data, 0);
    strcpy(neighbour.status, "STALE");
    EXPECT_EQ(sclist_append(&list, &neighbour), 1);
    strcpy(neighbour.status, "gone");
    EXPECT_STREQ(static_cast<const ip_neigh *>(sclist_get_at(&list, 0))->status, "STALE");
}

TEST(NeighbourList, InitialiserReturnsZeroAndAnEmptyList)
{
    sclist_t list;
    EXPECT_EQ(vantu_ll_iproute_ipneigh_list_init(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    sclist_destroy(&list);
}

TEST(NeighbourList, IsSoughtByMacOrAddressInAnyCase)
{
    neighbours list;
    const quiet_log quiet;
    (void)_internal_iproute_get_ip_neigh_parse(stream_of("2001:db8::ab dev br0 lladdr 02:00:00:00:00:aa STALE\n"
                                                         "192.0.2.2 dev br1 lladdr 02:00:00:00:00:BB STALE\n"
                                                         "192.0.2.3 dev br2 FAILED\n"
                                                         "02:00:00:00:00:bb dev br3 lladdr 02:00:00:00:00:cc STALE\n")
                                                   .get(),
                                               &list);
    const struct {
        const char *key;
        const char *interface; // null: not found
    } rows[] = {
        {"02:00:00:00:00:aa", "br0"},
        {"02:00:00:00:00:AA", "br0"},
        {"2001:DB8::AB", "br0"},
        {"192.0.2.2", "br1"},
        {"02:00:00:00:00:bb", "br1"}, // the first in the list, though the fourth has it as address
        {"", "br2"},                  // no MAC equals the empty key
        {"192.0.2", nullptr},
        {"192.0.2.33", nullptr},
        {"br0", nullptr},
        {"2001:db8:0::ab", nullptr}, // the same address in another text
    };
    for (const auto &row : rows) {
        const auto *found = static_cast<const ip_neigh *>(sclist_seek(&list, row.key));
        EXPECT_STREQ(found != nullptr ? found->interface : nullptr, row.interface) << row.key;
    }
}

TEST(NeighbourList, RecordsAreEqualWhenTheirAddressTextsAreIdentical)
{
    neighbours list;
    (void)_internal_iproute_get_ip_neigh_parse(
        stream_of("192.0.2.2 dev br0 FAILED\n2001:db8::ab dev br0 lladdr 02:00:00:00:00:aa STALE\n").get(), &list);
    ip_neigh key = {};
    strcpy(key.ip, "2001:db8::ab");
    EXPECT_EQ(sclist_locate(&list, &key), 1);
    strcpy(key.ip, "2001:DB8::ab");
    strcpy(key.mac, "02:00:00:00:00:aa");
    EXPECT_EQ(sclist_locate(&list, &key), -1);

    ip_neigh other = key;
    strcpy(other.ip, "2001:DB9::ab");
    EXPECT_LT(list.attrs.comparator(&key, &other), 0);
    EXPECT_GT(list.attrs.comparator(&other, &key), 0);
    other = {};
    strcpy(other.ip, key.ip);
    EXPECT_EQ(list.attrs.comparator(&key, &other), 0);
}

TEST(NeighbourReader, AsksTheToolOnceAndReturnsTheNumberOfRecords)
{
    fake_ip ip(fixture("ip_neigh/bridge.txt"));
    neighbours list;
    log_capture log;
    EXPECT_EQ(vantu_ll_iproute_get_ip_neigh(&list), 6);
    EXPECT_EQ(lines_of(dump(list)), fixture("ip_neigh/bridge.expected"));
    EXPECT_EQ(ip.calls(), "1:neigh\n");
    EXPECT_EQ(log.lines, texts{});
    EXPECT_TRUE(no_child_is_left());
}

TEST(NeighbourReader, EmptiesTheListFirst)
{
    fake_ip ip("192.0.2.1 dev br0 FAILED\n");
    neighbours list;
    EXPECT_EQ(vantu_ll_iproute_get_ip_neigh(&list), 1);
    EXPECT_EQ(vantu_ll_iproute_get_ip_neigh(&list), 1);
    ip.prints("");
    EXPECT_EQ(vantu_ll_iproute_get_ip_neigh(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST(NeighbourReader, AMissingToolLeavesAnEmptyListAndNoMessage)
{
    neighbours list;
    const ip_neigh old = {};
    (void)sclist_append(&list, &old);
    const temp_dir nothing;
    const search_path path(nothing.path(), true);
    log_capture log;
    EXPECT_EQ(vantu_ll_iproute_get_ip_neigh(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(log.lines, texts{});
    EXPECT_TRUE(no_child_is_left());
}

TEST(NeighbourReader, APipeThatCannotBeOpenedLeavesAnEmptyListAndNoMessage)
{
    EXPECT_EQ(in_child([] {
                  neighbours list;
                  const ip_neigh old = {};
                  (void)sclist_append(&list, &old);
                  log_capture log;
                  forbid_new_descriptors();
                  if (vantu_ll_iproute_get_ip_neigh(&list) != 0)
                      return 1;
                  return sclist_size(&list) != 0 ? 2 : !log.lines.empty() ? 3 : 0;
              }),
              0);
}

TEST(NeighbourReader, LeavesNoDescriptorOpen)
{
    fake_ip ip(fixture("ip_neigh/statistics.txt"));
    neighbours list;
    const size_t before = open_descriptors();
    (void)vantu_ll_iproute_get_ip_neigh(&list);
    (void)vantu_ll_iproute_get_host_ip();
    EXPECT_EQ(open_descriptors(), before);
}

// The tool's line for a default route by way of `gateway`.
std::string route_by(const std::string &gateway)
{
    return "default via " + gateway + " dev eth0 proto static\n";
}

TEST(HostIp, IsTheThirdWordOfTheDefaultRouteOfWhichFourteenCharactersAreKept)
{
    const struct {
        const char *name;
        std::string output;
        const char *want;
    } rows[] = {
        {"short", route_by("192.0.2.1"), "192.0.2.1"},
        {"13 characters", route_by("198.51.100.12"), "198.51.100.12"},
        {"14 characters", route_by("198.51.100.123"), "198.51.100.123"},
        {"15 characters lose the last", route_by("192.168.100.199"), "192.168.100.19"},
        {"16 characters lose two", route_by("2001:db8:0:1::77"), "2001:db8:0:1::"},
        {"40 characters", route_by(std::string(40, 'a')), "aaaaaaaaaaaaaa"},
        {"the first of two routes", route_by("192.0.2.1") + route_by("192.0.2.2"), "192.0.2.1"},
        {"two words make an empty line", "default via\n", ""},
        {"one character", "default via x\n", "x"},
    };
    for (const auto &row : rows) {
        fake_ip ip(row.output);
        log_capture log;
        EXPECT_STREQ(vantu_ll_iproute_get_host_ip(), row.want) << row.name;
        EXPECT_EQ(ip.calls(), "4:route show default 0.0.0.0/0\n") << row.name;
        EXPECT_EQ(log.lines, texts{}) << row.name;
    }
    EXPECT_TRUE(no_child_is_left());
}

TEST(HostIp, IsTheModulesTextWhichTheNextCallOverwrites)
{
    fake_ip ip(route_by("192.0.2.1"));
    const char *first = vantu_ll_iproute_get_host_ip();
    EXPECT_STREQ(first, "192.0.2.1");
    ip.prints(route_by("192.0.2.2"));
    EXPECT_EQ(vantu_ll_iproute_get_host_ip(), first);
    EXPECT_STREQ(first, "192.0.2.2");
}

TEST(HostIp, StaysWhatItWasWhenTheToolPrintsNothing)
{
    fake_ip ip(route_by("192.0.2.9"));
    (void)vantu_ll_iproute_get_host_ip();
    ip.prints("");
    log_capture log;
    EXPECT_STREQ(vantu_ll_iproute_get_host_ip(), "192.0.2.9");
    EXPECT_EQ(log.lines, texts{});
}

TEST(HostIp, StaysWhatItWasWhenTheToolIsMissing)
{
    {
        fake_ip ip(route_by("192.0.2.8"));
        (void)vantu_ll_iproute_get_host_ip();
    }
    const temp_dir nothing;
    const search_path path(nothing.path(), true);
    log_capture log;
    EXPECT_STREQ(vantu_ll_iproute_get_host_ip(), "192.0.2.8");
    EXPECT_EQ(log.lines, texts{});
    EXPECT_TRUE(no_child_is_left());
}

TEST(HostIp, IsNullWithAMessageWhenThePipeCannotBeOpened)
{
    EXPECT_EQ(in_child([] {
                  log_capture log;
                  forbid_new_descriptors();
                  if (vantu_ll_iproute_get_host_ip() != nullptr)
                      return 1;
                  return log.lines != texts{"ERROR Failed to get ip of host"} ? 2 : 0;
              }),
              0);
}

bool is_empty_at_first()
{
    fake_ip ip("");
    const char *text = vantu_ll_iproute_get_host_ip();
    return text != nullptr && text[0] == '\0';
}

// In a program of its own, since the text outlives the call.
TEST(HostIpDeathTest, IsEmptyAtFirst)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(is_empty_at_first() ? 0 : 1), testing::ExitedWithCode(0), "");
}

} // namespace
