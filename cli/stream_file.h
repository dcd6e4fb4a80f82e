// The tool's files opened through the stream layer (libmp3d_stream): tags
// skipped, the information frame read, gapless trimming, seeking.
#ifndef MP3D_CLI_STREAM_FILE_H
#define MP3D_CLI_STREAM_FILE_H

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "harness/decode_run.h"
#include "mp3d_stream.h"

namespace mp3d_tools {

class StreamFile {
  public:
    // Opens the stream over `input`, reading at most `block` bytes per read
    // (regular files also get a seek callback). Reads stop (as at the end of
    // the input) once *stop is non-zero. Returns the stream layer's code.
    int32_t open(std::FILE *input, size_t block, bool gapless,
                 const volatile std::sig_atomic_t *stop = nullptr);
    StreamFile() = default;
    StreamFile(const StreamFile &) = delete;
    StreamFile &operator=(const StreamFile &) = delete;

    MP3D_Stream *stream() const { return stream_; }
    const MP3D_Stream_Info &info() const { return info_; }
    bool read_failed() const { return read_failed_; }
    uint64_t bytes_read() const;
    // The counters in the form the tool reports them.
    DecodeStats stats() const;

  private:
    static int32_t read(void *user, uint8_t *dest, int32_t bytes);
    static int64_t seek(void *user, int64_t offset, int32_t whence);

    std::FILE *input_ = nullptr;
    size_t block_ = 0;
    const volatile std::sig_atomic_t *stop_ = nullptr;
    bool read_failed_ = false;
    std::vector<uint64_t> memory_[MP3D_STREAM_MEM_CHUNKS];
    MP3D_Stream *stream_ = nullptr;
    MP3D_Stream_Info info_{};
};

// Name of the information frame kind ("Xing", "Info", "VBRI").
const char *info_frame_name(int32_t kind);

}  // namespace mp3d_tools

#endif
