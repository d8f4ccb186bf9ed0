// Texts from outside on their way to a terminal or a log: plain ones are formatted as the C library formats them, and
// of the others nothing is left that a terminal would act upon or that would begin another line.

#include "printable.hpp"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using namespace std::string_literals;
using support::texts;

void append(void *to, std::string_view text)
{
    static_cast<std::string *>(to)->append(text);
}

std::string shown(std::string_view text)
{
    std::string out;
    vantu::add_printable({&out, append}, text);
    return out;
}

// The formats are made up here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wsuggest-attribute=format"

std::string formatted(const char *format, ...)
{
    std::string out;
    va_list arguments;
    va_start(arguments, format);
    vantu::format_printable({&out, append}, format, arguments);
    va_end(arguments);
    return out;
}

std::string of_the_c_library(const char *format, ...)
{
    char out[2048];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(out, sizeof(out), format, arguments);
    va_end(arguments);
    EXPECT_TRUE(length >= 0 && length < static_cast<int>(sizeof(out))) << format;
    return out;
}

#pragma GCC diagnostic pop

template <typename... Arguments>
void expect_as_the_c_library(const std::string &format, Arguments... arguments)
{
    EXPECT_EQ(formatted(format.c_str(), arguments...), of_the_c_library(format.c_str(), arguments...)) << format;
}

// Everything that stands between the percent sign and the size, with stars replaced by numbers that are passed.
struct frame {
    std::string text;
    int stars;
};

std::vector<frame> frames()
{
    std::vector<frame> out;
    for (const char *flags : {"", "-", "0", "+", " ", "#", "'", "-0", "+ ", "#0", "-+ #0'"}) {
        for (const std::string width : {"", "1", "5", "30", "*"}) {
            for (const std::string precision : {"", ".", ".0", ".1", ".3", ".12", ".*"}) {
                const int stars = (width == "*" ? 1 : 0) + (precision == ".*" ? 1 : 0);
                out.push_back({"%" + (flags + width + precision), stars});
            }
        }
    }
    return out;
}

constexpr int star_values[] = {-12, -1, 0, 7, 25};

template <typename Value>
void expect_framed(const frame &how, const std::string &end, Value value)
{
    const std::string format = "<" + how.text + end + ">";
    if (how.stars == 0)
        expect_as_the_c_library(format, value);
    for (const int first : star_values) {
        if (how.stars == 1)
            expect_as_the_c_library(format, first, value);
        for (const int second : star_values) {
            if (how.stars == 2)
                expect_as_the_c_library(format, first, second, value);
        }
    }
}

template <typename Value>
std::vector<Value> edges()
{
    using limits = std::numeric_limits<Value>;
    return {0, 1, static_cast<Value>(-1), 42, 127, 128, 255, 256, limits::min(), limits::max()};
}

template <typename Signed, typename Unsigned>
void expect_numbers(const std::string &size)
{
    for (const frame &how : frames()) {
        for (const char kind : {'d', 'i'}) {
            for (const Signed value : edges<Signed>())
                expect_framed(how, size + kind, value);
        }
        for (const char kind : {'u', 'o', 'x', 'X'}) {
            for (const Unsigned value : edges<Unsigned>())
                expect_framed(how, size + kind, value);
        }
    }
}

// ---- What is formatted ----

TEST(FormatPrintable, NumbersOfEverySizeAreAsTheCLibraryWritesThem)
{
    expect_numbers<int, unsigned int>("");
    expect_numbers<int, unsigned int>("h");
    expect_numbers<int, unsigned int>("hh");
    expect_numbers<long, unsigned long>("l");
    expect_numbers<long long, unsigned long long>("ll");
    expect_numbers<ssize_t, size_t>("z");
    expect_numbers<intmax_t, uintmax_t>("j");
    expect_numbers<ptrdiff_t, size_t>("t");
}

TEST(FormatPrintable, FractionsAreAsTheCLibraryWritesThem)
{
    const double values[] = {0.0,       -0.0,    1.0,     -1.5,        61.0,     0.005,     1e-7,        123.456,
                             1234567.0, DBL_MIN, DBL_MAX, DBL_EPSILON, HUGE_VAL, -HUGE_VAL, std::nan("")};
    for (const frame &how : frames()) {
        for (const char kind : {'f', 'F', 'e', 'E', 'g', 'G'}) {
            for (const double value : values) {
                expect_framed(how, std::string(1, kind), value);
                expect_framed(how, "l"s + kind, value);
                if (value != DBL_MAX)
                    expect_framed(how, "L"s + kind, static_cast<long double>(value));
            }
        }
    }
}

TEST(FormatPrintable, PlainTextsAndCharactersAreAsTheCLibraryWritesThem)
{
    const char *const values[] = {"", "a", "wl0.1", "a host name with blanks", "%n%s%d", "\\x1b", "B\xc3\xbcro", "~"};
    for (const char *flags : {"", "-"}) {
        for (const std::string width : {"", "1", "5", "30", "*"}) {
            for (const std::string precision : {"", ".0", ".1", ".12", ".64", ".*"}) {
                const int stars = (width == "*" ? 1 : 0) + (precision == ".*" ? 1 : 0);
                for (const char *value : values) {
                    if (strchr(value, '\xc3') == nullptr || precision.empty())
                        expect_framed({"%" + (flags + width + precision), stars}, "s", value);
                }
            }
            for (int character = ' '; character <= '~'; character++)
                expect_framed({"%" + (flags + width), width == "*" ? 1 : 0}, "c", character);
        }
    }
}

TEST(FormatPrintable, AddressesInMemoryAreAsTheCLibraryWritesThem)
{
    int place = 0;
    for (const char *format : {"%p", "%30p", "%-30p|"}) {
        expect_as_the_c_library(format, static_cast<void *>(&place));
        expect_as_the_c_library(format, static_cast<void *>(nullptr));
    }
}

TEST(FormatPrintable, AMissingTextIsNamed)
{
    for (const char *format : {"%s", "%20s|", "%-20s|", "%.20s"})
        expect_as_the_c_library(format, static_cast<const char *>(nullptr));
    EXPECT_EQ(formatted("[%s][%s]", static_cast<const char *>(nullptr), "next"), "[(null)][next]");
}

TEST(FormatPrintable, LiteralTextsStayWithTheirColoursTabsAndLineEnds)
{
    for (const std::string format : {"", "text", "\033[31mred\033[0m\tand\n", "100%%", "%%", "%%%%", "a%%b%%c", "\xff"})
        expect_as_the_c_library(format);
    EXPECT_EQ(formatted("\033[31m%s\033[0m\t%d\n", "\033[32m\t\n", 7), "\033[31m\\x1b[32m\\x09\\x0a\033[0m\t7\n");
}

TEST(FormatPrintable, ArgumentsBehindEachOtherAreTakenInTheirOrder)
{
    expect_as_the_c_library("%s %d %lld %c %u %s %5.2f %zu %% %x %-8s| %s", "a", INT_MIN, LLONG_MIN, 'c', UINT_MAX, "b",
                            -3.14159, SIZE_MAX, 0xbeef, "left", "end");
    expect_as_the_c_library("%d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10);
    expect_as_the_c_library("%f %d %f %d %f %d %f %d %f %f %f %f %f", 1.0, 1, 2.0, 2, 3.0, 3, 4.0, 4, 5., 6., 7., 8.,
                            9.);
    expect_as_the_c_library("%*d|%-*s|%.*s|%*.*f|%s", 9, 42, 9, "left", 2, "cut", 8, 3, 2.5, "end");
}

TEST(FormatPrintable, TheCallersArgumentsCanBeReadAgain)
{
    const auto twice = [](const char *format, ...) {
        std::string out;
        va_list arguments;
        va_start(arguments, format);
        vantu::format_printable({&out, append}, format, arguments);
        vantu::format_printable({&out, append}, format, arguments);
        va_end(arguments);
        return out;
    };
    EXPECT_EQ(twice("%s %d;", "a", 7), "a 7;a 7;");
}

TEST(FormatPrintable, AConversionThatIsNotKnownEndsTheConversions)
{
    const struct {
        const char *format;
        const char *shown;
    } rows[] = {
        {"%d %y %s", "1 %y %s"}, {"%d %n %s", "1 %n %s"}, {"%d %ls %s", "1 %ls %s"}, {"%d %lc %s", "1 %lc %s"},
        {"%d %S", "1 %S"},       {"%d %a %d", "1 %a %d"}, {"%d %", "1 %"},           {"%d %5", "1 %5"},
        {"%d %-", "1 %-"},       {"%d %.", "1 %."},       {"%d %ll", "1 %ll"},       {"%d %!\n", "1 %!\n"},
        {"%d %m", "1 %m"},       {"%d %1$s", "1 %1$s"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(formatted(row.format, 1, "text", "text"), row.shown) << row.format;
    int unwritten = 42;
    EXPECT_EQ(formatted("%n", &unwritten), "%n");
    EXPECT_EQ(unwritten, 42);
}

// ---- The conversions of the product ----

// One text or number for each conversion that a message of the product has.
const struct {
    const char *conversion;
    std::string (*run)(bool of_the_library);
} product_conversions[] = {
#define CONVERSION(format, value)                                                                               \
    {                                                                                                           \
        format, [](bool of_the_library) {                                                                       \
            return of_the_library ? of_the_c_library("<" format ">", value) : formatted("<" format ">", value); \
        }                                                                                                       \
    }
    CONVERSION("%s", "text"),
    CONVERSION("%-30s", "text"),
    CONVERSION("%-5s", "INFO"),
    CONVERSION("%.64s", "text"),
    {"%.*s",
     [](bool of_the_library) {
         return of_the_library ? of_the_c_library("<%.*s>", 2, "text") : formatted("<%.*s>", 2, "text");
     }},
    CONVERSION("%d", INT_MIN),
    CONVERSION("%i", INT_MAX),
    CONVERSION("%u", UINT_MAX),
    CONVERSION("%02x", 10U),
    CONVERSION("%ld", LONG_MIN),
    CONVERSION("%lu", ULONG_MAX),
    CONVERSION("%lld", LLONG_MIN),
    CONVERSION("%llu", ULLONG_MAX),
    CONVERSION("%zu", SIZE_MAX),
    CONVERSION("%f", -3.14159),
    CONVERSION("%.2f", 61.005),
    CONVERSION("%5.2f", 1.0),
    CONVERSION("%c", 'c'),
    CONVERSION("%%", 0),
#undef CONVERSION
};

TEST(FormatPrintable, TheConversionsOfTheProductAreAsTheCLibraryWritesThem)
{
    for (const auto &row : product_conversions)
        EXPECT_EQ(row.run(false), row.run(true)) << row.conversion;
}

// The literals of the calls of the logger in a source file.
texts message_formats(const std::string &source)
{
    texts out;
    static const std::regex call(
        R"re(\blog_(?:trace|debug|info|warn|error|fatal|log)\(((?:[^";]|"(?:[^"\\]|\\.)*")*);)re");
    static const std::regex literal(R"re("((?:[^"\\]|\\.)*)"(?:\s*(PRI[a-zA-Z0-9]+))?)re");
    for (std::sregex_iterator at(source.begin(), source.end(), call), end; at != end; ++at) {
        const std::string arguments = (*at)[1];
        std::string format;
        for (std::sregex_iterator part(arguments.begin(), arguments.end(), literal); part != end; ++part) {
            format += (*part)[1];
            format += (*part)[2].matched ? "lu" : "";
        }
        out.push_back(format);
    }
    return out;
}

TEST(FormatPrintable, EveryConversionOfAMessageOfTheProductIsAmongThese)
{
    std::set<std::string> known;
    for (const auto &row : product_conversions)
        known.insert(row.conversion);
    size_t messages = 0;
    static const std::regex conversion(R"(%[-+ #0']*(?:\*|\d+)?(?:\.(?:\*|\d+))?(?:hh|h|ll|l|j|z|t|L)?[a-zA-Z%])");
    const fs::path root = fs::path(VANTU_FIXTURES) / ".." / "..";
    for (const char *folder : {"ll-api", "libs2", "platforms", "sclist", "."}) {
        const fs::directory_iterator level(root / folder);
        std::vector<fs::path> sources(begin(level), end(level));
        if (folder == "platforms"s)
            sources.assign(fs::recursive_directory_iterator(root / folder), fs::recursive_directory_iterator());
        for (const fs::path &path : sources) {
            if (path.extension() != ".cpp")
                continue;
            for (const std::string &format : message_formats(support::content_of(path))) {
                messages++;
                for (std::sregex_iterator at(format.begin(), format.end(), conversion), end; at != end; ++at)
                    EXPECT_EQ(known.count(at->str()), 1U) << path << ": " << at->str() << " in " << format;
            }
        }
    }
    EXPECT_GT(messages, 200U);
}

// ---- What is shown ----

std::string escaped(std::string_view bytes)
{
    std::string out;
    for (const char byte : bytes) {
        char code[8];
        (void)snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned char>(byte));
        out += code;
    }
    return out;
}

// A number as a sequence of so many bytes, whether it may be one or not.
std::string encoded(uint32_t number, size_t length)
{
    static constexpr unsigned char marks[] = {0, 0, 0xc0, 0xe0, 0xf0};
    std::string out(length, '\0');
    for (size_t i = length - 1; i > 0; i--, number >>= 6)
        out[i] = static_cast<char>(0x80 | (number & 0x3f));
    out[0] = static_cast<char>(marks[length] | number);
    return out;
}

size_t length_of(uint32_t number)
{
    return number < 0x80 ? 1 : number < 0x800 ? 2 : number < 0x10000 ? 3 : 4;
}

bool may_be_shown(uint32_t number)
{
    const bool is_control = number < 0x20 || (number >= 0x7f && number < 0xa0);
    const bool is_half_of_a_pair = number >= 0xd800 && number < 0xe000;
    return !is_control && !is_half_of_a_pair && number <= 0x10ffff;
}

TEST(AddPrintable, EveryByteAloneIsShownOrEscaped)
{
    for (int value = 0; value < 256; value++) {
        const std::string byte(1, static_cast<char>(value));
        const std::string want = value >= 0x20 && value < 0x7f ? byte : escaped(byte);
        EXPECT_EQ(shown(byte), want) << value;
        EXPECT_EQ(shown("a" + byte + "b"), "a" + want + "b") << value;
        EXPECT_EQ(formatted("%c", value), want) << value;
        if (value != 0) {
            EXPECT_EQ(formatted("[%s]", byte.c_str()), "[" + want + "]") << value;
        }
    }
}

TEST(AddPrintable, EveryCharacterOfUnicodeStaysButTheControlsAndHalvesOfPairs)
{
    size_t kept = 0;
    for (uint32_t number = 0; number < 0x110000; number++) {
        const std::string character = encoded(number, length_of(number));
        const std::string want = may_be_shown(number) ? character : escaped(character);
        ASSERT_EQ(shown(character), want) << number;
        kept += want == character ? 1U : 0U;
    }
    EXPECT_EQ(kept, 0x110000U - 2048U - 65U);
}

TEST(AddPrintable, ASequenceThatIsLongerThanItMustBeIsEscaped)
{
    for (uint32_t number = 0; number < 0x10000; number++) {
        for (size_t length = length_of(number) + 1; length <= 4; length++)
            ASSERT_EQ(shown(encoded(number, length)), escaped(encoded(number, length))) << number << " " << length;
    }
    EXPECT_EQ(shown("\xc0\xaf"), "\\xc0\\xaf");
    EXPECT_EQ(shown("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");
    EXPECT_EQ(shown("\xc0\x80"), "\\xc0\\x80");
}

TEST(AddPrintable, WhatLiesBehindTheLastCharacterIsEscaped)
{
    for (uint32_t number = 0x110000; number < 0x200000; number += 0x3ff)
        ASSERT_EQ(shown(encoded(number, 4)), escaped(encoded(number, 4))) << number;
    for (const std::string text :
         {"\xf5\x80\x80\x80", "\xf8\x88\x80\x80\x80", "\xfc\x84\x80\x80\x80\x80", "\xfe", "\xff"})
        EXPECT_EQ(shown(text), escaped(text));
}

TEST(AddPrintable, ASequenceThatIsCutIsEscapedAndWhatFollowsIsShown)
{
    for (const std::string whole :
         {"\xc3\xbc", "\xe2\x82\xac", "\xf0\x9f\x93\xb6", "\xef\xbf\xbd", "\xf4\x8f\xbf\xbf"}) {
        ASSERT_EQ(shown(whole), whole);
        for (size_t length = 1; length < whole.size(); length++) {
            const std::string cut = whole.substr(0, length);
            EXPECT_EQ(shown(cut), escaped(cut));
            EXPECT_EQ(shown(cut + "a"), escaped(cut) + "a");
            EXPECT_EQ(shown(cut + whole), escaped(cut) + whole);
            EXPECT_EQ(shown(cut + "\n"), escaped(cut + "\n"));
            EXPECT_EQ(shown(whole.substr(length) + "a"), escaped(whole.substr(length)) + "a");
        }
    }
}

TEST(AddPrintable, TextsThatATerminalOrALogWouldActUponAreShown)
{
    const struct {
        std::string text;
        const char *shown;
    } rows[] = {
        {"", ""},
        {"\033[31mred\033[0m", "\\x1b[31mred\\x1b[0m"},
        {"\033]0;title\a", "\\x1b]0;title\\x07"},
        {"\xc2\x9b"
         "2J",
         "\\xc2\\x9b2J"},
        {"\x9b"
         "2J",
         "\\x9b2J"},
        {"one\ntwo", "one\\x0atwo"},
        {"one\r\ntwo", "one\\x0d\\x0atwo"},
        {"one\ttwo", "one\\x09two"},
        {"back\bspace\x7f", "back\\x08space\\x7f"},
        {"\xc2\x85", "\\xc2\\x85"},
        {"\0"s, "\\x00"},
        {"a\0b"s, "a\\x00b"},
        {"%n%s", "%n%s"},
        {"\\x1b", "\\x1b"},
        {"B\xc3\xbcro", "B\xc3\xbcro"},
        {"\xe5\xae\xa2\xe5\x8e\x85", "\xe5\xae\xa2\xe5\x8e\x85"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(shown(row.text), row.shown);
}

// Decodes strictly, one character at a time.
bool is_valid_and_printable(std::string_view text)
{
    while (!text.empty()) {
        size_t length = 1;
        for (; length <= 4 && length <= text.size(); length++) {
            uint32_t number = static_cast<unsigned char>(text[0]);
            if (length > 1) {
                number &= 0xffU >> (length + 1);
                for (size_t i = 1; i < length; i++)
                    number = number << 6 | (static_cast<unsigned char>(text[i]) & 0x3f);
            }
            if (may_be_shown(number) && length_of(number) == length &&
                encoded(number, length) == text.substr(0, length))
                break;
        }
        if (length > 4 || length > text.size())
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string unescaped(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        if (text.compare(i, 2, "\\x") == 0) {
            out += static_cast<char>(strtol(text.substr(i + 2, 2).c_str(), nullptr, 16));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

TEST(AddPrintable, RandomBytesBecomeOneLineOfUnicodeFromWhichTheyCanBeToldAgain)
{
    std::mt19937 random(1207);
    // Mostly bytes that may be part of a sequence.
    const std::string likely = "\xc2\xc3\xe0\xe2\xed\xf0\xf4\x80\x8f\x90\x9f\xa0\xbf"
                               "a\n\033\x7f "s;
    for (int run = 0; run < 50000; run++) {
        std::string text(random() % 24, '\0');
        for (char &byte : text) {
            byte = random() % 4 == 0 ? static_cast<char>(random()) : likely[random() % likely.size()];
            byte = byte == '\\' ? '/' : byte;
        }
        const std::string out = shown(text);
        ASSERT_TRUE(is_valid_and_printable(out)) << support::printable(text);
        ASSERT_EQ(unescaped(out), text) << support::printable(text);
        ASSERT_EQ(shown(out), out) << support::printable(text);
    }
}

TEST(FormatPrintable, AHostileArgumentTakesTheWidthThatItsBytesTake)
{
    EXPECT_EQ(formatted("[%6s]", "a\nb"), "[   a\\x0ab]");
    EXPECT_EQ(formatted("[%-6s]", "a\nb"), "[a\\x0ab   ]");
    EXPECT_EQ(formatted("[%*s]", -4, "\033"), "[\\x1b   ]");
    EXPECT_EQ(formatted("[%2s]", "\n\n\n"), "[\\x0a\\x0a\\x0a]");
}

TEST(FormatPrintable, APrecisionThatCutsACharacterLeavesNoHalfOfIt)
{
    EXPECT_EQ(formatted("[%.2s]", "a\xc3\xbc"), "[a\\xc3]");
    EXPECT_EQ(formatted("[%.3s]", "a\xc3\xbc"), "[a\xc3\xbc]");
    EXPECT_EQ(formatted("[%.*s]", 3, "\xf0\x9f\x93\xb6"), "[\\xf0\\x9f\\x93]");
    const char unterminated[] = {'a', '\n', 'b'};
    EXPECT_EQ(formatted("[%.3s]", unterminated), "[a\\x0ab]");
}

// ---- Copies of a limited size ----

TEST(PrintableCopy, IsCutToItsSize)
{
    EXPECT_STREQ(vantu::printable<1>("a").text(), "");
    EXPECT_STREQ(vantu::printable<5>("").text(), "");
    EXPECT_STREQ(vantu::printable<5>("abc").text(), "abc");
    EXPECT_STREQ(vantu::printable<5>("abcd").text(), "abcd");
    EXPECT_STREQ(vantu::printable<5>("abcde").text(), "abcd");
    EXPECT_STREQ(vantu::printable<5>("\n").text(), "\\x0a");
    EXPECT_STREQ(vantu::printable<5>("\xff\xff").text(), "\\xff");
    EXPECT_STREQ(vantu::printable<3>("\xc3\xbc").text(), "\xc3\xbc");
    EXPECT_STREQ(vantu::printable<256>("\033[31m%s\n").text(), "\\x1b[31m%s\\x0a");
}

TEST(PrintableCopy, ACutLeavesNoHalfOfACharacter)
{
    EXPECT_TRUE(is_valid_and_printable(vantu::printable<2>("\xc3\xbc").text()));
    EXPECT_TRUE(is_valid_and_printable(vantu::printable<5>("abc\xc3\xbc").text()));
    EXPECT_TRUE(is_valid_and_printable(vantu::printable<5>("ab\xe2\x82\xac").text()));
    EXPECT_TRUE(is_valid_and_printable(vantu::printable<5>("a\xf0\x9f\x93\xb6").text()));
}

} // namespace
