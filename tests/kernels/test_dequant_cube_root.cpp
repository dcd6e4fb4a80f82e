// The large-value dequantisation the decoder uses (on ARMv6 its own
// arithmetic) leaves exactly the words of the portable one: every value of
// the tables' range and beyond it, every quarter step of the scale, and
// shifts from far right (results 0) through left shifts that wrap.
#include <gtest/gtest.h>

#include <cstdint>

#include "decoder/memory_layout.h"
#include "kernels/dequant_cube_root.h"
#include "kernels/huffman_dequant.h"

using namespace mp3d;

TEST(DequantCubeRoot, EveryValueMatchesPortable) {
    MP3D_Decoder_State st{};
    MP3D_init_tables(&st);
    const int32_t negqs[] = {-70, -33, -20, -15, -9, -4, -1, 0, 3, 8, 30};
    for (int32_t v = -2; v <= 32770; ++v)
        for (int r = 0; r < 4; ++r) {
            const int32_t scale = st.scale_fac_table_lf[r];
            // Two shifts for every value, all of them over consecutive values.
            for (int k = 0; k < 2; ++k) {
                const int32_t negq = negqs[(v + 2 + 5 * k + r) % 11];
                ASSERT_EQ(dequant_greaterthan63(v, scale, negq, &st),
                          dequant_greaterthan63_portable(v, scale, negq, &st))
                    << "v " << v << " r " << r << " negq " << negq;
            }
        }
    EXPECT_EQ(dequant_greaterthan63(INT32_MAX, st.scale_fac_table_lf[1], -15, &st),
              dequant_greaterthan63_portable(32767, st.scale_fac_table_lf[1], -15, &st));
}
