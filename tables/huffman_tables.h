// Layer III Huffman code tables in the decoder's own lookup layout.
#ifndef MP3D_TABLES_HUFFMAN_TABLES_H
#define MP3D_TABLES_HUFFMAN_TABLES_H

#include <cstdint>

namespace mp3d {

// Pair tables (ISO/IEC 11172-3 tables 1..24) in a multi-level lookup layout:
// word 0 is the root width, then the root block and its sub-table blocks. A
// word with bit 0 set is a leaf (bits 1..5 codeword length, 8..11 y, 12..15
// x); otherwise a node (bits 1..10 offset from the current block's first word
// to the child block, bits 11..15 the child's width). At most four blocks lie
// on any path. Count1 tables: byte 0 the lookup width, then one byte
// (value << 4) | length per index.

struct Huffman_Pair_Table_Entry {
    const uint16_t *code_table;  // null for tables 0, 4 and 14
    uint32_t linbits;
};

extern const Huffman_Pair_Table_Entry Huffman_Pair_Table_Info[32];
extern const uint8_t *const Huffman_Quad_Table_Info[2];

extern const uint16_t g_au16HufCodeTable0[1];
extern const uint16_t g_au16HufCodeTable1[9];
extern const uint16_t g_au16HufCodeTable2[65];
extern const uint16_t g_au16HufCodeTable3[65];
extern const uint16_t g_au16HufCodeTable5[73];
extern const uint16_t g_au16HufCodeTable6[67];
extern const uint16_t g_au16HufCodeTable7[155];
extern const uint16_t g_au16HufCodeTable8[117];
extern const uint16_t g_au16HufCodeTable9[87];
extern const uint16_t g_au16HufCodeTable10[153];
extern const uint16_t g_au16HufCodeTable11[191];
extern const uint16_t g_au16HufCodeTable12[171];
extern const uint16_t g_au16HufCodeTable13[489];
extern const uint16_t g_au16HufCodeTable15[443];
extern const uint16_t g_au16HufCodeTable16[539];
extern const uint16_t g_au16HufCodeTable24[415];
extern const uint8_t g_au8HufCodeTableA[65];
extern const uint8_t g_au8HufCodeTableB[17];

}  // namespace mp3d

#endif
