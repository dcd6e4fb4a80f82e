// The DCT stage of the polyphase synthesis: the 32-point kernel against a
// direct cosine sum, the frequency inversion, and the slot schedule of a half
// granule in the history buffer.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "kernels/fixed_point.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

using namespace mp3d;

constexpr int32_t kSentinel = 0x5A5A5A5A;

// Rounding noise of the fixed-point DCT, in units of the input. The 8-point
// rotations keep two bits less than a word (their results are quadrupled), and
// the recursive recombination X[2m + 1] = 2 Y[m] - X[2m - 1] together with the
// first-fold products on small cosines (cos(31 pi / 64) ~ 0.025) amplify the
// rounding of single products: over many random slots the odd outputs reach
// about 115 units (rms up to 30), whatever the amplitude. A wrong coefficient
// or index gives errors in proportion to the amplitude instead.
constexpr double kDctNoise = 160.0;

// X[j] = sum_n x[n] cos((2n + 1) j pi / 64) over the subbands of one slot
// (stride 18), the odd subbands negated at odd parity.
static double cosine_sum(const int32_t *slot, int parity, int j) {
    double x = 0.0;
    for (int n = 0; n < 32; ++n)
        x += (parity & n & 1 ? -1.0 : 1.0) * slot[18 * n] * std::cos((2 * n + 1) * j * M_PI / 64);
    return x;
}

TEST(SubbandDct, HalfGranulesMatchCosineSum) {
    // Slot k of a half goes to the bank of its parity, column 4 - k/2 (even k)
    // or 3 - (k-1)/2 (odd k): upper rows X[16 + r], lower rows -X[15 - r],
    // with the frequency inversion of the slot's index 9 half + k. No other
    // word of the history changes.
    std::mt19937 rng(1234);
    double sum_sq = 0.0, count = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const int32_t amplitude = 1 << (10 + 8 * (trial % 3));
        std::uniform_int_distribution<int32_t> dist(-amplitude, amplitude);
        std::vector<int32_t> g(576), buf(768, kSentinel);
        for (auto &v : g) v = dist(rng);
        const int half = trial & 1;
        MP3D_subband_dct9(g.data(), half, buf.data());
        for (int k = 0; k < 9; ++k) {
            const int t = 9 * half + k, col = k % 2 == 0 ? 4 - k / 2 : 3 - (k - 1) / 2;
            int32_t *upper = &buf[(k % 2 == 0 ? kSynthesisEvenUpper : kSynthesisOddUpper) + col];
            int32_t *lower = &buf[(k % 2 == 0 ? kSynthesisEvenLower : kSynthesisOddLower) + col];
            for (int r = 0; r < 16; ++r) {
                for (const double e : {upper[12 * r] - cosine_sum(&g[t], t % 2, 16 + r),
                                       lower[12 * r] + cosine_sum(&g[t], t % 2, 15 - r)}) {
                    ASSERT_LE(std::fabs(e), kDctNoise) << "trial " << trial << " k " << k;
                    sum_sq += e * e;
                    ++count;
                }
                upper[12 * r] = lower[12 * r] = kSentinel;
            }
        }
        ASSERT_EQ(buf, std::vector<int32_t>(768, kSentinel)) << "trial " << trial;
    }
    EXPECT_LT(std::sqrt(sum_sq / count), 20.0);
}

TEST(SubbandDct, InvertingFormEqualsPlainFormOfNegatedOddSubbands) {
    // Bit for bit, also at full scale where the sums wrap.
    std::mt19937 rng(77);
    for (int trial = 0; trial < 500; ++trial) {
        std::vector<int32_t> g(576), a(384), b(384);
        for (auto &v : g) v = static_cast<int32_t>(rng()) >> (trial % 2 ? 5 : 0);
        MP3D_subband_fastdct32(g.data(), 1, &a[0], &a[192], dct8_II_coeff, dct32_II_coeff);
        for (int sb = 1; sb < 32; sb += 2) g[18 * sb] = wrap_neg(g[18 * sb]);
        MP3D_subband_fastdct32(g.data(), 0, &b[0], &b[192], dct8_II_coeff, dct32_II_coeff);
        ASSERT_EQ(a, b) << trial;
    }
}
