// Huffman decoding driver: region and band selection, exponents, and the bit
// accounting against part2_3_length (rewinds, skips, discarded quadruples),
// last_coded_line and the subband counts.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "decoder/frame_cycle.h"
#include "decoder/huffman_driver.h"
#include "decoder/lsf_scale_factors.h"
#include "decoder/reservoir.h"
#include "decoder/scale_factors.h"
#include "decoder/tables/scale_factor_tables.h"
#include "support/layer3_test_support.h"

using namespace mp3d;
using l3test::Bits;
using l3test::bits_at;
using l3test::Decoder;

namespace {

// Magnitude 1 as the pair kernel writes it, and the count1 unit value, for a
// band exponent (quarter powers of two).
int32_t pair_one(int32_t exponent) {
    static const int32_t scale[4] = {2147483647, 1805811301, 1518500250, 1276901417};
    const int32_t n = -exponent, q = n >> 2;
    return scale[n & 3] >> (q + 3);
}
int32_t quad_one(int32_t exponent) {
    static const int32_t scale[4] = {2147483647, 1805811301, 1518500250, 1276901417};
    const int32_t n = -exponent, q = n >> 2;
    return (scale[n & 3] >> 11) << (8 - q);
}

// Spectral lines with guard words behind them.
struct Spectrum {
    std::array<int32_t, 576 + 8> v;
    Spectrum() { v.fill(0x5EED); }
    int32_t &operator[](int i) { return v[static_cast<size_t>(i)]; }
    bool guard_intact() const {
        for (size_t i = 576; i < v.size(); ++i)
            if (v[i] != 0x5EED) return false;
        return true;
    }
};

// MPEG-1 44.1 kHz long block, gain 210 (exponent 0 in every band), channel 0.
MP3D_Granule_Info &long_granule(Decoder &d) {
    d.state->header.version = 1;
    d.state->header.sampling_frequency = 0;
    MP3D_Granule_Info &g = d.state->side_info.ch[0].gr[0];
    g = MP3D_Granule_Info{};
    g.global_gain = 210;
    g.table_select[0] = g.table_select[1] = g.table_select[2] = 1;
    return g;
}

int32_t decode(Decoder &d, Spectrum &s, uint32_t part2_bits = 0) {
    return III_hufman_decode_dequant_main(s.v.data(), &d.state->side_info, &d.state->scalefac[0], 0,
                                          0, part2_bits, d.state);
}

}  // namespace

TEST(HuffmanDriver, RegionsAndBandTables) {
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    MP3D_Granule_Info g{};
    int32_t r[3];
    const int16_t *table = nullptr;
    struct Case {
        int version, sfreq;
        uint32_t ws, type, mixed, r0, r1;
        int32_t want[3];
        int section;
    };
    const Case cases[] = {
        {1, 0, 0, 0, 0, 3, 2, {4, 7, 22}, kSfbLongSection},
        {1, 0, 0, 0, 0, 15, 7, {16, 22, 22}, kSfbLongSection},  // clamped
        {1, 1, 1, 1, 0, 7, 13, {8, 22, 22}, kSfbLongSection},
        {1, 2, 1, 2, 0, 8, 12, {9, 39, 39}, kSfbShortSection},
        {1, 0, 1, 2, 1, 7, 13, {8, 38, 38}, kSfbMixedSection},
        {0, 1, 1, 2, 1, 7, 13, {6, 36, 36}, kSfbMixedSection},
        {2, 2, 1, 2, 1, 7, 13, {6, 36, 36}, kSfbMixedSection},
    };
    for (const Case &c : cases) {
        d.state->header.version = static_cast<int16_t>(c.version);
        d.state->header.sampling_frequency = static_cast<int16_t>(c.sfreq);
        g.window_switching_flag = c.ws;
        g.block_type = c.type;
        g.mixed_block_flag = c.mixed;
        g.region0_count = c.r0;
        g.region1_count = c.r1;
        EXPECT_EQ(III_Get_Region_and_Band_Info(r, &table, &g, d.state), 0);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(r[i], c.want[i]) << "version " << c.version;
        EXPECT_EQ(table, &sfBandIndex[c.version * 3 + c.sfreq][c.section]);
        EXPECT_EQ(table[r[2]], 576);
    }
}

TEST(HuffmanDriver, Exponents) {
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    MP3D_Scale_Factors sf{};
    for (int b = 0; b < 23; ++b) sf.scalefac_l[b] = static_cast<int16_t>(b % 4);
    for (int w = 0; w < 3; ++w)
        for (int s = 0; s < 13; ++s) sf.scalefac_s[w][s] = static_cast<int16_t>(w + s);
    MP3D_Granule_Info g{};
    g.global_gain = 200;  // G = -10
    int32_t e[40];

    // Long block, scalefac_scale 1 (4 quarters per step), pre-emphasis.
    g.scalefac_scale = 1;
    g.preflag = 1;
    Huf_dec_dequant_exponents(e, &g, &sf, d.state);
    for (int b = 0; b < 22; ++b) EXPECT_EQ(e[b], -10 - 4 * (b % 4 + pretab[b])) << b;

    // Mixed LSF block: 6 long bands, then short bands 3..12 from index 6.
    d.state->header.version = 0;
    g.window_switching_flag = 1;
    g.block_type = 2;
    g.mixed_block_flag = 1;
    g.scalefac_scale = 0;
    g.subblock_gain[0] = 1;
    g.subblock_gain[1] = 2;
    g.subblock_gain[2] = 3;
    Huf_dec_dequant_exponents(e, &g, &sf, d.state);
    for (int b = 0; b < 6; ++b) EXPECT_EQ(e[b], -10 - 2 * (b % 4)) << b;
    EXPECT_EQ(e[6], -10 - 8 * 1 - 2 * sf.scalefac_s[0][3]);
    EXPECT_EQ(e[7], -10 - 8 * 2 - 2 * sf.scalefac_s[1][3]);
    EXPECT_EQ(e[35], -10 - 8 * 3 - 2 * sf.scalefac_s[2][12]);

    // MPEG-1 mixed: 8 long bands; pure short: band-major, window-minor.
    d.state->header.version = 1;
    Huf_dec_dequant_exponents(e, &g, &sf, d.state);
    EXPECT_EQ(e[7], -10 - 2 * 3);
    EXPECT_EQ(e[8], -10 - 8 - 2 * sf.scalefac_s[0][3]);
    EXPECT_EQ(e[37], -10 - 24 - 2 * sf.scalefac_s[2][12]);
    g.mixed_block_flag = 0;
    Huf_dec_dequant_exponents(e, &g, &sf, d.state);
    EXPECT_EQ(e[0], -10 - 8);
    EXPECT_EQ(e[4], -10 - 16 - 2 * sf.scalefac_s[1][1]);
    EXPECT_EQ(e[38], -10 - 24 - 2 * sf.scalefac_s[2][12]);
}

TEST(HuffmanDriver, ExactFillNeitherRewindsNorSkips) {
    // One pair (1,0) with table 1, then count1 table B: 0000, then 0001 with
    // sign 1: 3 + 4 + 5 = 12 bits, then a marker.
    Bits b;
    b.put(0b01, 2).put(0, 1).put(0b1111, 4).put(0b1110, 4).put(1, 1).put(0xA5, 8);
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    MP3D_Granule_Info &g = long_granule(d);
    g.big_values = 1;
    g.count1table_select = 1;
    g.part2_3_length = 12;
    Spectrum s;
    ASSERT_EQ(decode(d, s), MP3D_OK);
    EXPECT_EQ(s[0], pair_one(0));
    EXPECT_EQ(s[9], -quad_one(0));
    for (int i = 0; i < 576; ++i) {
        if (i != 0 && i != 9) {
            EXPECT_EQ(s[i], 0) << i;
        }
    }
    EXPECT_TRUE(s.guard_intact());
    EXPECT_EQ(d.state->last_coded_line, 9);
    EXPECT_EQ(d.state->res_bits_consumed, 12);
    EXPECT_EQ(hgetbits(8, d.state), 0xA5u);
}

TEST(HuffmanDriver, TrailingStuffingIsSkipped) {
    // 280 zero pairs (table 1 code "1"), four all-zero quadruples (table B
    // "1111") up to line 575, then 40 stuffing bits and a marker.
    Bits b;
    for (int i = 0; i < 280; ++i) b.put(1, 1);
    for (int i = 0; i < 4; ++i) b.put(0b1111, 4);
    b.put(0xDEAD, 16).put(0xBEEF, 16).put(0x77, 8).put(0x5A, 8);
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    MP3D_Granule_Info &g = long_granule(d);
    g.big_values = 280;
    g.region0_count = 15;  // region starts clamped to the 22 bands
    g.region1_count = 7;
    g.count1table_select = 1;
    g.part2_3_length = 280 + 16 + 40;
    d.state->nonzero_subbands[0] = 4;
    Spectrum s;
    ASSERT_EQ(decode(d, s), MP3D_OK);
    EXPECT_EQ(d.state->res_bits_consumed, 336);
    EXPECT_EQ(hgetbits(8, d.state), 0x5Au);
    EXPECT_EQ(d.state->last_coded_line, 575);
    EXPECT_EQ(d.state->nonzero_subbands[0], 33);
    EXPECT_EQ(d.state->prev_nonzero_subbands[0], 4);
    for (int i = 0; i < 576; ++i) EXPECT_EQ(s[i], 0) << i;
    EXPECT_TRUE(s.guard_intact());

    // big_values above 288 is limited to the whole spectrum: with table 0
    // nothing is read and all 40 bits are skipped.
    Decoder e;
    ASSERT_NE(e.state, nullptr);
    Bits c;
    c.put(0xFFFF, 16).put(0xFFFF, 16).put(0xFF, 8).put(0x3C, 8);
    e.load_reservoir(c.padded());
    MP3D_Granule_Info &h = long_granule(e);
    h.big_values = 500;
    h.table_select[0] = h.table_select[1] = h.table_select[2] = 0;
    h.part2_3_length = 40;
    Spectrum t;
    ASSERT_EQ(decode(e, t), MP3D_OK);
    EXPECT_EQ(e.state->res_bits_consumed, 40);
    EXPECT_EQ(hgetbits(8, e.state), 0x3Cu);
    EXPECT_EQ(e.state->last_coded_line, 575);
    EXPECT_TRUE(t.guard_intact());
}

TEST(HuffmanDriver, OverrunningQuadrupleIsDiscarded) {
    // 6 scale-factor bits, then count1 table A: 0001 (code 0101, sign 1) and
    // 1111 (code 000001, signs 0101); part2_3_length ends 3 bits into the
    // second quadruple's codeword.
    Bits b;
    b.put(0b101101, 6).put(0b0101, 4).put(1, 1).put(0b000001, 6).put(0b0101, 4);
    b.put(0xC3, 8).put(0x9, 4);
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    EXPECT_EQ(hgetbits(6, d.state), 0b101101u);
    MP3D_Granule_Info &g = long_granule(d);
    g.count1table_select = 0;
    g.part2_3_length = 6 + 8;
    Spectrum s;
    ASSERT_EQ(decode(d, s, 6), MP3D_OK);
    EXPECT_EQ(s[3], -quad_one(0));
    for (int i = 0; i < 576; ++i) {
        if (i != 3) {
            EXPECT_EQ(s[i], 0) << i;
        }
    }
    EXPECT_EQ(d.state->last_coded_line, 3);
    EXPECT_EQ(d.state->nonzero_subbands[0], 1);
    EXPECT_EQ(d.state->res_bits_consumed, 14);
    EXPECT_EQ(hgetbits(12, d.state), bits_at(b.bytes(), 14, 12));
}

TEST(HuffmanDriver, BigValueOverrunPutsReservoirBack) {
    // Four pairs (1,1) of table 1 (code 000, two signs): 20 bits against a
    // part2_3_length of 12.
    {
        Bits b;
        for (int i = 0; i < 4; ++i) b.put(0b000, 3).put(i & 1, 1).put(1, 1);
        b.put(0x1234, 16);
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(b.padded());
        MP3D_Granule_Info &g = long_granule(d);
        g.big_values = 4;
        g.part2_3_length = 12;
        d.state->last_coded_line = 77;
        d.state->nonzero_subbands[0] = 5;
        d.state->prev_nonzero_subbands[0] = 6;
        Spectrum s;
        EXPECT_EQ(decode(d, s), MP3D_ERROR_HUFFMAN);
        EXPECT_EQ(d.state->res_bits_consumed, 12);
        EXPECT_EQ(hgetbits(16, d.state), bits_at(b.bytes(), 12, 16));
        EXPECT_EQ(d.state->last_coded_line, 77);
        EXPECT_EQ(d.state->nonzero_subbands[0], 5);
        EXPECT_EQ(d.state->prev_nonzero_subbands[0], 6);
        EXPECT_EQ(s[0], pair_one(0));
        EXPECT_EQ(s[1], -pair_one(0));
    }
    // 288 escape pairs of table 31 (linbits 13, code of (15,15) is 0011):
    // 32 bits each (x escapes count up, so no stretch of the data repeats),
    // 9216 bits against 100: a rewind far beyond 2048 bits.
    {
        Bits b;
        for (int i = 0; i < 288; ++i) {
            b.put(0b0011, 4).put(static_cast<uint32_t>(i), 13).put(0, 1).put(0, 13).put(1, 1);
        }
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(b.padded());
        MP3D_Granule_Info &g = long_granule(d);
        g.big_values = 288;
        g.global_gain = 150;  // exponent -60 keeps magnitudes up to 302 in range
        g.table_select[0] = g.table_select[1] = g.table_select[2] = 31;
        g.part2_3_length = 100;
        Spectrum s;
        EXPECT_EQ(decode(d, s), MP3D_ERROR_HUFFMAN);
        EXPECT_EQ(d.state->res_bits_consumed, 100);
        EXPECT_EQ(hgetbits(16, d.state), bits_at(b.bytes(), 100, 16));
        EXPECT_GT(s[574], 0);
        EXPECT_LT(s[575], 0);
        EXPECT_TRUE(s.guard_intact());
    }
}

TEST(HuffmanDriver, RefusedGranulesLeaveEverythingAlone) {
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(std::vector<uint8_t>(16, 0x00));
    MP3D_Granule_Info &g = long_granule(d);
    d.state->last_coded_line = 42;
    Spectrum s;
    s[0] = 1234;
    // Scale factors longer than part2_3_length.
    g.part2_3_length = 19;
    EXPECT_EQ(decode(d, s, 20), MP3D_ERROR_HUFFMAN);
    // Tables 4 and 14 in any carried entry.
    g.part2_3_length = 0;
    for (int j = 0; j < 3; ++j) {
        for (uint32_t bad : {4u, 14u}) {
            g.table_select[0] = g.table_select[1] = g.table_select[2] = 1;
            g.table_select[j] = bad;
            EXPECT_EQ(decode(d, s), MP3D_ERROR_HUFFMAN) << j << " " << bad;
        }
    }
    EXPECT_EQ(s[0], 1234);
    EXPECT_EQ(d.state->res_bits_consumed, 0);
    EXPECT_EQ(d.state->last_coded_line, 42);
    // A window-switching granule carries only two table numbers: a stale 14
    // in entry 2 is not looked at.
    g.window_switching_flag = 1;
    g.block_type = 1;
    g.table_select[0] = g.table_select[1] = 1;
    g.table_select[2] = 14;
    EXPECT_EQ(decode(d, s), MP3D_OK);
    EXPECT_EQ(s[0], 0);
}

TEST(HuffmanDriver, LastLineAndSubbandCounts) {
    struct Case {
        uint32_t big_values;
        int16_t last, subbands;
    };
    // Zero pairs of table 1 cover 2 * big_values lines.
    for (const Case c :
         {Case{14, 27, 2}, Case{15, 29, 3}, Case{0, -1, 1}, Case{4, 7, 1}, Case{9, 17, 2}}) {
        Bits b;
        for (uint32_t i = 0; i < c.big_values; ++i) b.put(1, 1);
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(b.padded());
        MP3D_Granule_Info &g = long_granule(d);
        g.big_values = c.big_values;
        g.part2_3_length = c.big_values;
        d.state->nonzero_subbands[0] = 9;
        Spectrum s;
        ASSERT_EQ(decode(d, s), MP3D_OK);
        EXPECT_EQ(d.state->last_coded_line, c.last);
        EXPECT_EQ(d.state->nonzero_subbands[0], c.subbands) << c.last;
        EXPECT_EQ(d.state->prev_nonzero_subbands[0], 9);
    }
    // Short blocks leave the counts to the filterbank.
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(std::vector<uint8_t>(8, 0));
    MP3D_Granule_Info &g = long_granule(d);
    g.window_switching_flag = 1;
    g.block_type = 2;
    d.state->nonzero_subbands[0] = 9;
    d.state->prev_nonzero_subbands[0] = 8;
    Spectrum s;
    ASSERT_EQ(decode(d, s), MP3D_OK);
    EXPECT_EQ(d.state->last_coded_line, -1);
    EXPECT_EQ(d.state->nonzero_subbands[0], 9);
    EXPECT_EQ(d.state->prev_nonzero_subbands[0], 8);
}

TEST(HuffmanDriver, Count1StartsAfterRegionEndingAtLimit) {
    // Region 0 is band 0 (lines 0..3) and the limit is 4: region 1 (table 2)
    // is not decoded, the count1 part starts at line 4 in band 1, whose
    // exponent differs (scale factor 1: -2).
    Bits b;
    b.put(0b000, 3).put(0, 1).put(0, 1);  // (1,1) + +
    b.put(0b001, 3).put(1, 1);            // (0,1) -
    b.put(0b1110, 4).put(0, 1);           // count1 B: 0001 +
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    MP3D_Granule_Info &g = long_granule(d);
    g.big_values = 2;
    g.region0_count = 0;
    g.table_select[1] = 2;
    g.count1table_select = 1;
    g.part2_3_length = 14;
    d.state->scalefac[0].scalefac_l[1] = 1;
    Spectrum s;
    ASSERT_EQ(decode(d, s), MP3D_OK);
    EXPECT_EQ(s[0], pair_one(0));
    EXPECT_EQ(s[1], pair_one(0));
    EXPECT_EQ(s[2], 0);
    EXPECT_EQ(s[3], -pair_one(0));
    EXPECT_EQ(s[7], quad_one(-2));
    EXPECT_EQ(d.state->last_coded_line, 7);
    EXPECT_EQ(d.state->res_bits_consumed, 14);
}

TEST(HuffmanDriver, CorruptGranulesStayInBoundsAndKeepTheirLength) {
    // Random side information and main data, MPEG-1 and LSF: every outcome is
    // 0 or 40, nothing is written past the channel's 576 lines, and the
    // reader ends on part2_3_length unless the granule was refused before
    // decoding (then it stays behind the scale factors).
    uint32_t seed = 12345;
    auto next = [&seed](uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    for (int iteration = 0; iteration < 3000; ++iteration) {
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        std::vector<uint8_t> data(1 + next(1600));
        for (auto &byte : data) byte = static_cast<uint8_t>(next(256));
        d.load_reservoir(data);
        MP3D_Decoder_State *st = d.state;
        st->header.version = static_cast<int16_t>(next(3));
        st->header.sampling_frequency = static_cast<int16_t>(next(3));
        st->header.mode_extension = static_cast<int16_t>(next(4));
        const bool lsf = st->header.version != 1;
        const int ch = static_cast<int>(next(2));
        const int gr = lsf ? 0 : static_cast<int>(next(2));
        MP3D_Granule_Info &g = st->side_info.ch[ch].gr[gr];
        g.part2_3_length = next(4096);
        g.big_values = next(512);
        g.global_gain = next(256);
        g.scalefac_compress = next(lsf ? 512 : 16);
        g.window_switching_flag = next(2);
        g.block_type = g.window_switching_flag ? 1 + next(3) : 0;
        g.mixed_block_flag = next(2);
        for (auto &t : g.table_select) t = next(32);
        for (auto &v : g.subblock_gain) v = next(8);
        g.region0_count = next(16);
        g.region1_count = next(8);
        g.preflag = next(2);
        g.scalefac_scale = next(2);
        g.count1table_select = next(2);
        for (auto &f : st->side_info.ch[ch].scfsi) f = next(2);

        Spectrum s;
        const uint32_t part2 =
            lsf ? III_get_LSF_scale_factors(st->scalefac, &st->side_info, gr, ch, st)
                : III_get_scale_factors(st->scalefac, &st->side_info, gr, ch, st);
        const int32_t before = st->res_bits_consumed;
        const int32_t status = III_hufman_decode_dequant_main(s.v.data(), &st->side_info,
                                                              &st->scalefac[ch], ch, gr, part2, st);
        SCOPED_TRACE(testing::Message() << "iteration " << iteration);
        ASSERT_TRUE(status == MP3D_OK || status == MP3D_ERROR_HUFFMAN) << status;
        ASSERT_TRUE(s.guard_intact());
        const int32_t end =
            before - static_cast<int32_t>(part2) + static_cast<int32_t>(g.part2_3_length);
        if (status == MP3D_OK) {
            ASSERT_EQ(st->res_bits_consumed, end);
            ASSERT_GE(st->last_coded_line, -1);
            ASSERT_LE(st->last_coded_line, 575);
            for (int i = st->last_coded_line + 1; i < 576; ++i) ASSERT_EQ(s[i], 0) << i;
        } else {
            ASSERT_TRUE(st->res_bits_consumed == end || st->res_bits_consumed == before);
        }
    }
}

// ---------------------------------------------------------------------------
// Conformance streams: every granule of every Layer III stream decodes without
// a side-information, frame-end or Huffman error, and after each channel the
// reservoir reader stands exactly part2_3_length bits after that channel's
// scale factors began.

namespace {

std::string shared_dir() {
    if (const char *env = std::getenv("MP3D_SHARED_DIR")) return env;
    return MP3D_SHARED_DIR;
}

std::vector<std::string> layer3_streams() {
    std::vector<std::string> files;
    const std::filesystem::path dir = std::filesystem::path(shared_dir()) / "conformance";
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec)) return files;
    for (const auto &entry : std::filesystem::directory_iterator(dir, ec)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() == ".bit" &&
            (name.rfind("l3-", 0) == 0 || name.rfind("M2L3", 0) == 0))
            files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

TEST(HuffmanDriver, ConformanceStreamsThroughTheEntryPoint) {
    const std::vector<std::string> files = layer3_streams();
    if (files.empty()) GTEST_SKIP() << "no conformance streams under " << shared_dir();
    for (const std::string &file : files) {
        SCOPED_TRACE(file);
        Decoder d(read_file(file));
        ASSERT_NE(d.state, nullptr);
        MP3D_Frame_Info info{};
        int granules = 0;
        for (int call = 0; call < 100000; ++call) {
            const int32_t status = d.harness.decode(&info);
            if (status == MP3D_END_OF_STREAM) break;
            EXPECT_NE(status, MP3D_ERROR_SIDE_INFO) << "call " << call;
            EXPECT_NE(status, MP3D_ERROR_FRAME_END) << "call " << call;
            EXPECT_NE(status, MP3D_ERROR_HUFFMAN) << "call " << call;
            if (status == MP3D_OK) ++granules;
        }
        EXPECT_GT(granules, 0);
    }
}

TEST(HuffmanDriver, ConformanceStreamsEndEveryChannelOnItsLength) {
    const std::vector<std::string> files = layer3_streams();
    if (files.empty()) GTEST_SKIP() << "no conformance streams under " << shared_dir();
    for (const std::string &file : files) {
        SCOPED_TRACE(file);
        Decoder d(read_file(file), 997);  // input blocks end anywhere in a frame
        ASSERT_NE(d.state, nullptr);
        MP3D_Decoder_State *st = d.state;
        int channels_checked = 0;
        for (int frame = 0; frame < 100000; ++frame) {
            const int32_t info = Mp3_Decode_Info(st);
            if (st->input_exhausted) break;
            if (info == MP3D_ERROR_MAIN_DATA) continue;
            ASSERT_EQ(info, MP3D_OK) << "frame " << frame;
            ASSERT_EQ(st->header.layer, 3);
            const bool lsf = st->header.version != 1;
            MP3D_Side_Info *si = &st->side_info;
            for (int gr = 0; gr < st->granules; ++gr) {
                for (int ch = 0; ch < st->channels; ++ch) {
                    const int32_t start = st->res_bits_consumed;
                    const uint32_t part2 =
                        lsf ? III_get_LSF_scale_factors(st->scalefac, si, gr, ch, st)
                            : III_get_scale_factors(st->scalefac, si, gr, ch, st);
                    const int32_t status =
                        III_hufman_decode_dequant_main(st->spectral_buffer + kSpectralWords * ch,
                                                       si, &st->scalefac[ch], ch, gr, part2, st);
                    ASSERT_EQ(status, MP3D_OK) << "frame " << frame << " gr " << gr << " ch " << ch;
                    ASSERT_EQ(st->res_bits_consumed - start,
                              static_cast<int32_t>(si->ch[ch].gr[gr].part2_3_length))
                        << "frame " << frame << " gr " << gr << " ch " << ch;
                    ++channels_checked;
                }
            }
            ASSERT_EQ(Mp3_Decode_End(st), MP3D_OK) << "frame " << frame;
        }
        EXPECT_GT(channels_checked, 0);
    }
}
