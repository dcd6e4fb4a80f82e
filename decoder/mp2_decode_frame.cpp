// Placeholder until this module is implemented.
#include "decoder/mp2_decode_frame.h"

namespace mp3d {

int32_t MP2D_decode_frame(int32_t *output, MP3D_Decoder_State *state) {
    const int n = 1152 * state->frame_params->channels;
    for (int i = 0; i < n; ++i) output[i] = 0;
    return 0;
}

}  // namespace mp3d
