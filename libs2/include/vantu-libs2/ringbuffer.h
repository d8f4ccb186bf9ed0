// A ring of fixed-size records that keeps the most recent ones.
#ifndef VANTU_LIBS2_RINGBUFFER_H
#define VANTU_LIBS2_RINGBUFFER_H

#ifdef __cplusplus
extern "C" {
#endif

// The caller owns the structure; its storage lives from vantu_ringbuffer_init to vantu_ringbuffer_free.
typedef struct vantu_ringbuffer {
    void *array;     // storage for `arraysize` records
    int arraysize;   // capacity in records
    int elementsize; // size of a record in bytes
    int order;       // 1 when the write position has caught up with the read position: full, not empty
    int read_index;  // the oldest record
    int write_index; // where the next record goes
    int ittr_index;  // the buffer's single iterator
    int ittr_order;
} vantu_ringbuffer;

// Makes an empty buffer with zeroed storage. When memory is short (or a size is not positive), `array` is NULL
// and the buffer holds nothing and takes nothing.
void vantu_ringbuffer_init(vantu_ringbuffer *ring, int arraysize, int elementsize);

// Frees the storage. The buffer may be initialised again.
void vantu_ringbuffer_free(vantu_ringbuffer *ring);

// Copies one record in, over the oldest when the buffer is full. Returns the stored copy, which stays valid until
// it is overwritten; NULL when there is no storage.
void *vantu_ringbuffer_write(vantu_ringbuffer *ring, const void *data);

// Removes the oldest record and returns it; the record stays in place until it is overwritten. NULL when empty.
void *vantu_ringbuffer_read(vantu_ringbuffer *ring);

// The number of records held.
int vantu_ringbuffer_size(const vantu_ringbuffer *ring);

// Walk the records from the oldest to the newest without removing them. next gives NULL after the newest.
void vantu_ringbuffer_itterator_start(vantu_ringbuffer *ring);
int vantu_ringbuffer_itterator_hasnext(const vantu_ringbuffer *ring);
void *vantu_ringbuffer_itterator_next(vantu_ringbuffer *ring);

// The record at a position: from 0 for the oldest, from -1 backward for the newest; NULL when empty. Positions are
// reduced by the number of records held, which is right for a buffer that is full or was never read from.
void *vantu_ringbuffer_get_at(vantu_ringbuffer *ring, int idx);

// The remainder of a divided by b, never negative for a positive b.
int mod(int a, int b);

#ifdef __cplusplus
}
#endif

#endif
