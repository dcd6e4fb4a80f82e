// Layer II bit allocation, scale-factor selection and scale factors.
#ifndef MP3D_MP2_BITALLOC_H
#define MP3D_MP2_BITALLOC_H

#include "decoder/decoder_state.h"

namespace mp3d {

void MP2D_decode_bitalloc(uint8_t *allocation, const MP3D_Frame_Params *frame_params,
                          MP3D_Decoder_State *state);
void MP2D_decode_scale(uint8_t *scfsi, const uint8_t *allocation, uint8_t (*scalefactors)[64],
                       const MP3D_Frame_Params *frame_params, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
