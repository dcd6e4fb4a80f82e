// Placeholder until this module is implemented.
#include "decoder/side_info.h"

namespace mp3d {

int32_t III_get_side_info(MP3D_Side_Info *, MP3D_Decoder_State *) {
    return 0;
}

}  // namespace mp3d
