// The gateway's radios and teardown: see hobe/vantu-wifi-hobe.h.

#include "hobe/vantu-wifi-hobe.h"

#include "brcm-generic/brcm-sample-table.h"
#include "text.hpp"
#include "vantu-libs2/vantu-wifi-common.h"

#include <initializer_list>

int hobe_get_radios(sclist_t *radios)
{
    for (const char *name : {"wl0", "wl1", "wl2"}) {
        vantu_common_radio radio = {};
        vantu::copy_text(radio.interface, name);
        (void)sclist_append(radios, &radio);
    }
    return 0;
}

int hobe_system_destroy(void)
{
    brcm_csvtable_destroy();
    return 0;
}
