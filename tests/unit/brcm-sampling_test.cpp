// Samples of radios and stations with a `wlctl` tool that is a script, counters and a temporary directory that are the
// test's own, and the debug files that troubleshooting writes, line by line.

#include "brcm-generic/brcm-sampling.h"

#include "brcm-generic/brcm-sample-table.h"
#include "support.hpp"
#include "support/stopped_clock.hpp"
#include "vantu-libs2/vantu-ifstats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using row_t = vantu_brcm_csv_data;

namespace
{

// What each interface's counters are; none with has_counters off.
vantu_byte_stats counters = {};
bool has_counters = true;
texts interfaces_asked_for;

// The program's temporary directory.
char temporary_directory[64];

} // namespace

// Stand before the service library's functions of these names.
extern "C" vantu_byte_stats *vantu_get_if_stats(const char *ifname)
{
    interfaces_asked_for.emplace_back(ifname);
    return has_counters ? &counters : nullptr;
}

extern "C" char *vantu_get_or_create_tmp_path(void)
{
    return temporary_directory;
}

namespace
{

// ---- Reports. All their figures follow from a number. ----

std::string channel_report(int txop, int inbss, int tx)
{
    return "version: 3\n"
           "chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle timestamp\n0xd0a6\t" +
           std::to_string(tx) + "\t" + std::to_string(inbss) + "\t33\t4\t5\t0\t" + std::to_string(txop) +
           "\t8\t9\t1010\t11\t-92\t13\t1400\n";
}

// The figures 1 to 15, each after the number.
std::string channel_report(int number)
{
    std::string out = "version: 3\nchanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise "
                      "idle timestamp\n0x" +
                      std::to_string(number) + "01";
    for (int i = 2; i <= 15; i++)
        out += " " + std::to_string(100 * number + i);
    return out + "\n";
}

// Its columns. The channel word is printed in decimal.
std::string channel_columns(int number)
{
    std::string out = std::to_string(strtol((std::to_string(number) + "01").c_str(), nullptr, 16));
    for (int i = 2; i <= 15; i++)
        out += "," + std::to_string(100 * number + i);
    return out;
}

std::string zeroes(int count)
{
    std::string out = "0";
    while (--count > 0)
        out += ",0";
    return out;
}

// The categories are, in the report's order, BE, BK, VI and VO; sent bytes are 1, 3, 5 and 7 after the number.
std::string categories_report(int number)
{
    std::string out;
    int i = 0;
    for (const char *category : {"AC_BE", "AC_BK", "AC_VI", "AC_VO"}) {
        const std::string sent = std::to_string(1000 * number + ++i);
        const std::string received = std::to_string(1000 * number + ++i);
        out += "\n"s + category + ": tx frames: 91 bytes: " + sent +
               " failed frames: 92 failed bytes: 93\n       rx frames: 94 bytes: " + received +
               " failed frames: 95 failed bytes: 96\n       foward frames: 97 bytes: 98 \n"
               "       tx frames time expired: 99 \n";
    }
    return out;
}

// The columns are BK, BE, VI and VO, received before sent.
std::string first_category_columns(int number)
{
    std::string out;
    for (const int i : {4, 3, 2, 1, 6, 5, 8, 7})
        out += (out.empty() ? "" : ",") + std::to_string(1000 * number + i);
    return out;
}

std::string category_columns_since(int older, int newer)
{
    const std::string each = std::to_string(newer > older ? 1000 * (newer - older) : 0);
    std::string out = each;
    for (int i = 1; i < 8; i++)
        out += "," + each;
    return out;
}

std::string station_report(int number)
{
    const auto counter = [&](int i) { return std::to_string(1000 * number + i); };
    const auto word = [&](int i) { return std::to_string(100 * number + i); };
    const auto four = [&](int i) {
        return "-" + word(i) + " -" + word(i + 1) + " -" + word(i + 2) + " -" + word(i + 3);
    };
    return "[VER " + word(8) + "] STA 02:00:00:00:00:31:\n\t rateset [ 6 12 24 ]\n\t idle " + word(1) +
           " seconds\n\t in network 77 seconds\n\t state: AUTHENTICATED\n\t flags 0x" + std::to_string(number) +
           "a: BRCM\n\t HT caps 0x" + std::to_string(number) + "b: LDPC\n\t VHT caps 0x" + std::to_string(number) +
           "c: LDPC\n\t tx total pkts: " + counter(1) + "\n\t tx total bytes: " + counter(2) +
           "\n\t tx ucast pkts: " + counter(3) + "\n\t tx ucast bytes: " + counter(4) +
           "\n\t tx mcast/bcast pkts: " + counter(5) + "\n\t tx mcast/bcast bytes: " + counter(6) +
           "\n\t tx failures: " + counter(7) + "\n\t rx data pkts: " + counter(8) +
           "\n\t rx data bytes: " + counter(9) + "\n\t rx ucast pkts: " + counter(10) +
           "\n\t rx ucast bytes: " + counter(11) + "\n\t rx mcast/bcast pkts: " + counter(12) +
           "\n\t rx mcast/bcast bytes: " + counter(13) + "\n\t rate of last tx pkt: " + word(2) + " kbps - " + word(3) +
           " kbps\n\t rate of last rx pkt: " + word(4) + " kbps\n\t rx decrypt succeeds: " + counter(14) +
           "\n\t rx decrypt failures: " + counter(15) + "\n\t tx data pkts retried: " + counter(16) +
           "\n\t per antenna rssi of last rx data frame: " + four(20) +
           "\n\t per antenna average rssi of rx data frames: " + four(30) +
           "\n\t per antenna noise floor: " + four(40) +
           "\n\t tx total pkts sent: 1\n\t tx pkts retries: " + counter(17) +
           "\n\t tx pkts retry exhausted: " + counter(18) + "\n\t tx FW total pkts sent: " + counter(19) +
           "\n\t tx FW pkts retries: " + counter(20) + "\n\t tx FW pkts retry exhausted: " + counter(21) +
           "\n\t rx total pkts retried: " + counter(22) + "\n";
}

// The station's columns: words of the report `words`, none for 0, and counters from `counter`.
std::string station_columns(int words, const std::function<int(int)> &counter)
{
    const auto word = [&](int i) { return std::to_string(words == 0 ? 0 : 100 * words + i); };
    const auto capability = [&](int digit) { return std::to_string(words == 0 ? 0 : 16 * words + digit); };
    const auto four = [&](int i) {
        std::string out;
        for (int antenna = 0; antenna < 4; antenna++)
            out += (words == 0 ? "," : ",-") + word(i + antenna);
        return out;
    };
    const auto count = [&](int i) { return "," + std::to_string(counter(i)); };
    return word(8) + "," + word(4) + count(2) + count(9) + count(1) + count(8) + count(7) + count(17) + count(22) +
           "," + capability(10) + "," + capability(11) + "," + capability(12) + "," + word(1) + "," + word(2) + "," +
           word(3) + count(14) + count(15) + count(16) + four(20) + four(30) + four(40) + count(18) + count(19) +
           count(20) + count(21) + count(3) + count(4) + count(5) + count(6) + count(10) + count(11) + count(12) +
           count(13);
}

std::string first_station_columns(int number)
{
    return station_columns(0, [=](int i) { return 1000 * number + i; });
}

std::string station_columns_since(int older, int newer)
{
    return station_columns(older, [=](int) { return newer > older ? 1000 * (newer - older) : 0; });
}

vantu_byte_stats counters_of(int number)
{
    const auto n = static_cast<uint64_t>(10 * number);
    return {n + 1, n + 2, n + 3, n + 4};
}

// Packets sent and received, bytes received and sent.
std::string wan_columns(int number)
{
    std::string out;
    for (const int i : {3, 4, 2, 1})
        out += (out.empty() ? "" : ",") + std::to_string(10 * number + i);
    return out;
}

// A line of a debug file.
std::string line(const std::string &channel, const std::string &station, const std::string &categories,
                 const std::string &wan)
{
    return channel + "," + station + "," + categories + "," + wan;
}

const std::string no_channel = zeroes(15);
const std::string no_station = zeroes(42);
const std::string no_categories = zeroes(8);
const std::string no_wan = zeroes(4);

const char first_client[] = "02:00:00:00:00:31";
const char second_client[] = "02:00:00:00:00:32";

// ---- Operations that record how they are called ----

texts operations_called;
std::vector<const void *> rows_seen;
row_t newer_row; // as calculate_delta got it

int record_delta(void *older, void *newer)
{
    operations_called.emplace_back("calculate_delta");
    rows_seen.push_back(older);
    rows_seen.push_back(newer);
    newer_row = *static_cast<row_t *>(newer);
    static_cast<row_t *>(older)->chanim.idle = 4711;
    return -1;
}

int record_text(const char *interface, const char *mac, char *text, void *row)
{
    operations_called.push_back("data_struct_to_csv_string "s + interface + " [" + mac + "] " +
                                std::to_string(static_cast<row_t *>(row)->chanim.idle));
    rows_seen.push_back(row);
    (void)stpcpy(text, "a line, %s%n");
    return -1;
}

int record_fill(const char *interface, const char *mac, void *row)
{
    operations_called.push_back("fill_data_struct "s + interface + " " + mac);
    rows_seen.push_back(row);
    return -3;
}

class Sampling : public testing::Test
{
protected:
    Sampling()
    {
        clock_now.tv_sec += 1000; // nothing is cached any more
        before_ = global_ops;
        global_ops = {};
        counters = {};
        has_counters = true;
        interfaces_asked_for.clear();
        operations_called.clear();
        rows_seen.clear();
        put(temporary_directory, dir.path());
    }
    ~Sampling() override
    {
        global_ops = before_;
        EXPECT_TRUE(no_child_is_left());
    }

    // What the reports of a radio show from now on.
    void radio_is(const std::string &radio, int number) const
    {
        clock_now.tv_sec += 2;
        wlctl.answers("wlctl -i " + radio + " chanim_stats", channel_report(number));
        wlctl.answers("wlctl -i " + radio + " wme_counters", categories_report(number));
        counters = counters_of(number);
    }

    void station_is(const std::string &radio, const std::string &mac, int number) const
    {
        radio_is(radio, number);
        wlctl.answers("wlctl -i " + radio + " sta_info " + mac, station_report(number));
    }

    // Samples a radio with troubleshooting.
    void troubleshoot_radio(const std::string &radio, int number, int want = 0) const
    {
        radio_is(radio, number);
        vantu_radio_stats stats = {};
        const quiet_log quiet;
        EXPECT_EQ(brcm_sample_radio_stats(radio.c_str(), &stats, 1), want);
    }

    void troubleshoot_station(const std::string &radio, const std::string &mac, int number) const
    {
        station_is(radio, mac, number);
        vantu_sta_stats stats = {};
        const quiet_log quiet;
        EXPECT_EQ(brcm_sample_sta_stats(radio.c_str(), mac.c_str(), &stats, 1), 0);
    }

    // Runs a test in a child process, where the rows are still zero and no file is open.
    static void in_child(const std::function<void()> &test)
    {
        in_fresh_process([&test] {
            global_ops.calculate_delta = brcm_calculate_delta;
            global_ops.data_struct_to_csv_string = brcm_data_struct_to_csv_string;
            global_ops.fill_data_struct = brcm_fill_data_struct;
            brcm_csvtable_init();
            test();
            (void)fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        });
    }

    // The lines of a file in the temporary directory; none when it is not there.
    texts file(const std::string &name) const { return split_lines(content_of(dir / name)); }

    texts files() const
    {
        texts out;
        for (const auto &entry : fs::directory_iterator(dir.path()))
            out.push_back(entry.path().filename());
        std::sort(out.begin(), out.end());
        return out;
    }

    // Which files of the temporary directory are open.
    texts open_files() const
    {
        texts out;
        for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone; // the directory itself
            const fs::path target = fs::read_symlink(entry.path(), gone);
            if (target.parent_path() == dir.path())
                out.push_back(target.filename());
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    const answering_tools wlctl = {"wlctl"};
    temp_dir dir;

private:
    vantu_platform_ops before_ = {};
};

using RadioSample = Sampling;
using StationSample = Sampling;
using RadioDebugFile = Sampling;
using StationDebugFile = Sampling;

vantu_radio_stats filled_radio()
{
    vantu_radio_stats out;
    memset(&out, 0x5A, sizeof(out));
    return out;
}

vantu_sta_stats filled_station()
{
    vantu_sta_stats out;
    memset(&out, 0x5A, sizeof(out));
    return out;
}

// ---- Radios ----

TEST_F(RadioSample, TakesSharesCategoriesAndTheInterfacesCounters)
{
    wlctl.answers("wlctl -i wl0 chanim_stats", channel_report(30, 20, 10));
    wlctl.answers("wlctl -i wl0 wme_counters", categories_report(7));
    counters = {UINT64_MAX, 12345678901234, 13, 14};
    vantu_radio_stats stats = filled_radio();
    vantu_radio_stats want = stats; // the times stay
    want.tx_bytes = UINT64_MAX;
    want.rx_bytes = 12345678901234;
    want.tx_packets = 13;
    want.rx_packets = 14;
    want.utilization = 70;
    want.transmit = 10;
    want.receive_self = 20;
    want.receive_other = 40;
    want.wmm_be = {7001, 7002};
    want.wmm_bk = {7003, 7004};
    want.wmm_vi = {7005, 7006};
    want.wmm_vo = {7007, 7008};
    const log_capture log;
    EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), 0);
    EXPECT_EQ(bytes_of(stats), bytes_of(want));
    EXPECT_EQ(interfaces_asked_for, texts{"wl0"});
    EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl0 wme_counters"}));
    EXPECT_EQ(log.lines, (texts{"TRACE running: wlctl -i wl0 chanim_stats", "TRACE Found chanim version 3",
                                "TRACE running: wlctl -i wl0 wme_counters"}));
    EXPECT_EQ(files(), texts{});
}

TEST_F(RadioSample, SharesAreNeverNegative)
{
    const struct {
        int txop;
        int inbss;
        int tx;
        uint32_t utilization;
        uint32_t receive_other;
    } rows[] = {
        {30, 20, 10, 70, 40}, {0, 0, 0, 100, 100},   {100, 0, 0, 0, 0},    {99, 0, 0, 1, 1},
        {101, 0, 0, 0, 0},    {250, 20, 10, 0, 0},   {60, 25, 15, 40, 0},  {60, 25, 14, 40, 1},
        {60, 25, 16, 40, 0},  {0, 100, 100, 100, 0}, {-5, 0, 0, 105, 105},
    };
    wlctl.answers("wlctl -i wl1 wme_counters", categories_report(1));
    for (const auto &row : rows) {
        clock_now.tv_sec += 2;
        wlctl.answers("wlctl -i wl1 chanim_stats", channel_report(row.txop, row.inbss, row.tx));
        vantu_radio_stats stats = {};
        const quiet_log quiet;
        EXPECT_EQ(brcm_sample_radio_stats("wl1", &stats, 0), 0);
        EXPECT_EQ(stats.utilization, row.utilization) << row.txop;
        EXPECT_EQ(stats.transmit, static_cast<uint32_t>(row.tx)) << row.txop;
        EXPECT_EQ(stats.receive_self, static_cast<uint32_t>(row.inbss)) << row.txop;
        EXPECT_EQ(stats.receive_other, row.receive_other) << row.txop;
    }
}

TEST_F(RadioSample, SharesThatNoRadioCanHaveAreNoFailure)
{
    const struct {
        int txop;
        int inbss;
        int tx;
        uint32_t utilization;
        uint32_t receive_other;
    } rows[] = {
        {2147483647, 2147483647, 2147483647, 0, 0},
        {-2147483647 - 1, 0, 0, 2147483748U, 2147483748U},
        {100, -2147483647 - 1, 0, 0, 2147483648U},
        {100, 0, -2147483647 - 1, 0, 2147483648U},
    };
    wlctl.answers("wlctl -i wl1 wme_counters", categories_report(1));
    for (const auto &row : rows) {
        clock_now.tv_sec += 2;
        wlctl.answers("wlctl -i wl1 chanim_stats", channel_report(row.txop, row.inbss, row.tx));
        vantu_radio_stats stats = {};
        const quiet_log quiet;
        EXPECT_EQ(brcm_sample_radio_stats("wl1", &stats, 0), 0);
        EXPECT_EQ(stats.utilization, row.utilization) << row.txop << " " << row.inbss << " " << row.tx;
        EXPECT_EQ(stats.receive_other, row.receive_other) << row.txop << " " << row.inbss << " " << row.tx;
    }
}

TEST_F(RadioSample, ChannelIsReadOnceASecond)
{
    radio_is("wl0", 1);
    vantu_radio_stats stats = {};
    const quiet_log quiet;
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), 0);
    EXPECT_EQ(wlctl.calls(),
              (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl0 wme_counters", "wlctl -i wl0 wme_counters"}));
    clock_now.tv_sec += 1;
    clock_now.tv_usec += 100000;
    EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), 0);
    EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl0 wme_counters"}));
}

TEST_F(RadioSample, WithoutChannelStatisticsKeepsTheShares)
{
    radio_is("wl0", 7);
    wlctl.answers("wlctl -i wl0 chanim_stats", "version: 3\nheader\n0x1 2 3\n");
    vantu_radio_stats stats = filled_radio();
    const vantu_radio_stats untouched = stats;
    const log_capture log;
    EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), 0);
    EXPECT_EQ(stats.utilization, untouched.utilization);
    EXPECT_EQ(stats.transmit, untouched.transmit);
    EXPECT_EQ(stats.receive_self, untouched.receive_self);
    EXPECT_EQ(stats.receive_other, untouched.receive_other);
    EXPECT_EQ(stats.wmm_vo.rx_bytes, 7008U);
    EXPECT_EQ(stats.rx_packets, 74U);
    EXPECT_EQ(log.lines,
              (texts{"TRACE running: wlctl -i wl0 chanim_stats", "TRACE Found chanim version 3",
                     "ERROR internal_wlctl_get_chanim_stats: wrong number of stats (3)",
                     "DEBUG failed to get chanims cached -1 for wl0", "TRACE running: wlctl -i wl0 wme_counters"}));
}

TEST_F(RadioSample, OfAFourthRadioIsWithoutShares)
{
    for (const char *radio : {"wl0", "wl1", "wl2"}) {
        vantu_ll_wlctl_chanim_info channel;
        radio_is(radio, 1);
        const quiet_log quiet;
        ASSERT_EQ(brcm_get_chanims_cached(radio, &channel), 0);
    }
    (void)wlctl.calls();
    radio_is("wl3", 2);
    vantu_radio_stats stats = filled_radio();
    const log_capture log;
    EXPECT_EQ(brcm_sample_radio_stats("wl3", &stats, 0), 0);
    EXPECT_EQ(stats.utilization, 0x5A5A5A5AU);
    EXPECT_EQ(stats.wmm_be.tx_bytes, 2001U);
    EXPECT_EQ(wlctl.calls(), texts{"wlctl -i wl3 wme_counters"});
    EXPECT_EQ(log.lines,
              (texts{"DEBUG failed to get chanims cached -22 for wl3", "TRACE running: wlctl -i wl3 wme_counters"}));
}

TEST_F(RadioSample, WithoutCategoriesKeepsThemAndFailsWithTheReadersResult)
{
    radio_is("wl0", 7);
    wlctl.answers("wlctl -i wl0 chanim_stats", channel_report(30, 20, 10));
    const std::string whole = categories_report(7);
    for (const std::string &report : {""s, "wlctl: Not Found\n"s, whole.substr(0, whole.size() - 30)}) {
        wlctl.answers("wlctl -i wl0 wme_counters", report);
        vantu_radio_stats stats = filled_radio();
        vantu_radio_stats want = stats;
        want.tx_bytes = 71;
        want.rx_bytes = 72;
        want.tx_packets = 73;
        want.rx_packets = 74;
        want.utilization = 70;
        want.transmit = 10;
        want.receive_self = 20;
        want.receive_other = 40;
        const log_capture log;
        EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), -1);
        EXPECT_EQ(bytes_of(stats), bytes_of(want)) << report;
        EXPECT_EQ(log.lines.back(), "ERROR failed to get wme_counters -1 for wl0");
    }
}

TEST_F(RadioSample, WithoutInterfaceCountersKeepsThemAndSucceeds)
{
    radio_is("wl0", 7);
    wlctl.answers("wlctl -i wl0 chanim_stats", channel_report(30, 20, 10));
    has_counters = false;
    vantu_radio_stats stats = filled_radio();
    const vantu_radio_stats untouched = stats;
    const log_capture log;
    EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 0), 0);
    EXPECT_EQ(stats.tx_bytes, untouched.tx_bytes);
    EXPECT_EQ(stats.rx_bytes, untouched.rx_bytes);
    EXPECT_EQ(stats.tx_packets, untouched.tx_packets);
    EXPECT_EQ(stats.rx_packets, untouched.rx_packets);
    EXPECT_EQ(stats.utilization, 70U);
    EXPECT_EQ(stats.wmm_bk.rx_bytes, 7004U);
    EXPECT_EQ(log.lines.back(), "ERROR failed to get wan if stats");
}

TEST_F(RadioSample, WithoutAnySourceIsUntouchedAndEachIsLogged)
{
    has_counters = false;
    wlctl.answers("wlctl -i wl2 chanim_stats", "");
    wlctl.answers("wlctl -i wl2 wme_counters", "");
    vantu_radio_stats stats = filled_radio();
    const std::string untouched = bytes_of(stats);
    const log_capture log;
    EXPECT_EQ(brcm_sample_radio_stats("wl2", &stats, 0), -1);
    EXPECT_EQ(bytes_of(stats), untouched);
    EXPECT_EQ(log.lines,
              (texts{"TRACE running: wlctl -i wl2 chanim_stats",
                     "DEBUG internal_wlctl_get_chanim_stats: unable get first line",
                     "DEBUG failed to get chanims cached -1 for wl2", "TRACE running: wlctl -i wl2 wme_counters",
                     "ERROR failed to get wme_counters -1 for wl2", "ERROR failed to get wan if stats"}));
}

TEST_F(RadioSample, OfANameThatTheShellWouldInterpretRunsNothing)
{
    in_child([&] {
        // The name takes a place in the cache, where other tests may have left none.
        brcm_cached_chanim *place = brcm_cached_get_chanim_array_item("wl0");
        ASSERT_NE(place, nullptr);
        *place = {};
        put(place->param, "wl0;id");
        vantu_radio_stats stats = filled_radio();
        const log_capture log;
        EXPECT_EQ(brcm_sample_radio_stats("wl0;id", &stats, 0), 1);
        EXPECT_EQ(wlctl.calls(), texts{});
        EXPECT_NE(std::find(log.lines.begin(), log.lines.end(), "DEBUG failed to get chanims cached 1 for wl0;id"),
                  log.lines.end());
        EXPECT_NE(std::find(log.lines.begin(), log.lines.end(), "ERROR failed to get wme_counters 1 for wl0;id"),
                  log.lines.end());
        EXPECT_EQ(stats.utilization, 0x5A5A5A5AU);
    });
}

TEST_F(RadioSample, UsesNoOperationUnlessItTroubleshoots)
{
    global_ops.calculate_delta = record_delta;
    global_ops.data_struct_to_csv_string = record_text;
    global_ops.fill_data_struct = record_fill;
    station_is("wl0", first_client, 1);
    const quiet_log quiet;
    vantu_radio_stats radio = {};
    EXPECT_EQ(brcm_sample_radio_stats("wl0", &radio, 0), 0);
    vantu_sta_stats station = {};
    EXPECT_EQ(brcm_sample_sta_stats("wl0", first_client, &station, 0), 0);
    EXPECT_EQ(operations_called, texts{});
    EXPECT_EQ(files(), texts{});
}

// ---- Stations ----

TEST_F(StationSample, TakesTheReportsFigures)
{
    wlctl.answers("wlctl -i wl0 sta_info "s + first_client,
                  "[VER 8] STA 02:00:00:00:00:31:\n\t tx total pkts: 4294967295\n\t tx total bytes: 9123456789012\n"
                  "\t rx data pkts: 4294967294\n\t rx data bytes: 8123456789012\n"
                  "\t rate of last tx pkt: 866700 kbps - 780000 kbps\n\t rate of last rx pkt: 4294967293 kbps\n"
                  "\t per antenna rssi of last rx data frame: -11 -12 -13 -14\n"
                  "\t per antenna average rssi of rx data frames: -61 -62 -63 -64\n"
                  "\t per antenna noise floor: -91 -92 -93 -94\n");
    vantu_sta_stats stats = filled_station();
    vantu_sta_stats want = stats; // the times stay
    want.tx_bytes = 9123456789012;
    want.rx_bytes = 8123456789012;
    want.tx_packets = 4294967295;
    want.rx_packets = 4294967294;
    want.signal = -61;
    want.noise = -91;
    want.last_data_downlink_rate = 4294967293;
    want.last_data_uplink_rate = 866700;
    const log_capture log;
    EXPECT_EQ(brcm_sample_sta_stats("wl0", first_client, &stats, 0), 0);
    EXPECT_EQ(bytes_of(stats), bytes_of(want));
    EXPECT_EQ(wlctl.calls(), texts{"wlctl -i wl0 sta_info 02:00:00:00:00:31"});
    EXPECT_EQ(log.lines,
              (texts{"TRACE running: wlctl -i wl0 sta_info 02:00:00:00:00:31", "TRACE sta_info version: 8"}));
    EXPECT_EQ(interfaces_asked_for, texts{});
}

TEST_F(StationSample, WhatTheReportDoesNotSayIsZero)
{
    wlctl.answers("wlctl -i wl0 sta_info "s + first_client, "[VER 8] STA 02:00:00:00:00:31:\n");
    vantu_sta_stats stats = filled_station();
    const quiet_log quiet;
    EXPECT_EQ(brcm_sample_sta_stats("wl0", first_client, &stats, 0), 0);
    EXPECT_EQ(stats.tx_bytes, 0U);
    EXPECT_EQ(stats.rx_packets, 0U);
    EXPECT_EQ(stats.signal, 0);
    EXPECT_EQ(stats.last_data_uplink_rate, 0U);
}

TEST_F(StationSample, OfAnUnknownStationIsMinusOneAndLeavesTheRecord)
{
    for (const int troubleshoot : {0, 1}) {
        wlctl.answers("wlctl -i wl0 sta_info "s + first_client, "wlctl: Not Found\n");
        vantu_sta_stats stats = filled_station();
        const std::string untouched = bytes_of(stats);
        const log_capture log;
        EXPECT_EQ(brcm_sample_sta_stats("wl0", first_client, &stats, troubleshoot), -1);
        EXPECT_EQ(bytes_of(stats), untouched);
        EXPECT_EQ(log.lines, (texts{"TRACE running: wlctl -i wl0 sta_info 02:00:00:00:00:31",
                                    "ERROR internal_wlctl_get_sta_info_file: unable to read version",
                                    "DEBUG sampling sta_info failed on device wl0 02:00:00:00:00:31"}));
        EXPECT_EQ(files(), texts{});
    }
}

TEST_F(StationSample, OfAnAddressThatTheShellWouldInterpretRunsNothing)
{
    for (const char *mac : {"$(id)", "02:00;id", "a b", "`id`", "x\ny", "'", "&"}) {
        vantu_sta_stats stats = filled_station();
        const std::string untouched = bytes_of(stats);
        const log_capture log;
        EXPECT_EQ(brcm_sample_sta_stats("wl0", mac, &stats, 1), -1);
        EXPECT_EQ(bytes_of(stats), untouched);
        EXPECT_EQ(log.lines.back(), "DEBUG sampling sta_info failed on device wl0 "s + mac);
        EXPECT_EQ(wlctl.calls(), texts{});
        EXPECT_EQ(files(), texts{});
    }
}

// ---- Debug files of radios ----

const char wl0_file[] = "vantu-kivwifi-radio-wl0-debug.csv";
const char wl1_file[] = "vantu-kivwifi-radio-wl1-debug.csv";

TEST_F(RadioDebugFile, FirstLineIsTheCountersAndTheNextAreDifferencesToTheSampleBefore)
{
    in_child([&] {
        troubleshoot_radio("wl0", 3);
        EXPECT_EQ(file(wl0_file), texts{line(no_channel, no_station, first_category_columns(3), no_wan)});
        troubleshoot_radio("wl0", 5);
        troubleshoot_radio("wl0", 4); // counters that shrank
        troubleshoot_radio("wl0", 9);
        EXPECT_EQ(file(wl0_file),
                  (texts{line(no_channel, no_station, first_category_columns(3), no_wan),
                         line(channel_columns(3), no_station, category_columns_since(3, 5), wan_columns(3)),
                         line(channel_columns(5), no_station, category_columns_since(5, 4), wan_columns(5)),
                         line(channel_columns(4), no_station, category_columns_since(4, 9), wan_columns(4))}));
        EXPECT_EQ(files(), texts{wl0_file});
    });
}

TEST_F(RadioDebugFile, AWholeLineIs)
{
    in_child([&] {
        troubleshoot_radio("wl0", 3);
        troubleshoot_radio("wl0", 5);
        EXPECT_EQ(file(wl0_file).at(1),
                  "769,302,303,304,305,306,307,308,309,310,311,312,313,314,315,"
                  "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
                  "2000,2000,2000,2000,2000,2000,2000,2000,33,34,32,31");
    });
}

TEST_F(RadioDebugFile, RadiosShareOnePairOfRowsWhichIsKept)
{
    in_child([&] {
        troubleshoot_radio("wl0", 3);
        troubleshoot_radio("wl1", 5);
        troubleshoot_radio("wl0", 6);
        EXPECT_EQ(file(wl0_file),
                  (texts{line(no_channel, no_station, first_category_columns(3), no_wan),
                         line(channel_columns(5), no_station, category_columns_since(5, 6), wan_columns(5))}));
        EXPECT_EQ(file(wl1_file),
                  texts{line(channel_columns(3), no_station, category_columns_since(3, 5), wan_columns(3))});
    });
}

TEST_F(RadioDebugFile, IsNotWrittenForOtherRadiosWhoseSampleIsTakenAllTheSame)
{
    in_child([&] {
        for (const char *other : {"wl2", "wl00", "WL0", "wl", "wl0.1", "eth0"}) {
            radio_is(other, 7);
            const quiet_log quiet;
            vantu_radio_stats stats = {};
            EXPECT_EQ(brcm_sample_radio_stats(other, &stats, 1), 0) << other;
            EXPECT_EQ(stats.wmm_be.tx_bytes, 7001U) << other;
            EXPECT_EQ(files(), texts{}) << other;
        }
    });
}

TEST_F(RadioDebugFile, ShowsDifferencesToARadioThatIsNotWritten)
{
    in_child([&] {
        troubleshoot_radio("wl0", 3);
        troubleshoot_radio("wl2", 5);
        troubleshoot_radio("wl0", 9);
        EXPECT_EQ(file(wl0_file),
                  (texts{line(no_channel, no_station, first_category_columns(3), no_wan),
                         line(channel_columns(5), no_station, category_columns_since(5, 9), wan_columns(5))}));
        EXPECT_EQ(files(), texts{wl0_file});
    });
}

TEST_F(RadioDebugFile, HasZeroesForASourceThatFailed)
{
    in_child([&] {
        troubleshoot_radio("wl0", 3);
        // No channel and no counters: both are seen in the next line.
        radio_is("wl0", 5);
        wlctl.answers("wlctl -i wl0 chanim_stats", "");
        has_counters = false;
        const quiet_log quiet;
        vantu_radio_stats stats = {};
        EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 1), 0);
        has_counters = true;
        // No categories: the line is written, and the result is theirs.
        radio_is("wl0", 6);
        wlctl.answers("wlctl -i wl0 wme_counters", "");
        EXPECT_EQ(brcm_sample_radio_stats("wl0", &stats, 1), -1);
        troubleshoot_radio("wl0", 7);
        EXPECT_EQ(file(wl0_file),
                  (texts{line(no_channel, no_station, first_category_columns(3), no_wan),
                         line(channel_columns(3), no_station, category_columns_since(3, 5), wan_columns(3)),
                         line(no_channel, no_station, no_categories, no_wan),
                         line(channel_columns(6), no_station, first_category_columns(7), wan_columns(6))}));
    });
}

TEST_F(RadioDebugFile, StaysOpenBetweenCalls)
{
    in_child([&] {
        EXPECT_EQ(open_files(), texts{});
        troubleshoot_radio("wl0", 1);
        EXPECT_EQ(open_files(), texts{wl0_file});
        troubleshoot_radio("wl1", 2);
        troubleshoot_radio("wl0", 3);
        troubleshoot_radio("wl2", 4);
        EXPECT_EQ(open_files(), (texts{wl0_file, wl1_file}));
    });
}

TEST_F(RadioDebugFile, IsAppendedToOneThatIsThere)
{
    in_child([&] {
        std::ofstream(dir / wl1_file) << "of an earlier run\n";
        troubleshoot_radio("wl1", 1);
        EXPECT_EQ(file(wl1_file),
                  (texts{"of an earlier run", line(no_channel, no_station, first_category_columns(1), no_wan)}));
    });
}

TEST_F(RadioDebugFile, IsRotatedAt33000BytesKeepingOneOld)
{
    const std::string first = line(no_channel, no_station, first_category_columns(1), no_wan);
    const std::string second = line(channel_columns(1), no_station, category_columns_since(1, 2), wan_columns(1));
    // The line counts once more than its bytes in the file.
    const size_t full = 33000 - (first.size() + 1) - first.size();
    for (const size_t before : {full - 1, full}) {
        in_child([&] {
            std::ofstream(dir / wl0_file) << std::string(before - 1, 'x') + "\n";
            troubleshoot_radio("wl0", 1);
            const std::string filler(before - 1, 'x');
            if (before < full) {
                EXPECT_EQ(file(wl0_file), (texts{filler, first}));
                EXPECT_EQ(files(), texts{wl0_file});
                return;
            }
            EXPECT_EQ(file(wl0_file), texts{});
            EXPECT_EQ(file(wl0_file + ".1"s), (texts{filler, first}));
            troubleshoot_radio("wl0", 2);
            EXPECT_EQ(file(wl0_file), texts{second}) << "the new file is begun";
            EXPECT_EQ(files(), (texts{wl0_file, wl0_file + ".1"s}));
            // A second rotation drops the old file.
            std::ofstream(dir / wl0_file, std::ios::app) << std::string(33000, 'y') << "\n";
            troubleshoot_radio("wl0", 3);
            EXPECT_EQ(files(), (texts{wl0_file, wl0_file + ".1"s}));
            EXPECT_EQ(file(wl0_file), texts{});
            EXPECT_EQ(file(wl0_file + ".1"s).size(), 3U);
            EXPECT_EQ(file(wl0_file + ".1"s).front(), second);
            EXPECT_EQ(open_files(), texts{wl0_file});
        });
        for (const std::string &name : files())
            fs::remove(dir / name);
    }
}

TEST_F(RadioDebugFile, ThatCannotBeOpenedDoesNotChangeTheResult)
{
    in_child([&] {
        put(temporary_directory, dir / "missing");
        testing::internal::CaptureStderr();
        troubleshoot_radio("wl0", 1);
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(errors, "log_to_file/open: No such file or directory\n");
        EXPECT_EQ(files(), texts{});
        // The sample counts as the one before all the same.
        put(temporary_directory, dir.path());
        troubleshoot_radio("wl0", 2);
        EXPECT_EQ(file(wl0_file),
                  texts{line(channel_columns(1), no_station, category_columns_since(1, 2), wan_columns(1))});
    });
}

TEST_F(RadioDebugFile, IsNotWrittenWithoutATemporaryDirectoryAndNotInTheRootEither)
{
    in_child([&] {
        put(temporary_directory, "");
        testing::internal::CaptureStderr();
        troubleshoot_radio("wl0", 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_FALSE(fs::exists("/vantu-kivwifi-radio-wl0-debug.csv"));
        put(temporary_directory, dir.path());
        troubleshoot_radio("wl0", 2);
        EXPECT_EQ(file(wl0_file),
                  texts{line(channel_columns(1), no_station, category_columns_since(1, 2), wan_columns(1))})
            << "the sample counts as the one before all the same";
    });
}

TEST_F(RadioDebugFile, ComesFromTheOperationsWithTheOlderRow)
{
    in_child([&] {
        global_ops.calculate_delta = record_delta;
        global_ops.data_struct_to_csv_string = record_text;
        global_ops.fill_data_struct = nullptr;
        troubleshoot_radio("wl1", 3);
        troubleshoot_radio("wl1", 4);
        const texts once = {"calculate_delta", "data_struct_to_csv_string wl1 [] 4711"};
        EXPECT_EQ(operations_called, (texts{once[0], once[1], once[0], once[1]}));
        ASSERT_EQ(rows_seen.size(), 6U);
        EXPECT_EQ(rows_seen[2], rows_seen[0]) << "the older row is rendered";
        EXPECT_NE(rows_seen[1], rows_seen[0]);
        EXPECT_EQ(rows_seen[3], rows_seen[0]) << "the rows stay the same for the life of the process";
        EXPECT_EQ(rows_seen[4], rows_seen[1]);
        EXPECT_EQ(file(wl1_file), (texts{"a line, %s%n", "a line, %s%n"}));
        // What is in no column.
        EXPECT_STREQ(newer_row.radio, "wl1");
        EXPECT_STREQ(newer_row.mac, "");
        EXPECT_EQ(bytes_of(newer_row.sta_info), bytes_of(vantu_ll_wlctl_sta_info{}));
        EXPECT_EQ(newer_row.chanim.tx, 402);
        EXPECT_EQ(newer_row.wme_conters.AC_VI.rxbytes, 4006U);
        EXPECT_EQ(newer_row.wan.tx_bytes, 41U);
        EXPECT_EQ(newer_row.wan.rx_pkts, 44U);
    });
}

TEST_F(RadioDebugFile, RowsNameIsCutTo63Characters)
{
    in_child([&] {
        global_ops.calculate_delta = record_delta;
        global_ops.data_struct_to_csv_string = record_text;
        for (const size_t length : {62, 63, 64, 90}) {
            const std::string radio = "r" + std::string(length - 1, '9');
            vantu_radio_stats stats = {};
            const quiet_log quiet;
            (void)brcm_sample_radio_stats(radio.c_str(), &stats, 1);
            EXPECT_EQ(std::string(newer_row.radio), radio.substr(0, 63));
        }
        EXPECT_EQ(files(), texts{});
    });
}

// ---- Debug files of stations ----

const char first_file[] = "vantu-kivwifi-sta-02:00:00:00:00:31-debug.csv";
const char second_file[] = "vantu-kivwifi-sta-02:00:00:00:00:32-debug.csv";

TEST_F(StationDebugFile, FirstLineIsTheCountersAndTheNextAreDifferencesToTheSampleBefore)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 3);
        troubleshoot_station("wl0", first_client, 5);
        troubleshoot_station("wl0", first_client, 4); // counters that shrank
        troubleshoot_station("wl0", first_client, 9);
        EXPECT_EQ(
            file(first_file),
            (texts{
                line(no_channel, first_station_columns(3), first_category_columns(3), no_wan),
                line(channel_columns(3), station_columns_since(3, 5), category_columns_since(3, 5), wan_columns(3)),
                line(channel_columns(5), station_columns_since(5, 4), category_columns_since(5, 4), wan_columns(5)),
                line(channel_columns(4), station_columns_since(4, 9), category_columns_since(4, 9), wan_columns(4))}));
        EXPECT_EQ(files(), texts{first_file});
    });
}

TEST_F(StationDebugFile, AWholeLineIs)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 3);
        troubleshoot_station("wl0", first_client, 5);
        EXPECT_EQ(file(first_file).at(1),
                  "769,302,303,304,305,306,307,308,309,310,311,312,313,314,315,"
                  "308,304,2000,2000,2000,2000,2000,2000,2000,58,59,60,301,302,303,2000,2000,2000,"
                  "-320,-321,-322,-323,-330,-331,-332,-333,-340,-341,-342,-343,"
                  "2000,2000,2000,2000,2000,2000,2000,2000,2000,2000,2000,2000,"
                  "2000,2000,2000,2000,2000,2000,2000,2000,33,34,32,31");
    });
}

TEST_F(StationDebugFile, ReadsTheStationForTheSampleAndAgainForTheRowWithTheBridgesCounters)
{
    in_child([&] {
        troubleshoot_station("wl1", first_client, 3);
        EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl1 sta_info 02:00:00:00:00:31", "wlctl -i wl1 chanim_stats",
                                        "wlctl -i wl1 sta_info 02:00:00:00:00:31", "wlctl -i wl1 wme_counters"}));
        EXPECT_EQ(interfaces_asked_for, texts{"br-lan"});
    });
}

TEST_F(StationDebugFile, StationsShareOnePairOfRowsWhichIsKept)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 3);
        troubleshoot_station("wl1", second_client, 5);
        troubleshoot_station("wl0", first_client, 6);
        EXPECT_EQ(file(first_file),
                  (texts{line(no_channel, first_station_columns(3), first_category_columns(3), no_wan),
                         line(channel_columns(5), station_columns_since(5, 6), category_columns_since(5, 6),
                              wan_columns(5))}));
        EXPECT_EQ(file(second_file), texts{line(channel_columns(3), station_columns_since(3, 5),
                                                category_columns_since(3, 5), wan_columns(3))});
    });
}

TEST_F(StationDebugFile, StationsAndRadiosHavePairsOfTheirOwn)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 3);
        troubleshoot_radio("wl0", 5);
        troubleshoot_station("wl0", first_client, 6);
        EXPECT_EQ(file(wl0_file), texts{line(no_channel, no_station, first_category_columns(5), no_wan)});
        EXPECT_EQ(file(first_file).at(1),
                  line(channel_columns(3), station_columns_since(3, 6), category_columns_since(3, 6), wan_columns(3)));
    });
}

TEST_F(StationDebugFile, IsOpenedAndClosedForEachLine)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 1);
        EXPECT_EQ(open_files(), texts{});
        EXPECT_EQ(file(first_file).size(), 1U);
        fs::rename(dir / first_file, dir / "moved");
        troubleshoot_station("wl0", first_client, 2);
        EXPECT_EQ(file("moved").size(), 1U);
        EXPECT_EQ(file(first_file).size(), 1U);
        EXPECT_EQ(open_files(), texts{});
    });
}

TEST_F(StationDebugFile, IsRotatedAt33000BytesKeepingOneOldAndClosed)
{
    const std::string first = line(no_channel, first_station_columns(1), first_category_columns(1), no_wan);
    const size_t full = 33000 - (first.size() + 1) - first.size();
    for (const size_t before : {full - 1, full}) {
        in_child([&] {
            const std::string filler(before - 1, 'x');
            std::ofstream(dir / first_file) << filler << "\n";
            std::ofstream(dir / (first_file + ".1"s)) << "old\n";
            troubleshoot_station("wl0", first_client, 1);
            EXPECT_EQ(open_files(), texts{});
            EXPECT_EQ(files(), (texts{first_file, first_file + ".1"s}));
            if (before < full) {
                EXPECT_EQ(file(first_file), (texts{filler, first}));
                EXPECT_EQ(file(first_file + ".1"s), texts{"old"});
            } else {
                EXPECT_EQ(file(first_file), texts{});
                EXPECT_EQ(file(first_file + ".1"s), (texts{filler, first}));
            }
        });
        for (const std::string &name : files())
            fs::remove(dir / name);
    }
}

TEST_F(StationDebugFile, IsWrittenFromWhatCouldBeReadAndTheResultIsZero)
{
    in_child([&] {
        troubleshoot_station("wl0", first_client, 3);
        // The counters of the categories fail, and with them the bridge's behind them, which keep the last row's.
        station_is("wl0", first_client, 5);
        wlctl.answers("wlctl -i wl0 wme_counters", "");
        const quiet_log quiet;
        vantu_sta_stats stats = {};
        EXPECT_EQ(brcm_sample_sta_stats("wl0", first_client, &stats, 1), 0);
        EXPECT_EQ(stats.tx_bytes, 5002U);
        troubleshoot_station("wl0", first_client, 6);
        EXPECT_EQ(
            file(first_file),
            (texts{line(no_channel, first_station_columns(3), first_category_columns(3), no_wan),
                   line(channel_columns(3), station_columns_since(3, 5), no_categories, wan_columns(3)),
                   line(channel_columns(5), station_columns_since(5, 6), first_category_columns(6), wan_columns(3))}));
    });
}

TEST_F(StationDebugFile, ThatCannotBeOpenedDoesNotChangeTheResult)
{
    in_child([&] {
        put(temporary_directory, dir / "missing");
        testing::internal::CaptureStderr();
        troubleshoot_station("wl0", first_client, 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "log_to_file/open: No such file or directory\n");
        EXPECT_EQ(files(), texts{});
    });
}

TEST_F(StationDebugFile, ComesFromTheOperationsWithTheOlderRow)
{
    in_child([&] {
        global_ops.calculate_delta = record_delta;
        global_ops.data_struct_to_csv_string = record_text;
        global_ops.fill_data_struct = record_fill;
        troubleshoot_station("wl0", first_client, 3);
        EXPECT_EQ(operations_called, (texts{"fill_data_struct wl0 02:00:00:00:00:31", "calculate_delta",
                                            "data_struct_to_csv_string wl0 [02:00:00:00:00:31] 4711"}));
        ASSERT_EQ(rows_seen.size(), 4U);
        EXPECT_EQ(rows_seen[0], rows_seen[2]) << "the newer row is filled";
        EXPECT_EQ(rows_seen[1], rows_seen[3]) << "the older row is rendered";
        EXPECT_NE(rows_seen[0], rows_seen[1]);
        EXPECT_EQ(file(first_file), texts{"a line, %s%n"});
    });
}

} // namespace
