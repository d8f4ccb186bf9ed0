// Comma-separated text from records and back, driven by a table that says column by column where a value lives in a
// record, what type it has, and whether it is to become a difference to an earlier record.
#ifndef VANTU_LIBS2_CSV_H
#define VANTU_LIBS2_CSV_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// The most fields of a line, and the most characters of a field. Storage for fields has one more of each, which the
// splitter writes to: CSV_FIELD_SLOTS pointers to CSV_FIELD_SIZE characters.
#define MAX_FIELDS      256
#define MAX_FIELD_LEN   128
#define CSV_FIELD_SLOTS (MAX_FIELDS + 1)
#define CSV_FIELD_SIZE  (MAX_FIELD_LEN + 1)

// How a column's value is written and read.
typedef enum vantu_type {
    VANTU_TYPE_U64,    // "%llu"
    VANTU_TYPE_U32,    // "%u"
    VANTU_TYPE_STRING, // "%s"
    VANTU_TYPE_INT,    // "%d", 32 bits
    VANTU_TYPE_FLOAT   // "%.2f"
} vantu_type;

// What vantu_csv_table_do_operation does with a column.
typedef enum vantu_operation { VANTU_OPR_NONE, VANTU_OPR_DELTA } vantu_operation;

// One column. The value's field in the record may be narrower or wider than the type: `size` says how wide it is.
typedef struct vantu_csv_table_row {
    char headername[64];
    int type_id;   // a vantu_type
    int operation; // a vantu_operation
    void *dataptr; // the field, in the record that the table is bound to
    size_t size;   // of the field in bytes: 1, 2, 4 or 8 for a number; of the array for a text, 0 when not known
} vantu_csv_table_row;

// A split header line and a split data line. 132 KiB: not for a small stack.
typedef struct vantu_csv {
    int num_headers; // fields of the line that was split last, header or data
    int num_fields;  // written by nothing here
    char static_splited_header[CSV_FIELD_SLOTS][CSV_FIELD_SIZE];
    char *splited_header[CSV_FIELD_SLOTS];
    char static_tmp_splited_csv[CSV_FIELD_SLOTS][CSV_FIELD_SIZE];
    char *tmp_splited_csv[CSV_FIELD_SLOTS];
} vantu_csv;

// ---- Tables ----

// An empty table, a list of vantu_csv_table_row in column order. Sought by `headername` ignoring case; rows are equal
// when their names are identical. Returns 0; -1 when memory is short. sclist_destroy frees it.
int vantu_csv_init_csv_table(sclist_t *table);

// Appends a column whose field has its type's own width (for a text: not known, so that it is read without a bound
// other than the field length). Names are cut to 63 characters. Returns 1, or -1 as sclist_append.
int vantu_csv_add_table_row(sclist_t *list, const char *header, int type, void *dataptr, int opr);

// The same for a field of `size` bytes: a number of another width is widened with zeroes when it is written and cut
// when it is read; a text is cut to fit.
int vantu_csv_add_sized_table_row(sclist_t *list, const char *header, int type, void *dataptr, size_t size, int opr);

// Writes the column names, joined by commas, into `header`, which must be large enough: nothing checks. Returns 0.
int vantu_csv_get_header(sclist_t *table, char *header);

// Writes the bound record's values, joined by commas, into `csv`, which must be large enough. A column of an unknown
// type is empty and is logged. Returns 0.
int vantu_csv_table_to_csv(sclist_t *table, char *csv);

// Replaces each U64 column with VANTU_OPR_DELTA, in the record `data` that the table is bound to, by its difference
// to the same field of the earlier record `prev_data` (_get_delta64). U32 and unknown types with an operation are
// left alone and logged; other types are left alone. Returns 0.
int vantu_csv_table_do_operation(sclist_t *table, void *data, const void *prev_data);

// ---- Lines ----

// Splits a line at its commas into `fields`, each of CSV_FIELD_SIZE characters, and returns their number, at most
// max_fields; fields[max_fields] must be there too. An empty line is one empty field.
int vantu_csv_split_line(const char *csv_line, char **fields, int max_fields);

// Points the entries of a holder at its storage, which is emptied. Returns 0.
int vantu_csv_init_struct(vantu_csv *csv);

// Split a line into the header slots or the data slots; store the number of fields in num_headers (both do, on
// purpose) and return it.
int vantu_csv_fill_header(vantu_csv *csv, const char *csv_line);
int vantu_csv_fill_line(vantu_csv *csv, const char *csv_line);

// The index of a header, ignoring case, or -1.
int vantu_csv_get_index_from_field(vantu_csv *csv, const char *field);
int vantu_csv_get_index_from_field_name(char **header_fields, int num_fields, const char *field);

// The data field under a header. A missing header is logged (by the helper only when print_error is non-zero) and
// gives 1 with `out` untouched, 0.0 or 0. `out` must hold CSV_FIELD_SIZE characters. Numbers are decimal, 0 for other
// text. csv_len is not looked at.
int vantu_csv_get_string_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                   int csv_len, char *out);
float vantu_csv_get_float_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                    int csv_len);
int vantu_csv_get_int_from_name(char **header_fields, int num_header_fields, const char *field, char **splitted_csv,
                                int csv_len);
int vantu_csv_get_int_from_name_helper(char **header_fields, int num_header_fields, const char *field,
                                       char **splitted_csv, int csv_len, int print_error);

// The data fields under the given headers as floats, each read as an integer first, on purpose: 2.75 gives 2.0.
// Returns 0.
int vantu_csv_to_model_vector(char **header_fields, int num_header_fields, char **feature_fields,
                              int num_feature_fields, char **splitted_csv, int csv_len, float *floatdata);

// Splits `line` into tmp_splited_csv (CSV_FIELD_SLOTS fields) and joins the fields at the given indexes by commas in
// `out`, which must be large enough. An index equal to the number of fields gives what that slot held before, a
// negative one an empty text; a larger one gives nothing, not even a comma. Returns 0.
int vantu_csv_get_line_from_indexes(const char *line, const int *indexes, int indexes_len, char **tmp_splited_csv,
                                    char *out);

// ---- Lines into records ----

// idxs[i] becomes the index of column i among the headers, -1 when it is not there. Returns 0.
int vantu_csv_line_build_idx_array(sclist_t *table, int *idxs, char **headers, int headers_len);

// Stores the fields into the bound record: column i takes the field at idxs[i]. A column whose index is -1 is left
// alone (logged at trace level); a NULL field ends the walk. Returns 0.
int vantu_csv_line_to_table_struct(sclist_t *table, const int *idxs, char **csvline_splitted);

// ---- Differences and files ----

// b - a when b is greater, else 0.
uint64_t _get_delta64(uint64_t a, uint64_t b);

// The time from b to a in units of 10 microseconds. From 100 seconds on the microseconds are not looked at, and beyond
// what an int holds (21,474 seconds) the result stays at its largest. A negative time is calculated with 32 bits: from
// 2,147.5 seconds back on the result wraps around and may have either sign.
int brcm_timeval_diff(struct timeval a, struct timeval b);

// Appends the lines of the first file, each without its last character and with a line end, to the second. The last
// character is taken for the line end: a last line without one loses a character. Of a device, which may have no end,
// 16,384 lines are taken. Returns 0; -1 when a file cannot be opened, or, logged, when both are one file, the lines
// cannot all be read, or they cannot be written.
int vantu_merge_fpingdq_csv_files(const char *non_ping_path, const char *ping_path);

#ifdef __cplusplus
}
#endif

#endif
