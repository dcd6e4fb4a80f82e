// WAV (RIFF, integer PCM) output for the decoder's words.
#ifndef MP3D_TOOLS_WAV_WRITER_H
#define MP3D_TOOLS_WAV_WRITER_H

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace mp3d_tools {

// The 44-byte canonical header. data_bytes of 0xFFFFFFFF marks a stream of
// unknown length (the RIFF size is then 0xFFFFFFFF too).
std::array<uint8_t, 44> wav_header(uint32_t sample_rate, uint16_t channels, uint16_t bits,
                                   uint32_t data_bytes);

// Writes decoder words as 16-bit or 24-bit little-endian PCM. The file is
// created with the first block of samples, so nothing is written for a
// stream that decodes to nothing; sizes are patched when it is finished. On
// a stream that cannot seek (stdout) the header carries maximal sizes.
class WavWriter {
  public:
    WavWriter(std::string path, uint16_t bits) : path_(std::move(path)), bits_(bits) {}
    ~WavWriter();
    WavWriter(const WavWriter &) = delete;
    WavWriter &operator=(const WavWriter &) = delete;

    // Appends one call's words laid out with `channels` channels. The file's
    // rate and channel count are those of the first call; later calls with
    // another channel count are converted (mono doubled, stereo averaged).
    bool write(const int32_t *words, size_t count, int channels, uint32_t sample_rate);
    // Patches the sizes and closes; false on any write error.
    bool finish();

    bool opened() const { return file_ != nullptr; }
    bool converted_channels() const { return converted_; }
    uint64_t frames_written() const { return frames_; }  // sample frames
    const std::string &error() const { return error_; }

  private:
    bool open(int channels, uint32_t sample_rate);
    bool fail(const std::string &what);

    std::string path_;
    uint16_t bits_;
    std::FILE *file_ = nullptr;
    bool is_stdout_ = false;
    int channels_ = 0;
    uint64_t frames_ = 0;
    bool converted_ = false;
    bool failed_ = false;
    std::string error_;
    std::vector<uint8_t> buffer_;
};

// Writes words unchanged as little-endian signed 32-bit ("-" for stdout),
// creating the file with the first block.
class RawWriter {
  public:
    explicit RawWriter(std::string path) : path_(std::move(path)) {}
    ~RawWriter();
    RawWriter(const RawWriter &) = delete;
    RawWriter &operator=(const RawWriter &) = delete;
    bool write(const int32_t *words, size_t count);
    bool finish();
    bool opened() const { return file_ != nullptr; }
    const std::string &error() const { return error_; }

  private:
    std::string path_;
    std::FILE *file_ = nullptr;
    bool is_stdout_ = false;
    bool failed_ = false;
    std::string error_;
    std::vector<uint8_t> buffer_;
};

}  // namespace mp3d_tools

#endif
