// The DCT stage of the polyphase synthesis: the 32-point kernel against a
// direct cosine sum, the frequency inversion, and the slot schedule of a half
// granule in the history buffer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "decoder/polyphase_synthesis.h"
#include "decoder/tables/synthesis_tables.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"

namespace mp3d {
namespace {

constexpr int32_t kSentinel = 0x5A5A5A5A;

// X[j] = sum_n x'[n] cos((2n + 1) j pi / 64) of slot t of a granule, with the
// odd subbands negated at odd parity.
std::vector<double> reference_dct(const int32_t *slot, int parity) {
    std::vector<double> X(32, 0.0);
    for (int j = 0; j < 32; ++j) {
        for (int n = 0; n < 32; ++n) {
            const double x = (parity && (n & 1)) ? -double(slot[18 * n]) : double(slot[18 * n]);
            X[j] += x * std::cos((2 * n + 1) * j * M_PI / 64.0);
        }
    }
    return X;
}

// Runs the kernel into a private buffer and returns X[0..31] as stored.
std::vector<int32_t> run_dct(const int32_t *slot, int parity) {
    std::vector<int32_t> buf(2 * 192, kSentinel);
    MP3D_subband_fastdct32(slot, parity, buf.data() + 5, buf.data() + 192 + 5, dct8_II_coeff,
                           dct32_II_coeff);
    std::vector<int32_t> X(32);
    for (int r = 0; r < 16; ++r) {
        X[16 + r] = buf[12 * r + 5];
        X[15 - r] = int32_t(0u - uint32_t(buf[192 + 12 * r + 5]));  // wrapping
    }
    return X;
}

std::vector<int32_t> random_granule(std::mt19937 &rng, int32_t amplitude) {
    std::uniform_int_distribution<int32_t> dist(-amplitude, amplitude);
    std::vector<int32_t> g(576);
    for (auto &v : g) v = dist(rng);
    return g;
}

// Rounding noise of the fixed-point DCT, in units of the input. The 8-point
// rotations keep two bits less than a word (their results are quadrupled), and
// the recursive recombination X[2m + 1] = 2 Y[m] - X[2m - 1] together with the
// first-fold products on small cosines (cos(31 pi / 64) ~ 0.025) amplify the
// rounding of single products: over many random slots the odd outputs reach
// about 115 units (rms up to 30), whatever the amplitude. A wrong coefficient
// or index gives errors in proportion to the amplitude instead.
constexpr double kDctNoise = 160.0;

TEST(SubbandDct, BothParitiesMatchCosineSum) {
    std::mt19937 rng(1234);
    double max_err = 0.0, sum_sq = 0.0;
    long count = 0;
    for (int32_t amplitude : {1 << 10, 1 << 20, 1 << 26}) {
        for (int trial = 0; trial < 200; ++trial) {
            const auto g = random_granule(rng, amplitude);
            for (int parity = 0; parity < 2; ++parity) {
                const auto X = run_dct(g.data() + trial % 18, parity);
                const auto R = reference_dct(g.data() + trial % 18, parity);
                for (int j = 0; j < 32; ++j) {
                    const double err = std::fabs(X[j] - R[j]);
                    max_err = std::max(max_err, err);
                    sum_sq += err * err;
                    ++count;
                    ASSERT_LE(err, kDctNoise)
                        << "amplitude " << amplitude << " parity " << parity << " j " << j;
                }
            }
        }
    }
    EXPECT_LT(std::sqrt(sum_sq / count), 20.0);
    std::printf("DCT vs cosine sum: max %.2f, rms %.2f units\n", max_err,
                std::sqrt(sum_sq / count));
}

TEST(SubbandDct, SingleSubbandInputs) {
    std::vector<int32_t> g(576, 0);
    for (int32_t a : {1 << 26, -(1 << 26), 123456789, -1}) {
        // Subband 0 is never negated: X[j] = a cos(j pi / 64) for both parities,
        // within the rounding noise that the recombination accumulates (up to
        // about 41 units seen for these values).
        g[0] = a;
        for (int parity = 0; parity < 2; ++parity) {
            const auto X = run_dct(g.data(), parity);
            for (int j = 0; j < 32; ++j) {
                EXPECT_NEAR(X[j], a * std::cos(j * M_PI / 64.0), 64.0) << j;
            }
        }
        g[0] = 0;
        // Subband 1 alone: the inverting form equals the plain form of -a.
        g[18] = a;
        const auto inverted = run_dct(g.data(), 1);
        g[18] = -a;
        EXPECT_EQ(inverted, run_dct(g.data(), 0));
        g[18] = 0;
    }
}

TEST(SubbandDct, InvertingFormEqualsPlainFormOfNegatedOddSubbands) {
    std::mt19937 rng(77);
    for (int trial = 0; trial < 500; ++trial) {
        auto g = random_granule(rng, trial % 2 ? (1 << 26) : 0x7FFFFFFF);
        const auto inverted = run_dct(g.data(), 1);
        for (int sb = 1; sb < 32; sb += 2) g[18 * sb] = int32_t(0u - uint32_t(g[18 * sb]));
        ASSERT_EQ(inverted, run_dct(g.data(), 0)) << trial;
    }
}

TEST(SubbandDct, ZeroInputGivesZeros) {
    std::vector<int32_t> g(576, 0);
    for (int parity = 0; parity < 2; ++parity) {
        EXPECT_EQ(run_dct(g.data(), parity), std::vector<int32_t>(32, 0));
    }
}

TEST(SubbandDct, KernelWritesOnlyItsTwoColumns) {
    std::mt19937 rng(5);
    const auto g = random_granule(rng, 1 << 26);
    std::vector<int32_t> buf(768, kSentinel);
    MP3D_subband_fastdct32(g.data() + 3, 1, buf.data() + kSynthesisOddUpper + 7,
                           buf.data() + kSynthesisOddLower + 7, dct8_II_coeff, dct32_II_coeff);
    int written = 0;
    for (int i = 0; i < 768; ++i) {
        const int quadrant = i / 192, col = i % 12;
        const bool target = (quadrant == 0 || quadrant == 2) && col == 7;
        if (target) {
            ++written;
        } else {
            EXPECT_EQ(buf[i], kSentinel) << i;
        }
    }
    EXPECT_EQ(written, 32);
}

// Each slot k of a half lands in the scheduled bank and column with the
// parity of its granule index; no other word of the history changes.
TEST(SubbandDct, HalfGranuleSchedule) {
    std::mt19937 rng(99);
    const auto g = random_granule(rng, 1 << 26);
    for (int half = 0; half < 2; ++half) {
        std::vector<int32_t> buf(768, kSentinel);
        MP3D_subband_dct9(g.data(), half, buf.data());
        std::vector<bool> expected_written(768, false);
        for (int k = 0; k < 9; ++k) {
            const int t = 9 * half + k;
            const bool even = (k % 2) == 0;
            const int col = even ? 4 - k / 2 : 3 - (k - 1) / 2;
            const int upper = (even ? kSynthesisEvenUpper : kSynthesisOddUpper) + col;
            const int lower = (even ? kSynthesisEvenLower : kSynthesisOddLower) + col;
            const auto R = reference_dct(g.data() + t, t % 2);
            const auto X = run_dct(g.data() + t, t % 2);
            for (int r = 0; r < 16; ++r) {
                expected_written[upper + 12 * r] = expected_written[lower + 12 * r] = true;
                EXPECT_EQ(buf[upper + 12 * r], X[16 + r]) << "half " << half << " k " << k;
                EXPECT_EQ(buf[lower + 12 * r], -X[15 - r]) << "half " << half << " k " << k;
                EXPECT_NEAR(buf[upper + 12 * r], R[16 + r], kDctNoise);
                EXPECT_NEAR(buf[lower + 12 * r], -R[15 - r], kDctNoise);
            }
        }
        for (int i = 0; i < 768; ++i) {
            if (!expected_written[i]) {
                EXPECT_EQ(buf[i], kSentinel) << "half " << half << " " << i;
            }
        }
    }
}

}  // namespace
}  // namespace mp3d
