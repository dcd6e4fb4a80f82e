// Whole Layer II frames on hostile input and in input blocks of every size.
// Normal frames are proven by the whole-stream tests (conformance streams,
// fixtures against libmpg123, pinned output).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "harness/decode_run.h"
#include "support/fixtures.h"

namespace {

std::vector<uint8_t> layer2_fixture(const std::string &name) {
    return mp3d_test::read_bytes(mp3d_test::fixture_path("layer2/" + name + ".mp2"));
}

}  // namespace

// Corrupted Layer II streams (random bytes overwritten, including headers,
// allocations and scale factors) decode to the end with in-range output; the
// sanitizer build checks that no access or arithmetic goes astray.
TEST(Mp2DecodeFrame, CorruptStreamsDecodeSafely) {
    std::mt19937 rng(7);
    for (const char *name : {"joint_48k_192", "lsf_joint_24k_96_crc", "mono_32k_48"}) {
        SCOPED_TRACE(name);
        std::vector<uint8_t> stream = layer2_fixture(name);
        ASSERT_FALSE(stream.empty());
        for (size_t i = 0; i < stream.size() / 50; ++i)
            stream[std::uniform_int_distribution<size_t>(0, stream.size() - 1)(rng)] =
                static_cast<uint8_t>(rng());
        const mp3d_tools::DecodedStream got = mp3d_tools::decode_buffer(stream, {});
        EXPECT_GT(got.stats.layer2_frames, 0u);
        EXPECT_FALSE(got.stats.stalled);
        for (int32_t v : got.words) ASSERT_TRUE(v >= -32768 && v <= 32767) << v;
    }
}

// Granules are read without looking for the end of the input block when the
// block holds all their bytes, and through the full reader otherwise: blocks
// of every kind of size (smaller than a granule, about one, a frame, odd
// sizes that end anywhere inside a granule) decode to the same words as one
// 64 KiB block.
TEST(Mp2DecodeFrame, BlockSizesDoNotChangeTheOutput) {
    for (const char *name : {"joint_48k_192", "mono_32k_48"}) {
        SCOPED_TRACE(name);
        std::vector<uint8_t> stream = layer2_fixture(name);
        ASSERT_FALSE(stream.empty());
        const auto whole = mp3d_tools::decode_buffer(stream, {});
        ASSERT_GT(whole.stats.layer2_frames, 0u);
        for (int block : {2, 3, 9, 25, 61, 130, 577}) {
            mp3d_tools::DecodeOptions options;
            options.block_size = static_cast<size_t>(block);
            EXPECT_EQ(mp3d_tools::decode_buffer(stream, options).words, whole.words)
                << "block " << block;
        }
    }
}
