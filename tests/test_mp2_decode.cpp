// Layer II bit allocation, scale factors, requantisation and whole frames.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>

#include "decoder/bit_reader.h"
#include "decoder/mp2_alloc_table.h"
#include "decoder/mp2_bitalloc.h"
#include "decoder/mp2_dequantize.h"
#include "support/layer2_frame_writer.h"
#include "support/layer2_support.h"

using namespace mp3d;
using namespace layer2_test;

namespace {

// A decoder whose frame bit reader delivers `bits`, with the frame parameters
// of a Layer II frame set by hand.
struct Unit {
    Unit(const BitWriter &bits, int table, int channels, int js_bound)
        : dec(bits.bytes(bits.bit_count() / 8 + 8)) {
        s = dec.state();
        MP3D_Frame_Params *fp = s->frame_params;
        MP2D_initialize_alloc_table(s, table);
        fp->alloc_table = s->mp2_alloc_rows;
        fp->alloc_table_index = static_cast<int16_t>(table);
        fp->channels = static_cast<int16_t>(channels);
        fp->sb_limit = static_cast<int16_t>(s->mp2_tables->sblimit[table]);
        fp->js_bound = static_cast<int16_t>(js_bound);
    }
    // Dequantises one granule into the two blocks (prefilled with a marker).
    void granule(const uint8_t *plane) {
        for (auto &b : block) std::fill(std::begin(b), std::end(b), 0x5A5A5A5A);
        int32_t *const blocks[2] = {block[0], block[1]};
        MP2D_dequantize_sample(blocks, s->mp2_allocation, plane, s->frame_params, s);
    }
    Decoder dec;
    MP3D_Decoder_State *s = nullptr;
    int32_t block[2][96] = {};
};

constexpr uint32_t kMarker = 0xA5;

}  // namespace

TEST(Mp2Bitalloc, PacksAllocationsInBitstreamOrder) {
    // Joint stereo, bound 4, table 0 (limit 27): two fields per subband below
    // the bound, one above, stored twice.
    BitWriter w;
    for (int sb = 0; sb < 4; ++sb) w.put(sb + 1, 4), w.put(sb + 9, 4);
    for (int sb = 4; sb < 27; ++sb) {
        const int nbal = sb < 11 ? 4 : sb < 23 ? 3 : 2;
        w.put(static_cast<uint32_t>(sb % ((1 << nbal) - 1) + 1), nbal);
    }
    w.put(kMarker, 8);
    Unit u(w, 0, 2, 4);
    MP2D_decode_bitalloc(u.s->mp2_allocation, u.s->frame_params, u.s);
    EXPECT_EQ(u.s->bits_consumed, 8u * 4 + 7 * 4 + 12 * 3 + 4 * 2);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int sb = 0; sb < 4; ++sb) {
        EXPECT_EQ(u.s->mp2_allocation[2 * sb], sb + 1);
        EXPECT_EQ(u.s->mp2_allocation[2 * sb + 1], sb + 9);
    }
    for (int sb = 4; sb < 27; ++sb) {
        const int nbal = sb < 11 ? 4 : sb < 23 ? 3 : 2;
        EXPECT_EQ(u.s->mp2_allocation[2 * sb], sb % ((1 << nbal) - 1) + 1) << sb;
        EXPECT_EQ(u.s->mp2_allocation[2 * sb + 1], u.s->mp2_allocation[2 * sb]) << sb;
    }
}

TEST(Mp2Bitalloc, MonoAndBoundAboveTheLimit) {
    // Table 2 (limit 8): nbal 4, 4, then 3. Mono reads one field per subband.
    BitWriter mono;
    for (int sb = 0; sb < 8; ++sb) mono.put(static_cast<uint32_t>(sb % 7 + 1), sb < 2 ? 4 : 3);
    mono.put(kMarker, 8);
    Unit m(mono, 2, 1, 8);
    MP2D_decode_bitalloc(m.s->mp2_allocation, m.s->frame_params, m.s);
    EXPECT_EQ(getbits1(8, m.s), kMarker);
    for (int sb = 0; sb < 8; ++sb) EXPECT_EQ(m.s->mp2_allocation[sb], sb % 7 + 1);

    // Joint stereo with bound 16 over a limit of 8: every coded subband has
    // two fields, exactly as in plain stereo.
    BitWriter js;
    for (int sb = 0; sb < 8; ++sb)
        for (int ch = 0; ch < 2; ++ch) js.put(static_cast<uint32_t>((sb + ch) % 7), sb < 2 ? 4 : 3);
    js.put(kMarker, 8);
    Unit j(js, 2, 2, 16);
    MP2D_decode_bitalloc(j.s->mp2_allocation, j.s->frame_params, j.s);
    EXPECT_EQ(getbits1(8, j.s), kMarker);
    for (int sb = 0; sb < 8; ++sb)
        for (int ch = 0; ch < 2; ++ch) EXPECT_EQ(j.s->mp2_allocation[2 * sb + ch], (sb + ch) % 7);
}

TEST(Mp2Scale, ScfsiSelectsWhichIndicesAreRead) {
    // Stereo, table 2. Allocated pairs in order: (0,0) (1,0) (1,1) (3,0) (3,1);
    // (0,1) and subband 2 carry nothing.
    BitWriter w;
    const int scfsi[5] = {0, 1, 2, 3, 2};
    for (int v : scfsi) w.put(static_cast<uint32_t>(v), 2);
    const int read[] = {1, 2, 3, /*scfsi 1*/ 4, 5, /*scfsi 2*/ 6, /*scfsi 3*/ 7, 8, /*scfsi 2*/ 63};
    for (int v : read) w.put(static_cast<uint32_t>(v), 6);
    w.put(kMarker, 8);
    Unit u(w, 2, 2, 8);
    uint8_t *alloc = u.s->mp2_allocation;
    std::fill(alloc, alloc + 64, 0);
    alloc[0] = 1, alloc[2] = 2, alloc[3] = 3, alloc[6] = 1, alloc[7] = 1;
    MP2D_decode_scale(u.s->mp2_scfsi, alloc, u.s->mp2_scalefactors, u.s->frame_params, u.s);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    const int planes[5][3] = {{1, 2, 3}, {4, 4, 5}, {6, 6, 6}, {7, 8, 8}, {63, 63, 63}};
    for (int n = 0; n < 5; ++n) {
        EXPECT_EQ(u.s->mp2_scfsi[n], scfsi[n]) << n;
        for (int p = 0; p < 3; ++p)
            EXPECT_EQ(u.s->mp2_scalefactors[p][n], planes[n][p]) << n << " " << p;
    }
}

TEST(Mp2Dequantize, GroupedThreeStepCodes) {
    // Table 0, subband 0, allocation 1: 3 steps, scale index 3 (1.0).
    BitWriter w;
    w.put(0 + 3 * 1 + 9 * 2, 5);  // samples 0, 1, 2
    w.put(26, 5);                 // 2, 2, 2
    w.put(31, 5);                 // 1, 1, 0 (beyond 26: taken modulo 3)
    Unit u(w, 0, 1, 27);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[0] = 1;
    const uint8_t plane[64] = {3};
    const int32_t lo = -178956971, mid = 0, hi = 178956970;
    const int32_t expect[3][3] = {{lo, mid, hi}, {hi, hi, hi}, {mid, mid, lo}};
    for (const auto &e : expect) {
        u.granule(plane);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(u.block[0][32 * i], e[i]);
        for (int i = 0; i < 96; ++i) {
            if (i % 32 != 0) {
                EXPECT_EQ(u.block[0][i], 0) << i;
            }
        }
    }
    EXPECT_EQ(u.s->bits_consumed, 15u);
}

TEST(Mp2Dequantize, MatchesTheStandardRequantisation) {
    // Table 0: subband 0 uses row A (3, 7, 15, ... 65535), subband 3 row B
    // (3, 5, 7, 9, ...). Each case: subband, allocation, codes, scale index.
    struct Case {
        int sb, alloc, steps;
        int codes[3];
        int scale;
    };
    const Case cases[] = {
        {3, 2, 5, {4, 0, 3}, 0},                // grouped 5 steps, 7 bits
        {3, 4, 9, {8, 4, 0}, 1},                // grouped 9 steps, 10 bits
        {0, 2, 7, {0, 7, 4}, 5},                // 3 bits per sample (7 is the unused all-ones code)
        {0, 3, 15, {1, 14, 8}, 10},             // 4 bits
        {0, 13, 16383, {0, 8191, 16382}, 4},    // class 14
        {0, 15, 65535, {0, 32768, 65534}, 20},  // 16 bits per sample
        {0, 15, 65535, {0, 32768, 65534}, 62},  // smallest scale factor
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "steps " << c.steps << " scale " << c.scale);
        BitWriter w;
        int bits = 0;
        if (c.steps == 5 || c.steps == 9) {
            bits = c.steps == 5 ? 7 : 10;
            w.put(static_cast<uint32_t>(c.codes[0] + c.steps * (c.codes[1] + c.steps * c.codes[2])),
                  bits);
        } else {
            const int nb = static_cast<int>(std::ceil(std::log2(c.steps)));
            for (int code : c.codes) w.put(static_cast<uint32_t>(code), nb);
            bits = 3 * nb;
        }
        Unit u(w, 0, 1, 27);
        std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
        u.s->mp2_allocation[c.sb] = static_cast<uint8_t>(c.alloc);
        const uint8_t plane[64] = {static_cast<uint8_t>(c.scale)};
        u.granule(plane);
        EXPECT_EQ(u.s->bits_consumed, static_cast<uint32_t>(bits));
        for (int i = 0; i < 3; ++i) {
            const double want = requantise(c.codes[i], c.steps, c.scale) * (1 << 28);
            EXPECT_NEAR(u.block[0][32 * i + c.sb], want, 2.0) << "slot " << i;
        }
    }
}

TEST(Mp2Dequantize, ZerosAndScaleIndex63) {
    // Table 2 (limit 8), stereo: subband 1 of channel 0 has scale index 63,
    // subband 2 of channel 1 is coded; everything else must come out zero,
    // including subbands 8..31, and the codes of the silenced pair are read.
    BitWriter w;
    w.put(0x7FF, 12);  // subband 1, channel 0: 15 steps (4 bits) x 3
    w.put(0x123, 12);  // subband 2, channel 1: 15 steps x 3
    w.put(kMarker, 8);
    Unit u(w, 2, 2, 8);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[2] = 4;          // row E allocation 4: 15 steps
    u.s->mp2_allocation[2 * 2 + 1] = 4;  // row F allocation 4: 15 steps
    const uint8_t plane[64] = {63, 9};
    u.granule(plane);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int ch = 0; ch < 2; ++ch) {
        for (int i = 0; i < 96; ++i) {
            if (!(ch == 1 && i % 32 == 2)) {
                EXPECT_EQ(u.block[ch][i], 0) << ch << " " << i;
            }
        }
    }
    EXPECT_NEAR(u.block[1][2], requantise(1, 15, 9) * (1 << 28), 2.0);
    EXPECT_NEAR(u.block[1][34], requantise(2, 15, 9) * (1 << 28), 2.0);
    EXPECT_NEAR(u.block[1][66], requantise(3, 15, 9) * (1 << 28), 2.0);
}

TEST(Mp2Dequantize, JointStereoSharesRequantisedValues) {
    // Bound 4, table 0: subband 5 (row B, allocation 5: 15 steps) is coded
    // once; channel 0 has scale index 3 (1.0), channel 1 index 6 (0.5).
    BitWriter w;
    w.put(1, 4), w.put(9, 4), w.put(14, 4);
    w.put(kMarker, 8);
    Unit u(w, 0, 2, 4);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[10] = u.s->mp2_allocation[11] = 5;
    const uint8_t plane[64] = {3, 6};
    u.granule(plane);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int i = 0; i < 3; ++i) {
        const int32_t c0 = u.block[0][32 * i + 5];
        EXPECT_NE(c0, 0);
        // floor(r/2) then floor(r/4) of the same requantised r.
        EXPECT_EQ(u.block[1][32 * i + 5], c0 >> 1) << i;
    }
}
