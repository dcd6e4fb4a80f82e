// The fixed-point helpers against 64-bit reference arithmetic and at their
// edges (the edges are evaluated at compile time, where any undefined
// behaviour is an error too).
#include <gtest/gtest.h>

#include <random>

#include "kernels/fixed_point.h"

using namespace mp3d;

static_assert(wrap_add(INT32_MAX, 1) == INT32_MIN && wrap_sub(INT32_MIN, 1) == INT32_MAX);
static_assert(wrap_neg(INT32_MIN) == INT32_MIN && wrap_shl(0x40000000, 1) == INT32_MIN);
static_assert(asr(-5, 1) == -3 && asr(-5, 40) == -1 && asr(5, 32) == 0);
static_assert(shift_by(-12, -2) == -3 && shift_by(3, 2) == 12 && shift_by(1, 32) == 0);
static_assert(mul_q31(1 << 20, 0x40000000) == 1 << 19 && mul_w16(-1, 1) == -1);  // floor
static_assert(mul_shr31(INT32_MIN, INT32_MIN) == INT32_MIN);                     // 2^31 wraps
static_assert(saturate24(8388608) == 8388607 && saturate24(-8388609) == -8388608);
static_assert(count_leading_zeros(0) == 32 && count_leading_zeros(64) == 25);
static_assert(mulhi_round(INT32_MIN, INT32_MIN) == 1 << 30);
// At an exact tie (a b = 2^31) the difference rounds up: not acc - mulhi_round(a, b).
static_assert(mulhi_round_add(10, 1 << 16, 1 << 15) == 11);
static_assert(mulhi_round_sub(10, 1 << 16, 1 << 15) == 10);

TEST(FixedPoint, RoundedProductsMatchWideArithmetic) {
    std::mt19937 rng(1);
    for (int i = 0; i < 100000; ++i) {
        const auto acc = static_cast<int32_t>(rng()), a = static_cast<int32_t>(rng()),
                   b = static_cast<int32_t>(rng());
        const int64_t p = int64_t{a} * b, half = int64_t{1} << 31;
        ASSERT_EQ(mulhi_round(a, b), static_cast<int32_t>((p + half) >> 32));
        ASSERT_EQ(mulhi_round_add(acc, a, b),
                  wrap_add(acc, static_cast<int32_t>((p + half) >> 32)));
        ASSERT_EQ(mulhi_round_sub(acc, a, b),
                  wrap_add(acc, static_cast<int32_t>((half - p) >> 32)));
    }
}
