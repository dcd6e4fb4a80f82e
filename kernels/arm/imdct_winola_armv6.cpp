// ARMv6 variants of the hybrid filterbank runs (see kernels/imdct_winola.cpp
// for the arithmetic). A long-block subband runs the hand-scheduled steps of
// kernels/arm/imdct_winola_armv6.S (alias butterflies, fold, 9-point DCT
// pair, recombination with window and overlap), each giving the words of
// its portable step. The short-block run is the shared steps
// (kernels/imdct_winola_steps.h) on Armv6_Ops: every rounded upper-word
// product one SMMULR, every product added to or subtracted from a sum one
// SMMLAR or SMMLSR, where the portable code needs a 64-bit product and a
// carry chain for each.
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"
#include "kernels/imdct_winola.h"
#include "kernels/imdct_winola_steps.h"
#include "tables/imdct_tables.h"

namespace mp3d {

extern "C" {
// Recombination, window and overlap of one long-block subband
// (imdct36_window_steps; kernels/arm/imdct_winola_armv6.S). AB holds the
// two 9-point DCT results (A, then B); its first 9 words are overwritten.
void mp3d_imdct36_window_armv6(int32_t *AB, int32_t *out, int32_t *ovl, const int32_t *wp,
                               const int32_t *wc);
// The alias butterflies between subband x and the next (alias_reduce_steps).
void mp3d_alias_reduce_armv6(int32_t *x, const int32_t *cs_ca);
// Both 9-point DCTs of the transform, in place (idct9_steps on A and on B).
void mp3d_idct9_pair_armv6(int32_t *A, int32_t *B, const int32_t *coeff9);
// The fold of the 18 inputs into A = AB[0..8], B = AB[9..17]
// (imdct36_fold_steps).
void mp3d_imdct36_fold_armv6(const int32_t *x, const int32_t *c, int32_t *AB);
}

void MP3D_hybrid_long_armv6(int32_t *x, int32_t *out, int count, int alias_count,
                            uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                            const int32_t *cos_long, const int32_t *cs_ca,
                            const int32_t (*window)[36]) {
    const int32_t *wc = window[block_type & 3];
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        if (sb < alias_count) mp3d_alias_reduce_armv6(x, cs_ca);
        // Every input is read by the fold, before any output is written.
        int32_t AB[18];
        mp3d_imdct36_fold_armv6(x, cos_long, AB);
        mp3d_idct9_pair_armv6(AB, AB + 9, idctlee_III_coeff);
        mp3d_imdct36_window_armv6(AB, out, ovl, window[prev_types[sb] & 3], wc);
        prev_types[sb] = block_type;
    }
}

void MP3D_hybrid_short_armv6(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                             uint32_t *prev_types, const int32_t *cos_short,
                             const int32_t (*window)[36]) {
    hybrid_short_steps<Armv6_Ops>(x, out, count, ovl, prev_types, cos_short, window);
}

}  // namespace mp3d
