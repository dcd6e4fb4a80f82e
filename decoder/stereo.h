// Layer III stereo processing: middle/side and intensity stereo.
#ifndef MP3D_STEREO_H
#define MP3D_STEREO_H

#include "decoder/decoder_state.h"

namespace mp3d {

// positions: on entry a copy of the right channel's scale factors; rewritten
// in place into intensity positions (0..6 MPEG-1, 0..30 LSF, 31 = no
// intensity) for the granule's block type.
void set_intensity_illpos(MP3D_Scale_Factors *positions, const MP3D_Granule_Info *right_side_info,
                          MP3D_Decoder_State *state);

// Lays out short-block positions of bands first_band..11 as
// out[3*b - offset + w], then band 11's again at out[36 - offset + w].
void copy_scale_fac_short(const MP3D_Scale_Factors *positions, int16_t *out, int first_band,
                          int offset);

void III_stereo(int32_t *spectral, const MP3D_Scale_Factors *scale_factors,
                const MP3D_Granule_Info *right_side_info, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
