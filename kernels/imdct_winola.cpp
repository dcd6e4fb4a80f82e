// Hybrid filterbank kernels: alias reduction, folded 36- and 12-point IMDCT,
// windowing and overlap-add. All sums and doublings wrap modulo 2^32. The
// arithmetic is in kernels/imdct_winola_steps.h, shared with the ARMv6 set.
#include "kernels/imdct_winola.h"

#include "kernels/fixed_point.h"
#include "kernels/idct9_steps.h"
#include "kernels/imdct_winola_steps.h"
#include "kernels/portable_ops.h"
#include "tables/imdct_tables.h"

namespace mp3d {

namespace {

// Both 9-point transforms of a 36-point IMDCT in one call: one prologue and
// one set of coefficient loads for the two.
[[gnu::noinline]] void idct9_pair(int32_t *A, int32_t *B, const int32_t *coeff9) {
    idct9_steps<Portable_Ops>(A, coeff9);
    idct9_steps<Portable_Ops>(B, coeff9);
}

}  // namespace

// The single-subband kernels stay out of line: the runs below call them
// rather than carrying inlined copies (kilobytes of code each) that a call
// per subband does not pay for. GCC would also keep a second copy
// specialised for the runs' constant arguments.
#if defined(__clang__)
#define MP3D_OUT_OF_LINE [[gnu::noinline]]
#else
#define MP3D_OUT_OF_LINE [[gnu::noinline, gnu::noclone]]
#endif

MP3D_OUT_OF_LINE void imdct_lee_36(int32_t *x, int32_t *out, const int32_t *cos_table,
                                   const int32_t *coeff9, int alias_flag, int32_t *ovl,
                                   uint32_t block_type, uint32_t prev_block_type,
                                   const int32_t *cs_ca, const int32_t (*window)[36]) {
    imdct36_steps<Portable_Ops, idct9_pair>(x, out, cos_table, coeff9, alias_flag, ovl,
                                            window[prev_block_type & 3], window[block_type & 3],
                                            cs_ca);
}

MP3D_OUT_OF_LINE void imdct_lee_12(const int32_t *x, int32_t *s, const int32_t *cos_table) {
    imdct12_steps<Portable_Ops>(x, s, cos_table);
}

MP3D_OUT_OF_LINE void window_convert(const int32_t *s, int32_t *out, int32_t *ovl, uint32_t,
                                     uint32_t, const int32_t (*window)[36]) {
    window_convert_steps<Portable_Ops>(s, out, ovl, window[2]);
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

void MP3D_hybrid_short(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                       uint32_t *prev_types, const int32_t *cos_short,
                       const int32_t (*window)[36]) {
    // The reference calls the single-window kernels; the ARMv6 set inlines
    // the same steps.
    for (int sb = 0; sb < count; ++sb, x += 18, out += 18, ovl += kOverlapWords) {
        int32_t s[18];
        for (int w = 0; w < 3; ++w) imdct_lee_12(x + w, s + 6 * w, cos_short);
        window_convert(s, out, ovl, 2, prev_types[sb], window);
        prev_types[sb] = 2;
    }
}

}  // namespace mp3d
