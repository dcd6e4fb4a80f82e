// 32-point DCT-II of one time slot of subband samples (matrixing stage of the
// polyphase synthesis).
#ifndef MP3D_KERNELS_SUBBAND_FDCT32_H
#define MP3D_KERNELS_SUBBAND_FDCT32_H

#include <cstdint>

namespace mp3d {

// slot: subband 0 of the time slot; subband sb is at slot[18 * sb].
// parity > 0 negates the odd subbands first (frequency inversion).
// X[j] = sum_n x[n] cos((2n + 1) j pi / 64) is stored as X[16 + r] at
// upper_dest[12 * r] and -X[15 - r] at lower_dest[12 * r], r = 0..15; nothing
// else is written. dct8_coeff, dct32_coeff: dct8_II_coeff, dct32_II_coeff.
void MP3D_subband_fastdct32(const int32_t *slot, int parity, int32_t *upper_dest,
                            int32_t *lower_dest, const int32_t *dct8_coeff,
                            const int32_t *dct32_coeff);

// The DCT stage of half a granule: the nine slots of half 0 or 1 of samples
// (kSpectralWords subband-major samples, Q26) into synthesis, the channel's
// kSynthesisWords-word history.
void MP3D_subband_dct9(const int32_t *samples, int half, int32_t *synthesis);

}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_FDCT32_H
