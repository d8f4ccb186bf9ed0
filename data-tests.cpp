// The tests of the platform's data path: the rows that hold one sample of one station.

#include "harness.h"
#include "vantu-ll-api/log.h"

int test_get_headers(vantu_platform_ops *ops)
{
    log_trace("Testing get_data_headers");
    ASSERT_NUM(_check_funcptr("get_data_headers", ops->get_data_headers), 0);
    char headers[4096] = "";
    (void)ops->get_data_headers(headers);
    log_debug("stringlength of data header %d", static_cast<int>(strlen(headers)));
    if (headers[0] == '\0')
        log_debug("\033[31m  Error headers size = 0!\033[0m");
    log_debug("  %s", headers);
    log_debug("Done get_data_headers");
    return 0;
}
