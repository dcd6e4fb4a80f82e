"""Layer III scale-factor band layouts (ISO/IEC 11172-3 Table B.8, ISO/IEC
13818-3 Table B.2, and the MPEG-2.5 extension) and scale-factor field tables."""
from emit import array, file_header, FOOTER

OUTPUT = "tables/scale_factor_tables.cpp"

# Records by 3*version + sampling_frequency: MPEG-2 (22.05, 24, 16 kHz),
# MPEG-1 (44.1, 48, 32 kHz), MPEG-2.5 (11.025, 12, 8 kHz).
LSF_LONG = [0, 6, 12, 18, 24, 30, 36, 44, 54, 66, 80, 96, 116, 140, 168, 200, 238, 284, 336, 396, 464, 522, 576]
LONG = [
    LSF_LONG,
    [0, 6, 12, 18, 24, 30, 36, 44, 54, 66, 80, 96, 114, 136, 162, 194, 232, 278, 332, 394, 464, 540, 576],
    LSF_LONG,
    [0, 4, 8, 12, 16, 20, 24, 30, 36, 44, 52, 62, 74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576],
    [0, 4, 8, 12, 16, 20, 24, 30, 36, 42, 50, 60, 72, 88, 106, 128, 156, 190, 230, 276, 330, 384, 576],
    [0, 4, 8, 12, 16, 20, 24, 30, 36, 44, 54, 66, 82, 102, 126, 156, 194, 240, 296, 364, 448, 550, 576],
    LSF_LONG,
    LSF_LONG,
    [0, 12, 24, 36, 48, 60, 72, 88, 108, 132, 160, 192, 232, 280, 336, 400, 476, 566, 568, 570, 572, 574, 576],
]
LSF_SHORT_16 = [0, 4, 8, 12, 18, 26, 36, 48, 62, 80, 104, 134, 174, 192]
SHORT = [
    [0, 4, 8, 12, 18, 24, 32, 42, 56, 74, 100, 132, 174, 192],
    [0, 4, 8, 12, 18, 26, 36, 48, 62, 80, 104, 136, 180, 192],
    LSF_SHORT_16,
    [0, 4, 8, 12, 16, 22, 30, 40, 52, 66, 84, 106, 136, 192],
    [0, 4, 8, 12, 16, 22, 28, 38, 50, 64, 80, 100, 126, 192],
    [0, 4, 8, 12, 16, 22, 30, 42, 58, 78, 104, 138, 180, 192],
    LSF_SHORT_16,
    LSF_SHORT_16,
    [0, 8, 16, 24, 36, 52, 72, 96, 124, 160, 162, 164, 166, 192],
]


def short_section(short):
    vals = [0]
    for s in range(13):
        width = short[s + 1] - short[s]
        for w in range(3):
            vals.append(3 * short[s] + (w + 1) * width)
    assert vals[-1] == 576 and len(vals) == 40
    return vals + [0, 0]


def mixed_section(long, short):
    start = 3 * short[3]
    vals = [b for b in long if b <= start]
    assert vals[-1] == start
    vals += [v for v in short_section(short)[:40] if v > start]
    return vals + [0] * (42 - len(vals))


def sf_band_index():
    flat = []
    for r in range(9):
        rec = LONG[r] + short_section(SHORT[r]) + mixed_section(LONG[r], SHORT[r])
        assert len(rec) == 107
        flat += rec
    return flat


def sf_band_index_s():
    widths = [[SHORT[k][b + 1] - SHORT[k][b] for b in range(13)] for k in range(9)]
    for w in widths:
        assert sum(w) == 192
    rows = []
    for row in range(6):
        for b in range(13):
            hi = widths[2 * row][b] if 2 * row < 9 else 0
            lo = widths[2 * row + 1][b] if 2 * row + 1 < 9 else 0
            rows.append((hi << 8) | lo)
    return rows


def generate(_ref_dir):
    out = file_header("the band boundaries of ISO/IEC 11172-3 and 13818-3",
                      ["tables/scale_factor_tables.h"])
    out += "\n" + array("int32_t", "index_array_III_get_side_info", [2, 4], [9, 5, 3, 2, 8, 1, 2, 1], 4,
                        comment="Rows MPEG-1, LSF: main_data_begin bits, private bits for one and two\n"
                                "channels, granules per frame.")
    out += "\n" + array("int32_t", "sfbtable", [8], [0, 6, 11, 16, 21, 0, 6, 12],
                        comment="scfsi groups of long bands (0..4), parts of a short block (5..7).")
    out += "\n" + array("int32_t", "sfbtable_short_mixed_block", [3], [3, 6, 12])
    out += "\n" + array("int32_t", "slen", [2, 16],
                        [0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4,
                         0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3], 16,
                        comment="Field lengths slen1, slen2 by scalefac_compress.")
    out += "\n" + array("int16_t", "sfBandIndex", [9, 107], sf_band_index(), 16,
                        comment="Per record: long section (23), short section in bitstream order (42),\n"
                                "mixed section (42).")
    out += "\n" + array("uint16_t", "sfBandIndex_s", [6, 13], sf_band_index_s(), 13,
                        fmt=lambda v: "0x%04X" % v,
                        comment="Short band widths; combination k in row k/2, even k high byte.")
    out += "\n" + array("int32_t", "pretab", [22],
                        [0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0], 22)
    nr = [
        [[6, 5, 5, 5], [9, 9, 9, 9], [6, 9, 9, 9]],
        [[6, 5, 7, 3], [9, 9, 12, 6], [6, 9, 12, 6]],
        [[11, 10, 0, 0], [18, 18, 0, 0], [15, 18, 0, 0]],
        [[7, 7, 7, 0], [12, 12, 12, 0], [6, 15, 12, 0]],
        [[6, 6, 6, 3], [12, 9, 9, 6], [6, 12, 9, 6]],
        [[8, 8, 5, 0], [15, 12, 9, 0], [6, 18, 9, 0]],
    ]
    for row in nr:
        assert [sum(p) for p in row] == [21, 36, 33]
    out += "\n" + array("int32_t", "nr_of_sfb_block", [6, 3, 4], [v for r in nr for p in r for v in p], 12,
                        comment="LSF partitions: scale factors per part, [row][long, short, mixed][part].")
    return out + FOOTER
