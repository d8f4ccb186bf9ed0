// Appending one CSV file to another.

#include "fuzz.hpp"
#include "vantu-libs2/csv.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::file_holds("rows", input);
    REQUIRE(vantu_merge_fpingdq_csv_files("rows", "written") == 0);
    const bool plain = !input.empty() && input.back() == '\n' && input.find('\0') == input.npos;
    if (plain && fuzz::reads_of(input, 1025) == static_cast<size_t>(std::count(input.begin(), input.end(), '\n')))
        REQUIRE(fuzz::written() == input);
    REQUIRE(fuzz::written().size() <= input.size() + fuzz::reads_of(input, 1025));
}
