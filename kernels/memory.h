// Copy and fill routines of the decoder.
#ifndef MP3D_KERNELS_MEMORY_H
#define MP3D_KERNELS_MEMORY_H

#include <cstdint>

namespace mp3d {

// Copies count bytes in ascending address order (whole words when source and
// destination share their alignment), so an overlapping move towards lower
// addresses is safe.
void Mp3_memcopy(void *destination, const void *source, int32_t count);
// Sets count bytes to the byte value.
void Mp3_memset(void *destination, int value, int32_t count);

}  // namespace mp3d

#endif
