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
#include "kernels/portable_ops.h"
#include "kernels/subband_window_steps.h"

namespace mp3d {
namespace {

inline int32_t high_half(int32_t w) {
    return w >> 16;
}
inline int32_t low_half(int32_t w) {
    return static_cast<int16_t>(w);
}

// The portable schedule of four slots: plain C with 64-bit products, where
// multiplying by a sign-extended coefficient costs as much as by any word,
// so the pair words are unpacked once per output pair instead of per
// product. (The ARMv6 schedule multiplies by the halves as stored.)
//
// Outputs j and 32 - j (j = 1..15) of four slots of one parity, two at a
// time. upper_own: row 0 of the upper part of the first slot's own bank at
// its column; lower_other: row 0 of the lower part of the other bank at the
// column of the slot one older. Each following slot is one column lower and
// 64 samples further in out (slot k + 2). window: window_lf.
struct Portable_Window {
    static void four_slots(const int32_t *upper_own, const int32_t *lower_other,
                           const int32_t *window, int32_t *out, Pcm_Store_Any<Portable_Ops> store);
    static void history_move(int32_t *synthesis) { MP3D_synthesis_history_move(synthesis); }
};

void Portable_Window::four_slots(const int32_t *upper_own, const int32_t *lower_other,
                                 const int32_t *window, int32_t *out,
                                 Pcm_Store_Any<Portable_Ops> store) {
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
                store.put(out, 64 * slot + (set == 0 ? j : 32 - j), acc);
            }
        }
    }
}

}  // namespace

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

void MP3D_polyphase_window(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                           const int32_t *window) {
    // One copy of the code for every output form: the portable set is the
    // reference, its stores are a small part of its time.
    polyphase_window_to<Portable_Ops, Portable_Window>(
        synthesis, out, window, Pcm_Store_Any<Portable_Ops>{stride, no_shift});
}

}  // namespace mp3d
