// The test harness of the platform layer: calls one operation, or all of them in a fixed order, and prints what
// comes back.

#include "harness.h"
#include "ops-registry.h"
#include "printable.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/logging.h"
#include "vantu-wifi-cli_internal.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

char option_csvfile[256];
char option_platformfile[128];
char option_function[128];
char option_macaddress[128];
char option_radio[128];
char option_websocket_ip[17];
int verbose_flag = 1;

namespace
{

struct text_option {
    int letter;
    char *buffer;
    size_t size;
};

template <size_t N>
constexpr text_option option(int letter, char (&buffer)[N])
{
    return {letter, buffer, N};
}

constexpr text_option text_options[] = {
    option('c', option_csvfile),    option('d', option_platformfile), option('f', option_function),
    option('m', option_macaddress), option('r', option_radio),        option('i', option_websocket_ip),
};

// The -i line has no line end and two of the names are not what the dispatch takes: both are left as users and
// scripts have known them.
constexpr char usage_text[] = "\n"
                              "options:\n"
                              "    -c  Path to csv file\n"
                              "    -d  Path to platform file (.so)\n"
                              "    -m  mac\n"
                              "    -r  radio\n"
                              "    -f  function\n"
                              "    -i  set websocket ip"
                              "    -v  verbose output\n"
                              "--Supported functions--\n"
                              "test_all\n"
                              "get_radios\n"
                              "get_dhcpleases\n"
                              "get_conntrack\n"
                              "get_associated_devices\n"
                              "get_data_struct_size\n"
                              "get_data_headers\n"
                              "is_device_active           -r <radio> -m <macaddress>\n"
                              "calculate_issues\n"
                              "get_routerid\n"
                              "get_host_ip\n"
                              "get_ap_neighbors\n"
                              "get_networks\n"
                              "get_systeminfo\n"
                              "get_router_info\n"
                              "sample_radio_stats\n"
                              "sample_sta_stats\n"
                              "get_system_setup\n"
                              "get_system_destroy\n"
                              "iptables_setup\n"
                              "iptables_check\n"
                              "iptables_destroy\n"
                              "test_ipset\n";

using action = void (*)(vantu_platform_ops *ops);

// Runs a test for its output: the exit status does not depend on its result.
template <int (*Test)(vantu_platform_ops *)>
void run(vantu_platform_ops *ops)
{
    (void)Test(ops);
}

void is_device_active(vantu_platform_ops *ops)
{
    log_debug("Active: %d", ops->is_device_active(option_radio, option_macaddress));
}

void get_associated_devices(vantu_platform_ops *ops)
{
    sclist_t devices;
    (void)vantu_common_device_list_init(&devices);
    (void)test_get_associated_devices(ops, &devices);
    (void)vantu_common_device_list_free(&devices);
}

void nothing(vantu_platform_ops *ops)
{
    (void)ops;
}

struct dispatch_row {
    const char *name;
    bool needs_radio;
    bool needs_mac;
    action act;
};

// clang-format off
constexpr dispatch_row dispatch_table[] = {
    // name                    radio  mac    action
    {"get_radios",             false, false, run<test_get_radios>},
    {"get_dhcpleases",         false, false, run<test_get_dhcpleases>},
    {"get_conntrack",          false, false, run<test_get_conntrack>},
    {"get_associated_devices", false, false, get_associated_devices},
    {"test_all",               false, false, run<test_all_functions>},
    {"get_data_struct_size",   false, false, run<test_get_struct_size>},
    {"get_data_headers",       false, false, run<test_get_headers>},
    {"is_device_active",       true,  true,  is_device_active},
    {"calculate_issues",       false, true,  run<test_calculate_issues>},
    {"get_routerid",           false, false, run<test_get_routerid>},
    {"get_host_ip",            false, false, run<test_get_host_ip>},
    {"iptables_setup",         false, false, run<test_iptables_setup>},
    {"iptables_check",         false, false, run<test_iptables_check>},
    {"iptables_destroy",       false, false, run<test_iptables_destroy>},
    {"test_ipset",             false, false, run<test_ipset>},
    {"get_ap_neighbors",       false, false, run<test_get_ap_neighbors>},
    {"get_networks",           false, false, run<test_get_networks>},
    {"get_systeminfo",         false, false, run<test_get_systeminfo>},
    {"sample_radio_stats",     false, false, run<test_sample_radio_stats>},
    {"sample_sta_stats",       false, false, run<test_sample_sta_stats>},
    {"get_router_info",        false, false, run<test_get_router_info>},
    {"system_setup",           false, false, nothing},
    {"system_destroy",         false, false, nothing},
};
// clang-format on

void require(bool needed, const char *value, const char *name, const char *what)
{
    if (!needed || value[0] != '\0')
        return;
    log_error("%s needs %s!", name, what);
    exit(-1);
}

const char *base_name(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

// What getopt would say, but with a letter from outside made printable.
void report_bad_option(const char *program)
{
    bool known = false;
    for (const text_option &option : text_options)
        known = known || option.letter == optopt;
    const char letter[] = {static_cast<char>(optopt), '\0'};
    (void)fprintf(stderr, "%s: %s -- '%s'\n", vantu::printable<256>(program).text(),
                  known ? "option requires an argument" : "invalid option", vantu::printable<8>(letter).text());
}

} // namespace

void print_usage(const char *progname)
{
    (void)printf("Usage: %s [options]\n%s", vantu::printable<256>(progname).text(), usage_text);
}

int parse_options(const char *progname, int argc, char **argv)
{
    (void)progname;
    opterr = 0;
    for (int letter; (letter = getopt(argc, argv, "c:d:m:r:i:f:vh")) != -1;) {
        if (letter == 'v') {
            verbose_flag = 1;
            continue;
        }
        bool known = false;
        for (const text_option &option : text_options) {
            if (option.letter != letter)
                continue;
            (void)snprintf(option.buffer, option.size, "%s", optarg);
            known = true;
        }
        if (letter == '?')
            report_bad_option(argv[0]);
        if (!known)
            return 1;
    }
    return 0;
}

int check_function_args(const char *name, int req_radio, int req_mac)
{
    if (strcmp(name, option_function) != 0)
        return 0;
    require(req_radio != 0, option_radio, name, "radio");
    require(req_mac != 0, option_macaddress, name, "mac");
    return 1;
}

void dispatch(vantu_platform_ops *ops)
{
    for (const dispatch_row &row : dispatch_table) {
        if (check_function_args(row.name, row.needs_radio, row.needs_mac) == 0)
            continue;
        row.act(ops);
        return;
    }
    log_error("unknown test %s", option_function);
}

// A standard descriptor that is missing would be given to a file, and what is printed would go there.
static void open_standard_descriptors(void)
{
    int opened;
    do {
        opened = open("/dev/null", O_RDWR);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened >= 0)
        (void)close(opened);
}

int main(int argc, char **argv)
{
    open_standard_descriptors();
    // A tool inherits what is ignored, and would print for ever to a reader that has gone.
    (void)signal(SIGPIPE, SIG_DFL);
    (void)unsetenv("LD_PRELOAD");
    const char *progname = base_name(argv[0]);
    if (parse_options(progname, argc, argv) != 0) {
        print_usage(progname);
        return 1;
    }

    vantu_platform_ops table = {};
    vantu_platform_ops *ops = &table;
    log_debug("Running Test %s on platform %s radio: %s mac: %s csv: %s", option_function, option_platformfile,
              option_radio, option_macaddress, option_csvfile);
    log_debug("vantu_platform_ops_init on platform: %s", option_platformfile);
    ASSERT_NUM(vantu_platform_ops_init(ops, option_platformfile), 0);
    fill_opsfunc_table(ops);
    vantu_log_init(argv[0], ops->logger_file_callback, ops->logger_syslog_callback, LOG_C_TRACE, LOG_C_TRACE,
                   LOG_C_TRACE);

    dispatch(ops);

    (void)ops->system_destroy();
    (void)vantu_platform_ops_close(ops);
    free_opsfuncs();
    return 0;
}
