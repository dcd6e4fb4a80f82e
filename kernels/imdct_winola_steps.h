// Steps of the hybrid filterbank kernels (kernels/imdct_winola.cpp) written
// once over an arithmetic record (kernels/portable_ops.h): the alias
// butterflies, the 36-point IMDCT of a long-block subband with its window
// and overlap, the 12-point IMDCT of a short window, the windowing and
// overlap of a short-block subband, and the flush of a subband's overlap.
// The portable set instantiates them; the ARMv6 long-block subband and
// short-block run (kernels/arm/imdct_winola_armv6.S) follow them operation
// for operation, so every set gives the same words.
#ifndef MP3D_KERNELS_IMDCT_WINOLA_STEPS_H
#define MP3D_KERNELS_IMDCT_WINOLA_STEPS_H

#include <cstdint>

#include "kernels/idct9_steps.h"
#include "kernels/imdct_winola.h"

namespace mp3d {

inline constexpr int32_t kSqrt3Over2 = 0x6ED9EBA1;  // sqrt(3)/2, Q31

// Butterflies of ISO/IEC 11172-3 between the last 8 lines of a subband and
// the first 8 of the next: lo' = lo cs - up ca, up' = up cs + lo ca.
template <class Ops>
inline void alias_reduce_steps(int32_t *x, const int32_t *cs_ca) {
    for (int i = 0; i < 8; ++i) {
        const int32_t cs = cs_ca[2 * i];
        const int32_t ca = cs_ca[2 * i + 1];
        const int32_t lo = x[17 - i];
        const int32_t up = x[18 + i];
        x[17 - i] = Ops::shl(Ops::mulhi_round_sub(Ops::mulhi_round(cs, lo), ca, up), 1);
        x[18 + i] = Ops::shl(Ops::mulhi_round_add(Ops::mulhi_round(cs, up), ca, lo), 1);
    }
}

// Fold the 18 inputs into the even and odd halves of two 9-point DCTs.
// Three lines at a time, every product of a group issued before its first
// use: an in-order processor then covers a product's latency with the
// next ones instead of waiting for it.
template <class Ops>
inline void imdct36_fold_steps(const int32_t *x, const int32_t *cos_table, int32_t *A, int32_t *B) {
    for (int k = 0; k < 9; k += 3) {
        int32_t p[3], q[3], d[3];
        for (int m = 0; m < 3; ++m) {
            p[m] = Ops::mulhi_round(x[k + m], cos_table[k + m]);
            q[m] = Ops::mulhi_round(x[17 - k - m], cos_table[17 - k - m]);
        }
        for (int m = 0; m < 3; ++m) {
            A[k + m] = Ops::add(p[m], q[m]);
            d[m] = Ops::mulhi_round(Ops::sub(p[m], q[m]), cos_table[18 + k + m]);
        }
        for (int m = 0; m < 3; ++m) B[k + m] = Ops::shl(d[m], 1);
    }
}

// Recombination of the two 9-point DCTs, windowing and overlap-add: out[0..17]
// from the new first half and the old overlap; ovl becomes the new second
// half. wp, wc: the window rows of the previous and the current block type.
template <class Ops>
inline void imdct36_window_steps(const int32_t *A, const int32_t *B, int32_t *out, int32_t *ovl,
                                 const int32_t *wp, const int32_t *wc) {
    // Running sums: s_j = B[j] - s_{j-1}, u_j = t_{j-1} + 2 A[j],
    // t_j = u_j - 4 s_j.
    int32_t u[9], t[9];
    int32_t s = B[0];
    u[0] = Ops::shl(A[0], 1);
    t[0] = Ops::sub(u[0], Ops::shl(s, 2));
    for (int j = 1; j < 9; ++j) {
        s = Ops::sub(B[j], s);
        u[j] = Ops::add(t[j - 1], Ops::shl(A[j], 1));
        t[j] = Ops::sub(u[j], Ops::shl(s, 2));
    }

    // First half y[0..8]/2 (y[17-i] = -y[i]) and second half y[18..26]/2
    // (y[35-j] = y[18+j]), the latter kept as the new overlap.
    const int32_t v[9] = {Ops::neg(t[4]), u[5], Ops::neg(t[5]), u[6], Ops::neg(t[6]), u[7],
                          Ops::neg(t[7]), u[8], Ops::neg(t[8])};
    const int32_t z[9] = {Ops::neg(u[4]), t[3], Ops::neg(u[3]), t[2], Ops::neg(u[2]), t[1],
                          Ops::neg(u[1]), t[0], Ops::neg(u[0])};
    // Two overlap words at a time, for the same reason as in the fold.
    for (int i = 0; i < 9; i += 2) {
        const int n = i < 8 ? 2 : 1;
        int32_t lo[2], hi[2];
        for (int m = 0; m < n; ++m) {
            const int32_t o = ovl[i + m];
            lo[m] = Ops::mulhi_round(o, wp[18 + i + m]);
            hi[m] = Ops::mulhi_round(o, wp[35 - i - m]);
        }
        for (int m = 0; m < n; ++m) {
            out[i + m] = Ops::mulhi_round_add(lo[m], v[i + m], wc[i + m]);
            out[17 - i - m] = Ops::mulhi_round_add(hi[m], v[i + m], wc[17 - i - m]);
            ovl[i + m] = z[i + m];
        }
    }
}

// One long-block subband (as imdct_lee_36). Idct9Pair runs both 9-point
// DCTs of the transform.
template <class Ops, void (*Idct9Pair)(int32_t *, int32_t *, const int32_t *)>
inline void imdct36_steps(int32_t *x, int32_t *out, const int32_t *cos_table, const int32_t *coeff9,
                          int alias_flag, int32_t *ovl, const int32_t *wp, const int32_t *wc,
                          const int32_t *cs_ca) {
    if (alias_flag) alias_reduce_steps<Ops>(x, cs_ca);
    // Every input is read by the fold, before any output is written.
    int32_t A[9], B[9];
    imdct36_fold_steps<Ops>(x, cos_table, A, B);
    Idct9Pair(A, B, coeff9);
    imdct36_window_steps<Ops>(A, B, out, ovl, wp, wc);
}

// One short window (as imdct_lee_12): x[0], x[3], ..., x[15] to s[0..5].
template <class Ops>
inline void imdct12_steps(const int32_t *x, int32_t *s, const int32_t *c) {
    const auto x2 = [](int32_t v) { return Ops::shl(v, 1); };
    const auto x4 = [](int32_t v) { return Ops::shl(v, 2); };
    int32_t P[6];
    for (int k = 0; k < 6; ++k) P[k] = Ops::mulhi_round(x[3 * k], c[k]);

    const int32_t e0 = Ops::add(P[0], P[5]), d0 = Ops::sub(P[0], P[5]);
    const int32_t e1 = Ops::add(P[1], P[4]), d1 = Ops::sub(P[1], P[4]);
    const int32_t e2 = Ops::add(P[2], P[3]), d2 = Ops::sub(P[2], P[3]);

    const int32_t E = Ops::add(e0, e2);
    const int32_t F = Ops::sub(e0, e2);
    const int32_t f = x4(Ops::mulhi_round(F, kSqrt3Over2));
    const int32_t S = x2(Ops::add(e1, E));
    const int32_t G = Ops::sub(E, x2(e1));

    const int32_t D0 = x2(Ops::mulhi_round(d0, c[6]));
    const int32_t D1 = x2(Ops::mulhi_round(d1, c[7]));
    const int32_t D2 = x2(Ops::mulhi_round(d2, c[8]));

    const int32_t H = Ops::sub(D0, D2);
    const int32_t J = Ops::add(D0, D2);
    const int32_t h = x4(Ops::mulhi_round(H, kSqrt3Over2));
    const int32_t R = Ops::add(D1, J);
    const int32_t Q = Ops::sub(J, x2(D1));

    const int32_t s4 = Ops::sub(S, x4(R));
    const int32_t V = Ops::add(s4, x2(f));
    const int32_t W = Ops::sub(h, R);
    const int32_t s0 = Ops::sub(x4(W), V);
    const int32_t s1 = Ops::sub(x2(G), s0);
    s[0] = s0;
    s[1] = s1;
    s[2] = Ops::sub(x4(Ops::sub(Q, W)), s1);
    s[3] = Ops::neg(V);
    s[4] = s4;
    s[5] = Ops::neg(S);
}

// Windowing and overlap-add of a short-block subband (as window_convert):
// s holds the three windows' imdct12_steps results; W is window row 2.
template <class Ops>
inline void window_convert_steps(const int32_t *s, int32_t *out, int32_t *ovl, const int32_t *W) {
    // Short windows overlap the previous granule as a start or short block
    // leaves it: slots 0..5 finished (kept doubled), 6..11 still to window.
    for (int j = 0; j < 6; ++j) out[j] = Ops::asr(ovl[j], 1);
    for (int m = 0; m < 3; ++m) {
        const int32_t o = ovl[6 + m];
        out[6 + m] = Ops::mulhi_round_add(Ops::mulhi_round(o, W[6 + m]), s[m], W[m]);
        out[11 - m] = Ops::mulhi_round_add(Ops::mulhi_round(o, W[11 - m]), s[m], W[5 - m]);
        out[12 + m] = Ops::mulhi_round_add(Ops::mulhi_round(s[3 + m], W[6 + m]), s[6 + m], W[m]);
        out[17 - m] =
            Ops::mulhi_round_add(Ops::mulhi_round(s[3 + m], W[11 - m]), s[6 + m], W[5 - m]);
        ovl[m] = Ops::shl(
            Ops::mulhi_round_add(Ops::mulhi_round(s[9 + m], W[6 + m]), s[12 + m], W[m]), 1);
        ovl[5 - m] = Ops::shl(
            Ops::mulhi_round_add(Ops::mulhi_round(s[9 + m], W[11 - m]), s[12 + m], W[5 - m]), 1);
        ovl[6 + m] = s[15 + m];
    }
}

// A run of count short-block subbands (as MP3D_hybrid_short): the three
// 12-point IMDCTs of each, read before its outputs are written.
template <class Ops>
inline void hybrid_short_steps(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                               uint32_t *prev_types, const int32_t *cos_short,
                               const int32_t (*window)[36]) {
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        int32_t s[18];
        for (int w = 0; w < 3; ++w) imdct12_steps<Ops>(x + w, s + 6 * w, cos_short);
        window_convert_steps<Ops>(s, out, ovl, window[2]);
        prev_types[sb] = 2;
    }
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_IMDCT_WINOLA_STEPS_H
