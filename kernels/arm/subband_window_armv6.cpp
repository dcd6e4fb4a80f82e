// ARMv6 variant of the synthesis window (see kernels/subband_window.cpp for
// the arithmetic). The shared steps (kernels/subband_window_steps.h) run on
// Armv6_Ops: the small taps on SMULW/SMLAW with the pair words as stored, the
// T form on the high half (even-age coefficient) and the B form on the low
// half (odd-age coefficient), so no coefficient is unpacked; the middle taps
// on SMMLAR with the full words; SSAT with ASR #3 for the clamped sample.
//
// Specific to ARMv6 is only the schedule of the bulk of the outputs, four
// slots at a time: two slots per pass, so that every history value and
// window word loaded serves four products, which the 14 usable registers
// hold without spilling.
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"
#include "kernels/subband_window.h"
#include "kernels/subband_window_steps.h"

namespace mp3d {
namespace {

// Outputs j (sums a) and 32 - j (sums b) of two slots of one parity: slot 0
// reads its taps at u[k], l[k], slot 1 one column lower, so slot 1's tap k
// is slot 0's tap k - 1 and every history value and window word is loaded
// once for the four outputs.
template <class Store>
inline void window_two_slots(const int32_t *u, const int32_t *l, const int32_t *w, int32_t *out0,
                             int32_t *out1, int j, Store store) {
    using Ops = Armv6_Ops;
    // The window words of the row are read in order with LDRD (the window
    // is 8-byte aligned, every pair at an even index): per small tap the
    // pair words of j and 32 - j, per large tap the even-age and odd-age
    // words of j, then of 32 - j.
    int32_t wa, wb;
    Ops::load_pair(w, wa, wb);
    int32_t u_prev = u[-1], l_prev = l[-1];
    int32_t a0 = window_pair<Ops>(u[0], l[0], wa), a1 = window_pair<Ops>(u_prev, l_prev, wa);
    int32_t b0 = window_pair<Ops>(u[0], l[0], wb), b1 = window_pair<Ops>(u_prev, l_prev, wb);
    u_prev = u[0];
    l_prev = l[0];
    window_tap_barrier();
    for (int k = 1; k < 8; ++k) {
        const int32_t uk = u[k], lk = l[k];
        if (k < 3 || k > 4) {
            Ops::load_pair(w, wa, wb);
            a0 = window_pair_add<Ops>(a0, uk, lk, wa);
            a1 = window_pair_add<Ops>(a1, u_prev, l_prev, wa);
            b0 = window_pair_add<Ops>(b0, uk, lk, wb);
            b1 = window_pair_add<Ops>(b1, u_prev, l_prev, wb);
        } else {
            Ops::load_pair(w, wa, wb);
            a0 = Ops::mulhi_round_add(Ops::mulhi_round_add(a0, uk, wa), lk, wb);
            a1 = Ops::mulhi_round_add(Ops::mulhi_round_add(a1, u_prev, wa), l_prev, wb);
            Ops::load_pair(w, wa, wb);
            b0 = Ops::mulhi_round_add(Ops::mulhi_round_add(b0, uk, wa), lk, wb);
            b1 = Ops::mulhi_round_add(Ops::mulhi_round_add(b1, u_prev, wa), l_prev, wb);
        }
        if (k == 2) {
            a0 = Ops::asr(a0, 2);
            a1 = Ops::asr(a1, 2);
            b0 = Ops::asr(b0, 2);
            b1 = Ops::asr(b1, 2);
        } else if (k == 4) {
            a0 = Ops::shl(a0, 2);
            a1 = Ops::shl(a1, 2);
            b0 = Ops::shl(b0, 2);
            b1 = Ops::shl(b1, 2);
        }
        u_prev = uk;
        l_prev = lk;
        window_tap_barrier();
    }
    store.put(out0, j, a0);
    store.put(out0, 32 - j, b0);
    store.put(out1, j, a1);
    store.put(out1, 32 - j, b1);
}

// Outputs j and 32 - j (j = 1..15) of four slots of one parity (as the
// portable schedule in kernels/subband_window.cpp), two slots per pass.
// History move of one row of both banks (as MP3D_synthesis_history_move):
// odd columns 4..11 take even columns 0..7, even columns 5..11 odd columns
// 0..6. Multiple loads and stores move two words a cycle; odd columns 4..6
// are read first, before the even columns overwrite them.
inline void move_row(int32_t *odd, int32_t *even) {
    int32_t *t, *u;
    __asm__ volatile(
        "add %[t], %[odd], #16\n\t"
        "ldm %[even], {r2, r3, r4, r5}\n\t"  // even 0..3
        "ldm %[t], {r6, r8, r12}\n\t"        // odd 4..6
        "add %[u], %[even], #16\n\t"
        "stm %[t]!, {r2, r3, r4, r5}\n\t"  // odd 4..7
        "ldm %[u], {r2, r3, r4, r5}\n\t"   // even 4..7
        "add %[u], %[even], #20\n\t"
        "stm %[t], {r2, r3, r4, r5}\n\t"           // odd 8..11
        "ldm %[odd], {r2, r3, r4, r5}\n\t"         // odd 0..3
        "stm %[u], {r2, r3, r4, r5, r6, r8, r12}"  // even 5..11
        : [t] "=&r"(t), [u] "=&r"(u)
        : [odd] "r"(odd), [even] "r"(even)
        : "r2", "r3", "r4", "r5", "r6", "r8", "r12", "memory");
}

struct Armv6_Window {
    [[gnu::noinline]] static void history_move(int32_t *synthesis) {
        for (int part = 0; part < 2; ++part) {
            int32_t *odd = synthesis + (part ? kSynthesisOddLower : kSynthesisOddUpper);
            int32_t *even = synthesis + (part ? kSynthesisEvenLower : kSynthesisEvenUpper);
#pragma GCC unroll 4
            for (int row = 0; row < 16; ++row, odd += 12, even += 12) move_row(odd, even);
        }
    }

    // Not inlined: the two calls of a half share one copy per output form.
    template <class Store>
    [[gnu::noinline]] static void four_slots(const int32_t *upper_own, const int32_t *lower_other,
                                             const int32_t *window, int32_t *out, Store store) {
        const int32_t *w = window + 10;
        for (int j = 1; j < 16; ++j, w += 20) {
            const int32_t *u = upper_own + 12 * j;
            const int32_t *l = lower_other + 12 * (j - 1);
#pragma GCC unroll 2
            for (int slot = 0; slot < 4; slot += 2) {
                window_two_slots(u - slot, l - slot, w, out + store.stride() * 64 * slot,
                                 out + store.stride() * (64 * slot + 64), j, store);
            }
        }
    }
};

// Output 0 of two slots of one bank in neighbouring columns (as window_sum):
// own and other point at row 0 of the upper parts at the newer slot's
// column, so the older slot's tap k is the newer one's tap k + 1, and every
// history value and window word is loaded once for both sums. out_new,
// out_old: the slots' first samples.
inline void outputs_0(const int32_t *own, const int32_t *other, const int32_t *w, int32_t *out_new,
                      int32_t *out_old, Pcm_Store_Any<Armv6_Ops> store) {
    using Ops = Armv6_Ops;
    int32_t u = own[0], l = other[0];
    int32_t wa = w[0];
    int32_t a_new = window_pair<Ops>(u, l, wa);
    int32_t u_next = own[1], l_next = other[1];
    int32_t a_old = window_pair<Ops>(u_next, l_next, wa);
    window_tap_barrier();
    for (int k = 1; k < 8; ++k) {
        u = u_next;
        l = l_next;
        u_next = own[k + 1];
        l_next = other[k + 1];
        if (k == 3 || k == 4) {
            const int32_t we = w[2 * k - 3], wo = w[2 * k - 2];
            a_new = Ops::mulhi_round_add(Ops::mulhi_round_add(a_new, u, we), l, wo);
            a_old = Ops::mulhi_round_add(Ops::mulhi_round_add(a_old, u_next, we), l_next, wo);
        } else {
            wa = w[k < 3 ? k : k + 2];
            a_new = window_pair_add<Ops>(a_new, u, l, wa);
            a_old = window_pair_add<Ops>(a_old, u_next, l_next, wa);
        }
        if (k == 2) {
            a_new = Ops::asr(a_new, 2);
            a_old = Ops::asr(a_old, 2);
        } else if (k == 4) {
            a_new = Ops::shl(a_new, 2);
            a_old = Ops::shl(a_old, 2);
        }
        window_tap_barrier();
    }
    store.put(out_new, 0, a_new);
    store.put(out_old, 0, a_old);
}

// Output 16 of the same two slots (as window_sum16): odd-age values only, row
// 15 of the other bank's lower part from the newer slot's column.
inline void outputs_16(const int32_t *odd, const int32_t *w, int32_t *out_new, int32_t *out_old,
                       Pcm_Store_Any<Armv6_Ops> store) {
    using Ops = Armv6_Ops;
    int32_t v0 = odd[0], v1 = odd[1], v2 = odd[2];
    int32_t wa = w[0], wb = w[1];
    int32_t a_new = window_pair<Ops>(v0, v1, wa);
    int32_t a_old = window_pair<Ops>(v1, v2, wa);
    v0 = odd[3];
    a_new = Ops::asr(Ops::mulw_high_add(a_new, v2, wb), 2);
    a_old = Ops::asr(Ops::mulw_high_add(a_old, v0, wb), 2);
    window_tap_barrier();
    // Tap 3's full-word coefficient from the low half of word 311.
    const int32_t w3 = wrap_add(wrap_shl(wb, 16), 1 << 14);
    v1 = odd[4];
    a_new = Ops::shl(Ops::mulhi_round_add(a_new, v0, w3), 2);
    a_old = Ops::shl(Ops::mulhi_round_add(a_old, v1, w3), 2);
    window_tap_barrier();
    wa = w[2];
    v2 = odd[5];
    v0 = odd[6];
    a_new = window_pair_add<Ops>(a_new, v1, v2, wa);
    a_old = window_pair_add<Ops>(a_old, v2, v0, wa);
    window_tap_barrier();
    wb = w[3];
    v1 = odd[7];
    v2 = odd[8];
    a_new = window_pair_add<Ops>(a_new, v0, v1, wb);
    a_old = window_pair_add<Ops>(a_old, v1, v2, wb);
    store.put(out_new, 16, a_new);
    store.put(out_old, 16, a_old);
}

// Outputs 0 and 16 of slots 0..8 and the other outputs of slot 8, as
// subband_window_1, with the output form chosen at run time: this code
// makes under a fifth of the samples, so one copy serves all four forms.
// Slot k of the even bank lies in column 4 - k/2 (its odd-age values in the
// same column of the odd bank), slot k of the odd bank in column
// 3 - (k - 1)/2 (its odd-age values one column higher in the even bank). The
// pairs (1, 0) of the even bank overlap (4, 3), (2, 1): slot 6 is made twice.
[[gnu::noinline]] void window_edges(const int32_t *window, int32_t *out, int32_t *synthesis,
                                    Pcm_Store_Any<Armv6_Ops> store) {
    const int32_t *even_upper = synthesis + kSynthesisEvenUpper,
                  *odd_upper = synthesis + kSynthesisOddUpper;
    const int32_t *even_row15 = synthesis + kSynthesisEvenLower + 12 * 15;
    const int32_t *odd_row15 = synthesis + kSynthesisOddLower + 12 * 15;
    const int slot = 32 * store.stride();
    // (column of the newer slot, its slot number) of each pair.
    static constexpr int kEvenPairs[3][2] = {{3, 2}, {1, 6}, {0, 8}};
    static constexpr int kOddPairs[2][2] = {{2, 3}, {0, 7}};
    for (const auto &p : kEvenPairs) {
        int32_t *o = out + slot * p[1];
        outputs_0(even_upper + p[0], odd_upper + p[0], window, o, o - 2 * slot, store);
        outputs_16(odd_row15 + p[0], window + 310, o, o - 2 * slot, store);
    }
    for (const auto &p : kOddPairs) {
        int32_t *o = out + slot * p[1];
        outputs_0(odd_upper + p[0], even_upper + p[0] + 1, window, o, o - 2 * slot, store);
        outputs_16(even_row15 + p[0] + 1, window + 310, o, o - 2 * slot, store);
    }

    // The other outputs of slot 8: even bank column 0, odd bank column 0.
    const int32_t *w = window + 10;
    for (int j = 1; j < 16; ++j, w += 20) {
        window_one_slot<Armv6_Ops>(synthesis + kSynthesisEvenUpper + 12 * j,
                                   synthesis + kSynthesisOddLower + 12 * (j - 1), w, out + slot * 8,
                                   j, store);
    }
}

template <class Store>
inline void window_bulk(int32_t *synthesis, int32_t *out, const int32_t *window, Store store) {
    Armv6_Window::four_slots(synthesis + kSynthesisOddUpper + 3,
                             synthesis + kSynthesisEvenLower + 4, window, out + store.stride() * 32,
                             store);
    Armv6_Window::four_slots(synthesis + kSynthesisEvenUpper + 4,
                             synthesis + kSynthesisOddLower + 4, window, out, store);
}

}  // namespace

// The window of half a granule (as polyphase_window in the steps): the bulk
// of the outputs by one copy of four_slots per output form, the edges and
// the history move by one copy for all forms.
void MP3D_polyphase_window_armv6(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                                 const int32_t *window) {
    if (stride == 2) {
        if (no_shift != 0)
            window_bulk(synthesis, out, window, Pcm_Store<Armv6_Ops, 2, false>{});
        else
            window_bulk(synthesis, out, window, Pcm_Store<Armv6_Ops, 2, true>{});
    } else {
        if (no_shift != 0)
            window_bulk(synthesis, out, window, Pcm_Store<Armv6_Ops, 1, false>{});
        else
            window_bulk(synthesis, out, window, Pcm_Store<Armv6_Ops, 1, true>{});
    }
    window_edges(window, out, synthesis, Pcm_Store_Any<Armv6_Ops>{stride, no_shift});
    Armv6_Window::history_move(synthesis);
}

}  // namespace mp3d
