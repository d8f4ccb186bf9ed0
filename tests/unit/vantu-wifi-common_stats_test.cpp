// The statistics samples: their differences, their CSV files, what is printed of them, and their lists.

#include "vantu-libs2/vantu-wifi-common.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-libs2/csv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

constexpr uint64_t wide = 18446744073709551000U; // near the largest number of 64 bits
constexpr uint32_t high = 4294967000U;           // near the largest of 32

// ---- The kinds of samples, each figure another number ----

vantu_radio_stats radio_sample(uint64_t n)
{
    vantu_radio_stats out = {};
    out.time = n + 1;
    out.delta_time = n + 2;
    out.tx_bytes = n + 3;
    out.rx_bytes = n + 4;
    out.tx_packets = n + 5;
    out.rx_packets = n + 6;
    out.utilization = static_cast<uint32_t>(n + 7);
    out.transmit = static_cast<uint32_t>(n + 8);
    out.receive_self = static_cast<uint32_t>(n + 9);
    out.receive_other = static_cast<uint32_t>(n + 10);
    out.wmm_be = {n + 11, n + 12};
    out.wmm_bk = {n + 13, n + 14};
    out.wmm_vi = {n + 15, n + 16};
    out.wmm_vo = {n + 17, n + 18};
    return out;
}

vantu_sta_stats sta_sample(uint64_t n)
{
    vantu_sta_stats out = {};
    out.time = n + 1;
    out.delta_time = static_cast<int>(n + 2);
    out.tx_bytes = n + 3;
    out.rx_bytes = n + 4;
    out.tx_packets = n + 5;
    out.rx_packets = n + 6;
    out.signal = -static_cast<int>(n + 7);
    out.noise = -static_cast<int>(n + 8);
    out.last_data_downlink_rate = n + 9;
    out.last_data_uplink_rate = n + 10;
    return out;
}

vantu_wan_stats wan_sample(uint64_t n)
{
    return {n + 1, n + 2, n + 3, n + 4, n + 5, n + 6};
}

const char radio_header[] =
    "time,delta_time,radio_bytes_sent,radio_bytes_recieved,radio_packets_sent,radio_packets_received,utilization,"
    "transmit,receive_self,receive_other,wmm_be_rx,wmm_be_tx,wmm_bk_rx,wmm_bk_tx,wmm_vi_rx,wmm_vi_tx,wmm_vo_rx,"
    "wmm_vo_tx";
const char sta_header[] = "time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_recieved,"
                          "sta_signal_strength,sta_noise,sta_last_data_uplink_rate,sta_last_data_downlink_rate";
const char wan_header[] = "time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_received";

// A ring of samples that frees its storage.
template <typename Stats>
struct ring : vantu_ringbuffer {
    explicit ring(int capacity = RADIO_STATS_BUFFER_SIZE) : vantu_ringbuffer()
    {
        vantu_ringbuffer_init(this, capacity, static_cast<int>(sizeof(Stats)));
    }
    ~ring() { vantu_ringbuffer_free(this); }
    ring(const ring &) = delete;
    ring &operator=(const ring &) = delete;

    void add(const Stats &sample) { (void)vantu_ringbuffer_write(this, &sample); }
};

int radio_file(vantu_ringbuffer &samples, const std::string &path)
{
    vantu_common_radio radio = {};
    radio.radio_stats_buff = samples;
    return vantu_radio_stats_to_csvfile(&radio, path.c_str());
}

int sta_file(vantu_ringbuffer &samples, const std::string &path)
{
    vantu_common_device device = {};
    device.sta_stats_buff = samples;
    return vantu_sta_stats_to_csvfile(&device, path.c_str());
}

int wan_file(vantu_ringbuffer &samples, const std::string &path)
{
    return vantu_wan_stats_to_csvfile(&samples, path.c_str());
}

// What differs from kind to kind, for the tests that all three have in common.
template <typename Stats>
struct kind {
    const char *header;
    Stats (*sample)(uint64_t n);
    int (*write)(vantu_ringbuffer &samples, const std::string &path);
    std::string (*line)(uint64_t n);
};

std::string joined(const std::vector<uint64_t> &numbers)
{
    std::string out;
    for (const uint64_t number : numbers)
        out += (out.empty() ? "" : ",") + std::to_string(number);
    return out;
}

std::string radio_line(uint64_t n)
{
    return joined({n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10, n + 12, n + 11, n + 14,
                   n + 13, n + 16, n + 15, n + 18, n + 17});
}

std::string sta_line(uint64_t n)
{
    return joined({n + 1, n + 2, n + 3, n + 4, n + 5, n + 6}) + ",-" + std::to_string(n + 7) + ",-" +
           std::to_string(n + 8) + "," + joined({n + 10, n + 9});
}

std::string wan_line(uint64_t n)
{
    return joined({n + 1, n + 2, n + 3, n + 4, n + 5, n + 6});
}

constexpr kind<vantu_radio_stats> radio_kind = {radio_header, radio_sample, radio_file, radio_line};
constexpr kind<vantu_sta_stats> sta_kind = {sta_header, sta_sample, sta_file, sta_line};
constexpr kind<vantu_wan_stats> wan_kind = {wan_header, wan_sample, wan_file, wan_line};

// The tables exist within a test.
class Samples : public testing::Test
{
protected:
    Samples()
    {
        vantu_radio_stats_csvtable_init();
        vantu_sta_stats_csvtable_init();
        vantu_wan_stats_csvtable_init();
    }
    ~Samples() override
    {
        vantu_radio_stats_csvtable_free();
        vantu_sta_stats_csvtable_free();
        vantu_wan_stats_csvtable_free();
    }

    template <typename Test>
    static void for_each_kind(Test test)
    {
        test(radio_kind);
        test(sta_kind);
        test(wan_kind);
    }

    // The file that one sample makes; a second one stands behind it, which is not written.
    template <typename Stats>
    texts file_of(const kind<Stats> &of, const Stats &sample)
    {
        ring<Stats> samples;
        samples.add(sample);
        samples.add(of.sample(0));
        EXPECT_EQ(of.write(samples, dir / "one.csv"), 0);
        return split_lines(content_of(dir / "one.csv"));
    }

    temp_dir dir;
};

// ---- Files ----

TEST_F(Samples, RadioFileHasTheseColumnsWithReceiveBeforeTransmitInEachCategory)
{
    vantu_radio_stats sample = radio_sample(wide);
    sample.utilization = high + 1;
    sample.transmit = high + 2;
    sample.receive_self = high + 3;
    sample.receive_other = high + 4;
    EXPECT_EQ(file_of(radio_kind, sample),
              (texts{"time,delta_time,radio_bytes_sent,radio_bytes_recieved,radio_packets_sent,"
                     "radio_packets_received,utilization,transmit,receive_self,receive_other,wmm_be_rx,wmm_be_tx,"
                     "wmm_bk_rx,wmm_bk_tx,wmm_vi_rx,wmm_vi_tx,wmm_vo_rx,wmm_vo_tx",
                     "18446744073709551001,18446744073709551002,18446744073709551003,18446744073709551004,"
                     "18446744073709551005,18446744073709551006,4294967001,4294967002,4294967003,4294967004,"
                     "18446744073709551012,18446744073709551011,18446744073709551014,18446744073709551013,"
                     "18446744073709551016,18446744073709551015,18446744073709551018,18446744073709551017"}));
}

TEST_F(Samples, StationFileEndsWithTheUplinkRateAndThenTheDownlinkRate)
{
    vantu_sta_stats sample = sta_sample(wide);
    sample.delta_time = 2147483647;
    sample.signal = -2147483647 - 1;
    sample.noise = 2147483647;
    sample.last_data_downlink_rate = 866700;
    sample.last_data_uplink_rate = 780000;
    EXPECT_EQ(file_of(sta_kind, sample),
              (texts{"time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_recieved,"
                     "sta_signal_strength,sta_noise,sta_last_data_uplink_rate,sta_last_data_downlink_rate",
                     "18446744073709551001,2147483647,18446744073709551003,18446744073709551004,"
                     "18446744073709551005,18446744073709551006,-2147483648,2147483647,780000,866700"}));
}

TEST_F(Samples, WanFileHasTheseColumns)
{
    EXPECT_EQ(file_of(wan_kind, wan_sample(wide)),
              (texts{"time,delta_time,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_received",
                     "18446744073709551001,18446744073709551002,18446744073709551003,18446744073709551004,"
                     "18446744073709551005,18446744073709551006"}));
}

TEST_F(Samples, FileOfARingIsItsHeaderAndAllSamplesButTheNewestOldestFirst)
{
    const struct {
        const char *name;
        uint64_t written;
        uint64_t first; // that is still there
        size_t lines;   // of data
    } rows[] = {
        {"empty", 0, 0, 0},
        {"one", 1, 0, 0},
        {"two", 2, 0, 1},
        {"full", 500, 0, 499},
        {"full and one", 501, 1, 499},
        {"one below full", 499, 0, 498},
        {"round twice", 1250, 750, 499},
    };
    for_each_kind([&](const auto &of) {
        for (const auto &row : rows) {
            ring<decltype(of.sample(0))> samples;
            for (uint64_t i = 0; i < row.written; i++)
                samples.add(of.sample(1000 * i));
            texts want = {of.header};
            for (size_t i = 0; i < row.lines; i++)
                want.push_back(of.line(1000 * (row.first + i)));
            EXPECT_EQ(of.write(samples, dir / "ring.csv"), 0) << row.name;
            EXPECT_EQ(split_lines(content_of(dir / "ring.csv")), want) << of.header << ": " << row.name;
            EXPECT_EQ(vantu_ringbuffer_size(&samples), static_cast<int>(std::min<uint64_t>(row.written, 500)));
        }
    });
}

TEST_F(Samples, FileOfARingWithoutStorageIsItsHeader)
{
    for_each_kind([&](const auto &of) {
        vantu_ringbuffer nothing = {};
        EXPECT_EQ(of.write(nothing, dir / "ring.csv"), 0);
        EXPECT_EQ(split_lines(content_of(dir / "ring.csv")), texts{of.header});
    });
}

TEST_F(Samples, FileIsReplaced)
{
    for_each_kind([&](const auto &of) {
        std::ofstream(dir / "old.csv") << std::string(100000, 'x');
        ring<decltype(of.sample(0))> samples;
        EXPECT_EQ(of.write(samples, dir / "old.csv"), 0);
        EXPECT_EQ(content_of(dir / "old.csv"), of.header + "\n"s);
    });
}

TEST_F(Samples, FileThatCannotBeOpenedIsLoggedAndGivesMinusOne)
{
    for_each_kind([&](const auto &of) {
        const std::string path = dir / "missing/%s%n.csv";
        ring<decltype(of.sample(0))> samples;
        samples.add(of.sample(1));
        samples.add(of.sample(2));
        const log_capture log;
        EXPECT_EQ(of.write(samples, path), -1);
        EXPECT_EQ(log.lines, texts{"ERROR failed to open file " + path + " for write"});
        EXPECT_EQ(vantu_ringbuffer_size(&samples), 2);
    });
}

TEST_F(Samples, FileThatCannotBeWrittenIsLoggedAndGivesMinusOne)
{
    for_each_kind([&](const auto &of) {
        for (const uint64_t count : {1, 500}) { // within the stream's buffer, and beyond it
            ring<decltype(of.sample(0))> samples;
            for (uint64_t i = 0; i < count; i++)
                samples.add(of.sample(wide / 2));
            const log_capture log;
            EXPECT_EQ(of.write(samples, "/dev/full"), -1) << count;
            EXPECT_EQ(log.lines, texts{"ERROR failed to write file /dev/full: No space left on device"}) << count;
        }
    });
}

TEST_F(Samples, WrittenFilesAreQuiet)
{
    for_each_kind([&](const auto &of) {
        ring<decltype(of.sample(0))> samples;
        samples.add(of.sample(1));
        samples.add(of.sample(2));
        const log_capture log;
        EXPECT_EQ(of.write(samples, dir / "quiet.csv"), 0);
        EXPECT_EQ(log.lines, texts{});
    });
}

TEST_F(Samples, TheNumberOfOpenFilesStaysTheSame)
{
    const auto before = open_descriptors();
    for_each_kind([&](const auto &of) {
        ring<decltype(of.sample(0))> samples;
        const quiet_log quiet;
        EXPECT_EQ(of.write(samples, dir / "file.csv"), 0);
        EXPECT_EQ(of.write(samples, "/dev/full"), -1);
        EXPECT_EQ(of.write(samples, dir / "missing/file.csv"), -1);
    });
    EXPECT_EQ(open_descriptors(), before);
}

// ---- Differences ----

TEST_F(Samples, RadioDeltaDifferencesTheCountersAndTakesTheRestFromTheLaterSample)
{
    vantu_radio_stats earlier = radio_sample(1000);
    vantu_radio_stats later = radio_sample(5000);
    later.utilization = 3; // less than before: no counter, so it is taken as it is
    later.wmm_vo.rx_bytes += 7;
    const std::string untouched = bytes_of(later);
    const log_capture log;
    EXPECT_EQ(vantu_radio_stats_calculate_delta(&earlier, &later), 0);
    vantu_radio_stats want = {};
    want.time = 5001;
    want.delta_time = 4000;
    want.tx_bytes = want.rx_bytes = want.tx_packets = want.rx_packets = 4000;
    want.utilization = 3;
    want.transmit = 5008;
    want.receive_self = 5009;
    want.receive_other = 5010;
    want.wmm_be = want.wmm_bk = want.wmm_vi = {4000, 4000};
    want.wmm_vo = {4000, 4007};
    EXPECT_EQ(bytes_of(earlier), bytes_of(want));
    EXPECT_EQ(bytes_of(later), untouched);
    EXPECT_EQ(log.lines, texts{}) << "columns of 32 bits have no operation";
}

TEST_F(Samples, StationDeltaDifferencesTheCountersAndTakesTheRestFromTheLaterSample)
{
    vantu_sta_stats earlier = sta_sample(1000);
    vantu_sta_stats later = sta_sample(5000);
    later.last_data_downlink_rate = 6; // no counter
    const std::string untouched = bytes_of(later);
    const log_capture log;
    EXPECT_EQ(vantu_sta_stats_calculate_delta(&earlier, &later), 0);
    EXPECT_EQ(earlier.time, 5001U);
    EXPECT_EQ(earlier.delta_time, 4000);
    EXPECT_EQ(earlier.tx_bytes, 4000U);
    EXPECT_EQ(earlier.rx_bytes, 4000U);
    EXPECT_EQ(earlier.tx_packets, 4000U);
    EXPECT_EQ(earlier.rx_packets, 4000U);
    EXPECT_EQ(earlier.signal, -5007);
    EXPECT_EQ(earlier.noise, -5008);
    EXPECT_EQ(earlier.last_data_downlink_rate, 6U);
    EXPECT_EQ(earlier.last_data_uplink_rate, 5010U);
    EXPECT_EQ(bytes_of(later), untouched);
    EXPECT_EQ(log.lines, texts{});
}

TEST_F(Samples, WanDeltaDifferencesTheCountersAndTakesTheTimeOfTheLaterSample)
{
    vantu_wan_stats earlier = {10, 20, 1000, 100, 50, 60};
    vantu_wan_stats later = {70, 25, 1500, 900, 51, 60};
    const std::string untouched = bytes_of(later);
    EXPECT_EQ(vantu_wan_stats_calculate_delta(&earlier, &later), 0);
    EXPECT_EQ(bytes_of(earlier), bytes_of(vantu_wan_stats{70, 5, 500, 800, 1, 0}));
    EXPECT_EQ(bytes_of(later), untouched);
}

TEST_F(Samples, ADeltaIsZeroForACounterThatDidNotGrow)
{
    const struct {
        uint64_t earlier;
        uint64_t later;
        uint64_t want;
    } rows[] = {
        {1000, 1500, 500},
        {1000, 900, 0},
        {1000, 1000, 0},
        {1000, 1001, 1},
        {0, UINT64_MAX, UINT64_MAX},
        {UINT64_MAX, 0, 0},
        {UINT64_MAX - 1, UINT64_MAX, 1},
    };
    for (const auto &row : rows) {
        vantu_wan_stats wan = {0, row.earlier, row.earlier, row.earlier, row.earlier, row.earlier};
        const vantu_wan_stats wan_later = {0, row.later, row.later, row.later, row.later, row.later};
        EXPECT_EQ(vantu_wan_stats_calculate_delta(&wan, &wan_later), 0);
        for (const uint64_t got :
             {wan.delta_time, wan.ip_bytes_tx, wan.ip_bytes_rx, wan.ip_packets_tx, wan.ip_packets_rx})
            EXPECT_EQ(got, row.want) << row.earlier << " to " << row.later;

        vantu_radio_stats radio = {};
        vantu_radio_stats radio_later = {};
        radio.tx_bytes = radio.wmm_be.rx_bytes = row.earlier;
        radio_later.tx_bytes = radio_later.wmm_be.rx_bytes = row.later;
        EXPECT_EQ(vantu_radio_stats_calculate_delta(&radio, &radio_later), 0);
        EXPECT_EQ(radio.tx_bytes, row.want);
        EXPECT_EQ(radio.wmm_be.rx_bytes, row.want);

        vantu_sta_stats sta = {};
        vantu_sta_stats sta_later = {};
        sta.rx_packets = row.earlier;
        sta_later.rx_packets = row.later;
        EXPECT_EQ(vantu_sta_stats_calculate_delta(&sta, &sta_later), 0);
        EXPECT_EQ(sta.rx_packets, row.want);
    }
}

TEST_F(Samples, EveryCounterOfARadioIsDifferencedAndNothingElse)
{
    // All figures shrank: each counter is 0, and what is no counter is the later sample's.
    vantu_radio_stats earlier = radio_sample(5000);
    const vantu_radio_stats later = radio_sample(1000);
    EXPECT_EQ(vantu_radio_stats_calculate_delta(&earlier, &later), 0);
    vantu_radio_stats want = {};
    want.time = 1001;
    want.utilization = 1007;
    want.transmit = 1008;
    want.receive_self = 1009;
    want.receive_other = 1010;
    EXPECT_EQ(bytes_of(earlier), bytes_of(want));
}

TEST_F(Samples, ADeltaToTheSampleItselfIsTakenInPlace)
{
    vantu_wan_stats sample = wan_sample(1000);
    EXPECT_EQ(vantu_wan_stats_calculate_delta(&sample, &sample), 0);
    EXPECT_EQ(bytes_of(sample), bytes_of(vantu_wan_stats{1001, 0, 0, 0, 0, 0}));
}

TEST_F(Samples, DeltasOfOneKindDoNotShowInAnother)
{
    vantu_radio_stats radio = radio_sample(1);
    vantu_sta_stats sta = sta_sample(1);
    vantu_wan_stats wan = wan_sample(1);
    const vantu_radio_stats later_radio = radio_sample(11);
    const vantu_sta_stats later_sta = sta_sample(101);
    const vantu_wan_stats later_wan = wan_sample(1001);
    EXPECT_EQ(vantu_radio_stats_calculate_delta(&radio, &later_radio), 0);
    EXPECT_EQ(vantu_sta_stats_calculate_delta(&sta, &later_sta), 0);
    EXPECT_EQ(vantu_wan_stats_calculate_delta(&wan, &later_wan), 0);
    EXPECT_EQ(radio.tx_bytes, 10U);
    EXPECT_EQ(sta.tx_bytes, 100U);
    EXPECT_EQ(wan.ip_bytes_tx, 1000U);
}

// ---- The station's time difference: 32 bits in the record, a column of 64 ----

TEST_F(Samples, StationsTimeDifferenceIsWrittenWithoutItsNeighbourAndWithoutSign)
{
    const struct {
        int delta_time;
        const char *want;
    } rows[] = {
        {0, "0"}, {5, "5"}, {2147483647, "2147483647"}, {-1, "4294967295"}, {-2147483647 - 1, "2147483648"},
    };
    for (const auto &row : rows) {
        vantu_sta_stats sample;
        memset(&sample, 0xA5, sizeof(sample)); // the bytes between the fields, too
        sample.delta_time = row.delta_time;
        const std::string line = file_of(sta_kind, sample).at(1);
        EXPECT_EQ(line.substr(0, line.find(',', 22)), "11936128518282651045,"s + row.want);
    }
}

TEST_F(Samples, StationsTimeDifferenceIsDifferencedInItsOwnWidth)
{
    const struct {
        int earlier;
        int later;
        int want;
    } rows[] = {
        {100, 250, 150}, {250, 100, 0}, {7, 7, 0},   {-1, 5, 0} /* the largest, unsigned */,
        {5, -1, -6},     {-6, -1, 5},   {-1, -6, 0},
    };
    for (const auto &row : rows) {
        vantu_sta_stats earlier;
        vantu_sta_stats later;
        memset(&earlier, 0xFF, sizeof(earlier));
        memset(&later, 0x5A, sizeof(later));
        earlier.delta_time = row.earlier;
        later.delta_time = row.later;
        earlier.tx_bytes = 10;
        later.tx_bytes = 25;
        later.time = 77;
        EXPECT_EQ(vantu_sta_stats_calculate_delta(&earlier, &later), 0);
        EXPECT_EQ(earlier.delta_time, row.want) << row.earlier << " to " << row.later;
        EXPECT_EQ(earlier.time, 77U) << "the field before it";
        EXPECT_EQ(earlier.tx_bytes, 15U) << "the field behind it";
    }
}

// ---- The tables' life ----

TEST(SampleTables, MayBeFreedWithoutHavingBeenMadeAndTwice)
{
    for (int i = 0; i < 2; i++) {
        vantu_radio_stats_csvtable_free();
        vantu_sta_stats_csvtable_free();
        vantu_wan_stats_csvtable_free();
    }
    vantu_wan_stats_csvtable_init();
    vantu_wan_stats wan = {0, 0, 1, 0, 0, 0};
    const vantu_wan_stats later = {0, 0, 3, 0, 0, 0};
    EXPECT_EQ(vantu_wan_stats_calculate_delta(&wan, &later), 0);
    EXPECT_EQ(wan.ip_bytes_tx, 2U);
    vantu_wan_stats_csvtable_free();
    vantu_wan_stats_csvtable_free();
}

TEST(SampleTables, MadeTwiceHaveEachColumnOnce)
{
    const temp_dir dir;
    for (int i = 0; i < 2; i++) {
        vantu_radio_stats_csvtable_init();
        vantu_sta_stats_csvtable_init();
        vantu_wan_stats_csvtable_init();
    }
    vantu_ringbuffer nothing = {};
    EXPECT_EQ(radio_file(nothing, dir / "radio"), 0);
    EXPECT_EQ(sta_file(nothing, dir / "sta"), 0);
    EXPECT_EQ(wan_file(nothing, dir / "wan"), 0);
    EXPECT_EQ(content_of(dir / "radio"), radio_header + "\n"s);
    EXPECT_EQ(content_of(dir / "sta"), sta_header + "\n"s);
    EXPECT_EQ(content_of(dir / "wan"), wan_header + "\n"s);
    vantu_radio_stats_csvtable_free();
    vantu_sta_stats_csvtable_free();
    vantu_wan_stats_csvtable_free();
}

// ---- Printing ----

TEST(Printing, ARadioIsALineOnStandardOutput)
{
    const vantu_radio_stats small = radio_sample(0);
    const log_capture log;
    EXPECT_EQ(standard_output_of([&] { vantu_radio_stats_print(&small); }),
              "tim 1 deltim2  stats: 3 4 5 6 chanim 7 8 9 10 wmm 11 12 13 14 15 16 17 18\n");
    vantu_radio_stats large = radio_sample(wide);
    large.utilization = large.transmit = large.receive_self = large.receive_other = 4294967295U;
    EXPECT_EQ(standard_output_of([&] { vantu_radio_stats_print(&large); }),
              "tim 18446744073709551001 deltim18446744073709551002  stats: 18446744073709551003 18446744073709551004 "
              "18446744073709551005 18446744073709551006 chanim 4294967295 4294967295 4294967295 4294967295 wmm "
              "18446744073709551011 18446744073709551012 18446744073709551013 18446744073709551014 "
              "18446744073709551015 18446744073709551016 18446744073709551017 18446744073709551018\n");
    EXPECT_EQ(log.lines, texts{});
}

TEST(Printing, AStationIsADebugLine)
{
    const vantu_sta_stats small = sta_sample(0);
    vantu_sta_stats large = sta_sample(wide);
    large.delta_time = -2147483647 - 1;
    large.signal = 2147483647;
    large.noise = -95;
    const log_capture log;
    EXPECT_EQ(standard_output_of([&] {
                  vantu_sta_stats_print(&small);
                  vantu_sta_stats_print(&large);
              }),
              "");
    EXPECT_EQ(log.lines, (texts{"DEBUG sta_stats: tim 1 deltim 2 stats: 3 4 5 6 sig-7 noise-8 rate: 9 10",
                                "DEBUG sta_stats: tim 18446744073709551001 deltim -2147483648 stats: "
                                "18446744073709551003 18446744073709551004 18446744073709551005 "
                                "18446744073709551006 sig2147483647 noise-95 rate: 18446744073709551009 "
                                "18446744073709551010"}));
}

TEST(Printing, TheWanIsOnStandardOutputWithoutALineEndWhichIsKept)
{
    const vantu_wan_stats small = wan_sample(0);
    const vantu_wan_stats large = wan_sample(wide);
    const log_capture log;
    EXPECT_EQ(standard_output_of([&] { vantu_wan_stats_print(&small); }), "tim 1 deltim2  stats: 3 4 5 6");
    EXPECT_EQ(standard_output_of([&] { vantu_wan_stats_print(&large); }),
              "tim 18446744073709551001 deltim18446744073709551002  stats: 18446744073709551003 18446744073709551004 "
              "18446744073709551005 18446744073709551006");
    EXPECT_EQ(log.lines, texts{});
}

// ---- Latency statistics ----

vantu_fpingdq_stats latency(uint64_t n)
{
    vantu_fpingdq_stats out = {};
    out.delta_time = n + 1;
    put(out.mac, "02:00:00:00:00:01");
    put(out.radio, "wl0");
    out.time = n + 2;
    put(out.ip, "192.168.1.20");
    out.ip_bytes_sent = n + 3;
    out.ip_bytes_recieved = n + 4;
    out.ip_packets_sent = n + 5;
    out.ip_packets_recieved = n + 6;
    out.radio_bytes_sent = 7.125F;
    out.radio_bytes_recieved = 8.5F;
    out.radio_packets_sent = 9;
    out.radio_packets_received = -10.75F;
    out.radio_utilization = 11.25F;
    out.radio_transmit = 12.5F;
    out.radio_recieve_self = 13.0625F;
    out.radio_recieve_other = 14.1875F;
    out.sta_signal_strength = -15;
    out.sta_noise = -161616;
    out.sta_last_data_downlink_rate = n + 17;
    out.sta_last_data_uplink_rate = n + 18;
    out.bk_bytes_sent = n + 19;
    out.be_bytes_sent = n + 20;
    out.vi_bytes_sent = n + 21;
    out.vo_bytes_sent = n + 22;
    out.bk_bytes_recieved = n + 23;
    out.be_bytes_recieved = n + 24;
    out.vi_bytes_recieved = n + 25;
    out.vo_bytes_recieved = n + 26;
    return out;
}

const char latency_header[] =
    "delta_time,mac,radio,time,ip,ip_bytes_sent,ip_bytes_recieved,ip_packets_sent,ip_packets_recieved,"
    "radio_bytes_sent,radio_bytes_recieved,radio_packets_sent,radio_packets_received,radio_utilization,"
    "radio_transmit,radio_recieve_self,radio_recieve_other,sta_signal_strength,sta_last_data_uplink_rate,"
    "sta_last_data_downlink_rate,bk_bytes_sent,be_bytes_sent,vi_bytes_sent,vo_bytes_sent,bk_bytes_recieved,"
    "be_bytes_recieved,vi_bytes_recieved,vo_bytes_recieved";

class Latency : public testing::Test
{
protected:
    Latency() { EXPECT_EQ(vantu_fpingdq_stats_init_table(&list), 0); }
    ~Latency() override { EXPECT_EQ(vantu_fpingdq_stats_free_table(&list), 0); }

    // The lines of the file that the list makes.
    texts written()
    {
        const log_capture log;
        EXPECT_EQ(vantu_fpingdq_stats_to_csvfile(&list, (dir / "latency.csv").c_str()), 0);
        EXPECT_EQ(log.lines, texts{});
        EXPECT_EQ(list.iter_active, 0);
        return split_lines(content_of(dir / "latency.csv"));
    }

    temp_dir dir;
    sclist_t list;
};

TEST_F(Latency, ColumnsAreTheseWithoutOperations)
{
    vantu_fpingdq_stats record = {};
    const struct {
        const char *name;
        vantu_type type;
        const void *field;
        size_t size;
    } rows[] = {
        {"delta_time", VANTU_TYPE_INT, &record.delta_time, 8},
        {"mac", VANTU_TYPE_STRING, record.mac, 20},
        {"radio", VANTU_TYPE_STRING, record.radio, 64},
        {"time", VANTU_TYPE_U64, &record.time, 8},
        {"ip", VANTU_TYPE_STRING, record.ip, 64},
        {"ip_bytes_sent", VANTU_TYPE_U64, &record.ip_bytes_sent, 8},
        {"ip_bytes_recieved", VANTU_TYPE_U64, &record.ip_bytes_recieved, 8},
        {"ip_packets_sent", VANTU_TYPE_U64, &record.ip_packets_sent, 8},
        {"ip_packets_recieved", VANTU_TYPE_U64, &record.ip_packets_recieved, 8},
        {"radio_bytes_sent", VANTU_TYPE_FLOAT, &record.radio_bytes_sent, 4},
        {"radio_bytes_recieved", VANTU_TYPE_FLOAT, &record.radio_bytes_recieved, 4},
        {"radio_packets_sent", VANTU_TYPE_FLOAT, &record.radio_packets_sent, 4},
        {"radio_packets_received", VANTU_TYPE_FLOAT, &record.radio_packets_received, 4},
        {"radio_utilization", VANTU_TYPE_FLOAT, &record.radio_utilization, 4},
        {"radio_transmit", VANTU_TYPE_FLOAT, &record.radio_transmit, 4},
        {"radio_recieve_self", VANTU_TYPE_FLOAT, &record.radio_recieve_self, 4},
        {"radio_recieve_other", VANTU_TYPE_FLOAT, &record.radio_recieve_other, 4},
        {"sta_signal_strength", VANTU_TYPE_INT, &record.sta_signal_strength, 4},
        {"sta_last_data_uplink_rate", VANTU_TYPE_U64, &record.sta_last_data_uplink_rate, 8},
        {"sta_last_data_downlink_rate", VANTU_TYPE_U64, &record.sta_last_data_downlink_rate, 8},
        {"bk_bytes_sent", VANTU_TYPE_U64, &record.bk_bytes_sent, 8},
        {"be_bytes_sent", VANTU_TYPE_U64, &record.be_bytes_sent, 8},
        {"vi_bytes_sent", VANTU_TYPE_U64, &record.vi_bytes_sent, 8},
        {"vo_bytes_sent", VANTU_TYPE_U64, &record.vo_bytes_sent, 8},
        {"bk_bytes_recieved", VANTU_TYPE_U64, &record.bk_bytes_recieved, 8},
        {"be_bytes_recieved", VANTU_TYPE_U64, &record.be_bytes_recieved, 8},
        {"vi_bytes_recieved", VANTU_TYPE_U64, &record.vi_bytes_recieved, 8},
        {"vo_bytes_recieved", VANTU_TYPE_U64, &record.vo_bytes_recieved, 8},
    };
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    EXPECT_EQ(vantu_fpingdq_stats_fill_csv_table(&table, &record), 0);
    ASSERT_EQ(sclist_size(&table), std::size(rows));
    unsigned int at = 0;
    for (const auto &row : rows) {
        const auto *got = static_cast<const vantu_csv_table_row *>(sclist_get_at(&table, at++));
        EXPECT_STREQ(got->headername, row.name);
        EXPECT_EQ(got->type_id, row.type) << row.name;
        EXPECT_EQ(got->operation, VANTU_OPR_NONE) << row.name;
        EXPECT_EQ(got->dataptr, row.field) << row.name;
        EXPECT_EQ(got->size, row.size) << row.name;
    }
}

TEST_F(Latency, FileHasALineForEveryRowInOrderAndNoNoise)
{
    for (const uint64_t n : {uint64_t{0}, uint64_t{1000}}) {
        const vantu_fpingdq_stats row = latency(n);
        ASSERT_EQ(sclist_append(&list, &row), 1);
    }
    EXPECT_EQ(written(),
              (texts{latency_header,
                     "1,02:00:00:00:00:01,wl0,2,192.168.1.20,3,4,5,6,7.12,8.50,9.00,-10.75,11.25,12.50,13.06,14.19,"
                     "-15,18,17,19,20,21,22,23,24,25,26",
                     "1001,02:00:00:00:00:01,wl0,1002,192.168.1.20,1003,1004,1005,1006,7.12,8.50,9.00,-10.75,11.25,"
                     "12.50,13.06,14.19,-15,1018,1017,1019,1020,1021,1022,1023,1024,1025,1026"}));
}

TEST_F(Latency, FileOfAnEmptyListIsItsHeader)
{
    EXPECT_LT(strlen(latency_header), 600U);
    EXPECT_EQ(written(), texts{latency_header});
}

TEST_F(Latency, TimeDifferenceIsWrittenByItsLow32BitsWithSign)
{
    const struct {
        uint64_t delta_time;
        const char *want;
    } rows[] = {
        {0x7fffffff, "2147483647"}, {0x80000000, "-2147483648"}, {0xffffffff, "-1"},
        {0x100000005, "5"},         {0xffffffff00000000, "0"},   {UINT64_MAX, "-1"},
    };
    for (const auto &row : rows) {
        (void)sclist_clear(&list);
        vantu_fpingdq_stats record = latency(0);
        record.delta_time = row.delta_time;
        ASSERT_EQ(sclist_append(&list, &record), 1);
        const std::string line = written().at(1);
        EXPECT_EQ(line.substr(0, line.find(',')), row.want) << row.delta_time;
    }
}

TEST_F(Latency, TheLongestTextsAndNumbersFitInALine)
{
    vantu_fpingdq_stats record;
    memset(&record, 0xff, sizeof(record)); // floats are set below
    record.delta_time = 0x80000000;
    memset(record.mac, 'm', sizeof(record.mac)); // without an end, as nothing terminates it
    memset(record.radio, 'r', sizeof(record.radio));
    memset(record.ip, 'i', sizeof(record.ip));
    for (float *number : {&record.radio_bytes_sent, &record.radio_bytes_recieved, &record.radio_packets_sent,
                          &record.radio_packets_received, &record.radio_utilization, &record.radio_transmit,
                          &record.radio_recieve_self, &record.radio_recieve_other})
        *number = -3.40282347e38F;
    record.sta_signal_strength = -2147483647 - 1;
    ASSERT_EQ(sclist_append(&list, &record), 1);
    std::string floats;
    std::string numbers;
    for (int i = 0; i < 8; i++)
        floats += "-340282346638528859811704183484516925440.00,";
    for (int i = 0; i < 10; i++)
        numbers += ",18446744073709551615";
    const std::string four = "18446744073709551615,18446744073709551615,18446744073709551615,18446744073709551615,";
    EXPECT_EQ(written().at(1), "-2147483648," + std::string(20, 'm') + "," + std::string(64, 'r') +
                                   ",18446744073709551615," + std::string(64, 'i') + "," + four + floats +
                                   "-2147483648" + numbers);
}

TEST_F(Latency, FileIsReplaced)
{
    std::ofstream(dir / "latency.csv") << std::string(10000, 'x');
    EXPECT_EQ(written(), texts{latency_header});
}

TEST_F(Latency, FileThatCannotBeOpenedIsLoggedAndGivesZero)
{
    const vantu_fpingdq_stats row = latency(0);
    ASSERT_EQ(sclist_append(&list, &row), 1);
    const std::string path = dir / "missing/file.csv";
    const log_capture log;
    EXPECT_EQ(vantu_fpingdq_stats_to_csvfile(&list, path.c_str()), 0);
    EXPECT_EQ(log.lines, texts{"ERROR failed to open file " + path + " for write"});
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Latency, FileThatCannotBeWrittenIsLoggedAndGivesZero)
{
    for (const int count : {0, 1000}) {
        const vantu_fpingdq_stats row = latency(0);
        for (int i = 0; i < count; i++)
            ASSERT_EQ(sclist_append(&list, &row), 1);
        const log_capture log;
        EXPECT_EQ(vantu_fpingdq_stats_to_csvfile(&list, "/dev/full"), 0);
        EXPECT_EQ(log.lines, texts{"ERROR failed to write file /dev/full: No space left on device"}) << count;
    }
}

TEST_F(Latency, AListFindsNothingAndHasNoEqualRows)
{
    vantu_fpingdq_stats row = latency(0);
    ASSERT_EQ(sclist_append(&list, &row), 1);
    EXPECT_EQ(sclist_seek(&list, row.mac), nullptr);
    EXPECT_EQ(sclist_seek(&list, row.ip), nullptr);
    EXPECT_LT(sclist_locate(&list, &row), 0);
}

TEST_F(Latency, AListHoldsCopies)
{
    vantu_fpingdq_stats row = latency(5);
    const std::string before = bytes_of(row);
    ASSERT_EQ(sclist_append(&list, &row), 1);
    row = {};
    EXPECT_EQ(bytes_of(*static_cast<const vantu_fpingdq_stats *>(sclist_get_at(&list, 0))), before);
}

TEST(StationList, HoldsCopiesAndMayBeFreed)
{
    sclist_t list;
    ASSERT_EQ(vantu_sta_stats_list_init(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    for (const uint64_t n : {uint64_t{100}, uint64_t{200}}) {
        const vantu_sta_stats sample = sta_sample(n);
        ASSERT_EQ(sclist_append(&list, &sample), 1);
    }
    ASSERT_EQ(sclist_size(&list), 2U);
    EXPECT_EQ(static_cast<const vantu_sta_stats *>(sclist_get_at(&list, 0))->rx_bytes, 104U);
    EXPECT_EQ(static_cast<const vantu_sta_stats *>(sclist_get_at(&list, 1))->last_data_uplink_rate, 210U);
    EXPECT_EQ(vantu_sta_stats_list_free(&list), 0);
}

} // namespace
