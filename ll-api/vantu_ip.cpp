// The address value: see vantu_ip.h.

#include "vantu-ll-api/vantu_ip.h"

#include <arpa/inet.h>

const char *vantu_ip_to_string(const vantu_ip *ip, char *buf, socklen_t buflen)
{
    return inet_ntop(ip->ip_version == 6 ? AF_INET6 : AF_INET, &ip->_u, buf, buflen);
}

int string_to_vantu_ip(int family, const char *str, vantu_ip *ip)
{
    ip->ip_version = family == AF_INET6 ? 6 : 4;
    return inet_pton(family, str, &ip->_u);
}
