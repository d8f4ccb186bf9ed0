// Set-up of the DGA4231 gateway: see tch-dga4231/vantu-wifi-dga4231.h.

#include "tch-dga4231/vantu-wifi-dga4231.h"

#include "brcm-generic/brcm-sample-table.h"

int dga4231_system_setup(void)
{
    brcm_csvtable_init();
    return 0;
}

int dga4231_system_destroy(void)
{
    brcm_csvtable_destroy();
    return 0;
}
