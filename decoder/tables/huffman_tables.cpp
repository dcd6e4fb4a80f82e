// Placeholder until this module is implemented.
#include "decoder/tables/huffman_tables.h"

namespace mp3d {

const uint16_t g_au16HufCodeTable0[1] = {0};
const uint8_t g_au8HufCodeTableA[65] = {};
const uint8_t g_au8HufCodeTableB[17] = {};
const Huffman_Pair_Table_Entry Huffman_Pair_Table_Info[32] = {};
const uint8_t *const Huffman_Quad_Table_Info[2] = {g_au8HufCodeTableA, g_au8HufCodeTableB};

}  // namespace mp3d
