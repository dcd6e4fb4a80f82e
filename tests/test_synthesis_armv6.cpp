// The ARMv6 synthesis kernels give exactly the portable kernels' output: each
// instruction wrapper against its portable counterpart on extreme operands,
// then the kernels on random and extreme histories, window words and
// coefficients (every output index, both halves of every pair word).
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "decoder/kernel_select.h"
#include "decoder/tables/synthesis_tables.h"
#include "kernels/arm/armv6_ops.h"
#include "kernels/fixed_point.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"

using namespace mp3d;

namespace {

#if defined(MP3D_HAVE_ARMV6_KERNELS)
#define SKIP_WITHOUT_ARMV6()
#else
#define SKIP_WITHOUT_ARMV6() GTEST_SKIP() << "not an ARMv6 build with the DSP instructions"
#endif

// Mostly audio-sized values; every fourth round full-range words, every
// fourth extremes (which make sums wrap and outputs saturate).
std::vector<int32_t> random_words(std::mt19937 &rng, size_t n, int round) {
    const int32_t extremes[] = {INT32_MIN,  INT32_MAX,  -1,
                                0,          1,          1 << 30,
                                -(1 << 30), 0x7fff8000, static_cast<int32_t>(0x80007fff)};
    std::vector<int32_t> v(n);
    for (int32_t &x : v) {
        const uint32_t r = rng();
        x = round % 4 == 3 ? extremes[r % 9]
                           : static_cast<int32_t>(r) >> (round % 4 == 2 ? 0 : 4 + r % 8);
    }
    return v;
}

// The window: the real table, or random or extreme words in every position.
[[maybe_unused]] std::vector<int32_t> window_for(std::mt19937 &rng, int round) {
    if (round % 3 == 0) return std::vector<int32_t>(window_lf, window_lf + 318);
    return random_words(rng, 318, round / 3 % 4 == 0 ? 3 : 2);
}

TEST(SynthesisArmv6, InstructionsMatchPortableArithmetic) {
    SKIP_WITHOUT_ARMV6();
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    const int32_t edge[] = {
        INT32_MIN, INT32_MIN + 1, -65536, -32768, -2,         -1,         0,        1,
        2,         32767,         32768,  65535,  0x40000000, 0x7fff8000, INT32_MAX};
    std::mt19937 rng(3);
    std::vector<int32_t> values(edge, edge + 15);
    for (int i = 0; i < 25; ++i) values.push_back(static_cast<int32_t>(rng()));
    for (int32_t a : values) {
        for (int32_t b : values) {
            for (int32_t acc : edge) {
                const int32_t lo = static_cast<int16_t>(b), hi = b >> 16;
                ASSERT_EQ(armv6::smulwb(a, b), mul_w16(a, lo)) << a << " " << b;
                ASSERT_EQ(armv6::smulwt(a, b), mul_w16(a, hi)) << a << " " << b;
                ASSERT_EQ(armv6::smlawb(acc, a, b), wrap_add(acc, mul_w16(a, lo)));
                ASSERT_EQ(armv6::smlawt(acc, a, b), wrap_add(acc, mul_w16(a, hi)));
                ASSERT_EQ(armv6::smmulr(a, b), mulhi_round(a, b)) << a << " " << b;
                ASSERT_EQ(armv6::smmlar(acc, a, b), mulhi_round_add(acc, a, b));
                ASSERT_EQ(armv6::smmlsr(acc, a, b), mulhi_round_sub(acc, a, b));
            }
        }
        ASSERT_EQ(armv6::ssat24_asr3(a), saturate24(a >> 3)) << a;
    }
#endif
}

TEST(SynthesisArmv6, SubbandWindowMatchesPortable) {
    SKIP_WITHOUT_ARMV6();
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    std::mt19937 rng(42);
    for (int round = 0; round < 600; ++round) {
        const std::vector<int32_t> history = random_words(rng, 768, round);
        const std::vector<int32_t> window = window_for(rng, round);
        // Both banks as the polyphase window passes them; untouched outputs
        // keep their fill.
        const int starts[2][2] = {{kSynthesisOddUpper + 3, kSynthesisEvenLower + 4},
                                  {kSynthesisEvenUpper + 4, kSynthesisOddLower + 4}};
        for (const auto &s : starts) {
            std::vector<int32_t> portable(256, 0x5a5a5a5a), armv6 = portable;
            MP3D_subband_window(history.data() + s[0], history.data() + s[1], window.data(),
                                portable.data());
            MP3D_subband_window_armv6(history.data() + s[0], history.data() + s[1], window.data(),
                                      armv6.data());
            ASSERT_EQ(portable, armv6) << "round " << round;
        }
        std::vector<int32_t> hist_p = history, hist_a = history;
        std::vector<int32_t> portable(288, 0x5a5a5a5a), armv6 = portable;
        MP3D_subband_window_1(window.data(), portable.data(), hist_p.data());
        MP3D_subband_window_1_armv6(window.data(), armv6.data(), hist_a.data());
        ASSERT_EQ(portable, armv6) << "outputs 0, 16 and slot 8, round " << round;
        ASSERT_EQ(hist_p, hist_a) << "history move, round " << round;
    }
#endif
}

TEST(SynthesisArmv6, FastDct32MatchesPortable) {
    SKIP_WITHOUT_ARMV6();
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    std::mt19937 rng(5);
    for (int round = 0; round < 800; ++round) {
        const std::vector<int32_t> slot = random_words(rng, 18 * 31 + 1, round);
        std::vector<int32_t> c8(dct8_II_coeff, dct8_II_coeff + 10);
        std::vector<int32_t> c32(dct32_II_coeff, dct32_II_coeff + 24);
        if (round % 2 == 1) {
            c8 = random_words(rng, 10, round / 2);
            c32 = random_words(rng, 24, round / 2);
        }
        for (int parity = 0; parity < 2; ++parity) {
            std::vector<int32_t> up_p(192, 0x5a5a5a5a), lo_p = up_p, up_a = up_p, lo_a = up_p;
            MP3D_subband_fastdct32(slot.data(), parity, up_p.data(), lo_p.data(), c8.data(),
                                   c32.data());
            MP3D_subband_fastdct32_armv6(slot.data(), parity, up_a.data(), lo_a.data(), c8.data(),
                                         c32.data());
            ASSERT_EQ(up_p, up_a) << "round " << round << " parity " << parity;
            ASSERT_EQ(lo_p, lo_a) << "round " << round << " parity " << parity;
        }
    }
#endif
}

// Whole halves through both kernel sets over consecutive granules, so that
// moved history is windowed too; an ARMv6 build selects this set.
TEST(SynthesisArmv6, HalvesMatchPortable) {
    const MP3D_Kernel_Set *armv6 = MP3D_armv6_kernels();
    if (armv6 == nullptr) GTEST_SKIP() << "no ARMv6 kernels in this build";
    EXPECT_EQ(MP3D_select_kernels(), armv6);
    std::mt19937 rng(7);
    for (int round = 0; round < 100; ++round) {
        std::vector<int32_t> hist_p = random_words(rng, 768, round), hist_a = hist_p;
        for (int granule = 0; granule < 3; ++granule) {
            const std::vector<int32_t> samples = random_words(rng, 576, round);
            for (int half = 0; half < 2; ++half) {
                std::vector<int32_t> pcm_p(288 + 8, 0x5a5a5a5a), pcm_a = pcm_p;
                kPortableKernels.subband_dct9(samples.data(), half, hist_p.data());
                armv6->subband_dct9(samples.data(), half, hist_a.data());
                ASSERT_EQ(hist_p, hist_a) << "DCT, round " << round << " half " << half;
                kPortableKernels.polyphase_window(hist_p.data(), pcm_p.data(), window_lf);
                armv6->polyphase_window(hist_a.data(), pcm_a.data(), window_lf);
                ASSERT_EQ(pcm_p, pcm_a) << "PCM, round " << round << " half " << half;
                ASSERT_EQ(hist_p, hist_a) << "history move, round " << round;
            }
        }
    }
}

}  // namespace
