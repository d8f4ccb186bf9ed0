// Comma-separated text from records and back: see vantu-libs2/csv.h.

#include "vantu-libs2/csv.h"

#include "stream.hpp"
#include "text.hpp"
#include "typed_list.hpp"
#include "vantu-libs2/strtok.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <utility>

namespace
{

constexpr auto _csv_table_row_size = vantu::record_size<vantu_csv_table_row>;
constexpr auto _csv_table_row_seeker = vantu::seek_text<&vantu_csv_table_row::headername>;
constexpr auto _csv_table_row_comparator = vantu::compare_text<&vantu_csv_table_row::headername>;

// The width of a type's own field; 0 for a text, whose array is not known from its type.
size_t natural_size(int type)
{
    switch (type) {
    case VANTU_TYPE_U64:
        return sizeof(uint64_t);
    case VANTU_TYPE_U32:
    case VANTU_TYPE_INT:
    case VANTU_TYPE_FLOAT:
        return sizeof(uint32_t);
    default:
        return 0;
    }
}

template <typename T>
uint64_t load_as(const void *field)
{
    T value;
    memcpy(&value, field, sizeof(value));
    return value;
}

template <typename T>
void store_as(void *field, uint64_t number)
{
    const auto value = static_cast<T>(number);
    memcpy(field, &value, sizeof(value));
}

// The field's number, widened with zeroes; never a byte beyond the field, in either byte order.
uint64_t load_number(const void *field, size_t size)
{
    switch (size) {
    case sizeof(uint8_t):
        return load_as<uint8_t>(field);
    case sizeof(uint16_t):
        return load_as<uint16_t>(field);
    case sizeof(uint32_t):
        return load_as<uint32_t>(field);
    default:
        return load_as<uint64_t>(field);
    }
}

// Stores a number cut to the field's width.
void store_number(void *field, size_t size, uint64_t number)
{
    switch (size) {
    case sizeof(uint8_t):
        return store_as<uint8_t>(field, number);
    case sizeof(uint16_t):
        return store_as<uint16_t>(field, number);
    case sizeof(uint32_t):
        return store_as<uint32_t>(field, number);
    default:
        return store_as<uint64_t>(field, number);
    }
}

void store_text(void *field, size_t size, const char *text)
{
    const size_t length = strlen(text);
    const size_t kept = size == 0 || length < size ? length : size - 1;
    memcpy(field, text, kept);
    static_cast<char *>(field)[kept] = '\0';
}

template <typename T>
char *write_number(char *at, T number)
{
    // 20 digits and a sign hold every number of 64 bits.
    return std::to_chars(at, at + 21, number).ptr;
}

// A line knows no quotes, so what would end a field or the line is replaced, and so is what other readers of such files
// take for the start of a quoted field.
char in_field(char character)
{
    const auto value = static_cast<unsigned char>(character);
    return value < 0x20 || value == 0x7f || character == ',' || character == '"' ? '_' : character;
}

char *write_text(char *at, const char *text, size_t size)
{
    const size_t length = size == 0 ? strlen(text) : strnlen(text, size);
    return std::transform(text, text + length, at, in_field);
}

// Writes a column's value at `at` and returns where it ends.
char *write_value(const vantu_csv_table_row &row, char *at)
{
    switch (row.type_id) {
    case VANTU_TYPE_U64:
        return write_number(at, load_number(row.dataptr, row.size));
    case VANTU_TYPE_U32:
        return write_number(at, static_cast<uint32_t>(load_number(row.dataptr, row.size)));
    case VANTU_TYPE_INT:
        return write_number(at, static_cast<int32_t>(load_number(row.dataptr, row.size)));
    case VANTU_TYPE_STRING:
        return write_text(at, static_cast<const char *>(row.dataptr), row.size);
    case VANTU_TYPE_FLOAT: {
        float value;
        memcpy(&value, row.dataptr, sizeof(value));
        return at + sprintf(at, "%.2f", static_cast<double>(value));
    }
    default:
        log_error("vantu_csv_table_to_csv Could not convert field %s", row.headername);
        return at;
    }
}

void read_value(const vantu_csv_table_row &row, const char *field)
{
    switch (row.type_id) {
    case VANTU_TYPE_STRING:
        return store_text(row.dataptr, row.size, field);
    case VANTU_TYPE_FLOAT: {
        const float value = strtof(field, nullptr);
        memcpy(row.dataptr, &value, sizeof(value));
        return;
    }
    case VANTU_TYPE_U64:
        return store_number(row.dataptr, row.size, strtoull(field, nullptr, 10));
    case VANTU_TYPE_U32:
    case VANTU_TYPE_INT:
        return store_number(row.dataptr, row.size, static_cast<uint32_t>(strtoull(field, nullptr, 10)));
    default:
        return;
    }
}

void take_delta(const vantu_csv_table_row &row, const void *data, const void *prev_data)
{
    const auto place = static_cast<const char *>(row.dataptr) - static_cast<const char *>(data);
    const void *previous = static_cast<const char *>(prev_data) + place;
    store_number(row.dataptr, row.size,
                 _get_delta64(load_number(previous, row.size), load_number(row.dataptr, row.size)));
}

// Joins what `write` writes for each row by commas.
template <typename Write>
void join_rows(sclist_t *table, char *at, Write write)
{
    bool first = true;
    SCLIST_FOREACH(vantu_csv_table_row, row, table) {
        if (!first)
            *at++ = ',';
        first = false;
        at = write(*row, at);
    }
    SCLIST_FOREACH_END(table);
    *at = '\0';
}

// The data field under a header; null when either is not there.
const char *field_under(char **header_fields, int num_header_fields, const char *field, char **splitted_csv)
{
    const int index = vantu_csv_get_index_from_field_name(header_fields, num_header_fields, field);
    return index < 0 ? nullptr : splitted_csv[index];
}

int to_int(const char *text)
{
    return static_cast<int>(strtoull(text, nullptr, 10));
}

bool same_file(FILE *a, FILE *b)
{
    struct stat first;
    struct stat second;
    return fstat(fileno(a), &first) == 0 && fstat(fileno(b), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

} // namespace

int vantu_csv_init_csv_table(sclist_t *table)
{
    return vantu::init_typed_list(table, _csv_table_row_size, _csv_table_row_seeker, _csv_table_row_comparator);
}

int vantu_csv_add_table_row(sclist_t *list, const char *header, int type, void *dataptr, int opr)
{
    return vantu_csv_add_sized_table_row(list, header, type, dataptr, natural_size(type), opr);
}

int vantu_csv_add_sized_table_row(sclist_t *list, const char *header, int type, void *dataptr, size_t size, int opr)
{
    vantu_csv_table_row row = {};
    vantu::copy_text(row.headername, header);
    row.type_id = type;
    row.operation = opr;
    row.dataptr = dataptr;
    row.size = size != 0 ? size : natural_size(type);
    return sclist_append(list, &row);
}

int vantu_csv_get_header(sclist_t *table, char *header)
{
    join_rows(table, header, [](const vantu_csv_table_row &row, char *at) { return stpcpy(at, row.headername); });
    return 0;
}

int vantu_csv_table_to_csv(sclist_t *table, char *csv)
{
    join_rows(table, csv, write_value);
    return 0;
}

int vantu_csv_table_do_operation(sclist_t *table, void *data, const void *prev_data)
{
    SCLIST_FOREACH(vantu_csv_table_row, row, table) {
        if (row->operation == VANTU_OPR_NONE)
            continue;
        switch (row->type_id) {
        case VANTU_TYPE_U64:
            if (row->operation == VANTU_OPR_DELTA)
                take_delta(*row, data, prev_data);
            break;
        case VANTU_TYPE_STRING:
        case VANTU_TYPE_INT:
        case VANTU_TYPE_FLOAT:
            break;
        default:
            log_error("vantu_csv_table_do_operation Could not do operation field %s", row->headername);
            break;
        }
    }
    SCLIST_FOREACH_END(table);
    return 0;
}

int vantu_csv_split_line(const char *csv_line, char **fields, int max_fields)
{
    int count = 1;
    const char *rest = vantu_strtok(",", csv_line, fields[0], MAX_FIELD_LEN);
    while (rest != nullptr) {
        rest = vantu_strtok(",", rest, fields[count], MAX_FIELD_LEN);
        if (count >= max_fields)
            break;
        count++;
    }
    return count;
}

int vantu_csv_init_struct(vantu_csv *csv)
{
    *csv = {};
    for (int i = 0; i < CSV_FIELD_SLOTS; i++) {
        csv->splited_header[i] = csv->static_splited_header[i];
        csv->tmp_splited_csv[i] = csv->static_tmp_splited_csv[i];
    }
    return 0;
}

int vantu_csv_fill_header(vantu_csv *csv, const char *csv_line)
{
    csv->num_headers = vantu_csv_split_line(csv_line, csv->splited_header, MAX_FIELDS);
    return csv->num_headers;
}

int vantu_csv_fill_line(vantu_csv *csv, const char *csv_line)
{
    csv->num_headers = vantu_csv_split_line(csv_line, csv->tmp_splited_csv, MAX_FIELDS);
    return csv->num_headers;
}

int vantu_csv_get_index_from_field(vantu_csv *csv, const char *field)
{
    return vantu_csv_get_index_from_field_name(csv->splited_header, csv->num_headers, field);
}

int vantu_csv_get_index_from_field_name(char **header_fields, int num_fields, const char *field)
{
    for (int i = 0; i < num_fields; i++) {
        if (strcasecmp(header_fields[i], field) == 0)
            return i;
    }
    return -1;
}

int vantu_csv_get_string_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                   int csv_len, char *out)
{
    (void)csv_len;
    const char *text = field_under(header_fields, num_header_fields, field, splitted_csv);
    if (text == nullptr) {
        log_error("ERROR: getting string from %s", field);
        return 1;
    }
    (void)stpcpy(out, text);
    return 0;
}

float vantu_csv_get_float_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                    int csv_len)
{
    (void)csv_len;
    const char *text = field_under(header_fields, num_header_fields, field, splitted_csv);
    if (text == nullptr) {
        log_error("ERROR: getting float from %s", field);
        return 0.0F;
    }
    return strtof(text, nullptr);
}

int vantu_csv_get_int_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                int csv_len)
{
    return vantu_csv_get_int_from_name_helper(header_fields, num_header_fields, field, splitted_csv, csv_len, 1);
}

int vantu_csv_get_int_from_name_helper(char **header_fields, int num_header_fields, const char *field,
                                       char **splitted_csv, int csv_len, int print_error)
{
    (void)csv_len;
    const char *text = field_under(header_fields, num_header_fields, field, splitted_csv);
    if (text == nullptr) {
        if (print_error != 0)
            log_error("ERROR: getting index for field: %s", field);
        return 0;
    }
    return to_int(text);
}

int vantu_csv_to_model_vector(char **header_fields, int num_header_fields, char **feature_fields,
                              int num_feature_fields, char **splitted_csv, int csv_len, float *floatdata)
{
    for (int i = 0; i < num_feature_fields; i++)
        floatdata[i] = static_cast<float>(
            vantu_csv_get_int_from_name(header_fields, num_header_fields, feature_fields[i], splitted_csv, csv_len));
    return 0;
}

int vantu_csv_get_line_from_indexes(const char *line, const int *indexes, int indexes_len, char **tmp_splited_csv,
                                    char *out)
{
    const int count = vantu_csv_split_line(line, tmp_splited_csv, MAX_FIELDS);
    for (int i = 0; i < indexes_len; i++) {
        if (indexes[i] > count)
            continue;
        if (indexes[i] >= 0 && tmp_splited_csv[indexes[i]] != nullptr)
            out = stpcpy(out, tmp_splited_csv[indexes[i]]);
        if (i != indexes_len - 1)
            *out++ = ',';
    }
    *out = '\0';
    return 0;
}

int vantu_csv_line_build_idx_array(sclist_t *table, int *idxs, char **headers, int headers_len)
{
    SCLIST_FOREACH(vantu_csv_table_row, row, table) {
        *idxs++ = vantu_csv_get_index_from_field_name(headers, headers_len, row->headername);
    }
    SCLIST_FOREACH_END(table);
    return 0;
}

int vantu_csv_line_to_table_struct(sclist_t *table, const int *idxs, char **csvline_splitted)
{
    SCLIST_FOREACH(vantu_csv_table_row, row, table) {
        const int index = *idxs++;
        if (index == -1) {
            log_trace("Error idx for field %s == -1", row->headername);
            continue;
        }
        const char *field = csvline_splitted[index];
        if (field == nullptr)
            break;
        read_value(*row, field);
    }
    SCLIST_FOREACH_END(table);
    return 0;
}

uint64_t _get_delta64(uint64_t a, uint64_t b)
{
    return get_delta64(a, b);
}

int brcm_timeval_diff(struct timeval a, struct timeval b)
{
    // Beyond this an int does not hold the time.
    constexpr long long most_seconds = INT_MAX / 100000;
    long long seconds = 0;
    if (__builtin_sub_overflow(a.tv_sec, b.tv_sec, &seconds))
        seconds = a.tv_sec > b.tv_sec ? LLONG_MAX : LLONG_MIN;
    if (seconds > most_seconds)
        return INT_MAX;
    if (seconds > 99)
        return static_cast<int>(seconds * 100000);
    // 32 bits: a clock that was set back by more than half an hour gives a time of either sign.
    const uint32_t microseconds =
        static_cast<uint32_t>(seconds) * 1000000U + static_cast<uint32_t>(a.tv_usec) - static_cast<uint32_t>(b.tv_usec);
    return static_cast<int32_t>(microseconds) / 10;
}

int vantu_merge_fpingdq_csv_files(const char *non_ping_path, const char *ping_path)
{
    const vantu::file_stream from(vantu::open_file(non_ping_path, "re"));
    if (from == nullptr)
        return -1;
    vantu::file_stream to(vantu::open_file(ping_path, "ae"));
    if (to == nullptr)
        return -1;
    if (same_file(from.get(), to.get())) {
        log_error("%s cannot be appended to itself", ping_path);
        return -1;
    }
    char line[1025];
    vantu::line_source lines(from.get(), vantu::most_lines(from.get()));
    while (lines.next(line)) {
        const auto length = static_cast<int>(strlen(line));
        (void)fprintf(to.get(), "%.*s\n", length > 0 ? length - 1 : 0, line);
    }
    const bool was_read = ferror(from.get()) == 0;
    if (!was_read)
        log_error("%s cannot be read: %s", non_ping_path, strerror(errno));
    if (!vantu::finish(std::move(to))) {
        log_error("failed to write file %s: %s", ping_path, strerror(errno));
        return -1;
    }
    return was_read && !lines.gave_up() ? 0 : -1;
}
