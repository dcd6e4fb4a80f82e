// Layer III Huffman code tables in the decoder's own lookup layout.
#ifndef MP3D_TABLES_HUFFMAN_TABLES_H
#define MP3D_TABLES_HUFFMAN_TABLES_H

#include <cstdint>

namespace mp3d {

struct Huffman_Pair_Table_Entry {
    const uint16_t *code_table;  // null for tables 0, 4 and 14
    uint32_t linbits;
};

extern const Huffman_Pair_Table_Entry Huffman_Pair_Table_Info[32];
extern const uint8_t *const Huffman_Quad_Table_Info[2];

extern const uint16_t g_au16HufCodeTable0[1];
extern const uint16_t g_au16HufCodeTable1[];
extern const uint16_t g_au16HufCodeTable2[];
extern const uint16_t g_au16HufCodeTable3[];
extern const uint16_t g_au16HufCodeTable5[];
extern const uint16_t g_au16HufCodeTable6[];
extern const uint16_t g_au16HufCodeTable7[];
extern const uint16_t g_au16HufCodeTable8[];
extern const uint16_t g_au16HufCodeTable9[];
extern const uint16_t g_au16HufCodeTable10[];
extern const uint16_t g_au16HufCodeTable11[];
extern const uint16_t g_au16HufCodeTable12[];
extern const uint16_t g_au16HufCodeTable13[];
extern const uint16_t g_au16HufCodeTable15[];
extern const uint16_t g_au16HufCodeTable16[];
extern const uint16_t g_au16HufCodeTable24[];
extern const uint8_t g_au8HufCodeTableA[65];
extern const uint8_t g_au8HufCodeTableB[17];

}  // namespace mp3d

#endif
