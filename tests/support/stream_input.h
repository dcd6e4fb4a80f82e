// Test helper: the stream layer over a byte vector, with read and seek
// callbacks that deliver at most `max_read` bytes per call, and whole
// decodes through it.
#ifndef MP3D_TEST_STREAM_INPUT_H
#define MP3D_TEST_STREAM_INPUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "mp3d_stream.h"

namespace mp3d_test {

struct MemoryFile {
    const std::vector<uint8_t> *data = nullptr;
    int64_t pos = 0;
    int32_t max_read = 1 << 30;
    int64_t reads = 0;
};
int32_t memory_read(void *user, uint8_t *dest, int32_t bytes);
int64_t memory_seek(void *user, int64_t offset, int32_t whence);

// An open stream with its memory (8-byte aligned vectors).
struct OpenStream {
    MemoryFile file;
    std::vector<uint64_t> mem[MP3D_STREAM_MEM_CHUNKS];
    MP3D_Stream *stream = nullptr;
    int32_t status = -1;  // of mp3d_stream_open
    // Opens over data (which must outlive this); seekable unless told not.
    OpenStream(const std::vector<uint8_t> &data, bool seekable = true, int32_t max_read = 1 << 30,
               MP3D_Stream_Config config = {});
    OpenStream(const OpenStream &) = delete;
    MP3D_Stream_Info info() const;
    // Reads up to `samples` samples per channel (all: -1), appending 24-bit
    // words; returns the status that ended the reading.
    int32_t read(std::vector<int32_t> &out, int64_t samples = -1);
    int32_t channels = 0;
};

// The whole stream's 24-bit output through the stream layer.
std::vector<int32_t> decode_all(const std::vector<uint8_t> &data, MP3D_Stream_Config config = {});

// Runs a shell command in a fresh temporary directory, which it returns
// ("" when the command failed).
std::string make_in_temp_dir(const std::string &name, const std::string &command);

}  // namespace mp3d_test

#endif
