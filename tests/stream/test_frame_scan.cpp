// The seek index of the frame walk.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "mp3d_stream.h"
#include "stream/frame_scan.h"

using namespace mp3d_stream;

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
