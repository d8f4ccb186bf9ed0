// The tests of the platform's data path: data rows, their CSV files, latency files, issues and samples.

#include "harness.h"
#include "list_owner.hpp"
#include "printable.hpp"
#include "stream.hpp"
#include "tool.hpp"
#include "vantu-libs2/issues.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/temporary-storage.h"
#include "vantu-libs2/vantu-fpingdq.h"
#include "vantu-ll-api/log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unistd.h>
#include <utility>

namespace
{

constexpr size_t line_size = 4096;
constexpr useconds_t pause_between_rows = 200000;
constexpr char ping_tool[] = "/usr/bin/vantu-fpingdq";
constexpr int ping_period = 500;
constexpr int ping_count = 20;

struct row_releaser {
    void operator()(void *row) const { free(row); }
};
using row_ptr = std::unique_ptr<void, row_releaser>;

// A zeroed data row of the platform.
row_ptr new_row(vantu_platform_ops *ops)
{
    const int size = ops->get_data_struct_size != nullptr ? ops->get_data_struct_size() : 0;
    return row_ptr(calloc(1, size > 0 ? static_cast<size_t>(size) : 1));
}

unsigned long long llu(uint64_t number)
{
    return number;
}

// Frees a list of pings when the test ends, with the rows that they carry or without.
struct ping_list_owner {
    sclist_t &list;
    explicit ping_list_owner(sclist_t &pings) : list(pings) { (void)vantu_fpingdq_init_table(&list); }
    ~ping_list_owner() { (void)vantu_fpingdq_free_table(&list); }
    ping_list_owner(const ping_list_owner &) = delete;
    ping_list_owner &operator=(const ping_list_owner &) = delete;
};

struct radio_list_owner {
    sclist_t &list;
    radio_list_owner(sclist_t &radios, vantu_platform_ops *ops) : list(radios)
    {
        _get_radios_the_kivsampler_way(ops, &list);
    }
    ~radio_list_owner()
    {
        (void)sclist_iterator_stop(&list);
        (void)vantu_common_radio_list_free(&list);
    }
    radio_list_owner(const radio_list_owner &) = delete;
    radio_list_owner &operator=(const radio_list_owner &) = delete;
};

// Samples the device into the row and writes it as a line.
void write_row(FILE *file, vantu_platform_ops *ops, const vantu_common_device &dev, void *row)
{
    char text[line_size] = "";
    log_debug("  fill_data_struct %s %s", dev.interface, dev.mac);
    if (ops->fill_data_struct != nullptr)
        (void)ops->fill_data_struct(dev.interface, dev.mac, row);
    log_debug("  data_struct_to_csv_string %s %s", dev.interface, dev.mac);
    if (ops->data_struct_to_csv_string != nullptr)
        (void)ops->data_struct_to_csv_string(dev.interface, dev.mac, text, row);
    (void)fprintf(file, "%s\n", text);
    (void)usleep(pause_between_rows);
}

// The CSV text of a row, logged behind a label.
void log_row(const char *label, vantu_platform_ops *ops, const vantu_common_device &dev, void *row)
{
    char text[line_size] = "";
    (void)ops->data_struct_to_csv_string(dev.interface, dev.mac, text, row);
    log_debug("  %s: %s", label, text);
}

void print_category(const char *name, const vantu_wmm_stats &stats)
{
    // The label of the second line is the first's, as it has always been.
    log_info("%s.tx_bytes:%llu", name, llu(stats.tx_bytes));
    log_info("%s.tx_bytes:%llu", name, llu(stats.rx_bytes));
}

void print_sample(const vantu_radio_stats &stats)
{
    log_info("time:%llu", llu(stats.time));
    log_info("delta_time:%i", static_cast<int>(stats.delta_time));
    log_info("tx_bytes:%llu", llu(stats.tx_bytes));
    log_info("rx_bytes:%llu", llu(stats.rx_bytes));
    log_info("tx_packets:%llu", llu(stats.tx_packets));
    log_info("rx_packets:%llu", llu(stats.rx_packets));
    log_info("utilization:%u", stats.utilization);
    log_info("transmit:%u", stats.transmit);
    log_info("receive_self:%u", stats.receive_self);
    log_info("receive_other:%u", stats.receive_other);
    print_category("wmm_be", stats.wmm_be);
    print_category("wmm_bk", stats.wmm_bk);
    print_category("wmm_vi", stats.wmm_vi);
    print_category("wmm_vo", stats.wmm_vo);
}

void print_sample(const vantu_sta_stats &stats)
{
    log_info("time:%llu", llu(stats.time));
    log_info("delta_time:%i", stats.delta_time);
    log_info("tx_bytes:%llu", llu(stats.tx_bytes));
    log_info("rx_bytes:%llu", llu(stats.rx_bytes));
    log_info("tx_packets:%llu", llu(stats.tx_packets));
    log_info("rx_packets:%llu", llu(stats.rx_packets));
    log_info("signal:%d", stats.signal);
    log_info("transmit:%d", stats.noise);
    log_info("last_data_downlink_rate:%llu", llu(stats.last_data_downlink_rate));
    log_info("last_data_uplink_rate:%llu", llu(stats.last_data_uplink_rate));
}

} // namespace

int test_get_headers(vantu_platform_ops *ops)
{
    log_trace("Testing get_data_headers");
    ASSERT_NUM(_check_funcptr("get_data_headers", ops->get_data_headers), 0);
    char headers[line_size] = "";
    (void)ops->get_data_headers(headers);
    log_debug("stringlength of data header %d", static_cast<int>(strlen(headers)));
    if (headers[0] == '\0')
        log_debug("\033[31m  Error headers size = 0!\033[0m");
    log_debug("  %s", headers);
    log_debug("Done get_data_headers");
    return 0;
}

int test_get_data_struct(const char *csvfile, vantu_platform_ops *ops, vantu_common_device *dev)
{
    log_trace("Testing fill_data_struct");
    (void)_check_funcptr("get_associated_devices", ops->get_associated_devices);
    (void)_check_funcptr("fill_data_struct", ops->fill_data_struct);
    (void)_check_funcptr("data_struct_to_csv_string", ops->data_struct_to_csv_string);
    log_debug("  checking for get_associated_devices");
    log_debug("  -----CSV out-------");
    vantu::file_stream file(vantu::open_file(csvfile, "we"));
    if (file == nullptr) {
        (void)printf("\033[31mfailed to open %s for write\033[0m", vantu::printable<512>(csvfile).text());
        return -1;
    }
    log_debug("  created %s", csvfile);
    char header[line_size] = "";
    if (ops->get_data_headers != nullptr)
        (void)ops->get_data_headers(header);
    log_debug("  write header");
    (void)fprintf(file.get(), "%s\n", header);
    const row_ptr row = new_row(ops);
    for (int i = 0; row != nullptr && i < 2; i++)
        write_row(file.get(), ops, *dev, row.get());
    if (!vantu::finish(std::move(file))) {
        log_error("failed to write file %s: %s", csvfile, strerror(errno));
        return -1;
    }
    log_debug("-----CSV out done-------");
    log_debug("-----Verify that %s is correct-------", csvfile);
    log_debug("Done %s", "fill_data_struct");
    return 0;
}

int test_csv_functions(const char *csvfile, vantu_platform_ops *ops)
{
    log_trace("Testing csv_functions");
    ASSERT_NUM(_check_funcptr("init_data_struct_list", ops->init_data_struct_list), 0);
    ASSERT_NUM(_check_funcptr("data_struct_to_csv_string", ops->data_struct_to_csv_string), 0);
    log_debug("  init data struct list");
    sclist_t rows;
    const vantu::list_owner owner(rows, ops->init_data_struct_list);
    log_debug("  running vantu_common_csv_to_data_list on file %s", csvfile);
    (void)vantu_common_csv_to_data_list(&rows, csvfile, ops);
    log_debug("  got %d data structs", static_cast<int>(sclist_size(&rows)));
    int line = 0;
    SCLIST_FOREACH(void, row, &rows) {
        log_debug("  Line: %d", line++);
        char text[line_size] = "";
        if (ops->data_struct_to_csv_string(option_radio, option_macaddress, text, row) != 0)
            (void)printf("\033[31m   error data_struct_to_csv_string\033[0m");
        log_debug("  %s", text);
    }
    SCLIST_FOREACH_END(&rows);
    log_debug("Done csv_functions");
    return 0;
}

int test_calculate_delta(vantu_common_device *dev, vantu_platform_ops *ops)
{
    log_trace("Testing calculate_delta");
    ASSERT_NUM(_check_funcptr("calculate_delta", ops->calculate_delta), 0);
    ASSERT_NUM(_check_funcptr("data_struct_to_csv_string", ops->data_struct_to_csv_string), 0);
    ASSERT_NUM(_check_funcptr("fill_data_struct", ops->fill_data_struct), 0);
    ASSERT_NUM(_check_funcptr("get_data_struct_size", ops->get_data_struct_size), 0);
    const row_ptr data = new_row(ops);
    const row_ptr prev = new_row(ops);
    if (data != nullptr && prev != nullptr) {
        // The row that is called data is the earlier one.
        (void)ops->fill_data_struct(dev->interface, dev->mac, data.get());
        log_row("data", ops, *dev, data.get());
        (void)ops->fill_data_struct(dev->interface, dev->mac, prev.get());
        log_row("prev", ops, *dev, prev.get());
        (void)ops->calculate_delta(data.get(), prev.get());
        log_row("delt", ops, *dev, data.get());
    }
    log_debug("Done %s", "calculate_delta");
    return 0;
}

int test_fpingdq_csv_functions(vantu_platform_ops *ops, vantu_common_device *dev)
{
    log_trace("Testing fpingdq_csv_functions");
    ASSERT_NUM(_check_funcptr("data_struct_to_csv_string", ops->data_struct_to_csv_string), 0);
    ASSERT_NUM(_check_funcptr("get_data_struct_size", ops->get_data_struct_size), 0);
    ASSERT_NUM(_check_funcptr("csv_string_to_data_struct", ops->csv_string_to_data_struct), 0);
    char path[65];
    (void)snprintf(path, sizeof(path), "%s/vantu-cli-fpingdqtest.csv", vantu_get_or_create_tmp_path());
    const vantu::command_line<257> command("%s -k -w -p %d -c %d -y %s -Y %s %s > %s", ping_tool, ping_period,
                                           ping_count, dev->mac, dev->interface, dev->ipv4, path);
    log_debug("Running command: %s", command.text());
    if (vantu::run_command(command) != 0)
        (void)printf("\033[31mFailed to run command: %s\033[0m", vantu::printable<512>(command.text()).text());
    log_debug("  init list");
    sclist_t pings;
    const ping_list_owner owner(pings);
    log_debug("  vantu_fpingdq_csv_to_data_list");
    (void)vantu_fpingdq_csv_to_data_list(&pings, path, ops);
    log_debug("  sclist_iterator_start");
    SCLIST_FOREACH(vantu_fpingdq_ping, ping, &pings) {
        char text[line_size] = "";
        if (ops->data_struct_to_csv_string(dev->interface, dev->mac, text, ping->csvdata) != 0)
            log_debug("\033[31m   error data_struct_to_csv_string\033[0m");
        log_debug("%s", text);
    }
    SCLIST_FOREACH_END(&pings);
    log_debug("Done fpingdq_csv_functions");
    return 0;
}

int test_calculate_issues(vantu_platform_ops *ops)
{
    log_trace("Testing %s", "calculate_issues");
    (void)_check_funcptr("calculate_issues", ops->calculate_issues);
    (void)_check_funcptr("init_data_struct_list", ops->init_data_struct_list);
    (void)_check_funcptr("csv_string_to_data_struct", ops->csv_string_to_data_struct);
    sclist_t issues;
    const vantu::list_owner issues_owner(issues, vantu_issuelist_init);
    // The pings of this table borrow the rows of the list, which frees them.
    sclist_t table;
    const vantu::list_owner table_owner(table, vantu_fpingdq_init_table);
    log_debug("  init_data_struct_list");
    sclist_t rows;
    const vantu::list_owner rows_owner(rows, ops->init_data_struct_list);
    log_debug("  reading %s to data struct list", option_csvfile);
    (void)vantu_common_csv_to_data_list(&rows, option_csvfile, ops);
    SCLIST_FOREACH(void, row, &rows) {
        vantu_fpingdq_ping ping = {};
        ping.csvdata = row;
        (void)sclist_append(&table, &ping);
    }
    SCLIST_FOREACH_END(&rows);
    vantu_issue_statistics statistics = {};
    if (ops->calculate_issues != nullptr)
        (void)ops->calculate_issues(&table, &issues, &statistics, option_radio, option_macaddress);
    log_debug("Done %s", "calculate_issues");
    return 0;
}

int test_sample_radio_stats(vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    ASSERT_NUM(_check_funcptr("sample_radio_stats", ops->sample_radio_stats), 0);
    sclist_t radios;
    const radio_list_owner owner(radios, ops);
    SCLIST_FOREACH(vantu_common_radio, radio, &radios) {
        vantu_radio_stats stats = {};
        ASSERT_NUM(ops->sample_radio_stats(radio->interface, &stats, 0), 0);
        print_sample(stats);
    }
    SCLIST_FOREACH_END(&radios);
    return 0;
}

int test_sample_sta_stats(vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    ASSERT_NUM(_check_funcptr("sample_sta_stats", ops->sample_sta_stats), 0);
    sclist_t radios;
    const radio_list_owner radios_owner(radios, ops);
    ASSERT(sclist_size(&radios) > 0);
    sclist_t devices;
    const vantu::list_owner devices_owner(devices, vantu_common_device_list_init);
    (void)ops->get_associated_devices(&devices);
    ASSERT(sclist_size(&devices) > 0);
    SCLIST_FOREACH(vantu_common_device, dev, &devices) {
        if (dev->is_wifi == 0)
            continue;
        vantu_sta_stats stats = {};
        ASSERT_NUM(ops->sample_sta_stats(dev->interface, dev->mac, &stats, 0), 0);
        print_sample(stats);
    }
    SCLIST_FOREACH_END(&devices);
    return 0;
}
