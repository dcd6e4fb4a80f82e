// Layer III main-data reservoir: append, refused positioning, compaction.
// (Positioning, the main-data lengths and rewinds on normal streams are
// proven by the whole-stream tests.)
#include <gtest/gtest.h>

#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/reservoir.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

static std::vector<uint8_t> counting_bytes(size_t n) {
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(1 + 7 * i);
    return v;
}

TEST(Reservoir, AppendTakesWindowBytesThenBlocksAndStopsAtTheBuffer) {
    // The input ends exactly with the 3000 bytes asked for: the end must not
    // be met before more bytes are wanted.
    const auto stream = counting_bytes(3001);
    for (int block : {0, 1, 333}) {
        auto d = mp3d_test::started(stream, block);
        auto *s = d->state();
        mp3d::getbits1(8, s);  // the window now holds one more unread byte
        mp3d::hputbuf(3000, s);
        EXPECT_EQ(s->res_write_index, mp3d::kReservoirBytes);
        EXPECT_EQ(mp3d::sstell1(s), 8u * 3001u);
        EXPECT_TRUE(std::equal(stream.begin() + 1, stream.begin() + 2049, s->reservoir_buffer))
            << block;
        EXPECT_EQ(d->end_reports() + s->input_exhausted, 0);
    }
}

TEST(Reservoir, MainDataBeginBeforeTheHeldDataIsRefusedWithoutReset) {
    // Silent mono 64 kbit/s frames with 187 bytes of main data each. The
    // second frame starts 37 bytes into the first one's data and reads
    // nothing; bytes before that position count as used.
    mp3d_test::BitWriter w;
    for (uint32_t begin : {1u, 150u, 338u, 337u}) {
        mp3d_test::put_header(w, {.bitrate_index = 5, .mode = 3});
        w.put(begin, 9).put(0, 7).fill(0, 15 + 187);  // 17 bytes of side information
    }
    EXPECT_EQ(mp3d_test::decode_to_end(*mp3d_test::started(w.bytes())),
              (std::vector<int32_t>{MP3D_ERROR_MAIN_DATA, 0, 0, MP3D_ERROR_MAIN_DATA, 0, 0, 1}));
}

TEST(Reservoir, CompactionKeepsAtMost512UnloadedBytes) {
    for (int unloaded : {512, 513}) {
        const auto stream = counting_bytes(4 + unloaded);
        auto d = mp3d_test::started(stream);
        auto *s = d->state();
        mp3d::hputbuf(4 + unloaded, s);
        mp3d::hinitbuf(s);  // four bytes in the window, none read
        ASSERT_EQ(mp3d::hwrapbuf(s), 0);
        const int dropped = unloaded - 512;
        EXPECT_EQ(mp3d::hsstell(s), 8 * dropped);
        // Reading goes on with the oldest byte kept.
        for (int i = dropped; i < 4 + unloaded; ++i) ASSERT_EQ(mp3d::hgetbits(8, s), stream[i]);
        // Reads past the written data are reported by the next compaction.
        EXPECT_EQ(mp3d::hwrapbuf(s), 0);
        s->res_read_index = s->res_write_index + 5;
        EXPECT_EQ(mp3d::hwrapbuf(s), 1);
    }
}
