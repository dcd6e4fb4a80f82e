// Layer III side information.
#ifndef MP3D_SIDE_INFO_H
#define MP3D_SIDE_INFO_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t III_get_side_info(MP3D_Side_Info *side_info, MP3D_Decoder_State *state);

// Side-information bytes of a Layer III frame of this header with this many
// channels.
int32_t side_info_bytes(const MP3D_Frame_Header &h, int channels);

}  // namespace mp3d

#endif
