// Values of the configuration store: see vantu-libs2/vantu-uci.h.
//
// The store keeps a package that it has read, takes quotes in a lookup literally, and loses what another process
// commits between its reading and its writing. So packages are forgotten before each look-up, values are handed over
// bare, and look-up, change and commit happen under one lock.

#include "vantu-libs2/vantu-uci.h"

#include "printable.hpp"
#include "vantu-ll-api/log.h"

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <sys/file.h>
#include <uci.h>
#include <unistd.h>

namespace
{

constexpr size_t lookup_size = 512;
constexpr size_t change_size = 255;
constexpr int cmp_size = 64;  // of cmp_param_str
constexpr int find_size = 32; // of vantu_find_uci_index_from_anonlist
constexpr size_t list_size = 256;

vantu_routercfg_context rtcfg_context;

// Whether what failed last is a file that is malformed, and not a lookup.
bool file_is_malformed;

// A lookup and what it led to. The store cuts the text into its names, and the pointer points into it.
struct place {
    char text[lookup_size];
    uci_ptr ptr;
};

// ---- Messages ----

bool has_context(const char *function)
{
    if (rtcfg_context.uci != nullptr)
        return true;
    log_error("%s called when rtcfg_context.uci is NULL", function);
    return false;
}

const char *error_text(int error)
{
    constexpr const char *texts[] = {"Success",   "Out of memory", "Invalid argument", "Entry not found",
                                     "I/O error", "Parse error",   "Duplicate entry",  "Unknown error"};
    return error >= 0 && error < UCI_ERR_LAST ? texts[error] : texts[UCI_ERR_UNKNOWN];
}

// Writes what went wrong to standard error. Only the store itself can tell the line of a malformed file, but its
// printing call is not made for programs that run for long: it gets a limited number of uses.
void __attribute__((format(printf, 1, 2))) report(const char *pattern, ...)
{
    static int uses_left = 32;

    char what[lookup_size + 128];
    va_list arguments;
    va_start(arguments, pattern);
    (void)vsnprintf(what, sizeof(what), pattern, arguments);
    va_end(arguments);
    const vantu::printable<sizeof(what)> shown(what);
    if (file_is_malformed && uses_left > 0) {
        uses_left--;
        uci_perror(rtcfg_context.uci, shown.text());
    } else {
        (void)fprintf(stderr, "%s: %s\n", shown.text(), error_text(rtcfg_context.uci->err));
    }
}

// ---- Look-ups ----

// What was read before may be out of date.
void forget_packages()
{
    uci_element *element = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&rtcfg_context.uci->root, next, element)(void)
        uci_unload(rtcfg_context.uci, uci_to_package(element));
}

int refuse(int error)
{
    file_is_malformed = false;
    rtcfg_context.uci->err = error;
    return error;
}

// Returns the store's error code.
int look_up(const char *text, place &where)
{
    where.ptr = {};
    file_is_malformed = false;
    if (snprintf(where.text, sizeof(where.text), "%s", text) >= static_cast<int>(sizeof(where.text)))
        return refuse(UCI_ERR_INVAL);
    const int error = uci_lookup_ptr(rtcfg_context.uci, &where.ptr, where.text, true);
    // Of a lookup that cannot be read not even the names are found.
    file_is_malformed = error == UCI_ERR_PARSE && where.ptr.package != nullptr;
    return error;
}

bool is_complete(const uci_ptr &ptr)
{
    return (ptr.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0;
}

// Calls `take` with the parts of a value in order: the text of an option, the items of a list and the blanks between
// them, or the type of a section.
template <typename Take>
void each_part(const uci_ptr &ptr, Take take)
{
    if (ptr.o == nullptr) {
        if (ptr.s != nullptr)
            take(ptr.s->type);
        return;
    }
    if (ptr.o->type == UCI_TYPE_STRING) {
        take(ptr.o->v.string);
        return;
    }
    const char *separator = "";
    uci_element *item = nullptr;
    uci_foreach_element(&ptr.o->v.list, item)
    {
        take(separator);
        take(item->name);
        separator = " ";
    }
}

// The look-up of get_param_str, among the packages as they are.
int find_value(const char *lookup, place &where)
{
    const int error = look_up(lookup, where);
    if (error != UCI_OK) {
        log_debug("get_param_str: failed to read \"%s\" err=%d", lookup, error);
        if (file_is_malformed)
            report("get_param_str: failed to read \"%s\" err=%d", lookup, error);
        return E_PARAMNOTFOUND;
    }
    return is_complete(where.ptr) ? E_OK : E_PARAMNOTFOUND;
}

void check_length(const char *lookup, size_t length, int size)
{
    if (size < 0 || length >= static_cast<size_t>(size))
        log_error("get_param_str(\"%s\"): value is longer (%d) than buffer size (%d)", lookup, static_cast<int>(length),
                  size);
}

bool has_value(const uci_ptr &ptr)
{
    return ptr.o != nullptr || ptr.s != nullptr;
}

int read_value(const char *lookup, char *out, int size)
{
    place where;
    const int result = find_value(lookup, where);
    if (result != E_OK || !has_value(where.ptr))
        return result;
    vantu::bounded_text value(out, size);
    each_part(where.ptr, [&](const char *part) { value.add(part); });
    check_length(lookup, value.length(), size);
    return E_OK;
}

// Compares the whole value with a text, as get_param_str into `size` characters would have read it. Without a value
// `equal` stays as it was.
int compare_value(const char *lookup, const char *text, int size, int (*compare)(const char *, const char *, size_t),
                  bool &equal)
{
    place where;
    const int result = find_value(lookup, where);
    if (result != E_OK || !has_value(where.ptr))
        return result;
    std::string_view rest = text;
    size_t length = 0;
    equal = true;
    each_part(where.ptr, [&](std::string_view part) {
        length += part.size();
        equal = equal && part.size() <= rest.size() && compare(part.data(), rest.data(), part.size()) == 0;
        rest.remove_prefix(std::min(part.size(), rest.size()));
    });
    equal = equal && rest.empty();
    check_length(lookup, length, size);
    return E_OK;
}

// ---- Changes ----

// Keeps errno.
void wait_a_little()
{
    const int reason = errno;
    (void)poll(nullptr, 0, 10);
    errno = reason;
}

// Held from the look-up to the commit.
class store_lock
{
public:
    store_lock() : directory_(open(rtcfg_context.uci->confdir, O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        // A directory that is not there needs no lock: the look-up will say so. One that is held for long is held by
        // something that hangs, and waiting for ever would make two of it.
        taken_ = directory_ < 0 && (errno == ENOENT || errno == ENOTDIR);
        for (int tries = 1000; !taken_ && directory_ >= 0 && tries > 0; tries--) {
            taken_ = flock(directory_, LOCK_EX | LOCK_NB) == 0;
            if (!taken_)
                wait_a_little();
        }
        if (!taken_)
            log_error("%s cannot be locked: %s", rtcfg_context.uci->confdir, strerror(errno));
    }
    ~store_lock()
    {
        if (directory_ >= 0)
            (void)close(directory_);
    }
    store_lock(const store_lock &) = delete;
    store_lock &operator=(const store_lock &) = delete;

    bool taken() const { return taken_; }

private:
    int directory_;
    bool taken_;
};

// "LOOKUP" or "LOOKUP=VALUE". False when it does not fit, or when the lookup would begin a value of its own.
bool build_lookup(char (&out)[change_size], const char *lookup, const char *value)
{
    if (strchr(lookup, '=') != nullptr)
        return false;
    const bool bare = value == nullptr;
    const int length = snprintf(out, sizeof(out), "%s%s%s", lookup, bare ? "" : "=", bare ? "" : value);
    return length < static_cast<int>(sizeof(out));
}

vantu_error refused(int error)
{
    return error == UCI_OK ? E_OK : E_PARAMSETFAILED;
}

// Commits the package. That it failed does not change the result of the call.
bool commit(const char *function, const char *lookup, uci_ptr &ptr)
{
    const int error = uci_commit(rtcfg_context.uci, &ptr.p, false);
    file_is_malformed = error == UCI_ERR_PARSE;
    if (error != UCI_OK)
        report("%s: uci_commit failed '%s' err:%d", function, lookup, error);
    return error == UCI_OK;
}

// How a change is called in its messages.
struct change_names {
    const char *function;
    const char *step;              // that the store may refuse
    const char *success = nullptr; // logged with the lookup
};

// The frame around every change: look up under the lock, let `apply` change what was found, commit, report.
template <typename Apply>
int change(const change_names &names, const char *lookup, const char *value, Apply apply)
{
    if (!has_context(names.function))
        return E_MISUSE;
    const store_lock lock;
    if (!lock.taken())
        return E_PARAMSETFAILED;
    forget_packages();
    place where;
    char text[change_size];
    const int error = build_lookup(text, lookup, value) ? look_up(text, where) : refuse(UCI_ERR_INVAL);
    const vantu_error result = error == UCI_OK ? apply(where.ptr) : E_PARAMNOTFOUND;
    if (result == E_PARAMNOTFOUND)
        report("%s: failed to read '%s' err:%d", names.function, lookup, rtcfg_context.uci->err);
    else if (result != E_OK)
        report("%s: %s failed", names.function, names.step);
    else if (commit(names.function, lookup, where.ptr) && names.success != nullptr)
        log_debug("%s success %s", names.success, lookup);
    // What was not committed must not be read back.
    forget_packages();
    return result;
}

vantu_error set_value(uci_ptr &ptr)
{
    // For an index that is not there the store would make a section with the index as its name, and drop it later.
    if (ptr.s == nullptr && (ptr.flags & uci_ptr::UCI_LOOKUP_EXTENDED) != 0)
        return refused(refuse(UCI_ERR_NOTFOUND));
    return refused(uci_set(rtcfg_context.uci, &ptr));
}

bool has_item(const uci_option &option, const char *value)
{
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        if (strcmp(item->name, value) == 0)
            return true;
    }
    return false;
}

// Deletes by value; the store itself would take a number for an index.
vantu_error delete_value(uci_ptr &ptr)
{
    if (ptr.o != nullptr && ptr.o->type == UCI_TYPE_LIST && has_item(*ptr.o, ptr.value))
        return refused(uci_del_list(rtcfg_context.uci, &ptr));
    if (ptr.o != nullptr && ptr.o->type == UCI_TYPE_STRING && strcmp(ptr.o->v.string, ptr.value) == 0) {
        ptr.value = nullptr;
        return refused(uci_delete(rtcfg_context.uci, &ptr));
    }
    (void)refuse(UCI_ERR_NOTFOUND);
    return E_PARAMNOTFOUND;
}

// The store takes any type, and drops a section whose type it cannot write when it writes.
bool is_type(const char *type)
{
    const char *end = type;
    while (isgraph(static_cast<unsigned char>(*end)) != 0)
        end++;
    return end != type && *end == '\0';
}

} // namespace

// ---- The context ----

int vantu_uci_init(void)
{
    if (rtcfg_context.uci != nullptr) {
        log_debug("vantu_uci_init: already initialized");
        return E_MISUSE;
    }
    rtcfg_context.uci = uci_alloc_context();
    if (rtcfg_context.uci == nullptr) {
        log_error("vantu_uci_init: uci_alloc_context() failed");
        return E_NOMEM;
    }
    const int result = uci_set_confdir(rtcfg_context.uci, UCI_CONFDIR);
    if (result != UCI_OK)
        log_error("Failed to set config directory");
    else
        log_trace("uci filepath set to %s", UCI_CONFDIR);
    return result;
}

uci_context *vantu_get_uci_context(void)
{
    if (rtcfg_context.uci == nullptr)
        log_error("vantu_get_uci_context not initilized");
    return rtcfg_context.uci;
}

void vantu_routercfg_close(void)
{
    if (rtcfg_context.uci == nullptr)
        return;
    uci_free_context(rtcfg_context.uci);
    rtcfg_context.uci = nullptr;
}

// ---- Reading ----

int get_param_str(const char *lookup, char *out, int size)
{
    if (!has_context(__func__))
        return E_MISUSE;
    forget_packages();
    return read_value(lookup, out, size);
}

namespace
{

// Appends to a text from malloc. False, with the text freed and null, when memory is short.
bool append_part(char *&text, size_t &length, const char *part)
{
    const size_t more = strlen(part);
    auto *grown = static_cast<char *>(realloc(text, length + more + 1));
    if (grown == nullptr) {
        log_error("realloc(%d) failed", static_cast<int>(length + more + 1));
        free(text);
        text = nullptr;
        return false;
    }
    memcpy(grown + length, part, more + 1);
    text = grown;
    length += more;
    return true;
}

} // namespace

int get_param_str_alloc(const char *lookup, char **out)
{
    if (!has_context(__func__))
        return E_MISUSE;
    if (out == nullptr) {
        log_error("get_param_str_alloc(\"%s\"): value NULL", lookup);
        return E_MISUSE;
    }
    if (*out != nullptr) {
        log_error("get_param_str_alloc(\"%s\"): *value is not  NULL", lookup);
        return E_MISUSE;
    }
    forget_packages();
    place where;
    const int error = look_up(lookup, where);
    if (error != UCI_OK || !is_complete(where.ptr)) {
        if (error == UCI_OK)
            (void)refuse(UCI_ERR_NOTFOUND);
        report("get_param_str_alloc: failed to read '%s'", lookup);
        return E_PARAMNOTFOUND;
    }
    if (where.ptr.o == nullptr) {
        log_debug("get_param_str_alloc: unknown option type %d", static_cast<int>(where.ptr.target));
        return E_PARAMNOTFOUND;
    }
    size_t length = 0;
    bool enough_memory = append_part(*out, length, ""); // a list may be empty
    each_part(where.ptr, [&](const char *part) { enough_memory = enough_memory && append_part(*out, length, part); });
    return enough_memory ? E_OK : E_NOMEM;
}

int get_param_s64(const char *lookup, int64_t *out)
{
    if (!has_context(__func__))
        return E_MISUSE;
    forget_packages();
    place where;
    const int error = look_up(lookup, where);
    const uci_ptr &ptr = where.ptr;
    if (error != UCI_OK || ptr.o == nullptr || ptr.o->type != UCI_TYPE_STRING) {
        log_debug("get_param_s64: failed to read \"%s\"", lookup);
        if (file_is_malformed)
            report("get_param_s64: failed to read \"%s\"", lookup);
        return E_PARAMNOTFOUND;
    }
    const char *value = ptr.o->v.string;
    char *end = nullptr;
    errno = 0;
    const long long number = strtoll(value, &end, 10);
    const char *problem = nullptr;
    if (errno == ERANGE)
        problem = "is out of range";
    else if (end == value || (errno != 0 && number == 0))
        problem = "contains no number";
    else if (*end != '\0')
        problem = "contains extra characters";
    if (problem != nullptr) {
        log_error("get_param_s64(%s.%s.%s): value \"%s\" %s", ptr.package, ptr.section, ptr.option, value, problem);
        return E_PARAMNOTFOUND;
    }
    *out = number;
    return E_OK;
}

int cmp_param_str(const char *lookup, const char *value)
{
    if (!has_context(__func__))
        return E_MISUSE;
    forget_packages();
    bool equal = *value == '\0';
    const int result = compare_value(lookup, value, cmp_size, strncmp, equal);
    if (result != E_OK)
        return result;
    return equal ? E_CMP_EQUAL : E_CMP_NOT_EQUAL;
}

int cmp_param_s64(const char *lookup, int64_t value)
{
    char text[24];
    (void)snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
    return cmp_param_str(lookup, text);
}

// ---- Writing ----

int set_param_str(const char *lookup, const char *value)
{
    return change({__func__, "uci_set", "set_param_set"}, lookup, value, set_value);
}

int set_param_s64(const char *lookup, int64_t value)
{
    char text[24];
    (void)snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
    return set_param_str(lookup, text);
}

int mod_list_param_str(const char *lookup, const char *value, int remove)
{
    return change({__func__, "uci_set"}, lookup, value, [remove](uci_ptr &ptr) {
        return refused(remove != 0 ? uci_del_list(rtcfg_context.uci, &ptr) : uci_add_list(rtcfg_context.uci, &ptr));
    });
}

int del_anonymous_param(const char *lookup, const char *value)
{
    return change({__func__, "uci_delete"}, lookup, value, delete_value);
}

int del_param(const char *lookup)
{
    return change({__func__, "uci_delete"}, lookup, nullptr,
                  [](uci_ptr &ptr) { return refused(uci_delete(rtcfg_context.uci, &ptr)); });
}

int add_anonymous_section(const char *package, const char *type)
{
    if (!has_context(__func__))
        return E_MISUSE;
    log_debug("add_anonymous_param: config section: %s %s", package, type);
    const store_lock lock;
    if (!lock.taken())
        return UCI_ERR_IO;
    forget_packages();
    place where;
    int error = look_up(package, where);
    if (error != UCI_OK) {
        log_error("add_anonymous_param: uci_lookup_ptr err:%d", error);
        if (file_is_malformed)
            report("add_anonymous_param: uci_lookup_ptr err:%d", error);
        return error;
    }
    uci_section *section = nullptr;
    error = is_type(type) ? uci_add_section(rtcfg_context.uci, where.ptr.p, type, &section) : UCI_ERR_INVAL;
    if (error != UCI_OK) {
        log_error("add_anonymous_param: uci_add_section err:%d", error);
        return error;
    }
    error = uci_save(rtcfg_context.uci, where.ptr.p);
    if (error != UCI_OK)
        log_error("add_anonymous_param: uci_save err:%d", error);
    return error;
}

// ---- Several values ----

int vantu_find_uci_index_from_anonlist(const char *type_ref, const char *option, const char *value, int *index)
{
    if (!has_context(__func__))
        return E_MISUSE;
    forget_packages();
    int idx = 0;
    for (; idx <= VANTU_DEVICE_UCI_MAX; idx++) {
        char lookup[lookup_size];
        bool equal = false;
        (void)snprintf(lookup, sizeof(lookup), "%s[%d]", type_ref, idx);
        if (compare_value(lookup, value, find_size, strncasecmp, equal) != E_OK)
            break;
        // A section without the option leaves the section's type to be compared.
        (void)snprintf(lookup, sizeof(lookup), "%s[%d].%s", type_ref, idx, option);
        (void)compare_value(lookup, value, find_size, strncasecmp, equal);
        if (equal) {
            *index = idx;
            return E_OK;
        }
    }
    // The loop looks at one section more than the limit, which speaks up only when it ends right there; both are as
    // callers know them.
    if (idx == VANTU_DEVICE_UCI_MAX) {
        log_error("vantu_find_uci_index_from_anonlist: Reached max devices on uci");
        return E_GENERAL;
    }
    log_debug("vantu_find_uci_index_from_anonlist %s %s %s NOT FOUND", type_ref, option, value);
    *index = -1;
    return E_PARAMNOTFOUND;
}

int vantu_update_config(const char *prefix, const char *lookup_list, const char *values_list)
{
    if (!has_context(__func__))
        return E_MISUSE;
    const int lookup_commas = vantu_count_chars(lookup_list, ',');
    const int value_commas = vantu_count_chars(values_list, ',');
    if (lookup_commas != value_commas) {
        log_error("Invalid arguments: lookup_list: %d != values_list: %d", lookup_commas, value_commas);
        return E_INVALIDPARAM;
    }
    char lookups[list_size];
    char values[list_size];
    vantu::copy_text(lookups, lookup_list);
    vantu::copy_text(values, values_list);
    vantu_remove_spaces(lookups, lookups);
    vantu_remove_spaces(values, values);

    char *lookups_left = lookups;
    char *values_left = values;
    while (lookups_left != nullptr && values_left != nullptr) {
        const char *lookup = strsep(&lookups_left, ",");
        const char *value = strsep(&values_left, ",");
        if (lookup[0] == '\0' || value[0] == '\0')
            continue;
        char full_lookup[lookup_size];
        (void)snprintf(full_lookup, sizeof(full_lookup), "%.64s.%s", prefix, lookup);
        log_debug("%s='%s'", full_lookup, value);
        const int result = set_param_str(full_lookup, value);
        if (result != E_OK) {
            log_error("vantu_update_config: UCIERRR: %d, lookup: %s, value: %s", result, full_lookup, value);
            return result;
        }
    }
    return E_OK;
}

namespace
{

void print_option(vantu::bounded_text &out, const uci_ptr &ptr)
{
    const std::string_view line[] = {ptr.p->e.name, ".", ptr.s->e.name, ".", ptr.o->e.name, "\n"};
    for (const std::string_view part : line)
        out.add(part);
    if (ptr.o->type == UCI_TYPE_STRING || ptr.o->type == UCI_TYPE_LIST)
        each_part(ptr, [&](const char *part) { out.add(part); });
    else
        out.add("<unknown>");
    out.add("\n");
}

} // namespace

int vantu_list_uci_configs(const char *package, char *out, int size)
{
    if (!has_context(__func__))
        return E_MISUSE;
    forget_packages();
    place where;
    if (look_up(package, where) != UCI_OK) {
        report("get_config_entry Error");
        log_warn("%s: Failed to get %s", __func__, package);
        return 0;
    }
    vantu::bounded_text text(out, size);
    uci_element *section = nullptr;
    uci_foreach_element(&where.ptr.p->sections, section)
    {
        where.ptr.s = uci_to_section(section);
        uci_element *option = nullptr;
        uci_foreach_element(&where.ptr.s->options, option)
        {
            where.ptr.o = uci_to_option(option);
            print_option(text, where.ptr);
        }
    }
    return static_cast<int>(text.written());
}

// ---- Texts ----

void vantu_remove_spaces(const char *src, char *dst)
{
    for (; *src != '\0'; src++) {
        if (*src != ' ')
            *dst++ = *src;
    }
    *dst = '\0';
}

void vantu_remove_char(char *str, char c)
{
    char *kept = str;
    for (; *str != '\0'; str++) {
        if (*str != c)
            *kept++ = *str;
    }
    *kept = '\0';
}

int vantu_count_chars(const char *str, char c)
{
    int count = 0;
    for (; *str != '\0'; str++)
        count += *str == c ? 1 : 0;
    return count;
}
