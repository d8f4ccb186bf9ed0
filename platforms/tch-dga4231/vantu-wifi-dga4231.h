// Set-up of the DGA4231 gateway.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_DGA4231_H
#define VANTU_PLATFORMS_VANTU_WIFI_DGA4231_H

#ifdef __cplusplus
extern "C" {
#endif

// Builds the CSV table of the data rows. Returns 0.
int dga4231_system_setup(void);

// Releases it. Returns 0.
int dga4231_system_destroy(void);

#ifdef __cplusplus
}
#endif

#endif
