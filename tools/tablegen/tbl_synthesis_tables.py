"""Polyphase synthesis tables: the packed synthesis window (ISO/IEC 11172-3,
Table 3-B.3) in the order the window kernels read it, and the Q31 cosine
constants of the 32-point DCT."""
import math
import os

from emit import array, file_header, q, FOOTER

OUTPUT = "tables/synthesis_tables.cpp"
NEEDS_REFERENCE_DATA = True

# A stored full word that other builds of this window table carry instead of
# D_int * 2^14. It is not applied: every full word here is the exact product.
# It is kept to document (and assert) how far such stored words are from it.
KNOWN_STORED_FULL_WORDS = {5: 1229422588}


def read_window(ref_dir):
    """D[i] * 2^16 as exact integers, i = 0..511."""
    d = {}
    with open(os.path.join(ref_dir, "synthesis_window.txt")) as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            fields = line.split()
            d[int(fields[0])] = int(fields[1])
    assert sorted(d) == list(range(512))
    return [d[i] for i in range(512)]


def s32(v):
    v &= 0xFFFFFFFF
    return v - (1 << 32) if v & 0x80000000 else v


def pair(hi, lo):
    """Two 16-bit coefficients in one word; the low half comes first in memory."""
    assert -32768 <= hi <= 32767 and -32768 <= lo <= 32767, (hi, lo)
    return s32(((hi & 0xFFFF) << 16) | (lo & 0xFFFF))


def full(d_int):
    """A coefficient in units of 2^-30."""
    v = d_int << 14
    assert -(1 << 31) < v < (1 << 31), d_int
    return v


def coefficients(D, j):
    """(even-age, odd-age) coefficients of taps 0..7 for output j, with the
    signs that the relations between V and the stored DCT values need."""
    if j == 0:
        return [(D[64 * i], -D[64 * i + 32]) for i in range(8)]
    if j == 16:
        return [(0, D[64 * i + 48]) for i in range(8)]
    if j < 16:
        return [(D[64 * i + j], D[64 * i + 32 + j]) for i in range(8)]
    k = 32 - j
    return [(-D[64 * i + 32 - k], D[64 * i + 64 - k]) for i in range(8)]


def window_words(D):
    words = []
    c = coefficients(D, 0)
    words += [pair(*c[0]), pair(*c[1]), pair(*c[2])]
    words += [full(c[3][0]), full(c[3][1]), full(c[4][0]), full(c[4][1])]
    words += [pair(*c[5]), pair(*c[6]), pair(*c[7])]
    assert len(words) == 10
    for j in range(1, 16):
        a = coefficients(D, j)
        b = coefficients(D, 32 - j)
        block = []
        for i in (0, 1, 2):
            block += [pair(*a[i]), pair(*b[i])]
        block += [full(a[3][0]), full(a[3][1]), full(b[3][0]), full(b[3][1])]
        block += [full(a[4][0]), full(a[4][1]), full(b[4][0]), full(b[4][1])]
        for i in (5, 6, 7):
            block += [pair(*a[i]), pair(*b[i])]
        assert len(block) == 20
        words += block
    assert len(words) == 310
    odd = [o for _, o in coefficients(D, 16)]
    # Tap 3 of output 16 does not fit 16 bits: the kernel uses
    # (low half * 2^16) + 2^14, so the low half holds (D_int - 1) / 4.
    assert (odd[3] - 1) % 4 == 0
    special = (odd[3] - 1) // 4
    assert special * (1 << 16) + (1 << 14) == full(odd[3])
    words += [pair(odd[0], odd[1]), pair(odd[2], special), pair(odd[4], odd[5]),
              pair(odd[6], odd[7])]
    words += [0, 0, 0, 0]
    assert len(words) == 318
    for index, stored in KNOWN_STORED_FULL_WORDS.items():
        assert 1 <= abs(stored - words[index]) <= 5, (index, stored, words[index])
    return words


def dct32_coefficients():
    vals = []
    for g in range(4):
        angles = [(4 * g + 1) / 64, (4 * g + 3) / 64, (31 - 4 * g) / 64, (29 - 4 * g) / 64,
                  (4 * g + 1) / 32, (4 * g + 3) / 32]
        vals += [q(math.cos(a * math.pi), 31) for a in angles]
    assert vals[0] == 2144896910 and vals[23] == 210490206
    return vals


def dct8_coefficients():
    c3, s3 = math.cos(3 * math.pi / 16), math.sin(3 * math.pi / 16)
    c1, s1 = math.cos(math.pi / 16), math.sin(math.pi / 16)
    c6, s6 = math.cos(3 * math.pi / 8), math.sin(3 * math.pi / 8)
    halved = [(s3 - c3), (s3 + c3), c3, c1, (s1 - c1), (s1 + c1), c6, (s6 - c6), (s6 + c6)]
    return [q(v / 2, 31) for v in halved] + [q(1 / math.sqrt(2), 31)]


def generate(ref_dir):
    D = read_window(ref_dir)
    out = file_header("the synthesis window of ISO/IEC 11172-3 (Table 3-B.3) and the DCT cosines",
                      ["tables/synthesis_tables.h"])
    out += "\n" + array(
        "int32_t", "window_lf", [318], window_words(D), 10,
        comment="Synthesis window in reading order. Pair words: high half even-age, low half\n"
                "odd-age coefficient, units of 2^-16. Full words (taps 3 and 4): units of 2^-30.\n"
                "Words 0..9 output 0; 10 + 20 (j - 1) .. outputs j and 32 - j; 310..313 output 16\n"
                "(odd-age taps only; low half of 311 is tap 3 as (D_int - 1) / 4); 314..317 unused.\n"
                "8-byte aligned: the words of a pair of outputs load two at a time.", align=8)
    out += "\n" + array(
        "int32_t", "dct32_II_coeff", [24], dct32_coefficients(), 6,
        comment="Four groups of six Q31 cosines: cos((4g+1)pi/64), cos((4g+3)pi/64),\n"
                "cos((31-4g)pi/64), cos((29-4g)pi/64), cos((4g+1)pi/32), cos((4g+3)pi/32).")
    out += "\n" + array(
        "int32_t", "dct8_II_coeff", [10], dct8_coefficients(), 5,
        comment="8-point DCT rotations, Q31 and halved: (s3-c3), (s3+c3), c3, c1, (s1-c1),\n"
                "(s1+c1), c6, (s6-c6), (s6+c6) with c1, s1 = cos, sin(pi/16); c3, s3 = cos,\n"
                "sin(3pi/16); c6, s6 = cos, sin(3pi/8); then 1/sqrt(2), not halved.")
    return out + FOOTER
