// Steps shared by every variant of the Huffman kernels (the portable ones in
// kernels/huffman_dequant_pair.cpp and kernels/huffman_dequant_quad.cpp, and
// the processor-specific ones): code table lookups, signs, the constants of
// the bit accounting and the reader's stop. Only the bit reader and the
// magnitude arithmetic differ between the variants.
#ifndef MP3D_KERNELS_HUFFMAN_DEQUANT_STEPS_H
#define MP3D_KERNELS_HUFFMAN_DEQUANT_STEPS_H

#include <cstdint>

#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/reservoir_reader.h"
#include "tables/huffman_cube_roots.h"
#include "tables/huffman_fast.h"

namespace mp3d::huf_steps {

// ---- Big-value pairs ----

// Largest escape width of the standard's tables; larger requests are cut so
// that the escape bits always fit the refilled window.
inline constexpr uint32_t kMaxLinbits = 13;
// The decoder reads at most this many words per codeword; the fifth is taken
// as a leaf whatever it holds.
inline constexpr int kMaxLookups = 5;
// Bits a pair without escape can take: the longest codeword and two signs.
inline constexpr int32_t kPlainPairBits = 19 + 2;
// Bits a pair can take: the longest codeword (19 bits), then twice the
// longest escape and a sign.
inline constexpr int32_t kPairBits = 19 + 2 * (static_cast<int32_t>(kMaxLinbits) + 1);
// The byte-wise reader refills to more than this many unread bits before
// every pair and every escape.
inline constexpr int32_t kPairRefillDepth = 32;
// Bit position from which the byte-wise reader's refill moves its index past
// kHufReadStopIndex: floor((p + 32) / 8) > kHufReadStopIndex. A pair that
// would start there is not decoded.
inline constexpr int32_t kPairStopPosition = 8 * (kHufReadStopIndex + 1) - kPairRefillDepth;

// Bit of a direct-lookup entry marking x or y = 15.
inline constexpr uint32_t kEscapeFlag = 0x80u;

// Stands in for a code table without a direct lookup: every codeword is
// resolved by the multi-level walk.
inline constexpr uint16_t kNoFastEntries[2] = {0, 0};

// Applies the sign bit at the top of v to m: m when it is 0, the wrapped
// negation when it is 1.
inline int32_t apply_sign(int32_t m, uint32_t v) {
    const uint32_t s = 0u - (v >> 31);
    return static_cast<int32_t>((static_cast<uint32_t>(m) ^ s) - s);
}

inline Huffman_Pair_Fast_Table find_fast_table(const uint16_t *table) {
    for (const Huffman_Pair_Fast_Table &t : huf_pair_fast_tables)
        if (t.code_table == table) return t;
    return {table, kNoFastEntries, 1};
}

// Resolves the codeword at the top of v0 (the next 32 bits of the stream) in
// the multi-level table (at most kMaxLookups reads; the last word read is
// taken as the leaf) and returns it in the direct lookup's form, its bit
// count widened to bits 0..5.
inline uint32_t walk(const uint16_t *table, uint32_t v0) {
    const uint32_t root_width = table[0];
    uint32_t entry = table[1 + (v0 >> (32 - root_width))];
    if ((entry & 1u) == 0) {
        uint32_t v = v0 << root_width;
        int32_t base = 1;
        for (int lookup = 2;; ++lookup) {
            base += static_cast<int32_t>((entry >> 1) & 0x3FFu);
            const uint32_t width = entry >> 11;
            entry = table[base + static_cast<int32_t>(v >> (32 - width))];
            if ((entry & 1u) != 0 || lookup == kMaxLookups) break;
            v <<= width;
        }
    }
    const uint32_t x = entry >> 12;
    const uint32_t y = (entry >> 8) & 15u;
    const uint32_t length = (entry >> 1) & 31u;
    const uint32_t flag = x == 15 || y == 15 ? kEscapeFlag : 0u;
    return (x << 12) | (y << 8) | flag | (length + (x != 0 ? 1u : 0u) + (y != 0 ? 1u : 0u));
}

// Magnitude of an escape value v >= 64 (smaller ones come from the power
// table): cube roots of values below kHufCubeRootEnd from their table, the
// others computed.
inline int32_t large_magnitude(int32_t v, int32_t scale, int32_t q, MP3D_Decoder_State *state) {
    if (v < kHufCubeRootEnd)
        return huf_root_magnitude(v, huf_cube_roots[v - kHufCubeRootFirst], scale, -q);
    return dequant_greaterthan63(v, scale, -q, state);
}

// ---- Count1 quadruples ----

// Quadruples start at most here, so that none is written past line 575.
inline constexpr int32_t kLastQuadStart = 572;
// Bits a quadruple can take: the longest codeword and four signs.
inline constexpr int32_t kQuadBits = 10;
// The byte-wise reader refills to more than this many unread bits before
// every quadruple.
inline constexpr int32_t kQuadRefillDepth = 24;
// Bit position from which that refill moves its index past
// kHufReadStopIndex: floor((p + 24) / 8) > kHufReadStopIndex.
inline constexpr int32_t kQuadStopPosition = 8 * (kHufReadStopIndex + 1) - kQuadRefillDepth;

inline int32_t unit_value(const int32_t *exponents, int32_t band, const MP3D_Decoder_State *state) {
    const Huf_Exponent_Split e = huf_split_exponent(exponents[band]);
    return huf_count1_unit(state->scale_fac_table_lf[e.r], e.q);
}

// A member of magnitude m (0 or 1): m = 1 takes the sign bit at the top of
// v and gives the unit value with that sign; m = 0 gives 0 and leaves v.
inline int32_t signed_member(uint32_t &v, uint32_t m, int32_t unit) {
    const uint32_t sign = 0u - (v >> 31);
    const uint32_t value = (static_cast<uint32_t>(unit) ^ sign) - sign;
    v <<= m;
    return static_cast<int32_t>(value & (0u - m));
}

// count below the returned guard: a refill is due or the read position
// (8 * index - count) has reached kQuadStopPosition; a reader that already
// stood past the stop index on entry (stopped) stops at once.
inline int32_t quad_guard(bool stopped, int32_t index) {
    const int32_t stop = 8 * index - kQuadStopPosition + 1;
    return stopped ? INT32_MAX : (stop > kQuadBits ? stop : kQuadBits);
}

// Before the quadruple at line pos: when the current band ends at pos, moves
// on (lo and hi take the new band's unit value); when a band ends at pos + 2,
// inside the quadruple, hi takes the following band's. next: the end of the
// current band.
inline void quad_band_step(const int16_t *bands, const int32_t *exponents, int32_t pos,
                           int32_t &band, int32_t &lo, int32_t &hi, int32_t &next,
                           const MP3D_Decoder_State *state) {
    if (next != pos && next != pos + 2) return;
    if (next == pos) {
        ++band;
        lo = hi = unit_value(exponents, band, state);
    }
    if (bands[band + 1] == pos + 2) {
        ++band;
        hi = unit_value(exponents, band, state);
    }
    next = bands[band + 1];
}

// One quadruple from its code-table entry (value 8v + 4w + 2x + y above bit
// 4, codeword bits below) and window, the stream's next bits from the
// codeword on, left-aligned: each non-zero member reads a sign bit and gets
// the signed unit value (lo for the first two lines, hi for the last two); a
// zero member reads nothing and gets 0. No branch on the value. Returns the
// bits of codeword and signs.
inline int32_t quad_values(uint32_t entry, uint32_t window, int32_t lo, int32_t hi, int32_t *out) {
    uint32_t v = window << (entry & 15u);
    const uint32_t value = entry >> 4;
    const uint32_t m0 = value >> 3, m1 = (value >> 2) & 1u, m2 = (value >> 1) & 1u, m3 = value & 1u;
    out[0] = signed_member(v, m0, lo);
    out[1] = signed_member(v, m1, lo);
    out[2] = signed_member(v, m2, hi);
    out[3] = signed_member(v, m3, hi);
    return static_cast<int32_t>((entry & 15u) + m0 + m1 + m2 + m3);
}

}  // namespace mp3d::huf_steps

#endif  // MP3D_KERNELS_HUFFMAN_DEQUANT_STEPS_H
