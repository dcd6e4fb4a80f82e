// MPEG-1 Layer III scale factors.
#ifndef MP3D_SCALE_FACTORS_H
#define MP3D_SCALE_FACTORS_H

#include "decoder/decoder_state.h"

namespace mp3d {

// scalefac: both channels' records. Returns the bits consumed.
uint32_t III_get_scale_factors(MP3D_Scale_Factors *scalefac, const MP3D_Side_Info *side_info,
                               int gr, int ch, MP3D_Decoder_State *state);
void fill_scale_factors_short(int16_t (*scalefac_s)[13], uint32_t scalefac_compress,
                              const int32_t *bounds, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
