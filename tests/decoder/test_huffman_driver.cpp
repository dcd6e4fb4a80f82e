// Huffman decoding driver: regions, exponents, and the bit accounting against
// part2_3_length (rewinds, skips, discarded quadruples), last_coded_line and
// the subband counts.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "decoder/huffman_driver.h"
#include "decoder/lsf_scale_factors.h"
#include "decoder/reservoir.h"
#include "decoder/scale_factors.h"
#include "decoder/side_info.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"
#include "tables/scale_factor_tables.h"

using namespace mp3d;
using mp3d_test::BitWriter;

TEST(HuffmanDriver, RegionsAndExponents) {
    auto d = mp3d_test::started({});
    MP3D_Decoder_State *s = d->state();
    MP3D_Granule_Info g{};
    int32_t r[3];
    const int16_t *table = nullptr;
    // Region starts beyond the 22 long bands (malformed) are clamped.
    s->header.version = 1;
    g.region0_count = 15;
    g.region1_count = 7;
    III_Get_Region_and_Band_Info(r, &table, &g, s);
    EXPECT_EQ((std::vector<int64_t>{r[0], r[1], r[2], table - sfBandIndex[3]}),
              (std::vector<int64_t>{16, 22, 22, kSfbLongSection}));
    // Mixed LSF blocks: 6 long bands, then short bands 3..12, window-minor,
    // with the subblock gains (gain 200: -10 quarters).
    s->header.version = 0;
    s->header.sampling_frequency = 1;
    g.window_switching_flag = g.mixed_block_flag = 1;
    g.block_type = 2;
    III_Get_Region_and_Band_Info(r, &table, &g, s);
    EXPECT_EQ((std::vector<int64_t>{r[0], r[1], r[2], table - sfBandIndex[1]}),
              (std::vector<int64_t>{6, 36, 36, kSfbMixedSection}));
    MP3D_Scale_Factors sf{};
    for (int w = 0; w < 3; ++w)
        for (int b = 0; b < 13; ++b) sf.scalefac_s[w][b] = static_cast<int16_t>(w + b);
    sf.scalefac_l[5] = 3;
    g.global_gain = 200;
    g.subblock_gain[0] = 1;
    g.subblock_gain[2] = 3;
    int32_t e[40];
    Huf_dec_dequant_exponents(e, &g, &sf, s);
    EXPECT_EQ((std::vector<int32_t>{e[5], e[6], e[7], e[35]}),
              (std::vector<int32_t>{-10 - 6, -10 - 8 - 6, -10 - 8, -10 - 24 - 28}));
}

TEST(HuffmanDriver, BitAccounting) {
    // MPEG-1 44100 Hz long blocks unless block_type says otherwise; gain 210
    // (exponent 0), scale factor 1 in band 1 (lines 4..7: exponent -2).
    // Pair table 1: (0,0) "1", (1,0) "01", (0,1) "001", (1,1) "000"; count1
    // table B: the four bits inverted. Refused granules run at gain 150, so
    // that the escape values stay in range.
    auto bits = [](const std::string &s) {
        BitWriter w;
        for (char c : s) w.put(c == '1', c == ' ' ? 0 : 1);
        return w;
    };
    BitWriter escapes;  // 288 pairs (15 + i, 15) of table 31: 32 bits each
    for (uint32_t i = 0; i < 288; ++i)
        escapes.put(0b0011, 4).put(i, 13).put(0, 1).put(0, 13).put(1, 1);
    const int32_t quarter[3] = {2147483647, 1805811301, 1518500250};  // 2^(-n/4), Q31
    const int32_t p = quarter[0] >> 3, q = (quarter[0] >> 11) << 8, q2 = (quarter[2] >> 11) << 8;
    struct Case {
        BitWriter data;
        uint32_t part2, length, big_values, tables[3], count1, region0, block_type;
        int32_t status, consumed;
        int16_t last, subbands;
        std::vector<std::pair<int, int32_t>> lines;
    };
    const std::string ones(296, '1'), zeros(40, '0');
    const int32_t err = MP3D_ERROR_HUFFMAN;
    // clang-format off
    const Case cases[] = {
        // Exact fill: neither rewind nor skip.
        {bits("01 0 1111 1110 1 10100101"), 0, 12, 1, {1, 1, 1}, 1, 0, 0, 0, 12, 9, 1, {{0, p}, {9, -q}}},
        // 40 bits of stuffing skipped; region starts clamped to the 22 bands.
        {bits(ones + zeros + "01011010"), 0, 336, 280, {1, 1, 1}, 1, 15, 0, 0, 336, 575, 33, {}},
        // big_values limited to 288: with table 0 nothing is read.
        {bits(zeros + "0101"), 0, 40, 500, {0, 0, 0}, 1, 0, 0, 0, 40, 575, 33, {}},
        // Region 0 ends at the limit: count1 starts in band 1 at once.
        {bits("000 0 0 001 1 1110 0"), 0, 14, 2, {1, 2, 1}, 1, 0, 0, 0, 14, 7, 1,
         {{0, p}, {1, p}, {3, -p}, {7, q2}}},
        // A quadruple running past part2_3_length is discarded.
        {bits("101101 0101 1 000001 0101 11000011 1001"), 6, 14, 0, {1, 1, 1}, 0, 0, 0, 0, 14, 3, 1,
         {{3, -q}}},
        // Last coded line and subband counts; short blocks leave the counts.
        {bits(ones.substr(0, 14)), 0, 14, 14, {1, 1, 1}, 0, 0, 0, 0, 14, 27, 2, {}},
        {bits(ones.substr(0, 15)), 0, 15, 15, {1, 1, 1}, 0, 0, 0, 0, 15, 29, 3, {}},
        {BitWriter(), 0, 0, 0, {1, 1, 1}, 0, 0, 0, 0, 0, -1, 1, {}},
        {BitWriter(), 0, 0, 0, {1, 1, 1}, 0, 0, 2, 0, 0, -1, 9, {}},
        // Window switching carries two tables: a stale 14 in entry 2 is unused.
        {BitWriter(), 0, 0, 0, {1, 1, 14}, 0, 0, 1, 0, 0, -1, 1, {}},
        // Big values past the data: the reader is put back; nothing is set.
        {bits("000 0 1 000 1 1 000 0 1 000 1 1 1001000110100"), 0, 12, 4, {1, 1, 1}, 0, 0, 0, err, 12,
         77, 9, {}},
        {escapes, 0, 100, 288, {31, 31, 31}, 0, 0, 0, err, 100, 77, 9, {}},  // 9116 bits back
        // Refused before decoding: scale factors longer than the granule,
        // tables 4 and 14.
        {BitWriter(), 20, 19, 0, {1, 1, 1}, 0, 0, 0, err, 20, 77, 9, {}},
        {BitWriter(), 0, 0, 0, {4, 1, 1}, 0, 0, 0, err, 0, 77, 9, {}},
        {BitWriter(), 0, 0, 0, {1, 1, 14}, 0, 0, 0, err, 0, 77, 9, {}},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        auto d = mp3d_test::started({});
        MP3D_Decoder_State *s = d->state();
        mp3d_test::load_reservoir(s, c.data.bytes());
        s->header.version = 1;
        s->scalefac[0].scalefac_l[1] = 1;
        s->last_coded_line = 77;
        s->nonzero_subbands[0] = 9;
        MP3D_Granule_Info &g = s->side_info.ch[0].gr[0];
        g.part2_3_length = c.length;
        g.big_values = c.big_values;
        g.global_gain = c.status == MP3D_OK ? 210 : 150;
        g.window_switching_flag = c.block_type != 0;
        g.block_type = c.block_type;
        std::copy_n(c.tables, 3, g.table_select);
        g.region0_count = c.region0;
        g.region1_count = 7;
        g.count1table_select = c.count1;
        hgetbits(static_cast<int>(c.part2), s);
        std::vector<int32_t> x(576 + 8, 0x5EED);
        EXPECT_EQ(III_hufman_decode_dequant_main(x.data(), &s->side_info, &s->scalefac[0], 0, 0,
                                                 c.part2, s),
                  c.status);
        // The reader stands right behind the granule's data.
        EXPECT_EQ(s->res_bits_consumed, c.consumed);
        EXPECT_EQ(hgetbits(16, s), mp3d_test::bits_at(c.data.bytes(), c.consumed, 16));
        EXPECT_EQ((std::vector<int>{s->last_coded_line, s->nonzero_subbands[0],
                                    s->prev_nonzero_subbands[0]}),
                  (std::vector<int>{c.last, c.subbands, c.subbands == 9 ? 32 : 9}));
        std::vector<int32_t> want(576, 0);
        for (const auto &[line, value] : c.lines) want[static_cast<size_t>(line)] = value;
        want.resize(576 + 8, 0x5EED);  // guard words
        // The lines of a refused granule are not defined.
        if (c.status != MP3D_OK) std::copy_n(x.begin(), 576, want.begin());
        EXPECT_EQ(x, want);
    }
}

TEST(HuffmanDriver, CorruptGranulesStayInBoundsAndKeepTheirLength) {
    // Random side information (read from random bits), scale factors and
    // Huffman data, MPEG-1 and LSF: every outcome is 0 or 40, nothing is
    // written past the channel's 576 lines, and the reader ends on
    // part2_3_length unless the granule was refused before decoding (then it
    // stays behind the scale factors).
    std::mt19937 rng(12345);
    for (int iteration = 0; iteration < 3000; ++iteration) {
        std::vector<uint8_t> main_data(1 + rng() % 1600), side_info(40);
        for (auto &b : main_data) b = static_cast<uint8_t>(rng());
        for (auto &b : side_info) b = static_cast<uint8_t>(rng());
        auto d = mp3d_test::started(side_info);
        MP3D_Decoder_State *st = d->state();
        mp3d_test::load_reservoir(st, main_data);
        st->header.version = rng() % 3;
        st->header.sampling_frequency = rng() % 3;
        st->header.mode_extension = rng() % 4;
        st->frame_params->channels = 2;
        if (III_get_side_info(&st->side_info, st) != MP3D_OK) continue;
        const bool lsf = st->header.version != 1;
        const int ch = rng() % 2, gr = lsf ? 0 : rng() % 2;
        const uint32_t part2 =
            lsf ? III_get_LSF_scale_factors(st->scalefac, &st->side_info, gr, ch, st)
                : III_get_scale_factors(st->scalefac, &st->side_info, gr, ch, st);
        const int32_t before = st->res_bits_consumed;
        const int32_t end =
            before - static_cast<int32_t>(part2 - st->side_info.ch[ch].gr[gr].part2_3_length);
        std::vector<int32_t> x(576 + 8, 0x5EED);
        const int32_t status = III_hufman_decode_dequant_main(x.data(), &st->side_info,
                                                              &st->scalefac[ch], ch, gr, part2, st);
        SCOPED_TRACE(testing::Message() << "iteration " << iteration);
        ASSERT_TRUE(std::all_of(x.begin() + 576, x.end(), [](int32_t v) { return v == 0x5EED; }));
        if (status == MP3D_OK) {
            ASSERT_EQ(st->res_bits_consumed, end);
            ASSERT_TRUE(st->last_coded_line >= -1 && st->last_coded_line <= 575)
                << st->last_coded_line;
            ASSERT_TRUE(std::all_of(x.begin() + st->last_coded_line + 1, x.begin() + 576,
                                    [](int32_t v) { return v == 0; }));
        } else {
            ASSERT_EQ(status, MP3D_ERROR_HUFFMAN);
            ASSERT_TRUE(st->res_bits_consumed == end || st->res_bits_consumed == before);
        }
    }
}
