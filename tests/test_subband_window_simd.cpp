// The vector synthesis window kernels give exactly the portable kernel's
// output, on random histories and on extreme values that wrap and saturate.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "decoder/tables/synthesis_tables.h"
#include "kernels/subband_window.h"
#ifdef MP3D_SIMD_AVX2
#include "kernels/simd/subband_window_simd.h"
#endif

using namespace mp3d;

namespace {

TEST(SubbandWindowSimd, Avx2MatchesPortable) {
#ifndef MP3D_SIMD_AVX2
    GTEST_SKIP() << "built without the AVX2 kernels (MP3D_SIMD=avx2)";
#else
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "this processor lacks AVX2";
    std::mt19937 rng(42);
    const int32_t extremes[] = {INT32_MIN, INT32_MAX, -1, 0, 1, 1 << 30, -(1 << 30)};
    for (int round = 0; round < 400; ++round) {
        std::vector<int32_t> history(768);
        for (int32_t &v : history) {
            const uint32_t r = rng();
            // Mostly audio-sized values, some full-range and extreme ones.
            v = round % 4 == 3 ? extremes[r % 7]
                               : static_cast<int32_t>(r) >> (round % 4 == 2 ? 0 : 4 + r % 8);
        }
        // Both banks as the polyphase window passes them.
        const int starts[2][2] = {{kSynthesisOddUpper + 3, kSynthesisEvenLower + 4},
                                  {kSynthesisEvenUpper + 4, kSynthesisOddLower + 4}};
        for (const auto &s : starts) {
            std::vector<int32_t> portable(256, 0x5a5a5a5a), vector(256, 0x5a5a5a5a);
            mp3d::MP3D_subband_window(history.data() + s[0], history.data() + s[1], mp3d::window_lf,
                                      portable.data());
            mp3d::MP3D_subband_window_avx2(history.data() + s[0], history.data() + s[1],
                                           mp3d::window_lf, vector.data());
            ASSERT_EQ(portable, vector) << "round " << round;
        }
    }
#endif
}

}  // namespace
