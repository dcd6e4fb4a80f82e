// Stereo processing: middle/side, intensity (MPEG-1 and LSF) over long,
// short and mixed blocks, and the per-line kernel.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "decoder/decoder_state.h"
#include "decoder/memory_layout.h"
#include "decoder/stereo.h"
#include "decoder/tables/scale_factor_tables.h"
#include "decoder/tables/stereo_tables.h"
#include "kernels/fixed_point.h"
#include "kernels/stereo_loop.h"

namespace mp3d {
namespace {

constexpr int32_t kOne = 0x7FFFFFFF;

// Intensity line without middle/side: 2 * mulhi_round(L, k).
int32_t is_x2(int32_t l, int32_t k) {
    return wrap_shl(mulhi_round(l, k), 1);
}
// Intensity line with middle/side (root2 factors): 4 * mulhi_round(L, k).
int32_t is_x4(int32_t l, int32_t k) {
    return wrap_shl(mulhi_round(l, k), 2);
}

void fill(int32_t *p, int n, uint32_t seed, int32_t bound) {
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        p[i] = static_cast<int32_t>(seed % (2u * static_cast<uint32_t>(bound) + 1)) - bound;
        if (p[i] == 0) p[i] = 1;  // every line non-zero unless a test clears it
    }
}

class StereoTest : public ::testing::Test {
  protected:
    void SetUp() override {
        MP3D_init_tables(&state_);
        params_.header = &state_.header;
        params_.channels = 2;
        state_.frame_params = &params_;
        state_.pcm_buffer = pcm_.data();
        state_.is_pos_marks = marks_.data();
        state_.spectral_buffer = spec_.data();
        state_.nonzero_subbands[0] = 7;
        state_.nonzero_subbands[1] = 19;
        fill(spec_.data(), 1152, 12345u, 1 << 28);
        original_ = spec_;
    }

    void header(int version, int sampling_frequency, int mode, int mode_extension) {
        state_.header.version = static_cast<int16_t>(version);
        state_.header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
        state_.header.mode = static_cast<int16_t>(mode);
        state_.header.mode_extension = static_cast<int16_t>(mode_extension);
    }
    void short_blocks(bool mixed) {
        granule_.window_switching_flag = 1;
        granule_.block_type = 2;
        granule_.mixed_block_flag = mixed ? 1 : 0;
    }
    // Right channel zero above line last, which becomes last_coded_line.
    void right_coded_to(int last) {
        for (int i = last + 1; i < 576; ++i) R0(i) = 0;
        state_.last_coded_line = static_cast<int16_t>(last);
        original_ = spec_;
    }
    void run() { III_stereo(spec_.data(), state_.scalefac, &granule_, &state_); }

    int32_t &R0(int i) { return spec_[576 + i]; }
    int32_t L(int i) const { return spec_[i]; }
    int32_t R(int i) const { return spec_[576 + i]; }
    int32_t oL(int i) const { return original_[i]; }
    int32_t oR(int i) const { return original_[576 + i]; }
    const int16_t *section(int record, int offset) const {
        return state_.tables.sfBandIndex[record] + offset;
    }

    // Lines first..last are unchanged (mode 'u'), middle/side ('m'), or
    // intensity with (kl, kr) through the x2 ('2') or x4 ('4') path.
    void expect_lines(int first, int last, char mode, int32_t kl = 0, int32_t kr = 0) {
        for (int i = first; i <= last; ++i) {
            int32_t el = oL(i), er = oR(i);
            if (mode == 'm') {
                el = wrap_add(oL(i), oR(i));
                er = wrap_sub(oL(i), oR(i));
            } else if (mode == '2') {
                el = is_x2(oL(i), kl);
                er = is_x2(oL(i), kr);
            } else if (mode == '4') {
                el = is_x4(oL(i), kl);
                er = is_x4(oL(i), kr);
            }
            ASSERT_EQ(L(i), el) << "line " << i << " mode " << mode;
            ASSERT_EQ(R(i), er) << "line " << i << " mode " << mode;
        }
    }

    MP3D_Decoder_State state_{};
    MP3D_Frame_Params params_{};
    MP3D_Granule_Info granule_{};
    std::array<int32_t, 1152> spec_{};
    std::array<int32_t, 1152> original_{};
    std::array<int32_t, 576> pcm_{};
    std::array<uint8_t, 52> marks_{};
};

// MPEG-1 pair p of the plain and root2 tables.
int32_t kl1(int p) {
    return is_ratio_table[2 * p];
}
int32_t kr1(int p) {
    return is_ratio_table[2 * p + 1];
}
int32_t kl1r(int p) {
    return is_ratio_table_root2[2 * p];
}
int32_t kr1r(int p) {
    return is_ratio_table_root2[2 * p + 1];
}

TEST_F(StereoTest, NonJointFramesAreUntouched) {
    struct Case {
        int mode, ext, channels;
    };
    for (const Case c : {Case{3, 3, 1}, Case{1, 3, 1}, Case{0, 3, 2}, Case{2, 3, 2}}) {
        SetUp();
        header(1, 0, c.mode, c.ext);
        params_.channels = static_cast<int16_t>(c.channels);
        right_coded_to(-1);
        run();
        EXPECT_EQ(spec_, original_) << "mode " << c.mode;
        EXPECT_EQ(state_.nonzero_subbands[0], 7);
        EXPECT_EQ(state_.nonzero_subbands[1], 19);
    }
}

TEST_F(StereoTest, MiddleSideOnlyCombinesEveryLineUnscaledAndWraps) {
    header(1, 1, 1, 2);
    spec_[0] = INT32_MAX;  // L + R wraps
    spec_[576] = 1;
    spec_[575] = INT32_MIN;  // L - R wraps
    spec_[1151] = 5;
    original_ = spec_;
    state_.last_coded_line = -1;  // ignored without intensity
    run();
    expect_lines(0, 575, 'm');
    EXPECT_EQ(L(0), INT32_MIN);
    EXPECT_EQ(R(575), INT32_MAX - 4);
    EXPECT_EQ(state_.nonzero_subbands[0], 19);
    EXPECT_EQ(state_.nonzero_subbands[1], 19);
}

TEST_F(StereoTest, IntensityLongRightCodedToTheEndChangesNothing) {
    header(1, 0, 1, 1);
    for (int b = 0; b < 21; ++b) state_.scalefac[1].scalefac_l[b] = 2;
    right_coded_to(575);
    run();
    EXPECT_EQ(spec_, original_);

    // With middle/side as well, it is plain middle/side everywhere.
    SetUp();
    header(1, 0, 1, 3);
    right_coded_to(575);
    run();
    expect_lines(0, 575, 'm');
}

TEST_F(StereoTest, IntensityLongEmptyRightTakesPositionsFromBandZero) {
    header(1, 0, 1, 1);  // 44.1 kHz
    const int16_t pos[21] = {0, 1, 2, 3, 4, 5, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 0, 4};
    for (int b = 0; b < 21; ++b) state_.scalefac[1].scalefac_l[b] = pos[b];
    state_.scalefac[1].scalefac_l[21] = 6;  // never a position: band 21 takes band 20's
    right_coded_to(-1);
    run();
    const int16_t *bnd = section(3, kSfbLongSection);
    for (int b = 0; b < 21; ++b)
        expect_lines(bnd[b], bnd[b + 1] - 1, '2', kl1(pos[b]), kr1(pos[b]));
    expect_lines(418, 575, '2', kl1(4), kr1(4));
    EXPECT_EQ(state_.nonzero_subbands[0], 19);
    EXPECT_EQ(state_.nonzero_subbands[1], 19);
}

TEST_F(StereoTest, IntensityLongStartsAboveTheBandHoldingTheLastCodedLine) {
    header(0, 1, 1, 3);  // MPEG-2 24 kHz, middle/side and intensity
    for (int b = 0; b < 21; ++b) marks_[b] = static_cast<uint8_t>(b % 7);
    marks_[15] = 31;  // illegal position: middle/side
    granule_.scalefac_compress = 0;
    right_coded_to(96);  // the first line of band 11 (96..113)
    run();
    const int16_t *bnd = section(1, kSfbLongSection);
    ASSERT_EQ(bnd[12], 114);
    expect_lines(0, 113, 'm');
    for (int b = 12; b < 21; ++b) {
        const int p = b % 7;
        if (b == 15)
            expect_lines(bnd[b], bnd[b + 1] - 1, 'm');
        else
            expect_lines(bnd[b], bnd[b + 1] - 1, '4', LSF_k_val_table_root2[2 * p],
                         LSF_k_val_table_root2[2 * p + 1]);
    }
    expect_lines(540, 575, '4', LSF_k_val_table_root2[2 * 6], LSF_k_val_table_root2[2 * 6 + 1]);
}

TEST_F(StereoTest, Mpeg1PositionsSevenAndAboveAreNotIntensity) {
    header(1, 0, 1, 3);
    MP3D_Scale_Factors &sf = state_.scalefac[1];
    for (int b = 0; b < 21; ++b) sf.scalefac_l[b] = 1;
    sf.scalefac_l[2] = 7;  // the illegal position
    sf.scalefac_l[5] = 9;  // tan(9 pi / 12) = -1: no factor pair exists
    sf.scalefac_l[10] = 15;
    sf.scalefac_l[20] = 7;  // band 21 takes band 20's position
    const MP3D_Scale_Factors before = sf;
    right_coded_to(-1);
    run();
    const int16_t *bnd = section(3, kSfbLongSection);
    for (int b = 0; b < 21; ++b) {
        if (b == 2 || b == 5 || b == 10 || b == 20)
            expect_lines(bnd[b], bnd[b + 1] - 1, 'm');
        else
            expect_lines(bnd[b], bnd[b + 1] - 1, '4', kl1r(1), kr1r(1));
    }
    expect_lines(418, 575, 'm');
    // The transmitted factors stay for granule 1's scfsi reuse.
    EXPECT_EQ(0, memcmp(&before, &sf, sizeof sf));

    // Without middle/side those bands stay as they are.
    SetUp();
    header(1, 0, 1, 1);
    state_.scalefac[1] = before;
    right_coded_to(-1);
    run();
    expect_lines(bnd[2], bnd[3] - 1, 'u');
    expect_lines(bnd[10], bnd[11] - 1, 'u');
    expect_lines(418, 575, 'u');
    expect_lines(bnd[3], bnd[4] - 1, '2', kl1(1), kr1(1));
}

TEST_F(StereoTest, PositionThreeHalvesTheLeftValueIntoBothChannels) {
    header(1, 2, 1, 1);
    for (int b = 0; b < 21; ++b) state_.scalefac[1].scalefac_l[b] = 3;
    spec_[0] = 1001;
    spec_[1] = -1001;
    spec_[2] = 1 << 28;
    spec_[3] = INT32_MIN;
    right_coded_to(-1);
    run();
    expect_lines(0, 575, '2', 0x40000000, 0x40000000);
    EXPECT_EQ(L(0), 500);
    EXPECT_EQ(R(0), 500);
    EXPECT_EQ(L(1), -500);
    EXPECT_EQ(L(2), 1 << 27);
    EXPECT_EQ(R(3), INT32_MIN / 2);
}

TEST_F(StereoTest, LsfOddScalefacCompressUsesTheSecondRow) {
    for (const uint32_t compress : {0u, 1u, 2u, 3u}) {
        SetUp();
        header(2, 2, 1, 1);  // MPEG-2.5 8 kHz
        for (int b = 0; b < 21; ++b) marks_[b] = 1;
        granule_.scalefac_compress = compress;
        right_coded_to(-1);
        run();
        // io^1 = 2^-1/4 (row 0) or 2^-1/2 (row 1) on the left, unity right.
        const int32_t kl = (compress & 1) ? 0x5A82799A : 0x6BA27E65;
        expect_lines(0, 575, '2', kl, kOne);
    }
}

TEST_F(StereoTest, LsfPositionsAboveSixUseTheFormulaAndIllegalOnesNone) {
    header(0, 0, 1, 1);  // MPEG-2 22.05 kHz
    const uint8_t m[21] = {7, 8, 14, 30, 31, 0,  200, 6,  13, 1, 2,
                           3, 4, 5,  9,  10, 11, 12,  15, 29, 30};
    for (int b = 0; b < 21; ++b) marks_[b] = m[b];
    granule_.scalefac_compress = 1;
    right_coded_to(-1);
    run();
    const int16_t *bnd = section(0, kSfbLongSection);
    // Row 1, io = 2^-1/2: position 7 -> (io^4, 1) = (0.25, 1), 8 -> (1, 0.25),
    // 14 -> (1, io^7), 30 -> (1, io^15).
    expect_lines(bnd[0], bnd[1] - 1, '2', 0x20000000, kOne);
    expect_lines(bnd[1], bnd[2] - 1, '2', kOne, 0x20000000);
    expect_lines(bnd[2], bnd[3] - 1, '2', kOne, 0x0B504F33);
    expect_lines(bnd[3], bnd[4] - 1, '2', kOne, 0x00B504F3);
    expect_lines(bnd[4], bnd[5] - 1, 'u');  // the illegal position
    expect_lines(bnd[6], bnd[7] - 1, 'u');  // a mark no reader leaves
    for (int b = 7; b < 21; ++b) {
        const int32_t *pair = &LSF_k_val_table_full[1][2 * m[b]];
        expect_lines(bnd[b], bnd[b + 1] - 1, '2', pair[0], pair[1]);
    }
    expect_lines(522, 575, '2', kOne, 0x00B504F3);  // band 21 takes band 20's 30

    // The extended rows start with the stored ones.
    for (int row = 0; row < 2; ++row) {
        for (int i = 0; i < 14; ++i) {
            EXPECT_EQ(LSF_k_val_table_full[row][i], LSF_k_val_table[14 * row + i]);
            EXPECT_EQ(LSF_k_val_table_root2_full[row][i], LSF_k_val_table_root2[14 * row + i]);
        }
    }
}

// Short bands of 44.1 kHz: 0 4 8 12 16 22 30 40 52 66 84 106 136 192.
constexpr int kShort441[14] = {0, 4, 8, 12, 16, 22, 30, 40, 52, 66, 84, 106, 136, 192};
int short_first(int b, int w) {
    return 3 * kShort441[b] + w * (kShort441[b + 1] - kShort441[b]);
}
int short_last(int b, int w) {
    return short_first(b, w + 1) - 1;
}

TEST_F(StereoTest, ShortBlocksFindEachWindowsOwnBound) {
    header(1, 0, 1, 3);
    short_blocks(false);
    MP3D_Scale_Factors &sf = state_.scalefac[1];
    for (int w = 0; w < 3; ++w)
        for (int b = 0; b < 12; ++b) sf.scalefac_s[w][b] = static_cast<int16_t>((b + 2 * w) % 7);
    sf.scalefac_s[1][7] = 7;  // illegal: middle/side inside window 1's intensity part
    // Right channel: zero except one line in window 0 band 5, window 1 band
    // 2, window 2 band 9 (the last coded line), and window 1 band 1.
    for (int i = 0; i < 576; ++i) R0(i) = 0;
    R0(short_first(5, 0) + 1) = 3;
    R0(short_last(2, 1)) = -4;
    R0(short_first(1, 1)) = 9;
    R0(short_first(9, 2)) = 5;
    right_coded_to(short_first(9, 2));
    run();
    const int first_intensity[3] = {6, 3, 10};
    for (int w = 0; w < 3; ++w) {
        for (int b = 0; b < 13; ++b) {
            const int p = sf.scalefac_s[w][b < 12 ? b : 11];
            if (b < first_intensity[w] || p == 7)
                expect_lines(short_first(b, w), short_last(b, w), 'm');
            else
                expect_lines(short_first(b, w), short_last(b, w), '4', kl1r(p), kr1r(p));
        }
    }
}

TEST_F(StereoTest, ShortBlocksCodedIntoBandTwelveScanFromTheTopRange) {
    // The last coded line lies in band 12 (window 1), so no window-0 boundary
    // lies above it and the walk starts at the top range, 38.
    header(1, 0, 1, 1);
    short_blocks(false);
    MP3D_Scale_Factors &sf = state_.scalefac[1];
    for (int w = 0; w < 3; ++w)
        for (int b = 0; b < 12; ++b) sf.scalefac_s[w][b] = static_cast<int16_t>(1 + w);
    for (int i = 0; i < 576; ++i) R0(i) = 0;
    R0(short_first(12, 1) + 3) = 1;
    R0(short_first(11, 0)) = 2;
    R0(short_first(10, 2)) = 3;
    right_coded_to(short_first(12, 1) + 3);
    run();
    const int first_intensity[3] = {12, 13, 11};
    for (int w = 0; w < 3; ++w) {
        for (int b = 0; b < 13; ++b) {
            if (b < first_intensity[w])
                expect_lines(short_first(b, w), short_last(b, w), 'u');
            else
                expect_lines(short_first(b, w), short_last(b, w), '2', kl1(1 + w), kr1(1 + w));
        }
    }
}

TEST_F(StereoTest, ShortBlocksWithEmptyRightUseAllFortyOneSegments) {
    header(1, 1, 1, 1);
    short_blocks(false);
    for (int w = 0; w < 3; ++w)
        for (int b = 0; b < 12; ++b) state_.scalefac[1].scalefac_s[w][b] = 3;
    pcm_.fill(0x5EED);
    right_coded_to(-1);
    run();
    expect_lines(0, 575, '2', 0x40000000, 0x40000000);
    // 1 + 39 + 1 triples, covering the lines in order, then nothing more.
    int32_t next = 0;
    for (int t = 0; t < 40; ++t) {
        EXPECT_EQ(pcm_[3 * t], next) << t;
        next = pcm_[3 * t + 1] + 1;
    }
    EXPECT_EQ(next, 576);
    EXPECT_EQ(pcm_[120], 576);
    EXPECT_EQ(pcm_[121], 575);
    EXPECT_EQ(pcm_[123], 0x5EED);
}

// Mixed section of 44.1 kHz: long 0 4 8 12 16 20 24 30 36, then short windows
// of bands 3..12.
TEST_F(StereoTest, MixedBlockEndingInTheLongPartWalksTheLongBands) {
    header(1, 0, 1, 1);
    short_blocks(true);
    MP3D_Scale_Factors &sf = state_.scalefac[1];
    for (int b = 0; b < 8; ++b) sf.scalefac_l[b] = static_cast<int16_t>(b % 7);
    for (int w = 0; w < 3; ++w)
        for (int b = 3; b < 12; ++b) sf.scalefac_s[w][b] = static_cast<int16_t>(w + 1);
    for (int i = 0; i < 576; ++i) R0(i) = 0;
    R0(5) = 1;  // long band 1
    right_coded_to(5);
    run();
    // Walking down from range 8 with flags in rotation 0, 1, 2: range 1 uses
    // flag 1 and is the only non-zero one; range 0 uses flag 2, is zero, and
    // so is intensity-coded too.
    expect_lines(0, 3, '2', kl1(0), kr1(0));
    expect_lines(4, 7, 'u');
    const int16_t *bnd = section(3, kSfbMixedSection);
    for (int b = 2; b < 8; ++b) expect_lines(bnd[b], bnd[b + 1] - 1, '2', kl1(b % 7), kr1(b % 7));
    for (int j = 8; j < 38; ++j) {
        const int w = (j - 8) % 3;
        expect_lines(bnd[j], bnd[j + 1] - 1, '2', kl1(w + 1), kr1(w + 1));
    }
}

TEST_F(StereoTest, MixedBlockEndingInTheShortPartTakesEveryRangeAbove) {
    // MPEG-1: the last coded line opens range 12; ranges 13.. intensity.
    header(1, 0, 1, 3);
    short_blocks(true);
    MP3D_Scale_Factors &sf = state_.scalefac[1];
    for (int w = 0; w < 3; ++w)
        for (int b = 3; b < 12; ++b) sf.scalefac_s[w][b] = static_cast<int16_t>((b + w) % 7);
    right_coded_to(54);  // the first line of range 12 (54..59)
    run();
    const int16_t *bnd = section(3, kSfbMixedSection);
    ASSERT_EQ(bnd[12], 54);
    expect_lines(0, 59, 'm');
    for (int j = 13; j < 38; ++j) {
        const int b = 3 + (j - 8) / 3, w = (j - 8) % 3;
        const int p = sf.scalefac_s[w][b < 12 ? b : 11];
        expect_lines(bnd[j], bnd[j + 1] - 1, '4', kl1r(p), kr1r(p));
    }

    // LSF (MPEG-2 16 kHz): 6 long bands, marks 6.. for short bands 3..11.
    SetUp();
    header(0, 2, 1, 1);
    short_blocks(true);
    for (int i = 0; i < 33; ++i) marks_[i] = static_cast<uint8_t>(i % 5);
    marks_[6 + 3 * 4 + 1] = 31;  // band 7, window 1
    granule_.scalefac_compress = 0;
    right_coded_to(40);  // in range 6 (36..41, band 3 window 0)
    run();
    const int16_t *lbnd = section(2, kSfbMixedSection);
    ASSERT_EQ(lbnd[6], 36);
    ASSERT_EQ(lbnd[7], 42);
    ASSERT_EQ(lbnd[36], 576);
    expect_lines(0, 41, 'u');
    for (int j = 7; j < 36; ++j) {
        const int b = 3 + (j - 6) / 3, w = (j - 6) % 3;
        const int p = marks_[6 + 3 * ((b < 12 ? b : 11) - 3) + w];
        if (p == 31)
            expect_lines(lbnd[j], lbnd[j + 1] - 1, 'u');
        else
            expect_lines(lbnd[j], lbnd[j + 1] - 1, '2', LSF_k_val_table[2 * p],
                         LSF_k_val_table[2 * p + 1]);
    }
}

// Any factor (0..15), mark byte (0..255), coded length and block type, for
// every stream kind: the ranges stay inside the granule, the positions inside
// their table rows (the sanitizer build checks the reads), and every line is
// either left alone, middle/side or intensity with a stored pair.
TEST_F(StereoTest, HostilePositionsStayInsideTheTables) {
    uint32_t seed = 99;
    auto next = [&seed](uint32_t n) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % n;
    };
    for (int trial = 0; trial < 400; ++trial) {
        SetUp();
        const int version = static_cast<int>(next(3));
        header(version, static_cast<int>(next(3)), 1, 1 + static_cast<int>(next(3)));
        granule_.window_switching_flag = next(2);
        granule_.block_type = next(4);
        granule_.mixed_block_flag = next(2);
        granule_.scalefac_compress = next(512);
        MP3D_Scale_Factors &sf = state_.scalefac[1];
        for (int16_t &v : sf.scalefac_l) v = static_cast<int16_t>(next(16));
        for (auto &w : sf.scalefac_s)
            for (int16_t &v : w) v = static_cast<int16_t>(next(16));
        for (uint8_t &m : marks_) m = static_cast<uint8_t>(next(256));
        const int last = static_cast<int>(next(577)) - 1;
        right_coded_to(last);
        if (next(2))
            for (int i = 0; i <= last; ++i) R0(i) = next(4) == 0 ? 1 : 0;
        original_ = spec_;
        run();
        const bool ms = (state_.header.mode_extension & 2) != 0;
        for (int i = 0; i < 576; ++i) {
            const bool untouched = L(i) == oL(i) && R(i) == oR(i);
            const bool mid_side = L(i) == wrap_add(oL(i), oR(i)) && R(i) == wrap_sub(oL(i), oR(i));
            if (!ms && untouched) continue;
            if (ms && mid_side) continue;
            // An intensity line: both outputs are multiples of the left one.
            const int shift = ms ? 2 : 1;
            bool found = false;
            for (const int32_t *row :
                 {is_ratio_table, is_ratio_table_root2, &LSF_k_val_table_full[0][0],
                  &LSF_k_val_table_full[1][0], &LSF_k_val_table_root2_full[0][0],
                  &LSF_k_val_table_root2_full[1][0]}) {
                const int pairs = (row == is_ratio_table || row == is_ratio_table_root2) ? 7 : 31;
                for (int p = 0; p < pairs && !found; ++p)
                    found = L(i) == wrap_shl(mulhi_round(oL(i), row[2 * p]), shift) &&
                            R(i) == wrap_shl(mulhi_round(oL(i), row[2 * p + 1]), shift);
            }
            ASSERT_TRUE(found) << "trial " << trial << " line " << i;
        }
    }
}

TEST(StereoLoop, AppliesCountedSegmentsOnly) {
    std::array<int32_t, 576> l{}, r{};
    fill(l.data(), 576, 7u, 1 << 30);
    fill(r.data(), 576, 8u, 1 << 30);
    const auto ol = l, orr = r;
    const int32_t table[4] = {0x2D413CCC, 0x13207F62, kOne, 0};
    const int32_t segments[] = {
        0,   9,   31,  // middle/side
        10,  19,  1,   // intensity pair 1, x4
        30,  20,  0,   // empty: nothing
        100, 109, 0,   // beyond the count: nothing
    };
    stereo_loop(l.data(), r.data(), segments, 1, 1, 3, table);
    for (int i = 0; i < 576; ++i) {
        if (i < 10) {
            EXPECT_EQ(l[i], wrap_add(ol[i], orr[i]));
            EXPECT_EQ(r[i], wrap_sub(ol[i], orr[i]));
        } else if (i < 20) {
            EXPECT_EQ(l[i], is_x4(ol[i], table[2]));
            EXPECT_EQ(r[i], is_x4(ol[i], table[3]));
        } else {
            EXPECT_EQ(l[i], ol[i]) << i;
            EXPECT_EQ(r[i], orr[i]) << i;
        }
    }
    // Without middle/side: position 31 leaves lines alone, intensity is x2.
    auto l2 = ol, r2 = orr;
    const int32_t seg2[] = {0, 3, 31, 4, 7, 0};
    stereo_loop(l2.data(), r2.data(), seg2, 0, 1, 2, table);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(l2[i], ol[i]);
    for (int i = 4; i < 8; ++i) {
        EXPECT_EQ(l2[i], is_x2(ol[i], table[0]));
        EXPECT_EQ(r2[i], is_x2(ol[i], table[1]));
    }
}

}  // namespace
}  // namespace mp3d
