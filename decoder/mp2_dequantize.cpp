// Placeholder until this module is implemented.
#include "decoder/mp2_dequantize.h"

namespace mp3d {

void MP2D_dequantize_sample(int32_t *const *, const uint8_t *, const uint8_t *,
                            const MP3D_Frame_Params *, MP3D_Decoder_State *) {}

}  // namespace mp3d
