// Layer III side information: the block-type check. The record layouts are
// proven by the whole-stream tests.
#include <gtest/gtest.h>

#include "decoder/bit_reader.h"
#include "decoder/side_info.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

TEST(SideInfo, WindowSwitchingWithBlockTypeZeroIsRefused) {
    // MPEG-1 stereo: 20 bits up to the granule records, three all-zero
    // (ordinary) records of 59 bits, then the offending one. LSF mono: 9 bits,
    // then the offending record. Everything up to its subblock gains is read.
    for (int version : {1, 0}) {
        const bool mpeg1 = version == 1;
        const int lead = mpeg1 ? 20 + 3 * 59 : 9;
        mp3d_test::BitWriter w;
        for (int i = 0; i < lead; ++i) w.put(0, 1);
        w.put(100, 12).put(0, 9 + 8 + (mpeg1 ? 4 : 9)).put(1, 1).put(0, 2).put(1, 1);
        w.put(0, 10).put(0x1FF, 9).put(0xFFFF, 16);
        auto d = mp3d_test::started(w.bytes());
        mp3d::MP3D_Decoder_State *s = d->state();
        s->header.version = static_cast<int16_t>(version);
        s->frame_params->channels = static_cast<int16_t>(mpeg1 ? 2 : 1);
        EXPECT_EQ(mp3d::III_get_side_info(&s->side_info, s), MP3D_ERROR_SIDE_INFO);
        EXPECT_EQ(mp3d::sstell1(s), static_cast<uint32_t>(lead + (mpeg1 ? 56 : 61)));
        EXPECT_EQ(s->side_info.ch[mpeg1 ? 1 : 0].gr[mpeg1 ? 1 : 0].part2_3_length, 100u);
    }
}
