// Frame headers as the stream layer reads them.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "mp3d_stream.h"
#include "stream/mpeg_header.h"

using namespace mp3d_stream;

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
