// The copy routine of the frame cycle and the reservoir.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kernels/memory.h"

TEST(Memory, CopyMovesTowardsLowerAddresses) {
    // The reservoir moves its unread tail to the front of the same buffer;
    // every offset and alignment gives the bytes the source held.
    for (int from = 1; from < 12; ++from) {
        for (int count : {0, 1, 3, 4, 5, 17, 64, 301}) {
            std::vector<uint8_t> buffer(400), expected;
            for (size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<uint8_t>(i * 7 + 1);
            expected = buffer;
            for (int i = 0; i < count; ++i) expected[2 + i] = buffer[2 + from + i];
            mp3d::Mp3_memcopy(buffer.data() + 2, buffer.data() + 2 + from, count);
            ASSERT_EQ(buffer, expected) << from << " " << count;
        }
    }
}
