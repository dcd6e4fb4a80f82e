// Tables indexed by header fields: sampling rates, bitrates, display names.
#ifndef MP3D_TABLES_STREAM_TABLES_H
#define MP3D_TABLES_STREAM_TABLES_H

#include <cstdint>

namespace mp3d {

extern const int32_t s_freq[3][4];        // Hz, [version][sampling_frequency]
extern const int16_t bitrate[3][15];      // Layer III kbit/s, [version][bitrate_index]
extern const int16_t MP2D_bitrate[3][15]; // MPEG-1 kbit/s of Layers I, II, III
extern const int32_t MP2D_jsb_table[3][4];// joint-stereo bounds, [layer-1][mode_extension]
extern const char mode_names[4][10];
extern const char layer_names[3][4];
extern const char version_names[2][12];

}  // namespace mp3d

#endif
