// The gateway's own answers: its radios and its teardown.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_HOBE_H
#define VANTU_PLATFORMS_VANTU_WIFI_HOBE_H

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// Appends the three radios "wl0", "wl1" and "wl2", with nothing but the interface set. Returns 0.
int hobe_get_radios(sclist_t *radios);

// Releases what dga4231_system_setup prepared. Returns 0.
int hobe_system_destroy(void);

#ifdef __cplusplus
}
#endif

#endif
