// The flow cache that accelerates forwarding on Broadcom gateways, through its tool `fcctl`.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_BRCM_FCCTL_H
#define VANTU_PLATFORMS_VANTU_WIFI_BRCM_FCCTL_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

// Empties the cache ("fcctl flush"). Only a command that cannot be run is logged.
void brcm_fcctl_flush(void);

// Reads how many packets of a flow pass through software before the cache takes it ("fcctl status"). Returns 0; -1,
// with *count untouched, when the status does not say; 1 when the tool cannot be started.
int brcm_fcctl_get_sw_defers_count(int *count);

// The parser behind it: the first line that says so counts. Returns 0 or -1.
int internal_brcm_fcctl_get_sw_defers_count(FILE *fp, int *count);

// Sets that number ("fcctl config --sw-defer N"), 1 to 10; any other is logged and 1 is set. Always returns 0.
int brcm_fcctl_config_set_sw_defers_pkts(int count);

// This module's opener of a command's output: the live tool, whatever sample is named. Close it with pclose.
FILE *__ll_popen_cmd_or_testfile(const char *command, const char *testfile);

#ifdef __cplusplus
}
#endif

#endif
