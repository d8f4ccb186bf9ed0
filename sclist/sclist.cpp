// The element list container: see sclist.h for what it promises.

#include "vantu-sclist/sclist.h"

#include <cstdlib>
#include <cstring>

namespace
{

// Steps from an entry at position `at` to position `wanted`, forward or backward.
sclist_entry_s *walk(sclist_entry_s *entry, long at, long wanted)
{
    for (; at < wanted; at++)
        entry = entry->next;
    for (; at > wanted; at--)
        entry = entry->prev;
    return entry;
}

// The entry at a position, where -1 is the head sentinel and numels the tail sentinel; null when out of range.
// The walk starts at the nearest of head, middle and tail, so that it costs at most a quarter of the list.
// In an empty list the ratio is infinite or not a number, which every comparison sends to the tail.
sclist_entry_s *sclist_findpos(const sclist_t *list, long pos)
{
    const long size = list->numels;
    if (list->head_sentinel == nullptr || pos < -1 || pos > size)
        return nullptr;

    const float ratio = static_cast<float>(pos + 1) / static_cast<float>(size);
    if (ratio <= 0.25F)
        return walk(list->head_sentinel, -1, pos);
    if (ratio <= 0.75F)
        return walk(list->mid, (size - 1) / 2, pos);
    return walk(list->tail_sentinel, size, pos);
}

void link_sentinels(sclist_t *list)
{
    list->head_sentinel->next = list->tail_sentinel;
    list->tail_sentinel->prev = list->head_sentinel;
    list->head_sentinel->prev = nullptr;
    list->tail_sentinel->next = nullptr;
}

sclist_entry_s *new_entry()
{
    return static_cast<sclist_entry_s *>(calloc(1, sizeof(sclist_entry_s)));
}

// The most recently recycled block first; else a fresh one.
sclist_entry_s *take_entry(sclist_t *list)
{
    if (list->spareelsnum > 0)
        return list->spareels[--list->spareelsnum];
    return new_entry();
}

void recycle_entry(sclist_t *list, sclist_entry_s *entry)
{
    if (list->spareelsnum < SCLIST_MAX_SPARE_ELEMS)
        list->spareels[list->spareelsnum++] = entry;
    else
        free(entry);
}

// What the list stores for an element: its own copy, or the caller's pointer. Null when memory is short.
void *stored_form(const sclist_t *list, const void *data)
{
    if (list->attrs.copy_data == 0 || data == nullptr)
        return const_cast<void *>(data);

    const size_t size = list->attrs.meter(data);
    void *copy = malloc(size > 0 ? size : 1);
    if (copy != nullptr)
        memcpy(copy, data, size);
    return copy;
}

void drop_element(const sclist_t *list, sclist_entry_s *entry)
{
    if (list->attrs.copy_data != 0)
        free(entry->data);
}

void link_after(sclist_entry_s *before, sclist_entry_s *entry)
{
    entry->prev = before;
    entry->next = before->next;
    before->next->prev = entry;
    before->next = entry;
}

// Keeps mid at (numels - 1) / 2 after an insertion at pos; numels already counts the new entry.
void adjust_mid_after_insert(sclist_t *list, sclist_entry_s *entry, unsigned int pos)
{
    const unsigned int middle = (list->numels - 1) / 2;
    const bool odd = list->numels % 2 != 0;
    if (list->numels == 1)
        list->mid = entry;
    else if (odd && pos >= middle)
        list->mid = list->mid->next;
    else if (!odd && pos <= middle)
        list->mid = list->mid->prev;
}

// The same before a deletion at pos; numels still counts the entry that goes.
void adjust_mid_before_delete(sclist_t *list, unsigned int pos)
{
    const bool odd = list->numels % 2 != 0;
    if (list->numels == 1)
        list->mid = nullptr;
    else if (!odd && pos < list->numels / 2)
        list->mid = list->mid->next;
    else if (odd && pos >= list->numels / 2)
        list->mid = list->mid->prev;
}

bool equal(const sclist_t *list, const void *sought, const void *stored)
{
    if (list->attrs.comparator == nullptr)
        return sought == stored;
    return list->attrs.comparator(sought, stored) == 0;
}

} // namespace

int sclist_init(sclist_t *list)
{
    if (list == nullptr)
        return -1;

    *list = {};
    list->head_sentinel = new_entry();
    list->tail_sentinel = new_entry();
    list->spareels = static_cast<sclist_entry_s **>(calloc(SCLIST_MAX_SPARE_ELEMS, sizeof(sclist_entry_s *)));
    if (list->head_sentinel == nullptr || list->tail_sentinel == nullptr || list->spareels == nullptr) {
        free(list->head_sentinel);
        free(list->tail_sentinel);
        free(list->spareels);
        *list = {};
        return -1;
    }
    link_sentinels(list);
    return 0;
}

void sclist_destroy(sclist_t *list)
{
    (void)sclist_clear(list);
    while (list->spareelsnum > 0)
        free(list->spareels[--list->spareelsnum]);
    free(list->spareels);
    free(list->head_sentinel);
    free(list->tail_sentinel);
    *list = {};
}

int sclist_attributes_copy(sclist_t *list, element_meter meter, int copy_data)
{
    if (list == nullptr || (copy_data != 0 && meter == nullptr))
        return -1;
    list->attrs.meter = meter;
    list->attrs.copy_data = copy_data;
    return 0;
}

int sclist_attributes_comparator(sclist_t *list, element_comparator comparator)
{
    if (list == nullptr)
        return -1;
    list->attrs.comparator = comparator;
    return 0;
}

int sclist_attributes_seeker(sclist_t *list, element_seeker seeker)
{
    if (list == nullptr)
        return -1;
    list->attrs.seeker = seeker;
    return 0;
}

int sclist_append(sclist_t *list, const void *data)
{
    return sclist_insert_at(list, data, list->numels);
}

int sclist_insert_at(sclist_t *list, const void *data, unsigned int pos)
{
    if (list->iter_active != 0 || pos > list->numels || list->head_sentinel == nullptr)
        return -1;

    sclist_entry_s *entry = take_entry(list);
    if (entry == nullptr)
        return -1;
    entry->data = stored_form(list, data);
    if (entry->data == nullptr && data != nullptr) {
        recycle_entry(list, entry);
        return -1;
    }

    link_after(sclist_findpos(list, static_cast<long>(pos) - 1), entry);
    list->numels++;
    adjust_mid_after_insert(list, entry, pos);
    return 1;
}

void *sclist_get_at(sclist_t *list, unsigned int pos)
{
    const sclist_entry_s *entry = sclist_findpos(list, pos);
    return entry == nullptr ? nullptr : entry->data;
}

int sclist_delete_at(sclist_t *list, unsigned int pos)
{
    if (list->iter_active != 0 || pos >= list->numels)
        return -1;

    sclist_entry_s *entry = sclist_findpos(list, pos);
    adjust_mid_before_delete(list, pos);
    entry->prev->next = entry->next;
    entry->next->prev = entry->prev;
    drop_element(list, entry);
    recycle_entry(list, entry);
    list->numels--;
    return 0;
}

int sclist_delete(sclist_t *list, const void *data)
{
    const int pos = sclist_locate(list, data);
    return pos < 0 ? -1 : sclist_delete_at(list, static_cast<unsigned int>(pos));
}

int sclist_clear(sclist_t *list)
{
    if (list->iter_active != 0)
        return -1;
    if (list->head_sentinel == nullptr)
        return 0;

    for (sclist_entry_s *entry = list->head_sentinel->next; entry != list->tail_sentinel;) {
        sclist_entry_s *next = entry->next;
        drop_element(list, entry);
        recycle_entry(list, entry);
        entry = next;
    }
    link_sentinels(list);
    list->numels = 0;
    list->mid = nullptr;
    return 0;
}

unsigned int sclist_size(const sclist_t *list)
{
    return list->numels;
}

int sclist_locate(sclist_t *list, const void *data)
{
    if (list->numels == 0)
        return -1;

    int pos = 0;
    for (const sclist_entry_s *entry = list->head_sentinel->next; entry != list->tail_sentinel; entry = entry->next) {
        if (equal(list, data, entry->data))
            return pos;
        pos++;
    }
    return -1;
}

void *sclist_seek(sclist_t *list, const void *key)
{
    if (list->attrs.seeker == nullptr || list->numels == 0)
        return nullptr;

    for (const sclist_entry_s *entry = list->head_sentinel->next; entry != list->tail_sentinel; entry = entry->next) {
        if (list->attrs.seeker(entry->data, key) != 0)
            return entry->data;
    }
    return nullptr;
}

int sclist_contains(sclist_t *list, const void *data)
{
    return sclist_locate(list, data) >= 0 ? 1 : 0;
}

int sclist_iterator_start(sclist_t *list)
{
    if (list->iter_active != 0)
        return 0;
    list->iter_active = 1;
    list->iter_pos = 0;
    list->iter_curentry = list->head_sentinel == nullptr ? nullptr : list->head_sentinel->next;
    return 1;
}

void *sclist_iterator_next(sclist_t *list)
{
    // Past the tail sentinel there is no entry: a caller that goes on gets null again.
    if (list->iter_active == 0 || list->iter_curentry == nullptr)
        return nullptr;

    void *data = list->iter_curentry->data;
    list->iter_curentry = list->iter_curentry->next;
    list->iter_pos++;
    return data;
}

int sclist_iterator_hasnext(const sclist_t *list)
{
    return list->iter_active != 0 && list->iter_pos < list->numels ? 1 : 0;
}

int sclist_iterator_stop(sclist_t *list)
{
    if (list->iter_active == 0)
        return 0;
    list->iter_active = 0;
    list->iter_pos = 0;
    list->iter_curentry = nullptr;
    return 1;
}

size_t sclist_meter_string(const void *element)
{
    return strlen(static_cast<const char *>(element)) + 1;
}

int sclist_comparator_string(const void *a, const void *b)
{
    return strcmp(static_cast<const char *>(b), static_cast<const char *>(a));
}
