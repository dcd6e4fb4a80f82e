// Polyphase synthesis tables: packed window and DCT coefficients.
#ifndef MP3D_TABLES_SYNTHESIS_TABLES_H
#define MP3D_TABLES_SYNTHESIS_TABLES_H

#include <cstdint>

namespace mp3d {

alignas(8) extern const int32_t window_lf[318];  // 8-byte aligned
extern const int32_t dct32_II_coeff[24];
extern const int32_t dct8_II_coeff[10];

}  // namespace mp3d

#endif
