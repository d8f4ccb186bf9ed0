// Reads the driver's further reports. "wlctl -i wl0 wme_counters" has five lines for each of four categories:
//
//     (any line)
//     AC_BE: tx frames: 51840 bytes: 40218833 failed frames: 7 failed bytes: 5412
//            rx frames: 38112 bytes: 9270415 failed frames: 2 failed bytes: 310
//            foward frames: 12 bytes: 840
//            tx frames time expired: 3
//
// "wlctl -i wl0 bs_data":
//
//       Station Address   PHY Mbps  Data Mbps    Air Use   Data Use    Retries
//     02:00:00:00:01:23      780.0       12.4       8.1%      61.0%       3.2%
//             (overall)          -       12.4       8.1%         -         -
//
// "wlctl ampdu_txaggr" and "wlctl -i wl0 wme_ac ap", shortened:
//
//     ampdu_txaggr_override: AUTO
//     tid:0 status:1
//
//     AC Parameters
//     AC_BE: raw: ACI 0x3 ECW 0x43 TXOP 0x0
//            dec: aci 0 acm 0 aifsn 3 ecwmin 3 ecwmax 4 txop 0x0
//            eff: CWmin 7 CWmax 15 TXop 0usec

#include "stream.hpp"
#include "text.hpp"
#include "wlctl.hpp"

#include <cinttypes>
#include <cstring>

using vantu::wlctl_path;

namespace
{

template <size_t N>
bool read_line(FILE *fp, char (&line)[N])
{
    return fgets(line, N, fp) != nullptr;
}

constexpr char bsdata_header[] = "  Station Address";

bool take_station(const char *line, vantu_ll_wlctl_bsdata &station)
{
    if (strlen(line) < 3 || line[2] != ':')
        return false;
    char mac[80];
    if (sscanf(line, "%s %f %f %f%% %f%% %f%%", mac, &station.phy_mbps, &station.data_mbps, &station.airuse_pct,
               &station.datause_pct, &station.retries_pct) != 6)
        return false;
    vantu::copy_text(station.mac, mac);
    return true;
}

// Parses the categories of a report in their order, up to the first that fails.
template <typename Record, typename Category>
int each_category(FILE *fp, Record &out, int (*parse)(FILE *, Category *))
{
    for (const auto category : {&Record::AC_BE, &Record::AC_BK, &Record::AC_VI, &Record::AC_VO}) {
        if (parse(fp, &(out.*category)) != 0)
            return -1;
    }
    return 0;
}

int get_ampdu_aggr(const vantu::command &command, const char *sample, vantu_ll_wlctl_ampdu_aggr *aggr)
{
    *aggr = {};
    return vantu::run_tool(command, {sample, -1},
                           [&](FILE *fp) { return internal_ampdu_parse_tx_or_rxaggr(fp, aggr); });
}

int get_wme_ac(const vantu::command &command, const char *sample, vantu_ll_wlctl_wme_ac *wme_ac)
{
    return vantu::run_tool(command, {sample, 1}, [&](FILE *fp) {
        char title[256];
        return read_line(fp, title) ? each_category(fp, *wme_ac, _get_wme_ac_data) : -1;
    });
}

// The report is one line that holds one number, within the first line_size - 1 characters.
int get_number(const vantu::command &command, const vantu::reader &how, const char *pattern, int line_size, int *value)
{
    *value = -1;
    return vantu::run_tool(command, how, [&](FILE *fp) {
        char line[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        return fgets(line, line_size, fp) != nullptr && sscanf(line, pattern, value) == 1 ? 0 : -1;
#pragma GCC diagnostic pop
    });
}

void report_failed_bsdata(const char *command)
{
    log_error("%s: Command [%s] failed. errno=%d", "vantu_ll_wlctl_get_bsdata", command, 1);
}

} // namespace

int _get_wme_counters_data(FILE *fp, vantu_ll_wlctl_wme_counters_data *out)
{
    *out = {};
    char line[256];
    if (!read_line(fp, line)) // the category's title
        return -1;
    if (!read_line(fp, line) ||
        sscanf(line, "%*s tx frames: %" SCNu64 " bytes: %" SCNu64 " failed frames: %" SCNu64 " failed bytes: %" SCNu64,
               &out->txframes, &out->txbytes, &out->txfailedframes, &out->txfailedbytes) != 4)
        return -1;
    if (!read_line(fp, line) ||
        sscanf(line,
               "       rx frames: %" SCNu64 " bytes: %" SCNu64 " failed frames: %" SCNu64 " failed bytes: %" SCNu64,
               &out->rxframes, &out->rxbytes, &out->rxfailedframes, &out->rxfailedbytes) != 4)
        return -1;
    // The driver spells it so.
    if (!read_line(fp, line) || sscanf(line, "       foward frames: %" SCNu64 " bytes: %" SCNu64 " ",
                                       &out->forward_frames, &out->forward_bytes) != 2)
        return -1;
    if (!read_line(fp, line) ||
        sscanf(line, "       tx frames time expired: %" SCNu64 " ", &out->tx_frames_time_expired) != 1)
        return -1;
    return 0;
}

int vantu_ll_wlctl_get_wme_counters(const char *radio, vantu_ll_wlctl_wme_counters *wme)
{
    const vantu::command_line<127> command("%s -i %s wme_counters", wlctl_path, radio);
    log_trace("running: %s", command.text());
    return vantu::run_tool(command, {"wlctl_wme_counters.txt", 1}, [&](FILE *fp) {
        *wme = {};
        return each_category(fp, *wme, _get_wme_counters_data);
    });
}

int internal_wlctl_get_bsdata(FILE *fp, vantu_ll_wlctl_bsdata_list *list)
{
    if (fp == nullptr || list == nullptr)
        return -2;
    *list = {};
    char line[80];
    if (!read_line(fp, line)) {
        log_error("%s: unable to parse first line", __func__);
        return -1;
    }
    if (strcmp(line, "No stations are currently associated.\n") == 0)
        return 0;
    if (strncmp(line, bsdata_header, strlen(bsdata_header)) != 0) {
        log_error("%s: first line is not the expected header. line: [%s]", __func__, line);
        return -1;
    }
    vantu::line_source lines(fp);
    while (lines.next(line)) {
        vantu_ll_wlctl_bsdata station = {};
        if (!take_station(line, station))
            continue;
        if (list->n_stations == VANTU_LL_MAX_BSDATA_STATIONS)
            return -3;
        list->stations[list->n_stations++] = station;
    }
    return 0;
}

int vantu_ll_wlctl_get_bsdata(const char *radio, vantu_ll_wlctl_bsdata_list *list)
{
    const vantu::command_line<255> command("%s -i %s bs_data", wlctl_path, radio);
    return vantu::run_tool(command, {"wlctl_bsdata_2_devices.txt", -1, report_failed_bsdata},
                           [&](FILE *fp) { return internal_wlctl_get_bsdata(fp, list); });
}

int vantu_ll_wlctl_get_wifi_ampdu(int *value)
{
    return get_number(vantu::command_line<127>("%s ampdu", wlctl_path), {"wlctl_ampdu.txt", 1}, "%d %*s", 256, value);
}

int vantu_ll_wlctl_get_wifi_ampdu_for_tid(int tid, int *value)
{
    return get_number(vantu::command_line<63>("%s ampdu_tid %d", wlctl_path, tid), {"wlctl_ampdu_tid.txt", -1},
                      "AMPDU for tid %*d: %d", 128, value);
}

int internal_ampdu_parse_tx_or_rxaggr(FILE *fp, vantu_ll_wlctl_ampdu_aggr *aggr)
{
    char line[128];
    char override_word[sizeof(line)];
    if (!read_line(fp, line) || (sscanf(line, "ampdu_txaggr_override: %s", override_word) != 1 &&
                                 sscanf(line, "ampdu_rxaggr_override: %s", override_word) != 1))
        return -1;
    vantu::copy_text(aggr->ampdu_txaggr_override, override_word);
    for (int &status : aggr->tid) {
        if (!read_line(fp, line) || sscanf(line, "tid:%*d status:%d", &status) != 1)
            return -1;
    }
    return 0;
}

int vantu_ll_wlctl_get_wifi_ampdu_txaggr(vantu_ll_wlctl_ampdu_aggr *aggr)
{
    return get_ampdu_aggr(vantu::command_line<63>("%s ampdu_txaggr", wlctl_path), "wlctl_ampdu_txaggr.txt", aggr);
}

int vantu_ll_wlctl_get_wifi_ampdu_rxaggr(vantu_ll_wlctl_ampdu_aggr *aggr)
{
    return get_ampdu_aggr(vantu::command_line<63>("%s ampdu_rxaggr", wlctl_path), "wlctl_ampdu_rxaggr.txt", aggr);
}

int vantu_ll_wlctl_get_wifi_ampdu_retry_limit_tid(int tid, int *value)
{
    return get_number(vantu::command_line<127>("%s ampdu_retry_limit_tid %d", wlctl_path, tid),
                      {"wlctl_ampdu_retry_limit_tid.txt", -1}, "AMPDU retry limit for tid %*d: %d", 128, value);
}

int vantu_ll_wlctl_get_wifi_ampdu_rr_retry_limit_tid(int tid, int *value)
{
    return get_number(vantu::command_line<127>("%s ampdu_rr_retry_limit_tid %d", wlctl_path, tid),
                      {"wlctl_ampdu_rr_retry_limit_tid.txt", -1}, "AMPDU regular rate retry limit for tid %*d: %d", 128,
                      value);
}

int vantu_ll_wlctl_get_long_retry_limit(const char *radio, int *value)
{
    return get_number(vantu::command_line<127>("%s -i %s lrl", wlctl_path, radio), {"wlctl_lrl.txt", 1}, "%d", 256,
                      value);
}

int vantu_ll_wlctl_get_short_retry_limit(const char *radio, int *value)
{
    // Both limits have one sample, since they print alike.
    return get_number(vantu::command_line<127>("%s -i %s srl", wlctl_path, radio), {"wlctl_lrl.txt", 1}, "%d", 256,
                      value);
}

int _get_wme_ac_data(FILE *fp, vantu_ll_wlctl_wme_ac_data *out)
{
    char line[256];
    unsigned int aci = 0;
    unsigned int ecw = 0;
    unsigned int txop = 0;
    if (!read_line(fp, line) || sscanf(line, "%*s raw: ACI 0x%X ECW 0x%X TXOP 0x%X", &aci, &ecw, &txop) != 3)
        return -1;
    out->raw_aci = static_cast<uint8_t>(aci);
    out->raw_ecw = static_cast<uint8_t>(ecw);
    out->raw_txop = static_cast<uint8_t>(txop);
    if (!read_line(fp, line) ||
        sscanf(line,
               "       dec: aci %" SCNu64 " acm %" SCNu64 " aifsn %" SCNu64 " ecwmin %" SCNu64 " ecwmax %" SCNu64
               " txop 0x%X",
               &out->dec_aci, &out->dec_acm, &out->dec_aifsn, &out->dec_ecwmin, &out->dec_ecwmax, &txop) != 6)
        return -1;
    out->dec_txop = txop;
    if (!read_line(fp, line) || sscanf(line, "       eff: CWmin %" SCNu64 " CWmax %" SCNu64 " TXop %" SCNu64 "usec",
                                       &out->eff_cwmin, &out->eff_cwmax, &out->eff_txop_us) != 3)
        return -1;
    return 0;
}

int vantu_ll_wlctl_get_wme_ac_ap(const char *radio, vantu_ll_wlctl_wme_ac *wme_ac)
{
    return get_wme_ac(vantu::command_line<127>("%s -i %s wme_ac ap", wlctl_path, radio), "wlctl_wme_ac_ap.txt", wme_ac);
}

int vantu_ll_wlctl_get_wme_ac_sta(const char *radio, vantu_ll_wlctl_wme_ac *wme_ac)
{
    return get_wme_ac(vantu::command_line<127>("%s -i %s wme_ac sta", wlctl_path, radio), "wlctl_wme_ac_sta.txt",
                      wme_ac);
}

int vantu_ll_wlctl_get_wme_dp(const char *radio, vantu_ll_wlctl_wme_dp *dp)
{
    *dp = {};
    const vantu::command_line<127> command("%s -i %s wme_dp", wlctl_path, radio);
    return vantu::run_tool(command, {"wlctl_wme_dp.txt", 1}, [&](FILE *fp) {
        char line[256];
        return read_line(fp, line) &&
                       sscanf(line, "Discard oldest first: BE=%" SCNu64 " BK=%" SCNu64 " VI=%" SCNu64 " VO=%" SCNu64,
                              &dp->be, &dp->bk, &dp->vi, &dp->vo) == 4
                   ? 0
                   : -1;
    });
}
