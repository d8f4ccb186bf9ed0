// The registry of operations and its report.

#include "ops-registry.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <malloc.h>

namespace
{

const std::vector<std::string> order_of_registration = {"system_setup",
                                                        "system_destroy",
                                                        "get_routerid",
                                                        "get_radios",
                                                        "get_get_dhcpleases",
                                                        "get_associated_devices",
                                                        "get_wan_interface_name",
                                                        "is_device_active",
                                                        "init_data_struct_list",
                                                        "get_data_struct_size",
                                                        "get_data_headers",
                                                        "fill_data_struct",
                                                        "data_struct_to_csv_string",
                                                        "csv_string_to_data_struct",
                                                        "calculate_delta",
                                                        "calculate_issues",
                                                        "ipset_add_member",
                                                        "ipset_get_members",
                                                        "iptables_setup",
                                                        "iptables_check",
                                                        "iptables_destroy",
                                                        "qos_setup",
                                                        "flush_flows",
                                                        "get_sw_defers_pkts",
                                                        "set_sw_defers_pkts",
                                                        "logger_file_callback",
                                                        "logger_syslog_callback",
                                                        "get_host_ip",
                                                        "set_websocket_ip_address",
                                                        "get_conntrack",
                                                        "get_qos_config",
                                                        "get_ap_neighbors",
                                                        "get_routermac",
                                                        "get_routerbasemac",
                                                        "get_systeminfo",
                                                        "get_router_info",
                                                        "get_networks",
                                                        "sample_radio_stats",
                                                        "sample_sta_stats"};

class Registry : public ::testing::Test
{
protected:
    void SetUp() override
    {
        opsfunc_head = nullptr;
        (void)platform_init_with_stubs(&ops);
        fill_opsfunc_table(&ops);
    }
    void TearDown() override { free_opsfuncs(); }

    const opsfunction *find(const std::string &name)
    {
        for (const opsfunction *record = opsfunc_head; record != nullptr; record = record->next) {
            if (name == record->funcname)
                return record;
        }
        return nullptr;
    }

    vantu_platform_ops ops = {};
};

TEST_F(Registry, HoldsThirtyNineNamesTheLastRegisteredFirst)
{
    std::vector<std::string> names;
    for (const opsfunction *record = opsfunc_head; record != nullptr; record = record->next)
        names.insert(names.begin(), record->funcname);
    EXPECT_EQ(39U, names.size());
    EXPECT_EQ(order_of_registration, names);
}

TEST_F(Registry, LeavesOutConversionAndWanSampling)
{
    EXPECT_EQ(nullptr, find("convert_to_standard_format"));
    EXPECT_EQ(nullptr, find("sample_wan_stats"));
}

TEST_F(Registry, RegistersTheLeasesUnderADoubledPrefixWhichIsKept)
{
    EXPECT_EQ(nullptr, find("get_dhcpleases"));
    ASSERT_NE(nullptr, find("get_get_dhcpleases"));
    EXPECT_EQ(reinterpret_cast<void *>(ops.get_dhcpleases), find("get_get_dhcpleases")->func_ptr);
}

TEST_F(Registry, KeepsTheValueThatASlotHadWhenItWasRegistered)
{
    EXPECT_EQ(reinterpret_cast<void *>(ops.sample_sta_stats), find("sample_sta_stats")->func_ptr);
    EXPECT_EQ(nullptr, find("get_host_ip")->func_ptr);
    ops.sample_sta_stats = nullptr;
    EXPECT_NE(nullptr, find("sample_sta_stats")->func_ptr);
}

TEST_F(Registry, ReportsEveryOperationFromTheLastToTheFirst)
{
    support::log_capture log;
    EXPECT_EQ(0, test_ops_inis(&ops));
    ASSERT_EQ(40U, log.lines.size());
    EXPECT_EQ("DEBUG function pointers after platform_platform_init_ops(): (1=set, 0=not set)", log.lines[0]);
    EXPECT_EQ("DEBUG sample_sta_stats               1", log.lines[1]);
    EXPECT_EQ("WARN get_networks                   0", log.lines[3]);
    EXPECT_EQ("DEBUG get_get_dhcpleases             1", log.lines[35]);
    EXPECT_EQ("DEBUG system_setup                   1", log.lines[39]);
}

// AddressSanitizer's allocator tells nothing here; it sees a record that is freed twice instead.
TEST_F(Registry, GivesItsMemoryBackWhenItIsFreed)
{
    constexpr size_t rounds = 100;
    const size_t before = mallinfo2().uordblks;
    for (size_t i = 0; i < rounds; i++) {
        free_opsfuncs();
        opsfunc_head = nullptr;
        fill_opsfunc_table(&ops);
    }
    // The allocator counts the few freed records that it keeps at hand as in use.
    EXPECT_LT(mallinfo2().uordblks, before + rounds * sizeof(opsfunction));
}

TEST(EmptyRegistry, IsFreedWithoutARecord)
{
    opsfunc_head = nullptr;
    free_opsfuncs();
    EXPECT_EQ(nullptr, opsfunc_head);
}

TEST(EmptyRegistry, ReportsItsTitleOnly)
{
    opsfunc_head = nullptr;
    support::log_capture log;
    EXPECT_EQ(0, test_ops_inis(nullptr));
    EXPECT_EQ(1U, log.lines.size());
}

TEST(EmptyRegistry, ANewRecordIsLinkedInFront)
{
    opsfunc_head = nullptr;
    add_opsfunc("first", nullptr);
    add_opsfunc("second", &opsfunc_head);
    ASSERT_NE(nullptr, opsfunc_head);
    EXPECT_STREQ("second", opsfunc_head->funcname);
    EXPECT_EQ(&opsfunc_head, opsfunc_head->func_ptr);
    EXPECT_EQ(nullptr, opsfunc_head->test_func);
    EXPECT_STREQ("first", opsfunc_head->next->funcname);
    EXPECT_EQ(nullptr, opsfunc_head->next->next);
    free_opsfuncs();
    EXPECT_NE(nullptr, opsfunc_head) << "the head is not reset";
}

} // namespace
