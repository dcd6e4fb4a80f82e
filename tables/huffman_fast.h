// Direct first-level lookup of the Layer III pair code tables: one read
// resolves every codeword of up to `width` bits.
#ifndef MP3D_TABLES_HUFFMAN_FAST_H
#define MP3D_TABLES_HUFFMAN_FAST_H

#include <cstdint>

namespace mp3d {

// entries[j] for the next `width` bits j: (x << 12) | (y << 8) | (f << 7) |
// (codeword length + number of non-zero values among x and y), f = 1 when x
// or y is 15; 0 when the codeword is longer than `width` bits (the
// multi-level table then resolves it).
struct Huffman_Pair_Fast_Table {
    const uint16_t *code_table;  // the multi-level table it belongs to
    const uint16_t *entries;
    uint32_t width;
};

extern const uint16_t huf_pair_fast_entries[2568];
extern const Huffman_Pair_Fast_Table huf_pair_fast_tables[15];

}  // namespace mp3d

#endif
