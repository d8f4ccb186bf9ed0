// Tables of any columns: a record is rendered, read into another record and rendered again, and must look the same;
// and counters become differences.

#include "fuzz.hpp"
#include "vantu-libs2/csv.h"

namespace
{

constexpr size_t most_columns = 12;
constexpr size_t widest_field = 16;

struct column {
    int type;
    int operation;
    size_t size;
    size_t place; // in the record
};

// Fields behind one another, so that one byte beyond a field is another field's.
class layout
{
public:
    explicit layout(FuzzedDataProvider &in)
    {
        const auto count = in.ConsumeIntegralInRange<size_t>(0, most_columns);
        for (size_t i = 0; i < count; i++) {
            column one = {};
            one.type = in.ConsumeIntegralInRange<int>(VANTU_TYPE_U64, VANTU_TYPE_FLOAT + 1);
            one.operation = in.ConsumeBool() ? VANTU_OPR_DELTA : VANTU_OPR_NONE;
            one.size = size_for(one.type, in);
            one.place = size_;
            size_ += one.size;
            columns_.push_back(one);
        }
    }

    const std::vector<column> &columns() const { return columns_; }
    size_t size() const { return size_; }

private:
    static size_t size_for(int type, FuzzedDataProvider &in)
    {
        if (type == VANTU_TYPE_STRING)
            return in.ConsumeIntegralInRange<size_t>(1, widest_field);
        if (type == VANTU_TYPE_FLOAT)
            return sizeof(float);
        return in.PickValueInArray<size_t>({1, 2, 4, 8});
    }

    std::vector<column> columns_;
    size_t size_ = 0;
};

using record = std::vector<char>; // exactly the fields: the next byte is not ours

record take_record(const layout &fields, FuzzedDataProvider &in)
{
    record out = in.ConsumeBytes<char>(fields.size());
    out.resize(fields.size());
    out.shrink_to_fit();
    for (const column &one : fields.columns()) {
        if (one.type == VANTU_TYPE_STRING)
            out[one.place + one.size - 1] = '\0';
    }
    return out;
}

class table
{
public:
    table(const layout &fields, record &bound)
    {
        REQUIRE(vantu_csv_init_csv_table(&list_) == 0);
        int number = 0;
        for (const column &one : fields.columns()) {
            const std::string name = fuzz::format("Column-%d", number++);
            REQUIRE(vantu_csv_add_sized_table_row(&list_, name.c_str(), one.type, bound.data() + one.place, one.size,
                                                  one.operation) == 1);
        }
    }
    ~table() { sclist_destroy(&list_); }
    table(const table &) = delete;
    table &operator=(const table &) = delete;

    sclist_t *get() { return &list_; }

    std::string header()
    {
        char out[most_columns * 64];
        REQUIRE(vantu_csv_get_header(&list_, out) == 0);
        return out;
    }

    std::string rendered()
    {
        char out[most_columns * 64];
        REQUIRE(vantu_csv_table_to_csv(&list_, out) == 0);
        return out;
    }

private:
    sclist_t list_;
};

uint64_t number_in(const record &from, const column &one)
{
    uint64_t number = 0;
    memcpy(&number, from.data() + one.place, one.size); // little-endian machines only
    return number;
}

void check_deltas(const layout &fields, const record &earlier, record later)
{
    const record before = later;
    table bound(fields, later);
    REQUIRE(vantu_csv_table_do_operation(bound.get(), later.data(), earlier.data()) == 0);
    for (const column &one : fields.columns()) {
        if (one.type != VANTU_TYPE_U64 || one.operation != VANTU_OPR_DELTA) {
            REQUIRE(memcmp(later.data() + one.place, before.data() + one.place, one.size) == 0);
            continue;
        }
        const uint64_t from = number_in(earlier, one);
        const uint64_t to = number_in(before, one);
        REQUIRE(number_in(later, one) == (to > from ? to - from : 0));
    }
}

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    const layout fields(in);
    record first = take_record(fields, in);
    record second = take_record(fields, in);
    check_deltas(fields, first, second);

    table of_first(fields, first);
    table of_second(fields, second);
    const std::string header = of_first.header();
    const std::string line = of_first.rendered();
    static vantu_csv csv;
    static const int prepared = vantu_csv_init_struct(&csv);
    REQUIRE(prepared == 0);
    const size_t columns = fields.columns().size();
    const int headers = vantu_csv_fill_header(&csv, header.c_str());
    REQUIRE(static_cast<size_t>(headers) == std::max<size_t>(columns, 1));
    REQUIRE(vantu_csv_fill_line(&csv, line.c_str()) == headers);
    int indexes[most_columns + 1];
    REQUIRE(vantu_csv_line_build_idx_array(of_second.get(), indexes, csv.splited_header, headers) == 0);
    for (size_t i = 0; i < columns; i++)
        REQUIRE(indexes[i] == static_cast<int>(i));
    REQUIRE(vantu_csv_line_to_table_struct(of_second.get(), indexes, csv.tmp_splited_csv) == 0);
    REQUIRE(of_second.rendered() == line);
}
