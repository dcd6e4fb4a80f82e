// Hybrid filterbank kernels: alias reduction, folded 36- and 12-point IMDCT,
// windowing and overlap-add. All sums and doublings wrap modulo 2^32.
#include "kernels/imdct_winola.h"

#include "kernels/fixed_point.h"
#include "kernels/idct9_steps.h"
#include "kernels/portable_ops.h"
#include "tables/imdct_tables.h"

namespace mp3d {

namespace {

constexpr int32_t kSqrt3Over2 = 0x6ED9EBA1;  // sqrt(3)/2, Q31

constexpr int32_t add(int32_t a, int32_t b) {
    return wrap_add(a, b);
}
constexpr int32_t sub(int32_t a, int32_t b) {
    return wrap_sub(a, b);
}
constexpr int32_t x2(int32_t a) {
    return wrap_shl(a, 1);
}
constexpr int32_t x4(int32_t a) {
    return wrap_shl(a, 2);
}

// Butterflies of ISO/IEC 11172-3 between the last 8 lines of a subband and
// the first 8 of the next: lo' = lo cs - up ca, up' = up cs + lo ca.
void alias_reduce(int32_t *x, const int32_t *cs_ca) {
    for (int i = 0; i < 8; ++i) {
        const int32_t cs = cs_ca[2 * i];
        const int32_t ca = cs_ca[2 * i + 1];
        const int32_t lo = x[17 - i];
        const int32_t up = x[18 + i];
        x[17 - i] = x2(mulhi_round_sub(mulhi_round(cs, lo), ca, up));
        x[18 + i] = x2(mulhi_round_add(mulhi_round(cs, up), ca, lo));
    }
}

// Both 9-point transforms of a 36-point IMDCT in one call: one prologue and
// one set of coefficient loads for the two.
[[gnu::noinline]] void idct9_pair(int32_t *A, int32_t *B, const int32_t *coeff9) {
    idct9_steps<Portable_Ops>(A, coeff9);
    idct9_steps<Portable_Ops>(B, coeff9);
}

}  // namespace

void imdct_lee_36(int32_t *x, int32_t *out, const int32_t *cos_table, const int32_t *coeff9,
                  int alias_flag, int32_t *ovl, uint32_t block_type, uint32_t prev_block_type,
                  const int32_t *cs_ca, const int32_t (*window)[36]) {
    if (alias_flag) alias_reduce(x, cs_ca);

    // Fold the 18 inputs into the even and odd halves of two 9-point DCTs.
    // Every input is read here, before any output is written.
    int32_t A[9], B[9];
    for (int k = 0; k < 9; ++k) {
        const int32_t p = mulhi_round(cos_table[k], x[k]);
        const int32_t q = mulhi_round(cos_table[17 - k], x[17 - k]);
        A[k] = add(p, q);
        B[k] = x2(mulhi_round(sub(p, q), cos_table[18 + k]));
    }
    idct9_pair(A, B, coeff9);

    // Recombine by running sums: s_j = B[j] - s_{j-1}, u_j = t_{j-1} + 2 A[j],
    // t_j = u_j - 4 s_j.
    int32_t u[9], t[9];
    int32_t s = B[0];
    u[0] = x2(A[0]);
    t[0] = sub(u[0], x4(s));
    for (int j = 1; j < 9; ++j) {
        s = sub(B[j], s);
        u[j] = add(t[j - 1], x2(A[j]));
        t[j] = sub(u[j], x4(s));
    }

    // First half y[0..8]/2 (y[17-i] = -y[i]) and second half y[18..26]/2
    // (y[35-j] = y[18+j]), the latter kept as the new overlap.
    const int32_t v[9] = {wrap_neg(t[4]), u[5], wrap_neg(t[5]), u[6], wrap_neg(t[6]), u[7],
                          wrap_neg(t[7]), u[8], wrap_neg(t[8])};
    const int32_t z[9] = {wrap_neg(u[4]), t[3], wrap_neg(u[3]), t[2], wrap_neg(u[2]), t[1],
                          wrap_neg(u[1]), t[0], wrap_neg(u[0])};

    const int32_t *wp = window[prev_block_type & 3];
    const int32_t *wc = window[block_type & 3];
    for (int i = 0; i < 9; ++i) {
        const int32_t o = ovl[i];
        out[i] = mulhi_round_add(mulhi_round(o, wp[18 + i]), v[i], wc[i]);
        out[17 - i] = mulhi_round_add(mulhi_round(o, wp[35 - i]), v[i], wc[17 - i]);
        ovl[i] = z[i];
    }
}

void imdct_lee_12(const int32_t *x, int32_t *s, const int32_t *cos_table) {
    const int32_t *c = cos_table;
    int32_t P[6];
    for (int k = 0; k < 6; ++k) P[k] = mulhi_round(c[k], x[3 * k]);

    const int32_t e0 = add(P[0], P[5]), d0 = sub(P[0], P[5]);
    const int32_t e1 = add(P[1], P[4]), d1 = sub(P[1], P[4]);
    const int32_t e2 = add(P[2], P[3]), d2 = sub(P[2], P[3]);

    const int32_t E = add(e0, e2);
    const int32_t F = sub(e0, e2);
    const int32_t f = x4(mulhi_round(F, kSqrt3Over2));
    const int32_t S = x2(add(e1, E));
    const int32_t G = sub(E, x2(e1));

    const int32_t D0 = x2(mulhi_round(c[6], d0));
    const int32_t D1 = x2(mulhi_round(c[7], d1));
    const int32_t D2 = x2(mulhi_round(c[8], d2));

    const int32_t H = sub(D0, D2);
    const int32_t J = add(D0, D2);
    const int32_t h = x4(mulhi_round(H, kSqrt3Over2));
    const int32_t R = add(D1, J);
    const int32_t Q = sub(J, x2(D1));

    s[4] = sub(S, x4(R));
    s[5] = wrap_neg(S);
    const int32_t V = add(s[4], x2(f));
    const int32_t W = sub(h, R);
    s[3] = wrap_neg(V);
    s[0] = sub(x4(W), V);
    s[1] = sub(x2(G), s[0]);
    s[2] = sub(x4(sub(Q, W)), s[1]);
}

void window_convert(const int32_t *s, int32_t *out, int32_t *ovl, uint32_t, uint32_t,
                    const int32_t (*window)[36]) {
    // Short windows overlap the previous granule as a start or short block
    // leaves it: slots 0..5 finished (kept doubled), 6..11 still to window.
    const int32_t *W = window[2];
    for (int j = 0; j < 6; ++j) out[j] = ovl[j] >> 1;
    for (int m = 0; m < 3; ++m) {
        const int32_t o = ovl[6 + m];
        out[6 + m] = mulhi_round_add(mulhi_round(o, W[6 + m]), s[m], W[m]);
        out[11 - m] = mulhi_round_add(mulhi_round(o, W[11 - m]), s[m], W[5 - m]);
        out[12 + m] = mulhi_round_add(mulhi_round(s[3 + m], W[6 + m]), s[6 + m], W[m]);
        out[17 - m] = mulhi_round_add(mulhi_round(s[3 + m], W[11 - m]), s[6 + m], W[5 - m]);
        ovl[m] = x2(mulhi_round_add(mulhi_round(s[9 + m], W[6 + m]), s[12 + m], W[m]));
        ovl[5 - m] = x2(mulhi_round_add(mulhi_round(s[9 + m], W[11 - m]), s[12 + m], W[5 - m]));
        ovl[6 + m] = s[15 + m];
    }
}

void window_overlap(int32_t *out, int32_t *ovl, uint32_t prev_block_type,
                    const int32_t (*window)[36]) {
    const int32_t *wp = window[prev_block_type & 3];
    for (int j = 0; j < 9; ++j) {
        out[j] = mulhi_round(ovl[j], wp[18 + j]);
        out[17 - j] = mulhi_round(ovl[j], wp[35 - j]);
        ovl[j] = 0;
    }
}

void MP3D_hybrid_long(int32_t *x, int32_t *out, int count, int alias_count, uint32_t block_type,
                      int32_t *ovl, uint32_t *prev_types, const int32_t *cos_long,
                      const int32_t *cs_ca, const int32_t (*window)[36]) {
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        imdct_lee_36(x, out, cos_long, idctlee_III_coeff, sb < alias_count, ovl, block_type,
                     prev_types[sb], cs_ca, window);
        prev_types[sb] = block_type;
    }
}

}  // namespace mp3d
