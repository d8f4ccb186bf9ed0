// Statistics of float arrays: see vantu-libs2/vantu-math.h.

#include "vantu-libs2/vantu-math.h"

#include <cmath>
#include <cstdlib>

namespace
{

constexpr float limit = 1000000000.0F;

} // namespace

float vantum_sum(const float *sequence, int sequence_length)
{
    float sum = 0.0F;
    for (int i = 0; i < sequence_length; i++)
        sum += sequence[i];
    return sum;
}

float vantum_min(const float *sequence, int sequence_length)
{
    float smallest = limit;
    for (int i = 0; i < sequence_length; i++) {
        if (sequence[i] < smallest)
            smallest = sequence[i];
    }
    return smallest;
}

float vantum_max(const float *sequence, int sequence_length)
{
    float largest = -limit;
    for (int i = 0; i < sequence_length; i++) {
        if (sequence[i] > largest)
            largest = sequence[i];
    }
    return largest;
}

uint8_t vantum_max_uint8(const uint8_t *sequence, int sequence_length)
{
    uint8_t largest = sequence[0];
    for (int i = 1; i < sequence_length; i++) {
        if (sequence[i] > largest)
            largest = sequence[i];
    }
    return largest;
}

float vantum_mean(const float *sequence, int sequence_length)
{
    return vantum_sum(sequence, sequence_length) / static_cast<float>(sequence_length);
}

float vantum_std(const float *sequence, int sequence_length)
{
    const float mean = vantum_mean(sequence, sequence_length);
    float squares = 0.0F;
    for (int i = 0; i < sequence_length; i++)
        squares = static_cast<float>(squares + pow(static_cast<double>(sequence[i] - mean), 2.0));
    return static_cast<float>(sqrt(static_cast<double>(squares / static_cast<float>(sequence_length))));
}

float vantum_percentile(const float *sequence, int sequence_length, float percentile)
{
    if (sequence_length < 1)
        return 0.0F;
    // The rank, from one; its whole part is the element below.
    const float rank = static_cast<float>(sequence_length - 1) * percentile + 1.0F;
    if (!(rank >= 1.0F))
        return 0.0F;
    if (rank < 2.0F)
        return sequence[0];
    if (rank >= static_cast<float>(sequence_length))
        return sequence[sequence_length - 1];
    const int below = static_cast<int>(floorf(rank));
    const float fraction = rank - static_cast<float>(below);
    return sequence[below - 1] + (sequence[below] - sequence[below - 1]) * fraction;
}

int vantum_compare_float(const void *a, const void *b)
{
    const float first = *static_cast<const float *>(a);
    const float second = *static_cast<const float *>(b);
    if (first == second)
        return 0;
    return first < second ? -1 : 1;
}

float *vantum_create_float_array(int size)
{
    return size < 0 ? nullptr : static_cast<float *>(calloc(static_cast<size_t>(size), sizeof(float)));
}

void vantum_destroy_float_array(float *array)
{
    free(array);
}
