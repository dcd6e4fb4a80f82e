// Layer III main-data reservoir: append, bit reader, positioning, compaction.
#ifndef MP3D_RESERVOIR_H
#define MP3D_RESERVOIR_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t main_data_slots(MP3D_Decoder_State *state);
void hputbuf(int32_t n, MP3D_Decoder_State *state);
void hinitbuf(MP3D_Decoder_State *state);
void hgetword(MP3D_Decoder_State *state);
uint32_t hgetbits(int n, MP3D_Decoder_State *state);
int32_t hsstell(const MP3D_Decoder_State *state);
void hputbyte(MP3D_Decoder_State *state);
void rewindNbits(int32_t n, MP3D_Decoder_State *state);
void rewindNbytes(int32_t n, MP3D_Decoder_State *state);
int32_t hwrapbuf(MP3D_Decoder_State *state);  // 0, or 1 when read past the data
// Appends the frame's main data and positions the reader on its start:
// 0, or MP3D_ERROR_MAIN_DATA.
int32_t III_main_data_position(MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
