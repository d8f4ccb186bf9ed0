// Ping latency files: see vantu-libs2/vantu-fpingdq.h. The ping tool's columns stand among the platform's:
//
//     Time,IP,Snd#,NwRTD,PLEN,TOS,Ping2,...
//     1767225600000000,192.168.1.23,1,3.25,64,160,0,...

#include "vantu-libs2/vantu-fpingdq.h"
#include "stream.hpp"

#include "csv_columns.hpp"
#include "csv_file.hpp"
#include "list_owner.hpp"
#include "typed_list.hpp"
#include "vantu-ll-api/log.h"

#include <cerrno>
#include <iterator>
#include <utility>

namespace
{

constexpr float unanswered = 15000.0F;

constexpr auto _fpingdq_size = vantu::record_size<vantu_fpingdq_ping>;
constexpr auto _fpingdq_seeker = vantu::seek_text<&vantu_fpingdq_ping::ip>;
constexpr auto _fpingdq_comparator = vantu::compare_text<&vantu_fpingdq_ping::ip>;

constexpr vantu::csv_column columns[] = {
    CSV_COLUMN("Time", U64, NONE, vantu_fpingdq_ping, time),
    CSV_COLUMN("IP", STRING, NONE, vantu_fpingdq_ping, ip),
    CSV_COLUMN("Snd#", INT, NONE, vantu_fpingdq_ping, snd),
    CSV_COLUMN("NwRTD", FLOAT, NONE, vantu_fpingdq_ping, nwrtd),
    CSV_COLUMN("PLEN", INT, NONE, vantu_fpingdq_ping, plen),
    CSV_COLUMN("TOS", INT, NONE, vantu_fpingdq_ping, tos),
    CSV_COLUMN("Ping2", INT, NONE, vantu_fpingdq_ping, ping2),
};

// A table bound to a record of its own, which is zeroed once for a whole file.
struct bound_table {
    vantu_fpingdq_ping record = {};
    sclist_t table;
    vantu::list_owner owner{table, vantu_csv_init_csv_table};
    int idxs[std::size(columns)] = {};

    bound_table() { (void)vantu_fpingdq_fill_csv_table(&table, &record); }
};

void free_rows(sclist_t *list)
{
    SCLIST_FOREACH(vantu_fpingdq_ping, ping, list) {
        free(ping->csvdata);
        ping->csvdata = nullptr;
    }
    SCLIST_FOREACH_END(list);
}

// Appends a record to the list; without memory for it, its row is freed.
void append_ping(sclist_t *list, const vantu_fpingdq_ping &ping)
{
    if (sclist_append(list, &ping) != 1)
        free(ping.csvdata);
}

// Reads a file; `take` is called for each line.
template <typename Take>
int read_pings(sclist_t *list, const char *path, Take take)
{
    vantu::csv_file file(path);
    if (!file.is_open()) {
        log_error("failed to open file %s", path);
        return 0;
    }
    bound_table bound;
    if (file.read_header()) {
        log_trace("Parsing Header");
        (void)vantu_csv_line_build_idx_array(&bound.table, bound.idxs, file.header().at, file.header().count);
        log_trace("header_fields: %d", file.header().count);
        while (file.read_row()) {
            const bool complete = file.fields().count == file.header().count;
            if (!complete)
                log_error("csv data and header count does not match %d %d. skip store in array", file.fields().count,
                          file.header().count);
            take(bound, file, complete);
        }
    }
    return static_cast<int>(sclist_size(list));
}

} // namespace

int vantu_fpingdq_init_table(sclist_t *list)
{
    return vantu::init_typed_list(list, _fpingdq_size, _fpingdq_seeker, _fpingdq_comparator);
}

int vantu_fpingdq_free_table(sclist_t *list)
{
    free_rows(list);
    sclist_destroy(list);
    return 0;
}

int vantu_fpingdq_clear_table(sclist_t *list)
{
    free_rows(list);
    (void)sclist_clear(list);
    return 0;
}

int vantu_fpingdq_fill_csv_table(sclist_t *table, vantu_fpingdq_ping *record)
{
    vantu::bind_columns(table, columns, record);
    return 0;
}

int vantu_fpingdq_only_line_to_struct(sclist_t *table, const int *idxs, vantu_fpingdq_ping *bound,
                                      vantu_fpingdq_ping *out, char **fields)
{
    (void)vantu_csv_line_to_table_struct(table, idxs, fields);
    *out = *bound;
    out->csvdata = nullptr;
    return 0;
}

int vantu_fpingdq_csv_line_to_struct(sclist_t *table, const int *idxs, vantu_fpingdq_ping *bound,
                                     vantu_fpingdq_ping *out, char **fields, vantu_platform_ops *ops)
{
    (void)vantu_fpingdq_only_line_to_struct(table, idxs, bound, out, fields);
    const int size = ops->get_data_struct_size();
    out->csvdata = calloc(1, size > 0 ? static_cast<size_t>(size) : 1);
    if (out->csvdata == nullptr || ops->csv_string_to_data_struct(fields, out->csvdata) != 0)
        log_error("error: csv_string_to_data_struct");
    return 0;
}

int vantu_fpingdq_csv_to_data_list(sclist_t *list, const char *path, vantu_platform_ops *ops)
{
    return read_pings(list, path, [&](bound_table &bound, vantu::csv_file &file, bool) {
        vantu_fpingdq_ping ping = {};
        (void)vantu_fpingdq_csv_line_to_struct(&bound.table, bound.idxs, &bound.record, &ping, file.fields().at, ops);
        append_ping(list, ping);
    });
}

int vantu_fpingdq_only_to_list(sclist_t *list, const char *path)
{
    return read_pings(list, path, [&](bound_table &bound, vantu::csv_file &file, bool complete) {
        if (!complete) {
            log_debug("buffer: [%s]\n", file.line());
            return;
        }
        vantu_fpingdq_ping ping = {};
        (void)vantu_fpingdq_only_line_to_struct(&bound.table, bound.idxs, &bound.record, &ping, file.fields().at);
        append_ping(list, ping);
    });
}

int vantu_fpingdq_data_to_csvfile(sclist_t *list, const char *path)
{
    vantu::file_stream file(vantu::open_file(path, "we"));
    if (file == nullptr) {
        log_error("failed to open file %s for write", path);
        return -1;
    }
    bound_table bound;
    char line[512];
    (void)vantu_csv_get_header(&bound.table, line);
    (void)fprintf(file.get(), "%s\n", line);
    SCLIST_FOREACH(vantu_fpingdq_ping, ping, list) {
        if (ping->nwrtd == unanswered)
            continue;
        bound.record = *ping;
        (void)vantu_csv_table_to_csv(&bound.table, line);
        (void)fprintf(file.get(), "%s\n", line);
    }
    SCLIST_FOREACH_END(list);
    if (!vantu::finish(std::move(file))) {
        log_error("failed to write file %s: %s", path, strerror(errno));
        return -1;
    }
    return 0;
}
