// Big-value pair decoding fused with dequantisation (ISO/IEC 11172-3,
// 2.4.2.7 and 2.4.3.4): one region of the big-value part, written as Q28
// spectral values.
//
// The reservoir is read through the 64-bit reader of reservoir_reader.h. A
// pair needs at most 48 bits (a 19-bit codeword, then for x and y up to 13
// escape bits and a sign), so one refill before a pair whenever fewer than
// 48 bits are left covers the whole pair; a refill brings 56 or more. Within
// a pair the codeword and signs are taken from the top 32 bits and consumed
// from the reader once at the end of the pair; an escape consumes what came
// before it first, so that `used` counts the bits since the escape.
//
// The byte-wise reader that the state keeps refills to 25..32 unread bits
// before every pair and before every escape. The kernel counts the bits
// consumed since the last such point (`tail`) and rebuilds that reader's
// exact state on exit, including its read stop past the buffer's end.
//
// Codewords are looked up in the code table's direct first level
// (huffman_fast.h): one read gives x, y and the bits of codeword and signs
// for every codeword of up to 7..9 bits; longer ones (a few percent of the
// pairs) walk the multi-level table. A pair without escape is then decoded
// without branches; escapes (x or y = 15 in a table with linbits) take a
// separate path.
//
// Magnitudes below 64 come from huf_scaled_powers: the power x^(4/3) already
// multiplied by the band's quarter-step scale (for x = 1 the scale itself),
// placed so that one right shift by the band's 26 + q gives the magnitude.
// Escape values 64..255 take their cube root from huf_cube_roots, larger
// ones compute it (dequant_greaterthan63).
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_dequant_steps.h"
#include "kernels/reservoir_reader.h"
#include "tables/huffman_magnitudes.h"

namespace mp3d {

using namespace huf_steps;

namespace {

constexpr int32_t kRefillDepth = kPairRefillDepth;
constexpr int32_t kStopPosition = kPairStopPosition;

// The pair loop tests count < guard once per pair: below it either a refill
// is due or the read position (8 * index - count) has reached kStopPosition.
inline int32_t pair_guard(int32_t index) {
    const int32_t stop = 8 * index - kStopPosition + 1;
    return stop > kPairBits ? stop : kPairBits;
}

// Stands in for the magnitude table in bands below q = -26, where every
// magnitude but that of 1 is 0: entry 1 passes the band's mask (the
// magnitude of 1), every other entry gives 0.
constexpr uint64_t kOnlyMagnitudeOne[64] = {0, 0xFFFFFFFFu};

}  // namespace

uint32_t Huf_dec_dequant_region_pair(int32_t *out, const MP3D_Pair_Region *region,
                                     MP3D_Decoder_State *state, int32_t *band_reached,
                                     int32_t *stop) {
    const uint8_t *const buffer = state->reservoir_buffer;
    const Huf_Reader start = huf_reader_load(state);
    uint64_t bits = start.bits;
    int32_t count = start.count;
    int32_t index = start.index;
    int32_t guard = pair_guard(index);
    int32_t tail = -1;  // bits since the byte-wise reader's last refill; -1: none yet

    const uint16_t *const table = region->code_table;
    const uint32_t linbits = region->linbits > kMaxLinbits ? kMaxLinbits : region->linbits;
    // Direct-lookup entries with this bit set hold an escape (x or y is 15).
    const uint32_t escape_flag = linbits != 0 ? kEscapeFlag : 0u;
    const int16_t *const bands = region->band_table;
    const int32_t limit = region->line_limit;
    const int32_t *const scale_table = state->scale_fac_table_lf;
    const Huffman_Pair_Fast_Table fast_table = find_fast_table(table);
    const uint16_t *const fast = fast_table.entries;
    const uint32_t fast_shift = 64 - fast_table.width;

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
        const int32_t pairs = lines > 0 ? lines >> 1 : 0;

        if (table == nullptr) {
            out += 2 * pairs;
        } else if (pairs > 0) {
            const Huf_Exponent_Split e = huf_split_exponent(region->exponents[band]);
            const int32_t scale = scale_table[e.r];
            const int32_t q = e.q;
            // Magnitude of x < 64: the table word shifted right by 26 + q
            // (clamped to 63, where every word gives 0 as shift_by does),
            // low 32 bits. Below q = -26, outside what any stream's gains
            // give, every magnitude but 1 is 0; a table of those stands in.
            const uint64_t *powers = huf_scaled_powers[e.r];
            uint32_t shift = 63;
            uint32_t mask = ~0u;
            if (q < 63 - 26) shift = static_cast<uint32_t>(26 + (q > -26 ? q : -26));
            if (q < -26) {
                powers = kOnlyMagnitudeOne;
                shift = 0;
                mask = static_cast<uint32_t>(huf_magnitude_one(scale, q));
            }
            auto power = [&](uint32_t value) -> int32_t {
                return static_cast<int32_t>(static_cast<uint32_t>(powers[value] >> shift) & mask);
            };
            // Escape of x = 15 after `used` more bits: consumes those, reads
            // the escape bits, leaves v at the sign (the escape bits are
            // consumed with the rest of the pair) and returns the magnitude.
            auto escaped = [&](uint32_t used, uint32_t &v) -> int32_t {
                bits <<= used;
                count -= static_cast<int32_t>(used);
                const int32_t value = 15 + static_cast<int32_t>(bits >> (64 - linbits));
                v = static_cast<uint32_t>((bits << linbits) >> 32);
                if (value < 64) return power(static_cast<uint32_t>(value));
                return large_magnitude(value, scale, q, state);
            };

            int32_t *const band_end = out + 2 * pairs;
            uint32_t used = 0;
            do {
                if (count < guard) {
                    if (count < kPairBits) huf_refill(bits, count, index, buffer);
                    guard = pair_guard(index);
                    if (count < guard) {
                        // Past the end of the reservoir: nothing left to decode.
                        used = 0;
                        *stop = 1;
                        last = true;
                        break;
                    }
                }
                const uint32_t v0 = static_cast<uint32_t>(bits >> 32);
                uint32_t entry = fast[bits >> fast_shift];
                if (entry == 0) [[unlikely]]
                    entry = walk(table, v0);
                const uint32_t x = entry >> 12;
                const uint32_t y = (entry >> 8) & 15u;
                const uint32_t sx = x != 0 ? 1u : 0u;
                const uint32_t sy = y != 0 ? 1u : 0u;
                used = entry & 63u;
                uint32_t v = v0 << (used - sx - sy);

                if ((entry & escape_flag) != 0) [[unlikely]] {
                    used -= sx + sy;  // the codeword alone
                    if (x != 0) {
                        int32_t m;
                        if (x == 15) {
                            m = escaped(used, v);
                            used = linbits;
                        } else {
                            m = power(x);
                        }
                        out[0] = apply_sign(m, v);
                        v <<= 1;
                        used += 1;
                    }
                    if (y != 0) {
                        int32_t m;
                        if (y == 15) {
                            m = escaped(used, v);
                            used = linbits;
                        } else {
                            m = power(y);
                        }
                        out[1] = apply_sign(m, v);
                        used += 1;
                    }
                } else {
                    // No escape: both values without branches. A zero value
                    // takes no sign bit; its magnitude is 0, so its line (which
                    // the caller has cleared) gets 0 again.
                    out[0] = apply_sign(power(x), v);
                    v <<= sx;
                    out[1] = apply_sign(power(y), v);
                }
                bits <<= used;
                count -= static_cast<int32_t>(used);
                out += 2;
            } while (out != band_end);
            tail = static_cast<int32_t>(used);
        }
        if (last) break;
    }
    *band_reached = band;

    const int32_t position = 8 * index - count;
    return huf_reader_store({bits, count, index}, tail < 0 ? INT32_MIN : position - tail,
                            kRefillDepth, state);
}

}  // namespace mp3d
