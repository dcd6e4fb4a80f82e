// The AVX2 synthesis kernels give exactly the portable kernels' output, on
// random histories and on extreme values that wrap and saturate.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "decoder/kernel_select.h"
#include "decoder/tables/synthesis_tables.h"
#include "kernels/subband_window.h"
#if defined(MP3D_HAVE_X86_KERNELS)
#include "kernels/x86/synthesis_avx2.h"
#endif

using namespace mp3d;

namespace {

// Mostly audio-sized values, some full-range and extreme ones.
std::vector<int32_t> random_words(std::mt19937 &rng, size_t n, int round) {
    const int32_t extremes[] = {INT32_MIN, INT32_MAX, -1, 0, 1, 1 << 30, -(1 << 30)};
    std::vector<int32_t> v(n);
    for (int32_t &x : v) {
        const uint32_t r = rng();
        x = round % 4 == 3 ? extremes[r % 7]
                           : static_cast<int32_t>(r) >> (round % 4 == 2 ? 0 : 4 + r % 8);
    }
    return v;
}

const MP3D_Kernel_Set *avx2_or_skip() {
    return MP3D_avx2_kernels();
}

TEST(SynthesisAvx2, SubbandWindowMatchesPortable) {
#if !defined(MP3D_HAVE_X86_KERNELS)
    GTEST_SKIP() << "built without the AVX2 kernels (MP3D_X86_KERNELS=OFF)";
#else
    if (avx2_or_skip() == nullptr) GTEST_SKIP() << "this processor lacks AVX2";
    std::mt19937 rng(42);
    for (int round = 0; round < 400; ++round) {
        const std::vector<int32_t> history = random_words(rng, 768, round);
        // Both banks as the polyphase window passes them.
        const int starts[2][2] = {{kSynthesisOddUpper + 3, kSynthesisEvenLower + 4},
                                  {kSynthesisEvenUpper + 4, kSynthesisOddLower + 4}};
        for (const auto &s : starts) {
            std::vector<int32_t> portable(256, 0x5a5a5a5a), vector(256, 0x5a5a5a5a);
            MP3D_subband_window(history.data() + s[0], history.data() + s[1], window_lf,
                                portable.data());
            MP3D_subband_window_avx2(history.data() + s[0], history.data() + s[1], window_lf,
                                     vector.data());
            ASSERT_EQ(portable, vector) << "round " << round;
        }
    }
#endif
}

// The DCT of a half through both kernel sets, on every word of the history:
// random and full-scale slots, and structured extremes (every subband at
// INT32_MIN or INT32_MAX, signs alternating by subband or by slot, so that the
// folding sums wrap and the frequency inversion meets INT32_MIN), for both
// halves and for half values other than 0 and 1 (odd selects the inverting
// parity of slot 9).
TEST(SynthesisAvx2, SubbandDctMatchesPortable) {
    const MP3D_Kernel_Set *avx2 = avx2_or_skip();
    if (avx2 == nullptr) GTEST_SKIP() << "no AVX2 kernels in this build or on this processor";
    const int32_t extremes[] = {INT32_MIN, INT32_MAX, -1, 1, 1 << 30, -(1 << 30)};
    std::vector<std::vector<int32_t>> inputs;
    for (int32_t a : extremes) {
        for (int32_t b : extremes) {
            std::vector<int32_t> by_subband(576), by_slot(576);
            for (int i = 0; i < 576; ++i) {
                by_subband[i] = (i / 18) % 2 ? b : a;
                by_slot[i] = (i % 18) % 2 ? b : a;
            }
            inputs.push_back(by_subband);
            inputs.push_back(by_slot);
        }
    }
    std::mt19937 rng(99);
    for (int round = 0; round < 200; ++round) inputs.push_back(random_words(rng, 576, round));
    for (size_t i = 0; i < inputs.size(); ++i) {
        for (int half : {0, 1, 2, 3}) {
            std::vector<int32_t> hist_p = random_words(rng, 768, 2), hist_v = hist_p;
            kPortableKernels.subband_dct9(inputs[i].data(), half, hist_p.data());
            avx2->subband_dct9(inputs[i].data(), half, hist_v.data());
            ASSERT_EQ(hist_p, hist_v) << "input " << i << " half " << half;
        }
    }
}

// Whole halves through both kernel sets: DCT, window and history move, over
// several consecutive granules so that the moved history is windowed too.
TEST(SynthesisAvx2, HalvesMatchPortable) {
    const MP3D_Kernel_Set *avx2 = avx2_or_skip();
    if (avx2 == nullptr) GTEST_SKIP() << "no AVX2 kernels in this build or on this processor";
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        std::vector<int32_t> hist_p = random_words(rng, 768, round), hist_v = hist_p;
        for (int granule = 0; granule < 3; ++granule) {
            const std::vector<int32_t> samples = random_words(rng, 576, round);
            for (int half = 0; half < 2; ++half) {
                std::vector<int32_t> pcm_p(288 + 8, 0x5a5a5a5a), pcm_v = pcm_p;
                kPortableKernels.subband_dct9(samples.data(), half, hist_p.data());
                avx2->subband_dct9(samples.data(), half, hist_v.data());
                ASSERT_EQ(hist_p, hist_v) << "DCT, round " << round << " half " << half;
                kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data(), window_lf);
                avx2->polyphase_window(hist_v.data(), pcm_v.data(), window_lf);
                ASSERT_EQ(pcm_p, pcm_v) << "PCM, round " << round << " half " << half;
                ASSERT_EQ(hist_p, hist_v) << "history move, round " << round;
            }
        }
    }
}

}  // namespace
