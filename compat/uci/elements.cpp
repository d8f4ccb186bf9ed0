// Packages, sections, options and items in memory.

#include "store.hpp"

#include <cstdio>
#include <cstring>
#include <new>

namespace store
{

void list_init(uci_list &head)
{
    head.next = &head;
    head.prev = &head;
}

void list_append(uci_list &head, uci_element &element)
{
    element.list.next = &head;
    element.list.prev = head.prev;
    head.prev->next = &element.list;
    head.prev = &element.list;
}

void list_remove(uci_element &element)
{
    element.list.prev->next = element.list.next;
    element.list.next->prev = element.list.prev;
}

namespace
{

struct heap_free {
    void operator()(char *data) const { free(data); }
};
using heap_string = std::unique_ptr<char, heap_free>;

bool is_word_character(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool is_printable(char c)
{
    return c > ' ' && c < 0x7f;
}

bool all_of(const char *text, bool (*is_good)(char))
{
    if (*text == '\0')
        return false;
    while (is_good(*text))
        text++;
    return *text == '\0';
}

// An element with its name, which is the first member of every T; nullptr without memory.
template <typename T>
T *new_element(uci_type type, const char *name)
{
    void *memory = malloc(sizeof(T));
    heap_string copy(strdup(name));
    if (memory == nullptr || copy == nullptr) {
        free(memory);
        return nullptr;
    }
    T *element = new (memory) T{};
    auto *e = reinterpret_cast<uci_element *>(element);
    e->type = type;
    e->name = copy.release();
    list_init(e->list);
    return element;
}

void free_value(uci_option &o)
{
    if (o.type == UCI_TYPE_STRING) {
        free(o.v.string);
        return;
    }
    uci_element *item = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&o.v.list, next, item) free_item(item);
}

// A new option, not yet with a value and not yet in its section.
uci_option *new_option(uci_section &s, const char *name)
{
    auto *o = new_element<uci_option>(UCI_TYPE_OPTION, name);
    if (o != nullptr)
        o->section = &s;
    return o;
}

struct generated_name {
    char text[32];
};

// Counts one more section and names it: its number, and a hash of its type. Applications have seen such names, so
// both keep their form. Names stay unique whatever names the file itself holds.
generated_name next_name(package &p, const char *type)
{
    uint32_t hash = 5381;
    for (const char *c = type; *c != '\0'; c++)
        hash = hash * 33 + static_cast<unsigned char>(*c);
    generated_name name = {};
    do {
        p.created++;
        (void)snprintf(name.text, sizeof(name.text), "cfg%02x%04x", p.created, static_cast<unsigned>(hash & 0xffff));
    } while (find_section(p, name.text) != nullptr);
    return name;
}

uci_section *append_section(package &p, const char *type, const char *name, bool anonymous)
{
    auto *s = new_element<uci_section>(UCI_TYPE_SECTION, name);
    if (s == nullptr)
        return nullptr;
    list_init(s->options);
    s->package = &p;
    s->anonymous = anonymous;
    if (!set_type(*s, type)) {
        free(s->e.name);
        free(s);
        return nullptr;
    }
    list_append(p.sections, s->e);
    return s;
}

} // namespace

bool valid_name(const char *name)
{
    return all_of(name, is_word_character);
}

bool valid_type(const char *type)
{
    return all_of(type, is_printable);
}

bool valid_package_name(const char *name)
{
    return all_of(name, is_printable);
}

package *new_package(uci_context &ctx, const char *name, const char *path)
{
    auto *p = new_element<package>(UCI_TYPE_PACKAGE, name);
    if (p == nullptr)
        return nullptr;
    list_init(p->sections);
    p->ctx = &ctx;
    p->path = strdup(path);
    if (p->path == nullptr) {
        free_package(p);
        return nullptr;
    }
    return p;
}

void free_package(package *p)
{
    uci_element *s = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&p->sections, next, s) free_section(uci_to_section(s));
    list_remove(p->e);
    free(p->e.name);
    free(p->path);
    p->~package();
    free(p);
}

uci_section *find_section(const package &p, const char *name)
{
    uci_element *e = nullptr;
    uci_foreach_element(&p.sections, e)
    {
        if (strcmp(e->name, name) == 0)
            return uci_to_section(e);
    }
    return nullptr;
}

uci_option *find_option(const uci_section &s, const char *name)
{
    uci_element *e = nullptr;
    uci_foreach_element(&s.options, e)
    {
        if (strcmp(e->name, name) == 0)
            return uci_to_option(e);
    }
    return nullptr;
}

uci_section *add_section(package &p, const char *type, const char *name)
{
    if (name == nullptr)
        return append_section(p, type, next_name(p, type).text, true);
    p.created++;
    return append_section(p, type, name, false);
}

uci_section *add_anonymous(package &p, const char *type, const char *name)
{
    uci_section *holder = find_section(p, name);
    if (holder != nullptr && !holder->anonymous)
        return add_section(p, type, nullptr);
    if (holder != nullptr && !yield_name(*holder))
        return nullptr;
    p.created++;
    return append_section(p, type, name, true);
}

bool yield_name(uci_section &anonymous)
{
    char *fresh = strdup(next_name(of(*anonymous.package), anonymous.type).text);
    if (fresh == nullptr)
        return false;
    free(anonymous.e.name);
    anonymous.e.name = fresh;
    return true;
}

bool renumber(package &p)
{
    uci_element *e = nullptr;
    uci_foreach_element(&p.sections, e)
    {
        if (uci_to_section(e)->anonymous)
            *e->name = '\0'; // the names of before are free
    }
    p.created = 0;
    uci_foreach_element(&p.sections, e)
    {
        uci_section &s = *uci_to_section(e);
        if (!s.anonymous)
            p.created++;
        else if (!yield_name(s))
            return false;
    }
    return true;
}

bool set_type(uci_section &s, const char *type)
{
    char *copy = strdup(type);
    if (copy == nullptr)
        return false;
    free(s.type);
    s.type = copy;
    return true;
}

void free_section(uci_section *s)
{
    uci_element *o = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&s->options, next, o) free_option(uci_to_option(o));
    list_remove(s->e);
    free(s->e.name);
    free(s->type);
    free(s);
}

bool set_string(uci_section &s, const char *option, const char *value)
{
    heap_string copy(strdup(value));
    if (copy == nullptr)
        return false;
    uci_option *o = find_option(s, option);
    if (o != nullptr) {
        free_value(*o);
    } else {
        o = new_option(s, option);
        if (o == nullptr)
            return false;
        list_append(s.options, o->e);
    }
    o->type = UCI_TYPE_STRING;
    o->v.string = copy.release();
    return true;
}

bool add_item(uci_section &s, const char *option, const char *value)
{
    uci_element *item = new_element<uci_element>(UCI_TYPE_ITEM, value);
    if (item == nullptr)
        return false;
    uci_option *o = find_option(s, option);
    if (o == nullptr) {
        o = new_option(s, option);
        if (o == nullptr) {
            free_item(item);
            return false;
        }
        list_append(s.options, o->e);
        o->type = UCI_TYPE_LIST;
        list_init(o->v.list);
    } else if (o->type == UCI_TYPE_STRING) {
        uci_element *first = new_element<uci_element>(UCI_TYPE_ITEM, o->v.string);
        if (first == nullptr) {
            free_item(item);
            return false;
        }
        free_value(*o);
        o->type = UCI_TYPE_LIST;
        list_init(o->v.list);
        list_append(o->v.list, *first);
    }
    list_append(o->v.list, *item);
    return true;
}

uci_element *new_path(const char *directory)
{
    return new_element<uci_element>(UCI_TYPE_PATH, directory);
}

void free_item(uci_element *item)
{
    list_remove(*item);
    free(item->name);
    free(item);
}

void free_option(uci_option *o)
{
    free_value(*o);
    list_remove(o->e);
    free(o->e.name);
    free(o);
}

} // namespace store
