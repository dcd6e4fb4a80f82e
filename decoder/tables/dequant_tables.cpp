// Placeholder until this module is implemented.
#include "decoder/tables/dequant_tables.h"

namespace mp3d {

const int32_t lut_1_63[63] = {};
const int32_t lut_1_63_4by3[64] = {};
const int32_t scale_fac_table_lf[5] = {};
const uint32_t lut_1by3[64] = {};
const int32_t lut_2pow1by3[16] = {};

}  // namespace mp3d
