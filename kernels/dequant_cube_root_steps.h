// Dequantisation of large values, |v|^(4/3) * 2^(e/4) in Q28, without a
// division or a table of powers: v^(4/3) = v * v^(1/3), with the cube root
// taken from a 64-entry tangent table refined by two Newton-like steps.
// Written once over an arithmetic record (the shape of Portable_Ops in
// kernels/portable_ops.h plus mul_shr31_root below), so that the portable
// function (kernels/dequant_cube_root.cpp) and the ARMv6 one
// (kernels/arm/dequant_cube_root_armv6.cpp) give the same words.
//
// mul_shr31_root(a, b) = mul_shr31(a, b) for the refinement's products, whose
// factors stay in 2^29..2^30: a record may form it on a single upper-word
// multiply of a and 2b.
#ifndef MP3D_KERNELS_DEQUANT_CUBE_ROOT_STEPS_H
#define MP3D_KERNELS_DEQUANT_CUBE_ROOT_STEPS_H

#include <cstdint>

#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"
#include "kernels/portable_ops.h"
#include "tables/huffman_cube_roots.h"

namespace mp3d {

// Largest value whose cube root the tables cover: the power-of-two table
// ends at 2^(15/3), so v must stay below 2^15. Escape values reach 8206.
inline constexpr int32_t kCubeRootMaxValue = 32767;

struct Cube_Root_Portable_Ops : Portable_Ops {
    static int32_t mul_shr31_root(int32_t a, int32_t b) { return mul_shr31(a, b); }
};

// Cube root of a normalised mantissa N (2^30 <= N < 2^31, m = N / 2^31):
// returns m^(1/3) / 2 in Q31. The table entry holds the tangent at the
// interval's lower end, slope in the upper half, intercept / 2^16 in the
// lower; each correction step uses the residual N - 8 y^3 with the same
// slope. Every estimate y lies in [2^29, 2^30) for every such N.
template <class Ops>
inline int32_t deq_1by3_steps(int32_t n, const MP3D_Decoder_State *state) {
    const uint32_t entry = state->lut_1by3[(n >> 24) - 64];
    const int32_t pair = static_cast<int32_t>(entry);
    int32_t y = Ops::mulw_high_add(static_cast<int32_t>(entry << 16), n, pair);
    for (int step = 0; step < 2; ++step) {
        const int32_t y2 = Ops::mul_shr31_root(y, y);
        const int32_t y3 = Ops::mul_shr31_root(y, y2);
        y = Ops::mulw_high_add(y, Ops::sub(n, Ops::shl(y3, 3)), pair);
    }
    return y;
}

// |v|^(4/3) * 2^(e/4) * 2^28 for 1 <= v <= 32767 (clamped; 0 for v <= 0),
// scale = 2^(-r/4) in Q31, negq = -q. v = m * 2^(32 - s) gives the root as
// the mantissa's cube root times 2^((32 - s) / 3) (table below
// kHufCubeRootEnd); N = v * 2^(s - 1) is v normalised to Q31, so
// p = v^(4/3) * 2^(-r/4) * 2^(s - 8) and the shift by s - 36 + q leaves Q28
// with the factor 2^(-q).
template <class Ops>
inline int32_t dequant_greaterthan63_steps(int32_t v, int32_t scale, int32_t negq,
                                           const MP3D_Decoder_State *state) {
    if (v <= 0) return 0;
    if (v > kCubeRootMaxValue) v = kCubeRootMaxValue;
    const int s = count_leading_zeros(static_cast<uint32_t>(v));
    const int32_t n = v << (s - 1);
    int32_t root;
    if (v < kHufCubeRootFirst)
        root = state->lut_1_63[v - 1];
    else if (v < kHufCubeRootEnd)
        root = huf_cube_roots[v - kHufCubeRootFirst];
    else
        root = mul_shr31(wrap_shl(deq_1by3_steps<Ops>(n, state), 1), state->lut_2pow1by3[32 - s]);
    int32_t p = Ops::mulhi_round(n, scale);
    p = Ops::mulhi_round(p, root);
    // Shifts of 32 or more give 0 either way; clamping keeps any negq defined.
    int64_t t = int64_t{s} - 36 - negq;
    t = t > 40 ? 40 : (t < -40 ? -40 : t);
    return shift_by(p, static_cast<int>(-t));
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_DEQUANT_CUBE_ROOT_STEPS_H
