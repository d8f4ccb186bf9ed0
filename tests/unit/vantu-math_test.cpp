// Statistics of float arrays: known values, the ends of each range, and agreement to the bit with the formulas
// written down a second time.

#include "vantu-libs2/vantu-math.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace
{

using floats = std::vector<float>;

constexpr float infinite = std::numeric_limits<float>::infinity();
const float nan_value = std::nanf("");

int length(const floats &values)
{
    return static_cast<int>(values.size());
}

uint32_t bits(float value)
{
    uint32_t out;
    memcpy(&out, &value, sizeof(out));
    return out;
}

// ---- The formulas once more ----
//
// Every intermediate is volatile: it is rounded to its type, and no multiplication is fused with an addition,
// whatever the compiler and the machine.

float plain_mean(const floats &values)
{
    volatile float sum = 0.0F;
    for (const float value : values)
        sum = sum + value;
    volatile float mean = sum / static_cast<float>(values.size());
    return mean;
}

float plain_std(const floats &values)
{
    const float mean = plain_mean(values);
    volatile float squares = 0.0F;
    for (const float value : values) {
        volatile float distance = value - mean;
        volatile double square = pow(static_cast<double>(distance), 2.0);
        volatile double sum = static_cast<double>(squares) + square;
        squares = static_cast<float>(sum);
    }
    volatile float variance = squares / static_cast<float>(values.size());
    return static_cast<float>(sqrt(static_cast<double>(variance)));
}

float plain_percentile(const floats &sorted, float percentile)
{
    const int count = length(sorted);
    volatile float product = static_cast<float>(count - 1) * percentile;
    volatile float x = product + 1.0F;
    const int k = static_cast<int>(std::floor(x));
    const auto at = static_cast<size_t>(k);
    if (k < 1)
        return 0.0F;
    if (k == 1)
        return sorted.front();
    if (k == count)
        return sorted.back();
    volatile float gap = sorted[at] - sorted[at - 1];
    volatile float fraction = x - static_cast<float>(k);
    volatile float part = gap * fraction;
    volatile float result = sorted[at - 1] + part;
    return result;
}

// Values as the samples have them: whole counters, fractions, negative dBm, now and then equal ones.
floats random_values(std::mt19937 &random)
{
    floats values(1 + random() % 300);
    const unsigned kind = random() % 4;
    for (float &value : values) {
        const float whole = static_cast<float>(random() % 2000001) - 1000000.0F;
        value = kind == 0   ? whole
                : kind == 1 ? whole / 1000.0F
                : kind == 2 ? -static_cast<float>(random() % 100)
                            : whole * static_cast<float>(random() % 100000);
    }
    return values;
}

// ---- Sum, least, greatest ----

TEST(Math, SumIsTakenInIndexOrderInSinglePrecision)
{
    const struct {
        const char *name;
        floats values;
        float sum;
    } rows[] = {
        {"nothing", {}, 0.0F},
        {"one", {-2.5F}, -2.5F},
        {"several", {1.0F, 2.0F, 3.5F, -0.5F}, 6.0F},
        {"ones vanish beside a large first", {16777216.0F, 1.0F, 1.0F}, 16777216.0F},
        {"but count before a large last", {1.0F, 1.0F, 16777216.0F}, 16777218.0F},
        {"beyond the largest", {FLT_MAX, FLT_MAX}, infinite},
    };
    for (const auto &row : rows)
        EXPECT_EQ(vantum_sum(row.values.data(), length(row.values)), row.sum) << row.name;
}

TEST(Math, LeastAndGreatestStayWithinAThousandMillion)
{
    const float limit = 1000000000.0F;
    const struct {
        const char *name;
        floats values;
        float least;
        float greatest;
    } rows[] = {
        {"nothing", {}, limit, -limit},
        {"one", {7.0F}, 7.0F, 7.0F},
        {"least first", {-3.0F, 0.0F, 4.0F}, -3.0F, 4.0F},
        {"least last", {4.0F, 0.0F, -3.0F}, -3.0F, 4.0F},
        {"equal ones", {2.0F, 2.0F}, 2.0F, 2.0F},
        {"negative ones", {-90.0F, -40.0F}, -90.0F, -40.0F},
        {"all above", {2e9F, 3e9F}, limit, 3e9F},
        {"all below", {-3e9F, -2e9F}, -3e9F, -limit},
        {"on the limits", {limit, -limit}, -limit, limit},
        {"not-a-number counts as neither", {nan_value, 1.0F, nan_value, 2.0F}, 1.0F, 2.0F},
        {"only not-a-number", {nan_value}, limit, -limit},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(vantum_min(row.values.data(), length(row.values)), row.least) << row.name;
        EXPECT_EQ(vantum_max(row.values.data(), length(row.values)), row.greatest) << row.name;
    }
}

TEST(Math, GreatestOfBytesStartsWithTheFirstEvenOfNone)
{
    const struct {
        const char *name;
        std::vector<uint8_t> values;
        int count;
        uint8_t greatest;
    } rows[] = {
        {"one", {0}, 1, 0},
        {"first", {255, 3, 254}, 3, 255},
        {"middle", {1, 200, 100}, 3, 200},
        {"last", {0, 127, 128}, 3, 128},
        {"no more than the length is looked at", {1, 2, 3}, 2, 2},
        {"the first element of no elements", {9, 10}, 0, 9},
    };
    for (const auto &row : rows)
        EXPECT_EQ(vantum_max_uint8(row.values.data(), row.count), row.greatest) << row.name;
}

// ---- Mean and deviation ----

TEST(Math, MeanAndDeviationOfThePopulation)
{
    const struct {
        const char *name;
        floats values;
        float mean;
        float deviation;
    } rows[] = {
        {"the whole population, not a sample of it", {2, 4, 4, 4, 5, 5, 7, 9}, 5.0F, 2.0F},
        {"one", {-4.0F}, -4.0F, 0.0F},
        {"equal ones", {1.5F, 1.5F, 1.5F}, 1.5F, 0.0F},
        {"negative ones", {-60.0F, -70.0F}, -65.0F, 5.0F},
        {"around zero", {-1.0F, 1.0F}, 0.0F, 1.0F},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(vantum_mean(row.values.data(), length(row.values)), row.mean) << row.name;
        EXPECT_EQ(vantum_std(row.values.data(), length(row.values)), row.deviation) << row.name;
    }
}

TEST(Math, MeanAndDeviationOfNothingAreNotANumber)
{
    EXPECT_TRUE(std::isnan(vantum_mean(nullptr, 0)));
    EXPECT_TRUE(std::isnan(vantum_std(nullptr, 0)));
}

// The squares are taken in double precision: in single precision these would overflow.
TEST(Math, SquareBeyondSinglePrecisionIsInfiniteOnlyInTheSum)
{
    EXPECT_EQ(vantum_std(floats{1e15F, -1e15F}.data(), 2), 1e15F);
    EXPECT_EQ(vantum_std(floats{1e20F, -1e20F}.data(), 2), infinite);
}

TEST(Math, MeanAndDeviationAgreeToTheBitWithTheFormulas)
{
    std::mt19937 random(4701);
    for (int run = 0; run < 10000; run++) {
        const floats values = random_values(random);
        ASSERT_EQ(bits(vantum_mean(values.data(), length(values))), bits(plain_mean(values))) << "run " << run;
        ASSERT_EQ(bits(vantum_std(values.data(), length(values))), bits(plain_std(values))) << "run " << run;
    }
}

// ---- Percentile ----

TEST(Math, PercentileInterpolatesBetweenTheNearestRanks)
{
    const floats four = {1, 2, 3, 4};
    const floats five = {10, 20, 30, 40, 50};
    const struct {
        const char *name;
        floats values;
        float percentile;
        float result;
    } rows[] = {
        {"median between two", four, 0.5F, 2.5F},
        {"least", four, 0.0F, 1.0F},
        {"greatest", four, 1.0F, 4.0F},
        {"third quarter", four, 0.75F, 3.25F},
        {"median on one", five, 0.5F, 30.0F},
        {"a quarter on one", five, 0.25F, 20.0F},
        {"between second and third", five, 0.375F, 25.0F},
        {"between the last two", five, 0.875F, 45.0F},
        {"one element, least", {7}, 0.0F, 7.0F},
        {"one element, median", {7}, 0.5F, 7.0F},
        {"one element, greatest", {7}, 1.0F, 7.0F},
        {"two elements, greatest", {7, 9}, 1.0F, 9.0F},
        {"negative ones", {-90, -80, -70, -60}, 0.5F, -75.0F},
    };
    for (const auto &row : rows)
        EXPECT_EQ(vantum_percentile(row.values.data(), length(row.values), row.percentile), row.result) << row.name;
}

TEST(Math, PercentileInTheFirstIntervalIsTheFirstElementWhichIsKept)
{
    const floats four = {1, 2, 3, 4};
    EXPECT_EQ(vantum_percentile(four.data(), 4, 0.25F), 1.0F); // rank 1.75
    EXPECT_EQ(vantum_percentile(four.data(), 4, 0.33F), 1.0F); // rank 1.99
    EXPECT_EQ(vantum_percentile(four.data(), 4, 0.375F), 2.125F);
    const floats two = {7, 9};
    EXPECT_EQ(vantum_percentile(two.data(), 2, 0.5F), 7.0F);
    EXPECT_EQ(vantum_percentile(two.data(), 2, 0.99F), 7.0F);
}

TEST(Math, PercentileWithoutARankIsZero)
{
    const floats four = {1, 2, 3, 4};
    EXPECT_EQ(bits(vantum_percentile(nullptr, 0, 0.5F)), bits(0.0F));
    EXPECT_EQ(bits(vantum_percentile(nullptr, 0, 1.0F)), bits(0.0F));
    EXPECT_EQ(bits(vantum_percentile(nullptr, -1, 0.5F)), bits(0.0F));
    EXPECT_EQ(bits(vantum_percentile(nullptr, INT_MIN, 0.5F)), bits(0.0F));
    EXPECT_EQ(bits(vantum_percentile(four.data(), 4, -0.01F)), bits(0.0F));
    EXPECT_EQ(bits(vantum_percentile(four.data(), 4, -1000.0F)), bits(0.0F));
}

TEST(Math, PercentileBeyondTheLastRankIsTheLastElement)
{
    const floats four = {1, 2, 3, 4};
    for (const float percentile : {1.01F, 1.34F, 2.0F, 50.0F, 1e6F})
        EXPECT_EQ(vantum_percentile(four.data(), 4, percentile), 4.0F) << percentile;
}

TEST(Math, PercentileWhoseRankNoIntHoldsIsTheLastElement)
{
    const floats four = {1, 2, 3, 4};
    for (const float percentile : {1e9F, 1e10F, FLT_MAX, infinite})
        EXPECT_EQ(vantum_percentile(four.data(), 4, percentile), 4.0F) << percentile;
}

TEST(Math, PercentileAgreesToTheBitWithTheFormula)
{
    std::mt19937 random(4702);
    for (int run = 0; run < 10000; run++) {
        floats values = random_values(random);
        std::sort(values.begin(), values.end());
        for (int i = 0; i < 4; i++) {
            const float percentile = static_cast<float>(random() % 10001) / 10000.0F;
            ASSERT_EQ(bits(vantum_percentile(values.data(), length(values), percentile)),
                      bits(plain_percentile(values, percentile)))
                << "run " << run << ", " << values.size() << " values at " << percentile;
        }
        for (const float percentile : {0.0F, 0.05F, 0.25F, 0.5F, 0.75F, 0.95F, 1.0F})
            ASSERT_EQ(bits(vantum_percentile(values.data(), length(values), percentile)),
                      bits(plain_percentile(values, percentile)))
                << "run " << run << ", " << values.size() << " values at " << percentile;
    }
}

// ---- Comparison and arrays ----

TEST(Math, ComparisonCountsNotANumberAsGreater)
{
    const struct {
        const char *name;
        float a;
        float b;
        int result;
    } rows[] = {
        {"less", 1.0F, 2.0F, -1},
        {"greater", 2.0F, 1.0F, 1},
        {"equal", 2.0F, 2.0F, 0},
        {"zeroes of either sign are equal", -0.0F, 0.0F, 0},
        {"closer than one whole", 1.25F, 1.5F, -1},
        {"farther than an int", -3e30F, 3e30F, -1},
        {"infinite", infinite, FLT_MAX, 1},
        {"equally infinite", infinite, infinite, 0},
        {"not-a-number first", nan_value, 1.0F, 1},
        {"not-a-number second", 1.0F, nan_value, 1},
        {"both not-a-number", nan_value, nan_value, 1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(vantum_compare_float(&row.a, &row.b), row.result) << row.name;
}

TEST(Math, ComparisonSortsInAscendingOrder)
{
    std::mt19937 random(4703);
    for (int run = 0; run < 200; run++) {
        floats values = random_values(random);
        floats sorted = values;
        std::sort(sorted.begin(), sorted.end());
        qsort(values.data(), values.size(), sizeof(float), vantum_compare_float);
        ASSERT_EQ(values, sorted) << "run " << run;
    }
}

TEST(Math, ArrayHoldsAsManyFloatsAsAskedFor)
{
    float *array = vantum_create_float_array(1000);
    ASSERT_NE(array, nullptr);
    for (int i = 0; i < 1000; i++)
        array[i] = static_cast<float>(i);
    EXPECT_EQ(vantum_max(array, 1000), 999.0F);
    vantum_destroy_float_array(array);

    vantum_destroy_float_array(vantum_create_float_array(0));
}

TEST(Math, NoArrayForANegativeSize)
{
    EXPECT_EQ(vantum_create_float_array(-1), nullptr);
    EXPECT_EQ(vantum_create_float_array(INT_MIN), nullptr);
    vantum_destroy_float_array(nullptr);
}

} // namespace
