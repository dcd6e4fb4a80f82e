// Layer III band layouts and scale-factor field tables.
#ifndef MP3D_TABLES_SCALE_FACTOR_TABLES_H
#define MP3D_TABLES_SCALE_FACTOR_TABLES_H

#include <cstdint>

namespace mp3d {

extern const int32_t index_array_III_get_side_info[2][4];
extern const int32_t sfbtable[8];
extern const int32_t sfbtable_short_mixed_block[3];
extern const int32_t slen[2][16];
extern const int16_t sfBandIndex[9][107];   // long (23), short (42), mixed (42)
extern const uint16_t sfBandIndex_s[6][13]; // short band widths, two combinations per entry
extern const int32_t pretab[22];
extern const int32_t nr_of_sfb_block[6][3][4];

// Offsets of the three sections inside an sfBandIndex record.
inline constexpr int kSfbLongSection = 0;
inline constexpr int kSfbShortSection = 23;
inline constexpr int kSfbMixedSection = 65;

}  // namespace mp3d

#endif
