// Finds packages, sections and options by text: package[.section[.option]][=value].

#include "store.hpp"

#include <cstring>

namespace store
{

namespace
{

void add_flags(uci_ptr &ptr, unsigned flags)
{
    ptr.flags = static_cast<decltype(ptr.flags)>(ptr.flags | flags);
}

bool valid_value(const char *value)
{
    for (; *value != '\0'; value++) {
        const auto c = static_cast<unsigned char>(*value);
        if (c < ' ' && c != '\t' && c != '\n' && c != '\r')
            return false;
    }
    return true;
}

bool valid_section(const char *name)
{
    return *name == '@' || valid_name(name);
}

// Cuts `str` at the first `separator`: what follows it, or nullptr.
char *cut(char *str, char separator)
{
    char *found = strchr(str, separator);
    if (found == nullptr)
        return nullptr;
    *found = '\0';
    return found + 1;
}

// @type[index], where an empty type means any and an empty index the first one; from the end when negative.
struct position {
    std::string_view type;
    long index;
};

bool read_position(const char *section, position &out)
{
    const char *open = strchr(section, '[');
    if (open == nullptr)
        return false;
    out.type = {section + 1, static_cast<size_t>(open - section) - 1};
    char *end = nullptr;
    out.index = strtol(open + 1, &end, 10);
    return end[0] == ']' && end[1] == '\0';
}

uci_section *section_at(const package &p, const position &wanted)
{
    long skip = wanted.index;
    const bool backward = skip < 0;
    if (backward)
        skip = -(skip + 1); // -1 is the last; no overflow for the smallest number
    for (const uci_list *at = backward ? p.sections.prev : p.sections.next; at != &p.sections;
         at = backward ? at->prev : at->next) {
        uci_section *s = uci_to_section(const_cast<uci_list *>(at));
        if (!wanted.type.empty() && wanted.type != s->type)
            continue;
        if (skip-- == 0)
            return s;
    }
    return nullptr;
}

int find_in_package(uci_ptr &ptr, bool extended)
{
    package &p = of(*ptr.p);
    ptr.last = &p.e;
    if (ptr.section == nullptr) {
        add_flags(ptr, uci_ptr::UCI_LOOKUP_COMPLETE);
        return UCI_OK;
    }
    if (*ptr.section == '@') {
        add_flags(ptr, uci_ptr::UCI_LOOKUP_EXTENDED);
        if (!extended)
            return UCI_ERR_INVAL;
        position wanted = {};
        if (!read_position(ptr.section, wanted)) {
            ptr = {};
            return UCI_ERR_INVAL;
        }
        ptr.s = section_at(p, wanted);
        if (ptr.s != nullptr)
            ptr.section = ptr.s->e.name;
    } else {
        ptr.s = find_section(p, ptr.section);
    }
    if (ptr.s == nullptr)
        return UCI_OK;
    ptr.last = &ptr.s->e;
    if (ptr.option != nullptr) {
        ptr.o = find_option(*ptr.s, ptr.option);
        if (ptr.o == nullptr)
            return UCI_OK;
        ptr.last = &ptr.o->e;
    }
    add_flags(ptr, uci_ptr::UCI_LOOKUP_COMPLETE);
    return UCI_OK;
}

} // namespace

package *find_package(const context &ctx, const char *name)
{
    uci_element *e = nullptr;
    uci_foreach_element(&ctx.root, e)
    {
        if (strcmp(e->name, name) == 0)
            return &of(*uci_to_package(e));
    }
    return nullptr;
}

int split_address(char *str, uci_ptr &ptr)
{
    ptr = {};
    uci_ptr split = {};
    char *value = cut(str, '=');
    char *section = cut(str, '.');
    char *option = section != nullptr ? cut(section, '.') : nullptr;
    if (!valid_package_name(str) || (option != nullptr && !valid_name(option)) ||
        (value != nullptr && !valid_value(value)))
        return UCI_ERR_PARSE;
    if (section != nullptr && !valid_section(section))
        return UCI_ERR_INVAL;
    split.package = str;
    split.section = section;
    split.option = option;
    split.value = value;
    ptr = split;
    return UCI_OK;
}

int find(context &ctx, uci_ptr &ptr, bool extended)
{
    // By hand some give the package instead of its name; a path names a file that may be loaded already.
    if (ptr.p != nullptr && (ptr.package == nullptr || *ptr.package == '/'))
        ptr.package = ptr.p->e.name;
    if (ptr.section == nullptr && ptr.s != nullptr)
        ptr.section = ptr.s->e.name;
    ptr.flags = uci_ptr::UCI_LOOKUP_DONE;
    ptr.target = ptr.option != nullptr ? UCI_TYPE_OPTION : ptr.section != nullptr ? UCI_TYPE_SECTION : UCI_TYPE_PACKAGE;
    ptr.p = nullptr;
    ptr.s = nullptr;
    ptr.o = nullptr;
    ptr.last = nullptr;
    if (ptr.package == nullptr || (ptr.section == nullptr && ptr.option != nullptr) ||
        (ptr.section != nullptr && !valid_section(ptr.section)) || (ptr.option != nullptr && !valid_name(ptr.option)))
        return UCI_ERR_INVAL;
    ptr.p = find_package(ctx, ptr.package);
    if (ptr.p == nullptr) {
        const int rc = load_package(ctx, ptr.package, &ptr.p);
        if (rc != UCI_OK)
            return rc;
    }
    return find_in_package(ptr, extended);
}

} // namespace store

int uci_lookup_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str, bool extended)
{
    return store::call(ctx, [=](store::context &c) {
        if (ptr == nullptr)
            return static_cast<int>(UCI_ERR_INVAL);
        const int rc = str != nullptr ? store::split_address(str, *ptr) : UCI_OK;
        return rc == UCI_OK ? store::find(c, *ptr, extended) : rc;
    });
}
