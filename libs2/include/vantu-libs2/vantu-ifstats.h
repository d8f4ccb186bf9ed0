// Byte and packet counters of network interfaces.
#ifndef VANTU_LIBS2_VANTU_IFSTATS_H
#define VANTU_LIBS2_VANTU_IFSTATS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vantu_byte_stats {
    uint64_t tx_bytes;
    uint64_t rx_bytes;
    uint64_t tx_pkts;
    uint64_t rx_pkts;
} vantu_byte_stats;
typedef vantu_byte_stats vantu_byte_stats_t;

// The interface's counters from getifaddrs, which the kernel keeps in 32 bits there; all zero for an unknown
// interface, never NULL. The record is the module's and is overwritten by the next call. When getifaddrs fails,
// this is logged and the process ends with exit status 1.
vantu_byte_stats *vantu_get_if_stats(const char *ifname);

#ifdef __cplusplus
}
#endif

#endif
