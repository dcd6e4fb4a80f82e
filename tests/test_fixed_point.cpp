// The fixed-point helpers against 64-bit reference arithmetic.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "kernels/fixed_point.h"

namespace {

using namespace mp3d;

int64_t floor_div_2_32(int64_t v) {
    return v >> 32;
}  // arithmetic: floor

TEST(FixedPoint, MulhiRoundMatchesRoundedUpperWord) {
    std::mt19937 rng(1);
    for (int i = 0; i < 100000; ++i) {
        const auto a = static_cast<int32_t>(rng());
        const auto b = static_cast<int32_t>(rng());
        const int64_t p = static_cast<int64_t>(a) * b;
        EXPECT_EQ(mulhi_round(a, b), static_cast<int32_t>(floor_div_2_32(p + (int64_t{1} << 31))));
    }
    EXPECT_EQ(mulhi_round(INT32_MIN, INT32_MIN), 1 << 30);
}

TEST(FixedPoint, MulhiRoundAddSubRoundOnce) {
    // At an exact tie a*b = 2^31 (mod 2^32) the subtracting form rounds the
    // difference up, so it is not acc - mulhi_round(a, b).
    const int32_t a = 1 << 16, b = 1 << 15;  // a*b = 2^31
    EXPECT_EQ(mulhi_round(a, b), 1);
    EXPECT_EQ(mulhi_round_add(10, a, b), 11);
    EXPECT_EQ(mulhi_round_sub(10, a, b), 10);
    std::mt19937 rng(2);
    for (int i = 0; i < 100000; ++i) {
        const auto acc = static_cast<int32_t>(rng());
        const auto a2 = static_cast<int32_t>(rng());
        const auto b2 = static_cast<int32_t>(rng());
        EXPECT_EQ(mulhi_round_add(acc, a2, b2), wrap_add(acc, mulhi_round(a2, b2)));
    }
}

TEST(FixedPoint, WrappingAndShifts) {
    EXPECT_EQ(wrap_add(INT32_MAX, 1), INT32_MIN);
    EXPECT_EQ(wrap_sub(INT32_MIN, 1), INT32_MAX);
    EXPECT_EQ(wrap_neg(INT32_MIN), INT32_MIN);
    EXPECT_EQ(wrap_shl(0x40000000, 1), INT32_MIN);
    EXPECT_EQ(asr(-5, 1), -3);
    EXPECT_EQ(asr(-5, 40), -1);
    EXPECT_EQ(asr(5, 32), 0);
    EXPECT_EQ(shift_by(3, 2), 12);
    EXPECT_EQ(shift_by(-12, -2), -3);
    EXPECT_EQ(shift_by(1, 32), 0);
    EXPECT_EQ(mul_q31(1 << 20, 0x40000000), 1 << 19);
    EXPECT_EQ(mul_w16(-1, 1), -1);  // rounds toward minus infinity
    EXPECT_EQ(saturate24(8388608), 8388607);
    EXPECT_EQ(saturate24(-8388609), -8388608);
    EXPECT_EQ(count_leading_zeros(0), 32);
    EXPECT_EQ(count_leading_zeros(64), 25);
}

}  // namespace
