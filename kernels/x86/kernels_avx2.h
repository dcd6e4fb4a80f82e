// AVX2 variants of the kernel set for x86-64 processors that have it
// (selected at init). Each gives exactly the portable kernel's output.
// Defined in the files compiled with -mavx2 (kernels/x86/*_avx2.cpp).
#ifndef MP3D_KERNELS_X86_KERNELS_AVX2_H
#define MP3D_KERNELS_X86_KERNELS_AVX2_H

#include <cstdint>

namespace mp3d {

// As MP3D_subband_dct9 (kernels/subband_fdct32.h).
void MP3D_subband_dct9_avx2(const int32_t *samples, int half, int32_t *synthesis);

// As MP3D_polyphase_window (kernels/subband_window.h): all kHalfGranuleSamples
// outputs of a half and the history move. window must be window_lf (the kernel relies on
// the small size of its pair-word coefficients).
void MP3D_polyphase_window_avx2(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                                const int32_t *window);

// As MP3D_hybrid_long (kernels/imdct_winola.h): the same output, overlap and
// recorded block types.
void MP3D_hybrid_long_avx2(int32_t *x, int32_t *out, int count, int alias_count,
                           uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                           const int32_t *cos_long, const int32_t *cs_ca,
                           const int32_t (*window)[36]);

}  // namespace mp3d

#endif  // MP3D_KERNELS_X86_KERNELS_AVX2_H
