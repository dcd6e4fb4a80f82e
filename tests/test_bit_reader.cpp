// Frame bit reader: the end of input and the sync search. (Reading across
// input blocks of any size is proven by the whole-stream tests.)
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "decoder/bit_reader.h"
#include "support/stream_harness.h"

using mp3d::getbits1;
using mp3d::sstell1;
using mp3d_test::StreamDecoder;

TEST(BitReader, EndOfInputReadsZerosAndIsReportedOnce) {
    for (int end_length : {0, -1}) {
        StreamDecoder d({0x81, 0xFF, 0x7E}, 0, end_length);
        ASSERT_EQ(d.init(), MP3D_OK);
        auto *s = d.state();
        EXPECT_EQ(getbits1(16, s), 0x81FFu);
        EXPECT_EQ(mp3d::end_bs1(s), 0);
        EXPECT_EQ(getbits1(8, s), 0x7Eu);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(getbits1(16, s), 0u);
        // Zero bits are still counted; the callback is not asked again.
        EXPECT_EQ((std::vector<int64_t>{mp3d::end_bs1(s), s->input_exhausted, sstell1(s),
                                        d.end_reports(), d.callbacks()}),
                  (std::vector<int64_t>{1, 1, 24 + 160, 1, 2}));
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
        auto d = mp3d_test::started(stream);
        for (int i = 0; i < c.skip; i += 8) getbits1(c.skip - i < 8 ? c.skip - i : 8, d->state());
        SCOPED_TRACE(testing::Message() << "sync at byte " << c.bytes.back().first - 1);
        EXPECT_EQ(mp3d::seek_sync(2047, 11, d->state()), c.stands != 0);
        EXPECT_TRUE(c.stands == 0 || sstell1(d->state()) == c.stands) << sstell1(d->state());
    }
}
