// Placeholder until this module is implemented.
#include "decoder/reservoir.h"

namespace mp3d {

int32_t main_data_slots(MP3D_Decoder_State *) {
    return 0;
}
void hputbuf(int32_t, MP3D_Decoder_State *) {}
void hinitbuf(MP3D_Decoder_State *) {}
void hgetword(MP3D_Decoder_State *) {}
uint32_t hgetbits(int, MP3D_Decoder_State *) {
    return 0;
}
int32_t hsstell(const MP3D_Decoder_State *state) {
    return state->res_bits_consumed;
}
void hputbyte(MP3D_Decoder_State *) {}
void rewindNbits(int32_t, MP3D_Decoder_State *) {}
void rewindNbytes(int32_t, MP3D_Decoder_State *) {}
int32_t hwrapbuf(MP3D_Decoder_State *) {
    return 0;
}
int32_t III_main_data_position(MP3D_Decoder_State *) {
    return 0;
}

}  // namespace mp3d
