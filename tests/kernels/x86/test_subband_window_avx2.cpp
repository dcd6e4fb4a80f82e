// What the AVX2 window relies on beyond the shared kernel-set comparison
// (tests/kernels/test_kernel_set.cpp): the coefficients' 16-bit sums, and
// its exact and fast forms of the 16-bit products on every kind of history
// word.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "kernels/kernel_set.h"
#include "tables/synthesis_tables.h"

using namespace mp3d;

namespace {

const MP3D_Kernel_Set *avx2_or_skip() {
    return MP3D_avx2_kernels();
}

// The vector kernel sums the floor terms of three small taps in 16 bits:
// each is within the magnitude of its coefficient, so the pair halves of any
// three taps of one output must stay below 2^15 in magnitude.
TEST(SynthesisAvx2, WindowPairHalvesFitSixteenBitSums) {
    const auto high = [](int32_t w) { return w >> 16; };
    const auto low = [](int32_t w) { return static_cast<int32_t>(static_cast<int16_t>(w)); };
    // Pair words of taps 0..2 and 5..7: output 0, then outputs j and 32 - j.
    std::vector<std::vector<int>> groups = {{0, 1, 2}, {7, 8, 9}};
    for (int j = 1; j < 16; ++j) {
        const int b = 10 + 20 * (j - 1);
        for (int set = 0; set < 2; ++set) {
            groups.push_back({b + set, b + 2 + set, b + 4 + set});
            groups.push_back({b + 14 + set, b + 16 + set, b + 18 + set});
        }
    }
    for (const auto &g : groups) {
        int sum_high = 0, sum_low = 0;
        for (int w : g) {
            sum_high += std::abs(high(window_lf[w]));
            sum_low += std::abs(low(window_lf[w]));
        }
        EXPECT_LT(sum_high, 1 << 15) << "word " << g[0];
        EXPECT_LT(sum_low, 1 << 15) << "word " << g[0];
    }
}

// History words that stress the vector arithmetic: full-range extremes, low
// halves on either side of 2^15, values whose sums wrap and outputs that
// saturate. The last two (0x7fff8000 and up) make the kernel take its exact
// form of the 16-bit products; edge_word(r % 14) never does.
const int32_t kEdges[16] = {INT32_MIN,  -1,         0,         1,          0x7fff7fff,  0x00008000,
                            0x00007fff, -0x8000,    -0x8001,   0x40000000, -0x40000000, -0x7fff8000,
                            0x0000ffff, 0x7ffe8000, INT32_MAX, 0x7fff8000};
int32_t edge_word(uint32_t r) {
    return kEdges[r % 16];
}

TEST(SynthesisAvx2, PolyphaseWindowMatchesPortable) {
    const MP3D_Kernel_Set *avx2 = avx2_or_skip();
    if (avx2 == nullptr) GTEST_SKIP() << "no AVX2 kernels in this build or on this processor";
    std::mt19937 rng(42);
    for (int round = 0; round < 720; ++round) {
        std::vector<int32_t> hist_p(768);
        // Rounds of one kind (random audio-sized, random full-range, edge
        // words only, edge words below 0x7fff8000 only, one edge value
        // everywhere, a mix).
        const int kind = round % 6;
        const int32_t fill = edge_word(static_cast<uint32_t>(round / 6));
        for (int32_t &x : hist_p) {
            const uint32_t r = rng();
            switch (kind) {
                case 0:
                    x = static_cast<int32_t>(r) >> (4 + r % 8);
                    break;
                case 1:
                    x = static_cast<int32_t>(r);
                    break;
                case 2:
                    x = edge_word(r);
                    break;
                case 3:
                    x = kEdges[r % 14];
                    break;
                case 4:
                    x = fill;
                    break;
                default:
                    x = r % 3 == 0 ? edge_word(r >> 8) : static_cast<int32_t>(r) >> 6;
            }
        }
        std::vector<int32_t> hist_v = hist_p;
        // One word of margin on either side of the 288 outputs.
        std::vector<int32_t> pcm_p(290, 0x5a5a5a5a), pcm_v = pcm_p;
        kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data() + 1, 1, 1, window_lf);
        avx2->polyphase_window(hist_v.data(), pcm_v.data() + 1, 1, 1, window_lf);
        ASSERT_EQ(pcm_p, pcm_v) << "round " << round;
        ASSERT_EQ(hist_p, hist_v) << "history move, round " << round;
    }
}

// One large word in an audio-sized history, at every position in turn: the
// kernel decides per pass of eight outputs between the rounded and the exact
// form of the 16-bit products, so every pass that reads the word must see it.
TEST(SynthesisAvx2, PolyphaseWindowFindsEachLargeWord) {
    const MP3D_Kernel_Set *avx2 = avx2_or_skip();
    if (avx2 == nullptr) GTEST_SKIP() << "no AVX2 kernels in this build or on this processor";
    std::mt19937 rng(7);
    std::vector<int32_t> base(768);
    for (int32_t &x : base) x = static_cast<int32_t>(rng()) >> 8;
    for (int32_t large : {0x7fff8000, INT32_MAX}) {
        for (int at = 0; at < 768; ++at) {
            std::vector<int32_t> hist_p = base;
            hist_p[at] = large;
            std::vector<int32_t> hist_v = hist_p;
            std::vector<int32_t> pcm_p(288), pcm_v(288, 0x5a5a5a5a);
            kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data(), 1, 1, window_lf);
            avx2->polyphase_window(hist_v.data(), pcm_v.data(), 1, 1, window_lf);
            ASSERT_EQ(pcm_p, pcm_v) << "word " << at << " = " << large;
        }
    }
}

}  // namespace
