// The fixed-point helpers against 64-bit reference arithmetic and at their edges.
#include <gtest/gtest.h>

#include <random>

#include "kernels/fixed_point.h"

using namespace mp3d;

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
    EXPECT_EQ(mulhi_round(INT32_MIN, INT32_MIN), 1 << 30);
    // At an exact tie (a b = 2^31) the difference rounds up: not acc - mulhi_round(a, b).
    EXPECT_EQ(mulhi_round_add(10, 1 << 16, 1 << 15), 11);
    EXPECT_EQ(mulhi_round_sub(10, 1 << 16, 1 << 15), 10);
}

TEST(FixedPoint, WrapsAndShiftsAtTheEdges) {
    EXPECT_EQ(wrap_add(INT32_MAX, 1), INT32_MIN);
    EXPECT_EQ(wrap_sub(INT32_MIN, 1), INT32_MAX);
    EXPECT_EQ(wrap_neg(INT32_MIN), INT32_MIN);
    EXPECT_EQ(wrap_shl(0x40000000, 1), INT32_MIN);
    EXPECT_EQ(asr(-5, 1), -3);
    EXPECT_EQ(asr(-5, 40), -1);
    EXPECT_EQ(asr(5, 32), 0);
    EXPECT_EQ(shift_by(-12, -2), -3);
    EXPECT_EQ(shift_by(1, 32), 0);
    EXPECT_EQ(mul_q31(1 << 20, 0x40000000), 1 << 19);
    EXPECT_EQ(mul_w16(-1, 1), -1);                          // rounds toward minus infinity
    EXPECT_EQ(mul_shr31(INT32_MIN, INT32_MIN), INT32_MIN);  // 2^31 wraps
    EXPECT_EQ(saturate24(8388608), 8388607);
    EXPECT_EQ(saturate24(-8388609), -8388608);
    EXPECT_EQ(count_leading_zeros(0), 32);
    EXPECT_EQ(count_leading_zeros(64), 25);
}
