// The small AVX2 operations the x86 kernels share, as inline functions on
// eight 32-bit lanes. Sums wrap modulo 2^32 (vpaddd, vpsubd). The rounded
// products form the exact 64-bit products of the even lanes (0, 2, 4, 6) and
// of the odd lanes (1, 3, 5, 7) with vpmuldq, add 2^31 (or subtract them from
// it) and merge the upper words back into eight lanes: lane for lane the
// result of mulhi_round, mulhi_round_add and mulhi_round_sub of
// kernels/fixed_point.h. Avx2_Ops at the end is the AVX2 arithmetic record
// (the shape of Portable_Ops in kernels/portable_ops.h) on these.
//
// Only for code compiled with -mavx2 (kernels/x86/*_avx2.cpp).
#ifndef MP3D_KERNELS_X86_AVX2_OPS_H
#define MP3D_KERNELS_X86_AVX2_OPS_H

#include <immintrin.h>

#include <cstdint>

namespace mp3d::avx2 {

using V = __m256i;

inline V load8(const int32_t *p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
inline void store8(int32_t *p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}

inline V add(V a, V b) {
    return _mm256_add_epi32(a, b);
}
inline V sub(V a, V b) {
    return _mm256_sub_epi32(a, b);
}
inline V neg(V a) {
    return _mm256_sub_epi32(_mm256_setzero_si256(), a);
}
// a << kShift per lane (a doubling as an addition).
template <int kShift>
inline V shl(V a) {
    if constexpr (kShift == 1) return _mm256_add_epi32(a, a);
    return _mm256_slli_epi32(a, kShift);
}

// c in every lane.
inline V broadcast(int32_t c) {
    return _mm256_set1_epi32(c);
}

// Hides where p points, so that words read through it are loaded where they
// are used: the compiler would otherwise hoist them (and the broadcasts of
// them) out of the surrounding loop and spill them.
inline void opaque(const int32_t *&p) {
    asm("" : "+r"(p));
}

// 2^31 in each 64-bit lane.
inline V round_word() {
    return _mm256_set1_epi64x(int64_t{1} << 31);
}

// a c + 2^31 per 64-bit lane, from the even 32-bit lanes of a and c: the
// rounded upper word is in the upper half of each 64-bit lane.
inline V round_product(V a, V c) {
    return _mm256_add_epi64(_mm256_mul_epi32(a, c), round_word());
}

// Upper words of the 64-bit lanes of even (products of lanes 0, 2, 4, 6) and
// odd (lanes 1, 3, 5, 7) back into eight lanes.
inline V upper_words(V even, V odd) {
    return _mm256_blend_epi32(_mm256_srli_epi64(even, 32), odd, 0xAA);
}

// (a c + 2^31) >> 32 per lane, c the same word in every lane.
inline V mulhi_round(V a, V c) {
    const V even = round_product(a, c);
    const V odd = round_product(_mm256_srli_epi64(a, 32), c);
    return upper_words(even, odd);
}
inline V mulhi_round(V a, int32_t c) {
    return mulhi_round(a, broadcast(c));
}

// (a b + 2^31) >> 32 per lane, b per lane.
inline V mulhi_round_lanes(V a, V b) {
    const V even = round_product(a, b);
    const V odd = round_product(_mm256_srli_epi64(a, 32), _mm256_srli_epi64(b, 32));
    return upper_words(even, odd);
}

// acc + ((a c + 2^31) >> 32) per lane, c the same word in every lane.
inline V mulhi_round_add(V acc, V a, int32_t c) {
    return add(acc, mulhi_round(a, c));
}

// acc + ((2^31 - a c) >> 32) per lane, c the same word in every lane: one
// rounding of the difference.
inline V mulhi_round_sub(V acc, V a, V c) {
    const V even = _mm256_sub_epi64(round_word(), _mm256_mul_epi32(a, c));
    const V odd = _mm256_sub_epi64(round_word(), _mm256_mul_epi32(_mm256_srli_epi64(a, 32), c));
    return add(acc, upper_words(even, odd));
}
inline V mulhi_round_sub(V acc, V a, int32_t c) {
    return mulhi_round_sub(acc, a, broadcast(c));
}

// acc + ((2^31 - a b) >> 32) per lane, b per lane.
inline V mulhi_round_sub_lanes(V acc, V a, V b) {
    const V even = _mm256_sub_epi64(round_word(), _mm256_mul_epi32(a, b));
    const V odd = _mm256_sub_epi64(
        round_word(), _mm256_mul_epi32(_mm256_srli_epi64(a, 32), _mm256_srli_epi64(b, 32)));
    return add(acc, upper_words(even, odd));
}

// Words at .. at + 3 of eight rows as four vectors: out[c] lane l holds word
// at + c of row l, row(l) being a pointer to row l's word at. Rows l and
// l + 4 share a load into the two 128-bit halves, so that no lane-crossing
// shuffle follows the loads.
template <class Row>
[[gnu::always_inline]] inline void transpose_4x8(const Row &row, V *out) {
    V q[4];
    for (int k = 0; k < 4; ++k) {
        q[k] = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(row(k)))),
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(row(k + 4))), 1);
    }
    const V t0 = _mm256_unpacklo_epi32(q[0], q[1]), t1 = _mm256_unpackhi_epi32(q[0], q[1]);
    const V t2 = _mm256_unpacklo_epi32(q[2], q[3]), t3 = _mm256_unpackhi_epi32(q[2], q[3]);
    out[0] = _mm256_unpacklo_epi64(t0, t2);
    out[1] = _mm256_unpackhi_epi64(t0, t2);
    out[2] = _mm256_unpacklo_epi64(t1, t3);
    out[3] = _mm256_unpackhi_epi64(t1, t3);
}

// Upper words of the exact 64-bit products a c, c the same in every lane
// (no rounding): floor(a c / 2^32).
inline V mulhi_floor(V a, V c) {
    return upper_words(_mm256_mul_epi32(a, c), _mm256_mul_epi32(_mm256_srli_epi64(a, 32), c));
}

}  // namespace mp3d::avx2

namespace mp3d {

// The arithmetic record of the AVX2 kernels: eight lanes per operation. The
// 32x16 products are the floored upper words of a (h 2^16).
struct Avx2_Ops {
    using Lane = avx2::V;

    static Lane add(Lane a, Lane b) { return avx2::add(a, b); }
    static Lane sub(Lane a, Lane b) { return avx2::sub(a, b); }
    static Lane neg(Lane a) { return avx2::neg(a); }
    // A doubling as an addition; other counts by vpslld.
    static Lane shl(Lane a, int n) { return n == 1 ? avx2::add(a, a) : _mm256_slli_epi32(a, n); }
    static Lane asr(Lane a, int n) { return _mm256_srai_epi32(a, n); }

    static Lane mulhi_round(Lane a, int32_t c) { return avx2::mulhi_round(a, c); }
    static Lane mulhi_round_add(Lane acc, Lane a, int32_t c) {
        return avx2::mulhi_round_add(acc, a, c);
    }
    static Lane mulhi_round_sub(Lane acc, Lane a, int32_t c) {
        return avx2::mulhi_round_sub(acc, a, c);
    }

    static Lane mulw_high(Lane a, int32_t w) {
        return avx2::mulhi_floor(
            a, avx2::broadcast(static_cast<int32_t>(static_cast<uint32_t>(w) & 0xffff0000u)));
    }
    static Lane mulw_low(Lane a, int32_t w) {
        return avx2::mulhi_floor(
            a, avx2::broadcast(static_cast<int32_t>(static_cast<uint32_t>(w) << 16)));
    }
    static Lane mulw_high_add(Lane acc, Lane a, int32_t w) {
        return avx2::add(acc, mulw_high(a, w));
    }
    static Lane mulw_low_add(Lane acc, Lane a, int32_t w) { return avx2::add(acc, mulw_low(a, w)); }

    static Lane pcm24(Lane acc) {
        return _mm256_max_epi32(
            _mm256_min_epi32(_mm256_srai_epi32(acc, 3), avx2::broadcast(8388607)),
            avx2::broadcast(-8388608));
    }
};

}  // namespace mp3d

#endif  // MP3D_KERNELS_X86_AVX2_OPS_H
