// Feeding the decoder's input callback from a byte source.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "harness/stream_input.h"

using namespace mp3d_tools;

TEST(StreamInput, ShortReadsStillFillWholeBlocks) {
    // A source that delivers 3 bytes at a time, like a pipe; bytes 0..99.
    size_t position = 0;
    const ByteReader trickle = [&](uint8_t *dest, size_t count) {
        const size_t n = std::min({count, size_t{3}, 100 - position});
        for (size_t i = 0; i < n; ++i) dest[i] = static_cast<uint8_t>(position++);
        return n;
    };
    StreamInput input{};
    stream_input_setup(input, trickle, 64);
    const uint8_t *buffer = nullptr;
    int32_t left = 0;
    for (const int32_t want : {64, 36, 0, 0}) {
        stream_input_callback(&buffer, &left, &input.config);
        ASSERT_EQ(left, want);
        EXPECT_TRUE(want == 0 || buffer[want - 1] == (want == 64 ? 63 : 99));
    }
    EXPECT_EQ(input.bytes_fed, 100u);
}
