// Placeholder until this module is implemented.
#include "decoder/huffman_driver.h"

namespace mp3d {

int32_t III_hufman_decode_dequant_main(int32_t *spectral, MP3D_Side_Info *,
                                       const MP3D_Scale_Factors *, int, int, uint32_t,
                                       MP3D_Decoder_State *) {
    for (int i = 0; i < 576; ++i) spectral[i] = 0;
    return 0;
}
int32_t III_Get_Region_and_Band_Info(int32_t *, const int16_t **, const MP3D_Granule_Info *,
                                     MP3D_Decoder_State *) {
    return 0;
}
void Huf_dec_dequant_exponents(int32_t *, const MP3D_Granule_Info *, const MP3D_Scale_Factors *,
                               MP3D_Decoder_State *) {}

}  // namespace mp3d
