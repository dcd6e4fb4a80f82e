// Steps of the 32-point DCT of one slot (kernels/subband_fdct32.cpp): the
// loads with the frequency inversion, the two folds of a group, the 8-point
// DCT and the recombination with the stores, and the DCT stage of a half
// granule over them. Written over an arithmetic record
// (kernels/portable_ops.h) and shared by every kernel set: the portable and
// the ARMv6 sets run them slot by slot; the AVX2 set runs the 8-point DCT on
// eight slots at once and the ninth slot of a half with the scalar steps,
// interleaved with its eight-slot pass. Internal linkage: every including
// file gets its own copy, compiled for its own instruction set.
#ifndef MP3D_KERNELS_SUBBAND_FDCT32_STEPS_H
#define MP3D_KERNELS_SUBBAND_FDCT32_STEPS_H

#include <cstdint>

#include "kernels/fixed_point.h"
#include "kernels/portable_ops.h"
#include "kernels/subband_window.h"
#include "tables/synthesis_tables.h"

namespace mp3d {
namespace {  // NOLINT(google-build-namespaces)

// Compiler barrier between two steps (an empty statement that may touch
// memory). Without it the compiler hoists the coefficient and input loads of
// later steps to the top, runs out of registers and spills them: the barrier
// keeps each step's values live only within the step (fewer instructions,
// most of all on 32-bit ARM). The vector kernel, whose scalar slot runs
// interleaved with vector steps, has no such problem and does without.
inline void stage_barrier() {
    __asm__ volatile("" ::: "memory");
}

// Sample n of the slot, with the odd subbands negated for the inverting form.
// Negating ahead of the even-parity transform gives exactly the transform of
// the negated input.
template <bool kInvert>
inline int32_t load(const int32_t *slot, int n) {
    const int32_t v = slot[18 * n];
    return (kInvert && (n & 1)) ? wrap_neg(v) : v;
}

// Both folds for group g: first-fold indices 2g, 2g + 1, 15 - 2g, 14 - 2g and
// the second-fold outputs at 2g and 2g + 1 of E, F, G, H (scratch[8 * block + n]).
template <bool kInvert, class Ops>
inline void fold_group(const int32_t *slot, const int32_t *k, int g, int32_t *scratch) {
    const int n0 = 2 * g, n1 = 2 * g + 1, n2 = 15 - 2 * g, n3 = 14 - 2 * g;
    const int32_t a0 = load<kInvert>(slot, n0), b0 = load<kInvert>(slot, 31 - n0);
    const int32_t a1 = load<kInvert>(slot, n1), b1 = load<kInvert>(slot, 31 - n1);
    const int32_t a2 = load<kInvert>(slot, n2), b2 = load<kInvert>(slot, 31 - n2);
    const int32_t a3 = load<kInvert>(slot, n3), b3 = load<kInvert>(slot, 31 - n3);

    const int32_t s0 = Ops::add(a0, b0), d0 = mul_q31<Ops>(Ops::sub(a0, b0), k[0]);
    const int32_t s1 = Ops::add(a1, b1), d1 = mul_q31<Ops>(Ops::sub(a1, b1), k[1]);
    const int32_t s2 = Ops::add(a2, b2), d2 = mul_q31<Ops>(Ops::sub(a2, b2), k[2]);
    const int32_t s3 = Ops::add(a3, b3), d3 = mul_q31<Ops>(Ops::sub(a3, b3), k[3]);

    // n2 = 15 - n0 and n3 = 15 - n1: the second fold pairs (s0, s2), (s1, s3).
    int32_t *E = scratch, *F = scratch + 8, *G = scratch + 16, *H = scratch + 24;
    E[n0] = Ops::add(s0, s2);
    F[n0] = mul_q31<Ops>(Ops::sub(s0, s2), k[4]);
    G[n0] = Ops::add(d0, d2);
    H[n0] = mul_q31<Ops>(Ops::sub(d0, d2), k[4]);
    E[n1] = Ops::add(s1, s3);
    F[n1] = mul_q31<Ops>(Ops::sub(s1, s3), k[5]);
    G[n1] = Ops::add(d1, d3);
    H[n1] = mul_q31<Ops>(Ops::sub(d1, d3), k[5]);
}

// 8-point DCT-II, P8[k] = sum_n P[n] cos((2n + 1) k pi / 16), by the flow graph
// with 3-multiplication rotations on halved constants. For kDoubled (blocks
// whose outputs the recombination doubles) out[0] = P8[0] and
// out[k] = 2 P8[k] for k = 1..7, where 2 P8[1] and 2 P8[7] round the two
// sums separately; otherwise out[k] = P8[k].
template <bool kDoubled, class Ops>
inline void dct8(const typename Ops::Lane *P, const int32_t *c, typename Ops::Lane *out) {
    using T = typename Ops::Lane;
    const T p0 = Ops::add(P[0], P[7]), q0 = Ops::sub(P[0], P[7]);
    const T p1 = Ops::add(P[1], P[6]), q1 = Ops::sub(P[1], P[6]);
    const T p2 = Ops::add(P[2], P[5]), q2 = Ops::sub(P[2], P[5]);
    const T p3 = Ops::add(P[3], P[4]), q3 = Ops::sub(P[3], P[4]);

    // Even half.
    const T u = Ops::add(p0, p3), v = Ops::sub(p0, p3);
    const T w = Ops::add(p1, p2), z = Ops::sub(p1, p2);
    const T e0 = Ops::add(u, w);
    const T e4 = mul_q31<Ops>(Ops::sub(u, w), c[9]);
    const T r = Ops::mulhi_round(Ops::add(v, z), c[6]);
    const T e2 = Ops::shl(Ops::mulhi_round_add(r, v, c[7]), 2);
    const T e6 = Ops::shl(Ops::mulhi_round_sub(r, z, c[8]), 2);

    // Odd half.
    const T r1 = Ops::mulhi_round(Ops::add(q3, q0), c[2]);
    const T o0 = Ops::shl(Ops::mulhi_round_add(r1, q0, c[0]), 2);
    const T o1 = Ops::shl(Ops::mulhi_round_sub(r1, q3, c[1]), 2);
    const T r2 = Ops::mulhi_round(Ops::add(q2, q1), c[3]);
    const T o2 = Ops::shl(Ops::mulhi_round_add(r2, q1, c[4]), 2);
    const T o3 = Ops::shl(Ops::mulhi_round_sub(r2, q2, c[5]), 2);
    const T o3p = Ops::sub(o1, o2);  // P8[3]
    const T o5p = Ops::sub(o0, o3);  // P8[5]
    const T sum03 = Ops::add(o0, o3), sum12 = Ops::add(o1, o2);

    out[0] = e0;
    if constexpr (kDoubled) {
        const T a = Ops::mulhi_round(sum03, c[9]);
        const T b = Ops::mulhi_round(sum12, c[9]);
        out[1] = Ops::shl(Ops::add(a, b), 2);
        out[2] = Ops::shl(e2, 1);
        out[3] = Ops::shl(o3p, 1);
        out[4] = Ops::shl(e4, 1);
        out[5] = Ops::shl(o5p, 1);
        out[6] = Ops::shl(e6, 1);
        out[7] = Ops::shl(Ops::sub(b, a), 2);
    } else {
        out[1] = mul_q31<Ops>(Ops::add(sum12, sum03), c[9]);
        out[2] = e2;
        out[3] = o3p;
        out[4] = e4;
        out[5] = o5p;
        out[6] = e6;
        out[7] = mul_q31<Ops>(Ops::sub(sum12, sum03), c[9]);
    }
}

// X from the four 8-point DCTs; stores X[16 + r] at upper[12 r] and
// -X[15 - r] at lower[12 r], r = 0..15.
inline void recombine_store(const int32_t *e, const int32_t *f, const int32_t *g, const int32_t *h,
                            int32_t *upper, int32_t *lower) {
    int32_t X[32];
    // Even outputs: X[4k] = E8[k]; X[4k + 2] = 2 F8[k] - X[4k - 2].
    X[2] = f[0];
    for (int k = 0; k < 8; ++k) {
        X[4 * k] = e[k];
        if (k > 0) X[4 * k + 2] = wrap_sub(f[k], X[4 * k - 2]);
    }
    // Odd outputs through y2[m] = 2 Y[m] (m >= 1): 2 Y[2k] = 2 G8[k],
    // 2 Y[1] = 2 H8[0], 2 Y[2k + 1] = 2 (2 H8[k]) - 2 Y[2k - 1];
    // X[1] = Y[0] = G8[0], X[2m + 1] = 2 Y[m] - X[2m - 1].
    int32_t y2[16];
    y2[1] = wrap_shl(h[0], 1);
    for (int k = 1; k < 8; ++k) {
        y2[2 * k] = g[k];
        y2[2 * k + 1] = wrap_sub(wrap_shl(h[k], 1), y2[2 * k - 1]);
    }
    X[1] = g[0];
    for (int m = 1; m < 16; ++m) X[2 * m + 1] = wrap_sub(y2[m], X[2 * m - 1]);

    for (int r = 0; r < 16; ++r) {
        upper[12 * r] = X[16 + r];
        lower[12 * r] = wrap_neg(X[15 - r]);
    }
}

// Stores X[i] where the history wants it: X[16 + r] at upper[12 r], -X[15 - r]
// at lower[12 r].
inline void store_x(int i, int32_t x, int32_t *upper, int32_t *lower) {
    if (i >= 16)
        upper[12 * (i - 16)] = x;
    else
        lower[12 * (15 - i)] = wrap_neg(x);
}

// One slot: the four fold groups, the four 8-point DCTs, with a barrier
// between steps, and the recombination of recombine_store, each output
// stored as soon as it is made: X[4k] straight from E, the chain
// X[4k + 2] = 2 F8[k] - X[4k - 2] right after F, and the odd chain from G
// (kept) and H. The recombination is exact, so its order is free.
template <bool kInvert, class Ops>
inline void fastdct32_slot(const int32_t *slot, int32_t *upper, int32_t *lower, const int32_t *c8,
                           const int32_t *c32) {
    int32_t scratch[32];  // E, F, G, H
    fold_group<kInvert, Ops>(slot, c32, 0, scratch);
    stage_barrier();
    fold_group<kInvert, Ops>(slot, c32 + 6, 1, scratch);
    stage_barrier();
    fold_group<kInvert, Ops>(slot, c32 + 12, 2, scratch);
    stage_barrier();
    fold_group<kInvert, Ops>(slot, c32 + 18, 3, scratch);
    stage_barrier();
    int32_t v[8];
    dct8<false, Ops>(scratch, c8, v);
    for (int k = 0; k < 8; ++k) store_x(4 * k, v[k], upper, lower);
    stage_barrier();
    dct8<true, Ops>(scratch + 8, c8, v);
    int32_t x = v[0];
    store_x(2, x, upper, lower);
    for (int k = 1; k < 8; ++k) {
        x = wrap_sub(v[k], x);
        store_x(4 * k + 2, x, upper, lower);
    }
    stage_barrier();
    int32_t g[8];
    dct8<true, Ops>(scratch + 16, c8, g);
    stage_barrier();
    dct8<true, Ops>(scratch + 24, c8, v);
    // X[1] = G8[0]; 2 Y[1] = 2 H8[0] (doubled: v[0] = H8[0]), X[3] = 2 Y[1] - X[1];
    // then X[4k + 1] = 2 G8[k] - X[4k - 1], 2 Y[2k + 1] = 2 (2 H8[k]) - 2 Y[2k - 1],
    // X[4k + 3] = 2 Y[2k + 1] - X[4k + 1].
    x = g[0];
    store_x(1, x, upper, lower);
    int32_t y = wrap_shl(v[0], 1);
    x = wrap_sub(y, x);
    store_x(3, x, upper, lower);
    for (int k = 1; k < 8; ++k) {
        x = wrap_sub(g[k], x);
        store_x(4 * k + 1, x, upper, lower);
        y = wrap_sub(wrap_shl(v[k], 1), y);
        x = wrap_sub(y, x);
        store_x(4 * k + 3, x, upper, lower);
    }
}

// The DCT stage of half a granule with the set's one-slot transform
// kSlotDct (MP3D_subband_fastdct32 or a variant). Slot k of the half goes to
// the even bank (even k, column 4 - k/2) or the odd bank (odd k, column
// 3 - (k - 1)/2): the newest slot of each bank ends in column 0. The parity of
// slot t = 9 half + k is the parity of t: the inverting form negates the odd
// subbands of odd slots (Layer III frequency inversion).
template <void (*kSlotDct)(const int32_t *, int, int32_t *, int32_t *, const int32_t *,
                           const int32_t *)>
inline void subband_dct9(const int32_t *samples, int half, int32_t *synthesis) {
    const int32_t *slot = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    int32_t *even_upper = synthesis + kSynthesisEvenUpper + 4;
    int32_t *even_lower = synthesis + kSynthesisEvenLower + 4;
    int32_t *odd_upper = synthesis + kSynthesisOddUpper + 3;
    int32_t *odd_lower = synthesis + kSynthesisOddLower + 3;
    for (int k = 0;; k += 2, --even_upper, --even_lower, --odd_upper, --odd_lower) {
        kSlotDct(slot + k, p0, even_upper, even_lower, dct8_II_coeff, dct32_II_coeff);
        if (k == 8) break;
        kSlotDct(slot + k + 1, p0 ^ 1, odd_upper, odd_lower, dct8_II_coeff, dct32_II_coeff);
    }
}

}  // namespace
}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_FDCT32_STEPS_H
