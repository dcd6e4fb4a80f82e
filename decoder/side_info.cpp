// Layer III side information (ISO/IEC 11172-3 2.4.1.7, ISO/IEC 13818-3 2.4.1.7):
// read with the frame bit reader into the state's side-information record.
#include "decoder/side_info.h"

#include "decoder/bit_reader.h"
#include "decoder/frame_header.h"

namespace mp3d {

namespace {

// Reads one granule record. Returns MP3D_ERROR_SIDE_INFO for window switching
// with block type 0, which the standard forbids.
int32_t read_granule(MP3D_Granule_Info *g, bool mpeg1, MP3D_Decoder_State *state) {
    g->part2_3_length = getbits1(12, state);
    g->big_values = getbits1(9, state);
    g->global_gain = getbits1(8, state);
    g->scalefac_compress = getbits1(mpeg1 ? 4 : 9, state);
    g->window_switching_flag = getbits1(1, state);
    if (g->window_switching_flag != 0) {
        g->block_type = getbits1(2, state);
        g->mixed_block_flag = getbits1(1, state);
        g->table_select[0] = getbits1(5, state);
        g->table_select[1] = getbits1(5, state);
        g->subblock_gain[0] = getbits1(3, state);
        g->subblock_gain[1] = getbits1(3, state);
        g->subblock_gain[2] = getbits1(3, state);
        if (g->block_type == 0) return MP3D_ERROR_SIDE_INFO;
        // Window-switching granules carry no region counts; the standard's
        // implicit values (region 1 covers everything above region 0).
        g->region0_count = (g->block_type == 2 && g->mixed_block_flag == 0) ? 8 : 7;
        g->region1_count = 20 - g->region0_count;
    } else {
        g->table_select[0] = getbits1(5, state);
        g->table_select[1] = getbits1(5, state);
        g->table_select[2] = getbits1(5, state);
        g->region0_count = getbits1(4, state);
        g->region1_count = getbits1(3, state);
        g->block_type = 0;
    }
    if (mpeg1) g->preflag = getbits1(1, state);
    g->scalefac_scale = getbits1(1, state);
    g->count1table_select = getbits1(1, state);
    return MP3D_OK;
}

}  // namespace

int32_t III_get_side_info(MP3D_Side_Info *side_info, MP3D_Decoder_State *state) {
    const bool mpeg1 = state->header.version == 1;
    // Row 0: MPEG-1; row 1: MPEG-2 LSF and MPEG-2.5.
    const int32_t *widths = state->tables.index_array_III_get_side_info + (mpeg1 ? 0 : 4);
    const int channels = state->frame_params->channels == 1 ? 1 : 2;
    const int granules = widths[3];

    side_info->main_data_begin = getbits1(widths[0], state);
    side_info->private_bits = getbits1(channels == 1 ? widths[1] : widths[2], state);

    if (mpeg1) {
        for (int ch = 0; ch < channels; ++ch) {
            for (int i = 0; i < 4; ++i) side_info->ch[ch].scfsi[i] = getbits1(1, state);
        }
    }
    // Bitstream order: granules outside, channels inside.
    for (int gr = 0; gr < granules; ++gr) {
        for (int ch = 0; ch < channels; ++ch) {
            const int32_t status = read_granule(&side_info->ch[ch].gr[gr], mpeg1, state);
            if (status != MP3D_OK) return status;
        }
    }
    return MP3D_OK;
}

int32_t side_info_bytes(const MP3D_Frame_Header &h, int channels) {
    if (!is_lsf(h)) return channels == 1 ? 17 : 32;
    return channels == 1 ? 9 : 17;
}

}  // namespace mp3d
