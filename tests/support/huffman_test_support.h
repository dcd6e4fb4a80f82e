// Test helpers for the Huffman tables and kernels: walking and enumerating
// the pair-table layout, reading the standard's code listing, and a bit
// writer that places data in a reservoir and positions its reader.
#ifndef MP3D_TESTS_SUPPORT_HUFFMAN_TEST_SUPPORT_H
#define MP3D_TESTS_SUPPORT_HUFFMAN_TEST_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "decoder/decoder_state.h"

namespace mp3d_test {

// Directory of the standard's data tables ($MP3D_SHARED_DIR overrides the
// build-time location).
std::string huf_reference_dir();

// Number of words of a generated pair table (0 for unknown pointers).
size_t huf_table_words(const uint16_t *table);

struct HufLeaf {
    int x = -1;
    int y = -1;
    int length = -1;
    bool in_bounds = true;  // every word read lay inside the table
    bool ended_on_leaf = true;
};

// Walks a pair table with the codeword left-aligned in bits, as the decoder
// does: at most five lookups.
HufLeaf huf_walk_pair(const uint16_t *table, uint32_t bits);

// Every codeword of a pair table, by (x, y), as a string of '0' and '1',
// found by enumerating the layout's leaves.
std::map<std::pair<int, int>, std::string> huf_enumerate_pair_codes(const uint16_t *table);

// The standard's codes from huffman_codes.txt: pair tables by number (tables
// that reuse another's codes are not listed) and count1 tables 32 (A) and
// 33 (B); linbits per table number.
struct HufReferenceCode {
    int x;  // count1: the value 8v + 4w + 2x + y
    int y;  // count1: unused (0)
    std::string code;
};
struct HufReference {
    std::map<int, std::vector<HufReferenceCode>> tables;
    std::map<int, int> uses;  // table number -> table whose codes it uses
    std::map<int, int> linbits;
};
bool huf_read_reference(const std::string &path, HufReference *out);

// Bits written most significant first into a reservoir-sized byte buffer.
class HufBitWriter {
  public:
    explicit HufBitWriter(std::vector<uint8_t> *buffer, size_t first_bit)
        : buffer_(buffer), pos_(first_bit) {}
    void put(const std::string &bits);
    void put_value(uint32_t value, int width);
    size_t position() const { return pos_; }

  private:
    std::vector<uint8_t> *buffer_;
    size_t pos_;
};

// Points the state's reservoir reader at bit start_bit of its buffer, with
// between bits_in_window - 7 and bits_in_window unread bits in the window
// (bits_in_window at most 32), which holds the four bytes before the read
// index (zeros for bytes past the buffer, as the kernels load them).
void huf_position_reader(mp3d::MP3D_Decoder_State *state, int32_t start_bit,
                         int32_t bits_in_window);

// Bit position of the reader: 8 * read index - unread bits in the window.
int64_t huf_reader_position(const mp3d::MP3D_Decoder_State &state);

// True when res_window holds the four bytes before res_read_index.
bool huf_window_matches_buffer(const mp3d::MP3D_Decoder_State &state);

}  // namespace mp3d_test

#endif
