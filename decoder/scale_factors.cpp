// Placeholder until this module is implemented.
#include "decoder/scale_factors.h"

namespace mp3d {

uint32_t III_get_scale_factors(MP3D_Scale_Factors *, const MP3D_Side_Info *, int, int,
                               MP3D_Decoder_State *) {
    return 0;
}
void fill_scale_factors_short(int16_t (*)[13], uint32_t, const int32_t *, MP3D_Decoder_State *) {}

}  // namespace mp3d
