// Test helpers for Layer II: a decoder instance over an in-memory stream, a
// bit writer for hand-made frames, and whole-stream decoding.
#ifndef MP3D_TESTS_LAYER2_SUPPORT_H
#define MP3D_TESTS_LAYER2_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "decoder/decoder_state.h"
#include "mp3d.h"

namespace layer2_test {

// MSB-first bit writer.
class BitWriter {
  public:
    void put(uint32_t value, int bits);
    // Pads with zero bits to a whole byte, then to the given byte count.
    std::vector<uint8_t> bytes(size_t min_size = 0) const;
    size_t bit_count() const { return bits_; }

  private:
    std::vector<uint8_t> data_;
    size_t bits_ = 0;
};

// A decoder in its own memory, reading `stream` through the input callback
// in blocks of `block_size` bytes (0: the whole stream in one block).
class Decoder {
  public:
    explicit Decoder(std::vector<uint8_t> stream, size_t block_size = 0, bool no_shift = false);
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    mp3d::MP3D_Decoder_State *state() const;
    MP3D_Decode_Config *config() { return &harness_.config; }
    int32_t decode(MP3D_Frame_Info *info, int32_t *output);

  private:
    struct Harness {
        MP3D_Decode_Config config;  // first member: the callback finds the rest
        Decoder *self;
    };
    static int32_t feed(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config);

    Harness harness_{};
    std::vector<uint8_t> stream_;
    size_t block_size_;
    size_t position_ = 0;
    std::vector<uint64_t> chunk0_, chunk1_;
};

struct DecodedStream {
    std::vector<int32_t> pcm;  // interleaved, as delivered
    int channels = 0;
    int sample_rate = 0;
    int frames = 0;
    int errors = 0;  // calls that returned an error code
};

std::vector<uint8_t> read_file(const std::string &path);
// The shared data directory: $MP3D_SHARED_DIR when set (a build outside the
// main checkout), else the directory the build was configured with.
std::string shared_dir();
// Decodes until the end of the stream (16-bit output unless no_shift).
DecodedStream decode_stream(const std::vector<uint8_t> &stream, bool no_shift = false);

struct Difference {
    double rms = 0;      // relative to full scale
    double max_abs = 0;  // in output units
    size_t samples = 0;
};
// Compares the first `count` samples of a and b (full scale 32768).
Difference compare16(const std::vector<int32_t> &a, const std::vector<int32_t> &b, size_t count);

// ISO/IEC 11172-4 limited accuracy: RMS of the difference below 2^-11/sqrt(12)
// of full scale.
double limited_accuracy_rms();

}  // namespace layer2_test

#endif
