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

namespace {

constexpr int32_t kSentinel = 0x5A5A5A5A;
// MPEG-1 44.1 kHz long bands.
const int16_t kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};

using Codes = std::map<std::pair<int, int>, std::string>;

// Every codeword of a pair table, found by walking the layout's leaves.
void walk(const uint16_t *t, size_t base, uint32_t width, const std::string &prefix, Codes &codes) {
    for (uint32_t j = 0; j < (1u << width); ++j) {
        std::string code = prefix;
        for (int b = static_cast<int>(width) - 1; b >= 0; --b) code += char('0' + ((j >> b) & 1));
        const uint16_t e = t[base + j];
        if (e & 1)
            codes.emplace(std::pair{e >> 12, (e >> 8) & 15}, code.substr(0, (e >> 1) & 31));
        else
            walk(t, base + ((e >> 1) & 0x3FF), e >> 11, code, codes);
    }
}
const Codes &codes(int t) {
    static std::map<int, Codes> cache;
    const uint16_t *table = Huffman_Pair_Table_Info[t].code_table;
    if (cache[t].empty()) walk(table, 1, table[0], "", cache[t]);
    return cache[t];
}

// xr * 2^28 for magnitude v and exponent e.
double exact(int32_t v, int32_t e) {
    return std::pow(v, 4.0 / 3.0) * std::pow(2.0, e / 4.0 + 28.0);
}

struct Result {
    uint32_t bits;
    int32_t band = -1, stop = 0;  // lines for the count1 kernel
};

class HuffmanDequant : public ::testing::Test {
  protected:
    void SetUp() override {
        MP3D_init_tables(&st_);
        // Exactly the reservoir's size on the heap: any read past it is caught
        // by the address sanitizer.
        res_.assign(kReservoirBytes, 0);
        st_.reservoir_buffer = res_.data();
        out_.assign(576, kSentinel);
        std::fill(std::begin(e60_), std::end(e60_), -60);
    }
    // Codeword, then x's escape bits and sign, then y's.
    std::string pair(int t, int32_t x, int32_t y) {
        const int lin = static_cast<int>(Huffman_Pair_Table_Info[t].linbits);
        auto field = [&](int32_t v) { return lin > 0 && std::abs(v) >= 15 ? 15 : std::abs(v); };
        std::string bits = codes(t).at({field(x), field(y)});
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
        for (int32_t i = index - 4; i < index; ++i)
            w = w << 8 | (i < kReservoirBytes ? res_[i] : 0);
        return w;
    }
    // The reader stands at bit pos, with a window consistent with the buffer.
    void expect_reader_at(int64_t pos) const {
        EXPECT_EQ(int64_t{8} * st_.res_read_index - st_.res_bits_in_window, pos);
        EXPECT_EQ(st_.res_window, window_word(st_.res_read_index));
        EXPECT_TRUE(st_.res_bits_in_window >= 0 && st_.res_bits_in_window <= 32);
    }
    Result run_pair(int t, int32_t band0, int32_t band1, int32_t limit, const int32_t *exps,
                    const int16_t *bands = kLongBands) {
        const auto &info = Huffman_Pair_Table_Info[t];
        const MP3D_Pair_Region r{info.code_table, info.linbits, band0, band1, bands, exps, limit};
        Result x{};
        x.bits = Huf_dec_dequant_region_pair(&out_[bands[band0]], &r, &st_, &x.band, &x.stop);
        return x;
    }
    Result run_quad(int t, int32_t budget, int32_t band0, int32_t line0, const int32_t *exps,
                    const int16_t *bands = kLongBands) {
        const MP3D_Quad_Region r{Huffman_Quad_Table_Info[t], budget, band0, bands, exps, line0};
        Result x{};
        x.bits = Huf_dec_dequant_quadplex(out_.data() + line0, &r, &st_, &x.band);
        return x;
    }

    MP3D_Decoder_State st_{};
    std::vector<uint8_t> res_;
    std::vector<int32_t> out_;
    int32_t e60_[22];
};

TEST_F(HuffmanDequant, PairExactValuesAndBitCounts) {
    // One pair (x, 0) in band 0, started at varying bit offsets and window fills.
    const struct {
        int table;
        int32_t x, exponent, want;
    } cases[] = {
        {13, 5, -63, 41646},     {15, 15, -62, 214287},   // table 15: no escape bits
        {26, 63, -60, 2053575},  {26, 64, -60, 2097152},  // power table / cube root
        {16, 16, -60, 330280},                            // linbits 1, escape bit 1
        {27, 100, -60, 3802389}, {30, 1000, -60, 81920005},    {31, 8206, -61, 1140182848},
        {1, 1, -60, 8191},       {1, -1, 0, -((1 << 28) - 1)}, {1, 1, -200, 0},
        {13, 8, -4, INT32_MIN},  {13, -8, -4, INT32_MIN},  // xr = 8.0 wraps
        {1, 0, 0, kSentinel},                              // (0, 0): no sign read
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto &c = cases[i];
        SCOPED_TRACE(i);
        out_.assign(576, kSentinel);
        const std::string bits = pair(c.table, c.x, 0);
        const int32_t start = 8 * 16 + static_cast<int32_t>(i % 8);
        place(bits + "0110", start, 9 + static_cast<int32_t>(i * 5 % 24));
        const int32_t exps[1] = {c.exponent};
        const Result r = run_pair(c.table, 0, 1, 2, exps);
        EXPECT_EQ(out_[0], c.want);
        EXPECT_EQ(out_[1], kSentinel);
        EXPECT_EQ(r.bits, bits.size());
        expect_reader_at(start + static_cast<int64_t>(bits.size()));
    }
}

TEST_F(HuffmanDequant, PairLimitAndTableZero) {
    // Table 0 reads nothing; the limit still decides stop and band reached.
    place("", 8 * 10 + 3);
    Result r = run_pair(0, 2, 6, 22, e60_);  // limit inside band 5 [20, 24)
    EXPECT_EQ(r.bits, 0u);
    EXPECT_EQ(r.stop, 1);
    EXPECT_EQ(r.band, 5);
    expect_reader_at(8 * 10 + 3);
    r = run_pair(0, 2, 6, 200, e60_);
    EXPECT_EQ(r.stop, 0);
    EXPECT_EQ(r.band, 6);
    EXPECT_EQ(std::count(out_.begin(), out_.end(), kSentinel), 576);

    // Bands 3..5 = lines 12..23 with the limit at their end or inside band 4.
    std::string bits;
    std::vector<size_t> ends;
    for (int i = 0; i < 12; ++i) ends.push_back((bits += pair(5, i % 4, (i + 1) % 4)).size());
    for (const int32_t limit : {24, 18}) {
        out_.assign(576, kSentinel);
        place(bits, 8 * 100);
        r = run_pair(5, 3, 6, limit, e60_);
        EXPECT_EQ(r.stop, 1);
        EXPECT_EQ(r.band, limit == 24 ? 5 : 4);
        EXPECT_EQ(r.bits, ends[(limit - 12) / 2 - 1]);
        expect_reader_at(8 * 100 + static_cast<int64_t>(r.bits));
        EXPECT_NE(out_[limit - 1], kSentinel);
        EXPECT_EQ(out_[limit], kSentinel);
    }
}

TEST_F(HuffmanDequant, PairEveryCodeOfEveryTable) {
    // All codewords of each table with random signs and escapes, bands 3..11
    // with random exponents; each value within 2e-4 of the exact one.
    std::mt19937 rng(1234);
    for (int t = 1; t < 32; ++t) {
        if (Huffman_Pair_Table_Info[t].code_table == nullptr) continue;
        SCOPED_TRACE(t);
        const int lin = static_cast<int>(Huffman_Pair_Table_Info[t].linbits);
        auto draw = [&](int a) {
            if (a == 15 && lin > 0) a += static_cast<int>(rng() % (1u << lin));
            return (rng() & 1) ? -a : a;
        };
        std::vector<int32_t> values;
        std::string bits;
        for (const auto &[xy, code] : codes(t)) {
            values.push_back(draw(xy.first));
            values.push_back(draw(xy.second));
            bits += pair(t, values[values.size() - 2], values.back());
        }
        // Exponents low enough for the largest value to stay below 8.0.
        const auto top =
            static_cast<int32_t>(std::floor(-4 * std::log2(exact(15 << lin, 0) / 7.9))) + 112;
        int32_t exps[22];
        for (int32_t &e : exps) e = top - static_cast<int32_t>(rng() % 40);
        const int32_t first = 12, limit = first + static_cast<int32_t>(values.size());
        ASSERT_LE(limit, 576);
        int32_t end_band = 3;
        while (kLongBands[end_band] < limit) ++end_band;
        out_.assign(576, kSentinel);
        const int32_t start = 8 * 50 + static_cast<int32_t>(rng() % 8);
        place(bits + "0101010101010101", start, 25);
        const Result r = run_pair(t, 3, end_band, limit, exps);
        ASSERT_EQ(r.bits, bits.size());
        EXPECT_EQ(r.stop, 1);
        expect_reader_at(start + static_cast<int64_t>(bits.size()));
        for (int32_t line = 0, band = 0; line < 576; ++line) {
            while (line >= kLongBands[band + 1]) ++band;
            const int32_t v = line >= first && line < limit ? values[line - first] : 0;
            if (v == 0) {
                ASSERT_EQ(out_[line], kSentinel) << line;
                continue;
            }
            const double want = exact(std::abs(v), exps[band]);
            EXPECT_LE(std::abs(std::abs(double(out_[line])) - want), 2e-4 * want + 1) << line;
            EXPECT_EQ(out_[line] < 0, v < 0) << line;
        }
    }
}

TEST_F(HuffmanDequant, CubeRootPrecisionAndRange) {
    // Both routes (the power table below 64, the cube root) stay within 2e-4
    // of the exact value for exponents -63..-60; magnitude 1 within one unit.
    double worst = 0.0;
    for (int32_t exponent = -63; exponent <= -60; ++exponent) {
        const Huf_Exponent_Split e = huf_split_exponent(exponent);
        const int32_t scale = st_.scale_fac_table_lf[e.r];
        EXPECT_LE(std::abs(huf_magnitude_one(scale, e.q) - exact(1, exponent)), 1.0);
        for (int32_t v = 2; v <= 8206; ++v) {
            const double want = exact(v, exponent);
            worst = std::max(worst,
                             std::abs(dequant_greaterthan63(v, scale, -e.q, &st_) - want) / want);
            if (v < 64)
                worst = std::max(worst,
                                 std::abs(huf_small_magnitude(v, scale, e.q, &st_) - want) / want);
        }
    }
    EXPECT_LT(worst, 2e-4);
    // Out-of-range arguments stay inside the tables.
    const int32_t scale = st_.scale_fac_table_lf[0];
    EXPECT_EQ(dequant_greaterthan63(8206, scale, 100, &st_), 0);
    EXPECT_EQ(dequant_greaterthan63(-5, scale, 15, &st_), 0);
    EXPECT_EQ(dequant_greaterthan63(1 << 30, scale, 15, &st_),
              dequant_greaterthan63(32767, scale, 15, &st_));
}

TEST_F(HuffmanDequant, QuadValuesAndBitCounts) {
    const int32_t U = 8191;  // the unit value at exponent -60
    const struct {
        int table;
        const char *bits;
        int32_t budget, line0;
        uint32_t want_bits;
        int32_t want_lines, want[4];
    } cases[] = {
        {1, "11111111", 8, 0, 8, 8, {kSentinel, kSentinel, kSentinel, kSentinel}},
        {0, "0000010101", 10, 0, 10, 4, {U, -U, U, -U}},
        {0, "000101101", 9, 0, 9, 8, {kSentinel, -U, kSentinel, U}},  // signs of non-zeros only
        {0, "0000010000", 3, 0, 10, 4, {U, U, U, U}},  // a codeword beyond the budget is decoded
        {0, "", 100, 576, 0, 0, {}},                   // big values cover the spectrum
        {1, "00000000000000000000000000000000", 1000, 560, 32, 16, {U, U, U, U}},  // stops at 576
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto &c = cases[i];
        SCOPED_TRACE(i);
        out_.assign(576, kSentinel);
        place(std::string(c.bits) + "0000", 8 * 30 + 2);
        int32_t band0 = 0;
        while (band0 < 21 && kLongBands[band0 + 1] <= c.line0) ++band0;
        const Result r = run_quad(c.table, c.budget, band0, c.line0, e60_);
        EXPECT_EQ(r.bits, c.want_bits);
        EXPECT_EQ(r.band, c.want_lines);
        expect_reader_at(8 * 30 + 2 + c.want_bits);
        for (int k = 0; k < 4 && c.line0 < 576; ++k) EXPECT_EQ(out_[c.line0 + k], c.want[k]);
        EXPECT_EQ(out_[std::min(c.line0 + c.want_lines, 575)],
                  c.line0 + c.want_lines < 576 ? kSentinel : out_[575]);
    }
}

TEST_F(HuffmanDequant, QuadUnitValuesAcrossBands) {
    // Band boundaries at pos + 2 (lines 6, 12, 14) and at pos (line 16): each
    // line takes the unit value of its own band's exponent.
    const int16_t bands[6] = {0, 6, 12, 14, 16, 576};
    const int32_t exps[5] = {-60, -61, 0, -200, -61};
    const int32_t want[5] = {8191, 6888, 268435200, 0, 6888};
    const std::string q = "0000010000";  // table A 1111, signs + + + +
    place(q + q + q + q + "000001" + "1111", 8 * 20);
    const Result r = run_quad(0, 50, 0, 4, exps, bands);
    EXPECT_EQ(r.bits, 50u);
    EXPECT_EQ(r.band, 20);
    for (int line = 4, b = 0; line < 24; ++line) {
        while (line >= bands[b + 1]) ++b;
        EXPECT_EQ(out_[line], line < 20 ? want[b] : -want[b]) << line;
    }
}

TEST_F(HuffmanDequant, ReadsStayInsideReservoir) {
    // Data running to the end of the buffer and beyond: no byte past the
    // reservoir is loaded and the kernels stop soon after its end.
    std::mt19937 rng(99);
    for (int trial = 0; trial < 5; ++trial) {
        for (size_t i = 2000; i < res_.size(); ++i) res_[i] = trial == 4 ? 0 : uint8_t(rng());
        const int32_t start = 8 * (2020 + 5 * trial);
        place("", start, 32);
        const Result r = trial == 4 ? run_quad(0, 4000, 0, 0, e60_)  // 9 bits per quadruple
                                    : run_pair(trial % 2 ? 31 : 13, 0, 22, 576, e60_);
        EXPECT_LE(st_.res_read_index, kReservoirBytes + 16);
        expect_reader_at(start + static_cast<int64_t>(r.bits));
        if (trial == 4) {
            EXPECT_LT(r.band, 576);
        } else {
            EXPECT_EQ(r.stop, 1);
            EXPECT_GT(start + r.bits, 8u * kReservoirBytes);
        }
    }
}

}  // namespace
