// The stream layer's parsers and bookkeeping: frame headers, tags,
// information frames and the seek index.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "mp3d_stream.h"
#include "stream/frame_scan.h"
#include "stream/info_frame.h"
#include "stream/mpeg_header.h"
#include "stream/tags.h"

using namespace mp3d_stream;
using Bytes = std::vector<uint8_t>;

namespace {

void put32(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

}  // namespace

TEST(StreamParsing, FrameHeaders) {
    struct Case {
        uint8_t b[4];
        int version, layer, rate, channels, spf, bytes;
    } cases[] = {{{0xff, 0xfb, 0x92, 0x44}, 1, 3, 44100, 2, 1152, 418},  // 128k, padded
                 {{0xff, 0xf3, 0x84, 0xc4}, 2, 3, 24000, 1, 576, 192},   // 64k LSF mono
                 {{0xff, 0xe3, 0x18, 0xc4}, 25, 3, 8000, 1, 576, 72},    // 8k MPEG-2.5
                 {{0xff, 0xfd, 0xc4, 0x04}, 1, 2, 48000, 2, 1152, 768},  // 256k Layer II, CRC
                 {{0xff, 0xf5, 0x80, 0x00}, 2, 2, 22050, 2, 1152, 417},  // LSF Layer II 64k
                 {{0xff, 0xfb, 0x04, 0x00}, 1, 3, 48000, 2, 1152, 0}};   // free format
    for (const Case &c : cases) {
        MpegHeader h;
        ASSERT_TRUE(parse_header(c.b, h)) << c.bytes;
        EXPECT_EQ(h.version, c.version);
        EXPECT_EQ(h.layer, c.layer);
        EXPECT_EQ(h.sample_rate, c.rate);
        EXPECT_EQ(h.channels, c.channels);
        EXPECT_EQ(h.samples_per_frame, c.spf);
        EXPECT_EQ(h.frame_bytes, c.bytes);
    }
    // Layer I, reserved layer, reserved version, bitrate 15, rate 3, no sync.
    for (const uint8_t *b :
         {(const uint8_t *)"\xff\xff\x90\x00", (const uint8_t *)"\xff\xf9\x90\x00",
          (const uint8_t *)"\xff\xeb\x90\x00", (const uint8_t *)"\xff\xfb\xf0\x00",
          (const uint8_t *)"\xff\xfb\x9c\x00", (const uint8_t *)"\xfe\xfb\x90\x00"}) {
        MpegHeader h;
        EXPECT_FALSE(parse_header(b, h));
    }
}

TEST(StreamParsing, Tags) {
    Bytes v24 = {'I', 'D', '3', 4, 0, 0x10, 0, 0, 0x01, 0x7f};  // footer flag, body 255
    EXPECT_EQ(id3v2_tag_bytes(v24.data()), 255 + 20);
    v24[3] = 3;  // the footer flag means nothing before version 4
    EXPECT_EQ(id3v2_tag_bytes(v24.data()), 255 + 10);
    v24[8] = 0x80;  // not synchsafe
    EXPECT_EQ(id3v2_tag_bytes(v24.data()), 0);

    Bytes tail(400, 'x');
    std::memcpy(&tail[400 - 128], "TAG", 3);
    EXPECT_EQ(end_tag(tail.data(), 400, 10000).bytes, 128);
    std::memcpy(&tail[400 - 355], "TAG+", 4);
    EXPECT_EQ(end_tag(tail.data(), 400, 10000).bytes, 355);
    EXPECT_EQ(end_tag(tail.data() + 100, 300, 10000).bytes, 128);  // the extension not in view

    Bytes ape(64, 0);
    std::memcpy(&ape[32], "APETAGEX", 8);
    ape[32 + 12] = 200;   // items and footer
    ape[32 + 23] = 0x80;  // with header
    const EndTagFound found = end_tag(ape.data(), 64, 1000);
    EXPECT_EQ(found.kind, EndTag::kApev2);
    EXPECT_EQ(found.bytes, 232);
    EXPECT_EQ(end_tag(ape.data(), 64, 100).kind, EndTag::kNone);  // claims more than there is

    Bytes footer = {'3', 'D', 'I', 4, 0, 0x10, 0, 0, 0, 100};
    EXPECT_EQ(end_tag(footer.data(), 10, 500).bytes, 120);
    EXPECT_EQ(end_tag(footer.data(), 10, 119).kind, EndTag::kNone);
}

TEST(StreamParsing, InformationFrames) {
    MpegHeader h;
    const uint8_t mono_lsf[4] = {0xff, 0xf2, 0x84, 0xc4};  // LSF mono with CRC: side info 9
    ASSERT_TRUE(parse_header(mono_lsf, h));
    Bytes f(192, 0);
    std::memcpy(f.data(), mono_lsf, 4);
    // Xing behind the check word: frames, bytes, table, quality, then LAME.
    const size_t at = 4 + 9 + 2;
    std::memcpy(&f[at], "Xing", 4);
    put32(f, at + 4, 15);
    put32(f, at + 8, 1234);
    put32(f, at + 12, 56789);
    put32(f, at + 116, 78);
    std::memcpy(&f[at + 120], "LAME3.99r", 9);
    f[at + 129] = 0x24;  // method 4
    f[at + 140] = 128;
    f[at + 141] = 576 >> 4, f[at + 142] = (576 & 15) << 4 | 0x5, f[at + 143] = 0x67;
    InfoFrame info;
    ASSERT_TRUE(parse_info_frame(f.data(), 192, h, info));
    EXPECT_EQ(info.kind, MP3D_STREAM_INFO_XING);
    EXPECT_EQ(info.frames, 1234);
    EXPECT_EQ(info.bytes, 56789);
    EXPECT_EQ(info.quality, 78);
    EXPECT_STREQ(info.encoder, "LAME3.99r");
    EXPECT_EQ(info.vbr_method, 4);
    EXPECT_EQ(info.lame_bitrate_kbps, 128);
    EXPECT_EQ(info.delay, 576);
    EXPECT_EQ(info.padding, 0x567);
    // Cut before the extension: the Xing fields only.
    ASSERT_TRUE(parse_info_frame(f.data(), static_cast<int32_t>(at + 130), h, info));
    EXPECT_EQ(info.has_lame, 0);
    EXPECT_EQ(info.delay, -1);
    // An ordinary frame, and a Layer II frame with the same bytes.
    std::memset(&f[at], 0, 4);
    EXPECT_FALSE(parse_info_frame(f.data(), 192, h, info));
    std::memcpy(&f[at], "Info", 4);
    h.layer = 2;
    EXPECT_FALSE(parse_info_frame(f.data(), 192, h, info));
}

TEST(StreamParsing, SeekIndexThinsWhenFull) {
    IndexEntry storage[4];
    SeekIndex index;
    index_init(index, storage, 4);
    for (int64_t k = 0; k < 40; ++k) index_note(index, k, k * 100);
    // Full at 0,1,2,3 -> 0,2 stride 2 -> 0,2,4,6 -> 0,4 stride 4 -> ... stride 16.
    EXPECT_EQ(index.stride, 16u);
    EXPECT_EQ(index.count, 3);
    EXPECT_EQ(index_lookup(index, 47).frame, 32u);
    EXPECT_EQ(index_lookup(index, 31).offset, 1600u);
    EXPECT_EQ(index_lookup(index, 0).frame, 0u);
    index_note(index, 16, 1);  // known already: ignored
    EXPECT_EQ(index_lookup(index, 16).offset, 1600u);
}
