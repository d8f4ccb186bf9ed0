// The configuration store: packages are files of sections, sections hold options. For hosts whose system has no
// such library; names, calls, file format and pending changes are the system's own, so that the same source
// compiles and works with either.
#ifndef UCI_H
#define UCI_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    UCI_OK = 0,
    UCI_ERR_MEM,
    UCI_ERR_INVAL,
    UCI_ERR_NOTFOUND,
    UCI_ERR_IO,
    UCI_ERR_PARSE,
    UCI_ERR_DUPLICATE,
    UCI_ERR_UNKNOWN,
    UCI_ERR_LAST
};

enum uci_type {
    UCI_TYPE_UNSPEC = 0,
    UCI_TYPE_DELTA = 1,
    UCI_TYPE_PACKAGE = 2,
    UCI_TYPE_SECTION = 3,
    UCI_TYPE_OPTION = 4,
    UCI_TYPE_PATH = 5,
    UCI_TYPE_BACKEND = 6,
    UCI_TYPE_ITEM = 7,
    UCI_TYPE_HOOK = 8
};

enum uci_option_type { UCI_TYPE_STRING = 0, UCI_TYPE_LIST = 1 };

// A circular list: the head is no element; an empty list's head points to itself.
struct uci_list {
    struct uci_list *next;
    struct uci_list *prev;
};

struct uci_element {
    struct uci_list list;
    enum uci_type type;
    char *name; // for an item of a list option, its value
};

struct uci_context {
    struct uci_list root; // the loaded packages
    int flags;            // unused, 0
    char *confdir;
    char *savedir;
    struct uci_list delta_path; // every directory that pending changes are read from
    int err;                    // what the last call returned
};

struct uci_package {
    struct uci_element e;
    struct uci_list sections;
    struct uci_context *ctx;
    bool has_delta; // false for a package named by a path: its changes cannot be saved, only committed
    char *path;
};

struct uci_section {
    struct uci_element e; // an anonymous section has a generated name, which is not in the file and may shift
    struct uci_list options;
    struct uci_package *package;
    bool anonymous;
    char *type;
};

struct uci_option {
    struct uci_element e;
    struct uci_section *section;
    enum uci_option_type type;
    union {
        struct uci_list list;
        char *string;
    } v;
};

// What a lookup asks for and finds. The strings point into the text that was looked up.
struct uci_ptr {
    enum uci_type target; // the shape of the text: package, section or option
    enum {
        UCI_LOOKUP_DONE = 1,
        UCI_LOOKUP_COMPLETE = 2, // all that was named exists
        UCI_LOOKUP_EXTENDED = 4  // the section was given as @type[index]
    } flags;
    struct uci_package *p;
    struct uci_section *s;
    struct uci_option *o;
    struct uci_element *last; // the innermost element found
    const char *package;
    const char *section;
    const char *option;
    const char *value;
};

// NULL when memory is short. A context belongs to one thread. Freeing it drops changes that were not saved.
struct uci_context *uci_alloc_context(void);
void uci_free_context(struct uci_context *ctx);

// The directory of the configuration files (default /etc/config) and that of pending changes (default /tmp/.uci,
// whose changes are read whatever else is set). Copied, not checked.
int uci_set_confdir(struct uci_context *ctx, const char *dir);
int uci_set_savedir(struct uci_context *ctx, const char *dir);

// Looks up package[.section[.option]][=value]; `str` is cut into pieces, which `ptr` points to. With `extended`
// the section may be @type[index], a negative index counting from the end. An option or section that does not
// exist is no failure: UCI_LOOKUP_COMPLETE is then clear in ptr->flags. A package that does not exist gives
// UCI_ERR_NOTFOUND, a malformed file or text UCI_ERR_PARSE.
int uci_lookup_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str, bool extended);

// Changes in memory, recorded for uci_save and uci_commit. An empty value deletes.
int uci_set(struct uci_context *ctx, struct uci_ptr *ptr);
// Deletes a section or option; with a number as value, that item (from 0) of a list option.
int uci_delete(struct uci_context *ctx, struct uci_ptr *ptr);
int uci_add_list(struct uci_context *ctx, struct uci_ptr *ptr);
// Removes every item that equals the value.
int uci_del_list(struct uci_context *ctx, struct uci_ptr *ptr);
// Appends an anonymous section; `*res` belongs to the package.
int uci_add_section(struct uci_context *ctx, struct uci_package *p, const char *type, struct uci_section **res);

// Appends the recorded changes to the pending changes of the package, which every later load sees.
int uci_save(struct uci_context *ctx, struct uci_package *p);
// Writes pending and recorded changes to the configuration file, which is replaced at once or not at all. Without
// `overwrite` the file is read anew first, and `*p` becomes a new package: no element of the old one may be used.
// When the file is malformed meanwhile, `*p` becomes NULL and the changes stay pending.
int uci_commit(struct uci_context *ctx, struct uci_package **p, bool overwrite);

// `*package` may be NULL after a failure. Loading what is loaded gives UCI_ERR_DUPLICATE.
int uci_load(struct uci_context *ctx, const char *name, struct uci_package **package);
int uci_unload(struct uci_context *ctx, struct uci_package *p);

// Prints "PREFIX: " (unless NULL) and what ctx->err means, to standard error.
void uci_perror(struct uci_context *ctx, const char *prefix);
// The same text without the end of line; `*dest` is the caller's to free, NULL when memory is short.
void uci_get_errorstr(struct uci_context *ctx, char **dest, const char *prefix);

#define uci_list_empty(head)    ((head)->next == (head))
#define uci_list_to_element(l)  ((struct uci_element *)(void *)(l))
#define uci_to_package(element) ((struct uci_package *)(void *)(element))
#define uci_to_section(element) ((struct uci_section *)(void *)(element))
#define uci_to_option(element)  ((struct uci_option *)(void *)(element))

#define uci_foreach_element(head, element)                                          \
    for ((element) = uci_list_to_element((head)->next); &(element)->list != (head); \
         (element) = uci_list_to_element((element)->list.next))

// The current element may be freed.
#define uci_foreach_element_safe(head, tmp, element)                                                       \
    for ((element) = uci_list_to_element((head)->next), (tmp) = uci_list_to_element((element)->list.next); \
         &(element)->list != (head); (element) = (tmp), (tmp) = uci_list_to_element((element)->list.next))

#ifdef __cplusplus
}
#endif

#endif
