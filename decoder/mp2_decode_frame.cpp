// One whole Layer II frame (1152 samples per channel): allocation and scale
// factors, twelve granules of requantised samples, and the polyphase synthesis
// shared with Layer III, fed half a frame (18 samples per subband) at a time in
// the layout of a Layer III granule.
#include "decoder/mp2_decode_frame.h"

#include "decoder/frame_cycle.h"
#include "decoder/kernel_select.h"
#include "decoder/mp2_bitalloc.h"
#include "decoder/mp2_dequantize.h"
#include "kernels/memory.h"

namespace mp3d {

namespace {

constexpr int kHalfSamples = 576;  // 18 time slots x 32 subbands

// Time-major samples (slot t of subband sb at 32*t + sb, Q28) into the
// subband-major Q26 layout of the synthesis. The DCT stage inverts the sign of
// odd subbands at odd time slots (the frequency inversion that Layer III
// needs); inverting them here first lets Layer II samples through unchanged.
void reorder_half(const int32_t *samples, int32_t *scratch) {
    for (int sb = 0; sb < 32; ++sb) {
        for (int t = 0; t < 18; ++t) {
            const int32_t v = samples[32 * t + sb] >> 2;
            scratch[18 * sb + t] = ((sb & t & 1) != 0) ? -v : v;
        }
    }
}

}  // namespace

int32_t MP2D_decode_frame(int32_t *output, MP3D_Decoder_State *state) {
    const MP3D_Frame_Params *fp = state->frame_params;
    const int channels = fp->channels > 1 ? 2 : 1;

    // Working storage of this call (about 9 KB).
    int32_t samples[2 * kHalfSamples];
    int32_t scratch[kHalfSamples];
    int32_t staging[kHalfSamples];

    MP2D_decode_bitalloc(state->mp2_allocation, fp, state);
    MP2D_decode_scale(state->mp2_scfsi, state->mp2_allocation, state->mp2_scalefactors, fp, state);

    for (int h = 0; h < 2; ++h) {
        for (int g = 0; g < 6; ++g) {
            const int granule = 6 * h + g;
            int32_t *const blocks[2] = {samples + 96 * g, samples + kHalfSamples + 96 * g};
            MP2D_dequantize_sample(blocks, state->mp2_allocation,
                                   state->mp2_scalefactors[granule / 4], fp, state);
        }
        for (int ch = 0; ch < channels; ++ch) {
            int32_t *x = samples + kHalfSamples * ch;
            reorder_half(x, scratch);
            Mp3_memcopy(x, scratch, static_cast<int32_t>(sizeof(scratch)));
            int32_t *synthesis = state->synthesis_buffer + 768 * ch;
            for (int hh = 0; hh < 2; ++hh) {
                int32_t *pcm = staging + 288 * hh;
                state->kernels->subband_dct9(x, hh, synthesis);
                state->kernels->polyphase_window(synthesis, pcm, state->tables.window_lf);
            }
            // Output shift and interleaving in one pass.
            Mp3_pcm_deliver(output + channels * kHalfSamples * h + ch, staging, kHalfSamples,
                            channels, state->config->pcm_no_shift);
        }
    }
    return 0;
}

}  // namespace mp3d
