// Lays the decoder out in the application's chunks and points the state at
// the constant tables.
#include "decoder/memory_layout.h"

#include "kernels/memory.h"
#include "tables/dequant_tables.h"
#include "tables/imdct_tables.h"
#include "tables/scale_factor_tables.h"
#include "tables/stereo_tables.h"
#include "tables/stream_tables.h"
#include "tables/synthesis_tables.h"

namespace mp3d {

void MP3D_init_tables(MP3D_Decoder_State *state) {
    state->lut_1_63 = lut_1_63;
    state->lut_1_63_4by3 = lut_1_63_4by3;
    state->scale_fac_table_lf = scale_fac_table_lf;
    state->lut_1by3 = lut_1by3;
    state->lut_2pow1by3 = lut_2pow1by3;

    MP3D_Table_Pointers &t = state->tables;
    t.index_array_III_get_side_info = &index_array_III_get_side_info[0][0];
    t.sfbtable_short_mixed_block = sfbtable_short_mixed_block;
    t.s_freq = s_freq;
    t.bitrate = bitrate;
    t.is_ratio_table = is_ratio_table;
    t.is_ratio_table_root2 = is_ratio_table_root2;
    t.LSF_k_val_table = LSF_k_val_table;
    t.LSF_k_val_table_root2 = LSF_k_val_table_root2;
    t.window_lf = window_lf;
    t.coef_cos_short_interleaved = coef_cos_short_interleaved;
    t.coef_cos_long_interleaved = coef_cos_long_interleaved;
    t.coef_cos_short_root2_interleaved = coef_cos_short_root2_interleaved;
    t.coef_cos_long_root2_interleaved = coef_cos_long_root2_interleaved;
    t.sfbtable = sfbtable;
    t.slen = slen;
    t.sfBandIndex = sfBandIndex;
    t.sfBandIndex_s = sfBandIndex_s;
    t.pretab = pretab;
    t.nr_of_sfb_block = nr_of_sfb_block;
    t.Cs_Ca_tbl_lf = Cs_Ca_tbl_lf;
    t.imdct_win_lf = imdct_win_lf;

    state->MP2D_bitrate = MP2D_bitrate;
}

int32_t MP3D_init_huffman(uint8_t *start, int32_t bytes_left, MP3D_Decode_Config *config,
                          MP3D_Decoder_State *state) {
    // The spectral buffer goes to the chunk marked for it; chunk 1 wins when
    // both are marked. Chunk 0 alone would put it on top of the state, so a
    // request that marks only chunk 0 is refused.
    const MP3D_Mem_Info &chunk1 = config->mem_info[1];
    if (chunk1.spectral_role == 0 || chunk1.base == nullptr) return MP3D_ERROR_INIT;
    state->spectral_buffer = static_cast<int32_t *>(chunk1.base);

    const uintptr_t first = (reinterpret_cast<uintptr_t>(start) + 3) & ~uintptr_t{3};
    uint8_t *p = start + (first - reinterpret_cast<uintptr_t>(start));
    const uint8_t *const end = start + bytes_left;
    if (bytes_left < 0 || end - p < kCarveBytes) return MP3D_ERROR_INIT;

    state->overlap_buffer = reinterpret_cast<int32_t *>(p);
    p += kOverlapBufferBytes;
    state->prev_block_type = reinterpret_cast<uint32_t *>(p);
    p += kPrevBlockTypeBytes;
    state->reservoir_buffer = p;
    p += kReservoirBytes;
    state->lsf_scalefac_buffer = reinterpret_cast<int32_t *>(p);
    p += kLsfScalefacBufferBytes;
    state->is_pos_marks = p;
    p += kIsPosMarksBytes;
    state->synthesis_buffer = reinterpret_cast<int32_t *>(p);
    p += kSynthesisBufferBytes;
    state->pcm_buffer = reinterpret_cast<int32_t *>(p);

    Mp3_memset(state->reservoir_buffer, 0, kReservoirBytes);
    return MP3D_OK;
}

}  // namespace mp3d
