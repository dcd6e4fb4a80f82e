// Dequantised magnitudes 0..63 of the big-value kernel per quarter step of
// the exponent, before the band's power of two is applied.
#ifndef MP3D_TABLES_HUFFMAN_MAGNITUDES_H
#define MP3D_TABLES_HUFFMAN_MAGNITUDES_H

#include <cstdint>

namespace mp3d {

// Row r = 0..3, x = 0..63: mulhi_round(lut_1_63_4by3[x], scale_fac_table_lf[r])
// << 32, and for x = 1 scale_fac_table_lf[r] << 23. Shifted right by 26 + q
// (q >= -26) and cut to 32 bits, entry x is the band's magnitude of x.
extern const uint64_t huf_scaled_powers[4][64];

}  // namespace mp3d

#endif
