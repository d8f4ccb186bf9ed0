// What it costs to list client devices: in the `crowded` network beside a bare loop that starts the same command lines
// and reads them to the end; and how the join of leases and neighbours grows. Runs in the simulated gateway.

#include "brcm-generic/vantu-wifi-brcm.h"

#include "list_owner.hpp"
#include "runner.hpp"
#include "text.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr char tools_log[] = "/run/sim/tools.log";

size_t list_devices()
{
    sclist_t devices;
    const vantu::list_owner owner(devices, vantu_common_device_list_init);
    (void)global_ops.get_associated_devices(&devices);
    return sclist_size(&devices);
}

// The command lines that the simulated tools have noted since the log was last emptied, and "ip neigh", which is real
// and runs once a listing.
std::vector<std::string> noted_commands()
{
    std::vector<std::string> commands = {"ip neigh"};
    std::ifstream log(tools_log);
    for (std::string line; std::getline(log, line);)
        commands.push_back(line);
    return commands;
}

void run_bare(const std::vector<std::string> &commands)
{
    char block[4096];
    for (const std::string &command : commands) {
        FILE *pipe = popen(command.c_str(), "r");
        while (pipe != nullptr && fread(block, 1, sizeof(block), pipe) > 0) {
        }
        if (pipe != nullptr)
            (void)pclose(pipe);
    }
}

void empty_log()
{
    (void)!truncate(tools_log, 0);
}

void bench_listing()
{
    (void)printf("devices listed: %zu\n", list_devices());
    std::vector<std::string> commands;
    size_t runs = 0;
    bench::compare("listing the devices of `crowded`; aim: at most 1.05", 15,
                   {{"get_associated_devices",
                     [] {
                         empty_log();
                         (void)list_devices();
                     }},
                    // Notes are read outside the loop that is measured, and what it starts is noted as well.
                    {"(reading the notes)",
                     [&] {
                         commands = noted_commands();
                         runs = commands.size();
                     }},
                    {"the same commands from a bare popen loop", [&] { run_bare(commands); }}},
                   2);
    (void)printf("  tool runs of the last listing: %zu\n", runs);
}

// ---- The join ----

int joined;

int no_radios(sclist_t *)
{
    return 0;
}

int many_leases(sclist_t *leases)
{
    for (int i = 0; i < joined; i++) {
        vantu_ll_dhcp lease = {};
        (void)snprintf(lease.mac_address, sizeof(lease.mac_address), "02:00:00:00:%02x:%02x", i >> 8 & 0xff, i & 0xff);
        (void)snprintf(lease.ip_address, sizeof(lease.ip_address), "10.0.%d.%d", i >> 8 & 0xff, i & 0xff);
        (void)sclist_append(leases, &lease);
    }
    return 0;
}

// A tool `ip` that prints as many neighbours as there are leases, in the opposite order.
void write_fake_ip(const std::string &folder, int count)
{
    std::ofstream text(folder + "/neighbours");
    for (int i = count - 1; i >= 0; i--)
        text << "10.0." << (i >> 8 & 0xff) << "." << (i & 0xff) << " dev br-lan lladdr 02:00:00:00:00:01 REACHABLE\n";
    std::ofstream tool(folder + "/ip");
    tool << "#!/bin/sh\nexec cat " << folder << "/neighbours\n";
    tool.close();
    (void)chmod((folder + "/ip").c_str(), 0755);
}

void join(const std::string &path, const std::string &folder, int count)
{
    joined = count;
    (void)setenv("PATH", (folder + ":" + path).c_str(), 1);
    sclist_t radios;
    const vantu::list_owner radios_owner(radios, vantu_common_radio_list_init);
    sclist_t devices;
    const vantu::list_owner owner(devices, vantu_common_device_list_init);
    (void)brcm_get_devices_ipneigh(&radios, &devices);
    if (sclist_size(&devices) != static_cast<unsigned int>(count))
        (void)printf("  only %u of %d devices found\n", sclist_size(&devices), count);
}

void bench_join()
{
    const std::string path = getenv("PATH");
    const std::string small = "/tmp/neighbours-1000";
    const std::string large = "/tmp/neighbours-10000";
    (void)mkdir(small.c_str(), 0755);
    (void)mkdir(large.c_str(), 0755);
    write_fake_ip(small, 1000);
    write_fake_ip(large, 10000);
    global_ops.get_radios = no_radios;
    global_ops.get_dhcpleases = many_leases;
    bench::compare("joining leases and neighbours; aim: at most 15", 15,
                   {{"1,000 with 1,000", [&] { join(path, small, 1000); }},
                    {"10,000 with 10,000", [&] { join(path, large, 10000); }}});
}

} // namespace

int main()
{
    log_set_quiet(true);
    vantu_platform_ops ops;
    (void)vantu_platform_ops_init(&ops, "");
    bench_listing();
    bench_join();
    (void)ops.system_destroy();
    return 0;
}
