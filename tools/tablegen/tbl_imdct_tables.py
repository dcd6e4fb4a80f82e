"""Hybrid filterbank tables: the IMDCT windows of ISO/IEC 11172-3 (2.4.3.4.10.3)
in the folded layout of the kernels, the pre-multiplication cosines of the 36-
and 12-point transforms (plain, carrying 1/sqrt(2) for middle/side stereo, and
root2 without it), the 9-point DCT constants, and the alias-reduction
butterfly pairs built from the constants c_i of ISO/IEC 11172-3 Table B.9.

Every table is computed from its formula as round(value * 2^31) with +1.0
stored as 0x7FFFFFFF and -1.0 as 0x80000001. A bit-exact decoder uses a few
stored words that differ slightly from that rounding; they are listed below
and each is checked to lie within a small distance of the formula.
"""
import math

from emit import array, file_header, hex32, FOOTER

OUTPUT = "tables/imdct_tables.cpp"

ONE = 0x7FFFFFFF


def q31(value):
    """round(value * 2^31), ties away from zero, +-1.0 as +-0x7FFFFFFF."""
    x = value * 2.0 ** 31
    r = int(math.floor(abs(x) + 0.5))
    r = min(r, ONE)
    return r if x >= 0 else -r


def to_signed(word):
    word &= 0xFFFFFFFF
    return word - (1 << 32) if word & 0x80000000 else word


def apply_exceptions(name, values, exceptions, limit):
    """Replace the words at the listed indices by the stored words, checking
    that each one is within `limit` units of the formula and really differs."""
    out = list(values)
    for index, word in exceptions.items():
        stored = to_signed(word)
        diff = stored - out[index]
        assert diff != 0, (name, index, "exception equals the formula")
        assert abs(diff) <= limit, (name, index, diff)
        out[index] = stored
    return out


# Stored words of the cosine tables that differ from the rounded formula by
# one unit.
COS_LONG_PLAIN_EXCEPTIONS = {20: 0x7401E4C0, 22: 0x5A827999, 23: 0x496AF3E1}
COS_LONG_ROOT2_EXCEPTIONS = {2: 0x3E7BA240, 3: 0x3D09B2D3, 4: 0x3B20D79F, 6: 0x35FA201E,
                             8: 0x2F2F8D49}
COS_SHORT_PLAIN_EXCEPTIONS = {}
COS_SHORT_ROOT2_EXCEPTIONS = {1: 0x3B20D79F}

# The alias-reduction pairs are stored with 25 to 26 significant bits; the
# words differ from the full-precision rounding by up to 64 units (3e-8).
CS_CA_EXCEPTIONS = {
    0: 0x6DC25400, 1: 0xBE250100, 2: 0x70DCEC00, 3: 0xC39E4980,
    4: 0x798D6E80, 5: 0xD7E33F80, 6: 0x7DDD4080, 7: 0xE8B71180,
    8: 0x7F6D2080, 9: 0xF3E4FE30, 10: 0x7FE47E80, 11: 0xFAC1A3C8,
    12: 0x7FFCB280, 14: 0x7FFFC680,
}

ALIAS_C = [-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037]


def window_rows():
    def long_sin(i):
        return math.sin(math.pi / 36 * (i + 0.5))

    def short_sin(i):
        return math.sin(math.pi / 12 * (i + 0.5))

    # Positions 9..17 (and 3..5 of a short window) hold the mirror images of
    # the antisymmetric first half of the IMDCT output, so their window words
    # carry the sign.
    row0 = [long_sin(i) * (-1 if 9 <= i <= 17 else 1) for i in range(36)]
    row1 = row0[:18] + [1.0] * 6 + [short_sin(i - 18) for i in range(24, 30)] + [0.0] * 6
    row2 = ([short_sin(i) * (-1 if 3 <= i <= 5 else 1) for i in range(12)] + [0.0] * 6 +
            row1[18:])
    row3 = ([0.0] * 6 + [short_sin(i - 6) * (-1 if i >= 9 else 1) for i in range(6, 12)] +
            [-1.0] * 6 + [long_sin(i) for i in range(18, 36)])
    return [q31(v) for row in (row0, row1, row2, row3) for v in row]


def cos_long(scale, exceptions, name):
    vals = [q31(math.cos((2 * k + 1) * math.pi / 72) * scale) for k in range(18)]
    vals += [q31(math.cos((2 * k + 1) * math.pi / 36)) for k in range(9)]
    return apply_exceptions(name, vals, exceptions, 1)


def cos_short(scale, exceptions, name):
    vals = [q31(math.cos((2 * k + 1) * math.pi / 24) * scale) for k in range(6)]
    vals += [q31(math.cos((2 * k + 1) * math.pi / 12)) for k in range(3)]
    return apply_exceptions(name, vals, exceptions, 1)


def idct9_coeff():
    deg = math.radians
    return [q31(v) for v in (-math.sqrt(3) / 2, math.cos(deg(20)), -math.cos(deg(80)),
                             -math.cos(deg(40)), -math.sin(deg(20)), -math.cos(deg(10)),
                             -math.cos(deg(50)))]


def cs_ca():
    vals = []
    for c in ALIAS_C:
        n = math.sqrt(1 + c * c)
        vals += [q31(1 / n), q31(c / n)]
    return apply_exceptions("Cs_Ca_tbl_lf", vals, CS_CA_EXCEPTIONS, 64)


# The complete stored cosine tables, for the final check of the generated words.
STORED_LONG_PLAIN = [
    0x2D3635FF, 0x2CDE1FCB, 0x2C2E9F01, 0x2B290992, 0x29CF5D23, 0x28243B2E, 0x262AE3E5,
    0x23E72FD7, 0x215D8876, 0x1E92DF7E, 0x1B8CA54F, 0x1850BE5B, 0x14E577A4, 0x11517A7C,
    0x0D9BBF84, 0x09CB811C, 0x05E82D4C, 0x01F95749, 0x7F834ED0, 0x7BA3751D, 0x7401E4C0,
    0x68D9F964, 0x5A827999, 0x496AF3E1, 0x36185AEE, 0x2120FB83, 0x0B27EB5C,
]
STORED_LONG_ROOT2 = [
    0x3FF067F4, 0x3F73D526, 0x3E7BA240, 0x3D09B2D3, 0x3B20D79F, 0x38C4C916, 0x35FA201E,
    0x32C64D17, 0x2F2F8D49, 0x2B3CDEB6, 0x26F5F27F, 0x22631DE6, 0x1D8D4A0E, 0x187DE2A7,
    0x133EC38A, 0x0DDA258A, 0x085A8A88, 0x02CAA8F9, 0x7F834ED0, 0x7BA3751D, 0x7401E4C1,
    0x68D9F964, 0x5A82799A, 0x496AF3E2, 0x36185AEE, 0x2120FB83, 0x0B27EB5C,
]


def check_stored(values, words, name):
    assert [to_signed(w) for w in words] == values, name


def generate(_ref_dir):
    plain = 1 / (2 * math.sqrt(2))
    long_plain = cos_long(plain, COS_LONG_PLAIN_EXCEPTIONS, "coef_cos_long_interleaved")
    long_root2 = cos_long(0.5, COS_LONG_ROOT2_EXCEPTIONS, "coef_cos_long_root2_interleaved")
    short_plain = cos_short(plain, COS_SHORT_PLAIN_EXCEPTIONS, "coef_cos_short_interleaved")
    short_root2 = cos_short(0.5, COS_SHORT_ROOT2_EXCEPTIONS, "coef_cos_short_root2_interleaved")
    idct9 = idct9_coeff()
    alias = cs_ca()

    # Words that must come out exactly.
    check_stored(long_plain, STORED_LONG_PLAIN, "long plain")
    check_stored(long_root2, STORED_LONG_ROOT2, "long root2")
    check_stored(short_plain, [0x2CDE1FCB, 0x29CF5D23, 0x23E72FD7, 0x1B8CA54F, 0x11517A7C,
                               0x05E82D4C, 0x7BA3751D, 0x5A82799A, 0x2120FB83], "short plain")
    check_stored(short_root2, [0x3F73D526, 0x3B20D79F, 0x32C64D17, 0x26F5F27F, 0x187DE2A7,
                               0x085A8A88, 0x7BA3751D, 0x5A82799A, 0x2120FB83], "short root2")
    check_stored(idct9, [0x9126145F, 0x7847D909, 0xE9C5E582, 0x9DF24175, 0xD438AF17,
                         0x81F1D1CE, 0xADB922B7], "idctlee_III_coeff")
    check_stored(alias, [0x6DC25400, 0xBE250100, 0x70DCEC00, 0xC39E4980, 0x798D6E80, 0xD7E33F80,
                         0x7DDD4080, 0xE8B71180, 0x7F6D2080, 0xF3E4FE30, 0x7FE47E80, 0xFAC1A3C8,
                         0x7FFCB280, 0xFE2EBDC6, 0x7FFFC680, 0xFF86C25D], "Cs_Ca_tbl_lf")

    out = file_header("the window and transform formulas of ISO/IEC 11172-3",
                      ["tables/imdct_tables.h"])
    out += "\n" + array("int32_t", "imdct_win_lf", [4, 36], window_rows(), 6, fmt=hex32,
                        comment="IMDCT windows by block type (normal, start, short, stop), Q31.\n"
                                "Mirrored first-half positions carry the sign of the antisymmetry.")
    out += "\n" + array("int32_t", "coef_cos_long_interleaved", [27], long_plain, 6, fmt=hex32,
                        comment="cos((2k+1)pi/72)/(2 sqrt 2) for k = 0..17, then cos((2k+1)pi/36).")
    out += "\n" + array("int32_t", "coef_cos_long_root2_interleaved", [27], long_root2, 6,
                        fmt=hex32,
                        comment="cos((2k+1)pi/72)/2 for k = 0..17, then cos((2k+1)pi/36).")
    out += "\n" + array("int32_t", "coef_cos_short_interleaved", [9], short_plain, 6, fmt=hex32,
                        comment="cos((2k+1)pi/24)/(2 sqrt 2) for k = 0..5, then cos((2k+1)pi/12).")
    out += "\n" + array("int32_t", "coef_cos_short_root2_interleaved", [9], short_root2, 6,
                        fmt=hex32,
                        comment="cos((2k+1)pi/24)/2 for k = 0..5, then cos((2k+1)pi/12).")
    out += "\n" + array("int32_t", "idctlee_III_coeff", [7], idct9, 7, fmt=hex32,
                        comment="9-point DCT constants: -sqrt(3)/2, cos 20, -cos 80, -cos 40,\n"
                                "-sin 20, -cos 10, -cos 50 (degrees).")
    out += "\n" + array("int32_t", "Cs_Ca_tbl_lf", [16], alias, 4, fmt=hex32,
                        comment="Alias-reduction pairs cs_i, ca_i interleaved.")
    return out + FOOTER
