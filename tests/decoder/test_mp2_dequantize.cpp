// Layer II sample dequantisation at the bit level: exact values of grouped
// and plain codes, and the samples that must stay zero.
#include <gtest/gtest.h>

#include "decoder/bit_reader.h"
#include "decoder/mp2_alloc_table.h"
#include "decoder/mp2_dequantize.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using namespace mp3d;

namespace {

constexpr uint32_t kMarker = 0xA5;

// A decoder whose frame bit reader delivers the written bits, with the frame
// parameters of a Layer II frame set by hand and no allocation yet.
struct Unit {
    Unit(const mp3d_test::BitWriter &bits, int table, int channels)
        : dec(padded(bits)), s((dec.init(), dec.state())) {
        MP3D_Frame_Params *fp = s->frame_params;
        MP2D_initialize_alloc_table(s, table);
        fp->alloc_table = s->mp2_alloc_rows;
        fp->channels = static_cast<int16_t>(channels);
        fp->sb_limit = fp->js_bound = static_cast<int16_t>(s->mp2_tables->sblimit[table]);
        std::fill(s->mp2_allocation, s->mp2_allocation + 64, 0);
    }
    static std::vector<uint8_t> padded(const mp3d_test::BitWriter &bits) {
        std::vector<uint8_t> out = bits.bytes();
        out.resize(out.size() + 8, 0);
        return out;
    }
    // Dequantises one granule into the two blocks, prefilled with a marker.
    void granule(const uint8_t *plane) {
        for (auto &b : block) std::fill(std::begin(b), std::end(b), 0x5A5A5A5A);
        int32_t *const blocks[2] = {block[0], block[1]};
        MP2D_dequantize_sample(blocks, s->mp2_allocation, plane, s->frame_params, s);
    }
    // Every sample but those of (ch, sb) is zero, in both blocks.
    void expect_zero_except(int ch, int sb) const {
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < 96; ++i)
                EXPECT_TRUE(block[c][i] == 0 || (c == ch && i % 32 == sb)) << c << " " << i;
    }
    mp3d_test::StreamDecoder dec;
    MP3D_Decoder_State *s;
    int32_t block[2][96] = {};
};

}  // namespace

TEST(Mp2Dequantize, ExactValuesOfGroupedAnd16BitCodes) {
    // Mono, table 0 (limit 27). Subband 0, allocation 1: 3 steps, one 5-bit
    // code per granule; subband 1, allocation 15: 65535 steps, three 16-bit
    // codes. Scale index 3 (multiplier 1.0) for both.
    mp3d_test::BitWriter w;
    const uint32_t grouped[3] = {0 + 3 * 1 + 9 * 2, 26, 31};  // 31 lies beyond 3^3 - 1
    for (const uint32_t code : grouped) {
        w.put(code, 5);
        for (const uint32_t c : {0u, 32768u, 65535u}) w.put(c, 16);
    }
    w.put(kMarker, 8);
    Unit u(w, 0, 1);
    u.s->mp2_allocation[0] = 1;
    u.s->mp2_allocation[1] = 15;
    const uint8_t plane[64] = {3, 3};
    // Codes 0, 1, 2 of 3 steps are -2/3, 0, +2/3 (floored, Q28); code 26
    // groups 2, 2, 2 and code 31 wraps to 1, 1, 0.
    const int32_t lo = -178956971, mid = 0, hi = 178956970;
    const int32_t want3[3][3] = {{lo, mid, hi}, {hi, hi, hi}, {mid, mid, lo}};
    const int32_t want16[3] = {-268431360, 8192, 268439552};
    for (const auto &want : want3) {
        u.granule(plane);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(u.block[0][32 * i], want[i]);
            EXPECT_EQ(u.block[0][32 * i + 1], want16[i]);
        }
        for (int i = 0; i < 96; ++i)
            EXPECT_TRUE(i % 32 < 2 || u.block[0][i] == 0) << i;  // 27..31 included
    }
    EXPECT_EQ(getbits1(8, u.s), kMarker);
}

TEST(Mp2Dequantize, ScaleIndex63AndSubbandsAboveTheLimitAreZero) {
    // Stereo, table 2 (limit 8): subband 1 of channel 0 has scale index 63,
    // subband 2 of channel 1 index 9; both have 15 steps (4-bit codes). The
    // silenced pair's codes are still read.
    mp3d_test::BitWriter w;
    w.put(0x7FF, 12);
    w.put(0x123, 12);  // codes 1, 2, 3
    w.put(kMarker, 8);
    Unit u(w, 2, 2);
    u.s->mp2_allocation[2 * 1] = 4;
    u.s->mp2_allocation[2 * 2 + 1] = 4;
    const uint8_t plane[64] = {63, 9};
    u.granule(plane);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    u.expect_zero_except(1, 2);
    EXPECT_EQ(u.block[1][2], -53687092);
    EXPECT_EQ(u.block[1][34], -44739243);
    EXPECT_EQ(u.block[1][66], -35791395);
}
