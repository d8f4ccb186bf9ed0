// Contexts, their directories and loaded packages, and what went wrong.

#include "store.hpp"

#include <cstdio>
#include <cstring>
#include <new>

namespace store
{

namespace
{

bool replace_string(char *&kept, const char *with)
{
    char *copy = strdup(with);
    if (copy == nullptr)
        return false;
    free(kept);
    kept = copy;
    return true;
}

bool is_on_path(const context &ctx, const char *directory)
{
    uci_element *e = nullptr;
    uci_foreach_element(&ctx.delta_path, e)
    {
        if (strcmp(e->name, directory) == 0)
            return true;
    }
    return false;
}

// A former save directory stays among those that are read.
bool set_savedir(context &ctx, const char *directory)
{
    uci_element *added = nullptr;
    if (!is_on_path(ctx, directory)) {
        added = new_path(directory);
        if (added == nullptr)
            return false;
    }
    if (!replace_string(ctx.savedir, directory)) {
        if (added != nullptr)
            free_item(added);
        return false;
    }
    if (added != nullptr)
        list_append(ctx.delta_path, *added);
    return true;
}

void free_context(context &ctx)
{
    uci_element *e = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&ctx.root, next, e) free_package(&of(*uci_to_package(e)));
    uci_foreach_element_safe(&ctx.delta_path, next, e) free_item(e);
    free(ctx.confdir);
    free(ctx.savedir);
    free(&ctx);
}

context *alloc_context()
{
    void *memory = malloc(sizeof(context));
    if (memory == nullptr)
        return nullptr;
    auto *ctx = new (memory) context{};
    list_init(ctx->root);
    list_init(ctx->delta_path);
    if (!replace_string(ctx->confdir, "/etc/config") || !set_savedir(*ctx, "/tmp/.uci")) {
        free_context(*ctx);
        return nullptr;
    }
    return ctx;
}

// clang-format off
constexpr const char *messages[UCI_ERR_LAST] = {
    "Success",          // UCI_OK
    "Out of memory",    // UCI_ERR_MEM
    "Invalid argument", // UCI_ERR_INVAL
    "Entry not found",  // UCI_ERR_NOTFOUND
    "I/O error",        // UCI_ERR_IO
    "Parse error",      // UCI_ERR_PARSE
    "Duplicate entry",  // UCI_ERR_DUPLICATE
    "Unknown error",    // UCI_ERR_UNKNOWN
};
// clang-format on

// What the last call of the context met.
void add_error(text &out, const uci_context *ctx, const char *prefix)
{
    const int err = ctx == nullptr ? UCI_ERR_INVAL : ctx->err;
    if (prefix != nullptr)
        out.add(prefix).add(": ");
    out.add(messages[err >= 0 && err < UCI_ERR_LAST ? err : UCI_ERR_UNKNOWN]);
    const auto *detail = static_cast<const context *>(ctx);
    if (err != UCI_ERR_PARSE || detail->reason == nullptr)
        return;
    char place[64];
    (void)snprintf(place, sizeof(place), ") at line %zu, byte %zu", detail->line, detail->byte);
    out.add(" (").add(detail->reason).add(place);
}

} // namespace

} // namespace store

struct uci_context *uci_alloc_context(void)
{
    return store::alloc_context();
}

void uci_free_context(struct uci_context *ctx)
{
    if (ctx != nullptr)
        store::free_context(store::of(*ctx));
}

int uci_set_confdir(struct uci_context *ctx, const char *dir)
{
    return store::call(ctx, [dir](store::context &c) {
        if (dir == nullptr)
            return UCI_ERR_INVAL;
        return store::replace_string(c.confdir, dir) ? UCI_OK : UCI_ERR_MEM;
    });
}

int uci_set_savedir(struct uci_context *ctx, const char *dir)
{
    return store::call(ctx, [dir](store::context &c) {
        if (dir == nullptr)
            return UCI_ERR_INVAL;
        return store::set_savedir(c, dir) ? UCI_OK : UCI_ERR_MEM;
    });
}

int uci_load(struct uci_context *ctx, const char *name, struct uci_package **package)
{
    return store::call(ctx, [=](store::context &c) {
        uci_package *loaded = nullptr;
        const int rc = name != nullptr ? store::load_package(c, name, &loaded) : UCI_ERR_INVAL;
        if (package != nullptr)
            *package = loaded;
        return rc;
    });
}

int uci_unload(struct uci_context *ctx, struct uci_package *p)
{
    return store::call(ctx, [p](store::context &) {
        if (p == nullptr)
            return UCI_ERR_INVAL;
        store::free_package(&store::of(*p));
        return UCI_OK;
    });
}

void uci_perror(struct uci_context *ctx, const char *prefix)
{
    store::text message;
    store::add_error(message, ctx, prefix);
    (void)fprintf(stderr, "%s\n", message.ok() ? message.c_str() : "Out of memory");
}

void uci_get_errorstr(struct uci_context *ctx, char **dest, const char *prefix)
{
    if (dest == nullptr)
        return;
    store::text message;
    store::add_error(message, ctx, prefix);
    *dest = message.ok() ? strdup(message.c_str()) : nullptr;
}
