// The operations table: its composition and its stubs.

#include "vantu-platforms/vantu-platform-ops.h"

#include "list_owner.hpp"
#include "nf_conntrack/nf_conntrack.h"
#include "platform-slots.hpp"
#include "support.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-uci.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cstring>
#include <gtest/gtest.h>

namespace
{

// Called with arguments that must stay untouched; returns the stub's answer, 0 for those that return nothing.
struct stub_call {
    const char *name;
    std::function<long()> call;
};

vantu_platform_ops stubs()
{
    vantu_platform_ops ops = {};
    (void)platform_init_with_stubs(&ops);
    return ops;
}

bool undefined(const char *text)
{
    return strcmp(text, "Undefined") == 0;
}

template <typename Function>
long no_answer(Function function)
{
    function();
    return 0;
}

TEST(Stubs, EachSlotHoldsItsStubWhichWarnsUnderItsOwnNameAndAnswersZero)
{
    const vantu_platform_ops ops = stubs();
    const stub_call calls[] = {
        {"stub_system_setup", [&] { return ops.system_setup(); }},
        {"stub_system_destroy", [&] { return ops.system_destroy(); }},
        {"stub_get_router_info", [&] { return ops.get_router_info(nullptr); }},
        {"stub_get_radios", [&] { return ops.get_radios(nullptr); }},
        {"stub_get_associated_devices", [&] { return ops.get_associated_devices(nullptr); }},
        {"stub_is_device_active", [&] { return ops.is_device_active(nullptr, nullptr); }},
        {"stub_get_data_struct_size", [&] { return ops.get_data_struct_size(); }},
        {"stub_fill_data_struct", [&] { return ops.fill_data_struct(nullptr, nullptr, nullptr); }},
        {"stub_get_data_headers", [&] { return ops.get_data_headers(nullptr); }},
        {"stub_calculate_delta", [&] { return ops.calculate_delta(nullptr, nullptr); }},
        {"stub_init_data_struct_list", [&] { return ops.init_data_struct_list(nullptr); }},
        {"stub_data_struct_to_csv_string",
         [&] { return ops.data_struct_to_csv_string(nullptr, nullptr, nullptr, nullptr); }},
        {"stub_csv_string_to_data_struct", [&] { return ops.csv_string_to_data_struct(nullptr, nullptr); }},
        {"stub_calculate_issues", [&] { return ops.calculate_issues(nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"stub_sample_radio_stats", [&] { return ops.sample_radio_stats(nullptr, nullptr, 1); }},
        {"stub_sample_sta_stats", [&] { return ops.sample_sta_stats(nullptr, nullptr, nullptr, 1); }},
        {"stub_get_wan_stats", [&] { return ops.sample_wan_stats(nullptr, nullptr); }},
        {"stub_ipset_cmd_add_member", [&] { return ops.ipset_add_member(nullptr, nullptr, nullptr); }},
        {"stub_ipset_cmd_get_members", [&] { return ops.ipset_get_members(nullptr, nullptr); }},
        {"stub_get_conntrack", [&] { return ops.get_conntrack(nullptr, nullptr, 10); }},
        {"stub_iptables_setup", [&] { return no_answer(ops.iptables_setup); }},
        {"stub_iptables_check", [&] { return ops.iptables_check(); }},
        {"stub_iptables_destroy", [&] { return no_answer(ops.iptables_destroy); }},
        {"stub_flows_flush", [&] { return no_answer(ops.flush_flows); }},
        {"stub_nss_dump_leases", [&] { return ops.get_dhcpleases(nullptr); }},
        {"stub_convert_to_standard_format",
         [&] { return ops.convert_to_standard_format(nullptr, nullptr, nullptr, nullptr); }},
        {"stub_get_routerid", [&] { return undefined(ops.get_routerid()) ? 0 : 1; }},
        {"stub_get_wan_interface_name", [&] { return undefined(ops.get_wan_interface_name()) ? 0 : 1; }},
    };
    for (const stub_call &stub : calls) {
        support::log_capture log;
        EXPECT_EQ(0, stub.call()) << stub.name;
        ASSERT_EQ(1U, log.lines.size()) << stub.name;
        EXPECT_EQ(std::string("WARN the stub ") + stub.name + " called because the platform did not define it",
                  log.lines[0]);
    }
    EXPECT_EQ(28U, std::size(calls));
}

TEST(Stubs, TheSinkStubsWarnButAreInNoSlot)
{
    const vantu_platform_ops ops = stubs();
    EXPECT_EQ(nullptr, ops.logger_file_callback);
    EXPECT_EQ(nullptr, ops.logger_syslog_callback);
    support::log_capture log;
    stub_filelogger_helper_callback(nullptr);
    stub_syslog_helper_callback(nullptr);
    const std::vector<std::string> wanted = {
        "WARN the stub stub_filelogger_helper_callback called because the platform did not define it",
        "WARN the stub stub_syslog_helper_callback called because the platform did not define it",
    };
    EXPECT_EQ(wanted, log.lines);
}

TEST(Stubs, SlotsWithoutAStubStayAsTheyWereButQosSetupIsEmptied)
{
    vantu_platform_ops ops = {};
    ops.qos_setup = [] {};
    ops.get_host_ip = [] { return static_cast<char *>(nullptr); };
    EXPECT_EQ(0, platform_init_with_stubs(&ops));
    EXPECT_EQ(nullptr, ops.qos_setup);
    EXPECT_NE(nullptr, ops.get_host_ip);
    EXPECT_EQ(nullptr, ops.get_sw_defers_pkts);
    EXPECT_EQ(nullptr, ops.set_sw_defers_pkts);
}

bool is_set(const vantu_platform_ops &ops, const char *name)
{
    for (const platform_slot &slot : platform_slots) {
        if (slot.registered_as != nullptr && strcmp(slot.registered_as, name) == 0)
            return slot.value(ops) != nullptr;
    }
    ADD_FAILURE() << "no slot " << name;
    return false;
}

class Composition : public ::testing::Test
{
protected:
    void SetUp() override
    {
        memset(static_cast<void *>(&ops), 0xff, sizeof(ops));
        EXPECT_EQ(0, vantu_platform_ops_init(&ops, "ignored"));
    }
    void TearDown() override { EXPECT_EQ(0, ops.system_destroy()); }

    support::log_capture log;
    vantu_platform_ops ops;
};

TEST_F(Composition, AnswersZero)
{
    const support::quiet_log quiet;
    vantu_platform_ops again = {};
    EXPECT_EQ(platform_init_ops(&again), 0);
}

TEST_F(Composition, ExactlyEightOfTheLastSlotsAreNull)
{
    for (const char *name : {"get_host_ip", "set_websocket_ip_address", "get_qos_config", "get_ap_neighbors",
                             "get_routermac", "get_routerbasemac", "get_systeminfo", "get_networks"})
        EXPECT_FALSE(is_set(ops, name)) << name;
}

TEST_F(Composition, EveryOtherSlotIsFilledAndNoneHoldsAStub)
{
    vantu_platform_ops stubs = {};
    EXPECT_EQ(0, platform_init_with_stubs(&stubs));
    int null_slots = 0;
    for (const platform_slot &slot : platform_slots) {
        const void *value = slot.value(ops);
        if (value == nullptr)
            null_slots++;
        else
            EXPECT_NE(slot.value(stubs), value) << slot.registered_as;
    }
    EXPECT_EQ(8, null_slots);
}

TEST_F(Composition, TheKernelsConnectionsComeThroughNetlinkAndTheLeasesFromTheFile)
{
    EXPECT_EQ(&nfconntrack_get_conntrack, ops.get_conntrack);
    EXPECT_EQ(&vantu_ll_wrt_get_dhcp, ops.get_dhcpleases);
}

TEST_F(Composition, TheGlobalCopyEqualsTheCallersTable)
{
    EXPECT_EQ(0, memcmp(&ops, &global_ops, sizeof(ops)));
    EXPECT_NE(nullptr, global_ops.convert_to_standard_format);
}

TEST_F(Composition, ThePlatformIsPreparedWhileTheTableIsFilled)
{
    char header[4096] = "";
    EXPECT_EQ(0, ops.get_data_headers(header));
    EXPECT_EQ(0, strncmp(header, "chanspec,", 9)) << "the column table is there before anyone asks for it";
    EXPECT_EQ(std::vector<std::string>{"TRACE uci filepath set to /etc/config"}, log.lines);
    EXPECT_NE(nullptr, vantu_get_uci_context());
}

TEST_F(Composition, TheRadiosAreTheGatewaysThree)
{
    sclist_t radios;
    const vantu::list_owner owner(radios, vantu_common_radio_list_init);
    EXPECT_EQ(0, ops.get_radios(&radios));
    ASSERT_EQ(3U, sclist_size(&radios));
    const char *names[] = {"wl0", "wl1", "wl2"};
    for (unsigned int i = 0; i < 3; i++) {
        vantu_common_radio wanted = {};
        (void)strcpy(wanted.interface, names[i]);
        EXPECT_EQ(0, memcmp(&wanted, sclist_get_at(&radios, i), sizeof(wanted))) << names[i];
    }
}

TEST_F(Composition, ClosingKeepsTheGlobalCopy)
{
    EXPECT_EQ(0, vantu_platform_ops_close(&ops));
    EXPECT_EQ(0, memcmp(&ops, &global_ops, sizeof(ops)));
}

TEST(Identity, PlatformAndVersionAreFixedWhenTheProgramIsBuilt)
{
    EXPECT_STREQ("hobe-lxc", VANTU_PLATFORM);
    EXPECT_STREQ("0.9.14", VANTU_VERSION);
}

TEST(SlotList, StandsInTheOrderOfTheTable)
{
    vantu_platform_ops ops = {};
    auto *first = reinterpret_cast<void **>(&ops);
    for (size_t index = 0; index < std::size(platform_slots); index++) {
        first[index] = &ops;
        EXPECT_EQ(&ops, platform_slots[index].value(ops)) << "slot " << index;
        first[index] = nullptr;
    }
}

} // namespace
