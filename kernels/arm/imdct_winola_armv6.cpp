// ARMv6 variants of the hybrid filterbank runs (see kernels/imdct_winola.cpp
// for the arithmetic). A long-block subband runs the hand-scheduled steps of
// kernels/arm/imdct_winola_armv6.S (alias butterflies, fold, 9-point DCT
// pair, recombination with window and overlap), and a run of short-block
// subbands the routine beside them (three 12-point IMDCTs, window and
// overlap per subband), each giving the words of its portable step: every
// rounded upper-word product one SMMULR, every product added to a sum one
// SMMLAR or SMMLSR, where the portable code needs a 64-bit product and a
// carry chain for each.
#include <cstddef>

#include "kernels/arm/kernels_armv6.h"
#include "kernels/imdct_winola.h"
#include "tables/imdct_tables.h"

namespace mp3d {

// One long-block subband (kernels/arm/imdct_winola_armv6.S): alias
// butterflies with the next subband when cs_ca is set, fold, both 9-point
// DCTs, recombination, window and overlap. The layout is read by the
// assembly.
struct Imdct36_Armv6_Params {
    const int32_t *cs_ca;
    const int32_t *cos_table;
    const int32_t *coeff9;
    const int32_t *wp;
    const int32_t *wc;
};
static_assert(offsetof(Imdct36_Armv6_Params, cs_ca) == 0 &&
              offsetof(Imdct36_Armv6_Params, cos_table) == 4 &&
              offsetof(Imdct36_Armv6_Params, coeff9) == 8 &&
              offsetof(Imdct36_Armv6_Params, wp) == 12 && offsetof(Imdct36_Armv6_Params, wc) == 16);
extern "C" void mp3d_imdct36_armv6(int32_t *x, int32_t *out, int32_t *ovl,
                                   const Imdct36_Armv6_Params *p);

void MP3D_hybrid_long_armv6(int32_t *x, int32_t *out, int count, int alias_count,
                            uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                            const int32_t *cos_long, const int32_t *cs_ca,
                            const int32_t (*window)[36]) {
    Imdct36_Armv6_Params p = {cs_ca, cos_long, idctlee_III_coeff, nullptr, window[block_type & 3]};
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        p.cs_ca = sb < alias_count ? cs_ca : nullptr;
        p.wp = window[prev_types[sb] & 3];
        mp3d_imdct36_armv6(x, out, ovl, &p);
        prev_types[sb] = block_type;
    }
}

// A run of short-block subbands (kernels/arm/imdct_winola_armv6.S): the three
// 12-point IMDCTs of each subband, window and overlap. The layout is read by
// the assembly.
struct Imdct12_Armv6_Params {
    const int32_t *cos_short;
    const int32_t *window;
    int32_t count;
};
static_assert(offsetof(Imdct12_Armv6_Params, cos_short) == 0 &&
              offsetof(Imdct12_Armv6_Params, window) == 4 &&
              offsetof(Imdct12_Armv6_Params, count) == 8);
extern "C" void mp3d_imdct12_run_armv6(const int32_t *x, int32_t *out, int32_t *ovl,
                                       const Imdct12_Armv6_Params *p);

void MP3D_hybrid_short_armv6(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                             uint32_t *prev_types, const int32_t *cos_short,
                             const int32_t (*window)[36]) {
    if (count <= 0) return;
    const Imdct12_Armv6_Params p = {cos_short, window[2], count};
    mp3d_imdct12_run_armv6(x, out, ovl, &p);
    for (int sb = 0; sb < count; ++sb) prev_types[sb] = 2;
}

}  // namespace mp3d
