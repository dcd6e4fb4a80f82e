// Big-value pair decoding fused with dequantisation (ISO/IEC 11172-3,
// 2.4.2.7 and 2.4.3.4): one region of the big-value part, written as Q28
// spectral values.
//
// The reservoir reader is kept in locals: w is the 32-bit window, c the number
// of its bits already consumed (the next unread bit is bit 31 - c), index the
// next reservoir byte to load. A refill loads whole bytes while c >= 8, which
// leaves at least 25 unread bits: enough for the longest codeword (19 bits)
// with its signs, or for 13 escape bits and a sign.
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_window.h"

namespace mp3d {

namespace {

// Largest escape width of the standard's tables; larger requests are cut so
// that the escape bits always fit the refilled window.
constexpr uint32_t kMaxLinbits = 13;
// The decoder reads at most this many words per codeword; the fifth is taken
// as a leaf whatever it holds.
constexpr int kMaxLookups = 5;

}  // namespace

uint32_t Huf_dec_dequant_region_pair(int32_t *out, const MP3D_Pair_Region *region,
                                     MP3D_Decoder_State *state, int32_t *band_reached,
                                     int32_t *stop) {
    const uint8_t *const buffer = state->reservoir_buffer;
    uint32_t w = state->res_window;
    int32_t c = 32 - state->res_bits_in_window;
    int32_t index = state->res_read_index;
    const int32_t start_index = index;
    const int32_t start_bits = state->res_bits_in_window;

    auto refill = [&]() {
        while (c >= 8) {
            w = (w << 8) | huf_fetch_byte(buffer, index);
            ++index;
            c -= 8;
        }
    };

    const uint16_t *const table = region->code_table;
    const uint32_t linbits = region->linbits > kMaxLinbits ? kMaxLinbits : region->linbits;
    const int16_t *const bands = region->band_table;
    const int32_t limit = region->line_limit;
    const int32_t *const scale_table = state->scale_fac_table_lf;

    int32_t band = region->start_band;
    for (; band < region->end_band; ++band) {
        const int32_t first = bands[band];
        const int32_t end = bands[band + 1];
        bool last = false;
        int32_t lines = end - first;
        if (limit <= end) {
            lines = limit - first;
            last = true;
            *stop = 1;
        }
        int32_t pairs = lines > 0 ? lines >> 1 : 0;

        if (table == nullptr) {
            out += 2 * pairs;
        } else {
            const Huf_Exponent_Split e = huf_split_exponent(region->exponents[band]);
            const int32_t scale = scale_table[e.r];
            // Magnitudes 1..15 of this band, computed on first use.
            int32_t cache[16];
            uint32_t valid = 1u << 1;
            cache[1] = huf_magnitude_one(scale, e.q);

            auto magnitude = [&](uint32_t x, uint32_t &v) -> int32_t {
                if (linbits != 0 && x == 15) {
                    refill();
                    v = w << c;
                    const int32_t value = 15 + static_cast<int32_t>(v >> (32 - linbits));
                    c += static_cast<int32_t>(linbits);
                    v <<= linbits;
                    return value < 64 ? huf_small_magnitude(value, scale, e.q, state)
                                      : dequant_greaterthan63(value, scale, -e.q, state);
                }
                if ((valid & (1u << x)) == 0) {
                    cache[x] = huf_small_magnitude(static_cast<int32_t>(x), scale, e.q, state);
                    valid |= 1u << x;
                }
                return cache[x];
            };

            for (; pairs > 0; --pairs) {
                refill();
                if (index > kHufReadStopIndex) {
                    // Past the end of the reservoir: nothing left to decode.
                    *stop = 1;
                    last = true;
                    break;
                }
                const uint32_t v0 = w << c;
                uint32_t v = v0;
                int32_t base = 1;
                uint32_t width = table[0];
                uint32_t entry = 0;
                for (int lookup = 1;; ++lookup) {
                    entry = table[base + static_cast<int32_t>(v >> (32 - width))];
                    if ((entry & 1u) != 0 || lookup == kMaxLookups) break;
                    v <<= width;
                    base += static_cast<int32_t>((entry >> 1) & 0x3FFu);
                    width = entry >> 11;
                }
                const uint32_t length = (entry >> 1) & 31u;
                const uint32_t x = entry >> 12;
                const uint32_t y = (entry >> 8) & 15u;
                c += static_cast<int32_t>(length);
                v = v0 << length;

                if (x != 0) {
                    const int32_t m = magnitude(x, v);
                    out[0] = (v >> 31) != 0 ? wrap_neg(m) : m;
                    v <<= 1;
                    c += 1;
                }
                if (y != 0) {
                    const int32_t m = magnitude(y, v);
                    out[1] = (v >> 31) != 0 ? wrap_neg(m) : m;
                    v <<= 1;
                    c += 1;
                }
                out += 2;
            }
        }
        if (last) break;
    }
    *band_reached = band;

    state->res_window = w;
    state->res_bits_in_window = 32 - c;
    state->res_read_index = index;
    return static_cast<uint32_t>(start_bits + 8 * (index - start_index) - (32 - c));
}

}  // namespace mp3d
