// ARMv6 DCT stage of a half granule: the nine slots in the order and to the
// history columns of subband_dct9 (kernels/subband_fdct32_steps.h) by the
// hand-scheduled assembly of subband_fdct32_armv6.S, which keeps the 8-point
// DCTs' values in registers and gives the portable steps' words.
#include "kernels/arm/kernels_armv6.h"
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

namespace mp3d {

void MP3D_subband_dct9_armv6(const int32_t *samples, int half, int32_t *synthesis) {
    static_assert(kSynthesisEvenUpper == 192 && kSynthesisOddUpper == 0 &&
                      kSynthesisEvenLower - kSynthesisEvenUpper == 384 &&
                      kSynthesisOddLower - kSynthesisOddUpper == 384,
                  "the assembly's history layout");
    mp3d_fdct32_half_armv6(samples + (half != 0 ? 9 : 0), half & 1, synthesis, dct8_II_coeff,
                           dct32_II_coeff);
}

}  // namespace mp3d
