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
//
// Almost every pair is decoded by the assembly loop
// (huffman_dequant_pair_run_armv6.S): plain pairs, escapes, long codewords
// and the moves from band to band, with everything in registers. This file
// sets the region up, finds where it ends, and decodes one pair at a time
// what the loop leaves: bands with q < 6, and pairs near the reservoir's
// end, where refills must be bounded and the read stop may act.
#include <cstddef>
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

// The last read index from which a pair needs no more than kPlainPairBits
// in the window: up to it the read stop is not yet due.
constexpr int32_t kLastPlainIndex = (kPairStopPosition - 1 + kPlainPairBits) / 8;
static_assert(8 * kLastPlainIndex - kPairStopPosition + 1 <= kPlainPairBits &&
              8 * (kLastPlainIndex + 1) - kPairStopPosition + 1 > kPlainPairBits);
// The assembly loop refills from at most kReservoirBytes - 4, reaching at
// most 3 bytes further: still where a pair needs only kPlainPairBits.
static_assert(kReservoirBytes - 1 <= kLastPlainIndex);

// The reader and the band as the assembly loop (huffman_dequant_pair_run_armv6.S)
// sees them, also the general path's reader: the first eight words in the
// order the loop loads them into r2..r9.
struct Huf_Pair_Run {
    uint32_t bits;  // unread bits, left-aligned
    int32_t count;  // how many of them are valid (0..32)
    uintptr_t ptr;  // address of the next reservoir byte to load
    const uint16_t *fast;
    uint32_t fast_shift;   // 31 - width of the direct lookup
    const uint8_t *upper;  // upper word of the band's power of x at upper + 8 x
    uint32_t shift;        // q - 6, cut to 31 (bands with q >= 6)
    uintptr_t limit;       // the last address a refill may load a word from
    int32_t used;          // bits since the byte-wise reader's last refill point
    uint32_t linbits;
    int32_t scale;  // the band's quarter-step scale (Q31) and q
    int32_t q;
    MP3D_Decoder_State *state;
    const uint16_t *table;  // the multi-level code table
    uint32_t escape_flag;   // kEscapeFlag in tables with escapes, else 0
    uintptr_t base;         // address of the reservoir buffer
    // The bands: the current one, the first not to decode, the end of the
    // current one's pairs.
    int32_t band;
    int32_t band_stop;
    int32_t *band_end;
    const int16_t *bands;
    const int32_t *exponents;
    int32_t line_limit;
    const uint8_t *powers;  // upper word of huf_scaled_powers[0][0]
    const int32_t *scales;  // scale_fac_table_lf
};
static_assert(sizeof(uintptr_t) == 4 && sizeof(void *) == 4);
static_assert(offsetof(Huf_Pair_Run, upper) == 20 && offsetof(Huf_Pair_Run, shift) == 24 &&
              offsetof(Huf_Pair_Run, limit) == 28 && offsetof(Huf_Pair_Run, used) == 32 &&
              offsetof(Huf_Pair_Run, linbits) == 36 && offsetof(Huf_Pair_Run, scale) == 40 &&
              offsetof(Huf_Pair_Run, q) == 44 && offsetof(Huf_Pair_Run, table) == 52 &&
              offsetof(Huf_Pair_Run, band) == 64 && offsetof(Huf_Pair_Run, band_stop) == 68 &&
              offsetof(Huf_Pair_Run, band_end) == 72 && offsetof(Huf_Pair_Run, bands) == 76 &&
              offsetof(Huf_Pair_Run, exponents) == 80 && offsetof(Huf_Pair_Run, line_limit) == 84 &&
              offsetof(Huf_Pair_Run, powers) == 88 && offsetof(Huf_Pair_Run, scales) == 92);
static_assert(sizeof(huf_scaled_powers[0]) == 512);

// The general path's view of the run's reader.
struct Reader32 {
    Huf_Pair_Run &run;
    const uint8_t *buffer() const { return reinterpret_cast<const uint8_t *>(run.base); }
    int32_t index() const { return static_cast<int32_t>(run.ptr - run.base); }
    // Tops the window up to 24..31 valid bits (count <= 23 on entry).
    void refill() {
        const int32_t i = index();
        run.bits |= huf_next_word32(buffer(), i) >> run.count;
        run.ptr += static_cast<uint32_t>((31 - run.count) >> 3);
        run.count |= 24;
    }
    // The next 32 bits of the stream.
    uint32_t peek() const {
        return run.count >= 32 ? run.bits
                               : run.bits | (huf_next_word32(buffer(), index()) >> run.count);
    }
    void skip(uint32_t n) {
        run.bits <<= n;
        run.count -= static_cast<int32_t>(n);
    }
};

// Magnitude of x < 64: for q >= 6 the upper word shifted right by q - 6
// (cut to 31, which gives 0); below, the upper word shifted left by 6 - q
// (0 from 32 on), except x = 1, which comes from huf_magnitude_one.
int32_t small_magnitude(uint32_t x, const Huf_Pair_Run &run) {
    uint32_t w;
    std::memcpy(&w, run.upper + 8 * x, sizeof(w));
    if (run.q >= 6) return static_cast<int32_t>(w >> run.shift);
    if (x == 1) return huf_magnitude_one(run.scale, run.q);
    return 6 - run.q < 32 ? static_cast<int32_t>(w << (6 - run.q)) : 0;
}

// One value of an escape pair, from the reader standing at its escape bits
// (x = 15) or sign: writes it to *out and returns the bits it took.
uint32_t escape_value(int32_t *out, uint32_t x, Reader32 &r) {
    Huf_Pair_Run &run = r.run;
    if (run.count < kEscapeBits) r.refill();
    uint32_t taken = 1;
    int32_t m;
    if (x == 15) {
        const int32_t value = 15 + static_cast<int32_t>(run.bits >> (32 - run.linbits));
        r.skip(run.linbits);
        taken += run.linbits;
        m = value < 64 ? small_magnitude(static_cast<uint32_t>(value), run)
                       : large_magnitude(value, run.scale, run.q, run.state);
    } else {
        m = small_magnitude(x, run);
    }
    *out = apply_sign(m, run.bits);
    r.skip(1);
    return taken;
}

// Decodes one pair to out[0], out[1], whatever it needs (refills near the
// reservoir's end, the multi-level walk, escapes, any q). Returns the bits
// since the byte-wise reader's last refill point (before the pair or its
// last escape), or -1 when the read stop leaves the pair undecoded. Kept
// out of line, so that the band loop around the assembly loop stays in
// registers.
[[gnu::noinline]] int32_t decode_pair(int32_t *out, Huf_Pair_Run &run) {
    Reader32 r{run};
    if (run.count < kPlainPairBits) r.refill();
    // Below this count the pair must not start: its read position
    // (8 * index - count) has reached kPairStopPosition.
    if (run.count < 8 * r.index() - kPairStopPosition + 1) return -1;
    uint32_t entry = run.fast[run.bits >> (run.fast_shift + 1)];
    if (entry == 0) entry = walk(run.table, r.peek());
    const uint32_t x = entry >> 12;
    const uint32_t y = (entry >> 8) & 15u;
    const uint32_t sy = y != 0 ? 1u : 0u;
    uint32_t used = entry & 63u;
    if ((entry & run.escape_flag) != 0) {
        const uint32_t sx = x != 0 ? 1u : 0u;
        used -= sx + sy;  // the codeword alone
        r.skip(used);
        if (x != 0) used = (x == 15 ? 0u : used) + escape_value(out, x, r);
        if (y != 0) used = (y == 15 ? 0u : used) + escape_value(out + 1, y, r);
    } else {
        // No escape: the sign of y is the pair's last bit, that of x the
        // one before when y is not zero. A zero value's sign bit is not its
        // own, but its magnitude is 0: its line gets 0 either way.
        const uint32_t vy = run.bits << (used - 1);
        const uint32_t vx = run.bits << (used - 1 - sy);
        out[0] = apply_sign(small_magnitude(x, run), vx);
        out[1] = apply_sign(small_magnitude(y, run), vy);
        r.skip(used);
    }
    return static_cast<int32_t>(used);
}

// Sets the run up for band run.band, whose pairs start at out: returns
// false when it has none (its lines, cut to the line limit, are fewer than
// 2), as the assembly loop does between bands.
bool start_band(int32_t *out, Huf_Pair_Run &run) {
    const int32_t first = run.bands[run.band];
    int32_t end = run.bands[run.band + 1];
    if (run.line_limit <= end) end = run.line_limit;
    const int32_t pairs = end - first > 0 ? (end - first) >> 1 : 0;
    if (pairs == 0) return false;
    run.band_end = out + 2 * pairs;
    const Huf_Exponent_Split e = huf_split_exponent(run.exponents[run.band]);
    run.scale = run.scales[e.r];
    run.q = e.q;
    run.upper = run.powers + 512 * e.r;
    run.shift = static_cast<uint32_t>(e.q - 6 < 31 ? e.q - 6 : 31);
    return true;
}

}  // namespace

extern "C" int32_t *mp3d_huf_pair_run_armv6(int32_t *out, int32_t *end, Huf_Pair_Run *run);

// The assembly loop's magnitude of an escape value of 64 or more.
extern "C" int32_t mp3d_huf_pair_large_armv6(int32_t value, const Huf_Pair_Run *run) {
    return large_magnitude(value, run->scale, run->q, run->state);
}

uint32_t Huf_dec_dequant_region_pair_armv6(int32_t *out, const MP3D_Pair_Region *region,
                                           MP3D_Decoder_State *state, int32_t *band_reached,
                                           int32_t *stop) {
    const int32_t n = state->res_bits_in_window;
    const uintptr_t base = reinterpret_cast<uintptr_t>(state->reservoir_buffer);
    const uint16_t *const table = region->code_table;
    const Huffman_Pair_Fast_Table fast_table = find_fast_table(table);
    Huf_Pair_Run run;
    run.bits = n > 0 ? state->res_window << (32 - n) : 0u;
    run.count = n;
    run.ptr = base + static_cast<uint32_t>(state->res_read_index);
    run.fast = fast_table.entries;
    run.fast_shift = 31 - fast_table.width;
    run.upper = nullptr;
    run.shift = 0;
    run.limit = base + static_cast<uint32_t>(kReservoirBytes - 4);
    run.used = -1;  // bits since the byte-wise reader's last refill; -1: none yet
    run.linbits = region->linbits > kMaxLinbits ? kMaxLinbits : region->linbits;
    run.scale = 0;
    run.q = 0;
    run.state = state;
    run.table = table;
    run.escape_flag = run.linbits != 0 ? kEscapeFlag : 0u;
    run.base = base;
    run.bands = region->band_table;
    run.exponents = region->exponents;
    run.line_limit = region->line_limit;
    run.powers = reinterpret_cast<const uint8_t *>(huf_scaled_powers[0]) + kUpperWordOffset;
    run.scales = state->scale_fac_table_lf;
    const uintptr_t last_plain = base + static_cast<uint32_t>(kLastPlainIndex);

    // Bands up to the one that reaches the line limit, which ends the region
    // (*stop); band_reached is that band, or end_band.
    run.band_stop = region->end_band;
    *band_reached = region->start_band > region->end_band ? region->start_band : region->end_band;
    for (int32_t b = region->start_band; b < region->end_band; ++b) {
        if (region->line_limit <= run.bands[b + 1]) {
            run.band_stop = b + 1;
            *band_reached = b;
            *stop = 1;
            break;
        }
    }

    if (table != nullptr) {
        run.band = region->start_band;
        bool open = run.band < run.band_stop && start_band(out, run);
        while (run.band < run.band_stop) {
            if (!open) {
                if (++run.band >= run.band_stop) break;
                open = start_band(out, run);
                continue;
            }
            // The assembly loop takes every pair it can while the read stop
            // is not yet due, and moves on through the bands itself.
            if (run.q >= 6 && run.ptr <= last_plain) {
                out = mp3d_huf_pair_run_armv6(out, run.band_end, &run);
                if (run.band >= run.band_stop) break;
            }
            const int32_t used = decode_pair(out, run);
            if (used < 0) {
                // Past the end of the reservoir: nothing left to decode.
                run.used = 0;
                *stop = 1;
                *band_reached = run.band;
                break;
            }
            run.used = used;
            out += 2;
            open = out != run.band_end;
        }
    }

    const int32_t index = static_cast<int32_t>(run.ptr - base);
    const int32_t position = 8 * index - run.count;
    const int32_t tail = run.used;
    // The 64-bit reader's form that huf_reader_store takes: only the read
    // position (8 * index - count) matters there.
    return huf_reader_store({0, run.count, index}, tail < 0 ? INT32_MIN : position - tail,
                            kPairRefillDepth, state);
}

}  // namespace mp3d
