// Frame header parsing, free-format measurement and derived frame parameters.
#ifndef MP3D_FRAME_HEADER_H
#define MP3D_FRAME_HEADER_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t get_frame_params(MP3D_Frame_Header *header, MP3D_Decoder_State *state);
int32_t decode_info(MP3D_Decoder_State *state);
int32_t handle_free_bitrate(MP3D_Decoder_State *state);
void hdr_to_frps(MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
