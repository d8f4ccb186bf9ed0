// The lists of the records in vantu-wifi-common.h: initialisers and free functions.
//
// Every list copies its records. Sought ignoring case by the keys named here, in this order; records are equal when
// the texts of their first key are identical. Initialisers return 0, or -1 when memory is short.
#ifndef VANTU_LIBS2_SCLISTS_FUNCTIONS_H
#define VANTU_LIBS2_SCLISTS_FUNCTIONS_H

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

int vantu_common_radio_list_init(sclist_t *list);       // by `interface`
int vantu_common_device_list_init(sclist_t *list);      // by `mac` or `ipv4`
int vantu_common_ap_neighbor_list_init(sclist_t *list); // by `BSSID` or `SSIDName`
int vantu_network_list_init(sclist_t *list);            // by `bssid`
int vantu_issuelist_init(sclist_t *list);               // not sought; -2 when its elements' size cannot be set

// Free a list with what its radios own: usr_data, history, issues; and its devices' usr_data (not their history). A
// list that was never initialised but zeroed, or is freed already, is left alone. Return 0.
int vantu_common_radio_list_free(sclist_t *list);
int vantu_common_device_list_free(sclist_t *list);

// Destroy a list. Return 0.
int vantu_common_ap_neighbor_list_free(sclist_t *list);
int vantu_network_list_free(sclist_t *list);

#ifdef __cplusplus
}
#endif

#endif
