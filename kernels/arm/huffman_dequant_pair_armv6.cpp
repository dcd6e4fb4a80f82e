// Big-value pair decoding fused with dequantisation for 32-bit ARM: the
// portable kernel's results (kernels/huffman_dequant_pair.cpp) with 32-bit
// words only, where the portable reader's 64-bit shifts and magnitude table
// cost several instructions each.
//
// The reader keeps at most 32 unread bits, left-aligned, `count` of them
// valid; the bits below them are zero or the stream's following bits. Before
// a pair it is topped up to 24 or more whenever fewer than 21 bits are left
// (the longest codeword and two signs: no walk of the standard's tables ends
// later), with one unaligned word load. An escape tops it up again before
// its escape bits and sign (at most 14). Codewords longer than the direct
// lookup reads see the next 32 bits of the stream, as in the portable kernel.
//
// Magnitudes below 64 are the upper words of the rows of huf_scaled_powers:
// the portable kernel shifts an entry right by 26 + q and keeps the low word.
// For q >= 6 that is the upper word shifted right by q - 6 (entry 1, the
// scale shifted left by 23, loses only bits that this shift drops anyway),
// one load and one shift per value. Bands with q < 6, only in very loud
// passages, shift the upper word left instead and take the magnitude of 1
// from huf_magnitude_one.
//
// The read stop past the reservoir's end and the byte-wise reader's state
// written back on exit follow from the read position and the bits since that
// reader's last refill point, exactly as in the portable kernel.
#include <cstring>

#include "kernels/arm/kernels_armv6.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_dequant_steps.h"
#include "kernels/reservoir_reader.h"
#include "tables/huffman_magnitudes.h"

namespace mp3d {

using namespace huf_steps;

namespace {

// Byte offset of the upper word of a uint64_t in memory.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr size_t kUpperWordOffset = 0;
#else
constexpr size_t kUpperWordOffset = 4;
#endif

// Escape bits and a sign.
constexpr int32_t kEscapeBits = static_cast<int32_t>(kMaxLinbits) + 1;

struct Reader32 {
    uint32_t bits;
    int32_t count;
    int32_t index;
    int32_t guard;  // count below it: a refill is due or the read stop is reached
    const uint8_t *buffer;

    // Below this count a pair either needs a refill or must not start (its
    // read position, 8 * index - count, has reached kPairStopPosition).
    void update_guard() {
        const int32_t stop = 8 * index - kPairStopPosition + 1;
        guard = stop > kPlainPairBits ? stop : kPlainPairBits;
    }
    // Tops the window up to 24..31 valid bits (count <= 23 on entry).
    void refill() {
        bits |= huf_next_word32(buffer, index) >> count;
        index += (31 - count) >> 3;
        count |= 24;
    }
    // The next 32 bits of the stream.
    uint32_t peek() const {
        return count >= 32 ? bits : bits | (huf_next_word32(buffer, index) >> count);
    }
    void skip(uint32_t n) {
        bits <<= n;
        count -= static_cast<int32_t>(n);
    }
};

// Magnitude of x < 64 in a band with q >= 6: the upper word shifted right.
struct Right_Magnitudes {
    const uint8_t *upper;  // upper word of entry x at upper + 8 x
    uint32_t shift;        // q - 6, at most 31
    int32_t operator()(uint32_t x) const {
        uint32_t w;
        std::memcpy(&w, upper + 8 * x, sizeof(w));
        return static_cast<int32_t>(w >> shift);
    }
};

// Magnitude of x < 64 in a band with q < 6: the upper word shifted left by
// 6 - q (0 from 32 on), x = 1 from huf_magnitude_one.
struct Left_Magnitudes {
    const uint8_t *upper;
    uint32_t shift;  // 6 - q, cut to 0..31
    uint32_t keep;   // all ones when 6 - q < 32
    int32_t one;
    int32_t operator()(uint32_t x) const {
        uint32_t w;
        std::memcpy(&w, upper + 8 * x, sizeof(w));
        return x == 1 ? one : static_cast<int32_t>((w << shift) & keep);
    }
};

struct Pair_Context {
    const uint16_t *table;
    const uint16_t *fast;
    uint32_t fast_shift;   // 32 - width of the direct lookup
    uint32_t escape_flag;  // kEscapeFlag in tables with escapes, else 0
    uint32_t linbits;
    int32_t scale;
    int32_t q;
    MP3D_Decoder_State *state;
};

// One value of an escape pair, from the reader standing at its escape bits
// (x = 15) or sign: writes it to *out and returns the bits it took.
template <class Magnitudes>
inline uint32_t escape_value(int32_t *out, uint32_t x, Reader32 &r, const Magnitudes &mag,
                             const Pair_Context &c) {
    if (r.count < kEscapeBits) {
        r.refill();
        r.update_guard();
    }
    uint32_t taken = 1;
    int32_t m;
    if (x == 15) {
        const int32_t value = 15 + static_cast<int32_t>(r.bits >> (32 - c.linbits));
        r.skip(c.linbits);
        taken += c.linbits;
        m = value < 64 ? mag(static_cast<uint32_t>(value))
                       : large_magnitude(value, c.scale, c.q, c.state);
    } else {
        m = mag(x);
    }
    *out = apply_sign(m, r.bits);
    r.skip(1);
    return taken;
}

// Decodes the pairs of one band, out .. band_end. Returns the bits since the
// byte-wise reader's last refill point (before the last pair or its last
// escape), or -1 when the read stop ended the band before a pair.
template <class Magnitudes>
inline int32_t decode_band(int32_t *out, int32_t *const band_end, Reader32 &r,
                           const Magnitudes &mag, const Pair_Context &c) {
    uint32_t used = 0;
    do {
        if (r.count < r.guard) {
            if (r.count < kPlainPairBits) r.refill();
            r.update_guard();
            // Past the end of the reservoir: nothing left to decode.
            if (r.count < r.guard) return -1;
        }
        uint32_t entry = c.fast[r.bits >> c.fast_shift];
        if (entry == 0) [[unlikely]]
            entry = walk(c.table, r.peek());
        const uint32_t x = entry >> 12;
        const uint32_t y = (entry >> 8) & 15u;
        const uint32_t sy = y != 0 ? 1u : 0u;
        used = entry & 63u;
        if ((entry & c.escape_flag) != 0) [[unlikely]] {
            const uint32_t sx = x != 0 ? 1u : 0u;
            used -= sx + sy;  // the codeword alone
            r.skip(used);
            if (x != 0) used = (x == 15 ? 0u : used) + escape_value(out, x, r, mag, c);
            if (y != 0) used = (y == 15 ? 0u : used) + escape_value(out + 1, y, r, mag, c);
        } else {
            // No escape: the sign of y is the pair's last bit, that of x the
            // one before when y is not zero. A zero value's sign bit is not
            // its own, but its magnitude is 0: its line gets 0 either way.
            const uint32_t vy = r.bits << (used - 1);
            const uint32_t vx = r.bits << (used - 1 - sy);
            out[0] = apply_sign(mag(x), vx);
            out[1] = apply_sign(mag(y), vy);
            r.skip(used);
        }
        out += 2;
    } while (out != band_end);
    return static_cast<int32_t>(used);
}

}  // namespace

uint32_t Huf_dec_dequant_region_pair_armv6(int32_t *out, const MP3D_Pair_Region *region,
                                           MP3D_Decoder_State *state, int32_t *band_reached,
                                           int32_t *stop) {
    const int32_t n = state->res_bits_in_window;
    Reader32 r{n > 0 ? state->res_window << (32 - n) : 0u, n, state->res_read_index, 0,
               state->reservoir_buffer};
    r.update_guard();
    int32_t tail = -1;  // bits since the byte-wise reader's last refill; -1: none yet

    const uint16_t *const table = region->code_table;
    const Huffman_Pair_Fast_Table fast_table = find_fast_table(table);
    Pair_Context c{table,
                   fast_table.entries,
                   32 - fast_table.width,
                   0,
                   region->linbits > kMaxLinbits ? kMaxLinbits : region->linbits,
                   0,
                   0,
                   state};
    c.escape_flag = c.linbits != 0 ? kEscapeFlag : 0u;
    const int16_t *const bands = region->band_table;
    const int32_t limit = region->line_limit;

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
            c.scale = state->scale_fac_table_lf[e.r];
            c.q = e.q;
            const uint8_t *const upper =
                reinterpret_cast<const uint8_t *>(huf_scaled_powers[e.r]) + kUpperWordOffset;
            int32_t *const band_end = out + 2 * pairs;
            int32_t used;
            if (e.q >= 6) {
                const Right_Magnitudes mag{upper,
                                           static_cast<uint32_t>(e.q - 6 < 31 ? e.q - 6 : 31)};
                used = decode_band(out, band_end, r, mag, c);
            } else {
                const int32_t left = 6 - e.q;
                const Left_Magnitudes mag{upper, static_cast<uint32_t>(left < 32 ? left : 0),
                                          left < 32 ? ~0u : 0u, huf_magnitude_one(c.scale, e.q)};
                used = decode_band(out, band_end, r, mag, c);
            }
            out = band_end;
            if (used < 0) {
                // Past the end of the reservoir: nothing left to decode.
                tail = 0;
                *stop = 1;
                break;
            }
            tail = used;
        }
        if (last) break;
    }
    *band_reached = band;

    const int32_t position = 8 * r.index - r.count;
    // The 64-bit reader's form that huf_reader_store takes: only the read
    // position (8 * index - count) matters there.
    return huf_reader_store({0, r.count, r.index}, tail < 0 ? INT32_MIN : position - tail,
                            kPairRefillDepth, state);
}

}  // namespace mp3d
