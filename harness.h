// What the tests of the operations share: the assertion macros, the options, and the tests themselves.
#ifndef VANTU_HARNESS_H
#define VANTU_HARNESS_H

#include <stdio.h>
#include <string.h>

#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-platforms/vantu-platform-ops.h"

// The options of the command line; empty when not given, cut to their size when too long.
extern char option_csvfile[256];
extern char option_platformfile[128];
extern char option_function[128];
extern char option_macaddress[128];
extern char option_radio[128];
extern char option_websocket_ip[17];
extern int verbose_flag;

// Each ends the enclosing test with 1 when it fails, after a line on standard error that shows the expressions
// as they are written in the test.

#define ASSERT(expr)                                      \
    do {                                                  \
        if (!(expr)) {                                    \
            (void)fprintf(stderr, "%s failed!\n", #expr); \
            return 1;                                     \
        }                                                 \
    } while (0)

// Evaluates A a second time to print it: a call that fails is made twice, on purpose.
#define ASSERT_NUM(A, B)                                                                      \
    do {                                                                                      \
        if ((A) != (B)) {                                                                     \
            (void)fprintf(stderr, "%s: %lld != %lld \n", #A, (long long)(A), (long long)(B)); \
            return 1;                                                                         \
        }                                                                                     \
    } while (0)

#define ASSERT_STR(A, B)                                       \
    do {                                                       \
        if (strcmp(A, B) != 0) {                               \
            (void)fprintf(stderr, "%s: %s != %s\n", #A, A, B); \
            return 1;                                          \
        }                                                      \
    } while (0)

#ifdef __cplusplus
extern "C" {
#endif

// 0 when the slot is set; otherwise says that the function is not implemented and returns -1. Every test begins
// with it for the slot that it exercises.
int _check_funcptr(const char *funcname, void *funcptr);

// The tests return 0 when they passed, unless they say otherwise.

// inventory-tests.cpp
int test_system_setup(vantu_platform_ops *ops);
int test_system_destroy(vantu_platform_ops *ops);
// -1 when a figure of a radio is implausible.
int test_get_radios(vantu_platform_ops *ops);
int test_get_struct_size(vantu_platform_ops *ops);
int test_get_dhcpleases(vantu_platform_ops *ops);
// Fills the caller's list. Returns the operation's result; -1 when the list is empty.
int test_get_associated_devices(vantu_platform_ops *ops, sclist_t *devices);
int test_get_routerid(vantu_platform_ops *ops);
int test_get_routermac(vantu_platform_ops *ops);
int test_get_routerbasemac(vantu_platform_ops *ops);
int test_get_router_info(vantu_platform_ops *ops);
int test_get_systeminfo(vantu_platform_ops *ops);
int test_get_wan_interface_name(vantu_platform_ops *ops);
int test_is_device_active(vantu_common_device *dev, vantu_platform_ops *ops);
int test_get_host_ip(vantu_platform_ops *ops);
int test_get_ap_neighbors(vantu_platform_ops *ops);
int test_get_networks(vantu_platform_ops *ops);

// Fills `radios`, which it initialises, the way a sampling daemon does: by merging a fresh reading into a list. The
// caller frees it with vantu_common_radio_list_free.
void _get_radios_the_kivsampler_way(vantu_platform_ops *ops, sclist_t *radios);

// data-tests.cpp
int test_get_headers(vantu_platform_ops *ops);
// Writes a header and two rows to `csvfile`; -1 when it cannot be created or written.
int test_get_data_struct(const char *csvfile, vantu_platform_ops *ops, vantu_common_device *dev);
// Reads such a file back.
int test_csv_functions(const char *csvfile, vantu_platform_ops *ops);
int test_calculate_delta(vantu_common_device *dev, vantu_platform_ops *ops);
int test_fpingdq_csv_functions(vantu_platform_ops *ops, vantu_common_device *dev);
// Classifies the rows of option_csvfile.
int test_calculate_issues(vantu_platform_ops *ops);
int test_sample_radio_stats(vantu_platform_ops *ops);
int test_sample_sta_stats(vantu_platform_ops *ops);

// flow-tests.cpp
// Returns the number of flows; 1 when the slot is missing.
int test_get_conntrack(vantu_platform_ops *ops);
// Needs the sets "vantuvi" and "vantuvi6", without members.
int test_ipset(vantu_platform_ops *ops);
int test_iptables_setup(vantu_platform_ops *ops);
int test_iptables_check(vantu_platform_ops *ops);
int test_iptables_destroy(vantu_platform_ops *ops);

// full-test.cpp
// Runs all tests in a fixed order; 1 at the first check that fails. Two of its checks demand that sampling fails.
int test_all_functions(vantu_platform_ops *ops);

#ifdef __cplusplus
}

// The same for a slot as it stands in the table.
template <typename Result, typename... Arguments>
int _check_funcptr(const char *funcname, Result (*slot)(Arguments...))
{
    return _check_funcptr(funcname, reinterpret_cast<void *>(slot));
}
#endif

#endif
