// Marks flows the way a daemon does, through the operations table of the build:
//
//     marking-probe add SET [FLOW...]      adds the flows that the set lacks; prints how many were added
//     marking-probe clean SET [FLOW...]    removes the members that are none of the flows; prints how many were removed
//     marking-probe mark NUMBER FLOW...    sets the mark of live connections
//
// A flow is five arguments: protocol number, source, source port, destination, destination port.

#include "list_owner.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-platforms/vantu-platform-ops.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>

namespace
{

constexpr int arguments_of_flow = 5;

vantu_ip address_of(const char *text)
{
    vantu_ip ip = {};
    const int family = strchr(text, ':') != nullptr ? AF_INET6 : AF_INET;
    if (string_to_vantu_ip(family, text, &ip) != 1) {
        (void)fprintf(stderr, "marking-probe: %s is no address\n", text);
        exit(2);
    }
    return ip;
}

vantu_flow to_flow(char **argument)
{
    vantu_flow flow = {};
    flow.proto = atoi(argument[0]);
    flow.src = address_of(argument[1]);
    flow.sport = atoi(argument[2]);
    flow.dst = address_of(argument[3]);
    flow.dport = atoi(argument[4]);
    return flow;
}

void mark(const vantu_flow &flow, int number)
{
    vantu_ll_conntrack_flow connection = {};
    connection.proto = static_cast<uint8_t>(flow.proto);
    connection.src = flow.src;
    connection.sport = static_cast<uint16_t>(flow.sport);
    connection.dst = flow.dst;
    connection.dport = static_cast<uint16_t>(flow.dport);
    conntrack_mark_flow(&connection, number);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3 || (argc - 3) % arguments_of_flow != 0)
        return 2;
    vantu_platform_ops ops = {};
    (void)vantu_platform_ops_init(&ops, "");
    sclist_t flows;
    const vantu::list_owner owner(flows, vantu_flow_list_init);
    for (char **argument = argv + 3; *argument != nullptr; argument += arguments_of_flow) {
        const vantu_flow flow = to_flow(argument);
        (void)sclist_append(&flows, &flow);
    }
    if (strcmp(argv[1], "add") == 0) {
        (void)printf("%d\n", add_flows_to_ipset(&flows, argv[2], &ops));
    } else if (strcmp(argv[1], "clean") == 0) {
        (void)printf("%d\n", clean_flows_from_ipset(&flows, argv[2], &ops));
    } else if (strcmp(argv[1], "mark") == 0) {
        SCLIST_FOREACH(vantu_flow, flow, &flows) {
            mark(*flow, atoi(argv[2]));
        }
        SCLIST_FOREACH_END(&flows);
    } else {
        return 2;
    }
    (void)ops.system_destroy();
    return 0;
}
