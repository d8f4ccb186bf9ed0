// The DGA4231 gateway: its set-up, its identity in the local configuration store, and the labels of its queues.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_DGA4231_H
#define VANTU_PLATFORMS_VANTU_WIFI_DGA4231_H

#ifdef __cplusplus
extern "C" {
#endif

// "tch_dga4231", which is not to be changed.
const char *dga4231_get_system_name(void);

// The hardware model, env.var.prod_number (at most 63 characters), and the serial number, env.var.serial (at most 31),
// in the module's buffers. Asked until they are known, then kept; empty while they are not known.
char *dga4231_get_model_name(void);
char *dga4231_get_routerid(void);

// Builds the CSV table of the data rows and opens the configuration store. Returns 0.
int dga4231_system_setup(void);

// Releases both. Returns 0.
int dga4231_system_destroy(void);

// Gives every queue its traffic id, exactly once, and the labels the same ones, with `uci`, and restarts the queues
// with `qos`. All commands are run; that some failed is logged.
void dga4231_qos_setup(void);

#ifdef __cplusplus
}
#endif

#endif
