// Opens and closes the operations table: see vantu-platforms/vantu-platform-ops.h.

#include "vantu-platforms/vantu-platform-ops.h"

vantu_platform_ops global_ops;

int vantu_platform_ops_init(vantu_platform_ops *ops, const char *platform)
{
    (void)platform;
    *ops = {};
    (void)platform_init_with_stubs(ops);
    (void)platform_init_ops(ops);
    return 0;
}

int vantu_platform_ops_close(vantu_platform_ops *ops)
{
    (void)ops;
    return 0;
}
