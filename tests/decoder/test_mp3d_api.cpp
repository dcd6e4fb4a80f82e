// The public 24-to-16-bit rounding helper: nearest, halves upward, saturated.
#include <gtest/gtest.h>

#include "mp3d.h"

namespace {

TEST(PcmRound16, RoundsToNearestWithHalvesUpward) {
    EXPECT_EQ(mp3d_pcm_round16(0), 0);
    EXPECT_EQ(mp3d_pcm_round16(127), 0);
    EXPECT_EQ(mp3d_pcm_round16(128), 1);  // +0.5 LSB: up
    EXPECT_EQ(mp3d_pcm_round16(383), 1);
    EXPECT_EQ(mp3d_pcm_round16(384), 2);  // +1.5 LSB: up
    EXPECT_EQ(mp3d_pcm_round16(-1), 0);
    EXPECT_EQ(mp3d_pcm_round16(-128), 0);  // -0.5 LSB: up, toward zero
    EXPECT_EQ(mp3d_pcm_round16(-129), -1);
    EXPECT_EQ(mp3d_pcm_round16(-384), -1);  // -1.5 LSB: up
    EXPECT_EQ(mp3d_pcm_round16(-385), -2);
    // Against the exact rule over a sweep of the whole 24-bit range.
    for (int32_t s = -8388608; s <= 8388607; s += 37) {
        const int32_t expect = (s + 128) >> 8;
        const int32_t clamped = expect > 32767 ? 32767 : expect;
        ASSERT_EQ(mp3d_pcm_round16(s), clamped) << s;
    }
}

TEST(PcmRound16, SaturatesAtBothEnds) {
    EXPECT_EQ(mp3d_pcm_round16(8388607), 32767);  // would round to 32768
    EXPECT_EQ(mp3d_pcm_round16(8388480), 32767);  // 32767.5: up, saturated
    EXPECT_EQ(mp3d_pcm_round16(8388224), 32767);  // 32766.5: up
    EXPECT_EQ(mp3d_pcm_round16(8388223), 32766);
    EXPECT_EQ(mp3d_pcm_round16(-8388608), -32768);
    EXPECT_EQ(mp3d_pcm_round16(-8388480), -32767);  // -32767.5: up
    EXPECT_EQ(mp3d_pcm_round16(-8388481), -32768);
    // Words beyond 24 bits are clamped, not wrapped.
    EXPECT_EQ(mp3d_pcm_round16(INT32_MAX), 32767);
    EXPECT_EQ(mp3d_pcm_round16(INT32_MIN), -32768);
    EXPECT_EQ(mp3d_pcm_round16(8388608), 32767);
    EXPECT_EQ(mp3d_pcm_round16(-8388609), -32768);
}

}  // namespace
