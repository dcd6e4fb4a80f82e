// Layer II allocation and requantisation tables.
#ifndef MP3D_TABLES_MP2_TABLES_H
#define MP3D_TABLES_MP2_TABLES_H

#include <cstdint>

namespace mp3d {

extern const uint8_t MP2D_alloc_table_array[112];
extern const uint8_t MP2D_alloc_count_index[5][8];
extern const int32_t MP2D_sblimit[5];
extern const int32_t MP2D_c[17];
extern const int32_t MP2D_d[17];
extern const int32_t MP2D_multiple[64];

inline constexpr uint8_t kMp2ZeroRowOffset = 96;

}  // namespace mp3d

#endif
