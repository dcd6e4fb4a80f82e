// Vector variants of the synthesis window kernel, built when the build selects
// them (MP3D_SIMD). Each gives exactly the portable kernel's output.
#ifndef MP3D_KERNELS_SIMD_SUBBAND_WINDOW_SIMD_H
#define MP3D_KERNELS_SIMD_SUBBAND_WINDOW_SIMD_H

#include <cstdint>

namespace mp3d {

// Same contract as MP3D_subband_window (four slots of one parity), with AVX2:
// the four slots are the four lanes of each product.
void MP3D_subband_window_avx2(const int32_t *upper_own, const int32_t *lower_other,
                              const int32_t *window, int32_t *pcm);

}  // namespace mp3d

#endif
