// Steps of the synthesis window (kernels/subband_window.cpp) written once
// over an arithmetic record (kernels/portable_ops.h): the store of a sum
// into the caller's output (Pcm_Store), one output of one slot (window_sum),
// output 16 (window_sum16), outputs 0 and 16 of a half with the remaining
// outputs of its last slot (subband_window_1), and the driver of a whole
// half (polyphase_window). The portable and the ARMv6 kernel sets
// instantiate them; each brings only its own schedule of the bulk of the
// outputs, four slots at a time (Portable_Window and Armv6_Window).
#ifndef MP3D_KERNELS_SUBBAND_WINDOW_STEPS_H
#define MP3D_KERNELS_SUBBAND_WINDOW_STEPS_H

#include <cstdint>

#include "kernels/fixed_point.h"
#include "kernels/subband_window.h"

namespace mp3d {

// acc plus the 32x16 products of an even-age and an odd-age value with the
// high and the low half of a pair word.
template <class Ops>
inline int32_t window_pair_add(int32_t acc, int32_t even, int32_t odd, int32_t w) {
    return Ops::mulw_low_add(Ops::mulw_high_add(acc, even, w), odd, w);
}
template <class Ops>
inline int32_t window_pair(int32_t even, int32_t odd, int32_t w) {
    return Ops::mulw_low_add(Ops::mulw_high(even, w), odd, w);
}

// Where the window's sums go: sample s of a half (32 slot + output) to
// out[kStride s] (1 for one channel, 2 for interleaved stereo), as a 24-bit
// word or (k16) as the 16-bit word that the 24-bit one shifted right by 8
// would give, both clamped in one step.
template <class Ops, int kStride, bool k16>
struct Pcm_Store {
    static constexpr int stride = kStride;
    static int32_t word(int32_t acc) { return k16 ? Ops::pcm16(acc) : Ops::pcm24(acc); }
    static void put(int32_t *out, int s, int32_t acc) { out[kStride * s] = word(acc); }
};

// One output of one slot, as the window sum before the clamp. even[i], odd[i]: the values of tap i.
// first, last: pair words of taps 0..2 and 5..7 at a distance of step words; mid3, mid4: the
// even-age and odd-age full words of taps 3 and 4. The small taps 0..2 are summed, scaled down by 4
// for the large taps 3 and 4 (rounded 32x32 products in units of 2^-30), scaled back, and the small
// taps 5..7 added.
template <class Ops>
inline int32_t window_sum(const int32_t *even, const int32_t *odd, const int32_t *first,
                          const int32_t *mid3, const int32_t *mid4, const int32_t *last, int step) {
    int32_t acc = window_pair<Ops>(even[0], odd[0], first[0]);
    acc = window_pair_add<Ops>(acc, even[1], odd[1], first[step]);
    acc = window_pair_add<Ops>(acc, even[2], odd[2], first[2 * step]);
    acc = Ops::asr(acc, 2);
    acc = Ops::mulhi_round_add(acc, even[3], mid3[0]);
    acc = Ops::mulhi_round_add(acc, odd[3], mid3[1]);
    acc = Ops::mulhi_round_add(acc, even[4], mid4[0]);
    acc = Ops::mulhi_round_add(acc, odd[4], mid4[1]);
    acc = Ops::shl(acc, 2);
    acc = window_pair_add<Ops>(acc, even[5], odd[5], last[0]);
    acc = window_pair_add<Ops>(acc, even[6], odd[6], last[step]);
    acc = window_pair_add<Ops>(acc, even[7], odd[7], last[2 * step]);
    return acc;
}

// Output 16 (as the window sum before the clamp): odd-age values only (V[16] is zero), at a stride
// of one word. w: window words 310..313, whose halves are the coefficients of taps 0..2 and 4..7 in
// order. Tap 3 does not fit 16 bits; its full-word coefficient is (low half of word 311) * 2^16 +
// 2^14.
template <class Ops>
inline int32_t window_sum16(const int32_t *odd, const int32_t *w) {
    int32_t acc = window_pair<Ops>(odd[0], odd[1], w[0]);
    acc = Ops::mulw_high_add(acc, odd[2], w[1]);
    acc = Ops::asr(acc, 2);
    acc = Ops::mulhi_round_add(acc, odd[3], wrap_add(wrap_shl(w[1], 16), 1 << 14));
    acc = Ops::shl(acc, 2);
    acc = window_pair_add<Ops>(acc, odd[4], odd[5], w[2]);
    acc = window_pair_add<Ops>(acc, odd[6], odd[7], w[3]);
    return acc;
}

// Output 16 as a 24-bit sample.
template <class Ops>
inline int32_t window_sample16(const int32_t *odd, const int32_t *w) {
    return Ops::pcm24(window_sum16<Ops>(odd, w));
}

// Outputs 0 and 16 of slots 0..8 and all 32 outputs of slot 8 of a half,
// then the history move that prepares synthesis for the next half.
template <class Ops, class Store>
inline void subband_window_1(const int32_t *window, int32_t *out, int32_t *synthesis) {
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
        Store::put(out, 32 * k,
                   window_sum<Ops>(synthesis + own_upper + col, synthesis + other_upper + other_col,
                                   window, window + 3, window + 5, window + 7, 1));
        Store::put(out, 32 * k + 16,
                   window_sum16<Ops>(synthesis + other_lower + 12 * 15 + other_col, window + 310));
    }

    // The other outputs of slot 8: even bank column 0, odd bank column 0.
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        const int32_t *u = synthesis + kSynthesisEvenUpper + 12 * j;
        const int32_t *l = synthesis + kSynthesisOddLower + 12 * (j - 1);
        // Both sums before either store: the history is read once (the output
        // may alias it as far as the compiler knows).
        const int32_t a = window_sum<Ops>(u, l, w, w + 6, w + 10, w + 14, 2);
        const int32_t b = window_sum<Ops>(u, l, w + 1, w + 8, w + 12, w + 15, 2);
        Store::put(out, 32 * 8 + j, a);
        Store::put(out, 32 * 8 + 32 - j, b);
    }

    MP3D_synthesis_history_move(synthesis);
}

// The window of half a granule into out (see Pcm_Store): odd slots 1, 3, 5,
// 7 (own bank odd from column 3, odd-age values in the even bank from column
// 4), then even slots 0, 2, 4, 6 (own bank even from column 4, odd-age values
// in the odd bank from column 4), both by the set's four-slot schedule
// Schedule::four_slots<Store>, then outputs 0 and 16, slot 8 and the history
// move.
template <class Ops, class Schedule, class Store>
inline void polyphase_window_to(int32_t *synthesis, int32_t *out, const int32_t *window) {
    Schedule::template four_slots<Store>(synthesis + kSynthesisOddUpper + 3,
                                         synthesis + kSynthesisEvenLower + 4, window,
                                         out + Store::stride * 32);
    Schedule::template four_slots<Store>(synthesis + kSynthesisEvenUpper + 4,
                                         synthesis + kSynthesisOddLower + 4, window, out);
    subband_window_1<Ops, Store>(window, out, synthesis);
}

// The window of half a granule into the caller's output: one instance per
// stride (1 or 2) and word width.
template <class Ops, class Schedule>
inline void polyphase_window(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                             const int32_t *window) {
    if (stride == 2) {
        if (no_shift != 0)
            polyphase_window_to<Ops, Schedule, Pcm_Store<Ops, 2, false>>(synthesis, out, window);
        else
            polyphase_window_to<Ops, Schedule, Pcm_Store<Ops, 2, true>>(synthesis, out, window);
    } else {
        if (no_shift != 0)
            polyphase_window_to<Ops, Schedule, Pcm_Store<Ops, 1, false>>(synthesis, out, window);
        else
            polyphase_window_to<Ops, Schedule, Pcm_Store<Ops, 1, true>>(synthesis, out, window);
    }
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_WINDOW_STEPS_H
