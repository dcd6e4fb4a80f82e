// Short-block reordering: window-major bands become line-interleaved.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "decoder/memory_layout.h"
#include "decoder/reorder.h"

using namespace mp3d;

namespace {

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

std::vector<int32_t> numbered() {
    std::vector<int32_t> x(576);
    std::iota(x.begin(), x.end(), 1000);
    return x;
}

std::vector<int32_t> reorder(int version, int sampling_frequency, uint32_t window_switching,
                             uint32_t block_type, uint32_t mixed) {
    MP3D_Decoder_State st{};
    MP3D_init_tables(&st);
    MP3D_Frame_Params params{};
    params.header = &st.header;
    std::vector<int32_t> x = numbered(), scratch(576, 0);
    st.pcm_buffer = scratch.data();
    st.header.version = static_cast<int16_t>(version);
    st.header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
    MP3D_Granule_Info gi{};
    gi.window_switching_flag = window_switching;
    gi.block_type = block_type;
    gi.mixed_block_flag = mixed;
    III_reorder(x.data(), &gi, &params, &st);
    return x;
}

}  // namespace

TEST(Reorder, LongBlocksUntouched) {
    EXPECT_EQ(reorder(1, 0, 1, 1, 0), numbered());
    EXPECT_EQ(reorder(1, 0, 1, 3, 1), numbered());
    EXPECT_EQ(reorder(1, 0, 0, 2, 0), numbered());  // block type ignored without switching
}

TEST(Reorder, ShortBlocksEveryRate) {
    // Line i of window w of a band starting at p goes to p + 3 i + w; mixed
    // blocks keep bands 0..2 (36 lines, 72 at MPEG-2.5 8 kHz) in place.
    for (int k = 0; k < 9; ++k)
        for (uint32_t mixed = 0; mixed < 2; ++mixed) {
            std::vector<int32_t> want = numbered();
            for (int b = 0, p = 0; b < 13; p += 3 * kWidths[k][b++])
                for (int w = 0; w < 3 && (!mixed || b >= 3); ++w)
                    for (int i = 0; i < kWidths[k][b]; ++i)
                        want[p + 3 * i + w] = 1000 + p + w * kWidths[k][b] + i;
            EXPECT_EQ(reorder(k / 3, k % 3, 1, 2, mixed), want) << k << " mixed " << mixed;
        }
}
