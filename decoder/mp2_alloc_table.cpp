// Layer II allocation tables: the table block in the state, the choice of
// allocation table per frame (ISO/IEC 11172-3 Annex B, Table 3-B.2 a to d, and
// the lower-sampling-frequency table of ISO/IEC 13818-3), and the per-subband
// allocation rows of the table in use.
#include "decoder/mp2_alloc_table.h"

#include "decoder/frame_header.h"
#include "tables/mp2_tables.h"
#include "tables/stream_tables.h"

namespace mp3d {

namespace {

// Table holding the lower-sampling-frequency allocations of ISO/IEC 13818-3.
constexpr int kLsfTable = 4;

int choose_table(const MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    // MPEG-2 LSF and MPEG-2.5 Layer II have a single allocation table.
    if (is_lsf(h)) return kLsfTable;
    const int32_t khz = state->tables.s_freq[h.version][h.sampling_frequency] / 1000;
    // Free format belongs with the high bitrates: table 0 at 48 kHz, table 1
    // at 44.1 and 32 kHz, whatever the measured length.
    if (h.bitrate_index == 0) return khz == 48 ? 0 : 1;
    const int channels = state->frame_params->channels > 1 ? 2 : 1;
    const int32_t br = frame_bitrate_kbps(state) / channels;
    if ((khz == 48 && br >= 56) || (br >= 56 && br <= 80)) return 0;
    if (khz != 48 && br >= 96) return 1;
    if (khz == 32) return 3;
    if (br <= 48) return 2;
    return 3;
}

}  // namespace

void MP2D_decode_init(MP3D_Decoder_State *state) {
    MP3D_Frame_Params *fp = state->frame_params;
    fp->alloc_table_index = -1;
    fp->alloc_table = nullptr;
    MP2D_Table_Block &block = state->mp2_table_block;
    block.sblimit = MP2D_sblimit;
    block.jsb_table = &MP2D_jsb_table[0][0];
    block.alloc_table_array = MP2D_alloc_table_array;
    block.c = MP2D_c;
    block.d = MP2D_d;
    block.multiple = MP2D_multiple;
    block.alloc_count_index = &MP2D_alloc_count_index[0][0];
    state->mp2_tables = &block;
    MP2D_reset_state();
}

void MP2D_reset_state() {}

int32_t MP2D_pick_table(MP3D_Decoder_State *state) {
    MP3D_Frame_Params *fp = state->frame_params;
    const int table = choose_table(state);
    if (table == fp->alloc_table_index) return fp->sb_limit;
    MP2D_initialize_alloc_table(state, table);
    fp->alloc_table = state->mp2_alloc_rows;
    fp->alloc_table_index = static_cast<int16_t>(table);
    return state->mp2_tables->sblimit[table];
}

void MP2D_initialize_alloc_table(MP3D_Decoder_State *state, int table) {
    const uint8_t *record = state->mp2_tables->alloc_count_index + 8 * table;
    int sb = 0;
    for (int r = 0; r < 4; ++r) {
        const int end = record[r];
        for (; sb < end && sb < kSubbands; ++sb) state->mp2_alloc_rows[sb] = record[4 + r];
    }
    for (; sb < kSubbands; ++sb) state->mp2_alloc_rows[sb] = kMp2ZeroRowOffset;
}

}  // namespace mp3d
