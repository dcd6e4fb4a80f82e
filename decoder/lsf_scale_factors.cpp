// Placeholder until this module is implemented.
#include "decoder/lsf_scale_factors.h"

namespace mp3d {

uint32_t III_get_LSF_scale_factors(MP3D_Scale_Factors *, MP3D_Side_Info *, int, int,
                                   MP3D_Decoder_State *) {
    return 0;
}
void III_get_LSF_scale_data(MP3D_Side_Info *, int, int, MP3D_Decoder_State *) {}

}  // namespace mp3d
