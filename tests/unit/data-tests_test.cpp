// The tests of the data path, over tables of operations that are made up: what they print and in which order, which
// files they write and read, and what they return.

#include "harness.h"

#include "brcm-generic/brcm-sample-table.h"
#include "brcm-generic/issueclassifier-brcm.h"
#include "support.hpp"
#include "support/harness_options.hpp"
#include "typed_list.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-fpingdq.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using outcome = call_outcome;

namespace
{

// The program's temporary directory.
char temporary_directory[80];

// What happened, in order: operations, pauses and commands.
texts events;

// What a command does, and its status.
std::function<void(const std::string &command)> run_command;
int command_status = 0;

} // namespace

// Stands before the service library's function of this name.
extern "C" char *vantu_get_or_create_tmp_path(void)
{
    return temporary_directory;
}

// Called instead of the functions of these names, which the linker renames.
extern "C" {
int __wrap_usleep(useconds_t microseconds)
{
    events.push_back("pause " + std::to_string(microseconds));
    return 0;
}

int __wrap_system(const char *command)
{
    events.push_back("system "s + command);
    if (run_command)
        run_command(command);
    return command_status;
}
}

namespace
{

// ---- Operations. The data row of this platform is a number and a text. ----

struct data_row {
    int number;
    char text[32];
};

std::string header = "number,text";
int fills = 0; // so many rows were filled
int operation_result = 0;
int row_size = sizeof(data_row);

int data_row_size()
{
    return row_size;
}

int write_header(char *out)
{
    events.push_back("header into ["s + out + "]");
    (void)stpcpy(out, header.c_str());
    return operation_result;
}

int fill_row(const char *interface, const char *mac, void *row)
{
    auto *out = static_cast<data_row *>(row);
    events.push_back("fill "s + interface + " " + mac + " over " + std::to_string(out->number) + " [" + out->text +
                     "]");
    out->number = 10 * ++fills;
    put(out->text, "filled");
    return operation_result;
}

int row_to_text(const char *interface, const char *mac, char *out, void *row)
{
    const auto *in = static_cast<const data_row *>(row);
    events.push_back("text of "s + std::to_string(in->number) + " for " + interface + " " + mac);
    (void)sprintf(out, "%d,%s", in->number, in->text);
    return operation_result;
}

int fields_to_row(char **fields, void *row)
{
    auto *out = static_cast<data_row *>(row);
    EXPECT_TRUE(is_zero(*out));
    out->number = atoi(fields[0]);
    put(out->text, fields[1]);
    return 0;
}

int take_delta(void *older, void *newer)
{
    auto *first = static_cast<data_row *>(older);
    const auto *second = static_cast<const data_row *>(newer);
    events.push_back("delta of " + std::to_string(first->number) + " and " + std::to_string(second->number));
    first->number = second->number - first->number;
    put(first->text, "delta");
    return operation_result;
}

int init_rows(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu::record_size<data_row>);
}

// What the made-up platform has, and the results of sampling, call by call; the last one stays.
std::vector<vantu_common_radio> radios;
std::vector<vantu_common_device> devices;
std::vector<int> results;

int report_radios(sclist_t *list)
{
    append_all(list, radios);
    return 0;
}

int report_devices(sclist_t *list)
{
    append_all(list, devices);
    return -1;
}

int sample_radio(const char *interface, vantu_radio_stats *stats, int troubleshoot)
{
    EXPECT_EQ(troubleshoot, 0);
    events.push_back("sample "s + interface + (is_zero(*stats) ? "" : " again"));
    stats->time = 18446744073709551601U;
    stats->delta_time = 4294967302; // of which 32 bits are printed
    stats->tx_bytes = 18446744073709551603U;
    stats->rx_bytes = 4;
    stats->tx_packets = 5;
    stats->rx_packets = 6;
    stats->utilization = 4294967295U;
    stats->transmit = 8;
    stats->receive_self = 9;
    stats->receive_other = 10;
    stats->wmm_be = {11, 12};
    stats->wmm_bk = {13, 14};
    stats->wmm_vi = {15, 16};
    stats->wmm_vo = {17, 18446744073709551615U};
    return next_of(results);
}

int sample_station(const char *interface, const char *mac, vantu_sta_stats *stats, int troubleshoot)
{
    EXPECT_EQ(troubleshoot, 0);
    events.push_back("sample "s + interface + " " + mac + (is_zero(*stats) ? "" : " again"));
    stats->time = 18446744073709551601U;
    stats->delta_time = -2;
    stats->tx_bytes = 18446744073709551603U;
    stats->rx_bytes = 4;
    stats->tx_packets = 5;
    stats->rx_packets = 6;
    stats->signal = -61;
    stats->noise = -92;
    stats->last_data_downlink_rate = 18446744073709551609U;
    stats->last_data_uplink_rate = 10;
    return next_of(results);
}

// What the issue calculation was called with, and what it found.
struct {
    texts rows;
    texts found;
    std::string radio;
    std::string mac;
    bool empty_outputs;
    bool plain_pings;
} classified;

int note_rows(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface, const char *mac)
{
    events.emplace_back("calculate_issues");
    classified.radio = interface;
    classified.mac = mac;
    classified.empty_outputs = sclist_size(issues) == 0 && is_zero(*stats);
    classified.plain_pings = true;
    for (unsigned int i = 0; i < sclist_size(data); i++) {
        const auto *ping = static_cast<const vantu_fpingdq_ping *>(sclist_get_at(data, i));
        const auto *row = static_cast<const data_row *>(ping->csvdata);
        classified.rows.push_back(std::to_string(row->number) + " " + row->text);
        vantu_fpingdq_ping rest = *ping;
        rest.csvdata = nullptr;
        classified.plain_pings = classified.plain_pings && is_zero(rest);
    }
    vantu_issue issue = {};
    issue.issueid = NOISE;
    (void)sclist_append(issues, &issue);
    return -1;
}

int classify(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface, const char *mac)
{
    const int result = brcm_calc_issues(data, issues, stats, interface, mac);
    for (unsigned int i = 0; i < sclist_size(issues); i++) {
        const auto *issue = static_cast<const vantu_issue *>(sclist_get_at(issues, i));
        classified.found.push_back(std::to_string(issue->issueid) + ":" +
                                   std::to_string(static_cast<int>(issue->score)));
    }
    return result;
}

class DataTests : public testing::Test
{
protected:
    DataTests()
    {
        header = "number,text";
        events.clear();
        run_command = nullptr;
        command_status = 0;
        fills = 0;
        operation_result = 0;
        row_size = sizeof(data_row);
        radios.clear();
        devices.clear();
        results.clear();
        classified = {};
        put(option_csvfile, "");
        put(option_radio, "wl0");
        put(option_macaddress, "02:00:00:00:00:41");
        put(temporary_directory, dir.path());

        ops.get_data_headers = write_header;
        ops.get_data_struct_size = data_row_size;
        ops.fill_data_struct = fill_row;
        ops.data_struct_to_csv_string = row_to_text;
        ops.csv_string_to_data_struct = fields_to_row;
        ops.init_data_struct_list = init_rows;
        ops.calculate_delta = take_delta;
        ops.calculate_issues = note_rows;
        ops.get_radios = report_radios;
        ops.get_associated_devices = report_devices;
        ops.sample_radio_stats = sample_radio;
        ops.sample_sta_stats = sample_station;

        put(device.interface, "wl1");
        put(device.mac, "02:00:00:00:00:42");
        put(device.ipv4, "192.168.1.42");
    }

    static outcome run(const std::function<int()> &test) { return outcome_of(test); }

    outcome run(int (*test)(vantu_platform_ops *))
    {
        return run([&] { return test(&ops); });
    }

    outcome run_data_struct()
    {
        return run([&] { return test_get_data_struct(csv.c_str(), &ops, &device); });
    }

    outcome run_csv_functions()
    {
        return run([&] { return test_csv_functions(csv.c_str(), &ops); });
    }

    outcome run_calculate_delta()
    {
        return run([&] { return test_calculate_delta(&device, &ops); });
    }

    outcome run_fpingdq()
    {
        return run([&] { return test_fpingdq_csv_functions(&ops, &device); });
    }

    void write_csv(const std::string &text) const { std::ofstream(csv, std::ios::binary) << text; }

    temp_dir dir;
    const std::string csv = dir / "rows.csv";
    vantu_platform_ops ops = {};
    vantu_common_device device = {};
};

std::string missing(const std::string &operation)
{
    return "DEBUG \033[31m  function " + operation + " not implemented!\033[0m";
}

bool has_line(const texts &lines, const std::string &line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// ---- Slots that are missing ----

TEST_F(DataTests, AMissingOperationIsSaidTwiceAndFailsTheTest)
{
    const auto nothing = [](auto &slot) { slot = nullptr; };
    const struct {
        const char *name; // of the operation
        const char *title;
        std::function<void()> remove;
        std::function<outcome()> run;
    } rows[] = {
        {"get_data_headers", "Testing get_data_headers", [&] { nothing(ops.get_data_headers); },
         [&] { return run(test_get_headers); }},
        {"init_data_struct_list", "Testing csv_functions", [&] { nothing(ops.init_data_struct_list); },
         [&] { return run_csv_functions(); }},
        {"data_struct_to_csv_string", "Testing csv_functions", [&] { nothing(ops.data_struct_to_csv_string); },
         [&] { return run_csv_functions(); }},
        {"calculate_delta", "Testing calculate_delta", [&] { nothing(ops.calculate_delta); },
         [&] { return run_calculate_delta(); }},
        {"data_struct_to_csv_string", "Testing calculate_delta", [&] { nothing(ops.data_struct_to_csv_string); },
         [&] { return run_calculate_delta(); }},
        {"fill_data_struct", "Testing calculate_delta", [&] { nothing(ops.fill_data_struct); },
         [&] { return run_calculate_delta(); }},
        {"get_data_struct_size", "Testing calculate_delta", [&] { nothing(ops.get_data_struct_size); },
         [&] { return run_calculate_delta(); }},
        {"data_struct_to_csv_string", "Testing fpingdq_csv_functions", [&] { nothing(ops.data_struct_to_csv_string); },
         [&] { return run_fpingdq(); }},
        {"get_data_struct_size", "Testing fpingdq_csv_functions", [&] { nothing(ops.get_data_struct_size); },
         [&] { return run_fpingdq(); }},
        {"csv_string_to_data_struct", "Testing fpingdq_csv_functions", [&] { nothing(ops.csv_string_to_data_struct); },
         [&] { return run_fpingdq(); }},
        {"sample_radio_stats", "test_sample_radio_stats", [&] { nothing(ops.sample_radio_stats); },
         [&] { return run(test_sample_radio_stats); }},
        {"sample_sta_stats", "test_sample_sta_stats", [&] { nothing(ops.sample_sta_stats); },
         [&] { return run(test_sample_sta_stats); }},
    };
    const vantu_platform_ops whole = ops;
    for (const auto &row : rows) {
        ops = whole;
        row.remove();
        const outcome got = row.run();
        EXPECT_EQ(got.result, 1) << row.title << " " << row.name;
        EXPECT_EQ(got.log, (texts{"TRACE "s + row.title, missing(row.name), missing(row.name)}));
        EXPECT_EQ(got.errors, "_check_funcptr(\""s + row.name + "\", ops->" + row.name + "): -1 != 0 \n");
        EXPECT_EQ(got.output, "");
        EXPECT_EQ(events, texts{}) << "no other operation is called";
    }
}

TEST_F(DataTests, OfSeveralMissingOperationsTheFirstThatIsCheckedIsSaid)
{
    ops = {};
    const struct {
        const char *first;
        std::function<outcome()> run;
    } rows[] = {
        {"init_data_struct_list", [&] { return run_csv_functions(); }},
        {"calculate_delta", [&] { return run_calculate_delta(); }},
        {"data_struct_to_csv_string", [&] { return run_fpingdq(); }},
    };
    for (const auto &row : rows) {
        const outcome got = row.run();
        EXPECT_EQ(got.result, 1);
        EXPECT_EQ(got.log.back(), missing(row.first));
        EXPECT_EQ(got.log.size(), 3U);
    }
    ops.calculate_delta = take_delta;
    EXPECT_EQ(run_calculate_delta().log.back(), missing("data_struct_to_csv_string"));
    ops.data_struct_to_csv_string = row_to_text;
    EXPECT_EQ(run_calculate_delta().log.back(), missing("fill_data_struct"));
    EXPECT_EQ(run_fpingdq().log.back(), missing("get_data_struct_size"));
}

// ---- The header ----

TEST_F(DataTests, HeadersShowTheLineAndItsLength)
{
    for (const int result : {0, -1}) {
        operation_result = result;
        events.clear();
        const outcome got = run(test_get_headers);
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.log, (texts{"TRACE Testing get_data_headers", "DEBUG stringlength of data header 11",
                                  "DEBUG   number,text", "DEBUG Done get_data_headers"}));
        EXPECT_EQ(events, texts{"header into []"});
        EXPECT_EQ(got.output + got.errors, "");
    }
}

TEST_F(DataTests, EmptyHeadersAreSaidInRedButDoNotFail)
{
    header = "";
    const outcome got = run(test_get_headers);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing get_data_headers", "DEBUG stringlength of data header 0",
                     "DEBUG \033[31m  Error headers size = 0!\033[0m", "DEBUG   ", "DEBUG Done get_data_headers"}));
}

TEST_F(DataTests, HeadersMayBeAsLongAsTheBuffer)
{
    header = std::string(4095, 'h');
    const outcome got = run(test_get_headers);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log.at(1), "DEBUG stringlength of data header 4095");
}

// ---- Writing rows ----

TEST_F(DataTests, DataStructWritesAHeaderAndTwoRowsEachWithAPauseBehindIt)
{
    const outcome got = run_data_struct();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(content_of(csv), "number,text\n10,filled\n20,filled\n");
    // One row, which is zeroed once.
    EXPECT_EQ(events,
              (texts{"header into []", "fill wl1 02:00:00:00:00:42 over 0 []", "text of 10 for wl1 02:00:00:00:00:42",
                     "pause 200000", "fill wl1 02:00:00:00:00:42 over 10 [filled]",
                     "text of 20 for wl1 02:00:00:00:00:42", "pause 200000"}));
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing fill_data_struct", "DEBUG   checking for get_associated_devices",
                     "DEBUG   -----CSV out-------", "DEBUG   created " + csv, "DEBUG   write header",
                     "DEBUG   fill_data_struct wl1 02:00:00:00:00:42",
                     "DEBUG   data_struct_to_csv_string wl1 02:00:00:00:00:42",
                     "DEBUG   fill_data_struct wl1 02:00:00:00:00:42",
                     "DEBUG   data_struct_to_csv_string wl1 02:00:00:00:00:42", "DEBUG -----CSV out done-------",
                     "DEBUG -----Verify that " + csv + " is correct-------", "DEBUG Done fill_data_struct"}));
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, DataStructReplacesTheFile)
{
    write_csv(std::string(10000, 'x'));
    EXPECT_EQ(run_data_struct().result, 0);
    EXPECT_EQ(content_of(csv), "number,text\n10,filled\n20,filled\n");
}

TEST_F(DataTests, DataStructGoesOnWhenOperationsFail)
{
    operation_result = -1;
    EXPECT_EQ(run_data_struct().result, 0);
    EXPECT_EQ(content_of(csv), "number,text\n10,filled\n20,filled\n");
}

TEST_F(DataTests, DataStructWritesLinesAsLongAsTheBuffers)
{
    header = std::string(4095, 'h');
    ops.data_struct_to_csv_string = [](const char *, const char *, char *out, void *) {
        (void)stpcpy(out, std::string(4095, 'r').c_str());
        return 0;
    };
    EXPECT_EQ(run_data_struct().result, 0);
    const std::string row = std::string(4095, 'r') + "\n";
    EXPECT_EQ(content_of(csv), header + "\n" + row + row);
}

TEST_F(DataTests, DataStructOfAPlatformWithoutRowsWritesThreeLinesAllTheSame)
{
    row_size = 0;
    ops.fill_data_struct = [](const char *, const char *, void *row) { return row != nullptr ? 0 : -1; };
    ops.data_struct_to_csv_string = [](const char *, const char *, char *, void *) { return 0; };
    EXPECT_EQ(run_data_struct().result, 0);
    EXPECT_EQ(content_of(csv), "number,text\n\n\n");
}

// Where the lines of the log see the file; a callback cannot be taken away again.
struct {
    std::string path;
    texts contents;
} watched;

void watch_file(log_Event *ev)
{
    if (!watched.path.empty() && std::string(ev->fmt) == "-----CSV out done-------")
        watched.contents.push_back(content_of(watched.path));
}

TEST_F(DataTests, DataStructHasClosedTheFileWhenItSaysThatItIsDone)
{
    ASSERT_EQ(log_add_callback(watch_file, nullptr, LOG_C_TRACE), 0);
    watched.path = csv;
    EXPECT_EQ(run_data_struct().result, 0);
    watched.path = "";
    EXPECT_EQ(watched.contents, texts{"number,text\n10,filled\n20,filled\n"});
}

TEST_F(DataTests, DataStructSaysMissingInventoryAndGoesOn)
{
    ops.get_associated_devices = nullptr;
    const outcome got = run_data_struct();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(std::count(got.log.begin(), got.log.end(), missing("get_associated_devices")), 1);
    EXPECT_EQ(got.log.front(), "TRACE Testing fill_data_struct");
    EXPECT_EQ(got.log.back(), "DEBUG Done fill_data_struct");
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(content_of(csv), "number,text\n10,filled\n20,filled\n");
}

TEST_F(DataTests, DataStructFailsWhenTheDiskIsFull)
{
    const outcome got = run([&] { return test_get_data_struct("/dev/full", &ops, &device); });
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.log.back(), "ERROR failed to write file /dev/full: "s + strerror(ENOSPC));
}

TEST_F(DataTests, DataStructSaysOnStandardOutputThatTheFileCannotBeCreated)
{
    const std::string path = dir / "missing/rows%s%n.csv";
    const outcome got = run([&] { return test_get_data_struct(path.c_str(), &ops, &device); });
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.output, "\033[31mfailed to open " + path + " for write\033[0m");
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(got.log, (texts{"TRACE Testing fill_data_struct", "DEBUG   checking for get_associated_devices",
                              "DEBUG   -----CSV out-------"}));
    EXPECT_EQ(events, texts{});
}

// ---- Reading rows back ----

TEST_F(DataTests, CsvFunctionsShowEachRowOfTheFile)
{
    write_csv("number,text\n7,first\n8,second\n");
    const outcome got = run_csv_functions();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, (texts{"TRACE Testing csv_functions", "DEBUG   init data struct list",
                              "DEBUG   running vantu_common_csv_to_data_list on file " + csv,
                              "DEBUG   got 2 data structs", "DEBUG   Line: 0", "DEBUG   7,first", "DEBUG   Line: 1",
                              "DEBUG   8,second", "DEBUG Done csv_functions"}));
    EXPECT_EQ(events, (texts{"text of 7 for wl0 02:00:00:00:00:41", "text of 8 for wl0 02:00:00:00:00:41"}))
        << "with the options' radio and MAC";
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, CsvFunctionsReadWhatDataStructWrote)
{
    ASSERT_EQ(run_data_struct().result, 0);
    const outcome got = run_csv_functions();
    EXPECT_TRUE(has_line(got.log, "DEBUG   got 2 data structs"));
    EXPECT_TRUE(has_line(got.log, "DEBUG   10,filled"));
    EXPECT_TRUE(has_line(got.log, "DEBUG   20,filled"));
}

TEST_F(DataTests, CsvFunctionsOnAHeaderOnlyFindNothing)
{
    for (const char *text : {"number,text\n", "number,text", ""}) {
        write_csv(text);
        const outcome got = run_csv_functions();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.log, (texts{"TRACE Testing csv_functions", "DEBUG   init data struct list",
                                  "DEBUG   running vantu_common_csv_to_data_list on file " + csv,
                                  "DEBUG   got 0 data structs", "DEBUG Done csv_functions"}));
    }
}

TEST_F(DataTests, CsvFunctionsWithoutTheFileFindNothing)
{
    const outcome got = run_csv_functions();
    EXPECT_EQ(got.result, 0);
    EXPECT_TRUE(has_line(got.log, "ERROR failed to open file " + csv));
    EXPECT_TRUE(has_line(got.log, "DEBUG   got 0 data structs"));
    EXPECT_EQ(got.log.back(), "DEBUG Done csv_functions");
}

TEST_F(DataTests, CsvFunctionsPassOverALineThatIsNotWhole)
{
    write_csv("number,text\n7\n8,second\n9,third,more\n");
    const outcome got = run_csv_functions();
    EXPECT_TRUE(has_line(got.log, "DEBUG   got 1 data structs"));
    EXPECT_TRUE(has_line(got.log, "DEBUG   8,second"));
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(DataTests, CsvFunctionsSayOnStandardOutputThatARowHasNoTextAndGoOn)
{
    write_csv("number,text\n7,first\n8,second\n");
    operation_result = -1;
    const outcome got = run_csv_functions();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.output, "\033[31m   error data_struct_to_csv_string\033[0m"
                          "\033[31m   error data_struct_to_csv_string\033[0m");
    EXPECT_TRUE(has_line(got.log, "DEBUG   Line: 1"));
    EXPECT_TRUE(has_line(got.log, "DEBUG   8,second"));
    EXPECT_EQ(got.log.back(), "DEBUG Done csv_functions");
}

// ---- Differences ----

TEST_F(DataTests, CalculateDeltaCallsTheEarlierRowDataAndShowsItAsTheDifferenceWhichIsKept)
{
    for (const int result : {0, -1}) {
        events.clear();
        fills = 0;
        operation_result = result;
        const outcome got = run_calculate_delta();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.log, (texts{"TRACE Testing calculate_delta", "DEBUG   data: 10,filled", "DEBUG   prev: 20,filled",
                                  "DEBUG   delt: 10,delta", "DEBUG Done calculate_delta"}));
        EXPECT_EQ(events, (texts{"fill wl1 02:00:00:00:00:42 over 0 []", "text of 10 for wl1 02:00:00:00:00:42",
                                 "fill wl1 02:00:00:00:00:42 over 0 []", "text of 20 for wl1 02:00:00:00:00:42",
                                 "delta of 10 and 20", "text of 10 for wl1 02:00:00:00:00:42"}));
        EXPECT_EQ(got.output + got.errors, "");
    }
}

// Without an address space there is no second row; AddressSanitizer needs one of its own.
#ifndef __SANITIZE_ADDRESS__
TEST_F(DataTests, CalculateDeltaDoesNothingWithoutMemoryForBothRows)
{
    EXPECT_EQ(in_child([&] {
                  static int asked;
                  asked = 0;
                  ops.get_data_struct_size = [] { return asked++ == 0 ? data_row_size() : INT_MAX; };
                  const rlimit memory = {512U << 20U, 512U << 20U};
                  (void)setrlimit(RLIMIT_AS, &memory);
                  const outcome got = run_calculate_delta();
                  if (!events.empty())
                      return 1;
                  return got.result == 0 && got.log.back() == "DEBUG Done calculate_delta" ? 0 : 2;
              }),
              0);
}
#endif

// ---- Latency ----

TEST_F(DataTests, FpingdqRunsTheToolAndShowsTheRowsOfItsFile)
{
    const std::string path = dir / "vantu-cli-fpingdqtest.csv";
    run_command = [&](const std::string &) {
        std::ofstream(path) << "Time,IP,Snd#,NwRTD,PLEN,TOS,Ping2\n"
                               "1700000001,192.168.1.42,1,2.50,64,0,0\n"
                               "1700000002,192.168.1.43,2,15000.00,64,0,0\n";
    };
    const std::string command =
        "/usr/bin/vantu-fpingdq -k -w -p 500 -c 20 -y 02:00:00:00:00:42 -Y wl1 192.168.1.42 > " + path;
    const outcome got = run_fpingdq();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing fpingdq_csv_functions", "DEBUG Running command: " + command, "DEBUG   init list",
                     "DEBUG   vantu_fpingdq_csv_to_data_list", "TRACE Parsing Header", "TRACE header_fields: 7",
                     "DEBUG   sclist_iterator_start", "DEBUG 1700000001,192.168.1.42", "DEBUG 1700000002,192.168.1.43",
                     "DEBUG Done fpingdq_csv_functions"}));
    EXPECT_EQ(events, (texts{"system " + command, "text of 1700000001 for wl1 02:00:00:00:00:42",
                             "text of 1700000002 for wl1 02:00:00:00:00:42"}));
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, FpingdqSaysOnStandardOutputThatTheCommandFailedAndReadsTheFileAllTheSame)
{
    const std::string path = dir / "vantu-cli-fpingdqtest.csv";
    std::ofstream(path) << "Time,IP\n5,192.168.1.42\n"; // of an earlier run
    for (const int status : {256, 127 << 8, -1, 2}) {
        events.clear();
        command_status = status;
        const outcome got = run_fpingdq();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.output, "\033[31mFailed to run command: /usr/bin/vantu-fpingdq -k -w -p 500 -c 20 -y "
                              "02:00:00:00:00:42 -Y wl1 192.168.1.42 > " +
                                  path + "\033[0m");
        EXPECT_TRUE(has_line(got.log, "DEBUG 5,192.168.1.42")) << status;
        EXPECT_EQ(got.log.back(), "DEBUG Done fpingdq_csv_functions");
        EXPECT_EQ(events.size(), 2U);
    }
}

TEST_F(DataTests, FpingdqWithoutAFileShowsNothing)
{
    const outcome got = run_fpingdq();
    EXPECT_EQ(got.result, 0);
    EXPECT_TRUE(has_line(got.log, "ERROR failed to open file " + (dir / "vantu-cli-fpingdqtest.csv")));
    EXPECT_EQ(got.log.back(), "DEBUG Done fpingdq_csv_functions");
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(DataTests, FpingdqSaysThatARowHasNoTextAndGoesOn)
{
    std::ofstream(dir / "vantu-cli-fpingdqtest.csv") << "Time,IP\n5,192.168.1.42\n6,192.168.1.43\n";
    operation_result = -1;
    const outcome got = run_fpingdq();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(std::count(got.log.begin(), got.log.end(), "DEBUG \033[31m   error data_struct_to_csv_string\033[0m"), 2);
    EXPECT_TRUE(has_line(got.log, "DEBUG 6,192.168.1.43"));
    EXPECT_EQ(got.log.back(), "DEBUG Done fpingdq_csv_functions");
}

TEST_F(DataTests, FpingdqFreesARowThatCouldNotBeParsedToo)
{
    std::ofstream(dir / "vantu-cli-fpingdqtest.csv") << "Time,IP\n5,192.168.1.42\n";
    ops.csv_string_to_data_struct = [](char **, void *) { return -1; };
    const outcome got = run_fpingdq();
    EXPECT_EQ(got.result, 0);
    EXPECT_TRUE(has_line(got.log, "ERROR error: csv_string_to_data_struct"));
    EXPECT_TRUE(has_line(got.log, "DEBUG 0,")) << "the zeroed row";
}

TEST_F(DataTests, FpingdqCutsThePathAt64Characters)
{
    put(temporary_directory, dir / std::string(20, 'd'));
    fs::create_directory(temporary_directory);
    const std::string whole = temporary_directory + "/vantu-cli-fpingdqtest.csv"s;
    ASSERT_GT(whole.size(), 64U);
    const std::string path = whole.substr(0, 64);
    std::ofstream(path) << "Time,IP\n5,192.168.1.42\n";
    const outcome got = run_fpingdq();
    EXPECT_EQ(events.at(0),
              "system /usr/bin/vantu-fpingdq -k -w -p 500 -c 20 -y 02:00:00:00:00:42 -Y wl1 192.168.1.42 > " + path);
    EXPECT_TRUE(has_line(got.log, "DEBUG 5,192.168.1.42"));
}

TEST_F(DataTests, FpingdqNeverGivesTheShellWhatItWouldInterpret)
{
    for (const char *hostile : {"$(id)", "`id`",  "a;id", "a&id",  "a|id",     "a>b",      "a<b", "a b", "a\tb",
                                "a\nid", "a\rb",  "'a'",  "\"a\"", "a\\b",     "*",        "?",   "~",   "#a",
                                "(a)",   "{a,b}", "!a",   "$HOME", "a\x1b[2J", "\xc3\xa4", "%n\n"}) {
        const vantu_common_device good = device;
        for (int field = 0; field < 3; field++) {
            device = good;
            if (field == 0)
                put(device.interface, hostile);
            else if (field == 1)
                put(device.mac, hostile);
            else
                put(device.ipv4, hostile);
            const outcome got = run_fpingdq();
            EXPECT_EQ(got.result, 0);
            EXPECT_EQ(events, texts{}) << hostile;
            EXPECT_EQ(got.output.rfind("\033[31mFailed to run command: /usr/bin/vantu-fpingdq -k ", 0), 0U) << hostile;
            EXPECT_EQ(got.log.back(), "DEBUG Done fpingdq_csv_functions");
        }
        device = good;
    }
}

TEST_F(DataTests, FpingdqTakesTheNamesAndAddressesThatThereAre)
{
    for (const char *interface : {"wl0", "wl0.1", "br-lan", "eth", "wlan0_2", "ra0@eth1"}) {
        events.clear();
        put(device.interface, interface);
        put(device.ipv4, "2001:db8::10");
        (void)run_fpingdq();
        ASSERT_EQ(events.size(), 1U) << interface;
        EXPECT_NE(events[0].find(" -Y "s + interface + " 2001:db8::10 > "), std::string::npos);
    }
}

// ---- Issues ----

TEST_F(DataTests, CalculateIssuesHandsOverAPingForEachRowOfTheOptionsFile)
{
    write_csv("number,text\n7,first\n8,second\n9,third\n");
    put(option_csvfile, csv);
    const outcome got = run(test_calculate_issues);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, (texts{"TRACE Testing calculate_issues", "DEBUG   init_data_struct_list",
                              "DEBUG   reading " + csv + " to data struct list", "DEBUG Done calculate_issues"}));
    EXPECT_EQ(events, texts{"calculate_issues"});
    EXPECT_EQ(classified.rows, (texts{"7 first", "8 second", "9 third"}));
    EXPECT_EQ(classified.radio, "wl0");
    EXPECT_EQ(classified.mac, "02:00:00:00:00:41");
    EXPECT_TRUE(classified.empty_outputs);
    EXPECT_TRUE(classified.plain_pings) << "nothing but the row is set";
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, CalculateIssuesRunsWithoutARadioAndWithoutAFile)
{
    put(option_radio, "");
    put(option_csvfile, dir / "missing.csv");
    const outcome got = run(test_calculate_issues);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, (texts{"TRACE Testing calculate_issues", "DEBUG   init_data_struct_list",
                              "DEBUG   reading " + (dir / "missing.csv") + " to data struct list",
                              "ERROR failed to open file " + (dir / "missing.csv"), "DEBUG Done calculate_issues"}));
    EXPECT_EQ(classified.rows, texts{});
    EXPECT_EQ(classified.radio, "");
}

TEST_F(DataTests, CalculateIssuesSaysAMissingParserAndGoesOn)
{
    ops.csv_string_to_data_struct = nullptr;
    write_csv("number,text\n1,a row that nobody parses\n");
    put(option_csvfile, csv);
    const outcome got = run(test_calculate_issues);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(std::count(got.log.begin(), got.log.end(), "ERROR error: csv_string_to_data_struct 2"), 1);
    EXPECT_EQ(std::count(got.log.begin(), got.log.end(), missing("csv_string_to_data_struct")), 1);
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(events, texts{"calculate_issues"});
    EXPECT_EQ(got.log.back(), "DEBUG Done calculate_issues");
}

TEST_F(DataTests, CalculateIssuesOnThePlatformsOwnRowsFindsAWeakSignal)
{
    const quiet_log quiet;
    brcm_csvtable_init();
    ops.init_data_struct_list = vantu_init_brcm_data_list;
    ops.get_data_struct_size = [] { return static_cast<int>(sizeof(vantu_brcm_csv_data)); };
    ops.csv_string_to_data_struct = brcm_csv_string_to_data_struct;
    ops.calculate_issues = classify;
    char line[4096];
    (void)brcm_get_csvdata_headers(line);
    std::string text = line + "\n"s;
    for (int i = 0; i < 12; i++) {
        vantu_brcm_csv_data row = {};
        row.chanim.txop = 90;
        row.chanim.tx = 5;
        row.chanim.inbss = 5;
        row.sta_info.antenna_rssi_last_rx_frame[0] = -76;
        (void)brcm_data_struct_to_csv_string("", "", line, &row);
        text += line + "\n"s;
    }
    write_csv(text);
    put(option_csvfile, csv);
    EXPECT_EQ(run(test_calculate_issues).result, 0);
    EXPECT_EQ(classified.found, texts{std::to_string(COVERAGE) + ":7"});
    brcm_csvtable_destroy();
}

// ---- Samples of radios ----

void add_radio(const std::string &name)
{
    vantu_common_radio radio = {};
    put(radio.interface, name);
    radios.push_back(radio);
}

const texts radio_lines = {
    "INFO time:18446744073709551601",
    "INFO delta_time:6",
    "INFO tx_bytes:18446744073709551603",
    "INFO rx_bytes:4",
    "INFO tx_packets:5",
    "INFO rx_packets:6",
    "INFO utilization:4294967295",
    "INFO transmit:8",
    "INFO receive_self:9",
    "INFO receive_other:10",
    "INFO wmm_be.tx_bytes:11",
    "INFO wmm_be.tx_bytes:12",
    "INFO wmm_bk.tx_bytes:13",
    "INFO wmm_bk.tx_bytes:14",
    "INFO wmm_vi.tx_bytes:15",
    "INFO wmm_vi.tx_bytes:16",
    "INFO wmm_vo.tx_bytes:17",
    "INFO wmm_vo.tx_bytes:18446744073709551615",
};

TEST_F(DataTests, SampleRadioStatsShowsEachRadioWithTheSameLabelTwiceForACategoryWhichIsKept)
{
    add_radio("wl0");
    add_radio("wl1");
    const outcome got = run(test_sample_radio_stats);
    EXPECT_EQ(got.result, 0);
    texts want = {"TRACE test_sample_radio_stats", "INFO New radio found wl0", "INFO New radio found wl1"};
    want.insert(want.end(), radio_lines.begin(), radio_lines.end());
    want.insert(want.end(), radio_lines.begin(), radio_lines.end());
    EXPECT_EQ(got.log, want);
    EXPECT_EQ(events, (texts{"sample wl0", "sample wl1"}));
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, SampleRadioStatsWithoutRadiosSucceeds)
{
    const outcome got = run(test_sample_radio_stats);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, texts{"TRACE test_sample_radio_stats"});
}

TEST_F(DataTests, SampleRadioStatsEndsAtAFailureWhichIsSampledAgainForTheMessageWhichIsKept)
{
    add_radio("wl0");
    add_radio("wl1");
    add_radio("wl2");
    results = {0, -3, 7};
    const outcome got = run(test_sample_radio_stats);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->sample_radio_stats(radio->interface, &stats, 0): 7 != 0 \n");
    EXPECT_EQ(events, (texts{"sample wl0", "sample wl1", "sample wl1 again"}));
    EXPECT_EQ(got.log.size(), 4U + radio_lines.size());
    EXPECT_EQ(got.output, "");
}

// ---- Samples of stations ----

void add_device(const std::string &interface, const std::string &mac, int is_wifi)
{
    vantu_common_device device = {};
    put(device.interface, interface);
    put(device.mac, mac);
    device.is_wifi = is_wifi;
    devices.push_back(device);
}

const texts station_lines = {
    "INFO time:18446744073709551601",
    "INFO delta_time:-2",
    "INFO tx_bytes:18446744073709551603",
    "INFO rx_bytes:4",
    "INFO tx_packets:5",
    "INFO rx_packets:6",
    "INFO signal:-61",
    "INFO transmit:-92", // the noise, which is called so
    "INFO last_data_downlink_rate:18446744073709551609",
    "INFO last_data_uplink_rate:10",
};

TEST_F(DataTests, SampleStaStatsShowsEachWifiDeviceWithItsNoiseCalledTransmitWhichIsKept)
{
    add_radio("wl0");
    add_device("wl0", "02:00:00:00:00:51", 1);
    add_device("eth", "02:00:00:00:00:52", 0);
    add_device("wl1", "02:00:00:00:00:53", 2);
    const outcome got = run(test_sample_sta_stats);
    EXPECT_EQ(got.result, 0);
    texts want = {"TRACE test_sample_sta_stats", "INFO New radio found wl0"};
    want.insert(want.end(), station_lines.begin(), station_lines.end());
    want.insert(want.end(), station_lines.begin(), station_lines.end());
    EXPECT_EQ(got.log, want);
    EXPECT_EQ(events, (texts{"sample wl0 02:00:00:00:00:51", "sample wl1 02:00:00:00:00:53"}));
    EXPECT_EQ(got.output + got.errors, "");
}

TEST_F(DataTests, SampleStaStatsNeedsARadio)
{
    add_device("wl0", "02:00:00:00:00:51", 1);
    const outcome got = run(test_sample_sta_stats);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&radios) > 0 failed!\n");
    EXPECT_EQ(got.log, texts{"TRACE test_sample_sta_stats"});
    EXPECT_EQ(events, texts{});
}

TEST_F(DataTests, SampleStaStatsNeedsADevice)
{
    add_radio("wl0");
    const outcome got = run(test_sample_sta_stats);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&devices) > 0 failed!\n");
    EXPECT_EQ(events, texts{});
}

TEST_F(DataTests, SampleStaStatsOfWiredDevicesOnlySucceeds)
{
    add_radio("wl0");
    add_device("eth", "02:00:00:00:00:52", 0);
    const outcome got = run(test_sample_sta_stats);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, (texts{"TRACE test_sample_sta_stats", "INFO New radio found wl0"}));
    EXPECT_EQ(events, texts{});
}

TEST_F(DataTests, SampleStaStatsEndsAtAFailureWhichIsSampledAgainForTheMessageWhichIsKept)
{
    add_radio("wl0");
    for (const char *mac : {"02:00:00:00:00:51", "02:00:00:00:00:52", "02:00:00:00:00:53"})
        add_device("wl0", mac, 1);
    results = {0, -1, 0};
    const outcome got = run(test_sample_sta_stats);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->sample_sta_stats(dev->interface, dev->mac, &stats, 0): 0 != 0 \n");
    EXPECT_EQ(events, (texts{"sample wl0 02:00:00:00:00:51", "sample wl0 02:00:00:00:00:52",
                             "sample wl0 02:00:00:00:00:52 again"}));
    EXPECT_EQ(got.log.size(), 2U + station_lines.size());
}

} // namespace
