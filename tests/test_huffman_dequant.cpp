// The fused Huffman decoding and dequantisation kernels on hand-built
// bitstreams: exact magnitudes, escapes, bit accounting, band and limit
// handling, reservoir write-back, and reads bounded by the reservoir.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "decoder/memory_layout.h"
#include "decoder/tables/huffman_tables.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_window.h"
#include "support/bit_writer.h"

using namespace mp3d;
using Codes = std::map<std::pair<int, int>, std::string>;

constexpr int32_t kSentinel = 0x5A5A5A5A;
// MPEG-1 44.1 kHz long bands.
static const int16_t kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                       74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};

// The codewords of a pair table below `base`, found by walking the layout's leaves.
static void walk(const uint16_t *t, size_t base, uint32_t width, std::string pre, Codes &c) {
    for (uint32_t j = 0; j < (1u << width); ++j) {
        std::string code = pre;
        for (int b = static_cast<int>(width) - 1; b >= 0; --b) code += char('0' + ((j >> b) & 1));
        const uint16_t e = t[base + j];
        if (!(e & 1)) walk(t, base + ((e >> 1) & 0x3FF), e >> 11, code, c);
        if (e & 1) c.emplace(std::pair{e >> 12, (e >> 8) & 15}, code.substr(0, (e >> 1) & 31));
    }
}

// xr * 2^28 for magnitude v and exponent e.
static double exact(int32_t v, int32_t e) {
    return std::pow(v, 4.0 / 3.0) * std::pow(2.0, e / 4.0 + 28.0);
}

class HuffmanDequant : public ::testing::Test {
  protected:
    void SetUp() override { MP3D_init_tables(&st_), st_.reservoir_buffer = res_.data(); }
    // Codeword, then x's escape bits and sign, then y's.
    static std::string pair(int t, int32_t x, int32_t y) {
        const auto &info = Huffman_Pair_Table_Info[t];
        const int lin = static_cast<int>(info.linbits);
        Codes codes;
        walk(info.code_table, 1, info.code_table[0], "", codes);
        auto field = [&](int32_t v) { return lin > 0 && std::abs(v) >= 15 ? 15 : std::abs(v); };
        std::string bits = codes.at({field(x), field(y)});
        for (int32_t v : {x, y}) {
            for (int b = lin - 1; field(v) == 15 && b >= 0; --b)
                bits += char('0' + (((std::abs(v) - 15) >> b) & 1));
            if (v != 0) bits += v < 0 ? '1' : '0';
        }
        return bits;
    }
    // Writes bits from bit `start` on; the reader gets `window` bits of look-ahead.
    void place(const std::string &bits, int32_t start, int32_t window = 20) {
        mp3d_test::BitWriter w;
        w.put(res_[start / 8] >> (8 - start % 8), start % 8);
        for (char c : bits) w.put(c == '1', 1);
        std::copy(w.bytes().begin(), w.bytes().end(), res_.begin() + start / 8);
        st_.res_read_index = (start + window) / 8;
        st_.res_bits_in_window = 8 * st_.res_read_index - start;
        st_.res_window = window_word(st_.res_read_index);
    }
    uint32_t window_word(int32_t index) const {
        uint32_t w = 0;
        for (int i = index - 4; i < index; ++i) w = w << 8 | (i < kReservoirBytes ? res_[i] : 0);
        return w;
    }
    // The reader stands at bit pos, its window consistent with the buffer.
    void expect_reader_at(int64_t pos) const {
        EXPECT_EQ(int64_t{8} * st_.res_read_index - st_.res_bits_in_window, pos);
        EXPECT_EQ(st_.res_window, window_word(st_.res_read_index));
        EXPECT_TRUE(st_.res_bits_in_window >= 0 && st_.res_bits_in_window <= 32);
    }
    uint32_t run_pair(int t, int32_t band0, int32_t band1, int32_t limit, const int32_t *exps) {
        const auto &i = Huffman_Pair_Table_Info[t];
        const MP3D_Pair_Region r{i.code_table, i.linbits, band0, band1, kLongBands, exps, limit};
        stop_ = 0;
        return Huf_dec_dequant_region_pair(&out_[kLongBands[band0]], &r, &st_, &band_, &stop_);
    }
    uint32_t run_quad(int t, int32_t budget, int32_t band0, int32_t line0, const int32_t *exps,
                      const int16_t *bands = kLongBands) {
        const MP3D_Quad_Region r{Huffman_Quad_Table_Info[t], budget, band0, bands, exps, line0};
        return Huf_dec_dequant_quadplex(out_.data() + line0, &r, &st_, &band_);
    }

    MP3D_Decoder_State st_{};
    // Exactly the reservoir's size on the heap: the address sanitizer catches
    // any read past it.
    std::vector<uint8_t> res_ = std::vector<uint8_t>(kReservoirBytes, 0);
    std::vector<int32_t> out_ = std::vector<int32_t>(576, kSentinel);
    const std::vector<int32_t> e60_ = std::vector<int32_t>(22, -60);
    int32_t band_ = -1, stop_ = 0;  // band reached (count1: lines covered), limit reached
};

TEST_F(HuffmanDequant, PairExactValuesAndBitCounts) {
    // One pair (x, 0) in band 0, from varying bit offsets and window fills.
    const struct {
        int table;
        int32_t x, exponent, want;
    } cases[] = {
        {13, 5, -63, 41646},       {15, 15, -62, 214287},    // table 15: no escape bits
        {26, 63, -60, 2053575},    {26, 64, -60, 2097152},   // power table, cube root
        {16, 16, -60, 330280},     {27, 100, -60, 3802389},  // table 16: one escape bit
        {30, 1000, -60, 81920005}, {31, 8206, -61, 1140182848},
        {1, 1, -60, 8191},         {1, -1, 0, -((1 << 28) - 1)},
        {1, 1, -200, 0},           {24, 100, -400, 0},       // shifts >= 32
        {13, 8, -4, INT32_MIN},    {13, -8, -4, INT32_MIN},  // xr = 8.0 wraps
        {1, 0, 0, kSentinel},                                // (0, 0): no sign read
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto &c = cases[i];
        out_.assign(576, kSentinel);
        const std::string bits = pair(c.table, c.x, 0);
        const int32_t start = 8 * 16 + static_cast<int32_t>(i % 8), exps[1] = {c.exponent};
        place(bits + "0110", start, 9 + static_cast<int32_t>(i * 5 % 24));
        EXPECT_EQ(run_pair(c.table, 0, 1, 2, exps), bits.size()) << i;
        EXPECT_EQ(out_[0], c.want) << i;
        expect_reader_at(start + static_cast<int64_t>(bits.size()));
    }
}

TEST_F(HuffmanDequant, PairLimitAndTableZero) {
    // Bands 3..5 = lines 12..23 hold 12 pairs of table 5, the limit at their
    // end or inside band 4; table 0 reads nothing from band 2 on, yet its
    // limit (inside band 5 [20, 24), or beyond) decides stop and band reached.
    std::string bits;
    std::vector<size_t> ends = {0};  // bits after each pair
    for (int i = 0; i < 12; ++i) ends.push_back((bits += pair(5, i % 4, (i + 1) % 4)).size());
    const struct {
        int table;
        int32_t band0, limit, stop, band, pairs, unwritten;
    } cases[] = {{0, 2, 22, 1, 5, 0, 576},
                 {0, 2, 200, 0, 6, 0, 576},
                 {5, 3, 24, 1, 5, 6, 567},
                 {5, 3, 18, 1, 4, 3, 571}};
    for (const auto &c : cases) {
        out_.assign(576, kSentinel);
        place(c.table ? bits : "", 8 * 100 + 3);
        EXPECT_EQ(run_pair(c.table, c.band0, 6, c.limit, e60_.data()), ends[c.pairs]) << c.limit;
        EXPECT_EQ(std::pair(stop_, band_), std::pair(c.stop, c.band));
        expect_reader_at(8 * 100 + 3 + static_cast<int64_t>(ends[c.pairs]));
        EXPECT_EQ(std::count(out_.begin(), out_.end(), kSentinel), c.unwritten);
    }
}

TEST_F(HuffmanDequant, CubeRootPrecisionAndRange) {
    // Within 2e-4 of the exact value for exponents -63..-60, all escape values.
    for (int32_t exponent = -63; exponent <= -60; ++exponent) {
        const Huf_Exponent_Split e = huf_split_exponent(exponent);
        for (int32_t v = 2; v <= 8206; ++v)
            ASSERT_NEAR(dequant_greaterthan63(v, st_.scale_fac_table_lf[e.r], -e.q, &st_),
                        exact(v, exponent), 2e-4 * exact(v, exponent));
    }
    // Out-of-range arguments stay inside the tables.
    const int32_t scale = st_.scale_fac_table_lf[0];
    EXPECT_EQ(dequant_greaterthan63(-5, scale, -15, &st_), 0);
    EXPECT_EQ(dequant_greaterthan63(1 << 30, scale, -15, &st_),
              dequant_greaterthan63(32767, scale, -15, &st_));
}

TEST_F(HuffmanDequant, QuadValuesBitCountsAndBands) {
    const int32_t U = 8191, S = kSentinel;  // U: the unit value at exponent -60
    const struct {
        int table;
        const char *bits;
        int32_t budget, line0, want_bits, want_lines, written, want[4];
    } cases[] = {
        {1, "11111111", 8, 0, 8, 8, 0, {S, S, S, S}},        // table B: two zero quadruples
        {0, "0000010101", 10, 0, 10, 4, 4, {U, -U, U, -U}},  // table A 1111
        {0, "000101101", 9, 0, 9, 8, 2, {S, -U, S, U}},      // signs of the non-zeros only
        {0, "0000010000", 3, 0, 10, 4, 4, {U, U, U, U}},     // decoded past the budget
        {0, "", 100, 576, 0, 0, 0, {}},                      // big values cover the spectrum
        {1, "00000000000000000000000000000000", 1000, 560, 32, 16, 16, {U, U, U, U}},  // to 576
    };
    for (const auto &c : cases) {
        out_.assign(576, kSentinel);
        place(std::string(c.bits) + "0000", 8 * 30 + 2);
        const uint32_t used =
            run_quad(c.table, c.budget, c.line0 < 418 ? 0 : 21, c.line0, e60_.data());
        EXPECT_EQ(int32_t(used), c.want_bits) << c.bits;
        EXPECT_EQ(band_, c.want_lines) << c.bits;
        expect_reader_at(8 * 30 + 2 + c.want_bits);
        for (int k = 0; k < 4 && c.line0 < 576; ++k) EXPECT_EQ(out_[c.line0 + k], c.want[k]);
        EXPECT_EQ(std::count(out_.begin(), out_.end(), kSentinel), 576 - c.written) << c.bits;
    }
    // Band boundaries at pos + 2 (lines 6, 12, 14) and at pos (line 16): each
    // line takes the unit value of its own band's exponent.
    const int16_t bands[6] = {0, 6, 12, 14, 16, 576};
    const int32_t exps[5] = {-60, -61, 0, -200, -61}, want[5] = {8191, 6888, 268435200, 0, 6888};
    const std::string q = "0000010000";  // table A 1111, signs + + + +
    place(q + q + q + q + "000001" + "1111", 8 * 20);
    EXPECT_EQ(run_quad(0, 50, 0, 4, exps, bands), 50u);
    EXPECT_EQ(band_, 20);
    for (int line = 4, b = 0; line < 24; ++line) {
        while (line >= bands[b + 1]) ++b;
        EXPECT_EQ(out_[line], line < 20 ? want[b] : -want[b]) << line;
    }
}

TEST_F(HuffmanDequant, ReadsStayInsideReservoir) {
    // Data running to the end of the buffer and beyond: no byte past the
    // reservoir is loaded, and the kernels stop soon after its end.
    std::mt19937 rng(99);
    for (int trial = 0; trial < 5; ++trial) {
        for (size_t i = 2000; i < res_.size(); ++i) res_[i] = trial == 4 ? 0 : uint8_t(rng());
        const int32_t start = 8 * (2020 + 5 * trial);
        place("", start, 32);
        const uint32_t used = trial == 4 ? run_quad(0, 4000, 0, 0, e60_.data())  // 9-bit quadruples
                                         : run_pair(trial % 2 ? 31 : 13, 0, 22, 576, e60_.data());
        EXPECT_LE(st_.res_read_index, kReservoirBytes + 16);
        expect_reader_at(start + static_cast<int64_t>(used));
        EXPECT_TRUE(trial == 4 ? band_ < 576 : stop_ == 1 && start + used > 8u * kReservoirBytes);
    }
}
