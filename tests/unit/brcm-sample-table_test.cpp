// The data row of the Broadcom platform: its columns, the line of text that it makes and comes from, how it is filled
// over a `wlctl` tool that is a script, its differences, and its conversion to the common statistics.

#include "brcm-generic/brcm-sample-table.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "support/stopped_clock.hpp"
#include "vantu-libs2/csv.h"
#include "vantu-libs2/vantu-fpingdq.h"
#include "vantu-libs2/vantu-wifi-common.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <unistd.h>

using namespace std::string_literals;
using namespace support;
using row_t = vantu_brcm_csv_data;

namespace
{

// What the bridge's counters are; none with is_bridge_there off.
vantu_byte_stats bridge_counters = {};
bool is_bridge_there = true;
texts interfaces_asked_for;

} // namespace

// Stands before the service library's function of this name.
extern "C" vantu_byte_stats *vantu_get_if_stats(const char *ifname)
{
    interfaces_asked_for.emplace_back(ifname);
    return is_bridge_there ? &bridge_counters : nullptr;
}

namespace
{

// ---- The columns ----

constexpr int columns_count = 69;

struct column {
    const char *name;
    vantu_type type;
    vantu_operation operation;
    const void *field; // of `bound`
    size_t size;
};

row_t bound;

template <typename T>
column plain(const char *name, vantu_type type, const T &field)
{
    return {name, type, VANTU_OPR_NONE, &field, sizeof(field)};
}

column delta(const char *name, const uint64_t &field)
{
    return {name, VANTU_TYPE_U64, VANTU_OPR_DELTA, &field, sizeof(field)};
}

const column wanted_columns[] = {
    plain("chanspec", VANTU_TYPE_U32, bound.chanim.chanspec),
    plain("tx", VANTU_TYPE_INT, bound.chanim.tx),
    plain("inbss", VANTU_TYPE_INT, bound.chanim.inbss),
    plain("obss", VANTU_TYPE_INT, bound.chanim.obss),
    plain("nocat", VANTU_TYPE_INT, bound.chanim.nocat),
    plain("nopkt", VANTU_TYPE_INT, bound.chanim.nopkt),
    plain("doze", VANTU_TYPE_INT, bound.chanim.doze),
    plain("txop", VANTU_TYPE_INT, bound.chanim.txop),
    plain("goodtx", VANTU_TYPE_INT, bound.chanim.goodtx),
    plain("badtx", VANTU_TYPE_INT, bound.chanim.badtx),
    plain("glitch", VANTU_TYPE_U32, bound.chanim.glitch),
    plain("badplcp", VANTU_TYPE_U32, bound.chanim.badplcp),
    plain("knoise", VANTU_TYPE_INT, bound.chanim.knoise),
    plain("idle", VANTU_TYPE_INT, bound.chanim.idle),
    plain("timestamp", VANTU_TYPE_U32, bound.chanim.timestamp),
    plain("version", VANTU_TYPE_U32, bound.sta_info.version),
    plain("rate_of_last_rx_pkt", VANTU_TYPE_U32, bound.sta_info.rx_rate),
    plain("tx_total_bytes", VANTU_TYPE_U64, bound.sta_info.tx_bytes),
    plain("rx_data_bytes", VANTU_TYPE_U64, bound.sta_info.rx_bytes),
    plain("tx_total_pkts", VANTU_TYPE_U32, bound.sta_info.tx_pkts),
    plain("rx_data_pkts", VANTU_TYPE_U32, bound.sta_info.rx_pkts),
    plain("tx_failures", VANTU_TYPE_U32, bound.sta_info.tx_failures),
    plain("tx_pkts_retries", VANTU_TYPE_U32, bound.sta_info.tx_retries),
    plain("rx_total_pkts_retried", VANTU_TYPE_U32, bound.sta_info.rx_retries),
    plain("flags", VANTU_TYPE_U32, bound.sta_info.flags),
    plain("htcaps", VANTU_TYPE_U32, bound.sta_info.htcaps),
    plain("vhtcaps", VANTU_TYPE_U32, bound.sta_info.vhtcaps),
    plain("sta_idle", VANTU_TYPE_U32, bound.sta_info.idle),
    plain("rate_of_last_tx_pkt", VANTU_TYPE_U32, bound.sta_info.rate_of_last_tx_pkt[0]),
    plain("min_rate_of_last_tx_pkt", VANTU_TYPE_U32, bound.sta_info.rate_of_last_tx_pkt[1]),
    plain("rx_decrypt_succeeds", VANTU_TYPE_U32, bound.sta_info.rx_decrypt_succeeds),
    plain("rx_decrypt_failures", VANTU_TYPE_U32, bound.sta_info.rx_decrypt_failures),
    plain("tx_data_pkts_retried", VANTU_TYPE_U32, bound.sta_info.tx_data_pkts_retried),
    plain("rx_last_rssi_1", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_last_rx_frame[0]),
    plain("rx_last_rssi_2", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_last_rx_frame[1]),
    plain("rx_last_rssi_3", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_last_rx_frame[2]),
    plain("rx_last_rssi_4", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_last_rx_frame[3]),
    plain("rx_average_rssi_1", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_avg[0]),
    plain("rx_average_rssi_2", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_avg[1]),
    plain("rx_average_rssi_3", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_avg[2]),
    plain("rx_average_rssi_4", VANTU_TYPE_INT, bound.sta_info.antenna_rssi_avg[3]),
    plain("noise_floor_1", VANTU_TYPE_INT, bound.sta_info.antenna_noise_floor[0]),
    plain("noise_floor_2", VANTU_TYPE_INT, bound.sta_info.antenna_noise_floor[1]),
    plain("noise_floor_3", VANTU_TYPE_INT, bound.sta_info.antenna_noise_floor[2]),
    plain("noise_floor_4", VANTU_TYPE_INT, bound.sta_info.antenna_noise_floor[3]),
    plain("tx_pkts_retry_exhausted", VANTU_TYPE_U32, bound.sta_info.tx_pkts_retry_exhausted),
    plain("tx_fw_total_pkts_sent", VANTU_TYPE_U32, bound.sta_info.tx_fw_total_pkts_sent),
    plain("tx_fw_pkts_retries", VANTU_TYPE_U32, bound.sta_info.tx_fw_pkts_retries),
    plain("tx_fw_pkts_retry_exhausted", VANTU_TYPE_U32, bound.sta_info.tx_fw_pkts_retry_exhausted),
    plain("tx_ucast_pkts", VANTU_TYPE_U32, bound.sta_info.tx_ucast_pkts),
    plain("tx_ucast_bytes", VANTU_TYPE_U64, bound.sta_info.tx_ucast_bytes),
    plain("tx_mcast_pkts", VANTU_TYPE_U32, bound.sta_info.tx_mcast_pkts),
    plain("tx_mcast_bytes", VANTU_TYPE_U64, bound.sta_info.tx_mcast_bytes),
    plain("rx_ucast_pkts", VANTU_TYPE_U32, bound.sta_info.rx_ucast_pkts),
    plain("rx_ucast_bytes", VANTU_TYPE_U64, bound.sta_info.rx_ucast_bytes),
    plain("rx_mcast_pkts", VANTU_TYPE_U32, bound.sta_info.rx_mcast_pkts),
    plain("rx_mcast_bytes", VANTU_TYPE_U64, bound.sta_info.rx_mcast_bytes),
    plain("bk_rx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_BK.rxbytes),
    plain("bk_tx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_BK.txbytes),
    plain("be_rx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_BE.rxbytes),
    plain("be_tx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_BE.txbytes),
    plain("vi_rx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_VI.rxbytes),
    plain("vi_tx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_VI.txbytes),
    plain("vo_rx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_VO.rxbytes),
    plain("vo_tx_bytes", VANTU_TYPE_U64, bound.wme_conters.AC_VO.txbytes),
    delta("wan_tx_packages", bound.wan.tx_pkts),
    delta("wan_rx_packages", bound.wan.rx_pkts),
    delta("wan_rx_bytes", bound.wan.rx_bytes),
    delta("wan_tx_bytes", bound.wan.tx_bytes),
};
static_assert(std::size(wanted_columns) == columns_count);

const char header_line[] =
    "chanspec,tx,inbss,obss,nocat,nopkt,doze,txop,goodtx,badtx,glitch,badplcp,knoise,idle,timestamp,version,"
    "rate_of_last_rx_pkt,tx_total_bytes,rx_data_bytes,tx_total_pkts,rx_data_pkts,tx_failures,tx_pkts_retries,"
    "rx_total_pkts_retried,flags,htcaps,vhtcaps,sta_idle,rate_of_last_tx_pkt,min_rate_of_last_tx_pkt,"
    "rx_decrypt_succeeds,rx_decrypt_failures,tx_data_pkts_retried,rx_last_rssi_1,rx_last_rssi_2,rx_last_rssi_3,"
    "rx_last_rssi_4,rx_average_rssi_1,rx_average_rssi_2,rx_average_rssi_3,rx_average_rssi_4,noise_floor_1,"
    "noise_floor_2,noise_floor_3,noise_floor_4,tx_pkts_retry_exhausted,tx_fw_total_pkts_sent,tx_fw_pkts_retries,"
    "tx_fw_pkts_retry_exhausted,tx_ucast_pkts,tx_ucast_bytes,tx_mcast_pkts,tx_mcast_bytes,rx_ucast_pkts,"
    "rx_ucast_bytes,rx_mcast_pkts,rx_mcast_bytes,bk_rx_bytes,bk_tx_bytes,be_rx_bytes,be_tx_bytes,vi_rx_bytes,"
    "vi_tx_bytes,vo_rx_bytes,vo_tx_bytes,wan_tx_packages,wan_rx_packages,wan_rx_bytes,wan_tx_bytes";

TEST(Columns, AreSixtyNineWithTheseNamesTypesOperationsAndFieldsInThisOrder)
{
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    brcm_build_csv_table(&table, &bound);
    ASSERT_EQ(sclist_size(&table), static_cast<unsigned int>(columns_count));
    EXPECT_EQ(BRCM_CSV_COLUMNS, columns_count);
    for (unsigned int i = 0; i < columns_count; i++) {
        const auto *got = static_cast<const vantu_csv_table_row *>(sclist_get_at(&table, i));
        const column &want = wanted_columns[i];
        EXPECT_STREQ(got->headername, want.name) << i;
        EXPECT_EQ(got->type_id, want.type) << want.name;
        EXPECT_EQ(got->operation, want.operation) << want.name;
        EXPECT_EQ(got->dataptr, want.field) << want.name;
        EXPECT_EQ(got->size, want.size) << want.name;
    }
}

TEST(Columns, AreAppendedToWhatTheTableHolds)
{
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    int other = 0;
    ASSERT_EQ(vantu_csv_add_table_row(&table, "other", VANTU_TYPE_INT, &other, VANTU_OPR_NONE), 1);
    brcm_build_csv_table(&table, &bound);
    ASSERT_EQ(sclist_size(&table), 1U + columns_count);
    EXPECT_STREQ(static_cast<const vantu_csv_table_row *>(sclist_get_at(&table, 0))->headername, "other");
}

// ---- Rows and lines ----

// Each tabled field gets a value of its own: the column's number and `step`, with all the width that the field has.
void set_tabled(row_t &row, unsigned int step)
{
    const uint32_t high = 3000000000U + step;
    const auto low = static_cast<int>(-100000 - static_cast<int>(step));
    const uint64_t wide = 9000000000000000000U + step;
    auto &c = row.chanim;
    auto &s = row.sta_info;
    auto &w = row.wme_conters;
    c.chanspec = high + 1;
    c.tx = low - 2;
    c.inbss = low - 3;
    c.obss = low - 4;
    c.nocat = low - 5;
    c.nopkt = low - 6;
    c.doze = low - 7;
    c.txop = low - 8;
    c.goodtx = low - 9;
    c.badtx = low - 10;
    c.glitch = high + 11;
    c.badplcp = high + 12;
    c.knoise = low - 13;
    c.idle = low - 14;
    c.timestamp = high + 15;
    s.version = high + 16;
    s.rx_rate = high + 17;
    s.tx_bytes = wide + 18;
    s.rx_bytes = wide + 19;
    s.tx_pkts = high + 20;
    s.rx_pkts = high + 21;
    s.tx_failures = high + 22;
    s.tx_retries = high + 23;
    s.rx_retries = high + 24;
    s.flags = high + 25;
    s.htcaps = high + 26;
    s.vhtcaps = high + 27;
    s.idle = high + 28;
    s.rate_of_last_tx_pkt[0] = high + 29;
    s.rate_of_last_tx_pkt[1] = high + 30;
    s.rx_decrypt_succeeds = high + 31;
    s.rx_decrypt_failures = high + 32;
    s.tx_data_pkts_retried = high + 33;
    for (int i = 0; i < 4; i++) {
        s.antenna_rssi_last_rx_frame[i] = low - 34 - i;
        s.antenna_rssi_avg[i] = low - 38 - i;
        s.antenna_noise_floor[i] = low - 42 - i;
    }
    s.tx_pkts_retry_exhausted = high + 46;
    s.tx_fw_total_pkts_sent = high + 47;
    s.tx_fw_pkts_retries = high + 48;
    s.tx_fw_pkts_retry_exhausted = high + 49;
    s.tx_ucast_pkts = high + 50;
    s.tx_ucast_bytes = wide + 51;
    s.tx_mcast_pkts = high + 52;
    s.tx_mcast_bytes = wide + 53;
    s.rx_ucast_pkts = high + 54;
    s.rx_ucast_bytes = wide + 55;
    s.rx_mcast_pkts = high + 56;
    s.rx_mcast_bytes = wide + 57;
    w.AC_BK.rxbytes = wide + 58;
    w.AC_BK.txbytes = wide + 59;
    w.AC_BE.rxbytes = wide + 60;
    w.AC_BE.txbytes = wide + 61;
    w.AC_VI.rxbytes = wide + 62;
    w.AC_VI.txbytes = wide + 63;
    w.AC_VO.rxbytes = wide + 64;
    w.AC_VO.txbytes = wide + 65;
    row.wan.tx_pkts = wide + 66;
    row.wan.rx_pkts = wide + 67;
    row.wan.rx_bytes = wide + 68;
    row.wan.tx_bytes = wide + 69;
}

// What set_tabled(row, 0) makes.
const char tabled_line[] =
    "3000000001,-100002,-100003,-100004,-100005,-100006,-100007,-100008,-100009,-100010,3000000011,3000000012,"
    "-100013,-100014,3000000015,3000000016,3000000017,9000000000000000018,9000000000000000019,3000000020,"
    "3000000021,3000000022,3000000023,3000000024,3000000025,3000000026,3000000027,3000000028,3000000029,"
    "3000000030,3000000031,3000000032,3000000033,-100034,-100035,-100036,-100037,-100038,-100039,-100040,"
    "-100041,-100042,-100043,-100044,-100045,3000000046,3000000047,3000000048,3000000049,3000000050,"
    "9000000000000000051,3000000052,9000000000000000053,3000000054,9000000000000000055,3000000056,"
    "9000000000000000057,9000000000000000058,9000000000000000059,9000000000000000060,9000000000000000061,"
    "9000000000000000062,9000000000000000063,9000000000000000064,9000000000000000065,9000000000000000066,"
    "9000000000000000067,9000000000000000068,9000000000000000069";

const vantu_ll_wlctl_wme_counters_data vantu_ll_wlctl_wme_counters::*const categories[] = {
    &vantu_ll_wlctl_wme_counters::AC_BE, &vantu_ll_wlctl_wme_counters::AC_BK, &vantu_ll_wlctl_wme_counters::AC_VI,
    &vantu_ll_wlctl_wme_counters::AC_VO};

// Each field that is in no column gets a value of its own.
void set_untabled(row_t &row, const std::string &mark, unsigned int number)
{
    put(row.mac, "02:" + mark);
    put(row.radio, "wl-" + mark);
    row.chanim.busy = static_cast<int>(number);
    row.chanim.epochstamp = number + 1;
    put(row.sta_info.rateset, "6 9 " + mark);
    row.sta_info.in_network = number + 2;
    put(row.sta_info.state, "STATE " + mark);
    uint64_t next = number + 3;
    for (auto *data :
         {&row.wme_conters.AC_BE, &row.wme_conters.AC_BK, &row.wme_conters.AC_VI, &row.wme_conters.AC_VO}) {
        for (uint64_t *field :
             {&data->txframes, &data->txfailedframes, &data->txfailedbytes, &data->rxframes, &data->rxfailedframes,
              &data->rxfailedbytes, &data->forward_frames, &data->forward_bytes, &data->tx_frames_time_expired})
            *field = next++;
    }
}

std::string untabled(const row_t &row)
{
    std::string out = row.mac + " "s + row.radio + " " + std::to_string(row.chanim.busy) + " " +
                      std::to_string(row.chanim.epochstamp) + " " + row.sta_info.rateset + " " +
                      std::to_string(row.sta_info.in_network) + " " + row.sta_info.state;
    for (const auto category : categories) {
        const auto &data = row.wme_conters.*category;
        for (const uint64_t field :
             {data.txframes, data.txfailedframes, data.txfailedbytes, data.rxframes, data.rxfailedframes,
              data.rxfailedbytes, data.forward_frames, data.forward_bytes, data.tx_frames_time_expired})
            out += " " + std::to_string(field);
    }
    return out;
}

class Rows : public testing::Test
{
protected:
    void SetUp() override { brcm_csvtable_init(); }
    void TearDown() override { brcm_csvtable_destroy(); }

    static std::string header()
    {
        char out[4096] = "old";
        EXPECT_EQ(brcm_get_csvdata_headers(out), 0);
        return out;
    }

    static std::string line_of(row_t row)
    {
        char out[4096] = "old";
        EXPECT_EQ(brcm_data_struct_to_csv_string("not used", "not used", out, &row), 0);
        return out;
    }

    // Splits a line and parses it.
    static row_t parse(const std::string &line)
    {
        static char storage[CSV_FIELD_SLOTS][CSV_FIELD_SIZE];
        static char *fields[CSV_FIELD_SLOTS];
        for (int i = 0; i < CSV_FIELD_SLOTS; i++) {
            storage[i][0] = '\0';
            fields[i] = storage[i];
        }
        (void)vantu_csv_split_line(line.c_str(), fields, MAX_FIELDS);
        row_t row;
        memset(&row, 0x5a, sizeof(row));
        EXPECT_EQ(brcm_csv_string_to_data_struct(fields, &row), 0);
        return row;
    }
};

TEST_F(Rows, HeaderLineHasAllColumnsAndNoLineEnd)
{
    const std::string got = header();
    EXPECT_EQ(got, header_line);
    EXPECT_EQ(std::count(got.begin(), got.end(), ','), columns_count - 1);
    EXPECT_EQ(got.substr(0, 9), "chanspec,");
    EXPECT_EQ(got.substr(got.size() - 13), ",wan_tx_bytes");
}

TEST_F(Rows, LineHasEveryTabledFieldInItsPlaceAndWidth)
{
    row_t row = {};
    set_untabled(row, "x", 7);
    set_tabled(row, 0);
    EXPECT_EQ(line_of(row), tabled_line);
}

TEST_F(Rows, NothingOutsideTheTableIsInTheLine)
{
    row_t row = {};
    set_untabled(row, "x", 7);
    std::string want = "0";
    for (int i = 1; i < columns_count; i++)
        want += ",0";
    EXPECT_EQ(line_of(row), want);
}

TEST_F(Rows, ExtremeValuesFitTheBufferAndComeBack)
{
    row_t row = {};
    for (const column &each : wanted_columns) {
        char *field = reinterpret_cast<char *>(&row) +
                      (static_cast<const char *>(each.field) - reinterpret_cast<const char *>(&bound));
        if (each.type == VANTU_TYPE_INT) {
            const int lowest = INT32_MIN;
            memcpy(field, &lowest, sizeof(lowest));
        } else {
            memset(field, 0xff, each.size);
        }
    }
    std::string want;
    for (const column &each : wanted_columns) {
        want += want.empty() ? "" : ",";
        want += each.type == VANTU_TYPE_INT   ? "-2147483648"
                : each.type == VANTU_TYPE_U32 ? "4294967295"
                                              : "18446744073709551615";
    }
    EXPECT_EQ(line_of(row), want);
    EXPECT_LT(want.size(), 4096U);
    EXPECT_EQ(line_of(parse(want)), want);
}

TEST_F(Rows, ALineGivesBackEveryTabledField)
{
    row_t row = {};
    set_tabled(row, 0);
    const std::string line = line_of(row);
    (void)line_of({}); // so that nothing of it is left over
    EXPECT_EQ(line_of(parse(line)), tabled_line);

    const row_t parsed = parse(line);
    EXPECT_EQ(parsed.chanim.chanspec, 3000000001U);
    EXPECT_EQ(parsed.chanim.tx, -100002);
    EXPECT_EQ(parsed.sta_info.tx_bytes, 9000000000000000018U);
    EXPECT_EQ(parsed.sta_info.antenna_noise_floor[3], -100045);
    EXPECT_EQ(parsed.wme_conters.AC_BK.rxbytes, 9000000000000000058U);
    EXPECT_EQ(parsed.wan.tx_bytes, 9000000000000000069U);
}

TEST_F(Rows, FieldsOutsideTheTableComeBackFromTheRowConvertedLastNotZeroWhichIsKept)
{
    row_t row = {};
    set_untabled(row, "first", 1000);
    set_tabled(row, 0);
    const std::string line = line_of(row);
    EXPECT_EQ(untabled(parse(line)), untabled(row)) << "of the row itself";

    row_t other = {};
    set_untabled(other, "second", 2000);
    set_tabled(other, 500);
    const std::string other_line = line_of(other);
    const row_t parsed = parse(line);
    EXPECT_EQ(untabled(parsed), untabled(other)) << "of the row converted last";
    EXPECT_EQ(line_of(parsed), tabled_line);
    EXPECT_EQ(line_of(parse(other_line)), other_line);
}

TEST_F(Rows, RenderingLeavesTheRowAsItIs)
{
    row_t row = {};
    set_untabled(row, "x", 1);
    set_tabled(row, 3);
    const row_t before = row;
    char out[4096];
    (void)brcm_data_struct_to_csv_string(nullptr, nullptr, out, &row);
    EXPECT_EQ(memcmp(&row, &before, sizeof(row)), 0);
}

TEST_F(Rows, AMissingFieldPointerEndsTheParsingAndTheRestIsOfTheRowConvertedLast)
{
    row_t row = {};
    set_tabled(row, 0);
    (void)line_of(row);
    char one[] = "1";
    char two[] = "-2";
    char *fields[columns_count + 1] = {one, two, nullptr};
    row_t parsed = {};
    EXPECT_EQ(brcm_csv_string_to_data_struct(fields, &parsed), 0);
    EXPECT_EQ(line_of(parsed), "1,-2," + std::string(tabled_line).substr(strlen("3000000001,-100002,")));
}

TEST_F(Rows, FieldsThatAreNoNumbersGiveZeroOrTheNumberThatTheyBeginWith)
{
    const struct {
        const char *field; // of "chanspec" (32 bits, unsigned) and "tx" (32 bits, signed)
        const char *chanspec;
        const char *tx;
    } rows[] = {
        {"", "0", "0"},           {"abc", "0", "0"},        {"12abc", "12", "12"},
        {" 12", "12", "12"},      {"+12", "12", "12"},      {"-1", "4294967295", "-1"},
        {"0x10", "0", "0"},       {"1e3", "1", "1"},        {"1.9", "1", "1"},
        {"4294967296", "0", "0"}, {"4294967297", "1", "1"}, {"2147483648", "2147483648", "-2147483648"},
        {"\"5\"", "0", "0"},      {"%n", "0", "0"},         {"=1+1", "0", "0"},
        {"$(reboot)", "0", "0"},  {"\xff", "0", "0"},
    };
    for (const auto &row : rows) {
        const std::string line = line_of(parse(row.field + ","s + row.field + ",7"));
        EXPECT_EQ(line.substr(0, line.find(",7,") + 2), row.chanspec + ","s + row.tx + ",7") << row.field;
    }
}

TEST(RowTable, MayBeInitialisedAgainAndDestroyedTwice)
{
    for (int round = 0; round < 3; round++) {
        brcm_csvtable_init();
        brcm_csvtable_init();
        char out[4096];
        EXPECT_EQ(brcm_get_csvdata_headers(out), 0);
        EXPECT_STREQ(out, header_line);
        brcm_csvtable_destroy();
        brcm_csvtable_destroy();
    }
}

// ---- Stored files of rows ----

vantu_platform_ops row_platform()
{
    vantu_platform_ops ops = {};
    ops.get_data_struct_size = [] { return static_cast<int>(sizeof(row_t)); };
    ops.csv_string_to_data_struct = brcm_csv_string_to_data_struct;
    return ops;
}

using row_list = support::list<vantu_init_brcm_data_list>;

// Some columns by name, as those who wrote the expected files read them off the header.
std::string dump(const row_t &row)
{
    const auto &s = row.sta_info;
    const auto number = [](auto value) { return std::to_string(value); };
    return "chanspec=" + number(row.chanim.chanspec) + " knoise=" + number(row.chanim.knoise) +
           " idle=" + number(row.chanim.idle) + " version=" + number(s.version) + " tx_bytes=" + number(s.tx_bytes) +
           " rx_bytes=" + number(s.rx_bytes) + " sta_idle=" + number(s.idle) +
           " rates=" + number(s.rate_of_last_tx_pkt[0]) + "/" + number(s.rate_of_last_tx_pkt[1]) + "/" +
           number(s.rx_rate) + " rssi=" + number(s.antenna_rssi_avg[0]) + "," + number(s.antenna_rssi_avg[1]) + "," +
           number(s.antenna_rssi_avg[2]) + "," + number(s.antenna_rssi_avg[3]) +
           " vo=" + number(row.wme_conters.AC_VO.rxbytes) + "/" + number(row.wme_conters.AC_VO.txbytes) +
           " wan=" + number(row.wan.tx_pkts) + "/" + number(row.wan.rx_pkts) + "/" + number(row.wan.rx_bytes) + "/" +
           number(row.wan.tx_bytes);
}

using StoredRows = Rows;

TEST_F(StoredRows, GiveTheExpectedRecordsAndMessages)
{
    for (const std::string &name : cases_of("data_rows/brcm")) {
        (void)line_of({});
        vantu_platform_ops ops = row_platform();
        row_list list;
        log_capture log;
        const int count = vantu_common_csv_to_data_list(&list, fixture_path(name + ".txt").c_str(), &ops);
        texts got;
        for (unsigned int i = 0; i < sclist_size(&list); i++)
            got.push_back(dump(*static_cast<const row_t *>(sclist_get_at(&list, i))));
        EXPECT_EQ(count, static_cast<int>(got.size())) << name;
        expect_stored(name, lines_of(got), log.lines);
    }
}

TEST_F(StoredRows, RenderedAgainAreTheSameLines)
{
    const std::string text = fixture("data_rows/brcm/samples.txt");
    vantu_platform_ops ops = row_platform();
    row_list list;
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, fixture_path("data_rows/brcm/samples.txt").c_str(), &ops), 2);
    std::string again = header() + "\n";
    for (unsigned int i = 0; i < sclist_size(&list); i++)
        again += line_of(*static_cast<const row_t *>(sclist_get_at(&list, i))) + "\n";
    EXPECT_EQ(again, text);
}

// Whatever the line is, only tabled fields change.
TEST_F(StoredRows, EveryTruncationAndCorruptionOfALineTouchesTabledFieldsOnly)
{
    row_t before = {};
    set_untabled(before, "kept", 12345);
    (void)line_of(before);
    const std::string want = untabled(before);
    const auto survive = [&](std::string_view line) { ASSERT_EQ(untabled(parse(std::string(line))), want) << line; };
    row_t row = {};
    row.chanim.knoise = -92;
    row.wan.tx_bytes = 17;
    const std::string line = line_of(row);
    (void)line_of(before);
    every_truncation(line, survive);
    every_corruption(line.substr(line.size() - 80), survive);
    every_truncation(tabled_line, survive);
}

// ---- Data lists ----

TEST(RowList, CopiesWholeRowsWhichAreSoughtByMacInAnyCaseAndEqualByTheVeryMac)
{
    row_list list;
    row_t row = {};
    EXPECT_EQ(list.attrs.meter(&row), sizeof(row_t));
    EXPECT_NE(list.attrs.copy_data, 0);
    put(row.mac, "02:00:00:00:00:Aa");
    row.wan.tx_bytes = 5;
    ASSERT_EQ(sclist_append(&list, &row), 1);
    row.wan.tx_bytes = 6;
    put(row.mac, "02:00:00:00:00:bb");
    put(row.radio, "wl0");
    ASSERT_EQ(sclist_append(&list, &row), 1);

    const auto *first = static_cast<const row_t *>(sclist_get_at(&list, 0));
    EXPECT_EQ(first->wan.tx_bytes, 5U);
    for (const char *key : {"02:00:00:00:00:aa", "02:00:00:00:00:AA", "02:00:00:00:00:Aa"})
        EXPECT_EQ(sclist_seek(&list, key), first) << key;
    for (const char *key : {"wl0", "", "02:00:00:00:00:a"})
        EXPECT_EQ(sclist_seek(&list, key), nullptr) << key;

    row = {};
    put(row.mac, "02:00:00:00:00:bb");
    EXPECT_EQ(sclist_locate(&list, &row), 1);
    EXPECT_LT(list.attrs.comparator(first, &row), 0);
    EXPECT_GT(list.attrs.comparator(&row, first), 0);
    put(row.mac, "02:00:00:00:00:BB");
    EXPECT_EQ(sclist_locate(&list, &row), -1);
}

TEST(RowList, InitialiserReturnsZero)
{
    sclist_t list;
    EXPECT_EQ(vantu_init_brcm_data_list(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    sclist_destroy(&list);
}

// ---- Filling a row ----

std::string chanim_report(int idle)
{
    return "version: 3\n"
           "chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle timestamp\n"
           "0xe06a\t12\t7\t21\t4\t8\t0\t47\t2\t1\t1934\t27\t-91\t" +
           std::to_string(idle) + "\t51203377\n";
}

std::string category_report(const char *name, int number)
{
    const auto figure = [&](int add) { return std::to_string(number + add); };
    return name + ": tx frames: "s + figure(1) + " bytes: " + figure(2) + " failed frames: " + figure(3) +
           " failed bytes: " + figure(4) + "\n       rx frames: " + figure(5) + " bytes: " + figure(6) +
           " failed frames: " + figure(7) + " failed bytes: " + figure(8) + "\n       foward frames: " + figure(9) +
           " bytes: " + figure(10) + " \n       tx frames time expired: " + figure(11) + " \n";
}

// The category's title stands on a line of its own before its figures.
std::string wme_report()
{
    return "\n" + category_report("AC_BE", 1000) + "\n" + category_report("AC_BK", 2000) + "\n" +
           category_report("AC_VI", 3000) + "\n" + category_report("AC_VO", 4000);
}

const char station[] = "02:00:00:00:01:23";
const char station_report[] = "[VER 8] STA 02:00:00:00:01:23:\n"
                              "\t rateset [ 6 9 12 18 24 36 48 54 ]\n"
                              "\t idle 4 seconds\n"
                              "\t tx total bytes: 5000000018\n"
                              "\t rx data bytes: 5000000019\n"
                              "\t rate of last tx pkt: 866667 kbps - 780000 kbps\n"
                              "\t rate of last rx pkt: 433333 kbps\n"
                              "\t per antenna average rssi of rx data frames: -51 -52 -53 0\n"
                              "\t per antenna noise floor: -90 -89 -88 0\n";

class Sampling : public testing::Test
{
protected:
    void SetUp() override
    {
        // The cache outlives a test. Its slots are found while they are free, before anything takes them.
        static brcm_cached_chanim *const all[] = {brcm_cached_get_chanim_array_item("wl0"),
                                                  brcm_cached_get_chanim_array_item("wl1"),
                                                  brcm_cached_get_chanim_array_item("wl2")};
        for (brcm_cached_chanim *slot : all) {
            ASSERT_NE(slot, nullptr);
            *slot = {};
        }
        clock_now = {1790000000, 0};
        bridge_counters = {11, 12, 13, 14};
        is_bridge_there = true;
        interfaces_asked_for.clear();
        for (const char *radio : {"wl0", "wl1", "wl2"}) {
            wlctl.answers("wlctl -i "s + radio + " chanim_stats", chanim_report(55));
            wlctl.answers("wlctl -i "s + radio + " wme_counters", wme_report());
            wlctl.answers("wlctl -i "s + radio + " sta_info " + station, station_report);
        }
    }

    static void pass(long seconds, long microseconds)
    {
        clock_now.tv_usec += microseconds;
        clock_now.tv_sec += seconds + clock_now.tv_usec / 1000000;
        clock_now.tv_usec %= 1000000;
    }

    const answering_tools wlctl = {"wlctl"};
    quiet_log quiet;
};

TEST_F(Sampling, ARowIsFilledFromThreeReportsAndTheBridge)
{
    row_t row = {};
    put(row.mac, "kept");
    put(row.radio, "kept, too");
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &row), 0);
    EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl0 sta_info 02:00:00:00:01:23",
                                    "wlctl -i wl0 wme_counters"}));
    EXPECT_EQ(interfaces_asked_for, texts{"br-lan"});

    EXPECT_STREQ(row.mac, "kept");
    EXPECT_STREQ(row.radio, "kept, too");
    EXPECT_EQ(row.chanim.chanspec, 0xe06aU);
    EXPECT_EQ(row.chanim.tx, 12);
    EXPECT_EQ(row.chanim.knoise, -91);
    EXPECT_EQ(row.chanim.idle, 55);
    EXPECT_EQ(row.chanim.timestamp, 51203377U);
    EXPECT_EQ(row.sta_info.version, 8U);
    EXPECT_EQ(row.sta_info.tx_bytes, 5000000018U);
    EXPECT_EQ(row.sta_info.rx_bytes, 5000000019U);
    EXPECT_EQ(row.sta_info.idle, 4U);
    EXPECT_EQ(row.sta_info.antenna_noise_floor[0], -90);
    EXPECT_EQ(row.wme_conters.AC_BE.txbytes, 1002U);
    EXPECT_EQ(row.wme_conters.AC_BK.rxbytes, 2006U);
    EXPECT_EQ(row.wme_conters.AC_VI.txbytes, 3002U);
    EXPECT_EQ(row.wme_conters.AC_VO.rxbytes, 4006U);
    EXPECT_EQ(row.wan.tx_bytes, 11U);
    EXPECT_EQ(row.wan.rx_bytes, 12U);
    EXPECT_EQ(row.wan.tx_pkts, 13U);
    EXPECT_EQ(row.wan.rx_pkts, 14U);
}

TEST_F(Sampling, WithoutARowNothingIsAsked)
{
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, nullptr), -1);
    EXPECT_EQ(wlctl.calls(), texts{});
    EXPECT_EQ(interfaces_asked_for, texts{});
}

TEST_F(Sampling, ChannelStatisticsThatFailEndItWithMinusTwo)
{
    wlctl.answers("wlctl -i wl0 chanim_stats", "wl0: not up\n");
    row_t row = {};
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &row), -2);
    EXPECT_EQ(wlctl.calls(), texts{"wlctl -i wl0 chanim_stats"});
    EXPECT_EQ(interfaces_asked_for, texts{});
}

TEST_F(Sampling, AnUnknownStationEndsItWithMinusThreeAndKeepsTheChannelStatistics)
{
    row_t row = {};
    EXPECT_EQ(brcm_fill_data_struct("wl0", "02:00:00:00:09:99", &row), -3);
    EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl0 sta_info 02:00:00:00:09:99"}));
    EXPECT_EQ(row.chanim.idle, 55);
    EXPECT_EQ(row.sta_info.version, 0U);
    EXPECT_EQ(row.wme_conters.AC_BE.txbytes, 0U);
    EXPECT_EQ(interfaces_asked_for, texts{});
}

TEST_F(Sampling, CountersThatFailEndItWithMinusFourAndKeepWhatCameBefore)
{
    wlctl.answers("wlctl -i wl0 wme_counters", "\n" + category_report("AC_BE", 1000));
    row_t row = {};
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &row), -4);
    EXPECT_EQ(row.chanim.idle, 55);
    EXPECT_EQ(row.sta_info.version, 8U);
    EXPECT_EQ(row.wme_conters.AC_BE.txbytes, 1002U);
    EXPECT_EQ(row.wan.tx_bytes, 0U);
    EXPECT_EQ(interfaces_asked_for, texts{});
}

TEST_F(Sampling, WithoutTheBridgesCountersItEndsWithMinusFive)
{
    is_bridge_there = false;
    row_t row = {};
    row.wan.tx_bytes = 99;
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &row), -5);
    EXPECT_EQ(row.wme_conters.AC_VO.rxbytes, 4006U);
    EXPECT_EQ(row.wan.tx_bytes, 99U);
}

TEST_F(Sampling, TheRowIsNotClearedFirst)
{
    row_t row = {};
    put(row.sta_info.state, "old");
    row.wan.tx_bytes = 99;
    EXPECT_EQ(brcm_fill_data_struct("wl0", "02:00:00:00:09:99", &row), -3);
    EXPECT_STREQ(row.sta_info.state, "old");
    EXPECT_EQ(row.wan.tx_bytes, 99U);
}

TEST_F(Sampling, StationsOfOneRadioWithinASecondShareTheChannelStatistics)
{
    wlctl.answers("wlctl -i wl0 sta_info 02:00:00:00:01:24", station_report);
    row_t first = {};
    row_t second = {};
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &first), 0);
    wlctl.answers("wlctl -i wl0 chanim_stats", chanim_report(10));
    EXPECT_EQ(brcm_fill_data_struct("wl0", "02:00:00:00:01:24", &second), 0);
    EXPECT_EQ(second.chanim.idle, 55);
    const texts calls = wlctl.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "wlctl -i wl0 chanim_stats"), 1);
    EXPECT_EQ(calls.size(), 5U);

    pass(1, 100000);
    EXPECT_EQ(brcm_fill_data_struct("wl0", station, &first), 0);
    EXPECT_EQ(first.chanim.idle, 10);
    EXPECT_EQ(wlctl.calls().front(), "wlctl -i wl0 chanim_stats");
}

TEST_F(Sampling, ARadioBeyondTheThirdEndsItWithMinusTwoWithoutAsking)
{
    vantu_ll_wlctl_chanim_info info = {};
    for (const char *radio : {"wl0", "wl1", "wl2"})
        EXPECT_EQ(brcm_get_chanims_cached(radio, &info), 0) << radio;
    (void)wlctl.calls();
    wlctl.answers("wlctl -i wl3 chanim_stats", chanim_report(1));
    info.idle = 77;
    EXPECT_EQ(brcm_get_chanims_cached("wl3", &info), -22);
    EXPECT_EQ(info.idle, 77);
    row_t row = {};
    EXPECT_EQ(brcm_fill_data_struct("wl3", station, &row), -2);
    EXPECT_EQ(wlctl.calls(), texts{});
    EXPECT_EQ(brcm_get_chanims_cached("wl1", &info), 0) << "the others keep their slots";
}

TEST_F(Sampling, ANameOfNineCharactersGetsASlotAndALongerOneNone)
{
    vantu_ll_wlctl_chanim_info info = {};
    wlctl.answers("wlctl -i wl0.12345 chanim_stats", chanim_report(31));
    wlctl.answers("wlctl -i wl0.123456 chanim_stats", chanim_report(32));
    EXPECT_EQ(brcm_get_chanims_cached("wl0.123456", &info), -22);
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl0.123456"), nullptr);
    row_t row = {};
    EXPECT_EQ(brcm_fill_data_struct("wl0.123456", station, &row), -2);
    EXPECT_EQ(wlctl.calls(), texts{});
    EXPECT_EQ(brcm_get_chanims_cached("wl0.12345", &info), 0);
    EXPECT_EQ(info.idle, 31);
    EXPECT_STREQ(brcm_cached_get_chanim_array_item("wl0.12345")->param, "wl0.12345");
    EXPECT_EQ(brcm_get_chanims_cached("wl1", &info), 0);
    EXPECT_EQ(brcm_get_chanims_cached("wl2", &info), 0) << "the longer name took no slot";
}

TEST_F(Sampling, SlotsAreTakenInOrderAndStayTheRadios)
{
    brcm_cached_chanim *const first = brcm_cached_get_chanim_array_item("wl2");
    brcm_cached_chanim *const second = brcm_cached_get_chanim_array_item("wl0");
    brcm_cached_chanim *const third = brcm_cached_get_chanim_array_item("WL0");
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(third, first + 2) << "names in another letter case are other names";
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl0"), second);
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl2"), first);
    EXPECT_EQ(brcm_cached_get_chanim_array_item("WL0"), third);
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl1"), nullptr);
    EXPECT_STREQ(second->param, "wl0");
}

TEST_F(Sampling, AnEmptyNameGivesTheReadersResultAndTakesNoSlot)
{
    vantu_ll_wlctl_chanim_info info = {};
    EXPECT_EQ(brcm_get_chanims_cached("", &info), 3);
    EXPECT_EQ(wlctl.calls(), texts{});
    for (const char *radio : {"wl0", "wl1", "wl2"})
        EXPECT_EQ(brcm_get_chanims_cached(radio, &info), 0) << radio;
}

TEST_F(Sampling, TheStatisticsOfEachRadioAreItsOwn)
{
    wlctl.answers("wlctl -i wl1 chanim_stats", chanim_report(11));
    vantu_ll_wlctl_chanim_info info = {};
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
        EXPECT_EQ(info.idle, 55);
        EXPECT_EQ(brcm_get_chanims_cached("wl1", &info), 0);
        EXPECT_EQ(info.idle, 11);
    }
    EXPECT_EQ(wlctl.calls(), (texts{"wlctl -i wl0 chanim_stats", "wlctl -i wl1 chanim_stats"}));
}

TEST_F(Sampling, TheCacheServesASecondAndNoMore)
{
    const struct {
        const char *name;
        long seconds;
        long microseconds;
        bool asks_again;
    } rows[] = {
        {"at once", 0, 0, false},
        {"just under a second", 0, 999999, false},
        {"a second", 1, 0, false},
        {"a second and 9 microseconds, cut to units of 10", 1, 9, false},
        {"a second and 10 microseconds", 1, 10, true},
        {"1.1 seconds", 1, 100000, true},
        {"99 seconds", 99, 0, true},
        {"100 seconds", 100, 0, true},
        {"a day", 86400, 0, true},
        {"ten years", 315360000, 0, true},
        {"a clock set back by a second: served until it has caught up", -1, 0, false},
        {"a clock set back by an hour, whose 32 bits make an age of it", -3600, 0, true},
    };
    for (const auto &row : rows) {
        clock_now = {1790000000, 0};
        brcm_cached_get_chanim_array_item("wl0")->last_time = {};
        vantu_ll_wlctl_chanim_info info = {};
        wlctl.answers("wlctl -i wl0 chanim_stats", chanim_report(1));
        EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0) << row.name;
        wlctl.answers("wlctl -i wl0 chanim_stats", chanim_report(2));
        (void)wlctl.calls();
        pass(row.seconds, row.microseconds);
        EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0) << row.name;
        EXPECT_EQ(info.idle, row.asks_again ? 2 : 1) << row.name;
        EXPECT_EQ(wlctl.calls().size(), row.asks_again ? 1U : 0U) << row.name;
    }
}

TEST_F(Sampling, TheAgeCountsAcrossTheTurnOfASecond)
{
    vantu_ll_wlctl_chanim_info info = {};
    clock_now = {1790000000, 900000};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    clock_now = {1790000001, 100000};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(wlctl.calls().size(), 1U);
    clock_now = {1790000001, 900010};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(wlctl.calls().size(), 1U);
}

TEST_F(Sampling, TheAgeIsThatOfTheReadingNotOfTheLastUse)
{
    vantu_ll_wlctl_chanim_info info = {};
    for (int i = 0; i < 6; i++) { // at 0, 0.4, 0.8, 1.2, 1.6 and 2 seconds
        EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
        pass(0, 400000);
    }
    EXPECT_EQ(wlctl.calls().size(), 2U) << "at 0 and 1.2 seconds";
}

TEST_F(Sampling, AReadingCarriesTheSecondAtWhichItSucceeded)
{
    vantu_ll_wlctl_chanim_info info = {};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(info.epochstamp, 1790000000U);
    pass(0, 900000);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(info.epochstamp, 1790000000U) << "served from the cache";
    pass(5, 0);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(info.epochstamp, 1790000005U);
    wlctl.answers("wlctl -i wl0 chanim_stats", "");
    pass(5, 0);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), -1);
    EXPECT_EQ(info.epochstamp, 0U) << "the record of a reading that failed";
}

TEST_F(Sampling, ATimeInTheFirstSecondOfAllCountsAsNever)
{
    clock_now = {0, 500000};
    vantu_ll_wlctl_chanim_info info = {};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(wlctl.calls().size(), 2U);
}

TEST_F(Sampling, AReadingThatFailsKeepsTheTimeSoThatTheNextCallAsksAgain)
{
    vantu_ll_wlctl_chanim_info info = {};
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    const timeval read_at = brcm_cached_get_chanim_array_item("wl0")->last_time;
    (void)wlctl.calls();

    wlctl.answers("wlctl -i wl0 chanim_stats", "version: 3\nchanspec tx inbss\n0xe06a\t12\t7\n");
    pass(2, 0);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), -1);
    EXPECT_EQ(info.tx, 12) << "what the reader understood";
    EXPECT_EQ(info.inbss, 7);
    EXPECT_EQ(info.idle, 0) << "and nothing of the reading before";
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl0")->last_time.tv_sec, read_at.tv_sec);
    EXPECT_EQ(brcm_cached_get_chanim_array_item("wl0")->last_time.tv_usec, read_at.tv_usec);

    wlctl.answers("wlctl -i wl0 chanim_stats", "");
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), -1);
    EXPECT_EQ(info.tx, 0);
    wlctl.answers("wlctl -i wl0 chanim_stats", chanim_report(33));
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(info.idle, 33);
    EXPECT_EQ(wlctl.calls().size(), 3U);
    EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), 0);
    EXPECT_EQ(wlctl.calls(), texts{});
}

TEST_F(Sampling, AFirstReadingThatFailsIsTriedAgainAtOnce)
{
    wlctl.answers("wlctl -i wl0 chanim_stats", "");
    vantu_ll_wlctl_chanim_info info = {};
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(brcm_get_chanims_cached("wl0", &info), -1);
    EXPECT_EQ(wlctl.calls().size(), 3U);
    EXPECT_STREQ(brcm_cached_get_chanim_array_item("wl0")->param, "wl0") << "it keeps its slot nevertheless";
}

// ---- Differences ----

using Differences = Rows;

TEST_F(Differences, TheOlderRowGetsThemAndKeepsChannelAndWanAndWhatIsNoCounter)
{
    row_t older = {};
    set_tabled(older, 0);
    set_untabled(older, "older", 100);
    row_t newer = {};
    set_tabled(newer, 1000);
    set_untabled(newer, "newer", 1100);
    const row_t newer_before = newer;

    EXPECT_EQ(brcm_calculate_delta(&older, &newer), 0);
    EXPECT_EQ(line_of(older),
              "3000000001,-100002,-100003,-100004,-100005,-100006,-100007,-100008,-100009,-100010,3000000011,"
              "3000000012,-100013,-100014,3000000015,3000000016,3000000017,1000,1000,1000,1000,1000,1000,1000,"
              "3000000025,3000000026,3000000027,3000000028,3000000029,3000000030,1000,1000,1000,-100034,-100035,"
              "-100036,-100037,-100038,-100039,-100040,-100041,-100042,-100043,-100044,-100045,1000,1000,1000,"
              "1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,1000,"
              "9000000000000000066,9000000000000000067,9000000000000000068,9000000000000000069");
    EXPECT_STREQ(older.mac, "02:older");
    EXPECT_STREQ(older.sta_info.rateset, "6 9 older");
    EXPECT_EQ(older.sta_info.in_network, 102U);
    EXPECT_EQ(older.wme_conters.AC_BE.txframes, 1000U);
    EXPECT_EQ(older.wme_conters.AC_BE.tx_frames_time_expired, 111U) << "not a difference";
    EXPECT_EQ(memcmp(&newer, &newer_before, sizeof(newer)), 0);
}

TEST_F(Differences, CountersThatDidNotGrowGiveZero)
{
    row_t older = {};
    set_tabled(older, 1000);
    row_t newer = {};
    set_tabled(newer, 0);
    newer.sta_info.tx_pkts = older.sta_info.tx_pkts;
    EXPECT_EQ(brcm_calculate_delta(&older, &newer), 0);
    EXPECT_EQ(older.sta_info.tx_pkts, 0U);
    EXPECT_EQ(older.sta_info.tx_bytes, 0U);
    EXPECT_EQ(older.sta_info.rx_decrypt_succeeds, 0U);
    EXPECT_EQ(older.wme_conters.AC_VO.txbytes, 0U);
    EXPECT_EQ(older.wan.tx_bytes, 9000000000000001069U);
}

// ---- Conversion to the common statistics ----

struct pings : sclist_t {
    pings() : owner(*this, vantu_fpingdq_init_table) {}

    void add(const std::string &ip, uint64_t time, row_t *row)
    {
        vantu_fpingdq_ping ping = {};
        put(ping.ip, ip);
        ping.time = time;
        ping.csvdata = row;
        ASSERT_EQ(sclist_append(this, &ping), 1);
    }

    vantu::list_owner owner;
};

struct statistics : sclist_t {
    statistics() : owner(*this, vantu_fpingdq_stats_init_table) {}

    const vantu_fpingdq_stats &at(unsigned int position)
    {
        const auto *found = static_cast<const vantu_fpingdq_stats *>(sclist_get_at(this, position));
        if (found == nullptr)
            abort();
        return *found;
    }

    vantu::list_owner owner;
};

TEST(Conversion, EveryFieldComesFromItsOwn)
{
    row_t row = {};
    set_tabled(row, 0);
    set_untabled(row, "x", 100);
    row.chanim.idle = 75;
    row.chanim.tx = 12;
    row.chanim.inbss = 3;
    row.chanim.nopkt = 5;
    row.chanim.obss = 29;
    row.chanim.nocat = 7;
    pings from;
    from.add("192.0.2.17", 1790000000123456, &row);
    statistics to;
    EXPECT_EQ(brcm_convert_to_standard_format(&from, &to, nullptr, nullptr), 0);
    ASSERT_EQ(sclist_size(&to), 1U);

    const vantu_fpingdq_stats &got = to.at(0);
    EXPECT_EQ(got.delta_time, 0U);
    EXPECT_STREQ(got.mac, "02:x");
    EXPECT_STREQ(got.radio, "wl-x");
    EXPECT_EQ(got.time, 1790000000123456U);
    EXPECT_STREQ(got.ip, "192.0.2.17");
    EXPECT_EQ(got.ip_bytes_sent, 9000000000000000069U);
    EXPECT_EQ(got.ip_bytes_recieved, 9000000000000000068U);
    EXPECT_EQ(got.ip_packets_sent, 9000000000000000066U);
    EXPECT_EQ(got.ip_packets_recieved, 9000000000000000067U);
    EXPECT_EQ(got.radio_bytes_sent, 0.0F);
    EXPECT_EQ(got.radio_bytes_recieved, 0.0F);
    EXPECT_EQ(got.radio_packets_sent, 0.0F);
    EXPECT_EQ(got.radio_packets_received, 0.0F);
    EXPECT_EQ(got.radio_utilization, 25.0F);
    EXPECT_EQ(got.radio_transmit, 12.0F);
    EXPECT_EQ(got.radio_recieve_self, 8.0F);
    EXPECT_EQ(got.radio_recieve_other, 36.0F);
    EXPECT_EQ(got.sta_signal_strength, -100034);
    EXPECT_EQ(got.sta_noise, 0);
    EXPECT_EQ(got.sta_last_data_downlink_rate, 3000000017U);
    EXPECT_EQ(got.sta_last_data_uplink_rate, 3000000029U);
    EXPECT_EQ(got.bk_bytes_sent, 9000000000000000059U);
    EXPECT_EQ(got.be_bytes_sent, 9000000000000000061U);
    EXPECT_EQ(got.vi_bytes_sent, 9000000000000000063U);
    EXPECT_EQ(got.vo_bytes_sent, 9000000000000000065U);
    EXPECT_EQ(got.bk_bytes_recieved, 9000000000000000058U);
    EXPECT_EQ(got.be_bytes_recieved, 9000000000000000060U);
    EXPECT_EQ(got.vi_bytes_recieved, 9000000000000000062U);
    EXPECT_EQ(got.vo_bytes_recieved, 9000000000000000064U);
}

TEST(Conversion, UtilizationIsWhatIsNotIdleWhateverTheReportSays)
{
    const struct {
        int idle;
        float want;
    } rows[] = {{0, 100.0F}, {75, 25.0F}, {100, 0.0F}, {101, -1.0F}, {-5, 105.0F}};
    for (const auto &each : rows) {
        row_t row = {};
        row.chanim.idle = each.idle;
        pings from;
        from.add("192.0.2.1", 1, &row);
        statistics to;
        (void)brcm_convert_to_standard_format(&from, &to, nullptr, nullptr);
        EXPECT_EQ(to.at(0).radio_utilization, each.want) << each.idle;
    }
}

TEST(Conversion, SumsAreFormedInFloatingPointAndDoNotOverflow)
{
    row_t row = {};
    row.chanim.inbss = row.chanim.nopkt = row.chanim.obss = row.chanim.nocat = INT32_MAX;
    row.chanim.idle = INT32_MIN;
    pings from;
    from.add("192.0.2.1", 1, &row);
    statistics to;
    (void)brcm_convert_to_standard_format(&from, &to, nullptr, nullptr);
    EXPECT_EQ(to.at(0).radio_recieve_self, 4294967296.0F);
    EXPECT_EQ(to.at(0).radio_recieve_other, 4294967296.0F);
    EXPECT_GT(to.at(0).radio_utilization, 2147483000.0F);
}

TEST(Conversion, TextsOfFullLengthFit)
{
    row_t row = {};
    put(row.mac, std::string(19, 'm'));
    put(row.radio, std::string(63, 'r'));
    pings from;
    from.add(std::string(19, 'i'), 1, &row);
    statistics to;
    (void)brcm_convert_to_standard_format(&from, &to, nullptr, nullptr);
    EXPECT_EQ(to.at(0).mac, std::string(19, 'm'));
    EXPECT_EQ(to.at(0).radio, std::string(63, 'r'));
    EXPECT_EQ(to.at(0).ip, std::string(19, 'i'));
}

TEST(Conversion, APingWithoutARowIsSkippedAndLeavesNoGap)
{
    row_t row = {};
    pings from;
    from.add("192.0.2.1", 1, nullptr);
    from.add("192.0.2.2", 2, &row);
    from.add("192.0.2.3", 3, nullptr);
    from.add("192.0.2.4", 4, &row);
    statistics to;
    log_capture log;
    EXPECT_EQ(brcm_convert_to_standard_format(&from, &to, nullptr, nullptr), 0);
    EXPECT_EQ(log.lines, (texts{"TRACE row == NULL", "TRACE row == NULL"}));
    ASSERT_EQ(sclist_size(&to), 2U);
    EXPECT_STREQ(to.at(0).ip, "192.0.2.2");
    EXPECT_STREQ(to.at(1).ip, "192.0.2.4");
    EXPECT_EQ(from.iter_active, 0);
}

TEST(Conversion, OfPingsThatAllLackARowGivesNothingAndNoError)
{
    pings from;
    from.add("192.0.2.1", 1, nullptr);
    statistics to;
    log_capture log;
    EXPECT_EQ(brcm_convert_to_standard_format(&from, &to, nullptr, nullptr), 0);
    EXPECT_EQ(log.lines, texts{"TRACE row == NULL"});
    EXPECT_EQ(sclist_size(&to), 0U);
}

TEST(Conversion, StandsInFrontOfWhatTheListHoldsWhichIsKept)
{
    statistics to;
    vantu_fpingdq_stats old = {};
    put(old.ip, "old");
    ASSERT_EQ(sclist_append(&to, &old), 1);
    row_t row = {};
    pings from;
    from.add("192.0.2.1", 1, &row);
    from.add("192.0.2.2", 2, &row);
    EXPECT_EQ(brcm_convert_to_standard_format(&from, &to, nullptr, nullptr), 0);
    ASSERT_EQ(sclist_size(&to), 3U);
    EXPECT_STREQ(to.at(0).ip, "192.0.2.1");
    EXPECT_STREQ(to.at(1).ip, "192.0.2.2");
    EXPECT_STREQ(to.at(2).ip, "old");
}

TEST(Conversion, OfAnEmptyListIsAnErrorMessageAndZero)
{
    pings from;
    statistics to;
    log_capture log;
    EXPECT_EQ(brcm_convert_to_standard_format(&from, &to, "wl0", station), 0);
    EXPECT_EQ(log.lines, texts{"ERROR platform_data size is 0. returning"});
    EXPECT_EQ(sclist_size(&to), 0U);
}

} // namespace
