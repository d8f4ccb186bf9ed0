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
    if (length > 0) // an empty view may be at no place at all
        memcpy(field, text.data(), length);
    field[length] = '\0';
}

// Writes texts one behind the other into a buffer, as much as fits, and counts all of it. No half of a UTF-8 character
// is written, and nothing behind a text that was cut.
class bounded_text
{
public:
    bounded_text(char *out, int size) : out_(out), size_(size > 0 ? static_cast<size_t>(size) : 0)
    {
        if (size_ > 0)
            out_[0] = '\0';
    }

    void add(std::string_view text)
    {
        size_t length = std::min(text.size(), room());
        if (length < text.size()) {
            for (int i = 0; i < 3 && length > 0 && is_continuation(text[length]); i++)
                length--;
            size_ = std::min(size_, written_ + length + 1);
        }
        if (length > 0)
            memcpy(out_ + written_, text.data(), length);
        written_ += length;
        length_ += text.size();
        if (size_ > 0)
            out_[written_] = '\0';
    }

    size_t room() const { return size_ > 0 ? size_ - 1 - written_ : 0; }

    // Of what was added, and of what of it is in the buffer.
    size_t length() const { return length_; }
    size_t written() const { return written_; }

private:
    static bool is_continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U; }

    char *out_;
    size_t size_;
    size_t written_ = 0;
    size_t length_ = 0;
};

} // namespace vantu
