// What surrounds the product, replaced at link time: tools print and files hold what a target says, in memory. Until a
// target says so, the system's functions are called, since the fuzzer itself uses them, too.

#include "fuzz.hpp"

#include <algorithm>
#include <cstdarg>

namespace
{

struct reading {
    std::string_view rest;
};

ssize_t read_part(void *cookie, char *out, size_t size)
{
    auto &from = *static_cast<reading *>(cookie);
    const size_t length = std::min(size, from.rest.size());
    if (length > 0)
        memcpy(out, from.rest.data(), length);
    from.rest.remove_prefix(length);
    return static_cast<ssize_t>(length);
}

int end_reading(void *cookie)
{
    delete static_cast<reading *>(cookie);
    return 0;
}

FILE *open_text(std::string_view text)
{
    return fopencookie(new reading{text}, "r", {read_part, nullptr, nullptr, end_reading});
}

std::string written_text;

ssize_t write_part(void *, const char *part, size_t length)
{
    written_text.append(part, length);
    return static_cast<ssize_t>(length);
}

bool tools_are_replaced = false;
std::string_view tool_output;
int tool_status = 0;
const char *file_name = nullptr;
std::string_view file_content;

} // namespace

namespace fuzz
{

stream stream_of(std::string_view text)
{
    return stream(open_text(text));
}

void tools_print(std::string_view output, int status)
{
    tools_are_replaced = true;
    tool_output = output;
    tool_status = status;
}

void file_holds(const char *name, std::string_view content)
{
    file_name = name;
    file_content = content;
}

const std::string &written()
{
    return written_text;
}

std::string format(const char *pattern, ...)
{
    char text[2048];
    va_list arguments;
    va_start(arguments, pattern);
    const int length = vsnprintf(text, sizeof(text), pattern, arguments);
    va_end(arguments);
    REQUIRE(length >= 0 && static_cast<size_t>(length) < sizeof(text));
    return text;
}

} // namespace fuzz

extern "C" {

FILE *__real_popen(const char *command, const char *mode);
int __real_pclose(FILE *pipe);
FILE *__real_fopen(const char *path, const char *mode);

FILE *__wrap_popen(const char *command, const char *mode);
int __wrap_pclose(FILE *pipe);
FILE *__wrap_fopen(const char *path, const char *mode);

FILE *__wrap_popen(const char *command, const char *mode)
{
    return tools_are_replaced ? open_text(tool_output) : __real_popen(command, mode);
}

int __wrap_pclose(FILE *pipe)
{
    if (!tools_are_replaced)
        return __real_pclose(pipe);
    (void)fclose(pipe);
    return tool_status;
}

FILE *__wrap_fopen(const char *path, const char *mode)
{
    if (file_name != nullptr && strcmp(path, "written") == 0) {
        written_text.clear();
        return fopencookie(nullptr, "w", {nullptr, write_part, nullptr, nullptr});
    }
    if (file_name != nullptr && strcmp(path, file_name) == 0)
        return open_text(file_content);
    return __real_fopen(path, mode);
}
}
