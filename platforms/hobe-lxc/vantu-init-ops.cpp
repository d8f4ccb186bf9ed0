// The composition for a gateway with Broadcom radios whose software runs in a container: which implementation
// serves which operation. An operation that is not named here keeps its stub, or stays empty where there is none.

#include "nf_conntrack/nf_conntrack.h"
#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-platforms/vantu-platform-ops.h"

int platform_init_ops(vantu_platform_ops *ops)
{
    ops->get_dhcpleases = vantu_ll_wrt_get_dhcp;
    ops->get_conntrack = nfconntrack_get_conntrack;

    // The platform is prepared here, before anyone can call an operation.
    (void)ops->system_setup();

    global_ops = *ops;
    return 0;
}
