// Placeholder until this module is implemented.
#include "decoder/frame_header.h"

namespace mp3d {

int32_t get_frame_params(MP3D_Frame_Header *, MP3D_Decoder_State *) {
    return 36;
}
int32_t decode_info(MP3D_Decoder_State *) {
    return 36;
}
int32_t handle_free_bitrate(MP3D_Decoder_State *) {
    return 39;
}
void hdr_to_frps(MP3D_Decoder_State *) {}

}  // namespace mp3d
