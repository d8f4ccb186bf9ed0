// The columns of a table as a constexpr array, bound to a record by one call:
//
//     constexpr vantu::csv_column columns[] = {
//         CSV_COLUMN("time", U64, NONE, vantu_radio_stats, time),
//     };
//     vantu::bind_columns(table, columns, &record);
#pragma once

#include "vantu-libs2/csv.h"

#include <cstddef>

namespace vantu
{

struct csv_column {
    const char *name;
    vantu_type type;
    vantu_operation operation;
    size_t place; // of the field in its record
    size_t size;
};

#define CSV_COLUMN(name, type, operation, record, member)                         \
    {                                                                             \
        name, VANTU_TYPE_##type, VANTU_OPR_##operation, offsetof(record, member), \
            sizeof(static_cast<record *>(nullptr)->member)                        \
    }

// Appends the columns, bound to `record`.
template <size_t N>
void bind_columns(sclist_t *table, const csv_column (&columns)[N], void *record)
{
    for (const csv_column &column : columns)
        (void)vantu_csv_add_sized_table_row(table, column.name, column.type, static_cast<char *>(record) + column.place,
                                            column.size, column.operation);
}

} // namespace vantu
