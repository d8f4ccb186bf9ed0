// The DGA4231 gateway: over a configuration store in a directory of the test's, and a shell that only takes notes.

#include "tch-dga4231/vantu-wifi-dga4231.h"

#include "brcm-generic/brcm-sample-table.h"
#include "support.hpp"
#include "support/store.hpp"
#include "vantu-libs2/vantu-uci.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

using namespace std::string_literals;
using support::in_fresh_process;
using support::log_capture;
using support::store;
using support::texts;

namespace
{

// The commands that were given to the shell, and what comes of the one with this number; the others succeed.
texts commands;
size_t failing_command = 0;
int failing_status = 0;

} // namespace

// Called instead of the function of this name, which the linker renames.
extern "C" int __wrap_system(const char *command)
{
    commands.emplace_back(command);
    if (failing_status == 0 || commands.size() - 1 != failing_command)
        return 0;
    errno = ENOMEM;
    return failing_status;
}

namespace
{

std::string environment(const std::string &option, const std::string &value)
{
    return "config environment 'var'\n\toption " + option + " '" + value + "'\n";
}

TEST(SystemName, IsThatOfTheGateway)
{
    EXPECT_STREQ(dga4231_get_system_name(), "tch_dga4231");
}

// ---- Identity ----

// A text that the module keeps, so that each case has a process of its own.
struct kept_text {
    const char *option;
    char *(*get)();
    size_t room;
};
const kept_text kept_texts[] = {
    {"prod_number", dga4231_get_model_name, 63},
    {"serial", dga4231_get_routerid, 31},
};

TEST(Identity, OnceKnownItIsKeptInOneBuffer)
{
    for (const kept_text &each : kept_texts) {
        in_fresh_process([&] {
            const store uci;
            uci.has("env", environment(each.option, "first"));
            const char *text = each.get();
            EXPECT_STREQ(text, "first") << each.option;
            uci.has("env", environment(each.option, "second"));
            EXPECT_EQ(each.get(), text) << each.option;
            EXPECT_STREQ(text, "first") << each.option;
        });
    }
}

TEST(Identity, IsEmptyAndAskedAgainUntilItIsKnown)
{
    for (const kept_text &each : kept_texts) {
        in_fresh_process([&] {
            const support::quiet_log quiet;
            EXPECT_STREQ(each.get(), "") << each.option;
            const store uci;
            EXPECT_STREQ(each.get(), "") << each.option;
            uci.has("env", environment("other", "x"));
            EXPECT_STREQ(each.get(), "") << each.option;
            uci.has("env", environment(each.option, "first"));
            EXPECT_STREQ(each.get(), "first") << each.option;
        });
    }
}

TEST(Identity, IsCutToItsBuffer)
{
    for (const kept_text &each : kept_texts) {
        for (const size_t over : {0U, 1U, 100U}) {
            in_fresh_process([&] {
                const support::quiet_log quiet;
                const store uci;
                uci.has("env", environment(each.option, std::string(each.room + over, 't')));
                EXPECT_EQ(each.get(), std::string(each.room, 't')) << each.option << over;
            });
        }
    }
}

TEST(Identity, TheTwoTextsHaveBuffersOfTheirOwn)
{
    in_fresh_process([] {
        const store uci;
        uci.has("env", environment("serial", "HB01A0000042"));
        EXPECT_STREQ(dga4231_get_routerid(), "HB01A0000042");
        uci.has("env", environment("prod_number", "MODEL-1"));
        EXPECT_STREQ(dga4231_get_model_name(), "MODEL-1");
        EXPECT_STREQ(dga4231_get_routerid(), "HB01A0000042");
    });
}

// ---- Set-up and teardown ----

std::string headers()
{
    char header[4096] = "";
    EXPECT_EQ(brcm_get_csvdata_headers(header), 0);
    return header;
}

TEST(Setup, PreparesTheTableAndTheStoreAndTeardownReleasesThem)
{
    const support::quiet_log quiet;
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(dga4231_system_setup(), 0);
        EXPECT_NE(headers(), "");
        EXPECT_NE(vantu_get_uci_context(), nullptr);
        EXPECT_EQ(dga4231_system_destroy(), 0);
        EXPECT_EQ(dga4231_system_destroy(), 0);
        EXPECT_EQ(vantu_get_uci_context(), nullptr);
    }
}

TEST(Setup, WithAStoreThatIsOpenItStays)
{
    const support::quiet_log quiet;
    EXPECT_EQ(vantu_uci_init(), E_OK);
    const uci_context *before = vantu_get_uci_context();
    EXPECT_EQ(dga4231_system_setup(), 0);
    EXPECT_EQ(vantu_get_uci_context(), before);
    EXPECT_EQ(dga4231_system_destroy(), 0);
}

// ---- Queues ----

const texts queue_commands = {
    "uci del_list qos.WMM_BK_Q1.trafficid='12' 2>/dev/null",
    "uci del_list qos.WMM_BE_Q1.trafficid='13' 2>/dev/null",
    "uci del_list qos.WMM_VI_Q1.trafficid='14' 2>/dev/null",
    "uci del_list qos.WMM_VO_Q1.trafficid='15' 2>/dev/null",
    "uci add_list qos.WMM_BK_Q1.trafficid='12'",
    "uci add_list qos.WMM_BE_Q1.trafficid='13'",
    "uci add_list qos.WMM_VI_Q1.trafficid='14'",
    "uci add_list qos.WMM_VO_Q1.trafficid='15'",
    "uci set qos.bk=label",
    "uci set qos.bk.trafficid='12'",
    "uci set qos.be=label",
    "uci set qos.be.trafficid='13'",
    "uci set qos.vi=label",
    "uci set qos.vi.trafficid='14'",
    "uci set qos.vo=label",
    "uci set qos.vo.trafficid='15'",
    "uci commit",
    "qos restart",
};

// The messages of a set-up whose command with that number ends so.
texts log_of_setup(size_t number, int status)
{
    commands.clear();
    failing_command = number;
    failing_status = status;
    const log_capture log;
    dga4231_qos_setup();
    return log.lines;
}

TEST(QueueSetup, RunsItsCommandsInOrder)
{
    EXPECT_EQ(log_of_setup(0, 0), texts{});
    EXPECT_EQ(commands, queue_commands);
}

TEST(QueueSetup, WhicheverCommandFailsAllAreRunAndItIsToldOnce)
{
    for (size_t number = 0; number < queue_commands.size(); number++) {
        for (const int status : {256, 127 * 256, 9, -1}) {
            EXPECT_EQ(log_of_setup(number, status),
                      texts{"DEBUG dga4231_qos_setup: some system command returned non null"})
                << number << " " << status;
            EXPECT_EQ(commands, queue_commands) << number << " " << status;
        }
    }
}

} // namespace
