// The element list. Beside the cases there is a run of random operations against a model, which checks every
// link of the list after each. The program is linked with malloc and calloc wrapped, so that allocations can
// be counted and made to fail; what C++ itself allocates is not wrapped.

#include "list_owner.hpp"
#include "typed_list.hpp"
#include "vantu-sclist/sclist.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace
{

// Which allocations fail while one of these lives: the `first`th and every `every`th after it (0: none more);
// first 0 fails none. Counts them as well. One at a time.
class allocations
{
public:
    explicit allocations(long first = 0, long every = 0) : first_(first), every_(every) { current = this; }
    ~allocations() { current = nullptr; }
    allocations(const allocations &) = delete;
    allocations &operator=(const allocations &) = delete;

    long count() const { return count_; }
    long failed() const { return failed_; }

    static bool next_fails()
    {
        if (current == nullptr)
            return false;
        const long number = ++current->count_;
        const long first = current->first_;
        const long every = current->every_;
        const bool fails =
            first > 0 && (number == first || (every > 0 && number > first && (number - first) % every == 0));
        current->failed_ += fails ? 1 : 0;
        return fails;
    }

private:
    static allocations *current;
    long first_;
    long every_;
    long count_ = 0;
    long failed_ = 0;
};

allocations *allocations::current = nullptr;

} // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);

void *__wrap_malloc(size_t size)
{
    return allocations::next_fails() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return allocations::next_fails() ? nullptr : __real_calloc(count, size);
}
}

namespace
{

struct record {
    int key;    // what is sought and compared; not unique
    int serial; // tells records of one key apart
    char text[24];
};

record make(int key, int serial = 0)
{
    record made = {key, serial, {}};
    (void)snprintf(made.text, sizeof(made.text), "%d/%d", key, serial);
    return made;
}

int seek_key(const void *element, const void *key)
{
    return static_cast<const record *>(element)->key == *static_cast<const int *>(key) ? 1 : 0;
}

int compare_key(const void *a, const void *b)
{
    return static_cast<const record *>(a)->key - static_cast<const record *>(b)->key;
}

int init_records(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu::record_size<record>, seek_key, compare_key);
}

// A copying list of the records 1 to n.
class records
{
public:
    explicit records(int count = 0) : owner_(list_, init_records)
    {
        for (int key = 1; key <= count; key++)
            append(key);
    }

    operator sclist_t *() { return &list_; }
    sclist_t *operator->() { return &list_; }

    void append(int key)
    {
        const record element = make(key);
        EXPECT_EQ(sclist_append(&list_, &element), 1);
    }

private:
    sclist_t list_;
    vantu::list_owner owner_;
};

using keys = std::vector<int>;

keys keys_of(const sclist_t *list)
{
    keys all;
    for (const sclist_entry_s *entry = list->head_sentinel->next; entry != list->tail_sentinel; entry = entry->next)
        all.push_back(static_cast<const record *>(entry->data)->key);
    return all;
}

int key_at(sclist_t *list, unsigned int pos)
{
    const auto *element = static_cast<const record *>(sclist_get_at(list, pos));
    return element == nullptr ? INT_MIN : element->key;
}

std::vector<sclist_entry_s *> entries_of(const sclist_t *list)
{
    std::vector<sclist_entry_s *> all;
    for (sclist_entry_s *entry = list->head_sentinel->next; entry != list->tail_sentinel; entry = entry->next)
        all.push_back(entry);
    return all;
}

std::vector<sclist_entry_s *> pool_of(const sclist_t *list)
{
    return {list->spareels, list->spareels + list->spareelsnum};
}

void expect_all_zero(const sclist_t &list)
{
    EXPECT_EQ(list.head_sentinel, nullptr);
    EXPECT_EQ(list.tail_sentinel, nullptr);
    EXPECT_EQ(list.mid, nullptr);
    EXPECT_EQ(list.numels, 0U);
    EXPECT_EQ(list.spareels, nullptr);
    EXPECT_EQ(list.spareelsnum, 0U);
    EXPECT_EQ(list.iter_active, 0);
    EXPECT_EQ(list.iter_pos, 0U);
    EXPECT_EQ(list.iter_curentry, nullptr);
}

// A list that holds nothing takes nothing, finds nothing and may be destroyed again.
void expect_empty_and_safe(sclist_t *list)
{
    const record element = make(1);
    const int key = 1;
    EXPECT_EQ(sclist_size(list), 0U);
    EXPECT_EQ(sclist_append(list, &element), -1);
    EXPECT_EQ(sclist_insert_at(list, &element, 0), -1);
    EXPECT_EQ(sclist_get_at(list, 0), nullptr);
    EXPECT_EQ(sclist_delete_at(list, 0), -1);
    EXPECT_EQ(sclist_delete(list, &element), -1);
    EXPECT_EQ(sclist_clear(list), 0);
    EXPECT_EQ(sclist_locate(list, &element), -1);
    EXPECT_EQ(sclist_contains(list, &element), 0);
    EXPECT_EQ(sclist_seek(list, &key), nullptr);
    EXPECT_EQ(sclist_iterator_start(list), 1);
    EXPECT_EQ(sclist_iterator_hasnext(list), 0);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_stop(list), 1);
    sclist_destroy(list);
    expect_all_zero(*list);
}

TEST(SclistInit, RefusesANullList)
{
    EXPECT_EQ(sclist_init(nullptr), -1);
    EXPECT_EQ(sclist_attributes_copy(nullptr, vantu::record_size<record>, 1), -1);
    EXPECT_EQ(sclist_attributes_copy(nullptr, nullptr, 0), -1);
    EXPECT_EQ(sclist_attributes_comparator(nullptr, compare_key), -1);
    EXPECT_EQ(sclist_attributes_seeker(nullptr, seek_key), -1);
}

TEST(SclistInit, MakesAnEmptyListOfWhateverTheMemoryHeld)
{
    sclist_t list;
    memset(&list, 0xa5, sizeof(list));
    ASSERT_EQ(sclist_init(&list), 0);

    EXPECT_EQ(list.numels, 0U);
    EXPECT_EQ(list.head_sentinel->next, list.tail_sentinel);
    EXPECT_EQ(list.tail_sentinel->prev, list.head_sentinel);
    EXPECT_EQ(list.head_sentinel->prev, nullptr);
    EXPECT_EQ(list.tail_sentinel->next, nullptr);
    EXPECT_EQ(list.head_sentinel->data, nullptr);
    EXPECT_EQ(list.tail_sentinel->data, nullptr);
    EXPECT_EQ(list.mid, nullptr);
    EXPECT_NE(list.spareels, nullptr);
    EXPECT_EQ(list.spareelsnum, 0U);
    EXPECT_EQ(list.iter_active, 0);
    EXPECT_EQ(list.iter_pos, 0U);
    EXPECT_EQ(list.iter_curentry, nullptr);
    EXPECT_EQ(list.attrs.comparator, nullptr);
    EXPECT_EQ(list.attrs.seeker, nullptr);
    EXPECT_EQ(list.attrs.meter, nullptr);
    EXPECT_EQ(list.attrs.copy_data, 0);
    EXPECT_EQ(list.attrs.hasher, nullptr);
    EXPECT_EQ(list.attrs.serializer, nullptr);
    EXPECT_EQ(list.attrs.unserializer, nullptr);
    sclist_destroy(&list);
}

TEST(SclistInit, ShortOfMemoryFailsAndLeavesAnEmptySafeList)
{
    for (long nth = 1;; nth++) {
        sclist_t list;
        memset(&list, 0xa5, sizeof(list));
        int result = 0;
        bool failed = false;
        {
            const allocations shortage(nth);
            result = sclist_init(&list);
            failed = shortage.failed() > 0;
        }
        if (!failed) {
            EXPECT_EQ(result, 0);
            EXPECT_GT(nth, 1) << "the allocations of sclist_init were not seen";
            sclist_destroy(&list);
            break;
        }
        EXPECT_EQ(result, -1) << "allocation " << nth;
        expect_all_zero(list);
        expect_empty_and_safe(&list);
    }
}

TEST(SclistDestroy, LeavesPointersNullAndCountsZeroSoThatItMayRunTwice)
{
    sclist_t list;
    ASSERT_EQ(init_records(&list), 0);
    const record element = make(1);
    for (int i = 0; i < 12; i++)
        ASSERT_EQ(sclist_append(&list, &element), 1);
    ASSERT_EQ(sclist_delete_at(&list, 3), 0);

    sclist_destroy(&list);
    expect_all_zero(list);
    sclist_destroy(&list);
    expect_all_zero(list);
    expect_empty_and_safe(&list);
}

TEST(SclistDestroy, ListCanBeInitialisedAgain)
{
    records list(3);
    sclist_destroy(list);
    ASSERT_EQ(init_records(list), 0);
    list.append(7);
    EXPECT_EQ(keys_of(list), keys{7});
}

// The inner clear is refused during an iteration: only what belongs to the list itself is freed, the entries
// and the elements stay behind.
TEST(SclistDestroy, WithAnActiveIteratorLeaksTheElementsAndTheirEntries)
{
    sclist_t list;
    ASSERT_EQ(init_records(&list), 0);
    for (int key = 1; key <= 3; key++) {
        const record element = make(key);
        ASSERT_EQ(sclist_append(&list, &element), 1);
    }
    const auto left_behind = entries_of(&list);
    ASSERT_EQ(sclist_iterator_start(&list), 1);

    sclist_destroy(&list);
    expect_all_zero(list);

    ASSERT_EQ(left_behind.size(), 3U);
    for (size_t i = 0; i < left_behind.size(); i++) {
        auto *element = static_cast<record *>(left_behind[i]->data);
        EXPECT_EQ(element->key, static_cast<int>(i) + 1) << "readable, since it was not freed";
        free(element);
        free(left_behind[i]);
    }
}

TEST(SclistAttributes, CopyingNeedsAMeter)
{
    records list;
    EXPECT_EQ(sclist_attributes_copy(list, nullptr, 1), -1);
    EXPECT_NE(list->attrs.meter, nullptr) << "a refusal changes nothing";
    EXPECT_NE(list->attrs.copy_data, 0);
    EXPECT_EQ(sclist_attributes_copy(list, nullptr, -1), -1);
    EXPECT_EQ(sclist_attributes_copy(list, nullptr, 0), 0);
    EXPECT_EQ(list->attrs.meter, nullptr);
    EXPECT_EQ(list->attrs.copy_data, 0);
    EXPECT_EQ(sclist_attributes_copy(list, sclist_meter_string, 0), 0);
    EXPECT_EQ(list->attrs.meter, &sclist_meter_string);
}

TEST(SclistAttributes, AnyNonZeroValueCopies)
{
    for (const int copy_data : {1, 2, -1, INT_MIN}) {
        const char element[] = "wl0";
        sclist_t list;
        ASSERT_EQ(sclist_init(&list), 0);
        ASSERT_EQ(sclist_attributes_copy(&list, sclist_meter_string, copy_data), 0);
        ASSERT_EQ(sclist_append(&list, element), 1) << copy_data;
        EXPECT_NE(sclist_get_at(&list, 0), element) << copy_data;
        EXPECT_STREQ(static_cast<const char *>(sclist_get_at(&list, 0)), "wl0") << copy_data;
        sclist_destroy(&list);
    }
}

TEST(SclistAttributes, CallbacksCanBeSetAndTakenAway)
{
    records list(2);
    const record sought = make(2);
    EXPECT_EQ(sclist_locate(list, &sought), 1);
    EXPECT_NE(sclist_seek(list, &sought.key), nullptr);

    EXPECT_EQ(sclist_attributes_comparator(list, nullptr), 0);
    EXPECT_EQ(sclist_attributes_seeker(list, nullptr), 0);
    EXPECT_EQ(sclist_locate(list, &sought), -1);
    EXPECT_EQ(sclist_seek(list, &sought.key), nullptr);

    EXPECT_EQ(sclist_attributes_comparator(list, compare_key), 0);
    EXPECT_EQ(sclist_attributes_seeker(list, seek_key), 0);
    EXPECT_EQ(sclist_locate(list, &sought), 1);
    EXPECT_NE(sclist_seek(list, &sought.key), nullptr);
}

TEST(SclistInsert, AppendReturnsOneNotZero)
{
    records list;
    const record element = make(1);
    EXPECT_EQ(sclist_append(list, &element), 1);
    EXPECT_EQ(sclist_append(list, &element), 1);
    EXPECT_EQ(sclist_size(list), 2U);
}

TEST(SclistInsert, InsertAtReturnsOneNotZero)
{
    records list(2);
    const record element = make(9);
    EXPECT_EQ(sclist_insert_at(list, &element, 0), 1);
    EXPECT_EQ(sclist_insert_at(list, &element, 2), 1);
    EXPECT_EQ(sclist_insert_at(list, &element, 4), 1) << "at the number of elements: an append";
    EXPECT_EQ(keys_of(list), (keys{9, 1, 9, 2, 9}));
}

TEST(SclistInsert, BeyondTheEndIsRefused)
{
    records list(2);
    const record element = make(9);
    EXPECT_EQ(sclist_insert_at(list, &element, 3), -1);
    EXPECT_EQ(sclist_insert_at(list, &element, INT_MAX), -1);
    EXPECT_EQ(sclist_insert_at(list, &element, UINT_MAX), -1);
    EXPECT_EQ(keys_of(list), (keys{1, 2}));

    records empty;
    EXPECT_EQ(sclist_insert_at(empty, &element, 1), -1);
    EXPECT_EQ(sclist_insert_at(empty, &element, UINT_MAX), -1);
    EXPECT_EQ(sclist_size(empty), 0U);
}

TEST(SclistInsert, CopyingListKeepsItsOwnCopy)
{
    records list;
    record element = make(5);
    ASSERT_EQ(sclist_append(list, &element), 1);
    element.key = 6;
    EXPECT_NE(sclist_get_at(list, 0), &element);
    EXPECT_EQ(key_at(list, 0), 5);
    static_cast<record *>(sclist_get_at(list, 0))->key = 7;
    EXPECT_EQ(key_at(list, 0), 7) << "what is returned is the stored element itself";
    EXPECT_EQ(element.key, 6);
}

TEST(SclistInsert, CopyIsShallow)
{
    struct with_pointer {
        int *shared;
    };
    int target = 1;
    const with_pointer element = {&target};
    sclist_t list;
    const vantu::list_owner owner(
        list, [](sclist_t *made) { return vantu::init_typed_list(made, vantu::record_size<with_pointer>); });
    ASSERT_EQ(sclist_append(&list, &element), 1);
    EXPECT_EQ(static_cast<with_pointer *>(sclist_get_at(&list, 0))->shared, &target);
}

// The size is asked for each element, and no more is read or stored.
TEST(SclistInsert, CopiesAsManyBytesAsTheMeterSays)
{
    static const void *metered;
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    ASSERT_EQ(sclist_attributes_copy(
                  &list,
                  [](const void *element) -> size_t {
                      metered = element;
                      return *static_cast<const unsigned char *>(element);
                  },
                  1),
              0);
    constexpr unsigned char sizes[] = {1, 2, 3, 64, 255};
    for (const unsigned char size : sizes) {
        // A block of just that size: reading or writing one byte more would be seen by the sanitizer.
        const std::vector<unsigned char> element(size, size);
        ASSERT_EQ(sclist_append(&list, element.data()), 1);
        EXPECT_EQ(metered, element.data()) << "the caller's element is measured";
        EXPECT_EQ(memcmp(sclist_get_at(&list, sclist_size(&list) - 1), element.data(), size), 0);
    }
    sclist_destroy(&list);
}

TEST(SclistInsert, ListWithoutCopyingStoresTheCallersPointerAndNeverFreesIt)
{
    record first = make(1);
    record second = make(2);
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    ASSERT_EQ(sclist_append(&list, &first), 1);
    ASSERT_EQ(sclist_append(&list, &second), 1);
    ASSERT_EQ(sclist_append(&list, &first), 1);
    EXPECT_EQ(sclist_get_at(&list, 0), &first);
    EXPECT_EQ(sclist_get_at(&list, 1), &second);
    EXPECT_EQ(sclist_get_at(&list, 2), &first);
    EXPECT_EQ(sclist_delete_at(&list, 0), 0);
    EXPECT_EQ(sclist_clear(&list), 0);
    ASSERT_EQ(sclist_append(&list, &second), 1);
    sclist_destroy(&list);
    EXPECT_EQ(first.key, 1);
    EXPECT_EQ(second.key, 2);
}

// A loop over hasnext passes a stored NULL, a loop that ends on NULL stops there.
TEST(SclistInsert, ListWithoutCopyingTakesANullElement)
{
    record element = make(1);
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    ASSERT_EQ(sclist_append(&list, nullptr), 1);
    ASSERT_EQ(sclist_append(&list, &element), 1);
    EXPECT_EQ(sclist_size(&list), 2U);
    EXPECT_EQ(sclist_get_at(&list, 0), nullptr);
    EXPECT_EQ(sclist_locate(&list, nullptr), 0);

    int steps = 0;
    (void)sclist_iterator_start(&list);
    for (; sclist_iterator_hasnext(&list) != 0; steps++)
        EXPECT_EQ(sclist_iterator_next(&list), steps == 0 ? nullptr : &element);
    (void)sclist_iterator_stop(&list);
    EXPECT_EQ(steps, 2);
    EXPECT_EQ(sclist_delete_at(&list, 0), 0);
    EXPECT_EQ(sclist_get_at(&list, 0), &element);
    sclist_destroy(&list);
}

// Which of the two allocations of an insertion fails does not matter.
TEST(SclistInsert, ShortOfMemoryReturnsMinusOneAndLeavesTheListUnchanged)
{
    for (unsigned int size = 0; size <= 4; size++) {
        for (unsigned int pos = 0; pos <= size; pos++) {
            for (const long nth : {1, 2}) {
                records list(static_cast<int>(size));
                const auto entries = entries_of(list);
                const auto *mid = list->mid;
                const record element = make(9);
                int result = 0;
                {
                    const allocations shortage(nth);
                    result = sclist_insert_at(list, &element, pos);
                    EXPECT_EQ(shortage.failed(), 1) << "the allocations of an insertion were not seen";
                }
                EXPECT_EQ(result, -1) << "size " << size << ", position " << pos << ", allocation " << nth;
                EXPECT_EQ(entries_of(list), entries);
                EXPECT_EQ(sclist_size(list), size);
                EXPECT_EQ(list->mid, mid);
                EXPECT_EQ(sclist_insert_at(list, &element, pos), 1) << "with memory it works again";
                EXPECT_EQ(key_at(list, pos), 9);
            }
        }
    }
}

TEST(SclistInsert, CopyThatCannotBeAllocatedGivesItsPooledBlockBack)
{
    records list(4);
    ASSERT_EQ(sclist_delete_at(list, 0), 0);
    ASSERT_EQ(sclist_delete_at(list, 0), 0);
    const auto pool = pool_of(list);
    const record element = make(9);
    {
        const allocations shortage(1);
        EXPECT_EQ(sclist_append(list, &element), -1);
        EXPECT_EQ(shortage.failed(), 1);
    }
    EXPECT_EQ(pool_of(list), pool);
    EXPECT_EQ(keys_of(list), (keys{3, 4}));
}

TEST(SclistGetAt, OutOfRangeIsNull)
{
    records empty;
    records list(3);
    for (const unsigned int beyond : {0U, 1U, 2U, 1000U, static_cast<unsigned int>(INT_MAX), UINT_MAX - 3})
        EXPECT_EQ(sclist_get_at(empty, beyond), nullptr) << "empty list, position " << beyond;
    for (const unsigned int beyond : {0U, 1U, 2U, 1000U, static_cast<unsigned int>(INT_MAX), UINT_MAX - 3})
        EXPECT_EQ(sclist_get_at(list, 3 + beyond), nullptr) << "position " << 3 + beyond;
    EXPECT_EQ(key_at(list, 2), 3);
}

// Covers each of the starting points of a positional access and the borders between them.
TEST(SclistGetAt, EveryPositionOfEverySizeGivesItsElement)
{
    records list;
    for (int size = 1; size <= 130; size++) {
        list.append(size);
        for (int pos = 0; pos < size; pos++)
            ASSERT_EQ(key_at(list, static_cast<unsigned int>(pos)), pos + 1) << "size " << size;
        EXPECT_EQ(sclist_get_at(list, static_cast<unsigned int>(size)), nullptr);
    }
}

TEST(SclistDelete, DeleteAtReturnsZero)
{
    records list(4);
    EXPECT_EQ(sclist_delete_at(list, 1), 0);
    EXPECT_EQ(keys_of(list), (keys{1, 3, 4}));
    EXPECT_EQ(sclist_delete_at(list, 2), 0);
    EXPECT_EQ(sclist_delete_at(list, 0), 0);
    EXPECT_EQ(sclist_delete_at(list, 0), 0);
    EXPECT_EQ(sclist_size(list), 0U);
    EXPECT_EQ(sclist_delete_at(list, 0), -1);
}

TEST(SclistDelete, OutOfRangeIsRefused)
{
    records list(3);
    for (const unsigned int pos : {3U, 4U, static_cast<unsigned int>(INT_MAX), UINT_MAX})
        EXPECT_EQ(sclist_delete_at(list, pos), -1) << pos;
    EXPECT_EQ(keys_of(list), (keys{1, 2, 3}));
}

TEST(SclistDelete, RemovesTheFirstEqualElementOnly)
{
    records list;
    for (const int key : {1, 2, 3, 2})
        list.append(key);
    const record two = make(2);
    EXPECT_EQ(sclist_delete(list, &two), 0);
    EXPECT_EQ(keys_of(list), (keys{1, 3, 2}));
    EXPECT_EQ(sclist_delete(list, &two), 0);
    EXPECT_EQ(sclist_delete(list, &two), -1);
    EXPECT_EQ(keys_of(list), (keys{1, 3}));
}

TEST(SclistDelete, MayBeGivenTheStoredElementItself)
{
    records list(3);
    EXPECT_EQ(sclist_delete(list, sclist_get_at(list, 1)), 0);
    EXPECT_EQ(keys_of(list), (keys{1, 3}));
}

TEST(SclistClear, RemovesAllElementsAndMayBeRepeated)
{
    records list(7);
    EXPECT_EQ(sclist_clear(list), 0);
    EXPECT_EQ(sclist_size(list), 0U);
    EXPECT_EQ(list->mid, nullptr);
    EXPECT_EQ(list->head_sentinel->next, list->tail_sentinel);
    EXPECT_EQ(list->tail_sentinel->prev, list->head_sentinel);
    EXPECT_EQ(sclist_get_at(list, 0), nullptr);
    EXPECT_EQ(sclist_clear(list), 0);
    list.append(1);
    EXPECT_EQ(keys_of(list), keys{1});
}

TEST(SclistPool, ClearOfEightElementsPoolsFiveBlocksAndFreesThree)
{
    records list(8);
    const auto entries = entries_of(list);
    ASSERT_EQ(sclist_clear(list), 0);
    EXPECT_EQ(list->spareelsnum, 5U);
    EXPECT_EQ(pool_of(list), std::vector<sclist_entry_s *>(entries.begin(), entries.begin() + 5));
#if defined(__SANITIZE_ADDRESS__)
    for (size_t i = 0; i < entries.size(); i++)
        EXPECT_EQ(__asan_address_is_poisoned(entries[i]), i < 5 ? 0 : 1) << "entry " << i;
#endif

    const record element = make(1);
    for (int i = 0; i < 5; i++) {
        const allocations watch;
        ASSERT_EQ(sclist_append(list, &element), 1);
        EXPECT_EQ(watch.count(), 1) << "insertion " << i + 1 << " allocates its copy only";
    }
    const allocations watch;
    ASSERT_EQ(sclist_append(list, &element), 1);
    EXPECT_EQ(watch.count(), 2) << "the pool is used up: a block and a copy";
}

TEST(SclistPool, ListWithoutCopyingAllocatesNothingWhileThePoolLasts)
{
    record element = make(1);
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    for (int i = 0; i < 8; i++)
        ASSERT_EQ(sclist_append(&list, &element), 1);
    ASSERT_EQ(sclist_clear(&list), 0);
    {
        const allocations watch;
        for (int i = 0; i < 5; i++)
            ASSERT_EQ(sclist_append(&list, &element), 1);
        EXPECT_EQ(watch.count(), 0);
        ASSERT_EQ(sclist_append(&list, &element), 1);
        EXPECT_EQ(watch.count(), 1);
    }
    sclist_destroy(&list);
}

TEST(SclistPool, GivesTheMostRecentlyRecycledBlockFirst)
{
    records list(8);
    const auto entries = entries_of(list);
    for (int i = 0; i < 7; i++)
        ASSERT_EQ(sclist_delete_at(list, 0), 0);
    EXPECT_EQ(list->spareelsnum, 5U) << "five are kept, the sixth and seventh are freed";
    for (size_t i = 5; i > 0; i--) {
        list.append(static_cast<int>(i));
        EXPECT_EQ(list->tail_sentinel->prev, entries[i - 1]);
    }
    EXPECT_EQ(list->spareelsnum, 0U);
}

TEST(SclistPool, ListFilledAndClearedAtEachSampleAllocatesNoMoreBlocks)
{
    record element = make(1);
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    long allocated = 0;
    for (int sample = 0; sample < 20; sample++) {
        const allocations watch;
        for (int i = 0; i < SCLIST_MAX_SPARE_ELEMS; i++)
            ASSERT_EQ(sclist_append(&list, &element), 1);
        ASSERT_EQ(sclist_clear(&list), 0);
        allocated += watch.count();
    }
    EXPECT_EQ(allocated, SCLIST_MAX_SPARE_ELEMS);
    sclist_destroy(&list);
}

TEST(SclistSize, CountsElements)
{
    records list;
    EXPECT_EQ(sclist_size(list), 0U);
    for (int i = 1; i <= 20; i++) {
        list.append(i);
        EXPECT_EQ(sclist_size(list), static_cast<unsigned int>(i));
    }
}

TEST(SclistLocate, FindsTheFirstEqualElement)
{
    records list;
    for (const int key : {4, 5, 6, 5})
        list.append(key);
    const record five = make(5);
    const record absent = make(7);
    EXPECT_EQ(sclist_locate(list, &five), 1);
    EXPECT_EQ(sclist_contains(list, &five), 1);
    EXPECT_EQ(sclist_locate(list, &absent), -1);
    EXPECT_EQ(sclist_contains(list, &absent), 0);
    EXPECT_EQ(sclist_locate(list, sclist_get_at(list, 3)), 1) << "equal, not identical, is what counts";

    records empty;
    EXPECT_EQ(sclist_locate(empty, &five), -1);
    EXPECT_EQ(sclist_contains(empty, &five), 0);
}

TEST(SclistLocate, WithoutAComparatorFindsTheIdenticalPointerOnly)
{
    record stored = make(1);
    const record same = make(1);
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    ASSERT_EQ(sclist_append(&list, &stored), 1);
    EXPECT_EQ(sclist_locate(&list, &stored), 0);
    EXPECT_EQ(sclist_locate(&list, &same), -1);
    EXPECT_EQ(sclist_delete(&list, &same), -1);
    EXPECT_EQ(sclist_delete(&list, &stored), 0);
    sclist_destroy(&list);
}

TEST(SclistLocate, CopyingListWithoutAComparatorNeverFindsTheCallersRecord)
{
    records list;
    ASSERT_EQ(sclist_attributes_comparator(list, nullptr), 0);
    const record element = make(1);
    ASSERT_EQ(sclist_append(list, &element), 1);
    EXPECT_EQ(sclist_locate(list, &element), -1);
    EXPECT_EQ(sclist_contains(list, &element), 0);
    EXPECT_EQ(sclist_delete(list, &element), -1);
    EXPECT_EQ(sclist_locate(list, sclist_get_at(list, 0)), 0) << "its own copy is found";
}

TEST(SclistLocate, CallsTheComparatorWithTheSoughtElementFirst)
{
    records list(3);
    const record sought = make(2);
    static std::vector<std::pair<const void *, const void *>> calls;
    calls.clear();
    ASSERT_EQ(sclist_attributes_comparator(list,
                                           [](const void *a, const void *b) {
                                               calls.emplace_back(a, b);
                                               return compare_key(a, b);
                                           }),
              0);
    EXPECT_EQ(sclist_locate(list, &sought), 1);
    ASSERT_EQ(calls.size(), 2U) << "from the first element on, no further than the match";
    EXPECT_EQ(calls[0],
              std::make_pair(static_cast<const void *>(&sought), static_cast<const void *>(sclist_get_at(list, 0))));
    EXPECT_EQ(calls[1],
              std::make_pair(static_cast<const void *>(&sought), static_cast<const void *>(sclist_get_at(list, 1))));
}

// The list of port ranges compares so: what counts is only whether the result is zero.
TEST(SclistLocate, TakesAComparatorThatTestsAnOrderAsItIs)
{
    records list;
    for (const int key : {50, 30, 10})
        list.append(key);
    ASSERT_EQ(
        sclist_attributes_comparator(list, [](const void *a, const void *b) { return compare_key(a, b) <= 0 ? 1 : 0; }),
        0);
    const record forty = make(40);
    const record ten = make(10);
    EXPECT_EQ(sclist_locate(list, &forty), 1) << "the first that is smaller";
    EXPECT_EQ(sclist_locate(list, &ten), -1) << "nothing is smaller, and equal does not count";
}

TEST(SclistSeek, FindsTheFirstElementThatMatchesTheKey)
{
    records list;
    for (const int key : {4, 5, 6, 5})
        list.append(key);
    const int five = 5;
    const int absent = 7;
    EXPECT_EQ(sclist_seek(list, &five), sclist_get_at(list, 1));
    EXPECT_EQ(sclist_seek(list, &absent), nullptr);

    records empty;
    EXPECT_EQ(sclist_seek(empty, &five), nullptr);
}

TEST(SclistSeek, WithoutASeekerFindsNothingEvenIfAnElementMatches)
{
    records list(3);
    ASSERT_EQ(sclist_attributes_seeker(list, nullptr), 0);
    const int one = 1;
    EXPECT_EQ(sclist_seek(list, &one), nullptr);
}

TEST(SclistSeek, CallsTheSeekerWithTheStoredElementAndTheKey)
{
    records list(3);
    static const int key = 2;
    static std::vector<const void *> elements;
    elements.clear();
    ASSERT_EQ(sclist_attributes_seeker(list,
                                       [](const void *element, const void *sought) {
                                           elements.push_back(element);
                                           return sought == &key && seek_key(element, sought) != 0 ? -5 : 0;
                                       }),
              0);
    EXPECT_EQ(sclist_seek(list, &key), sclist_get_at(list, 1)) << "any non-zero result is a match";
    EXPECT_EQ(elements, (std::vector<const void *>{sclist_get_at(list, 0), sclist_get_at(list, 1)}));
}

// The list of latency statistics has callbacks that never match.
TEST(SclistSeek, CallbacksThatNeverMatchFindNothing)
{
    records list(3);
    ASSERT_EQ(sclist_attributes_seeker(list, [](const void *, const void *) { return 0; }), 0);
    ASSERT_EQ(sclist_attributes_comparator(list, [](const void *, const void *) { return -1; }), 0);
    for (unsigned int pos = 0; pos < 3; pos++) {
        EXPECT_EQ(sclist_seek(list, sclist_get_at(list, pos)), nullptr);
        EXPECT_EQ(sclist_locate(list, sclist_get_at(list, pos)), -1);
        EXPECT_EQ(sclist_contains(list, sclist_get_at(list, pos)), 0);
        EXPECT_EQ(sclist_delete(list, sclist_get_at(list, pos)), -1);
    }
    EXPECT_EQ(sclist_size(list), 3U);
}

TEST(SclistIterator, GivesEachElementOnceThenNull)
{
    records list(3);
    EXPECT_EQ(sclist_iterator_start(list), 1);
    for (int key = 1; key <= 3; key++) {
        EXPECT_NE(sclist_iterator_hasnext(list), 0);
        const auto *element = static_cast<const record *>(sclist_iterator_next(list));
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->key, key);
        EXPECT_EQ(element, sclist_get_at(list, static_cast<unsigned int>(key) - 1));
    }
    EXPECT_EQ(sclist_iterator_hasnext(list), 0);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistIterator, KeepsGivingNullAfterTheEnd)
{
    records list(2);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    (void)sclist_iterator_next(list);
    (void)sclist_iterator_next(list);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(sclist_iterator_next(list), nullptr);
        EXPECT_EQ(sclist_iterator_hasnext(list), 0);
    }
    EXPECT_EQ(sclist_iterator_start(list), 0) << "it is still active";
    EXPECT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistIterator, OfAnEmptyListStartsAndEndsAtOnce)
{
    records list;
    EXPECT_EQ(sclist_iterator_start(list), 1);
    EXPECT_EQ(sclist_iterator_hasnext(list), 0);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistIterator, GivesNothingUnlessStarted)
{
    records list(2);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_hasnext(list), 0);
    EXPECT_EQ(sclist_iterator_stop(list), 0);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    EXPECT_EQ(sclist_iterator_stop(list), 1);
    EXPECT_EQ(sclist_iterator_stop(list), 0);
    EXPECT_EQ(sclist_iterator_next(list), nullptr);
    EXPECT_EQ(sclist_iterator_hasnext(list), 0);
}

TEST(SclistIterator, SecondStartIsRefusedAndTheWalkGoesOnFromTheFirstWalksPosition)
{
    records list(4);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    (void)sclist_iterator_next(list);
    (void)sclist_iterator_next(list);
    EXPECT_EQ(sclist_iterator_start(list), 0);
    EXPECT_EQ(sclist_iterator_next(list), sclist_get_at(list, 2));
    EXPECT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistIterator, StartsFromTheFirstElementAgainAfterAStop)
{
    records list(3);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    (void)sclist_iterator_next(list);
    (void)sclist_iterator_next(list);
    ASSERT_EQ(sclist_iterator_stop(list), 1);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    EXPECT_EQ(sclist_iterator_next(list), sclist_get_at(list, 0));
    ASSERT_EQ(sclist_iterator_stop(list), 1);
}

struct change_case {
    const char *name;
    int (*change)(sclist_t *list, const record *element);
};

constexpr change_case changes[] = {
    {"append", [](sclist_t *list, const record *element) { return sclist_append(list, element); }},
    {"insert_at", [](sclist_t *list, const record *element) { return sclist_insert_at(list, element, 1); }},
    {"delete_at", [](sclist_t *list, const record *) { return sclist_delete_at(list, 1); }},
    {"delete", [](sclist_t *list, const record *element) { return sclist_delete(list, element); }},
    {"clear", [](sclist_t *list, const record *) { return sclist_clear(list); }},
};

TEST(SclistIterator, WhileActiveEveryChangeIsRefusedAndChangesNothing)
{
    for (const change_case &row : changes) {
        records list(4);
        const auto entries = entries_of(list);
        const auto *mid = list->mid;
        const record element = make(3);
        ASSERT_EQ(sclist_iterator_start(list), 1);
        (void)sclist_iterator_next(list);
        {
            const allocations watch;
            EXPECT_EQ(row.change(list, &element), -1) << row.name;
            EXPECT_EQ(watch.count(), 0) << row.name;
        }
        EXPECT_EQ(entries_of(list), entries) << row.name;
        EXPECT_EQ(keys_of(list), (keys{1, 2, 3, 4})) << row.name;
        EXPECT_EQ(list->mid, mid) << row.name;
        EXPECT_EQ(list->spareelsnum, 0U) << row.name;
        EXPECT_EQ(sclist_iterator_next(list), sclist_get_at(list, 1)) << row.name << ": the walk goes on";

        ASSERT_EQ(sclist_iterator_stop(list), 1);
        EXPECT_GE(row.change(list, &element), 0) << row.name << " works after the stop";
    }
}

TEST(SclistIterator, WhileActiveReadingWorks)
{
    records list(4);
    const record sought = make(3);
    ASSERT_EQ(sclist_iterator_start(list), 1);
    (void)sclist_iterator_next(list);
    EXPECT_EQ(sclist_size(list), 4U);
    EXPECT_EQ(key_at(list, 3), 4);
    EXPECT_EQ(sclist_locate(list, &sought), 2);
    EXPECT_EQ(sclist_contains(list, &sought), 1);
    EXPECT_EQ(sclist_seek(list, &sought.key), sclist_get_at(list, 2));
    EXPECT_EQ(sclist_iterator_next(list), sclist_get_at(list, 1));
    ASSERT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistForeach, VisitsEachElementInOrderAndStopsTheIterator)
{
    records list(5);
    keys seen;
    SCLIST_FOREACH(record, element, list) {
        seen.push_back(element->key);
        EXPECT_EQ(sclist_append(list, element), -1) << "the list is locked during the walk";
    }
    SCLIST_FOREACH_END(list);
    EXPECT_EQ(seen, (keys{1, 2, 3, 4, 5}));
    EXPECT_EQ(list->iter_active, 0);
    list.append(6);
}

TEST(SclistForeach, OfAnEmptyListVisitsNothing)
{
    records list;
    int visits = 0;
    SCLIST_FOREACH(const record, element, list) {
        visits++;
    }
    SCLIST_FOREACH_END(list);
    EXPECT_EQ(visits, 0);
    EXPECT_EQ(list->iter_active, 0);
}

TEST(SclistForeach, BreakStillStopsTheIteratorAndContinueGoesOn)
{
    records list(5);
    keys seen;
    SCLIST_FOREACH(record, element, list) {
        if (element->key == 2)
            continue;
        if (element->key == 4)
            break;
        seen.push_back(element->key);
    }
    SCLIST_FOREACH_END(list);
    EXPECT_EQ(seen, (keys{1, 3}));
    EXPECT_EQ(list->iter_active, 0);
    EXPECT_EQ(sclist_clear(list), 0);
}

TEST(SclistForeach, NestsOverTwoListsWithOneNameForTheElement)
{
    records outer(3);
    records inner(2);
    keys seen;
    SCLIST_FOREACH(record, out, outer) {
        SCLIST_FOREACH(record, in, inner) {
            seen.push_back(out->key * 10 + in->key);
        }
        SCLIST_FOREACH_END(inner);
    }
    SCLIST_FOREACH_END(outer);
    EXPECT_EQ(seen, (keys{11, 12, 21, 22, 31, 32}));
    EXPECT_EQ(outer->iter_active, 0);
    EXPECT_EQ(inner->iter_active, 0);
}

// A list has one iterator: the inner walk goes on where the outer stands, and its end ends both.
TEST(SclistForeach, NestedOverOneListSharesTheIteratorAndEndsBothWalks)
{
    records list(5);
    keys outer;
    keys inner;
    SCLIST_FOREACH(record, out, list) {
        outer.push_back(out->key);
        SCLIST_FOREACH(record, in, list) {
            inner.push_back(in->key);
        }
        SCLIST_FOREACH_END(list);
    }
    SCLIST_FOREACH_END(list);
    EXPECT_EQ(outer, keys{1});
    EXPECT_EQ(inner, (keys{2, 3, 4, 5}));
    EXPECT_EQ(list->iter_active, 0);
}

TEST(SclistForeach, ReturnFromTheBodyLeavesTheIteratorActive)
{
    records list(3);
    const auto first_of = [](sclist_t *walked) {
        SCLIST_FOREACH(record, element, walked) {
            return element->key;
        }
        SCLIST_FOREACH_END(walked);
        return 0;
    };
    EXPECT_EQ(first_of(list), 1);
    EXPECT_EQ(sclist_append(list, sclist_get_at(list, 0)), -1);
    EXPECT_EQ(sclist_iterator_stop(list), 1);
}

TEST(SclistStrings, MeterCountsTheTerminator)
{
    EXPECT_EQ(sclist_meter_string(""), 1U);
    EXPECT_EQ(sclist_meter_string("wl0"), 4U);
    EXPECT_EQ(sclist_meter_string(std::string(5000, 'x').c_str()), 5001U);
}

TEST(SclistStrings, ComparatorHasTheReverseSignOfTheUsualOne)
{
    EXPECT_EQ(sclist_comparator_string("wl0", "wl0"), 0);
    EXPECT_EQ(sclist_comparator_string("", ""), 0);
    EXPECT_GT(sclist_comparator_string("a", "b"), 0);
    EXPECT_LT(sclist_comparator_string("b", "a"), 0);
    EXPECT_GT(sclist_comparator_string("", "a"), 0);
    EXPECT_GT(sclist_comparator_string("wl", "wl0"), 0);
    EXPECT_NE(sclist_comparator_string("WL0", "wl0"), 0);
    EXPECT_LT(sclist_comparator_string("\xff", "a"), 0) << "bytes compare unsigned";
}

TEST(SclistStrings, ListCopiesAndFindsTexts)
{
    sclist_t list;
    ASSERT_EQ(sclist_init(&list), 0);
    ASSERT_EQ(sclist_attributes_copy(&list, sclist_meter_string, 1), 0);
    ASSERT_EQ(sclist_attributes_comparator(&list, sclist_comparator_string), 0);
    const std::vector<std::string> stored = {"", "192.0.2.1,udp:53", "$(reboot)", std::string(3000, 'x')};
    for (const std::string &text : stored)
        ASSERT_EQ(sclist_append(&list, text.c_str()), 1);
    for (unsigned int pos = 0; pos < stored.size(); pos++) {
        EXPECT_STREQ(static_cast<const char *>(sclist_get_at(&list, pos)), stored[pos].c_str());
        EXPECT_EQ(sclist_locate(&list, std::string(stored[pos]).c_str()), static_cast<int>(pos));
    }
    EXPECT_EQ(sclist_contains(&list, "192.0.2.1,UDP:53"), 0);
    EXPECT_EQ(sclist_delete(&list, "$(reboot)"), 0);
    EXPECT_EQ(sclist_contains(&list, "$(reboot)"), 0);
    sclist_destroy(&list);
}

struct station {
    char mac[18];
    char ip[16];
    int rssi;
};

constexpr auto seek_station = vantu::seek_text<&station::mac, &station::ip>;
constexpr auto compare_station = vantu::compare_text<&station::mac>;

int init_stations(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu::record_size<station>, seek_station, compare_station);
}

TEST(TypedList, RecordSizeIsThatOfOneWholeRecord)
{
    EXPECT_EQ(vantu::record_size<station>(nullptr), sizeof(station));
}

TEST(TypedList, InitialiserSetsAllCallbacksAndCopying)
{
    sclist_t list;
    ASSERT_EQ(init_stations(&list), 0);
    EXPECT_EQ(list.attrs.meter, &vantu::record_size<station>);
    EXPECT_EQ(list.attrs.copy_data, 1);
    EXPECT_EQ(list.attrs.seeker, seek_station);
    EXPECT_EQ(list.attrs.comparator, compare_station);
    sclist_destroy(&list);
}

TEST(TypedList, InitialiserWithoutCallbacksLeavesThemUnset)
{
    sclist_t list;
    ASSERT_EQ(vantu::init_typed_list(&list, vantu::record_size<station>), 0);
    EXPECT_EQ(list.attrs.seeker, nullptr);
    EXPECT_EQ(list.attrs.comparator, nullptr);
    EXPECT_EQ(list.attrs.copy_data, 1);
    sclist_destroy(&list);
}

TEST(TypedList, InitialiserFailsOnANullListAndWhenMemoryIsShort)
{
    EXPECT_EQ(init_stations(nullptr), -1);
    sclist_t list;
    int result = 0;
    {
        const allocations shortage(1);
        result = init_stations(&list);
    }
    EXPECT_EQ(result, -1);
    expect_empty_and_safe(&list);
}

struct seek_case {
    const char *name;
    const char *key;
    int rssi; // of the record that is found; 0 for none
};

const station stations[] = {
    {"02:00:00:00:00:01", "192.0.2.1", -10},
    {"02:00:00:00:00:ab", "192.0.2.2", -20},
    {"02:00:00:00:00:AB", "192.0.2.3", -30},
    {"192.0.2.5", "192.0.2.2", -40}, // a text of the one kind in the place of the other
    {"", "192.0.2.5", -50},
    {"02:00:00:00:00:06", "2001:db8::a", -60},
};

const seek_case seek_cases[] = {
    {"first member", "02:00:00:00:00:01", -10},
    {"second member", "192.0.2.3", -30},
    {"key in upper case", "02:00:00:00:00:AB", -20},
    {"key in mixed case", "02:00:00:00:00:aB", -20},
    {"key of the second member in upper case", "2001:DB8::A", -60},
    {"the second member of an earlier record goes before the first of a later one", "192.0.2.2", -20},
    {"the first member of an earlier record goes before the second of a later one", "192.0.2.5", -40},
    {"an empty key matches an empty member", "", -50},
    {"the beginning of a member is no match", "02:00:00:00:00", 0},
    {"a member followed by more is no match", "192.0.2.10", 0},
    {"unknown", "02:00:00:00:00:99", 0},
};

TEST(TypedList, SeekTextTriesTheMembersInOrderWithoutRegardToCase)
{
    sclist_t list;
    const vantu::list_owner owner(list, init_stations);
    for (const station &each : stations)
        ASSERT_EQ(sclist_append(&list, &each), 1);
    for (const seek_case &row : seek_cases) {
        const auto *found = static_cast<const station *>(sclist_seek(&list, row.key));
        EXPECT_EQ(found == nullptr ? 0 : found->rssi, row.rssi) << row.name;
    }
}

TEST(TypedList, SeekTextResultIsOneOrZero)
{
    EXPECT_EQ(seek_station(&stations[1], "192.0.2.2"), 1);
    EXPECT_EQ(seek_station(&stations[1], "02:00:00:00:00:aB"), 1);
    EXPECT_EQ(seek_station(&stations[1], "192.0.2.3"), 0);
    EXPECT_EQ((vantu::seek_text<&station::ip>)(&stations[1], "02:00:00:00:00:ab"), 0) << "one member only";
}

TEST(TypedList, CompareTextIsCaseSensitive)
{
    const station lower = stations[1];
    const station upper = stations[2];
    station other = lower;
    other.rssi = 0;
    other.ip[0] = '\0';
    EXPECT_EQ(compare_station(&lower, &other), 0) << "other members do not take part";
    EXPECT_GT(compare_station(&lower, &upper), 0);
    EXPECT_LT(compare_station(&upper, &lower), 0);

    sclist_t list;
    const vantu::list_owner owner(list, init_stations);
    ASSERT_EQ(sclist_append(&list, &upper), 1);
    EXPECT_EQ(sclist_locate(&list, &lower), -1) << "sought without regard to case, equal only with it";
    EXPECT_NE(sclist_seek(&list, lower.mac), nullptr);
}

TEST(ListOwner, FreesTheListEvenWithTheIteratorActive)
{
    sclist_t list;
    {
        const vantu::list_owner owner(list, init_stations);
        for (const station &each : stations)
            ASSERT_EQ(sclist_append(&list, &each), 1);
        ASSERT_EQ(sclist_iterator_start(&list), 1);
        (void)sclist_iterator_next(&list);
    }
    expect_all_zero(list);
}

TEST(ListOwner, MayOutliveADestroyedList)
{
    sclist_t list;
    {
        const vantu::list_owner owner(list, init_stations);
        ASSERT_EQ(sclist_append(&list, &stations[0]), 1);
        sclist_destroy(&list);
    }
    expect_all_zero(list);
}

TEST(ListOwner, OfAListThatCouldNotBeMadeFreesNothing)
{
    sclist_t list;
    {
        const allocations shortage(2);
        const vantu::list_owner owner(list, init_stations);
    }
    expect_all_zero(list);
}

// A list through its whole life with the nth allocation failing, and every so many after it: whatever fails,
// the list holds what was reported as inserted.
struct shortage_case {
    const char *name;
    long every;
};

const shortage_case shortage_cases[] = {
    {"one allocation", 0},
    {"every allocation from there on", 1},
    {"every second", 2},
    {"every third", 3},
};

long live_through(long nth, long every)
{
    keys want;
    sclist_t list;
    const allocations shortage(nth, every);
    if (init_records(&list) == 0) {
        for (int round = 0; round < 3; round++) {
            for (int key = 0; key < 12; key++) {
                const record element = make(key);
                const unsigned int pos = sclist_size(&list) / 3;
                if (sclist_insert_at(&list, &element, pos) == 1)
                    want.insert(want.begin() + pos, key);
                EXPECT_EQ(keys_of(&list), want) << "allocation " << nth << ", every " << every;
            }
            for (int i = 0; i < 4 && !want.empty(); i++) {
                EXPECT_EQ(sclist_delete_at(&list, 0), 0);
                want.erase(want.begin());
            }
            EXPECT_EQ(keys_of(&list), want);
            if (round == 1) {
                EXPECT_EQ(sclist_clear(&list), 0);
                want.clear();
            }
            EXPECT_EQ(list.mid == nullptr, want.empty());
            EXPECT_LE(list.spareelsnum, 5U);
        }
    }
    sclist_destroy(&list);
    expect_all_zero(list);
    return shortage.failed();
}

TEST(SclistShortage, WhicheverAllocationFailsTheListHoldsWhatItReported)
{
    for (const shortage_case &row : shortage_cases) {
        long nth = 1;
        while (live_through(nth, row.every) > 0)
            nth++;
        EXPECT_GT(nth, 40) << row.name << ": fewer allocations than insertions were reached";
    }
}

// What a list of the random run is like.
struct kind {
    const char *name;
    bool copying;
    bool comparing;
};

const kind kinds[] = {
    {"copying and comparing", true, true},
    {"copying without comparator", true, false},
    {"pointers and comparing", false, true},
    {"pointers without comparator", false, false},
};

// How a random run goes: around what size, how long, how often all invariants are checked, and whether
// allocations fail now and then.
struct course {
    const char *name;
    unsigned int size;
    int operations;
    int check_every;
    bool shortage;
};

const course courses[] = {
    {"tiny", 4, 6000, 1, true},
    {"small", 60, 100000, 1, false},
    {"small and short of memory", 60, 6000, 1, true},
    {"large", 4000, 16000, 400, true},
};

const unsigned int seeds[] = {1, 20260201, 4242424242};

// A list and what it must be: the elements in order, each with the entry block that holds it, the pool of
// recycled blocks, and the iterator. Every operation is done on both; the first difference is the complaint.
class list_and_model
{
public:
    list_and_model(const kind &what, const course &how, unsigned int seed) : kind_(what), course_(how), random_(seed)
    {
        for (int serial = 0; serial < 512; serial++)
            given_.push_back(make(static_cast<int>(below(48)), serial));
        start_list();
    }
    ~list_and_model()
    {
        (void)sclist_iterator_stop(&list_);
        sclist_destroy(&list_);
    }
    list_and_model(const list_and_model &) = delete;
    list_and_model &operator=(const list_and_model &) = delete;

    // Runs the whole course. Returns the first complaint, or nothing.
    std::string run()
    {
        for (int number = 1; number <= course_.operations && complaint_.empty(); number++) {
            step();
            if (number % course_.check_every == 0)
                check();
            if (!complaint_.empty())
                complaint_ = "operation " + std::to_string(number) + ", " + operation_ + ", size " +
                             std::to_string(model_.size()) + ": " + complaint_;
            largest_ = std::max(largest_, model_.size());
        }
        return complaint_;
    }

    size_t largest() const { return largest_; }
    int shortages() const { return shortages_; }

private:
    struct held {
        const record *given;
        const void *stored;
        sclist_entry_s *entry;
    };

    unsigned int below(size_t limit) { return static_cast<unsigned int>(random_() % limit); }
    bool one_in(unsigned int times) { return below(times) == 0; }
    unsigned int size() const { return static_cast<unsigned int>(model_.size()); }
    const record &any_record() { return given_[below(given_.size())]; }

    void want(bool right, const char *what)
    {
        if (!right && complaint_.empty())
            complaint_ = what;
    }

    void start_list()
    {
        memset(&list_, 0x5a, sizeof(list_));
        want(sclist_init(&list_) == 0, "init fails");
        (void)sclist_attributes_copy(&list_, vantu::record_size<record>, kind_.copying ? 1 : 0);
        (void)sclist_attributes_seeker(&list_, seek_key);
        (void)sclist_attributes_comparator(&list_, kind_.comparing ? compare_key : nullptr);
    }

    sclist_entry_s *entry_at(unsigned int pos) { return pos < model_.size() ? model_[pos].entry : list_.tail_sentinel; }

    void recycle(sclist_entry_s *entry)
    {
        if (pool_.size() < SCLIST_MAX_SPARE_ELEMS)
            pool_.push_back(entry);
    }

    // A walk round the desired size: while it is below, insertions prevail, above it deletions.
    void step()
    {
        const bool grow = below(size_t{2} * course_.size) >= model_.size();
        const unsigned int choice = below(100);
        if (choice < 60 && grow)
            choice < 25 ? insert("append", size()) : insert("insert_at", below(size() + 3));
        else if (choice < 60)
            choice < 40 ? delete_at(below(size() + 1)) : delete_equal();
        else if (choice < 70)
            get_at();
        else if (choice < 78)
            locate();
        else if (choice < 83)
            seek();
        else if (choice < 86)
            iterator_start();
        else if (choice < 93)
            iterator_next();
        else if (choice < 99 || !one_in(course_.size / 20 + 1))
            iterator_stop();
        else if (one_in(4))
            destroy();
        else
            clear();
    }

    void insert(const char *name, unsigned int pos)
    {
        operation_ = name;
        const record &element = any_record();
        const long needed = (pool_.empty() ? 1 : 0) + (kind_.copying ? 1 : 0);
        const long nth = course_.shortage && one_in(5) ? 1 + below(2) : 0;
        const bool refused = iterating_ || pos > size();
        const bool fails = !refused && nth > 0 && nth <= needed;
        const bool at_end = pos == size() && strcmp(name, "append") == 0;
        int result = 0;
        long count = 0;
        {
            const allocations shortage(nth);
            result = at_end ? sclist_append(&list_, &element) : sclist_insert_at(&list_, &element, pos);
            count = shortage.count();
        }
        if (refused || fails) {
            want(result == -1, "result is not -1");
            want(!refused || count == 0, "a refused insertion allocates");
            shortages_ += fails ? 1 : 0;
            // A block that was allocated for an element that could not be copied may wait in the pool.
            if (fails && pool_.empty() && list_.spareelsnum == 1)
                pool_.push_back(list_.spareels[0]);
            return;
        }

        want(result == 1, "result is not 1");
        want(count == needed, "not as many allocations as an entry block and a copy need");
        if (!complaint_.empty())
            return;
        sclist_entry_s *entry = entry_at(pos)->prev;
        if (!pool_.empty()) {
            want(entry == pool_.back(), "the block is not the most recently recycled one");
            pool_.pop_back();
        }
        want(entry->data != nullptr && (entry->data == &element) != kind_.copying, "copied when it should not be");
        model_.insert(model_.begin() + pos, {&element, entry->data, entry});
    }

    void remove_from_model(unsigned int pos)
    {
        recycle(model_[pos].entry);
        model_.erase(model_.begin() + pos);
    }

    void delete_at(unsigned int pos)
    {
        operation_ = "delete_at";
        const bool refused = iterating_ || pos >= size();
        want(sclist_delete_at(&list_, pos) == (refused ? -1 : 0), "wrong result");
        if (!refused)
            remove_from_model(pos);
    }

    // What to look for: a record of the caller's, or a stored element.
    const void *sought()
    {
        if (!model_.empty() && one_in(2))
            return model_[below(model_.size())].stored;
        return &any_record();
    }

    int position_of(const void *element) const
    {
        for (size_t pos = 0; pos < model_.size(); pos++) {
            const bool equal = kind_.comparing ? model_[pos].given->key == static_cast<const record *>(element)->key
                                               : model_[pos].stored == element;
            if (equal)
                return static_cast<int>(pos);
        }
        return -1;
    }

    void delete_equal()
    {
        operation_ = "delete";
        const void *element = sought();
        const int pos = position_of(element);
        const bool refused = iterating_ || pos < 0;
        want(sclist_delete(&list_, element) == (refused ? -1 : 0), "wrong result");
        if (!refused)
            remove_from_model(static_cast<unsigned int>(pos));
    }

    void get_at()
    {
        operation_ = "get_at";
        const unsigned int pos = below(size() + 3);
        want(sclist_get_at(&list_, pos) == (pos < size() ? model_[pos].stored : nullptr), "wrong element");
    }

    void locate()
    {
        operation_ = "locate and contains";
        const void *element = sought();
        const int pos = position_of(element);
        want(sclist_locate(&list_, element) == pos, "wrong position");
        want(sclist_contains(&list_, element) == (pos < 0 ? 0 : 1), "contains is wrong");
    }

    void seek()
    {
        operation_ = "seek";
        const int key = static_cast<int>(below(50));
        const void *found = nullptr;
        for (const held &each : model_) {
            if (each.given->key == key) {
                found = each.stored;
                break;
            }
        }
        want(sclist_seek(&list_, &key) == found, "wrong element");
    }

    void iterator_start()
    {
        operation_ = "iterator_start";
        want(sclist_iterator_start(&list_) == (iterating_ ? 0 : 1), "wrong result");
        if (!iterating_)
            next_ = 0;
        iterating_ = true;
    }

    void iterator_next()
    {
        operation_ = "iterator_next and hasnext";
        const bool left = iterating_ && next_ < size();
        want((sclist_iterator_hasnext(&list_) != 0) == left, "hasnext is wrong");
        want(sclist_iterator_next(&list_) == (left ? model_[next_].stored : nullptr), "wrong element");
        next_ += left ? 1 : 0;
    }

    void iterator_stop()
    {
        operation_ = "iterator_stop";
        want(sclist_iterator_stop(&list_) == (iterating_ ? 1 : 0), "wrong result");
        iterating_ = false;
    }

    void clear()
    {
        operation_ = "clear";
        want(sclist_clear(&list_) == (iterating_ ? -1 : 0), "wrong result");
        if (iterating_)
            return;
        for (const held &each : model_)
            recycle(each.entry);
        model_.clear();
    }

    void destroy()
    {
        operation_ = "destroy and init";
        if (iterating_)
            iterator_stop();
        sclist_destroy(&list_);
        want(list_.head_sentinel == nullptr && list_.tail_sentinel == nullptr && list_.mid == nullptr &&
                 list_.numels == 0 && list_.spareels == nullptr && list_.spareelsnum == 0,
             "a destroyed list still holds something");
        sclist_destroy(&list_);
        model_.clear();
        pool_.clear();
        start_list();
    }

    // Every link, every element, the middle, the pool, and positional access: all positions of a small list,
    // some of a large one.
    void check()
    {
        want(list_.numels == size() && sclist_size(&list_) == size(), "the size is wrong");
        want(list_.head_sentinel->prev == nullptr && list_.head_sentinel->data == nullptr, "head is wrong");
        want(list_.tail_sentinel->next == nullptr && list_.tail_sentinel->data == nullptr, "tail is wrong");
        const sclist_entry_s *before = list_.head_sentinel;
        for (const held &each : model_) {
            want(before->next == each.entry, "next does not lead to the entry");
            want(each.entry->prev == before, "prev does not lead back");
            want(each.entry->data == each.stored, "the entry holds another element");
            want(memcmp(each.stored, each.given, sizeof(record)) == 0, "the element was changed");
            before = each.entry;
        }
        want(before->next == list_.tail_sentinel, "the last entry does not lead to the tail");
        want(list_.tail_sentinel->prev == before, "the tail does not lead to the last entry");

        want(list_.mid == (model_.empty() ? nullptr : model_[(model_.size() - 1) / 2].entry), "mid is wrong");
        want(list_.spareelsnum <= SCLIST_MAX_SPARE_ELEMS, "too many spare blocks");
        want(pool_of(&list_) == pool_, "the pool is not as it should be");
        want((list_.iter_active != 0) == iterating_, "the iterator's state is wrong");

        const unsigned int stride = size() <= 160 ? 1 : 1 + below(size() / 40);
        for (unsigned int pos = 0; pos < size(); pos += stride)
            want(sclist_get_at(&list_, pos) == model_[pos].stored, "positional access differs from the walk");
        want(sclist_get_at(&list_, size()) == nullptr, "there is an element behind the last");
    }

    const kind &kind_;
    const course &course_;
    std::mt19937 random_;
    std::vector<record> given_;
    sclist_t list_ = {};

    std::vector<held> model_;
    std::vector<sclist_entry_s *> pool_;
    bool iterating_ = false;
    unsigned int next_ = 0;

    const char *operation_ = "";
    std::string complaint_;
    size_t largest_ = 0;
    int shortages_ = 0;
};

TEST(SclistModel, RandomOperationsKeepEveryInvariant)
{
    int operations = 0;
    for (const kind &what : kinds) {
        for (const course &how : courses) {
            for (const unsigned int seed : seeds) {
                list_and_model pair(what, how, seed);
                EXPECT_EQ(pair.run(), "") << what.name << ", " << how.name << ", seed " << seed;
                EXPECT_GE(pair.largest(), how.size / 2) << how.name << ": the list did not grow as it should";
                EXPECT_EQ(pair.shortages() > 0, how.shortage) << how.name;
                operations += how.operations;
            }
        }
    }
    EXPECT_GE(operations, 100000);
}

} // namespace
