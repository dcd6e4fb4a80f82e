// One whole Layer II frame (1152 samples per channel): allocation and scale
// factors, twelve granules of requantised samples, and the polyphase synthesis
// shared with Layer III, fed half a frame (18 samples per subband) at a time in
// the layout of a Layer III granule.
#include "decoder/mp2_decode_frame.h"

#include "decoder/frame_cycle.h"
#include "decoder/mp2_bitalloc.h"
#include "decoder/mp2_dequantize.h"
#include "kernels/kernel_set.h"

namespace mp3d {

int32_t MP2D_decode_frame(int32_t *output, MP3D_Decoder_State *state) {
    const MP3D_Frame_Params *fp = state->frame_params;
    const int channels = fp->channels > 1 ? 2 : 1;

    // Working storage of this call (about 8 KB): the synthesis input of half
    // a frame per channel (sample t of subband sb at 18*sb + t, Q26) and the
    // frame's plan.
    int32_t samples[2 * kSpectralWords];
    Mp2Plan plan;

    MP2D_decode_bitalloc(state->mp2_allocation, fp, state);
    MP2D_decode_scale(state->mp2_scfsi, state->mp2_allocation, state->mp2_scalefactors, fp, state);
    const uint8_t *const planes[3] = {state->mp2_scalefactors[0], state->mp2_scalefactors[1],
                                      state->mp2_scalefactors[2]};
    MP2D_build_plan(&plan, state->mp2_allocation, planes, fp, state);

    // Subbands without samples stay zero for the whole frame; the others are
    // rewritten by every granule.
    for (int ch = 0; ch < channels; ++ch) {
        for (int sb = 0; sb < kSubbands; ++sb) {
            if ((plan.written[ch] >> sb & 1u) != 0) continue;
            for (int t = 0; t < 18; ++t) samples[kSpectralWords * ch + 18 * sb + t] = 0;
        }
    }

    for (int h = 0; h < 2; ++h) {
        MP2D_dequantize_half(samples, &plan, h, state);
        for (int ch = 0; ch < channels; ++ch) {
            int32_t *synthesis = state->synthesis_buffer + kSynthesisWords * ch;
            // The window writes straight into the caller's buffer,
            // interleaved and shifted.
            int32_t *out = output + channels * kSpectralWords * h + ch;
            for (int hh = 0; hh < 2; ++hh) {
                state->kernels->subband_dct9(samples + kSpectralWords * ch, hh, synthesis);
                state->kernels->polyphase_window(
                    synthesis, out + channels * kHalfGranuleSamples * hh, channels,
                    state->config->pcm_no_shift, state->tables.window_lf);
            }
        }
    }
    return 0;
}

}  // namespace mp3d
