// Leases and connections: the parsers over stored and made-up lines, the readers over the system's files and
// over a `conntrack` tool that is a script, and what makes two records of their lists the same.

#include "vantu-ll-api/vantu_ll_wrt.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_error.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

using namespace std::string_literals;
using namespace support;

namespace
{

int pipes_closed = 0;

} // namespace

// Stands before the C library's. Some libraries let a pipe be closed with fclose, too; others leave a zombie
// then.
extern "C" int pclose(FILE *pipe)
{
    pipes_closed++;
    return real<int(FILE *)>("pclose")(pipe);
}

namespace
{

std::string dump(const vantu_ll_dhcp &lease)
{
    return "expires=" + std::to_string(lease.expires) + " mac=" + lease.mac_address + " ip=" + lease.ip_address +
           " hostname=" + lease.hostname;
}

// The text that the readers of text write over the bytes of an address.
const char *text_of(const vantu_ip &address)
{
    return reinterpret_cast<const char *>(&address._u);
}

std::string dump(const vantu_ll_conntrack_flow &flow)
{
    const auto number = [](uint64_t value) { return std::to_string(value); };
    return "proto=" + number(flow.proto) + " src=" + text_of(flow.src) + " dst=" + text_of(flow.dst) +
           " sport=" + number(flow.sport) + " dport=" + number(flow.dport) + " tx=" + number(flow.tx_packets) + "/" +
           number(flow.tx_bytes) + " rx=" + number(flow.rx_packets) + "/" + number(flow.rx_bytes) +
           " mark=" + number(flow.mark) + " zone=" + number(flow.zone) + " use=" + number(flow.use) +
           " tcp_state=" + number(flow.tcp_state) + " has_delta=" + number(flow.has_delta) +
           " ip_version=" + std::to_string(flow.src.ip_version) + "/" + std::to_string(flow.dst.ip_version);
}

bool is_sound(const vantu_ll_dhcp &lease)
{
    return is_text(lease.mac_address) && is_text(lease.ip_address) && is_text(lease.hostname) &&
           lease.mac_address[0] != '\0' && strlen(lease.mac_address) <= 17 && lease.ip_address[0] != '\0' &&
           lease.hostname[0] != '\0';
}

bool is_sound(const vantu_ip &address)
{
    const char *text = text_of(address);
    return memchr(text, '\0', sizeof(address._u)) != nullptr && text[0] != '\0' && address.ip_version == 0;
}

bool is_sound(const vantu_ll_conntrack_flow &flow)
{
    return is_sound(flow.src) && is_sound(flow.dst) && flow.proto != 1 && flow.proto != 2 && flow.zone == 0 &&
           flow.has_delta == 0 && flow.tcp_state == 0;
}

template <typename Record>
texts dump_all(sclist_t &list)
{
    texts out;
    SCLIST_FOREACH(const Record, record, &list) {
        out.push_back(dump(*record));
    }
    SCLIST_FOREACH_END(&list)
    return out;
}

// How many records there are when all are sound, else -1.
template <typename Record>
int count_sound(sclist_t &list)
{
    int count = 0;
    bool sound = true;
    SCLIST_FOREACH(const Record, record, &list) {
        count++;
        sound = sound && is_sound(*record);
    }
    SCLIST_FOREACH_END(&list)
    return sound ? count : -1;
}

// A parser of this module with what the tests need to know of it.
struct reader {
    const char *fixtures;
    int (*init)(sclist_t *list);
    int (*parse)(FILE *stream, sclist_t *list);
    texts (*dump)(sclist_t &list);
    int (*count_sound)(sclist_t &list);
    size_t shortest_line; // that gives a record
};

const reader leases = {"dhcp_leases",           vantu_ll_wrt_dhcp_list_init, internal_vantu_ll_wrt_get_dhcp,
                       dump_all<vantu_ll_dhcp>, count_sound<vantu_ll_dhcp>,  strlen("1 m i h")};
const reader connections = {"conntrack",
                            vantu_ll_wrt_conntrack_list_init,
                            internal_vantu_ll_wrt_get_conntrack,
                            dump_all<vantu_ll_conntrack_flow>,
                            count_sound<vantu_ll_conntrack_flow>,
                            strlen("ipv4 src=a dst=b sport=1 dport=2 x use=1")};

struct records : sclist_t {
    explicit records(const reader &of) : owner(*this, of.init) {}
    vantu::list_owner owner;
};

struct outcome {
    int result;
    texts records;
    texts log;
};

outcome parse(const reader &by, std::string_view text)
{
    records list(by);
    log_capture log;
    const int result = by.parse(stream_of(text).get(), &list);
    return {result, by.dump(list), log.lines};
}

struct row {
    const char *name;
    std::string text;
    texts records;
    texts log;
};

template <size_t N>
void expect_rows(const reader &by, const row (&rows)[N])
{
    for (const row &each : rows) {
        const outcome got = parse(by, each.text);
        EXPECT_EQ(got.result, VANTU_LLAPI_RETURN_OK) << each.name;
        EXPECT_EQ(got.records, each.records) << each.name;
        EXPECT_EQ(got.log, each.log) << each.name;
    }
}

void expect_stored_outputs(const reader &by)
{
    for (const std::string &name : cases_of(by.fixtures)) {
        const std::string text = fixture(name + ".txt");
        const outcome got = parse(by, text);
        EXPECT_EQ(got.result, VANTU_LLAPI_RETURN_OK) << name;
        expect_stored(name, lines_of(got.records), got.log);
    }
}

// Parses hostile text and checks what came of it.
void survive(const reader &by, std::string_view text)
{
    records list(by);
    ASSERT_EQ(by.parse(stream_of(text).get(), &list), VANTU_LLAPI_RETURN_OK) << printable(text);
    ASSERT_LE(sclist_size(&list), (text.size() + 1) / by.shortest_line) << printable(text);
    ASSERT_EQ(by.count_sound(list), static_cast<int>(sclist_size(&list))) << printable(text);
}

template <typename Every>
void expect_sound_records(const reader &by, Every every)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of(by.fixtures))
        every(fixture(name + ".txt"), [&by](std::string_view text) { survive(by, text); });
}

// A list that holds one record, which every reader has to drop.
struct used_records : records {
    explicit used_records(const reader &of) : records(of)
    {
        const std::string line = of.init == leases.init ? "1 m i h" : "ipv4 src=a dst=b sport=1 dport=2 x use=1";
        (void)of.parse(stream_of(line).get(), this);
        EXPECT_EQ(sclist_size(this), 1U);
    }
};

TEST(LeaseParser, StoredFilesGiveTheExpectedRecordsAndMessages)
{
    expect_stored_outputs(leases);
}

TEST(LeaseParser, EveryTruncationOfAStoredFileGivesSoundRecords)
{
    expect_sound_records(leases, every_truncation);
}

TEST(LeaseParser, EveryCorruptionOfAStoredFileGivesSoundRecords)
{
    expect_sound_records(leases, every_corruption);
}

TEST(LeaseParser, Lines)
{
    const std::string lease = "1790000000 02:00:00:00:00:01 192.0.2.1 ";
    const std::string record = "expires=1790000000 mac=02:00:00:00:00:01 ip=192.0.2.1 hostname=";
    const std::string a39(39, 'a');
    const auto refused = [](const std::string &line) { return texts{"ERROR Error parsing dhcp " + line}; };

    const row rows[] = {
        {"empty file", "", {}, {}},
        {"blank line", "\n", {}, refused("\n")},
        {"line of blanks", "  \n", {}, refused("  \n")},
        {"one column", "1790000000\n", {}, refused("1790000000\n")},
        {"two columns", "1790000000 02:00:00:00:00:01\n", {}, refused("1790000000 02:00:00:00:00:01\n")},
        {"three columns", lease + "\n", {}, refused(lease + "\n")},
        {"four columns", lease + "tablet\n", {record + "tablet"}, {}},
        {"five columns, of which the last is ignored", lease + "tablet 01:02\n", {record + "tablet"}, {}},
        {"six columns", lease + "tablet 01:02 more\n", {record + "tablet"}, {}},
        {"no name", lease + "*\n", {record + "*"}, {}},
        {"a name with separators of other formats", lease + "a,\"b\";'%n'\n", {record + "a,\"b\";'%n'"}, {}},
        {"a name in UTF-8", lease + "b\xc3\xbcro\n", {record + "b\xc3\xbcro"}, {}},
        {"tabs and more blanks between",
         " 1790000000\t02:00:00:00:00:01  192.0.2.1\ttablet\n",
         {record + "tablet"},
         {}},
        {"expiry zero", "0 m i h\n", {"expires=0 mac=m ip=i hostname=h"}, {}},
        {"the latest expiry", "4294967295 m i h\n", {"expires=4294967295 mac=m ip=i hostname=h"}, {}},
        {"expiry is no number", "soon m i h\n", {}, refused("soon m i h\n")},
        {"the server's DUID", "duid 00:01:02\n", {}, {}},
        {"a long DUID", "duid " + std::string(100, '0') + "\n", {}, {}},
        {"a DUID without blank", "duid00:01\n", {}, {}},
        {"duid alone", "duid\n", {}, refused("duid\n")},
        {"duid and a blank", "duid \n", {}, refused("duid \n")},
        {"duid behind a blank", " duid 00:01\n", {}, refused(" duid 00:01\n")},
        {"DUID in capitals", "DUID 00:01\n", {}, refused("DUID 00:01\n")},
        {"comment", "# made by hand\n", {}, refused("# made by hand\n")},
        {"format characters in a bad line", "%s%n\n", {}, refused("%s%n\n")},
        {"a bad line stops nothing",
         "bad\n" + lease + "a\nworse\n" + lease + "b\n",
         {record + "a", record + "b"},
         {"ERROR Error parsing dhcp bad\n", "ERROR Error parsing dhcp worse\n"}},
        {"no last newline", lease + "tablet", {record + "tablet"}, {}},
        {"CR LF", lease + "tablet\r\n", {record + "tablet"}, {}},
        {"CR LF after three columns", lease + "\r\n", {}, refused(lease + "\r\n")},
        {"a NUL hides the rest of its line",
         lease + "tab\0let 01\n"s + lease + "b\n",
         {record + "tab", record + "b"},
         {}},
        {"a line that begins with NUL", "\0 1790000000 m i h\n"s, {}, refused("")},
        {"a NUL before the fourth column", "1 m i\0 h\n"s, {}, refused("1 m i")},
        {"a MAC of 17 characters",
         "1 abcdefghijklmnopq i h\n",
         {"expires=1 mac=abcdefghijklmnopq ip=i hostname=h"},
         {}},
        {"a MAC of 18 characters spills into the next columns",
         "1 abcdefghijklmnopqr i h\n",
         {"expires=1 mac=abcdefghijklmnopq ip=r hostname=i"},
         {}},
        {"an address of 39 characters", "1 m " + a39 + " h\n", {"expires=1 mac=m ip=" + a39 + " hostname=h"}, {}},
        {"an address of 40 characters spills into the name",
         "1 m " + a39 + "b h\n",
         {"expires=1 mac=m ip=" + a39 + " hostname=b"},
         {}},
        {"spilling makes up for a missing column",
         "1 abcdefghijklmnopqr i\n",
         {"expires=1 mac=abcdefghijklmnopq ip=r hostname=i"},
         {}},
        // A read takes 255 characters, so that a name cannot have more than 248 of them.
        {"254 characters and newline",
         filled("1 m i ~", 254) + "\n",
         {"expires=1 mac=m ip=i hostname=" + std::string(248, 'p')},
         {}},
        {"255 characters leave the newline as a line",
         filled("1 m i ~", 255) + "\n",
         {"expires=1 mac=m ip=i hostname=" + std::string(249, 'p')},
         refused("\n")},
        {"255 characters at the end",
         filled("1 m i ~", 255),
         {"expires=1 mac=m ip=i hostname=" + std::string(249, 'p')},
         {}},
        {"256 characters leave the last as a line",
         filled("1 m i ~", 256) + "\n",
         {"expires=1 mac=m ip=i hostname=" + std::string(249, 'p')},
         refused("p\n")},
        {"what follows 255 characters counts as a line",
         filled("1 m i ~", 255) + "2 m i h\n",
         {"expires=1 mac=m ip=i hostname=" + std::string(249, 'p'), "expires=2 mac=m ip=i hostname=h"},
         {}},
        {"a bad line of 600 characters",
         std::string(600, 'p'),
         {},
         {"ERROR Error parsing dhcp " + std::string(255, 'p'), "ERROR Error parsing dhcp " + std::string(255, 'p'),
          "ERROR Error parsing dhcp " + std::string(90, 'p')}},
    };
    expect_rows(leases, rows);
}

TEST(LeaseParser, EmptiesTheListFirst)
{
    used_records list(leases);
    EXPECT_EQ(internal_vantu_ll_wrt_get_dhcp(stream_of("2 m2 i2 h2\n").get(), &list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(leases.dump(list), texts{"expires=2 mac=m2 ip=i2 hostname=h2"});
    EXPECT_EQ(internal_vantu_ll_wrt_get_dhcp(stream_of("").get(), &list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST(LeaseParser, WithoutStreamFailsSilentlyAndLeavesAnEmptyList)
{
    used_records list(leases);
    log_capture log;
    EXPECT_EQ(internal_vantu_ll_wrt_get_dhcp(nullptr, &list), VANTU_LLAPI_RETURN_ERR_GENERAL);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(log.lines, texts{});
}

// Lines of the kernel's table. What a line needs stands in it by default.
const std::string head = "ipv4     2 tcp      6 3618 ESTABLISHED ";
const std::string addresses = "src=192.168.7.10 dst=203.0.113.1 ";
const std::string ports = "sport=51746 dport=443 ";
const std::string reply = "src=203.0.113.1 dst=198.51.100.2 sport=443 dport=51746 ";
const std::string known = "src=192.168.7.10 dst=203.0.113.1 sport=51746 dport=443 ";
const std::string nothing_else = " zone=0 use=2 tcp_state=0 has_delta=0 ip_version=0/0";
const std::string uncounted = "proto=6 " + known + "tx=0/0 rx=0/0 mark=0" + nothing_else;

texts refused(const std::string &what, const std::string &shown = "ipv4")
{
    return {"ERROR internal_vantu_ll_wrt_get_conntrack: Error " + what + " " + shown};
}

TEST(ConnectionParser, StoredTablesGiveTheExpectedRecordsAndMessages)
{
    expect_stored_outputs(connections);
}

TEST(ConnectionParser, EveryTruncationOfAStoredTableGivesSoundRecords)
{
    expect_sound_records(connections, every_truncation);
}

TEST(ConnectionParser, EveryCorruptionOfAStoredTableGivesSoundRecords)
{
    expect_sound_records(connections, every_corruption);
}

TEST(ConnectionParser, LinesOfOtherKindsArePassedOverSilently)
{
    const std::string rest = "     2 tcp      6 3618 ESTABLISHED " + addresses + ports + reply + "mark=0 use=2\n";
    const row rows[] = {
        {"empty table", "", {}, {}},
        {"blank line", "\n", {}, {}},
        {"blank line, CR LF", "\r\n", {}, {}},
        {"blanks and newline", "   \n", {}, {}},
        {"IPv6", "ipv6" + rest, {}, {}},
        {"no family", "tcp      6 3618 ESTABLISHED " + addresses + ports + reply + "mark=0 use=2\n", {}, {}},
        {"family in capitals", "IPv4" + rest, {}, {}},
        {"more behind the family", "ipv4x" + rest, {}, {}},
        {"less of the family", "ipv" + rest, {}, {}},
        {"a tab parts no words", "ipv4\t2 tcp 6 " + addresses + ports + "use=2\n", {}, {}},
        {"the family alone on its line", "ipv4\n", {}, {}},
        {"a NUL behind less of the family", "ip\0v4"s + rest, {}, {}},
        {"the tool's closing line", "conntrack v1.4.7 (conntrack-tools): 5 flow entries have been shown.\n", {}, {}},
        {"ICMP", "ipv4 2 icmp 1 29 " + addresses + "type=8 code=0 id=1 use=2\n", {}, {}},
        {"IGMP", "ipv4 2 unknown 2 29 " + addresses + "use=2\n", {}, {}},
        {"ICMP by its number alone", "ipv4 2 tcp 1 29 " + addresses + ports + "x use=2\n", {}, {}},
        {"ICMP without addresses", "ipv4 2 icmp 1\n", {}, {}},
        {"IGMP without destination", "ipv4 2 unknown 2 src=192.0.2.1\n", {}, {}},
        {"protocol 257 counts as ICMP", "ipv4 2 what 257 29 " + addresses + ports + "x use=2\n", {}, {}},
        {"protocol 258 counts as IGMP", "ipv4 2 what 258 29 " + addresses + ports + "x use=2\n", {}, {}},
    };
    expect_rows(connections, rows);
}

TEST(ConnectionParser, EachMissingPartIsRefusedWithItsNumberAndTheFirstWordOfTheLine)
{
    const std::string counters = "packets=2 bytes=327 ";
    const row rows[] = {
        {"blanks only", "   ", {}, refused("0 parsing line", "   ")},
        {"a line that begins with NUL", "\0ipv4 2\n"s, {}, refused("0 parsing line", "")},
        {"a NUL behind blanks", "  \0ipv4 2\n"s, {}, refused("0 parsing line", "  ")},
        {"the family alone", "ipv4", {}, refused("1 parsing line")},
        {"the family and a blank", "ipv4 \n", {}, refused("1 parsing line")},
        {"no addresses", head + "\n", {}, refused("1 parsing line")},
        {"no source", head + "dst=203.0.113.1 " + ports + "use=2\n", {}, refused("1 parsing line")},
        {"an empty source is none", head + "src= dst=203.0.113.1 " + ports + "use=2\n", {}, refused("1 parsing line")},
        {"source in capitals is none", head + "SRC=192.0.2.1\n", {}, refused("1 parsing line")},
        {"the line ends with the source", head + "src=192.0.2.1", {}, refused("2 parsing line")},
        {"no destination", head + "src=192.0.2.1 " + ports + "use=2\n", {}, refused("2 parsing line")},
        {"an empty destination", head + "src=192.0.2.1 dst= " + ports + "use=2\n", {}, refused("2 parsing line")},
        {"a word before the destination",
         head + "src=192.0.2.1 x dst=192.0.2.2 " + ports + "use=2\n",
         {},
         refused("2 parsing line")},
        {"the line ends with the destination", head + "src=192.0.2.1 dst=192.0.2.2\n", {}, refused("4 parsing line")},
        {"no source port", head + addresses + "dport=443 use=2\n", {}, refused("3 parsing line")},
        {"a newline for the source port", head + addresses + "\n", {}, refused("3 parsing line")},
        {"an empty source port", head + addresses + "sport= dport=443 use=2\n", {}, refused("3 parsing line")},
        {"a source port that is no number",
         head + addresses + "sport=http dport=443 use=2\n",
         {},
         refused("3 parsing line")},
        {"a protocol without ports", "ipv4 2 gre 47 29 " + addresses + "srckey=0x0\n", {}, refused("3 parsing line")},
        {"the line ends with the source port", head + addresses + "sport=51746\n", {}, refused("6 parsing line")},
        {"no destination port", head + addresses + "sport=1 use=2\n", {}, refused("5 parsing line")},
        {"an empty destination port", head + addresses + "sport=1 dport= use=2\n", {}, refused("5 parsing line")},
        {"a destination port that is no number",
         head + addresses + "sport=1 dport=x use=2\n",
         {},
         refused("5 parsing line")},
        {"a newline behind the ports", head + known + "\n", {}, refused("7 parsing found == 0")},
        {"a blank behind the ports", head + known, {}, refused("8 parsing packets")},
        {"the line ends with the destination port",
         head + addresses + "sport=1 dport=2\n",
         {},
         refused("8 parsing packets")},
        {"the line ends with the packets", head + known + "packets=2\n", {}, refused("10 parsing bytes")},
        {"no use count", head + known + reply + "[ASSURED] mark=0 zone=0\n", {}, refused("7 parsing found == 0")},
        {"an empty use count", head + known + reply + "use=\n", {}, refused("7 parsing found == 0")},
        {"a use count that is no number", head + known + reply + "use=x\n", {}, refused("7 parsing found == 0")},
        {"a word that ends in use=", head + known + reply + "reuse=2\n", {}, refused("7 parsing found == 0")},
        {"counters, but no use count",
         head + known + counters + reply + counters + "mark=0\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but the use count stands before the mark",
         head + known + counters + reply + counters + "use=2 mark=0\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but no mark: the search for it passes the use count",
         head + known + counters + reply + counters + "use=2\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but a word that only ends in mark=",
         head + known + counters + reply + counters + "nmark=0 use=2\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but no packets of the reply",
         head + known + counters + reply + "mark=0 use=2\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but no bytes of the reply",
         head + known + counters + reply + "packets=1 mark=0 use=2\n",
         {},
         refused("7 parsing found == 0")},
        {"counters, but the bytes of the reply stand before its packets",
         head + known + counters + reply + "bytes=85 packets=1 mark=0 use=2\n",
         {},
         refused("7 parsing found == 0")},
        {"the line ends with the counters",
         head + known + "packets=2 bytes=327\n",
         {},
         refused("7 parsing found == 0")},
        {"blanks before the family are shown with it", "  ipv4 2 tcp 6\n", {}, refused("1 parsing line", "  ipv4")},
        {"CR LF", "ipv4 2 tcp 6\r\n", {}, refused("1 parsing line")},
        {"a NUL hides the use count", head + known + reply + "mark=0 \0use=2\n"s, {}, refused("7 parsing found == 0")},
        {"a NUL hides the ports", head + addresses + "\0"s + ports + "use=2\n", {}, refused("4 parsing line")},
    };
    expect_rows(connections, rows);
}

TEST(ConnectionParser, LinesThatAreTaken)
{
    const std::string counters = "packets=2 bytes=327 ";
    const std::string other = "packets=1 bytes=85 ";
    const std::string counted = "proto=6 " + known + "tx=2/327 rx=1/85 mark=";
    const auto from = [](const std::string &source) {
        return "proto=6 src=" + source + " dst=203.0.113.1 sport=51746 dport=443 tx=0/0 rx=0/0 mark=0" + nothing_else;
    };
    const auto between = [](const std::string &ports_of_it) {
        return "proto=6 src=192.168.7.10 dst=203.0.113.1 " + ports_of_it + " tx=0/0 rx=0/0 mark=0" + nothing_else;
    };
    const auto of_protocol = [](const std::string &number) {
        return "proto=" + number + " " + known + "tx=0/0 rx=0/0 mark=0" + nothing_else;
    };
    const auto used = [](const std::string &count) {
        return "proto=6 " + known + "tx=0/0 rx=0/0 mark=0 zone=0 use=" + count +
               " tcp_state=0 has_delta=0 ip_version=0/0";
    };

    const row rows[] = {
        {"all there is",
         head + known + counters + reply + other + "[ASSURED] mark=7 zone=5 use=2\n",
         {counted + "7" + nothing_else},
         {}},
        {"no state", "ipv4 2 tcp 6 " + known + reply + "[OFFLOAD] mark=0 use=2\n", {uncounted}, {}},
        {"no counters", head + known + reply + "mark=0 zone=0 use=2\n", {uncounted}, {}},
        {"no counters: the mark is not read", head + known + reply + "mark=7 zone=5 use=2\n", {uncounted}, {}},
        {"no counters of the original direction: those of the reply are not read, nor is the mark",
         head + known + reply + other + "mark=7 use=2\n",
         {uncounted},
         {}},
        {"no reply", head + known + "use=2\n", {uncounted}, {}},
        {"words between reply and mark",
         head + known + counters + reply + other + "[ASSURED] [FASTNAT] nmark=9 mark=7 sc=0 slan attrs= use=2\n",
         {counted + "7" + nothing_else},
         {}},
        {"packets that are no number count as none",
         head + known + "packets=x bytes=327 " + reply + other + "mark=7 use=2\n",
         {uncounted},
         {}},
        {"bytes that are no number stay zero",
         head + known + "packets=2 bytes=x " + reply + other + "mark=7 use=2\n",
         {"proto=6 " + known + "tx=2/0 rx=1/85 mark=7" + nothing_else},
         {}},
        {"another word in place of the bytes",
         head + known + "packets=2 [UNREPLIED] " + reply + other + "mark=7 use=2\n",
         {"proto=6 " + known + "tx=2/0 rx=1/85 mark=7" + nothing_else},
         {}},
        {"only the first use count", head + known + reply + "use=2 use=3\n", {uncounted}, {}},
        {"a use count that is no number is passed over", head + known + "use=x use=2\n", {uncounted}, {}},
        {"more blanks", "   ipv4   2   tcp  6   " + known + "  x   use=2   \n", {uncounted}, {}},
        {"no last newline", head + known + reply + "mark=0 use=2", {uncounted}, {}},
        {"CR LF", head + known + reply + "mark=0 use=2\r\n", {uncounted}, {}},
        {"a NUL behind the use count", head + known + "x use=2 \0 rest\n"s, {uncounted}, {}},
        {"a bad line stops nothing", head + "\n" + head + known + "use=2\n", {uncounted}, refused("1 parsing line")},
        {"the same connection twice", head + known + "use=2\n" + head + known + "use=2\n", {uncounted, uncounted}, {}},
        // Protocol
        {"UDP", "ipv4 2 udp 17 " + known + "use=2\n", {of_protocol("17")}, {}},
        {"the number counts, not the name", "ipv4 2 icmp 17 " + known + "use=2\n", {of_protocol("17")}, {}},
        {"protocol 255", "ipv4 2 x 255 " + known + "use=2\n", {of_protocol("255")}, {}},
        {"of protocol 262 the low eight bits stay", "ipv4 2 x 262 " + known + "use=2\n", {of_protocol("6")}, {}},
        {"a protocol that is no number", "ipv4 2 tcp x " + known + "use=2\n", {of_protocol("0")}, {}},
        {"no protocol", "ipv4 " + known + "use=2\n", {of_protocol("0")}, {}},
        {"the source in place of the protocol", "ipv4 2 tcp " + known + "use=2\n", {of_protocol("0")}, {}},
        // Addresses
        {"an empty source is passed over for that of the reply",
         head + "src= " + "src=192.168.7.10 dst=203.0.113.1 " + ports + "use=2\n",
         {uncounted},
         {}},
        {"an address of 15 characters",
         head + "src=192.168.107.210 dst=203.0.113.1 " + ports + "use=2\n",
         {from("192.168.107.210")},
         {}},
        {"an address of 16 characters is cut",
         head + "src=192.168.107.2109 dst=203.0.113.1 " + ports + "use=2\n",
         {from("192.168.107.210")},
         {}},
        {"an IPv6 address is cut",
         head + "src=2001:0db8:0000:0000:0000:0000:0000:0001 dst=203.0.113.1 " + ports + "use=2\n",
         {from("2001:0db8:0000:")},
         {}},
        {"a destination of 16 characters is cut",
         head + "src=a dst=203.0.113.1234567 " + ports + "use=2\n",
         {"proto=6 src=a dst=203.0.113.12345 sport=51746 dport=443 tx=0/0 rx=0/0 mark=0" + nothing_else},
         {}},
        {"an address is any text", head + "src=%n$(x) dst=203.0.113.1 " + ports + "use=2\n", {from("%n$(x)")}, {}},
        // Numbers
        {"ports zero", head + addresses + "sport=0 dport=0 use=2\n", {between("sport=0 dport=0")}, {}},
        {"the highest ports",
         head + addresses + "sport=65535 dport=65535 use=2\n",
         {between("sport=65535 dport=65535")},
         {}},
        {"of higher ports the low 16 bits stay",
         head + addresses + "sport=65536 dport=65616 use=2\n",
         {between("sport=0 dport=80")},
         {}},
        {"a number ends at the first other character",
         head + addresses + "sport=80x dport=443, use=2;\n",
         {between("sport=80 dport=443")},
         {}},
        {"the highest counters and mark",
         head + known + "packets=18446744073709551615 bytes=18446744073709551614 src=a dst=b sport=1 dport=2 " +
             "packets=18446744073709551613 bytes=18446744073709551612 mark=4294967295 use=65535\n",
         {"proto=6 " + known + "tx=18446744073709551615/18446744073709551614 " +
          "rx=18446744073709551613/18446744073709551612 mark=4294967295 zone=0 use=65535 " +
          "tcp_state=0 has_delta=0 ip_version=0/0"},
         {}},
        {"of a higher use count the low 16 bits stay", head + known + "use=65538\n", {used("2")}, {}},
        {"a use count of zero", head + known + "use=0\n", {used("0")}, {}},
        // A read takes 319 characters.
        {"318 characters and newline", filled(head + known + "~ use=12", 318) + "\n", {used("12")}, {}},
        {"319 characters leave the newline as a line", filled(head + known + "~ use=12", 319) + "\n", {used("12")}, {}},
        {"319 characters at the end", filled(head + known + "~ use=12", 319), {used("12")}, {}},
        {"320 characters lose the last", filled(head + known + "~ use=12", 320) + "\n", {used("1")}, {}},
        {"321 characters lose the last two",
         filled(head + known + "~ use=12", 321) + "\n",
         {},
         refused("7 parsing found == 0")},
        {"what follows 319 characters counts as a line",
         filled(head + known + "~ use=12", 319) + head + known + "use=2\n",
         {used("12"), uncounted},
         {}},
        {"blanks that follow 319 characters are a line without words",
         filled(head + known + "~ use=12", 319) + "  ",
         {used("12")},
         refused("0 parsing line", "  ")},
        {"a word of 1000 characters", std::string(1000, 'p') + "\n" + head + known + "use=2\n", {uncounted}, {}},
        {"an address as long as a line can be",
         filled("ipv4 2 tcp 6 src=~ dst=203.0.113.1 " + ports + "use=2", 319) + "\n",
         {from(std::string(15, 'p'))},
         {}},
    };
    expect_rows(connections, rows);
}

TEST(ConnectionParser, EmptiesTheListFirst)
{
    used_records list(connections);
    const std::string line = head + known + "use=2\n";
    EXPECT_EQ(internal_vantu_ll_wrt_get_conntrack(stream_of(line).get(), &list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(connections.dump(list), texts{uncounted});
    EXPECT_EQ(internal_vantu_ll_wrt_get_conntrack(stream_of("").get(), &list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST(ConnectionParser, WithoutStreamFailsWithAMessageAndLeavesAnEmptyList)
{
    used_records list(connections);
    log_capture log;
    EXPECT_EQ(internal_vantu_ll_wrt_get_conntrack(nullptr, &list), VANTU_LLAPI_RETURN_ERR_GENERAL);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(log.lines, texts{"ERROR internal_vantu_ll_wrt_get_conntrack: Error, file not open"});
}

template <typename Record>
void expect_list_of(const reader &kind)
{
    records list(kind);
    EXPECT_EQ(kind.init(nullptr), -1);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_NE(list.attrs.copy_data, 0);
    const Record record = {};
    EXPECT_EQ(list.attrs.meter(&record), sizeof(Record));
    sclist_t other;
    EXPECT_EQ(kind.init(&other), 0);
    sclist_destroy(&other);
}

TEST(LeaseList, InitialiserReturnsZeroAndAListThatCopiesWholeRecords)
{
    expect_list_of<vantu_ll_dhcp>(leases);
}

TEST(LeaseList, IsSoughtByMacOrAddressInAnyCase)
{
    records list(leases);
    (void)internal_vantu_ll_wrt_get_dhcp(stream_of("1 02:00:00:00:00:aa 192.0.2.1 first\n"
                                                   "2 02:00:00:00:00:BB 2001:db8::b second\n"
                                                   "3 192.0.2.1 02:00:00:00:00:bb third\n")
                                             .get(),
                                         &list);
    const struct {
        const char *key;
        const char *hostname; // null: not found
    } rows[] = {
        {"02:00:00:00:00:aa", "first"},
        {"02:00:00:00:00:AA", "first"},
        {"192.0.2.1", "first"},
        {"02:00:00:00:00:bb", "second"},
        {"2001:DB8::B", "second"},
        {"second", nullptr},
        {"192.0.2", nullptr},
        {"192.0.2.11", nullptr},
        {"", nullptr},
    };
    for (const auto &row : rows) {
        const auto *found = static_cast<const vantu_ll_dhcp *>(sclist_seek(&list, row.key));
        EXPECT_STREQ(found != nullptr ? found->hostname : nullptr, row.hostname) << row.key;
    }
}

TEST(LeaseList, RecordsAreEqualWhenTheirMacTextsAreIdentical)
{
    records list(leases);
    (void)internal_vantu_ll_wrt_get_dhcp(stream_of("1 02:00:00:00:00:aa 192.0.2.1 first\n").get(), &list);
    vantu_ll_dhcp key = {};
    strcpy(key.mac_address, "02:00:00:00:00:aa");
    EXPECT_EQ(sclist_locate(&list, &key), 0);
    strcpy(key.mac_address, "02:00:00:00:00:AA");
    strcpy(key.ip_address, "192.0.2.1");
    EXPECT_EQ(sclist_locate(&list, &key), -1);

    vantu_ll_dhcp other = {};
    strcpy(other.mac_address, "02:00:00:00:00:BB");
    EXPECT_LT(list.attrs.comparator(&key, &other), 0);
    EXPECT_GT(list.attrs.comparator(&other, &key), 0);
}

vantu_ip binary(int family, const char *text)
{
    vantu_ip address = {};
    EXPECT_EQ(string_to_vantu_ip(family, text, &address), 1);
    return address;
}

vantu_ip as_text(const char *text)
{
    vantu_ip address = {};
    memcpy(&address._u, text, strlen(text) + 1);
    return address;
}

vantu_ll_conntrack_flow flow_between(const vantu_ip &src, const vantu_ip &dst)
{
    vantu_ll_conntrack_flow flow = {};
    flow.src = src;
    flow.dst = dst;
    flow.proto = 6;
    flow.sport = 1000;
    flow.dport = 80;
    return flow;
}

void expect_same(const vantu_ll_conntrack_flow &a, const vantu_ll_conntrack_flow &b, bool same, const char *name)
{
    records list(connections);
    EXPECT_EQ(list.attrs.seeker(&a, &b), same ? 1 : 0) << name;
    EXPECT_EQ(list.attrs.seeker(&b, &a), same ? 1 : 0) << name;
    EXPECT_EQ(list.attrs.comparator(&a, &b), same ? 0 : 1) << name;
    EXPECT_EQ(list.attrs.comparator(&b, &a), same ? 0 : 1) << name;
}

TEST(ConnectionList, InitialiserReturnsZeroAndAListThatCopiesWholeRecords)
{
    expect_list_of<vantu_ll_conntrack_flow>(connections);
}

TEST(ConnectionList, AConnectionIsKnownByItsFiveKeysAlone)
{
    const auto base = flow_between(binary(AF_INET, "192.168.7.1"), binary(AF_INET, "203.0.113.1"));
    const struct {
        const char *name;
        void (*change)(vantu_ll_conntrack_flow &flow);
        bool same;
    } rows[] = {
        {"nothing", [](auto &) {}, true},
        {"dport", [](auto &f) { f.dport = 81; }, false},
        {"high byte of dport", [](auto &f) { f.dport = 80 + 256; }, false},
        {"sport", [](auto &f) { f.sport = 1001; }, false},
        {"high byte of sport", [](auto &f) { f.sport = 1000 + 256; }, false},
        {"ports exchanged", [](auto &f) { std::swap(f.sport, f.dport); }, false},
        {"proto", [](auto &f) { f.proto = 17; }, false},
        {"first byte of src", [](auto &f) { f.src = binary(AF_INET, "193.168.7.1"); }, false},
        {"fourth byte of src", [](auto &f) { f.src = binary(AF_INET, "192.168.7.2"); }, false},
        {"first byte of dst", [](auto &f) { f.dst = binary(AF_INET, "204.0.113.1"); }, false},
        {"fourth byte of dst", [](auto &f) { f.dst = binary(AF_INET, "203.0.113.2"); }, false},
        {"addresses exchanged", [](auto &f) { std::swap(f.src, f.dst); }, false},
        {"what follows the first four bytes of src",
         [](auto &f) { memset(reinterpret_cast<char *>(&f.src._u) + 4, 0xff, 12); }, true},
        {"what follows the first four bytes of dst",
         [](auto &f) { memset(reinterpret_cast<char *>(&f.dst._u) + 4, 0xff, 12); }, true},
        {"the version of the addresses", [](auto &f) { f.src.ip_version = f.dst.ip_version = 6; }, true},
        {"what is counted",
         [](auto &f) {
             f.rx_packets = f.rx_bytes = f.tx_packets = f.tx_bytes = f.tcp_state = 9;
             f.mark = f.zone = 9;
             f.use = 9;
             f.has_delta = 1;
         },
         true},
    };
    for (const auto &row : rows) {
        auto other = base;
        row.change(other);
        expect_same(base, other, row.same, row.name);
    }
}

TEST(ConnectionList, IPv6ConnectionsThatShareTheFirst32BitsAreTheSame)
{
    const auto flow = flow_between(binary(AF_INET6, "2001:db8::1"), binary(AF_INET6, "2001:db8:1::1"));
    const auto near = flow_between(binary(AF_INET6, "2001:db8:ffff::2"), binary(AF_INET6, "2001:db8::"));
    const auto far = flow_between(binary(AF_INET6, "2001:db9::1"), binary(AF_INET6, "2001:db8:1::1"));
    expect_same(flow, near, true, "same 32 bits");
    expect_same(flow, far, false, "the 32nd bit differs");
}

TEST(ConnectionList, ConnectionsInTextThatShareTheFirstFourCharactersAreTheSame)
{
    const auto flow = flow_between(as_text("192.168.7.10"), as_text("203.0.113.1"));
    expect_same(flow, flow_between(as_text("192.0.2.99"), as_text("203.9.9.9")), true, "same four characters");
    expect_same(flow, flow_between(as_text("193.168.7.10"), as_text("203.0.113.1")), false, "the third differs");
    expect_same(flow, flow_between(as_text("192.168.7.10"), as_text("2030.0.113.1")), false, "the fourth differs");
}

TEST(ConnectionList, FindsTheFirstOfTheSame)
{
    records list(connections);
    (void)internal_vantu_ll_wrt_get_conntrack(
        stream_of("ipv4 2 tcp 6 src=10.0.0.1 dst=203.0.113.1 sport=1 dport=80 x use=1\n"
                  "ipv4 2 tcp 6 src=192.168.7.10 dst=203.0.113.1 sport=2 dport=80 x use=2\n"
                  "ipv4 2 tcp 6 src=192.168.8.20 dst=203.0.113.1 sport=2 dport=80 x use=3\n")
            .get(),
        &list);
    vantu_ll_conntrack_flow key = flow_between(as_text("192.0.2.1"), as_text("203."));
    key.sport = 2;
    EXPECT_EQ(sclist_locate(&list, &key), 1);
    const auto *found = static_cast<const vantu_ll_conntrack_flow *>(sclist_seek(&list, &key));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->use, 2);
    key.proto = 17;
    EXPECT_EQ(sclist_locate(&list, &key), -1);
    EXPECT_EQ(sclist_seek(&list, &key), nullptr);
}

bool is_readable(const char *path)
{
    FILE *stream = fopen(path, "re");
    if (stream != nullptr)
        (void)fclose(stream);
    return stream != nullptr;
}

TEST(LeaseReader, FailsAndLeavesAnEmptyListExactlyWhenTheFileCannotBeOpened)
{
    used_records list(leases);
    log_capture log;
    const size_t before = open_descriptors();
    const int result = vantu_ll_wrt_get_dhcp(&list);
    EXPECT_EQ(open_descriptors(), before);
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ(log.lines[0], "TRACE Reading /etc/dhcp_lan.leases");
    if (is_readable("/etc/dhcp_lan.leases")) {
        EXPECT_EQ(result, VANTU_LLAPI_RETURN_OK);
        EXPECT_GE(leases.count_sound(list), 0);
    } else {
        EXPECT_EQ(result, VANTU_LLAPI_RETURN_ERR_GENERAL);
        EXPECT_EQ(sclist_size(&list), 0U);
        EXPECT_EQ(log.lines.size(), 1U);
    }
}

TEST(ConnectionReader, FailsAndLeavesAnEmptyListExactlyWhenTheTableCannotBeOpened)
{
    used_records list(connections);
    log_capture log;
    const size_t before = open_descriptors();
    const int result = vantu_ll_wrt_get_conntrack(&list);
    EXPECT_EQ(open_descriptors(), before);
    if (is_readable("/proc/net/nf_conntrack")) {
        EXPECT_EQ(result, VANTU_LLAPI_RETURN_OK);
        EXPECT_GE(connections.count_sound(list), 0);
    } else {
        EXPECT_EQ(result, VANTU_LLAPI_RETURN_ERR_GENERAL);
        EXPECT_EQ(sclist_size(&list), 0U);
        EXPECT_EQ(log.lines, texts{});
    }
}

// What becomes of a reader, whose list held something, in a process that cannot open anything: 0 when it
// fails and empties the list and logs just `log`.
int without_descriptors(const reader &kind, int (*read)(sclist_t *list), const texts &log)
{
    return in_child([&] {
        used_records list(kind);
        log_capture captured;
        forbid_new_descriptors();
        if (read(&list) != VANTU_LLAPI_RETURN_ERR_GENERAL)
            return 1;
        return sclist_size(&list) != 0 ? 2 : captured.lines != log ? 3 : 0;
    });
}

TEST(LeaseReader, AFileThatCannotBeOpenedLeavesAnEmptyList)
{
    EXPECT_EQ(without_descriptors(leases, vantu_ll_wrt_get_dhcp, {"TRACE Reading /etc/dhcp_lan.leases"}), 0);
}

TEST(ConnectionReader, ATableThatCannotBeOpenedLeavesAnEmptyList)
{
    EXPECT_EQ(without_descriptors(connections, vantu_ll_wrt_get_conntrack, {}), 0);
}

TEST(ConnectionTool, APipeThatCannotBeOpenedLeavesAnEmptyList)
{
    EXPECT_EQ(without_descriptors(connections, vantu_ll_wrt_get_conntrack_from_tools, {}), 0);
}

// A `conntrack` that prints `output`.
struct fake_conntrack : fake_tool {
    explicit fake_conntrack(const std::string &output) : fake_tool("conntrack", output) {}
};

TEST(ConnectionTool, IsAskedOnceAndItsConnectionsReplaceWhatTheListHeld)
{
    const fake_conntrack tool(fixture("conntrack/tool_extended.txt"));
    used_records list(connections);
    log_capture log;
    const size_t before = open_descriptors();
    pipes_closed = 0;
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(lines_of(connections.dump(list)), fixture("conntrack/tool_extended.expected"));
    EXPECT_EQ(tool.calls(), "1:-L\n");
    EXPECT_EQ(log.lines, texts{});
    EXPECT_EQ(pipes_closed, 1);
    EXPECT_TRUE(no_child_is_left());
}

TEST(ConnectionTool, ItsDefaultLayoutGivesAnEmptyListAndNoMessage)
{
    const fake_conntrack tool(fixture("conntrack/tool_layout.txt"));
    used_records list(connections);
    log_capture log;
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(log.lines, texts{});
}

TEST(ConnectionTool, MoreThanAPipeHoldsIsReadToItsEnd)
{
    std::string output;
    for (int i = 0; i < 3000; i++)
        output += head + known + "use=2\n";
    const fake_conntrack tool(output);
    records list(connections);
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(sclist_size(&list), 3000U);
    EXPECT_TRUE(no_child_is_left());
}

TEST(ConnectionTool, WhenMissingGivesAnEmptyListAndNoFailure)
{
    const temp_dir empty;
    const search_path nothing(empty.path(), true);
    used_records list(connections);
    log_capture log;
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&list), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(log.lines, texts{});
    EXPECT_TRUE(no_child_is_left());
}

TEST(ConnectionTool, AToolThatWasAlreadyReapedIsNoFailure)
{
    const fake_conntrack tool(fixture("conntrack/tool_extended.txt"));
    records list(connections);
    log_capture log;
    const auto before = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&list), VANTU_LLAPI_RETURN_OK);
    (void)signal(SIGCHLD, before);
    EXPECT_EQ(sclist_size(&list), 2U);
    EXPECT_EQ(log.lines, texts{});
}

} // namespace
