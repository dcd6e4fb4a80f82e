// The generated Huffman tables against the standard's code listing, walked
// as the kernels walk them.
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

}  // namespace

TEST(HuffmanTables, Table1Words) {
    const uint16_t expected[9] = {3,      0x1147, 0x0147, 0x1005, 0x1005,
                                  0x0003, 0x0003, 0x0003, 0x0003};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(g_au16HufCodeTable1[i], expected[i]) << i;
    EXPECT_EQ(Huffman_Quad_Table_Info[0], g_au8HufCodeTableA);
    EXPECT_EQ(Huffman_Quad_Table_Info[1], g_au8HufCodeTableB);
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
        // Followed by zeros or by ones, a codeword decodes to the same leaf,
        // reading only words inside the table.
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
