// AVX2 variants of the polyphase synthesis kernels for x86-64 processors
// that have it (selected at init). Each gives exactly the portable kernel's
// output.
#ifndef MP3D_KERNELS_X86_SYNTHESIS_AVX2_H
#define MP3D_KERNELS_X86_SYNTHESIS_AVX2_H

#include <cstdint>

namespace mp3d {

// As MP3D_polyphase_window (decoder/polyphase_synthesis.h): all 288 outputs
// of a half and the history move. window must be window_lf (the kernel relies
// on the small size of its pair-word coefficients).
int32_t MP3D_polyphase_window_avx2(int32_t *synthesis, int32_t *pcm, const int32_t *window);

// As MP3D_subband_dct9 (decoder/polyphase_synthesis.h).
void MP3D_subband_dct9_avx2(const int32_t *samples, int half, int32_t *synthesis);

}  // namespace mp3d

#endif  // MP3D_KERNELS_X86_SYNTHESIS_AVX2_H
