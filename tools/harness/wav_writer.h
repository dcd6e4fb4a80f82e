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

// Writes the decoder's 24-bit words as 16-bit or 24-bit little-endian PCM.
// 16-bit samples are rounded to nearest (mp3d_pcm_round16), optionally after
// adding triangular dither of +-1 LSB. The file is created with the first
// block of samples, so nothing is written for a stream that decodes to
// nothing. The header is written with maximal sizes and, when the output can
// seek (a named file, or stdout redirected to a regular file not opened for
// appending), rewritten by finish() with the length actually in the file,
// also after a write error: a WAV cut short by a full disk or a file-size
// limit says how much it holds.
class WavWriter {
  public:
    WavWriter(std::string path, uint16_t bits) : path_(std::move(path)), bits_(bits) {}
    ~WavWriter();
    WavWriter(const WavWriter &) = delete;
    WavWriter &operator=(const WavWriter &) = delete;

    // TPDF dither before rounding to 16 bits, from a fixed seed, so that a
    // dithered decode is reproducible.
    void set_dither(bool on) { dither_ = on; }

    // Appends one call's 24-bit words laid out with `channels` channels. The
    // file's rate and channel count are those of the first call; later calls
    // with another channel count are converted (mono doubled, stereo
    // averaged).
    bool write(const int32_t *words, size_t count, int channels, uint32_t sample_rate);
    // Rewrites the header's sizes where the output can seek and closes;
    // false when any write failed (the header is rewritten all the same).
    bool finish();

    bool opened() const { return file_ != nullptr; }
    bool seekable() const { return seekable_; }
    bool converted_channels() const { return converted_; }
    uint64_t frames_written() const { return frames_; }  // sample frames
    const std::string &error() const { return error_; }

  private:
    bool open(int channels, uint32_t sample_rate);
    bool fail(const std::string &what);
    int32_t to_16(int64_t sample24);
    bool rewrite_header();

    std::string path_;
    uint16_t bits_;
    std::FILE *file_ = nullptr;
    bool is_stdout_ = false;
    bool seekable_ = false;
    int64_t header_at_ = 0;  // file offset of the header (stdout may not start at 0)
    int channels_ = 0;
    uint64_t frames_ = 0;
    bool converted_ = false;
    bool failed_ = false;
    bool dither_ = false;
    uint32_t dither_state_ = 0x9e3779b9u;
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
