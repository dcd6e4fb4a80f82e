// Memory protocol: query, layout of the two chunks, refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/decoder_state.h"
#include "mp3d.h"

namespace {

int32_t no_input(const uint8_t **, int32_t *bytes_left, MP3D_Decode_Config *) {
    *bytes_left = 0;
    return 0;
}

// Both chunks with guard bytes around them, so writes outside are seen.
struct Chunks {
    static constexpr size_t kGuard = 64;
    static constexpr uint8_t kFill = 0xA5;
    std::vector<uint64_t> store0, store1;
    uint8_t *chunk0 = nullptr;
    uint8_t *chunk1 = nullptr;
    size_t size0, size1;

    Chunks(size_t s0, size_t s1)
        : store0((s0 + 2 * kGuard) / 8 + 1),
          store1((s1 + 2 * kGuard) / 8 + 1),
          size0(s0),
          size1(s1) {
        std::memset(store0.data(), kFill, store0.size() * 8);
        std::memset(store1.data(), kFill, store1.size() * 8);
        chunk0 = reinterpret_cast<uint8_t *>(store0.data()) + kGuard;
        chunk1 = reinterpret_cast<uint8_t *>(store1.data()) + kGuard;
    }
    bool guards_intact() const {
        auto intact = [](const std::vector<uint64_t> &store, size_t size) {
            const auto *b = reinterpret_cast<const uint8_t *>(store.data());
            for (size_t i = 0; i < kGuard; ++i)
                if (b[i] != kFill) return false;
            for (size_t i = kGuard + size; i < store.size() * 8; ++i)
                if (b[i] != kFill) return false;
            return true;
        };
        return intact(store0, size0) && intact(store1, size1);
    }
    bool chunk0_untouched() const {
        for (size_t i = 0; i < size0; ++i)
            if (chunk0[i] != kFill) return false;
        return true;
    }
};

MP3D_Decode_Config config_for(Chunks &c) {
    MP3D_Decode_Config config{};
    EXPECT_EQ(mp3d_query_dec_mem(&config), MP3D_OK);
    config.mem_info[0].size = static_cast<int32_t>(c.size0);
    config.mem_info[1].size = static_cast<int32_t>(c.size1);
    config.mem_info[0].base = c.chunk0;
    config.mem_info[1].base = c.chunk1;
    config.input_callback = no_input;
    return config;
}

const uint8_t kInput[4] = {0, 0, 0, 0};

}  // namespace

TEST(MemoryLayout, QueryReportsTheTwoChunks) {
    EXPECT_EQ(mp3d_query_dec_mem(nullptr), MP3D_ERROR_INIT);
    MP3D_Decode_Config config{};
    config.mem_info[0].base = &config;
    config.mem_info[1].base = &config;
    config.mem_info[0].reserved = 77;
    config.decoder_state = &config;
    config.pcm_no_shift = 1;
    config.input_callback = no_input;
    ASSERT_EQ(mp3d_query_dec_mem(&config), MP3D_OK);
    EXPECT_EQ(config.mem_count, 2);
    EXPECT_EQ(config.mem_info[0].size, 14976);
    EXPECT_EQ(config.mem_info[0].mem_type, 1);
    EXPECT_EQ(config.mem_info[0].spectral_role, 0);
    EXPECT_EQ(config.mem_info[0].base, nullptr);
    EXPECT_EQ(config.mem_info[1].size, 4640);
    EXPECT_EQ(config.mem_info[1].mem_type, 1);
    EXPECT_EQ(config.mem_info[1].spectral_role, 1);
    EXPECT_EQ(config.mem_info[1].base, nullptr);
    // Only the requests are written.
    EXPECT_EQ(config.mem_info[0].reserved, 77);
    EXPECT_EQ(config.decoder_state, &config);
    EXPECT_EQ(config.pcm_no_shift, 1);
    EXPECT_EQ(config.input_callback, &no_input);
}

TEST(MemoryLayout, ExactChunk0IsAcceptedAndOneByteLessRefused) {
    {
        Chunks c(mp3d::kMinChunk0Bytes, mp3d::kChunk1Bytes);
        MP3D_Decode_Config config = config_for(c);
        ASSERT_EQ(mp3d_decode_init(&config, kInput), MP3D_OK);
        EXPECT_TRUE(c.guards_intact());
        auto *s = static_cast<mp3d::MP3D_Decoder_State *>(config.decoder_state);
        EXPECT_EQ(static_cast<void *>(s), c.chunk0);
        EXPECT_EQ(s->config, &config);
        EXPECT_EQ(reinterpret_cast<uint8_t *>(s->frame_params),
                  c.chunk0 + mp3d::kFrameParamsOffset);
        EXPECT_EQ(s->frame_params->header, &s->header);
        EXPECT_EQ(s->frame_params->alloc_table_index, -1);
        // The carve in order, the last buffer ending exactly at the chunk end.
        EXPECT_EQ(reinterpret_cast<uint8_t *>(s->overlap_buffer), c.chunk0 + mp3d::kCarveOffset);
        EXPECT_EQ(reinterpret_cast<uint8_t *>(s->pcm_buffer) + mp3d::kPcmBufferBytes,
                  c.chunk0 + mp3d::kMinChunk0Bytes);
        EXPECT_EQ(reinterpret_cast<uint8_t *>(s->spectral_buffer), c.chunk1);
        EXPECT_EQ(s->prev_nonzero_subbands[0], 32);
        EXPECT_EQ(s->prev_nonzero_subbands[1], 32);
        for (int i = 0; i < mp3d::kReservoirBytes; ++i) ASSERT_EQ(s->reservoir_buffer[i], 0);
        for (int i = 0; i < 1536; ++i) ASSERT_EQ(s->synthesis_buffer[i], 0);
    }
    {
        Chunks c(mp3d::kMinChunk0Bytes - 1, mp3d::kChunk1Bytes);
        MP3D_Decode_Config config = config_for(c);
        EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
        EXPECT_TRUE(c.guards_intact());
        EXPECT_TRUE(c.chunk0_untouched());
    }
}

TEST(MemoryLayout, SpectralBufferGoesToTheMarkedChunk) {
    Chunks c(mp3d::kChunk0Bytes, mp3d::kChunk1Bytes);
    MP3D_Decode_Config config = config_for(c);
    config.mem_info[0].spectral_role = 1;  // both marked: chunk 1 wins
    ASSERT_EQ(mp3d_decode_init(&config, kInput), MP3D_OK);
    auto *s = static_cast<mp3d::MP3D_Decoder_State *>(config.decoder_state);
    EXPECT_EQ(reinterpret_cast<uint8_t *>(s->spectral_buffer), c.chunk1);

    // Only chunk 0 marked would put the spectrum on top of the state.
    Chunks c0(mp3d::kChunk0Bytes, mp3d::kChunk1Bytes);
    MP3D_Decode_Config only0 = config_for(c0);
    only0.mem_info[0].spectral_role = 1;
    only0.mem_info[1].spectral_role = 0;
    EXPECT_EQ(mp3d_decode_init(&only0, kInput), MP3D_ERROR_INIT);
    only0.mem_info[0].spectral_role = 0;  // none marked
    EXPECT_EQ(mp3d_decode_init(&only0, kInput), MP3D_ERROR_INIT);
    EXPECT_TRUE(c0.chunk0_untouched());
}

TEST(MemoryLayout, NullArgumentsAreRefused) {
    Chunks c(mp3d::kChunk0Bytes, mp3d::kChunk1Bytes);
    MP3D_Decode_Config config = config_for(c);
    EXPECT_EQ(mp3d_decode_init(nullptr, kInput), MP3D_ERROR_INIT);
    EXPECT_EQ(mp3d_decode_init(&config, nullptr), MP3D_ERROR_INIT);
    config.mem_info[0].base = nullptr;
    EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
    config.mem_info[0].base = c.chunk0;
    config.mem_info[1].base = nullptr;
    EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
    EXPECT_TRUE(c.chunk0_untouched());

    config.mem_info[1].base = c.chunk1;
    ASSERT_EQ(mp3d_decode_init(&config, kInput), MP3D_OK);
    MP3D_Frame_Info info{};
    int32_t out[4];
    EXPECT_EQ(mp3d_decode_frame(nullptr, &info, out), MP3D_ERROR_NULL_POINTER);
    EXPECT_EQ(mp3d_decode_frame(&config, nullptr, out), MP3D_ERROR_NULL_POINTER);
    EXPECT_EQ(mp3d_decode_frame(&config, &info, nullptr), MP3D_ERROR_NULL_POINTER);
    auto *s = static_cast<mp3d::MP3D_Decoder_State *>(config.decoder_state);
    EXPECT_EQ(s->bits_consumed, 0u);  // nothing read from the stream
    EXPECT_EQ(s->input_exhausted, 0);
    EXPECT_TRUE(c.guards_intact());
}
