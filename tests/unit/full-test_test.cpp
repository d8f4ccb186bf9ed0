// The full test sequence over tables of operations that are made up: where it stops, what it says then, and which
// commands it runs. tests/gateway/full-sequence.sh follows it on routers.

#include "harness.h"

#include "support.hpp"
#include "support/harness_options.hpp"
#include "vantu-libs2/vantu-wifi-common.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

using namespace std::string_literals;
using namespace support;

namespace
{

texts commands;
int system_result = 0;

} // namespace

// Called instead of the function of this name, which the linker renames.
extern "C" int __wrap_system(const char *command)
{
    commands.emplace_back(command);
    errno = EAGAIN;
    return system_result;
}

namespace
{

// What the table answers when it is asked for devices: the n-th reading is the n-th text, one letter a device, "w" with
// Wi-Fi and "e" without; the last one stays.
texts readings;
size_t readings_made = 0;
texts asked_of;

int append_devices(sclist_t *devices)
{
    const std::string &reading = readings[std::min(readings_made++, readings.size() - 1)];
    unsigned int number = 0;
    for (const char kind : reading) {
        vantu_common_device device = {};
        (void)snprintf(device.mac, sizeof(device.mac), "02:00:00:00:00:%02u", ++number % 100U);
        (void)strcpy(device.interface, kind == 'w' ? "wl1" : "eth");
        device.is_wifi = kind == 'w' ? 1 : 0;
        (void)sclist_append(devices, &device);
    }
    return 0;
}

// A platform where all is missing or fails that the sequence wants to fail, and all else works as far as it goes. The
// data rows are not there, so that the sequence ends at the first step that needs them.
vantu_platform_ops failing_platform(const texts &devices)
{
    readings = devices;
    readings_made = 0;
    asked_of.clear();
    commands.clear();
    system_result = 0;
    vantu_platform_ops ops = {};
    ops.system_setup = [] { return 0; };
    ops.get_radios = [](sclist_t *radios) {
        vantu_common_radio radio = {};
        (void)strcpy(radio.interface, "wl1");
        (void)sclist_append(radios, &radio);
        return 0;
    };
    ops.get_associated_devices = append_devices;
    ops.sample_radio_stats = [](const char *, vantu_radio_stats *, int) { return -1; };
    ops.sample_sta_stats = [](const char *, const char *, vantu_sta_stats *, int) { return -1; };
    ops.get_data_headers = [](char *header) { return strcpy(header, "a,b") != nullptr ? 0 : -1; };
    ops.is_device_active = [](const char *interface, const char *mac) {
        asked_of.push_back(interface + " "s + mac);
        return 1;
    };
    return ops;
}

call_outcome run(vantu_platform_ops &ops)
{
    return outcome_of([&] { return test_all_functions(&ops); });
}

bool has(const texts &lines, const std::string &line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::string last_line(const std::string &text)
{
    const std::string lines = text.substr(0, text.find_last_not_of('\n') + 1);
    return lines.substr(lines.find_last_of('\n') + 1);
}

class FullTest : public ::testing::Test
{
protected:
    // The sequence writes its rows into the working directory.
    void SetUp() override { std::filesystem::current_path(folder.path()); }
    void TearDown() override { std::filesystem::current_path("/"); }

    temp_dir folder;
};

TEST_F(FullTest, BeginsWithItsTitleTheRegistryAndALineEndOnStandardOutput)
{
    vantu_platform_ops ops = failing_platform({""});
    const call_outcome got = run(ops);
    ASSERT_LE(2U, got.log.size());
    EXPECT_EQ("TRACE ----Testing all functions----", got.log[0]);
    EXPECT_EQ("DEBUG function pointers after platform_platform_init_ops(): (1=set, 0=not set)", got.log[1]);
    EXPECT_EQ('\n', got.output[0]);
}

TEST_F(FullTest, StopsWhenTheSetUpIsMissingBeforeAnythingIsAsked)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.system_setup = nullptr;
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_system_setup(ops): 1 != 0 ", last_line(got.errors));
    EXPECT_EQ(0U, readings_made);
}

TEST_F(FullTest, GoesOnWhenTheOperationsOfIdentityAreMissing)
{
    vantu_platform_ops ops = failing_platform({""});
    const call_outcome got = run(ops);
    for (const char *name : {"get_routerid", "get_host_ip", "get_routermac", "get_routerbasemac", "get_systeminfo",
                             "get_wan_interface_name", "get_dhcpleases"})
        EXPECT_TRUE(has(got.log, "DEBUG \033[31m  function "s + name + " not implemented!\033[0m")) << name;
    EXPECT_EQ("size!=0 failed!", last_line(got.errors));
}

TEST_F(FullTest, StopsWithoutDevices)
{
    vantu_platform_ops ops = failing_platform({""});
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_TRUE(has(got.log, "DEBUG \033[31mNo devices found ending test!\033[0m"));
    EXPECT_EQ("size!=0 failed!", last_line(got.errors));
    EXPECT_EQ(1U, readings_made) << "no sample is taken";
}

TEST_F(FullTest, StopsWhereRadioSamplingWorksWhichIsKept)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.sample_radio_stats = [](const char *, vantu_radio_stats *, int) { return 0; };
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_sample_radio_stats(ops) failed!", last_line(got.errors));
    EXPECT_FALSE(has(got.log, "TRACE test_sample_sta_stats"));
}

TEST_F(FullTest, StopsWhereStationSamplingWorksWhichIsKept)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.sample_sta_stats = [](const char *, const char *, vantu_sta_stats *, int) { return 0; };
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_sample_sta_stats(ops) failed!", last_line(got.errors));
}

TEST_F(FullTest, StopsWhenNoConnectionIsTracked)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.get_conntrack = [](sclist_t *, sclist_t *, int) { return 0; };
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_get_conntrack(ops) != 0 failed!", last_line(got.errors));
}

TEST_F(FullTest, AcceptsAPlatformWithoutConnectionTracking)
{
    vantu_platform_ops ops = failing_platform({"w"});
    const call_outcome got = run(ops);
    EXPECT_EQ(std::string::npos, got.errors.find("test_get_conntrack"));
    EXPECT_TRUE(has(got.log, "DEBUG Done get_data_headers"));
}

TEST_F(FullTest, StopsWhenTheHeadersAreMissing)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.get_data_headers = nullptr;
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_get_headers(ops): 1 != 0 ", last_line(got.errors));
}

// The stations' sampling passes its check only when a Wi-Fi device is there, so the table must change in between.
TEST_F(FullTest, StopsWithoutAWifiDevice)
{
    vantu_platform_ops ops = failing_platform({"ee", "w"});
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("ERROR No wifi device found! aborting test", got.log.back());
    EXPECT_TRUE(asked_of.empty());
}

TEST_F(FullTest, GoesOnWithTheFirstWifiDeviceOfTheList)
{
    vantu_platform_ops ops = failing_platform({"eww"});
    const call_outcome got = run(ops);
    EXPECT_EQ(texts{"wl1 02:00:00:00:00:02"}, asked_of);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_csv_functions(\"cli-test.csv\", ops): 1 != 0 ", last_line(got.errors));
    EXPECT_TRUE(commands.empty()) << "no set is created";
}

TEST_F(FullTest, StopsWhenDeviceActivityIsMissing)
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.is_device_active = nullptr;
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_is_device_active(dev, ops): 1 != 0 ", last_line(got.errors));
}

// A platform with data rows of one number, on which the sequence reaches the sets.
vantu_platform_ops rows_platform()
{
    vantu_platform_ops ops = failing_platform({"w"});
    ops.init_data_struct_list = [](sclist_t *list) {
        (void)sclist_init(list);
        return sclist_attributes_copy(
            list, [](const void *) { return sizeof(int); }, 1);
    };
    ops.get_data_struct_size = [] { return static_cast<int>(sizeof(int)); };
    ops.fill_data_struct = [](const char *, const char *, void *row) {
        *static_cast<int *>(row) = 7;
        return 0;
    };
    ops.data_struct_to_csv_string = [](const char *, const char *, char *line, void *row) {
        (void)sprintf(line, "%d", *static_cast<int *>(row));
        return 0;
    };
    ops.csv_string_to_data_struct = [](char **fields, void *row) {
        *static_cast<int *>(row) = atoi(fields[0]);
        return 0;
    };
    ops.calculate_delta = [](void *, void *) { return 0; };
    ops.ipset_add_member = [](const char *, const char *, const char *) { return 0; };
    ops.ipset_get_members = [](sclist_t *list, const char *set) {
        for (int i = strcmp(set, "vantuvi") == 0 ? 3 : 1; i > 0; i--)
            (void)sclist_append(list, "member");
        return 0;
    };
    ops.system_destroy = [] { return 0; };
    return ops;
}

TEST_F(FullTest, ReachesItsEnd)
{
    vantu_platform_ops ops = rows_platform();
    const call_outcome got = run(ops);
    EXPECT_EQ(0, got.result);
    const texts wanted = {"ipset create vantuvi hash:ip,port,ip", "ipset create vantuvi6 hash:ip,port,ip family inet6"};
    EXPECT_EQ(wanted, commands);
    EXPECT_TRUE(has(got.log, "DEBUG Creating vantuvi ipset. Error might appear due to already being created."));
    EXPECT_EQ("TRACE Testing system_destroy", got.log.back());
}

TEST_F(FullTest, ACommandThatFailsIsNoFailure)
{
    vantu_platform_ops ops = rows_platform();
    system_result = 256;
    const call_outcome got = run(ops);
    EXPECT_EQ(0, got.result);
    EXPECT_FALSE(has(got.log, "ERROR system call failed with errno " + std::to_string(EAGAIN)));
}

TEST_F(FullTest, ACommandThatCannotBeRunIsLoggedAndNoFailureEither)
{
    vantu_platform_ops ops = rows_platform();
    system_result = -1;
    const call_outcome got = run(ops);
    EXPECT_EQ(0, got.result);
    EXPECT_EQ(
        2, std::count(got.log.begin(), got.log.end(), "ERROR system call failed with errno " + std::to_string(EAGAIN)));
}

TEST_F(FullTest, StopsWhenTheSetsAreNotAsTheyShouldBe)
{
    vantu_platform_ops ops = rows_platform();
    ops.ipset_get_members = [](sclist_t *, const char *) { return 0; };
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_ipset(ops): 1 != 0 ", last_line(got.errors));
}

TEST_F(FullTest, StopsWhenTheTearDownIsMissing)
{
    vantu_platform_ops ops = rows_platform();
    ops.system_destroy = nullptr;
    const call_outcome got = run(ops);
    EXPECT_EQ(1, got.result);
    EXPECT_EQ("test_system_destroy(ops ): 1 != 0 ", last_line(got.errors));
}

} // namespace
