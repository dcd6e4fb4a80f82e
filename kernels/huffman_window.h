// Shared pieces of the Huffman kernels: the bounded byte fetch from the
// main-data reservoir, the per-band exponent split and the dequantised
// magnitudes that do not need the cube root.
#ifndef MP3D_KERNELS_HUFFMAN_WINDOW_H
#define MP3D_KERNELS_HUFFMAN_WINDOW_H

#include <cstdint>

#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"

namespace mp3d {

// How reservoir reads are bounded. The kernels read reservoir bytes without
// consulting the amount of data written, so corrupt Huffman data can drive
// them far past the granule (the pair kernel stops only at its line limit).
// Every byte they load goes through huf_fetch_byte, which touches memory only
// for indices inside the reservoir buffer and supplies 0 elsewhere. Valid data
// never lies beyond kReservoirBytes, so the substitution cannot change the
// decoding of a valid stream. Once the read index passes kHufReadStopIndex,
// every unread bit of the window lies beyond the buffer; the pair kernel then
// stops (like at its line limit), which keeps the index it writes back within
// a few bytes of the buffer's end. The bits it reports exceed the granule's
// data, so the driver sees the overrun and rewinds.
inline constexpr int32_t kHufReadStopIndex = kReservoirBytes + 4;

inline uint32_t huf_fetch_byte(const uint8_t *buffer, int32_t index) {
    return static_cast<uint32_t>(index) < static_cast<uint32_t>(kReservoirBytes) ? buffer[index]
                                                                                 : 0u;
}

// A band's exponent e = -(4q + r) with 0 <= r <= 3.
struct Huf_Exponent_Split {
    int32_t q;
    int32_t r;
};

inline Huf_Exponent_Split huf_split_exponent(int32_t exponent) {
    const int32_t n = wrap_neg(exponent);
    return {n >> 2, n & 3};
}

// |x|^(4/3) * 2^(e/4) * 2^28 for 1 <= x <= 63 with scale = 2^(-r/4) in Q31:
// the Q23 power times the scale, then 2^(6 - q).
inline int32_t huf_small_magnitude(int32_t x, int32_t scale, int32_t q,
                                   const MP3D_Decoder_State *state) {
    return shift_by(mulhi_round(state->lut_1_63_4by3[x], scale), 6 - q);
}

// Magnitude 1, precomputed per band: the scale (Q31) moved to Q28 and by q.
inline int32_t huf_magnitude_one(int32_t scale, int32_t q) {
    return shift_by(scale, -(q + 3));
}

// Unit value of the count1 part: the scale with its low 11 bits dropped
// (Q20), moved to Q28 and by q.
inline int32_t huf_count1_unit(int32_t scale, int32_t q) {
    return shift_by(scale >> 11, 8 - q);
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_HUFFMAN_WINDOW_H
