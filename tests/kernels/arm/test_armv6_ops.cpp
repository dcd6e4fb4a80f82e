// The ARMv6 arithmetic record gives exactly the portable record's results,
// member for member, on extreme and random operands; the kernels built on it
// are compared with the portable set in tests/kernels/test_kernel_set.cpp.
#include <gtest/gtest.h>

#include <cstdint>
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
