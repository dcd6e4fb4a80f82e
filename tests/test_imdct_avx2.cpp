// The AVX2 long-block hybrid filterbank gives exactly the portable run's
// output, overlap, butterfly spill and recorded block types, on random and
// extreme inputs, for every block-type pair and run shape.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "decoder/hybrid.h"
#include "decoder/kernel_select.h"
#include "decoder/memory_layout.h"

using namespace mp3d;

namespace {

const int32_t kExtremes[] = {INT32_MIN, INT32_MAX, -1, 0, 1, 1 << 30, -(1 << 30), INT32_MIN + 1};

// Words of one kind: audio-sized (Q28 spectral values, Q26-ish overlap),
// full range, extremes only, or a mix.
int32_t word(std::mt19937 &rng, int kind) {
    const uint32_t r = rng();
    switch (kind) {
        case 0:
            return static_cast<int32_t>(r) >> (3 + r % 9);
        case 1:
            return static_cast<int32_t>(r);
        case 2:
            return kExtremes[r % 8];
        default:
            return (r & 1) ? kExtremes[(r >> 1) % 8] : static_cast<int32_t>(rng()) >> 4;
    }
}

struct Channel {
    std::vector<int32_t> x = std::vector<int32_t>(576);
    std::vector<int32_t> out = std::vector<int32_t>(576);
    std::vector<int32_t> ovl = std::vector<int32_t>(32 * 9);
    std::vector<uint32_t> prev = std::vector<uint32_t>(32);
};

struct Case {
    int first;        // the run's first subband
    int count;        // subbands in the run
    int alias_count;  // boundaries with butterflies
    uint32_t block_type;
    bool in_place;
    bool plain;  // plain or root2 cosine table
};

class ImdctAvx2 : public ::testing::Test {
  protected:
    void SetUp() override {
        avx2_ = MP3D_avx2_kernels();
        if (avx2_ == nullptr) GTEST_SKIP() << "no AVX2 kernels in this build or on this processor";
        MP3D_init_tables(&st_);
    }

    // Runs both kernels on copies of ch and compares every word they leave.
    void expect_same(const Channel &ch, const Case &c) {
        Channel want = ch, got = ch;
        run(kPortableKernels, want, c);
        run(*avx2_, got, c);
        const std::string what =
            "first " + std::to_string(c.first) + " count " + std::to_string(c.count) + " alias " +
            std::to_string(c.alias_count) + " type " + std::to_string(c.block_type);
        ASSERT_EQ(got.x, want.x) << what;
        ASSERT_EQ(got.out, want.out) << what;
        ASSERT_EQ(got.ovl, want.ovl) << what;
        ASSERT_EQ(got.prev, want.prev) << what;
    }

    void run(const MP3D_Kernel_Set &k, Channel &ch, const Case &c) {
        const MP3D_Table_Pointers &t = st_.tables;
        int32_t *out = c.in_place ? ch.x.data() : ch.out.data();
        k.hybrid_long(ch.x.data() + 18 * c.first, out + 18 * c.first, c.count, c.alias_count,
                      c.block_type, ch.ovl.data() + 9 * c.first, ch.prev.data() + c.first,
                      c.plain ? t.coef_cos_long_interleaved : t.coef_cos_long_root2_interleaved,
                      t.Cs_Ca_tbl_lf, t.imdct_win_lf);
    }

    const MP3D_Kernel_Set *avx2_ = nullptr;
    MP3D_Decoder_State st_{};
};

Channel random_channel(std::mt19937 &rng, int kind, bool mixed_types) {
    Channel ch;
    for (int32_t &w : ch.x) w = word(rng, kind);
    for (int32_t &w : ch.out) w = word(rng, 1);
    for (int32_t &w : ch.ovl) w = word(rng, kind);
    const uint32_t type = rng() % 4;
    for (uint32_t &p : ch.prev) p = mixed_types ? rng() % 4 : type;
    return ch;
}

}  // namespace

// Every run length from every start, with butterflies at every boundary of
// the run (including the spill into the subband after it) or all but the
// last, in place and into a separate output, for each block type.
TEST_F(ImdctAvx2, RunsMatchPortable) {
    std::mt19937 rng(3636);
    int round = 0;
    for (int first = 0; first < 32; ++first)
        for (int count = 0; first + count <= 32; ++count)
            for (int spill = 0; spill < 2; ++spill) {
                // The spill needs a subband after the run.
                const int alias_count = spill && first + count < 32 ? count : count - 1;
                const uint32_t types[3] = {0, 1, 3};
                const Case c{first,
                             count,
                             alias_count < 0 ? 0 : alias_count,
                             types[round % 3],
                             round % 5 != 0,
                             round % 2 == 0};
                expect_same(random_channel(rng, round % 4, round % 3 == 0), c);
                ++round;
            }
}

// Each current block type after each previous one, the same for all
// subbands and differing per subband (as after a mixed block), on every kind
// of word, with the decoder's long-block runs (from subband 0, butterflies at
// every boundary).
TEST_F(ImdctAvx2, BlockTypePairsAndExtremesMatchPortable) {
    std::mt19937 rng(1212);
    for (int trial = 0; trial < 40; ++trial)
        for (uint32_t bt : {0u, 1u, 3u})
            for (int kind = 0; kind < 4; ++kind)
                for (int mixed_types = 0; mixed_types < 2; ++mixed_types) {
                    Channel ch = random_channel(rng, kind, mixed_types != 0);
                    if (mixed_types == 0) {
                        const uint32_t prev = static_cast<uint32_t>(trial % 4);
                        for (uint32_t &p : ch.prev) p = prev;
                    } else if (trial % 2 == 0) {
                        // A mixed short block before: 0 in subbands 0 and 1.
                        for (int sb = 0; sb < 32; ++sb) ch.prev[sb] = sb < 2 ? 0 : 2;
                    }
                    const int count = trial % 2 ? 31 : 1 + static_cast<int>(rng() % 31);
                    expect_same(ch, Case{0, count, count, bt, true, kind % 2 == 0});
                    expect_same(ch, Case{0, 32, 31, bt, true, kind % 2 != 0});
                }
}

// One value everywhere: the extreme words through every product and sum.
TEST_F(ImdctAvx2, ConstantExtremeChannelsMatchPortable) {
    for (int32_t value : kExtremes)
        for (uint32_t prev = 0; prev < 4; ++prev) {
            Channel ch;
            std::fill(ch.x.begin(), ch.x.end(), value);
            std::fill(ch.ovl.begin(), ch.ovl.end(), value);
            std::fill(ch.prev.begin(), ch.prev.end(), prev);
            for (uint32_t bt : {0u, 1u, 3u}) {
                expect_same(ch, Case{0, 31, 31, bt, true, false});
                expect_same(ch, Case{0, 32, 31, bt, true, true});
            }
        }
}
