// Flows chosen for priority treatment as members of kernel ipsets of type "hash:ip,port,ip": "vantuvi" for IPv4 and
// "vantuvi6" for IPv6. A firewall chain marks the packets that match them.
#ifndef VANTU_LIBS2_IPSETHELPERS_H
#define VANTU_LIBS2_IPSETHELPERS_H

#include <stdint.h>
#include <stdio.h>

#include "vantu-ll-api/vantu_ip.h"
#include "vantu-platforms/vantu-platform-ops.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// A flow chosen for marking.
typedef struct vantu_flow {
    char mac[18]; // of the client that owns it
    vantu_ip src;
    vantu_ip dst;
    char protostr[8];
    int proto; // layer-4 protocol number
    int sport; // host byte order
    int dport;
    int mark;
    int TOS;
    void *usr_data; // the caller's, not owned
} vantu_flow;

// The header of "ipset list".
typedef struct ipset_set {
    char name[16];
    char type[16];
    uint32_t revision;
    char header[64]; // its first word
    uint32_t size_in_memory;
    uint32_t references;
    uint32_t number_of_entries;
} ipset_set;

// An empty list of vantu_flow. Sought by the text of the set entry, ignoring case; two are equal (0, else 1) when their
// ports, protocol and the first four bytes of each address are. Returns 0; -1 when memory is short.
int vantu_flow_list_init(sclist_t *list);

// An empty list of texts, the members of a set. Returns 0; -1 when memory is short.
int vantu_ipset_entry_list_init(sclist_t *list);

// Writes the set entry of a flow, "DESTINATION,PROTOCOL:PORT,SOURCE" ("err" for a protocol other than TCP and UDP),
// into `buffer` of `length` characters (128 suffice). Returns the length of the whole text.
int vantu_get_ipset_entry_from_flow(const vantu_flow *flow, char *buffer, int length);

// ---- Through the operations table ----

int ipset_add_member(const char *entry, const char *set, vantu_platform_ops *ops);
int ipset_remove_member(const char *entry, const char *set, vantu_platform_ops *ops);
int ipset_get_members(sclist_t *list, const char *set, vantu_platform_ops *ops);

// Adds the flows that the set lacks; returns how many were added. Removes the members that no flow of the list has;
// returns how many were removed. A member that could not be added or removed is logged.
int add_flows_to_ipset(sclist_t *flows, const char *set, vantu_platform_ops *ops);
int clean_flows_from_ipset(sclist_t *flows, const char *set, vantu_platform_ops *ops);

// ---- The `ipset` tool ----

// Runs "/usr/sbin/ipset -OP SET ENTRY" with `op` "A" or "D". Returns 0 when it exits 0, else -1.
int vantu_ipset_cmd_add_member(const char *entry, const char *set, const char *op);

// Appends the members that "/usr/sbin/ipset list SET" shows. Returns 0; -1 when it cannot be started (logged).
int vantu_ipset_cmd_get_members(sclist_t *list, const char *set);

// The parser behind it. Always returns 0.
int internal_vantu_ipset_get_members(FILE *stream, sclist_t *list);

// ---- The `ipset` object on ubus ----

// Return what ubus_cmd_call returns; the second -1 when the reply has no members.
int vantu_ipset_ubuscmd_add_member(const char *entry, const char *set, const char *op);
int vantu_ipset_ubuscmd_get_members(sclist_t *list, const char *set);

#ifdef __cplusplus
}
#endif

#endif
