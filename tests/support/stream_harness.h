// Test helper: a decoder fed from a byte vector through the input callback,
// in blocks of a chosen size, with both memory chunks owned by the harness.
// Unlike the whole-stream decode of tools/harness/decode_run.h it is stepped
// one call at a time and exposes the decoder's state to the unit tests.
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
    explicit StreamDecoder(std::vector<uint8_t> stream, int block_size = 0, int end_length = 0)
        : stream_(std::move(stream)), block_size_(block_size), end_length_(end_length) {
        feed_.owner = this;
    }
    StreamDecoder(const StreamDecoder &) = delete;
    StreamDecoder &operator=(const StreamDecoder &) = delete;

    // Queries, allocates and initialises; returns the init status.
    int32_t init();
    // One mp3d_decode_frame call into the harness's output buffer.
    int32_t decode(MP3D_Frame_Info *info) {
        return mp3d_decode_frame(&feed_.config, info, output_.data());
    }

    mp3d::MP3D_Decoder_State *state() {
        return static_cast<mp3d::MP3D_Decoder_State *>(feed_.config.decoder_state);
    }
    MP3D_Decode_Config *config() { return &feed_.config; }
    std::vector<int32_t> &output() { return output_; }
    int callbacks() const { return callbacks_; }
    int end_reports() const { return end_reports_; }

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
    int block_size_, end_length_;
    int callbacks_ = 0, end_reports_ = 0;
    // Each block and chunk is a fresh allocation of exactly its length, so
    // the sanitizers see any access outside it.
    std::unique_ptr<uint8_t[]> block_, chunk0_, chunk1_;
    std::vector<int32_t> output_ = std::vector<int32_t>(MP3D_MAX_OUTPUT_WORDS + 16, 0);
    uint8_t initial_input_ = 0;
};

// A decoder over the stream, initialised (throws when init fails).
std::unique_ptr<StreamDecoder> started(std::vector<uint8_t> stream, int block_size = 0);

// Puts bytes into the Layer III reservoir of a freshly initialised decoder,
// behind the four window bytes as a compaction leaves them, with the reader
// at their first bit.
void load_reservoir(mp3d::MP3D_Decoder_State *state, const std::vector<uint8_t> &bytes);

// Decodes until the end of stream is reported (at most max_calls calls) and
// returns every call's code; infos, when given, receives the frame info of
// each call that began a frame and returned 0.
std::vector<int32_t> decode_to_end(StreamDecoder &decoder,
                                   std::vector<MP3D_Frame_Info> *infos = nullptr,
                                   size_t max_calls = 200);

}  // namespace mp3d_test

#endif
