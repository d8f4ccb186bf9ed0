// What it costs to sample: the program's own processor time for a sample of a station, without the tool that it starts;
// allocations; and memory after many rounds of a daemon's work. Runs in the simulated gateway; the many rounds read the
// tools' reports from memory.

#include "brcm-generic/brcm-sampling.h"

#include "list_owner.hpp"
#include "runner.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/log.h"

#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <map>
#include <sys/resource.h>
#include <unistd.h>

// ---- The linker puts these in front of the C library's ----

namespace
{

size_t allocations;
bool from_memory;
std::map<std::string, std::string> reports; // by command

} // namespace

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
FILE *__real_popen(const char *command, const char *type);
int __real_pclose(FILE *stream);

void *__wrap_malloc(size_t size)
{
    allocations++;
    return __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    allocations++;
    return __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
    allocations++;
    return __real_realloc(block, size);
}

FILE *__wrap_popen(const char *command, const char *type)
{
    if (!from_memory)
        return __real_popen(command, type);
    auto found = reports.find(command);
    if (found == reports.end()) {
        std::string text;
        FILE *pipe = __real_popen(command, type);
        for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe))
            text += static_cast<char>(c);
        (void)__real_pclose(pipe);
        found = reports.emplace(command, text).first;
    }
    return found->second.empty() ? fopen("/dev/null", "r") : fmemopen(found->second.data(), found->second.size(), "r");
}

int __wrap_pclose(FILE *stream)
{
    return from_memory ? fclose(stream) : __real_pclose(stream);
}
}

namespace
{

struct station {
    std::string interface;
    std::string mac;
};

double own_seconds()
{
    rusage usage;
    (void)getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

std::vector<station> find_stations()
{
    std::vector<station> stations;
    sclist_t devices;
    const vantu::list_owner owner(devices, vantu_common_device_list_init);
    (void)global_ops.get_associated_devices(&devices);
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        if (device->is_wifi != 0)
            stations.push_back({device->interface, device->mac});
    }
    SCLIST_FOREACH_END(&devices);
    return stations;
}

// ---- Processor time ----

void sample(const std::vector<station> &stations)
{
    vantu_sta_stats stats = {};
    for (const station &one : stations)
        (void)global_ops.sample_sta_stats(one.interface.c_str(), one.mac.c_str(), &stats, 0);
}

void only_read(const std::vector<station> &stations)
{
    char block[4096];
    for (const station &one : stations) {
        FILE *pipe = popen(("wlctl -i " + one.interface + " sta_info " + one.mac).c_str(), "re");
        while (fread(block, 1, sizeof(block), pipe) > 0) {
        }
        (void)pclose(pipe);
    }
}

void bench_time(const std::vector<station> &stations)
{
    constexpr int rounds = 41;
    constexpr int repeats = 100; // from memory a sample is too short for the kernel's clock
    std::vector<double> times[3];
    std::vector<double> ratios[3];
    for (int round = -1; round < rounds; round++) {
        const double start = own_seconds();
        only_read(stations);
        const double read = own_seconds();
        sample(stations);
        const double sampled = own_seconds();
        from_memory = true;
        for (int i = 0; i < repeats; i++)
            sample(stations);
        from_memory = false;
        const double from_start[] = {read - start, sampled - read, (own_seconds() - sampled) / repeats};
        for (int i = 0; round >= 0 && i < 3; i++) {
            times[i].push_back(from_start[i] / static_cast<double>(stations.size()));
            ratios[i].push_back(from_start[i] / from_start[0]);
        }
    }
    const char *const names[] = {"a bare popen loop over the same commands", "sample_sta_stats",
                                 "sample_sta_stats, the report from memory"};
    for (int i = 0; i < 3; i++)
        bench::row_of_rounds("own processor time of a station's sample, without the tool's", names[i], times[i],
                             ratios[i]);
}

// ---- A daemon's rounds ----

void device_came(vantu_common_device *device)
{
    if (device->is_wifi != 0)
        vantu_ringbuffer_init(&device->sta_stats_buff, RADIO_STATS_BUFFER_SIZE, sizeof(vantu_sta_stats));
}

void device_left(vantu_common_device *device)
{
    vantu_ringbuffer_free(&device->sta_stats_buff);
}

void device_stayed(vantu_common_device *kept, vantu_common_device *fresh)
{
    fresh->sta_stats_buff = kept->sta_stats_buff;
    *kept = *fresh;
}

class daemon_lists
{
public:
    daemon_lists()
    {
        (void)vantu_common_radio_list_init(&radios_);
        (void)vantu_common_device_list_init(&devices_);
    }
    ~daemon_lists()
    {
        SCLIST_FOREACH(vantu_common_device, device, &devices_) {
            device_left(device);
        }
        SCLIST_FOREACH_END(&devices_);
        (void)vantu_common_device_list_free(&devices_);
        (void)vantu_common_radio_list_free(&radios_);
    }
    daemon_lists(const daemon_lists &) = delete;
    daemon_lists &operator=(const daemon_lists &) = delete;

    void update()
    {
        (void)vantu_common_radio_list_update(&radios_, nullptr, nullptr, &global_ops);
        (void)vantu_common_device_list_update(&devices_, device_came, device_left, device_stayed, &global_ops);
    }

    // Returns how many samples were taken.
    int sample()
    {
        int taken = 0;
        SCLIST_FOREACH(vantu_common_radio, radio, &radios_) {
            vantu_radio_stats stats = {};
            taken += global_ops.sample_radio_stats(radio->interface, &stats, 0) == 0 ? 1 : 0;
            (void)vantu_ringbuffer_write(&radio->radio_stats_buff, &stats);
        }
        SCLIST_FOREACH_END(&radios_);
        SCLIST_FOREACH(vantu_common_device, device, &devices_) {
            vantu_sta_stats stats = {};
            if (device->is_wifi == 0)
                continue;
            taken += global_ops.sample_sta_stats(device->interface, device->mac, &stats, 0) == 0 ? 1 : 0;
            (void)vantu_ringbuffer_write(&device->sta_stats_buff, &stats);
        }
        SCLIST_FOREACH_END(&devices_);
        return taken;
    }

private:
    sclist_t radios_;
    sclist_t devices_;
};

void bench_allocations()
{
    daemon_lists lists;
    constexpr int rounds = 20;
    lists.update();
    size_t taken = 0;
    size_t sampling = 0;
    size_t updating = 0;
    for (int round = 0; round <= rounds; round++) {
        const size_t start = allocations;
        const auto samples = static_cast<size_t>(lists.sample());
        const size_t sampled = allocations;
        lists.update();
        if (round == 0)
            continue;
        taken += samples;
        sampling += sampled - start;
        updating += allocations - sampled;
    }
    const char title[] = "allocations of the program's own code, after the first round; aim: none for a sample";
    bench::row(title, "for a sample", bench::decimal(static_cast<double>(sampling) / static_cast<double>(taken)), "",
               "");
    bench::row(title, "for an update of the lists", bench::decimal(static_cast<double>(updating) / rounds), "", "");
}

// In kB: what is not backed by a file, as the kernel counts it exactly.
size_t resident()
{
    std::ifstream report("/proc/self/smaps_rollup");
    for (std::string word; report >> word;) {
        if (word == "Anonymous:")
            report >> word;
        else
            continue;
        return std::stoul(word);
    }
    return 0;
}

void bench_memory()
{
    daemon_lists lists;
    from_memory = true;
    (void)sleep(2); // the channels' reports are used for a second; the first round is to read, and note, all reports
    constexpr int marks[] = {100, 1000, 10000};
    std::vector<size_t> in_use;
    std::vector<size_t> in_memory;
    const double start = own_seconds();
    for (int round = 1; round <= 10000; round++) {
        lists.update();
        (void)lists.sample();
        if (std::find(std::begin(marks), std::end(marks), round) == std::end(marks))
            continue;
        in_use.push_back(mallinfo2().uordblks);
        in_memory.push_back(resident());
    }
    const double seconds = own_seconds() - start;
    const char title[] =
        "memory of a daemon; aim: in use after 10,000 rounds as after 100, resident as after 1,000, when "
        "the histories are full";
    for (size_t i = 0; i < in_use.size(); i++) {
        const std::string after = "after " + std::to_string(marks[i]) + " rounds";
        bench::row(title, "in use " + after, std::to_string(in_use[i]) + " bytes",
                   bench::decimal(static_cast<double>(in_use[i]) / static_cast<double>(in_use[0])), "");
        bench::row(title, "resident " + after, std::to_string(in_memory[i]) + " kB",
                   bench::decimal(static_cast<double>(in_memory[i]) / static_cast<double>(in_memory[1])), "");
    }
    bench::row(title, "processor time of a round, reports from memory", bench::decimal(seconds / 10) + " ms", "", "");
    from_memory = false;
}

} // namespace

int main(int argc, char **argv)
{
    log_set_quiet(true);
    vantu_platform_ops ops;
    (void)vantu_platform_ops_init(&ops, "");
    if (argc > 1) {
        bench_memory();
        (void)ops.system_destroy();
        return 0;
    }
    const std::vector<station> stations = find_stations();
    if (stations.empty()) {
        (void)fprintf(stderr, "bench: no stations\n");
        return 1;
    }
    bench_time(stations);
    bench_allocations();
    (void)ops.system_destroy();
    // The allocator counts the freed blocks in its caches as in use: without them for this one.
    (void)setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0", 1);
    (void)execl("/proc/self/exe", argv[0], "memory", nullptr);
    perror("bench: cannot start again");
    return 1;
}
