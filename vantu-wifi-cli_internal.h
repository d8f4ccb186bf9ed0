// The entry's own functions, for its tests.
#ifndef VANTU_WIFI_CLI_INTERNAL_H
#define VANTU_WIFI_CLI_INTERNAL_H

#include "vantu-platforms/vantu-platform-ops.h"

#ifdef __cplusplus
extern "C" {
#endif

// 0 when all options were accepted; 1 on -h, an unknown option or a missing argument.
int parse_options(const char *progname, int argc, char **argv);

// Prints the usage on standard output.
void print_usage(const char *progname);

// 0 when `name` is not the test that was asked for; otherwise 1, unless a radio or a MAC is required and was not
// given: then this is logged and the process ends with status 255.
int check_function_args(const char *name, int req_radio, int req_mac);

// Runs the test that was asked for.
void dispatch(vantu_platform_ops *ops);

#ifdef __cplusplus
}
#endif

#endif
