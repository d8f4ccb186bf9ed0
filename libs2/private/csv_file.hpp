// Reads a CSV file line by line: the header's fields first, then each line's, in storage of its own.
#pragma once

#include "stream.hpp"
#include "vantu-libs2/csv.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vantu
{

struct heap_deleter {
    void operator()(void *block) const { free(block); }
};
template <typename T>
using heap_ptr = std::unique_ptr<T, heap_deleter>;

// A zeroed block from the heap; null when memory is short.
template <typename T>
heap_ptr<T> new_zeroed()
{
    return heap_ptr<T>(static_cast<T *>(calloc(1, sizeof(T))));
}

struct csv_fields {
    char text[CSV_FIELD_SLOTS][CSV_FIELD_SIZE];
    char *at[CSV_FIELD_SLOTS];
    int count;  // fields of the line that was split last
    int filled; // slots that any line has filled

    // Splits a line into at most `limit` fields. The slots behind them are empty, so that a short line does not show an
    // earlier line's fields.
    void split(const char *line, int limit)
    {
        count = vantu_csv_split_line(line, at, limit);
        // A line with more fields than the limit fills the slot behind them, too.
        filled = std::max(filled, std::min(count + 1, CSV_FIELD_SLOTS));
        for (int i = count; i < filled; i++)
            text[i][0] = '\0';
    }
};

// Empty fields; null when memory is short.
inline heap_ptr<csv_fields> new_csv_fields()
{
    auto fields = new_zeroed<csv_fields>();
    for (int i = 0; fields != nullptr && i < CSV_FIELD_SLOTS; i++)
        fields->at[i] = fields->text[i];
    return fields;
}

class csv_file
{
public:
    explicit csv_file(const char *path)
        : path_(path), stream_(open_file(path, "re")), lines_(stream_.get(), most_lines(stream_.get())),
          header_(new_csv_fields()), fields_(new_csv_fields())
    {
    }

    bool is_open() const { return stream_ != nullptr && header_ != nullptr && fields_ != nullptr; }

    // Reads the header line; false when the file is empty.
    bool read_header()
    {
        if (!read_line())
            return false;
        header_->split(line_, MAX_FIELDS);
        return true;
    }

    // Reads and splits the next line, into at most as many fields as the header has; false at the end.
    bool read_row()
    {
        if (!read_line())
            return false;
        fields_->split(line_, header_->count);
        return true;
    }

    csv_fields &header() { return *header_; }
    csv_fields &fields() { return *fields_; }
    const char *line() const { return line_; }

    // The fields that the line has, also beyond the limit.
    int fields_of_line() const
    {
        int commas = 0;
        for (const char *at = line_; *at != '\0'; at++)
            commas += *at == ',' ? 1 : 0;
        return commas + 1;
    }

private:
    bool read_line()
    {
        if (!lines_.next(line_)) {
            if (ferror(stream_.get()) != 0)
                log_error("%s cannot be read: %s", path_, strerror(errno));
            return false;
        }
        line_[strcspn(line_, "\n")] = '\0';
        return true;
    }

    const char *path_;
    file_stream stream_;
    line_source lines_;
    heap_ptr<csv_fields> header_;
    heap_ptr<csv_fields> fields_;
    char line_[8193];
};

} // namespace vantu
