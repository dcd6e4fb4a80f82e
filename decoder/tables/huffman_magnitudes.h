// Dequantised magnitudes 0..63 of the big-value kernel per quarter step of
// the exponent, before the band's power of two is applied.
#ifndef MP3D_TABLES_HUFFMAN_MAGNITUDES_H
#define MP3D_TABLES_HUFFMAN_MAGNITUDES_H

#include <cstdint>

namespace mp3d {

// mulhi_round(lut_1_63_4by3[x], scale_fac_table_lf[r]): row r = 0..3, x = 0..63.
extern const int32_t huf_scaled_powers[4][64];

}  // namespace mp3d

#endif
