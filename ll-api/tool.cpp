// The frame around a tool: see private/tool.hpp.

#include "tool.hpp"

#include "vantu-ll-api/testfile.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace vantu
{

namespace
{

const char *base_name(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool may_stand_bare(unsigned char character)
{
    // isalnum would ask the locale.
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || strchr("._:@%+,/[]-", character) != nullptr;
}

bool may_stand_quoted(unsigned char character)
{
    return character != '\'' && character >= 0x20 && character != 0x7f;
}

// The second set of control characters, as UTF-8 has it.
bool has_later_control(const char *text)
{
    while ((text = strchr(text, 0xc2)) != nullptr) {
        const auto second = static_cast<unsigned char>(*++text);
        if (second >= 0x80 && second < 0xa0)
            return true;
    }
    return false;
}

void log_unusable(place where)
{
    log_log(LOG_C_ERROR, base_name(where.file), where.line, "incorrect parameters or too many files.");
}

bool all_of(const char *text, bool (*allowed)(unsigned char))
{
    for (; *text != '\0'; text++) {
        if (!allowed(static_cast<unsigned char>(*text)))
            return false;
    }
    return true;
}

} // namespace

bool may_stand(const char *text)
{
    return all_of(text, may_stand_bare);
}

bool may_stand(quoted text)
{
    return all_of(text.text, may_stand_quoted) && !has_later_control(text.text);
}

bool may_name_file(const char *text)
{
    return may_stand(text) && strchr(text, '/') == nullptr;
}

FILE *open_tool(const command &what, const reader &how)
{
    FILE *stream = nullptr;
    if (what.safe)
        stream = how.sample == nullptr ? popen(what.text, "re") : _ll_popen_cmd_or_testfile(what.text, how.sample);
    if (stream != nullptr)
        return stream;
    if (what.safe && how.report != nullptr)
        how.report(what.text);
    else
        log_unusable(how.where);
    return nullptr;
}

int run_command(const command &what, place where)
{
    if (what.safe)
        return system(what.text);
    log_unusable(where);
    errno = EINVAL;
    return -1;
}

int close_tool(FILE *stream, const char *command_text, int parsed, place where)
{
    if (pclose(stream) != -1)
        return parsed;
    if (errno == ECHILD)
        return 0;
    log_log(LOG_C_ERROR, base_name(where.file), where.line, "%s errno:%d, %s", command_text, errno, strerror(errno));
    return parsed;
}

} // namespace vantu
