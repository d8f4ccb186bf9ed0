// Pending changes: <savedir>/<package> holds one record a line, in the order in which the changes were made.
//
//      wifi.main.ssid='home'       set
//      wifi.guest='wifi-iface'     set a section: make it, or change its type
//      +wifi.cfg0492bd='rule'      add an anonymous section
//      -wifi.main.key              delete
//      -wifi.main.mac='1'          delete an item by its index
//      |wifi.main.mac='02:...'     add an item
//      ~wifi.main.mac='02:...'     delete equal items
//      !wifi='0123456789abcdef'    commit mark: see commit.cpp

#include "store.hpp"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace store
{

namespace
{

// Names stand unquoted in a record.
bool is_plain(const char *name)
{
    return name == nullptr || strpbrk(name, "'\"\\# \t\r\n\v\f") == nullptr;
}

// What counts of a pending file.
struct extent {
    size_t from; // behind the last mark of a commit that took place
    size_t end;  // of the last whole record: a process may have been killed while it appended
};

int measure(const text &pending, const package &p, extent &out)
{
    out = {};
    text scratch; // reading cuts the text to pieces
    text mark;
    scratch.add(pending.view());
    add_commit_mark(mark, p, p.content);
    if (!scratch.ok() || !mark.ok())
        return UCI_ERR_MEM;
    lexer records(scratch.data());
    lexer::line record = {};
    const std::string_view expected = mark.view();
    while (records.next(record) && records.at_line_end()) {
        const size_t begin = out.end;
        out.end = records.offset();
        if (std::string_view(pending.c_str() + begin, out.end - begin) == expected)
            out.from = out.end;
    }
    return UCI_OK;
}

// UCI_ERR_INVAL or UCI_ERR_NOTFOUND for what is no record of this package, or of something that is gone.
int apply_record(package &p, char *record)
{
    change c = {change_set, nullptr, nullptr, nullptr};
    if (*record != '\0' && strchr("+-|~", *record) != nullptr)
        c.what = static_cast<action>(*record++);
    uci_ptr address = {};
    if (split_address(record, address) != UCI_OK || strcmp(address.package, p.e.name) != 0)
        return UCI_ERR_INVAL;
    if (address.section == nullptr || !valid_name(address.section))
        return UCI_ERR_INVAL;
    if (address.value == nullptr && c.what != change_delete)
        return UCI_ERR_INVAL;
    c.section = address.section;
    c.option = address.option;
    c.value = address.value;
    return apply(p, c);
}

int apply_records(text &pending, package &p, const extent &which, size_t &applied)
{
    if (which.end == 0)
        return UCI_OK;
    pending.cut(which.end);
    lexer records(pending.data() + which.from);
    lexer::line record = {};
    while (records.next(record)) {
        if (record.words != 1)
            continue;
        const int rc = apply_record(p, record.word[0]);
        if (rc == UCI_ERR_MEM)
            return rc;
        applied += rc == UCI_OK ? 1 : 0;
    }
    return UCI_OK;
}

// Applies what stands in a directory; a file that cannot be opened counts as none.
int apply_directory(const char *directory, package &p, size_t &applied)
{
    file pending;
    const int rc = open_pending(pending, directory, p, O_RDONLY, LOCK_SH);
    if (rc != UCI_OK)
        return rc == UCI_ERR_MEM ? rc : UCI_OK;
    bool committed = false;
    return apply_pending(pending, p, applied, committed);
}

mode_t mode_of(const char *path, mode_t otherwise)
{
    struct stat status = {};
    return stat(path, &status) == 0 ? status.st_mode & 0777 : otherwise;
}

} // namespace

uint64_t hash_of(std::string_view content)
{
    uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : content)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
}

void add_quoted(text &out, std::string_view value)
{
    out.add("'");
    for (size_t quote = value.find('\''); quote != value.npos; quote = value.find('\'')) {
        out.add({value.data(), quote}).add("'\\''");
        value.remove_prefix(quote + 1);
    }
    out.add(value).add("'");
}

void add_commit_mark(text &out, const package &p, uint64_t content)
{
    char hash[20];
    (void)snprintf(hash, sizeof(hash), "%016" PRIx64, content);
    out.add("!").add(p.e.name).add("=");
    add_quoted(out, hash);
    out.add("\n");
}

int record(package &p, const change &c)
{
    if (!is_plain(p.e.name) || !is_plain(c.section))
        return UCI_ERR_INVAL;
    text &out = p.unsaved;
    if (c.what != change_set)
        out.add({reinterpret_cast<const char *>(&c.what), 1});
    out.add(p.e.name).add(".").add(c.section);
    if (c.option != nullptr)
        out.add(".").add(c.option);
    if (c.value != nullptr) {
        out.add("=");
        add_quoted(out, c.value);
    }
    out.add("\n");
    return out.ok() ? UCI_OK : UCI_ERR_MEM;
}

namespace
{

bool is_ours(const struct stat &status)
{
    return status.st_uid == geteuid() || status.st_uid == 0;
}

// Whether a directory has only what we, our group and root have put there. The save directory stands where everybody
// can write, and who comes first could make it, or a link in its place: what is pending there would be written into the
// configuration. In a sticky directory as /tmp nobody can put another in the place of one that has passed.
int check_directory(const char *directory)
{
    struct stat named = {};
    struct stat meant = {};
    if (lstat(directory, &named) != 0 || stat(directory, &meant) != 0)
        return errno == ENOENT || errno == ENOTDIR ? UCI_ERR_NOTFOUND : UCI_ERR_IO;
    const bool is_trusted = is_ours(named) && is_ours(meant) && (meant.st_mode & S_IWOTH) == 0;
    return is_trusted ? UCI_OK : UCI_ERR_NOTFOUND;
}

} // namespace

int open_pending(file &out, const char *directory, const package &p, int flags, int operation, mode_t mode)
{
    text path;
    join_path(path, directory, p.e.name);
    if (!path.ok())
        return UCI_ERR_MEM;
    const int rc = check_directory(directory);
    if (rc != UCI_OK)
        return rc;
    if (out.open_locked(path.c_str(), flags | O_NOFOLLOW, operation, mode))
        return UCI_OK;
    const bool is_absent = errno == ENOENT || errno == ENOTDIR;
    (void)out.close();
    return is_absent ? UCI_ERR_NOTFOUND : UCI_ERR_IO;
}

int apply_pending(const file &pending, package &p, size_t &applied, bool &committed)
{
    text content;
    extent which = {};
    size_t count = 0;
    int rc = pending.read(content);
    if (rc == UCI_OK)
        rc = measure(content, p, which);
    if (rc == UCI_OK)
        rc = apply_records(content, p, which, count);
    applied += count;
    committed = which.from > 0 && count == 0;
    return rc;
}

int apply_others(const context &ctx, package &p, size_t &applied)
{
    uci_element *directory = nullptr;
    uci_foreach_element(&ctx.delta_path, directory)
    {
        if (strcmp(directory->name, ctx.savedir) == 0)
            continue;
        const int rc = apply_directory(directory->name, p, applied);
        if (rc != UCI_OK)
            return rc;
    }
    return UCI_OK;
}

int apply_all_pending(const context &ctx, package &p)
{
    size_t applied = 0;
    const int rc = apply_others(ctx, p, applied);
    return rc == UCI_OK ? apply_directory(ctx.savedir, p, applied) : rc;
}

int append_records(const file &pending, const package &p, std::string_view records)
{
    text content;
    int rc = pending.read(content);
    extent whole = {};
    if (rc == UCI_OK)
        rc = measure(content, p, whole);
    if (rc != UCI_OK)
        return rc;
    // A record that was cut off would swallow the next one.
    if (whole.end < content.length() && !pending.truncate(whole.end))
        return UCI_ERR_IO;
    return pending.append(records, whole.end) ? UCI_OK : UCI_ERR_IO;
}

int save(const context &ctx, package &p)
{
    if (p.unsaved.length() == 0 || !p.has_delta)
        return UCI_OK;
    if (mkdir(ctx.savedir, mode_of(ctx.confdir, 0755) & 0755U) != 0 && errno != EEXIST)
        return UCI_ERR_IO;
    file pending;
    int rc = open_pending(pending, ctx.savedir, p, O_RDWR | O_CREAT, LOCK_EX, mode_of(p.path, 0600));
    if (rc == UCI_OK)
        rc = append_records(pending, p, p.unsaved.view());
    if (rc == UCI_OK)
        p.unsaved.cut(0);
    return rc == UCI_ERR_NOTFOUND ? UCI_ERR_IO : rc;
}

} // namespace store

int uci_save(struct uci_context *ctx, struct uci_package *p)
{
    return store::call(ctx,
                       [p](store::context &c) { return p != nullptr ? store::save(c, store::of(*p)) : UCI_ERR_INVAL; });
}
