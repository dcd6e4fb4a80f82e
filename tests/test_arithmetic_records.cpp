// The arithmetic records of the instruction sets (ARMv6 instructions, AVX2
// lanes) give exactly the portable record's results, member for member, on
// extreme and random operands; the kernels built on them are compared with
// the portable set in test_kernel_sets.cpp.
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

namespace {

// Extremes, the edges of the 16-bit halves and of the 24-bit range, and
// random words.
std::vector<int32_t> operands() {
    std::vector<int32_t> v = {INT32_MIN,  INT32_MIN + 1,
                              -65536,     -32769,
                              -32768,     -2,
                              -1,         0,
                              1,          2,
                              32767,      32768,
                              65535,      0x40000000,
                              0x7fff8000, 0x3ffffff8,
                              -0x4000000, INT32_MAX};
    std::mt19937 rng(3);
    for (int i = 0; i < 22; ++i) v.push_back(static_cast<int32_t>(rng()));
    return v;
}

}  // namespace

TEST(ArithmeticRecords, Armv6MatchesPortable) {
#if !defined(MP3D_HAVE_ARMV6_KERNELS)
    GTEST_SKIP() << "not an ARMv6 build with the DSP instructions";
#else
    const std::vector<int32_t> v = operands();
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

TEST(ArithmeticRecords, Avx2MatchesPortableInEveryLane) {
#if !defined(MP3D_HAVE_X86_KERNELS)
    GTEST_SKIP() << "no AVX2 kernels in this build";
#else
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "the processor has no AVX2";
    const std::vector<int32_t> v = operands();
    // Eight different lanes per call: a slides over the operands, acc over
    // them in the other direction, so every lane position meets every value.
    for (size_t start = 0; start < v.size(); ++start) {
        int32_t a[8], acc[8];
        for (int l = 0; l < 8; ++l) {
            a[l] = v[(start + l) % v.size()];
            acc[l] = v[(v.size() - 1 - start + 3 * l) % v.size()];
        }
        for (int32_t c : v) {
            int32_t got[kRecordResults][8];
            ASSERT_TRUE(apply_avx2_record(a, acc, c, got));
            for (int l = 0; l < 8; ++l) {
                int32_t want[kRecordResults];
                apply_record<Portable_Ops>(a[l], acc[l], c, want);
                for (int i = 0; i < kRecordResults; ++i)
                    ASSERT_EQ(got[i][l], want[i]) << kRecordMembers[i] << " lane " << l << " a "
                                                  << a[l] << " acc " << acc[l] << " c " << c;
            }
        }
    }
#endif
}
