// CSV tables, lines, lookups and files: each operation by its rows, whole files as stored pairs, random tables and
// lines against plain models.

#include "vantu-libs2/csv.h"

#include "csv_columns.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

// A text of different characters, none of them a comma.
std::string field(size_t length, char first = 'a')
{
    std::string text(length, first);
    for (size_t i = 0; i < length; i++)
        text[i] = static_cast<char>('a' + (static_cast<size_t>(first - 'a') + i) % 26);
    return text;
}

// A text in memory of its exact size, so that a sanitizer sees a look behind its end.
std::vector<char> exact(const std::string &text)
{
    std::vector<char> out(text.begin(), text.end());
    out.push_back('\0');
    out.shrink_to_fit();
    return out;
}

// Storage for split fields, each a block of its own of exactly the size that a field may need.
class slots
{
public:
    explicit slots(size_t count = CSV_FIELD_SLOTS)
    {
        for (size_t i = 0; i < count; i++) {
            blocks_.push_back(std::make_unique<char[]>(CSV_FIELD_SIZE));
            at_.push_back(blocks_.back().get());
        }
        fill("");
    }
    explicit slots(const texts &fields) : slots(fields.size())
    {
        for (size_t i = 0; i < fields.size(); i++)
            memcpy(at_[i], fields[i].c_str(), fields[i].size() + 1);
    }

    void fill(const std::string &text)
    {
        for (char *each : at_)
            memcpy(each, text.c_str(), text.size() + 1);
    }

    texts first(int count) const { return {at_.begin(), at_.begin() + count}; }
    std::string operator[](size_t index) const { return at_[index]; }
    char **data() { return at_.data(); }
    int size() const { return static_cast<int>(at_.size()); }

private:
    std::vector<std::unique_ptr<char[]>> blocks_;
    std::vector<char *> at_;
};

using table = support::list<vantu_csv_init_csv_table>;

std::string header_of(sclist_t &of)
{
    std::vector<char> out(65 * sclist_size(&of) + 1, '#');
    EXPECT_EQ(vantu_csv_get_header(&of, out.data()), 0);
    return out.data();
}

std::string line_of(sclist_t &of)
{
    std::vector<char> out(1024 * sclist_size(&of) + 1, '#');
    EXPECT_EQ(vantu_csv_table_to_csv(&of, out.data()), 0);
    return out.data();
}

// Stores fields through a table, column i from field i.
void store_fields(sclist_t &of, const texts &fields)
{
    slots storage(fields);
    std::vector<int> idxs(fields.size());
    for (size_t i = 0; i < idxs.size(); i++)
        idxs[i] = static_cast<int>(i);
    EXPECT_EQ(vantu_csv_line_to_table_struct(&of, idxs.data(), storage.data()), 0);
}

// ---- Types and storage ----

TEST(CsvTypes, NumbersOfTypesAndOperations)
{
    EXPECT_EQ(VANTU_TYPE_U64, 0);
    EXPECT_EQ(VANTU_TYPE_U32, 1);
    EXPECT_EQ(VANTU_TYPE_STRING, 2);
    EXPECT_EQ(VANTU_TYPE_INT, 3);
    EXPECT_EQ(VANTU_TYPE_FLOAT, 4);
    EXPECT_EQ(VANTU_OPR_NONE, 0);
    EXPECT_EQ(VANTU_OPR_DELTA, 1);
}

TEST(CsvTypes, StorageHasOneFieldAndOneCharacterMoreThanTheLimits)
{
    static const vantu_csv csv = {};
    EXPECT_EQ(MAX_FIELDS, 256);
    EXPECT_EQ(MAX_FIELD_LEN, 128);
    EXPECT_EQ(std::size(csv.splited_header), 257U);
    EXPECT_EQ(std::size(csv.tmp_splited_csv), 257U);
    EXPECT_EQ(sizeof(csv.static_splited_header), 257U * 129U);
    EXPECT_EQ(sizeof(csv.static_tmp_splited_csv), 257U * 129U);
    EXPECT_EQ(sizeof(vantu_csv_table_row::headername), 64U);
}

// ---- Building a table ----

TEST(CsvTable, NewOneIsAnEmptyListThatCopiesItsRows)
{
    sclist_t list;
    memset(&list, 0x5a, sizeof(list));
    ASSERT_EQ(vantu_csv_init_csv_table(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(list.attrs.copy_data, 1);
    EXPECT_EQ(list.attrs.meter(nullptr), sizeof(vantu_csv_table_row));
    sclist_destroy(&list);
}

TEST(CsvTable, AddAppendsARowAndReturnsOne)
{
    table columns;
    uint64_t number = 0;
    char text[20] = "";
    EXPECT_EQ(vantu_csv_add_table_row(&columns, "rx_bytes", VANTU_TYPE_U64, &number, VANTU_OPR_DELTA), 1);
    EXPECT_EQ(vantu_csv_add_sized_table_row(&columns, "mac", VANTU_TYPE_STRING, text, sizeof(text), VANTU_OPR_NONE), 1);
    ASSERT_EQ(sclist_size(&columns), 2U);
    const auto *row = static_cast<const vantu_csv_table_row *>(sclist_get_at(&columns, 0));
    EXPECT_STREQ(row->headername, "rx_bytes");
    EXPECT_EQ(row->type_id, VANTU_TYPE_U64);
    EXPECT_EQ(row->operation, VANTU_OPR_DELTA);
    EXPECT_EQ(row->dataptr, &number);
    row = static_cast<const vantu_csv_table_row *>(sclist_get_at(&columns, 1));
    EXPECT_STREQ(row->headername, "mac");
    EXPECT_EQ(row->type_id, VANTU_TYPE_STRING);
    EXPECT_EQ(row->operation, VANTU_OPR_NONE);
    EXPECT_EQ(row->dataptr, text);
    EXPECT_EQ(row->size, 20U);
}

TEST(CsvTable, AddWithoutASizeTakesTheTypesOwn)
{
    const struct {
        int type;
        size_t size;
    } rows[] = {
        {VANTU_TYPE_U64, 8},   {VANTU_TYPE_U32, 4},    {VANTU_TYPE_INT, 4},
        {VANTU_TYPE_FLOAT, 4}, {VANTU_TYPE_STRING, 0}, // an array of any size
    };
    table columns;
    uint64_t number = 0;
    for (const auto &row : rows) {
        ASSERT_EQ(vantu_csv_add_table_row(&columns, "x", row.type, &number, VANTU_OPR_NONE), 1);
        const unsigned last = sclist_size(&columns) - 1;
        EXPECT_EQ(static_cast<vantu_csv_table_row *>(sclist_get_at(&columns, last))->size, row.size) << row.type;
    }
}

TEST(CsvTable, AddIsRefusedDuringAWalk)
{
    table columns;
    uint64_t number = 0;
    ASSERT_EQ(sclist_iterator_start(&columns), 1);
    EXPECT_EQ(vantu_csv_add_table_row(&columns, "x", VANTU_TYPE_U64, &number, VANTU_OPR_NONE), -1);
    EXPECT_EQ(vantu_csv_add_sized_table_row(&columns, "x", VANTU_TYPE_U64, &number, 8, VANTU_OPR_NONE), -1);
    EXPECT_EQ(sclist_iterator_stop(&columns), 1);
    EXPECT_EQ(sclist_size(&columns), 0U);
}

TEST(CsvTable, NamesKeep63Characters)
{
    for (const size_t length : {0U, 1U, 62U, 63U, 64U, 200U}) {
        table columns;
        uint64_t number = 0;
        const std::vector<char> name = exact(field(length));
        ASSERT_EQ(vantu_csv_add_table_row(&columns, name.data(), VANTU_TYPE_U64, &number, VANTU_OPR_NONE), 1);
        EXPECT_EQ(header_of(columns), field(length).substr(0, 63)) << length;
        const auto *row = static_cast<const vantu_csv_table_row *>(sclist_get_at(&columns, 0));
        EXPECT_TRUE(std::all_of(row->headername + std::min<size_t>(length, 63), std::end(row->headername), [](char c) {
            return c == '\0';
        })) << length;
    }
}

TEST(CsvTable, RowsAreSoughtIgnoringCaseAndEqualWithIt)
{
    table columns;
    uint64_t number = 0;
    for (const char *name : {"Time", "rx_bytes", "RX_BYTES"})
        ASSERT_EQ(vantu_csv_add_table_row(&columns, name, VANTU_TYPE_U64, &number, VANTU_OPR_NONE), 1);
    EXPECT_EQ(sclist_seek(&columns, "time"), sclist_get_at(&columns, 0));
    EXPECT_EQ(sclist_seek(&columns, "Rx_Bytes"), sclist_get_at(&columns, 1));
    EXPECT_EQ(sclist_seek(&columns, "rx_byte"), nullptr);
    EXPECT_EQ(sclist_seek(&columns, ""), nullptr);

    vantu_csv_table_row row = {};
    const struct {
        const char *name;
        int position;
    } rows[] = {{"Time", 0}, {"time", -1}, {"rx_bytes", 1}, {"RX_BYTES", 2}, {"Rx_Bytes", -1}};
    for (const auto &each : rows) {
        (void)snprintf(row.headername, sizeof(row.headername), "%s", each.name);
        EXPECT_EQ(sclist_locate(&columns, &row), each.position) << each.name;
    }
}

// ---- Header and line ----

TEST(CsvTable, HeaderAndLineOfARecord)
{
    uint64_t a = 5;
    float b = 0.5F;
    table columns;
    vantu_csv_add_table_row(&columns, "a", VANTU_TYPE_U64, &a, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "b", VANTU_TYPE_FLOAT, &b, VANTU_OPR_NONE);
    EXPECT_EQ(header_of(columns), "a,b");
    EXPECT_EQ(line_of(columns), "5,0.50");
    a = 6; // the table is bound to the record, not to its values
    EXPECT_EQ(line_of(columns), "6,0.50");
}

TEST(CsvTable, EmptyOneGivesAnEmptyHeaderAndLine)
{
    table columns;
    EXPECT_EQ(header_of(columns), "");
    EXPECT_EQ(line_of(columns), "");
}

TEST(CsvTable, OneColumnHasNoSeparator)
{
    int a = -7;
    table columns;
    vantu_csv_add_table_row(&columns, "a", VANTU_TYPE_INT, &a, VANTU_OPR_NONE);
    EXPECT_EQ(header_of(columns), "a");
    EXPECT_EQ(line_of(columns), "-7");
}

TEST(CsvTable, ColumnOfUnknownTypeIsEmptyWithItsSeparatorAndLogged)
{
    uint64_t number = 5;
    const struct {
        const char *name;
        std::vector<int> types;
        std::string line;
        texts log;
    } rows[] = {
        {"first", {5, 0}, ",5", {"ERROR vantu_csv_table_to_csv Could not convert field c0%n"}},
        {"last", {0, -1}, "5,", {"ERROR vantu_csv_table_to_csv Could not convert field c1%n"}},
        {"middle", {0, 99, 0}, "5,,5", {"ERROR vantu_csv_table_to_csv Could not convert field c1%n"}},
        {"alone", {5}, "", {"ERROR vantu_csv_table_to_csv Could not convert field c0%n"}},
        {"two",
         {INT_MAX, INT_MIN},
         ",",
         {"ERROR vantu_csv_table_to_csv Could not convert field c0%n",
          "ERROR vantu_csv_table_to_csv Could not convert field c1%n"}},
    };
    for (const auto &row : rows) {
        table columns;
        for (size_t i = 0; i < row.types.size(); i++)
            vantu_csv_add_table_row(&columns, ("c" + std::to_string(i) + "%n").c_str(), row.types[i], &number,
                                    VANTU_OPR_NONE);
        log_capture log;
        EXPECT_EQ(line_of(columns), row.line) << row.name;
        EXPECT_EQ(log.lines, row.log) << row.name;
    }
}

TEST(CsvTable, ReadingIntoAColumnOfUnknownTypeTouchesNothing)
{
    uint64_t number = 5;
    table columns;
    vantu_csv_add_table_row(&columns, "x", 5, &number, VANTU_OPR_NONE);
    log_capture log;
    store_fields(columns, {"77"});
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(log.lines, texts{});
}

// A field of any type with bytes around it that nobody may touch.
template <typename T>
struct guarded {
    unsigned char before[8];
    T value;
    unsigned char after[8];

    explicit guarded(T initial)
    {
        memset(static_cast<void *>(this), 0xa5, sizeof(*this));
        value = initial;
    }
    bool intact() const
    {
        const auto is_guard = [](unsigned char byte) { return byte == 0xa5; };
        return std::all_of(std::begin(before), std::end(before), is_guard) &&
               std::all_of(std::begin(after), std::end(after), is_guard);
    }
};

// The line that a field of type T gives under a column of the given type.
template <typename T>
void expect_written(int type, T value, const std::string &line)
{
    guarded<T> record(value);
    table columns;
    vantu_csv_add_sized_table_row(&columns, "x", type, &record.value, sizeof(T), VANTU_OPR_NONE);
    EXPECT_EQ(line_of(columns), line) << "type " << type << ", " << sizeof(T) << " bytes";
    EXPECT_EQ(memcmp(&record.value, &value, sizeof(T)), 0) << line;
    EXPECT_TRUE(record.intact()) << line;
}

TEST(CsvColumn, NumberIsWrittenWithZeroesBeforeItAndCutToTheType)
{
    expect_written<uint64_t>(VANTU_TYPE_U64, 0, "0");
    expect_written<uint64_t>(VANTU_TYPE_U64, UINT64_MAX, "18446744073709551615");
    expect_written<uint64_t>(VANTU_TYPE_U64, uint64_t{1} << 63U, "9223372036854775808");
    expect_written<int32_t>(VANTU_TYPE_U64, 7, "7");
    expect_written<int32_t>(VANTU_TYPE_U64, -1, "4294967295");
    expect_written<uint16_t>(VANTU_TYPE_U64, 65535, "65535");
    expect_written<uint8_t>(VANTU_TYPE_U64, 255, "255");

    expect_written<uint32_t>(VANTU_TYPE_U32, UINT32_MAX, "4294967295");
    expect_written<uint8_t>(VANTU_TYPE_U32, 200, "200");
    expect_written<uint16_t>(VANTU_TYPE_U32, 40000, "40000");
    expect_written<uint64_t>(VANTU_TYPE_U32, 0x1200000005U, "5");

    expect_written<int32_t>(VANTU_TYPE_INT, 0, "0");
    expect_written<int32_t>(VANTU_TYPE_INT, -1, "-1");
    expect_written<int32_t>(VANTU_TYPE_INT, INT_MAX, "2147483647");
    expect_written<int32_t>(VANTU_TYPE_INT, INT_MIN, "-2147483648");
    expect_written<uint8_t>(VANTU_TYPE_INT, 160, "160");
    expect_written<uint8_t>(VANTU_TYPE_INT, 255, "255");
    expect_written<uint16_t>(VANTU_TYPE_INT, 65535, "65535");
    expect_written<uint64_t>(VANTU_TYPE_INT, 5, "5");
    expect_written<uint64_t>(VANTU_TYPE_INT, 0x1200000005U, "5");
    expect_written<uint64_t>(VANTU_TYPE_INT, 0x12ffffffffU, "-1");
}

TEST(CsvColumn, FloatIsWrittenWithTwoDecimals)
{
    const struct {
        float value;
        const char *line;
    } rows[] = {
        {0.0F, "0.00"},
        {-0.0F, "-0.00"},
        {0.5F, "0.50"},
        {0.125F, "0.12"}, // half to even
        {0.375F, "0.38"},
        {-60.004F, "-60.00"},
        {-0.001F, "-0.00"},
        {15000.0F, "15000.00"},
        {999.999F, "1000.00"},
        {16777216.0F, "16777216.00"},
        {FLT_MAX, "340282346638528859811704183484516925440.00"},
        {-FLT_MAX, "-340282346638528859811704183484516925440.00"},
        {std::numeric_limits<float>::infinity(), "inf"},
    };
    for (const auto &row : rows)
        expect_written<float>(VANTU_TYPE_FLOAT, row.value, row.line);
}

TEST(CsvColumn, TextIsWrittenWithWhatWouldEndItsFieldReplaced)
{
    using text = std::array<char, 8>;
    expect_written<text>(VANTU_TYPE_STRING, text{}, "");
    expect_written<text>(VANTU_TYPE_STRING, text{"wl0"}, "wl0");
    expect_written<text>(VANTU_TYPE_STRING, text{"1234567"}, "1234567");
    expect_written<text>(VANTU_TYPE_STRING, text{"%n%s"}, "%n%s");
    expect_written<text>(VANTU_TYPE_STRING, text{"\xff\xc0\r\""}, "\xff\xc0__");
    expect_written<text>(VANTU_TYPE_STRING, text{"a,b"}, "a_b");
}

TEST(CsvColumn, TextWithoutItsTerminatorIsWrittenUpToTheFieldsEnd)
{
    struct {
        char text[4];
        char behind[8];
    } record = {{'a', 'b', 'c', 'd'}, "behind"};
    table columns;
    vantu_csv_add_sized_table_row(&columns, "x", VANTU_TYPE_STRING, record.text, sizeof(record.text), VANTU_OPR_NONE);
    EXPECT_EQ(line_of(columns), "abcd");
}

// What a text stores in a field of type T under a column of the given type.
template <typename T>
void expect_read(int type, const std::string &text, T value)
{
    for (const int filled : {0x00, 0xff, 0x37}) {
        guarded<T> record(T{});
        memset(&record.value, filled, sizeof(T));
        table columns;
        vantu_csv_add_sized_table_row(&columns, "x", type, &record.value, sizeof(T), VANTU_OPR_NONE);
        store_fields(columns, {text});
        EXPECT_EQ(memcmp(&record.value, &value, sizeof(T)), 0)
            << "'" << text << "' under type " << type << " in " << sizeof(T) << " bytes";
        EXPECT_TRUE(record.intact()) << "'" << text << "' under type " << type << " in " << sizeof(T) << " bytes";
    }
}

TEST(CsvColumn, NumberIsReadAndCutToTheField)
{
    expect_read<uint64_t>(VANTU_TYPE_U64, "5", 5);
    expect_read<uint64_t>(VANTU_TYPE_U64, "9223372036854775807", INT64_MAX);
    expect_read<uint64_t>(VANTU_TYPE_U64, "9223372036854775808", uint64_t{1} << 63U);
    expect_read<uint64_t>(VANTU_TYPE_U64, "18446744073709551615", UINT64_MAX);
    expect_read<uint64_t>(VANTU_TYPE_U64, "18446744073709551616", UINT64_MAX);
    expect_read<uint64_t>(VANTU_TYPE_U64, "-1", UINT64_MAX);
    expect_read<int32_t>(VANTU_TYPE_U64, "7", 7);
    expect_read<int32_t>(VANTU_TYPE_U64, "4294967295", -1);
    expect_read<int32_t>(VANTU_TYPE_U64, "4294967301", 5);
    expect_read<uint16_t>(VANTU_TYPE_U64, "65537", 1);
    expect_read<uint8_t>(VANTU_TYPE_U64, "257", 1);

    expect_read<uint32_t>(VANTU_TYPE_U32, "4294967295", UINT32_MAX);
    expect_read<uint32_t>(VANTU_TYPE_U32, "4294967297", 1);
    expect_read<uint32_t>(VANTU_TYPE_U32, "-1", UINT32_MAX);
    expect_read<uint8_t>(VANTU_TYPE_U32, "200", 200);
    expect_read<uint64_t>(VANTU_TYPE_U32, "4294967295", UINT32_MAX);

    expect_read<int32_t>(VANTU_TYPE_INT, "-1", -1);
    expect_read<int32_t>(VANTU_TYPE_INT, "-2147483648", INT_MIN);
    expect_read<int32_t>(VANTU_TYPE_INT, "2147483647", INT_MAX);
    expect_read<int32_t>(VANTU_TYPE_INT, "2147483648", INT_MIN);
    expect_read<int32_t>(VANTU_TYPE_INT, "4294967301", 5);
    expect_read<uint8_t>(VANTU_TYPE_INT, "160", 160);
    expect_read<uint8_t>(VANTU_TYPE_INT, "300", 44);
    expect_read<uint8_t>(VANTU_TYPE_INT, "-1", 255);
    expect_read<uint16_t>(VANTU_TYPE_INT, "65536", 0);
    expect_read<uint64_t>(VANTU_TYPE_INT, "5", 5);
    expect_read<uint64_t>(VANTU_TYPE_INT, "2147483647", INT_MAX);
}

TEST(CsvColumn, NumberOf32BitsIsCutBeforeItIsStoredInAWiderField)
{
    expect_read<uint64_t>(VANTU_TYPE_U32, "4294967301", 5);
    expect_read<uint64_t>(VANTU_TYPE_INT, "4294967301", 5);
}

TEST(CsvColumn, NumberIsTheDecimalOneAtTheBeginningOfItsText)
{
    const struct {
        const char *text;
        int32_t number;
        float fraction;
    } rows[] = {
        {"", 0, 0.0F},         {"0", 0, 0.0F},     {"12", 12, 12.0F},   {"007", 7, 7.0F},   {"+5", 5, 5.0F},
        {"-5", -5, -5.0F},     {" 12", 12, 12.0F}, {"\t12", 12, 12.0F}, {"12 ", 12, 12.0F}, {"12\r", 12, 12.0F},
        {"12abc", 12, 12.0F},  {"abc", 0, 0.0F},   {"-", 0, 0.0F},      {"- 5", 0, 0.0F},   {"2.75", 2, 2.75F},
        {"-2.75", -2, -2.75F}, {".5", 0, 0.5F},    {"1e3", 1, 1000.0F}, {"1e", 1, 1.0F},    {"%n", 0, 0.0F},
        {"1;2", 1, 1.0F},      {"\xff", 0, 0.0F},  {"--5", 0, 0.0F},
    };
    for (const auto &row : rows) {
        expect_read<int32_t>(VANTU_TYPE_INT, row.text, row.number);
        expect_read<uint64_t>(VANTU_TYPE_U64, row.text, static_cast<uint64_t>(int64_t{row.number}));
        expect_read<float>(VANTU_TYPE_FLOAT, row.text, row.fraction);
    }
    expect_read<float>(VANTU_TYPE_FLOAT, "1e99", std::numeric_limits<float>::infinity());
    expect_read<float>(VANTU_TYPE_FLOAT, "340282346638528859811704183484516925440.00", FLT_MAX);
}

// Reads a text into a STRING column of `size` bytes; a size of 0 is not known.
std::string read_text(const std::string &text, size_t size)
{
    struct {
        char before[16];
        char text[CSV_FIELD_SIZE];
        char after[16];
    } record;
    memset(&record, '#', sizeof(record));
    table columns;
    vantu_csv_add_sized_table_row(&columns, "x", VANTU_TYPE_STRING, record.text, size, VANTU_OPR_NONE);
    store_fields(columns, {text});
    const size_t written = size == 0 ? text.size() + 1 : std::min(text.size() + 1, size);
    const auto is_guard = [](char c) { return c == '#'; };
    EXPECT_TRUE(std::all_of(std::begin(record.before), std::end(record.before), is_guard)) << text;
    EXPECT_TRUE(std::all_of(record.text + written, std::end(record.text), is_guard)) << text;
    EXPECT_TRUE(std::all_of(std::begin(record.after), std::end(record.after), is_guard)) << text;
    return record.text;
}

TEST(CsvColumn, TextIsCutToItsField)
{
    const struct {
        const char *name;
        size_t length;
        size_t size;
        size_t kept;
    } rows[] = {
        {"empty", 0, 20, 0},
        {"short", 3, 20, 3},
        {"exactly full", 19, 20, 19},
        {"one too long", 20, 20, 19},
        {"much too long", 128, 20, 19},
        {"room for the terminator only", 5, 1, 0},
        {"a field's longest", 128, 129, 128},
        {"a field's longest, cut", 128, 128, 127},
        {"size not known", 128, 0, 128},
        {"size not known, empty", 0, 0, 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(read_text(field(row.length), row.size), field(row.length).substr(0, row.kept)) << row.name;
}

TEST(CsvColumn, TextOfAnUnsizedRowIsNotCut)
{
    char text[CSV_FIELD_SIZE] = "";
    table columns;
    vantu_csv_add_table_row(&columns, "x", VANTU_TYPE_STRING, text, VANTU_OPR_NONE);
    store_fields(columns, {field(128)});
    EXPECT_EQ(text, field(128));
}

// A text as a line shows it.
std::string in_a_line(std::string text)
{
    for (char &c : text)
        c = iscntrl(static_cast<unsigned char>(c)) != 0 || c == ',' || c == '"' ? '_' : c;
    return text;
}

const texts hostile_texts = {
    "",       field(19),      field(20),     field(128), "\r",   "a\r", "\"",         "\"quoted\"", "it's", "%n",
    "%s%s%s", "$(id)",        "`id`",        ";id",      "|",    "\\",  "=1+1",       "@SUM(A1)",   "-2+3", "\xff\xfe",
    "\xc3",   "\xed\xa0\x80", "\x1b[31mred", "\x7f",     "\x01", " ",   "  blanks  ", "\t",         "NULL", "../../etc",
};

TEST(CsvColumn, HostileTextStaysOneFieldOfALine)
{
    for (const std::string &text : hostile_texts) {
        guarded<std::array<char, 20>> from({});
        guarded<std::array<char, 20>> to({});
        const size_t kept = std::min<size_t>(text.size(), 19);
        memcpy(from.value.data(), text.data(), kept);
        uint64_t number = 7;
        table out;
        vantu_csv_add_sized_table_row(&out, "text", VANTU_TYPE_STRING, &from.value, 20, VANTU_OPR_NONE);
        vantu_csv_add_table_row(&out, "number", VANTU_TYPE_U64, &number, VANTU_OPR_NONE);
        const std::string line = line_of(out);
        const std::string shown = in_a_line(text.substr(0, kept));
        EXPECT_EQ(line, shown + ",7");

        slots fields;
        ASSERT_EQ(vantu_csv_split_line(line.c_str(), fields.data(), MAX_FIELDS), 2) << printable(text);
        table in;
        vantu_csv_add_sized_table_row(&in, "text", VANTU_TYPE_STRING, &to.value, 20, VANTU_OPR_NONE);
        const int idxs[] = {0};
        vantu_csv_line_to_table_struct(&in, idxs, fields.data());
        EXPECT_STREQ(to.value.data(), shown.c_str()) << printable(text);
        EXPECT_TRUE(from.intact() && to.intact()) << printable(text);
    }
}

TEST(CsvColumn, CommasQuotesAndControlCharactersInATextAreReplaced)
{
    const struct {
        std::string text;
        std::string written;
    } rows[] = {
        {"a,b", "a_b"},           {",", "_"},  {",,,,", "____"},
        {"a\nb", "a_b"},          {"\n", "_"}, {"a\r\n", "a__"},
        {"x,\"y\",z", "x__y__z"}, {"\"", "_"}, {"\t\x1b[m\x7f", "__[m_"},
        {"\x01\x1f ~", "__ ~"},
    };
    for (const auto &[text, written] : rows) {
        guarded<std::array<char, 20>> record({});
        memcpy(record.value.data(), text.data(), text.size());
        table columns;
        vantu_csv_add_sized_table_row(&columns, "text", VANTU_TYPE_STRING, &record.value, 20, VANTU_OPR_NONE);
        const std::string line = line_of(columns);
        EXPECT_EQ(line, written) << printable(text);
        slots fields;
        const int count = vantu_csv_split_line(line.c_str(), fields.data(), MAX_FIELDS);
        EXPECT_EQ(count, 1) << printable(text);
        store_fields(columns, fields.first(1));
        EXPECT_EQ(record.value.data(), written) << printable(text);
        EXPECT_TRUE(record.intact()) << printable(text);
    }
}

// ---- Operations ----

TEST(CsvOperation, DeltaOfA64BitCounter)
{
    const struct {
        uint64_t previous;
        uint64_t current;
        uint64_t delta;
    } rows[] = {
        {100, 250, 150},
        {250, 100, 0},
        {100, 100, 0},
        {0, 0, 0},
        {0, UINT64_MAX, UINT64_MAX},
        {UINT64_MAX, 0, 0},
        {UINT64_MAX, 5, 0},
        {UINT64_MAX - 1, UINT64_MAX, 1},
        {INT64_MAX, uint64_t{INT64_MAX} + 1, 1},
        {1, 0, 0},
        {UINT32_MAX, uint64_t{UINT32_MAX} + 1, 1},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(_get_delta64(row.previous, row.current), row.delta) << row.previous << " " << row.current;
        uint64_t previous = row.previous;
        uint64_t current = row.current;
        table columns;
        vantu_csv_add_table_row(&columns, "x", VANTU_TYPE_U64, &current, VANTU_OPR_DELTA);
        log_capture log;
        EXPECT_EQ(vantu_csv_table_do_operation(&columns, &current, &previous), 0);
        EXPECT_EQ(current, row.delta) << row.previous << " " << row.current;
        EXPECT_EQ(previous, row.previous);
        EXPECT_EQ(log.lines, texts{});
    }
}

TEST(CsvOperation, WhichColumnsChangeAndWhichAreLogged)
{
    const texts complaint = {"ERROR vantu_csv_table_do_operation Could not do operation field c%n"};
    const struct {
        const char *name;
        int type;
        int operation;
        uint64_t result; // of 100 before and 250 now
        texts log;
    } rows[] = {
        {"U64 none", VANTU_TYPE_U64, VANTU_OPR_NONE, 250, {}},
        {"U64 delta", VANTU_TYPE_U64, VANTU_OPR_DELTA, 150, {}},
        {"U64 another", VANTU_TYPE_U64, 2, 250, {}},
        {"U64 negative", VANTU_TYPE_U64, -1, 250, {}},
        {"U32 none", VANTU_TYPE_U32, VANTU_OPR_NONE, 250, {}},
        {"U32 delta", VANTU_TYPE_U32, VANTU_OPR_DELTA, 250, complaint},
        {"U32 another", VANTU_TYPE_U32, 2, 250, complaint},
        {"STRING delta", VANTU_TYPE_STRING, VANTU_OPR_DELTA, 250, {}},
        {"STRING another", VANTU_TYPE_STRING, 2, 250, {}},
        {"INT delta", VANTU_TYPE_INT, VANTU_OPR_DELTA, 250, {}},
        {"INT another", VANTU_TYPE_INT, 2, 250, {}},
        {"FLOAT delta", VANTU_TYPE_FLOAT, VANTU_OPR_DELTA, 250, {}},
        {"FLOAT another", VANTU_TYPE_FLOAT, 2, 250, {}},
        {"unknown none", 5, VANTU_OPR_NONE, 250, {}},
        {"unknown delta", 5, VANTU_OPR_DELTA, 250, complaint},
        {"unknown negative", -1, VANTU_OPR_DELTA, 250, complaint},
    };
    for (const auto &row : rows) {
        uint64_t previous = 100;
        uint64_t current = 250;
        table columns;
        vantu_csv_add_table_row(&columns, "c%n", row.type, &current, row.operation);
        log_capture log;
        EXPECT_EQ(vantu_csv_table_do_operation(&columns, &current, &previous), 0) << row.name;
        EXPECT_EQ(current, row.result) << row.name;
        EXPECT_EQ(previous, 100U) << row.name;
        EXPECT_EQ(log.lines, row.log) << row.name;
    }
}

// A station sample keeps its delta_time in 32 bits under a U64 column.
struct narrow_sample {
    uint64_t time;
    unsigned char before[4];
    int32_t delta_time;
    unsigned char after[4];
    uint16_t small;
    uint8_t smaller;
    unsigned char behind;
};

TEST(CsvOperation, DeltaOfANarrowFieldTouchesOnlyTheField)
{
    const struct {
        const char *name;
        int32_t previous;
        int32_t current;
        int32_t delta;
    } rows[] = {
        {"grown", 100, 250, 150},
        {"shrunk", 250, 100, 0},
        {"equal", 100, 100, 0},
        {"a negative one counts as large", 100, -1, -101},
        {"from a negative one to a positive", -1, 100, 0},
        {"between negative ones", -5, -2, 3},
    };
    for (const auto &row : rows) {
        narrow_sample previous;
        narrow_sample current;
        memset(&previous, 0x11, sizeof(previous));
        memset(&current, 0xa5, sizeof(current));
        previous.delta_time = row.previous;
        current.delta_time = row.current;
        previous.small = 10;
        current.small = 65535;
        previous.smaller = 250;
        current.smaller = 255;
        narrow_sample wanted = current;
        wanted.delta_time = row.delta;
        wanted.small = 65525;
        wanted.smaller = 5;

        table columns;
        vantu_csv_add_sized_table_row(&columns, "delta_time", VANTU_TYPE_U64, &current.delta_time, 4, VANTU_OPR_DELTA);
        vantu_csv_add_sized_table_row(&columns, "small", VANTU_TYPE_U64, &current.small, 2, VANTU_OPR_DELTA);
        vantu_csv_add_sized_table_row(&columns, "smaller", VANTU_TYPE_U64, &current.smaller, 1, VANTU_OPR_DELTA);
        EXPECT_EQ(vantu_csv_table_do_operation(&columns, &current, &previous), 0) << row.name;
        EXPECT_EQ(memcmp(&current, &wanted, sizeof(current)), 0) << row.name << ": got " << current.delta_time;
    }
}

// ---- Splitting ----

TEST(CsvSplit, Lines)
{
    const struct {
        const char *name;
        std::string line;
        texts fields;
    } rows[] = {
        {"an empty line is one empty field", "", {""}},
        {"one field", "x", {"x"}},
        {"an empty field between others", "x,,y", {"x", "", "y"}},
        {"a trailing comma", "a,b,", {"a", "b", ""}},
        {"a leading comma", ",a", {"", "a"}},
        {"a comma alone", ",", {"", ""}},
        {"commas alone", ",,,", {"", "", "", ""}},
        {"blanks stay", " a , b ", {" a ", " b "}},
        {"a CR stays on the last field", "a,b\r", {"a", "b\r"}},
        {"a newline stays on the last field", "a,b\n", {"a", "b\n"}},
        {"quotes do not join fields", "\"a,b\"", {"\"a", "b\""}},
        {"other separators do not part them", "a;b\tc,d", {"a;b\tc", "d"}},
        {"a NUL ends the line", "a,b\0c,d"s, {"a", "b"}},
        {"format characters stay", "%n,%s", {"%n", "%s"}},
        {"127 characters", field(127) + ",x", {field(127), "x"}},
        {"128 characters", field(128) + ",x", {field(128), "x"}},
        {"129 characters are cut to 127", field(129) + ",x", {field(127), "x"}},
        {"200 characters are cut to 127", field(200) + ",x", {field(127), "x"}},
        {"100,000 characters are cut to 127", field(100000) + ",x", {field(127), "x"}},
        {"127 characters at the end", "x," + field(127), {"x", field(127)}},
        {"128 characters at the end are cut to 127", "x," + field(128), {"x", field(127)}},
        {"200 characters alone are cut to 127", field(200), {field(127)}},
    };
    for (const auto &row : rows) {
        slots fields;
        fields.fill("before");
        ASSERT_EQ(vantu_csv_split_line(exact(row.line).data(), fields.data(), MAX_FIELDS),
                  static_cast<int>(row.fields.size()))
            << row.name;
        EXPECT_EQ(fields.first(static_cast<int>(row.fields.size())), row.fields) << row.name;
        EXPECT_EQ(fields[row.fields.size()], "before") << row.name;
    }
}

texts numbered(size_t count)
{
    texts all(count);
    for (size_t i = 0; i < count; i++)
        all[i] = "f" + std::to_string(i);
    return all;
}

TEST(CsvSplit, LineBeyondTheLimitFillsTheSlotBehindItWhichIsKept)
{
    const struct {
        size_t fields;
        int limit;
        int count;
        const char *behind;
    } rows[] = {
        {255, 256, 255, "before"}, {256, 256, 256, "before"}, {257, 256, 256, "f256"}, {258, 256, 256, "f256"},
        {5000, 256, 256, "f256"},  {3, 3, 3, "before"},       {4, 3, 3, "f3"},         {9, 3, 3, "f3"},
        {1, 1, 1, "before"},       {2, 1, 1, "f1"},           {3, 1, 1, "f1"},
    };
    for (const auto &row : rows) {
        slots fields(static_cast<size_t>(row.limit) + 1);
        fields.fill("before");
        const std::string line = joined(numbered(row.fields));
        EXPECT_EQ(vantu_csv_split_line(line.c_str(), fields.data(), row.limit), row.count) << row.fields;
        texts wanted = numbered(row.fields);
        wanted.resize(static_cast<size_t>(row.count));
        EXPECT_EQ(fields.first(row.count), wanted) << row.fields;
        EXPECT_EQ(fields[static_cast<size_t>(row.count)], row.behind) << row.fields;
    }
}

// What the splitter makes of fields that it finds in a line.
texts cut(texts fields)
{
    for (size_t i = 0; i < fields.size(); i++) {
        const bool last = i + 1 == fields.size();
        if (fields[i].size() > 128 || (last && fields[i].size() > 127))
            fields[i].resize(127);
    }
    return fields;
}

TEST(CsvSplit, RandomLinesAgreeWithAPlainModel)
{
    std::mt19937 random(4302);
    slots fields;
    for (int run = 0; run < 3000; run++) {
        texts all(random() % 3 == 0 ? 255 + random() % 4 : 1 + random() % 20);
        for (std::string &each : all)
            each = field(random() % 2 == 0 ? random() % 6 : 125 + random() % 7, static_cast<char>('a' + random() % 26));
        const int limit = random() % 2 == 0 ? MAX_FIELDS : 1 + static_cast<int>(random() % 20);
        fields.fill("before");

        const int count = vantu_csv_split_line(exact(joined(all)).data(), fields.data(), limit);

        texts wanted = cut(all);
        ASSERT_EQ(count, std::min(static_cast<int>(all.size()), limit)) << joined(all);
        const std::string behind =
            static_cast<int>(all.size()) > limit ? wanted[static_cast<size_t>(limit)] : "before"s;
        wanted.resize(static_cast<size_t>(count));
        ASSERT_EQ(fields.first(count), wanted) << joined(all);
        ASSERT_EQ(fields[static_cast<size_t>(count)], behind) << joined(all);
    }
}

// ---- The holder ----

class CsvHolder : public testing::Test
{
protected:
    void SetUp() override
    {
        memset(csv.get(), 0x5a, sizeof(*csv));
        ASSERT_EQ(vantu_csv_init_struct(csv.get()), 0);
    }

    std::unique_ptr<vantu_csv> csv = std::make_unique<vantu_csv>();
};

TEST_F(CsvHolder, InitPointsEachEntryAtItsSlot)
{
    EXPECT_EQ(csv->num_headers, 0);
    for (int i = 0; i < 257; i++) {
        EXPECT_EQ(csv->splited_header[i], csv->static_splited_header[i]) << i;
        EXPECT_EQ(csv->tmp_splited_csv[i], csv->static_tmp_splited_csv[i]) << i;
        EXPECT_STREQ(csv->splited_header[i], "") << i;
        EXPECT_STREQ(csv->tmp_splited_csv[i], "") << i;
    }
}

TEST_F(CsvHolder, LineOverwritesTheNumberOfHeadersWhichIsKept)
{
    EXPECT_EQ(vantu_csv_fill_header(csv.get(), "h0,h1,h2,h3,h4,h5,h6,h7,h8,h9"), 10);
    EXPECT_EQ(csv->num_headers, 10);
    EXPECT_EQ(csv->num_fields, 0);
    EXPECT_EQ(vantu_csv_get_index_from_field(csv.get(), "h9"), 9);
    EXPECT_EQ(vantu_csv_fill_line(csv.get(), "0,1,2,3,4,5,6,7,8"), 9);
    EXPECT_EQ(csv->num_headers, 9);
    EXPECT_EQ(csv->num_fields, 0);
    EXPECT_STREQ(csv->splited_header[9], "h9");
    EXPECT_EQ(vantu_csv_get_index_from_field(csv.get(), "h8"), 8);
    EXPECT_EQ(vantu_csv_get_index_from_field(csv.get(), "h9"), -1); // beyond the overwritten number
}

TEST_F(CsvHolder, HeaderAndLineHaveStorageOfTheirOwn)
{
    EXPECT_EQ(vantu_csv_fill_header(csv.get(), "a,b"), 2);
    EXPECT_EQ(vantu_csv_fill_line(csv.get(), "1,2"), 2);
    EXPECT_STREQ(csv->splited_header[0], "a");
    EXPECT_STREQ(csv->splited_header[1], "b");
    EXPECT_STREQ(csv->tmp_splited_csv[0], "1");
    EXPECT_STREQ(csv->tmp_splited_csv[1], "2");
}

TEST_F(CsvHolder, TakesAsManyFieldsAsTheLimitOfFullLength)
{
    for (const size_t fields : {255U, 256U, 257U, 258U, 1000U}) {
        const texts all(fields, field(128));
        const int count = static_cast<int>(std::min<size_t>(fields, 256));
        EXPECT_EQ(vantu_csv_fill_header(csv.get(), joined(all).c_str()), count) << fields;
        EXPECT_EQ(vantu_csv_fill_line(csv.get(), joined(all).c_str()), count) << fields;
        EXPECT_EQ(csv->splited_header[254], field(fields == 255 ? 127 : 128)) << fields;
        EXPECT_EQ(csv->tmp_splited_csv[254], field(fields == 255 ? 127 : 128)) << fields;
        for (int i = 0; i < 254; i++) {
            ASSERT_EQ(csv->splited_header[i], field(128)) << fields << ", header " << i;
            ASSERT_EQ(csv->tmp_splited_csv[i], field(128)) << fields << ", field " << i;
        }
    }
    // The longest field of the last slot ends where the storage ends: the pointers behind it are as they were.
    for (int i = 0; i < 257; i++) {
        ASSERT_EQ(csv->splited_header[i], csv->static_splited_header[i]) << i;
        ASSERT_EQ(csv->tmp_splited_csv[i], csv->static_tmp_splited_csv[i]) << i;
    }
}

TEST_F(CsvHolder, EmptyLineIsOneEmptyField)
{
    EXPECT_EQ(vantu_csv_fill_header(csv.get(), ""), 1);
    EXPECT_EQ(vantu_csv_get_index_from_field(csv.get(), ""), 0);
    EXPECT_EQ(vantu_csv_get_index_from_field(csv.get(), "x"), -1);
}

// ---- Lookups ----

class CsvLookup : public testing::Test
{
protected:
    slots headers = slots(texts{"Time", "rx_bytes", "rate", "name", "rx_bytes"});
    slots fields = slots(texts{"1767225600", "-42", "2.75", "wl0, no", "7"});

    int index(const char *name) { return vantu_csv_get_index_from_field_name(headers.data(), 5, name); }
    int number(const char *name) { return vantu_csv_get_int_from_name(headers.data(), 5, name, fields.data(), 5); }
    float fraction(const char *name)
    {
        return vantu_csv_get_float_from_name(headers.data(), 5, name, fields.data(), 5);
    }
};

TEST_F(CsvLookup, IndexOfTheFirstHeaderIgnoringCase)
{
    const struct {
        const char *name;
        int index;
    } rows[] = {
        {"Time", 0},     {"time", 0}, {"TIME", 0},   {"RX_Bytes", 1},   {"rate", 2},
        {"rx_byte", -1}, {"", -1},    {"rate ", -1}, {"rx_bytes2", -1}, {"absent", -1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(index(row.name), row.index) << row.name;
    EXPECT_EQ(vantu_csv_get_index_from_field_name(headers.data(), 2, "rate"), -1);
    EXPECT_EQ(vantu_csv_get_index_from_field_name(headers.data(), 0, "Time"), -1);
}

TEST_F(CsvLookup, FieldsByName)
{
    log_capture log;
    EXPECT_EQ(number("TIME"), 1767225600);
    EXPECT_EQ(number("rx_bytes"), -42);
    EXPECT_EQ(number("rate"), 2);
    EXPECT_EQ(number("name"), 0);
    slots exact(texts{"16777217", "1e3", "2.75", "wl0", "7"});
    EXPECT_EQ(vantu_csv_get_int_from_name(headers.data(), 5, "Time", exact.data(), 5), 16777217)
        << "a float would not hold it";
    EXPECT_EQ(vantu_csv_get_int_from_name(headers.data(), 5, "rx_bytes", exact.data(), 5), 1) << "digits only";
    EXPECT_EQ(fraction("rate"), 2.75F);
    EXPECT_EQ(fraction("RX_BYTES"), -42.0F);
    EXPECT_EQ(fraction("name"), 0.0F);
    char out[CSV_FIELD_SIZE];
    EXPECT_EQ(vantu_csv_get_string_from_name(headers.data(), 5, "Name", fields.data(), 5, out), 0);
    EXPECT_STREQ(out, "wl0, no");
    EXPECT_EQ(vantu_csv_get_int_from_name_helper(headers.data(), 5, "rx_bytes", fields.data(), 5, 0), -42);
    EXPECT_EQ(log.lines, texts{});
}

TEST_F(CsvLookup, TextsOfFullLengthAreCopiedWhole)
{
    slots longest(texts{"", "", "", field(128), ""});
    const auto out = std::make_unique<char[]>(CSV_FIELD_SIZE);
    EXPECT_EQ(vantu_csv_get_string_from_name(headers.data(), 5, "name", longest.data(), 5, out.get()), 0);
    EXPECT_EQ(out.get(), field(128));
}

TEST_F(CsvLookup, NumberOfDataFieldsIsNotLookedAtWhichIsKept)
{
    char out[CSV_FIELD_SIZE];
    for (const int csv_len : {0, -1, 1, 1000}) {
        EXPECT_EQ(vantu_csv_get_int_from_name(headers.data(), 5, "rate", fields.data(), csv_len), 2);
        EXPECT_EQ(vantu_csv_get_float_from_name(headers.data(), 5, "rate", fields.data(), csv_len), 2.75F);
        EXPECT_EQ(vantu_csv_get_string_from_name(headers.data(), 5, "rate", fields.data(), csv_len, out), 0);
        EXPECT_STREQ(out, "2.75");
    }
}

TEST_F(CsvLookup, MissingNamesAreLoggedAndGiveNothing)
{
    char out[CSV_FIELD_SIZE] = "unchanged";
    {
        log_capture log;
        EXPECT_EQ(vantu_csv_get_string_from_name(headers.data(), 5, "no%n", fields.data(), 5, out), 1);
        EXPECT_STREQ(out, "unchanged");
        EXPECT_EQ(log.lines, texts{"ERROR ERROR: getting string from no%n"});
    }
    {
        log_capture log;
        EXPECT_EQ(fraction("no%n"), 0.0F);
        EXPECT_EQ(log.lines, texts{"ERROR ERROR: getting float from no%n"});
    }
    {
        log_capture log;
        EXPECT_EQ(number("no%n"), 0);
        EXPECT_EQ(log.lines, texts{"ERROR ERROR: getting index for field: no%n"});
    }
}

TEST_F(CsvLookup, HelperLogsAMissingNameOnlyWhenAskedTo)
{
    const texts complaint = {"ERROR ERROR: getting index for field: absent"};
    const struct {
        int print_error;
        texts log;
    } rows[] = {{0, {}}, {1, complaint}, {-1, complaint}, {7, complaint}};
    for (const auto &row : rows) {
        log_capture log;
        EXPECT_EQ(vantu_csv_get_int_from_name_helper(headers.data(), 5, "absent", fields.data(), 5, row.print_error),
                  0);
        EXPECT_EQ(log.lines, row.log) << row.print_error;
    }
}

TEST_F(CsvLookup, ModelVectorReadsIntegersFirstWhichIsKept)
{
    slots features(texts{"rate", "RX_BYTES", "absent", "name", "Time", "rate"});
    float vector[7] = {9, 9, 9, 9, 9, 9, 9};
    log_capture log;
    EXPECT_EQ(vantu_csv_to_model_vector(headers.data(), 5, features.data(), 6, fields.data(), 5, vector), 0);
    EXPECT_EQ(log.lines, texts{"ERROR ERROR: getting index for field: absent"});
    const float wanted[7] = {2.0F, -42.0F, 0.0F, 0.0F, 1767225600.0F, 2.0F, 9.0F};
    for (int i = 0; i < 7; i++)
        EXPECT_EQ(vector[i], wanted[i]) << i;
}

TEST_F(CsvLookup, ModelVectorOfNoFeaturesIsUntouched)
{
    float vector[1] = {9};
    EXPECT_EQ(vantu_csv_to_model_vector(headers.data(), 5, nullptr, 0, fields.data(), 5, vector), 0);
    EXPECT_EQ(vector[0], 9.0F);
}

TEST(CsvIndexes, FieldsInTheGivenOrder)
{
    const struct {
        const char *name;
        std::string line;
        std::vector<int> indexes;
        std::string out;
    } rows[] = {
        {"no index", "a,b,c", {}, ""},
        {"one", "a,b,c", {1}, "b"},
        {"all", "a,b,c", {0, 1, 2}, "a,b,c"},
        {"reversed", "a,b,c", {2, 1, 0}, "c,b,a"},
        {"repeated", "a,b,c", {1, 1}, "b,b"},
        {"an empty field", "a,,c", {0, 1, 2}, "a,,c"},
        {"the slot behind the fields holds what it held", "a,b,c", {0, 3}, "a,old3"},
        {"and does so in front", "a,b,c", {3, 0}, "old3,a"},
        {"beyond that there is neither text nor separator", "a,b,c", {0, 4, 2}, "a,c"},
        {"beyond that in front", "a,b,c", {99, 0}, "a"},
        {"a separator stays when the last is beyond", "a,b,c", {0, 4}, "a,"},
        {"all beyond", "a,b,c", {4, 5, INT_MAX}, ""},
        {"-1 is an empty text and its separator", "a,b,c", {0, -1, 2}, "a,,c"},
        {"-1 in front", "a,b,c", {-1, 0}, ",a"},
        {"-1 at the end", "a,b,c", {0, -1}, "a,"},
        {"-1 alone", "a,b,c", {-1}, ""},
        {"an empty line has one field", "", {0, 1}, ",old1"},
        {"a field of 128 characters", field(128) + ",x", {0, 1}, field(128) + ",x"},
        {"a field of 129 characters", field(129) + ",x", {0, 1}, field(127) + ",x"},
    };
    for (const auto &row : rows) {
        texts old(CSV_FIELD_SLOTS);
        for (size_t i = 0; i < old.size(); i++)
            old[i] = "old" + std::to_string(i);
        slots fields(old);
        std::vector<char> out(1000, '#');
        EXPECT_EQ(vantu_csv_get_line_from_indexes(exact(row.line).data(), row.indexes.data(),
                                                  static_cast<int>(row.indexes.size()), fields.data(), out.data()),
                  0)
            << row.name;
        EXPECT_STREQ(out.data(), row.out.c_str()) << row.name;
    }
}

TEST(CsvIndexes, SlotsWhereNothingWasEverStoredAreEmpty)
{
    const auto csv = std::make_unique<vantu_csv>();
    vantu_csv_init_struct(csv.get());
    char out[64] = "#";
    const int behind[] = {0, 2, -1, 1};
    EXPECT_EQ(vantu_csv_get_line_from_indexes("a,b", behind, 4, csv->tmp_splited_csv, out), 0);
    EXPECT_STREQ(out, "a,,,b");

    // An entry without storage is empty, too.
    slots fields;
    fields.data()[2] = nullptr;
    EXPECT_EQ(vantu_csv_get_line_from_indexes("a,b", behind, 4, fields.data(), out), 0);
    EXPECT_STREQ(out, "a,,,b");
}

TEST(CsvIndexes, LastSlotOfFullStorage)
{
    slots fields;
    const int last[] = {255, 256, 257, -1};
    char out[64] = "#";
    EXPECT_EQ(vantu_csv_get_line_from_indexes(joined(numbered(256)).c_str(), last, 4, fields.data(), out), 0);
    EXPECT_STREQ(out, "f255,,");
    EXPECT_EQ(vantu_csv_get_line_from_indexes(joined(numbered(300)).c_str(), last, 4, fields.data(), out), 0);
    EXPECT_STREQ(out, "f255,f256,");
}

// ---- Lines into records ----

TEST(CsvIntoRecord, ColumnsAreFoundByNameIgnoringCase)
{
    uint64_t a = 0;
    int b = 0;
    float c = 0;
    char d[8] = "";
    table columns;
    vantu_csv_add_table_row(&columns, "a", VANTU_TYPE_U64, &a, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "b", VANTU_TYPE_INT, &b, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "c", VANTU_TYPE_FLOAT, &c, VANTU_OPR_NONE);
    vantu_csv_add_sized_table_row(&columns, "d", VANTU_TYPE_STRING, d, sizeof(d), VANTU_OPR_NONE);
    slots headers(texts{"D", "other", "B", "a", "C", "a"});
    int idxs[5] = {99, 99, 99, 99, 99};
    EXPECT_EQ(vantu_csv_line_build_idx_array(&columns, idxs, headers.data(), headers.size()), 0);
    EXPECT_EQ(std::vector<int>(std::begin(idxs), std::end(idxs)), (std::vector<int>{3, 2, 4, 0, 99}));

    slots fields(texts{"text", "x", "-5", "18446744073709551615", "0.25", "y"});
    log_capture log;
    EXPECT_EQ(vantu_csv_line_to_table_struct(&columns, idxs, fields.data()), 0);
    EXPECT_EQ(a, UINT64_MAX);
    EXPECT_EQ(b, -5);
    EXPECT_EQ(c, 0.25F);
    EXPECT_STREQ(d, "text");
    EXPECT_EQ(log.lines, texts{});
}

TEST(CsvIntoRecord, MissingColumnsAreLeftAloneAndTraced)
{
    int a = 1;
    int b = 2;
    int c = 3;
    table columns;
    vantu_csv_add_table_row(&columns, "a%n", VANTU_TYPE_INT, &a, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "b", VANTU_TYPE_INT, &b, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "c", VANTU_TYPE_INT, &c, VANTU_OPR_NONE);
    slots headers(texts{"x", "B"});
    int idxs[3] = {99, 99, 99};
    EXPECT_EQ(vantu_csv_line_build_idx_array(&columns, idxs, headers.data(), headers.size()), 0);
    EXPECT_EQ(idxs[0], -1);
    EXPECT_EQ(idxs[1], 1);
    EXPECT_EQ(idxs[2], -1);
    slots fields(texts{"70", "80"});
    log_capture log;
    EXPECT_EQ(vantu_csv_line_to_table_struct(&columns, idxs, fields.data()), 0);
    EXPECT_EQ(log.lines, (texts{"TRACE Error idx for field a%n == -1", "TRACE Error idx for field c == -1"}));
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 80);
    EXPECT_EQ(c, 3);
}

TEST(CsvIntoRecord, WithoutHeadersAllColumnsAreMissing)
{
    int a = 1;
    table columns;
    vantu_csv_add_table_row(&columns, "", VANTU_TYPE_INT, &a, VANTU_OPR_NONE);
    int idxs[1] = {99};
    EXPECT_EQ(vantu_csv_line_build_idx_array(&columns, idxs, nullptr, 0), 0);
    EXPECT_EQ(idxs[0], -1);
}

TEST(CsvIntoRecord, FieldThatIsNullEndsTheWalk)
{
    int a = 1;
    int b = 2;
    int c = 3;
    table columns;
    vantu_csv_add_table_row(&columns, "a", VANTU_TYPE_INT, &a, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "b", VANTU_TYPE_INT, &b, VANTU_OPR_NONE);
    vantu_csv_add_table_row(&columns, "c", VANTU_TYPE_INT, &c, VANTU_OPR_NONE);
    slots fields(texts{"70", "80", "90"});
    fields.data()[1] = nullptr;
    const int idxs[] = {0, 1, 2};
    log_capture log;
    EXPECT_EQ(vantu_csv_line_to_table_struct(&columns, idxs, fields.data()), 0);
    EXPECT_EQ(a, 70);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(c, 3);
    EXPECT_EQ(log.lines, texts{});
    // The walk is over: the table can be used again.
    EXPECT_EQ(header_of(columns), "a,b,c");
    EXPECT_EQ(vantu_csv_add_table_row(&columns, "d", VANTU_TYPE_INT, &c, VANTU_OPR_NONE), 1);
}

TEST(CsvIntoRecord, EmptyTableTakesNothing)
{
    table columns;
    slots fields(texts{"1"});
    EXPECT_EQ(vantu_csv_line_build_idx_array(&columns, nullptr, fields.data(), 1), 0);
    EXPECT_EQ(vantu_csv_line_to_table_struct(&columns, nullptr, fields.data()), 0);
}

// ---- Random tables ----

struct random_column {
    std::string name;
    int type;
    int operation;
    size_t place;
    size_t size;
};

// A record as a block of bytes: between its fields are random bytes that nothing may change.
class random_layout
{
public:
    random_layout(std::mt19937 &random, bool with_unknown) : random_(random)
    {
        static const size_t widths[] = {1, 2, 4, 8};
        const size_t count = random() % 41;
        for (size_t i = 0; i < count; i++) {
            const int type = static_cast<int>(random() % (with_unknown ? 7 : 5));
            const size_t size = type == VANTU_TYPE_STRING  ? 2 + random() % 127
                                : type == VANTU_TYPE_FLOAT ? sizeof(float)
                                                           : widths[random() % 4];
            length_ += random() % 9;
            columns.push_back({name(i), type, static_cast<int>(random() % 3), length_, size});
            length_ += size;
        }
        length_ += 1 + random() % 9;
    }

    // A record with values that survive their columns; floats anywhere, texts of any bytes.
    std::vector<unsigned char> record()
    {
        std::vector<unsigned char> bytes(length_);
        for (unsigned char &byte : bytes)
            byte = static_cast<unsigned char>(random_());
        for (const random_column &column : columns)
            fill(bytes, column);
        return bytes;
    }

    void bind(sclist_t &to, std::vector<unsigned char> &bytes) const
    {
        for (const random_column &column : columns)
            ASSERT_EQ(vantu_csv_add_sized_table_row(&to, column.name.c_str(), column.type, bytes.data() + column.place,
                                                    column.size, column.operation),
                      1);
    }

    std::vector<random_column> columns;

private:
    // Different from every other name, whatever the case.
    std::string name(size_t i) { return "c" + std::to_string(i) + "_" + field(random_() % 59); }

    void fill(std::vector<unsigned char> &bytes, const random_column &column)
    {
        unsigned char *at = bytes.data() + column.place;
        if (column.type == VANTU_TYPE_STRING) {
            const size_t length = random_() % column.size;
            for (size_t i = 0; i < length; i++)
                at[i] = text_byte();
            at[length] = 0;
        } else if (column.type == VANTU_TYPE_FLOAT) {
            const float value = (static_cast<float>(random_() % 2000001) - 1000000.0F) / 997.0F;
            memcpy(at, &value, sizeof(value));
        } else if (column.size == 8 && column.type != VANTU_TYPE_U64) {
            // Wider than its type: what the type holds comes back, but an INT only without a sign.
            const uint64_t value = random_() & (column.type == VANTU_TYPE_INT ? 0x7fffffffU : 0xffffffffU);
            memcpy(at, &value, sizeof(value));
        }
    }

    unsigned char text_byte()
    {
        for (;;) {
            const auto byte = static_cast<unsigned char>(random_());
            if (byte != 0)
                return byte;
        }
    }

    std::mt19937 &random_;
    size_t length_ = 0;
};

template <typename T>
uint64_t value_at(const unsigned char *at)
{
    T value;
    memcpy(&value, at, sizeof(value));
    return value;
}

uint64_t number_at(const unsigned char *at, size_t size)
{
    return size == 1   ? value_at<uint8_t>(at)
           : size == 2 ? value_at<uint16_t>(at)
           : size == 4 ? value_at<uint32_t>(at)
                       : value_at<uint64_t>(at);
}

template <typename T>
void put_value(unsigned char *at, uint64_t number)
{
    const auto value = static_cast<T>(number);
    memcpy(at, &value, sizeof(value));
}

void put_number(unsigned char *at, size_t size, uint64_t number)
{
    size == 1   ? put_value<uint8_t>(at, number)
    : size == 2 ? put_value<uint16_t>(at, number)
    : size == 4 ? put_value<uint32_t>(at, number)
                : put_value<uint64_t>(at, number);
}

// The text of a column's value by the C library's formats.
std::string plain_value(const std::vector<unsigned char> &bytes, const random_column &column)
{
    const unsigned char *at = bytes.data() + column.place;
    char out[160] = "";
    float fraction;
    switch (column.type) {
    case VANTU_TYPE_U64:
        (void)snprintf(out, sizeof(out), "%llu", static_cast<unsigned long long>(number_at(at, column.size)));
        break;
    case VANTU_TYPE_U32:
        (void)snprintf(out, sizeof(out), "%u", static_cast<unsigned>(number_at(at, column.size)));
        break;
    case VANTU_TYPE_INT:
        (void)snprintf(out, sizeof(out), "%d", static_cast<int>(number_at(at, column.size)));
        break;
    case VANTU_TYPE_FLOAT:
        memcpy(&fraction, at, sizeof(fraction));
        (void)snprintf(out, sizeof(out), "%.2f", static_cast<double>(fraction));
        break;
    case VANTU_TYPE_STRING:
        return in_a_line(reinterpret_cast<const char *>(at));
    default:
        break;
    }
    return out;
}

std::string any_case(std::mt19937 &random, std::string text)
{
    for (char &c : text)
        c = static_cast<char>(random() % 2 == 0 ? toupper(c) : tolower(c));
    return text;
}

TEST(CsvRandomTables, LinesComeBackAsTheRecord)
{
    std::mt19937 random(4303);
    for (int run = 0; run < 1500; run++) {
        random_layout layout(random, false);
        std::vector<unsigned char> written = layout.record();
        table out;
        ASSERT_NO_FATAL_FAILURE(layout.bind(out, written));

        texts names;
        texts values;
        for (const random_column &column : layout.columns) {
            names.push_back(column.name);
            values.push_back(plain_value(written, column));
        }
        const std::string header = header_of(out);
        const std::string line = line_of(out);
        ASSERT_EQ(header, joined(names)) << "run " << run;
        ASSERT_EQ(line, joined(values)) << "run " << run;

        // The file has the columns in another order, with others among them, and the names in any case.
        slots header_fields;
        slots fields;
        const int count = layout.columns.empty() ? 0 : static_cast<int>(layout.columns.size());
        if (count > 0) {
            ASSERT_EQ(vantu_csv_split_line(header.c_str(), header_fields.data(), MAX_FIELDS), count);
            ASSERT_EQ(vantu_csv_split_line(line.c_str(), fields.data(), MAX_FIELDS), count);
        }
        texts file_names = header_fields.first(count);
        texts file_values = fields.first(count);
        for (std::string &name : file_names)
            name = any_case(random, name);
        for (int i = 0; i < count; i++) {
            const size_t other = random() % file_names.size();
            std::swap(file_names[static_cast<size_t>(i)], file_names[other]);
            std::swap(file_values[static_cast<size_t>(i)], file_values[other]);
            if (random() % 4 == 0) {
                file_names.push_back("other" + std::to_string(i));
                file_values.push_back("-1");
            }
        }

        std::vector<unsigned char> got = layout.record();
        std::vector<unsigned char> wanted = got;
        for (const random_column &column : layout.columns) {
            unsigned char *at = wanted.data() + column.place;
            const unsigned char *from = written.data() + column.place;
            if (column.type == VANTU_TYPE_FLOAT) {
                const float rounded = strtof(plain_value(written, column).c_str(), nullptr);
                memcpy(at, &rounded, sizeof(rounded));
            } else if (column.type == VANTU_TYPE_STRING) {
                const std::string text = plain_value(written, column);
                memcpy(at, text.c_str(), text.size() + 1);
            } else {
                memcpy(at, from, column.size);
            }
        }
        table in;
        ASSERT_NO_FATAL_FAILURE(layout.bind(in, got));
        slots storage_of_names(file_names);
        slots storage_of_values(file_values);
        std::vector<int> idxs(layout.columns.size());
        log_capture log;
        vantu_csv_line_build_idx_array(&in, idxs.data(), storage_of_names.data(), storage_of_names.size());
        vantu_csv_line_to_table_struct(&in, idxs.data(), storage_of_values.data());
        ASSERT_EQ(got, wanted) << "run " << run << ": " << header << "\n" << printable(line);
        ASSERT_EQ(log.lines, texts{}) << "run " << run;
    }
}

TEST(CsvRandomTables, OperationsAgreeWithAPlainModel)
{
    std::mt19937 random(4304);
    for (int run = 0; run < 1500; run++) {
        random_layout layout(random, true);
        const std::vector<unsigned char> previous = layout.record();
        std::vector<unsigned char> current = layout.record();
        std::vector<unsigned char> wanted = current;
        texts complaints;
        for (const random_column &column : layout.columns) {
            if (column.operation == VANTU_OPR_NONE)
                continue;
            if (column.type == VANTU_TYPE_U32 || column.type > VANTU_TYPE_FLOAT)
                complaints.push_back("ERROR vantu_csv_table_do_operation Could not do operation field " + column.name);
            if (column.type != VANTU_TYPE_U64 || column.operation != VANTU_OPR_DELTA)
                continue;
            const uint64_t before = number_at(previous.data() + column.place, column.size);
            const uint64_t now = number_at(current.data() + column.place, column.size);
            put_number(wanted.data() + column.place, column.size, now > before ? now - before : 0);
        }
        table columns;
        ASSERT_NO_FATAL_FAILURE(layout.bind(columns, current));
        log_capture log;
        ASSERT_EQ(vantu_csv_table_do_operation(&columns, current.data(), previous.data()), 0);
        ASSERT_EQ(current, wanted) << "run " << run << ": " << header_of(columns);
        ASSERT_EQ(log.lines, complaints) << "run " << run;
    }
}

// ---- Stored files ----

// Fields of every width that records of this system have under the columns.
struct sample {
    uint64_t time;
    char mac[18];
    uint32_t utilization;
    int32_t signal;
    float rate;
    uint8_t retries;    // under an INT column
    int32_t delta_time; // under a U64 column
    uint64_t window;    // under an INT column
};

constexpr vantu::csv_column sample_columns[] = {
    CSV_COLUMN("time", U64, NONE, sample, time),
    CSV_COLUMN("mac", STRING, NONE, sample, mac),
    CSV_COLUMN("utilization", U32, NONE, sample, utilization),
    CSV_COLUMN("signal", INT, NONE, sample, signal),
    CSV_COLUMN("rate", FLOAT, NONE, sample, rate),
    CSV_COLUMN("retries", INT, NONE, sample, retries),
    CSV_COLUMN("delta_time", U64, DELTA, sample, delta_time),
    CSV_COLUMN("window", INT, NONE, sample, window),
};

std::string dump(const sample &of)
{
    char out[300];
    (void)snprintf(out, sizeof(out),
                   "time=%llu mac=%s utilization=%u signal=%d rate=%.3f retries=%u delta_time=%d "
                   "window=%llu",
                   static_cast<unsigned long long>(of.time), of.mac, of.utilization, of.signal,
                   static_cast<double>(of.rate), of.retries, of.delta_time, static_cast<unsigned long long>(of.window));
    return out;
}

// Reads a text line by line as the programs that use the holder do: a header and then records into one sample, which
// a short line leaves with the fields that the holder has from before.
texts read_samples(std::string_view text)
{
    static const auto csv = std::make_unique<vantu_csv>();
    texts out;
    vantu_csv_init_struct(csv.get());
    sample bound = {};
    table columns;
    vantu::bind_columns(&columns, sample_columns, &bound);
    std::vector<int> idxs(std::size(sample_columns), -1);
    bool header = true;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::vector<char> line = exact(std::string(text.substr(at, end - at)));
        at = end + 1;
        if (header) {
            vantu_csv_fill_header(csv.get(), line.data());
            vantu_csv_line_build_idx_array(&columns, idxs.data(), csv->splited_header, csv->num_headers);
            header = false;
            continue;
        }
        vantu_csv_fill_line(csv.get(), line.data());
        vantu_csv_line_to_table_struct(&columns, idxs.data(), csv->tmp_splited_csv);
        EXPECT_NE(memchr(bound.mac, '\0', sizeof(bound.mac)), nullptr) << printable(line.data());
        out.push_back(dump(bound));
    }
    return out;
}

TEST(CsvStoredFiles, GiveTheExpectedRecordsAndMessages)
{
    for (const std::string &name : cases_of("csv")) {
        const std::string text = fixture(name + ".txt");
        log_capture log;
        const texts got = read_samples(text);
        expect_stored(name, lines_of(got), log.lines);
    }
}

void survive(std::string_view text)
{
    const size_t newlines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    ASSERT_LE(read_samples(text).size(), newlines) << printable(text);
}

TEST(CsvStoredFiles, EveryTruncationGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("csv"))
        every_truncation(fixture(name + ".txt"), survive);
}

// Most cases have the same header: its bytes are corrupted in one of them, those of the lines in all.
TEST(CsvStoredFiles, EveryCorruptionGivesSoundRecords)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("csv")) {
        const std::string text = fixture(name + ".txt");
        const size_t kept = name == "csv/all_columns" ? 0 : text.find('\n') + 1;
        every_corruption(text.substr(kept),
                         [&](std::string_view corrupted) { survive(text.substr(0, kept) + std::string(corrupted)); });
    }
}

// ---- Differences of times ----

TEST(CsvTimes, DifferenceInUnitsOfTenMicroseconds)
{
    const struct {
        const char *name;
        timeval a;
        timeval b;
        int difference;
    } rows[] = {
        {"none", {5, 5}, {5, 5}, 0},
        {"within a second", {5, 900}, {5, 100}, 80},
        {"less than a unit", {5, 109}, {5, 100}, 0},
        {"within a second, backward", {5, 100}, {5, 900}, -80},
        {"less than a unit backward", {5, 100}, {5, 109}, 0},
        {"2 s and 500 us", {1002, 500}, {1000, 0}, 200050},
        {"across a second", {6, 0}, {5, 999990}, 1},
        {"99 s", {99, 999999}, {0, 0}, 9999999},
        {"99 s less a bit", {99, 0}, {0, 999999}, 9800000},
        {"100 s", {100, 0}, {0, 0}, 10000000},
        {"100 s, the microseconds do not count", {100, 999999}, {0, 0}, 10000000},
        {"100 s, nor the others", {100, 0}, {0, 999999}, 10000000},
        {"150 s", {1150, 1}, {1000, 999999}, 15000000},
        {"150 s, the other way round", {1150, 999999}, {1000, 1}, 15000000},
        {"backward a second", {5, 0}, {6, 0}, -100000},
        {"backward with microseconds", {5, 0}, {6, 500}, -100050},
        {"backward 99 s", {0, 0}, {99, 0}, -9900000},
        {"backward 150 s, the microseconds count", {0, 0}, {150, 500}, -15000050},
        {"backward 2147 s", {0, 0}, {2147, 0}, -214700000},
        {"backward 2148 s, which 32 bits do not hold", {0, 0}, {2148, 0}, 214696729},
        {"backward an hour", {0, 0}, {3600, 10}, 69496728},
        {"as long as an int holds", {21474, 0}, {0, 0}, 2147400000},
        {"a second longer", {21475, 0}, {0, 0}, INT_MAX},
        {"a day", {86400, 0}, {0, 0}, INT_MAX},
        {"since the epoch", {1767225600, 123}, {0, 0}, INT_MAX},
        {"backward a day", {0, 0}, {86400, 0}, -50065408},
        {"backward to the epoch", {0, 0}, {1767225600, 123}, -117651877},
    };
    for (const auto &row : rows)
        EXPECT_EQ(brcm_timeval_diff(row.a, row.b), row.difference) << row.name;
}

TEST(CsvTimes, DifferenceOfTimesThatNoClockShowsIsTheLargestOrOf32Bits)
{
    using limits = std::numeric_limits<time_t>;
    EXPECT_EQ(brcm_timeval_diff({limits::max(), 0}, {0, 0}), INT_MAX);
    EXPECT_EQ(brcm_timeval_diff({limits::max() / 2, 0}, {0, 0}), INT_MAX);
    EXPECT_EQ(brcm_timeval_diff({limits::max(), 0}, {-2, 0}), INT_MAX);
    // The lower 32 bits of the seconds count, of which a time of 32 bits has more than these.
    EXPECT_EQ(brcm_timeval_diff({limits::min(), 0}, {2, 0}), sizeof(time_t) > 4 ? 0 : -200000);
    EXPECT_EQ(brcm_timeval_diff({0, 0}, {limits::max(), 0}), 100000);
}

// ---- Merging files ----

TEST(CsvMerge, AppendsTheLines)
{
    const struct {
        const char *name;
        std::string from;
        std::string to;
        std::string result;
    } rows[] = {
        {"lines", "1,2\n3,4\n", "a,b\n", "a,b\n1,2\n3,4\n"},
        {"nothing to append", "", "a,b\n", "a,b\n"},
        {"nothing before", "1,2\n", "", "1,2\n"},
        {"empty lines", "\n\n", "a\n", "a\n\n\n"},
        {"a header is a line like others", "a,b\n1,2\n", "a,b\n", "a,b\na,b\n1,2\n"},
        {"behind an unfinished line", "1,2\n", "a,b", "a,b1,2\n"},
        {"format characters", "%n%s%d\n", "", "%n%s%d\n"},
        {"CR LF", "1,2\r\n", "", "1,2\r\n"},
        {"bytes that are no UTF-8", "\xff\xc0\n", "", "\xff\xc0\n"},
    };
    const temp_dir dir;
    for (const auto &row : rows) {
        write_file(dir / "from", row.from);
        write_file(dir / "to", row.to);
        log_capture log;
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "from").c_str(), (dir / "to").c_str()), 0) << row.name;
        EXPECT_EQ(open_descriptors(), descriptors) << row.name;
        EXPECT_EQ(content_of(dir / "to"), row.result) << row.name;
        EXPECT_EQ(content_of(dir / "from"), row.from) << row.name;
        EXPECT_EQ(log.lines, texts{}) << row.name;
    }
}

TEST(CsvMerge, LastCharacterIsTakenForTheLineEndWhichIsKept)
{
    const std::string s1022 = field(1022);
    const struct {
        const char *name;
        std::string from;
        std::string result;
    } rows[] = {
        {"an unfinished line loses a character", "1,2\n3,4", "1,2\n3,\n"},
        {"one character alone", "x", "\n"},
        {"a read of 1024 characters that ends with the line", s1022 + "x\n", s1022 + "x\n"},
        {"a line of one more is broken and loses one", s1022 + "xy\n", s1022 + "x\n\n"},
        {"a line of 3000 is broken twice", field(3000) + "\n",
         field(3000).substr(0, 1023) + "\n" + field(3000).substr(1024, 1023) + "\n" + field(3000).substr(2048) + "\n"},
        {"a NUL ends its line and takes a character with it", "ab\0cd\nef\n"s, "a\nef\n"},
        {"a NUL at the beginning", "\0ab\nef\n"s, "\nef\n"},
    };
    const temp_dir dir;
    for (const auto &row : rows) {
        write_file(dir / "from", row.from);
        write_file(dir / "to", "before\n");
        EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "from").c_str(), (dir / "to").c_str()), 0) << row.name;
        EXPECT_EQ(content_of(dir / "to"), "before\n" + row.result) << row.name;
    }
}

TEST(CsvMerge, RandomFilesAgreeWithAPlainModel)
{
    std::mt19937 random(4305);
    const temp_dir dir;
    for (int run = 0; run < 100; run++) {
        std::string from;
        std::string wanted = "before\n";
        for (auto lines = random() % 20; lines > 0; lines--) {
            const std::string line = field(random() % 3 == 0 ? 1020 + random() % 8 : random() % 50) + "\n";
            from += line;
            for (size_t at = 0; at < line.size(); at += 1024) {
                const std::string piece = line.substr(at, 1024);
                wanted += piece.substr(0, piece.size() - 1) + "\n";
            }
        }
        write_file(dir / "from", from);
        write_file(dir / "to", "before\n");
        ASSERT_EQ(vantu_merge_fpingdq_csv_files((dir / "from").c_str(), (dir / "to").c_str()), 0);
        ASSERT_EQ(content_of(dir / "to"), wanted) << from;
    }
}

TEST(CsvMerge, MakesTheSecondFileWhenItIsMissing)
{
    const temp_dir dir;
    write_file(dir / "from", "1,2\n");
    EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "from").c_str(), (dir / "to").c_str()), 0);
    EXPECT_EQ(content_of(dir / "to"), "1,2\n");
}

TEST(CsvMerge, FilesThatCannotBeOpened)
{
    const temp_dir dir;
    write_file(dir / "file", "1,2\n");
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "none").c_str(), (dir / "file").c_str()), -1);
    EXPECT_EQ(content_of(dir / "file"), "1,2\n");
    EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "none").c_str(), (dir / "new").c_str()), -1);
    EXPECT_FALSE(fs::exists(dir / "new"));
    EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "file").c_str(), (dir / "none/new").c_str()), -1);
    EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "file").c_str(), (dir / "").c_str()), -1);
    EXPECT_EQ(vantu_merge_fpingdq_csv_files("", (dir / "file").c_str()), -1);
    EXPECT_EQ(content_of(dir / "file"), "1,2\n");
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(CsvMerge, FileIsNotAppendedToItself)
{
    const temp_dir dir;
    write_file(dir / "file", "1,2\n3,4\n");
    fs::create_symlink(dir / "file", dir / "symbolic");
    fs::create_hard_link(dir / "file", dir / "hard");
    for (const auto &[from, to] : {std::pair{dir / "file", dir / "file"},
                                   {dir / "symbolic", dir / "file"},
                                   {dir / "file", dir / "symbolic"},
                                   {dir / "hard", dir / "file"},
                                   {dir / "./file", dir / "file"}}) {
        log_capture log;
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(vantu_merge_fpingdq_csv_files(from.c_str(), to.c_str()), -1) << from << " to " << to;
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(log.lines, texts{"ERROR " + to + " cannot be appended to itself"});
        EXPECT_EQ(content_of(dir / "file"), "1,2\n3,4\n");
    }
}

TEST(CsvMerge, FullDiskIsReported)
{
    const temp_dir dir;
    for (const size_t lines : {1U, 5000U}) { // within the stream's buffer and beyond it
        std::string content;
        for (size_t i = 0; i < lines; i++)
            content += "1767225600,192.0.2.1,5\n";
        write_file(dir / "from", content);
        log_capture log;
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(vantu_merge_fpingdq_csv_files((dir / "from").c_str(), "/dev/full"), -1) << lines;
        EXPECT_EQ(open_descriptors(), descriptors) << lines;
        EXPECT_EQ(log.lines, texts{"ERROR failed to write file /dev/full: "s + strerror(ENOSPC)}) << lines;
    }
}

TEST(CsvMerge, AFileThatCannotBeReadIsReported)
{
    const temp_dir dir;
    const log_capture log;
    EXPECT_EQ(vantu_merge_fpingdq_csv_files(dir.path().c_str(), (dir / "to").c_str()), -1);
    EXPECT_EQ(log.lines, texts{"ERROR " + dir.path() + " cannot be read: " + strerror(EISDIR)});
}

TEST(CsvMerge, ADeviceWithoutEndIsGivenUp)
{
    const temp_dir dir;
    const log_capture log;
    EXPECT_EQ(vantu_merge_fpingdq_csv_files("/dev/zero", (dir / "to").c_str()), -1);
    EXPECT_EQ(content_of(dir / "to"), std::string(16384, '\n'));
    EXPECT_EQ(log.lines, texts{"ERROR the output does not end: the rest is not read"});
}

TEST(CsvMerge, FileThatMayNotGrowIsReported)
{
    const temp_dir dir;
    std::string content;
    for (int i = 0; i < 1000; i++)
        content += "1767225600,192.0.2.1,5\n";
    write_file(dir / "from", content);
    for (const rlim_t limit : {7U, 8U, 5000U, 20000U}) {
        write_file(dir / "to", "before\n");
        EXPECT_EQ(in_child([&] {
                      log_capture log;
                      (void)signal(SIGXFSZ, SIG_IGN);
                      limit_file_size(limit);
                      if (vantu_merge_fpingdq_csv_files((dir / "from").c_str(), (dir / "to").c_str()) != -1)
                          return 1;
                      const texts wanted = {"ERROR failed to write file " + (dir / "to") + ": " + strerror(EFBIG)};
                      return log.lines == wanted ? 0 : 2;
                  }),
                  0)
            << limit;
        EXPECT_EQ(content_of(dir / "to").substr(0, 7), "before\n") << limit;
    }
}

} // namespace
