// Cube roots of the smaller escape values, as the division-free cube root
// computes them.
#ifndef MP3D_TABLES_HUFFMAN_CUBE_ROOTS_H
#define MP3D_TABLES_HUFFMAN_CUBE_ROOTS_H

#include <cstdint>

namespace mp3d {

// Entry v - kHufCubeRootFirst: v^(1/3) * 2^26 for v = kHufCubeRootFirst ..
// kHufCubeRootEnd - 1, bit for bit the result of the tangent table and its
// two correction steps.
inline constexpr int32_t kHufCubeRootFirst = 64;
inline constexpr int32_t kHufCubeRootEnd = 256;
extern const int32_t huf_cube_roots[kHufCubeRootEnd - kHufCubeRootFirst];

}  // namespace mp3d

#endif
