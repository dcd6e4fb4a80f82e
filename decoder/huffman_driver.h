// Layer III Huffman decoding driver: bands, exponents, regions, bit accounting.
#ifndef MP3D_HUFFMAN_DRIVER_H
#define MP3D_HUFFMAN_DRIVER_H

#include "decoder/decoder_state.h"

namespace mp3d {

int32_t III_hufman_decode_dequant_main(int32_t *spectral, MP3D_Side_Info *side_info,
                                       const MP3D_Scale_Factors *scalefac, int ch, int gr,
                                       uint32_t part2_bits, MP3D_Decoder_State *state);
// region_info: start of region 1, start of region 2, number of decoding bands.
int32_t III_Get_Region_and_Band_Info(int32_t *region_info, const int16_t **band_table,
                                     const MP3D_Granule_Info *granule, MP3D_Decoder_State *state);
void Huf_dec_dequant_exponents(int32_t *exponents, const MP3D_Granule_Info *granule,
                               const MP3D_Scale_Factors *scalefac_ch, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
