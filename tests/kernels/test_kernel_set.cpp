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
#include "kernels/huffman_dequant.h"
#include "kernels/kernel_set.h"
#include "tables/huffman_tables.h"
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

// Granules in sequence through one channel, as the hybrid driver runs them:
// a long run (all subbands, or the long part of a mixed block) then a short
// run, with random block types, mixed flags and counts, so that every
// transition between block types meets the overlap the previous granule
// left, in either kernel set. Inputs are random, extremes, or zero (the
// overlap alone reaches the output). Output, overlap and recorded types are
// compared after every granule.
TEST_F(KernelSets, HybridGranuleSequencesMatchPortable) {
    struct Channel {
        std::vector<int32_t> x, ovl;
        std::vector<uint32_t> prev;
        bool operator==(const Channel &) const = default;
    };
    const MP3D_Table_Pointers &t = st_.tables;
    std::mt19937 rng(1212);
    for (const MP3D_Kernel_Set *set : sets_)
        for (int run = 0; run < 40; ++run) {
            Channel want{{},
                         words(rng, 32 * 9, run % 5, kEdges[run % kNumEdges]),
                         std::vector<uint32_t>(32)},
                got = want;
            const bool root2 = run % 2 == 0;
            for (int granule = 0; granule < 24; ++granule) {
                const uint32_t r = rng();
                const uint32_t block_type = r % 4;
                const bool mixed = block_type == 2 && (r >> 2) % 3 == 0;
                const int kind = (r >> 4) % 6;
                const int count = 1 + static_cast<int>((r >> 8) % 32);
                want.x = kind == 5 ? std::vector<int32_t>(576)
                                   : words(rng, 576, kind, kEdges[(r >> 16) % kNumEdges]);
                got.x = want.x;
                SCOPED_TRACE(std::string(set->name) + " run " + std::to_string(run) + " granule " +
                             std::to_string(granule) + " type " + std::to_string(block_type) +
                             (mixed ? " mixed" : "") + " count " + std::to_string(count));
                const int long_end = block_type != 2 ? count : (mixed ? std::min(count, 2) : 0);
                for (auto [k, c] : {std::pair{&kPortableKernels, &want}, {set, &got}}) {
                    int32_t *x = c->x.data();
                    k->hybrid_long(
                        x, x, long_end, std::min(long_end, block_type == 2 ? 1 : 31),
                        block_type == 2 ? 0u : block_type, c->ovl.data(), c->prev.data(),
                        root2 ? t.coef_cos_long_root2_interleaved : t.coef_cos_long_interleaved,
                        t.Cs_Ca_tbl_lf, t.imdct_win_lf);
                    if (block_type == 2)
                        k->hybrid_short(x + 18 * long_end, x + 18 * long_end, count - long_end,
                                        c->ovl.data() + 9 * long_end, c->prev.data() + long_end,
                                        root2 ? t.coef_cos_short_root2_interleaved
                                              : t.coef_cos_short_interleaved,
                                        t.imdct_win_lf);
                }
                ASSERT_TRUE(got == want);
            }
        }
}

// Short runs of every length from every start, in place and into a separate
// output, on random, extreme and single-extreme inputs and overlaps.
TEST_F(KernelSets, HybridShortRunsMatchPortable) {
    const MP3D_Table_Pointers &t = st_.tables;
    std::mt19937 rng(1224);
    int round = 0;
    for (const MP3D_Kernel_Set *set : sets_)
        for (int first = 0; first < 32; ++first)
            for (int count = 0; first + count <= 32; ++count, ++round) {
                SCOPED_TRACE(std::string(set->name) + " first " + std::to_string(first) +
                             " count " + std::to_string(count));
                const int kind = round % 5;
                const int32_t fill = kEdges[round / 5 % kNumEdges];
                std::vector<int32_t> x = words(rng, 576, kind, fill), ovl = words(rng, 288, kind);
                std::vector<int32_t> out = words(rng, 576, 1);
                std::vector<uint32_t> prev(32);
                for (uint32_t &p : prev) p = rng() % 4;
                const bool in_place = round % 3 != 0;
                const int32_t *cos =
                    round % 2 ? t.coef_cos_short_interleaved : t.coef_cos_short_root2_interleaved;
                auto x_p = x, x_v = x, out_p = out, out_v = out, ovl_p = ovl, ovl_v = ovl;
                auto prev_p = prev, prev_v = prev;
                kPortableKernels.hybrid_short(
                    x_p.data() + 18 * first, (in_place ? x_p : out_p).data() + 18 * first, count,
                    ovl_p.data() + 9 * first, prev_p.data() + first, cos, t.imdct_win_lf);
                set->hybrid_short(
                    x_v.data() + 18 * first, (in_place ? x_v : out_v).data() + 18 * first, count,
                    ovl_v.data() + 9 * first, prev_v.data() + first, cos, t.imdct_win_lf);
                ASSERT_EQ(x_p, x_v);
                ASSERT_EQ(out_p, out_v);
                ASSERT_EQ(ovl_p, ovl_v);
                ASSERT_EQ(prev_p, prev_v);
            }
}

// ---- Huffman decoding with dequantisation ----

// MPEG-1 44.1 kHz long bands.
const int16_t kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};

// Every codeword of a pair table: leaves of its multi-level layout below base.
void pair_codes(const uint16_t *t, size_t base, uint32_t width, std::string prefix,
                std::vector<std::pair<uint32_t, std::string>> &codes) {
    for (uint32_t j = 0; j < (1u << width); ++j) {
        std::string code = prefix;
        for (int b = static_cast<int>(width) - 1; b >= 0; --b) code += char('0' + ((j >> b) & 1));
        const uint16_t e = t[base + j];
        if ((e & 1) == 0)
            pair_codes(t, base + ((e >> 1) & 0x3FF), e >> 11, code, codes);
        else  // leaves repeat over the bits after the codeword: duplicates only weight the pick
            codes.emplace_back(e >> 12 << 4 | ((e >> 8) & 15), code.substr(0, (e >> 1) & 31));
    }
}

// A reservoir of valid pairs of one table: random codewords, escape values
// spread over the whole escape range (every escape bit pattern), random signs.
std::vector<uint8_t> coded_pairs(std::mt19937 &rng, int table) {
    const auto &info = Huffman_Pair_Table_Info[table];
    std::vector<std::pair<uint32_t, std::string>> codes;
    pair_codes(info.code_table, 1, info.code_table[0], "", codes);
    std::string bits;
    while (bits.size() < 8u * kReservoirBytes) {
        const auto &[xy, code] = codes[rng() % codes.size()];
        bits += code;
        for (uint32_t v : {xy >> 4, xy & 15u}) {
            for (int b = static_cast<int>(info.linbits) - 1; v == 15 && b >= 0; --b)
                bits += char('0' + ((rng() % 4 == 0 ? ~0u : rng()) >> b & 1));
            if (v != 0) bits += char('0' + (rng() & 1));
        }
    }
    std::vector<uint8_t> bytes(kReservoirBytes);
    for (size_t i = 0; i < bytes.size(); ++i)
        for (int b = 0; b < 8; ++b) bytes[i] = uint8_t(bytes[i] << 1 | (bits[8 * i + b] - '0'));
    return bytes;
}

// Exponents at every quarter step around the places where the magnitudes
// change form: only magnitude 1 left, shifts of 32 and more either way.
int32_t pick_exponent(std::mt19937 &rng, int trial) {
    static const int32_t kEdgeQ[] = {-40, -27, -26, -25, -4, -3, 0, 4, 5, 6, 7, 37, 38, 39, 60};
    switch (trial % 5) {
        case 0:
            return static_cast<int32_t>(rng());
        case 1:
            return -(4 * kEdgeQ[rng() % std::size(kEdgeQ)] + static_cast<int32_t>(rng() % 4));
        default:
            return static_cast<int32_t>(rng() % 461) - 320;
    }
}

// Both Huffman kernels of every set against the portable ones: every pair
// table (random data, all ones for the largest escapes, sparse ones, zeros,
// and valid codes with escapes over their whole range), both count1 tables,
// readers anywhere in the reservoir and often in its last bytes, where reads
// run past its end and the read stop acts, windows whose bytes differ from
// the buffer's, every exponent form. Output lines, bits, band, stop and the
// whole reservoir reader afterwards must match.
TEST_F(KernelSets, HuffmanKernelsMatchPortable) {
    std::mt19937 rng(1515);
    auto pick = [&](int32_t lo, int32_t hi) {
        return std::uniform_int_distribution<int32_t>(lo, hi)(rng);
    };
    std::vector<uint8_t> reservoir(kReservoirBytes);  // exactly its size: ASan sees overruns
    st_.reservoir_buffer = reservoir.data();
    int32_t exps[22];
    for (const MP3D_Kernel_Set *set : sets_) {
        for (int trial = 0; trial < 12000; ++trial) {
            SCOPED_TRACE(std::string(set->name) + " trial " + std::to_string(trial));
            const bool quad = trial % 4 == 3;
            const int t = pick(0, 31), table = t == 4 || t == 14 ? 24 : t;
            const int fill = trial % 5;
            if (fill == 4 && !quad && Huffman_Pair_Table_Info[table].code_table != nullptr) {
                reservoir = coded_pairs(rng, table);
            } else {
                for (auto &b : reservoir)
                    b = fill == 0   ? uint8_t(rng())
                        : fill == 1 ? 0xFF
                        : fill == 2 ? uint8_t(rng() & rng() & rng())
                                    : (fill == 3 ? 0 : uint8_t(rng()));
            }
            st_.reservoir_buffer = reservoir.data();
            for (auto &e : exps) e = pick_exponent(rng, trial / 4);
            MP3D_Decoder_State a = st_;
            a.res_read_index = trial % 3 == 0 ? pick(0, kReservoirBytes + 6)
                                              : pick(kReservoirBytes - 80, kReservoirBytes + 6);
            a.res_bits_in_window = pick(0, 32);
            a.res_window = rng();
            if (trial % 5 != 0) {  // a window consistent with the buffer
                a.res_window = 0;
                for (int32_t i = a.res_read_index - 4; i < a.res_read_index; ++i)
                    a.res_window = a.res_window << 8 |
                                   (i >= 0 && i < kReservoirBytes ? reservoir[size_t(i)] : 0);
            }
            MP3D_Decoder_State b = a;
            std::vector<int32_t> want(576 + 8, 0), got = want;
            int32_t band_a = -1, band_b = -1, stop_a = 0, stop_b = 0;
            const int32_t band0 = pick(0, 21);
            uint32_t used_a, used_b;
            if (!quad) {
                const auto &info = Huffman_Pair_Table_Info[table];
                const MP3D_Pair_Region r{info.code_table, info.linbits, band0,
                                         pick(band0, 22), kLongBands,   exps,
                                         2 * pick(0, 288)};
                used_a = kPortableKernels.huffman_pair(want.data() + kLongBands[band0], &r, &a,
                                                       &band_a, &stop_a);
                used_b =
                    set->huffman_pair(got.data() + kLongBands[band0], &r, &b, &band_b, &stop_b);
            } else {
                const int32_t line0 = pick(kLongBands[band0] / 2, kLongBands[band0 + 1] / 2) * 2;
                const MP3D_Quad_Region r{Huffman_Quad_Table_Info[trial / 4 & 1],
                                         pick(1, 3000),
                                         band0,
                                         kLongBands,
                                         exps,
                                         line0};
                used_a = kPortableKernels.huffman_quad(want.data() + line0, &r, &a, &band_a);
                used_b = set->huffman_quad(got.data() + line0, &r, &b, &band_b);
            }
            ASSERT_EQ(std::tuple(used_b, band_b, stop_b, b.res_read_index, b.res_bits_in_window,
                                 b.res_window),
                      std::tuple(used_a, band_a, stop_a, a.res_read_index, a.res_bits_in_window,
                                 a.res_window));
            ASSERT_EQ(got, want);
        }
    }
}

// ---- Layer II requantisation ----

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
        EXPECT_TRUE(set->subband_dct9 && set->polyphase_window && set->hybrid_long &&
                    set->hybrid_short && set->huffman_pair && set->huffman_quad)
            << set->name;
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
