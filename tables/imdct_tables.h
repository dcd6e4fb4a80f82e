// Hybrid filterbank tables: IMDCT windows, cosine tables, alias reduction.
#ifndef MP3D_TABLES_IMDCT_TABLES_H
#define MP3D_TABLES_IMDCT_TABLES_H

#include <cstdint>

namespace mp3d {

extern const int32_t imdct_win_lf[4][36];
extern const int32_t coef_cos_long_interleaved[27];
extern const int32_t coef_cos_long_root2_interleaved[27];
extern const int32_t coef_cos_short_interleaved[9];
extern const int32_t coef_cos_short_root2_interleaved[9];
extern const int32_t idctlee_III_coeff[7];
extern const int32_t Cs_Ca_tbl_lf[16];

}  // namespace mp3d

#endif
