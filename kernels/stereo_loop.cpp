// Placeholder until this module is implemented.
#include "kernels/stereo_loop.h"

namespace mp3d {

void stereo_loop(int32_t *, int32_t *, const int32_t *, int, int, int32_t, const int32_t *) {}

}  // namespace mp3d
