// ARMv6 DCT stage of a half granule: the slots in the order and to the
// history columns of subband_dct9 (kernels/subband_fdct32_steps.h), each by
// the hand-scheduled 32-point DCT of subband_fdct32_armv6.S, which keeps the
// 8-point DCTs' values in registers and gives the portable steps' words.
#include "kernels/arm/kernels_armv6.h"
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

namespace mp3d {

void MP3D_subband_dct9_armv6(const int32_t *samples, int half, int32_t *synthesis) {
    static_assert(kSynthesisEvenLower - kSynthesisEvenUpper == 384 &&
                      kSynthesisOddLower - kSynthesisOddUpper == 384,
                  "the assembly stores the lower quadrant 384 words above the upper one");
    const int32_t *slot = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    int32_t *even = synthesis + kSynthesisEvenUpper + 4;
    int32_t *odd = synthesis + kSynthesisOddUpper + 3;
    for (int k = 0;; k += 2, --even, --odd) {
        mp3d_fdct32_slot_armv6(slot + k, p0, even, dct8_II_coeff, dct32_II_coeff);
        if (k == 8) break;
        mp3d_fdct32_slot_armv6(slot + k + 1, p0 ^ 1, odd, dct8_II_coeff, dct32_II_coeff);
    }
}

}  // namespace mp3d
