// A configuration file. What was read is written by the rules of the format and read again, and must look the same.

#include "fuzz.hpp"
#include "uci_world.hpp"

FUZZ_TARGET(std::string_view input)
{
    static fuzz::memory_file file;
    file.hold(input);
    const fuzz::store_session session;
    uci_package *package = nullptr;
    const int result = uci_load(session.get(), file.path(), &package);
    REQUIRE(result == UCI_OK || result == UCI_ERR_PARSE);
    REQUIRE((package != nullptr) == (result == UCI_OK));
    REQUIRE(session.get()->err == result);
    char *message = nullptr;
    uci_get_errorstr(session.get(), &message, "file");
    REQUIRE(message != nullptr);
    free(message);
    if (package == nullptr)
        return;
    const std::string dump = fuzz::dump_of(*package);

    file.hold(fuzz::file_of(*package));
    const fuzz::store_session other;
    REQUIRE(uci_load(other.get(), file.path(), &package) == UCI_OK);
    REQUIRE(fuzz::dump_of(*package) == dump);
}
