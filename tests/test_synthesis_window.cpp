// Windowing stage of the polyphase synthesis: the 24-bit clamp, and the whole
// synthesis (DCT stage, window, history move) against a direct implementation
// of the ISO/IEC 11172-3 synthesis.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

// D[i] * 2^16 from the standard's window table; empty if not available.
std::vector<int32_t> load_window() {
    std::ifstream in(MP3D_SHARED_DIR "/reference-data/synthesis_window.txt");
    std::vector<int32_t> d(512);
    int count = 0;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        int i = -1;
        if (line.empty() || line[0] == '#' || !(fields >> i) || i < 0 || i >= 512) continue;
        count += static_cast<bool>(fields >> d[i]);
    }
    return count == 512 ? d : std::vector<int32_t>{};
}

TEST(SynthesisWindow, ClampsToTwentyFourBits) {
    // One history value in even-bank upper row 1, column 4 feeds outputs 1 and
    // 31 of slot 8 through tap 4: D[257] = 74992, -D[287] = -39336 (2^-16 units).
    std::vector<int32_t> synthesis(768), pcm(288);
    for (int32_t v : {1 << 20, 1 << 28, 1 << 30, -(1 << 28), -(1 << 30)}) {
        std::fill(synthesis.begin(), synthesis.end(), 0);
        synthesis[kSynthesisEvenUpper + 12 * 1 + 4] = v;
        MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
        const int32_t top = v > 0 ? 8388607 : -8388608, bottom = -1 - top;
        EXPECT_EQ(pcm[32 * 8 + 1], v == 1 << 20 ? 74992 * 2 : top) << v;  // (2^20 D) / 8
        EXPECT_EQ(pcm[32 * 8 + 31], v == 1 << 20 ? -39336 * 2 : bottom) << v;
        EXPECT_TRUE(std::all_of(pcm.begin(), pcm.end(),
                                [](int32_t s) { return s >= -8388608 && s <= 8388607; }));
    }
}

// Granules of random Q26 subband samples through the DCT stage and the window,
// both halves, against the standard's synthesis (Annex A, Figure A.2: the
// 1024-value V FIFO, the window D) of the same values with the odd subbands of
// odd slots negated (the frequency inversion). Each sample is the standard's
// S / 8 (1.0 -> 2^23) within 32 units, or exactly the clamp where S / 8 is
// clearly out of range. The DCT's rounding dominates the error.
TEST(SynthesisWindow, MatchesStandardSynthesis) {
    const std::vector<int32_t> d = load_window();
    if (d.empty()) GTEST_SKIP() << "reference data not found under " MP3D_SHARED_DIR;
    std::mt19937 rng(2024);
    double sum_sq = 0.0;
    long compared = 0, clamped = 0;
    for (int32_t amplitude : {1 << 16, 1 << 22, 1 << 24, 1 << 25}) {
        std::vector<double> v(1024, 0.0);
        std::vector<int32_t> synthesis(768, 0), pcm(288), samples(576);
        std::uniform_int_distribution<int32_t> dist(-amplitude, amplitude);
        for (int granule = 0; granule < 12; ++granule) {
            // Every fourth granule holds a few subbands only.
            for (int i = 0; i < 576; ++i)
                samples[i] = granule % 4 == 3 && (i / 18) % 7 != granule % 7 ? 0 : dist(rng);
            for (int half = 0; half < 2; ++half) {
                MP3D_subband_dct9(samples.data(), half, synthesis.data());
                MP3D_polyphase_window(synthesis.data(), pcm.data(), window_lf);
                for (int k = 0, t = 9 * half; k < 9; ++k, ++t) {
                    std::rotate(v.rbegin(), v.rbegin() + 64, v.rend());
                    for (int i = 0; i < 64; ++i) {
                        v[i] = 0.0;
                        for (int n = 0; n < 32; ++n)
                            v[i] += (t & n & 1 ? -1.0 : 1.0) * samples[18 * n + t] *
                                    std::cos((16 + i) * (2 * n + 1) * M_PI / 64);
                    }
                    for (int j = 0; j < 32; ++j) {
                        double s = 0.0;
                        for (int i = 0; i < 8; ++i)
                            s += v[128 * i + j] * d[64 * i + j] +
                                 v[128 * i + 96 + j] * d[64 * i + 32 + j];
                        const double want = s / 65536 / 8;
                        const int32_t got = pcm[32 * k + j];
                        if (std::fabs(want) > 8388607.0 + 32) {
                            ++clamped;
                            ASSERT_EQ(got, want > 0 ? 8388607 : -8388608);
                            continue;
                        }
                        const double err = std::fabs(got - std::clamp(want, -8388608.0, 8388607.0));
                        ASSERT_LE(err, 32.0) << amplitude << " granule " << granule << " slot " << t
                                             << " output " << j;
                        sum_sq += err * err;
                        ++compared;
                    }
                }
            }
        }
    }
    EXPECT_GT(clamped, 0);  // the largest amplitude drives samples out of range
    EXPECT_LT(std::sqrt(sum_sq / compared), 4.0);
}

}  // namespace
}  // namespace mp3d
