// Addresses and flows from texts.
#pragma once

#include "vantu-ll-api/vantu_ip.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>

namespace support
{

inline vantu_ip address(const char *text)
{
    vantu_ip out = {};
    if (string_to_vantu_ip(strchr(text, ':') == nullptr ? AF_INET : AF_INET6, text, &out) != 1)
        abort();
    return out;
}

// A flow of either record kind.
template <typename Flow, typename Proto, typename Port>
Flow flow_between(const char *src, const char *dst, Proto proto, Port sport, Port dport)
{
    Flow out = {};
    out.src = address(src);
    out.dst = address(dst);
    out.proto = proto;
    out.sport = sport;
    out.dport = dport;
    return out;
}

} // namespace support
