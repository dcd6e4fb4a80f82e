// Placeholder until this module is implemented.
#include "decoder/reorder.h"

namespace mp3d {

void III_reorder(int32_t *, const MP3D_Granule_Info *, const MP3D_Frame_Params *,
                 MP3D_Decoder_State *) {}

}  // namespace mp3d
