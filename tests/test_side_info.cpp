// Layer III side information: layouts of MPEG-1 and LSF frames, derived
// fields, and the block-type check.
#include <gtest/gtest.h>

#include "decoder/bit_reader.h"
#include "decoder/side_info.h"
#include "support/layer3_test_support.h"

using namespace mp3d;
using l3test::Bits;
using l3test::Decoder;

namespace {

struct GranuleFields {
    uint32_t part2_3_length, big_values, global_gain, scalefac_compress;
    uint32_t window_switching_flag, block_type, mixed_block_flag;
    uint32_t table_select[3], subblock_gain[3];
    uint32_t region0_count, region1_count, preflag, scalefac_scale, count1table_select;
};

// Writes one granule record in the standard's layout.
void put_granule(Bits &b, const GranuleFields &g, bool mpeg1) {
    b.put(g.part2_3_length, 12).put(g.big_values, 9).put(g.global_gain, 8);
    b.put(g.scalefac_compress, mpeg1 ? 4 : 9).put(g.window_switching_flag, 1);
    if (g.window_switching_flag) {
        b.put(g.block_type, 2).put(g.mixed_block_flag, 1);
        b.put(g.table_select[0], 5).put(g.table_select[1], 5);
        for (uint32_t s : g.subblock_gain) b.put(s, 3);
    } else {
        for (uint32_t t : g.table_select) b.put(t, 5);
        b.put(g.region0_count, 4).put(g.region1_count, 3);
    }
    if (mpeg1) b.put(g.preflag, 1);
    b.put(g.scalefac_scale, 1).put(g.count1table_select, 1);
}

GranuleFields ordinary(uint32_t seed) {
    return {2000 + seed,       100 + seed, 140 + seed,      9, 0, 0, 0,
            {1 + seed, 7, 24}, {0, 0, 0},  (5 + seed) & 15, 3, 1, 0, 1};
}

GranuleFields switching(uint32_t block_type, uint32_t mixed, uint32_t seed) {
    return {3000 + seed,        200 + seed, 150, 12, 1, block_type, mixed,
            {16 + seed, 31, 0}, {1, 5, 7},  0,   0,  0, 1,          0};
}

// Field-by-field comparison of what was read with what was written.
void expect_granule(const MP3D_Granule_Info &got, const GranuleFields &want, bool mpeg1) {
    EXPECT_EQ(got.part2_3_length, want.part2_3_length);
    EXPECT_EQ(got.big_values, want.big_values);
    EXPECT_EQ(got.global_gain, want.global_gain);
    EXPECT_EQ(got.scalefac_compress, want.scalefac_compress);
    EXPECT_EQ(got.window_switching_flag, want.window_switching_flag);
    EXPECT_EQ(got.block_type, want.block_type);
    EXPECT_EQ(got.table_select[0], want.table_select[0]);
    EXPECT_EQ(got.table_select[1], want.table_select[1]);
    if (want.window_switching_flag) {
        EXPECT_EQ(got.mixed_block_flag, want.mixed_block_flag);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(got.subblock_gain[i], want.subblock_gain[i]);
    } else {
        EXPECT_EQ(got.table_select[2], want.table_select[2]);
        EXPECT_EQ(got.region0_count, want.region0_count);
        EXPECT_EQ(got.region1_count, want.region1_count);
    }
    if (mpeg1) {
        EXPECT_EQ(got.preflag, want.preflag);
    }
    EXPECT_EQ(got.scalefac_scale, want.scalefac_scale);
    EXPECT_EQ(got.count1table_select, want.count1table_select);
}

// Runs the reader over the written bits; returns the status and the bits read.
int32_t read_side_info(Decoder &d, int version, int channels, uint32_t *bits_read) {
    d.state->header.version = static_cast<int16_t>(version);
    d.state->header.mode = static_cast<int16_t>(channels == 1 ? 3 : 0);
    d.state->frame_params->channels = static_cast<int16_t>(channels);
    const uint32_t before = sstell1(d.state);
    const int32_t status = III_get_side_info(&d.state->side_info, d.state);
    *bits_read = sstell1(d.state) - before;
    return status;
}

}  // namespace

TEST(SideInfo, StereoMpeg1LayoutAndDerivedFields) {
    const GranuleFields g[2][2] = {{ordinary(0), switching(2, 0, 1)},
                                   {switching(1, 0, 2), switching(2, 1, 3)}};
    Bits b;
    b.put(0x1A5, 9).put(5, 3);
    const uint32_t scfsi[2][4] = {{1, 0, 1, 1}, {0, 1, 0, 0}};
    for (const auto &ch : scfsi)
        for (uint32_t f : ch) b.put(f, 1);
    for (int gr = 0; gr < 2; ++gr)
        for (int ch = 0; ch < 2; ++ch) put_granule(b, g[gr][ch], true);
    ASSERT_EQ(b.count(), 256);

    Decoder d(b.padded());
    ASSERT_NE(d.state, nullptr);
    MP3D_Side_Info &si = d.state->side_info;
    si.ch[0].gr[0].block_type = 2;        // an ordinary granule resets it
    si.ch[1].gr[0].table_select[2] = 17;  // window switching keeps entry 2
    uint32_t bits = 0;
    ASSERT_EQ(read_side_info(d, 1, 2, &bits), MP3D_OK);
    EXPECT_EQ(bits, 256u);
    EXPECT_EQ(si.main_data_begin, 0x1A5u);
    EXPECT_EQ(si.private_bits, 5u);
    for (int ch = 0; ch < 2; ++ch)
        for (int i = 0; i < 4; ++i) EXPECT_EQ(si.ch[ch].scfsi[i], scfsi[ch][i]);
    for (int gr = 0; gr < 2; ++gr)
        for (int ch = 0; ch < 2; ++ch) expect_granule(si.ch[ch].gr[gr], g[gr][ch], true);
    EXPECT_EQ(si.ch[0].gr[0].block_type, 0u);
    EXPECT_EQ(si.ch[1].gr[0].table_select[2], 17u);
    // Derived region counts: pure short 8/12; start, stop or mixed 7/13.
    EXPECT_EQ(si.ch[1].gr[0].region0_count, 8u);
    EXPECT_EQ(si.ch[1].gr[0].region1_count, 12u);
    EXPECT_EQ(si.ch[0].gr[1].region0_count, 7u);
    EXPECT_EQ(si.ch[0].gr[1].region1_count, 13u);
    EXPECT_EQ(si.ch[1].gr[1].region0_count, 7u);
    EXPECT_EQ(si.ch[1].gr[1].region1_count, 13u);
}

TEST(SideInfo, MonoMpeg1ReadsFivePrivateBitsAndOneScfsi) {
    Bits b;
    b.put(3, 9).put(0x15, 5).put(0xA, 4);
    put_granule(b, ordinary(1), true);
    put_granule(b, switching(3, 0, 4), true);
    ASSERT_EQ(b.count(), 136);
    Decoder d(b.padded());
    ASSERT_NE(d.state, nullptr);
    MP3D_Side_Info &si = d.state->side_info;
    si.ch[1].gr[0].part2_3_length = 77;
    si.ch[1].scfsi[0] = 9;
    uint32_t bits = 0;
    ASSERT_EQ(read_side_info(d, 1, 1, &bits), MP3D_OK);
    EXPECT_EQ(bits, 136u);
    EXPECT_EQ(si.private_bits, 0x15u);
    EXPECT_EQ(si.ch[0].scfsi[0], 1u);
    EXPECT_EQ(si.ch[0].scfsi[1], 0u);
    expect_granule(si.ch[0].gr[0], ordinary(1), true);
    expect_granule(si.ch[0].gr[1], switching(3, 0, 4), true);
    EXPECT_EQ(si.ch[1].gr[0].part2_3_length, 77u);  // second channel untouched
    EXPECT_EQ(si.ch[1].scfsi[0], 9u);
}

TEST(SideInfo, LsfLayouts) {
    // Mono: 8-bit main_data_begin, 1 private bit, one 63-bit granule = 72 bits.
    {
        GranuleFields g = ordinary(2);
        g.scalefac_compress = 0x1F3;  // 9 bits
        Bits b;
        b.put(0xC4, 8).put(1, 1);
        put_granule(b, g, false);
        ASSERT_EQ(b.count(), 72);
        Decoder d(b.padded());
        ASSERT_NE(d.state, nullptr);
        MP3D_Side_Info &si = d.state->side_info;
        si.ch[0].gr[0].preflag = 1;  // not transmitted: kept
        si.ch[0].scfsi[2] = 5;
        si.ch[0].gr[1].big_values = 33;
        uint32_t bits = 0;
        ASSERT_EQ(read_side_info(d, 0, 1, &bits), MP3D_OK);
        EXPECT_EQ(bits, 72u);
        EXPECT_EQ(si.main_data_begin, 0xC4u);
        EXPECT_EQ(si.private_bits, 1u);
        expect_granule(si.ch[0].gr[0], g, false);
        EXPECT_EQ(si.ch[0].gr[0].preflag, 1u);
        EXPECT_EQ(si.ch[0].scfsi[2], 5u);
        EXPECT_EQ(si.ch[0].gr[1].big_values, 33u);
    }
    // Stereo MPEG-2.5: 2 private bits, two granule records = 136 bits.
    {
        GranuleFields g0 = switching(2, 1, 0), g1 = ordinary(3);
        g0.scalefac_compress = 0x155;
        g1.scalefac_compress = 0x0AA;
        Bits b;
        b.put(0x01, 8).put(2, 2);
        put_granule(b, g0, false);
        put_granule(b, g1, false);
        ASSERT_EQ(b.count(), 136);
        Decoder d(b.padded());
        ASSERT_NE(d.state, nullptr);
        uint32_t bits = 0;
        ASSERT_EQ(read_side_info(d, 2, 2, &bits), MP3D_OK);
        EXPECT_EQ(bits, 136u);
        EXPECT_EQ(d.state->side_info.private_bits, 2u);
        expect_granule(d.state->side_info.ch[0].gr[0], g0, false);
        expect_granule(d.state->side_info.ch[1].gr[0], g1, false);
    }
}

TEST(SideInfo, WindowSwitchingWithBlockTypeZeroIsRefused) {
    // The offending record is the last one (granule 1, channel 1): everything
    // up to its subblock gains is read, then 34.
    GranuleFields bad = switching(0, 1, 0);
    Bits b;
    b.put(0, 9).put(0, 3).put(0, 8);
    put_granule(b, ordinary(0), true);
    put_granule(b, ordinary(1), true);
    put_granule(b, ordinary(2), true);
    put_granule(b, bad, true);
    const int64_t upto_gains = b.count() - 3;  // preflag, scalefac_scale, count1 select
    b.put(0xFFFF, 16);
    Decoder d(b.padded());
    ASSERT_NE(d.state, nullptr);
    uint32_t bits = 0;
    EXPECT_EQ(read_side_info(d, 1, 2, &bits), MP3D_ERROR_SIDE_INFO);
    EXPECT_EQ(static_cast<int64_t>(bits), upto_gains);
    EXPECT_EQ(d.state->side_info.ch[1].gr[1].subblock_gain[2], 7u);
    expect_granule(d.state->side_info.ch[0].gr[1], ordinary(2), true);
}
