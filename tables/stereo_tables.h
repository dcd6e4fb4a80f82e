// Intensity-stereo factor pairs (k_left, k_right), Q31.
#ifndef MP3D_TABLES_STEREO_TABLES_H
#define MP3D_TABLES_STEREO_TABLES_H

#include <cstdint>

namespace mp3d {

extern const int32_t is_ratio_table[14];
extern const int32_t is_ratio_table_root2[14];
extern const int32_t LSF_k_val_table[28];
extern const int32_t LSF_k_val_table_root2[28];
// LSF rows extended to every legal intensity position 0..30 (31 pairs per
// row; pairs 0..6 equal the rows above).
extern const int32_t LSF_k_val_table_full[2][62];
extern const int32_t LSF_k_val_table_root2_full[2][62];

}  // namespace mp3d

#endif
