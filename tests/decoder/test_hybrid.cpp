// Hybrid filterbank driver against the double-precision hybrid synthesis of
// ISO/IEC 11172-3: block-type sequences, changing bandwidths, mixed blocks,
// and the subband bookkeeping across granules.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "decoder/hybrid.h"
#include "decoder/memory_layout.h"
#include "kernels/kernel_set.h"
#include "support/hybrid_reference.h"

using namespace mp3d;
using namespace mp3d_test;

// The folded transforms stay within about 40 units of the exact value for
// full random granules, whatever their magnitude.
constexpr double kTolerance = 64.0;

struct Channel {
    MP3D_Decoder_State st{};
    int32_t overlap[2 * 32 * 9] = {};
    uint32_t types[2 * 32] = {};
    int ch;
    Reference_Hybrid ref;

    explicit Channel(int channel, int version = 1, int sampling_frequency = 0, int mode = 0,
                     int mode_extension = 0)
        : ch(channel) {
        MP3D_init_tables(&st);
        // The kernels this processor runs (the vector set where there is one).
        st.kernels = MP3D_select_kernels();
        st.overlap_buffer = overlap;
        st.prev_block_type = types;
        st.header.version = static_cast<int16_t>(version);
        st.header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
        st.header.mode = static_cast<int16_t>(mode);
        st.header.mode_extension = static_cast<int16_t>(mode_extension);
    }
    // One granule in place. Long blocks get the counts the Huffman decoder
    // leaves: q + 1 for the last non-zero line 18 q + r, q + 2 when r >= 10
    // (the butterflies spill into the next subband).
    std::vector<int32_t> run(std::vector<int32_t> x, uint32_t bt, uint32_t mixed = 0) {
        MP3D_Granule_Info gi{};
        gi.window_switching_flag = bt != 0 || mixed != 0;
        gi.block_type = bt;
        gi.mixed_block_flag = mixed;
        if (bt != 2) {
            int last = 575;
            while (last >= 0 && x[last] == 0) --last;
            st.prev_nonzero_subbands[ch] = st.nonzero_subbands[ch];
            st.nonzero_subbands[ch] = int16_t(last < 0 ? 1 : last / 18 + 1 + (last % 18 >= 10));
        }
        III_hybrid(x.data(), x.data(), ch, &gi, &st);
        return x;
    }
    // Runs a granule and compares it with the reference, whose long subbands
    // (block type 0) lie below `longs`; checks the recorded block types.
    void expect_standard(const std::vector<int32_t> &x, uint32_t bt, uint32_t mixed, int longs,
                         int alias_limit, double scale) {
        const std::vector<int32_t> out = run(x, bt, mixed);
        const std::vector<double> want =
            ref.granule(x.data(), static_cast<int>(bt), longs, alias_limit, scale);
        for (int i = 0; i < 576; ++i) ASSERT_NEAR(out[i], want[i], kTolerance) << i;
        for (int sb = 0; sb < 32; ++sb) ASSERT_EQ(types[32 * ch + sb], sb < longs ? 0 : bt);
    }
};

TEST(Hybrid, BlockTypeSequencesMatchStandard) {
    // Long, start, short, short, stop, long at full band, then changing
    // bandwidths so that transforms, overlap flushes and skipped subbands
    // alternate. Last line 552 (position 12 of subband 30) spills into
    // subband 31 through the butterflies; 575 gives the count 33. With
    // middle/side the tables carry a further 1/sqrt(2).
    const uint32_t types[] = {0, 1, 2, 2, 3, 0, 0, 1, 2, 3, 0, 0, 1, 2, 2};
    const int last[] = {575, 575, 575, 575, 575, 575, 53, 359, 17, 125, 552, 539, 575, 100, -1};
    std::mt19937 rng(2024);
    // Stereo, joint stereo with intensity only, middle/side, both: by channel.
    for (const auto [mode, ext, ch] : {std::array{0, 2, 0}, {1, 1, 1}, {1, 2, 0}, {1, 3, 1}}) {
        Channel c(ch, 1, 0, mode, ext);
        for (size_t g = 0; g < std::size(types); ++g) {
            SCOPED_TRACE(testing::Message() << mode << ext << " granule " << g);
            c.expect_standard(random_words(rng, 576, 1 << 26, last[g] + 1), types[g], 0, 0,
                              types[g] == 2 ? 0 : 31,
                              mode == 1 && (ext & 2) ? M_SQRT1_2 / 4 : 0.25);
        }
    }
}

TEST(Hybrid, MixedBlocksMatchStandard) {
    // Short blocks transform 2 subbands long (4 at MPEG-2.5 8 kHz, where the
    // reordering keeps 72 lines in long order) with butterflies between them
    // only. The second granule's input lies in the top lines of the highest
    // aliased long subband: its spill into the next subband must be
    // transformed. Start and stop blocks with the mixed flag: the normal
    // window below 2 subbands, every butterfly.
    for (const auto [version, sampling_frequency, longs] : {std::array{1, 0, 2}, {2, 2, 4}}) {
        Channel c(0, version, sampling_frequency);
        std::mt19937 rng(longs);
        std::vector<int32_t> spill(576, 0);
        for (int i = 10; i < 18; ++i) spill[18 * (longs - 2) + i] = (i & 1 ? 1 : -1) * (1 << 25);
        const std::pair<uint32_t, int> steps[] = {{0, -1},  {2, -2},  {2, 575}, {2, -1},
                                                  {1, 575}, {3, 575}, {0, -1}};
        for (const auto &[bt, last] : steps) {
            SCOPED_TRACE(testing::Message() << longs << " block type " << bt << " last " << last);
            const int n = bt == 0 ? 0 : bt == 2 ? longs : 2;
            c.expect_standard(last == -2 ? spill : random_words(rng, 576, 1 << 26, last + 1), bt,
                              bt != 0, n, bt == 2 ? n - 1 : 31, 0.25);
        }
    }
}

TEST(Hybrid, FullScaleInputWrapsWithoutFault) {
    // Words over the whole 32-bit range overflow the transforms: the sums wrap
    // (the sanitizer build checks), and zero granules then clear the overlap.
    std::mt19937 rng(77);
    Channel c(1, 1, 0, 1, 2);
    for (const auto &[bt, mixed] : {std::pair{0u, 0u}, {1u, 0u}, {2u, 1u}, {3u, 1u}, {3u, 0u}}) {
        std::vector<int32_t> x = random_words(rng, 576, INT32_MAX, 576);
        x[0] = x[575] = INT32_MIN;
        c.run(x, bt, mixed);
    }
    const std::vector<int32_t> zero(576, 0);
    c.run(zero, 0);
    EXPECT_EQ(c.run(zero, 0), zero);
    EXPECT_EQ(std::count(c.overlap + 288, c.overlap + 576, 0), 288);
}
