// The large-value dequantisation on the portable arithmetic, whatever the
// build: dequant_greaterthan63 (kernels/huffman_dequant.h) is the ARMv6 one
// where those kernels are built, and the tests compare the two.
#ifndef MP3D_KERNELS_DEQUANT_CUBE_ROOT_H
#define MP3D_KERNELS_DEQUANT_CUBE_ROOT_H

#include <cstdint>

namespace mp3d {

struct MP3D_Decoder_State;

int32_t dequant_greaterthan63_portable(int32_t v, int32_t scale, int32_t negq,
                                       const MP3D_Decoder_State *state);

}  // namespace mp3d

#endif  // MP3D_KERNELS_DEQUANT_CUBE_ROOT_H
