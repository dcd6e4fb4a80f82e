// Placeholder until this module is implemented.
#include "decoder/tables/stereo_tables.h"

namespace mp3d {

const int32_t is_ratio_table[14] = {};
const int32_t is_ratio_table_root2[14] = {};
const int32_t LSF_k_val_table[28] = {};
const int32_t LSF_k_val_table_root2[28] = {};

}  // namespace mp3d
