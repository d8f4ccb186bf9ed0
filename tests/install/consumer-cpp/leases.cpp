// Counts the leases of the gateway and tells whose is the one of an address: a program in C++ that stands on the
// installed library.

#include <vantu-libs2/csv.h>
#include <vantu-ll-api/listinits.h>
#include <vantu-ll-api/log.h>
#include <vantu-ll-api/vantu_ll_wrt.h>
#include <vantu-platforms/vantu-platform-ops.h>

#include <cstdio>
#include <memory>

namespace
{

class lease_list
{
public:
    lease_list() { (void)vantu_ll_wrt_dhcp_list_init(&list_); }
    ~lease_list() { sclist_destroy(&list_); }
    lease_list(const lease_list &) = delete;
    lease_list &operator=(const lease_list &) = delete;

    sclist_t *get() { return &list_; }

private:
    sclist_t list_;
};

void print_lease(sclist_t *leases, const char *mac)
{
    const auto *lease = static_cast<const vantu_ll_dhcp *>(sclist_seek(leases, mac));
    std::printf("%s is %s\n", mac, lease != nullptr ? lease->hostname : "nobody");
}

} // namespace

// leases MAC,MAC...
int main(int argc, char **argv)
{
    vantu_platform_ops ops;
    log_set_level(LOG_C_ERROR);
    if (argc != 2 || vantu_platform_ops_init(&ops, "") != 0)
        return 1;
    lease_list leases;
    (void)ops.get_dhcpleases(leases.get());
    std::printf("%u leases\n", sclist_size(leases.get()));

    const auto csv = std::make_unique<vantu_csv>();
    (void)vantu_csv_init_struct(csv.get());
    const int macs = vantu_csv_fill_header(csv.get(), argv[1]);
    for (int i = 0; i < macs; i++)
        print_lease(leases.get(), csv->splited_header[i]);
    (void)ops.system_destroy();
    return vantu_platform_ops_close(&ops);
}
