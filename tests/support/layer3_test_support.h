// Test helpers for the Layer III side-information, scale-factor and Huffman
// driver tests: a decoder over the stream harness with direct loading of the
// reservoir, a chaining front for the bit writer, and a bit extractor.
#ifndef MP3D_TESTS_LAYER3_TEST_SUPPORT_H
#define MP3D_TESTS_LAYER3_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/decoder_state.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

namespace l3test {

// The shared bit writer with chained puts.
struct Bits {
    mp3d_test::BitWriter writer;

    Bits &put(uint32_t value, int n) {
        writer.put(value, n);
        return *this;
    }
    int64_t count() const { return static_cast<int64_t>(writer.bit_count()); }
    const std::vector<uint8_t> &bytes() const { return writer.bytes(); }
    // The bytes with n zero bytes behind them (room for read-ahead).
    std::vector<uint8_t> padded(size_t n = 8) const {
        std::vector<uint8_t> out = writer.bytes();
        out.resize(out.size() + n, 0);
        return out;
    }
};

// An initialised decoder fed with the given stream (in blocks of block_size
// bytes; 0: one block).
struct Decoder {
    mp3d_test::StreamDecoder harness;
    mp3d::MP3D_Decoder_State *state = nullptr;

    explicit Decoder(std::vector<uint8_t> stream = {}, int block_size = 0)
        : harness(std::move(stream), block_size) {
        if (harness.init() == MP3D_OK) state = harness.state();
    }

    // Puts bytes into the reservoir behind the four window bytes, as a
    // compaction leaves them, with the reader at their first bit.
    void load_reservoir(const std::vector<uint8_t> &data) {
        std::memset(state->reservoir_buffer, 0, mp3d::kReservoirBytes);
        std::memcpy(state->reservoir_buffer + 4, data.data(), data.size());
        state->res_write_index = static_cast<int32_t>(data.size()) + 4;
        state->res_read_index = 4;
        state->res_window = 0;
        state->res_bits_in_window = 0;
        state->res_bits_consumed = 0;
    }
};

// n bits (at most 32) of a byte string from bit position pos, MSB first.
inline uint32_t bits_at(const std::vector<uint8_t> &bytes, int64_t pos, int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; ++i, ++pos) {
        const size_t byte = static_cast<size_t>(pos / 8);
        const uint32_t bit = byte < bytes.size() ? (bytes[byte] >> (7 - pos % 8)) & 1u : 0u;
        v = (v << 1) | bit;
    }
    return v;
}

}  // namespace l3test

#endif
