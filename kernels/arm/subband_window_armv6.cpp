// ARMv6 variant of the synthesis window (see kernels/subband_window.cpp for
// the arithmetic). The small taps run SMULW/SMLAW on the pair words as
// stored, the T form on the high half (even-age coefficient) and the B form
// on the low half (odd-age coefficient), so no coefficient is unpacked; the
// middle taps run SMMLAR on the full words; SSAT with ASR #3 gives the
// clamped sample.
#include "kernels/arm/kernels_armv6.h"

#if defined(MP3D_HAVE_ARMV6_KERNELS)

#include "kernels/arm/armv6_ops.h"
#include "kernels/fixed_point.h"
#include "kernels/subband_window.h"

namespace mp3d {
namespace {

using armv6::smlawb;
using armv6::smlawt;
using armv6::smmlar;
using armv6::smulwt;
using armv6::ssat24_asr3;

// acc plus the products of an even-age and an odd-age value with the high
// and low halves of a pair word.
inline int32_t pair(int32_t acc, int32_t even, int32_t odd, int32_t w) {
    return smlawb(smlawt(acc, even, w), odd, w);
}
inline int32_t pair_first(int32_t even, int32_t odd, int32_t w) {
    return smlawb(smulwt(even, w), odd, w);
}

// One output of one slot (as window_sample of the portable kernel).
inline int32_t window_sample(const int32_t *even, const int32_t *odd, const int32_t *first,
                             const int32_t *mid3, const int32_t *mid4, const int32_t *last,
                             int step) {
    int32_t acc = pair_first(even[0], odd[0], first[0]);
    acc = pair(acc, even[1], odd[1], first[step]);
    acc = pair(acc, even[2], odd[2], first[2 * step]);
    acc >>= 2;
    acc = smmlar(acc, even[3], mid3[0]);
    acc = smmlar(acc, odd[3], mid3[1]);
    acc = smmlar(acc, even[4], mid4[0]);
    acc = smmlar(acc, odd[4], mid4[1]);
    acc = wrap_shl(acc, 2);
    acc = pair(acc, even[5], odd[5], last[0]);
    acc = pair(acc, even[6], odd[6], last[step]);
    acc = pair(acc, even[7], odd[7], last[2 * step]);
    return ssat24_asr3(acc);
}

// Output 16: odd-age values only. w: words 310..313; tap 3 uses the full-word
// coefficient (low half of word 311) * 2^16 + 2^14.
inline int32_t window_sample16(const int32_t *odd, const int32_t *w) {
    int32_t acc = pair_first(odd[0], odd[1], w[0]);
    acc = smlawt(acc, odd[2], w[1]);
    acc >>= 2;
    acc = smmlar(acc, odd[3], wrap_add(wrap_shl(w[1], 16), 1 << 14));
    acc = wrap_shl(acc, 2);
    acc = pair(acc, odd[4], odd[5], w[2]);
    acc = pair(acc, odd[6], odd[7], w[3]);
    return ssat24_asr3(acc);
}

// Outputs j (sums a) and 32 - j (sums b) of two slots of one parity: slot 0
// reads its taps at u[k], l[k], slot 1 one column lower, so slot 1's tap k
// is slot 0's tap k - 1 and every history value and window word is loaded
// once for the four outputs.
inline void window_two_slots(const int32_t *u, const int32_t *l, const int32_t *w, int32_t *out0,
                             int32_t *out1, int j) {
    int32_t u_prev = u[-1], l_prev = l[-1];
    int32_t a0 = pair_first(u[0], l[0], w[0]), a1 = pair_first(u_prev, l_prev, w[0]);
    int32_t b0 = pair_first(u[0], l[0], w[1]), b1 = pair_first(u_prev, l_prev, w[1]);
    u_prev = u[0];
    l_prev = l[0];
    for (int k = 1; k < 8; ++k) {
        const int32_t uk = u[k], lk = l[k];
        if (k < 3 || k > 4) {
            const int32_t *p = k < 3 ? w + 2 * k : w + 14 + 2 * (k - 5);
            a0 = pair(a0, uk, lk, p[0]);
            a1 = pair(a1, u_prev, l_prev, p[0]);
            b0 = pair(b0, uk, lk, p[1]);
            b1 = pair(b1, u_prev, l_prev, p[1]);
        } else {
            const int32_t *m = w + 6 + 4 * (k - 3);  // j: m[0], m[1]; 32 - j: m[2], m[3]
            a0 = smmlar(smmlar(a0, uk, m[0]), lk, m[1]);
            a1 = smmlar(smmlar(a1, u_prev, m[0]), l_prev, m[1]);
            b0 = smmlar(smmlar(b0, uk, m[2]), lk, m[3]);
            b1 = smmlar(smmlar(b1, u_prev, m[2]), l_prev, m[3]);
        }
        if (k == 2) {
            a0 >>= 2;
            a1 >>= 2;
            b0 >>= 2;
            b1 >>= 2;
        } else if (k == 4) {
            a0 = wrap_shl(a0, 2);
            a1 = wrap_shl(a1, 2);
            b0 = wrap_shl(b0, 2);
            b1 = wrap_shl(b1, 2);
        }
        u_prev = uk;
        l_prev = lk;
    }
    out0[j] = ssat24_asr3(a0);
    out0[32 - j] = ssat24_asr3(b0);
    out1[j] = ssat24_asr3(a1);
    out1[32 - j] = ssat24_asr3(b1);
}

}  // namespace

void MP3D_subband_window_armv6(const int32_t *upper_own, const int32_t *lower_other,
                               const int32_t *window, int32_t *pcm) {
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        const int32_t *u = upper_own + 12 * j;
        const int32_t *l = lower_other + 12 * (j - 1);
        for (int slot = 0; slot < 4; slot += 2) {
            window_two_slots(u - slot, l - slot, w, pcm + 64 * slot, pcm + 64 * slot + 64, j);
        }
    }
}

void MP3D_subband_window_1_armv6(const int32_t *window, int32_t *pcm, int32_t *synthesis) {
    // Outputs 0 and 16 of every slot (columns as in the portable kernel).
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
    int32_t *out = pcm + 32 * 8;
    for (int j = 1; j < 16; ++j, w += 20) {
        const int32_t *u = synthesis + kSynthesisEvenUpper + 12 * j;
        const int32_t *l = synthesis + kSynthesisOddLower + 12 * (j - 1);
        // Both sums before either store: the history is read once (pcm may
        // alias it as far as the compiler knows).
        const int32_t a = window_sample(u, l, w, w + 6, w + 10, w + 14, 2);
        const int32_t b = window_sample(u, l, w + 1, w + 8, w + 12, w + 15, 2);
        out[j] = a;
        out[32 - j] = b;
    }

    MP3D_synthesis_history_move(synthesis);
}

int32_t MP3D_polyphase_window_armv6(int32_t *synthesis, int32_t *pcm, const int32_t *window) {
    MP3D_subband_window_armv6(synthesis + kSynthesisOddUpper + 3,
                              synthesis + kSynthesisEvenLower + 4, window, pcm + 32);
    MP3D_subband_window_armv6(synthesis + kSynthesisEvenUpper + 4,
                              synthesis + kSynthesisOddLower + 4, window, pcm);
    MP3D_subband_window_1_armv6(window, pcm, synthesis);
    return 0;
}

}  // namespace mp3d

#endif  // MP3D_HAVE_ARMV6_KERNELS
