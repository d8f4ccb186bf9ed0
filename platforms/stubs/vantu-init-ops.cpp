// The composition without a gateway: every operation keeps its stub, or stays empty where there is none. It is what
// a new gateway starts from, and shows that nothing above the table counts on an operation being there.

#include "vantu-platforms/vantu-platform-ops.h"

int platform_init_ops(vantu_platform_ops *ops)
{
    (void)ops->system_setup();
    global_ops = *ops;
    return 0;
}
