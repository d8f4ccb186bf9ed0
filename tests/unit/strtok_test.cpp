// The field copy of the line splitter: what is copied, what is cut, and where the next field begins.

#include "vantu-libs2/strtok.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr long no_rest = -1;

struct copied {
    std::string text;
    long rest;   // where the next field begins in the line
    bool inside; // nothing was written beyond maxlen + 1 characters
};

copied copy_field(const std::string &line, int maxlen, const char *delimiter = ",")
{
    constexpr size_t guard = 32;
    std::vector<char> out(static_cast<size_t>(maxlen) + 1 + guard, '#');
    // Of its exact size, so that a sanitizer sees a look behind the line's end.
    std::vector<char> in(line.begin(), line.end());
    in.push_back('\0');
    in.shrink_to_fit();
    const char *rest = vantu_strtok(delimiter, in.data(), out.data(), maxlen);
    const auto behind = out.end() - static_cast<long>(guard);
    return {out.data(), rest == nullptr ? no_rest : rest - in.data(),
            std::all_of(behind, out.end(), [](char c) { return c == '#'; })};
}

struct row {
    const char *name;
    std::string line;
    int maxlen;
    std::string text;
    long rest;
};

template <size_t N>
void expect_rows(const row (&rows)[N])
{
    for (const row &each : rows) {
        const copied got = copy_field(each.line, each.maxlen);
        EXPECT_EQ(got.text, each.text) << each.name;
        EXPECT_EQ(got.rest, each.rest) << each.name;
        EXPECT_TRUE(got.inside) << each.name;
    }
}

std::string field(size_t length)
{
    std::string text(length, 'f');
    for (size_t i = 0; i < length; i++)
        text[i] = static_cast<char>('a' + i % 26);
    return text;
}

TEST(Strtok, CopiesTheFieldUpToTheCommaAndReturnsWhatFollows)
{
    const row rows[] = {
        {"empty line", "", 128, "", no_rest},
        {"a comma alone", ",", 128, "", 1},
        {"an empty field", ",y", 128, "", 1},
        {"a field before others", "x,,y", 128, "x", 2},
        {"the last field", "y", 128, "y", no_rest},
        {"a field before a trailing comma", "b,", 128, "b", 2},
        {"blanks are part of the field", " a b ,c", 128, " a b ", 6},
        {"CR and newline are part of the field", "a\r\n,c", 128, "a\r\n", 4},
        {"other separators are not", "a;b\tc|d,e", 128, "a;b\tc|d", 8},
        {"quotes do not protect a comma", "\"a,b\",c", 128, "\"a", 3},
        {"a backslash does not either", "a\\,b", 128, "a\\", 3},
        {"format characters stay", "%n%s,b", 128, "%n%s", 5},
        {"bytes that are no UTF-8 stay", "\xff\xc0\x80,b", 128, "\xff\xc0\x80", 4},
    };
    expect_rows(rows);
}

TEST(Strtok, FieldBeforeACommaKeepsMaxlenCharactersAndALongerOneOneLessWhichIsKept)
{
    const row rows[] = {
        {"one below", field(126) + ",r", 128, field(126), 127},
        {"terminator at the last place", field(127) + ",r", 128, field(127), 128},
        {"terminator one place beyond", field(128) + ",r", 128, field(128), 129},
        {"one too long", field(129) + ",r", 128, field(127), 130},
        {"200 characters", field(200) + ",r", 128, field(127), 201},
        {"100,000 characters", field(100000) + ",r", 128, field(127), 100001},
        {"short limit, exactly full", "abcd,r", 4, "abcd", 5},
        {"short limit, one too long", "abcde,r", 4, "abc", 6},
        {"limit 1, exactly full", "a,r", 1, "a", 2},
        {"limit 1, one too long", "ab,r", 1, "", 3},
    };
    expect_rows(rows);
}

TEST(Strtok, LastFieldKeepsOneCharacterLessThanMaxlenWhichIsKept)
{
    const row rows[] = {
        {"126 characters", field(126), 128, field(126), no_rest},
        {"exactly full", field(127), 128, field(127), no_rest},
        {"what would fit before a comma", field(128), 128, field(127), no_rest},
        {"129 characters", field(129), 128, field(127), no_rest},
        {"100,000 characters", field(100000), 128, field(127), no_rest},
        {"short limit, exactly full", "abc", 4, "abc", no_rest},
        {"short limit, one too long", "abcd", 4, "abc", no_rest},
        {"limit 1", "a", 1, "", no_rest},
    };
    expect_rows(rows);
}

TEST(Strtok, DelimiterIsIgnoredWhichIsKept)
{
    for (const char *delimiter : {",", ";", ";,", "", static_cast<const char *>(nullptr)}) {
        const std::string name = delimiter == nullptr ? "none" : delimiter;
        const copied got = copy_field("a;b,c", 128, delimiter);
        EXPECT_EQ(got.text, "a;b") << name;
        EXPECT_EQ(got.rest, 4) << name;
    }
}

TEST(Strtok, RandomFieldsAgreeWithAPlainModel)
{
    std::mt19937 random(4301);
    for (int run = 0; run < 20000; run++) {
        const int maxlen = 1 + static_cast<int>(random() % 140);
        // Most lengths are around the limit.
        const size_t length =
            random() % 4 == 0 ? random() % 300 : static_cast<size_t>(maxlen) + random() % 5 - std::min(2, maxlen);
        const bool last = random() % 3 == 0;
        const std::string text = field(length);
        const std::string line = last ? text : text + "," + field(random() % 5);

        const copied got = copy_field(line, maxlen);
        const auto limit = static_cast<size_t>(maxlen);
        const bool whole = !last && length <= limit;
        ASSERT_EQ(got.text, whole ? text : text.substr(0, limit - 1)) << maxlen << " " << line;
        ASSERT_EQ(got.rest, last ? no_rest : static_cast<long>(length) + 1) << maxlen << " " << line;
        ASSERT_TRUE(got.inside) << maxlen << " " << line;
    }
}

} // namespace
