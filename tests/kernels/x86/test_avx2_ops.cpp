// The AVX2 arithmetic record gives exactly the portable record's results in
// every lane, member for member, on extreme and random operands; the kernels
// built on it are compared with the portable set in
// tests/kernels/test_kernel_set.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kernels/portable_ops.h"
#include "support/arithmetic_record_probe.h"

using namespace mp3d;
using namespace mp3d::test;

TEST(ArithmeticRecords, Avx2MatchesPortableInEveryLane) {
#if !defined(MP3D_HAVE_X86_KERNELS)
    GTEST_SKIP() << "no AVX2 kernels in this build";
#else
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "the processor has no AVX2";
    const std::vector<int32_t> v = record_operands();
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
