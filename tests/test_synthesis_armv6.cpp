// The ARMv6 instruction wrappers compute exactly the portable arithmetic they
// stand for, on extreme and random operands; the kernels built on them are
// compared with the portable set in test_kernel_sets.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "kernels/arm/armv6_ops.h"
#include "kernels/fixed_point.h"

using namespace mp3d;

TEST(SynthesisArmv6, InstructionsMatchPortableArithmetic) {
#if !defined(MP3D_HAVE_ARMV6_KERNELS)
    GTEST_SKIP() << "not an ARMv6 build with the DSP instructions";
#else
    const int32_t edge[] = {
        INT32_MIN, INT32_MIN + 1, -65536, -32768, -2,         -1,         0,        1,
        2,         32767,         32768,  65535,  0x40000000, 0x7fff8000, INT32_MAX};
    std::mt19937 rng(3);
    std::vector<int32_t> values(edge, edge + 15);
    for (int i = 0; i < 25; ++i) values.push_back(static_cast<int32_t>(rng()));
    for (int32_t a : values) {
        for (int32_t b : values) {
            for (int32_t acc : edge) {
                const int32_t lo = static_cast<int16_t>(b), hi = b >> 16;
                ASSERT_EQ(armv6::smulwb(a, b), mul_w16(a, lo)) << a << " " << b;
                ASSERT_EQ(armv6::smulwt(a, b), mul_w16(a, hi)) << a << " " << b;
                ASSERT_EQ(armv6::smlawb(acc, a, b), wrap_add(acc, mul_w16(a, lo)));
                ASSERT_EQ(armv6::smlawt(acc, a, b), wrap_add(acc, mul_w16(a, hi)));
                ASSERT_EQ(armv6::smmulr(a, b), mulhi_round(a, b)) << a << " " << b;
                ASSERT_EQ(armv6::smmlar(acc, a, b), mulhi_round_add(acc, a, b));
                ASSERT_EQ(armv6::smmlsr(acc, a, b), mulhi_round_sub(acc, a, b));
            }
        }
        ASSERT_EQ(armv6::ssat24_asr3(a), saturate24(a >> 3)) << a;
    }
#endif
}
