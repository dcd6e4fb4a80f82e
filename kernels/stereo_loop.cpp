// Per-line stereo kernel. Middle/side lines become (L + R, L - R) without the
// 1/sqrt(2), which the inverse transform applies later; intensity lines are
// both derived from the left value with a Q31 factor pair. All sums wrap.
#include "kernels/stereo_loop.h"

#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"

namespace mp3d {

namespace {

inline void mid_side(int32_t *left, int32_t *right, int32_t first, int32_t last) {
    for (int32_t i = first; i <= last; ++i) {
        const int32_t l = left[i];
        const int32_t r = right[i];
        left[i] = wrap_add(l, r);
        right[i] = wrap_sub(l, r);
    }
}

// L' = (L * kl) << shift, R' = (L * kr) << shift, both from the old left.
inline void intensity(int32_t *left, int32_t *right, int32_t first, int32_t last, int32_t kl,
                      int32_t kr, int shift) {
    for (int32_t i = first; i <= last; ++i) {
        const int32_t l = left[i];
        left[i] = wrap_shl(mulhi_round(l, kl), shift);
        right[i] = wrap_shl(mulhi_round(l, kr), shift);
    }
}

}  // namespace

void stereo_loop(int32_t *left, int32_t *right, const int32_t *segments, int ms, int is,
                 int32_t count, const int32_t *ratio_table) {
    if (ms && !is) {
        // Whole granule, four lines per step. Lines above the last non-zero
        // line of both channels stay zero; finding them costs less than
        // transforming them.
        int end = kSpectralWords;
        while (end > 0 && (left[end - 1] | left[end - 2] | left[end - 3] | left[end - 4] |
                           right[end - 1] | right[end - 2] | right[end - 3] | right[end - 4]) == 0)
            end -= 4;
        for (int i = 0; i < end; i += 4) {
            const int32_t l0 = left[i], l1 = left[i + 1], l2 = left[i + 2], l3 = left[i + 3];
            const int32_t r0 = right[i], r1 = right[i + 1], r2 = right[i + 2], r3 = right[i + 3];
            left[i] = wrap_add(l0, r0);
            left[i + 1] = wrap_add(l1, r1);
            left[i + 2] = wrap_add(l2, r2);
            left[i + 3] = wrap_add(l3, r3);
            right[i] = wrap_sub(l0, r0);
            right[i + 1] = wrap_sub(l1, r1);
            right[i + 2] = wrap_sub(l2, r2);
            right[i + 3] = wrap_sub(l3, r3);
        }
        return;
    }
    if (!is) return;

    // With middle/side on, the factors are the root2 ones and the x4 gives the
    // net factor k after the inverse transform's 1/sqrt(2); without it, x2
    // turns the rounded upper word back into Q31 scale.
    const int shift = ms ? 2 : 1;
    for (int32_t n = 0; n < count; ++n) {
        const int32_t first = segments[3 * n];
        const int32_t last = segments[3 * n + 1];
        const int32_t pos = segments[3 * n + 2];
        if (last < first) continue;
        if (pos == 31) {
            if (ms) mid_side(left, right, first, last);
            continue;
        }
        intensity(left, right, first, last, ratio_table[2 * pos], ratio_table[2 * pos + 1], shift);
    }
}

}  // namespace mp3d
