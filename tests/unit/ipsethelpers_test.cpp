// Flows as members of sets: their lists and entry texts, adding and cleaning over a made-up table of operations, the
// listing of a set, stored and made up, and what both back ends run.

#include "vantu-libs2/ipsethelpers.h"

#include "support.hpp"
#include "support/flows.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

using namespace std::string_literals;
using namespace support;

namespace
{

// The commands that were run with the shell or opened, in order, and what comes of them.
texts commands;
int system_result = 0;
bool opens = true;
std::string output;

} // namespace

extern "C" {
FILE *__real_popen(const char *command, const char *mode);

// Called instead of the functions of these names, which the linker renames.
int __wrap_system(const char *command)
{
    commands.push_back("system "s + command);
    if (system_result == -1)
        errno = ENOMEM;
    return system_result;
}

// A child that prints `output`, since what is opened here is closed with pclose.
FILE *__wrap_popen(const char *command, const char *mode)
{
    EXPECT_EQ(mode[0], 'r');
    commands.push_back("popen "s + command);
    if (!opens)
        return nullptr;
    (void)setenv("VANTU_TEST_OUTPUT", output.c_str(), 1);
    return __real_popen("printf %s \"$VANTU_TEST_OUTPUT\"", mode);
}
}

namespace
{

using flow_list = support::list<vantu_flow_list_init>;

using entry_list = support::list<vantu_ipset_entry_list_init>;

class Ipset : public testing::Test
{
protected:
    void SetUp() override
    {
        commands.clear();
        output.clear();
        system_result = 0;
        opens = true;
    }
};

constexpr auto flow_of = flow_between<vantu_flow, int, int>;

vantu_flow usual_flow(int dport = 443)
{
    return flow_of("192.168.2.20", "203.0.113.9", 17, 40000, dport);
}

std::string entry_of(const vantu_flow &flow)
{
    char out[128] = "";
    (void)vantu_get_ipset_entry_from_flow(&flow, out, sizeof(out));
    return out;
}

texts all_of(sclist_t &list)
{
    texts out;
    for (unsigned int i = 0; i < sclist_size(&list); i++)
        out.emplace_back(static_cast<const char *>(sclist_get_at(&list, i)));
    return out;
}

// ---- The lists ----

TEST_F(Ipset, InitialisersReturnZeroAndMinusOneWithoutList)
{
    for (const auto init : {vantu_flow_list_init, vantu_ipset_entry_list_init}) {
        sclist_t list;
        EXPECT_EQ(init(&list), 0);
        EXPECT_EQ(sclist_size(&list), 0U);
        EXPECT_NE(list.attrs.copy_data, 0);
        sclist_destroy(&list);
        EXPECT_EQ(init(nullptr), -1);
    }
}

TEST_F(Ipset, FlowListCopiesWholeRecords)
{
    flow_list list;
    auto flow = usual_flow();
    int user_data = 0;
    flow.usr_data = &user_data;
    flow.mark = 3;
    EXPECT_EQ(list.attrs.meter(&flow), sizeof(vantu_flow));
    EXPECT_EQ(sclist_append(&list, &flow), 1);
    const auto want = flow;
    memset(&flow, 0xff, sizeof(flow));
    EXPECT_EQ(memcmp(sclist_get_at(&list, 0), &want, sizeof(want)), 0);
}

TEST_F(Ipset, FlowListIsSoughtByTheEntryTextIgnoringCase)
{
    flow_list list;
    const vantu_flow flows[] = {usual_flow(), flow_of("2001:db8::a", "2001:db8:f::b", 6, 1, 2), usual_flow()};
    for (const vantu_flow &flow : flows)
        EXPECT_EQ(sclist_append(&list, &flow), 1);
    const struct {
        const char *key;
        int position;
    } rows[] = {
        {"203.0.113.9,udp:443,192.168.2.20", 0},   {"203.0.113.9,UDP:443,192.168.2.20", 0},
        {"2001:db8:f::b,tcp:2,2001:db8::a", 1},    {"2001:DB8:F::B,TCP:2,2001:DB8::A", 1},
        {"203.0.113.9,udp:443,192.168.2.2", -1},   {"203.0.113.9,udp:443,192.168.2.200", -1},
        {"203.0.113.9,tcp:443,192.168.2.20", -1},  {"203.0.113.9,udp:40000,192.168.2.20", -1},
        {"192.168.2.20,udp:443,203.0.113.9", -1},  {"", -1},
        {"203.0.113.9,udp:443,192.168.2.20 ", -1},
    };
    for (const auto &row : rows) {
        void *want = row.position < 0 ? nullptr : sclist_get_at(&list, static_cast<unsigned int>(row.position));
        EXPECT_EQ(sclist_seek(&list, const_cast<char *>(row.key)), want) << row.key;
    }
}

TEST_F(Ipset, FlowsAreEqualByFiveMembersOfWhichOnlyFourBytesOfAnAddressWhichIsKept)
{
    using flow = vantu_flow;
    const struct {
        const char *name;
        void (*make)(flow &);
        int want;
    } rows[] = {
        {"nothing", [](flow &) {}, 0},
        {"source", [](flow &f) { f.src = address("192.168.2.21"); }, 1},
        {"destination", [](flow &f) { f.dst = address("203.0.113.8"); }, 1},
        {"destination port", [](flow &f) { f.dport++; }, 1},
        {"source port", [](flow &f) { f.sport--; }, 1},
        {"protocol", [](flow &f) { f.proto = 6; }, 1},
        {"bytes behind the first four", [](flow &f) { f.src._u.ipv6.s6_addr[4] = f.dst._u.ipv6.s6_addr[15] = 1; }, 0},
        {"versions", [](flow &f) { f.src.ip_version = f.dst.ip_version = 6; }, 0},
        {"the rest", [](flow &f) { f.mac[0] = f.protostr[0] = 'x', f.mark = f.TOS = 1, f.usr_data = &f; }, 0},
    };
    flow_list list;
    const auto first = usual_flow();
    for (const auto &row : rows) {
        auto second = first;
        row.make(second);
        EXPECT_EQ(list.attrs.comparator(&first, &second), row.want) << row.name;
        EXPECT_EQ(list.attrs.comparator(&second, &first), row.want) << row.name;
    }
}

TEST_F(Ipset, EntryListHoldsTextsWithoutSeekerAndTellsCaseApart)
{
    entry_list list;
    EXPECT_EQ(list.attrs.meter("abc"), 4U);
    EXPECT_EQ(sclist_append(&list, "2001:db8::a"), 1);
    EXPECT_EQ(sclist_append(&list, ""), 1);
    EXPECT_EQ(list.attrs.seeker, nullptr);
    EXPECT_EQ(sclist_locate(&list, "2001:db8::a"), 0);
    EXPECT_EQ(sclist_locate(&list, ""), 1);
    EXPECT_EQ(sclist_contains(&list, "2001:DB8::A"), 0);
    EXPECT_GT(list.attrs.comparator("a", "b"), 0) << "reverse of strcmp";
    EXPECT_LT(list.attrs.comparator("b", "a"), 0);
}

// ---- Entry texts ----

TEST_F(Ipset, EntryIsDestinationProtocolPortAndSource)
{
    const struct {
        vantu_flow flow;
        const char *want;
    } rows[] = {
        {flow_of("192.168.2.20", "203.0.113.9", 6, 1, 443), "203.0.113.9,tcp:443,192.168.2.20"},
        {flow_of("192.168.2.20", "203.0.113.9", 17, 1, 19305), "203.0.113.9,udp:19305,192.168.2.20"},
        {flow_of("192.168.2.20", "203.0.113.9", 1, 0, 0), "203.0.113.9,err:0,192.168.2.20"},
        {flow_of("192.168.2.20", "203.0.113.9", 0, 0, 65535), "203.0.113.9,err:65535,192.168.2.20"},
        {flow_of("192.168.2.20", "203.0.113.9", -1, 0, -1), "203.0.113.9,err:-1,192.168.2.20"},
        {flow_of("192.168.2.20", "203.0.113.9", 6 + 256, 0, 80), "203.0.113.9,err:80,192.168.2.20"},
        {flow_of("2001:db8::1", "2001:db8:1::", 17, 1, 443), "2001:db8:1::,udp:443,2001:db8::1"},
        {flow_of("2001:db8:1111:2222:3333:4444:5555:6666", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:ffff", 17, 1, 65535),
         "2001:db8:aaaa:bbbb:cccc:dddd:eeee:ffff,udp:65535,2001:db8:1111:2222:3333:4444:5555:6666"},
    };
    for (auto row : rows) {
        (void)strcpy(row.flow.protostr, "sctp"); // the number counts
        char out[128] = "";
        EXPECT_EQ(vantu_get_ipset_entry_from_flow(&row.flow, out, sizeof(out)), static_cast<int>(strlen(row.want)));
        EXPECT_STREQ(out, row.want);
    }
}

TEST_F(Ipset, EntryIsCutToTheBufferAndItsWholeLengthReturned)
{
    const std::string whole = "203.0.113.9,udp:443,192.168.2.20";
    const auto flow = usual_flow();
    for (const size_t size : {size_t{1}, size_t{2}, whole.size(), whole.size() + 1}) {
        std::string buffer(size + 1, '#');
        EXPECT_EQ(vantu_get_ipset_entry_from_flow(&flow, buffer.data(), static_cast<int>(size)),
                  static_cast<int>(whole.size()));
        EXPECT_STREQ(buffer.c_str(), whole.substr(0, size - 1).c_str());
        EXPECT_EQ(buffer[size], '#') << size;
    }
}

// ---- Through the table ----

texts events;
texts members_there;
std::set<std::string> refused; // changes of these fail
int change_result = 0;
int list_result = 0;

int change_member(const char *entry, const char *set, const char *operation)
{
    events.push_back(operation + " "s + set + " " + entry);
    return refused.count(entry) != 0 ? 1 : change_result;
}

int list_members(sclist_t *list, const char *set)
{
    events.push_back("list "s + set + " into " + std::to_string(sclist_size(list)));
    for (const std::string &member : members_there)
        (void)sclist_append(list, member.c_str());
    return list_result;
}

vantu_platform_ops platform()
{
    events.clear();
    members_there.clear();
    refused.clear();
    change_result = list_result = 0;
    vantu_platform_ops ops = {};
    ops.ipset_add_member = change_member;
    ops.ipset_get_members = list_members;
    return ops;
}

TEST_F(Ipset, GenericOperationsCallTheSlotsWhichIsOneForAddingAndRemoving)
{
    auto ops = platform();
    members_there = {"m"};
    change_result = 5;
    list_result = -7;
    entry_list list;
    EXPECT_EQ(ipset_add_member("e", "s", &ops), 5);
    EXPECT_EQ(ipset_remove_member("f", "t", &ops), 5);
    EXPECT_EQ(ipset_get_members(&list, "u", &ops), -7);
    EXPECT_EQ(events, (texts{"A s e", "D t f", "list u into 0"}));
    EXPECT_EQ(all_of(list), texts{"m"});
}

TEST_F(Ipset, AddingAddsTheMissingFlowsInOrder)
{
    auto ops = platform();
    members_there = {entry_of(usual_flow(2)), "203.0.113.1,tcp:1,192.168.2.1"};
    flow_list flows;
    for (const int port : {3, 2, 1}) {
        const auto flow = usual_flow(port);
        EXPECT_EQ(sclist_append(&flows, &flow), 1);
    }
    const log_capture log;
    EXPECT_EQ(add_flows_to_ipset(&flows, "vantuvi", &ops), 2);
    EXPECT_EQ(events, (texts{"list vantuvi into 0", "A vantuvi 203.0.113.9,udp:3,192.168.2.20",
                             "A vantuvi 203.0.113.9,udp:1,192.168.2.20"}));
    EXPECT_EQ(log.lines, texts{"TRACE add_flows_to_ipset"});
}

TEST_F(Ipset, AddingToASetThatHoldsEveryEntryAddsNothing)
{
    auto ops = platform();
    flow_list flows;
    for (const int port : {1, 2}) {
        const auto flow = usual_flow(port);
        EXPECT_EQ(sclist_append(&flows, &flow), 1);
        members_there.push_back(entry_of(flow));
    }
    EXPECT_EQ(add_flows_to_ipset(&flows, "vantuvi", &ops), 0);
    EXPECT_EQ(events, texts{"list vantuvi into 0"});
    EXPECT_EQ(commands, texts());
}

TEST_F(Ipset, AddingAFlowThatTheListHoldsTwiceIsTriedTwiceWhichIsKept)
{
    auto ops = platform();
    flow_list flows;
    const auto flow = usual_flow();
    EXPECT_EQ(sclist_append(&flows, &flow), 1);
    EXPECT_EQ(sclist_append(&flows, &flow), 1);
    EXPECT_EQ(add_flows_to_ipset(&flows, "s", &ops), 2);
    EXPECT_EQ(events.size(), 3U);
}

TEST_F(Ipset, AddingLogsARefusedMemberAndGoesOn)
{
    auto ops = platform();
    flow_list flows;
    for (const int port : {1, 2, 3}) {
        const auto flow = usual_flow(port);
        EXPECT_EQ(sclist_append(&flows, &flow), 1);
    }
    refused = {entry_of(usual_flow(2))};
    const log_capture log;
    EXPECT_EQ(add_flows_to_ipset(&flows, "s", &ops), 2);
    EXPECT_EQ(events.size(), 4U);
    EXPECT_EQ(log.lines,
              (texts{"TRACE add_flows_to_ipset", "ERROR Member already in set 203.0.113.9,udp:2,192.168.2.20"}));
}

TEST_F(Ipset, AddingGoesOnWhenTheMembersCannotBeRead)
{
    auto ops = platform();
    list_result = -1;
    flow_list flows;
    const auto flow = usual_flow();
    EXPECT_EQ(sclist_append(&flows, &flow), 1);
    EXPECT_EQ(add_flows_to_ipset(&flows, "s", &ops), 1);
}

TEST_F(Ipset, AddingTellsTheCaseOfMembersApartAndCleaningDoesNot)
{
    auto ops = platform();
    members_there = {"2001:DB8::2,UDP:443,2001:DB8::1"};
    flow_list flows;
    const auto flow = flow_of("2001:db8::1", "2001:db8::2", 17, 1, 443);
    EXPECT_EQ(sclist_append(&flows, &flow), 1);
    EXPECT_EQ(add_flows_to_ipset(&flows, "s", &ops), 1);
    EXPECT_EQ(clean_flows_from_ipset(&flows, "s", &ops), 0);
}

TEST_F(Ipset, CleaningRemovesTheMembersWithoutAFlowInOrder)
{
    auto ops = platform();
    members_there = {"c", entry_of(usual_flow()), "a", "a"};
    flow_list flows;
    const auto flow = usual_flow();
    EXPECT_EQ(sclist_append(&flows, &flow), 1);
    const log_capture log;
    EXPECT_EQ(clean_flows_from_ipset(&flows, "vantuvi", &ops), 3);
    EXPECT_EQ(events, (texts{"list vantuvi into 0", "D vantuvi c", "D vantuvi a", "D vantuvi a"}));
    EXPECT_EQ(log.lines, texts{"TRACE clean_flows_from_ipset"});
    EXPECT_EQ(sclist_size(&flows), 1U);
}

TEST_F(Ipset, CleaningWithAnEmptyListRemovesEveryMember)
{
    auto ops = platform();
    members_there = {entry_of(usual_flow(1)), entry_of(usual_flow(2)), "x"};
    flow_list flows;
    EXPECT_EQ(clean_flows_from_ipset(&flows, "s", &ops), 3);
    EXPECT_EQ(events.size(), 4U);
    members_there.clear();
    EXPECT_EQ(clean_flows_from_ipset(&flows, "s", &ops), 0);
}

TEST_F(Ipset, CleaningLogsARefusedMemberWithALineEndAndGoesOn)
{
    auto ops = platform();
    members_there = {"a", "b", "c"};
    refused = {"b"};
    flow_list flows;
    const log_capture log;
    EXPECT_EQ(clean_flows_from_ipset(&flows, "s", &ops), 2);
    EXPECT_EQ(log.lines, (texts{"TRACE clean_flows_from_ipset", "ERROR Failed to remove from set b\n"}));
    EXPECT_EQ(events.back(), "D s c");
}

// ---- The listing ----

std::string parsed(std::string_view text)
{
    entry_list list;
    const auto stream = stream_of(text);
    std::string out = "result=" + std::to_string(internal_vantu_ipset_get_members(stream.get(), &list)) + "\n";
    for (const std::string &member : all_of(list))
        out += member + "\n";
    return out;
}

TEST_F(Ipset, StoredListingsGiveWhatTheirPairsSay)
{
    const auto cases = cases_of("ipset_list", {".txt", ".expected", ".log"});
    EXPECT_GE(cases.size(), 6U);
    for (const std::string &name : cases) {
        const log_capture log;
        const std::string got = parsed(fixture(name + ".txt"));
        expect_stored(name, got, log.lines);
    }
}

TEST_F(Ipset, DamagedListingsGiveMembersOfAtMost127Characters)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("ipset_list")) {
        const std::string text = fixture(name + ".txt");
        const auto lines = static_cast<unsigned int>(std::count(text.begin(), text.end(), '\n'));
        const auto check = [&](std::string_view damaged) {
            entry_list list;
            const auto stream = stream_of(damaged);
            ASSERT_EQ(internal_vantu_ipset_get_members(stream.get(), &list), 0);
            ASSERT_LE(sclist_size(&list), lines + 1);
            SCLIST_FOREACH(char, member, &list) {
                ASSERT_LE(strlen(member), 127U);
            }
            SCLIST_FOREACH_END(&list);
        };
        every_truncation(text, check);
        every_corruption(text, check);
    }
}

TEST_F(Ipset, ListingLines)
{
    const struct {
        const char *name;
        std::string text;
        std::string want;
    } rows[] = {
        {"one member", "Members:\na\n", "a\n"},
        {"without line end", "Members:\na", "a\n"},
        {"the first word of a line", "Members:\n  a b c\n", "a\n"},
        {"CR", "Members:\r\na\r\n", "a\n"},
        {"members without line end at the very end start nothing", "Name: x\nMembers:", ""},
        {"a blank line appends the member before it again, which is kept", "Members:\na\n\n \t\nb\n", "a\na\na\nb\n"},
        {"a blank line among the header starts the members, which is kept", "Name: x\n\nMembers:\na\n",
         "Members:\na\n"},
        {"another header line starts the members, which is kept", "Name: x\nTimeout: 3\nMembers:\na\n",
         "Members:\na\n"},
        {"words for a number start the members, which is kept", "Revision: new\nReferences: 1\nMembers:\na\n",
         "References:\nMembers:\na\n"},
        {"a header without value starts the members, which is kept", "Name:\nMembers:\na\n", "Members:\na\n"},
        {"each header line, in any order",
         "Number of entries: 1\nReferences: 2\nSize in memory: 3\nHeader: family\nRevision: 4\nType: x\nName: y\n"
         "Members:\na\n",
         "a\n"},
        {"blanks between type and value", "Type:x\nType:     x\nMembers:\na\n", "a\n"},
        {"a long name, type and header word",
         "Name: " + std::string(40, 'n') + "\nType: " + std::string(40, 't') + "\nHeader: " + std::string(200, 'h') +
             "\nMembers:\na\n",
         "a\n"},
        {"small letters start the members, which is kept", "name: x\nMembers:\na\n", "Members:\na\n"},
        {"member of 127 characters", "Members:\n" + std::string(127, 'm') + "\n", std::string(127, 'm') + "\n"},
        {"member of 128 characters is cut", "Members:\n" + std::string(128, 'm') + "\n", std::string(127, 'm') + "\n"},
        {"line of 1033 characters", "Members:\na" + std::string(1032, ' ') + "\nb\n", "a\nb\n"},
        {"line of 1035 characters is read in two", "Members:\na" + std::string(1033, ' ') + "c\nb\n", "a\nc\nb\n"},
        {"header lines among the members are members", "Members:\nName: x\na\n", "Name:\na\n"},
        {"hostile texts stay data", "Members:\n%n%s\n$(id)\n'\n", "%n%s\n$(id)\n'\n"},
    };
    for (const auto &row : rows) {
        const log_capture log;
        EXPECT_EQ(parsed(row.text), "result=0\n" + row.want) << row.name;
        const auto count = std::count(row.want.begin(), row.want.end(), '\n');
        EXPECT_EQ(log.lines, texts{"TRACE Got " + std::to_string(count) + " members"}) << row.name;
    }
}

TEST_F(Ipset, ListingIsAppendedToWhatTheListHoldsAndAllIsCounted)
{
    entry_list list;
    EXPECT_EQ(sclist_append(&list, "old"), 1);
    const auto stream = stream_of("Members:\nnew\n");
    const log_capture log;
    EXPECT_EQ(internal_vantu_ipset_get_members(stream.get(), &list), 0);
    EXPECT_EQ(all_of(list), (texts{"old", "new"}));
    EXPECT_EQ(log.lines, texts{"TRACE Got 2 members"});
}

// ---- The tool ----

TEST_F(Ipset, ToolAddsAndDeletes)
{
    for (const char *operation : {"A", "D"}) {
        commands.clear();
        const std::string command = "/usr/sbin/ipset -"s + operation + " vantuvi 203.0.113.9,udp:443,192.168.2.20";
        const log_capture log;
        EXPECT_EQ(vantu_ipset_cmd_add_member("203.0.113.9,udp:443,192.168.2.20", "vantuvi", operation), 0);
        EXPECT_EQ(commands, texts{"system " + command});
        EXPECT_EQ(log.lines, texts{"TRACE ipset add member: running: " + command});
    }
}

TEST_F(Ipset, ToolThatFailsIsMinusOneAndOnlyOneThatCannotBeRunIsLogged)
{
    for (const int result : {256, 127 * 256, 9, -1}) {
        system_result = result;
        commands.clear();
        texts want = {"TRACE ipset add member: running: /usr/sbin/ipset -A s e"};
        if (result == -1)
            want.push_back("ERROR command /usr/sbin/ipset -A s e failed with errno " + std::to_string(ENOMEM));
        const log_capture log;
        EXPECT_EQ(vantu_ipset_cmd_add_member("e", "s", "A"), -1) << result;
        EXPECT_EQ(log.lines, want) << result;
        EXPECT_EQ(commands.size(), 1U) << "it is not tried again";
    }
}

TEST_F(Ipset, ToolListsASet)
{
    output = fixture("ipset_list/one_set.txt");
    entry_list list;
    EXPECT_EQ(vantu_ipset_cmd_get_members(&list, "vantuvi"), 0);
    EXPECT_EQ(commands, texts{"popen /usr/sbin/ipset list vantuvi"});
    EXPECT_EQ(all_of(list), (texts{"203.0.113.5,udp:443,192.168.2.23", "198.51.100.7,tcp:8443,192.168.2.24"}));
}

TEST_F(Ipset, ToolThatPrintsNothingListsNoMembers)
{
    entry_list list;
    EXPECT_EQ(vantu_ipset_cmd_get_members(&list, "vantuvi"), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST_F(Ipset, ToolThatCannotBeStartedIsMinusOneAndLogged)
{
    opens = false;
    entry_list list;
    const log_capture log;
    EXPECT_EQ(vantu_ipset_cmd_get_members(&list, "vantuvi"), -1);
    EXPECT_EQ(log.lines, texts{"ERROR Failed to run command"});
    EXPECT_EQ(sclist_size(&list), 0U);
}

const char *const hostile[] = {"a;b", "a b", "$(b)", "`b`", "a|b", "a&b",  "a>b", "a<b",  "a\nb",
                               "'",   "\"",  "a*",   "a?",  "~b",  "a\\b", "#b",  "a\tb", "{a,b}"};

bool has(const texts &all, const std::string &line)
{
    return std::find(all.begin(), all.end(), line) != all.end();
}

TEST_F(Ipset, ToolNeverRunsATextThatTheShellWouldInterpret)
{
    for (const std::string text : hostile) {
        const texts rows[] = {{text, "s", "A"}, {"e", text, "A"}, {"e", "s", text}};
        for (const texts &row : rows) {
            const log_capture log;
            EXPECT_EQ(vantu_ipset_cmd_add_member(row[0].c_str(), row[1].c_str(), row[2].c_str()), -1) << text;
            EXPECT_TRUE(has(log.lines, "ERROR incorrect parameters or too many files.")) << text;
        }
    }
    EXPECT_EQ(commands, texts());
}

TEST_F(Ipset, ToolNeverListsASetWhoseNameTheShellWouldInterpret)
{
    entry_list list;
    for (const char *text : hostile) {
        const log_capture log;
        EXPECT_EQ(vantu_ipset_cmd_get_members(&list, text), -1) << text;
        EXPECT_TRUE(has(log.lines, "ERROR incorrect parameters or too many files.")) << text;
    }
    EXPECT_EQ(commands, texts());
}

// ---- The object on the bus ----

TEST_F(Ipset, BusAddsAndDeletes)
{
    output = "{}\n";
    for (const char *operation : {"A", "D"}) {
        commands.clear();
        EXPECT_EQ(vantu_ipset_ubuscmd_add_member("203.0.113.9,udp:443,192.168.2.20", "vantuvi", operation), 0);
        EXPECT_EQ(commands, texts{"popen ubus -t 2 -S call ipset add_member '{ \"name\": \"vantuvi\",\"entry\":\""
                                  "203.0.113.9,udp:443,192.168.2.20\",\"operation\":\""s +
                                  operation + "\"}'"});
    }
}

TEST_F(Ipset, BusReturnsTheResultOfTheCall)
{
    EXPECT_EQ(vantu_ipset_ubuscmd_add_member("e", "s", "A"), 0) << "no reply is no failure";
    opens = false;
    EXPECT_EQ(vantu_ipset_ubuscmd_add_member("e", "s", "A"), 1);
}

TEST_F(Ipset, BusListsTheTextsOfTheReply)
{
    const struct {
        const char *name;
        std::string reply;
        int result;
        texts want;
    } rows[] = {
        {"two", "{\"members\":[\"a\",\"b\"]}\n", 0, {"a", "b"}},
        {"none", "{\"members\":[]}\n", 0, {}},
        {"among others", "{\"name\":\"s\",\"members\":[\"a\"],\"count\":1}\n", 0, {"a"}},
        {"only texts", "{\"members\":[1,\"a\",null,[\"b\"],{\"c\":\"d\"},true]}\n", 0, {"a"}},
        {"escaped", "{\"members\":[\"a\\u0020\\\"\"]}\n", 0, {"a \""}},
        {"without members", "{\"name\":\"s\"}\n", -1, {}},
        {"members are no array", "{\"members\":\"a\"}\n", -1, {}},
        {"members are null", "{\"members\":null}\n", -1, {}},
        {"other case", "{\"Members\":[\"a\"]}\n", -1, {}},
        {"an array", "[\"a\"]\n", -1, {}},
        {"a text", "\"members\"\n", -1, {}},
        {"cut", "{\"members\":[\"a\",", -1, {}},
        {"no reply", "", -1, {}},
        {"no JSON", "Command failed: Not found\n", -1, {}},
    };
    for (const auto &row : rows) {
        commands.clear();
        output = row.reply;
        entry_list list;
        const quiet_log quiet;
        EXPECT_EQ(vantu_ipset_ubuscmd_get_members(&list, "vantuvi"), row.result) << row.name;
        EXPECT_EQ(all_of(list), row.want) << row.name;
        EXPECT_EQ(commands, texts{"popen ubus -t 2 -S call ipset list_members '{ \"name\": \"vantuvi\" }'"});
    }
}

TEST_F(Ipset, BusTakesAReplyOfAtMost9999Characters)
{
    const std::string frame = "{\"members\":[\"\"]}";
    const quiet_log quiet;
    for (const size_t length : {size_t{9999}, size_t{10000}}) {
        const std::string member(length - frame.size(), 'm');
        output = "{\"members\":[\"" + member + "\"]}";
        entry_list list;
        EXPECT_EQ(vantu_ipset_ubuscmd_get_members(&list, "s"), length == 9999 ? 0 : -1) << length;
        EXPECT_EQ(all_of(list), length == 9999 ? texts{member} : texts());
    }
}

TEST_F(Ipset, BusThatCannotBeAskedHasNoMembers)
{
    opens = false;
    entry_list list;
    const quiet_log quiet;
    EXPECT_EQ(vantu_ipset_ubuscmd_get_members(&list, "s"), -1);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST_F(Ipset, BusNeverGetsATextThatEndsTheQuotesOfItsCommand)
{
    const char *text = "x'; reboot; '";
    entry_list list;
    {
        const log_capture log;
        EXPECT_NE(vantu_ipset_ubuscmd_add_member(text, "s", "A"), 0);
        EXPECT_TRUE(has(log.lines, "ERROR incorrect parameters or too many files."));
    }
    {
        const log_capture log;
        EXPECT_NE(vantu_ipset_ubuscmd_get_members(&list, text), 0);
        EXPECT_TRUE(has(log.lines, "ERROR incorrect parameters or too many files."));
    }
    EXPECT_EQ(commands, texts());
}

} // namespace
