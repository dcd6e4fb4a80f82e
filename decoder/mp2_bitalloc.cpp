// Placeholder until this module is implemented.
#include "decoder/mp2_bitalloc.h"

namespace mp3d {

void MP2D_decode_bitalloc(uint8_t *, const MP3D_Frame_Params *, MP3D_Decoder_State *) {}
void MP2D_decode_scale(uint8_t *, const uint8_t *, uint8_t (*)[64], const MP3D_Frame_Params *,
                       MP3D_Decoder_State *) {}

}  // namespace mp3d
