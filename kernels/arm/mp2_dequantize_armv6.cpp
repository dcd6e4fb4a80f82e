// Layer II requantisation for ARMv6: the shared steps of
// decoder/mp2_dequantize_steps.h with both products on 32-bit operands. The
// requantisation keeps the 64-bit product of SMULL and takes bits 31..62 of
// it; the scaling takes the upper word of SMMUL and halves it, which is
// floor(r m / 2^33) as in the portable record.
#include "decoder/mp2_dequantize_steps.h"
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"

namespace mp3d {

namespace {

struct Armv6_Requantiser {
    static int32_t requantise(int32_t t, int32_t c) {
        const auto p = static_cast<uint64_t>(int64_t{t} * c);  // SMULL
        return static_cast<int32_t>(static_cast<uint32_t>(p >> 31));
    }
    static int32_t scale(int32_t r, int32_t m) { return armv6::smmul(r, m) >> 1; }
};

}  // namespace

void MP2D_dequantize_half_armv6(int32_t *samples, const Mp2Plan *plan, int h,
                                MP3D_Decoder_State *state) {
    mp2_steps::dequantize_half<Armv6_Requantiser>(samples, plan, h, state);
}

}  // namespace mp3d
