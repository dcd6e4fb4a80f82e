// Per-line kernel of stereo processing.
#ifndef MP3D_KERNELS_STEREO_LOOP_H
#define MP3D_KERNELS_STEREO_LOOP_H

#include <cstdint>

namespace mp3d {

// segments: count triples (first line, last line, intensity position; 31 =
// no intensity). ratio_table: (k_left, k_right) Q31 pairs by position.
void stereo_loop(int32_t *left, int32_t *right, const int32_t *segments, int ms, int is,
                 int32_t count, const int32_t *ratio_table);

}  // namespace mp3d

#endif
