// Short-block reordering: window-major bands become line-interleaved.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "decoder/memory_layout.h"
#include "decoder/reorder.h"

using namespace mp3d;

// Short band widths by 3 * version + sampling_frequency (ISO/IEC 11172-3
// Table B.8, ISO/IEC 13818-3 Table B.2, MPEG-2.5).
constexpr int kWidths[9][13] = {
    {4, 4, 4, 6, 6, 8, 10, 14, 18, 26, 32, 42, 18},
    {4, 4, 4, 6, 8, 10, 12, 14, 18, 24, 32, 44, 12},
    {4, 4, 4, 6, 8, 10, 12, 14, 18, 24, 30, 40, 18},
    {4, 4, 4, 4, 6, 8, 10, 12, 14, 18, 22, 30, 56},
    {4, 4, 4, 4, 6, 6, 10, 12, 14, 16, 20, 26, 66},
    {4, 4, 4, 4, 6, 8, 12, 16, 20, 26, 34, 42, 12},
    {4, 4, 4, 6, 8, 10, 12, 14, 18, 24, 30, 40, 18},
    {4, 4, 4, 6, 8, 10, 12, 14, 18, 24, 30, 40, 18},
    {8, 8, 8, 12, 16, 20, 24, 28, 36, 2, 2, 2, 26},
};

TEST(Reorder, EveryRateAndBlockType) {
    // Short blocks: line i of window w of a band starting at p goes to
    // p + 3 i + w; mixed blocks keep bands 0..2 (36 lines, 72 at MPEG-2.5
    // 8 kHz) in place. Long blocks stay as they are.
    MP3D_Decoder_State st{};
    MP3D_init_tables(&st);
    MP3D_Frame_Params params{};
    params.header = &st.header;
    std::vector<int32_t> numbered(576), scratch(576);
    std::iota(numbered.begin(), numbered.end(), 1000);
    st.pcm_buffer = scratch.data();
    for (int k = 0; k < 9; ++k)
        for (int type = 0; type < 9; ++type) {
            MP3D_Granule_Info gi{};
            gi.window_switching_flag = type < 8;  // type 8: block type 2 without switching
            gi.block_type = type < 8 ? type & 3 : 2;
            gi.mixed_block_flag = (type >> 2) & 1;
            st.header.version = static_cast<int16_t>(k / 3);
            st.header.sampling_frequency = static_cast<int16_t>(k % 3);
            std::vector<int32_t> x = numbered, want = numbered;
            for (int b = 0, p = 0; b < 13 && gi.window_switching_flag && gi.block_type == 2;
                 p += 3 * kWidths[k][b++])
                for (int w = 0; w < 3 && (!gi.mixed_block_flag || b >= 3); ++w)
                    for (int i = 0; i < kWidths[k][b]; ++i)
                        want[p + 3 * i + w] = 1000 + p + w * kWidths[k][b] + i;
            III_reorder(x.data(), &gi, &params, &st);
            EXPECT_EQ(x, want) << "rate " << k << " type " << type;
        }
}
