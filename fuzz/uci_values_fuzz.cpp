// Lists of lookups and values that are written to the configuration store, and read back: the lines of the input are a
// prefix, the lookups and the values. In a directory of its own, since every change is committed.

#include "fuzz.hpp"
#include "uci_world.hpp"
#include "vantu-libs2/vantu-uci.h"

#include <fcntl.h>
#include <filesystem>

namespace
{

constexpr char content[] = "config rule 'main'\n\toption a 'x'\n\tlist b '1'\n\tlist b '2'\nconfig rule\n"
                           "\toption a 'y'\nconfig zone 'lan'\n\tlist b '3'\n";

class store
{
public:
    store()
    {
        REQUIRE(mkdtemp(directory_) != nullptr);
        REQUIRE(vantu_uci_init() == 0);
        REQUIRE(uci_set_confdir(vantu_get_uci_context(), directory_) == UCI_OK);
        REQUIRE(uci_set_savedir(vantu_get_uci_context(), (std::string(directory_) + "/pending").c_str()) == UCI_OK);
        nowhere_ = fopen("/dev/null", "we");
        REQUIRE(nowhere_ != nullptr);
    }
    ~store()
    {
        vantu_routercfg_close();
        (void)fclose(nowhere_);
        std::error_code ignored;
        (void)std::filesystem::remove_all(directory_, ignored);
    }
    store(const store &) = delete;
    store &operator=(const store &) = delete;

    // The package as it was, and nothing pending.
    void reset() const
    {
        const std::string path = std::string(directory_) + "/wifi";
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        REQUIRE(file >= 0 && write(file, content, sizeof(content) - 1) == sizeof(content) - 1);
        (void)close(file);
        (void)unlink((std::string(directory_) + "/pending/wifi").c_str());
    }

    // Calls without what the store reports on standard error.
    template <typename Call>
    auto quietly(Call call) const
    {
        FILE *const kept = stderr;
        stderr = nowhere_;
        const auto result = call();
        stderr = kept;
        return result;
    }

private:
    char directory_[32] = "/dev/shm/fuzz-uci-XXXXXX";
    FILE *nowhere_;
};

std::string take_line(std::string_view &input)
{
    const size_t end = std::min(input.find('\n'), input.size());
    const std::string line = std::string(input.substr(0, end)).c_str();
    input.remove_prefix(std::min(end + 1, input.size()));
    return line;
}

bool is_plain(const std::string &text)
{
    return !text.empty() && text.size() <= 31 &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return isalnum(c) != 0 || c == '_'; });
}

} // namespace

FUZZ_TARGET(std::string_view input)
{
    static const store all;
    all.reset();
    const std::string prefix = take_line(input);
    const std::string lookups = take_line(input);
    const std::string values(input.data(), strnlen(input.data(), input.size()));

    const int result =
        all.quietly([&] { return vantu_update_config(prefix.c_str(), lookups.c_str(), values.c_str()); });
    REQUIRE(result == E_OK || result == E_INVALIDPARAM || result == E_PARAMNOTFOUND || result == E_PARAMSETFAILED);
    const auto commas = [](const std::string &text) { return std::count(text.begin(), text.end(), ','); };
    REQUIRE((result == E_INVALIDPARAM) == (commas(lookups) != commas(values)));
    if (prefix == "wifi.main" && is_plain(lookups) && is_plain(values)) {
        REQUIRE(result == E_OK);
        REQUIRE(all.quietly([&] { return cmp_param_str((prefix + "." + lookups).c_str(), values.c_str()); }) ==
                E_CMP_EQUAL);
    }
    // Whatever was written, the package can be read.
    char text[512];
    const int length = all.quietly([&] { return vantu_list_uci_configs("wifi", text, sizeof(text)); });
    REQUIRE(length > 0 && static_cast<size_t>(length) == strlen(text));

    const std::string lookup = prefix + "." + lookups;
    char value[16];
    memset(value, 'x', sizeof(value));
    const int read = all.quietly([&] { return get_param_str(lookup.c_str(), value, sizeof(value)); });
    REQUIRE(read == E_OK || read == E_PARAMNOTFOUND);
    char *whole = nullptr;
    if (all.quietly([&] { return get_param_str_alloc(lookup.c_str(), &whole); }) == E_OK)
        REQUIRE(whole != nullptr && read == E_OK && fuzz::is_terminated(value));
    free(whole);
    int64_t number = 0;
    (void)all.quietly([&] { return get_param_s64(lookup.c_str(), &number); });
    (void)all.quietly([&] { return mod_list_param_str(lookup.c_str(), values.c_str(), 0); });
    (void)all.quietly([&] { return mod_list_param_str(lookup.c_str(), values.c_str(), 1); });
    (void)all.quietly([&] { return del_anonymous_param(lookup.c_str(), values.c_str()); });
    REQUIRE(all.quietly([&] { return vantu_list_uci_configs("wifi", text, sizeof(text)); }) > 0);
}
