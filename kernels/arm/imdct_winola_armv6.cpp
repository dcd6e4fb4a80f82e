// ARMv6 variants of the hybrid filterbank runs (see kernels/imdct_winola.cpp
// for the arithmetic). The shared steps (kernels/imdct_winola_steps.h,
// kernels/idct9_steps.h) run on Armv6_Ops: every rounded upper-word product
// is one SMMULR, every product added to or subtracted from a sum one SMMLAR
// or SMMLSR, where the portable code needs a 64-bit product and a carry
// chain for each.
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"
#include "kernels/idct9_steps.h"
#include "kernels/imdct_winola.h"
#include "kernels/imdct_winola_steps.h"
#include "tables/imdct_tables.h"

namespace mp3d {
namespace {

// Both 9-point transforms of a subband in one call, as the portable kernel.
[[gnu::noinline]] void idct9_pair_armv6(int32_t *A, int32_t *B, const int32_t *coeff9) {
    idct9_steps<Armv6_Ops>(A, coeff9);
    idct9_steps<Armv6_Ops>(B, coeff9);
}

}  // namespace

void MP3D_hybrid_long_armv6(int32_t *x, int32_t *out, int count, int alias_count,
                            uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                            const int32_t *cos_long, const int32_t *cs_ca,
                            const int32_t (*window)[36]) {
    const int32_t *wc = window[block_type & 3];
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        imdct36_steps<Armv6_Ops, idct9_pair_armv6>(x, out, cos_long, idctlee_III_coeff,
                                                   sb < alias_count, ovl,
                                                   window[prev_types[sb] & 3], wc, cs_ca);
        prev_types[sb] = block_type;
    }
}

void MP3D_hybrid_short_armv6(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                             uint32_t *prev_types, const int32_t *cos_short,
                             const int32_t (*window)[36]) {
    hybrid_short_steps<Armv6_Ops>(x, out, count, ovl, prev_types, cos_short, window);
}

}  // namespace mp3d
