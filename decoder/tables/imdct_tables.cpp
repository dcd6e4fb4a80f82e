// Placeholder until this module is implemented.
#include "decoder/tables/imdct_tables.h"

namespace mp3d {

const int32_t imdct_win_lf[4][36] = {};
const int32_t coef_cos_long_interleaved[27] = {};
const int32_t coef_cos_long_root2_interleaved[27] = {};
const int32_t coef_cos_short_interleaved[9] = {};
const int32_t coef_cos_short_root2_interleaved[9] = {};
const int32_t idctlee_III_coeff[7] = {};
const int32_t Cs_Ca_tbl_lf[16] = {};

}  // namespace mp3d
