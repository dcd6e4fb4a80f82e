// AVX2 synthesis window of a whole half granule: all 288 outputs and the
// history move in one pass.
//
// Vector lanes run over the output index j, not over the slots. Eight history
// rows (j = 8b .. 8b + 7) of each quadrant are transposed, so that the vector
// of column v holds the value of that column for eight outputs at once, and
// the window words of those eight outputs are transposed the same way. Every
// slot then reads its taps as whole column vectors (slot k, tap i: column
// c + i), so the nine slots of a half fill the lanes completely, share one
// set of coefficient vectors, and store their outputs as contiguous runs.
// Lane j = 0 carries output 0, whose odd-age values lie in the upper part of
// the other bank (the lower-part row "j - 1" is replaced by that row) and
// whose window words are rearranged into the layout of the other outputs.
// Output 16, which has no even-age taps and a different tap grouping, is
// computed on its own.
//
// Arithmetic, per output (all sums modulo 2^32, as in the portable kernel):
//   sample = saturate24(((S1 & ~3) + 4 M + S2) >> 3)
// which equals ((S1 >> 2) + M) << 2 plus S2. S1 and S2 are sums of MulW
// products on pair words, M the sum of the four rounded full-word products.
//
// MulW on 16-bit lanes. The high and low halves of an even-age and an
// odd-age value are packed into one 32-bit lane (even-age in the high half,
// odd-age in the low half), the arrangement of the coefficients in a pair
// word, so that vpmaddwd on the pair word gives both high-half products
// summed and vpmulhw gives the two floor terms of the low halves:
// - rounded form: a = (A + n) 2^16 + s with A the signed high half, s the
//   signed low half and n = 1 where s < 0 (the high half of a + 0x8000), so
//   MulW(a, h) = (A + n) h + floor(s h / 2^16). A + n only fits 16 bits for
//   a < 0x7fff8000;
// - exact form, used for a batch that holds a larger value: a = A 2^16 + u
//   with u the unsigned low half, MulW(a, h) = A h + floor(u h / 2^16), the
//   floor term being vpmulhw on s plus h where s < 0.
// The floor terms lie within +-|h|; the pair halves of three taps of
// window_lf sum to less than 2^15 in magnitude (checked by the tests), so
// three of them add up in 16 bits before one vpmaddwd with ones widens them.
//
// Rounded full-word products: vpmuldq on the even and on the odd lanes, plus
// 2^31, upper words summed in 32-bit lanes and merged by one blend.
#include <immintrin.h>

#include "kernels/fixed_point.h"
#include "kernels/subband_window.h"
#include "kernels/x86/synthesis_avx2.h"

namespace mp3d {
namespace {

using V = __m256i;

inline V load8(const int32_t *p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
inline __m128i load4(const int32_t *p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}
inline void store8(int32_t *p, V v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}

// Columns first .. first + 3 of the eight rows: out[c] lane l =
// rows[l][first + c]. Rows l and l + 4 share a vector, so that no lane-crossing
// shuffle is needed after the loads.
inline void transpose4(const int32_t *const rows[8], int first, V *out) {
    V q[4];
    for (int k = 0; k < 4; ++k) {
        q[k] = _mm256_inserti128_si256(_mm256_castsi128_si256(load4(rows[k] + first)),
                                       load4(rows[k + 4] + first), 1);
    }
    const V t0 = _mm256_unpacklo_epi32(q[0], q[1]), t1 = _mm256_unpackhi_epi32(q[0], q[1]);
    const V t2 = _mm256_unpacklo_epi32(q[2], q[3]), t3 = _mm256_unpackhi_epi32(q[2], q[3]);
    out[0] = _mm256_unpacklo_epi64(t0, t2);
    out[1] = _mm256_unpackhi_epi64(t0, t2);
    out[2] = _mm256_unpacklo_epi64(t1, t3);
    out[3] = _mm256_unpackhi_epi64(t1, t3);
}

// Columns first .. first + 7 of the eight rows: out[c] lane l = rows[l][first + c].
inline void transpose8(const int32_t *const rows[8], int first, V *out) {
    transpose4(rows, first, out);
    transpose4(rows, first + 4, out + 4);
}

// An even-age and an odd-age value per lane, split for the 16-bit products.
struct Split {
    V high;  // high halves: even-age in bits 16..31, odd-age in bits 0..15
    V low;   // low halves, same arrangement
    V neg;   // exact form: 0xffff in each 16-bit half whose low half is negative
};

// Exact form: high = signed high halves A. Rounded form (history values
// below 0x7fff8000): high = A + 1 where the low half is negative as signed,
// i.e. the high half of a + 0x8000, and neg is not used.
template <bool kExact>
inline Split split(V even, V odd) {
    Split s;
    s.low = _mm256_blend_epi16(odd, _mm256_slli_epi32(even, 16), 0xaa);
    if constexpr (kExact) {
        s.high = _mm256_blend_epi16(_mm256_srli_epi32(odd, 16), even, 0xaa);
        s.neg = _mm256_srai_epi16(s.low, 15);
    } else {
        const V half = _mm256_set1_epi32(0x8000);
        s.high = _mm256_blend_epi16(_mm256_srli_epi32(_mm256_add_epi32(odd, half), 16),
                                    _mm256_add_epi32(even, half), 0xaa);
        s.neg = _mm256_setzero_si256();
    }
    return s;
}

// Sums of the MulW products of three taps (even-age and odd-age) with the
// pair words of output j (w[0], w[2], w[4]) and of output 32 - j (w[1], w[3],
// w[5]), each split loaded once for both.
template <bool kExact>
inline void small_groups(const Split *s, const V *w, V *sum) {
    V high[2], low[2];
    for (int t = 0; t < 3; ++t) {
        const V h = s[t].high, l = s[t].low;
        for (int set = 0; set < 2; ++set) {
            const V c = w[2 * t + set];
            V f = _mm256_mulhi_epi16(l, c);
            if constexpr (kExact) f = _mm256_add_epi16(f, _mm256_and_si256(c, s[t].neg));
            const V p = _mm256_madd_epi16(h, c);
            high[set] = t == 0 ? p : _mm256_add_epi32(high[set], p);
            low[set] = t == 0 ? f : _mm256_add_epi16(low[set], f);
        }
    }
    for (int set = 0; set < 2; ++set) {
        sum[set] = _mm256_add_epi32(high[set], _mm256_madd_epi16(low[set], _mm256_set1_epi16(1)));
    }
}

// A history vector with its odd lanes moved down for vpmuldq.
struct Wide {
    V even;
    V odd;
};
inline Wide wide(V v) {
    return {v, _mm256_srli_epi64(v, 32)};
}

// Rounded upper word of a * c plus 2^31, in the upper half of each 64-bit lane.
inline V round_product(V a, V c) {
    return _mm256_add_epi64(_mm256_mul_epi32(a, c), _mm256_set1_epi64x(int64_t{1} << 31));
}

// Sum of the four rounded full-word products: taps 3 and 4, even-age and odd-age.
inline V large_group(const Wide &e3, const Wide &o3, const Wide &e4, const Wide &o4,
                     const Wide *c) {
    const V even = _mm256_add_epi32(
        _mm256_add_epi32(round_product(e3.even, c[0].even), round_product(o3.even, c[1].even)),
        _mm256_add_epi32(round_product(e4.even, c[2].even), round_product(o4.even, c[3].even)));
    const V odd = _mm256_add_epi32(
        _mm256_add_epi32(round_product(e3.odd, c[0].odd), round_product(o3.odd, c[1].odd)),
        _mm256_add_epi32(round_product(e4.odd, c[2].odd), round_product(o4.odd, c[3].odd)));
    return _mm256_blend_epi32(_mm256_srli_epi64(even, 32), odd, 0xaa);
}

inline V to_pcm(V s1, V m, V s2) {
    const V acc = _mm256_add_epi32(
        _mm256_add_epi32(_mm256_andnot_si256(_mm256_set1_epi32(3), s1), _mm256_slli_epi32(m, 2)),
        s2);
    const V pcm = _mm256_srai_epi32(acc, 3);
    return _mm256_max_epi32(_mm256_min_epi32(pcm, _mm256_set1_epi32(8388607)),
                            _mm256_set1_epi32(-8388608));
}

// Window words of eight outputs, transposed: w[m] lane l = word m of the
// 20-word block of output pair j = 8b + l; large[0..3], large[4..7]: the
// full words of taps 3 and 4 (even-age, odd-age) of output j and 32 - j.
struct Coefficients {
    V w[20];
    Wide large[8];
};

// Outputs j and 32 - j of the eight lanes of one slot. split: tap 0 of the
// slot's even-age / odd-age pairs; even, odd: the raw even-age and odd-age
// column vectors at tap 0.
template <bool kExact>
inline void slot_outputs(const Split *sp, const V *even, const V *odd, const Coefficients &k,
                         V *out_j, V *out_mirror) {
    // Each history vector is loaded once and multiplied with the coefficients
    // of both outputs, so that few values are live at a time.
    const V *w = k.w;
    V s1[2], s2[2];
    small_groups<kExact>(sp, w, s1);
    small_groups<kExact>(sp + 5, w + 14, s2);
    V even_sum[2], odd_sum[2];
    for (int t = 0; t < 4; ++t) {
        const Wide a = wide(t == 0 ? even[3] : t == 1 ? odd[3] : t == 2 ? even[4] : odd[4]);
        for (int set = 0; set < 2; ++set) {
            const Wide &c = k.large[4 * set + t];
            const V pe = round_product(a.even, c.even), po = round_product(a.odd, c.odd);
            even_sum[set] = t == 0 ? pe : _mm256_add_epi32(even_sum[set], pe);
            odd_sum[set] = t == 0 ? po : _mm256_add_epi32(odd_sum[set], po);
        }
    }
    V m[2];
    for (int set = 0; set < 2; ++set) {
        m[set] = _mm256_blend_epi32(_mm256_srli_epi64(even_sum[set], 32), odd_sum[set], 0xaa);
    }
    *out_j = to_pcm(s1[0], m[0], s2[0]);
    *out_mirror = to_pcm(s1[1], m[1], s2[1]);
}

// The nine slots of a batch.
template <bool kExact>
void slots(const V *even_upper, const V *odd_lower, const V *odd_upper, const V *even_lower,
           const Coefficients &k, int b, int32_t *pcm) {
    // Even slots pair even-bank upper column v with odd-bank lower column v;
    // odd slots pair odd-bank upper column v with even-bank lower column v + 1.
    Split even_split[12], odd_split[11];
    for (int v = 0; v < 12; ++v) even_split[v] = split<kExact>(even_upper[v], odd_lower[v]);
    for (int v = 0; v < 11; ++v) odd_split[v] = split<kExact>(odd_upper[v], even_lower[v + 1]);
    const int j0 = 8 * b;
    // Batch 0 holds output 0 in lane 0 and outputs 32 - j = 31..25 in lanes
    // 1..7 (lane 0 of the mirror set is unused: stored at index 24, which
    // batch 1 overwrites); batch 1 holds 24..17 in lanes 0..7.
    const V mirror_order = b == 0 ? _mm256_setr_epi32(0, 7, 6, 5, 4, 3, 2, 1)
                                  : _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    const int mirror_at = b == 0 ? 24 : 17;
    for (int slot = 0; slot < 9; ++slot) {
        V out_j, out_mirror;
        if ((slot & 1) == 0) {
            const int c = 4 - slot / 2;
            slot_outputs<kExact>(even_split + c, even_upper + c, odd_lower + c, k, &out_j,
                                 &out_mirror);
        } else {
            const int c = 3 - (slot - 1) / 2;
            slot_outputs<kExact>(odd_split + c, odd_upper + c, even_lower + c + 1, k, &out_j,
                                 &out_mirror);
        }
        int32_t *out = pcm + 32 * slot;
        store8(out + j0, out_j);
        store8(out + mirror_at, _mm256_permutevar8x32_epi32(out_mirror, mirror_order));
    }
}

// Outputs j = 8b .. 8b + 7 and 32 - j of all nine slots.
void window_batch(const int32_t *synthesis, const int32_t *window, const int32_t *block0, int b,
                  int32_t *pcm) {
    const int j0 = 8 * b;
    const int32_t *eu[8], *ou[8], *ol[8], *el[8], *wr[8];
    for (int l = 0; l < 8; ++l) {
        const int j = j0 + l;
        eu[l] = synthesis + kSynthesisEvenUpper + 12 * j;
        ou[l] = synthesis + kSynthesisOddUpper + 12 * j;
        // Output 0 takes its odd-age values from the other bank's upper row 0.
        ol[l] = j == 0 ? ou[l] : synthesis + kSynthesisOddLower + 12 * (j - 1);
        el[l] = j == 0 ? eu[l] : synthesis + kSynthesisEvenLower + 12 * (j - 1);
        wr[l] = j == 0 ? block0 : window + 10 + 20 * (j - 1);
    }

    // Columns of the four quadrants, lanes over j.
    V cols[4][12];
    const int32_t *const *rows[4] = {eu, ol, ou, el};
    for (int q = 0; q < 4; ++q) {
        transpose8(rows[q], 0, cols[q]);
        transpose4(rows[q], 8, cols[q] + 8);
    }
    const V *even_upper = cols[0], *odd_lower = cols[1], *odd_upper = cols[2],
            *even_lower = cols[3];

    Coefficients k;
    transpose8(wr, 0, k.w);
    transpose8(wr, 8, k.w + 8);
    transpose4(wr, 16, k.w + 16);
    const int large_words[8] = {6, 7, 10, 11, 8, 9, 12, 13};
    for (int n = 0; n < 8; ++n) k.large[n] = wide(k.w[large_words[n]]);

    // Values from 0x7fff8000 up need the exact form of the 16-bit products.
    V top = cols[0][0];
    for (int q = 0; q < 4; ++q) {
        for (int v = 0; v < 12; ++v) top = _mm256_max_epi32(top, cols[q][v]);
    }
    const V large = _mm256_cmpgt_epi32(top, _mm256_set1_epi32(0x7fff7fff));
    if (_mm256_testz_si256(large, large)) {
        slots<false>(even_upper, odd_lower, odd_upper, even_lower, k, b, pcm);
    } else {
        slots<true>(even_upper, odd_lower, odd_upper, even_lower, k, b, pcm);
    }
}

// Output 16 of one slot from its eight odd-age values (lower part row 15 of
// the other bank) at a stride of one word; w: window words 310..313.
int32_t output16(const int32_t *odd, const int32_t *w) {
    int32_t acc = mul_w16(odd[0], w[0] >> 16);
    acc = wrap_add(acc, mul_w16(odd[1], static_cast<int16_t>(w[0])));
    acc = wrap_add(acc, mul_w16(odd[2], w[1] >> 16));
    acc >>= 2;
    acc = mulhi_round_add(acc, odd[3], wrap_add(wrap_shl(static_cast<int16_t>(w[1]), 16), 1 << 14));
    acc = wrap_shl(acc, 2);
    acc = wrap_add(acc, mul_w16(odd[4], w[2] >> 16));
    acc = wrap_add(acc, mul_w16(odd[5], static_cast<int16_t>(w[2])));
    acc = wrap_add(acc, mul_w16(odd[6], w[3] >> 16));
    acc = wrap_add(acc, mul_w16(odd[7], static_cast<int16_t>(w[3])));
    return saturate24(acc >> 3);
}

// Output 16 of slots 8, 6, 4, 2 (odd-bank lower row 15 from column 0) and
// 7, 5, 3, 1 (even-bank lower row 15 from column 1) in one vector: MulW as
// the upper word of a * (h 2^16); slot 0 on its own.
void outputs16(const int32_t *synthesis, const int32_t *window, int32_t *pcm) {
    const int32_t *odd_row = synthesis + kSynthesisOddLower + 12 * 15;
    const int32_t *even_row = synthesis + kSynthesisEvenLower + 12 * 15;
    const int32_t *w = window + 310;
    const int32_t small[8] = {
        w[0] >> 16, static_cast<int16_t>(w[0]), w[1] >> 16, 0,
        w[2] >> 16, static_cast<int16_t>(w[2]), w[3] >> 16, static_cast<int16_t>(w[3])};
    V sum_even[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    V sum_odd[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    Wide tap3{};
    for (int i = 0; i < 8; ++i) {
        const Wide a = wide(_mm256_inserti128_si256(_mm256_castsi128_si256(load4(odd_row + i)),
                                                    load4(even_row + 1 + i), 1));
        if (i == 3) {
            tap3 = a;
            continue;
        }
        const V c = _mm256_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(small[i]) << 16));
        const int g = i < 3 ? 0 : 1;
        sum_even[g] = _mm256_add_epi32(sum_even[g], _mm256_mul_epi32(a.even, c));
        sum_odd[g] = _mm256_add_epi32(sum_odd[g], _mm256_mul_epi32(a.odd, c));
    }
    const V c3 = _mm256_set1_epi32(wrap_add(wrap_shl(static_cast<int16_t>(w[1]), 16), 1 << 14));
    const V m = _mm256_blend_epi32(_mm256_srli_epi64(round_product(tap3.even, c3), 32),
                                   round_product(tap3.odd, c3), 0xaa);
    const V s1 = _mm256_blend_epi32(_mm256_srli_epi64(sum_even[0], 32), sum_odd[0], 0xaa);
    const V s2 = _mm256_blend_epi32(_mm256_srli_epi64(sum_even[1], 32), sum_odd[1], 0xaa);
    alignas(32) int32_t out[8];
    _mm256_store_si256(reinterpret_cast<__m256i *>(out), to_pcm(s1, m, s2));
    const int slots[8] = {8, 6, 4, 2, 7, 5, 3, 1};
    for (int l = 0; l < 8; ++l) pcm[32 * slots[l] + 16] = out[l];
    pcm[16] = output16(odd_row + 4, w);
}

// History move of one part: odd-bank columns 4..11 take the even-bank
// columns 0..7, even-bank columns 5..11 the odd-bank columns 0..6; even-bank
// column 4 keeps its value.
void move_history(int32_t *odd, int32_t *even) {
    const V order = _mm256_setr_epi32(4, 0, 1, 2, 3, 4, 5, 6);
    for (int row = 0; row < 16; ++row, odd += 12, even += 12) {
        const V e = load8(even), o = load8(odd);
        store8(odd + 4, e);
        store8(even + 4, _mm256_blend_epi32(_mm256_permutevar8x32_epi32(o, order),
                                            _mm256_permutevar8x32_epi32(e, order), 0x01));
    }
}

}  // namespace

int32_t MP3D_polyphase_window_avx2(int32_t *synthesis, int32_t *pcm, const int32_t *window) {
    // Output 0's window words in the layout of the other output pairs
    // (the mirror set of this block is unused and left zero).
    const int32_t *w = window;
    alignas(32) const int32_t block0[20] = {w[0], 0,    w[1], 0, w[2], 0, w[3], w[4], 0,    0,
                                            w[5], w[6], 0,    0, w[7], 0, w[8], 0,    w[9], 0};
    window_batch(synthesis, window, block0, 0, pcm);
    window_batch(synthesis, window, block0, 1, pcm);
    outputs16(synthesis, window, pcm);
    move_history(synthesis + kSynthesisOddUpper, synthesis + kSynthesisEvenUpper);
    move_history(synthesis + kSynthesisOddLower, synthesis + kSynthesisEvenLower);
    return 0;
}

}  // namespace mp3d
