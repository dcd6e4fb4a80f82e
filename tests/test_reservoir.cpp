// Layer III main-data reservoir: lengths, append, positioning, compaction,
// rewinds.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/frame_header.h"
#include "decoder/reservoir.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using mp3d::hgetbits;
using mp3d_test::BitWriter;
using mp3d_test::HeaderFields;
using mp3d_test::StreamDecoder;

namespace {

std::vector<uint8_t> counting_bytes(size_t n, uint8_t first = 1) {
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(first + 7 * i);
    return v;
}

int32_t slots_for(const HeaderFields &f) {
    BitWriter w;
    mp3d_test::put_zero_frame(w, f);
    StreamDecoder d(w.bytes());
    EXPECT_EQ(d.init(), MP3D_OK);
    EXPECT_EQ(mp3d::decode_info(d.state()), MP3D_OK);
    mp3d::hdr_to_frps(d.state());
    return mp3d::main_data_slots(d.state());
}

// A run of MPEG-1 Layer III mono frames whose main data is numbered: byte k of
// the stream's main data (counted over all frames) holds the value k mod 251.
// The side information is written as zeros and skipped by the test itself.
struct MainDataStream {
    std::vector<uint8_t> bytes;
    std::vector<int32_t> main_start;  // position of each frame's main data
    int32_t per_frame = 0;
};

MainDataStream numbered_frames(int frames, int bitrate_index) {
    HeaderFields f;
    f.mode = 3;
    f.bitrate_index = bitrate_index;
    MainDataStream s;
    s.per_frame = mp3d_test::frame_bytes(f) - 4 - 17;
    BitWriter w;
    int32_t k = 0;
    for (int i = 0; i < frames; ++i) {
        mp3d_test::put_header(w, f);
        w.fill(0, 17);
        s.main_start.push_back(k);
        for (int j = 0; j < s.per_frame; ++j, ++k) w.put_byte(static_cast<uint8_t>(k % 251));
    }
    s.bytes = w.bytes();
    return s;
}

// The header step of one frame without the side-information reader: header,
// side information skipped, main_data_begin set by the test, positioning.
int32_t header_step(mp3d::MP3D_Decoder_State *s, uint32_t main_data_begin) {
    if (mp3d::decode_info(s) != MP3D_OK) return -1;
    mp3d::hdr_to_frps(s);
    for (int i = 0; i < 17; ++i) mp3d::getbits1(8, s);
    s->side_info.main_data_begin = main_data_begin;
    return mp3d::III_main_data_position(s);
}

}  // namespace

TEST(Reservoir, MainDataSlotsOfTableBitrates) {
    HeaderFields f;  // MPEG-1 Layer III 128 kbit/s 44100 Hz stereo
    EXPECT_EQ(slots_for(f), 381);
    f.padding_bit = 1;
    EXPECT_EQ(slots_for(f), 382);
    f.padding_bit = 0;
    f.protection_bit = 0;
    EXPECT_EQ(slots_for(f), 379);
    f.protection_bit = 1;
    f.mode = 3;
    EXPECT_EQ(slots_for(f), 417 - 17 - 4);

    HeaderFields lsf;  // MPEG-2 LSF 64 kbit/s 22050 Hz mono
    lsf.id = 2;
    lsf.bitrate_index = 8;
    lsf.mode = 3;
    EXPECT_EQ(slots_for(lsf), 195);
    lsf.mode = 0;
    EXPECT_EQ(slots_for(lsf), 208 - 17 - 4);
    lsf.id = 0;  // MPEG-2.5 8000 Hz, 160 kbit/s, mono, padded: the largest
    lsf.sampling_frequency = 2;
    lsf.bitrate_index = 14;
    lsf.mode = 3;
    lsf.padding_bit = 1;
    EXPECT_EQ(slots_for(lsf), 1440 - 9 + 1 - 4);
}

TEST(Reservoir, AppendTakesWindowBytesThenBlocks) {
    // The frame reader has read ahead into its window; the append must take
    // those bytes first and then continue in the blocks, in stream order.
    const auto stream = counting_bytes(900);
    for (int block : {0, 1, 5, 333}) {
        StreamDecoder d(stream, block);
        ASSERT_EQ(d.init(), MP3D_OK);
        auto *s = d.state();
        mp3d::getbits1(8, s);  // the window now holds one more unread byte
        EXPECT_EQ(s->bits_in_window, 8);
        mp3d::hputbuf(700, s);
        EXPECT_EQ(s->res_write_index, 700);
        EXPECT_EQ(mp3d::sstell1(s), 8u * 701u);
        for (int i = 0; i < 700; ++i) ASSERT_EQ(s->reservoir_buffer[i], stream[1 + i]) << block;
        // The frame reader goes on behind the appended bytes.
        EXPECT_EQ(mp3d::getbits1(8, s), stream[701]);
        EXPECT_EQ(s->input_exhausted, 0);
    }
}

TEST(Reservoir, AppendEndingWithTheInputLeavesTheFrameComplete) {
    // A block that holds exactly the bytes still needed: the callback is not
    // asked again until more bytes are wanted, so the frame's data is whole.
    const auto stream = counting_bytes(300);
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    mp3d::hputbuf(300, d.state());
    EXPECT_EQ(d.state()->input_exhausted, 0);
    EXPECT_EQ(d.end_reports(), 0);
    mp3d::hputbuf(10, d.state());  // now the end is met
    EXPECT_EQ(d.state()->input_exhausted, 1);
    EXPECT_EQ(d.state()->res_write_index, 300);
}

TEST(Reservoir, AppendNeverWritesPastTheBuffer) {
    const auto stream = counting_bytes(4000);
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    // The bytes right behind the reservoir must not change.
    const std::vector<uint8_t> before(reinterpret_cast<uint8_t *>(s->lsf_scalefac_buffer),
                                      reinterpret_cast<uint8_t *>(s->lsf_scalefac_buffer) + 216);
    mp3d::hputbuf(3000, s);
    EXPECT_EQ(s->res_write_index, mp3d::kReservoirBytes);
    EXPECT_EQ(mp3d::sstell1(s), 8u * 3000u);  // the stream still moved on
    const std::vector<uint8_t> after(reinterpret_cast<uint8_t *>(s->lsf_scalefac_buffer),
                                     reinterpret_cast<uint8_t *>(s->lsf_scalefac_buffer) + 216);
    EXPECT_EQ(after, before);
    // Reads past the written data stay inside the buffer.
    s->res_read_index = mp3d::kReservoirBytes;
    for (int i = 0; i < 8; ++i) hgetbits(16, s);
    EXPECT_EQ(s->res_read_index, mp3d::kReservoirBytes + 4);
    EXPECT_EQ(mp3d::hwrapbuf(s), 0);
}

TEST(Reservoir, PositioningFollowsMainDataBeginAcrossFrames) {
    // 64 kbit/s mono frames: 187 bytes of main data each. Each frame refers
    // back by a varying amount; the test reads a little of each frame's data
    // as the granules would and compacts at the frame end. Enough frames pass
    // for the position scale to be lowered several times.
    const MainDataStream m = numbered_frames(60, 5);
    StreamDecoder d(m.bytes, 97);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    for (int i = 0; i < 60; ++i) {
        const uint32_t begin = i == 0 ? 0 : static_cast<uint32_t>((i * 37) % 200);
        ASSERT_EQ(header_step(s, begin), MP3D_OK) << i;
        const int32_t k = m.main_start[i] - static_cast<int32_t>(begin);
        for (int j = 0; j < 40; ++j)
            ASSERT_EQ(hgetbits(8, s), static_cast<uint32_t>((k + j) % 251)) << i << " " << j;
        hgetbits(3, s);  // granules need not end on a byte boundary
        ASSERT_EQ(mp3d::hwrapbuf(s), 0);
        ASSERT_LE(s->res_write_index, mp3d::kReservoirBytes);
        ASSERT_LE(mp3d::hsstell(s), 8 * 2048 + 8 * 600);
    }
}

TEST(Reservoir, MainDataBeginBeforeTheHeldDataIsRefusedWithoutReset) {
    const MainDataStream m = numbered_frames(5, 5);  // 187 bytes of main data each
    const int32_t per = m.per_frame;
    StreamDecoder d(m.bytes);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    EXPECT_EQ(header_step(s, 1), MP3D_ERROR_MAIN_DATA);
    // The refused frame's data stays in the reservoir for the next frame.
    EXPECT_EQ(header_step(s, 150), MP3D_OK);
    const int32_t k = m.main_start[1] - 150;
    for (int j = 0; j < 160; ++j) ASSERT_EQ(hgetbits(8, s), static_cast<uint32_t>((k + j) % 251));
    ASSERT_EQ(mp3d::hwrapbuf(s), 0);
    // Data behind the read position counts as used: reaching back into it is
    // refused, and a later frame can still start right at that position.
    const int32_t position = k + 160;
    EXPECT_EQ(header_step(s, static_cast<uint32_t>(2 * per - position + 1)), MP3D_ERROR_MAIN_DATA);
    EXPECT_EQ(header_step(s, static_cast<uint32_t>(3 * per - position)), MP3D_OK);
    EXPECT_EQ(hgetbits(8, s), static_cast<uint32_t>(position % 251));
    EXPECT_EQ(hgetbits(8, s), static_cast<uint32_t>((position + 1) % 251));
}

TEST(Reservoir, CompactionKeepsAtMost512UnloadedBytes) {
    for (int unloaded : {512, 513}) {
        const auto stream = counting_bytes(4 + unloaded + 8);
        StreamDecoder d(stream);
        ASSERT_EQ(d.init(), MP3D_OK);
        auto *s = d.state();
        mp3d::hputbuf(4 + unloaded, s);
        mp3d::hinitbuf(s);  // four bytes in the window, none read
        ASSERT_EQ(s->res_write_index - s->res_read_index, unloaded);
        ASSERT_EQ(mp3d::hwrapbuf(s), 0);
        const int dropped = unloaded - 512;
        EXPECT_EQ(mp3d::hsstell(s), 8 * dropped);
        EXPECT_EQ(s->res_read_index, 4);
        // Reading goes on with the oldest byte kept, positions unchanged.
        for (int i = dropped; i < 4 + unloaded; ++i)
            ASSERT_EQ(hgetbits(8, s), stream[static_cast<size_t>(i)]) << unloaded << " " << i;
    }
}

TEST(Reservoir, RewindMovesTheReadPositionBack) {
    const auto stream = counting_bytes(64);
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    mp3d::hputbuf(64, s);
    mp3d::hinitbuf(s);
    for (int i = 0; i < 20; ++i) hgetbits(8, s);
    hgetbits(5, s);
    // Rewinding by whole multiples of 2048 bits changes the position only.
    const auto window = s->res_window;
    const auto bits = s->res_bits_in_window;
    const auto read = s->res_read_index;
    mp3d::rewindNbits(16384, s);
    EXPECT_EQ(mp3d::hsstell(s), 20 * 8 + 5 - 16384);
    EXPECT_EQ(s->res_window, window);
    EXPECT_EQ(s->res_bits_in_window, bits);
    EXPECT_EQ(s->res_read_index, read);
    mp3d::rewindNbytes(-2048, s);  // negative counts do nothing
    EXPECT_EQ(mp3d::hsstell(s), 20 * 8 + 5 - 16384);
    s->res_bits_consumed += 16384;

    // A rewind into bytes that have left the window reloads them.
    mp3d::rewindNbits(5 + 8 * 10, s);
    EXPECT_EQ(mp3d::hsstell(s), 8 * 10);
    for (int i = 10; i < 30; ++i) ASSERT_EQ(hgetbits(8, s), stream[static_cast<size_t>(i)]);
    mp3d::rewindNbytes(3, s);
    EXPECT_EQ(hgetbits(16, s), (uint32_t{stream[27]} << 8) | stream[28]);
}

TEST(Reservoir, CompactionReportsReadsPastTheWrittenData) {
    const auto stream = counting_bytes(16);
    StreamDecoder d(stream);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    mp3d::hputbuf(16, s);
    mp3d::hinitbuf(s);
    for (int i = 0; i < 20; ++i) hgetbits(8, s);  // 4 bytes past the data
    EXPECT_EQ(s->res_read_index, 16 + 4);
    EXPECT_EQ(mp3d::hwrapbuf(s), 0);
    s->res_read_index = s->res_write_index + 5;  // as a kernel running further would
    EXPECT_EQ(mp3d::hwrapbuf(s), 1);
}
