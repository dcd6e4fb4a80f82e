// Frame bit reader: the end of input, the sync search, and reads across input
// blocks of any size through each of its paths.
#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "decoder/bit_reader.h"
#include "support/stream_harness.h"

using mp3d::getbits1;
using mp3d::sstell1;
using mp3d_test::StreamDecoder;

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

namespace {

// The reader state that other code sees: window, position, and where the
// current block stands.
std::vector<int64_t> reader_state(const mp3d::MP3D_Decoder_State *s) {
    return {s->bit_window,
            s->bits_in_window,
            s->bits_consumed,
            s->end_of_bitstream,
            s->input_exhausted,
            s->input_bytes_left,
            s->input_read_ptr - s->input_buffer};
}

// The n bits of the stream from bit position pos, first bit most
// significant; zero beyond the end.
uint32_t stream_bits(const std::vector<uint8_t> &stream, uint64_t pos, int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; ++i, ++pos) {
        const uint8_t byte = pos / 8 < stream.size() ? stream[pos / 8] : 0;
        v = (v << 1) | ((byte >> (7 - pos % 8)) & 1u);
    }
    return v;
}

}  // namespace

// Random read widths over blocks of many sizes (one byte upwards, so that
// refills straddle blocks at every offset) and past the end of the input:
// the inline getbits1, the out-of-line reader and runs of BitCursor reads
// deliver the stream's bits (zeros after the end, still counted) and leave
// the reader in the same state; the end, reported by the callback with
// length 0 or an error, is flagged once and the callback not asked again.
TEST(BitReader, InlineAndCursorReadsMatchTheFullReaderOnAnyBlocks) {
    std::mt19937 rng(11);
    std::vector<uint8_t> stream(700);
    for (auto &b : stream) b = static_cast<uint8_t>(rng());
    for (int block : {1, 2, 3, 4, 5, 7, 16, 63, 417, 0}) {
        SCOPED_TRACE(testing::Message() << "block " << block);
        const int end = block % 2 ? -1 : 0;
        StreamDecoder inline_dec(stream, block, end), slow_dec(stream, block, end),
            cursor_dec(stream, block, end);
        ASSERT_EQ(inline_dec.init(), MP3D_OK);
        ASSERT_EQ(slow_dec.init(), MP3D_OK);
        ASSERT_EQ(cursor_dec.init(), MP3D_OK);
        auto *a = inline_dec.state();
        auto *b = slow_dec.state();
        auto *c = cursor_dec.state();
        uint64_t pos = 0;
        while (pos < 8 * stream.size() + 200) {
            // A run of cursor reads, checked against single reads.
            const int run = std::uniform_int_distribution<int>(1, 12)(rng);
            mp3d::BitCursor cursor(c);
            for (int i = 0; i < run; ++i) {
                const int n = std::uniform_int_distribution<int>(1, 16)(rng);
                const uint32_t want = stream_bits(stream, pos, n);
                pos += static_cast<uint64_t>(n);
                ASSERT_EQ(getbits1(n, a), want) << "at bit " << pos;
                ASSERT_EQ(mp3d::getbits1_slow(n, b), want);
                ASSERT_EQ(cursor.get(n, c), want);
                ASSERT_EQ(reader_state(a), reader_state(b)) << "at bit " << pos;
            }
            cursor.store(c);
            ASSERT_EQ(reader_state(c), reader_state(a)) << "at bit " << pos;
            ASSERT_TRUE(pos + 32 >= 8 * stream.size() || mp3d::end_bs1(a) == 0) << pos;
            // Now and then a width the inline path hands on (0, 17..24).
            if (run % 4 == 0) {
                const int n = run == 4 ? 0 : 16 + run / 2;
                const uint32_t want = stream_bits(stream, pos, n);
                pos += static_cast<uint64_t>(n);
                ASSERT_EQ(getbits1(n, a), want);
                ASSERT_EQ(mp3d::getbits1_slow(n, b), want);
                ASSERT_EQ(getbits1(n, c), want);
            }
        }
        EXPECT_EQ((std::vector<int64_t>{mp3d::end_bs1(a), a->input_exhausted, sstell1(a),
                                        inline_dec.end_reports()}),
                  (std::vector<int64_t>{1, 1, static_cast<int64_t>(pos), 1}));
        EXPECT_EQ(inline_dec.callbacks(), slow_dec.callbacks());
        EXPECT_EQ(cursor_dec.callbacks(), slow_dec.callbacks());
    }
}
