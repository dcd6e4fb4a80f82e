// Portable reference for the decoder's fixed-point arithmetic.
//
// Audio data is 32-bit fixed point. Products are exact 64-bit products of
// signed 32-bit operands, rounded to their upper word. Sums wrap modulo 2^32
// and nothing saturates except the final PCM, so every wrapping operation
// goes through unsigned arithmetic to keep the behaviour defined in C++.
// Right shifts of signed values are arithmetic (guaranteed since C++20).
#ifndef MP3D_KERNELS_FIXED_POINT_H
#define MP3D_KERNELS_FIXED_POINT_H

#include <cstdint>

namespace mp3d {

// Wrapping 32-bit add, subtract and negate.
constexpr int32_t wrap_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrap_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t wrap_neg(int32_t a) {
    return static_cast<int32_t>(0u - static_cast<uint32_t>(a));
}

// Wrapping left shift of a signed value by 0..31 bits (doubling, quadrupling).
constexpr int32_t wrap_shl(int32_t a, int s) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) << s);
}

// Arithmetic right shift by any non-negative count: 32 or more gives the sign
// (0 or -1), as a shift of the value by "infinitely" many bits would.
constexpr int32_t asr(int32_t a, int s) {
    return s >= 32 ? (a >> 31) : (a >> s);
}

// Shift left when s > 0, right (arithmetic) when s < 0. Shifts of 32 or more
// in either direction give 0 to the left and the sign to the right.
constexpr int32_t shift_by(int32_t a, int s) {
    return s >= 0 ? (s >= 32 ? 0 : wrap_shl(a, s)) : asr(a, -s);
}

// (a*b + 2^31) >> 32: the rounded upper word of the exact 64-bit product.
constexpr int32_t mulhi_round(int32_t a, int32_t b) {
    const int64_t p = static_cast<int64_t>(a) * b;
    return static_cast<int32_t>((p + (int64_t{1} << 31)) >> 32);
}

// (acc*2^32 + a*b + 2^31) >> 32 computed in 64 bits, wrapping. The low word
// of acc*2^32 passes the sum unchanged, so this is acc plus the rounded upper
// word of the product: written that way, sums of several products are plain
// wrapping additions that the compiler may reorder for parallel execution.
constexpr int32_t mulhi_round_add(int32_t acc, int32_t a, int32_t b) {
    return wrap_add(acc, mulhi_round(a, b));
}

// (acc*2^32 - a*b + 2^31) >> 32 computed in 64 bits, wrapping: one rounding of
// the difference, i.e. acc plus the upper word of 2^31 - a*b (exact in 64 bits).
constexpr int32_t mulhi_round_sub(int32_t acc, int32_t a, int32_t b) {
    const int64_t p = static_cast<int64_t>(a) * b;
    return wrap_add(acc, static_cast<int32_t>(((int64_t{1} << 31) - p) >> 32));
}

// Mul(a, c) = 2 * mulhi_round(a, c) for a Q31 coefficient c, wrapping.
constexpr int32_t mul_q31(int32_t a, int32_t c) {
    return wrap_shl(mulhi_round(a, c), 1);
}

// (a*h) >> 16 for a 16-bit coefficient: the upper 32 bits of the 48-bit
// product, rounded toward minus infinity.
constexpr int32_t mul_w16(int32_t a, int32_t h) {
    return static_cast<int32_t>((static_cast<int64_t>(a) * h) >> 16);
}

// floor(a*b / 2^31), the 64-bit product shifted arithmetically and kept as
// 32 bits (wrapping).
constexpr int32_t mul_shr31(int32_t a, int32_t b) {
    return static_cast<int32_t>(
        static_cast<uint32_t>(static_cast<uint64_t>((static_cast<int64_t>(a) * b) >> 31)));
}

// Number of leading zero bits of a 32-bit value (32 for 0).
constexpr int count_leading_zeros(uint32_t v) {
    if (v == 0) return 32;
    return __builtin_clz(v);
}

// Clamp to the signed 24-bit range.
constexpr int32_t saturate24(int32_t v) {
    return v > 8388607 ? 8388607 : (v < -8388608 ? -8388608 : v);
}

// Clamp to the signed 16-bit range.
constexpr int32_t saturate16(int32_t v) {
    return v > 32767 ? 32767 : (v < -32768 ? -32768 : v);
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_FIXED_POINT_H
