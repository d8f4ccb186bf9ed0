// Text into fixed arrays: the one way in, which always terminates.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace vantu
{

// Copies as much of `text` as fits and terminates it.
template <size_t N>
void copy_text(char (&field)[N], std::string_view text)
{
    const size_t length = std::min(text.size(), N - 1);
    memcpy(field, text.data(), length);
    field[length] = '\0';
}

} // namespace vantu
