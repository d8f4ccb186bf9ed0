// The gateway's own answers: over a configuration store in a directory of the test's and a `uname` that is a script.

#include "hobe/vantu-wifi-hobe.h"

#include "brcm-generic/brcm-sample-table.h"
#include "support.hpp"
#include "support/store.hpp"
#include "tch-dga4231/vantu-wifi-dga4231.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-uci.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace std::string_literals;
using support::fake_tool;
using support::log_capture;
using support::put;
using support::store;
using support::texts;

namespace
{

const char env[] = "config environment 'var'\n"
                   "\toption prod_number 'MODEL-1'\n"
                   "\toption serial 'HB01A0000042'\n"
                   "\toption local_eth_mac '02:00:00:00:00:01'\n";

const char version[] = "config version\n"
                       "\toption version '18.3.42'\n"
                       "\n"
                       "config version\n"
                       "\toption version '17.0.0'\n";

// ---- Names and copies ----

TEST(SystemName, IsThatOfTheGateway)
{
    EXPECT_STREQ(hobe_get_system_name(), "hobe");
}

TEST(Copy, KeepsOneCharacterLessThanTheLengthAndFillsTheRestWithZeros)
{
    for (const size_t source : {0U, 1U, 62U, 63U, 64U, 70U, 200U}) {
        for (const size_t length : {1U, 2U, 63U, 64U, 65U, 128U}) {
            const std::string text(source, 's');
            std::string out(256, 'x');
            EXPECT_EQ(vatnu_strncpy(out.data(), text.c_str(), static_cast<int>(length)), 0);
            std::string want = text.substr(0, length - 1);
            want.resize(length, '\0');
            EXPECT_EQ(out, want + std::string(256 - length, 'x')) << source << " " << length;
        }
    }
}

TEST(Copy, Of70CharactersIntoAFieldOf64Keeps63)
{
    char field[64];
    EXPECT_EQ(vatnu_strncpy(field, std::string(70, 's').c_str(), sizeof(field)), 0);
    EXPECT_EQ(std::string(field, 64), std::string(63, 's') + '\0');
}

TEST(Copy, WithoutRoomWritesNothing)
{
    char field[] = "old";
    EXPECT_EQ(vatnu_strncpy(field, "new", 0), 0);
    EXPECT_EQ(vatnu_strncpy(field, "new", -1), 0);
    EXPECT_STREQ(field, "old");
}

// ---- The store ----

TEST(Keys, EachQuestionReadsItsOwn)
{
    const store uci;
    uci.has("env", env);
    uci.has("version", version);
    const struct {
        int (*read)(char *out, int len);
        const char *want;
    } rows[] = {
        {hobe_get_hardware_model, "MODEL-1"},
        {hobe_get_firmware_version, "18.3.42"},
        {hobe_get_base_mac, "02:00:00:00:00:01"},
    };
    const support::quiet_log quiet;
    for (const auto &row : rows) {
        char out[32] = "old";
        EXPECT_EQ(row.read(out, sizeof(out)), E_OK);
        EXPECT_STREQ(out, row.want);
        char small[4] = "old";
        EXPECT_EQ(row.read(small, sizeof(small)), E_OK);
        EXPECT_EQ(small, std::string(row.want).substr(0, 3));
    }
}

TEST(Keys, AFailedLookUpLeavesTheOutput)
{
    for (const auto read : {hobe_get_hardware_model, hobe_get_firmware_version, hobe_get_base_mac}) {
        const store uci;
        char out[32] = "old";
        EXPECT_EQ(read(out, sizeof(out)), E_PARAMNOTFOUND);
        uci.has("env", "config environment 'var'\n");
        uci.has("version", "config other\n\toption version '1'\n");
        EXPECT_EQ(read(out, sizeof(out)), E_PARAMNOTFOUND);
        EXPECT_STREQ(out, "old");
    }
}

TEST(Keys, WithoutAStoreTheyCannotBeRead)
{
    const support::quiet_log quiet;
    for (const auto read : {hobe_get_hardware_model, hobe_get_firmware_version, hobe_get_base_mac}) {
        char out[32] = "old";
        EXPECT_EQ(read(out, sizeof(out)), E_MISUSE);
        EXPECT_STREQ(out, "old");
    }
}

// ---- The router's identity ----

std::string routerid;

char *report_routerid()
{
    return routerid.data();
}

std::string dump(const vantu_router_info &info)
{
    const char *const fields[] = {info.routerid,
                                  info.serial,
                                  info.basemac,
                                  info.hardware_manufacturer,
                                  info.hardware_model,
                                  info.chipset_model,
                                  info.chipset_manufacturer,
                                  info.kernel_version,
                                  info.cpu_architecture,
                                  info.firmware_version,
                                  info.vantu_platform_name,
                                  info.vantu_version,
                                  info.network_name};
    return support::joined(texts(std::begin(fields), std::end(fields)), "|") + "|" + std::to_string(info.system_uptime);
}

class RouterInfo : public testing::Test
{
protected:
    void SetUp() override
    {
        before_ = global_ops;
        global_ops = {};
        global_ops.get_routerid = report_routerid;
        routerid = "HB01A0000042";
        want_ = {};
        put(want_.routerid, routerid);
        put(want_.serial, routerid);
        put(want_.hardware_manufacturer, "technicolor");
        put(want_.chipset_model, "v8");
        put(want_.chipset_manufacturer, "brcm");
        put(want_.kernel_version, "4.1.52");
        put(want_.cpu_architecture, "NULL");
        put(want_.hardware_model, "MODEL-1");
        put(want_.basemac, "02:00:00:00:00:01");
        put(want_.firmware_version, "18.3.42");
        put(want_.vantu_platform_name, "hobe-lxc");
        put(want_.vantu_version, "0.9.14");
    }
    void TearDown() override { global_ops = before_; }

    // Fills a zeroed record and compares it with what is wanted.
    void expect_wanted()
    {
        vantu_router_info got = {};
        const log_capture capture;
        EXPECT_EQ(hobe_get_router_info(&got), 0);
        EXPECT_EQ(dump(got), dump(want_));
        log = capture.lines;
    }

    const fake_tool uname{"uname", "4.1.52\n"};
    vantu_router_info want_ = {};
    texts log;

private:
    vantu_platform_ops before_ = {};
};

TEST_F(RouterInfo, IsWhatTheStoreTheKernelAndTheOperationSay)
{
    const store uci;
    uci.has("env", env);
    uci.has("version", version);
    expect_wanted();
    EXPECT_EQ(log, (texts{"TRACE Get routerid", "TRACE hobe_get_hardware_model", "TRACE Found hardware model MODEL-1",
                          "TRACE hobe_get_base_mac", "TRACE Found basemac 02:00:00:00:00:01",
                          "TRACE hobe_get_firmware_version", "TRACE Found firmware version 18.3.42"}));
    EXPECT_EQ(uname.calls(), "1:-r\n");
}

TEST_F(RouterInfo, AFieldIsNotFoundByItselfAndTheOthersAre)
{
    const store uci;
    uci.has("env", "config environment 'var'\n\toption local_eth_mac '02:00:00:00:00:01'\n");
    uci.has("version", version);
    put(want_.hardware_model, "");
    expect_wanted();
    EXPECT_EQ(log, (texts{"TRACE Get routerid", "TRACE hobe_get_hardware_model", "TRACE hobe_get_base_mac",
                          "TRACE Found basemac 02:00:00:00:00:01", "TRACE hobe_get_firmware_version",
                          "TRACE Found firmware version 18.3.42"}));
}

TEST_F(RouterInfo, WithoutAStoreTheRestIsFilled)
{
    put(want_.hardware_model, "");
    put(want_.basemac, "");
    put(want_.firmware_version, "");
    expect_wanted();
    for (const std::string &line : log)
        EXPECT_EQ(line.find("Found"), std::string::npos) << line;
}

TEST_F(RouterInfo, WithoutAKernelVersionTheFieldIsEmpty)
{
    const store uci;
    uci.has("env", env);
    uci.has("version", version);
    uname.prints("");
    put(want_.kernel_version, "");
    expect_wanted();
}

TEST_F(RouterInfo, TextsAreCutToTheirFields)
{
    for (const size_t over : {0U, 1U, 100U}) {
        const store uci;
        uci.has("env", "config environment 'var'\n\toption prod_number '" + std::string(63 + over, 'm') +
                           "'\n\toption local_eth_mac '" + std::string(63 + over, 'a') + "'\n");
        uci.has("version", "config version\n\toption version '" + std::string(127 + over, 'v') + "'\n");
        routerid = std::string(63 + over, 'r');
        uname.prints(std::string(63 + over, 'k') + "\n");
        put(want_.routerid, std::string(63, 'r'));
        put(want_.serial, std::string(63, 'r'));
        put(want_.kernel_version, std::string(63, 'k'));
        put(want_.hardware_model, std::string(63, 'm'));
        put(want_.basemac, std::string(63, 'a'));
        put(want_.firmware_version, std::string(127, 'v'));
        expect_wanted();
    }
}

TEST_F(RouterInfo, WhatIsWrittenReplacesWhatWasThereAndTheUptimeStays)
{
    const store uci;
    uci.has("env", env);
    uci.has("version", version);
    const support::quiet_log quiet;
    vantu_router_info got;
    memset(&got, 'x', sizeof(got));
    want_.system_uptime = got.system_uptime;
    EXPECT_EQ(hobe_get_router_info(&got), 0);
    EXPECT_EQ(support::bytes_of(got), support::bytes_of(want_));
}

TEST_F(RouterInfo, AnOperationWithoutAnswerLeavesTheIdentifierEmpty)
{
    const store uci;
    uci.has("env", env);
    uci.has("version", version);
    global_ops.get_routerid = []() -> char * { return nullptr; };
    put(want_.routerid, "");
    put(want_.serial, "");
    expect_wanted();
}

// ---- Radios, queues and teardown ----

TEST(Radios, AreThreeThatAreAppendedWithNothingButTheirInterfaces)
{
    support::list<vantu_common_radio_list_init> radios;
    vantu_common_radio old = {};
    put(old.interface, "old");
    (void)sclist_append(&radios, &old);
    EXPECT_EQ(hobe_get_radios(&radios), 0);
    const auto got = support::all_of<vantu_common_radio>(radios);
    const char *const names[] = {"old", "wl0", "wl1", "wl2"};
    ASSERT_EQ(got.size(), std::size(names));
    for (size_t i = 0; i < got.size(); i++) {
        vantu_common_radio want = {};
        put(want.interface, names[i]);
        EXPECT_EQ(support::bytes_of(got[i]), support::bytes_of(want)) << names[i];
    }
}

TEST(QueueSetup, DoesNothing)
{
    const support::call_outcome got = support::outcome_of([] {
        hobe_qos_setup();
        return 0;
    });
    EXPECT_EQ(got.output + got.errors, "");
    EXPECT_EQ(got.log, texts{});
    EXPECT_TRUE(support::no_child_is_left());
}

TEST(Teardown, ReleasesTheStoreAndTheTableAndMayBeRepeated)
{
    const support::quiet_log quiet;
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(dga4231_system_setup(), 0);
        EXPECT_NE(vantu_get_uci_context(), nullptr);
        char header[4096] = "";
        EXPECT_EQ(brcm_get_csvdata_headers(header), 0);
        EXPECT_NE(strlen(header), 0U);
        EXPECT_EQ(hobe_system_destroy(), 0);
        EXPECT_EQ(hobe_system_destroy(), 0);
        EXPECT_EQ(vantu_get_uci_context(), nullptr);
    }
}

} // namespace
