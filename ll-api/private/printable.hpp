// Texts from outside on their way to a terminal or a log: what a terminal would act upon, and what would begin another
// line, is shown as \xNN. A host name is what its owner wants it to be.
#pragma once

#include "text.hpp"

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace vantu
{

// Where formatted text goes.
struct text_sink {
    void *to;
    void (*add)(void *to, std::string_view text);
};

// How many bytes the character at the start of a text has, when a terminal shows it as it is; 0 for a control
// character, and for what is no UTF-8.
size_t printable_length(std::string_view text);

// Adds a text, with every control character, and every byte that is no UTF-8, written as \xNN.
void add_printable(const text_sink &out, std::string_view text);

// Formats as vprintf does, but adds texts and characters that are arguments with add_printable; what stands in the
// format itself, colours for one, stays. A conversion that is not known ends the conversions.
void format_printable(const text_sink &out, const char *format, va_list arguments);

// A printable copy of a text, cut to Size - 1 characters.
template <size_t Size>
class printable
{
public:
    explicit printable(const char *text)
    {
        bounded_text copy(text_, Size);
        add_printable({&copy, [](void *to, std::string_view part) { static_cast<bounded_text *>(to)->add(part); }},
                      text);
    }

    const char *text() const { return text_; }

private:
    char text_[Size];
};

} // namespace vantu
