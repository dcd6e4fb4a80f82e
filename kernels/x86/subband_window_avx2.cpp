// AVX2 variant of the synthesis window over four slots of one parity.
//
// The four slots of one output read their taps from four consecutive history
// words (slot k + 1 is one column lower), so one load gives a tap of all four
// slots, and the window coefficients are the same for all of them. Products
// are exact 64-bit products (vpmuldq) of sign-extended lanes; only the low
// 32 bits of every sum matter, because the portable kernel's sums wrap modulo
// 2^32, so sums are kept in 64-bit lanes and narrowed where the portable
// kernel shifts right (>> 2 before the large taps, >> 3 at the end).
#include <immintrin.h>

#include "kernels/subband_window.h"
#include "kernels/x86/synthesis_avx2.h"

namespace mp3d {
namespace {

// Taps i of four slots: words p[-3..0] (slot 3 .. slot 0), widened to 64 bits.
inline __m256i taps(const int32_t *p) {
    return _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p - 3)));
}

inline __m256i coeff(int32_t c) {
    return _mm256_set1_epi64x(c);
}

// (a * h) >> 16 in the low 32 bits of each lane.
inline __m256i mul_w16(__m256i a, int32_t h) {
    return _mm256_srli_epi64(_mm256_mul_epi32(a, coeff(h)), 16);
}

// mulw_pair: even-age value times the high half, odd-age value times the low
// half of a pair word.
inline __m256i mulw_pair(__m256i even, __m256i odd, int32_t w) {
    return _mm256_add_epi64(mul_w16(even, w >> 16), mul_w16(odd, static_cast<int16_t>(w)));
}

// Rounded upper word of the product in the low 32 bits of each lane.
inline __m256i mulhi_round(__m256i a, int32_t b) {
    return _mm256_srli_epi64(
        _mm256_add_epi64(_mm256_mul_epi32(a, coeff(b)), _mm256_set1_epi64x(int64_t{1} << 31)), 32);
}

// The low 32 bits of the four lanes as signed words (slot 3 .. slot 0).
inline __m128i narrow(__m256i v) {
    const __m256i pick = _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6);
    return _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(v, pick));
}

// One output of the four slots (see window_sample of the portable kernel).
inline __m128i window_sample(const __m256i *u, const __m256i *l, const int32_t *first,
                             const int32_t *mid3, const int32_t *mid4, const int32_t *last) {
    __m256i acc = _mm256_add_epi64(
        _mm256_add_epi64(mulw_pair(u[0], l[0], first[0]), mulw_pair(u[1], l[1], first[2])),
        mulw_pair(u[2], l[2], first[4]));
    acc = _mm256_cvtepi32_epi64(_mm_srai_epi32(narrow(acc), 2));
    acc = _mm256_add_epi64(
        acc, _mm256_add_epi64(mulhi_round(u[3], mid3[0]), mulhi_round(l[3], mid3[1])));
    acc = _mm256_add_epi64(
        acc, _mm256_add_epi64(mulhi_round(u[4], mid4[0]), mulhi_round(l[4], mid4[1])));
    acc = _mm256_slli_epi64(acc, 2);
    acc = _mm256_add_epi64(acc, _mm256_add_epi64(_mm256_add_epi64(mulw_pair(u[5], l[5], last[0]),
                                                                  mulw_pair(u[6], l[6], last[2])),
                                                 mulw_pair(u[7], l[7], last[4])));
    const __m128i pcm = _mm_srai_epi32(narrow(acc), 3);
    return _mm_max_epi32(_mm_min_epi32(pcm, _mm_set1_epi32(8388607)), _mm_set1_epi32(-8388608));
}

// Lane k holds slot 3 - k; slot s goes to pcm[64 s + index].
inline void store(int32_t *pcm, int index, __m128i v) {
    pcm[192 + index] = _mm_extract_epi32(v, 0);
    pcm[128 + index] = _mm_extract_epi32(v, 1);
    pcm[64 + index] = _mm_extract_epi32(v, 2);
    pcm[index] = _mm_extract_epi32(v, 3);
}

}  // namespace

void MP3D_subband_window_avx2(const int32_t *upper_own, const int32_t *lower_other,
                              const int32_t *window, int32_t *pcm) {
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        __m256i u[8], l[8];
        for (int i = 0; i < 8; ++i) {
            u[i] = taps(upper_own + 12 * j + i);
            l[i] = taps(lower_other + 12 * (j - 1) + i);
        }
        store(pcm, j, window_sample(u, l, w, w + 6, w + 10, w + 14));
        store(pcm, 32 - j, window_sample(u, l, w + 1, w + 8, w + 12, w + 15));
    }
}

// Odd slots, then even slots with the vector kernel; outputs 0 and 16,
// slot 8 and the history move with the portable one.
int32_t MP3D_polyphase_window_avx2(int32_t *synthesis, int32_t *pcm, const int32_t *window) {
    MP3D_subband_window_avx2(synthesis + kSynthesisOddUpper + 3,
                             synthesis + kSynthesisEvenLower + 4, window, pcm + 32);
    MP3D_subband_window_avx2(synthesis + kSynthesisEvenUpper + 4,
                             synthesis + kSynthesisOddLower + 4, window, pcm);
    MP3D_subband_window_1(window, pcm, synthesis);
    return 0;
}

}  // namespace mp3d
