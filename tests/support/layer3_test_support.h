// Test helper for the Layer III side-information, scale-factor and Huffman
// driver tests: an initialised decoder with given bytes in its reservoir.
#ifndef MP3D_TESTS_LAYER3_TEST_SUPPORT_H
#define MP3D_TESTS_LAYER3_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "decoder/decoder_state.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

namespace l3test {

using mp3d_test::BitWriter;

struct Decoder {
    std::unique_ptr<mp3d_test::StreamDecoder> harness;
    mp3d::MP3D_Decoder_State *state;

    // The reservoir holds `reservoir` behind the four window bytes, as a
    // compaction leaves them, with the reader at their first bit; the frame
    // reader reads `stream`.
    explicit Decoder(const std::vector<uint8_t> &reservoir = {}, std::vector<uint8_t> stream = {})
        : harness(mp3d_test::started(std::move(stream))), state(harness->state()) {
        std::memcpy(state->reservoir_buffer + 4, reservoir.data(), reservoir.size());
        state->res_write_index = static_cast<int32_t>(reservoir.size()) + 4;
        state->res_read_index = 4;
    }
};

}  // namespace l3test

#endif
