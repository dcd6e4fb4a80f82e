// Layer III short-block reordering.
#ifndef MP3D_REORDER_H
#define MP3D_REORDER_H

#include "decoder/decoder_state.h"

namespace mp3d {

void III_reorder(int32_t *spectral, const MP3D_Granule_Info *side_info,
                 const MP3D_Frame_Params *frame_params, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
