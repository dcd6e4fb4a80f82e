#include "support/huffman_test_support.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "decoder/tables/huffman_tables.h"

namespace mp3d_test {

std::string huf_reference_dir() {
    const char *env = std::getenv("MP3D_SHARED_DIR");
    return std::string(env != nullptr ? env : MP3D_SHARED_DIR) + "/reference-data";
}

size_t huf_table_words(const uint16_t *table) {
    using namespace mp3d;
#define MP3D_HUF_TABLE_SIZE(n) \
    if (table == g_au16HufCodeTable##n) return sizeof(g_au16HufCodeTable##n) / sizeof(uint16_t);
    MP3D_HUF_TABLE_SIZE(1)
    MP3D_HUF_TABLE_SIZE(2)
    MP3D_HUF_TABLE_SIZE(3)
    MP3D_HUF_TABLE_SIZE(5)
    MP3D_HUF_TABLE_SIZE(6)
    MP3D_HUF_TABLE_SIZE(7)
    MP3D_HUF_TABLE_SIZE(8)
    MP3D_HUF_TABLE_SIZE(9)
    MP3D_HUF_TABLE_SIZE(10)
    MP3D_HUF_TABLE_SIZE(11)
    MP3D_HUF_TABLE_SIZE(12)
    MP3D_HUF_TABLE_SIZE(13)
    MP3D_HUF_TABLE_SIZE(15)
    MP3D_HUF_TABLE_SIZE(16)
    MP3D_HUF_TABLE_SIZE(24)
#undef MP3D_HUF_TABLE_SIZE
    return 0;
}

HufLeaf huf_walk_pair(const uint16_t *table, uint32_t bits) {
    HufLeaf leaf;
    const size_t words = huf_table_words(table);
    size_t base = 1;
    uint32_t width = table[0];
    for (int lookup = 1;; ++lookup) {
        if (width < 1 || width > 7) {
            leaf.in_bounds = false;
            return leaf;
        }
        const size_t at = base + (bits >> (32 - width));
        if (at >= words) {
            leaf.in_bounds = false;
            return leaf;
        }
        const uint16_t entry = table[at];
        if ((entry & 1) != 0 || lookup == 5) {
            leaf.ended_on_leaf = (entry & 1) != 0;
            leaf.x = entry >> 12;
            leaf.y = (entry >> 8) & 15;
            leaf.length = (entry >> 1) & 31;
            return leaf;
        }
        bits <<= width;
        base += (entry >> 1) & 0x3FF;
        width = entry >> 11;
    }
}

namespace {

void enumerate_block(const uint16_t *table, size_t words, size_t base, uint32_t width,
                     const std::string &prefix, int depth,
                     std::map<std::pair<int, int>, std::string> *codes) {
    for (uint32_t j = 0; j < (1u << width); ++j) {
        std::string slot;
        for (int b = static_cast<int>(width) - 1; b >= 0; --b) slot += ((j >> b) & 1) ? '1' : '0';
        if (base + j >= words) return;
        const uint16_t entry = table[base + j];
        if ((entry & 1) != 0 || depth == 5) {
            const int length = (entry >> 1) & 31;
            const std::string code = (prefix + slot).substr(0, static_cast<size_t>(length));
            (*codes)[{entry >> 12, (entry >> 8) & 15}] = code;
        } else {
            enumerate_block(table, words, base + ((entry >> 1) & 0x3FF), entry >> 11, prefix + slot,
                            depth + 1, codes);
        }
    }
}

}  // namespace

std::map<std::pair<int, int>, std::string> huf_enumerate_pair_codes(const uint16_t *table) {
    std::map<std::pair<int, int>, std::string> codes;
    enumerate_block(table, huf_table_words(table), 1, table[0], "", 1, &codes);
    return codes;
}

bool huf_read_reference(const std::string &path, HufReference *out) {
    std::ifstream in(path);
    if (!in) return false;
    std::string line;
    int current = -1;
    bool quad = false;
    while (std::getline(in, line)) {
        const size_t hash = line.find('#');
        if (hash != std::string::npos) line.resize(hash);
        std::istringstream words(line);
        std::string first;
        if (!(words >> first)) continue;
        if (first == "table") {
            int n = 0;
            std::string kind;
            words >> n >> kind;
            current = n;
            quad = kind == "quad";
            if (kind == "uses") {
                std::string label;
                int uses = 0, linbits = 0;
                words >> uses >> label >> linbits;
                out->uses[n] = uses;
                out->linbits[n] = linbits;
                current = -1;
            } else if (!quad) {
                // xlen X ylen Y linbits L
                std::string label;
                int value = 0, linbits = 0;
                words >> value >> label >> value >> label >> linbits;
                out->uses[n] = n;
                out->linbits[n] = linbits;
                out->tables[n];
            } else {
                out->tables[n];
            }
            continue;
        }
        if (current < 0) continue;
        HufReferenceCode code{};
        int length = 0;
        if (quad) {
            code.x = std::stoi(first);
            words >> length >> code.code;
        } else {
            code.x = std::stoi(first);
            words >> code.y >> length >> code.code;
        }
        if (static_cast<int>(code.code.size()) != length) return false;
        out->tables[current].push_back(code);
    }
    return true;
}

void HufBitWriter::put(const std::string &bits) {
    for (char b : bits) {
        const size_t byte = pos_ >> 3;
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (pos_ & 7));
        if (b == '1') {
            (*buffer_)[byte] |= mask;
        } else {
            (*buffer_)[byte] &= static_cast<uint8_t>(~mask);
        }
        ++pos_;
    }
}

void HufBitWriter::put_value(uint32_t value, int width) {
    std::string bits;
    for (int b = width - 1; b >= 0; --b) bits += ((value >> b) & 1) ? '1' : '0';
    put(bits);
}

void huf_position_reader(mp3d::MP3D_Decoder_State *state, int32_t start_bit,
                         int32_t bits_in_window) {
    const int32_t index = (start_bit + bits_in_window) / 8;
    state->res_read_index = index;
    state->res_bits_in_window = 8 * index - start_bit;
    uint32_t w = 0;
    for (int32_t i = index - 4; i < index; ++i) {
        w = (w << 8) | (i < mp3d::kReservoirBytes ? state->reservoir_buffer[i] : 0u);
    }
    state->res_window = w;
}

int64_t huf_reader_position(const mp3d::MP3D_Decoder_State &state) {
    return int64_t{8} * state.res_read_index - state.res_bits_in_window;
}

bool huf_window_matches_buffer(const mp3d::MP3D_Decoder_State &state) {
    uint32_t w = 0;
    for (int32_t i = state.res_read_index - 4; i < state.res_read_index; ++i) {
        const uint32_t byte = i < mp3d::kReservoirBytes ? state.reservoir_buffer[i] : 0u;
        w = (w << 8) | byte;
    }
    return w == state.res_window;
}

}  // namespace mp3d_test
