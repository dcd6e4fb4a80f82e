// Layer III hybrid filterbank driver: IMDCT per subband, alias reduction,
// overlap, zero-subband shortcut.
#ifndef MP3D_HYBRID_H
#define MP3D_HYBRID_H

#include "decoder/decoder_state.h"

namespace mp3d {

void III_hybrid(int32_t *input, int32_t *output, int channel, const MP3D_Granule_Info *side_info,
                MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
