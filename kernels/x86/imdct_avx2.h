// AVX2 variant of the long-block hybrid filterbank for x86-64 processors
// that have it (selected at init). It gives exactly the portable kernel's
// output, overlap and recorded block types.
#ifndef MP3D_KERNELS_X86_IMDCT_AVX2_H
#define MP3D_KERNELS_X86_IMDCT_AVX2_H

#include <cstdint>

namespace mp3d {

// As MP3D_hybrid_long (decoder/hybrid.h).
void MP3D_hybrid_long_avx2(int32_t *x, int32_t *out, int count, int alias_count,
                           uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                           const int32_t *cos_long, const int32_t *cs_ca,
                           const int32_t (*window)[36]);

}  // namespace mp3d

#endif  // MP3D_KERNELS_X86_IMDCT_AVX2_H
