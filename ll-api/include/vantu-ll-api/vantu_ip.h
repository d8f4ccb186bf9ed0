// An IP address of either family as a value.
#ifndef VANTU_LL_API_VANTU_IP_H
#define VANTU_LL_API_VANTU_IP_H

#include <netinet/in.h>
#include <sys/socket.h>

#ifdef __cplusplus
extern "C" {
#endif

// Copied by value. The IPv4 form occupies the first four bytes of the IPv6 form; those four bytes are what flow
// identity looks at, whatever the version.
typedef struct vantu_ip {
    union {
        struct in_addr ipv4;  // network byte order
        struct in6_addr ipv6; // 16 bytes
    } _u;
    int ip_version; // 4 or 6; 0 where a reader says so
} vantu_ip;

// Writes the address as text into `buf` of `buflen` characters, as IPv6 when ip_version is 6 and as IPv4
// otherwise (INET6_ADDRSTRLEN characters always suffice). Returns `buf`, or NULL when it is too small.
const char *vantu_ip_to_string(const vantu_ip *ip, char *buf, socklen_t buflen);

// Parses address text of `family` (AF_INET or AF_INET6). Returns 1 when parsed, 0 when `str` is no address of
// that family, -1 for another family. ip->ip_version is set in every case: 6 for AF_INET6, else 4.
int string_to_vantu_ip(int family, const char *str, vantu_ip *ip);

#ifdef __cplusplus
}
#endif

#endif
