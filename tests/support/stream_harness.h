// Test helper: a decoder fed from a byte vector through the input callback,
// in blocks of a chosen size, with both memory chunks owned by the harness.
#ifndef MP3D_TEST_STREAM_HARNESS_H
#define MP3D_TEST_STREAM_HARNESS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "decoder/decoder_state.h"
#include "mp3d.h"

namespace mp3d_test {

class StreamDecoder {
  public:
    // block_size: bytes per callback block (0 or less: the whole stream in one
    // block). end_length: the length the callback reports at the end (0 or
    // negative).
    explicit StreamDecoder(std::vector<uint8_t> stream, int block_size = 0, int end_length = 0);
    StreamDecoder(const StreamDecoder &) = delete;
    StreamDecoder &operator=(const StreamDecoder &) = delete;

    // Queries, allocates and initialises; returns the init status.
    int32_t init();
    // One mp3d_decode_frame call into the harness's output buffer.
    int32_t decode(MP3D_Frame_Info *info);

    mp3d::MP3D_Decoder_State *state() {
        return static_cast<mp3d::MP3D_Decoder_State *>(feed_.config.decoder_state);
    }
    MP3D_Decode_Config *config() { return &feed_.config; }
    std::vector<int32_t> &output() { return output_; }
    int callbacks() const { return callbacks_; }
    int end_reports() const { return end_reports_; }
    size_t bytes_handed() const { return pos_; }

  private:
    // The config comes first so that the callback can find the harness.
    struct Feed {
        MP3D_Decode_Config config;
        StreamDecoder *owner;
    };
    static int32_t callback(const uint8_t **buffer, int32_t *bytes_left,
                            MP3D_Decode_Config *config);

    Feed feed_{};
    std::vector<uint8_t> stream_;
    size_t pos_ = 0;
    int block_size_;
    int end_length_;
    int callbacks_ = 0;
    int end_reports_ = 0;
    // Each block is a fresh allocation of exactly its length, so the
    // sanitizers see any read outside it.
    std::unique_ptr<uint8_t[]> block_;
    std::unique_ptr<uint8_t[]> chunk0_;
    std::unique_ptr<uint8_t[]> chunk1_;
    std::vector<int32_t> output_;
    uint8_t initial_input_ = 0;
};

}  // namespace mp3d_test

#endif
