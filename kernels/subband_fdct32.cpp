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
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

namespace mp3d {

void MP3D_subband_fastdct32(const int32_t *slot, int parity, int32_t *upper_dest,
                            int32_t *lower_dest, const int32_t *dct8_coeff,
                            const int32_t *dct32_coeff) {
    if (parity > 0) {
        fastdct32_slot<true>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    } else {
        fastdct32_slot<false>(slot, upper_dest, lower_dest, dct8_coeff, dct32_coeff);
    }
}

// Slot k of the half goes to the even bank (even k, column 4 - k/2) or the
// odd bank (odd k, column 3 - (k - 1)/2): the newest slot of each bank ends
// in column 0. The parity of slot t = 9 half + k is the parity of t: the
// inverting form negates the odd subbands of odd slots (Layer III frequency
// inversion).
void MP3D_subband_dct9(const int32_t *samples, int half, int32_t *synthesis) {
    const int32_t *slot = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    const int p1 = p0 ^ 1;
    const int32_t *c8 = dct8_II_coeff;
    const int32_t *c32 = dct32_II_coeff;
    int32_t *even_upper = synthesis + kSynthesisEvenUpper;
    int32_t *even_lower = synthesis + kSynthesisEvenLower;
    int32_t *odd_upper = synthesis + kSynthesisOddUpper;
    int32_t *odd_lower = synthesis + kSynthesisOddLower;

    MP3D_subband_fastdct32(slot + 0, p0, even_upper + 4, even_lower + 4, c8, c32);
    MP3D_subband_fastdct32(slot + 1, p1, odd_upper + 3, odd_lower + 3, c8, c32);
    MP3D_subband_fastdct32(slot + 2, p0, even_upper + 3, even_lower + 3, c8, c32);
    MP3D_subband_fastdct32(slot + 3, p1, odd_upper + 2, odd_lower + 2, c8, c32);
    MP3D_subband_fastdct32(slot + 4, p0, even_upper + 2, even_lower + 2, c8, c32);
    MP3D_subband_fastdct32(slot + 5, p1, odd_upper + 1, odd_lower + 1, c8, c32);
    MP3D_subband_fastdct32(slot + 6, p0, even_upper + 1, even_lower + 1, c8, c32);
    MP3D_subband_fastdct32(slot + 7, p1, odd_upper + 0, odd_lower + 0, c8, c32);
    MP3D_subband_fastdct32(slot + 8, p0, even_upper + 0, even_lower + 0, c8, c32);
}

}  // namespace mp3d
