// Per-subband kernels of the Layer III hybrid filterbank: alias reduction,
// 36- and 12-point inverse MDCT, windowing and overlap-add.
//
// The IMDCT outputs are folded: the first half of a 36-point output is
// antisymmetric and the second half symmetric, so 9 + 9 values are computed
// (3 + 3 for 12 points) and the window rows carry the sign of the mirrored
// positions. A subband keeps 9 overlap words between granules.
//
// Scale: with the root2 cosine tables every IMDCT value is half the
// ISO/IEC 11172-3 value of the integer input, and windowing halves again, so
// a subband's output is a quarter of the standard windowed, overlap-added
// result. The plain tables make it a further 1/sqrt(2) smaller.
#ifndef MP3D_KERNELS_IMDCT_WINOLA_H
#define MP3D_KERNELS_IMDCT_WINOLA_H

#include <cstdint>

namespace mp3d {

// Overlap words a subband keeps between granules.
inline constexpr int kOverlapWords = 9;

// One long-block subband. x: the 18 inputs (and, with alias_flag set, the
// first 8 inputs of the next subband, which the alias-reduction butterflies
// rewrite in place). out: 18 time samples, may be x. cos_table: 27 words
// (long plain or root2). coeff9: the 9-point DCT constants. ovl: the
// subband's 9 overlap words, replaced by the new unwindowed overlap.
// block_type (0, 1, 3) and prev_block_type (0..3) select window rows of
// window; cs_ca: the 8 interleaved (cs, ca) alias-reduction pairs.
void imdct_lee_36(int32_t *x, int32_t *out, const int32_t *cos_table, const int32_t *coeff9,
                  int alias_flag, int32_t *ovl, uint32_t block_type, uint32_t prev_block_type,
                  const int32_t *cs_ca, const int32_t (*window)[36]);

// One short window: reads x[0], x[3], ..., x[15] and writes the 6 distinct
// values of the 12-point IMDCT to s[0..5] (s[0..2] = y[0..2]/2,
// s[3..5] = y[6..8]/2). cos_table: 9 words (short plain or root2).
void imdct_lee_12(const int32_t *x, int32_t *s, const int32_t *cos_table);

// Windowing and overlap-add of a short-block subband. s: the three
// imdct_lee_12 results in window order (18 words). The previous overlap is
// always treated as a start or short block leaves it, so block_type and
// prev_block_type are accepted and not used.
void window_convert(const int32_t *s, int32_t *out, int32_t *ovl, uint32_t block_type,
                    uint32_t prev_block_type, const int32_t (*window)[36]);

// Output of a subband without input: its overlap windowed by the row of
// prev_block_type; the overlap is cleared.
void window_overlap(int32_t *out, int32_t *ovl, uint32_t prev_block_type,
                    const int32_t (*window)[36]);

// A run of count long-block subbands of one channel: x and out at the run's
// first subband (out is x or does not overlap it), ovl and prev_types at its
// overlap words and recorded block types. In ascending order, subband sb
// (< count) gets the alias butterflies with subband sb + 1 when
// sb < alias_count (the last of them may rewrite the first 8 inputs of the
// subband after the run), then imdct_lee_36 with block_type (0, 1 or 3) and
// prev_types[sb]; prev_types[sb] becomes block_type.
void MP3D_hybrid_long(int32_t *x, int32_t *out, int count, int alias_count, uint32_t block_type,
                      int32_t *ovl, uint32_t *prev_types, const int32_t *cos_long,
                      const int32_t *cs_ca, const int32_t (*window)[36]);

// A run of count short-block subbands of one channel: x and out at the run's
// first subband (out is x or does not overlap it), ovl and prev_types at its
// overlap words and recorded block types. Each subband gets the three
// imdct_lee_12 of its windows and window_convert; prev_types[sb] becomes 2.
void MP3D_hybrid_short(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                       uint32_t *prev_types, const int32_t *cos_short, const int32_t (*window)[36]);

}  // namespace mp3d

#endif  // MP3D_KERNELS_IMDCT_WINOLA_H
