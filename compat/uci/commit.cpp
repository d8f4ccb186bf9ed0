// Commits: the configuration file becomes what it is now plus all pending changes, at once or not at all.
//
// The new content is written beside the file and renamed over it; the pending changes are erased after that, since a
// process that is killed in between would else lose them. They would then be applied a second time, which harms:
// an item would be added twice, an index would mean another item, a generated name another section. So the last
// record before the rename is a mark with a hash of the new content. When the file has that content, the records
// before the mark are in it, and are passed over; when it has not, the rename did not happen, and the mark says
// nothing.

#include "store.hpp"

#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace store
{

namespace
{

struct heap_free {
    void operator()(char *data) const { free(data); }
};

// Types stand without quotes, but all that is printable may be in them.
void add_type(text &out, const char *type)
{
    for (; *type != '\0'; type++) {
        if (strchr("'\"\\#", *type) != nullptr)
            out.add("\\");
        out.add({type, 1});
    }
}

void add_line(text &out, const char *keyword, const char *name, const char *value)
{
    out.add("\t").add(keyword).add(" ").add(name).add(" ");
    add_quoted(out, value);
    out.add("\n");
}

void add_option(text &out, const uci_option &o)
{
    if (o.type == UCI_TYPE_STRING) {
        add_line(out, "option", o.e.name, o.v.string);
        return;
    }
    uci_element *item = nullptr;
    uci_foreach_element(&o.v.list, item) add_line(out, "list", o.e.name, item->name);
}

void print(text &out, const package &p)
{
    uci_element *e = nullptr;
    uci_foreach_element(&p.sections, e)
    {
        const uci_section &s = *uci_to_section(e);
        out.add("\nconfig ");
        add_type(out, s.type);
        if (!s.anonymous) {
            out.add(" ");
            add_quoted(out, s.e.name);
        }
        out.add("\n");
        uci_element *o = nullptr;
        uci_foreach_element(&s.options, o) add_option(out, *uci_to_option(o));
    }
    if (!uci_list_empty(&p.sections))
        out.add("\n");
}

// The new content beside the file, until it is renamed.
class replacement
{
public:
    replacement() = default;
    replacement(const replacement &) = delete;
    replacement &operator=(const replacement &) = delete;
    ~replacement()
    {
        if (written_)
            (void)unlink(name_.c_str());
    }

    int write(const char *path, const char *package, std::string_view content, mode_t mode)
    {
        target_.reset(realpath(path, nullptr)); // a link stays: what it points to is replaced
        if (target_ == nullptr)
            return UCI_ERR_IO;
        const char *base = strrchr(target_.get(), '/') + 1;
        name_.add({target_.get(), static_cast<size_t>(base - target_.get())});
        name_.add(".").add(package).add(".uci-XXXXXX");
        if (!name_.ok())
            return UCI_ERR_MEM;
        file out;
        written_ = out.create_temporary(name_.data());
        if (!written_ || !out.append(content, 0) || !out.set_mode(mode) || !out.sync() || !out.close())
            return UCI_ERR_IO;
        return UCI_OK;
    }

    bool put_in_place()
    {
        if (rename(name_.c_str(), target_.get()) != 0)
            return false;
        written_ = false;
        return true;
    }
    bool sync() const { return sync_directory_of(target_.get()); }

private:
    text name_;
    std::unique_ptr<char, heap_free> target_;
    bool written_ = false;
};

// The files of one commit, locked until it ends: first the configuration, then the pending changes.
struct commit_files {
    file config;
    file pending; // not open when there are none

    int open(const context &ctx, const package &p)
    {
        const int rc = open_pending(pending, ctx.savedir, p, O_RDWR, LOCK_EX);
        return rc == UCI_ERR_NOTFOUND ? UCI_OK : rc;
    }
};

int add_mark(const file &pending, const package &p, uint64_t content)
{
    text mark;
    add_commit_mark(mark, p, content);
    const int rc = mark.ok() ? append_records(pending, p, mark.view()) : UCI_ERR_MEM;
    if (rc != UCI_OK)
        return rc;
    return pending.sync() ? UCI_OK : UCI_ERR_IO;
}

int write_package(const commit_files &files, const package &p)
{
    text content;
    print(content, p);
    if (!content.ok())
        return UCI_ERR_MEM;
    replacement fresh;
    int rc = fresh.write(p.path, p.e.name, content.view(), files.config.mode());
    if (rc == UCI_OK && files.pending.is_open())
        rc = add_mark(files.pending, p, hash_of(content.view()));
    if (rc != UCI_OK)
        return rc;
    if (!fresh.put_in_place())
        return UCI_ERR_IO;
    // Where this fails, the mark says that the records are done.
    if (files.pending.is_open() && fresh.sync())
        (void)files.pending.truncate(0);
    return UCI_OK;
}

// Writes the package as it is in memory.
int overwrite_package(const commit_files &files, package &p)
{
    text records;
    if (files.pending.is_open() && files.pending.read(records) != UCI_OK)
        return UCI_ERR_IO;
    const bool is_changed = p.has_delta ? records.length() > 0 : p.unsaved.length() > 0;
    const int rc = is_changed ? write_package(files, p) : UCI_OK;
    if (rc == UCI_OK && is_changed)
        p.unsaved.cut(0);
    return rc;
}

// Reads the file anew, applies all changes and writes it: what others have written meanwhile stays.
int merge_package(context &ctx, const commit_files &files, package_owner &fresh)
{
    int rc = read_package(ctx, *fresh, files.config);
    size_t applied = 0;
    bool committed = false;
    if (rc == UCI_OK)
        rc = apply_others(ctx, *fresh, applied);
    if (rc == UCI_OK && files.pending.is_open())
        rc = apply_pending(files.pending, *fresh, applied, committed);
    if (rc != UCI_OK)
        return rc;
    // The file that is written lacks the sections that were deleted: later changes must name the rest as it does.
    if (applied > 0)
        return renumber(*fresh) ? write_package(files, *fresh) : UCI_ERR_MEM;
    if (committed)
        (void)files.pending.truncate(0);
    return UCI_OK;
}

int commit(context &ctx, uci_package **package_in_out, bool overwrite)
{
    if (package_in_out == nullptr || *package_in_out == nullptr)
        return UCI_ERR_INVAL;
    package &old = of(**package_in_out);
    commit_files files;
    if (!files.config.open_locked(old.path, O_RDWR | O_CREAT, LOCK_EX, 0600))
        return UCI_ERR_IO;
    const bool merge = !overwrite && old.has_delta;
    int rc = merge ? save(ctx, old) : UCI_OK;
    if (rc == UCI_OK && old.has_delta)
        rc = files.open(ctx, old);
    if (rc != UCI_OK)
        return rc;
    if (!merge)
        return overwrite_package(files, old);

    package_owner fresh(new_package(ctx, old.e.name, old.path));
    if (fresh == nullptr)
        return UCI_ERR_MEM;
    fresh->has_delta = true;
    rc = merge_package(ctx, files, fresh);
    if (rc == UCI_ERR_PARSE) {
        // What is in memory is no longer what is on disk; the next lookup tells, and once the file is repaired
        // finds the changes pending.
        *package_in_out = nullptr;
        free_package(&old);
    }
    if (rc != UCI_OK)
        return rc;
    list_append(ctx.root, fresh->e);
    *package_in_out = fresh.release();
    free_package(&old);
    return UCI_OK;
}

} // namespace

} // namespace store

int uci_commit(struct uci_context *ctx, struct uci_package **p, bool overwrite)
{
    return store::call(ctx, [=](store::context &c) { return store::commit(c, p, overwrite); });
}
