// Test helpers for the Layer III side-information, scale-factor and Huffman
// driver tests: a decoder instance in heap-allocated chunks fed from a byte
// vector, an MSB-first bit writer, and direct loading of the reservoir.
#ifndef MP3D_TESTS_LAYER3_TEST_SUPPORT_H
#define MP3D_TESTS_LAYER3_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/decoder_state.h"
#include "mp3d.h"

namespace l3test {

// MSB-first bit writer.
struct Bits {
    std::vector<uint8_t> bytes;
    int64_t count = 0;

    Bits &put(uint32_t value, int n) {
        for (int i = n - 1; i >= 0; --i) {
            if (count % 8 == 0) bytes.push_back(0);
            if ((value >> i) & 1u) bytes.back() |= static_cast<uint8_t>(0x80u >> (count % 8));
            ++count;
        }
        return *this;
    }
    // Bytes with n zero bytes of padding behind (room for read-ahead).
    std::vector<uint8_t> padded(size_t n = 8) const {
        std::vector<uint8_t> out = bytes;
        out.resize(out.size() + n, 0);
        return out;
    }
};

struct Decoder;

// The config embedded first in a standard-layout record, so that the input
// callback can reach its owner.
struct ConfigHolder {
    MP3D_Decode_Config config;
    Decoder *owner;
};

// A decoder in its own two chunks, fed once with the whole input vector.
struct Decoder {
    ConfigHolder holder{};
    MP3D_Decode_Config &config = holder.config;
    std::vector<uint8_t> input;
    bool served = false;
    std::vector<uint64_t> chunk0, chunk1;
    mp3d::MP3D_Decoder_State *state = nullptr;

    static int32_t feed(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config) {
        Decoder *self = reinterpret_cast<ConfigHolder *>(config)->owner;
        if (self->served || self->input.empty()) {
            *bytes_left = 0;
            return 0;
        }
        self->served = true;
        *buffer = self->input.data();
        *bytes_left = static_cast<int32_t>(self->input.size());
        return 0;
    }

    explicit Decoder(std::vector<uint8_t> data = {}) : input(std::move(data)) {
        holder.owner = this;
        mp3d_query_dec_mem(&config);
        chunk0.assign((config.mem_info[0].size + 7) / 8, 0);
        chunk1.assign((config.mem_info[1].size + 7) / 8, 0);
        config.mem_info[0].base = chunk0.data();
        config.mem_info[1].base = chunk1.data();
        config.input_callback = &Decoder::feed;
        static const uint8_t first_block[1] = {0};
        if (mp3d_decode_init(&config, first_block) == MP3D_OK) {
            state = static_cast<mp3d::MP3D_Decoder_State *>(config.decoder_state);
        }
    }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

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
