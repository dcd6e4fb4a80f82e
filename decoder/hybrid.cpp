// Placeholder until this module is implemented.
#include "decoder/hybrid.h"

namespace mp3d {

void III_hybrid(int32_t *, int32_t *, int, const MP3D_Granule_Info *, MP3D_Decoder_State *) {}

}  // namespace mp3d
