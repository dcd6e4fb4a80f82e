// Memory protocol: query, layout of the two chunks, refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "decoder/decoder_state.h"
#include "mp3d.h"

namespace {

const uint8_t kInput[1] = {0};

// Chunk 0 with 64 guard bytes behind it, all 0xA5 so that every write is
// seen, and chunk 1.
struct Chunks {
    std::vector<uint8_t> c0, c1 = std::vector<uint8_t>(mp3d::kChunk1Bytes);
    MP3D_Decode_Config config{};

    explicit Chunks(size_t size0) : c0(size0 + 64, 0xA5) {
        mp3d_query_dec_mem(&config);
        config.mem_info[0].size = static_cast<int32_t>(size0);
        config.mem_info[0].base = c0.data();
        config.mem_info[1].base = c1.data();
    }
    long changed_from(long i) const {
        return c0.end() - c0.begin() - i - std::count(c0.begin() + i, c0.end(), 0xA5);
    }
};

}  // namespace

TEST(MemoryLayout, QueryWritesOnlyTheRequests) {
    MP3D_Decode_Config config{};
    config.mem_info[0].base = config.mem_info[1].base = config.decoder_state = &config;
    ASSERT_EQ(mp3d_query_dec_mem(&config), MP3D_OK);
    const MP3D_Mem_Info *m = config.mem_info;
    EXPECT_EQ((std::vector<int64_t>{config.mem_count, m[0].size, m[0].mem_type, m[0].spectral_role,
                                    m[1].size, m[1].mem_type, m[1].spectral_role}),
              (std::vector<int64_t>{2, 14976, 1, 0, 4640, 1, 1}));
    EXPECT_TRUE(m[0].base == nullptr && m[1].base == nullptr && config.decoder_state == &config);
    EXPECT_EQ(mp3d_query_dec_mem(nullptr), MP3D_ERROR_INIT);
}

TEST(MemoryLayout, ExactChunk0IsFilledToTheByte) {
    Chunks c(mp3d::kMinChunk0Bytes);
    ASSERT_EQ(mp3d_decode_init(&c.config, kInput), MP3D_OK);
    EXPECT_EQ(c.changed_from(mp3d::kMinChunk0Bytes), 0);
    auto *s = static_cast<mp3d::MP3D_Decoder_State *>(c.config.decoder_state);
    ASSERT_EQ(static_cast<void *>(s), c.c0.data());
    EXPECT_EQ(reinterpret_cast<uint8_t *>(s->pcm_buffer + 576), &c.c0[mp3d::kMinChunk0Bytes]);
    EXPECT_EQ(s->spectral_buffer, reinterpret_cast<int32_t *>(c.c1.data()));
    // Null arguments: 52, nothing read.
    MP3D_Frame_Info info{};
    EXPECT_EQ(mp3d_decode_frame(nullptr, &info, s->pcm_buffer), MP3D_ERROR_NULL_POINTER);
    EXPECT_EQ(mp3d_decode_frame(&c.config, nullptr, s->pcm_buffer), MP3D_ERROR_NULL_POINTER);
    EXPECT_EQ(mp3d_decode_frame(&c.config, &info, nullptr), MP3D_ERROR_NULL_POINTER);
    EXPECT_EQ(s->bits_consumed + s->input_exhausted, 0u);
}

TEST(MemoryLayout, RefusedRequestsLeaveChunk0Untouched) {
    Chunks small(mp3d::kMinChunk0Bytes - 1);
    EXPECT_EQ(mp3d_decode_init(&small.config, kInput), MP3D_ERROR_INIT);
    EXPECT_EQ(small.changed_from(0), 0);

    Chunks c(mp3d::kChunk0Bytes);
    MP3D_Decode_Config &config = c.config;
    EXPECT_EQ(mp3d_decode_init(nullptr, kInput), MP3D_ERROR_INIT);
    EXPECT_EQ(mp3d_decode_init(&config, nullptr), MP3D_ERROR_INIT);
    config.mem_info[1].spectral_role = 0;  // none marked, then chunk 0 only
    EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
    config.mem_info[0].spectral_role = 1;
    EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
    config.mem_info[1].spectral_role = 1;  // both marked, chunk 1 missing
    config.mem_info[1].base = nullptr;
    EXPECT_EQ(mp3d_decode_init(&config, kInput), MP3D_ERROR_INIT);
    EXPECT_EQ(c.changed_from(0), 0);
}
