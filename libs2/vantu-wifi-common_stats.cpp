// The statistics samples as CSV: tables, differences and files. See vantu-libs2/vantu-wifi-common.h.

#include "stream.hpp"
#include "vantu-libs2/vantu-wifi-common.h"

#include "csv_columns.hpp"
#include "csv_file.hpp"
#include "list_owner.hpp"
#include "typed_list.hpp"
#include "vantu-ll-api/log.h"

#include <cerrno>
#include <cinttypes>
#include <utility>

namespace
{

// Long enough for every line here: 26 columns, of which none takes more than 64 characters.
constexpr size_t line_size = 2048;

// The columns' names are what the files have always had, misspellings included.
// clang-format off
#define COLUMN(name, type, operation, member) CSV_COLUMN(name, type, operation, vantu_radio_stats, member)
constexpr vantu::csv_column radio_columns[] = {
    COLUMN("time", U64, NONE, time),
    COLUMN("delta_time", U64, DELTA, delta_time),
    COLUMN("radio_bytes_sent", U64, DELTA, tx_bytes),
    COLUMN("radio_bytes_recieved", U64, DELTA, rx_bytes),
    COLUMN("radio_packets_sent", U64, DELTA, tx_packets),
    COLUMN("radio_packets_received", U64, DELTA, rx_packets),
    COLUMN("utilization", U32, NONE, utilization),
    COLUMN("transmit", U32, NONE, transmit),
    COLUMN("receive_self", U32, NONE, receive_self),
    COLUMN("receive_other", U32, NONE, receive_other),
    COLUMN("wmm_be_rx", U64, DELTA, wmm_be.rx_bytes),
    COLUMN("wmm_be_tx", U64, DELTA, wmm_be.tx_bytes),
    COLUMN("wmm_bk_rx", U64, DELTA, wmm_bk.rx_bytes),
    COLUMN("wmm_bk_tx", U64, DELTA, wmm_bk.tx_bytes),
    COLUMN("wmm_vi_rx", U64, DELTA, wmm_vi.rx_bytes),
    COLUMN("wmm_vi_tx", U64, DELTA, wmm_vi.tx_bytes),
    COLUMN("wmm_vo_rx", U64, DELTA, wmm_vo.rx_bytes),
    COLUMN("wmm_vo_tx", U64, DELTA, wmm_vo.tx_bytes),
};
#undef COLUMN

#define COLUMN(name, type, operation, member) CSV_COLUMN(name, type, operation, vantu_sta_stats, member)
constexpr vantu::csv_column sta_columns[] = {
    COLUMN("time", U64, NONE, time),
    COLUMN("delta_time", U64, DELTA, delta_time),
    COLUMN("ip_bytes_sent", U64, DELTA, tx_bytes),
    COLUMN("ip_bytes_recieved", U64, DELTA, rx_bytes),
    COLUMN("ip_packets_sent", U64, DELTA, tx_packets),
    COLUMN("ip_packets_recieved", U64, DELTA, rx_packets),
    COLUMN("sta_signal_strength", INT, NONE, signal),
    COLUMN("sta_noise", INT, NONE, noise),
    COLUMN("sta_last_data_uplink_rate", U64, NONE, last_data_uplink_rate),
    COLUMN("sta_last_data_downlink_rate", U64, NONE, last_data_downlink_rate),
};
#undef COLUMN

#define COLUMN(name, type, operation, member) CSV_COLUMN(name, type, operation, vantu_wan_stats, member)
constexpr vantu::csv_column wan_columns[] = {
    COLUMN("time", U64, NONE, time),
    COLUMN("delta_time", U64, DELTA, delta_time),
    COLUMN("ip_bytes_sent", U64, DELTA, ip_bytes_tx),
    COLUMN("ip_bytes_recieved", U64, DELTA, ip_bytes_rx),
    COLUMN("ip_packets_sent", U64, DELTA, ip_packets_tx),
    COLUMN("ip_packets_received", U64, DELTA, ip_packets_rx),
};
#undef COLUMN

// sta_noise has no column.
#define COLUMN(name, type, operation, member) CSV_COLUMN(name, type, operation, vantu_fpingdq_stats, member)
constexpr vantu::csv_column fpingdq_columns[] = {
    COLUMN("delta_time", INT, NONE, delta_time),
    COLUMN("mac", STRING, NONE, mac),
    COLUMN("radio", STRING, NONE, radio),
    COLUMN("time", U64, NONE, time),
    COLUMN("ip", STRING, NONE, ip),
    COLUMN("ip_bytes_sent", U64, NONE, ip_bytes_sent),
    COLUMN("ip_bytes_recieved", U64, NONE, ip_bytes_recieved),
    COLUMN("ip_packets_sent", U64, NONE, ip_packets_sent),
    COLUMN("ip_packets_recieved", U64, NONE, ip_packets_recieved),
    COLUMN("radio_bytes_sent", FLOAT, NONE, radio_bytes_sent),
    COLUMN("radio_bytes_recieved", FLOAT, NONE, radio_bytes_recieved),
    COLUMN("radio_packets_sent", FLOAT, NONE, radio_packets_sent),
    COLUMN("radio_packets_received", FLOAT, NONE, radio_packets_received),
    COLUMN("radio_utilization", FLOAT, NONE, radio_utilization),
    COLUMN("radio_transmit", FLOAT, NONE, radio_transmit),
    COLUMN("radio_recieve_self", FLOAT, NONE, radio_recieve_self),
    COLUMN("radio_recieve_other", FLOAT, NONE, radio_recieve_other),
    COLUMN("sta_signal_strength", INT, NONE, sta_signal_strength),
    COLUMN("sta_last_data_uplink_rate", U64, NONE, sta_last_data_uplink_rate),
    COLUMN("sta_last_data_downlink_rate", U64, NONE, sta_last_data_downlink_rate),
    COLUMN("bk_bytes_sent", U64, NONE, bk_bytes_sent),
    COLUMN("be_bytes_sent", U64, NONE, be_bytes_sent),
    COLUMN("vi_bytes_sent", U64, NONE, vi_bytes_sent),
    COLUMN("vo_bytes_sent", U64, NONE, vo_bytes_sent),
    COLUMN("bk_bytes_recieved", U64, NONE, bk_bytes_recieved),
    COLUMN("be_bytes_recieved", U64, NONE, be_bytes_recieved),
    COLUMN("vi_bytes_recieved", U64, NONE, vi_bytes_recieved),
    COLUMN("vo_bytes_recieved", U64, NONE, vo_bytes_recieved),
};
#undef COLUMN
// clang-format on

// The table of a kind of sample and the record that its columns point into.
sclist_t radiostats_csvtable;
vantu_radio_stats radiostats_g;
sclist_t stastats_csvtable;
vantu_sta_stats stastats_g;
sclist_t wanstats_csvtable;
vantu_wan_stats wanstats_g;

void free_table(sclist_t &table)
{
    if (table.head_sentinel != nullptr)
        sclist_destroy(&table);
}

template <typename Stats, size_t N>
void init_table(sclist_t &table, const vantu::csv_column (&columns)[N], Stats &scratch)
{
    free_table(table); // of an earlier initialisation, if any
    (void)vantu_csv_init_csv_table(&table);
    vantu::bind_columns(&table, columns, &scratch);
}

template <typename Stats>
int calculate_delta(sclist_t &table, Stats &scratch, Stats *earlier, const Stats *later)
{
    scratch = *later;
    (void)vantu_csv_table_do_operation(&table, &scratch, earlier);
    *earlier = scratch;
    return 0;
}

// A CSV file that is being written: the header of a table, then a line a record.
class csv_writer
{
public:
    csv_writer(const char *path, sclist_t *table) : path_(path), table_(table), file_(vantu::open_file(path, "we"))
    {
        if (file_ == nullptr) {
            log_error("failed to open file %s for write", path);
            return;
        }
        (void)vantu_csv_get_header(table_, line_);
        write();
    }

    bool is_open() const { return file_ != nullptr; }

    // Writes the line of the record that the table is bound to.
    void write_record()
    {
        (void)vantu_csv_table_to_csv(table_, line_);
        write();
    }

    // False, after a log line, when not everything was written.
    bool close()
    {
        if (vantu::finish(std::move(file_)))
            return true;
        log_error("failed to write file %s: %s", path_, strerror(errno));
        return false;
    }

private:
    void write() { (void)fprintf(file_.get(), "%s\n", line_); }

    const char *path_;
    sclist_t *table_;
    vantu::file_stream file_;
    char line_[line_size];
};

// Writes the samples of a ring but for the newest.
template <typename Stats>
int write_ring(vantu_ringbuffer *ring, const char *path, sclist_t &table, Stats &scratch)
{
    csv_writer file(path, &table);
    if (!file.is_open())
        return -1;
    vantu_ringbuffer_itterator_start(ring);
    while (const auto *sample = static_cast<const Stats *>(vantu_ringbuffer_itterator_next(ring))) {
        if (vantu_ringbuffer_itterator_hasnext(ring) == 0)
            break;
        scratch = *sample;
        file.write_record();
    }
    return file.close() ? 0 : -1;
}

constexpr auto _sta_stats_size = vantu::record_size<vantu_sta_stats>;

constexpr auto _fpingdq_stats_size = vantu::record_size<vantu_fpingdq_stats>;

int _fpingdq_stats_seeker(const void *element, const void *key)
{
    (void)element;
    (void)key;
    return 0;
}

int _fpingdq_stats_comparator(const void *a, const void *b)
{
    (void)a;
    (void)b;
    return -1;
}

} // namespace

void vantu_radio_stats_csvtable_init(void)
{
    init_table(radiostats_csvtable, radio_columns, radiostats_g);
}

void vantu_radio_stats_csvtable_free(void)
{
    free_table(radiostats_csvtable);
}

void vantu_sta_stats_csvtable_init(void)
{
    init_table(stastats_csvtable, sta_columns, stastats_g);
}

void vantu_sta_stats_csvtable_free(void)
{
    free_table(stastats_csvtable);
}

void vantu_wan_stats_csvtable_init(void)
{
    init_table(wanstats_csvtable, wan_columns, wanstats_g);
}

void vantu_wan_stats_csvtable_free(void)
{
    free_table(wanstats_csvtable);
}

int vantu_radio_stats_calculate_delta(vantu_radio_stats *prevdatain, const vantu_radio_stats *datain)
{
    return calculate_delta(radiostats_csvtable, radiostats_g, prevdatain, datain);
}

int vantu_sta_stats_calculate_delta(vantu_sta_stats *prevdatain, const vantu_sta_stats *datain)
{
    return calculate_delta(stastats_csvtable, stastats_g, prevdatain, datain);
}

int vantu_wan_stats_calculate_delta(vantu_wan_stats *prevdatain, const vantu_wan_stats *datain)
{
    return calculate_delta(wanstats_csvtable, wanstats_g, prevdatain, datain);
}

void vantu_radio_stats_print(const vantu_radio_stats *stats)
{
    (void)printf("tim %" PRIu64 " deltim%" PRIu64 "  stats: %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64
                 " chanim %u %u %u %u wmm %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64
                 " %" PRIu64 " %" PRIu64 "\n",
                 stats->time, stats->delta_time, stats->tx_bytes, stats->rx_bytes, stats->tx_packets, stats->rx_packets,
                 stats->utilization, stats->transmit, stats->receive_self, stats->receive_other, stats->wmm_be.tx_bytes,
                 stats->wmm_be.rx_bytes, stats->wmm_bk.tx_bytes, stats->wmm_bk.rx_bytes, stats->wmm_vi.tx_bytes,
                 stats->wmm_vi.rx_bytes, stats->wmm_vo.tx_bytes, stats->wmm_vo.rx_bytes);
}

void vantu_sta_stats_print(const vantu_sta_stats *stats)
{
    log_debug("sta_stats: tim %" PRIu64 " deltim %d stats: %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64
              " sig%d noise%d rate: %" PRIu64 " %" PRIu64,
              stats->time, stats->delta_time, stats->tx_bytes, stats->rx_bytes, stats->tx_packets, stats->rx_packets,
              stats->signal, stats->noise, stats->last_data_downlink_rate, stats->last_data_uplink_rate);
}

void vantu_wan_stats_print(const vantu_wan_stats *stats)
{
    (void)printf("tim %" PRIu64 " deltim%" PRIu64 "  stats: %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64, stats->time,
                 stats->delta_time, stats->ip_bytes_tx, stats->ip_bytes_rx, stats->ip_packets_tx, stats->ip_packets_rx);
}

int vantu_radio_stats_to_csvfile(vantu_common_radio *radio, const char *file_path)
{
    return write_ring(&radio->radio_stats_buff, file_path, radiostats_csvtable, radiostats_g);
}

int vantu_sta_stats_to_csvfile(vantu_common_device *device, const char *file_path)
{
    return write_ring(&device->sta_stats_buff, file_path, stastats_csvtable, stastats_g);
}

int vantu_wan_stats_to_csvfile(vantu_ringbuffer *wan_stats_ringbuffer, const char *file_path)
{
    return write_ring(wan_stats_ringbuffer, file_path, wanstats_csvtable, wanstats_g);
}

int vantu_sta_stats_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _sta_stats_size);
}

int vantu_sta_stats_list_free(sclist_t *list)
{
    sclist_destroy(list);
    return 0;
}

int vantu_fpingdq_stats_init_table(sclist_t *list)
{
    return vantu::init_typed_list(list, _fpingdq_stats_size, _fpingdq_stats_seeker, _fpingdq_stats_comparator);
}

int vantu_fpingdq_stats_free_table(sclist_t *list)
{
    sclist_destroy(list);
    return 0;
}

int vantu_fpingdq_stats_fill_csv_table(sclist_t *table, vantu_fpingdq_stats *record)
{
    vantu::bind_columns(table, fpingdq_columns, record);
    return 0;
}

int vantu_fpingdq_stats_to_csvfile(sclist_t *fpingdata, const char *file_path)
{
    vantu_fpingdq_stats record = {};
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    (void)vantu_fpingdq_stats_fill_csv_table(&table, &record);
    csv_writer file(file_path, &table);
    if (!file.is_open())
        return 0;
    SCLIST_FOREACH(vantu_fpingdq_stats, stats, fpingdata) {
        record = *stats;
        file.write_record();
    }
    SCLIST_FOREACH_END(fpingdata);
    (void)file.close();
    return 0;
}
