// Texts from outside, made printable: see private/printable.hpp.

#include "printable.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/types.h>

namespace vantu
{

namespace
{

struct byte_range {
    unsigned char low;
    unsigned char high;
};

// A sequence of UTF-8 by its first byte: how many bytes it has, and which the second may be, so that nothing is longer
// than it must be, half of a pair, or a control character of the second set.
struct sequence {
    byte_range first;
    unsigned char length;
    byte_range second;
};

constexpr sequence sequences[] = {
    {{0x20, 0x7e}, 1, {0x00, 0x00}}, {{0xc2, 0xc2}, 2, {0xa0, 0xbf}}, {{0xc3, 0xdf}, 2, {0x80, 0xbf}},
    {{0xe0, 0xe0}, 3, {0xa0, 0xbf}}, {{0xe1, 0xec}, 3, {0x80, 0xbf}}, {{0xed, 0xed}, 3, {0x80, 0x9f}},
    {{0xee, 0xef}, 3, {0x80, 0xbf}}, {{0xf0, 0xf0}, 4, {0x90, 0xbf}}, {{0xf1, 0xf3}, 4, {0x80, 0xbf}},
    {{0xf4, 0xf4}, 4, {0x80, 0x8f}},
};

bool is_in(const byte_range &range, char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return value >= range.low && value <= range.high;
}

bool fits(const sequence &kind, std::string_view text)
{
    if (!is_in(kind.first, text[0]) || text.size() < kind.length)
        return false;
    if (kind.length > 1 && !is_in(kind.second, text[1]))
        return false;
    for (size_t i = 2; i < kind.length; i++) {
        if (!is_in({0x80, 0xbf}, text[i]))
            return false;
    }
    return true;
}

// One conversion of a format, "%-8.3ld" say, its stars replaced.
struct conversion {
    char flags[8];
    int width;     // 0: none; negative: to the left
    int precision; // negative: none
    char size[3];  // "hh" to "L", or empty
    char kind;     // the letter; NUL where the format ends
};

void take_flags(const char *&at, conversion &out)
{
    size_t count = strspn(at, "-+ #0'");
    copy_text(out.flags, {at, count});
    at += count;
}

template <typename NextStar>
int take_number(const char *&at, NextStar next_star)
{
    if (*at == '*') {
        at++;
        return next_star();
    }
    char *end = nullptr;
    const long number = strtol(at, &end, 10);
    at = end;
    return static_cast<int>(number);
}

template <typename NextStar>
conversion take_conversion(const char *&at, NextStar next_star)
{
    conversion out = {};
    take_flags(at, out);
    out.width = take_number(at, next_star);
    out.precision = -1;
    if (*at == '.') {
        at++;
        out.precision = take_number(at, next_star);
    }
    const size_t size = strspn(at, "hljztL");
    copy_text(out.size, {at, size});
    at += size;
    out.kind = *at;
    if (out.kind != '\0')
        at++;
    return out;
}

void add_blanks(const text_sink &out, int count)
{
    for (; count > 0; count--)
        out.add(out.to, " ");
}

void add_text(const text_sink &out, const conversion &how, std::string_view text)
{
    const bool left = strchr(how.flags, '-') != nullptr || how.width < 0;
    const int missing = abs(how.width) - static_cast<int>(text.size());
    if (!left)
        add_blanks(out, missing);
    add_printable(out, text);
    if (left)
        add_blanks(out, missing);
}

std::string_view limited(const char *text, int precision)
{
    if (text == nullptr)
        return "(null)";
    return {text, precision < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(precision))};
}

// The conversion as a format again, with another size of its argument. Formats are literals elsewhere.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename Value>
void add_number(const text_sink &out, const conversion &how, const char *size, Value value)
{
    char format[48];
    char width[16] = "";
    char precision[16] = "";
    if (how.width != 0)
        (void)snprintf(width, sizeof(width), "%d", how.width);
    if (how.precision >= 0)
        (void)snprintf(precision, sizeof(precision), ".%d", how.precision);
    (void)snprintf(format, sizeof(format), "%%%s%s%s%s%c", how.flags, width, precision, size, how.kind);
    char text[512];
    const int length = snprintf(text, sizeof(text), format, value);
    if (length > 0)
        out.add(out.to, {text, std::min(static_cast<size_t>(length), sizeof(text) - 1)});
}
#pragma GCC diagnostic pop

// A number of the size that its conversion says, which is how the caller has passed it.
intmax_t next_signed(const char *size, va_list &arguments)
{
    if (strcmp(size, "l") == 0)
        return va_arg(arguments, long);
    if (strcmp(size, "ll") == 0)
        return va_arg(arguments, long long);
    if (strcmp(size, "z") == 0)
        return va_arg(arguments, ssize_t);
    if (strcmp(size, "j") == 0)
        return va_arg(arguments, intmax_t);
    if (strcmp(size, "t") == 0)
        return va_arg(arguments, ptrdiff_t);
    const int value = va_arg(arguments, int);
    if (strcmp(size, "h") == 0)
        return static_cast<short>(value);
    return strcmp(size, "hh") == 0 ? static_cast<signed char>(value) : value;
}

uintmax_t next_unsigned(const char *size, va_list &arguments)
{
    if (strcmp(size, "l") == 0)
        return va_arg(arguments, unsigned long);
    if (strcmp(size, "ll") == 0)
        return va_arg(arguments, unsigned long long);
    if (strcmp(size, "z") == 0 || strcmp(size, "t") == 0)
        return va_arg(arguments, size_t);
    if (strcmp(size, "j") == 0)
        return va_arg(arguments, uintmax_t);
    const unsigned int value = va_arg(arguments, unsigned int);
    if (strcmp(size, "h") == 0)
        return static_cast<unsigned short>(value);
    return strcmp(size, "hh") == 0 ? static_cast<unsigned char>(value) : value;
}

// False for a conversion that is not known, whose argument therefore is not either: texts of wide characters, too.
bool add_argument(const text_sink &out, const conversion &how, va_list &arguments)
{
    if ((how.kind == 's' || how.kind == 'c') && how.size[0] != '\0')
        return false;
    switch (how.kind) {
    case '%':
        out.add(out.to, "%");
        return true;
    case 's':
        add_text(out, how, limited(va_arg(arguments, const char *), how.precision));
        return true;
    case 'c': {
        const char character = static_cast<char>(va_arg(arguments, int));
        add_text(out, how, {&character, 1});
        return true;
    }
    case 'd':
    case 'i':
        add_number(out, how, "j", next_signed(how.size, arguments));
        return true;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
        add_number(out, how, "j", next_unsigned(how.size, arguments));
        return true;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
        if (strcmp(how.size, "L") == 0)
            add_number(out, how, "L", va_arg(arguments, long double));
        else
            add_number(out, how, "", va_arg(arguments, double));
        return true;
    case 'p':
        add_number(out, how, "", va_arg(arguments, void *));
        return true;
    default:
        return false;
    }
}

} // namespace

size_t printable_length(std::string_view text)
{
    for (const sequence &kind : sequences) {
        if (fits(kind, text))
            return kind.length;
    }
    return 0;
}

void add_printable(const text_sink &out, std::string_view text)
{
    const char *start = text.data(); // of what is printable and not added yet
    const auto add_until = [&](const char *end) { out.add(out.to, {start, static_cast<size_t>(end - start)}); };
    while (!text.empty()) {
        const size_t length = printable_length(text);
        if (length == 0) {
            char escaped[8];
            (void)snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<unsigned char>(text[0]));
            add_until(text.data());
            out.add(out.to, escaped);
            start = text.data() + 1;
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    add_until(text.data());
}

void format_printable(const text_sink &out, const char *format, va_list from)
{
    va_list arguments;
    va_copy(arguments, from);
    for (bool known = true; known && *format != '\0';) {
        const size_t literal = strcspn(format, "%");
        out.add(out.to, {format, literal});
        format += literal;
        if (*format == '\0')
            break;
        const char *start = format++;
        const conversion how = take_conversion(format, [&] { return va_arg(arguments, int); });
        known = add_argument(out, how, arguments);
        if (!known)
            out.add(out.to, start);
    }
    va_end(arguments);
}

} // namespace vantu
