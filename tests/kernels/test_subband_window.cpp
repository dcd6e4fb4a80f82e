// The whole polyphase synthesis (DCT stage, window, history move, 24-bit
// clamp) against a direct implementation of the ISO/IEC 11172-3 synthesis.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"
#include "support/fixtures.h"
#include "tables/synthesis_tables.h"

using namespace mp3d;

// D[i] * 2^16 from the standard's window table; empty if not available.
static std::vector<int32_t> load_window() {
    std::ifstream in(mp3d_test::shared_path("reference-data/synthesis_window.txt"));
    std::vector<int32_t> d;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        int i = 0, v = 0;
        if (line[0] != '#' && fields >> i >> v && i == static_cast<int>(d.size())) d.push_back(v);
    }
    return d.size() == 512 ? d : std::vector<int32_t>{};
}

// Granules of random Q26 subband samples through the DCT stage and the window,
// both halves, against the standard's synthesis (Annex A, Figure A.2: the
// 1024-value V FIFO, the window D) of the same values with the odd subbands of
// odd slots negated (the frequency inversion). Each sample is the standard's
// S / 8 (1.0 -> 2^23) within 32 units, or exactly the clamp where S / 8 is
// clearly out of range. The DCT's rounding dominates the error.
TEST(SynthesisWindow, MatchesStandardSynthesis) {
    const std::vector<int32_t> d = load_window();
    if (d.empty()) GTEST_SKIP() << "reference data not found under " << mp3d_test::shared_path("");
    std::mt19937 rng(2024);
    double sum_sq = 0.0, compared = 0, clamped = 0;
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
                MP3D_polyphase_window(synthesis.data(), pcm.data(), 1, 1, window_lf);
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
                        const double err =
                            std::fabs(pcm[32 * k + j] - std::clamp(want, -8388608.0, 8388607.0));
                        const bool out_of_range = std::fabs(want) > 8388607.0 + 32;  // exact clamp
                        ASSERT_LE(err, out_of_range ? 0.0 : 32.0)
                            << amplitude << " granule " << granule << " slot " << t << " " << j;
                        clamped += out_of_range;
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
