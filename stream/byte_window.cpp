#include "stream/byte_window.h"

#include <cstring>

namespace mp3d_stream {

void window_init(ByteWindow &w, const MP3D_Stream_Config &config, uint8_t *buffer,
                 int32_t capacity) {
    w = ByteWindow{};
    w.read = config.read;
    w.seek = config.seek;
    w.user = config.user;
    w.data = buffer;
    w.capacity = capacity;
}

namespace {

// Reads until the buffer holds want bytes or the input ends; reads fill the
// whole free buffer so that sequential access makes few calls.
void fill(ByteWindow &w, int32_t want) {
    while (w.size < want && !w.source_end && !w.failed) {
        const int32_t got = w.read(w.user, w.data + w.size, w.capacity - w.size);
        ++w.reads;
        if (got < 0 || got > w.capacity - w.size) {
            w.failed = true;
        } else if (got == 0) {
            w.source_end = true;
        } else {
            w.size += got;
            w.bytes_read += got;
        }
    }
}

bool reposition(ByteWindow &w, int64_t offset) {
    ++w.seeks;
    if (w.seek(w.user, offset, 0) != offset) {
        w.failed = true;
        return false;
    }
    w.base = offset;
    w.size = 0;
    w.source_end = false;
    return true;
}

}  // namespace

int32_t window_fetch(ByteWindow &w, int64_t offset, int32_t want, const uint8_t **bytes) {
    if (want > w.capacity) want = w.capacity;
    if (w.failed || offset < 0) return 0;
    const int64_t held_end = w.base + w.size;
    if (offset < w.base) {
        if (w.seek == nullptr || !reposition(w, offset)) return 0;
        fill(w, want);
    } else if (offset + want > held_end) {
        if (offset > held_end) {
            // Far ahead: seek there; near: read on and drop what lies between.
            if (w.seek != nullptr && offset - held_end > w.capacity / 2) {
                if (!reposition(w, offset)) return 0;
            } else {
                int64_t gap = offset - held_end;
                w.base = held_end;
                w.size = 0;
                while (gap > 0 && !w.source_end && !w.failed) {
                    fill(w, gap < w.capacity ? static_cast<int32_t>(gap) : w.capacity);
                    const int32_t drop = gap < w.size ? static_cast<int32_t>(gap) : w.size;
                    std::memmove(w.data, w.data + drop, static_cast<size_t>(w.size - drop));
                    w.size -= drop;
                    w.base += drop;
                    gap -= drop;
                }
                if (gap > 0) return 0;
            }
        } else {
            // Keep the bytes from offset on, at the front, and read behind them.
            const int32_t keep = static_cast<int32_t>(held_end - offset);
            std::memmove(w.data, w.data + (offset - w.base), static_cast<size_t>(keep));
            w.base = offset;
            w.size = keep;
        }
        fill(w, want);
    }
    const int64_t available = w.base + w.size - offset;
    *bytes = w.data + (offset - w.base);
    return available < want ? static_cast<int32_t>(available) : want;
}

int64_t window_input_size(ByteWindow &w) {
    if (w.seek == nullptr) return -1;
    ++w.seeks;
    const int64_t size = w.seek(w.user, 0, 2);
    // The callbacks now stand at the end: what the buffer holds is dropped.
    w.base = size < 0 ? 0 : size;
    w.size = 0;
    w.source_end = false;
    if (size < 0) w.failed = true;
    return size;
}

}  // namespace mp3d_stream
