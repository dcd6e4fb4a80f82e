// Copy and fill routines of the decoder.
#include "kernels/memory.h"

#include <cstring>

namespace mp3d {

void Mp3_memcopy(void *destination, const void *source, int32_t count) {
    // memmove gives the result of the ascending copy for every move towards
    // lower addresses (the decoder's only overlapping use) and is safe for
    // any overlap; the C library copies whole words or more at a time.
    if (count <= 0 || destination == source) return;
    std::memmove(destination, source, static_cast<size_t>(count));
}

namespace {

// Eight words per step; count is a multiple of 8 for every caller (kSpectralWords), the
// tail loop covers any other count.
template <int kStride, int kShift>
void deliver(int32_t *d, const int32_t *pcm, int32_t count) {
    int32_t j = 0;
    for (; j + 8 <= count; j += 8, pcm += 8, d += 8 * kStride) {
        int32_t v[8];
        for (int k = 0; k < 8; ++k) v[k] = pcm[k];
        for (int k = 0; k < 8; ++k) d[kStride * k] = v[k] >> kShift;
    }
    for (; j < count; ++j, ++pcm, d += kStride) *d = *pcm >> kShift;
}

}  // namespace

void Mp3_pcm_deliver(int32_t *destination, const int32_t *pcm, int32_t count, int stride,
                     int32_t no_shift) {
    if (stride == 2) {
        if (no_shift != 0)
            deliver<2, 0>(destination, pcm, count);
        else
            deliver<2, 8>(destination, pcm, count);
    } else {
        if (no_shift != 0)
            deliver<1, 0>(destination, pcm, count);
        else
            deliver<1, 8>(destination, pcm, count);
    }
}

void Mp3_memset(void *destination, int value, int32_t count) {
    auto *d = static_cast<uint8_t *>(destination);
    const auto b = static_cast<uint8_t>(value);
    for (int32_t i = 0; i < count; ++i) d[i] = b;
}

}  // namespace mp3d
