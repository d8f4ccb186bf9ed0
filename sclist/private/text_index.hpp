// Finds the elements of a list by the texts that its seeker compares, without walking the list for each key. Made for
// joining long lists; the result is the one that sclist_seek gives.
#pragma once

#include "vantu-sclist/sclist.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <strings.h>

namespace vantu
{

// An index over the text members of the records in a list, which must not change while it is used. Without memory for
// the index it falls back to seeking the list.
template <typename Record, auto... Members>
class text_index
{
public:
    explicit text_index(sclist_t &list) : list_(list)
    {
        const size_t wanted = 2 * sizeof...(Members) * static_cast<size_t>(sclist_size(&list));
        size_t capacity = 16;
        while (capacity < wanted)
            capacity *= 2;
        slots_.reset(static_cast<slot *>(calloc(capacity, sizeof(slot))));
        if (slots_ == nullptr)
            return;
        mask_ = capacity - 1;
        SCLIST_FOREACH(Record, record, &list) {
            (..., add(record->*Members, record));
        }
        SCLIST_FOREACH_END(&list);
    }

    // The first record of the list one of whose members equals the key, ignoring case; null when there is none.
    Record *find(const char *key) const
    {
        if (slots_ == nullptr)
            return static_cast<Record *>(sclist_seek(&list_, key));
        const slot &found = at(key);
        return found.record;
    }

private:
    struct slot {
        const char *text; // null: free
        Record *record;
    };
    struct releaser {
        void operator()(slot *slots) const { free(slots); }
    };

    // FNV-1a over the lower-case text.
    static uint32_t hash(const char *text)
    {
        uint32_t value = 2166136261U;
        for (; *text != '\0'; text++) {
            const char letter = *text >= 'A' && *text <= 'Z' ? static_cast<char>(*text + ('a' - 'A')) : *text;
            value = (value ^ static_cast<unsigned char>(letter)) * 16777619U;
        }
        return value;
    }

    // The slot that holds the text, or the free one where it would go.
    slot &at(const char *text) const
    {
        size_t place = hash(text) & mask_;
        while (slots_.get()[place].text != nullptr && strcasecmp(slots_.get()[place].text, text) != 0)
            place = (place + 1) & mask_;
        return slots_.get()[place];
    }

    // The first record with a text keeps it.
    void add(const char *text, Record *record)
    {
        slot &place = at(text);
        if (place.text == nullptr)
            place = {text, record};
    }

    sclist_t &list_;
    std::unique_ptr<slot, releaser> slots_;
    size_t mask_ = 0;
};

} // namespace vantu
