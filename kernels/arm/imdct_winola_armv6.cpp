// ARMv6 variants of the hybrid filterbank runs (see kernels/imdct_winola.cpp
// for the arithmetic). The shared steps (kernels/imdct_winola_steps.h,
// kernels/idct9_steps.h) run on Armv6_Ops: every rounded upper-word product
// is one SMMULR, every product added to or subtracted from a sum one SMMLAR
// or SMMLSR, where the portable code needs a 64-bit product and a carry
// chain for each. Specific to ARMv6 is only the schedule of the fold of the
// long transform's inputs (fold_armv6).
#include "kernels/arm/armv6_ops.h"
#include "kernels/arm/kernels_armv6.h"
#include "kernels/idct9_steps.h"
#include "kernels/imdct_winola.h"
#include "kernels/imdct_winola_steps.h"
#include "tables/imdct_tables.h"

namespace mp3d {
namespace {

// p[I] of the N words at p, loaded where it is written: the compiler moves
// a plain load of a value used once next to its use, right before the
// multiply that then waits for it. The memory operand (the N words, not used
// in the instruction) orders the load after earlier stores to them.
template <int I, int N>
inline int32_t load(const int32_t *p) {
    static_assert(I >= 0 && I < N);
    int32_t r;
    __asm__("ldr %0, [%1, %2]"
            : "=r"(r)
            : "r"(p), "I"(4 * I), "m"(*reinterpret_cast<const int32_t(*)[N]>(p)));
    return r;
}

// Lines K and K + 1 of imdct36_fold_steps on ARMv6 (K = 8: line 8 alone):
// the operands of the four first products are loaded before the first of
// them, and the odd halves' coefficients while they run, so that no
// multiply waits for a load.
template <int K>
inline void fold_pair_armv6(const int32_t *x, const int32_t *c, int32_t *A, int32_t *B) {
    using Ops = Armv6_Ops;
    constexpr bool pair = K < 8;
    constexpr int K1 = pair ? K + 1 : K, K2 = pair ? 16 - K : 17 - K;
    const int32_t x0 = load<K, 18>(x), c0 = load<K, 27>(c);
    const int32_t x1 = load<17 - K, 18>(x), c1 = load<17 - K, 27>(c);
    const int32_t x2 = pair ? load<K1, 18>(x) : 0, c2 = pair ? load<K1, 27>(c) : 0;
    const int32_t x3 = pair ? load<K2, 18>(x) : 0, c3 = pair ? load<K2, 27>(c) : 0;
    const int32_t p0 = Ops::mulhi_round(x0, c0), q0 = Ops::mulhi_round(x1, c1);
    const int32_t p1 = pair ? Ops::mulhi_round(x2, c2) : 0;
    const int32_t q1 = pair ? Ops::mulhi_round(x3, c3) : 0;
    const int32_t e0 = load<18 + K, 27>(c), e1 = pair ? load<18 + K1, 27>(c) : 0;
    const int32_t b0 = Ops::mulhi_round(Ops::sub(p0, q0), e0);
    const int32_t b1 = pair ? Ops::mulhi_round(Ops::sub(p1, q1), e1) : 0;
    A[K] = Ops::add(p0, q0);
    if (pair) A[K1] = Ops::add(p1, q1);
    B[K] = Ops::shl(b0, 1);
    if (pair) B[K1] = Ops::shl(b1, 1);
}

inline void fold_armv6(const int32_t *x, const int32_t *c, int32_t *A, int32_t *B) {
    fold_pair_armv6<0>(x, c, A, B);
    fold_pair_armv6<2>(x, c, A, B);
    fold_pair_armv6<4>(x, c, A, B);
    fold_pair_armv6<6>(x, c, A, B);
    fold_pair_armv6<8>(x, c, A, B);
}

}  // namespace

extern "C" {
// Recombination, window and overlap of one long-block subband
// (imdct36_window_steps; kernels/arm/imdct36_window_armv6.S). AB holds the
// two 9-point DCT results (A, then B); its first 9 words are overwritten.
void mp3d_imdct36_window_armv6(int32_t *AB, int32_t *out, int32_t *ovl, const int32_t *wp,
                               const int32_t *wc);
// The alias butterflies between subband x and the next (alias_reduce_steps).
void mp3d_alias_reduce_armv6(int32_t *x, const int32_t *cs_ca);
// Both 9-point DCTs of the transform, in place (idct9_steps on A and on B).
void mp3d_idct9_pair_armv6(int32_t *A, int32_t *B, const int32_t *coeff9);
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
        fold_armv6(x, cos_long, AB, AB + 9);
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
