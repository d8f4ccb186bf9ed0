// The DHCP server's leases and the kernel's connection tracking table as text.
#ifndef VANTU_LL_API_VANTU_LL_WRT_H
#define VANTU_LL_API_VANTU_LL_WRT_H

#include <stdint.h>
#include <stdio.h>

#include "vantu-ll-api/vantu_ip.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// One lease. Longer texts are cut; every text is terminated.
typedef struct vantu_ll_dhcp {
    char mac_address[32]; // as written, at most 17 characters
    char hostname[256];   // "*" when the client sent none
    char ip_address[40];
    uint32_t expires; // seconds since the epoch, as written
} vantu_ll_dhcp;

// One tracked connection. The original direction counts as transmit, the reply direction as receive.
//
// How the addresses are stored depends on who filled the record. The text readers below write the dotted IPv4
// text (at most 15 characters, terminated) over the address bytes and leave ip_version 0; the netlink reader
// stores binary addresses with ip_version 4 or 6.
typedef struct vantu_ll_conntrack_flow {
    vantu_ip src; // of the original direction, as are dst, sport and dport
    vantu_ip dst;
    uint8_t has_delta; // 1 when the counters hold differences; 0 when read
    uint8_t proto;     // layer-4 protocol number: 6 TCP, 17 UDP, ...
    uint16_t sport;    // host byte order
    uint16_t dport;
    uint64_t rx_packets;
    uint64_t rx_bytes;
    uint64_t tx_packets;
    uint64_t tx_bytes;
    uint64_t tcp_state; // the kernel's number; only from the netlink reader, 0 for other protocols
    uint32_t mark;
    uint32_t zone; // no reader fills it
    uint16_t use;  // reference count of the entry, its low 16 bits
} vantu_ll_conntrack_flow;

// All functions below return VANTU_LLAPI_RETURN_OK or VANTU_LLAPI_RETURN_ERR_GENERAL, and empty `list` first,
// also when they then fail. The list is made with the initialisers of listinits.h.

// Appends the leases of "/etc/dhcp_lan.leases" (lines "EXPIRES MAC IP HOSTNAME [CLIENT-ID]"; the server's
// "duid" line is skipped; any other line is logged and skipped). Fails when the file cannot be read.
int vantu_ll_wrt_get_dhcp(sclist_t *list);

// The parser behind it. Fails only for a NULL stream.
int internal_vantu_ll_wrt_get_dhcp(FILE *stream, sclist_t *list);

// Appends the IPv4 connections, without ICMP and IGMP, of "/proc/net/nf_conntrack". A line that lacks what a
// connection needs is logged and skipped. Fails when the file cannot be read.
int vantu_ll_wrt_get_conntrack(sclist_t *list);

// The same over the output of "conntrack -L". Only lines that begin with the family name are taken, so that
// the tool's default layout gives an empty list.
int vantu_ll_wrt_get_conntrack_from_tools(sclist_t *list);

// The parser behind both. Fails only for a NULL stream, which is logged.
int internal_vantu_ll_wrt_get_conntrack(FILE *stream, sclist_t *list);

#ifdef __cplusplus
}
#endif

#endif
