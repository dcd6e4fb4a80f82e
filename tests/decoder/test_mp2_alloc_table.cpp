// Layer II allocation-table choice per frame (ISO/IEC 11172-3 Annex B,
// Table 3-B.2 a to d; the ISO/IEC 13818-3 table for the lower sampling
// frequencies).
#include <gtest/gtest.h>

#include "decoder/mp2_alloc_table.h"
#include "support/stream_harness.h"

using namespace mp3d;

namespace {

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

TEST(Mp2AllocTable, ChoosesTableBySampleRateAndBitratePerChannel) {
    struct Case {
        int version, bitrate_index, sampling_frequency, mode;
        int table, limit;
    };
    // MPEG-1 Layer II bitrate indices: 2 = 48, 4 = 64, 7 = 112, 8 = 128, 9 = 160,
    // 10 = 192, 14 = 384.
    const Case cases[] = {
        {1, 10, 1, 0, 0, 27},  // 48 kHz stereo 192 (96 per channel)
        {1, 10, 0, 0, 1, 30},  // 44.1 kHz stereo 192
        {1, 7, 0, 1, 0, 27},   // 44.1 kHz joint stereo 112 (56 per channel)
        {1, 9, 0, 0, 0, 27},   // 44.1 kHz stereo 160 (80 per channel)
        {1, 4, 0, 0, 2, 8},    // 44.1 kHz stereo 64 (32 per channel)
        {1, 2, 2, 3, 3, 12},   // 32 kHz mono 48
        {1, 14, 1, 2, 0, 27},  // 48 kHz dual channel 384
        {1, 14, 2, 3, 1, 30},  // 32 kHz mono 384
        {1, 0, 1, 0, 0, 27},   // free format at 48 kHz, stereo
        {1, 0, 2, 3, 1, 30},   // free format at 32 kHz, mono
        {1, 0, 0, 0, 1, 30},   // free format at 44.1 kHz, stereo
        {0, 12, 1, 0, 4, 30},  // MPEG-2 LSF 24 kHz stereo 128
        {2, 8, 0, 3, 4, 30},   // MPEG-2.5 11.025 kHz mono 64
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "version " << c.version << " bitrate_index " << c.bitrate_index
                     << " sampling_frequency " << c.sampling_frequency << " mode " << c.mode);
        mp3d_test::StreamDecoder dec({});
        ASSERT_EQ(dec.init(), MP3D_OK);
        MP3D_Decoder_State *s = dec.state();
        set_header(s, c.version, c.bitrate_index, c.sampling_frequency, c.mode);
        EXPECT_EQ(MP2D_pick_table(s), c.limit);
        EXPECT_EQ(s->frame_params->alloc_table_index, c.table);
        EXPECT_EQ(s->frame_params->alloc_table, s->mp2_alloc_rows);
    }
}

TEST(Mp2AllocTable, SameTableAgainChangesNothing) {
    mp3d_test::StreamDecoder dec({});
    ASSERT_EQ(dec.init(), MP3D_OK);
    MP3D_Decoder_State *s = dec.state();
    set_header(s, 1, 10, 1, 0);
    ASSERT_EQ(MP2D_pick_table(s), 27);
    s->frame_params->sb_limit = 26;  // marker: returned as it stands on the same table
    s->mp2_alloc_rows[5] = 77;       // marker: the rows are not rebuilt
    set_header(s, 1, 14, 1, 0);      // 384 kbit/s, still table 0
    EXPECT_EQ(MP2D_pick_table(s), 26);
    EXPECT_EQ(s->mp2_alloc_rows[5], 77);
    set_header(s, 1, 10, 0, 0);  // 44.1 kHz: table 1, rows rebuilt
    EXPECT_EQ(MP2D_pick_table(s), 30);
    EXPECT_EQ(s->mp2_alloc_rows[5], 16);
}
