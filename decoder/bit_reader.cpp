// Placeholder until this module is implemented.
#include "decoder/bit_reader.h"

namespace mp3d {

uint8_t readword(MP3D_Decoder_State *) {
    return 0;
}
void getword(MP3D_Decoder_State *) {}
uint32_t getbits1(int, MP3D_Decoder_State *) {
    return 0;
}
uint32_t sstell1(const MP3D_Decoder_State *state) {
    return state->bits_consumed;
}
int32_t end_bs1(const MP3D_Decoder_State *state) {
    return state->end_of_bitstream;
}
int seek_sync(uint32_t, int, MP3D_Decoder_State *) {
    return 0;
}

}  // namespace mp3d
