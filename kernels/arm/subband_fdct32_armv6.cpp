// ARMv6 variant of the 32-point DCT-II of one time slot: the steps of the
// portable kernel (kernels/subband_fdct32_steps.h), with every rounded
// product on one instruction (SMMULR for the upper word,
// SMMLAR and SMMLSR for the rotations that add it to or subtract it from a
// partial sum) instead of a 64-bit multiply and a carry-propagating rounding.
#include "kernels/arm/kernels_armv6.h"

#if defined(MP3D_HAVE_ARMV6_KERNELS)

#include "kernels/arm/armv6_ops.h"
#include "kernels/fixed_point.h"
#include "kernels/subband_fdct32_steps.h"
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

namespace mp3d {
namespace {

// The rounded products of the DCT steps on SMMULR, SMMLAR and SMMLSR.
struct Armv6_Products {
    static int32_t mulhi_round(int32_t a, int32_t c) { return armv6::smmulr(a, c); }
    static int32_t mulhi_round_add(int32_t acc, int32_t a, int32_t c) {
        return armv6::smmlar(acc, a, c);
    }
    static int32_t mulhi_round_sub(int32_t acc, int32_t a, int32_t c) {
        return armv6::smmlsr(acc, a, c);
    }
    static int32_t mul_q31(int32_t a, int32_t c) { return wrap_shl(armv6::smmulr(a, c), 1); }
};

}  // namespace

void MP3D_subband_fastdct32_armv6(const int32_t *slot, int parity, int32_t *upper_dest,
                                  int32_t *lower_dest, const int32_t *dct8_coeff,
                                  const int32_t *dct32_coeff) {
    if (parity > 0) {
        fastdct32_slot<true, Armv6_Products>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    } else {
        fastdct32_slot<false, Armv6_Products>(slot, upper_dest, lower_dest, dct8_coeff,
                                              dct32_coeff);
    }
}

// As MP3D_subband_dct9: slot k of the half goes to the even bank (even k,
// column 4 - k/2) or the odd bank (odd k, column 3 - (k - 1)/2), with the
// odd subbands of odd slots negated.
void MP3D_subband_dct9_armv6(const int32_t *samples, int half, int32_t *synthesis) {
    const int32_t *slot = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    for (int k = 0; k < 9; ++k) {
        const bool even_slot = (k & 1) == 0;
        const int col = even_slot ? 4 - k / 2 : 3 - (k - 1) / 2;
        int32_t *upper = synthesis + (even_slot ? kSynthesisEvenUpper : kSynthesisOddUpper) + col;
        int32_t *lower = synthesis + (even_slot ? kSynthesisEvenLower : kSynthesisOddLower) + col;
        MP3D_subband_fastdct32_armv6(slot + k, p0 ^ (k & 1), upper, lower, dct8_II_coeff,
                                     dct32_II_coeff);
    }
}

}  // namespace mp3d

#endif  // MP3D_HAVE_ARMV6_KERNELS
