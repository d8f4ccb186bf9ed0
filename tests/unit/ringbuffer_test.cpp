// The ring of records: its states one by one, and random use against a deque.

#include "vantu-libs2/ringbuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

// Of memory that there is not, the sanitizer says so like the C library.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}
#endif

namespace
{

using ints = std::vector<int>;

struct ring : vantu_ringbuffer {
    ring(int capacity, int element_size)
    {
        memset(static_cast<vantu_ringbuffer *>(this), 0x5a, sizeof(vantu_ringbuffer));
        vantu_ringbuffer_init(this, capacity, element_size);
    }
    ~ring() { vantu_ringbuffer_free(this); }
    ring(const ring &) = delete;
    ring &operator=(const ring &) = delete;
};

struct int_ring : ring {
    int_ring(int capacity, const ints &written) : ring(capacity, sizeof(int))
    {
        for (const int value : written)
            vantu_ringbuffer_write(this, &value);
    }
};

int value_of(const void *record)
{
    return record == nullptr ? -1 : *static_cast<const int *>(record);
}

int read(vantu_ringbuffer &from)
{
    return value_of(vantu_ringbuffer_read(&from));
}

int at(vantu_ringbuffer &in, int index)
{
    return value_of(vantu_ringbuffer_get_at(&in, index));
}

// What an iteration yields; at most `most` records, so that an endless one ends.
ints walked(vantu_ringbuffer &over, size_t most = 10000)
{
    ints out;
    vantu_ringbuffer_itterator_start(&over);
    while (out.size() < most && vantu_ringbuffer_itterator_hasnext(&over) != 0)
        out.push_back(value_of(vantu_ringbuffer_itterator_next(&over)));
    return out;
}

void expect_empty(vantu_ringbuffer &buffer, const char *name)
{
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 0) << name;
    EXPECT_EQ(vantu_ringbuffer_read(&buffer), nullptr) << name;
    vantu_ringbuffer_itterator_start(&buffer);
    EXPECT_EQ(vantu_ringbuffer_itterator_hasnext(&buffer), 0) << name;
    EXPECT_EQ(vantu_ringbuffer_itterator_next(&buffer), nullptr) << name;
    for (const int index : {0, 1, -1, INT_MAX, INT_MIN})
        EXPECT_EQ(vantu_ringbuffer_get_at(&buffer, index), nullptr) << name << " at " << index;
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 0) << name;
}

// ---- Making and freeing ----

TEST(RingBuffer, NewOneIsEmptyWithZeroedStorage)
{
    ring buffer(6, 5);
    EXPECT_EQ(buffer.arraysize, 6);
    EXPECT_EQ(buffer.elementsize, 5);
    EXPECT_EQ(buffer.order, 0);
    EXPECT_EQ(buffer.read_index, 0);
    EXPECT_EQ(buffer.write_index, 0);
    const auto *bytes = static_cast<const char *>(buffer.array);
    ASSERT_NE(bytes, nullptr);
    EXPECT_TRUE(std::all_of(bytes, bytes + 30, [](char byte) { return byte == 0; }));
    expect_empty(buffer, "new");
}

TEST(RingBuffer, WithoutStorageItIsEmptyAndTakesNothing)
{
    const struct {
        const char *name;
        int capacity;
        int element_size;
    } rows[] = {
        {"no records", 0, 4},
        {"fewer than none", -1, 4},
        {"records of no size", 4, 0},
        {"records of less", 4, -1},
        {"both negative", -4, -4},
        {"least numbers", INT_MIN, INT_MIN},
        {"more than there is memory", INT_MAX, INT_MAX},
    };
    for (const auto &row : rows) {
        ring buffer(row.capacity, row.element_size);
        EXPECT_EQ(buffer.array, nullptr) << row.name;
        expect_empty(buffer, row.name);
        const int value = 1;
        EXPECT_EQ(vantu_ringbuffer_write(&buffer, &value), nullptr) << row.name;
        expect_empty(buffer, row.name);
    }
}

TEST(RingBuffer, FreeLeavesItEmptyAndReadyForAnotherInit)
{
    int_ring buffer(2, {1, 2, 3});
    vantu_ringbuffer_free(&buffer);
    EXPECT_EQ(buffer.array, nullptr);
    expect_empty(buffer, "freed");
    const int value = 7;
    EXPECT_EQ(vantu_ringbuffer_write(&buffer, &value), nullptr);
    expect_empty(buffer, "freed and written to");

    vantu_ringbuffer_free(&buffer);
    expect_empty(buffer, "freed twice");

    vantu_ringbuffer_init(&buffer, 3, sizeof(int));
    EXPECT_EQ(value_of(vantu_ringbuffer_write(&buffer, &value)), 7);
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 1);
}

// ---- Writing and reading ----

TEST(RingBuffer, WriteCopiesTheRecordAndReturnsTheCopy)
{
    ring buffer(3, sizeof(int));
    int value = 41;
    void *stored = vantu_ringbuffer_write(&buffer, &value);
    EXPECT_EQ(stored, buffer.array);
    value = 42;
    EXPECT_EQ(value_of(stored), 41);
    EXPECT_EQ(vantu_ringbuffer_write(&buffer, &value), static_cast<int *>(buffer.array) + 1);
    EXPECT_EQ(vantu_ringbuffer_read(&buffer), stored);
    EXPECT_EQ(value_of(stored), 41); // a read record stays in place until it is overwritten
}

TEST(RingBuffer, WriteOverAFullOneDropsTheOldest)
{
    int_ring buffer(2, {1, 2, 3});
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 2);
    EXPECT_EQ(walked(buffer), (ints{2, 3}));
    EXPECT_EQ(buffer.order, 1);
    EXPECT_EQ(buffer.read_index, 1);
    EXPECT_EQ(buffer.write_index, 1);
    EXPECT_EQ(read(buffer), 2);
    EXPECT_EQ(read(buffer), 3);
    EXPECT_EQ(vantu_ringbuffer_read(&buffer), nullptr);
}

TEST(RingBuffer, OfOneRecordHoldsTheNewest)
{
    int_ring buffer(1, {1});
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 1);
    for (int value = 2; value < 6; value++) {
        vantu_ringbuffer_write(&buffer, &value);
        EXPECT_EQ(vantu_ringbuffer_size(&buffer), 1);
        EXPECT_EQ(walked(buffer), ints{value});
        EXPECT_EQ(at(buffer, 0), value);
        EXPECT_EQ(at(buffer, -1), value);
    }
    EXPECT_EQ(read(buffer), 5);
    expect_empty(buffer, "read");
}

TEST(RingBuffer, IndexesAndOrderThroughARound)
{
    const struct {
        const char *step; // w: write, r: read
        int order;
        int read_index;
        int write_index;
        int size;
    } rows[] = {
        {"", 0, 0, 0, 0},      {"w", 0, 0, 1, 1},      {"ww", 0, 0, 2, 2},    {"www", 1, 0, 0, 3},
        {"wwww", 1, 1, 1, 3},  {"wwwwww", 1, 0, 0, 3}, {"wr", 0, 1, 1, 0},    {"wrr", 0, 1, 1, 0},
        {"wrw", 0, 1, 2, 1},   {"wrww", 0, 1, 0, 2},   {"wrwww", 1, 1, 1, 3}, {"wwwr", 1, 1, 0, 2},
        {"wwwrr", 1, 2, 0, 1}, {"wwwrrr", 0, 0, 0, 0}, {"wwwrw", 1, 1, 1, 3}, {"wwwrww", 1, 2, 2, 3},
    };
    for (const auto &row : rows) {
        ring buffer(3, sizeof(int));
        int value = 0;
        for (const char *step = row.step; *step != '\0'; step++) {
            value++;
            if (*step == 'w')
                vantu_ringbuffer_write(&buffer, &value);
            else
                vantu_ringbuffer_read(&buffer);
        }
        EXPECT_EQ(buffer.order, row.order) << row.step;
        EXPECT_EQ(buffer.read_index, row.read_index) << row.step;
        EXPECT_EQ(buffer.write_index, row.write_index) << row.step;
        EXPECT_EQ(vantu_ringbuffer_size(&buffer), row.size) << row.step;
    }
}

// ---- Walking and positions ----

TEST(RingBuffer, WalkLeavesTheRecordsAndCanBeRepeated)
{
    int_ring buffer(4, {1, 2, 3, 4, 5, 6});
    for (int round = 0; round < 3; round++)
        EXPECT_EQ(walked(buffer), (ints{3, 4, 5, 6}));
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 4);
    vantu_ringbuffer_itterator_start(&buffer);
    EXPECT_EQ(value_of(vantu_ringbuffer_itterator_next(&buffer)), 3);
    vantu_ringbuffer_itterator_start(&buffer);
    EXPECT_EQ(value_of(vantu_ringbuffer_itterator_next(&buffer)), 3);
}

TEST(RingBuffer, NextAfterTheNewestIsNull)
{
    for (const ints &written : {ints{1}, ints{1, 2}, ints{1, 2, 3}, ints{1, 2, 3, 4}}) {
        int_ring buffer(3, written);
        const size_t held = walked(buffer).size();
        EXPECT_EQ(held, std::min<size_t>(written.size(), 3));
        EXPECT_EQ(vantu_ringbuffer_itterator_hasnext(&buffer), 0);
        EXPECT_EQ(vantu_ringbuffer_itterator_next(&buffer), nullptr);
        EXPECT_EQ(vantu_ringbuffer_itterator_next(&buffer), nullptr);
    }
}

TEST(RingBuffer, TenRecordsOfFiveHundred)
{
    int_ring buffer(500, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 10);
    EXPECT_EQ(at(buffer, -1), 10);
    EXPECT_EQ(at(buffer, 0), 1);
    EXPECT_EQ(at(buffer, 9), 10);
    EXPECT_EQ(at(buffer, -10), 1);
}

TEST(RingBuffer, PositionsGoRoundTheRecordsHeld)
{
    const struct {
        const char *name;
        ints written;
        int index;
        int value;
    } rows[] = {
        {"behind the newest comes the oldest", {1, 2, 3}, 3, 1},
        {"before the oldest comes the newest", {1, 2, 3}, -4, 3},
        {"twice round", {1, 2, 3}, 7, 2},
        {"twice round backward", {1, 2, 3}, -7, 3},
        {"full: oldest", {1, 2, 3, 4, 5}, 0, 2},
        {"full: newest", {1, 2, 3, 4, 5}, 3, 5},
        {"full: newest backward", {1, 2, 3, 4, 5}, -1, 5},
        {"full: oldest backward", {1, 2, 3, 4, 5}, -4, 2},
        {"full: round", {1, 2, 3, 4, 5}, 4, 2},
        {"full: round backward", {1, 2, 3, 4, 5}, -5, 5},
        {"least int", {1, 2, 3, 4, 5}, INT_MIN, 2},
    };
    for (const auto &row : rows) {
        int_ring buffer(4, row.written);
        EXPECT_EQ(at(buffer, row.index), row.value) << row.name;
    }
}

// INT_MAX is 1 modulo 3; the oldest record does not stand at place 0.
TEST(RingBuffer, PositionOfTheGreatestIntGoesRoundToo)
{
    int_ring buffer(3, {1, 2, 3, 4});
    EXPECT_EQ(at(buffer, INT_MAX), 3);
}

// Nobody uses a buffer so; what comes out is a record that was read before.
TEST(RingBuffer, PositionsOfAPartlyReadOneAreReducedByTheRecordsHeldWhichIsKept)
{
    int_ring buffer(4, {1, 2, 3});
    EXPECT_EQ(read(buffer), 1);
    EXPECT_EQ(at(buffer, 0), 2);
    EXPECT_EQ(at(buffer, 1), 1);
    EXPECT_EQ(at(buffer, -1), 1);

    int_ring round(5, {1, 2, 3, 4, 5});
    EXPECT_EQ(read(round), 1);
    EXPECT_EQ(read(round), 2);
    EXPECT_EQ(at(round, 0), 3);
    EXPECT_EQ(at(round, 1), 1);
    EXPECT_EQ(at(round, -1), 3); // counted back from the write position, place 0
    EXPECT_EQ(at(round, -2), 2);
}

TEST(RingBuffer, WalkAfterAReadOfAFullOneGoesRoundAgainWhichIsKept)
{
    int_ring buffer(3, {1, 2, 3});
    EXPECT_EQ(read(buffer), 1);
    EXPECT_EQ(buffer.order, 1);
    EXPECT_EQ(vantu_ringbuffer_size(&buffer), 2);
    EXPECT_EQ(walked(buffer), (ints{2, 3, 1, 2, 3}));
    EXPECT_EQ(read(buffer), 2);
    EXPECT_EQ(read(buffer), 3);
    EXPECT_EQ(buffer.order, 0);
    EXPECT_EQ(walked(buffer), ints{});
}

TEST(RingBuffer, RemainderIsNotNegative)
{
    const struct {
        int a;
        int b;
        int remainder;
    } rows[] = {
        {0, 3, 0},  {1, 3, 1},  {3, 3, 0},        {7, 3, 1},        {-1, 3, 2},
        {-3, 3, 0}, {-4, 3, 2}, {INT_MAX, 10, 7}, {INT_MIN, 10, 2}, {-1, INT_MAX, INT_MAX - 1},
        {5, 1, 0},  {-5, 1, 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(mod(row.a, row.b), row.remainder) << row.a << " by " << row.b;
}

// ---- Against a deque ----

using record = std::vector<unsigned char>;

record random_record(std::mt19937 &random, size_t size)
{
    record out(size);
    for (unsigned char &byte : out)
        byte = static_cast<unsigned char>(random());
    return out;
}

bool equals(const void *stored, const record &wanted)
{
    return stored != nullptr && memcmp(stored, wanted.data(), wanted.size()) == 0;
}

// True when the walk and all positions give what the deque holds.
bool shows(vantu_ringbuffer &buffer, const std::deque<record> &model)
{
    vantu_ringbuffer_itterator_start(&buffer);
    for (const record &wanted : model) {
        if (vantu_ringbuffer_itterator_hasnext(&buffer) == 0 ||
            !equals(vantu_ringbuffer_itterator_next(&buffer), wanted))
            return false;
    }
    if (vantu_ringbuffer_itterator_hasnext(&buffer) != 0 || vantu_ringbuffer_itterator_next(&buffer) != nullptr)
        return false;
    const int held = static_cast<int>(model.size());
    for (int index = -2 * held - 1; held > 0 && index <= 2 * held; index++) {
        const int place = ((index % held) + held) % held;
        if (!equals(vantu_ringbuffer_get_at(&buffer, index), model[static_cast<size_t>(place)]))
            return false;
    }
    return true;
}

// One random write on both sides.
void write_both(std::mt19937 &random, vantu_ringbuffer &buffer, std::deque<record> &model)
{
    model.push_back(random_record(random, static_cast<size_t>(buffer.elementsize)));
    ASSERT_TRUE(equals(vantu_ringbuffer_write(&buffer, model.back().data()), model.back()));
    if (model.size() > static_cast<size_t>(buffer.arraysize))
        model.pop_front();
    ASSERT_EQ(static_cast<size_t>(vantu_ringbuffer_size(&buffer)), model.size());
}

TEST(RingBuffer, NeverReadFromItAgreesWithADeque)
{
    std::mt19937 random(4704);
    for (int run = 0; run < 300; run++) {
        const int capacity = 1 + static_cast<int>(random() % 40);
        ring buffer(capacity, 1 + static_cast<int>(random() % 40));
        std::deque<record> model;
        for (int step = 0; step < 3 * capacity; step++) {
            ASSERT_TRUE(shows(buffer, model)) << "run " << run << ", step " << step;
            ASSERT_NO_FATAL_FAILURE(write_both(random, buffer, model)) << "run " << run << ", step " << step;
        }
        ASSERT_TRUE(shows(buffer, model)) << "run " << run;
    }
}

TEST(RingBuffer, WritesAndReadsInAnyOrderAgreeWithADeque)
{
    std::mt19937 random(4705);
    int times_full = 0;
    for (int run = 0; run < 300; run++) {
        const int capacity = 1 + static_cast<int>(random() % 20);
        ring buffer(capacity, 1 + static_cast<int>(random() % 40));
        std::deque<record> model;
        auto writes = random() % 10; // of ten steps
        for (int step = 0; step < 400; step++) {
            if (step % 50 == 0)
                writes = 2 + random() % 7;
            if (random() % 10 < writes) {
                ASSERT_NO_FATAL_FAILURE(write_both(random, buffer, model)) << "run " << run << ", step " << step;
            } else {
                const void *oldest = vantu_ringbuffer_read(&buffer);
                if (model.empty()) {
                    ASSERT_EQ(oldest, nullptr) << "run " << run << ", step " << step;
                } else {
                    ASSERT_TRUE(equals(oldest, model.front())) << "run " << run << ", step " << step;
                    model.pop_front();
                }
                ASSERT_EQ(static_cast<size_t>(vantu_ringbuffer_size(&buffer)), model.size());
            }
            if (model.size() == static_cast<size_t>(capacity)) {
                times_full++;
                ASSERT_TRUE(shows(buffer, model)) << "run " << run << ", step " << step;
            }
        }
    }
    EXPECT_GT(times_full, 1000);
}

} // namespace
