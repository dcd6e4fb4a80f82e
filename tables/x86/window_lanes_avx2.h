// window_lf rearranged for the AVX2 synthesis window (generated table).
#ifndef MP3D_TABLES_X86_WINDOW_LANES_AVX2_H
#define MP3D_TABLES_X86_WINDOW_LANES_AVX2_H

#include <cstdint>

namespace mp3d {

// [b][m][l]: word m of the 20-word block of output pair j = 8b + l, so that
// one 256-bit load gives word m of eight outputs.
extern const int32_t window_lf_lanes[2][20][8];

}  // namespace mp3d

#endif  // MP3D_TABLES_X86_WINDOW_LANES_AVX2_H
