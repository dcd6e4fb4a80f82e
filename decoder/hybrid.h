// Layer III hybrid filterbank driver: IMDCT per subband, alias reduction,
// overlap, zero-subband shortcut.
#ifndef MP3D_HYBRID_H
#define MP3D_HYBRID_H

#include "decoder/decoder_state.h"

namespace mp3d {

void III_hybrid(int32_t *input, int32_t *output, int channel, const MP3D_Granule_Info *side_info,
                MP3D_Decoder_State *state);

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

}  // namespace mp3d

#endif
