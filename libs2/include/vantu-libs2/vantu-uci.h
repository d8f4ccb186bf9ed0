// Values of the router's configuration store, by lookup: "PACKAGE.SECTION.OPTION", where "@TYPE[N]" stands for the N-th
// section of a type.
//
// Every read sees what any process has committed before. Every change is committed at once, under a lock that all
// programs on this layer take, so that none of them loses what another one writes at the same time. The lock is on the
// configuration directory itself: there is no file to leave behind.
//
// One context serves the whole process: callers from several threads must take turns. A lookup of 512 characters or
// more, or a change's lookup with "=" in it, fails like one that the store cannot read.
#ifndef VANTU_LIBS2_VANTU_UCI_H
#define VANTU_LIBS2_VANTU_UCI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct uci_context; // the store's

#ifndef UCI_CONFDIR
#define UCI_CONFDIR "/etc/config"
#endif

// Bound of the search for a section.
#define VANTU_DEVICE_UCI_MAX 1000

typedef enum vantu_error {
    E_CMP_NOT_EQUAL = 2,
    E_CMP_EQUAL = 1,
    E_OK = 0,
    E_NOMEM = -1,
    E_NOTIMPLEMENTED = -2,
    E_NOTSUPPORTED = -3,
    E_MISUSE = -4,         // no context, or one already; an output that cannot be used
    E_PARAMNOTFOUND = -5,  // the lookup failed; the value is missing or cannot be converted
    E_PARAMSETFAILED = -6, // the store refused the change
    E_GENERAL = -7,        // the bound of the search
    E_INVALIDPARAM = -8    // lists of different lengths
} vantu_error;

typedef struct vantu_routercfg_context {
    struct uci_context *uci; // null before vantu_uci_init and after vantu_routercfg_close
} vantu_routercfg_context;

// ---- The context ----

// Makes the context, for the packages in UCI_CONFDIR. Returns 0; E_MISUSE when there is one already, which stays;
// E_NOMEM. Whether the directory is there shows only when a value is read.
int vantu_uci_init(void);

// The context, for calls of the store's own; null, and an error is logged, when there is none.
struct uci_context *vantu_get_uci_context(void);

// Frees the context. Without one it does nothing.
void vantu_routercfg_close(void);

// ---- Values. Without a context all of them return E_MISUSE and log an error. ----

// Reads a value into `out` of `size` bytes: an option's text, the items of a list with blanks between, or the type of a
// section. A value that does not fit is cut and an error is logged. Returns E_OK, also when the lookup names a package,
// which has no value (`out` stays); E_PARAMNOTFOUND when there is no such element, logged at debug level when the store
// could not read it. A package file that is malformed is reported on standard error with the line.
int get_param_str(const char *lookup, char *out, int size);

// The same for an option of any length, into a new text in `*out`, which must be null; the caller frees it. Returns
// E_OK, E_MISUSE (`out` or `*out`), E_PARAMNOTFOUND, E_NOMEM (`*out` is null then).
int get_param_str_alloc(const char *lookup, char **out);

// Reads a decimal number. E_PARAMNOTFOUND also when the text is not exactly one, or does not fit 64 bits; then `*out`
// stays.
int get_param_s64(const char *lookup, int64_t *out);

// Compares the value's text with another one, or with the text of a number ("05" is not 5). E_CMP_EQUAL,
// E_CMP_NOT_EQUAL, or the error of reading it. A value of 64 characters or more is logged as get_param_str does.
int cmp_param_str(const char *lookup, const char *value);
int cmp_param_s64(const char *lookup, int64_t value);

// Sets an option (the section must be there) or makes a named section of a type, and commits. An empty value removes
// the option, or the section when the lookup names one. Returns E_OK; E_PARAMNOTFOUND when "LOOKUP=VALUE" is no lookup
// or has more than 254 characters; E_PARAMSETFAILED. A commit that fails is reported on standard error only: the result
// is still E_OK.
int set_param_str(const char *lookup, const char *value);
int set_param_s64(const char *lookup, int64_t value);

// Appends an item to a list, or removes all items that equal it, and commits. Results as for set_param_str.
int mod_list_param_str(const char *lookup, const char *value, int remove);

// Adds an anonymous section behind the others. It is saved as a pending change and is committed with the package's next
// change. Returns 0 or the error code of the store, which is logged.
int add_anonymous_section(const char *package, const char *type);

// Removes the items of a list that equal the value, or the option that has it, and commits. Results as for
// set_param_str; E_PARAMNOTFOUND when nothing has that value.
int del_anonymous_param(const char *lookup, const char *value);

// Removes an option or a section, and commits. Results as for set_param_str; E_PARAMSETFAILED when it is not there.
int del_param(const char *lookup);

// ---- Several values ----

// Searches the sections of an anonymous type ("PACKAGE.@TYPE") for the first whose option has the value, ignoring case,
// and stores its index. A section without the option counts by its type. A value of more than 31 characters is compared
// whole, but logged as too long. Returns E_OK; E_PARAMNOTFOUND (and index -1); E_GENERAL when there are exactly
// VANTU_DEVICE_UCI_MAX sections and none has it; E_MISUSE.
int vantu_find_uci_index_from_anonlist(const char *type_ref, const char *option, const char *value, int *index);

// Sets PREFIX.LOOKUP for each of the comma separated lookups to the value at the same place of the other list. Blanks
// are removed, pairs with an empty part are left out. Of the prefix 64 characters count, of each list 255. Returns
// E_OK; E_INVALIDPARAM when the lists have not as many commas, and nothing is changed; otherwise what set_param_str
// returned for the first pair that failed: the pairs before it stay changed.
int vantu_update_config(const char *prefix, const char *lookup_list, const char *values_list);

// Writes every option of a package into `out` of `size` bytes, cut to it: a line "PACKAGE.SECTION.OPTION" and a line
// with the value. Returns the number of characters written; 0, reported, when there is no such package.
int vantu_list_uci_configs(const char *package, char *out, int size);

// ---- Texts ----

// Copies a text without its blanks; `dst` holds as much as `src` and may be the same.
void vantu_remove_spaces(const char *src, char *dst);

// Removes every `c`, in place.
void vantu_remove_char(char *str, char c);

// How often `c` stands in the text.
int vantu_count_chars(const char *str, char c);

#ifdef __cplusplus
}
#endif

#endif
