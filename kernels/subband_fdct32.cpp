// 32-point DCT-II by two even/odd folds down to four 8-point DCTs.
//
// X[j] = sum_{n=0..31} x[n] cos((2n + 1) j pi / 64). The first fold splits x
// into s[n] = x[n] + x[31 - n] (whose 16-point DCT gives the even X) and
// d[n] = (x[n] - x[31 - n]) cos((2n + 1) pi / 64) (whose 16-point DCT Y gives
// the odd X through X[2m + 1] = 2 Y[m] - X[2m - 1]). The second fold splits
// each 16-point DCT the same way, leaving four 8-point DCTs E, F, G, H.
//
// Every product is one rounded upper word of an exact 64-bit product; sums
// wrap. The recombination is exact integer arithmetic, so the order of its
// additions does not change the result.
#include "kernels/subband_fdct32.h"

#include "kernels/subband_fdct32_steps.h"

namespace mp3d {

void MP3D_subband_fastdct32(const int32_t *slot, int parity, int32_t *upper_dest,
                            int32_t *lower_dest, const int32_t *dct8_coeff,
                            const int32_t *dct32_coeff) {
    if (parity > 0) {
        fastdct32_slot<true, Portable_Ops>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    } else {
        fastdct32_slot<false, Portable_Ops>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    }
}

void MP3D_subband_dct9(const int32_t *samples, int half, int32_t *synthesis) {
    subband_dct9<MP3D_subband_fastdct32>(samples, half, synthesis);
}

}  // namespace mp3d
