// The Huffman kernels' reader of the main-data reservoir (the bounded byte
// fetch and the bit window over it), with the other pieces the kernels
// share: the per-band exponent split and the dequantised magnitudes that do
// not need the cube root.
#ifndef MP3D_KERNELS_RESERVOIR_READER_H
#define MP3D_KERNELS_RESERVOIR_READER_H

#include <cstdint>

#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"

namespace mp3d {

// How reservoir reads are bounded. The kernels read reservoir bytes without
// consulting the amount of data written, so corrupt Huffman data can drive
// them far past the granule (the pair kernel stops only at its line limit).
// Every byte they load either comes from an 8-byte load that lies wholly
// inside the reservoir buffer or goes through huf_fetch_byte, which touches
// memory only for indices inside the buffer and supplies 0 elsewhere. Valid
// data never lies beyond kReservoirBytes, so the substitution cannot change
// the decoding of a valid stream. Once the index of the byte-wise reader
// (below) passes kHufReadStopIndex, every unread bit of its window lies
// beyond the buffer; the kernels then stop (the pair kernel as at its line
// limit), which keeps the index they write back within a few bytes of the
// buffer's end. The bits reported then exceed the granule's data, so the
// driver sees the overrun and rewinds.
inline constexpr int32_t kHufReadStopIndex = kReservoirBytes + 4;

inline uint32_t huf_fetch_byte(const uint8_t *buffer, int32_t index) {
    return static_cast<uint32_t>(index) < static_cast<uint32_t>(kReservoirBytes) ? buffer[index]
                                                                                 : 0u;
}

// The kernels' bit reader. Unread bits are kept left-aligned in a 64-bit
// word (bit 63 is the next one), `count` of them valid, the bits below them
// zero or equal to the reservoir's following bits; `index` is the next byte
// to load. A refill loads up to 7 bytes at once: in one unaligned
// big-endian load of 8 bytes when they all lie inside the buffer, else byte
// by byte through huf_fetch_byte. Afterwards at least 56 bits are valid.
//
// The decoder state keeps the reservoir reader in the byte-wise form (a
// 32-bit window of the four bytes before res_read_index, res_bits_in_window
// of them unread). The kernels read ahead of that form, so they note where
// the byte-wise reader would have refilled and rebuild its exact state on
// exit (huf_reader_store).
struct Huf_Reader {
    uint64_t bits;
    int32_t count;
    int32_t index;
};

// The next 8 reservoir bytes, first byte most significant. The caller
// ensures that they lie inside the buffer.
inline uint64_t huf_load_be64(const uint8_t *p) {
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    uint64_t word;
    __builtin_memcpy(&word, p, sizeof(word));
    return __builtin_bswap64(word);
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    uint64_t word;
    __builtin_memcpy(&word, p, sizeof(word));
    return word;
#else
    uint64_t word = 0;
    for (int i = 0; i < 8; ++i) word = (word << 8) | p[i];
    return word;
#endif
}

// The next 4 reservoir bytes from index, first byte most significant, bytes
// outside the buffer as 0: the refill of the 32-bit readers.
inline uint32_t huf_next_word32(const uint8_t *buffer, int32_t index) {
    if (static_cast<uint32_t>(index) <= static_cast<uint32_t>(kReservoirBytes - 4)) {
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        uint32_t word;
        __builtin_memcpy(&word, buffer + index, sizeof(word));
        return __builtin_bswap32(word);
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        uint32_t word;
        __builtin_memcpy(&word, buffer + index, sizeof(word));
        return word;
#endif
    }
    uint32_t word = 0;
    for (int32_t i = 0; i < 4; ++i) word = (word << 8) | huf_fetch_byte(buffer, index + i);
    return word;
}

// Tops the reader up to at least 56 valid bits (count <= 56 on entry).
inline void huf_refill(uint64_t &bits, int32_t &count, int32_t &index, const uint8_t *buffer) {
    if (static_cast<uint32_t>(index) <= static_cast<uint32_t>(kReservoirBytes - 8)) {
        bits |= huf_load_be64(buffer + index) >> count;
        index += (63 - count) >> 3;
        count |= 56;
    } else {
        while (count <= 56) {
            bits |= static_cast<uint64_t>(huf_fetch_byte(buffer, index)) << (56 - count);
            ++index;
            count += 8;
        }
    }
}

// Takes over the state's reservoir reader: the unread bits of res_window
// (res_bits_in_window, 0..32) come first, then the bytes from res_read_index.
inline Huf_Reader huf_reader_load(const MP3D_Decoder_State *state) {
    const int32_t n = state->res_bits_in_window;
    const uint64_t w = state->res_window;
    return {n > 0 ? (w << (64 - n)) : 0u, n, state->res_read_index};
}

// Writes the reader back in the byte-wise form the rest of the decoder
// uses. `mark` is the bit position (8 * index - unread bits) where the
// byte-wise reader last refilled, to depth - 7 .. depth unread bits (depth
// 32 for the pair kernel, 24 for count1), or INT32_MIN when it never
// refilled: its index is then floor((mark + depth) / 8), but not below its
// start. Returns the bits consumed since entry.
inline uint32_t huf_reader_store(const Huf_Reader &r, int32_t mark, int32_t depth,
                                 MP3D_Decoder_State *state) {
    const uint8_t *const buffer = state->reservoir_buffer;
    const int32_t start_index = state->res_read_index;
    const int32_t start_bits = state->res_bits_in_window;
    const int32_t position = 8 * r.index - r.count;
    int32_t index = start_index;
    if (mark != INT32_MIN) {
        const int32_t reached = (mark + depth) >> 3;
        if (reached > index) index = reached;
    }
    uint32_t w = state->res_window;
    const int32_t loaded = index - start_index;
    const int32_t from = loaded >= 4 ? index - 4 : start_index;
    if (loaded >= 4) w = 0;
    for (int32_t i = from; i < index; ++i) w = (w << 8) | huf_fetch_byte(buffer, i);
    state->res_window = w;
    state->res_bits_in_window = 8 * index - position;
    state->res_read_index = index;
    return static_cast<uint32_t>(start_bits + 8 * loaded - (8 * index - position));
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

// |v|^(4/3) * 2^(e/4) * 2^28 for 1 <= v <= 32767 from root = v^(1/3) in
// Q26, with scale = 2^(-r/4) in Q31 and negq = -q: N = v * 2^(s - 1) is v
// normalised to Q31, so p = v^(4/3) * 2^(-r/4) * 2^(s - 8) and the shift by
// s - 36 + q leaves Q28 with the factor 2^(-q).
inline int32_t huf_root_magnitude(int32_t v, int32_t root, int32_t scale, int32_t negq) {
    const int s = count_leading_zeros(static_cast<uint32_t>(v));
    const int32_t n = v << (s - 1);
    int32_t p = mulhi_round(n, scale);
    p = mulhi_round(p, root);
    // Shifts of 32 or more give 0 either way; clamping keeps any negq defined.
    int64_t t = int64_t{s} - 36 - negq;
    t = t > 40 ? 40 : (t < -40 ? -40 : t);
    return shift_by(p, static_cast<int>(-t));
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

#endif  // MP3D_KERNELS_RESERVOIR_READER_H
