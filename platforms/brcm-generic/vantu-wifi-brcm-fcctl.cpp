// Flow cache control: see brcm-generic/vantu-wifi-brcm-fcctl.h. "fcctl status", shortened:
//
//     Flow Cache status:
//       Acceleration   : enabled
//       Pkt-SW Activate Deferral count = 5

#include "brcm-generic/vantu-wifi-brcm-fcctl.h"

#include "stream.hpp"
#include "tool.hpp"

#include <cerrno>
#include <cstring>

namespace
{

constexpr int fewest = 1;
constexpr int most = 10;

void run(const vantu::command &what)
{
    if (vantu::run_command(what) == -1)
        log_error("system() failed with errno %d", errno);
}

} // namespace

FILE *__ll_popen_cmd_or_testfile(const char *command, const char *testfile)
{
    (void)testfile;
    return popen(command, "re");
}

void brcm_fcctl_flush(void)
{
    run(vantu::command_line<63>("fcctl flush"));
}

int internal_brcm_fcctl_get_sw_defers_count(FILE *fp, int *count)
{
    char line[256];
    vantu::line_source lines(fp);
    while (lines.next(line)) {
        int found = 0;
        if (sscanf(line, " Pkt-SW Activate Deferral count = %d", &found) == 1) {
            *count = found;
            return 0;
        }
    }
    return -1;
}

int brcm_fcctl_get_sw_defers_count(int *count)
{
    const vantu::command_line<63> command("fcctl status");
    FILE *status = __ll_popen_cmd_or_testfile(command.text(), "fcctl/status.txt");
    if (status == nullptr)
        return 1;
    const int result = internal_brcm_fcctl_get_sw_defers_count(status, count);
    if (pclose(status) == -1)
        log_error("%s errno:%d, %s", command.text(), errno, strerror(errno));
    return result;
}

int brcm_fcctl_config_set_sw_defers_pkts(int count)
{
    if (count < fewest || count > most) {
        log_error("Invalid fcctl defers value! %d using 1 instead", count);
        count = fewest;
    }
    const vantu::command_line<63> command("fcctl config --sw-defer %d", count);
    log_info("Running: %s", command.text());
    run(command);
    return 0;
}
