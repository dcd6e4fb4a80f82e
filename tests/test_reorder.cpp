// Short-block reordering: window-major bands become line-interleaved.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

#include "decoder/reorder.h"
#include "support/hybrid_test_state.h"

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

// Where line i of window w of every band lands: p + 3 i + w.
std::vector<int32_t> expected_order(const std::vector<int32_t> &x, int k, bool mixed) {
    std::vector<int32_t> e = x;
    int p = 0;
    for (int b = 0; b < 13; ++b) {
        const int w = kWidths[k][b];
        if (!mixed || b >= 3)
            for (int win = 0; win < 3; ++win)
                for (int i = 0; i < w; ++i) e[p + 3 * i + win] = x[p + win * w + i];
        p += 3 * w;
    }
    return e;
}

struct Reorder_Case {
    std::unique_ptr<mp3d_test::Hybrid_Test_State> t = mp3d_test::make_hybrid_test_state();
    MP3D_Granule_Info gi{};

    Reorder_Case(int version, int sampling_frequency, uint32_t block_type, uint32_t mixed) {
        t->state.header.version = static_cast<int16_t>(version);
        t->state.header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
        gi.window_switching_flag = 1;
        gi.block_type = block_type;
        gi.mixed_block_flag = mixed;
    }
    void run(std::vector<int32_t> &x) { III_reorder(x.data(), &gi, &t->params, &t->state); }
};

}  // namespace

TEST(Reorder, LongBlocksUntouched) {
    for (uint32_t bt : {1u, 3u}) {
        Reorder_Case c(1, 0, bt, 0);
        std::vector<int32_t> x = numbered();
        c.run(x);
        EXPECT_EQ(x, numbered()) << "block type " << bt;
    }
    // Without window switching the block type is not looked at.
    Reorder_Case c(1, 0, 2, 0);
    c.gi.window_switching_flag = 0;
    std::vector<int32_t> x = numbered();
    c.run(x);
    EXPECT_EQ(x, numbered());
}

TEST(Reorder, ShortBlock44kInterleavesWindows) {
    Reorder_Case c(1, 0, 2, 0);
    std::vector<int32_t> x = numbered();
    c.run(x);
    // Band 0: windows a = 0..3, b = 4..7, c = 8..11 become a0 b0 c0 a1 ...
    const int32_t band0[12] = {1000, 1004, 1008, 1001, 1005, 1009,
                               1002, 1006, 1010, 1003, 1007, 1011};
    for (int i = 0; i < 12; ++i) EXPECT_EQ(x[i], band0[i]) << i;
    // Last band, width 56, lines 408..575.
    for (int i = 0; i < 56; ++i)
        for (int w = 0; w < 3; ++w) EXPECT_EQ(x[408 + 3 * i + w], 1000 + 408 + 56 * w + i);
    EXPECT_EQ(x, expected_order(numbered(), 3, false));
}

TEST(Reorder, ShortBlocksEveryRate) {
    // The packed widths of each version and rate, pure and mixed.
    for (int version = 0; version < 3; ++version) {
        for (int sf = 0; sf < 3; ++sf) {
            for (uint32_t mixed = 0; mixed < 2; ++mixed) {
                Reorder_Case c(version, sf, 2, mixed);
                std::vector<int32_t> x = numbered();
                c.run(x);
                EXPECT_EQ(x, expected_order(numbered(), 3 * version + sf, mixed != 0))
                    << "version " << version << " sf " << sf << " mixed " << mixed;
            }
        }
    }
}

TEST(Reorder, MixedBlocksKeepLongPart) {
    {
        Reorder_Case c(1, 0, 2, 1);
        std::vector<int32_t> x = numbered();
        c.run(x);
        for (int i = 0; i < 36; ++i) EXPECT_EQ(x[i], 1000 + i);
        // Band 3 (width 4) from line 36.
        EXPECT_EQ(x[36], 1036);
        EXPECT_EQ(x[37], 1040);
        EXPECT_EQ(x[38], 1044);
        EXPECT_EQ(x[39], 1037);
    }
    {
        // MPEG-2.5 at 8 kHz: the long part is 72 lines; band 3 is 12 wide.
        Reorder_Case c(2, 2, 2, 1);
        std::vector<int32_t> x = numbered();
        c.run(x);
        for (int i = 0; i < 72; ++i) EXPECT_EQ(x[i], 1000 + i);
        EXPECT_EQ(x[72], 1072);
        EXPECT_EQ(x[73], 1084);
        EXPECT_EQ(x[74], 1096);
        EXPECT_EQ(x[75], 1073);
    }
}

TEST(Reorder, SingleValueMovesAmongZeros) {
    // Line 2 of window 1 of band 5 at 48 kHz (bands 0..4: 4 4 4 4 6 lines).
    Reorder_Case c(1, 1, 2, 0);
    std::vector<int32_t> x(576, 0);
    const int p = 3 * (4 + 4 + 4 + 4 + 6);
    x[p + 6 + 2] = -77;
    c.run(x);
    for (int i = 0; i < 576; ++i) EXPECT_EQ(x[i], i == p + 3 * 2 + 1 ? -77 : 0) << i;
}
