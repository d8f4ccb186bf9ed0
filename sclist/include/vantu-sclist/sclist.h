// The element list: the one collection type of the system.
//
// A doubly linked list between two sentinels, with a pointer to its middle entry that shortens positional
// access and a pool of a few recycled entry blocks, so that a list that is filled and cleared at each sample
// allocates no entry blocks after the first round. What it holds is set by callbacks: how large an element is
// (meter), when it matches a key (seeker), when two are equal (comparator).
//
// Not safe for concurrent use. A list has one iterator, held in the list: walks over one list cannot overlap,
// and while one runs the list cannot be changed. Nothing here logs.
#ifndef VANTU_SCLIST_SCLIST_H
#define VANTU_SCLIST_SCLIST_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// How many freed entry blocks a list keeps for reuse.
#define SCLIST_MAX_SPARE_ELEMS 5

// 0 when the two elements are equal.
typedef int (*element_comparator)(const void *a, const void *b);
// Non-zero when the element matches the key.
typedef int (*element_seeker)(const void *element, const void *key);
// The number of bytes to copy for the element.
typedef size_t (*element_meter)(const void *element);

typedef struct sclist_entry_s {
    void *data; // the element; NULL in the two sentinels
    struct sclist_entry_s *next;
    struct sclist_entry_s *prev;
} sclist_entry_s;

typedef struct sclist_attributes_s {
    element_comparator comparator;
    element_seeker seeker;
    element_meter meter;
    int copy_data; // non-zero: the list stores and owns its own copy of each element
    // Facilities that this system does not use; always NULL.
    void (*hasher)(void);
    void (*serializer)(void);
    void (*unserializer)(void);
} sclist_attributes_s;

// The caller owns the structure itself; what it points to belongs to the list from sclist_init to
// sclist_destroy.
typedef struct sclist_t {
    sclist_entry_s *head_sentinel; // ->next is the first element
    sclist_entry_s *tail_sentinel; // ->prev is the last element
    sclist_entry_s *mid;           // the entry at position (numels - 1) / 2; NULL in an empty list
    unsigned int numels;
    sclist_entry_s **spareels; // room for SCLIST_MAX_SPARE_ELEMS recycled blocks, spareelsnum held
    unsigned int spareelsnum;
    int iter_active;
    unsigned int iter_pos;
    sclist_entry_s *iter_curentry;
    sclist_attributes_s attrs;
} sclist_t;

// Makes an empty list without attributes. Returns 0; -1 when `list` is NULL or memory is short (the list then
// holds nothing, takes nothing, and may be destroyed).
int sclist_init(sclist_t *list);

// Frees the elements that the list owns, its entries and its pool, and leaves all pointers null and all counts
// zero, so that a second call does nothing. With an iteration active the elements are NOT freed (the clearing
// is refused): stop the iterator first.
void sclist_destroy(sclist_t *list);

// Chooses whether the list copies its elements and how large each is. Returns 0; -1 when `list` is NULL, or
// `copy_data` is non-zero while `meter` is NULL.
int sclist_attributes_copy(sclist_t *list, element_meter meter, int copy_data);

// Set the callback (NULL allowed). Return 0; -1 when `list` is NULL.
int sclist_attributes_comparator(sclist_t *list, element_comparator comparator);
int sclist_attributes_seeker(sclist_t *list, element_seeker seeker);

// Adds an element at the end, or at zero-based position `pos` (0 to the number of elements). A copying list
// copies meter(data) bytes, shallowly: what pointers inside the element point to is never the list's.
// Return 1 on success (not 0); -1 when an iteration is active, `pos` is out of range, or memory is short: the
// list is then unchanged.
int sclist_append(sclist_t *list, const void *data);
int sclist_insert_at(sclist_t *list, const void *data, unsigned int pos);

// The stored element, which stays the list's; NULL when `pos` is out of range.
void *sclist_get_at(sclist_t *list, unsigned int pos);

// Removes the element at `pos`, or the first one equal to `data` (see sclist_locate). Return 0; -1 when an
// iteration is active or there is no such element.
int sclist_delete_at(sclist_t *list, unsigned int pos);
int sclist_delete(sclist_t *list, const void *data);

// Removes all elements. Returns 0; -1 (and nothing changed) when an iteration is active.
int sclist_clear(sclist_t *list);

// The number of elements.
unsigned int sclist_size(const sclist_t *list);

// The position of the first element equal to `data`, or -1. Equal means that comparator(data, stored) is 0;
// without a comparator, that it is the identical pointer (so a copying list never finds the caller's record).
int sclist_locate(sclist_t *list, const void *data);

// The first stored element for which seeker(stored, key) is non-zero; NULL when there is none or no seeker.
void *sclist_seek(sclist_t *list, const void *key);

// 1 when sclist_locate finds `data`, else 0.
int sclist_contains(sclist_t *list, const void *data);

// The list's single iterator. start: 1, or 0 (nothing changed) when an iteration is already active.
// next: the current element, then advances; NULL after the last, or when no iteration is active.
// hasnext: non-zero while an iteration is active and elements are left. stop: 1, or 0 when none was active.
int sclist_iterator_start(sclist_t *list);
void *sclist_iterator_next(sclist_t *list);
int sclist_iterator_hasnext(const sclist_t *list);
int sclist_iterator_stop(sclist_t *list);

// For lists of NUL-terminated texts. The meter counts the terminator; the comparator has its two arguments
// swapped, so its sign is the reverse of strcmp's.
size_t sclist_meter_string(const void *element);
int sclist_comparator_string(const void *a, const void *b);

// Walks a list: SCLIST_FOREACH(vantu_ll_dhcp, lease, &list) { ... } SCLIST_FOREACH_END(&list);
// The walk ends on the NULL of the tail sentinel; the result of hasnext is discarded, on purpose. Leaving the
// body with break still reaches the END; return does not stop the iterator.
#define SCLIST_FOREACH(type, var_name, list_ptr) \
    {                                            \
        type *var_name;                          \
        (void)sclist_iterator_start(list_ptr);   \
        while ((void)sclist_iterator_hasnext(list_ptr), (var_name = (type *)sclist_iterator_next(list_ptr)) != NULL)

#define SCLIST_FOREACH_END(list_ptr)      \
    (void)sclist_iterator_stop(list_ptr); \
    }

#ifdef __cplusplus
}
#endif

#endif
