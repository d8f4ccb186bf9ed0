// The tests of the flow-control operations, over tables of operations that are made up: which calls they make in which
// order, what they say, and what they return.

#include "harness.h"

#include "support.hpp"
#include "support/harness_options.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-ll-api/listinits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <map>

using namespace std::string_literals;
using namespace support;
using outcome = call_outcome;

int test_ipset(vantu_platform_ops *ops);
int test_iptables_setup(vantu_platform_ops *ops);
int test_iptables_check(vantu_platform_ops *ops);
int test_iptables_destroy(vantu_platform_ops *ops);

namespace
{

// Calls of operations and commands, in order.
texts events;

} // namespace

// Called instead of the function of this name, which the linker renames.
extern "C" int __wrap_system(const char *command)
{
    events.push_back("system "s + command);
    return 0;
}

namespace
{

outcome run(int (*test)(vantu_platform_ops *), vantu_platform_ops &ops)
{
    events.clear();
    return outcome_of([&] { return test(&ops); });
}

std::string missing(const std::string &name)
{
    return "DEBUG \033[31m  function " + name + " not implemented!\033[0m";
}

// A made-up platform with two sets.
std::map<std::string, texts> sets;
int operation_result = 0;
bool deletes = true;

int change_member(const char *entry, const char *set, const char *operation)
{
    events.push_back("member "s + operation + " " + set + " " + entry);
    texts &members = sets[set];
    const auto place = std::find(members.begin(), members.end(), entry);
    if (strcmp(operation, "A") == 0 && place == members.end())
        members.emplace_back(entry);
    if (strcmp(operation, "D") == 0 && place != members.end() && deletes)
        members.erase(place);
    return operation_result;
}

int list_members(sclist_t *list, const char *set)
{
    events.push_back("members of "s + set + " into " + std::to_string(sclist_size(list)));
    for (const std::string &member : sets[set])
        (void)sclist_append(list, member.c_str());
    return operation_result;
}

void flush()
{
    events.emplace_back("flush");
}

vantu_platform_ops set_platform()
{
    sets.clear();
    operation_result = 0;
    deletes = true;
    vantu_platform_ops ops = {};
    ops.ipset_add_member = change_member;
    ops.ipset_get_members = list_members;
    ops.flush_flows = flush;
    return ops;
}

// Those that begin so.
texts beginning_with(const std::string &start, const texts &all)
{
    texts out;
    std::copy_if(all.begin(), all.end(), std::back_inserter(out),
                 [&](const std::string &one) { return one.rfind(start, 0) == 0; });
    return out;
}

// ---- Connections ----

int flows_there = 0;
int maximum_asked = -1;

int get_conntrack(sclist_t *list, sclist_t *ports, int maximum)
{
    events.emplace_back("conntrack");
    maximum_asked = maximum;
    EXPECT_EQ(sclist_size(list), 0U);
    EXPECT_EQ(list->attrs.meter(list), sizeof(vantu_ll_conntrack_flow));
    EXPECT_NE(ports, nullptr);
    EXPECT_EQ(sclist_size(ports), 0U);
    EXPECT_EQ(ports->attrs.meter(ports), sizeof(vantu_proto_port_range));
    const vantu_proto_port_range range = {6, 1, 2, nullptr};
    (void)sclist_append(ports, &range);
    const vantu_ll_conntrack_flow flow = {};
    for (int i = 0; i < flows_there; i++)
        (void)sclist_append(list, &flow);
    return operation_result;
}

TEST(TestGetConntrack, WithoutTheSlotReturnsOneAfterTheAssertionsMessage)
{
    vantu_platform_ops ops = {};
    const outcome got = run(test_get_conntrack, ops);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "_check_funcptr(\"get_conntrack\", ops->get_conntrack): -1 != 0 \n");
    // The assertion evaluates what failed a second time.
    EXPECT_EQ(got.log, (texts{"TRACE Testing get_conntrack", missing("get_conntrack"), missing("get_conntrack")}));
}

TEST(TestGetConntrack, ReturnsTheNumberOfFlowsWhateverTheOperationReturns)
{
    vantu_platform_ops ops = {};
    ops.get_conntrack = get_conntrack;
    const struct {
        int flows;
        int operation;
    } rows[] = {{0, 0}, {1, 0}, {3, 0}, {11, 0}, {3, -1}, {0, -1}, {2, 5}};
    for (const auto &row : rows) {
        flows_there = row.flows;
        operation_result = row.operation;
        const outcome got = run(test_get_conntrack, ops);
        EXPECT_EQ(got.result, row.flows);
        EXPECT_EQ(maximum_asked, 10);
        EXPECT_EQ(events, texts{"conntrack"});
        EXPECT_EQ(got.errors, "");
        EXPECT_EQ(got.log, (texts{"TRACE Testing get_conntrack", "DEBUG   got " + std::to_string(row.flows) + " flows",
                                  "DEBUG Done get_conntrack"}));
    }
}

// ---- Sets ----

TEST(TestIpset, MissingSlotsAreBothNamedAndGiveNoAssertionsMessage)
{
    const struct {
        bool add;
        bool get;
        texts want;
    } rows[] = {
        {false, true, {missing("ipset_add_member")}},
        {true, false, {missing("ipset_get_members")}},
        {false, false, {missing("ipset_add_member"), missing("ipset_get_members")}},
    };
    for (const auto &row : rows) {
        auto ops = set_platform();
        if (!row.add)
            ops.ipset_add_member = nullptr;
        if (!row.get)
            ops.ipset_get_members = nullptr;
        const outcome got = run(test_ipset, ops);
        EXPECT_EQ(got.result, -1) << "the two results, OR-ed";
        EXPECT_EQ(got.errors, "");
        texts want = row.want;
        want.insert(want.begin(), "TRACE Testing ipset");
        EXPECT_EQ(got.log, want);
        EXPECT_EQ(events, texts());
    }
}

// The entries as they come to the operation, in order.
texts added_entries()
{
    auto ops = set_platform();
    (void)run(test_ipset, ops);
    return beginning_with("member A ", events);
}

std::string rest(const std::string &text, const std::string &start)
{
    EXPECT_EQ(text.rfind(start, 0), 0U) << text;
    return text.rfind(start, 0) == 0 ? text.substr(start.size()) : "";
}

std::string end_behind_comma(const std::string &text)
{
    return text.substr(text.find(',') + 1);
}

std::string before_comma(const std::string &text)
{
    return text.substr(0, text.find(','));
}

TEST(TestIpset, AddsThreeEntriesOfOneRemoteAddressAndOneOfIpv6)
{
    const texts added = added_entries();
    ASSERT_EQ(added.size(), 4U);
    std::string remote;
    for (size_t i = 0; i < 3; i++) {
        const std::string entry = rest(added[i], "member A vantuvi ");
        EXPECT_EQ(end_behind_comma(entry), "udp:19305,192.168.2.13" + std::to_string(i + 1));
        in_addr address;
        EXPECT_EQ(inet_pton(AF_INET, before_comma(entry).c_str(), &address), 1) << entry;
        if (i > 0) {
            EXPECT_EQ(before_comma(entry), remote);
        }
        remote = before_comma(entry);
    }
    const std::string entry = rest(added[3], "member A vantuvi6 ");
    in6_addr address;
    EXPECT_EQ(inet_pton(AF_INET6, before_comma(entry).c_str(), &address), 1) << entry;
    const std::string local = rest(end_behind_comma(entry), "udp:443,");
    EXPECT_EQ(inet_pton(AF_INET6, local.c_str(), &address), 1) << entry;
    EXPECT_NE(local, before_comma(entry));
}

TEST(TestIpset, AddsReadsBothSetsRemovesAndFlushesInThisOrder)
{
    auto ops = set_platform();
    const outcome got = run(test_ipset, ops);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
    const texts added = beginning_with("member A ", events);
    texts want = added;
    want.emplace_back("members of vantuvi into 0");
    want.emplace_back("members of vantuvi6 into 0");
    for (const std::string &one : added)
        want.push_back("member D " + rest(one, "member A "));
    want.emplace_back("flush");
    EXPECT_EQ(events, want);

    ASSERT_EQ(added.size(), 4U);
    EXPECT_EQ(
        got.log,
        (texts{"TRACE Testing ipset", "DEBUG   ipset_add_member, 3 times", "DEBUG   ipset_get_members",
               "DEBUG 0. " + rest(added[0], "member A vantuvi "), "DEBUG 1. " + rest(added[1], "member A vantuvi "),
               "DEBUG 2. " + rest(added[2], "member A vantuvi "), "DEBUG 0. " + rest(added[3], "member A vantuvi6 "),
               "DEBUG   remove ipset member", "DEBUG Done test_ipset"}));
}

TEST(TestIpset, PassesASecondTimeSinceItRemovesWhatItAdded)
{
    auto ops = set_platform();
    EXPECT_EQ(run(test_ipset, ops).result, 0);
    EXPECT_EQ(sets["vantuvi"], texts());
    EXPECT_EQ(sets["vantuvi6"], texts());
    EXPECT_EQ(run(test_ipset, ops).result, 0);
}

TEST(TestIpset, IgnoresTheResultsOfTheOperations)
{
    auto ops = set_platform();
    operation_result = -1;
    const outcome got = run(test_ipset, ops);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
}

TEST(TestIpset, WithoutFlushSlotDoesNotFlush)
{
    auto ops = set_platform();
    ops.flush_flows = nullptr;
    const outcome got = run(test_ipset, ops);
    EXPECT_EQ(got.result, 0);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back().rfind("member D vantuvi6 ", 0), 0U) << events.back();
    EXPECT_EQ(got.log.back(), "DEBUG Done test_ipset");
}

TEST(TestIpset, WithOtherThanThreeAndOneMembersFailsWithTheirNumber)
{
    const struct {
        const char *name;
        texts four;
        texts six;
        const char *want;
        size_t reads;
    } rows[] = {
        {"another member in the first", {"198.51.100.1,tcp:1,192.168.2.1"}, {}, "n_members: 4 != 3 \n", 1},
        {"another member in the second", {}, {"2001:db8::1,tcp:1,2001:db8::2"}, "n_members: 2 != 1 \n", 2},
        {"in both, the first is told", {"a", "b"}, {"c"}, "n_members: 5 != 3 \n", 1},
    };
    for (const auto &row : rows) {
        auto ops = set_platform();
        sets["vantuvi"] = row.four;
        sets["vantuvi6"] = row.six;
        const outcome got = run(test_ipset, ops);
        EXPECT_EQ(got.result, 1) << row.name;
        EXPECT_EQ(got.errors, row.want) << row.name;
        EXPECT_EQ(beginning_with("members of", events).size(), row.reads) << row.name;
        EXPECT_EQ(beginning_with("member D", events), texts()) << row.name << ": nothing is removed";
        EXPECT_EQ(beginning_with("flush", events), texts()) << row.name;
        // The set that has the wrong number is not listed.
        EXPECT_EQ(beginning_with("DEBUG 0. ", got.log).size(), row.reads - 1) << row.name;
        EXPECT_EQ(beginning_with("DEBUG   remove", got.log), texts()) << row.name;
        EXPECT_EQ(beginning_with("DEBUG Done", got.log), texts()) << row.name;
    }
}

int add_nothing(const char *, const char *, const char *)
{
    return 0;
}

int only_the_first_set(sclist_t *list, const char *set)
{
    const int count = strcmp(set, "vantuvi") == 0 ? 3 : 0;
    for (int i = 0; i < count; i++)
        (void)sclist_append(list, std::to_string(i).c_str());
    return 0;
}

TEST(TestIpset, WithTooFewMembersFails)
{
    auto ops = set_platform();
    ops.ipset_add_member = add_nothing;
    const outcome none = run(test_ipset, ops);
    EXPECT_EQ(none.result, 1);
    EXPECT_EQ(none.errors, "n_members: 0 != 3 \n");

    ops.ipset_get_members = only_the_first_set;
    const outcome second = run(test_ipset, ops);
    EXPECT_EQ(second.result, 1);
    EXPECT_EQ(second.errors, "n_members: 0 != 1 \n");
}

// ---- Rules ----

int check_result = 0;

void set_up()
{
    events.emplace_back("setup");
}

int check()
{
    events.emplace_back("check");
    return check_result;
}

void destroy()
{
    events.emplace_back("destroy");
}

const struct rule_test {
    const char *name;
    int (*test)(vantu_platform_ops *);
    const char *event;
} rule_tests[] = {
    {"iptables_setup", test_iptables_setup, "setup"},
    {"iptables_check", test_iptables_check, "check"},
    {"iptables_destroy", test_iptables_destroy, "destroy"},
};

TEST(TestIptables, AMissingSlotReturnsOneAfterTheAssertionsMessage)
{
    for (const rule_test &row : rule_tests) {
        vantu_platform_ops ops = {};
        const outcome got = run(row.test, ops);
        EXPECT_EQ(got.result, 1) << row.name;
        EXPECT_EQ(got.errors, "_check_funcptr(\""s + row.name + "\", ops->" + row.name + "): -1 != 0 \n");
        EXPECT_EQ(got.log, (texts{missing(row.name), missing(row.name)}));
    }
}

TEST(TestIptables, EachCallsItsSlotOnceAndLogsNoTitle)
{
    vantu_platform_ops ops = {};
    ops.iptables_setup = set_up;
    ops.iptables_check = check;
    ops.iptables_destroy = destroy;
    check_result = 0;
    for (const rule_test &row : rule_tests) {
        const outcome got = run(row.test, ops);
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(got.errors, "") << row.name;
        EXPECT_EQ(events, texts{row.event}) << row.name;
        EXPECT_EQ(got.log, row.event == "check"s ? texts{"DEBUG iptables_check returned 0"} : texts()) << row.name;
    }
}

TEST(TestIptables, TheResultOfTheCheckIsLoggedAndDoesNotFailTheTest)
{
    vantu_platform_ops ops = {};
    ops.iptables_check = check;
    for (const int result : {-1, 1, 256}) {
        check_result = result;
        const outcome got = run(test_iptables_check, ops);
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(events, texts{"check"}) << "it is called once";
        EXPECT_EQ(got.log, texts{"DEBUG iptables_check returned " + std::to_string(result)});
    }
}

} // namespace
