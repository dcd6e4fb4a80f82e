// Dequantisation of large values (kernels/dequant_cube_root_steps.h) on the
// portable arithmetic. Where the ARMv6 kernels are built,
// dequant_greaterthan63 is the ARMv6 one (kernels/arm/dequant_cube_root_armv6.cpp)
// and this one stays for the comparison tests.
#include "kernels/dequant_cube_root.h"

#include "kernels/dequant_cube_root_steps.h"
#include "kernels/huffman_dequant.h"

namespace mp3d {

int32_t dequant_greaterthan63_portable(int32_t v, int32_t scale, int32_t negq,
                                       const MP3D_Decoder_State *state) {
    return dequant_greaterthan63_steps<Cube_Root_Portable_Ops>(v, scale, negq, state);
}

#if !defined(MP3D_HAVE_ARMV6_KERNELS)
int32_t dequant_greaterthan63(int32_t v, int32_t scale, int32_t negq, MP3D_Decoder_State *state) {
    return dequant_greaterthan63_steps<Cube_Root_Portable_Ops>(v, scale, negq, state);
}
#endif

}  // namespace mp3d
