// AVX2 variant of a run of long-block subbands: eight 36-point IMDCTs at once,
// one subband per lane.
//
// The alias-reduction butterflies of the boundary sb|sb+1 read and write
// lines 18 sb + 10 .. 18 sb + 25 only, so the boundaries touch disjoint
// lines, and each reads lines no other boundary writes. The portable order
// (butterflies of sb, then the transform of sb, then those of sb + 1) thus
// gives every transform the same inputs as running all butterflies of the
// run first, which this kernel does, eight lines per vector. After them the
// transforms are independent: eight subbands are transposed into lanes (one
// vector per input line), run through the portable flow graph operation for
// operation, windowed, added to the transposed overlap and transposed back.
// A run's last few subbands go through the same code, the lanes past the
// run repeating its last subband without being stored.
//
// Products are exact 64-bit products (vpmuldq on the even and the odd lanes)
// rounded to their upper word; sums wrap. The current block type is the same
// for the whole run; the previous one may differ per subband (after a mixed
// block), and then the window words of the overlap are gathered per lane.
#include "kernels/x86/kernels_avx2.h"

#include "kernels/idct9_steps.h"
#include "kernels/x86/avx2_ops.h"
#include "tables/imdct_tables.h"

namespace mp3d {
namespace {

using namespace avx2;

inline V x2(V a) {
    return shl<1>(a);
}
inline V x4(V a) {
    return shl<2>(a);
}

// Columns c .. c + 3 of eight rows of words (row r at base + r stride): one
// vector per column, lane r holding row r. Rows from `rows` on repeat the
// last row that exists, so nothing past it is read.
inline void load_columns(const int32_t *base, int stride, int c, V *col, int rows) {
    transpose_4x8([&](int r) { return base + (r < rows ? r : rows - 1) * stride + c; }, col);
}

// The inverse of load_columns: lane r of col[j] to base + r stride + c + j,
// for the rows below `rows`.
inline void store_columns(int32_t *base, int stride, int c, const V *col, int rows) {
    const V t0 = _mm256_unpacklo_epi32(col[0], col[1]), t1 = _mm256_unpackhi_epi32(col[0], col[1]);
    const V t2 = _mm256_unpacklo_epi32(col[2], col[3]), t3 = _mm256_unpackhi_epi32(col[2], col[3]);
    const V y[4] = {_mm256_unpacklo_epi64(t0, t2), _mm256_unpackhi_epi64(t0, t2),
                    _mm256_unpacklo_epi64(t1, t3), _mm256_unpackhi_epi64(t1, t3)};
    for (int r = 0; r < 4; ++r) {
        if (r < rows)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(base + r * stride + c),
                             _mm256_castsi256_si128(y[r]));
        if (r + 4 < rows)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(base + (r + 4) * stride + c),
                             _mm256_extracti128_si256(y[r], 1));
    }
}

// The butterflies of the boundary between the subband at x and the next one,
// as alias_reduce of the portable kernel, with lane i holding pair i.
inline void alias_reduce(int32_t *x, V cs, V ca, V reverse) {
    const V lo = _mm256_permutevar8x32_epi32(
        _mm256_loadu_si256(reinterpret_cast<const V *>(x + 10)), reverse);
    const V up = _mm256_loadu_si256(reinterpret_cast<const V *>(x + 18));
    const V lo2 = x2(mulhi_round_sub_lanes(mulhi_round_lanes(cs, lo), ca, up));
    const V up2 = x2(add(mulhi_round_lanes(cs, up), mulhi_round_lanes(ca, lo)));
    _mm256_storeu_si256(reinterpret_cast<V *>(x + 10), _mm256_permutevar8x32_epi32(lo2, reverse));
    _mm256_storeu_si256(reinterpret_cast<V *>(x + 18), up2);
}

// First stage of the transform for the input lines k and 17 - k: the
// cosine-weighted sum into a and the weighted difference into b.
inline void fold(V lo, V hi, int k, const int32_t *cos_table, V &a, V &b) {
    const V p = mulhi_round(lo, cos_table[k]);
    const V q = mulhi_round(hi, cos_table[17 - k]);
    a = add(p, q);
    b = x2(mulhi_round(sub(p, q), cos_table[18 + k]));
}

// Up to eight subbands (x, out at stride 18, ovl at stride 9, previous block
// types prev[0..7]; the first `rows` of them exist) after their butterflies:
// the transform, windowing and overlap of imdct_lee_36. out may be x.
//
// The work is ordered so that few vectors are live at once (the frame stays
// small): each pair of input column groups is folded as soon as it is
// loaded; the overlap words are loaded just before the new overlap (which
// the first half of the output recursion gives) replaces them; the output
// is windowed and stored in two halves. Every input line is loaded before
// any output is stored.
template <bool kSamePrevious>
void transform8(const int32_t *x, int32_t *out, int32_t *ovl, const uint32_t *prev, int rows,
                uint32_t block_type, const int32_t *cos_table, const int32_t (*window)[36]) {
    V A[9], B[9];
    {
        V lo[4], hi[4];
        load_columns(x, 18, 0, lo, rows);
        load_columns(x, 18, 14, hi, rows);
        for (int k = 0; k < 4; ++k) fold(lo[k], hi[3 - k], k, cos_table, A[k], B[k]);
        load_columns(x, 18, 4, lo, rows);
        load_columns(x, 18, 10, hi, rows);
        for (int k = 4; k < 8; ++k) fold(lo[k - 4], hi[7 - k], k, cos_table, A[k], B[k]);
        load_columns(x, 18, 8, lo, rows);
        fold(lo[0], lo[1], 8, cos_table, A[8], B[8]);
    }
    idct9_steps<Avx2_Ops>(A, idctlee_III_coeff);
    idct9_steps<Avx2_Ops>(B, idctlee_III_coeff);

    // u[j] = t[j - 1] + 2 A[j], t[j] = u[j] - 4 s[j] with s[j] = B[j] - s[j - 1].
    // u[0..4] and t[0..3] make the new overlap, t[4..8] and u[5..8] the
    // input of the windowing.
    V s = B[0];
    V u = x2(A[0]);
    V t = sub(u, x4(s));
    {
        V z[9];
        z[8] = neg(u);
        z[7] = t;
        for (int j = 1; j < 5; ++j) {
            s = sub(B[j], s);
            u = add(t, x2(A[j]));
            t = sub(u, x4(s));
            z[8 - 2 * j] = neg(u);
            if (j < 4) z[7 - 2 * j] = t;
        }
        V o[9];
        {
            V o_tail[4];
            load_columns(ovl, 9, 0, o, rows);
            load_columns(ovl, 9, 4, o + 4, rows);
            load_columns(ovl, 9, 5, o_tail, rows);
            o[8] = o_tail[3];
        }
        store_columns(ovl, 9, 0, z, rows);
        store_columns(ovl, 9, 4, z + 4, rows);
        store_columns(ovl, 9, 5, z + 5, rows);

        V v[9];
        v[0] = neg(t);
        for (int j = 5; j < 9; ++j) {
            s = sub(B[j], s);
            u = add(t, x2(A[j]));
            t = sub(u, x4(s));
            v[2 * j - 9] = u;
            v[2 * j - 8] = neg(t);
        }

        const int32_t *wc = window[block_type & 3];
        V index = _mm256_setzero_si256();
        if constexpr (!kSamePrevious) {
            index = _mm256_mullo_epi32(
                _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const V *>(prev)),
                                 broadcast(3)),
                broadcast(36));
        }
        const int32_t *wp = window[prev[0] & 3];
        V y[18];
        const auto window_pair = [&](int i) {
            V head, tail_o;
            if constexpr (kSamePrevious) {
                head = mulhi_round(o[i], wp[18 + i]);
                tail_o = mulhi_round(o[i], wp[35 - i]);
            } else {
                const V w_head =
                    _mm256_i32gather_epi32(&window[0][0], add(index, broadcast(18 + i)), 4);
                const V w_tail =
                    _mm256_i32gather_epi32(&window[0][0], add(index, broadcast(35 - i)), 4);
                head = mulhi_round_lanes(o[i], w_head);
                tail_o = mulhi_round_lanes(o[i], w_tail);
            }
            y[i] = add(head, mulhi_round(v[i], wc[i]));
            y[17 - i] = add(tail_o, mulhi_round(v[i], wc[17 - i]));
        };
        // Lines 0..3 and 14..17, then 4..13 (groups 8 and 10 overlap in
        // lines 10 and 11, which get the same words twice).
        for (int i = 0; i < 4; ++i) window_pair(i);
        store_columns(out, 18, 0, y, rows);
        store_columns(out, 18, 14, y + 14, rows);
        for (int i = 4; i < 9; ++i) window_pair(i);
        store_columns(out, 18, 4, y + 4, rows);
        store_columns(out, 18, 8, y + 8, rows);
        store_columns(out, 18, 10, y + 10, rows);
    }
}

void transform8_any(const int32_t *x, int32_t *out, int32_t *ovl, const uint32_t *prev, int rows,
                    uint32_t block_type, const int32_t *cos_table, const int32_t (*window)[36]) {
    bool same = true;
    for (int l = 1; l < 8; ++l) same = same && ((prev[l] ^ prev[0]) & 3) == 0;
    if (same)
        transform8<true>(x, out, ovl, prev, rows, block_type, cos_table, window);
    else
        transform8<false>(x, out, ovl, prev, rows, block_type, cos_table, window);
}

}  // namespace

void MP3D_hybrid_long_avx2(int32_t *x, int32_t *out, int count, int alias_count,
                           uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                           const int32_t *cos_long, const int32_t *cs_ca,
                           const int32_t (*window)[36]) {
    if (count <= 0) return;
    if (alias_count > count) alias_count = count;
    if (alias_count > 0) {
        const V cs = _mm256_setr_epi32(cs_ca[0], cs_ca[2], cs_ca[4], cs_ca[6], cs_ca[8], cs_ca[10],
                                       cs_ca[12], cs_ca[14]);
        const V ca = _mm256_setr_epi32(cs_ca[1], cs_ca[3], cs_ca[5], cs_ca[7], cs_ca[9], cs_ca[11],
                                       cs_ca[13], cs_ca[15]);
        const V reverse = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
        for (int b = 0; b < alias_count; ++b) alias_reduce(x + 18 * b, cs, ca, reverse);
    }

    int sb = 0;
    for (; sb + 8 <= count; sb += 8)
        transform8_any(x + 18 * sb, out + 18 * sb, ovl + 9 * sb, prev_types + sb, 8, block_type,
                       cos_long, window);
    if (sb < count) {
        // The last 1..7 subbands: the lanes past the run repeat its last
        // subband and are not stored.
        const int rest = count - sb;
        uint32_t prev[8];
        for (int l = 0; l < 8; ++l) prev[l] = prev_types[sb + (l < rest ? l : rest - 1)];
        transform8_any(x + 18 * sb, out + 18 * sb, ovl + 9 * sb, prev, rest, block_type, cos_long,
                       window);
    }
    for (int i = 0; i < count; ++i) prev_types[i] = block_type;
}

}  // namespace mp3d
