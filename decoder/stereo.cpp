// Placeholder until this module is implemented.
#include "decoder/stereo.h"

namespace mp3d {

void III_stereo(int32_t *, const MP3D_Scale_Factors *, const MP3D_Granule_Info *,
                MP3D_Decoder_State *) {}

}  // namespace mp3d
