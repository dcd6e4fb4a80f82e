// The steps of one decode call: header step, Layer III granule, end of frame.
#ifndef MP3D_FRAME_CYCLE_H
#define MP3D_FRAME_CYCLE_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t Mp3_Decode_Info(MP3D_Decoder_State *state);
int32_t Mp3_Decode_Frame(int32_t *output, MP3D_Decoder_State *state);
int32_t Mp3_Decode_End(MP3D_Decoder_State *state);
// Length in bytes of the current Layer II frame, padding included.
int32_t Mp2_frame_bytes(const MP3D_Decoder_State *state);
// Skips to the end of a decoded Layer II frame; a frame found by searching
// is confirmed there (36, its PCM zeroed, when it fails).
int32_t Mp2_Decode_End(int32_t *output, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
