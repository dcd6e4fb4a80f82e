"""Intensity-stereo factor pairs (k_left, k_right), Q31, for ISO/IEC 11172-3
(is_ratio = tan(is_pos * pi / 12)) and ISO/IEC 13818-3 (powers of
io = 2^(-1/4) or 2^(-1/2)), each also divided by sqrt(2) for use together with
middle/side stereo.

The seven pairs per row that the decoder stores were computed once at a lower
precision; the words below reproduce them exactly. They are computed from the
formulas and then overridden by an explicit list of stored words, each of
which is asserted to differ from the formula by a few units only.
"""
import math

from emit import array, file_header, hex32, FOOTER

OUTPUT = "tables/stereo_tables.cpp"

ONE = 0x7FFFFFFF
ROOT_HALF = 1.0 / math.sqrt(2.0)
# Largest accepted difference between a stored word and the formula, in units
# of 2^-31 (the stored words carry about single-precision accuracy).
MAX_DEVIATION = 40

# Stored words that differ from the rounded formula: (table, index) -> word.
STORED = {
    ("is_ratio_table", 2): 0x1B0CB180,
    ("is_ratio_table", 3): 0x64F34E80,
    ("is_ratio_table", 4): 0x2ED9EBC0,
    ("is_ratio_table", 5): 0x51261480,
    ("is_ratio_table", 8): 0x51261480,
    ("is_ratio_table", 9): 0x2ED9EBC0,
    ("is_ratio_table", 10): 0x64F34E80,
    ("is_ratio_table", 11): 0x1B0CB180,
    ("is_ratio_table_root2", 1): 0x5A827996,
    ("is_ratio_table_root2", 2): 0x13207F62,
    ("is_ratio_table_root2", 3): 0x4761FA32,
    ("is_ratio_table_root2", 4): 0x2120FB96,
    ("is_ratio_table_root2", 5): 0x39617E2C,
    ("is_ratio_table_root2", 6): 0x2D413CCC,
    ("is_ratio_table_root2", 7): 0x2D413CCC,
    ("is_ratio_table_root2", 8): 0x39617E2C,
    ("is_ratio_table_root2", 9): 0x2120FB96,
    ("is_ratio_table_root2", 10): 0x4761FA32,
    ("is_ratio_table_root2", 11): 0x13207F62,
    ("is_ratio_table_root2", 12): 0x5A827996,
}
# LSF rows: the unity word of the root2 twin is stored as 0x5A827996 (below
# ROOT2_UNITY), and these non-unity root2 words as listed:
# (row, position, side 0 = k_left / 1 = k_right) -> word.
LSF_ROOT2_STORED = {
    (0, 1, 0): 0x4C1BF826, (0, 2, 1): 0x4C1BF826,
    (0, 3, 0): 0x3FFFFFFE, (0, 4, 1): 0x3FFFFFFE,
    (0, 5, 0): 0x35D13F30, (0, 6, 1): 0x35D13F30,
    (1, 1, 0): 0x3FFFFFFE, (1, 2, 1): 0x3FFFFFFE,
    (1, 3, 0): 0x2D413CCC, (1, 4, 1): 0x2D413CCC,
    (1, 5, 0): 0x1FFFFFFE, (1, 6, 1): 0x1FFFFFFE,
}
ROOT2_UNITY = 0x5A827996

# Positions the decoder stores per row, and positions a row of the full LSF
# tables covers (ISO/IEC 13818-3: every position below the illegal one of a
# field of up to 5 bits, so 0..30).
STORED_PAIRS = 7
LSF_POSITIONS = 31


def q31(x):
    """round(x * 2^31), ties away from zero, 1.0 kept as 0x7FFFFFFF."""
    v = int(math.floor(x * 2.0 ** 31 + 0.5))
    return min(v, ONE)


def is_ratio_pair(pos):
    if pos == 6:  # tan(pi/2): the whole signal goes left
        return 1.0, 0.0
    t = math.tan(pos * math.pi / 12.0)
    return t / (1.0 + t), 1.0 / (1.0 + t)


def lsf_pair(row, pos):
    io = 2.0 ** (-0.25) if row == 0 else 2.0 ** (-0.5)
    if pos == 0:
        return 1.0, 1.0
    if pos % 2:
        return io ** ((pos + 1) // 2), 1.0
    return 1.0, io ** (pos // 2)


def apply_stored(name, words, stored):
    for (table, index), word in stored.items():
        if table != name:
            continue
        assert abs(word - words[index]) <= MAX_DEVIATION, (name, index, hex(word), hex(words[index]))
        words[index] = word
    return words


def is_ratio_words(root2):
    scale = ROOT_HALF if root2 else 1.0
    words = []
    for pos in range(STORED_PAIRS):
        kl, kr = is_ratio_pair(pos)
        words += [q31(kl * scale), q31(kr * scale)]
    name = "is_ratio_table_root2" if root2 else "is_ratio_table"
    return apply_stored(name, words, STORED)


def lsf_words(root2, positions):
    """Rows 0 and 1 of (k_left, k_right) pairs for positions 0..positions-1.
    Unity is the stored unity word; the first seven pairs are the stored words."""
    scale = ROOT_HALF if root2 else 1.0
    unity = ROOT2_UNITY if root2 else ONE
    words = []
    for row in range(2):
        for pos in range(positions):
            pair = []
            for side, k in enumerate(lsf_pair(row, pos)):
                formula = q31(k * scale)
                if k == 1.0:
                    word = unity
                elif root2 and (row, pos, side) in LSF_ROOT2_STORED:
                    word = LSF_ROOT2_STORED[(row, pos, side)]
                else:
                    word = formula
                assert abs(word - formula) <= MAX_DEVIATION, (row, pos, side, hex(word), hex(formula))
                pair.append(word)
            words += pair
    return words


# The stored words as they stand, row by row: checked against the generated
# tables so that a change to the formulas or the exception list cannot go
# unnoticed.
EXPECTED_IS = [
    0x00000000, 0x7FFFFFFF, 0x1B0CB180, 0x64F34E80, 0x2ED9EBC0, 0x51261480, 0x40000000,
    0x40000000, 0x51261480, 0x2ED9EBC0, 0x64F34E80, 0x1B0CB180, 0x7FFFFFFF, 0x00000000,
]
EXPECTED_IS_ROOT2 = [
    0x00000000, 0x5A827996, 0x13207F62, 0x4761FA32, 0x2120FB96, 0x39617E2C, 0x2D413CCC,
    0x2D413CCC, 0x39617E2C, 0x2120FB96, 0x4761FA32, 0x13207F62, 0x5A827996, 0x00000000,
]
EXPECTED_LSF = [
    0x7FFFFFFF, 0x7FFFFFFF, 0x6BA27E65, 0x7FFFFFFF, 0x7FFFFFFF, 0x6BA27E65, 0x5A82799A,
    0x7FFFFFFF, 0x7FFFFFFF, 0x5A82799A, 0x4C1BF829, 0x7FFFFFFF, 0x7FFFFFFF, 0x4C1BF829,
    0x7FFFFFFF, 0x7FFFFFFF, 0x5A82799A, 0x7FFFFFFF, 0x7FFFFFFF, 0x5A82799A, 0x40000000,
    0x7FFFFFFF, 0x7FFFFFFF, 0x40000000, 0x2D413CCD, 0x7FFFFFFF, 0x7FFFFFFF, 0x2D413CCD,
]
EXPECTED_LSF_ROOT2 = [
    0x5A827996, 0x5A827996, 0x4C1BF826, 0x5A827996, 0x5A827996, 0x4C1BF826, 0x3FFFFFFE,
    0x5A827996, 0x5A827996, 0x3FFFFFFE, 0x35D13F30, 0x5A827996, 0x5A827996, 0x35D13F30,
    0x5A827996, 0x5A827996, 0x3FFFFFFE, 0x5A827996, 0x5A827996, 0x3FFFFFFE, 0x2D413CCC,
    0x5A827996, 0x5A827996, 0x2D413CCC, 0x1FFFFFFE, 0x5A827996, 0x5A827996, 0x1FFFFFFE,
]


def generate(_ref_dir):
    is_plain = is_ratio_words(False)
    is_root2 = is_ratio_words(True)
    lsf_plain = lsf_words(False, STORED_PAIRS)
    lsf_root2 = lsf_words(True, STORED_PAIRS)
    assert is_plain == EXPECTED_IS
    assert is_root2 == EXPECTED_IS_ROOT2
    assert lsf_plain == EXPECTED_LSF
    assert lsf_root2 == EXPECTED_LSF_ROOT2
    full_plain = lsf_words(False, LSF_POSITIONS)
    full_root2 = lsf_words(True, LSF_POSITIONS)
    n = 2 * LSF_POSITIONS
    for row in range(2):
        assert full_plain[row * n:row * n + 14] == lsf_plain[row * 14:row * 14 + 14]
        assert full_root2[row * n:row * n + 14] == lsf_root2[row * 14:row * 14 + 14]

    out = file_header("the intensity-stereo formulas of ISO/IEC 11172-3 and 13818-3",
                      ["tables/stereo_tables.h"])
    out += "\n" + array("int32_t", "is_ratio_table", [14], is_plain, 2, fmt=hex32,
                        comment="MPEG-1, pairs by intensity position 0..6: tan(p*pi/12) / (1 + tan),\n"
                                "1 / (1 + tan).")
    out += "\n" + array("int32_t", "is_ratio_table_root2", [14], is_root2, 2, fmt=hex32,
                        comment="The same pairs divided by sqrt(2), for middle/side frames.")
    out += "\n" + array("int32_t", "LSF_k_val_table", [28], lsf_plain, 2, fmt=hex32,
                        comment="LSF, row 0 (io = 2^-1/4) then row 1 (io = 2^-1/2), pairs by position\n"
                                "0..6: (1, 1); odd p (io^((p+1)/2), 1); even p (1, io^(p/2)).")
    out += "\n" + array("int32_t", "LSF_k_val_table_root2", [28], lsf_root2, 2, fmt=hex32,
                        comment="The same pairs divided by sqrt(2), for middle/side frames.")
    out += "\n" + array("int32_t", "LSF_k_val_table_full", [2, 2 * LSF_POSITIONS], full_plain, 2,
                        fmt=hex32,
                        comment="LSF rows extended to every legal position 0..30; pairs 0..6 equal\n"
                                "LSF_k_val_table.")
    out += "\n" + array("int32_t", "LSF_k_val_table_root2_full", [2, 2 * LSF_POSITIONS], full_root2, 2,
                        fmt=hex32,
                        comment="LSF rows extended to positions 0..30, divided by sqrt(2); pairs 0..6\n"
                                "equal LSF_k_val_table_root2.")
    return out + FOOTER
