// Count1 quadruple decoding fused with dequantisation for 32-bit ARM: the
// portable kernel's results (kernels/huffman_dequant_quad.cpp) on a 32-bit
// bit window instead of the 64-bit one, whose variable shifts take several
// instructions each on a 32-bit processor.
//
// The window keeps at most 32 unread bits, left-aligned, `count` of them
// valid, the bits below them zero or the stream's following bits. A
// quadruple takes at most 10 bits; whenever fewer are left, one unaligned
// word load tops the window up to 24..31 bits, enough for two or three
// quadruples. The read stop and the state written back follow from the read
// position and the bits of the last quadruple, as in the portable kernel.
// The quadruples inside a band, away from the reservoir's end, are decoded
// by the assembly loop huffman_dequant_quad_run_armv6.S; this loop takes the
// ones at band boundaries and near the end.
#include <cstddef>

#include "kernels/arm/kernels_armv6.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_dequant_steps.h"
#include "kernels/reservoir_reader.h"

namespace mp3d {

using namespace huf_steps;

namespace {

// The reader and the band as the assembly loop (huffman_dequant_quad_run_armv6.S)
// sees them: the first eight words in the order it loads them into r2..r9.
struct Huf_Quad_Run {
    uint32_t bits;
    int32_t count;
    uintptr_t ptr;         // address of the next reservoir byte to load
    const uint8_t *table;  // the code table's entries (past its width)
    uint32_t shift;        // 32 - the code table's width
    int32_t budget;        // bits left for the count1 part
    int32_t unit;          // the band's unit value
    uintptr_t limit;       // the last address a refill may load a word from
    int32_t used;          // bits of the last quadruple
};
static_assert(sizeof(uintptr_t) == 4 && sizeof(void *) == 4);
static_assert(offsetof(Huf_Quad_Run, budget) == 20 && offsetof(Huf_Quad_Run, used) == 32);

// The last read index from which a quadruple needs no more than kQuadBits
// in the window: up to it the read stop is not yet due.
constexpr int32_t kLastPlainIndex = (kQuadStopPosition - 1 + kQuadBits) / 8;
static_assert(8 * kLastPlainIndex - kQuadStopPosition + 1 <= kQuadBits &&
              8 * (kLastPlainIndex + 1) - kQuadStopPosition + 1 > kQuadBits);
static_assert(kReservoirBytes - 1 <= kLastPlainIndex);

}  // namespace

extern "C" int32_t *mp3d_huf_quad_run_armv6(int32_t *out, int32_t *stop, Huf_Quad_Run *run);

uint32_t Huf_dec_dequant_quadplex_armv6(int32_t *out, const MP3D_Quad_Region *quad_region,
                                        MP3D_Decoder_State *state, int32_t *lines) {
    const uint8_t *const buffer = state->reservoir_buffer;
    const int32_t n = state->res_bits_in_window;
    uint32_t bits = n > 0 ? state->res_window << (32 - n) : 0u;
    int32_t count = n;
    int32_t index = state->res_read_index;
    const bool stopped = index > kHufReadStopIndex;
    int32_t guard = quad_guard(stopped, index);
    int32_t tail = -1;  // bits since the byte-wise reader's last refill; -1: none yet

    const uint8_t *const table = quad_region->code_table;
    const uint32_t shift = 32 - table[0];
    const int16_t *const bands = quad_region->band_table;
    const int32_t *const exponents = quad_region->exponents;
    int32_t budget = quad_region->budget;
    int32_t band = quad_region->start_band;
    // lo serves the first two lines of a quadruple, hi the last two; they
    // differ only when a band boundary falls in the middle of it.
    int32_t lo = unit_value(exponents, band, state);
    int32_t hi = lo;
    int32_t next = bands[band + 1];  // end of the current band
    const int32_t start_line = quad_region->start_line;
    int32_t pos = start_line;
    int32_t used = 0;

    while (budget > 0 && pos <= kLastQuadStart) {
        // The assembly loop takes the quadruples up to the next band
        // boundary while the read stop is not due.
        const int32_t run_end = next - 2 < kLastQuadStart + 1 ? next - 2 : kLastQuadStart + 1;
        if (!stopped && index <= kLastPlainIndex && run_end > pos) {
            Huf_Quad_Run run{bits,
                             count,
                             reinterpret_cast<uintptr_t>(buffer) + static_cast<uint32_t>(index),
                             table + 1,
                             shift,
                             budget,
                             hi,
                             reinterpret_cast<uintptr_t>(buffer) + (kReservoirBytes - 4),
                             used};
            int32_t *const reached = mp3d_huf_quad_run_armv6(out, out + (run_end - pos), &run);
            if (reached != out) {
                pos += static_cast<int32_t>(reached - out);
                out = reached;
                bits = run.bits;
                count = run.count;
                index = static_cast<int32_t>(run.ptr - reinterpret_cast<uintptr_t>(buffer));
                budget = run.budget;
                used = run.used;
                lo = hi;
                guard = quad_guard(stopped, index);
                continue;
            }
        }
        if (count < guard) {
            if (count < kQuadBits) {
                bits |= huf_next_word32(buffer, index) >> count;
                index += (31 - count) >> 3;
                count |= 24;
            }
            guard = quad_guard(stopped, index);
            // Beyond the reservoir's end no data is left (see reservoir_reader.h).
            if (count < guard) {
                tail = 0;
                break;
            }
        }
        quad_band_step(bands, exponents, pos, band, lo, hi, next, state);
        used = quad_values(table[1 + (bits >> shift)], bits, lo, hi, out);
        lo = hi;
        pos += 4;
        bits <<= used;
        count -= used;
        out += 4;
        budget -= used;
    }
    const int32_t end = pos < kSpectralWords ? pos : kSpectralWords;
    *lines = end > start_line ? end - start_line : 0;

    if (tail < 0 && pos != start_line) tail = used;
    const int32_t position = 8 * index - count;
    // huf_reader_store takes the 64-bit reader's form; only the read position
    // (8 * index - count) matters there.
    return huf_reader_store({0, count, index}, tail < 0 ? INT32_MIN : position - tail,
                            kQuadRefillDepth, state);
}

}  // namespace mp3d
