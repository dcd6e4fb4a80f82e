// Frame bit reader over the application's input blocks, and the sync search.
#ifndef MP3D_BIT_READER_H
#define MP3D_BIT_READER_H

#include "decoder/decoder_state.h"

namespace mp3d {

uint8_t readword(MP3D_Decoder_State *state);          // next input byte, 0 at the end
void getword(MP3D_Decoder_State *state);              // two more bytes into the window
uint32_t getbits1(int n, MP3D_Decoder_State *state);  // next n bits (1..16), MSB first
uint32_t sstell1(const MP3D_Decoder_State *state);    // bits_consumed
int32_t end_bs1(const MP3D_Decoder_State *state);     // end_of_bitstream
// 1 when the n-bit pattern was found at one of the next 301 byte boundaries.
int seek_sync(uint32_t sync, int n, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
