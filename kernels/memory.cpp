// Copy and fill routines of the decoder.
#include "kernels/memory.h"

#include <cstring>

namespace mp3d {

void Mp3_memcopy(void *destination, const void *source, int32_t count) {
    auto *d = static_cast<uint8_t *>(destination);
    const auto *s = static_cast<const uint8_t *>(source);
    if (count <= 0 || d == s) return;
    int32_t i = 0;
    // Whole words when both addresses share their alignment. Each word is read
    // before it is written, and the copy ascends, so a move towards lower
    // addresses is safe even when the areas overlap.
    if (((reinterpret_cast<uintptr_t>(d) ^ reinterpret_cast<uintptr_t>(s)) & 3) == 0) {
        while (i < count && ((reinterpret_cast<uintptr_t>(d + i) & 3) != 0)) {
            d[i] = s[i];
            ++i;
        }
        for (; i + 4 <= count; i += 4) {
            uint32_t w;
            std::memcpy(&w, s + i, 4);
            std::memcpy(d + i, &w, 4);
        }
    }
    for (; i < count; ++i) d[i] = s[i];
}

void Mp3_memset(void *destination, int value, int32_t count) {
    auto *d = static_cast<uint8_t *>(destination);
    const auto b = static_cast<uint8_t>(value);
    for (int32_t i = 0; i < count; ++i) d[i] = b;
}

}  // namespace mp3d
