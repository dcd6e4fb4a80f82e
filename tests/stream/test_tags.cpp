// The sizes of the tags found around the audio: ID3v2 at the start, and at
// the end ID3v1 (with its extension), APEv2 and an ID3v2 footer.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "mp3d_stream.h"
#include "stream/tags.h"

using namespace mp3d_stream;
using Bytes = std::vector<uint8_t>;

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
