// Layer II allocation tables and the per-frame table choice.
#include <gtest/gtest.h>

#include "decoder/mp2_alloc_table.h"
#include "decoder/tables/mp2_tables.h"
#include "support/layer2_support.h"

using namespace mp3d;
using layer2_test::Decoder;

namespace {

// Quantisation steps of each class.
int steps_of(int q) {
    static const int kGrouped[3] = {3, 5, 9};
    return q < 3 ? kGrouped[q] : (1 << q) - 1;
}

// Steps of the allocations of subband sb under the table in use.
std::vector<int> steps_of_subband(const MP3D_Decoder_State *state, int sb) {
    const uint8_t *row = MP2D_alloc_table_array + state->frame_params->alloc_table[sb];
    std::vector<int> out;
    for (int a = 1; a < (1 << row[0]); ++a) out.push_back(steps_of(row[a]));
    return out;
}

void set_header(MP3D_Decoder_State *state, int version, int bitrate_index, int sampling_frequency,
                int mode) {
    state->header.version = static_cast<int16_t>(version);
    state->header.layer = 2;
    state->header.bitrate_index = static_cast<int16_t>(bitrate_index);
    state->header.sampling_frequency = static_cast<int16_t>(sampling_frequency);
    state->header.mode = static_cast<int16_t>(mode);
    state->frame_params->channels = mode == 3 ? 1 : 2;
}

}  // namespace

TEST(Mp2AllocTable, InitFillsTheTableBlock) {
    Decoder dec({});
    MP3D_Decoder_State *s = dec.state();
    EXPECT_EQ(s->frame_params->alloc_table_index, -1);
    EXPECT_EQ(s->frame_params->alloc_table, nullptr);
    ASSERT_EQ(s->mp2_tables, &s->mp2_table_block);
    EXPECT_EQ(s->mp2_tables->sblimit, MP2D_sblimit);
    EXPECT_EQ(s->mp2_tables->alloc_table_array, MP2D_alloc_table_array);
    EXPECT_EQ(s->mp2_tables->multiple, MP2D_multiple);
    EXPECT_EQ(s->mp2_tables->alloc_count_index, &MP2D_alloc_count_index[0][0]);
    EXPECT_EQ(s->mp2_tables->jsb_table[4 + 2], 12);  // Layer II row, mode_extension 2
}

TEST(Mp2AllocTable, ChoosesTableBySampleRateAndBitrate) {
    struct Case {
        int version, bitrate_index, sampling_frequency, mode;
        int table, limit;
    };
    // MPEG-1 Layer II bitrate indices: 2 = 48, 4 = 64, 8 = 128, 10 = 192, 14 = 384.
    const Case cases[] = {
        {1, 10, 1, 0, 0, 27},  // 48 kHz stereo 192 (96 per channel)
        {1, 10, 0, 0, 1, 30},  // 44.1 kHz stereo 192
        {1, 8, 0, 1, 0, 27},   // 44.1 kHz joint stereo 128 (64 per channel)
        {1, 4, 0, 0, 2, 8},    // 44.1 kHz stereo 64 (32 per channel)
        {1, 2, 2, 3, 3, 12},   // 32 kHz mono 48
        {1, 4, 2, 0, 3, 12},   // 32 kHz stereo 64
        {1, 14, 1, 2, 0, 27},  // 48 kHz dual channel 384
        {1, 14, 2, 3, 1, 30},  // 32 kHz mono 384
        {1, 0, 1, 0, 2, 8},    // free format at 48 kHz
        {1, 0, 2, 3, 3, 12},   // free format at 32 kHz
        {0, 12, 1, 0, 4, 30},  // MPEG-2 LSF 24 kHz stereo 128
        {0, 1, 2, 3, 4, 30},   // MPEG-2 LSF 16 kHz mono 8
        {2, 8, 0, 3, 4, 30},   // MPEG-2.5 11.025 kHz mono 64
    };
    for (const Case &c : cases) {
        Decoder dec({});
        MP3D_Decoder_State *s = dec.state();
        set_header(s, c.version, c.bitrate_index, c.sampling_frequency, c.mode);
        SCOPED_TRACE(testing::Message()
                     << "version " << c.version << " bitrate_index " << c.bitrate_index
                     << " sampling_frequency " << c.sampling_frequency << " mode " << c.mode);
        EXPECT_EQ(MP2D_pick_table(s), c.limit);
        EXPECT_EQ(s->frame_params->alloc_table_index, c.table);
        EXPECT_EQ(s->frame_params->alloc_table, s->mp2_alloc_rows);
    }
}

TEST(Mp2AllocTable, SameTableAgainChangesNothing) {
    Decoder dec({});
    MP3D_Decoder_State *s = dec.state();
    set_header(s, 1, 10, 1, 0);
    ASSERT_EQ(MP2D_pick_table(s), 27);
    s->frame_params->sb_limit = 27;
    s->mp2_alloc_rows[5] = 77;   // marker: must survive a second pick of the same table
    set_header(s, 1, 14, 1, 0);  // 384 kbit/s, still table 0
    EXPECT_EQ(MP2D_pick_table(s), 27);
    EXPECT_EQ(s->mp2_alloc_rows[5], 77);
    set_header(s, 1, 10, 0, 0);  // 44.1 kHz: table 1, rows rebuilt
    EXPECT_EQ(MP2D_pick_table(s), 30);
    EXPECT_EQ(s->mp2_alloc_rows[5], 16);
}

TEST(Mp2AllocTable, RowsMatchTheStandardTables) {
    Decoder dec({});
    MP3D_Decoder_State *s = dec.state();
    const std::vector<int> a_low = {3,    7,    15,   31,   63,    127,   255,  511,
                                    1023, 2047, 4095, 8191, 16383, 32767, 65535};
    const std::vector<int> a_mid = {3,   5,   7,    9,    15,   31,   63,   127,
                                    255, 511, 1023, 2047, 4095, 8191, 65535};
    const std::vector<int> a_high = {3, 5, 7, 9, 15, 31, 65535};
    const std::vector<int> a_top = {3, 5, 65535};
    const std::vector<int> c_low = {3,   5,    9,    15,   31,   63,    127,  255,
                                    511, 1023, 2047, 4095, 8191, 16383, 32767};
    const std::vector<int> c_high = {3, 5, 9, 15, 31, 63, 127};
    const std::vector<int> lsf_low = {3,   5,   7,    9,    15,   31,   63,   127,
                                      255, 511, 1023, 2047, 4095, 8191, 16383};
    const std::vector<int> lsf_mid = {3, 5, 9, 15, 31, 63, 127};
    const std::vector<int> lsf_high = {3, 5, 9};
    const std::vector<int> none = {};

    struct Range {
        int from, to;
        const std::vector<int> *steps;
    };
    auto check = [&](int table, std::initializer_list<Range> ranges) {
        MP2D_initialize_alloc_table(s, table);
        s->frame_params->alloc_table = s->mp2_alloc_rows;
        for (const Range &r : ranges)
            for (int sb = r.from; sb <= r.to; ++sb)
                EXPECT_EQ(steps_of_subband(s, sb), *r.steps)
                    << "table " << table << " subband " << sb;
    };
    check(0,
          {{0, 2, &a_low}, {3, 10, &a_mid}, {11, 22, &a_high}, {23, 26, &a_top}, {27, 31, &none}});
    check(1,
          {{0, 2, &a_low}, {3, 10, &a_mid}, {11, 22, &a_high}, {23, 29, &a_top}, {30, 31, &none}});
    check(2, {{0, 1, &c_low}, {2, 7, &c_high}, {8, 31, &none}});
    check(3, {{0, 1, &c_low}, {2, 11, &c_high}, {12, 31, &none}});
    check(4, {{0, 3, &lsf_low}, {4, 10, &lsf_mid}, {11, 29, &lsf_high}, {30, 31, &none}});
}
