// Changes of a package: one function makes them, called by the API and for pending records alike.

#include "store.hpp"

#include <cstring>

namespace store
{

namespace
{

int memory(bool succeeded)
{
    return succeeded ? UCI_OK : UCI_ERR_MEM;
}

// A decimal number at the start of the text.
bool read_index(const char *text, long &out)
{
    char *end = nullptr;
    out = strtol(text, &end, 10);
    return end != text;
}

uci_element *item_at(uci_option &o, long index)
{
    uci_element *item = nullptr;
    uci_foreach_element(&o.v.list, item)
    {
        if (index-- == 0)
            return item;
    }
    return nullptr;
}

int set_section(package &p, const change &c, uci_section *s)
{
    if (*c.value == '\0') {
        if (s != nullptr)
            free_section(s);
        return UCI_OK;
    }
    if (!valid_type(c.value))
        return UCI_ERR_INVAL;
    if (s != nullptr)
        return memory(set_type(*s, c.value));
    return memory(add_section(p, c.value, c.section) != nullptr);
}

int set_option(const change &c, uci_section *s)
{
    if (s == nullptr)
        return UCI_ERR_INVAL;
    if (*c.value != '\0')
        return memory(set_string(*s, c.option, c.value));
    if (uci_option *o = find_option(*s, c.option); o != nullptr)
        free_option(o);
    return UCI_OK;
}

int delete_item(uci_option &o, const char *value)
{
    long index = 0;
    if (!read_index(value, index))
        return UCI_ERR_INVAL;
    if (uci_element *item = item_at(o, index); item != nullptr)
        free_item(item);
    return UCI_OK;
}

int delete_element(const change &c, uci_section *s)
{
    if (s == nullptr)
        return UCI_ERR_NOTFOUND;
    if (c.option == nullptr) {
        free_section(s);
        return UCI_OK;
    }
    uci_option *o = find_option(*s, c.option);
    if (o == nullptr)
        return UCI_ERR_NOTFOUND;
    if (o->type == UCI_TYPE_LIST && c.value != nullptr && *c.value != '\0')
        return delete_item(*o, c.value);
    free_option(o);
    return UCI_OK;
}

int delete_items(const change &c, uci_section &s)
{
    uci_option *o = find_option(s, c.option);
    if (o == nullptr || o->type != UCI_TYPE_LIST)
        return UCI_OK;
    // Freed last: the value may be the name of one of them.
    uci_list doomed = {};
    list_init(doomed);
    uci_element *item = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&o->v.list, next, item)
    {
        if (strcmp(item->name, c.value) != 0)
            continue;
        list_remove(*item);
        list_append(doomed, *item);
    }
    uci_foreach_element_safe(&doomed, next, item) free_item(item);
    return UCI_OK;
}

int change_list(const change &c, uci_section *s)
{
    if (s == nullptr || c.option == nullptr)
        return UCI_ERR_INVAL;
    return c.what == change_add_item ? memory(add_item(*s, c.option, c.value)) : delete_items(c, *s);
}

// Notes the change and makes it, or does neither.
int make(package &p, const change &c)
{
    const size_t before = p.unsaved.length();
    int rc = record(p, c);
    if (rc == UCI_OK)
        rc = apply(p, c);
    if (rc != UCI_OK)
        p.unsaved.cut(before);
    return rc;
}

// Looks up anew what is to be changed, since elements may have gone since the caller's lookup.
int resolve(context &ctx, uci_ptr *ptr)
{
    if (ptr == nullptr)
        return UCI_ERR_INVAL;
    const bool lookup_failed = (ptr->flags & uci_ptr::UCI_LOOKUP_DONE) != 0 && ptr->p == nullptr;
    return lookup_failed ? UCI_ERR_INVAL : find(ctx, *ptr, true);
}

int make_at(uci_ptr &ptr, action what, const char *value)
{
    const int rc = make(of(*ptr.p), {what, ptr.section, ptr.option, value});
    if (rc != UCI_OK)
        return rc;
    if (what == change_delete && ptr.option == nullptr) {
        ptr.section = nullptr; // may have been the name of the section that is gone
        ptr.s = nullptr;
    } else {
        ptr.s = find_section(of(*ptr.p), ptr.section);
    }
    ptr.o = ptr.s != nullptr && ptr.option != nullptr ? find_option(*ptr.s, ptr.option) : nullptr;
    ptr.last = ptr.o != nullptr ? &ptr.o->e : ptr.s != nullptr ? &ptr.s->e : &ptr.p->e;
    return UCI_OK;
}

bool is_same(const uci_ptr &ptr)
{
    if (ptr.option == nullptr)
        return ptr.s != nullptr && strcmp(ptr.s->type, ptr.value) == 0;
    return ptr.o != nullptr && ptr.o->type == UCI_TYPE_STRING && strcmp(ptr.o->v.string, ptr.value) == 0;
}

int set(context &ctx, uci_ptr *ptr)
{
    const int rc = resolve(ctx, ptr);
    if (rc != UCI_OK)
        return rc;
    if (ptr->section == nullptr || ptr->value == nullptr || (ptr->option != nullptr && ptr->s == nullptr))
        return UCI_ERR_INVAL;
    if (*ptr->value == '\0') {
        const bool exists = ptr->option != nullptr ? ptr->o != nullptr : ptr->s != nullptr;
        return exists ? make_at(*ptr, change_delete, nullptr) : UCI_OK;
    }
    return is_same(*ptr) ? UCI_OK : make_at(*ptr, change_set, ptr->value);
}

int remove(context &ctx, uci_ptr *ptr)
{
    const int rc = resolve(ctx, ptr);
    if (rc != UCI_OK)
        return rc;
    if (ptr->section == nullptr)
        return UCI_ERR_INVAL;
    if ((ptr->flags & uci_ptr::UCI_LOOKUP_COMPLETE) == 0)
        return UCI_ERR_NOTFOUND;
    const bool is_list = ptr->o != nullptr && ptr->o->type == UCI_TYPE_LIST;
    if (!is_list || ptr->value == nullptr || *ptr->value == '\0')
        return make_at(*ptr, change_delete, nullptr);
    long index = 0;
    if (!read_index(ptr->value, index))
        return UCI_ERR_INVAL;
    return item_at(*ptr->o, index) != nullptr ? make_at(*ptr, change_delete, ptr->value) : UCI_OK;
}

int change_items(context &ctx, uci_ptr *ptr, action what)
{
    const int rc = resolve(ctx, ptr);
    if (rc != UCI_OK)
        return rc;
    if (ptr->s == nullptr || ptr->option == nullptr || ptr->value == nullptr)
        return UCI_ERR_INVAL;
    return make_at(*ptr, what, ptr->value);
}

// The type is checked when the change is committed.
int append_section(uci_package *package, const char *type, uci_section **res)
{
    if (package == nullptr || type == nullptr || res == nullptr)
        return UCI_ERR_INVAL;
    *res = nullptr;
    struct package &p = of(*package);
    uci_section *s = add_section(p, type, nullptr);
    if (s == nullptr)
        return UCI_ERR_MEM;
    const size_t before = p.unsaved.length();
    const int rc = record(p, {change_add_section, s->e.name, nullptr, type});
    if (rc != UCI_OK) {
        p.unsaved.cut(before);
        p.created--;
        free_section(s);
        return rc;
    }
    *res = s;
    return UCI_OK;
}

} // namespace

int apply(package &p, const change &c)
{
    uci_section *s = find_section(p, c.section);
    switch (c.what) {
    case change_set:
        return c.option != nullptr ? set_option(c, s) : set_section(p, c, s);
    case change_delete:
        return delete_element(c, s);
    case change_add_item:
    case change_delete_items:
        return change_list(c, s);
    case change_add_section:
        if (c.option != nullptr || !valid_type(c.value))
            return UCI_ERR_INVAL;
        return memory(add_anonymous(p, c.value, c.section) != nullptr);
    }
    return UCI_ERR_INVAL;
}

} // namespace store

int uci_set(struct uci_context *ctx, struct uci_ptr *ptr)
{
    return store::call(ctx, [ptr](store::context &c) { return store::set(c, ptr); });
}

int uci_delete(struct uci_context *ctx, struct uci_ptr *ptr)
{
    return store::call(ctx, [ptr](store::context &c) { return store::remove(c, ptr); });
}

int uci_add_list(struct uci_context *ctx, struct uci_ptr *ptr)
{
    return store::call(ctx, [ptr](store::context &c) { return store::change_items(c, ptr, store::change_add_item); });
}

int uci_del_list(struct uci_context *ctx, struct uci_ptr *ptr)
{
    return store::call(ctx,
                       [ptr](store::context &c) { return store::change_items(c, ptr, store::change_delete_items); });
}

int uci_add_section(struct uci_context *ctx, struct uci_package *p, const char *type, struct uci_section **res)
{
    return store::call(ctx, [&](store::context &) { return store::append_section(p, type, res); });
}
