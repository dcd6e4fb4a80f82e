// Kernel selection: the vector set is chosen exactly where the processor
// runs it, and every set is complete.
//
// Every processor-specific kernel set (AVX2 on x86-64, ARMv6 on ARM) leaves
// exactly the words the portable set leaves, on random and extreme inputs:
// values whose sums wrap, outputs that saturate, low halves on either side
// of 2^15, and the words at which the vector window switches its form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "decoder/memory_layout.h"
#include "kernels/kernel_set.h"
#include "tables/synthesis_tables.h"

using namespace mp3d;

namespace {

const int32_t kEdges[] = {INT32_MIN,  INT32_MAX,     -1,         0,
                          1,          1 << 30,       -(1 << 30), 0x7fff8000,
                          0x7fff7fff, INT32_MIN + 1, 0x8000,     -0x8001};
constexpr uint32_t kNumEdges = sizeof(kEdges) / sizeof(kEdges[0]);

// n words of one kind: audio-sized, full range, extremes only, a mix, or one
// extreme everywhere (`fill`).
std::vector<int32_t> words(std::mt19937 &rng, size_t n, int kind, int32_t fill = 0) {
    std::vector<int32_t> v(n);
    for (int32_t &x : v) {
        const uint32_t r = rng();
        const int32_t edge = kEdges[r % kNumEdges], audio = static_cast<int32_t>(r) >> (3 + r % 9);
        x = kind == 0   ? audio
            : kind == 1 ? static_cast<int32_t>(r)
            : kind == 2 ? edge
            : kind == 3 ? ((r >> 20) & 1 ? edge : audio)
                        : fill;
    }
    return v;
}

class KernelSets : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const MP3D_Kernel_Set *set : {MP3D_avx2_kernels(), MP3D_armv6_kernels()})
            if (set != nullptr) sets_.push_back(set);
        if (sets_.empty()) GTEST_SKIP() << "no processor-specific kernel set in this build";
        MP3D_init_tables(&st_);
    }
    std::vector<const MP3D_Kernel_Set *> sets_;
    MP3D_Decoder_State st_{};
};

// Whole halves over three consecutive granules (DCT into the history, window,
// history move), so that moved history is windowed too. Slots are random,
// or two extremes alternating by subband or by slot, so that the folding
// sums wrap and the frequency inversion meets INT32_MIN.
TEST_F(KernelSets, SynthesisHalvesMatchPortable) {
    std::mt19937 rng(7);
    for (const MP3D_Kernel_Set *set : sets_) {
        for (int round = 0; round < 400; ++round) {
            SCOPED_TRACE(std::string(set->name) + " round " + std::to_string(round));
            const int kind = round % 7;
            const int32_t a = kEdges[round / 7 % kNumEdges], b = kEdges[round % kNumEdges];
            std::vector<int32_t> hist_p = words(rng, 768, kind % 5, a), hist_v = hist_p;
            for (int granule = 0; granule < 3; ++granule) {
                std::vector<int32_t> samples = words(rng, 576, kind % 5, a);
                for (int i = 0; kind >= 5 && i < 576; ++i)
                    samples[i] = ((kind == 5 ? i / 18 : i) % 2) ? b : a;
                for (int half = 0; half < 2; ++half) {
                    kPortableKernels.subband_dct9(samples.data(), half, hist_p.data());
                    set->subband_dct9(samples.data(), half, hist_v.data());
                    ASSERT_EQ(hist_p, hist_v) << "DCT, half " << half;
                    // Every output form in turn: stride 1 or 2, 24-bit or
                    // 16-bit words. One word of margin on either side; at
                    // stride 2 the other channel's words lie between.
                    const int mode = (round + 2 * granule + half) % 4;
                    const int stride = 1 + mode % 2;
                    const int32_t no_shift = mode / 2;
                    std::vector<int32_t> pcm_p(288 * stride + 2, 0x5a5a5a5a), pcm_v = pcm_p;
                    kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data() + 1, stride,
                                                      no_shift, window_lf);
                    set->polyphase_window(hist_v.data(), pcm_v.data() + 1, stride, no_shift,
                                          window_lf);
                    ASSERT_EQ(pcm_p, pcm_v) << "PCM, half " << half << " mode " << mode;
                    ASSERT_EQ(hist_p, hist_v) << "history move, half " << half;
                }
            }
        }
    }
}

// A long run of halves (20 granules) of audio-sized data through each set
// and the portable one with nothing but the history carried over, in every
// output form: the outputs agree word for word, so the history each set
// keeps for itself holds the same slots.
TEST_F(KernelSets, SynthesisHistoryCarriesOverManyHalves) {
    for (const MP3D_Kernel_Set *set : sets_) {
        for (int mode = 0; mode < 4; ++mode) {
            SCOPED_TRACE(std::string(set->name) + " mode " + std::to_string(mode));
            const int stride = 1 + mode % 2;
            const int32_t no_shift = mode / 2;
            std::mt19937 rng(99 + mode);
            std::vector<int32_t> hist_p(768, 0), hist_v(768, 0);
            for (int half = 0; half < 40; ++half) {
                const std::vector<int32_t> samples = words(rng, 576, half % 8 == 7 ? 3 : 0);
                std::vector<int32_t> pcm_p(288 * stride, 0x5a5a5a5a), pcm_v = pcm_p;
                kPortableKernels.subband_dct9(samples.data(), half % 2, hist_p.data());
                kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data(), stride, no_shift,
                                                  window_lf);
                set->subband_dct9(samples.data(), half % 2, hist_v.data());
                set->polyphase_window(hist_v.data(), pcm_v.data(), stride, no_shift, window_lf);
                ASSERT_EQ(pcm_p, pcm_v) << "half " << half;
            }
        }
    }
}

// Long-block runs of every length from every start, butterflies at every
// boundary of the run (with the spill into the subband after it) or all but
// the last, each current block type after each previous one (the same for
// all subbands or differing per subband, as after a mixed block), in place
// and into a separate output: output, spectrum, overlap and recorded types.
TEST_F(KernelSets, HybridLongRunsMatchPortable) {
    struct Channel {
        std::vector<int32_t> x, out, ovl;
        std::vector<uint32_t> prev;
        bool operator==(const Channel &) const = default;
    };
    const MP3D_Table_Pointers &t = st_.tables;
    std::mt19937 rng(3636);
    int round = 0;
    for (const MP3D_Kernel_Set *set : sets_)
        for (int first = 0; first < 32; ++first)
            for (int count = 0; first + count <= 32; ++count)
                for (int spill = 0; spill < 2; ++spill, ++round) {
                    const int kind = round % 5;
                    const int32_t fill = kEdges[round / 5 % kNumEdges];
                    Channel ch{words(rng, 576, kind, fill), words(rng, 576, 1),
                               words(rng, 32 * 9, kind, fill), std::vector<uint32_t>(32)};
                    for (uint32_t &p : ch.prev) p = round % 3 ? rng() % 4 : round / 3 % 4;
                    const int alias_count =
                        std::max(spill && first + count < 32 ? count : count - 1, 0);
                    const bool in_place = round % 5 != 0;
                    const int32_t *cos =
                        round % 2 ? t.coef_cos_long_interleaved : t.coef_cos_long_root2_interleaved;
                    for (uint32_t bt : {0u, 1u, 3u}) {
                        SCOPED_TRACE(std::string(set->name) + " first " + std::to_string(first) +
                                     " count " + std::to_string(count) + " alias " +
                                     std::to_string(alias_count) + " type " + std::to_string(bt));
                        Channel want = ch, got = ch;
                        for (auto [k, c] : {std::pair{&kPortableKernels, &want}, {set, &got}}) {
                            int32_t *out = in_place ? c->x.data() : c->out.data();
                            k->hybrid_long(c->x.data() + 18 * first, out + 18 * first, count,
                                           alias_count, bt, c->ovl.data() + 9 * first,
                                           c->prev.data() + first, cos, t.Cs_Ca_tbl_lf,
                                           t.imdct_win_lf);
                        }
                        ASSERT_TRUE(got == want);
                    }
                }
}

}  // namespace

// Every set's output forms are one sample in four layouts: the 16-bit word is
// the 24-bit word shifted right by 8 (also where the sample clamps, at either
// end), and stride 2 puts the stride-1 words at every other position without
// touching the words between.
TEST(KernelSets16, OutputFormsAgree) {
    std::mt19937 rng(5);
    for (const MP3D_Kernel_Set *set :
         {&kPortableKernels, MP3D_avx2_kernels(), MP3D_armv6_kernels()}) {
        if (set == nullptr) continue;
        int clamped_high = 0, clamped_low = 0;
        for (int round = 0; round < 60; ++round) {
            SCOPED_TRACE(std::string(set->name) + " round " + std::to_string(round));
            // Audio-sized, full-range and extreme histories (the latter clamp).
            const std::vector<int32_t> hist = words(rng, 768, round % 4, kEdges[round % kNumEdges]);
            std::vector<int32_t> out[4];
            for (int mode = 0; mode < 4; ++mode) {
                const int stride = 1 + mode % 2;
                std::vector<int32_t> h = hist;
                out[mode].assign(288 * stride + 2, 0x5a5a5a5a);
                set->polyphase_window(h.data(), out[mode].data() + 1, stride, mode / 2, window_lf);
            }
            const std::vector<int32_t> &s16 = out[0], &i16 = out[1], &s24 = out[2], &i24 = out[3];
            for (int s = 0; s < 288; ++s) {
                const int32_t w24 = s24[1 + s];
                ASSERT_EQ(s16[1 + s], w24 >> 8) << "sample " << s;
                ASSERT_EQ(i24[1 + 2 * s], w24) << "sample " << s;
                ASSERT_EQ(i16[1 + 2 * s], w24 >> 8) << "sample " << s;
                ASSERT_EQ(i24[2 + 2 * s], 0x5a5a5a5a) << "sample " << s;
                ASSERT_EQ(i16[2 + 2 * s], 0x5a5a5a5a) << "sample " << s;
                clamped_high += w24 == 8388607;
                clamped_low += w24 == -8388608;
            }
            ASSERT_EQ(s16[0], 0x5a5a5a5a);
            ASSERT_EQ(s16[289], 0x5a5a5a5a);
            ASSERT_EQ(s24[289], 0x5a5a5a5a);
            ASSERT_EQ(i24[0], 0x5a5a5a5a);
        }
        EXPECT_GT(clamped_high, 0) << set->name;
        EXPECT_GT(clamped_low, 0) << set->name;
    }
}

TEST(KernelSelect, ChoosesTheVectorSetOnlyWhereTheProcessorHasIt) {
    const MP3D_Kernel_Set *chosen = MP3D_select_kernels();
    ASSERT_NE(chosen, nullptr);
    for (const MP3D_Kernel_Set *set : {&kPortableKernels, chosen})
        EXPECT_TRUE(set->subband_dct9 && set->polyphase_window && set->hybrid_long) << set->name;
#if defined(MP3D_HAVE_X86_KERNELS)
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2");
    EXPECT_EQ(MP3D_avx2_kernels() != nullptr, avx2);
    EXPECT_STREQ(chosen->name, avx2 ? "avx2" : "portable");
#else
    EXPECT_EQ(MP3D_avx2_kernels(), nullptr);
#endif
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    EXPECT_STREQ(chosen->name, "armv6");
#else
    EXPECT_EQ(MP3D_armv6_kernels(), nullptr);
#endif
}

// The build's detection of the ARMv6 DSP instructions (which switches the
// ARMv6 set on by default) agrees with the compiler's own macros.
TEST(KernelSelect, BuildDetectsTheArmv6Instructions) {
#if defined(__arm__) && defined(__ARM_ARCH) && __ARM_ARCH >= 6 && defined(__ARM_FEATURE_DSP) && \
    (!defined(__thumb__) || defined(__thumb2__))
    const bool target_has_dsp = true;
#else
    const bool target_has_dsp = false;
#endif
#if defined(MP3D_DETECTED_ARMV6_DSP)
    const bool detected = true;
#else
    const bool detected = false;
#endif
    EXPECT_EQ(detected, target_has_dsp);
}
