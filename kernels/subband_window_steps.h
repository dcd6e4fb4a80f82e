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
// out[stride s] (1 for one channel, 2 for interleaved stereo), as a 24-bit
// word or as the 16-bit word that the 24-bit one shifted right by 8 would
// give, both clamped in one step. Pcm_Store fixes the form at compile time
// (one copy of the code per form, for the sets where the stores are a
// measurable part of the window); Pcm_Store_Any chooses at run time.
template <class Ops, int kStride, bool k16>
struct Pcm_Store {
    static constexpr int stride() { return kStride; }
    static void put(int32_t *out, int s, int32_t acc) {
        out[kStride * s] = k16 ? Ops::pcm16(acc) : Ops::pcm24(acc);
    }
};
template <class Ops>
struct Pcm_Store_Any {
    int step;          // 1 or 2
    int32_t no_shift;  // non-zero: 24-bit words
    int stride() const { return step; }
    void put(int32_t *out, int s, int32_t acc) const {
        out[step * s] = no_shift != 0 ? Ops::pcm24(acc) : Ops::pcm16(acc);
    }
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

// Compiler barrier between the taps of a sum (an empty statement that may
// touch memory): it keeps each tap's loads next to its products. Hoisted to
// the top, the loads of a whole row outnumber the registers of 32-bit ARM
// and go through the stack.
inline void window_tap_barrier() {
    __asm__ volatile("" ::: "memory");
}

// Outputs j and 32 - j of one slot: own-bank values u[k] (even-age) and
// other-bank values l[k] (odd-age), window words of the pair from w. The
// same sums as window_sum with first = w, w + 1 and step 2, tap by tap.
template <class Ops, class Store>
inline void window_one_slot(const int32_t *u, const int32_t *l, const int32_t *w, int32_t *out,
                            int j, Store store) {
    // The window words of the pair are read in order, two at a time: per
    // small tap the pair words of j and 32 - j, per large tap the even-age
    // and odd-age words of j, then of 32 - j.
    int32_t wa, wb;
    Ops::load_pair(w, wa, wb);
    int32_t a = window_pair<Ops>(u[0], l[0], wa);
    int32_t b = window_pair<Ops>(u[0], l[0], wb);
    window_tap_barrier();
    for (int k = 1; k < 8; ++k) {
        const int32_t uk = u[k], lk = l[k];
        if (k < 3 || k > 4) {
            Ops::load_pair(w, wa, wb);
            a = window_pair_add<Ops>(a, uk, lk, wa);
            b = window_pair_add<Ops>(b, uk, lk, wb);
        } else {
            Ops::load_pair(w, wa, wb);
            a = Ops::mulhi_round_add(Ops::mulhi_round_add(a, uk, wa), lk, wb);
            Ops::load_pair(w, wa, wb);
            b = Ops::mulhi_round_add(Ops::mulhi_round_add(b, uk, wa), lk, wb);
        }
        if (k == 2) {
            a = Ops::asr(a, 2);
            b = Ops::asr(b, 2);
        } else if (k == 4) {
            a = Ops::shl(a, 2);
            b = Ops::shl(b, 2);
        }
        window_tap_barrier();
    }
    store.put(out, j, a);
    store.put(out, 32 - j, b);
}

// Outputs 0 and 16 of one slot: own-bank upper row 0 from own, other-bank
// upper row 0 from other, other-bank lower row 15 from other_lower.
template <class Ops, class Store>
inline void window_outputs_0_16(const int32_t *own, const int32_t *other,
                                const int32_t *other_lower, const int32_t *window, int32_t *out,
                                Store store) {
    store.put(out, 0, window_sum<Ops>(own, other, window, window + 3, window + 5, window + 7, 1));
    window_tap_barrier();
    store.put(out, 16, window_sum16<Ops>(other_lower, window + 310));
    window_tap_barrier();
}

// Outputs 0 and 16 of slots 0..8 and all 32 outputs of slot 8 of a half.
template <class Ops, class Store>
inline void subband_window_1(const int32_t *window, int32_t *out, int32_t *synthesis, Store store) {
    // Outputs 0 and 16 of every slot. Even slot k lies in column 4 - k/2 of
    // the even bank, its odd-age taps in the same column of the odd bank;
    // odd slot k in column 3 - (k - 1)/2 of the odd bank, its odd-age taps
    // one column higher in the even bank (the column of slot k - 1).
    const int32_t *even_upper = synthesis + kSynthesisEvenUpper,
                  *odd_upper = synthesis + kSynthesisOddUpper;
    const int32_t *even_row15 = synthesis + kSynthesisEvenLower + 12 * 15;
    const int32_t *odd_row15 = synthesis + kSynthesisOddLower + 12 * 15;
    for (int col = 4; col >= 0; --col) {
        window_outputs_0_16<Ops>(even_upper + col, odd_upper + col, odd_row15 + col, window,
                                 out + store.stride() * 32 * (8 - 2 * col), store);
    }
    for (int col = 3; col >= 0; --col) {
        window_outputs_0_16<Ops>(odd_upper + col, even_upper + col + 1, even_row15 + col + 1,
                                 window, out + store.stride() * 32 * (7 - 2 * col), store);
    }

    // The other outputs of slot 8: even bank column 0, odd bank column 0.
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        window_one_slot<Ops>(synthesis + kSynthesisEvenUpper + 12 * j,
                             synthesis + kSynthesisOddLower + 12 * (j - 1), w,
                             out + store.stride() * 32 * 8, j, store);
    }
}

// The window of half a granule into out (see Pcm_Store): odd slots 1, 3, 5,
// 7 (own bank odd from column 3, odd-age values in the even bank from column
// 4), then even slots 0, 2, 4, 6 (own bank even from column 4, odd-age values
// in the odd bank from column 4), both by the set's four-slot schedule
// Schedule::four_slots, then outputs 0 and 16, slot 8 and the set's history
// move (Schedule::history_move, as MP3D_synthesis_history_move).
template <class Ops, class Schedule, class Store>
inline void polyphase_window_to(int32_t *synthesis, int32_t *out, const int32_t *window,
                                Store store) {
    Schedule::four_slots(synthesis + kSynthesisOddUpper + 3, synthesis + kSynthesisEvenLower + 4,
                         window, out + store.stride() * 32, store);
    Schedule::four_slots(synthesis + kSynthesisEvenUpper + 4, synthesis + kSynthesisOddLower + 4,
                         window, out, store);
    subband_window_1<Ops>(window, out, synthesis, store);
    Schedule::history_move(synthesis);
}

// The window of half a granule into the caller's output, one copy of the
// code per output form (stride 1 or 2, 16-bit or 24-bit words).
template <class Ops, class Schedule>
inline void polyphase_window(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                             const int32_t *window) {
    if (stride == 2) {
        if (no_shift != 0)
            polyphase_window_to<Ops, Schedule>(synthesis, out, window, Pcm_Store<Ops, 2, false>{});
        else
            polyphase_window_to<Ops, Schedule>(synthesis, out, window, Pcm_Store<Ops, 2, true>{});
    } else {
        if (no_shift != 0)
            polyphase_window_to<Ops, Schedule>(synthesis, out, window, Pcm_Store<Ops, 1, false>{});
        else
            polyphase_window_to<Ops, Schedule>(synthesis, out, window, Pcm_Store<Ops, 1, true>{});
    }
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_WINDOW_STEPS_H
