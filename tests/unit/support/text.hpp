// Texts: lists of them, those that do not print, fields of records, and the runs of a parser over every truncation and
// every corrupted byte of its input.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace support
{

using texts = std::vector<std::string>;

// Characters that do not print, as the stored files write them.
inline std::string printable(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        char code[8];
        (void)snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned char>(c));
        out += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c < ' ' || c > '~' ? code : std::string(1, c);
    }
    return out;
}

// As the stored files write them.
inline std::string lines_of(const texts &all)
{
    std::string out;
    for (const std::string &line : all)
        out += printable(line) + "\n";
    return out;
}

// The lines of a text, each of which has its end.
inline texts split_lines(const std::string &text)
{
    texts out;
    size_t begin = 0;
    for (size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
        out.push_back(text.substr(begin, end - begin));
    EXPECT_EQ(begin, text.size()) << "the last line has no end";
    return out;
}

inline std::string joined(const texts &all, std::string_view separator = ",")
{
    std::string out;
    for (size_t i = 0; i < all.size(); i++)
        out.append(i == 0 ? "" : separator).append(all[i]);
    return out;
}

// `text`, filled up with 'p' in place of its '~' until it has `length` characters.
inline std::string filled(std::string text, size_t length)
{
    text.replace(text.find('~'), 1, std::string(length - text.size() + 1, 'p'));
    return text;
}

// Writes a text into a field, cut to its size.
template <size_t N>
void put(char (&field)[N], const std::string &text)
{
    (void)snprintf(field, N, "%s", text.c_str());
}

template <size_t N>
bool is_text(const char (&field)[N])
{
    return memchr(field, '\0', N) != nullptr;
}

template <typename Record>
std::string bytes_of(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof(record)};
}

template <typename Record>
bool is_zero(const Record &record)
{
    return bytes_of(record).find_first_not_of('\0') == std::string::npos;
}

// Calls `run` with every beginning of `text`, from the empty one to the whole.
inline void every_truncation(const std::string &text, const std::function<void(std::string_view)> &run)
{
    for (size_t length = 0; length <= text.size(); length++)
        run(std::string_view(text).substr(0, length));
}

// Calls `run` with every text that differs from `text` in one byte.
inline void every_corruption(std::string text, const std::function<void(std::string_view)> &run)
{
    for (char &byte : text) {
        const char good = byte;
        for (int step = 1; step < 256; step++) {
            byte = static_cast<char>(good + step);
            run(text);
        }
        byte = good;
    }
}

} // namespace support
