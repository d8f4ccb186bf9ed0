// Reads which stations a radio has and how its channel is used. "wlctl -i wl0 assoclist":
//
//     assoclist 02:00:00:00:01:23
//     assoclist 02:00:00:00:01:24
//
// "wlctl -i wl0 chanim_stats", of version 3 (the channel as a hexadecimal word, no busy share) and 4:
//
//     version: 3
//     chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle timestamp
//     0xd0a6 7 4 22 3 6 0 58 2 1 1745 36 -90 61 61034812
//
//     version: 4
//     chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle busy timestamp
//     36/80 7 4 22 3 6 0 58 2 1 1745 36 -90 61 42 61034812

#include "stream.hpp"
#include "text.hpp"
#include "typed_list.hpp"
#include "wlctl.hpp"

#include <cstdlib>
#include <sys/stat.h>

namespace vantu
{

const char *wlctl_path = WLCTL_PATH;

} // namespace vantu

using vantu::wlctl_path;

namespace
{

constexpr char router_path[] = "/bin/wlctl";

constexpr auto _devicemac_size = vantu::record_size<vantu_ll_wlctl_devicemac>;
constexpr auto _devicemac_seeker = vantu::seek_text<&vantu_ll_wlctl_devicemac::mac>;
constexpr auto _devicemac_comparator = vantu::compare_text<&vantu_ll_wlctl_devicemac::mac>;

bool exists(const char *path)
{
    struct stat info;
    return stat(path, &info) == 0;
}

// Counts are scanned without a sign, so that a 32-bit machine keeps those above 2^31. The channel word is not
// converted in this layout, deliberately.
int scan_values_version_4(const char *line, vantu_ll_wlctl_chanim_info &out)
{
    char chanspec[256];
    return sscanf(line, "%s %d %d %d %d %d %d %d %d %d %u %u %d %d %d %u", chanspec, &out.tx, &out.inbss, &out.obss,
                  &out.nocat, &out.nopkt, &out.doze, &out.txop, &out.goodtx, &out.badtx, &out.glitch, &out.badplcp,
                  &out.knoise, &out.idle, &out.busy, &out.timestamp);
}

int scan_values_version_3(const char *line, vantu_ll_wlctl_chanim_info &out)
{
    char chanspec[256] = "";
    const int items = sscanf(line, "0x%s %d %d %d %d %d %d %d %d %d %u %u %d %d %u", chanspec, &out.tx, &out.inbss,
                             &out.obss, &out.nocat, &out.nopkt, &out.doze, &out.txop, &out.goodtx, &out.badtx,
                             &out.glitch, &out.badplcp, &out.knoise, &out.idle, &out.timestamp);
    if (chanspec[0] != '\0')
        out.chanspec = static_cast<uint32_t>(strtoll(chanspec, nullptr, 16));
    return items;
}

} // namespace

void vantu_ll_wlctl_init(void)
{
    if (exists(wlctl_path)) {
        log_info("wlctl path is default path %s", wlctl_path);
    } else if (exists(router_path)) {
        wlctl_path = router_path;
        log_info("wlctl path is %s", wlctl_path);
    } else {
        log_error("wlctl path not found");
    }
}

void vantu_ll_wlctl_assoclist_sclist_init(sclist_t *list)
{
    (void)vantu::init_typed_list(list, _devicemac_size, _devicemac_seeker, _devicemac_comparator);
}

int internal_wlctl_assoclist(FILE *fp, const char *radio, sclist_t *list)
{
    (void)sclist_clear(list);
    int result = 0;
    char line[256];
    vantu::line_source lines(fp);
    while (lines.next(line)) {
        vantu_ll_wlctl_devicemac station = {};
        vantu::copy_text(station.radio, radio);
        char mac[sizeof(line)] = "";
        const int items = sscanf(line, "assoclist %s", mac);
        if (items == 1) {
            vantu::copy_text(station.mac, mac);
        } else {
            log_error("%s: wrong number of stats (%d) line: (%s)", __func__, items, line);
            result = -1;
        }
        (void)sclist_append(list, &station);
    }
    return result;
}

int vantu_ll_wlctl_assoclist(const char *radio, sclist_t *list)
{
    if (radio[0] == '\0') {
        log_error("vantu_ll_wlctl_assoclist: Radio string empty.");
        return 3;
    }
    const vantu::command_line<63> command("%s -i %s assoclist", wlctl_path, radio);
    log_trace("vantu_ll_wlctl_assoclist running %s", command.text());
    return vantu::run_tool(command, {"wlctl_assoclist.txt", 1},
                           [&](FILE *fp) { return internal_wlctl_assoclist(fp, radio, list); });
}

int internal_wlctl_get_chanim_stats(FILE *fp, vantu_ll_wlctl_chanim_info *out)
{
    char line[256];
    if (fgets(line, sizeof(line), fp) == nullptr) {
        log_debug("%s: unable get first line", __func__);
        return -1;
    }
    int version = -1;
    (void)sscanf(line, "%*[^0123456789]%d", &version);
    if (version == -1) {
        log_error("%s: unable to get version", __func__);
        return -1;
    }
    log_trace("Found chanim version %d", version);
    if (fgets(line, sizeof(line), fp) == nullptr) {
        log_error("%s: unable to get header line", __func__);
        return -1;
    }
    if (fgets(line, sizeof(line), fp) == nullptr) {
        log_error("%s: unable to chanim stats line", __func__);
        return -1;
    }
    const int wanted = version < 4 ? 15 : 16;
    const int items = version < 4 ? scan_values_version_3(line, *out) : scan_values_version_4(line, *out);
    if (items != wanted) {
        log_error("%s: wrong number of stats (%d)", __func__, items);
        return -1;
    }
    return 0;
}

int vantu_ll_wlctl_get_chanim_stats(const char *radio, vantu_ll_wlctl_chanim_info *out)
{
    if (radio[0] == '\0') {
        log_error("vantu_ll_wlctl_get_chanim_stats: Radio string empty.");
        return 3;
    }
    *out = {};
    const vantu::command_line<63> command("%s -i %s chanim_stats", wlctl_path, radio);
    log_trace("running: %s", command.text());
    return vantu::run_tool(command, {"wlctl_chanim.txt", 1},
                           [&](FILE *fp) { return internal_wlctl_get_chanim_stats(fp, out); });
}
