// Dequantisation tables: powers 4/3, quarter powers of two, cube roots.
#ifndef MP3D_TABLES_DEQUANT_TABLES_H
#define MP3D_TABLES_DEQUANT_TABLES_H

#include <cstdint>

namespace mp3d {

extern const int32_t lut_1_63[63];        // x^(1/3) * 2^26, x = 1..63
extern const int32_t lut_1_63_4by3[64];   // round(x^(4/3) * 2^23), x = 0..63
extern const int32_t scale_fac_table_lf[5];
extern const uint32_t lut_1by3[64];       // slope (high half) and intercept (low half)
extern const int32_t lut_2pow1by3[16];    // 2^(k/3) * 2^26

}  // namespace mp3d

#endif
