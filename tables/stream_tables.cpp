// Tables indexed by header fields (ISO/IEC 11172-3 and 13818-3).
#include "tables/stream_tables.h"

namespace mp3d {

// Sampling rates by version (MPEG-2 LSF, MPEG-1, MPEG-2.5) and field value.
const int32_t s_freq[3][4] = {
    {22050, 24000, 16000, 0},
    {44100, 48000, 32000, 0},
    {11025, 12000, 8000, 0},
};

// Layer III bitrates by version; MPEG-2 LSF and MPEG-2.5 share one row.
const int16_t bitrate[3][15] = {
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};

// MPEG-1 bitrates of Layer I, Layer II and Layer III.
const int16_t MP2D_bitrate[3][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
};

// First joint-stereo subband by layer and mode_extension.
const int32_t MP2D_jsb_table[3][4] = {
    {4, 8, 12, 16},
    {4, 8, 12, 16},
    {0, 4, 8, 16},
};

const char mode_names[4][10] = {"stereo", "j-stereo", "dual-ch", "single-ch"};
const char layer_names[3][4] = {"I", "II", "III"};
const char version_names[2][12] = {"MPEG-2 LSF", "MPEG-1"};

}  // namespace mp3d
