// Stereo processing: middle/side and intensity (MPEG-1 and LSF) over long,
// short and mixed blocks, and bounded table reads for hostile positions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "decoder/memory_layout.h"
#include "decoder/stereo.h"
#include "kernels/fixed_point.h"
#include "tables/scale_factor_tables.h"
#include "tables/stereo_tables.h"

namespace mp3d {
namespace {

constexpr int kNone = -1;  // no intensity: middle/side when on, else unchanged
class Stereo : public ::testing::Test {
  protected:
    void SetUp() override {
        st_ = MP3D_Decoder_State{};
        gi_ = MP3D_Granule_Info{};
        MP3D_init_tables(&st_);
        params_.header = &st_.header;
        params_.channels = 2;
        st_.frame_params = &params_;
        st_.pcm_buffer = pcm_.data();
        st_.is_pos_marks = marks_.data();
        st_.nonzero_subbands[0] = 7;
        st_.nonzero_subbands[1] = 19;
        uint32_t seed = 12345;
        for (int32_t &v : spec_)
            v = static_cast<int32_t>(seed = seed * 1664525u + 1013904223u) >> 3 | 1;
    }
    void header(int version, int sampling_frequency, int mode_extension, int mode = 1) {
        st_.header.version = static_cast<int16_t>(version);
        st_.header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
        st_.header.mode = static_cast<int16_t>(mode);
        st_.header.mode_extension = static_cast<int16_t>(mode_extension);
    }
    // The right channel is zero above `last`, its last coded line.
    void run(int last) {
        for (int i = last + 1; i < 576; ++i) spec_[576 + i] = 0;
        st_.last_coded_line = static_cast<int16_t>(last);
        orig_ = spec_;
        III_stereo(spec_.data(), st_.scalefac, &gi_, &st_);
    }
    const int16_t *bands(int section) const {
        return st_.tables.sfBandIndex[3 * st_.header.version + st_.header.sampling_frequency] +
               section;
    }
    bool ms() const {
        return params_.channels == 2 && st_.header.mode == 1 && (st_.header.mode_extension & 2);
    }
    // Factor pair p: MPEG-1 or LSF (row of scalefac_compress), root2 with middle/side.
    const int32_t *pair(int p) const {
        const int row = gi_.scalefac_compress & 1;
        if (st_.header.version == 1) return (ms() ? is_ratio_table_root2 : is_ratio_table) + 2 * p;
        return (ms() ? LSF_k_val_table_root2_full[row] : LSF_k_val_table_full[row]) + 2 * p;
    }
    // Line i as expected for position p: intensity (x4 with middle/side,
    // else x2), or for kNone middle/side when on and unchanged otherwise.
    bool matches(int i, int p) const {
        const int32_t l = orig_[i], r = orig_[576 + i], s = ms() ? 2 : 1;
        if (p != kNone)
            return spec_[i] == wrap_shl(mulhi_round(l, pair(p)[0]), s) &&
                   spec_[576 + i] == wrap_shl(mulhi_round(l, pair(p)[1]), s);
        return ms() ? spec_[i] == wrap_add(l, r) && spec_[576 + i] == wrap_sub(l, r)
                    : spec_[i] == l && spec_[576 + i] == r;
    }
    void expect(int first, int last, int p) {
        for (int i = first; i <= last; ++i) ASSERT_TRUE(matches(i, p)) << i << " position " << p;
    }

    MP3D_Decoder_State st_{};
    MP3D_Frame_Params params_{};
    MP3D_Granule_Info gi_{};
    std::array<int32_t, 1152> spec_{}, orig_{};
    std::array<int32_t, 576> pcm_{};
    std::array<uint8_t, 52> marks_{};
};

TEST_F(Stereo, Blocks) {
    // Ranges j: long bands (band 21 takes band 20's position); short bands by
    // window (3 b + w, band 12 takes band 11's); mixed blocks: the long bands,
    // then short bands 3..12. 'i': intensity with the range's position unless
    // that is illegal (MPEG-1 factor 7, or 8..15 without a factor pair; LSF
    // mark 31 or a mark no reader leaves); '-': none; '0': intensity with
    // position 0, an LSF top band whose band below is coded normally (that
    // band's factor is a gain, not a position). Long blocks: the bands
    // above the band holding the right channel's last coded line. Short
    // blocks: each window above its own highest non-zero band. Mixed blocks
    // coded into the long part walk the long bands with the window flags in
    // rotation (range 1, flag 1, is non-zero; range 0, flag 2, is zero);
    // coded into the short part: every range above, unchecked.
    const std::string none(22, '-'), all(22, 'i');
    const struct {
        int version, sampling_frequency, mode, channels, ext, compress, kind, last;
        std::vector<int> right;  // if given, the only non-zero right lines
        std::string ranges;
    } cases[] = {
        {1, 0, 3, 1, 3, 0, 0, -1, {}, none},  // mono, stereo, dual channel: untouched
        {1, 0, 1, 1, 3, 0, 0, -1, {}, none},
        {1, 0, 0, 2, 3, 0, 0, -1, {}, none},
        {1, 0, 2, 2, 3, 0, 0, -1, {}, none},
        {1, 1, 1, 2, 2, 0, 0, -1, {}, none},  // middle/side only: every line
        {1, 0, 1, 2, 1, 0, 0, 575, {}, none},
        {1, 0, 1, 2, 1, 0, 0, -1, {}, all},
        {1, 0, 1, 2, 3, 0, 0, -1, {}, all},
        {2, 2, 1, 2, 1, 0, 0, -1, {}, all},  // LSF rows follow scalefac_compress
        {2, 2, 1, 2, 3, 1, 0, -1, {}, all},
        {0, 1, 1, 2, 1, 1, 0, 96, {}, "------------iiiiiiiiii"},  // 96: band 11
        {0, 1, 1, 2, 3, 0, 0, 96, {}, "------------iiiiiiiiii"},
        {1, 0, 1, 2, 3, 0, 1, 234, {67, 31, 16, 234}, "----------i--i--i-ii-ii-ii-ii-iiiiiiiii"},
        {1, 0, 1, 2, 1, 0, 1, 467, {318, 296, 467}, "-----------------------------------ii-i"},
        {0, 0, 1, 2, 3, 1, 1, 10, {10}, "ii-" + std::string(36, 'i')},
        {1, 0, 1, 2, 1, 0, 2, 5, {5}, "i-iiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiiii"},
        {1, 0, 1, 2, 3, 0, 2, 54, {54}, "-------------iiiiiiiiiiiiiiiiiiiiiiiii"},
        {0, 2, 1, 2, 1, 0, 2, 40, {40}, "-------iiiiiiiiiiiiiiiiiiiiiiiiiiiii"},
        // Coded zeros above the last non-zero line (a quadruple across the
        // boundary of bands 6 and 7) do not keep band 7 out of the region.
        {1, 0, 1, 2, 1, 0, 0, 31, {28}, "-------iiiiiiiiiiiiiii"},
        {0, 1, 1, 2, 3, 0, 0, 35, {29}, "-----iiiiiiiiiiiiiiiii"},
        // LSF top bands starting the intensity region: long, coded into
        // band 20; short, window 1 coded into band 11; mixed, coded into
        // band 11 window 1, so band 12's windows 0 and 1 start the region.
        {0, 0, 1, 2, 1, 0, 0, 500, {}, std::string(21, '-') + "0"},
        {2, 2, 1, 2, 3, 1, 0, 573, {}, std::string(21, '-') + "0"},
        {2, 2, 1, 2, 3, 0, 1, 494, {494}, "i-ii-ii-ii-ii-ii-ii-ii-ii-ii-ii-ii-ii0i"},
        {0, 0, 1, 2, 3, 0, 2, 450, {450}, std::string(32, '-') + "i00i"},
    };
    const int16_t factors[22] = {3, 1, 7, 3, 4, 9, 6, 5, 4, 3, 15, 1, 0, 1, 2, 3, 4, 5, 6, 0, 7, 6};
    const uint8_t marks[22] = {0,  1, 2, 3,  4,  5,  6,   7,  8, 9,  10,
                               12, 7, 8, 14, 30, 31, 200, 13, 3, 29, 6};
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        SetUp();
        header(c.version, c.sampling_frequency, c.ext, c.mode);
        params_.channels = static_cast<int16_t>(c.channels);
        gi_.scalefac_compress = static_cast<uint32_t>(c.compress);
        gi_.window_switching_flag = c.kind != 0;
        gi_.block_type = c.kind != 0 ? 2 : 0;
        gi_.mixed_block_flag = c.kind == 2;
        MP3D_Scale_Factors &sf = st_.scalefac[1];
        std::copy(std::begin(factors), std::end(factors), sf.scalefac_l);
        for (int w = 0; w < 3; ++w)
            for (int b = 0; b < 13; ++b)
                sf.scalefac_s[w][b] = static_cast<int16_t>((b + 2 * w) % 7);
        sf.scalefac_s[1][7] = 7;
        for (int i = 0; i < 52; ++i) marks_[i] = i < 22 ? marks[i] : static_cast<uint8_t>(i % 5);
        const MP3D_Scale_Factors before = sf;
        spec_[0] = spec_[576] = INT32_MAX;  // sums and differences wrap
        spec_[575] = INT32_MIN;
        for (int i = 0; i <= c.last && !c.right.empty(); ++i) spec_[576 + i] = 0;
        for (int line : c.right) spec_[576 + line] = 5;
        run(c.last);
        const bool lsf = c.version != 1;
        const int n_long = c.kind == 0 ? 22 : c.kind == 2 ? (lsf ? 6 : 8) : 0;
        const int16_t *bnd = bands(c.kind == 0   ? kSfbLongSection
                                   : c.kind == 1 ? kSfbShortSection
                                                 : kSfbMixedSection);
        for (int j = 0; j < static_cast<int>(c.ranges.size()); ++j) {
            const int b = std::min((c.kind == 2 ? 3 : 0) + (j - n_long) / 3, 11),
                      w = (j - n_long) % 3;
            int p = j < n_long ? (lsf ? marks_[std::min(j, 20)] : sf.scalefac_l[std::min(j, 20)])
                    : lsf      ? marks_[(c.kind == 2 ? 6 + 3 * (b - 3) : 3 * b) + w]
                               : sf.scalefac_s[w][b];
            if (c.ranges[j] == '-' || p >= (lsf ? 31 : 7)) p = kNone;
            if (c.ranges[j] == '0') p = 0;
            expect(bnd[j], bnd[j + 1] - 1, p);
        }
        ASSERT_EQ(bnd[c.ranges.size()], 576);
        EXPECT_EQ(0, memcmp(&before, &sf, sizeof sf));  // kept for granule 1's scfsi
        EXPECT_EQ(st_.nonzero_subbands[0], c.mode == 1 && c.channels == 2 ? 19 : 7);
    }
}

// Any factor (0..15), mark byte, coded length and block type, for every
// stream kind: positions stay inside their table rows (the sanitizer build
// checks the reads), and every line is left alone, middle/side, or intensity
// with a stored pair.
TEST_F(Stereo, HostilePositionsStayInsideTheTables) {
    std::mt19937 rng(99);
    auto next = [&rng](uint32_t n) { return static_cast<int>(rng() % n); };
    for (int trial = 0; trial < 400; ++trial) {
        SetUp();
        const int version = next(3), sampling_frequency = next(3);
        header(version, sampling_frequency, 1 + next(3));
        gi_.window_switching_flag = next(2);
        gi_.block_type = next(4);
        gi_.mixed_block_flag = next(2);
        gi_.scalefac_compress = next(512);
        MP3D_Scale_Factors &sf = st_.scalefac[1];
        for (int16_t &v : sf.scalefac_l) v = static_cast<int16_t>(next(16));
        for (auto &w : sf.scalefac_s)
            for (int16_t &v : w) v = static_cast<int16_t>(next(16));
        for (uint8_t &m : marks_) m = static_cast<uint8_t>(next(256));
        const int last = next(577) - 1;
        if (next(2))
            for (int i = 0; i <= last; ++i) spec_[576 + i] = next(4) == 0;
        run(last);
        for (int i = 0; i < 576; ++i) {
            bool found = matches(i, kNone);
            for (int p = 0; p < (version == 1 ? 7 : 31); ++p) found = found || matches(i, p);
            ASSERT_TRUE(found) << "trial " << trial << " line " << i;
        }
    }
}

}  // namespace
}  // namespace mp3d
