// Frame bit reader over callback blocks, and the sync search.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "decoder/bit_reader.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using mp3d::getbits1;
using mp3d::sstell1;
using mp3d_test::StreamDecoder;

TEST(BitReader, FieldsReadTheSameWhateverTheBlockSize) {
    // Fields of 16, 9, 2, 11, ... bits; the first read, with the window still
    // empty, must return the first two bytes, first byte high.
    std::vector<uint8_t> stream(600);
    uint32_t seed = 7;
    for (auto &b : stream) b = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    for (int block : {0, 1, 13}) {
        StreamDecoder d(stream, block);
        ASSERT_EQ(d.init(), MP3D_OK);
        uint32_t pos = 0;
        for (int i = 0; i < 500; ++i) {
            const int n = 16 - (i * 7) % 16;
            ASSERT_EQ(getbits1(n, d.state()), mp3d_test::bits_at(stream, pos, n)) << block << i;
            ASSERT_EQ(sstell1(d.state()), pos += n);
        }
    }
}

TEST(BitReader, EndOfInputReadsZerosAndIsReportedOnce) {
    for (int end_length : {0, -1}) {
        StreamDecoder d({0x81, 0xFF, 0x7E}, 0, end_length);
        ASSERT_EQ(d.init(), MP3D_OK);
        auto *s = d.state();
        EXPECT_EQ(getbits1(16, s), 0x81FFu);
        EXPECT_EQ(mp3d::end_bs1(s), 0);
        EXPECT_EQ(getbits1(8, s), 0x7Eu);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(getbits1(16, s), 0u);
        EXPECT_EQ(mp3d::end_bs1(s), 1);
        EXPECT_EQ(s->input_exhausted, 1);
        EXPECT_EQ(sstell1(s), 24u + 160u);  // zero bits are still counted
        EXPECT_EQ(d.end_reports(), 1);      // the callback is not asked again
        EXPECT_EQ(d.callbacks(), 2);
    }
}

TEST(BitReader, SyncIsSoughtOnByteBoundariesWithin300Bytes) {
    struct Case {
        std::vector<std::pair<size_t, uint8_t>> bytes;  // set in a zero stream of 400 bytes
        int skip;                                       // bits read before the search
        uint32_t stands;  // position behind the sync word found (0: none found)
    };
    const Case cases[] = {
        {{{0, 0xFF}, {1, 0xE5}}, 0, 11},
        {{{300, 0xFF}, {301, 0xE5}}, 0, 8 * 300 + 11},
        {{{301, 0xFF}, {302, 0xE5}}, 0, 0},
        // Eleven 1 bits from the middle of byte 2 are passed over; a search
        // from inside a byte starts at the next boundary.
        {{{2, 0x0F}, {3, 0xFE}, {20, 0xFF}, {21, 0xE0}}, 3, 8 * 20 + 11},
        // The window reads ahead: a pattern met together with the end of
        // input does not count.
        {{{398, 0xFF}, {399, 0xE0}}, 8 * 395, 0},
    };
    for (const Case &c : cases) {
        std::vector<uint8_t> stream(400, 0);
        for (const auto &[at, value] : c.bytes) stream[at] = value;
        StreamDecoder d(stream);
        ASSERT_EQ(d.init(), MP3D_OK);
        for (int i = 0; i < c.skip; i += 8) getbits1(c.skip - i < 8 ? c.skip - i : 8, d.state());
        SCOPED_TRACE(testing::Message() << "sync at byte " << c.bytes.back().first - 1);
        EXPECT_EQ(mp3d::seek_sync(2047, 11, d.state()), c.stands != 0);
        EXPECT_TRUE(c.stands == 0 || sstell1(d.state()) == c.stands) << sstell1(d.state());
    }
}
