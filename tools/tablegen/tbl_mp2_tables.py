"""Layer II allocation tables (ISO/IEC 11172-3 Table 3-B.2 a to d, and the
lower-sampling-frequency table of ISO/IEC 13818-3), the requantisation
constants C and D (Table 3-B.4) and the scale-factor multipliers (Table 3-B.1).

Quantisation classes are numbered so that from class 3 on the class equals the
bit width of an ungrouped sample: 0, 1, 2 are the grouped 3, 5 and 9 steps,
3 is 7 steps, 4 is 15 steps, and class k >= 5 has 2^k - 1 steps."""
from emit import array, file_header, FOOTER

OUTPUT = "tables/mp2_tables.cpp"

# Number of quantisation steps of each class.
STEPS = [3, 5, 9] + [(1 << k) - 1 for k in range(3, 17)]
CLASS_OF_STEPS = {s: k for k, s in enumerate(STEPS)}

# Allocation rows: (byte offset, nbal, steps for allocation 1, 2, ...).
ROWS = [
    (0, 4, [3, 7, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383, 32767, 65535]),
    (16, 4, [3, 5, 7, 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 65535]),
    (32, 3, [3, 5, 7, 9, 15, 31, 65535]),
    (40, 2, [3, 5, 65535]),
    (44, 4, [3, 5, 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383, 32767]),
    (60, 3, [3, 5, 9, 15, 31, 63, 127]),
    # ISO/IEC 13818-3 Table B.1 (lower sampling frequencies).
    (68, 4, [3, 5, 7, 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383]),
    (84, 3, [3, 5, 9, 15, 31, 63, 127]),
    (92, 2, [3, 5, 9]),
    # Subbands at or above a table's limit: no allocation field.
    (96, 0, [0] * 15),
]
ZERO_ROW = 96

# Per table: cumulative subband ends (exclusive) and the row offset up to each.
COUNT_INDEX = [
    ([3, 11, 23, 27], [0, 16, 32, 40]),   # 3-B.2a
    ([3, 11, 23, 30], [0, 16, 32, 40]),   # 3-B.2b
    ([2, 8, 8, 8], [44, 60, 60, 60]),     # 3-B.2c
    ([2, 12, 12, 12], [44, 60, 60, 60]),  # 3-B.2d
    ([4, 11, 30, 30], [68, 84, 92, 92]),  # ISO/IEC 13818-3
]
SBLIMIT = [27, 30, 8, 12, 30]

# Stored words that differ from the formulas, with the formula value they
# replace: class 14 of C and D, and the multipliers one below exact powers of
# two.
C_EXCEPTIONS = {14: 1073807363}
D_EXCEPTIONS = {14: 131071}
MULTIPLE_EXCEPTIONS = {51: 16383, 54: 8191, 60: 2047}


def alloc_table_array():
    data = []
    for offset, nbal, steps in ROWS:
        assert len(data) == offset, (offset, len(data))
        if nbal == 0:
            data += [0] * 16
            continue
        assert len(steps) == (1 << nbal) - 1
        data.append(nbal)
        data += [CLASS_OF_STEPS[s] for s in steps]
    assert len(data) == 112
    return data


def alloc_count_index():
    flat = []
    offsets = {o for o, _, _ in ROWS}
    for (ends, rows), limit in zip(COUNT_INDEX, SBLIMIT):
        assert ends == sorted(ends) and ends[-1] == limit
        assert all(r in offsets for r in rows)
        flat += ends + rows
    return flat


def requant_c():
    """floor(C * 2^30): C = 2^(k+2)/(2^(k+1)+1) for the grouped classes
    (3, 5, 9 steps) and 2^k/(2^k-1) for class k >= 3."""
    out = []
    for k, steps in enumerate(STEPS):
        num = 1 << (k + 2) if k < 3 else 1 << k  # 4/3, 8/5, 16/9, then 2^k/(2^k-1)
        den = steps
        v = (num << 30) // den
        if k in C_EXCEPTIONS:
            assert 0 < abs(C_EXCEPTIONS[k] - v) <= 4, (k, v)
            v = C_EXCEPTIONS[k]
        out.append(v)
    return out


def requant_d():
    """D * 2^30: 1/2 for the grouped classes, 2^(1-k) for class k >= 3."""
    out = []
    for k in range(len(STEPS)):
        v = 1 << 29 if k < 3 else 1 << (31 - k)
        if k in D_EXCEPTIONS:
            assert 0 < abs(D_EXCEPTIONS[k] - v) <= 4, (k, v)
            v = D_EXCEPTIONS[k]
        out.append(v)
    return out


def icbrt(n):
    """Largest x with x^3 <= n."""
    x = 1 << ((n.bit_length() + 2) // 3)
    while x * x * x > n:
        x = (2 * x + n // (x * x)) // 3
    while (x + 1) ** 3 <= n:
        x += 1
    while x ** 3 > n:
        x -= 1
    return x


def multiples():
    """floor(2^(31 - i/3)) = floor(cbrt(2^(93 - i))), exactly."""
    out = []
    for i in range(64):
        if i == 0:
            v = (1 << 31) - 1  # 2.0 saturated
        elif i == 63:
            v = 0  # index 63 silences the pair
        else:
            v = icbrt(1 << (93 - i))
        if i in MULTIPLE_EXCEPTIONS:
            assert 0 < abs(MULTIPLE_EXCEPTIONS[i] - v) <= 4, (i, v)
            v = MULTIPLE_EXCEPTIONS[i]
        out.append(v)
    return out


def generate(_ref_dir):
    c = requant_c()
    d = requant_d()
    m = multiples()
    assert c[:4] == [1431655765, 1717986918, 1908874353, 1227133513]
    assert d[:4] == [536870912, 536870912, 536870912, 268435456]
    assert m[3] == 1 << 30 and m[1] == 1704458900

    out = file_header("ISO/IEC 11172-3 Tables 3-B.1, 3-B.2, 3-B.4 and ISO/IEC 13818-3 Table B.1",
                      ["tables/mp2_tables.h"])
    out += "\n" + array("uint8_t", "MP2D_alloc_table_array", [112], alloc_table_array(), 16,
                        comment="Allocation rows at byte offsets 0, 16, 32, 40, 44, 60, 68, 84, 92, 96:\n"
                                "nbal, then the quantisation class of allocation 1, 2, ...; the row at\n"
                                "96 has nbal 0 (no allocation field).")
    out += "\n" + array("uint8_t", "MP2D_alloc_count_index", [5, 8], alloc_count_index(), 8,
                        comment="Per table: four cumulative subband ends, then the row offset that\n"
                                "applies up to each end.")
    out += "\n" + array("int32_t", "MP2D_sblimit", [5], SBLIMIT, 5)
    out += "\n" + array("int32_t", "MP2D_c", [17], c, 6,
                        comment="Requantisation factor C per class, Q30.")
    out += "\n" + array("int32_t", "MP2D_d", [17], d, 6,
                        comment="Requantisation offset D per class, Q30.")
    out += "\n" + array("int32_t", "MP2D_multiple", [64], m, 6,
                        comment="Scale-factor multipliers 2^(1 - i/3), Q30; entry 0 saturated, entry 63 zero.")
    return out + FOOTER
