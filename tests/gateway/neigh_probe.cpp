// Prints the neighbours as the program's reader sees them, one a line: IP, interface, MAC and state between tabs.

#include "vantu-ll-api/vantu_ll_iproute.h"

#include <cstdio>

int main()
{
    sclist_t neighbours;
    if (vantu_ll_iproute_ipneigh_list_init(&neighbours) != 0)
        return 1;
    (void)vantu_ll_iproute_get_ip_neigh(&neighbours);
    SCLIST_FOREACH(ip_neigh, neighbour, &neighbours) {
        (void)printf("%s\t%s\t%s\t%s\n", neighbour->ip, neighbour->interface, neighbour->mac, neighbour->status);
    }
    SCLIST_FOREACH_END(&neighbours);
    sclist_destroy(&neighbours);
    return 0;
}
