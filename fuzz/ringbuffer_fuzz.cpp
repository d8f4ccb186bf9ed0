// The ring of records against a deque.

#include "fuzz.hpp"
#include "vantu-libs2/ringbuffer.h"

#include <deque>

namespace
{

constexpr size_t largest_record = 24;

using record = std::string;

record of(const void *stored, size_t size)
{
    return {static_cast<const char *>(stored), size};
}

// Positions are promised for a ring that is full or was never read from.
void check_positions(vantu_ringbuffer &ring, const std::deque<record> &model, size_t size, int at)
{
    const auto held = static_cast<int>(model.size());
    const void *found = vantu_ringbuffer_get_at(&ring, at);
    if (held == 0) {
        REQUIRE(found == nullptr);
        return;
    }
    const int place = (at % held + held) % held;
    REQUIRE(found != nullptr && of(found, size) == model[static_cast<size_t>(place)]);
}

// A ring that was full when it was read from goes round once more until it is empty or full again, which is kept.
void check_walk(vantu_ringbuffer &ring, const std::deque<record> &model, size_t size)
{
    const bool goes_round_again = ring.order == 1 && static_cast<int>(model.size()) < ring.arraysize;
    vantu_ringbuffer_itterator_start(&ring);
    for (const record &wanted : model) {
        REQUIRE(vantu_ringbuffer_itterator_hasnext(&ring) == 1);
        const void *found = vantu_ringbuffer_itterator_next(&ring);
        REQUIRE(found != nullptr && (goes_round_again || of(found, size) == wanted));
    }
    for (int left = goes_round_again ? ring.arraysize : 0; left > 0; left--)
        REQUIRE(vantu_ringbuffer_itterator_next(&ring) != nullptr);
    REQUIRE(vantu_ringbuffer_itterator_hasnext(&ring) == 0);
    REQUIRE(vantu_ringbuffer_itterator_next(&ring) == nullptr);
}

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    const int capacity = in.ConsumeIntegralInRange(-1, 9);
    const int size = in.ConsumeIntegralInRange<int>(-1, largest_record);
    vantu_ringbuffer ring;
    vantu_ringbuffer_init(&ring, capacity, size);
    const bool has_storage = capacity > 0 && size > 0;
    REQUIRE((ring.array != nullptr) == has_storage);
    const size_t most = has_storage ? static_cast<size_t>(capacity) : 0;
    const size_t length = has_storage ? static_cast<size_t>(size) : 0;
    std::deque<record> model;
    bool was_read = false;

    while (in.remaining_bytes() > 0) {
        switch (in.ConsumeIntegralInRange(0, 5)) {
        case 0:
        case 1:
        case 2: {
            record fresh(largest_record, static_cast<char>(in.ConsumeIntegral<uint8_t>()));
            fresh.resize(has_storage ? length : largest_record);
            const void *stored = vantu_ringbuffer_write(&ring, fresh.data());
            REQUIRE((stored != nullptr) == has_storage);
            if (!has_storage)
                break;
            REQUIRE(of(stored, length) == fresh);
            model.push_back(fresh);
            if (model.size() > most)
                model.pop_front();
            break;
        }
        case 3: {
            const void *oldest = vantu_ringbuffer_read(&ring);
            REQUIRE((oldest != nullptr) == !model.empty());
            if (oldest == nullptr)
                break;
            REQUIRE(of(oldest, length) == model.front());
            model.pop_front();
            was_read = true;
            break;
        }
        case 4:
            if (!was_read || model.size() == most)
                check_positions(ring, model, length, in.ConsumeIntegral<int>());
            else // nothing is promised but that it is one of the slots
                (void)vantu_ringbuffer_get_at(&ring, in.ConsumeIntegral<int>());
            break;
        default:
            check_walk(ring, model, length);
            break;
        }
        REQUIRE(vantu_ringbuffer_size(&ring) == static_cast<int>(model.size()));
    }
    check_walk(ring, model, length);
    vantu_ringbuffer_free(&ring);
    REQUIRE(ring.array == nullptr && vantu_ringbuffer_size(&ring) == 0);
}
