// AVX2 synthesis window of a whole half granule: all kHalfGranuleSamples
// outputs and the history move in one pass.
//
// Vector lanes run over the output index j, not over the slots. Eight history
// rows (j = 8b .. 8b + 7) of each quadrant are transposed, so that the vector
// of column v holds the value of that column for eight outputs at once; the
// window words of those eight outputs come already transposed from
// window_lf_lanes (generated from window_lf). Every slot then reads its taps
// as whole column vectors (slot k, tap i: column c + i), so the nine slots of
// a half fill the lanes completely and store their outputs as contiguous
// runs. Lane j = 0 carries output 0, whose odd-age values lie in the upper
// part of the other bank (the lower-part row "j - 1" is replaced by that row)
// and whose window words are rearranged into the layout of the other
// outputs. Output 16, which has no even-age taps and a different tap
// grouping, is computed on its own.
//
// Stack: the columns of a batch stream through once (see parity_slots), the
// window words are read from the table by each product, and the partial sums
// of a slot wait in its own output words, so that the kernel needs about a
// kilobyte of stack.
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
// - exact form, used where the columns of a pass hold a larger value: a = A 2^16 + u
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
#include "kernels/memory.h"
#include "kernels/portable_ops.h"
#include "kernels/subband_window.h"
#include "kernels/subband_window_steps.h"
#include "kernels/x86/avx2_ops.h"
#include "kernels/x86/kernels_avx2.h"
#include "tables/x86/window_lanes_avx2.h"

namespace mp3d {
namespace {

using namespace avx2;

inline __m128i load4(const int32_t *p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

// Eight history rows, one per lane: row l starts at rest + 12 l, except row
// 0, which starts at first (output 0 reads other rows than the rest).
struct Rows {
    const int32_t *first;
    const int32_t *rest;
    const int32_t *row(int l) const { return l == 0 ? first : rest + 12 * l; }
};

// Columns at .. at + 3 of the eight rows: out[c] lane l = row l, word at + c.
inline void transpose4(const Rows &rows, int at, V *out) {
    transpose_4x8([&](int l) { return rows.row(l) + at; }, out);
}

// An even-age and an odd-age value per lane, split for the 16-bit products.
struct Split {
    V high;  // high halves: even-age in bits 16..31, odd-age in bits 0..15
    V low;   // low halves, same arrangement
};

// Exact form: high = signed high halves A. Rounded form (history values
// below 0x7fff8000): high = A + 1 where the low half is negative as signed,
// i.e. the high half of a + 0x8000. The exact form's floor terms need the
// sign of the low halves, taken from low where they are used.
template <bool kExact>
inline Split split(V even, V odd) {
    Split s;
    s.low = _mm256_blend_epi16(odd, _mm256_slli_epi32(even, 16), 0xaa);
    if constexpr (kExact) {
        s.high = _mm256_blend_epi16(_mm256_srli_epi32(odd, 16), even, 0xaa);
    } else {
        const V half = _mm256_set1_epi32(0x8000);
        s.high = _mm256_blend_epi16(_mm256_srli_epi32(_mm256_add_epi32(odd, half), 16),
                                    _mm256_add_epi32(even, half), 0xaa);
    }
    return s;
}

// Window words of a batch: word m of the 20-word block of output pair
// j = 8b + l in lane l (generated from window_lf; lane 0 of batch 0 holds
// output 0's words in the layout of the other pairs).
using Words = int32_t[20][8];

inline V word(const int32_t (*w)[8], int m) {
    return load8(w[m]);
}
// Words m lanes 1, 3, 5, 7 in lanes 0, 2, 4, 6 (for vpmuldq), m < 19.
inline V odd_word(const int32_t (*w)[8], int m) {
    return load8(w[m] + 1);
}

// Sums of the MulW products of three taps (even-age and odd-age) with the
// pair words first, first + 2, first + 4 of output j and first + 1, first + 3,
// first + 5 of output 32 - j, each split used for both.
template <bool kExact>
inline void small_groups(const Split &s0, const Split &s1, const Split &s2, const int32_t (*w)[8],
                         int first, V *sum) {
    const Split *s[3] = {&s0, &s1, &s2};
    V high[2], low[2];
    for (int t = 0; t < 3; ++t) {
        const V h = s[t]->high, l = s[t]->low;
        for (int set = 0; set < 2; ++set) {
            const V c = word(w, first + 2 * t + set);
            V f = _mm256_mulhi_epi16(l, c);
            if constexpr (kExact) {
                f = _mm256_add_epi16(f, _mm256_and_si256(c, _mm256_srai_epi16(l, 15)));
            }
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

inline V to_pcm(V s1, V m, V s2) {
    const V acc = _mm256_add_epi32(
        _mm256_add_epi32(_mm256_andnot_si256(_mm256_set1_epi32(3), s1), _mm256_slli_epi32(m, 2)),
        s2);
    const V pcm = _mm256_srai_epi32(acc, 3);
    return _mm256_max_epi32(_mm256_min_epi32(pcm, _mm256_set1_epi32(8388607)),
                            _mm256_set1_epi32(-8388608));
}

// Where a batch stores its outputs. Batch 0 holds output 0 in lane 0 and
// outputs 32 - j = 31..25 in lanes 1..7 (lane 0 of the mirror set is unused:
// stored at index 24, which batch 1 overwrites); batch 1 holds 24..17.
struct Placement {
    int j0;
    int mirror_at;
    V mirror_order;
};

// The slots of one parity of a batch, slot first_slot - 2c reading the
// column pairs c .. c + 7 (upper column v: even-age, lower column v:
// odd-age values).
//
// The columns stream through once, four at a time from the transposes, and
// each does its work at once: column v is tap 0..2 (pair words) of slots
// v .. v - 2, tap 3 and 4 (full words) of slots v - 3 and v - 4, and tap 5..7
// of slots v - 5 .. v - 7. A slot's taps 0..2 are summed when its tap-2
// column arrives, its taps 3 and 4 are added two columns later, and its taps
// 5..7 finish it five columns later. So only the splits of the last three
// columns, one slot's full-word products and the partial sums of the slots
// in flight are live.
template <bool kExact, int kSlots>
__attribute__((always_inline)) inline V parity_slots(const Rows &upper_rows, const Rows &lower_rows,
                                                     int lower_at, const Words &words,
                                                     const Placement &at, int first_slot,
                                                     int32_t *pcm) {
    constexpr int kColumns = kSlots + 7;
    const V zero = _mm256_setzero_si256();
    Split older{zero, zero}, old{zero, zero};  // splits of columns v - 2 and v - 1
    V acc[kSlots][2];                          // (S1 & ~3) + 4 M of outputs j and 32 - j
    V even_sum[2] = {zero, zero}, odd_sum[2] = {zero, zero};  // tap-3 products of slot v - 3
    V top = zero;                                             // largest value read
#pragma GCC unroll 4
    for (int g = 0; g < 3; ++g) {
        V upper[4], lower[4];
        transpose4(upper_rows, 4 * g, upper);
        transpose4(lower_rows, lower_at + 4 * g, lower);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            const int v = 4 * g + k;
            if (v >= kColumns) break;
            // The window words are read from memory by each column's
            // products: kept in registers across columns they would only be
            // spilled.
            const int32_t(*w)[8] = words;
            asm("" : "+r"(w));
            // The partial sums go through memory, not through registers.
            int32_t *out = pcm;
            asm("" : "+r"(out));
            const auto partial = [&](int c, int set) {
                return out + 32 * (first_slot - 2 * c) + (set == 0 ? at.j0 : at.mirror_at);
            };
            const Split cur = split<kExact>(upper[k], lower[k]);
            if constexpr (!kExact)
                top = _mm256_max_epi32(top, _mm256_max_epi32(upper[k], lower[k]));
            if (v >= 3) {
                // Full words of taps 3 and 4 (even-age, odd-age): 6, 7, 10, 11
                // for output j, 8, 9, 12, 13 for output 32 - j.
                const Wide e = wide(upper[k]), o = wide(lower[k]);
                for (int tap = 4; tap >= 3; --tap) {
                    const int c = v - tap;
                    if (c < 0 || c >= kSlots) continue;
                    for (int set = 0; set < 2; ++set) {
                        const V ce = word(w, 4 * tap - 6 + 2 * set);
                        const V co = word(w, 4 * tap - 5 + 2 * set);
                        // Odd lanes: the same words one lane further on.
                        const V ce_odd = odd_word(w, 4 * tap - 6 + 2 * set);
                        const V co_odd = odd_word(w, 4 * tap - 5 + 2 * set);
                        const V pe =
                            _mm256_add_epi32(round_product(e.even, ce), round_product(o.even, co));
                        const V po = _mm256_add_epi32(round_product(e.odd, ce_odd),
                                                      round_product(o.odd, co_odd));
                        if (tap == 3) {
                            even_sum[set] = pe;
                            odd_sum[set] = po;
                        } else {
                            const V m = upper_words(_mm256_add_epi32(even_sum[set], pe),
                                                    _mm256_add_epi32(odd_sum[set], po));
                            acc[c][set] = _mm256_add_epi32(acc[c][set], _mm256_slli_epi32(m, 2));
                            // Parked in the slot's output words until its
                            // taps 5..7 arrive.
                            store8(partial(c, set), acc[c][set]);
                        }
                    }
                }
            }
            if (v >= 2 && v - 2 < kSlots) {
                V s1[2];
                small_groups<kExact>(older, old, cur, w, 0, s1);
                for (int set = 0; set < 2; ++set) {
                    acc[v - 2][set] = _mm256_andnot_si256(_mm256_set1_epi32(3), s1[set]);
                }
            }
            if (v >= 7) {
                const int c = v - 7;
                V s2[2];
                small_groups<kExact>(older, old, cur, w, 14, s2);
                V result[2];
                for (int set = 0; set < 2; ++set) {
                    const V pcm24 =
                        _mm256_srai_epi32(_mm256_add_epi32(load8(partial(c, set)), s2[set]), 3);
                    result[set] =
                        _mm256_max_epi32(_mm256_min_epi32(pcm24, _mm256_set1_epi32(8388607)),
                                         _mm256_set1_epi32(-8388608));
                }
                store8(partial(c, 0), result[0]);
                store8(partial(c, 1), _mm256_permutevar8x32_epi32(result[1], at.mirror_order));
            }
            older = old;
            old = cur;
        }
    }
    return top;
}

// One parity of a batch in the rounded form of the 16-bit products, again in
// the exact form where a value read was 0x7fff8000 or more (the second run
// rewrites every word the first one wrote).
template <int kSlots>
inline void parity(const Rows &upper_rows, const Rows &lower_rows, int lower_at, const Words &words,
                   const Placement &at, int first_slot, int32_t *pcm) {
    const V top =
        parity_slots<false, kSlots>(upper_rows, lower_rows, lower_at, words, at, first_slot, pcm);
    const V large = _mm256_cmpgt_epi32(top, _mm256_set1_epi32(0x7fff7fff));
    if (!_mm256_testz_si256(large, large)) {
        parity_slots<true, kSlots>(upper_rows, lower_rows, lower_at, words, at, first_slot, pcm);
    }
}

// Outputs j = 8b .. 8b + 7 and 32 - j of all nine slots. Even slots pair
// even-bank upper column v with odd-bank lower column v (slot 8 - 2c at
// column c = 0..4); odd slots pair odd-bank upper column v with even-bank
// lower column v + 1 (slot 7 - 2c at c = 0..3).
__attribute__((noinline)) void window_batch(const int32_t *synthesis, int b, int32_t *pcm) {
    const int j0 = 8 * b;
    const int32_t *eu = synthesis + kSynthesisEvenUpper + 12 * j0;
    const int32_t *ou = synthesis + kSynthesisOddUpper + 12 * j0;
    // Row j - 1 of the lower parts for lane j; output 0 takes its odd-age
    // values from the other bank's upper row 0.
    const int32_t *ol = synthesis + kSynthesisOddLower + 12 * (j0 - 1);
    const int32_t *el = synthesis + kSynthesisEvenLower + 12 * (j0 - 1);
    const Rows even_upper{eu, eu}, odd_upper{ou, ou};
    const Rows odd_lower{b == 0 ? ou : ol, ol}, even_lower{b == 0 ? eu : el, el};
    const Placement at = {j0, b == 0 ? 24 : 17,
                          b == 0 ? _mm256_setr_epi32(0, 7, 6, 5, 4, 3, 2, 1)
                                 : _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0)};
    const Words &w = window_lf_lanes[b];
    parity<5>(even_upper, odd_lower, 0, w, at, 8, pcm);
    // The odd slots' last transpose reads lower-part words 9..12 of rows up to
    // 14: word 12 is word 0 of the next row, inside the history, and unused.
    parity<4>(odd_upper, even_lower, 1, w, at, 7, pcm);
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
    const V m = upper_words(round_product(tap3.even, c3), round_product(tap3.odd, c3));
    const V s1 = upper_words(sum_even[0], sum_odd[0]);
    const V s2 = upper_words(sum_even[1], sum_odd[1]);
    alignas(32) int32_t out[8];
    _mm256_store_si256(reinterpret_cast<__m256i *>(out), to_pcm(s1, m, s2));
    const int slots[8] = {8, 6, 4, 2, 7, 5, 3, 1};
    for (int l = 0; l < 8; ++l) pcm[32 * slots[l] + 16] = out[l];
    pcm[16] = window_sample16<Portable_Ops>(odd_row + 4, w);
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

void MP3D_polyphase_window_avx2(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                                const int32_t *window) {
    // The vector batches store whole slots of 24-bit words; they go to the
    // caller's output (interleaved, shifted for 16-bit words) in one pass.
    alignas(32) int32_t pcm[kHalfGranuleSamples];
    // The batches read the window words from window_lf_lanes, window_lf
    // rearranged by lanes: window is window_lf, the only window there is.
    // Values from 0x7fff8000 up need the exact form of the 16-bit products.
    window_batch(synthesis, 0, pcm);
    window_batch(synthesis, 1, pcm);
    outputs16(synthesis, window, pcm);
    move_history(synthesis + kSynthesisOddUpper, synthesis + kSynthesisEvenUpper);
    move_history(synthesis + kSynthesisOddLower, synthesis + kSynthesisEvenLower);
    Mp3_pcm_deliver(out, pcm, kHalfGranuleSamples, stride, no_shift);
}

}  // namespace mp3d
