// The fused Huffman decoding and dequantisation kernels: bit accounting on
// hand-built bitstreams, exact magnitudes, escape and cube-root paths, band
// handling, reservoir write-back and bounded reads.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "decoder/memory_layout.h"
#include "decoder/tables/huffman_tables.h"
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_window.h"
#include "support/huffman_test_support.h"

using namespace mp3d;
using namespace mp3d_test;

namespace {

constexpr int32_t kSentinel = 0x5A5A5A5A;

// MPEG-1 44.1 kHz long bands.
const int16_t kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};
// MPEG-2.5 8 kHz long bands: the last five are two lines wide.
const int16_t kNarrowBands[23] = {0,   12,  24,  36,  48,  60,  72,  88,  108, 132, 160, 192,
                                  232, 280, 336, 400, 476, 566, 568, 570, 572, 574, 576};

// xr * 2^28 for magnitude v and exponent e.
double reference(int32_t v, int32_t exponent) {
    return std::pow(static_cast<double>(v), 4.0 / 3.0) * std::pow(2.0, exponent / 4.0 + 28.0);
}

class HuffmanDequant : public ::testing::Test {
  protected:
    void SetUp() override {
        MP3D_init_tables(&state_);
        // Exactly the reservoir's size on the heap, so that any read past it
        // is caught by the address sanitizer.
        reservoir_.assign(kReservoirBytes, 0);
        state_.reservoir_buffer = reservoir_.data();
        spectrum_.assign(576, kSentinel);
    }

    const std::string &code(int table_select, int x, int y) {
        const uint16_t *table = Huffman_Pair_Table_Info[table_select].code_table;
        auto it = codes_.find(table);
        if (it == codes_.end()) it = codes_.emplace(table, huf_enumerate_pair_codes(table)).first;
        return it->second.at({x, y});
    }

    // Codeword, then x's escape bits and sign, then y's, for signed values.
    std::string pair_bits(int table_select, int32_t x, int32_t y) {
        const int linbits = static_cast<int>(Huffman_Pair_Table_Info[table_select].linbits);
        const int32_t ax = std::abs(x), ay = std::abs(y);
        auto field = [&](int32_t a) { return linbits > 0 && a >= 15 ? 15 : a; };
        std::string bits = code(table_select, field(ax), field(ay));
        for (int32_t v : {x, y}) {
            const int32_t a = std::abs(v);
            if (linbits > 0 && a >= 15) {
                for (int b = linbits - 1; b >= 0; --b) bits += (((a - 15) >> b) & 1) ? '1' : '0';
            }
            if (a != 0) bits += v < 0 ? '1' : '0';
        }
        return bits;
    }

    // Writes bits at start_bit and points the reader there.
    void place(const std::string &bits, int32_t start_bit, int32_t window_bits = 20) {
        HufBitWriter writer(&reservoir_, static_cast<size_t>(start_bit));
        writer.put(bits);
        huf_position_reader(&state_, start_bit, window_bits);
    }

    struct PairResult {
        uint32_t bits;
        int32_t band_reached;
        int32_t stop;
    };

    PairResult run_pair(int table_select, int32_t start_band, int32_t end_band, int32_t limit,
                        const int32_t *exponents, const int16_t *bands = kLongBands) {
        const MP3D_Pair_Region region{Huffman_Pair_Table_Info[table_select].code_table,
                                      Huffman_Pair_Table_Info[table_select].linbits,
                                      start_band,
                                      end_band,
                                      bands,
                                      exponents,
                                      limit};
        PairResult r{0, -1, 0};
        r.bits = Huf_dec_dequant_region_pair(spectrum_.data() + bands[start_band], &region, &state_,
                                             &r.band_reached, &r.stop);
        return r;
    }

    // Decodes one pair (band 0 of kLongBands, lines 0 and 1) at the given
    // exponent; returns the magnitude of out[0].
    int32_t pair_magnitude(int table_select, int32_t x, int32_t exponent) {
        spectrum_.assign(576, kSentinel);
        place(pair_bits(table_select, x, 0), 8 * 16);
        const int32_t exponents[1] = {exponent};
        run_pair(table_select, 0, 1, 2, exponents);
        return spectrum_[0];
    }

    MP3D_Decoder_State state_{};
    std::vector<uint8_t> reservoir_;
    std::vector<int32_t> spectrum_;
    std::map<const uint16_t *, std::map<std::pair<int, int>, std::string>> codes_;
};

}  // namespace

TEST_F(HuffmanDequant, PairBitAccountingAndWriteBack) {
    // Table 1: (0,0) is "1" and reads no sign; (1,0) "01" and (0,1) "001"
    // each read one sign; (1,1) "000" reads two.
    const std::string bits = pair_bits(1, 0, 0) + pair_bits(1, 0, 0) + pair_bits(1, -1, 0) +
                             pair_bits(1, 0, 1) + pair_bits(1, 1, -1);
    ASSERT_EQ(bits,
              "1"
              "1"
              "011"
              "0010"
              "00001");
    const int16_t bands[2] = {0, 10};
    const int32_t exponents[1] = {-60};
    // Once with a nearly full window starting mid-byte, once with few bits.
    for (const int32_t window_bits : {32, 9}) {
        spectrum_.assign(576, kSentinel);
        const int32_t start = 8 * 40 + 5;
        place(bits + "0110", start, window_bits);
        const PairResult r = run_pair(1, 0, 1, 576, exponents, bands);
        EXPECT_EQ(r.bits, bits.size());
        EXPECT_EQ(r.band_reached, 1);
        EXPECT_EQ(r.stop, 0);
        EXPECT_EQ(huf_reader_position(state_), start + static_cast<int64_t>(bits.size()));
        EXPECT_TRUE(huf_window_matches_buffer(state_));
        EXPECT_GE(state_.res_bits_in_window, 0);
        EXPECT_LE(state_.res_bits_in_window, 32);
        // Zero values are not written; magnitude 1 at exponent -60 is 8191.
        const int32_t expected[11] = {kSentinel, kSentinel, kSentinel, kSentinel,
                                      -8191,     kSentinel, kSentinel, 8191,
                                      8191,      -8191,     kSentinel};
        for (int i = 0; i < 11; ++i) EXPECT_EQ(spectrum_[i], expected[i]) << i;
    }
}

TEST_F(HuffmanDequant, PairExactMagnitudes) {
    EXPECT_EQ(pair_magnitude(13, 5, -63), 41646);
    EXPECT_EQ(pair_magnitude(15, 15, -62), 214287);      // no escape in table 15: cached path
    EXPECT_EQ(pair_magnitude(26, 64, -60), 2097152);     // linbits 6
    EXPECT_EQ(pair_magnitude(27, 100, -60), 3802389);    // linbits 7
    EXPECT_EQ(pair_magnitude(30, 1000, -60), 81920005);  // linbits 11
    EXPECT_EQ(pair_magnitude(31, 8206, -61), 1140182848);
    EXPECT_EQ(pair_magnitude(1, 1, -60), 8191);
    EXPECT_EQ(pair_magnitude(1, 1, 0), (1 << 28) - 1);
    EXPECT_EQ(pair_magnitude(1, -1, 0), -((1 << 28) - 1));
    EXPECT_EQ(pair_magnitude(1, 1, -200), 0);
    // xr = 8.0 does not fit and wraps to -2^31; with a minus sign it stays.
    EXPECT_EQ(pair_magnitude(13, 8, -4), INT32_MIN);
    EXPECT_EQ(pair_magnitude(13, -8, -4), INT32_MIN);
}

TEST_F(HuffmanDequant, PairEscapePaths) {
    // 63 through the power table, 64 through the cube root.
    EXPECT_EQ(pair_magnitude(26, 63, -60), 2053575);
    EXPECT_EQ(pair_magnitude(26, 64, -60), 2097152);
    // Table 16 with one escape bit: 15 + 1 = 16 through the power table.
    place(code(16, 15, 0) +
              "1"
              "0",
          8 * 16);
    const int32_t exponents[1] = {-60};
    const PairResult r = run_pair(16, 0, 1, 2, exponents);
    EXPECT_EQ(r.bits, code(16, 15, 0).size() + 2);
    EXPECT_EQ(spectrum_[0], 330280);
    EXPECT_EQ(spectrum_[1], kSentinel);
    // Table 15 codes 15 as a plain value: no escape bits follow.
    spectrum_.assign(576, kSentinel);
    place(code(15, 15, 15) + "01", 8 * 16);
    const PairResult r15 = run_pair(15, 0, 1, 2, exponents);
    EXPECT_EQ(r15.bits, code(15, 15, 15).size() + 2);
    EXPECT_EQ(spectrum_[0], -spectrum_[1]);
    EXPECT_NEAR(spectrum_[0], reference(15, -60), 2.0);
}

TEST_F(HuffmanDequant, PairLimitAndTableZero) {
    const int32_t exponents[22] = {};
    // Table 0: nothing is read; the limit rule still decides stop and band.
    huf_position_reader(&state_, 8 * 10 + 3, 20);
    const MP3D_Decoder_State before = state_;
    PairResult r = run_pair(0, 2, 6, 22, exponents);  // limit inside band 5 [20, 24)
    EXPECT_EQ(r.bits, 0u);
    EXPECT_EQ(r.stop, 1);
    EXPECT_EQ(r.band_reached, 5);
    EXPECT_EQ(state_.res_read_index, before.res_read_index);
    EXPECT_EQ(state_.res_window, before.res_window);
    EXPECT_EQ(state_.res_bits_in_window, before.res_bits_in_window);
    r = run_pair(0, 2, 6, 200, exponents);
    EXPECT_EQ(r.stop, 0);
    EXPECT_EQ(r.band_reached, 6);
    for (int32_t v : spectrum_) ASSERT_EQ(v, kSentinel);

    // A region ending exactly at the limit: stop, band reached = last band.
    std::string bits;
    std::vector<size_t> ends;  // bit count after each pair
    for (int i = 0; i < 12; ++i) {
        bits += pair_bits(5, i % 4, (i + 1) % 4);
        ends.push_back(bits.size());
    }
    place(bits, 8 * 100);
    r = run_pair(5, 3, 6, 24, exponents);  // bands 3..5 = lines 12..23
    EXPECT_EQ(r.stop, 1);
    EXPECT_EQ(r.band_reached, 5);
    EXPECT_EQ(r.bits, ends[5]);  // six pairs fill the 12 lines
    EXPECT_NE(spectrum_[23], kSentinel);
    EXPECT_EQ(spectrum_[24], kSentinel);
    // Same region with the limit inside band 4: two pairs of band 3, one of band 4.
    spectrum_.assign(576, kSentinel);
    place(bits, 8 * 100);
    r = run_pair(5, 3, 6, 18, exponents);
    EXPECT_EQ(r.stop, 1);
    EXPECT_EQ(r.band_reached, 4);
    EXPECT_EQ(r.bits, ends[2]);
    EXPECT_EQ(huf_reader_position(state_), 8 * 100 + static_cast<int64_t>(r.bits));
    EXPECT_EQ(spectrum_[18], kSentinel);
    EXPECT_EQ(spectrum_[19], kSentinel);
}

TEST_F(HuffmanDequant, PairRandomRoundTrip) {
    std::mt19937 rng(1234);
    for (int ts = 1; ts < 32; ++ts) {
        if (Huffman_Pair_Table_Info[ts].code_table == nullptr) continue;
        const int linbits = static_cast<int>(Huffman_Pair_Table_Info[ts].linbits);
        int xmax = 0;
        for (const auto &kv : huf_enumerate_pair_codes(Huffman_Pair_Table_Info[ts].code_table)) {
            xmax = std::max(xmax, kv.first.first);
        }
        const int32_t vmax = linbits > 0 ? 15 + (1 << linbits) - 1 : xmax;
        auto draw = [&]() {
            int32_t a = static_cast<int32_t>(rng() % static_cast<uint32_t>(xmax + 1));
            if (a == 15 && linbits > 0) a = 15 + static_cast<int32_t>(rng() % (1u << linbits));
            return (rng() & 1) ? -a : a;
        };
        // Exponents low enough for the largest value to stay below 8.0.
        const int32_t top =
            static_cast<int32_t>(std::floor(-4.0 * std::log2(std::pow(vmax, 4.0 / 3.0) / 7.9)));
        int32_t exponents[22];
        for (int32_t &e : exponents) e = top - static_cast<int32_t>(rng() % 40);
        // Bands 3..11 (lines 12..73), limit 58 inside band 10.
        const int32_t first = 12, limit = 58;
        std::vector<int32_t> values(576, 0);
        std::string bits;
        for (int32_t line = first; line < limit; line += 2) {
            values[line] = draw();
            values[line + 1] = draw();
            bits += pair_bits(ts, values[line], values[line + 1]);
        }
        spectrum_.assign(576, kSentinel);
        const int32_t start = 8 * 50 + static_cast<int32_t>(rng() % 8);
        place(bits + "0101010101010101", start, 25);
        const PairResult r = run_pair(ts, 3, 12, limit, exponents);
        ASSERT_EQ(r.bits, bits.size()) << "table " << ts;
        EXPECT_EQ(r.stop, 1);
        EXPECT_EQ(r.band_reached, 10);
        EXPECT_EQ(huf_reader_position(state_), start + static_cast<int64_t>(bits.size()));
        EXPECT_TRUE(huf_window_matches_buffer(state_));
        int band = 3;
        for (int32_t line = 0; line < 576; ++line) {
            while (line >= kLongBands[band + 1]) ++band;
            if (values[line] == 0 || line < first || line >= limit) {
                ASSERT_EQ(spectrum_[line], kSentinel) << "table " << ts << " line " << line;
                continue;
            }
            const double want = reference(std::abs(values[line]), exponents[band]);
            const double got = std::abs(static_cast<double>(spectrum_[line]));
            EXPECT_LE(std::abs(got - want), 2e-4 * want + 1.0)
                << "table " << ts << " line " << line << " value " << values[line];
            EXPECT_EQ(spectrum_[line] < 0, values[line] < 0) << ts << " " << line;
        }
    }
}

TEST_F(HuffmanDequant, PairReadsStayInsideReservoir) {
    // Huffman data that runs to the end of the buffer and beyond: the kernel
    // loads no byte past the reservoir and stops soon after its end.
    std::mt19937 rng(99);
    for (int trial = 0; trial < 4; ++trial) {
        for (size_t i = 2000; i < reservoir_.size(); ++i)
            reservoir_[i] = static_cast<uint8_t>(rng());
        const int32_t start = 8 * (2020 + 5 * trial);
        huf_position_reader(&state_, start, 32);
        spectrum_.assign(576, kSentinel);
        const int32_t exponents[22] = {};
        const PairResult r = run_pair(trial % 2 ? 31 : 13, 0, 22, 576, exponents);
        EXPECT_EQ(r.stop, 1);
        EXPECT_LE(state_.res_read_index, kReservoirBytes + 16);
        EXPECT_GT(huf_reader_position(state_), 8 * kReservoirBytes);
        EXPECT_EQ(huf_reader_position(state_), start + static_cast<int64_t>(r.bits));
        EXPECT_TRUE(huf_window_matches_buffer(state_));
    }
}

TEST_F(HuffmanDequant, CubeRootPrecision) {
    // The pair kernel's routes (the power table up to 63, the cube root from
    // 64) stay within 2e-4 of the exact value, as does the cube root taken
    // below 64. Magnitude 1 is the scale shifted down, truncated: at exponent
    // -63 that is 4870 for 4870.99 (2.04e-4), so it is held to one unit.
    double worst = 0.0;
    for (int32_t exponent = -63; exponent <= -60; ++exponent) {
        const Huf_Exponent_Split e = huf_split_exponent(exponent);
        const int32_t scale = state_.scale_fac_table_lf[e.r];
        const double one = reference(1, exponent);
        EXPECT_LE(std::abs(huf_magnitude_one(scale, e.q) - one), 1.0) << exponent;
        EXPECT_LE(std::abs(dequant_greaterthan63(1, scale, -e.q, &state_) - one), 1.0);
        for (int32_t v = 2; v <= 8206; ++v) {
            const double want = reference(v, exponent);
            const double root = dequant_greaterthan63(v, scale, -e.q, &state_);
            worst = std::max(worst, std::abs(root - want) / want);
            if (v < 64) {
                const double small = huf_small_magnitude(v, scale, e.q, &state_);
                worst = std::max(worst, std::abs(small - want) / want);
            }
        }
    }
    EXPECT_LT(worst, 2e-4);
}

TEST_F(HuffmanDequant, CubeRootExactValues) {
    auto deq = [&](int32_t v, int32_t exponent) {
        const Huf_Exponent_Split e = huf_split_exponent(exponent);
        return dequant_greaterthan63(v, state_.scale_fac_table_lf[e.r], -e.q, &state_);
    };
    EXPECT_EQ(deq(64, -60), 2097152);
    EXPECT_EQ(deq(100, -60), 3802389);
    EXPECT_EQ(deq(1000, -60), 81920005);
    EXPECT_EQ(deq(8206, -61), 1140182848);
    EXPECT_EQ(deq(0, -60), 0);
    EXPECT_EQ(deq(8206, -400), 0);  // shift of 32 or more
    // Out-of-range arguments stay inside the tables.
    EXPECT_EQ(deq(-5, -60), 0);
    EXPECT_EQ(deq(1 << 30, -60), deq(32767, -60));
}

namespace {

struct QuadRun {
    uint32_t bits;
    int32_t lines;
};

}  // namespace

class HuffmanQuad : public HuffmanDequant {
  protected:
    QuadRun run_quad(int select, int32_t budget, int32_t start_band, int32_t start_line,
                     const int32_t *exponents, const int16_t *bands = kLongBands) {
        const MP3D_Quad_Region region{
            Huffman_Quad_Table_Info[select], budget, start_band, bands, exponents, start_line};
        QuadRun r{0, -1};
        r.bits =
            Huf_dec_dequant_quadplex(spectrum_.data() + start_line, &region, &state_, &r.lines);
        return r;
    }
};

TEST_F(HuffmanQuad, UnitValues) {
    const std::pair<int32_t, int32_t> cases[] = {
        {-60, 8191}, {-61, 6888}, {0, 268435200}, {-200, 0}};
    for (const auto &c : cases) {
        spectrum_.assign(576, kSentinel);
        place(
            "000001"
            "0000"
            "000001"
            "1111",
            8 * 20);  // table A 1111 twice
        const int32_t exponents[22] = {c.first, c.first, c.first};
        const QuadRun r = run_quad(0, 20, 0, 0, exponents);
        EXPECT_EQ(r.bits, 20u);
        EXPECT_EQ(r.lines, 8);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(spectrum_[i], c.second) << c.first;
        for (int i = 4; i < 8; ++i) EXPECT_EQ(spectrum_[i], -c.second) << c.first;
        EXPECT_EQ(spectrum_[8], kSentinel);
    }
}

TEST_F(HuffmanQuad, BitAccounting) {
    const int32_t exponents[22] = {-60, -60, -60, -60, -60};
    // Table B, budget 8, codes 1111 1111: two zero quadruples, nothing written.
    place(
        "11111111"
        "0000",
        8 * 30 + 2);
    QuadRun r = run_quad(1, 8, 0, 0, exponents);
    EXPECT_EQ(r.bits, 8u);
    EXPECT_EQ(r.lines, 8);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(spectrum_[i], kSentinel);
    EXPECT_EQ(huf_reader_position(state_), 8 * 30 + 2 + 8);
    EXPECT_TRUE(huf_window_matches_buffer(state_));

    // Table A, 000001 with signs 0101: +U -U +U -U in 10 bits.
    place(
        "000001"
        "0101",
        8 * 40);
    r = run_quad(0, 10, 0, 0, exponents);
    EXPECT_EQ(r.bits, 10u);
    EXPECT_EQ(r.lines, 4);
    const int32_t want[4] = {8191, -8191, 8191, -8191};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(spectrum_[i], want[i]);

    // Signs are read only for the non-zero members: table A 0101 (v=0 w=1
    // x=0 y=1) is code 000101 and reads two signs.
    spectrum_.assign(576, kSentinel);
    place(
        "000101"
        "10"
        "1",
        8 * 50);
    r = run_quad(0, 9, 0, 0, exponents);
    EXPECT_EQ(r.bits, 9u);
    EXPECT_EQ(r.lines, 8);
    EXPECT_EQ(spectrum_[0], kSentinel);
    EXPECT_EQ(spectrum_[1], -8191);
    EXPECT_EQ(spectrum_[2], kSentinel);
    EXPECT_EQ(spectrum_[3], 8191);

    // A budget of 3 and a 6-bit codeword: decoded in full, 10 bits reported.
    spectrum_.assign(576, kSentinel);
    place(
        "000001"
        "0000",
        8 * 60);
    r = run_quad(0, 3, 0, 0, exponents);
    EXPECT_EQ(r.bits, 10u);
    EXPECT_EQ(r.lines, 4);
    EXPECT_EQ(spectrum_[3], 8191);

    // Starting at line 576: nothing.
    huf_position_reader(&state_, 8 * 70, 20);
    const int64_t position = huf_reader_position(state_);
    r = run_quad(0, 100, 21, 576, exponents);
    EXPECT_EQ(r.bits, 0u);
    EXPECT_EQ(r.lines, 0);
    EXPECT_EQ(huf_reader_position(state_), position);

    // Near the top, no quadruple starts beyond line 572.
    spectrum_.assign(576, kSentinel);
    place(std::string(60, '0'), 8 * 80);
    const int32_t flat[22] = {};
    r = run_quad(1, 1000, 21, 560, flat);  // table B 0000: 1111 with four signs
    EXPECT_EQ(r.lines, 16);
    EXPECT_EQ(r.bits, 4u * 8);
    EXPECT_EQ(spectrum_[575], 268435200);
}

TEST_F(HuffmanQuad, BandBoundaries) {
    // Boundary at pos + 2: lines 4, 5 in band 0, lines 6, 7 in band 1, the
    // next quadruple wholly in band 1, then band 2 from its first line.
    const int16_t bands[5] = {0, 6, 12, 18, 576};
    const int32_t exponents[4] = {-60, -61, -62, -63};
    const std::string all_plus =
        "000001"
        "0000";
    place(all_plus + all_plus + all_plus, 8 * 20);
    const QuadRun r = run_quad(0, 30, 0, 4, exponents, bands);
    EXPECT_EQ(r.bits, 30u);
    EXPECT_EQ(r.lines, 12);
    const int32_t u[3] = {8191, 6888, huf_count1_unit(state_.scale_fac_table_lf[2], 15)};
    const int32_t want[12] = {u[0], u[0], u[1], u[1], u[1], u[1],
                              u[1], u[1], u[2], u[2], u[2], u[2]};
    for (int i = 0; i < 12; ++i) EXPECT_EQ(spectrum_[4 + i], want[i]) << i;

    // Two-line bands at the top of the MPEG-2.5 8 kHz layout: every line gets
    // the unit value of its own band.
    spectrum_.assign(576, kSentinel);
    int32_t narrow_exponents[22];
    for (int b = 0; b < 22; ++b) narrow_exponents[b] = -40 - b;
    place(all_plus + all_plus + all_plus, 8 * 40);
    const QuadRun n = run_quad(0, 30, 16, 564, narrow_exponents, kNarrowBands);
    EXPECT_EQ(n.lines, 12);
    int band = 16;
    for (int line = 564; line < 576; ++line) {
        while (line >= kNarrowBands[band + 1]) ++band;
        const Huf_Exponent_Split e = huf_split_exponent(narrow_exponents[band]);
        EXPECT_EQ(spectrum_[line], huf_count1_unit(state_.scale_fac_table_lf[e.r], e.q))
            << "line " << line;
    }
}

TEST_F(HuffmanQuad, ReadsStayInsideReservoir) {
    for (size_t i = 1990; i < reservoir_.size(); ++i) reservoir_[i] = 0;
    const int32_t start = 8 * 2000;
    huf_position_reader(&state_, start, 32);
    const int32_t exponents[22] = {};
    const QuadRun r = run_quad(0, 4000, 0, 0, exponents);  // 9 bits per quadruple
    EXPECT_LE(state_.res_read_index, kReservoirBytes + 8);
    EXPECT_LT(r.lines, 576);
    EXPECT_EQ(huf_reader_position(state_), start + static_cast<int64_t>(r.bits));
    EXPECT_TRUE(huf_window_matches_buffer(state_));
}
