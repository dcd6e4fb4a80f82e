// Copy and fill routines of the decoder, and the delivery of PCM words into
// the caller's buffer.
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

// Delivers count PCM words to the caller's buffer: word j of pcm goes to
// destination[stride * j] (stride 1 for one channel, 2 for interleaved
// stereo), shifted right arithmetically by 8 bits unless no_shift is
// non-zero (24-bit output words instead of 16-bit ones).
void Mp3_pcm_deliver(int32_t *destination, const int32_t *pcm, int32_t count, int stride,
                     int32_t no_shift);

}  // namespace mp3d

#endif
