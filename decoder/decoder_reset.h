// Resets of the decoder: after a stream error and at init.
#ifndef MP3D_DECODER_RESET_H
#define MP3D_DECODER_RESET_H

#include "decoder/decoder_state.h"

namespace mp3d {

void HandleError(MP3D_Decoder_State *state);
void Mp3_Decode_Init(MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
