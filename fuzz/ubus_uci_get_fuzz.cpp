// A value of the host's configuration, as its ubus object answers the container. The first byte is the size of the
// caller's text, the second the tool's status.

#include "fuzz.hpp"
#include "hobe-lxc/vantu-hobe-lxc.h"

FUZZ_TARGET(std::string_view input)
{
    if (input.size() < 2)
        return;
    const auto size = static_cast<unsigned char>(input[0]);
    const int status = input[1] % 2 != 0 ? 256 : 0;
    fuzz::tools_print(input.substr(2), status);
    // Of exactly that size, so that one byte more is noticed.
    const std::unique_ptr<char[]> out(new char[size]);
    if (size > 0)
        memset(out.get(), 'x', size);
    REQUIRE(hobe_container_get_uci("env", "var", "serial", out.get(), size) == status);
    if (size > 0 && memchr(out.get(), '\0', size) == nullptr)
        REQUIRE(std::string_view(out.get(), size).find_first_not_of('x') == std::string_view::npos);
}
