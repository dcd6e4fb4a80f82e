// Count1 quadruple decoding fused with dequantisation (ISO/IEC 11172-3,
// 2.4.2.7): values -1, 0, +1 above the big-value part, each non-zero one
// written as the band's unit value with its sign.
//
// The reservoir is read through the 64-bit reader of reservoir_reader.h: a
// quadruple takes at most 10 bits (a 6-bit codeword and four signs), so a
// refill, which brings 56 bits or more, serves several quadruples. The
// byte-wise reader that the state keeps refills to 17..24 unread bits before
// every quadruple; the kernel counts the bits consumed since the last such
// point (`tail`) and rebuilds that reader's exact state on exit.
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/huffman_dequant_steps.h"
#include "kernels/reservoir_reader.h"

namespace mp3d {

using namespace huf_steps;

uint32_t Huf_dec_dequant_quadplex(int32_t *out, const MP3D_Quad_Region *quad_region,
                                  MP3D_Decoder_State *state, int32_t *lines) {
    const uint8_t *const buffer = state->reservoir_buffer;
    const Huf_Reader start = huf_reader_load(state);
    uint64_t bits = start.bits;
    int32_t count = start.count;
    int32_t index = start.index;
    const bool stopped = index > kHufReadStopIndex;
    int32_t guard = quad_guard(stopped, index);
    int32_t tail = -1;  // bits since the byte-wise reader's last refill; -1: none yet

    const uint8_t *const table = quad_region->code_table;
    const uint32_t width = table[0];
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
        if (count < guard) {
            if (count < kQuadBits) huf_refill(bits, count, index, buffer);
            guard = quad_guard(stopped, index);
            // Beyond the reservoir's end no data is left (see reservoir_reader.h).
            if (count < guard) {
                tail = 0;
                break;
            }
        }
        quad_band_step(bands, exponents, pos, band, lo, hi, next, state);
        const uint32_t v = static_cast<uint32_t>(bits >> 32);
        used = quad_values(table[1 + (v >> (32 - width))], v, lo, hi, out);
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
    return huf_reader_store({bits, count, index}, tail < 0 ? INT32_MIN : position - tail,
                            kQuadRefillDepth, state);
}

}  // namespace mp3d
