// Layer III stereo processing: middle/side and intensity stereo.
#ifndef MP3D_STEREO_H
#define MP3D_STEREO_H

#include "decoder/decoder_state.h"

namespace mp3d {

void III_stereo(int32_t *spectral, const MP3D_Scale_Factors *scale_factors,
                const MP3D_Granule_Info *right_side_info, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
