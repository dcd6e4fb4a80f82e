// The ARMv6 arithmetic record gives exactly the portable record's results,
// member for member, on extreme and random operands; the kernels built on it
// are compared with the portable set in tests/kernels/test_kernel_set.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "kernels/portable_ops.h"
#include "support/arithmetic_record_probe.h"
#if defined(MP3D_HAVE_ARMV6_KERNELS)
#include "kernels/arm/armv6_ops.h"
#endif

using namespace mp3d;
using namespace mp3d::test;

TEST(ArithmeticRecords, Armv6MatchesPortable) {
#if !defined(MP3D_HAVE_ARMV6_KERNELS)
    GTEST_SKIP() << "not an ARMv6 build with the DSP instructions";
#else
    const std::vector<int32_t> v = record_operands();
    for (int32_t a : v) {
        for (int32_t c : v) {
            for (int32_t acc : v) {
                int32_t want[kRecordResults], got[kRecordResults];
                apply_record<Portable_Ops>(a, acc, c, want);
                apply_record<Armv6_Ops>(a, acc, c, got);
                for (int i = 0; i < kRecordResults; ++i)
                    ASSERT_EQ(got[i], want[i])
                        << kRecordMembers[i] << " a " << a << " acc " << acc << " c " << c;
            }
        }
    }
#endif
}

// The clamp of the 16-bit output form: saturate16(a >> 11) is the 24-bit
// sample saturate24(a >> 3) shifted right by 8, for every word (the floor
// division by 2^8 maps the 24-bit bounds onto the 16-bit ones and keeps the
// order); and SSAT #16, ASR #11 gives it on ARMv6.
TEST(ArithmeticRecords, SixteenBitSampleIsTheShiftedTwentyFourBitOne) {
    std::vector<int32_t> v = record_operands();
    for (int64_t edge : {-(int64_t{1} << 26), int64_t{1} << 26, int64_t{0}}) {
        for (int d = -4096; d <= 4096; ++d) v.push_back(static_cast<int32_t>(edge + d));
    }
    std::mt19937 rng(16);
    for (int i = 0; i < 100000; ++i) v.push_back(static_cast<int32_t>(rng()));
    int high = 0, low = 0;
    for (int32_t a : v) {
        const int32_t want = Portable_Ops::pcm24(a) >> 8;
        ASSERT_EQ(Portable_Ops::pcm16(a), want) << a;
#if defined(MP3D_HAVE_ARMV6_KERNELS)
        ASSERT_EQ(Armv6_Ops::pcm16(a), want) << a;
#endif
        high += want == 32767;
        low += want == -32768;
    }
    EXPECT_GT(high, 1000);
    EXPECT_GT(low, 1000);
}

// load_pair reads the two words at an 8-byte aligned address in order and
// steps past them, in every record.
TEST(ArithmeticRecords, LoadPairReadsInOrder) {
    alignas(8) const int32_t words[6] = {INT32_MIN, 1, -2, INT32_MAX, 0x12345678, -0x789abcd};
    auto walk = [&](auto load) {
        const int32_t *p = words;
        for (int i = 0; i < 3; ++i) {
            int32_t a = 0, b = 0;
            load(p, a, b);
            ASSERT_EQ(p, words + 2 * i + 2);
            ASSERT_EQ(a, words[2 * i]);
            ASSERT_EQ(b, words[2 * i + 1]);
        }
    };
    walk([](const int32_t *&p, int32_t &a, int32_t &b) { Portable_Ops::load_pair(p, a, b); });
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    walk([](const int32_t *&p, int32_t &a, int32_t &b) { Armv6_Ops::load_pair(p, a, b); });
#endif
}
