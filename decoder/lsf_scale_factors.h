// MPEG-2 LSF and MPEG-2.5 Layer III scale factors.
#ifndef MP3D_LSF_SCALE_FACTORS_H
#define MP3D_LSF_SCALE_FACTORS_H

#include "decoder/decoder_state.h"

namespace mp3d {

// scalefac: both channels' records. Returns the bits consumed.
uint32_t III_get_LSF_scale_factors(MP3D_Scale_Factors *scalefac, MP3D_Side_Info *side_info, int gr,
                                   int ch, MP3D_Decoder_State *state);
void III_get_LSF_scale_data(MP3D_Side_Info *side_info, int gr, int ch, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
