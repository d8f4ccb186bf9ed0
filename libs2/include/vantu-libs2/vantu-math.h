// Statistics of plain float arrays, in single precision where nothing else is said.
#ifndef VANTU_LIBS2_VANTU_MATH_H
#define VANTU_LIBS2_VANTU_MATH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The sum in index order, from 0.
float vantum_sum(const float *sequence, int sequence_length);

// The smallest value, at most 1000000000; the largest, at least -1000000000. Those are what an empty array gives.
float vantum_min(const float *sequence, int sequence_length);
float vantum_max(const float *sequence, int sequence_length);

// The largest value. The first element is read even when the length is 0.
uint8_t vantum_max_uint8(const uint8_t *sequence, int sequence_length);

// Sum over length; not a number for an empty array.
float vantum_mean(const float *sequence, int sequence_length);

// The standard deviation of the whole population (over length, not length - 1).
float vantum_std(const float *sequence, int sequence_length);

// The value below which the fraction `percentile` (0 to 1) of the array lies, interpolated between the two nearest
// elements; between the first and the second it is not, on purpose: there the result is the first. The array
// must be sorted in ascending order. 0 for an empty array.
float vantum_percentile(const float *sequence, int sequence_length, float percentile);

// For qsort: 0, -1 or 1; not-a-number counts as greater.
int vantum_compare_float(const void *a, const void *b);

// `size` floats without a value; NULL when memory is short. Freed with vantum_destroy_float_array.
float *vantum_create_float_array(int size);
void vantum_destroy_float_array(float *array);

#ifdef __cplusplus
}
#endif

#endif
