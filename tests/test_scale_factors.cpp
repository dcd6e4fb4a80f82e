// MPEG-1 and LSF scale factors: field lengths and bit counts per block type,
// reading order, scfsi reuse, LSF partitions, preflag and intensity marks.
#include <gtest/gtest.h>

#include "decoder/lsf_scale_factors.h"
#include "decoder/scale_factors.h"
#include "decoder/tables/scale_factor_tables.h"
#include "support/layer3_test_support.h"

using namespace mp3d;
using l3test::Bits;
using l3test::Decoder;

namespace {

constexpr int16_t kStale = -7;  // marks entries a read must not touch

void fill_stale(MP3D_Scale_Factors &sf) {
    for (auto &v : sf.scalefac_l) v = kStale;
    for (auto &w : sf.scalefac_s)
        for (auto &v : w) v = kStale;
}

// A value that fits n bits and varies with i (the largest value for i % 5 == 0).
uint32_t value(int i, int n) {
    if (n == 0) return 0;
    const uint32_t mask = (1u << n) - 1;
    return i % 5 == 0 ? mask : static_cast<uint32_t>(i * 7 + 3) & mask;
}

MP3D_Granule_Info &granule(Decoder &d, int gr, int ch) {
    return d.state->side_info.ch[ch].gr[gr];
}

void set_block(MP3D_Granule_Info &g, uint32_t block_type, uint32_t mixed) {
    g.window_switching_flag = block_type != 0;
    g.block_type = block_type;
    g.mixed_block_flag = mixed;
}

}  // namespace

TEST(ScaleFactors, EveryCompressionAndBlockType) {
    // For each scalefac_compress and block type: the bit count, where each
    // value lands, and which entries stay untouched.
    for (uint32_t sc = 0; sc < 16; ++sc) {
        const int l1 = slen[0][sc], l2 = slen[1][sc];
        for (int kind = 0; kind < 3; ++kind) {  // long, short, mixed
            Bits b;
            int i = 0;
            std::vector<uint32_t> want_l(22, 0);
            uint32_t want_s[3][13] = {};
            if (kind == 0) {
                for (int band = 0; band < 21; ++band, ++i) {
                    want_l[band] = value(i, band < 11 ? l1 : l2);
                    b.put(want_l[band], band < 11 ? l1 : l2);
                }
            } else {
                if (kind == 2) {
                    for (int band = 0; band < 8; ++band, ++i) {
                        want_l[band] = value(i, l1);
                        b.put(want_l[band], l1);
                    }
                }
                for (int band = kind == 2 ? 3 : 0; band < 12; ++band) {
                    for (int w = 0; w < 3; ++w, ++i) {
                        const int n = band < 6 ? l1 : l2;
                        want_s[w][band] = value(i, n);
                        b.put(want_s[w][band], n);
                    }
                }
            }
            const int64_t expected =
                kind == 0 ? 11 * l1 + 10 * l2 : (kind == 1 ? 18 : 17) * l1 + 18 * l2;
            ASSERT_EQ(b.count(), expected);

            Decoder d(std::vector<uint8_t>{});
            ASSERT_NE(d.state, nullptr);
            d.load_reservoir(b.padded());
            MP3D_Granule_Info &g = granule(d, 0, 1);
            set_block(g, kind == 0 ? 0 : 2, kind == 2);
            g.scalefac_compress = sc;
            d.state->side_info.ch[1].scfsi[0] = 1;  // granule 0 ignores scfsi
            MP3D_Scale_Factors &sf = d.state->scalefac[1];
            fill_stale(sf);
            fill_stale(d.state->scalefac[0]);

            const uint32_t bits =
                III_get_scale_factors(d.state->scalefac, &d.state->side_info, 0, 1, d.state);
            SCOPED_TRACE(testing::Message() << "sc " << sc << " kind " << kind);
            EXPECT_EQ(bits, static_cast<uint32_t>(expected));
            EXPECT_EQ(d.state->res_bits_consumed, expected);
            EXPECT_EQ(d.state->scalefac[0].scalefac_l[0], kStale);  // other channel
            if (kind == 0) {
                for (int band = 0; band < 22; ++band)
                    EXPECT_EQ(sf.scalefac_l[band], static_cast<int16_t>(want_l[band]));
                EXPECT_EQ(sf.scalefac_s[0][0], kStale);
            } else {
                for (int w = 0; w < 3; ++w) {
                    for (int band = 0; band < 13; ++band) {
                        const bool stale = kind == 2 && band < 3;
                        EXPECT_EQ(sf.scalefac_s[w][band],
                                  stale ? kStale : static_cast<int16_t>(want_s[w][band]))
                            << "w " << w << " band " << band;
                    }
                }
                for (int band = 0; band < 8; ++band)
                    EXPECT_EQ(sf.scalefac_l[band],
                              kind == 2 ? static_cast<int16_t>(want_l[band]) : kStale);
                EXPECT_EQ(sf.scalefac_l[8], kStale);
            }
        }
    }
}

TEST(ScaleFactors, MixedBlockWithLargestFieldsReads122Bits) {
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(std::vector<uint8_t>(40, 0xFF));
    MP3D_Granule_Info &g = granule(d, 1, 0);
    set_block(g, 2, 1);
    g.scalefac_compress = 15;
    EXPECT_EQ(III_get_scale_factors(d.state->scalefac, &d.state->side_info, 1, 0, d.state), 122u);
    EXPECT_EQ(d.state->scalefac[0].scalefac_l[7], 15);
    EXPECT_EQ(d.state->scalefac[0].scalefac_s[2][11], 7);
    EXPECT_EQ(d.state->scalefac[0].scalefac_s[2][12], 0);
}

TEST(ScaleFactors, ScfsiReuseInGranuleOne) {
    // Granule 0 reads all 21 bands with 4/3-bit fields (sc 15); granule 1 with
    // scfsi 1 0 1 0 reads only groups 1 (bands 6..10, 4 bits) and 3 (bands
    // 16..20, 3 bits); groups 0 and 2 keep granule 0's values.
    Bits b;
    for (int band = 0; band < 21; ++band) b.put(static_cast<uint32_t>(band % 8), band < 11 ? 4 : 3);
    const int64_t granule1_start = b.count();
    for (int band = 6; band < 11; ++band) b.put(15 - band, 4);
    for (int band = 16; band < 21; ++band) b.put(static_cast<uint32_t>(band - 14), 3);
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    MP3D_Side_Info &si = d.state->side_info;
    const uint32_t flags[4] = {1, 0, 1, 0};
    for (int i = 0; i < 4; ++i) si.ch[0].scfsi[i] = flags[i];
    si.ch[0].gr[0].scalefac_compress = 15;
    si.ch[0].gr[1].scalefac_compress = 15;

    MP3D_Scale_Factors &sf = d.state->scalefac[0];
    EXPECT_EQ(III_get_scale_factors(d.state->scalefac, &si, 0, 0, d.state), 11u * 4 + 10 * 3);
    EXPECT_EQ(d.state->res_bits_consumed, granule1_start);
    sf.scalefac_l[21] = 99;
    EXPECT_EQ(III_get_scale_factors(d.state->scalefac, &si, 1, 0, d.state), 5u * 4 + 5 * 3);
    for (int band = 0; band < 21; ++band) {
        int want = band % 8;
        if (band >= 6 && band < 11) want = 15 - band;
        if (band >= 16) want = band - 14;
        EXPECT_EQ(sf.scalefac_l[band], want) << "band " << band;
    }
    EXPECT_EQ(sf.scalefac_l[21], 0);

    // All four groups reused: nothing read.
    for (auto &f : si.ch[0].scfsi) f = 1;
    EXPECT_EQ(III_get_scale_factors(d.state->scalefac, &si, 1, 0, d.state), 0u);
    EXPECT_EQ(sf.scalefac_l[20], 6);
}

TEST(LsfScaleFactors, PartitionsLengthsAndPreflag) {
    // sc 511, no intensity: row 2 (11 10 0 0 for long blocks), lengths 3 2 0 0,
    // preflag 1: 53 bits.
    {
        Bits b;
        for (int k = 0; k < 21; ++k) b.put(value(k, k < 11 ? 3 : 2), k < 11 ? 3 : 2);
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(b.padded());
        d.state->header.mode_extension = 1;  // intensity applies to channel 1 only
        MP3D_Granule_Info &g = granule(d, 0, 0);
        g.scalefac_compress = 511;
        g.preflag = 0;
        fill_stale(d.state->scalefac[0]);
        EXPECT_EQ(III_get_LSF_scale_factors(d.state->scalefac, &d.state->side_info, 0, 0, d.state),
                  53u);
        EXPECT_EQ(g.preflag, 1u);
        for (int k = 0; k < 21; ++k)
            EXPECT_EQ(d.state->scalefac[0].scalefac_l[k],
                      static_cast<int16_t>(value(k, k < 11 ? 3 : 2)));
        EXPECT_EQ(d.state->scalefac[0].scalefac_l[21], 0);
        EXPECT_EQ(d.state->scalefac[0].scalefac_s[1][5], kStale);
    }
    // sc 0: nothing read, everything written 0, preflag cleared.
    {
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(std::vector<uint8_t>(16, 0xFF));
        MP3D_Granule_Info &g = granule(d, 0, 0);
        set_block(g, 2, 0);
        g.preflag = 1;
        fill_stale(d.state->scalefac[0]);
        EXPECT_EQ(III_get_LSF_scale_factors(d.state->scalefac, &d.state->side_info, 0, 0, d.state),
                  0u);
        EXPECT_EQ(g.preflag, 0u);
        for (auto &w : d.state->scalefac[0].scalefac_s)
            for (int16_t v : w) EXPECT_EQ(v, 0);
    }
    // Intensity right channel, sc 360 (i = 180): row 4 with all lengths 0.
    {
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(std::vector<uint8_t>(16, 0xFF));
        d.state->header.mode_extension = 1;
        granule(d, 0, 1).scalefac_compress = 360;
        std::memset(d.state->is_pos_marks, 0x55, kIsPosMarksBytes);
        EXPECT_EQ(III_get_LSF_scale_factors(d.state->scalefac, &d.state->side_info, 0, 1, d.state),
                  0u);
        for (int k = 0; k < 21; ++k) EXPECT_EQ(d.state->is_pos_marks[k], 0);
        EXPECT_EQ(d.state->is_pos_marks[21], 0x55);  // beyond the count: untouched
    }
}

TEST(LsfScaleFactors, IntensityPositionMarks) {
    // Right channel, mode_extension 3, i = 121: lengths 3 2 1 0 (row 3), long
    // block counts 7 7 7 0. All-ones fields mark 31; zero-length fields never.
    Bits b;
    std::vector<uint32_t> want;
    for (int p = 0; p < 3; ++p) {
        const int n = 3 - p;
        for (int j = 0; j < 7; ++j) {
            want.push_back(value(j, n));
            b.put(want.back(), n);
        }
    }
    Decoder d;
    ASSERT_NE(d.state, nullptr);
    d.load_reservoir(b.padded());
    d.state->header.mode_extension = 3;
    granule(d, 0, 1).scalefac_compress = 2 * 121;
    EXPECT_EQ(III_get_LSF_scale_factors(d.state->scalefac, &d.state->side_info, 0, 1, d.state),
              7u * (3 + 2 + 1));
    for (int k = 0; k < 21; ++k) {
        const int n = 3 - k / 7;
        const uint8_t mark = want[k] == (1u << n) - 1 ? 31 : static_cast<uint8_t>(want[k]);
        EXPECT_EQ(d.state->is_pos_marks[k], mark) << "slot " << k;
        EXPECT_EQ(d.state->lsf_scalefac_buffer[k], static_cast<int32_t>(want[k]));
        EXPECT_EQ(d.state->scalefac[1].scalefac_l[k], static_cast<int16_t>(want[k]));
    }
    EXPECT_EQ(d.state->is_pos_marks[0], 31);   // 7 in 3 bits
    EXPECT_EQ(d.state->is_pos_marks[14], 31);  // 1 in 1 bit

    // Without intensity the right channel still writes marks; a part of
    // length 0 gives 0, not 31 (sc 511: lengths 3 2 0 0, short block 18 18 0 0).
    Decoder e;
    ASSERT_NE(e.state, nullptr);
    e.load_reservoir(std::vector<uint8_t>(32, 0xFF));
    e.state->header.mode_extension = 2;
    MP3D_Granule_Info &g = granule(e, 0, 1);
    set_block(g, 2, 0);
    g.scalefac_compress = 511;
    std::memset(e.state->is_pos_marks, 0x55, kIsPosMarksBytes);
    EXPECT_EQ(III_get_LSF_scale_factors(e.state->scalefac, &e.state->side_info, 0, 1, e.state),
              18u * 3 + 18 * 2);
    for (int k = 0; k < 36; ++k) EXPECT_EQ(e.state->is_pos_marks[k], 31) << k;
    for (int k = 36; k < 39; ++k) EXPECT_EQ(e.state->is_pos_marks[k], 0x55) << k;
    EXPECT_EQ(e.state->scalefac[1].scalefac_s[2][12], 0);

    // The left channel never writes marks.
    Decoder f;
    ASSERT_NE(f.state, nullptr);
    f.load_reservoir(std::vector<uint8_t>(32, 0xFF));
    f.state->header.mode_extension = 1;
    granule(f, 0, 0).scalefac_compress = 2 * 121;
    std::memset(f.state->is_pos_marks, 0x55, kIsPosMarksBytes);
    III_get_LSF_scale_factors(f.state->scalefac, &f.state->side_info, 0, 0, f.state);
    for (int k = 0; k < kIsPosMarksBytes; ++k) EXPECT_EQ(f.state->is_pos_marks[k], 0x55);
}

TEST(LsfScaleFactors, ShortAndMixedDistribution) {
    // sc 15 (row 0): lengths 0 0 3 3; short counts 9 9 9 9, mixed 6 9 9 9.
    for (int mixed = 0; mixed < 2; ++mixed) {
        const int total = mixed ? 33 : 36;
        const int zero_slots = mixed ? 15 : 18;
        Bits b;
        for (int k = zero_slots; k < total; ++k) b.put(static_cast<uint32_t>(k % 8), 3);
        Decoder d;
        ASSERT_NE(d.state, nullptr);
        d.load_reservoir(b.padded());
        MP3D_Granule_Info &g = granule(d, 0, 0);
        set_block(g, 2, static_cast<uint32_t>(mixed));
        g.scalefac_compress = 15;
        MP3D_Scale_Factors &sf = d.state->scalefac[0];
        fill_stale(sf);
        EXPECT_EQ(III_get_LSF_scale_factors(d.state->scalefac, &d.state->side_info, 0, 0, d.state),
                  static_cast<uint32_t>(3 * (total - zero_slots)));
        auto slot = [&](int k) {
            return static_cast<int16_t>(k < zero_slots || k >= total ? 0 : k % 8);
        };
        if (mixed) {
            for (int band = 0; band < 6; ++band) EXPECT_EQ(sf.scalefac_l[band], 0);
            EXPECT_EQ(sf.scalefac_l[6], kStale);
            for (int w = 0; w < 3; ++w) {
                for (int j = 0; j < 3; ++j) EXPECT_EQ(sf.scalefac_s[w][j], kStale);
                for (int j = 0; j < 10; ++j)
                    EXPECT_EQ(sf.scalefac_s[w][3 + j], slot(6 + 3 * j + w));
            }
        } else {
            for (int w = 0; w < 3; ++w)
                for (int j = 0; j < 13; ++j) EXPECT_EQ(sf.scalefac_s[w][j], slot(3 * j + w));
            EXPECT_EQ(sf.scalefac_l[0], kStale);
        }
        EXPECT_EQ(sf.scalefac_s[1][12], 0);
    }
}
