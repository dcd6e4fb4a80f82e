// Placeholder until this module is implemented.
#include "kernels/huffman_dequant.h"

namespace mp3d {

uint32_t Huf_dec_dequant_region_pair(int32_t *, const MP3D_Pair_Region *, MP3D_Decoder_State *,
                                     int32_t *, int32_t *) {
    return 0;
}

}  // namespace mp3d
