// What a daemon does with the library: at an interval it brings its lists of radios and client devices up to date and
// samples them into their histories; at the end it writes the histories as CSV files and says what is wrong with the
// Wi-Fi.
//
//     cc -std=c11 sampler.c -lvantu-platform -lnetfilter_conntrack -ljson-c -lm

#define _POSIX_C_SOURCE 200809L

#include <vantu-libs2/issues.h>
#include <vantu-libs2/sclists-functions.h>
#include <vantu-libs2/temporary-storage.h>
#include <vantu-libs2/vantu-wifi-common.h>
#include <vantu-ll-api/log.h>
#include <vantu-platforms/vantu-platform-ops.h>

#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#define HISTORY 500 // samples of a station and of the WAN; the library gives a radio as many

static vantu_platform_ops ops;
static sclist_t radios;
static sclist_t devices;
static vantu_ringbuffer wan; // without storage where the platform does not sample it
static unsigned long missed; // samples that could not be taken
static volatile sig_atomic_t stopped;

static void stop(int number)
{
    (void)number;
    stopped = 1;
}

static uint64_t microseconds(clockid_t id)
{
    struct timespec now;
    (void)clock_gettime(id, &now);
    return (uint64_t)now.tv_sec * 1000000 + (uint64_t)now.tv_nsec / 1000;
}

// For delta_time, which is a counter like the others: milliseconds of a clock that nobody sets.
static int ticks(void)
{
    return (int)(microseconds(CLOCK_MONOTONIC) / 1000 % INT_MAX);
}

// ---- Devices come, stay and leave ----

static void device_came(vantu_common_device *device)
{
    if (device->is_wifi == 0 || device->sta_stats_buff.array != NULL)
        return;
    vantu_ringbuffer_init(&device->sta_stats_buff, HISTORY, sizeof(vantu_sta_stats));
    if (device->sta_stats_buff.array == NULL)
        log_error("no memory for the history of %s", device->mac);
}

static void device_stayed(vantu_common_device *kept, vantu_common_device *fresh)
{
    fresh->sta_stats_buff = kept->sta_stats_buff;
    *kept = *fresh;
    device_came(kept); // to the Wi-Fi, perhaps, from a wire
}

static void device_left(vantu_common_device *device)
{
    vantu_ringbuffer_free(&device->sta_stats_buff);
}

// ---- Samples. The newest of a history holds counters; when the next one comes, it is turned into what happened
// between the two. That is why a CSV file leaves the newest out. ----

static void sample_radio(vantu_common_radio *radio)
{
    vantu_radio_stats now = {.time = microseconds(CLOCK_REALTIME), .delta_time = (uint64_t)ticks()};
    if (ops.sample_radio_stats(radio->interface, &now, 0) != 0) {
        missed++;
        return;
    }
    vantu_radio_stats *newest = vantu_ringbuffer_get_at(&radio->radio_stats_buff, -1);
    if (newest != NULL)
        (void)vantu_radio_stats_calculate_delta(newest, &now);
    (void)vantu_ringbuffer_write(&radio->radio_stats_buff, &now);
}

static void sample_station(vantu_common_device *device)
{
    vantu_sta_stats now = {.time = microseconds(CLOCK_REALTIME), .delta_time = ticks()};
    if (ops.sample_sta_stats(device->interface, device->mac, &now, 0) != 0) {
        missed++;
        return;
    }
    vantu_sta_stats *newest = vantu_ringbuffer_get_at(&device->sta_stats_buff, -1);
    if (newest != NULL)
        (void)vantu_sta_stats_calculate_delta(newest, &now);
    (void)vantu_ringbuffer_write(&device->sta_stats_buff, &now);
}

static void sample_wan(void)
{
    vantu_wan_stats now = {.time = microseconds(CLOCK_REALTIME), .delta_time = (uint64_t)ticks()};
    if (ops.sample_wan_stats(ops.get_wan_interface_name(), &now) != 0) {
        missed++;
        return;
    }
    vantu_wan_stats *newest = vantu_ringbuffer_get_at(&wan, -1);
    if (newest != NULL)
        (void)vantu_wan_stats_calculate_delta(newest, &now);
    (void)vantu_ringbuffer_write(&wan, &now);
}

static void take_round(void)
{
    (void)vantu_common_radio_list_update(&radios, NULL, NULL, &ops);
    (void)vantu_common_device_list_update(&devices, device_came, device_left, device_stayed, &ops);
    SCLIST_FOREACH(vantu_common_radio, radio, &radios) {
        sample_radio(radio);
    }
    SCLIST_FOREACH_END(&radios);
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        if (device->is_wifi != 0)
            sample_station(device);
    }
    SCLIST_FOREACH_END(&devices);
    if (wan.array != NULL)
        sample_wan();
}

// ---- What comes of them ----

// A name comes from a tool: what a terminal would act upon, or what would lead to another folder, is left out.
static const char *plain(const char *name)
{
    static char text[64];
    size_t length = 0;
    for (; *name != '\0' && length < sizeof(text) - 1; name++) {
        if (*name > ' ' && *name < 0x7f && *name != '/')
            text[length++] = *name;
    }
    text[length] = '\0';
    return text;
}

static const char *in(const char *folder, const char *kind, const char *name)
{
    static char path[PATH_MAX];
    (void)snprintf(path, sizeof(path), "%s/%s%s.csv", folder, kind, plain(name));
    return path;
}

// Returns how many files could not be written.
static int write_files(const char *folder)
{
    int failed = 0;
    SCLIST_FOREACH(vantu_common_radio, radio, &radios) {
        failed -= vantu_radio_stats_to_csvfile(radio, in(folder, "radio-", radio->interface));
    }
    SCLIST_FOREACH_END(&radios);
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        if (device->sta_stats_buff.array != NULL)
            failed -= vantu_sta_stats_to_csvfile(device, in(folder, "station-", device->mac));
    }
    SCLIST_FOREACH_END(&devices);
    if (wan.array != NULL)
        failed -= vantu_wan_stats_to_csvfile(&wan, in(folder, "wan", ""));
    return failed;
}

static void print_issues_of(vantu_common_device *device)
{
    sclist_t issues;
    vantu_common_radio *radio = sclist_seek(&radios, device->interface);
    if (radio == NULL || vantu_ringbuffer_size(&device->sta_stats_buff) == 0 || vantu_issuelist_init(&issues) != 0)
        return;
    (void)vantu_issues_calculate_for_device(&device->sta_stats_buff, &radio->issues, &issues, &radio->issue_stats,
                                            device->mac);
    (void)printf("device %s ", plain(device->mac));
    (void)printf("%s\n", plain(device->interface));
    (void)issues_to_json(&issues);
    sclist_destroy(&issues);
}

static void print_issues(void)
{
    SCLIST_FOREACH(vantu_common_radio, radio, &radios) {
        (void)vantu_issues_calculate_for_radio(radio);
        (void)printf("radio %s\n", plain(radio->interface));
        (void)issues_to_json(&radio->issues);
    }
    SCLIST_FOREACH_END(&radios);
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        print_issues_of(device);
    }
    SCLIST_FOREACH_END(&devices);
}

// ---- The program ----

static int set_up(void)
{
    vantu_platform_ops stubs;
    log_set_level(LOG_C_WARN);
    (void)platform_init_with_stubs(&stubs);
    (void)vantu_platform_ops_init(&ops, "");
    vantu_radio_stats_csvtable_init();
    vantu_sta_stats_csvtable_init();
    vantu_wan_stats_csvtable_init();
    if (ops.sample_wan_stats != stubs.sample_wan_stats && ops.get_wan_interface_name != stubs.get_wan_interface_name)
        vantu_ringbuffer_init(&wan, HISTORY, sizeof(vantu_wan_stats));
    return vantu_common_radio_list_init(&radios) == 0 && vantu_common_device_list_init(&devices) == 0 ? 0 : -1;
}

static void tear_down(void)
{
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        device_left(device);
    }
    SCLIST_FOREACH_END(&devices);
    (void)vantu_common_device_list_free(&devices);
    (void)vantu_common_radio_list_free(&radios);
    vantu_ringbuffer_free(&wan);
    vantu_radio_stats_csvtable_free();
    vantu_sta_stats_csvtable_free();
    vantu_wan_stats_csvtable_free();
    (void)ops.system_destroy();
    (void)vantu_platform_ops_close(&ops);
}

// On a terminal the line is written anew each time.
static void say_progress(long round, long rounds)
{
    const int on_terminal = isatty(STDERR_FILENO);
    (void)fprintf(stderr, "%sround %ld of %ld: %u radios, %u devices, %lu samples missed%s", on_terminal ? "\r" : "",
                  round, rounds, sclist_size(&radios), sclist_size(&devices), missed,
                  on_terminal && round < rounds && stopped == 0 ? "" : "\n");
}

static void run(long interval, long rounds)
{
    struct timespec due;
    (void)clock_gettime(CLOCK_MONOTONIC, &due);
    for (long round = 1; round <= rounds && stopped == 0; round++) {
        take_round();
        say_progress(round, rounds);
        due.tv_sec += interval / 1000 + (due.tv_nsec + interval % 1000 * 1000000) / 1000000000;
        due.tv_nsec = (due.tv_nsec + interval % 1000 * 1000000) % 1000000000;
        if (round < rounds)
            (void)clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, NULL);
    }
}

// The number that a text is, or the one that it may stand for when there is none; -1 for anything else.
static long number(const char *text, long otherwise)
{
    char *end;
    const long value = text == NULL ? otherwise : strtol(text, &end, 10);
    return text == NULL || (end != text && *end == '\0' && value <= INT_MAX) ? value : -1;
}

int main(int argc, char **argv)
{
    const long interval = number(argc > 1 ? argv[1] : NULL, 1000);
    const long rounds = number(argc > 2 ? argv[2] : NULL, 60);
    const char *folder = argc > 3 ? argv[3] : vantu_get_or_create_tmp_path();
    if (argc > 4 || interval < 0 || rounds < 1 || folder[0] == '\0') {
        (void)fprintf(stderr, "usage: %s [MILLISECONDS [ROUNDS [FOLDER]]]\n", argv[0]);
        return 2;
    }
    const struct sigaction action = {.sa_handler = stop};
    if (set_up() != 0 || sigaction(SIGINT, &action, NULL) != 0 || sigaction(SIGTERM, &action, NULL) != 0)
        return EXIT_FAILURE;
    run(interval, rounds);
    const int failed = write_files(folder);
    print_issues();
    tear_down();
    return failed == 0 && fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
