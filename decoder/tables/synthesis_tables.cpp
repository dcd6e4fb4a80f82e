// Placeholder until this module is implemented.
#include "decoder/tables/synthesis_tables.h"

namespace mp3d {

const int32_t window_lf[318] = {};
const int32_t dct32_II_coeff[24] = {};
const int32_t dct8_II_coeff[10] = {};

}  // namespace mp3d
