// Placeholder until this module is implemented.
#include "kernels/huffman_dequant.h"

namespace mp3d {

int32_t dequant_greaterthan63(int32_t, int32_t, int32_t, MP3D_Decoder_State *) {
    return 0;
}

}  // namespace mp3d
