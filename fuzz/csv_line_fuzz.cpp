// Splitting lines, and the fields under a header. The first byte limits the fields, the next are indexes; the rest, up
// to a line end, is the header, and then the line.

#include "fuzz.hpp"
#include "vantu-libs2/csv.h"

static std::string joined(char **fields, int count)
{
    std::string out;
    for (int i = 0; i < count; i++)
        out += (i > 0 ? "," : "") + std::string(fields[i]);
    return out;
}

// The longest field of a line that is kept whole.
static bool is_kept_whole(const std::string &line)
{
    size_t begin = 0;
    for (;;) {
        const size_t comma = line.find(',', begin);
        const bool last = comma == line.npos;
        const size_t length = (last ? line.size() : comma) - begin;
        if (length > (last ? MAX_FIELD_LEN - 1 : MAX_FIELD_LEN))
            return false;
        if (last)
            return true;
        begin = comma + 1;
    }
}

static void check_split(const vantu_csv &csv, int count, const std::string &line)
{
    const auto commas = static_cast<int>(std::count(line.begin(), line.end(), ','));
    REQUIRE(count == std::min(commas + 1, MAX_FIELDS));
    for (int i = 0; i < count; i++)
        REQUIRE(fuzz::is_terminated(csv.static_tmp_splited_csv[i]));
    if (count == commas + 1 && is_kept_whole(line))
        REQUIRE(joined(const_cast<char **>(csv.tmp_splited_csv), count) == line);
}

FUZZ_TARGET(std::string_view input)
{
    if (input.size() < 4)
        return;
    const int limit = static_cast<unsigned char>(input[0]) + 1;
    const int indexes[] = {static_cast<signed char>(input[1]), static_cast<unsigned char>(input[2]),
                           static_cast<unsigned char>(input[3])};
    const std::string text(input.substr(4));
    const std::string header = text.substr(0, text.find('\n')).c_str();
    const std::string line = header.size() < text.size() ? text.c_str() + header.size() + 1 : "";

    static vantu_csv csv;
    REQUIRE(vantu_csv_init_struct(&csv) == 0);
    const int few = vantu_csv_split_line(line.c_str(), csv.tmp_splited_csv, limit);
    REQUIRE(few >= 1 && few <= limit);
    const int headers = vantu_csv_fill_header(&csv, header.c_str());
    REQUIRE(headers >= 1 && headers <= MAX_FIELDS && csv.num_headers == headers);
    const int fields = vantu_csv_fill_line(&csv, line.c_str());
    check_split(csv, fields, line);

    char out[CSV_FIELD_SIZE];
    for (int i = 0; i < headers; i++) {
        const int found = vantu_csv_get_index_from_field_name(csv.splited_header, headers, csv.splited_header[i]);
        REQUIRE(found >= 0 && found <= i && strcasecmp(csv.splited_header[found], csv.splited_header[i]) == 0);
        REQUIRE(vantu_csv_get_string_from_name(csv.splited_header, headers, csv.splited_header[i], csv.tmp_splited_csv,
                                               fields, out) == 0);
        REQUIRE(strcmp(out, csv.tmp_splited_csv[found]) == 0);
        (void)vantu_csv_get_float_from_name(csv.splited_header, headers, csv.splited_header[i], csv.tmp_splited_csv,
                                            fields);
        float number = 0;
        REQUIRE(vantu_csv_to_model_vector(csv.splited_header, headers, &csv.splited_header[i], 1, csv.tmp_splited_csv,
                                          fields, &number) == 0);
        if (i == 8) // the names repeat what was seen
            break;
    }
    char some[3 * CSV_FIELD_SIZE];
    REQUIRE(vantu_csv_get_line_from_indexes(line.c_str(), indexes, 3, csv.tmp_splited_csv, some) == 0);
    REQUIRE(strlen(some) <= 3 * MAX_FIELD_LEN + 2);
}
