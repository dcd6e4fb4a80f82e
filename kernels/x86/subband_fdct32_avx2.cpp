// AVX2 variant of the DCT stage of a half granule: eight 32-point DCTs at once.
//
// Slot t of the granule is the column at stride 18 starting at element t, so
// one 256-bit load at 18 sb + t0 gives subband sb of the eight consecutive
// slots t0 .. t0 + 7. The kernel runs the portable flow graph with one slot
// per lane, operation for operation, so every lane gives the portable
// kernel's words. It runs it in two halves, the even outputs (from the sums
// of the first fold) and then the odd outputs (from its differences), each
// folding the inputs again and storing its outputs as they are made, so that
// it needs little stack. The frequency inversion negates the odd subbands of the odd
// slots ahead of the transform (vpsignd, which wraps INT32_MIN as the
// portable negation does), exactly as the portable inverting form does. The
// ninth slot of the half runs through the portable kernel's steps, written
// between the vector steps: it keeps the scalar units busy while the vector
// units work, which hides most of its cost.
//
// Products are exact 64-bit products (vpmuldq on the even and the odd lanes)
// rounded to their upper word; sums wrap. After the transform lane k holds
// slot k of the half; one permutation per output row puts the even slots
// (columns 4, 3, 2, 1 of the even bank) in the low and the odd slots (columns
// 3, 2, 1, 0 of the odd bank) in the high 128 bits, each stored as four
// consecutive words of the row.
#include <immintrin.h>

#include "kernels/subband_fdct32_steps.h"
#include "kernels/x86/avx2_ops.h"
#include "kernels/x86/kernels_avx2.h"

namespace mp3d {
namespace {

using namespace avx2;

// Subband n of the eight slots; odd subbands negated in the lanes whose sign
// word is -1 (sign holds +1 or -1 in every lane).
inline V load_x8(const int32_t *slots, int n, V sign) {
    const V v = _mm256_loadu_si256(reinterpret_cast<const V *>(slots + 18 * n));
    return (n & 1) ? _mm256_sign_epi32(v, sign) : v;
}

// As fold_group of the portable kernel, one half of it: the sums (E and F,
// to scratch[n] and scratch[8 + n]) or the differences (G and H, likewise).
// Each half reloads the inputs, so that only sixteen folded vectors are live.
template <bool kDifferences>
inline void fold_half_x8(const int32_t *slots, V sign, const int32_t *k, int g, V *scratch) {
    opaque(k);
    const int n0 = 2 * g, n1 = 2 * g + 1, n2 = 15 - 2 * g, n3 = 14 - 2 * g;
    const V a0 = load_x8(slots, n0, sign), b0 = load_x8(slots, 31 - n0, sign);
    const V a1 = load_x8(slots, n1, sign), b1 = load_x8(slots, 31 - n1, sign);
    const V a2 = load_x8(slots, n2, sign), b2 = load_x8(slots, 31 - n2, sign);
    const V a3 = load_x8(slots, n3, sign), b3 = load_x8(slots, 31 - n3, sign);

    V x0, x1, x2, x3;
    if constexpr (kDifferences) {
        x0 = mul_q31<Avx2_Ops>(sub(a0, b0), k[0]);
        x1 = mul_q31<Avx2_Ops>(sub(a1, b1), k[1]);
        x2 = mul_q31<Avx2_Ops>(sub(a2, b2), k[2]);
        x3 = mul_q31<Avx2_Ops>(sub(a3, b3), k[3]);
    } else {
        x0 = add(a0, b0);
        x1 = add(a1, b1);
        x2 = add(a2, b2);
        x3 = add(a3, b3);
    }
    V *sums = scratch, *differences = scratch + 8;
    sums[n0] = add(x0, x2);
    differences[n0] = mul_q31<Avx2_Ops>(sub(x0, x2), k[4]);
    sums[n1] = add(x1, x3);
    differences[n1] = mul_q31<Avx2_Ops>(sub(x1, x3), k[5]);
}

// The shared 8-point DCT on eight slots. The coefficient pointer is hidden
// first, so that each product loads and broadcasts its word where it is used
// (hoisted, the broadcasts would be spilled).
template <bool kDoubled>
inline void dct8_x8(const V *P, const int32_t *c, V *out) {
    opaque(c);
    dct8<kDoubled, Avx2_Ops>(P, c, out);
}

// Row word of slots 0..7: slots 6, 4, 2, 0 to columns 1..4 of the even bank,
// slots 7, 5, 3, 1 to columns 0..3 of the odd bank.
inline void store_row(V x, int32_t *even_row, int32_t *odd_row) {
    const V by_column = _mm256_permutevar8x32_epi32(x, _mm256_setr_epi32(6, 4, 2, 0, 7, 5, 3, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(even_row + 1), _mm256_castsi256_si128(by_column));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(odd_row), _mm256_extracti128_si256(by_column, 1));
}

// Slots 0..7 of the half (slots[0] = subband 0 of slot 0) in the lanes, sign:
// +1 or -1 per lane, -1 where the slot is odd. Slot 8 (parity kInvert) runs
// through the portable steps, interleaved with the vector steps so that the
// scalar units work on it while the vector units work on the other eight.
template <bool kInvert>
inline void fastdct32x9(const int32_t *slots, V sign, int32_t *synthesis) {
    const int32_t *c8 = dct8_II_coeff, *c32 = dct32_II_coeff;
    const int32_t *slot8 = slots + 8;
    // Even outputs from E8 and F8 first, then odd outputs from G8 and H8:
    // each half folds the inputs again and transforms in place, so that one
    // sixteen-vector scratch serves both. The scratch stays one array in
    // memory (hidden behind the pointer): as sixteen separate values the
    // compiler would spill them one by one, to a frame of twice the size.
    V scratch_words[16];
    V *scratch = scratch_words;
    asm("" : "+r"(scratch));
    int32_t scratch8[32];
    fold_half_x8<false>(slots, sign, c32, 0, scratch);
    fold_group<kInvert, Portable_Ops>(slot8, c32, 0, scratch8);
    fold_half_x8<false>(slots, sign, c32 + 6, 1, scratch);
    fold_group<kInvert, Portable_Ops>(slot8, c32 + 6, 1, scratch8);
    fold_half_x8<false>(slots, sign, c32 + 12, 2, scratch);
    fold_group<kInvert, Portable_Ops>(slot8, c32 + 12, 2, scratch8);
    fold_half_x8<false>(slots, sign, c32 + 18, 3, scratch);
    fold_group<kInvert, Portable_Ops>(slot8, c32 + 18, 3, scratch8);

    int32_t e8[8], f8[8], g8[8], h8[8];
    dct8_x8<false>(scratch, c8, scratch);
    dct8<false, Portable_Ops>(scratch8, c8, e8);
    dct8_x8<true>(scratch + 8, c8, scratch + 8);
    dct8<true, Portable_Ops>(scratch8 + 8, c8, f8);

    // Outputs X[i], each stored as soon as it is made (as recombine_store):
    // X[16 + r] to upper-part row r, -X[15 - r] to lower-part row r.
    const V zero = _mm256_setzero_si256();
    const auto put = [&](int i, V x) {
        if (i >= 16) {
            store_row(x, synthesis + kSynthesisEvenUpper + 12 * (i - 16),
                      synthesis + kSynthesisOddUpper + 12 * (i - 16));
        } else {
            store_row(sub(zero, x), synthesis + kSynthesisEvenLower + 12 * (15 - i),
                      synthesis + kSynthesisOddLower + 12 * (15 - i));
        }
    };
    // X[4k] = E8[k]; X[2] = F8[0], X[4k + 2] = F8[k] - X[4k - 2].
    {
        const V *e = scratch, *f = scratch + 8;
        V x = f[0];
        for (int k = 0; k < 8; ++k) {
            put(4 * k, e[k]);
            if (k > 0) x = sub(f[k], x);
            put(4 * k + 2, x);
        }
    }

    fold_half_x8<true>(slots, sign, c32, 0, scratch);
    fold_half_x8<true>(slots, sign, c32 + 6, 1, scratch);
    fold_half_x8<true>(slots, sign, c32 + 12, 2, scratch);
    fold_half_x8<true>(slots, sign, c32 + 18, 3, scratch);
    dct8_x8<true>(scratch, c8, scratch);
    dct8<true, Portable_Ops>(scratch8 + 16, c8, g8);
    dct8_x8<true>(scratch + 8, c8, scratch + 8);
    dct8<true, Portable_Ops>(scratch8 + 24, c8, h8);

    // X[1] = G8[0], X[2m + 1] = y2[m] - X[2m - 1] with y2[2k] = G8[k],
    // y2[1] = 2 H8[0], y2[2k + 1] = 2 H8[k] - y2[2k - 1].
    {
        const V *g = scratch, *h = scratch + 8;
        V x = g[0], y_odd = shl<1>(h[0]);
        put(1, x);
        for (int m = 1; m < 16; ++m) {
            const int k = m >> 1;
            if (m & 1) {
                if (k > 0) y_odd = sub(shl<1>(h[k]), y_odd);
                x = sub(y_odd, x);
            } else {
                x = sub(g[k], x);
            }
            put(2 * m + 1, x);
        }
    }
    recombine_store(e8, f8, g8, h8, synthesis + kSynthesisEvenUpper,
                    synthesis + kSynthesisEvenLower);
}

}  // namespace

void MP3D_subband_dct9_avx2(const int32_t *samples, int half, int32_t *synthesis) {
    const int32_t *slots = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    // Slot k has the parity p0 ^ (k & 1); the odd slots invert.
    const V sign = p0 != 0 ? _mm256_setr_epi32(-1, 1, -1, 1, -1, 1, -1, 1)
                           : _mm256_setr_epi32(1, -1, 1, -1, 1, -1, 1, -1);
    if (p0 != 0) {
        fastdct32x9<true>(slots, sign, synthesis);
    } else {
        fastdct32x9<false>(slots, sign, synthesis);
    }
}

}  // namespace mp3d
