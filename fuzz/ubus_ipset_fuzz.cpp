// The members of a set, as the ubus object answers; a member counts up to its first NUL.

#include "fuzz.hpp"
#include "vantu-libs2/ipsethelpers.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::tools_print(input);
    fuzz::list<char> members(vantu_ipset_entry_list_init);
    const int result = vantu_ipset_ubuscmd_get_members(members.get(), "vantuvi");
    REQUIRE(result == 0 || (result == -1 && members.size() == 0));
    REQUIRE(members.size() <= input.size() / 3 + 1);
    size_t length = 0;
    for (const char *member : members.records())
        length += strlen(member);
    REQUIRE(length <= input.size());
}
