// Layer II frame decode through the shared synthesis.
#ifndef MP3D_MP2_DECODE_FRAME_H
#define MP3D_MP2_DECODE_FRAME_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t MP2D_decode_frame(int32_t *output, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
