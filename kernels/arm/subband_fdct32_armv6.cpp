// ARMv6 variant of the 32-point DCT-II of one time slot and of the DCT stage
// of a half granule: the shared steps (kernels/subband_fdct32_steps.h) on
// Armv6_Ops, every rounded product on one instruction (SMMULR for the upper
// word, SMMLAR and SMMLSR for the rotations that add it to or subtract it
// from a partial sum) instead of a 64-bit multiply and a carry-propagating
// rounding.
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"
#include "kernels/subband_fdct32_steps.h"

namespace mp3d {

void MP3D_subband_fastdct32_armv6(const int32_t *slot, int parity, int32_t *upper_dest,
                                  int32_t *lower_dest, const int32_t *dct8_coeff,
                                  const int32_t *dct32_coeff) {
    if (parity > 0) {
        fastdct32_slot<true, Armv6_Ops>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    } else {
        fastdct32_slot<false, Armv6_Ops>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    }
}

void MP3D_subband_dct9_armv6(const int32_t *samples, int half, int32_t *synthesis) {
    subband_dct9<MP3D_subband_fastdct32_armv6>(samples, half, synthesis);
}

}  // namespace mp3d
