// Layer III side information.
#ifndef MP3D_SIDE_INFO_H
#define MP3D_SIDE_INFO_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t III_get_side_info(MP3D_Side_Info *side_info, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
