// Files of the ping tool, with the platform's rows and without; what was read is written and read again.

#include "brcm-generic/brcm-sample-table.h"
#include "brcm-generic/vantu-wifi-brcm.h"
#include "fuzz.hpp"
#include "vantu-libs2/vantu-fpingdq.h"

static vantu_platform_ops rows_of_broadcom()
{
    brcm_csvtable_init();
    vantu_platform_ops ops = {};
    ops.get_data_struct_size = brcm_get_csvdata_struct_size;
    ops.csv_string_to_data_struct = brcm_csv_string_to_data_struct;
    return ops;
}

static std::string written_from(sclist_t *pings)
{
    REQUIRE(vantu_fpingdq_data_to_csvfile(pings, "written") == 0);
    return fuzz::written();
}

static void check_round_trip(sclist_t *pings)
{
    const std::string text = written_from(pings);
    if (text.find(",15000.00,") != text.npos) // rounded to what stands for no answer
        return;
    fuzz::file_holds("pings", text);
    fuzz::list<vantu_fpingdq_ping> again(vantu_fpingdq_init_table);
    const int count = vantu_fpingdq_only_to_list(again.get(), "pings");
    REQUIRE(static_cast<size_t>(count) + 1 == static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
    REQUIRE(written_from(again.get()) == text);
}

FUZZ_TARGET(std::string_view input)
{
    if (std::count(input.begin(), input.end(), '\n') > 8) // each line costs as much as all of the rest
        return;
    static vantu_platform_ops ops = rows_of_broadcom();
    fuzz::file_holds("pings", input);
    fuzz::list<vantu_fpingdq_ping> with_rows(vantu_fpingdq_init_table);
    fuzz::list<vantu_fpingdq_ping> alone(vantu_fpingdq_init_table);
    const int count = vantu_fpingdq_csv_to_data_list(with_rows.get(), "pings", &ops);
    REQUIRE(count == static_cast<int>(with_rows.size()));
    REQUIRE(vantu_fpingdq_only_to_list(alone.get(), "pings") <= count);
    for (const vantu_fpingdq_ping *ping : with_rows.records()) {
        REQUIRE(fuzz::is_terminated(ping->ip) && ping->csvdata != nullptr);
        const auto &row = *static_cast<const vantu_brcm_csv_data *>(ping->csvdata);
        REQUIRE(fuzz::is_terminated(row.mac) && fuzz::is_terminated(row.radio));
    }
    for (const vantu_fpingdq_ping *ping : alone.records())
        REQUIRE(ping->csvdata == nullptr);
    check_round_trip(with_rows.get());
    REQUIRE(vantu_fpingdq_clear_table(with_rows.get()) == 0 && with_rows.size() == 0);
}
