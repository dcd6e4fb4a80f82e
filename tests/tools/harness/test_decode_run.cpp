// Whole-stream decoding through the public API. Decodes of real streams are
// proven by the pinned checksums and the stream tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "harness/decode_run.h"

using namespace mp3d_tools;

TEST(DecodeRun, InputWithoutFramesEndsWithoutOutput) {
    // Bytes that never form a frame header: the run ends (at the end of the
    // stream, or by its guard against a decoder that stops consuming).
    for (const size_t block : {1u, 333u, 65536u}) {
        DecodeOptions options;
        options.block_size = block;
        const DecodedStream d = decode_buffer(std::vector<uint8_t>(5000, 0x55), options);
        EXPECT_FALSE(d.stats.init_failed);
        EXPECT_EQ(d.stats.output_calls, 0u);
        EXPECT_TRUE(d.stats.stalled || d.stats.codes.count(MP3D_END_OF_STREAM) == 1);
    }
}
