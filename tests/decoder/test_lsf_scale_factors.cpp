// LSF scale factors: partitions, field lengths, preflag, intensity marks and
// the distribution into the scale-factor record. (The MPEG-1 reader is proven
// by the whole-stream tests, mixed blocks and scfsi included.)
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "decoder/lsf_scale_factors.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using namespace mp3d;

TEST(LsfScaleFactors, PartitionsMarksAndDistribution) {
    struct Case {
        int ch, mode_extension, kind;  // kind: 0 long, 1 short, 2 mixed
        uint32_t sc;
        int lengths[4], counts[4];  // per part, from ISO/IEC 13818-3 2.4.3.2
        uint32_t preflag;
    };
    // clang-format off
    const Case cases[] = {
        {0, 1, 0, 511, {3, 2, 0, 0}, {11, 10, 0, 0}, 1},  // 500..511: preflag
        {0, 0, 1, 0, {0, 0, 0, 0}, {9, 9, 9, 9}, 0},      // nothing read
        {0, 1, 2, 15, {0, 0, 3, 3}, {6, 9, 9, 9}, 0},     // the left channel writes no marks
        {0, 0, 0, 458, {2, 4, 2, 0}, {6, 5, 7, 3}, 0},    // 400..499
        {1, 1, 0, 360, {0, 0, 0, 0}, {6, 6, 6, 3}, 0},    // intensity, i = 180
        {1, 3, 0, 242, {3, 2, 1, 0}, {7, 7, 7, 0}, 0},    // intensity, i = 121
        {1, 1, 2, 504, {2, 2, 0, 0}, {6, 18, 9, 0}, 0},   // intensity, i = 252
        {1, 2, 1, 511, {3, 2, 0, 0}, {18, 18, 0, 0}, 1},  // right channel without intensity
    };
    // clang-format on
    for (const Case &c : cases) {
        // Slot k holds k modulo 2^length: every part of length 1 or more
        // meets its largest value, which marks an illegal intensity position
        // (31); a part of length 0 reads 0 and marks 0.
        mp3d_test::BitWriter w;
        std::vector<int16_t> v, marks;
        for (int p = 0; p < 4; ++p) {
            for (int n = 0; n < c.counts[p]; ++n) {
                const int max = (1 << c.lengths[p]) - 1, k = static_cast<int>(v.size());
                v.push_back(static_cast<int16_t>(k & max));
                marks.push_back(
                    static_cast<int16_t>(c.lengths[p] != 0 && v.back() == max ? 31 : v.back()));
                w.put(static_cast<uint32_t>(v.back()), c.lengths[p]);
            }
        }
        v.resize(45, 0);
        auto d = mp3d_test::started({});
        MP3D_Decoder_State *s = d->state();
        mp3d_test::load_reservoir(s, w.bytes());
        s->header.mode_extension = static_cast<int16_t>(c.mode_extension);
        MP3D_Granule_Info &g = s->side_info.ch[c.ch].gr[0];
        g.window_switching_flag = c.kind != 0;
        g.block_type = c.kind != 0 ? 2 : 0;
        g.mixed_block_flag = c.kind == 2;
        g.scalefac_compress = c.sc;
        g.preflag = 1 - c.preflag;
        std::fill_n(s->is_pos_marks, kIsPosMarksBytes, 0x55);
        MP3D_Scale_Factors &sf = s->scalefac[c.ch];
        std::fill_n(&sf.scalefac_l[0], sizeof(sf) / 2, -7);
        SCOPED_TRACE(testing::Message() << "ch " << c.ch << " sc " << c.sc);
        EXPECT_EQ(III_get_LSF_scale_factors(s->scalefac, &s->side_info, 0, c.ch, s), w.bit_count());
        EXPECT_EQ(g.preflag, c.preflag);
        for (size_t k = 0; k < kIsPosMarksBytes; ++k) {
            const bool marked = c.ch == 1 && k < marks.size();
            EXPECT_EQ(s->is_pos_marks[k], marked ? marks[k] : 0x55) << k;
        }
        // Long bands 0..20 (21 is 0); short bands 0..12 band-major, window-
        // minor; mixed: long bands 0..5, then short bands 3..12, the short
        // bands 0..2 untouched.
        const int longs = c.kind == 0 ? 21 : (c.kind == 2 ? 6 : 0), first = c.kind == 2 ? 3 : 0;
        for (int b = 0; b < 22; ++b)
            EXPECT_EQ(sf.scalefac_l[b], b < longs ? v[b] : (b == 21 && c.kind == 0 ? 0 : -7));
        for (int win = 0; win < 3; ++win) {
            for (int b = 0; b < 13; ++b) {
                const int16_t want =
                    c.kind == 0 || b < first ? -7 : v[longs + 3 * (b - first) + win];
                EXPECT_EQ(sf.scalefac_s[win][b], want) << "window " << win << " band " << b;
            }
        }
    }
}
