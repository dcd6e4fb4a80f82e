// Dequantisation of large values, |v|^(4/3) * 2^(e/4) in Q28, without a
// division or a table of powers: v^(4/3) = v * v^(1/3), with the cube root
// taken from a 64-entry tangent table refined by two Newton-like steps.
#include "decoder/decoder_state.h"
#include "kernels/fixed_point.h"
#include "kernels/huffman_dequant.h"
#include "kernels/reservoir_reader.h"
#include "tables/huffman_cube_roots.h"

namespace mp3d {

namespace {

// Largest value whose cube root the tables cover: the power-of-two table
// ends at 2^(15/3), so v must stay below 2^15. Escape values reach 8206.
constexpr int32_t kCubeRootMaxValue = 32767;

// Cube root of a normalised mantissa N (2^30 <= N < 2^31, m = N / 2^31):
// returns m^(1/3) / 2 in Q31. The table entry gives the tangent at the
// interval's lower end; each correction step uses the residual N - 8 y^3
// with the same fixed slope.
int32_t deq_1by3(int32_t n, const MP3D_Decoder_State *state) {
    const uint32_t entry = state->lut_1by3[(n >> 24) - 64];
    const int32_t slope = static_cast<int16_t>(static_cast<uint16_t>(entry >> 16));
    const int32_t intercept = static_cast<int32_t>(entry & 0xFFFFu);
    int32_t y = wrap_add(wrap_shl(intercept, 16), mul_w16(n, slope));
    for (int step = 0; step < 2; ++step) {
        const int32_t y2 = mul_shr31(y, y);
        const int32_t y3 = mul_shr31(y, y2);
        const int32_t d = wrap_sub(n, wrap_shl(y3, 3));
        y = wrap_add(y, mul_w16(d, slope));
    }
    return y;
}

// v^(1/3) in Q26 for 0 <= v <= kCubeRootMaxValue.
int32_t dequant_1by3(int32_t v, const MP3D_Decoder_State *state) {
    if (v == 0) return 0;
    if (v < 64) return state->lut_1_63[v - 1];
    // v = m * 2^(32 - s): the mantissa's cube root times 2^((32 - s) / 3).
    const int s = count_leading_zeros(static_cast<uint32_t>(v));
    const int32_t n = v << (s - 1);
    const int32_t root = deq_1by3(n, state);
    return mul_shr31(wrap_shl(root, 1), state->lut_2pow1by3[32 - s]);
}

}  // namespace

int32_t dequant_greaterthan63(int32_t v, int32_t scale, int32_t negq, MP3D_Decoder_State *state) {
    // The kernels pass 1..8206; anything outside the tables' range is
    // clamped so that no table is indexed out of bounds.
    if (v <= 0) return 0;
    if (v > kCubeRootMaxValue) v = kCubeRootMaxValue;
    const int32_t root = v >= kHufCubeRootFirst && v < kHufCubeRootEnd
                             ? huf_cube_roots[v - kHufCubeRootFirst]
                             : dequant_1by3(v, state);
    return huf_root_magnitude(v, root, scale, negq);
}

}  // namespace mp3d
