// What it costs to read a large connection tracking table: the program's reader beside a bare dump of the same two
// families whose callback does nothing, and beside the `conntrack` tool. Runs in the simulated gateway.

#include "nf_conntrack/nf_conntrack.h"

#include "list_owner.hpp"
#include "runner.hpp"
#include "vantu-ll-api/listinits.h"

#include <csignal>
#include <cstdlib>
#include <sys/socket.h>

namespace
{

constexpr unsigned int ipv4_flows = 49152;
constexpr unsigned int ipv6_flows = 16384;

// Loads connections with the tool, a quarter of them IPv6, half UDP.
bool load_flows()
{
    FILE *tool = popen("conntrack -R - >/dev/null 2>&1", "we");
    if (tool == nullptr)
        return false;
    for (unsigned int i = 0; i < ipv4_flows + ipv6_flows; i++) {
        const bool tcp = i % 2 == 0;
        const unsigned int host = i >> 12;
        const unsigned int port = 1024 + (i & 0xfffU);
        const char *proto = tcp ? "tcp" : "udp";
        const char *state = tcp ? " --state ESTABLISHED" : "";
        if (i < ipv4_flows)
            (void)fprintf(tool, "-I -s 10.0.0.%u -d 203.0.113.5 -p %s --sport %u --dport 443 -t 3600%s\n", host, proto,
                          port, state);
        else
            (void)fprintf(tool, "-I -s 2001:db8::%x -d 2001:db8:f::5 -p %s --sport %u --dport 443 -t 3600%s\n", host,
                          proto, port, state);
    }
    return pclose(tool) == 0;
}

int ignore(nf_conntrack_msg_type, nf_conntrack *, void *)
{
    return NFCT_CB_CONTINUE;
}

void bare_dump()
{
    for (const uint32_t family : {AF_INET, AF_INET6}) {
        nfct_handle *handle = nfct_open(CONNTRACK, 0);
        (void)nfct_callback_register(handle, NFCT_T_ALL, ignore, nullptr);
        (void)nfct_query(handle, NFCT_Q_DUMP, &family);
        (void)nfct_close(handle);
    }
}

} // namespace

int main()
{
    (void)signal(SIGPIPE, SIG_IGN);
    if (!load_flows()) {
        (void)fprintf(stderr, "bench: the connections could not be loaded\n");
        return 1;
    }
    sclist_t flows;
    const vantu::list_owner owner(flows, vantu_ll_wrt_conntrack_list_init);
    (void)nfconntrack_get_conntrack(&flows, nullptr, 0);
    (void)printf("connections read: %u of %u loaded\n", sclist_size(&flows), ipv4_flows + ipv6_flows);

    bench::compare("reading the connection table, 65,536 connections; aim: at most 1.10 and faster than the tool", 21,
                   {{"bare netlink dump, empty callback", bare_dump},
                    {"nfconntrack_get_conntrack", [&] { (void)nfconntrack_get_conntrack(&flows, nullptr, 0); }},
                    {"conntrack -L >/dev/null", [] { (void)!system("conntrack -L >/dev/null 2>&1"); }}});
    return 0;
}
