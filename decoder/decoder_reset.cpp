// The decoder's resets: HandleError after a stream error, Mp3_Decode_Init at
// init.
#include "decoder/decoder_reset.h"

#include "decoder/mp2_alloc_table.h"
#include "kernels/memory.h"

namespace mp3d {

void HandleError(MP3D_Decoder_State *state) {
    Mp3_memset(state->overlap_buffer, 0, kOverlapBufferBytes);
    Mp3_memset(state->prev_block_type, 0, kPrevBlockTypeBytes);

    Mp3_memset(state->reservoir_buffer, 0, kReservoirBytes);
    state->res_window = 0;
    state->res_bits_in_window = 0;
    state->res_read_index = 0;
    state->res_write_index = 0;
    state->res_bits_consumed = 0;
    state->main_data_end = 0;

    state->free_format_slots = 0;
    state->frame_start_bit = 0;
    // The next header is found by searching and must be confirmed.
    state->next_header_known = 0;

    // Bytes already in the window are dropped; reading resumes with the next
    // unread byte of the current input block.
    state->bits_consumed = 0;
    state->end_of_bitstream = 0;
    state->bit_window = 0;
    state->bits_in_window = 0;

    state->granule_index = 0;
}

void Mp3_Decode_Init(MP3D_Decoder_State *state) {
    MP2D_decode_init(state);
    HandleError(state);
    MP3D_Frame_Params *fp = state->frame_params;
    fp->header = &state->header;
    fp->alloc_table_index = -1;
    fp->alloc_table = nullptr;
    state->prev_nonzero_subbands[0] = kSubbands;
    state->prev_nonzero_subbands[1] = kSubbands;
    Mp3_memset(state->synthesis_buffer, 0, kSynthesisBufferBytes);
}

}  // namespace mp3d
