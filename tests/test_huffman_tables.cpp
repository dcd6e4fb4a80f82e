// The generated Huffman tables against the standard's code listing, and the
// structural limits of the pair-table layout that the kernel relies on.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "decoder/tables/huffman_tables.h"
#include "support/huffman_test_support.h"

using namespace mp3d;
using namespace mp3d_test;

namespace {

uint32_t left_aligned(const std::string &code, bool pad_ones) {
    uint32_t v = pad_ones ? 0xFFFFFFFFu : 0u;
    for (size_t i = 0; i < code.size(); ++i) {
        const uint32_t bit = 1u << (31 - i);
        v = code[i] == '1' ? (v | bit) : (v & ~bit);
    }
    return v;
}

bool load_reference(HufReference *ref) {
    return huf_read_reference(huf_reference_dir() + "/huffman_codes.txt", ref);
}

// Checks a node and everything below it: offsets point forward and stay
// inside the table, child widths are 1..5, and no path is longer than
// max_blocks.
void check_block(const uint16_t *table, size_t words, size_t base, uint32_t width, int depth,
                 int max_blocks, int table_number) {
    ASSERT_LE(depth, max_blocks) << "table " << table_number;
    ASSERT_LE(base + (size_t{1} << width), words) << "table " << table_number;
    for (uint32_t j = 0; j < (1u << width); ++j) {
        const uint16_t entry = table[base + j];
        if (entry & 1) {
            EXPECT_GE((entry >> 1) & 31, 1) << "table " << table_number;
            continue;
        }
        const uint32_t offset = (entry >> 1) & 0x3FF;
        const uint32_t child_width = entry >> 11;
        ASSERT_GT(offset, 0u) << "table " << table_number;
        ASSERT_GE(child_width, 1u);
        ASSERT_LE(child_width, 5u);
        check_block(table, words, base + offset, child_width, depth + 1, max_blocks, table_number);
    }
}

}  // namespace

TEST(HuffmanTables, Table1WordsAndSelection) {
    const uint16_t expected[9] = {3,      0x1147, 0x0147, 0x1005, 0x1005,
                                  0x0003, 0x0003, 0x0003, 0x0003};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(g_au16HufCodeTable1[i], expected[i]) << i;

    // Tables 0, 4 and 14 have no codes; 16..23 share table 16, 24..31 table 24.
    const uint32_t linbits[32] = {0, 0, 0, 0, 0, 0, 0,  0,  0, 0, 0, 0, 0, 0, 0,  0,
                                  1, 2, 3, 4, 6, 8, 10, 13, 4, 5, 6, 7, 8, 9, 11, 13};
    for (int n = 0; n < 32; ++n) {
        EXPECT_EQ(Huffman_Pair_Table_Info[n].linbits, linbits[n]) << n;
        const bool absent = n == 0 || n == 4 || n == 14;
        EXPECT_EQ(Huffman_Pair_Table_Info[n].code_table == nullptr, absent) << n;
    }
    EXPECT_EQ(Huffman_Pair_Table_Info[23].code_table, g_au16HufCodeTable16);
    EXPECT_EQ(Huffman_Pair_Table_Info[31].code_table, g_au16HufCodeTable24);
    EXPECT_EQ(Huffman_Quad_Table_Info[0], g_au8HufCodeTableA);
    EXPECT_EQ(Huffman_Quad_Table_Info[1], g_au8HufCodeTableB);
}

TEST(HuffmanTables, LayoutWithinLimits) {
    // Root widths as the kernel expects them (at most 7 bits at the root).
    const int numbers[15] = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 24};
    const int root[15] = {3, 6, 6, 6, 6, 7, 6, 6, 6, 7, 7, 7, 7, 7, 7};
    for (int i = 0; i < 15; ++i) {
        const uint16_t *table = Huffman_Pair_Table_Info[numbers[i]].code_table;
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table[0], root[i]) << numbers[i];
        check_block(table, huf_table_words(table), 1, table[0], 1, 4, numbers[i]);
    }
}

TEST(HuffmanTables, Count1TablesAsListed) {
    const std::vector<uint8_t> a_head = {0x06, 0xB6, 0xF6, 0xD6, 0xE6, 0x76, 0x56, 0x95, 0x95,
                                         0x65, 0x65, 0x35, 0x35, 0xA5, 0xA5, 0xC5, 0xC5};
    std::vector<uint8_t> a = a_head;
    for (uint8_t b : {0x24, 0x14, 0x44, 0x84}) a.insert(a.end(), 4, b);
    a.insert(a.end(), 32, 0x01);
    ASSERT_EQ(a.size(), 65u);
    for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(g_au8HufCodeTableA[i], a[i]) << i;
    EXPECT_EQ(g_au8HufCodeTableB[0], 4);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(g_au8HufCodeTableB[1 + i], ((15 - i) << 4) | 4) << i;
}

TEST(HuffmanTables, EveryPairCodewordDecodes) {
    HufReference ref;
    if (!load_reference(&ref))
        GTEST_SKIP() << "reference data not found in " << huf_reference_dir();
    int checked_tables = 0;
    for (int n = 0; n < 32; ++n) {
        ASSERT_TRUE(ref.uses.count(n)) << n;
        EXPECT_EQ(static_cast<int>(Huffman_Pair_Table_Info[n].linbits), ref.linbits[n]) << n;
        const std::vector<HufReferenceCode> &codes = ref.tables[ref.uses[n]];
        const uint16_t *table = Huffman_Pair_Table_Info[n].code_table;
        if (codes.empty()) {
            EXPECT_EQ(table, nullptr) << n;
            continue;
        }
        ASSERT_NE(table, nullptr) << n;
        ++checked_tables;
        // Followed by zeros or by ones, a codeword decodes to the same leaf.
        for (const HufReferenceCode &c : codes) {
            for (bool ones : {false, true}) {
                const HufLeaf leaf = huf_walk_pair(table, left_aligned(c.code, ones));
                ASSERT_TRUE(leaf.in_bounds && leaf.ended_on_leaf) << n << " " << c.code;
                EXPECT_EQ(leaf.x, c.x) << "table " << n << " code " << c.code;
                EXPECT_EQ(leaf.y, c.y) << "table " << n << " code " << c.code;
                EXPECT_EQ(leaf.length, static_cast<int>(c.code.size())) << n << " " << c.code;
            }
        }
        // And the layout holds no leaf that is not in the listing.
        EXPECT_EQ(huf_enumerate_pair_codes(table).size(), codes.size()) << n;
    }
    EXPECT_EQ(checked_tables, 29);
}

TEST(HuffmanTables, EveryCount1CodewordDecodes) {
    HufReference ref;
    if (!load_reference(&ref))
        GTEST_SKIP() << "reference data not found in " << huf_reference_dir();
    for (int t = 0; t < 2; ++t) {
        const uint8_t *table = Huffman_Quad_Table_Info[t];
        const std::vector<HufReferenceCode> &codes = ref.tables[32 + t];
        ASSERT_EQ(codes.size(), 16u);
        const int width = table[0];
        for (const HufReferenceCode &c : codes) {
            for (bool ones : {false, true}) {
                const uint32_t v = left_aligned(c.code, ones);
                const uint8_t entry = table[1 + (v >> (32 - width))];
                EXPECT_EQ(entry >> 4, c.x) << "table " << t << " code " << c.code;
                EXPECT_EQ(entry & 15, static_cast<int>(c.code.size())) << c.code;
            }
        }
    }
}
