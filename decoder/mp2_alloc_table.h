// Layer II allocation-table choice and per-subband allocation rows.
#ifndef MP3D_MP2_ALLOC_TABLE_H
#define MP3D_MP2_ALLOC_TABLE_H

#include "decoder/decoder_state.h"

namespace mp3d {

void MP2D_decode_init(MP3D_Decoder_State *state);
void MP2D_reset_state();
int32_t MP2D_pick_table(MP3D_Decoder_State *state);
void MP2D_initialize_alloc_table(MP3D_Decoder_State *state, int table);

}  // namespace mp3d

#endif
