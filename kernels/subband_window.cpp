// Synthesis window over the DCT history.
//
// An output sample is a 16-tap sum over the 8 newest slots of its own bank
// (even-age values) and of the other bank (odd-age values), in three groups:
// the small taps 0..2 with 32x16 products on the halves of a pair word, then
// (scaled down by 4) the large middle taps 3 and 4 with rounded 32x32
// products on full words in units of 2^-30, then (scaled back) the small taps
// 5..7. The sum is S / 8 of the standard's output on the same values, clamped
// to 24 bits.
//
// Outputs j and 32 - j (j = 1..15) read the same history values: upper part
// row j (even-age) and lower part row j - 1 (odd-age); the window words carry
// the signs that turn them into the standard's V values.
#include "kernels/subband_window.h"

#include "kernels/fixed_point.h"

namespace mp3d {
namespace {

inline int32_t high_half(int32_t w) {
    return w >> 16;
}
inline int32_t low_half(int32_t w) {
    return static_cast<int16_t>(w);
}

// MulW products of an even-age and an odd-age value with the two halves of a
// pair word.
inline int32_t mulw_pair(int32_t even, int32_t odd, int32_t w) {
    return wrap_add(mul_w16(even, high_half(w)), mul_w16(odd, low_half(w)));
}

inline int32_t to_pcm(int32_t acc) {
    return saturate24(acc >> 3);
}

// One output of one slot. even[i], odd[i]: the values of tap i. first, last:
// pair words of taps 0..2 and 5..7 at a distance of step words; mid3, mid4:
// the even-age and odd-age full words of taps 3 and 4.
inline int32_t window_sample(const int32_t *even, const int32_t *odd, const int32_t *first,
                             const int32_t *mid3, const int32_t *mid4, const int32_t *last,
                             int step) {
    int32_t acc = mulw_pair(even[0], odd[0], first[0]);
    acc = wrap_add(acc, mulw_pair(even[1], odd[1], first[step]));
    acc = wrap_add(acc, mulw_pair(even[2], odd[2], first[2 * step]));
    acc >>= 2;
    acc = mulhi_round_add(acc, even[3], mid3[0]);
    acc = mulhi_round_add(acc, odd[3], mid3[1]);
    acc = mulhi_round_add(acc, even[4], mid4[0]);
    acc = mulhi_round_add(acc, odd[4], mid4[1]);
    acc = wrap_shl(acc, 2);
    acc = wrap_add(acc, mulw_pair(even[5], odd[5], last[0]));
    acc = wrap_add(acc, mulw_pair(even[6], odd[6], last[step]));
    acc = wrap_add(acc, mulw_pair(even[7], odd[7], last[2 * step]));
    return to_pcm(acc);
}

// Output 16: odd-age values only (V[16] is zero). w: words 310..313. Tap 3
// does not fit 16 bits; its full-word coefficient is (low half of word 311)
// * 2^16 + 2^14.
inline int32_t window_sample16(const int32_t *odd, const int32_t *w) {
    int32_t acc = mul_w16(odd[0], high_half(w[0]));
    acc = wrap_add(acc, mul_w16(odd[1], low_half(w[0])));
    acc = wrap_add(acc, mul_w16(odd[2], high_half(w[1])));
    acc >>= 2;
    acc = mulhi_round_add(acc, odd[3], wrap_add(wrap_shl(low_half(w[1]), 16), 1 << 14));
    acc = wrap_shl(acc, 2);
    acc = wrap_add(acc, mul_w16(odd[4], high_half(w[2])));
    acc = wrap_add(acc, mul_w16(odd[5], low_half(w[2])));
    acc = wrap_add(acc, mul_w16(odd[6], high_half(w[3])));
    acc = wrap_add(acc, mul_w16(odd[7], low_half(w[3])));
    return to_pcm(acc);
}

// The pair j, 32 - j of one slot (slot 8 of a half).
inline void window_pair(const int32_t *u, const int32_t *l, const int32_t *w, int32_t *pcm, int j) {
    pcm[j] = window_sample(u, l, w, w + 6, w + 10, w + 14, 2);
    pcm[32 - j] = window_sample(u, l, w + 1, w + 8, w + 12, w + 15, 2);
}

}  // namespace

void MP3D_subband_window(const int32_t *upper_own, const int32_t *lower_other,
                         const int32_t *window, int32_t *pcm) {
    // Per output pair j, 32 - j the window words are unpacked once into
    // sign-extended coefficients (the halves of the pair words, the full
    // words of the large taps) and serve all four slots; one slot's pair of
    // outputs at a time keeps the tap values and sums in registers.
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        // c[k][0], c[k][1]: even-age and odd-age coefficients of tap k for
        // output j (set 0) and 32 - j (set 1).
        int64_t c[2][8][2];
        for (int set = 0; set < 2; ++set) {
            for (int k = 0; k < 3; ++k) {
                const int32_t first = w[2 * k + set], last = w[14 + 2 * k + set];
                c[set][k][0] = high_half(first);
                c[set][k][1] = low_half(first);
                c[set][5 + k][0] = high_half(last);
                c[set][5 + k][1] = low_half(last);
            }
            for (int k = 0; k < 2; ++k) {
                c[set][3 + k][0] = w[6 + 4 * k + 2 * set];
                c[set][3 + k][1] = w[7 + 4 * k + 2 * set];
            }
        }
        for (int slot = 0; slot < 4; ++slot) {
            const int32_t *u = upper_own - slot + 12 * j;
            const int32_t *l = lower_other - slot + 12 * (j - 1);
            int32_t *out = pcm + 64 * slot;
            for (int set = 0; set < 2; ++set) {
                const int64_t(*cs)[2] = c[set];
                auto small = [&](int k) {
                    return wrap_add(static_cast<int32_t>((u[k] * cs[k][0]) >> 16),
                                    static_cast<int32_t>((l[k] * cs[k][1]) >> 16));
                };
                auto large = [&](int k) {
                    const int64_t round = int64_t{1} << 31;
                    return wrap_add(static_cast<int32_t>((u[k] * cs[k][0] + round) >> 32),
                                    static_cast<int32_t>((l[k] * cs[k][1] + round) >> 32));
                };
                const int32_t first = wrap_add(wrap_add(small(0), small(1)), small(2));
                const int32_t mid = wrap_add(first >> 2, wrap_add(large(3), large(4)));
                const int32_t acc =
                    wrap_add(wrap_shl(mid, 2), wrap_add(wrap_add(small(5), small(6)), small(7)));
                out[set == 0 ? j : 32 - j] = to_pcm(acc);
            }
        }
    }
}

void MP3D_subband_window_1(const int32_t *window, int32_t *pcm, int32_t *synthesis) {
    // Outputs 0 and 16 of every slot. Slot k lies in column 4 - k/2 of the
    // even bank (even k) or 3 - (k - 1)/2 of the odd bank (odd k); its odd-age
    // taps start at the other bank's column of slot k - 1.
    for (int k = 0; k < 9; ++k) {
        const bool even_slot = (k & 1) == 0;
        const int col = even_slot ? 4 - k / 2 : 3 - (k - 1) / 2;
        const int other_col = even_slot ? col : col + 1;
        const int own_upper = even_slot ? kSynthesisEvenUpper : kSynthesisOddUpper;
        const int other_upper = even_slot ? kSynthesisOddUpper : kSynthesisEvenUpper;
        const int other_lower = even_slot ? kSynthesisOddLower : kSynthesisEvenLower;
        int32_t *out = pcm + 32 * k;
        out[0] = window_sample(synthesis + own_upper + col, synthesis + other_upper + other_col,
                               window, window + 3, window + 5, window + 7, 1);
        out[16] = window_sample16(synthesis + other_lower + 12 * 15 + other_col, window + 310);
    }

    // The other outputs of slot 8: even bank column 0, odd bank column 0.
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        window_pair(synthesis + kSynthesisEvenUpper + 12 * j,
                    synthesis + kSynthesisOddLower + 12 * (j - 1), w, pcm + 32 * 8, j);
    }

    MP3D_synthesis_history_move(synthesis);
}

void MP3D_synthesis_history_move(int32_t *synthesis) {
    // In both parts: odd-bank columns 4..11 take the even-bank columns 0..7
    // and even-bank columns 5..11 the odd-bank columns 0..6, so that the next
    // half's slot 0 finds the slots 1..16 back in place.
    for (int part = 0; part < 2; ++part) {
        int32_t *odd = synthesis + (part ? kSynthesisOddLower : kSynthesisOddUpper);
        int32_t *even = synthesis + (part ? kSynthesisEvenLower : kSynthesisEvenUpper);
        for (int row = 0; row < 16; ++row, odd += 12, even += 12) {
            int32_t old_even[8];
            for (int m = 0; m < 8; ++m) old_even[m] = even[m];
            for (int m = 0; m < 7; ++m) even[5 + m] = odd[m];
            for (int m = 0; m < 8; ++m) odd[4 + m] = old_even[m];
        }
    }
}

// Odd slots 1, 3, 5, 7 (own bank odd from column 3, odd-age values in the
// even bank from column 4), then even slots 0, 2, 4, 6 (own bank even from
// column 4, odd-age values in the odd bank from column 4), then outputs 0
// and 16, slot 8 and the history move.
int32_t MP3D_polyphase_window(int32_t *synthesis, int32_t *pcm, const int32_t *window) {
    MP3D_subband_window(synthesis + kSynthesisOddUpper + 3, synthesis + kSynthesisEvenLower + 4,
                        window, pcm + 32);
    MP3D_subband_window(synthesis + kSynthesisEvenUpper + 4, synthesis + kSynthesisOddLower + 4,
                        window, pcm);
    MP3D_subband_window_1(window, pcm, synthesis);
    return 0;
}

}  // namespace mp3d
