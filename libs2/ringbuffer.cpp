// The ring of records: see vantu-libs2/ringbuffer.h.

#include "vantu-libs2/ringbuffer.h"

#include <cstdlib>
#include <cstring>

namespace
{

void *slot(const vantu_ringbuffer *ring, int index)
{
    return static_cast<char *>(ring->array) + static_cast<size_t>(index) * static_cast<size_t>(ring->elementsize);
}

int after(const vantu_ringbuffer *ring, int index)
{
    return index + 1 == ring->arraysize ? 0 : index + 1;
}

} // namespace

void vantu_ringbuffer_init(vantu_ringbuffer *ring, int arraysize, int elementsize)
{
    *ring = {};
    if (arraysize <= 0 || elementsize <= 0)
        return;
    ring->array = calloc(static_cast<size_t>(arraysize), static_cast<size_t>(elementsize));
    if (ring->array == nullptr)
        return;
    ring->arraysize = arraysize;
    ring->elementsize = elementsize;
}

void vantu_ringbuffer_free(vantu_ringbuffer *ring)
{
    free(ring->array);
    *ring = {};
}

void *vantu_ringbuffer_write(vantu_ringbuffer *ring, const void *data)
{
    if (ring->array == nullptr)
        return nullptr;
    void *stored = slot(ring, ring->write_index);
    memcpy(stored, data, static_cast<size_t>(ring->elementsize));
    const int next = after(ring, ring->write_index);
    if (ring->write_index == ring->read_index && ring->order == 1)
        ring->read_index = next;
    ring->write_index = next;
    if (ring->write_index == ring->read_index)
        ring->order = 1;
    return stored;
}

void *vantu_ringbuffer_read(vantu_ringbuffer *ring)
{
    if (ring->array == nullptr || (ring->read_index == ring->write_index && ring->order == 0))
        return nullptr;
    void *oldest = slot(ring, ring->read_index);
    ring->read_index = after(ring, ring->read_index);
    if (ring->read_index == ring->write_index)
        ring->order = 0;
    return oldest;
}

int vantu_ringbuffer_size(const vantu_ringbuffer *ring)
{
    if (ring->read_index == ring->write_index)
        return ring->order == 1 ? ring->arraysize : 0;
    if (ring->read_index < ring->write_index)
        return ring->write_index - ring->read_index;
    return ring->arraysize - ring->read_index + ring->write_index;
}

void vantu_ringbuffer_itterator_start(vantu_ringbuffer *ring)
{
    ring->ittr_index = ring->read_index;
    ring->ittr_order = ring->order;
}

int vantu_ringbuffer_itterator_hasnext(const vantu_ringbuffer *ring)
{
    return ring->ittr_index != ring->write_index || ring->ittr_order != 0 ? 1 : 0;
}

void *vantu_ringbuffer_itterator_next(vantu_ringbuffer *ring)
{
    if (ring->array == nullptr)
        return nullptr;
    if (ring->ittr_index == ring->write_index) {
        if (ring->ittr_order == 0)
            return nullptr;
        ring->ittr_order = 0;
    }
    void *current = slot(ring, ring->ittr_index);
    ring->ittr_index = after(ring, ring->ittr_index);
    return current;
}

void *vantu_ringbuffer_get_at(vantu_ringbuffer *ring, int idx)
{
    const int held = vantu_ringbuffer_size(ring);
    if (held == 0 || ring->array == nullptr)
        return nullptr;
    const int base = idx < 0 ? ring->write_index : ring->read_index;
    // Reduced first, so that no position is too large to be added.
    return slot(ring, mod(base + idx % held, held));
}

int mod(int a, int b)
{
    const int remainder = a % b;
    return remainder < 0 ? remainder + b : remainder;
}
