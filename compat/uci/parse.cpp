// Reads the file format:
//
//      config wifi-iface 'main'
//          option ssid "home"      # a comment
//          list mac '02:00:00:00:00:01'
//
// The text is split into words in place and never nested, so that its size is the only bound.

#include "store.hpp"

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace store
{

namespace
{

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

// The length of a backslash and the end of line that it hides; 0 for anything else.
size_t joined_line(const char *at)
{
    if (at[0] != '\\')
        return 0;
    if (at[1] == '\n')
        return 2;
    return at[1] == '\r' && at[2] == '\n' ? 3 : 0;
}

} // namespace

char lexer::take()
{
    const char c = *at_++;
    if (c == '\n') {
        line_++;
        line_begin_ = at_;
    }
    return c;
}

void lexer::skip_blanks()
{
    for (;;) {
        if (is_blank(*at_)) {
            at_++;
        } else if (const size_t joined = joined_line(at_); joined > 0) {
            at_ += joined - 1;
            (void)take();
        } else {
            return;
        }
    }
}

void lexer::skip_comment()
{
    while (*at_ != '\0' && *at_ != '\n')
        at_++;
}

// One word. What ended it is taken as well, since the end of the word may be written in its place.
char *lexer::word(char &delimiter)
{
    char *const start = at_;
    char *out = at_;
    while (*at_ != '\0') {
        if (quote_ == '\0' && (is_blank(*at_) || *at_ == '\n' || *at_ == '#'))
            break;
        const size_t joined = quote_ == '\'' ? 0 : joined_line(at_);
        if (joined > 0) {
            at_ += joined - 1;
            (void)take();
            continue;
        }
        char c = take();
        if (c == quote_) {
            quote_ = '\0';
            continue;
        }
        if (quote_ == '\0' && (c == '\'' || c == '"')) {
            quote_ = c;
            quote_line_ = line_;
            quote_column_ = static_cast<size_t>(at_ - line_begin_) - 1;
            continue;
        }
        if (c == '\\' && quote_ != '\'') {
            if (*at_ == '\0')
                break;
            c = take();
        }
        *out++ = c;
    }
    delimiter = *at_;
    if (delimiter != '\0')
        (void)take();
    *out = '\0';
    return start;
}

bool lexer::next(line &out)
{
    out.words = 0;
    ended_ = false;
    for (;;) {
        skip_blanks();
        char delimiter = *at_;
        if (delimiter == '\0')
            return out.words > 0;
        if (delimiter == '\n' || delimiter == '#') {
            (void)take();
        } else {
            constexpr size_t places = sizeof(out.word) / sizeof(*out.word);
            if (out.words == 0)
                out.number = line_;
            if (out.words <= places)
                out.column[out.words] = static_cast<size_t>(at_ - line_begin_);
            char *found = word(delimiter);
            if (quote_ != '\0')
                return false;
            if (out.words < places)
                out.word[out.words] = found;
            out.words++;
        }
        if (delimiter == '#') {
            skip_comment();
            delimiter = *at_;
            if (delimiter == '\n')
                (void)take();
        }
        if (delimiter == '\n' && out.words > 0) {
            ended_ = true;
            return true;
        }
    }
}

namespace
{

class parser
{
public:
    parser(context &ctx, package &p) : ctx_(ctx), package_(p) {}
    int run(char *content);

private:
    int malformed(const char *reason, size_t word);
    int read_config();
    int read_value(bool is_list);
    int read_command();

    context &ctx_;
    package &package_;
    uci_section *section_ = nullptr;
    lexer::line line_ = {};
};

int malformed_at(context &ctx, const char *reason, size_t line, size_t byte)
{
    ctx.reason = reason;
    ctx.line = line;
    ctx.byte = byte;
    return UCI_ERR_PARSE;
}

int parser::malformed(const char *reason, size_t word)
{
    return malformed_at(ctx_, reason, line_.number, line_.column[word]);
}

constexpr char bad_name[] = "invalid character in name field";

int parser::read_config()
{
    const char *type = line_.word[1];
    if (!valid_type(type))
        return malformed("invalid character in type field", 1);
    const char *name = line_.at(2);
    if (name == nullptr || *name == '\0') {
        section_ = add_section(package_, type, nullptr);
        return section_ != nullptr ? UCI_OK : UCI_ERR_MEM;
    }
    if (!valid_name(name))
        return malformed(bad_name, 2);
    section_ = find_section(package_, name);
    if (section_ != nullptr && section_->anonymous) {
        if (!yield_name(*section_))
            return UCI_ERR_MEM;
        section_ = nullptr;
    }
    if (section_ != nullptr && strcmp(section_->type, type) != 0)
        return malformed("section of different type overwrites prior section with same name", 1);
    if (section_ == nullptr)
        section_ = add_section(package_, type, name);
    return section_ != nullptr ? UCI_OK : UCI_ERR_MEM;
}

int parser::read_value(bool is_list)
{
    if (section_ == nullptr)
        return malformed("option/list command found before the first section", 0);
    const char *name = line_.word[1];
    if (!valid_name(name))
        return malformed(bad_name, 1);
    const char *value = line_.words > 2 ? line_.word[2] : "";
    if (is_list)
        return add_item(*section_, name, value) ? UCI_OK : UCI_ERR_MEM;
    if (*value == '\0') // an option is never empty: nothing is set
        return UCI_OK;
    return set_string(*section_, name, value) ? UCI_OK : UCI_ERR_MEM;
}

int parser::read_command()
{
    const std::string_view command = line_.word[0];
    const bool is_config = command == "config";
    const bool is_list = command == "list";
    if (!is_config && !is_list && command != "option" && command != "package")
        return malformed("invalid command", 0);
    if (line_.words < 2)
        return malformed("invalid command", 0);
    if (line_.words > 3 || (command == "package" && line_.words > 2))
        return malformed("too many arguments", command == "package" ? 2 : 3);
    if (command == "package") // the file's own name counts
        return UCI_OK;
    return is_config ? read_config() : read_value(is_list);
}

int parser::run(char *content)
{
    lexer words(content);
    while (words.next(line_)) {
        const int rc = read_command();
        if (rc != UCI_OK)
            return rc;
    }
    if (words.unterminated() == '\0')
        return UCI_OK;
    const char *reason = words.unterminated() == '"' ? "EOF with unterminated \"" : "EOF with unterminated '";
    return malformed_at(ctx_, reason, words.quote_line(), words.quote_column());
}

// A NUL would cut off what follows, and the next commit would then drop it.
int refuse_nul(context &ctx, std::string_view content)
{
    size_t line = 1;
    size_t byte = 0;
    for (const char c : content) {
        if (c == '\0')
            return malformed_at(ctx, "NUL byte", line, byte);
        byte = c == '\n' ? 0 : byte + 1;
        line += c == '\n' ? 1 : 0;
    }
    return UCI_OK;
}

bool is_absent(int error)
{
    return error == ENOENT || error == ENOTDIR || error == EISDIR || error == ENAMETOOLONG || error == ELOOP ||
           error == EACCES || error == ENXIO;
}

} // namespace

int read_package(context &ctx, package &p, const file &source)
{
    text content;
    int rc = source.read(content);
    if (rc == UCI_OK)
        rc = refuse_nul(ctx, content.view());
    if (rc != UCI_OK)
        return rc;
    p.content = hash_of(content.view());
    return parser(ctx, p).run(content.data());
}

int load_package(context &ctx, const char *name, uci_package **out)
{
    // A name that starts with '/' is the file's path.
    const bool is_path = *name == '/';
    const char *base = is_path ? strrchr(name, '/') + 1 : name;
    if (!valid_package_name(base) || strchr(base, '/') != nullptr)
        return UCI_ERR_INVAL;
    if (find_package(ctx, base) != nullptr)
        return UCI_ERR_DUPLICATE;
    text path;
    if (is_path)
        path.add(name);
    else
        join_path(path, ctx.confdir, name);
    if (!path.ok())
        return UCI_ERR_MEM;

    package_owner p(new_package(ctx, base, path.c_str()));
    if (p == nullptr)
        return UCI_ERR_MEM;
    p->has_delta = !is_path;
    file source;
    if (!source.open_locked(path.c_str(), O_RDONLY, LOCK_SH))
        return is_absent(errno) ? UCI_ERR_NOTFOUND : UCI_ERR_IO;
    int rc = read_package(ctx, *p, source);
    // Under the same lock: a commit between the two would take the pending changes away.
    if (rc == UCI_OK && p->has_delta)
        rc = apply_all_pending(ctx, *p);
    if (rc != UCI_OK)
        return rc;
    list_append(ctx.root, p->e);
    *out = p.release();
    return UCI_OK;
}

} // namespace store
