// Hybrid filterbank driver against the double-precision hybrid synthesis of
// ISO/IEC 11172-3, and its subband bookkeeping across granules.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "decoder/hybrid.h"
#include "decoder/tables/imdct_tables.h"
#include "kernels/imdct_winola.h"
#include "support/hybrid_reference.h"
#include "support/hybrid_test_state.h"

using namespace mp3d;
using mp3d_test::Reference_Hybrid;

namespace {

// The folded transforms round every product and carry those roundings
// through running sums and quadruplings: for full random granules the
// output stays within about 40 units of the exact value, independently of
// its magnitude (see the kernel tests).
constexpr double kTolerance = 64.0;

MP3D_Granule_Info granule(uint32_t block_type, uint32_t mixed = 0) {
    MP3D_Granule_Info gi{};
    gi.window_switching_flag = block_type != 0 ? 1 : 0;
    gi.block_type = block_type;
    gi.mixed_block_flag = mixed;
    return gi;
}

// The count the Huffman decoder leaves for a long block: q + 1, or q + 2
// when the last non-zero line 18 q + r has r >= 10 (the alias spill).
int16_t long_block_count(const std::vector<int32_t> &x) {
    int last = 575;
    while (last >= 0 && x[last] == 0) --last;
    if (last < 0) return 1;
    return static_cast<int16_t>(last / 18 + (last % 18 >= 10 ? 2 : 1));
}

struct Channel_Run {
    std::unique_ptr<mp3d_test::Hybrid_Test_State> t = mp3d_test::make_hybrid_test_state();
    int ch = 0;

    // Runs one granule in place, setting the long-block counts as the
    // Huffman decoder would.
    std::vector<int32_t> run(std::vector<int32_t> x, const MP3D_Granule_Info &gi) {
        const bool short_block = gi.window_switching_flag && gi.block_type == 2;
        if (!short_block) {
            t->state.prev_nonzero_subbands[ch] = t->state.nonzero_subbands[ch];
            t->state.nonzero_subbands[ch] = long_block_count(x);
        }
        III_hybrid(x.data(), x.data(), ch, &gi, &t->state);
        return x;
    }
    int32_t *overlap() { return t->overlap.data() + 288 * ch; }
    uint32_t *block_types() { return t->prev_block_type.data() + 32 * ch; }
};

std::vector<int32_t> random_granule(std::mt19937 &rng, int subbands, int32_t magnitude) {
    std::uniform_int_distribution<int32_t> dist(-magnitude, magnitude);
    std::vector<int32_t> x(576, 0);
    for (int i = 0; i < 18 * subbands; ++i) x[i] = dist(rng);
    return x;
}

double worst_error(const std::vector<int32_t> &out, const std::vector<double> &ref) {
    double worst = 0;
    for (int i = 0; i < 576; ++i) worst = std::max(worst, std::fabs(out[i] - ref[i]));
    return worst;
}

}  // namespace

TEST(Hybrid, BlockTypeSequenceMatchesStandard) {
    // Long, start, short, short, stop, long; full-band granules, then the
    // same with changing bandwidths so that transforms, overlap flushes and
    // skipped subbands alternate. Both channels, with and without
    // middle/side.
    const uint32_t types[] = {0, 1, 2, 2, 3, 0, 0, 1, 2, 3};
    const int bands[] = {32, 32, 32, 32, 32, 32, 3, 20, 1, 7};
    std::mt19937 rng(2024);
    for (int ms = 0; ms < 2; ++ms) {
        for (int ch = 0; ch < 2; ++ch) {
            Channel_Run run;
            run.ch = ch;
            run.t->state.header.mode = ms ? 1 : 0;
            run.t->state.header.mode_extension = ms ? 2 : 0;
            Reference_Hybrid ref;
            const double scale = ms ? 0.25 / std::sqrt(2.0) : 0.25;
            for (int g = 0; g < 10; ++g) {
                const std::vector<int32_t> x = random_granule(rng, bands[g], 1 << 24);
                const std::vector<int32_t> out = run.run(x, granule(types[g]));
                const bool short_block = types[g] == 2;
                const std::vector<double> expect = ref.granule(x.data(), static_cast<int>(types[g]),
                                                               0, short_block ? 0 : 31, scale);
                EXPECT_LT(worst_error(out, expect), kTolerance)
                    << "ms " << ms << " ch " << ch << " granule " << g;
                for (int sb = 0; sb < 32; ++sb) EXPECT_EQ(run.block_types()[sb], types[g]);
            }
        }
    }
}

TEST(Hybrid, MiddleSideTablesAreSqrt2Smaller) {
    std::mt19937 rng(5);
    const std::vector<int32_t> x = random_granule(rng, 32, 1 << 26);
    for (uint32_t bt : {0u, 2u}) {
        Channel_Run plain, ms;
        plain.ch = ms.ch = 1;
        ms.t->state.header.mode = 1;
        ms.t->state.header.mode_extension = 2;
        plain.t->state.header.mode = 1;  // joint stereo, intensity only
        plain.t->state.header.mode_extension = 1;
        const std::vector<int32_t> a = plain.run(x, granule(bt));
        const std::vector<int32_t> b = ms.run(x, granule(bt));
        double worst = 0, energy = 0;
        for (int i = 0; i < 576; ++i) {
            worst = std::max(worst, std::fabs(a[i] - b[i] * std::sqrt(2.0)));
            energy += std::fabs(a[i]);
        }
        EXPECT_LT(worst, 2 * kTolerance) << "block type " << bt;
        EXPECT_GT(energy, 576.0 * (1 << 20));
    }
}

TEST(Hybrid, ZeroGranuleAfterZeroGranuleComputesNothing) {
    for (uint32_t bt : {0u, 2u}) {
        Channel_Run run;
        const std::vector<int32_t> zero(576, 0);
        run.run(zero, granule(bt));
        for (int i = 0; i < 288; ++i) ASSERT_EQ(run.overlap()[i], 0);
        EXPECT_EQ(run.t->state.nonzero_subbands[0], 1);

        // Plant words in the overlap above subband 0: a subband that is
        // flushed would emit and clear them.
        for (int i = 9; i < 288; ++i) run.overlap()[i] = 0x1234567;
        const std::vector<int32_t> out = run.run(zero, granule(bt));
        EXPECT_EQ(out, zero) << "block type " << bt;
        for (int i = 9; i < 288; ++i) EXPECT_EQ(run.overlap()[i], 0x1234567);
    }
}

TEST(Hybrid, ZeroGranuleFlushesOverlap) {
    // A loud granule, then one with zero input: each subband outputs its
    // overlap windowed by the previous block type, and the overlap clears.
    struct Step {
        uint32_t loud, quiet;
    };
    for (Step s : {Step{0, 0}, Step{1, 2}, Step{2, 3}, Step{3, 0}}) {
        Channel_Run run;
        std::mt19937 rng(s.loud * 4 + s.quiet);
        run.run(random_granule(rng, 32, 1 << 26), granule(s.loud));
        std::array<int32_t, 288> ovl;
        std::copy(run.overlap(), run.overlap() + 288, ovl.begin());

        const std::vector<int32_t> out = run.run(std::vector<int32_t>(576, 0), granule(s.quiet));
        for (int sb = 0; sb < 32; ++sb) {
            std::array<int32_t, 18> expect{};
            if (s.quiet == 2) {
                const std::array<int32_t, 18> zeros{};
                window_convert(zeros.data(), expect.data(), &ovl[9 * sb], 2, s.loud, imdct_win_lf);
            } else {
                window_overlap(expect.data(), &ovl[9 * sb], s.loud, imdct_win_lf);
            }
            for (int i = 0; i < 18; ++i)
                EXPECT_EQ(out[18 * sb + i], expect[i])
                    << "loud " << s.loud << " quiet " << s.quiet << " sb " << sb << " i " << i;
        }
        for (int i = 0; i < 288; ++i) EXPECT_EQ(run.overlap()[i], 0);
    }
}

TEST(Hybrid, TopSubbandTransformedWhenReached) {
    // Line 575 gives the count 33; line 552 (position 12 of subband 30)
    // gives 32 through the alias spill into subband 31.
    for (int line : {575, 552, 539}) {
        Channel_Run run;
        std::vector<int32_t> x(576, 0);
        x[line] = 1 << 26;
        x[line - 1] = -(1 << 25);
        const std::vector<int32_t> out = run.run(x, granule(0));
        Reference_Hybrid ref;
        const std::vector<double> expect = ref.granule(x.data(), 0, 0, 31, 0.25);
        EXPECT_LT(worst_error(out, expect), kTolerance) << "line " << line;
        double top = 0;
        for (int i = 558; i < 576; ++i) top += std::fabs(out[i]);
        if (line >= 552)
            EXPECT_GT(top, 1 << 20) << "line " << line;
        else
            EXPECT_EQ(top, 0) << "line " << line;
    }
    Channel_Run run;
    std::vector<int32_t> x(576, 0);
    x[575] = 1;
    run.run(x, granule(0));
    EXPECT_EQ(run.t->state.nonzero_subbands[0], 33);
}

TEST(Hybrid, MixedBlocksLongBelowShortAbove) {
    // 44.1 kHz: subbands 0 and 1 long with butterflies between them.
    // MPEG-2.5 8 kHz: the reordering leaves subbands 0..3 in long order, so
    // they are transformed long with butterflies at 0|1, 1|2 and 2|3.
    struct Rate {
        int16_t version, sampling_frequency;
        int long_subbands;
    };
    for (Rate r : {Rate{1, 0, 2}, Rate{2, 2, 4}}) {
        Channel_Run run;
        run.t->state.header.version = r.version;
        run.t->state.header.sampling_frequency = r.sampling_frequency;
        Reference_Hybrid ref;
        std::mt19937 rng(r.long_subbands);
        for (int g = 0; g < 3; ++g) {
            const std::vector<int32_t> x = random_granule(rng, 32, 1 << 24);
            const std::vector<int32_t> out = run.run(x, granule(2, 1));
            const std::vector<double> expect =
                ref.granule(x.data(), 2, r.long_subbands, r.long_subbands - 1, 0.25);
            EXPECT_LT(worst_error(out, expect), kTolerance) << "long " << r.long_subbands;
            for (int sb = 0; sb < 32; ++sb)
                EXPECT_EQ(run.block_types()[sb], sb < r.long_subbands ? 0u : 2u) << sb;
        }
    }
}

TEST(Hybrid, MixedLongBlocksUseNormalWindowBelow) {
    // Start and stop blocks with the mixed flag: subbands 0 and 1 take the
    // normal window, all boundaries keep their butterflies.
    Channel_Run run;
    Reference_Hybrid ref;
    std::mt19937 rng(13);
    for (uint32_t bt : {1u, 3u}) {
        const std::vector<int32_t> x = random_granule(rng, 32, 1 << 24);
        const std::vector<int32_t> out = run.run(x, granule(bt, 1));
        const std::vector<double> expect = ref.granule(x.data(), static_cast<int>(bt), 2, 31, 0.25);
        EXPECT_LT(worst_error(out, expect), kTolerance) << "block type " << bt;
        for (int sb = 0; sb < 32; ++sb) EXPECT_EQ(run.block_types()[sb], sb < 2 ? 0u : bt) << sb;
    }
}

TEST(Hybrid, MixedBlockSpillIntoQuietSubbandIsTransformed) {
    // Input only in the last lines of the highest aliased long subband: the
    // butterflies move part of it into the next subband, which must be
    // transformed although its own input and the previous count are zero.
    struct Rate {
        int16_t version, sampling_frequency;
        int long_subbands;
    };
    for (Rate r : {Rate{1, 0, 2}, Rate{2, 2, 4}}) {
        Channel_Run run;
        run.t->state.header.version = r.version;
        run.t->state.header.sampling_frequency = r.sampling_frequency;
        Reference_Hybrid ref;
        const std::vector<int32_t> zero(576, 0);
        run.run(zero, granule(0));
        ref.granule(zero.data(), 0, 0, 31, 0.25);

        std::vector<int32_t> x(576, 0);
        const int sb = r.long_subbands - 2;
        for (int i = 10; i < 18; ++i) x[18 * sb + i] = (i & 1 ? 1 : -1) * (1 << 25);
        for (int g = 0; g < 2; ++g) {
            const std::vector<int32_t> in = g == 0 ? x : zero;
            const std::vector<int32_t> out = run.run(in, granule(2, 1));
            const std::vector<double> expect =
                ref.granule(in.data(), 2, r.long_subbands, r.long_subbands - 1, 0.25);
            EXPECT_LT(worst_error(out, expect), kTolerance)
                << "long " << r.long_subbands << " granule " << g;
            EXPECT_EQ(run.t->state.nonzero_subbands[0], g == 0                ? r.long_subbands
                                                        : 2 > r.long_subbands ? 2
                                                                              : r.long_subbands);
        }
        for (int i = 0; i < 288; ++i) EXPECT_EQ(run.overlap()[i], 0);
    }
}

TEST(Hybrid, FullScaleInputWrapsWithoutFault) {
    // Words over the whole 32-bit range overflow the transforms; the sums
    // wrap (checked by the sanitizer build) and zero granules still clear
    // every overlap.
    std::mt19937 rng(77);
    std::uniform_int_distribution<int32_t> dist(INT32_MIN, INT32_MAX);
    Channel_Run run;
    run.t->state.header.mode = 1;
    run.t->state.header.mode_extension = 2;
    const std::pair<uint32_t, uint32_t> types[] = {{0, 0}, {1, 0}, {2, 0}, {2, 1},
                                                   {3, 1}, {2, 1}, {3, 0}};
    for (auto [bt, mixed] : types) {
        std::vector<int32_t> x(576);
        for (auto &v : x) v = dist(rng);
        x[0] = INT32_MIN;
        x[575] = INT32_MIN;
        run.run(x, granule(bt, mixed));
    }
    const std::vector<int32_t> zero(576, 0);
    run.run(zero, granule(0));
    const std::vector<int32_t> out = run.run(zero, granule(0));
    EXPECT_EQ(out, zero);
    for (int i = 0; i < 288; ++i) EXPECT_EQ(run.overlap()[i], 0);
}
