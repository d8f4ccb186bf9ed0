// What the files of the store share: text and file owners, the elements of a package, reading, changing, recording.
#pragma once

#include "uci.h"

#include <fcntl.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace store
{

// Text that grows. A failed allocation makes the whole text invalid (`ok`), so that a chain of additions is
// checked once.
class text
{
public:
    text() = default;
    text(const text &) = delete;
    text &operator=(const text &) = delete;
    ~text() { free(data_); }

    text &add(std::string_view more);
    char *reserve(size_t more);                     // room at the end, not yet part of the text; nullptr without memory
    void grow(size_t more) { cut(length_ + more); } // takes in what was written there
    void cut(size_t length);                        // at most `length` + reserved; the text is valid again

    bool ok() const { return !failed_; }
    size_t length() const { return length_; }
    char *data() { return data_; }
    const char *c_str() const { return data_ != nullptr ? data_ : ""; }
    std::string_view view() const { return {c_str(), length_}; }

private:
    char *data_ = nullptr;
    size_t length_ = 0;
    size_t size_ = 0;
    bool failed_ = false;
};

struct context : uci_context {
    // Where and why a file was malformed; no reason when the last failure was another.
    const char *reason;
    size_t line; // from 1
    size_t byte; // in its line, from 0
};

struct package : uci_package {
    unsigned created; // sections so far: the number in the next generated name
    uint64_t content; // hash of the file as it was read
    text unsaved;     // records of changes that are only in memory
};

inline context &of(uci_context &ctx)
{
    return static_cast<context &>(ctx);
}
inline package &of(uci_package &p)
{
    return static_cast<package &>(p);
}

// Every call: its context must exist, and `err` is what it returns.
template <typename F>
int call(uci_context *ctx, F &&run)
{
    if (ctx == nullptr)
        return UCI_ERR_INVAL;
    ctx->err = UCI_OK;
    of(*ctx).reason = nullptr;
    ctx->err = run(of(*ctx));
    return ctx->err;
}

// file.cpp

class file
{
public:
    file() = default;
    file(const file &) = delete;
    file &operator=(const file &) = delete;
    ~file() { close(); }

    // A regular file, locked (`operation` as for flock) and still the one at `path`. Waits for the lock, ten seconds at
    // most. False with errno: EISDIR for what is no regular file.
    bool open_locked(const char *path, int flags, int operation, mode_t mode = 0);
    bool create_temporary(char *pattern);
    bool is_open() const { return descriptor_ >= 0; }
    bool close();

    mode_t mode() const;       // permissions only
    int read(text &out) const; // the whole file; UCI_ERR_MEM or UCI_ERR_IO
    bool append(std::string_view more,
                size_t at) const; // all of it at offset `at`, which becomes the old end on failure
    bool truncate(size_t length) const;
    bool sync() const;
    bool set_mode(mode_t mode) const;

private:
    int descriptor_ = -1;
};

void join_path(text &out, std::string_view directory, std::string_view name);
bool sync_directory_of(const char *path);

// elements.cpp

void list_init(uci_list &head);
void list_append(uci_list &head, uci_element &element);
void list_remove(uci_element &element);

package *new_package(uci_context &ctx, const char *name, const char *path);
void free_package(package *p);
struct package_free {
    void operator()(package *p) const { free_package(p); }
};
using package_owner = std::unique_ptr<package, package_free>;

bool valid_name(const char *name);         // of a section or option
bool valid_type(const char *type);         // of a section
bool valid_package_name(const char *name); // without the path that may stand in its place

uci_section *find_section(const package &p, const char *name);
uci_option *find_option(const uci_section &s, const char *name);

// nullptr without memory. Without a name the section is anonymous.
uci_section *add_section(package &p, const char *type, const char *name);
// An anonymous section under the name that it was generated with earlier. Another anonymous section that has the name
// gets a new one, since the changes that follow mean the section added last.
uci_section *add_anonymous(package &p, const char *type, const char *name);
bool yield_name(uci_section &anonymous);
// Gives the anonymous sections the names that they have when the file is read again.
bool renumber(package &p);
bool set_type(uci_section &s, const char *type);
void free_section(uci_section *s);

// False without memory; the section is then as before.
bool set_string(uci_section &s, const char *option, const char *value);
bool add_item(uci_section &s, const char *option, const char *value);
uci_element *new_path(const char *directory);
void free_item(uci_element *item); // or path
void free_option(uci_option *o);

// parse.cpp

// Splits text into lines of words, in place: a word is cut out, its quotes and escapes are resolved.
class lexer
{
public:
    struct line {
        char *word[3];
        size_t column[4];
        size_t words;  // also those that have no place above
        size_t number; // of the line that the first word stands on
        size_t column_of(size_t n) const { return column[n]; }
        const char *at(size_t n) const { return n < words ? word[n] : nullptr; }
    };
    // `text` ends with its first NUL.
    explicit lexer(char *text) : begin_(text), at_(text), line_begin_(text) {}
    bool next(line &out); // the next line that has words; false at the end and within an unterminated quote
    char unterminated() const { return quote_; }
    size_t quote_line() const { return quote_line_; }
    size_t quote_column() const { return quote_column_; }
    size_t offset() const { return static_cast<size_t>(at_ - begin_); }
    bool at_line_end() const { return ended_; } // the last line had its newline

private:
    char take();
    void skip_blanks();
    void skip_comment();
    char *word(char &delimiter);

    char *begin_;
    char *at_;
    char *line_begin_;
    size_t line_ = 1;
    char quote_ = '\0';
    size_t quote_line_ = 0;
    size_t quote_column_ = 0;
    bool ended_ = false;
};

// Fills an empty package from a file.
int read_package(context &ctx, package &p, const file &source);
int load_package(context &ctx, const char *name, uci_package **out);

// lookup.cpp

package *find_package(const context &ctx, const char *name); // among the loaded ones
// Cuts package[.section[.option]][=value] into the string members of `ptr`: UCI_ERR_PARSE or UCI_ERR_INVAL for
// what is none.
int split_address(char *str, uci_ptr &ptr);
// Looks up what the string members say.
int find(context &ctx, uci_ptr &ptr, bool extended);

// change.cpp

// One change, in the API and in a record alike; `action` is the first character of its record.
enum action : char {
    change_set = '=', // its record has no such character
    change_add_section = '+',
    change_delete = '-',
    change_add_item = '|',
    change_delete_items = '~',
};
struct change {
    action what;
    const char *section;
    const char *option; // or nullptr
    const char *value;  // or nullptr
};
int apply(package &p, const change &c);

// delta.cpp

// Notes a change that is about to be made; UCI_ERR_INVAL for names that no record can hold.
int record(package &p, const change &c);
// Appends what is recorded to the pending changes.
int save(const context &ctx, package &p);
int append_records(const file &pending, const package &p, std::string_view records);
// Applies the pending changes of every directory but the save directory.
int apply_others(const context &ctx, package &p, size_t &applied);
// Applies those of one file and counts them; `committed` tells that a commit has already written all that it holds.
int apply_pending(const file &pending, package &p, size_t &applied, bool &committed);
int apply_all_pending(const context &ctx, package &p);
// Opens the package's file in a directory: UCI_ERR_NOTFOUND when there is none, or the directory may be another's.
int open_pending(file &out, const char *directory, const package &p, int flags, int operation, mode_t mode = 0);
// The record that makes a commit happen once: see commit.cpp.
void add_commit_mark(text &out, const package &p, uint64_t content);
uint64_t hash_of(std::string_view content);
void add_quoted(text &out, std::string_view value);

} // namespace store
