// Layer II sample requantisation of one granule (3 samples per subband).
#ifndef MP3D_MP2_DEQUANTIZE_H
#define MP3D_MP2_DEQUANTIZE_H

#include "decoder/decoder_state.h"

namespace mp3d {

// blocks: one 96-sample block per channel (sample i of subband sb at 32*i + sb).
void MP2D_dequantize_sample(int32_t *const *blocks, const uint8_t *allocation,
                            const uint8_t *scalefactor_plane, const MP3D_Frame_Params *frame_params,
                            MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
