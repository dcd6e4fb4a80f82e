// Layer III short-block reordering: the three windows of every short
// scale-factor band, stored window after window in the bitstream, are
// interleaved line by line so that the short IMDCT reads window w of subband
// sb at 18 sb + w + 3 k.
#include "decoder/reorder.h"

namespace mp3d {

void III_reorder(int32_t *spectral, const MP3D_Granule_Info *side_info,
                 const MP3D_Frame_Params *frame_params, MP3D_Decoder_State *state) {
    if (side_info->window_switching_flag == 0 || side_info->block_type != 2) return;

    const MP3D_Frame_Header *header = frame_params->header;
    if (header->version < 0 || header->version > 2 || header->sampling_frequency < 0 ||
        header->sampling_frequency > 2)
        return;
    const int k = 3 * header->version + header->sampling_frequency;

    // Band widths of combination k: row k/2, high byte for even k.
    const uint16_t *row = state->tables.sfBandIndex_s[k / 2];
    const int shift = (k & 1) ? 0 : 8;
    int widths[13];
    for (int b = 0; b < 13; ++b) widths[b] = (row[b] >> shift) & 0xFF;

    // Mixed blocks keep the lines below short band 3 in long order.
    int band = 0;
    int p = 0;
    if (side_info->mixed_block_flag) {
        band = 3;
        p = 3 * (widths[0] + widths[1] + widths[2]);
    }

    // Two windows of the widest band (66 lines) fit easily in the PCM
    // buffer, which is free between the previous channel's output copy and
    // this channel's synthesis.
    int32_t *scratch = state->pcm_buffer;
    int32_t *x = spectral;
    for (; band < 13; ++band) {
        const int w = widths[band];
        if (w == 0) continue;
        for (int i = 0; i < w; ++i) {
            scratch[2 * i] = x[p + i];
            scratch[2 * i + 1] = x[p + w + i];
        }
        // Window 2 moves down in place: its destination never passes its
        // source (3i + 2 <= 2w + i for i < w).
        for (int i = 0; i < w; ++i) x[p + 3 * i + 2] = x[p + 2 * w + i];
        for (int i = 0; i < w; ++i) {
            x[p + 3 * i] = scratch[2 * i];
            x[p + 3 * i + 1] = scratch[2 * i + 1];
        }
        p += 3 * w;
    }
}

}  // namespace mp3d
