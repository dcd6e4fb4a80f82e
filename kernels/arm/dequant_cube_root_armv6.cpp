// Dequantisation of large values on ARMv6 (kernels/dequant_cube_root_steps.h):
// the rounded products on SMMULR, the tangent and its corrections on SMLAWT
// straight from the table word's upper half, and the refinement's products
// floor(a b / 2^31) as the upper word of a * 2b on SMMUL (exact: b < 2^30
// there) instead of a 64-bit product and a two-word shift.
#include "kernels/arm/armv6_ops.h"
#include "kernels/dequant_cube_root_steps.h"
#include "kernels/huffman_dequant.h"

namespace mp3d {

namespace {

struct Cube_Root_Armv6_Ops : Armv6_Ops {
    static int32_t mul_shr31_root(int32_t a, int32_t b) { return armv6::smmul(a, b << 1); }
};

}  // namespace

int32_t dequant_greaterthan63(int32_t v, int32_t scale, int32_t negq, MP3D_Decoder_State *state) {
    return dequant_greaterthan63_steps<Cube_Root_Armv6_Ops>(v, scale, negq, state);
}

}  // namespace mp3d
