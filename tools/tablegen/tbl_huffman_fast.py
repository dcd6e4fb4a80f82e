"""Direct first-level lookup tables for the Layer III pair codes (ISO/IEC
11172-3 Annex B, Table 3-B.7), derived from the same codes as the decoder's
multi-level tables.

For each pair code table with width k, entry j (0 .. 2^k - 1) describes the
codeword that the next k bits j start with:
  codeword of at most k bits: (x << 12) | (y << 8) | (f << 7) | (length + signs),
      where signs is the number of non-zero values among x and y (their sign
      bits follow the codeword; escape bits are not counted) and f is 1 when
      x or y is 15 (an escape in the tables with linbits);
  longer codeword: 0 (the decoder walks the multi-level table instead).
The widths (WIDTH) keep the tables small: the longest codeword length for
tables 1, 2, 3 and 6; 9 bits for tables 16 and 24 (the tables of most pairs
at common bit rates), 8 for table 15 and 7 for the others, whose longer
codes are rare.
"""
import os

from emit import file_header, fmt_values, FOOTER
from tbl_huffman_tables import PAIR_TABLES, parse

OUTPUT = "tables/huffman_fast.cpp"
NEEDS_REFERENCE_DATA = True

WIDTH = {1: 3, 2: 6, 3: 6, 5: 7, 6: 7, 7: 7, 8: 7, 9: 7, 10: 7, 11: 7, 12: 7, 13: 7, 15: 8,
         16: 9, 24: 9}


def fast_entries(codes, width):
    """codes: [(x, y, code)]. Returns the 2^width entries."""
    entries = []
    for j in range(1 << width):
        bits = format(j, "0%db" % width)
        hit = [(x, y, c) for x, y, c in codes if len(c) <= width and bits.startswith(c)]
        longer = [c for _, _, c in codes if len(c) > width and c.startswith(bits)]
        assert len(hit) + (1 if longer else 0) == 1, (j, hit)
        if hit:
            x, y, c = hit[0]
            total = len(c) + (x != 0) + (y != 0)
            assert 1 <= total <= 31
            flag = 1 if 15 in (x, y) else 0
            entries.append((x << 12) | (y << 8) | (flag << 7) | total)
        else:
            entries.append(0)
    return entries


def generate(ref_dir):
    pairs, _, _ = parse(os.path.join(ref_dir, "huffman_codes.txt"))
    flat, index = [], []
    for t in PAIR_TABLES:
        codes = pairs[t]
        width = WIDTH[t]
        assert width <= max(len(c) for _, _, c in codes)
        index.append((t, len(flat), width))
        flat += fast_entries(codes, width)
    out = file_header("ISO/IEC 11172-3 Annex B, Table 3-B.7 (reference-data/huffman_codes.txt)",
                      ["tables/huffman_fast.h", "tables/huffman_tables.h"])
    out += "\n// %d entries (%d bytes): the tables below, one after the other.\n" % (
        len(flat), 2 * len(flat))
    out += "const uint16_t huf_pair_fast_entries[%d] = {\n" % len(flat)
    out += fmt_values(flat, 10, lambda v: "0x%04X" % v) + "\n};\n"
    out += "\nconst Huffman_Pair_Fast_Table huf_pair_fast_tables[%d] = {\n" % len(index)
    for t, offset, width in index:
        out += "    {g_au16HufCodeTable%d, huf_pair_fast_entries + %d, %d},\n" % (t, offset, width)
    out += "};\n"
    return out + FOOTER
