// CSV files of data rows: a row that was read is rendered, read again, and must look the same.

#include "brcm-generic/brcm-sample-table.h"
#include "brcm-generic/vantu-wifi-brcm.h"
#include "fuzz.hpp"
#include "vantu-libs2/csv.h"
#include "vantu-libs2/vantu-wifi-common.h"

static constexpr size_t csv_size = 4096;

static vantu_platform_ops rows_of_broadcom()
{
    brcm_csvtable_init();
    vantu_platform_ops ops = {};
    ops.get_data_struct_size = brcm_get_csvdata_struct_size;
    ops.csv_string_to_data_struct = brcm_csv_string_to_data_struct;
    return ops;
}

static std::string rendered(const vantu_brcm_csv_data &row)
{
    vantu_brcm_csv_data copy = row;
    char line[csv_size];
    REQUIRE(brcm_data_struct_to_csv_string("wl0", "", line, &copy) == 0);
    REQUIRE(std::count(line, line + strlen(line), ',') == BRCM_CSV_COLUMNS - 1);
    return line;
}

FUZZ_TARGET(std::string_view input)
{
    if (std::count(input.begin(), input.end(), '\n') > 8) // each line costs as much as all of the rest
        return;
    static vantu_platform_ops ops = rows_of_broadcom();
    char header[csv_size];
    REQUIRE(brcm_get_csvdata_headers(header) == 0);
    fuzz::file_holds("rows", input);
    fuzz::list<vantu_brcm_csv_data> rows(vantu_init_brcm_data_list);
    REQUIRE(vantu_common_csv_to_data_list(rows.get(), "rows", &ops) == static_cast<int>(rows.size()));

    std::string text = std::string(header) + "\n";
    std::vector<std::string> lines;
    for (const vantu_brcm_csv_data *row : rows.records()) {
        lines.push_back(rendered(*row));
        text += lines.back() + "\n";
    }
    fuzz::file_holds("rows", text);
    fuzz::list<vantu_brcm_csv_data> again(vantu_init_brcm_data_list);
    REQUIRE(vantu_common_csv_to_data_list(again.get(), "rows", &ops) == static_cast<int>(lines.size()));
    size_t i = 0;
    for (vantu_brcm_csv_data *row : again.records()) {
        REQUIRE(rendered(*row) == lines[i++]);
        vantu_brcm_csv_data older = *row;
        REQUIRE(brcm_calculate_delta(&older, row) == 0 && older.sta_info.tx_bytes == 0);
    }
}
