// Windowing stage of the polyphase synthesis: the packed window table, the
// 24-bit clamp, the history move, and the whole synthesis (DCT stage plus
// window) against a direct implementation of the ISO/IEC 11172-3 synthesis.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "decoder/polyphase_synthesis.h"
#include "decoder/tables/synthesis_tables.h"
#include "kernels/subband_window.h"

namespace mp3d {
namespace {

int32_t high_half(int32_t w) {
    return w >> 16;
}
int32_t low_half(int32_t w) {
    return static_cast<int16_t>(w);
}

// The shared data directory; MP3D_SHARED_DIR in the environment overrides the
// build's default (useful when the tree is not beside it).
std::string shared_dir() {
    const char *env = std::getenv("MP3D_SHARED_DIR");
    return env ? env : MP3D_SHARED_DIR;
}

// D[i] * 2^16 from the standard's window table; empty if not available.
std::vector<int32_t> load_window() {
    std::ifstream in(shared_dir() + "/reference-data/synthesis_window.txt");
    std::vector<int32_t> d;
    if (!in) return d;
    d.assign(512, 0);
    std::string line;
    int count = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int i = -1;
        int32_t v = 0;
        fields >> i >> v;
        if (i < 0 || i >= 512) return {};
        d[i] = v;
        ++count;
    }
    if (count != 512) return {};
    return d;
}

TEST(SynthesisWindow, TableLayout) {
    // Output 0, tap 0: D[0] = 0 even-age, -D[32] = 29 odd-age.
    EXPECT_EQ(high_half(window_lf[0]), 0);
    EXPECT_EQ(low_half(window_lf[0]), 29);
    // Output 0, tap 4 even-age: D[256] = 75038 * 2^-16 as an exact product in
    // units of 2^-30. Other builds of this table store 1229422588 here, 4
    // units less; this one keeps the exact product everywhere.
    EXPECT_EQ(window_lf[5], 75038 * 16384);
    EXPECT_EQ(window_lf[5] - 1229422588, 4);
    // Output 16, tap 3 (D[240] = -64019 * 2^-16) in the low half of word 311.
    EXPECT_EQ(low_half(window_lf[311]), -16005);
    EXPECT_EQ(low_half(window_lf[311]) * 65536 + 16384, -64019 * 16384);
    for (int i = 314; i < 318; ++i) EXPECT_EQ(window_lf[i], 0);

    EXPECT_EQ(dct32_II_coeff[0], 2144896910);
    EXPECT_EQ(dct32_II_coeff[23], 210490206);
    EXPECT_EQ(dct8_II_coeff[9], 1518500250);  // 1/sqrt(2)
}

TEST(SynthesisWindow, ZeroHistoryGivesZeroOutput) {
    std::vector<int32_t> synthesis(768, 0), pcm(288, -7);
    MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
    EXPECT_EQ(pcm, std::vector<int32_t>(288, 0));
    EXPECT_EQ(synthesis, std::vector<int32_t>(768, 0));
}

// A single history value in even-bank upper row 1, column 4 feeds only
// outputs 1 and 31 of slot 8 through tap 4 (D[257] = 74992, -D[287] =
// -39336 in units of 2^-16), and outputs 1 and 31 of the even slots 0..6.
TEST(SynthesisWindow, ClampsToTwentyFourBits) {
    std::vector<int32_t> synthesis(768, 0), pcm(288);
    const int word = kSynthesisEvenUpper + 12 * 1 + 4;
    const int32_t *slot8 = pcm.data() + 32 * 8;

    synthesis[word] = 1 << 20;
    MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
    EXPECT_EQ(slot8[1], 74992 * 2);  // (2^20 * D) / 8
    EXPECT_EQ(slot8[31], -39336 * 2);

    for (int32_t v : {1 << 28, 1 << 30, -(1 << 28), -(1 << 30)}) {
        std::fill(synthesis.begin(), synthesis.end(), 0);
        synthesis[word] = v;
        MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
        EXPECT_EQ(slot8[1], v > 0 ? 8388607 : -8388608) << v;
        EXPECT_EQ(slot8[31], v > 0 ? -8388608 : 8388607) << v;
        for (int32_t s : pcm) {
            EXPECT_LE(s, 8388607);
            EXPECT_GE(s, -8388608);
        }
    }
}

TEST(SynthesisWindow, HistoryMove) {
    std::vector<int32_t> synthesis(768), pcm(288);
    for (int i = 0; i < 768; ++i) synthesis[i] = i;
    const auto old = synthesis;
    MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
    for (int part = 0; part < 2; ++part) {
        const int odd = part ? kSynthesisOddLower : kSynthesisOddUpper;
        const int even = part ? kSynthesisEvenLower : kSynthesisEvenUpper;
        for (int row = 0; row < 16; ++row) {
            const int o = odd + 12 * row, e = even + 12 * row;
            for (int c = 0; c < 12; ++c) {
                EXPECT_EQ(synthesis[o + c], c >= 4 ? old[e + c - 4] : old[o + c]) << part << row;
                EXPECT_EQ(synthesis[e + c], c >= 5 ? old[o + c - 5] : old[e + c]) << part << row;
            }
        }
    }
}

// Direct double-precision synthesis of ISO/IEC 11172-3 (Annex A, Figure
// A.2): the 1024-value V FIFO, the 512-value U vector, the window D.
class ReferenceSynthesis {
  public:
    explicit ReferenceSynthesis(const std::vector<int32_t> &d_int) : v_(1024, 0.0), d_(512) {
        for (int i = 0; i < 512; ++i) d_[i] = d_int[i] / 65536.0;
        for (int i = 0; i < 64; ++i) {
            for (int k = 0; k < 32; ++k) n_[i][k] = std::cos((16 + i) * (2 * k + 1) * M_PI / 64.0);
        }
    }
    // s: the 32 subband samples of one slot; out: 32 samples.
    void slot(const double *s, double *out) {
        for (int i = 1023; i >= 64; --i) v_[i] = v_[i - 64];
        for (int i = 0; i < 64; ++i) {
            double sum = 0.0;
            for (int k = 0; k < 32; ++k) sum += n_[i][k] * s[k];
            v_[i] = sum;
        }
        double w[512];
        for (int i = 0; i < 8; ++i) {
            for (int j = 0; j < 32; ++j) {
                w[64 * i + j] = v_[128 * i + j] * d_[64 * i + j];
                w[64 * i + 32 + j] = v_[128 * i + 96 + j] * d_[64 * i + 32 + j];
            }
        }
        for (int j = 0; j < 32; ++j) {
            out[j] = 0.0;
            for (int i = 0; i < 16; ++i) out[j] += w[j + 32 * i];
        }
    }

  private:
    std::vector<double> v_;
    std::vector<double> d_;
    double n_[64][32];
};

struct Comparison {
    double max_err = 0.0;
    double sum_sq = 0.0;
    long compared = 0;
    int clamped = 0;
    bool ok = true;
    std::string first_failure;
};

// Granules of random Q26 subband samples, both halves, against the standard
// synthesis on the same values (with the Layer III frequency inversion of the
// odd subbands of odd slots). Each PCM sample must be the standard's output
// S / 8 (S = 1.0 -> 2^23) within `tolerance`, or exactly the clamp where S / 8
// is clearly out of the 24-bit range. With exact_dct the history is filled by
// the test with the rounded exact DCT of each slot instead of the DCT stage,
// which isolates the error of the window stage.
Comparison compare_with_standard(const std::vector<int32_t> &d_int, bool exact_dct,
                                 double tolerance) {
    Comparison c;
    std::mt19937 rng(2024);
    for (int32_t amplitude : {1 << 16, 1 << 22, 1 << 24, 1 << 25}) {
        ReferenceSynthesis ref(d_int);
        std::vector<int32_t> synthesis(768, 0), pcm(288);
        std::uniform_int_distribution<int32_t> dist(-amplitude, amplitude);
        for (int granule = 0; granule < 12; ++granule) {
            std::vector<int32_t> samples(576);
            for (auto &v : samples) v = dist(rng);
            // Sparse granules exercise single subbands.
            if (granule % 4 == 3) {
                for (int i = 0; i < 576; ++i) {
                    if ((i / 18) % 7 != granule % 7) samples[i] = 0;
                }
            }
            for (int half = 0; half < 2; ++half) {
                double expected[288];
                for (int k = 0; k < 9; ++k) {
                    const int t = 9 * half + k;
                    double s[32];
                    for (int sb = 0; sb < 32; ++sb) {
                        s[sb] = ((t & 1) && (sb & 1) ? -1.0 : 1.0) * samples[18 * sb + t];
                    }
                    ref.slot(s, expected + 32 * k);
                    if (exact_dct) {
                        const bool even = (k % 2) == 0;
                        const int col = even ? 4 - k / 2 : 3 - (k - 1) / 2;
                        int32_t *upper = synthesis.data() + col +
                                         (even ? kSynthesisEvenUpper : kSynthesisOddUpper);
                        int32_t *lower = synthesis.data() + col +
                                         (even ? kSynthesisEvenLower : kSynthesisOddLower);
                        for (int r = 0; r < 16; ++r) {
                            double x16 = 0.0, x15 = 0.0;
                            for (int n = 0; n < 32; ++n) {
                                x16 += s[n] * std::cos((2 * n + 1) * (16 + r) * M_PI / 64.0);
                                x15 += s[n] * std::cos((2 * n + 1) * (15 - r) * M_PI / 64.0);
                            }
                            upper[12 * r] = static_cast<int32_t>(std::lround(x16));
                            lower[12 * r] = static_cast<int32_t>(std::lround(-x15));
                        }
                    }
                }
                if (!exact_dct) MP3D_subband_dct9(samples.data(), half, synthesis.data());
                MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
                for (int i = 0; i < 288; ++i) {
                    const double want = expected[i] / 8.0;
                    const int32_t got = pcm[i];
                    bool good;
                    if (want >= 8388607.0 + tolerance) {
                        ++c.clamped;
                        good = got == 8388607;
                    } else if (want <= -8388608.0 - tolerance) {
                        ++c.clamped;
                        good = got == -8388608;
                    } else {
                        const double err =
                            std::fabs(got - std::min(8388607.0, std::max(-8388608.0, want)));
                        c.max_err = std::max(c.max_err, err);
                        c.sum_sq += err * err;
                        ++c.compared;
                        good = err <= tolerance;
                    }
                    if (!good && c.ok) {
                        c.ok = false;
                        c.first_failure = "amplitude " + std::to_string(amplitude) + " granule " +
                                          std::to_string(granule) + " slot " +
                                          std::to_string(9 * half + i / 32) + " output " +
                                          std::to_string(i % 32) + ": got " + std::to_string(got) +
                                          ", standard " + std::to_string(want);
                    }
                }
            }
        }
    }
    return c;
}

// The window stage alone, on exactly rounded DCT values: only the rounding of
// the window products and of the final shift remain.
TEST(SynthesisWindow, WindowMatchesStandardOnExactHistory) {
    const auto d_int = load_window();
    if (d_int.empty()) GTEST_SKIP() << "reference data not found under " << shared_dir();
    const Comparison c = compare_with_standard(d_int, true, 4.0);
    EXPECT_TRUE(c.ok) << c.first_failure;
    EXPECT_GT(c.clamped, 0);  // the largest amplitude drives samples out of range
    EXPECT_LT(std::sqrt(c.sum_sq / c.compared), 2.0);
    std::printf("window stage vs standard: max %.3f, rms %.3f units of 2^-23, %d clamped\n",
                c.max_err, std::sqrt(c.sum_sq / c.compared), c.clamped);
}

// The whole synthesis. The DCT's recursive recombination and its products on
// small cosines amplify the rounding of single products (see the DCT tests),
// which dominates the error here.
TEST(SynthesisWindow, MatchesStandardSynthesis) {
    const auto d_int = load_window();
    if (d_int.empty()) GTEST_SKIP() << "reference data not found under " << shared_dir();
    const Comparison c = compare_with_standard(d_int, false, 32.0);
    EXPECT_TRUE(c.ok) << c.first_failure;
    EXPECT_GT(c.clamped, 0);
    EXPECT_LT(std::sqrt(c.sum_sq / c.compared), 4.0);
    std::printf("synthesis vs standard: max %.3f, rms %.3f units of 2^-23, %d clamped\n", c.max_err,
                std::sqrt(c.sum_sq / c.compared), c.clamped);
}

}  // namespace
}  // namespace mp3d
