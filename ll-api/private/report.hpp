// A report as a table: each line of a tool's output is tried against the rows in order, and the first that yields
// exactly its number of items stores them. Lines that no row takes are passed over.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vantu
{

// What a row's pattern yielded: up to four numbers, or a text.
struct scanned {
    long long number[4];
    char text[256];
};

template <typename Record>
struct report_line {
    const char *pattern; // for sscanf; numbers as %lld, a text as %[...]
    int items;
    void (*store)(Record &out, const scanned &in);
};

// True when the line yields exactly `items`.
inline bool scan_line(const char *line, const char *pattern, int items, scanned &out)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (strstr(pattern, "%[") != nullptr)
        return sscanf(line, pattern, out.text) == items;
    auto &n = out.number;
    return sscanf(line, pattern, &n[0], &n[1], &n[2], &n[3]) == items;
#pragma GCC diagnostic pop
}

template <typename Record, size_t Rows>
void take_line(const report_line<Record> (&table)[Rows], const char *line, Record &out)
{
    scanned in;
    for (const report_line<Record> &row : table) {
        if (scan_line(line, row.pattern, row.items, in)) {
            row.store(out, in);
            return;
        }
    }
}

} // namespace vantu
