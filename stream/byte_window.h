// Random access to the application's input through its read and seek
// callbacks, over one buffer: the bytes last read stay available, a request
// beyond them reads on (or seeks, when that skips much), a request before
// them seeks back.
#ifndef MP3D_STREAM_BYTE_WINDOW_H
#define MP3D_STREAM_BYTE_WINDOW_H

#include <cstdint>

#include "mp3d_stream.h"

namespace mp3d_stream {

struct ByteWindow {
    MP3D_Stream_Read read;
    MP3D_Stream_Seek seek;  // null: forward only
    void *user;
    uint8_t *data;
    int32_t capacity;
    int64_t base;        // input offset of data[0]
    int32_t size;        // bytes held; the callbacks stand at base + size
    bool source_end;     // the read callback reported the end at base + size
    bool failed;         // a callback reported an error
    int64_t bytes_read;  // delivered by the read callback, in all
    int64_t reads;       // read callbacks made
    int64_t seeks;       // seek callbacks made
};

void window_init(ByteWindow &w, const MP3D_Stream_Config &config, uint8_t *buffer,
                 int32_t capacity);

// Makes the bytes [offset, offset + want) available (want <= capacity) and
// points *bytes at them. Returns how many are there: want, fewer at the end
// of the input, 0 also when offset lies behind a forward-only input's
// position or a callback failed (w.failed).
int32_t window_fetch(ByteWindow &w, int64_t offset, int32_t want, const uint8_t **bytes);

// Input length through the seek callback (-1 without one, or on failure).
int64_t window_input_size(ByteWindow &w);

}  // namespace mp3d_stream

#endif
