// Foreign text on its way to a terminal or log. The first two bytes are a width and a precision.

#include "fuzz.hpp"
#include "printable.hpp"

#include <cstdarg>

static void add(void *to, std::string_view text)
{
    static_cast<std::string *>(to)->append(text);
}

__attribute__((format(printf, 1, 2))) static std::string formatted(const char *pattern, ...)
{
    std::string out;
    va_list arguments;
    va_start(arguments, pattern);
    vantu::format_printable({&out, add}, pattern, arguments);
    va_end(arguments);
    return out;
}

static bool is_printable(std::string_view text)
{
    for (size_t i = 0; i < text.size(); i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte < 0x20 || byte == 0x7f || (byte == 0xc2 && next < 0xa0))
            return false;
    }
    return true;
}

FUZZ_TARGET(std::string_view input)
{
    if (input.size() < 2)
        return;
    const int width = static_cast<signed char>(input[0]);
    const int precision = static_cast<signed char>(input[1]);
    const std::string text(input.substr(2));
    std::string all;
    vantu::add_printable({&all, add}, text);
    REQUIRE(is_printable(all) && all.size() <= 4 * text.size());
    // What is printable already stays as it is.
    std::string again;
    vantu::add_printable({&again, add}, all);
    REQUIRE(again == all);
    if (text.find('\\') == text.npos && all.find('\\') == all.npos)
        REQUIRE(all == text);

    const char *argument = text.c_str();
    const std::string whole = formatted("[%s] %d %5.2f", argument, 7, 1.5);
    REQUIRE(is_printable(whole) && whole.size() >= 10 && whole.substr(whole.size() - 9) == "] 7  1.50");
    REQUIRE(is_printable(formatted("%*.*s|%-10s|%.3s", width, precision, argument, argument, argument)));
    const vantu::printable<16> small(argument);
    REQUIRE(strlen(small.text()) <= 15);
}
