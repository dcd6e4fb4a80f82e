// The encoder's information frame (Xing/Info with the LAME tag) read from
// the first frame.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "mp3d_stream.h"
#include "stream/info_frame.h"
#include "stream/mpeg_header.h"

using namespace mp3d_stream;
using Bytes = std::vector<uint8_t>;

namespace {

void put32(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

}  // namespace

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
