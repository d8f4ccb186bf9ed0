// The members of a set, as the ipset tool lists them.

#include "fuzz.hpp"
#include "vantu-libs2/ipsethelpers.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<char> members(vantu_ipset_entry_list_init);
    REQUIRE(fuzz::parse(input, internal_vantu_ipset_get_members, members.get()) == 0);
    const size_t reads = fuzz::reads_of(input, 1035);
    REQUIRE(members.size() == 0 || members.size() < reads);
    for (const char *member : members.records()) {
        REQUIRE(strlen(member) <= 127);
        REQUIRE(strpbrk(member, " \t\n\v\f\r") == nullptr);
    }
}
