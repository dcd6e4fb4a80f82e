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
#include "kernels/huffman_dequant.h"
#include "kernels/reservoir_reader.h"
#include "support/bit_writer.h"
#include "tables/huffman_tables.h"

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
        for (int i = index - 4; i < index; ++i)
            w = w << 8 | (i >= 0 && i < kReservoirBytes ? res_[i] : 0);
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
    uint32_t run_quad(int t, int32_t budget, int32_t band0, int32_t line0, const int32_t *exps) {
        const MP3D_Quad_Region r{
            Huffman_Quad_Table_Info[t], budget, band0, kLongBands, exps, line0};
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
        {13, 5, -63, 41646},
        {15, 15, -62, 214287},  // table 15: no escape bits
        {26, 63, -60, 2053575},
        {26, 64, -60, 2097152},  // power table, cube root
        {16, 16, -60, 330280},
        {27, 100, -60, 3802389},  // table 16: one escape bit
        {30, 1000, -60, 81920005},
        {31, 8206, -61, 1140182848},
        {1, 1, -60, 8191},
        {1, -1, 0, -((1 << 28) - 1)},
        {1, 1, -200, 0},
        {24, 100, -400, 0},  // shifts >= 32
        {13, 8, -4, INT32_MIN},
        {13, -8, -4, INT32_MIN},  // xr = 8.0 wraps
        {1, 0, 0, 0},             // (0, 0): no sign read
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
        int32_t band0, limit, stop, band, pairs;
    } cases[] = {
        {0, 2, 22, 1, 5, 0}, {0, 2, 200, 0, 6, 0}, {5, 3, 24, 1, 5, 6}, {5, 3, 18, 1, 4, 3}};
    for (const auto &c : cases) {
        out_.assign(576, kSentinel);
        place(c.table ? bits : "", 8 * 100 + 3);
        EXPECT_EQ(run_pair(c.table, c.band0, 6, c.limit, e60_.data()), ends[c.pairs]) << c.limit;
        EXPECT_EQ(std::pair(stop_, band_), std::pair(c.stop, c.band));
        expect_reader_at(8 * 100 + 3 + static_cast<int64_t>(ends[c.pairs]));
        // Only the decoded pairs' lines are written (zero values as 0).
        const auto first = out_.begin() + 12, written = first + 2 * c.pairs;
        EXPECT_EQ(std::count(out_.begin(), first, kSentinel), 12);
        EXPECT_EQ(std::count(first, written, kSentinel), 0);
        EXPECT_EQ(std::count(written, out_.end(), kSentinel), out_.end() - written);
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
    // Every value of the tables' range at every quarter step and a spread of
    // shifts, hashed (FNV-1a) and pinned: the large-value path is bit-exact.
    uint32_t hash = 2166136261u;
    for (int32_t exponent = -130; exponent <= 40; exponent += 3) {
        const Huf_Exponent_Split e = huf_split_exponent(exponent);
        for (int32_t v = 0; v <= 32768; ++v) {
            const int32_t m = dequant_greaterthan63(v, st_.scale_fac_table_lf[e.r], -e.q, &st_);
            hash = (hash ^ static_cast<uint32_t>(m)) * 16777619u;
        }
    }
    EXPECT_EQ(hash, 853927274u);
    // Out-of-range arguments stay inside the tables.
    const int32_t scale = st_.scale_fac_table_lf[0];
    EXPECT_EQ(dequant_greaterthan63(-5, scale, -15, &st_), 0);
    EXPECT_EQ(dequant_greaterthan63(1 << 30, scale, -15, &st_),
              dequant_greaterthan63(32767, scale, -15, &st_));
}

TEST_F(HuffmanDequant, QuadValuesAndBitCounts) {
    // U: the unit value at exponent -60. Every covered line is written, zero
    // members as 0; nothing else is.
    const int32_t U = 8191;
    const struct {
        int table;
        const char *bits;
        int32_t budget, line0, want_bits, want_lines, want[4];
    } cases[] = {
        {1, "11111111", 8, 0, 8, 8, {0, 0, 0, 0}},        // table B: two zero quadruples
        {0, "0000010101", 10, 0, 10, 4, {U, -U, U, -U}},  // table A 1111
        {0, "000101101", 9, 0, 9, 8, {0, -U, 0, U}},      // signs of the non-zeros only
        {0, "0000010000", 3, 0, 10, 4, {U, U, U, U}},     // decoded past the budget
        {0, "", 100, 576, 0, 0, {}},                      // big values cover the spectrum
        {1, "00000000000000000000000000000000", 1000, 560, 32, 16, {U, U, U, U}},  // to 576
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
        EXPECT_EQ(std::count(out_.begin(), out_.end(), kSentinel), 576 - c.want_lines) << c.bits;
        EXPECT_EQ(std::count(out_.begin() + std::min(c.line0, 576),
                             out_.begin() + std::min(c.line0, 576) + c.want_lines, kSentinel),
                  0);
    }
}

// The kernels as they were with a byte-wise 32-bit window, kept as the
// reference for the faster reader: same output, same bit counts, and the
// same reservoir reader state afterwards, on arbitrary data and positions.
namespace bytewise {

// The state's reader: a window of the four bytes before index, 32 - c of its
// bits unread.
struct Reader {
    MP3D_Decoder_State *s;
    uint32_t w = s->res_window;
    int32_t c = 32 - s->res_bits_in_window, index = s->res_read_index, start = 8 * index - 32 + c;
    void refill(int32_t keep) {
        for (; c >= keep; c -= 8) w = (w << 8) | huf_fetch_byte(s->reservoir_buffer, index++);
    }
    uint32_t peek() const { return w << c; }
    uint32_t take(uint32_t n) { return c += n, (w << (c - n)) >> (32 - n); }
    uint32_t finish() {
        s->res_window = w, s->res_bits_in_window = 32 - c, s->res_read_index = index;
        return static_cast<uint32_t>(8 * index - 32 + c - start);
    }
};

uint32_t pair(int32_t *out, const MP3D_Pair_Region *r, MP3D_Decoder_State *s, int32_t *band,
              int32_t *stop) {
    Reader br{s};
    const uint16_t *const table = r->code_table;
    for (*band = r->start_band; *band < r->end_band; ++*band) {
        const int32_t end = r->band_table[*band + 1];
        const int32_t pairs = (std::min(end, r->line_limit) - r->band_table[*band]) / 2;
        const Huf_Exponent_Split e = huf_split_exponent(r->exponents[*band]);
        const int32_t scale = s->scale_fac_table_lf[e.r];
        for (int32_t p = 0; p < pairs && table != nullptr; ++p, out += 2) {
            br.refill(8);
            if (br.index > kHufReadStopIndex) return *stop = 1, br.finish();
            uint32_t v = br.peek(), width = table[0], entry = 0;
            for (int32_t lookup = 1, base = 1;; ++lookup, v <<= width, width = entry >> 11) {
                entry = table[base + static_cast<int32_t>(v >> (32 - width))];
                if ((entry & 1u) != 0 || lookup == 5) break;
                base += static_cast<int32_t>((entry >> 1) & 0x3FFu);
            }
            br.c += static_cast<int32_t>((entry >> 1) & 31u);
            for (uint32_t k = 0, x = entry >> 12; k < 2; ++k, x = (entry >> 8) & 15u) {
                int32_t m = static_cast<int32_t>(x);
                if (x == 0) continue;
                if (x == 15 && r->linbits != 0)
                    br.refill(8), m += br.take(std::min(r->linbits, 13u));
                m = x == 1   ? huf_magnitude_one(scale, e.q)
                    : m < 64 ? huf_small_magnitude(m, scale, e.q, s)
                             : dequant_greaterthan63(m, scale, -e.q, s);
                out[k] = br.take(1) ? wrap_neg(m) : m;
            }
        }
        if (r->line_limit <= end) return *stop = 1, br.finish();
    }
    return br.finish();
}

uint32_t quad(int32_t *out, const MP3D_Quad_Region *r, MP3D_Decoder_State *s, int32_t *lines) {
    Reader br{s};
    auto unit = [&](int32_t band) {
        const Huf_Exponent_Split e = huf_split_exponent(r->exponents[band]);
        return huf_count1_unit(s->scale_fac_table_lf[e.r], e.q);
    };
    int32_t budget = r->budget, band = r->start_band, pos = r->start_line;
    int32_t lo = unit(band), hi = lo;
    for (; budget > 0 && pos <= 572; pos += 4, out += 4) {
        br.refill(16);
        if (br.index > kHufReadStopIndex) break;
        if (r->band_table[band + 1] == pos) lo = hi = unit(++band);
        if (r->band_table[band + 1] == pos + 2) hi = unit(++band);
        const uint32_t entry = r->code_table[1 + (br.peek() >> (32 - r->code_table[0]))];
        const int32_t at = br.c;
        br.c += static_cast<int32_t>(entry & 15u);
        for (int k = 0; k < 4; ++k)
            if ((entry >> (7 - k)) & 1u)
                out[k] = br.take(1) ? wrap_neg(k < 2 ? lo : hi) : k < 2 ? lo : hi;
        lo = hi, budget -= br.c - at;
    }
    *lines = std::max(std::min(pos, 576) - r->start_line, 0);
    return br.finish();
}

}  // namespace bytewise

TEST_F(HuffmanDequant, MatchesBytewiseReaderOnArbitraryData) {
    // Random and escape-heavy data, readers anywhere in the buffer (often in
    // its last bytes, where reads run past the end of the reservoir, which is
    // fenced by the address sanitizer, and the read stop acts), windows whose
    // bytes differ from the buffer's, every table, random band ranges,
    // limits, budgets and exponents. Lines start at 0, so a kernel may write
    // the zero values or leave them.
    std::mt19937 rng(2024);
    auto pick = [&](int32_t lo, int32_t hi) {
        return std::uniform_int_distribution<int32_t>(lo, hi)(rng);
    };
    int32_t exps[22];
    for (int trial = 0; trial < 6000; ++trial) {
        SCOPED_TRACE(trial);
        const int fill = trial % 4;  // random, all ones (escapes), sparse ones, zeros
        for (auto &b : res_)
            b = fill == 0   ? uint8_t(rng())
                : fill == 1 ? 0xFF
                : fill == 2 ? uint8_t(rng() & rng())
                            : 0;
        for (auto &e : exps) e = trial % 50 == 0 ? int32_t(rng()) : pick(-320, 140);
        MP3D_Decoder_State a = st_;
        a.res_read_index = trial % 3 == 0 ? pick(0, kReservoirBytes + 6)
                                          : pick(kReservoirBytes - 80, kReservoirBytes + 6);
        a.res_bits_in_window = pick(0, 32);
        a.res_window = trial % 5 == 0 ? uint32_t(rng()) : window_word(a.res_read_index);
        MP3D_Decoder_State b = a;
        std::vector<int32_t> got(576 + 8, 0), want = got;
        int32_t band_a = -1, band_b = -1, stop_a = 0, stop_b = 0, band0 = pick(0, 21);
        uint32_t used_a, used_b;
        if (trial % 3 != 2) {
            const int t = pick(0, 31), table = t == 4 || t == 14 ? 24 : t;
            const auto &info = Huffman_Pair_Table_Info[table];
            const MP3D_Pair_Region r{info.code_table, info.linbits, band0,
                                     pick(band0, 22), kLongBands,   exps,
                                     2 * pick(0, 288)};
            int32_t *at = got.data() + kLongBands[band0];
            used_a = Huf_dec_dequant_region_pair(at, &r, &a, &band_a, &stop_a);
            used_b = bytewise::pair(want.data() + kLongBands[band0], &r, &b, &band_b, &stop_b);
        } else {
            const int32_t line0 = pick(kLongBands[band0] / 2, kLongBands[band0 + 1] / 2) * 2;
            const MP3D_Quad_Region r{
                Huffman_Quad_Table_Info[trial & 1], pick(1, 3000), band0, kLongBands, exps, line0};
            used_a = Huf_dec_dequant_quadplex(got.data() + line0, &r, &a, &band_a);
            used_b = bytewise::quad(want.data() + line0, &r, &b, &band_b);
        }
        ASSERT_EQ(std::tuple(used_a, band_a, stop_a, a.res_read_index, a.res_bits_in_window),
                  std::tuple(used_b, band_b, stop_b, b.res_read_index, b.res_bits_in_window));
        ASSERT_EQ(a.res_window, b.res_window);
        ASSERT_EQ(got, want);
    }
}
