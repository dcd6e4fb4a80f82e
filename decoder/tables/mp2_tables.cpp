// Placeholder until this module is implemented.
#include "decoder/tables/mp2_tables.h"

namespace mp3d {

const uint8_t MP2D_alloc_table_array[112] = {};
const uint8_t MP2D_alloc_count_index[5][8] = {};
const int32_t MP2D_sblimit[5] = {};
const int32_t MP2D_c[17] = {};
const int32_t MP2D_d[17] = {};
const int32_t MP2D_multiple[64] = {};

}  // namespace mp3d
