// Frame bit reader over callback blocks, and the sync search.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "decoder/bit_reader.h"
#include "support/stream_harness.h"

using mp3d::getbits1;
using mp3d::seek_sync;
using mp3d_test::StreamDecoder;

namespace {

std::vector<uint8_t> pseudo_random_bytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    for (auto &b : v) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(seed >> 24);
    }
    return v;
}

// Reads the stream with a fixed pattern of field widths and returns every
// field read.
std::vector<uint32_t> read_fields(StreamDecoder &d, int count) {
    std::vector<uint32_t> out;
    for (int i = 0; i < count; ++i) out.push_back(getbits1(1 + (i * 7) % 16, d.state()));
    return out;
}

}  // namespace

TEST(BitReader, FirstReadAfterInitReturnsFirstTwoBytes) {
    StreamDecoder d({0xAB, 0xCD, 0xEF, 0x12, 0x34});
    ASSERT_EQ(d.init(), MP3D_OK);
    EXPECT_EQ(getbits1(16, d.state()), 0xABCDu);
    EXPECT_EQ(getbits1(4, d.state()), 0xEu);
    EXPECT_EQ(getbits1(12, d.state()), 0xF12u);
    EXPECT_EQ(mp3d::sstell1(d.state()), 32u);
}

TEST(BitReader, OneByteBlocksReadLikeOneBlock) {
    const auto stream = pseudo_random_bytes(600, 7);
    StreamDecoder whole(stream);
    StreamDecoder bytewise(stream, 1);
    StreamDecoder odd(stream, 13);
    ASSERT_EQ(whole.init(), MP3D_OK);
    ASSERT_EQ(bytewise.init(), MP3D_OK);
    ASSERT_EQ(odd.init(), MP3D_OK);
    const auto a = read_fields(whole, 500);
    EXPECT_EQ(read_fields(bytewise, 500), a);
    EXPECT_EQ(read_fields(odd, 500), a);
    EXPECT_EQ(mp3d::sstell1(bytewise.state()), mp3d::sstell1(whole.state()));
    EXPECT_GT(bytewise.callbacks(), 400);
    EXPECT_EQ(whole.callbacks(), 1);
    // The first fields as written: 1 bit, 8 bits, 15 bits of the stream.
    const uint32_t first32 = (uint32_t{stream[0]} << 24) | (uint32_t{stream[1]} << 16) |
                             (uint32_t{stream[2]} << 8) | stream[3];
    EXPECT_EQ(a[0], first32 >> 31);
    EXPECT_EQ(a[1], (first32 >> 23) & 0xFFu);
    EXPECT_EQ(a[2], (first32 >> 8) & 0x7FFFu);
}

class BitReaderEnd : public ::testing::TestWithParam<int> {};

TEST_P(BitReaderEnd, EndOfInputGivesZerosAndIsReportedOnce) {
    StreamDecoder d({0x81, 0xFF, 0x7E}, 0, GetParam());
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    EXPECT_EQ(getbits1(16, s), 0x81FFu);
    EXPECT_EQ(mp3d::end_bs1(s), 0);
    EXPECT_EQ(getbits1(8, s), 0x7Eu);
    // The window refill behind the last byte meets the end.
    for (int i = 0; i < 10; ++i) EXPECT_EQ(getbits1(16, s), 0u);
    EXPECT_EQ(mp3d::end_bs1(s), 1);
    EXPECT_EQ(s->input_exhausted, 1);
    EXPECT_EQ(mp3d::sstell1(s), 24u + 160u);  // zero bits are still counted
    EXPECT_EQ(d.end_reports(), 1);
    EXPECT_EQ(d.callbacks(), 2);
}

INSTANTIATE_TEST_SUITE_P(ZeroAndNegativeLength, BitReaderEnd, ::testing::Values(0, -1));

TEST(BitReader, SyncFoundAtLastByteBoundaryOfTheReach) {
    for (size_t offset : {size_t{0}, size_t{1}, size_t{299}, size_t{300}}) {
        std::vector<uint8_t> stream(offset + 40, 0);
        stream[offset] = 0xFF;
        stream[offset + 1] = 0xE5;
        StreamDecoder d(stream);
        ASSERT_EQ(d.init(), MP3D_OK);
        EXPECT_EQ(seek_sync(2047, 11, d.state()), 1) << offset;
        // Positioned just behind the pattern.
        EXPECT_EQ(mp3d::sstell1(d.state()), 8 * offset + 11) << offset;
        EXPECT_EQ(getbits1(5, d.state()), 0x05u) << offset;
    }
}

TEST(BitReader, SyncBeyondTheReachIsNotFound) {
    std::vector<uint8_t> stream(400, 0);
    stream[301] = 0xFF;
    stream[302] = 0xE0;
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    EXPECT_EQ(seek_sync(2047, 11, d.state()), 0);
    // The failed search consumed the first candidate and 301 further bytes.
    EXPECT_EQ(mp3d::sstell1(d.state()), 11u + 8u * 301u);
}

TEST(BitReader, SyncIsOnlyTakenOnByteBoundaries) {
    // Eleven 1 bits starting in the middle of byte 2, then a real sync at 20.
    std::vector<uint8_t> stream(60, 0);
    stream[2] = 0x0F;
    stream[3] = 0xFE;
    stream[20] = 0xFF;
    stream[21] = 0xE0;
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    getbits1(3, d.state());  // a search from inside a byte starts at the next boundary
    EXPECT_EQ(seek_sync(2047, 11, d.state()), 1);
    EXPECT_EQ(mp3d::sstell1(d.state()), 8u * 20u + 11u);

    // With only the misaligned pattern the search fails.
    stream[20] = stream[21] = 0;
    StreamDecoder only(stream);
    ASSERT_EQ(only.init(), MP3D_OK);
    EXPECT_EQ(seek_sync(2047, 11, only.state()), 0);
}

TEST(BitReader, SyncAtTheEndOfInputIsNotReported) {
    // The window reads ahead; a pattern in the last bytes is seen together
    // with the end of input and does not count as sync.
    StreamDecoder d({0x00, 0x00, 0xFF, 0xE0});
    ASSERT_EQ(d.init(), MP3D_OK);
    EXPECT_EQ(seek_sync(2047, 11, d.state()), 0);
    EXPECT_EQ(mp3d::end_bs1(d.state()), 1);
}
