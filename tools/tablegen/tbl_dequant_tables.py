"""Layer III dequantisation tables: |x|^(4/3) for small values, quarter powers
of two, and the tables of the division-free cube root used for escape values.

Values that are exact roundings of a formula are computed here in integer
arithmetic (integer roots, so no floating-point rounding can flip a word).
Where the decoder's stored words differ from the exact rounding, the stored
word is kept from an explicit list and checked to lie close to the formula.
"""
from decimal import Decimal, getcontext

from emit import array, file_header, FOOTER

OUTPUT = "tables/dequant_tables.cpp"


def iroot(n, k):
    """floor(n^(1/k)) for an integer n >= 0."""
    if n < 2:
        return n
    x = 1 << ((n.bit_length() + k - 1) // k)  # above the root
    while True:
        y = ((k - 1) * x + n // x ** (k - 1)) // k
        if y >= x:
            break
        x = y
    while x ** k > n:
        x -= 1
    while (x + 1) ** k <= n:
        x += 1
    return x


def round_root(n, k):
    """round(n^(1/k)); a tie is impossible for the values used here."""
    r = iroot(n, k)
    # r + 1/2 <= root  <=>  (2r + 1)^k <= 2^k * n
    return r + 1 if (2 * r + 1) ** k <= (n << k) else r


def lut_1_63_4by3():
    # round(x^(4/3) * 2^23) = round((x^4 * 2^69)^(1/3))
    vals = [round_root(x ** 4 << 69, 3) for x in range(64)]
    assert vals[:4] == [0, 8388608, 21137968, 36295399] and vals[63] == 2102861321
    return vals


def scale_fac_table_lf():
    # round(2^(-r/4) * 2^31) = round((2^(124 - r))^(1/4)); r = 0 does not fit
    # and is stored as the largest positive word.
    vals = [round_root(1 << (124 - r), 4) for r in range(5)]
    assert vals[0] == 1 << 31
    vals[0] = 0x7FFFFFFF
    assert vals == [2147483647, 1805811301, 1518500250, 1276901417, 1073741824]
    return vals


# Stored words of the cube-root seed table (slope B in the high half,
# intercept A in the low half). Their slopes are even numbers that differ from
# the rounded tangent slope by up to 5 units in 2^16; one intercept differs by
# 1. The Newton steps of the cube root absorb both.
LUT_1BY3_STORED = [int(w, 16) for w in """
43B821DD 4306220A 42582237 41B02263 410A228E 406A22B9 3FCC22E4 3F32230F
3E9C2338 3E0A2362 3D7A238B 3CEE23B4 3C6623DC 3BE02405 3B5C242C 3ADC2454
3A5E247B 39E424A1 396A24C8 38F424EE 38802514 38102539 37A0255F 37322584
36C825A8 365E25CD 35F825F1 35922615 352E2638 34CC265B 346C267F 340E26A1
33B226C4 335626E6 32FE2708 32A6272A 3250274C 31FA276D 31A6278E 315427AF
310427D0 30B427F1 30642811 30182831 2FCC2851 2F802871 2F382891 2EEE28B0
2EA628CF 2E6028EE 2E1C290D 2DD6292C 2D94294A 2D502968 2D102986 2CCE29A4
2C8E29C2 2C5029E0 2C1229FD 2BD42A1B 2B982A38 2B5C2A55 2B222A71 2AE62A8D
""".split()]


def _round_half_up(d):
    return int((d + Decimal("0.5")).to_integral_value(rounding="ROUND_FLOOR"))


def lut_1by3_formula():
    """Tangent of f(m) = m^(1/3) / 2 at m_i = (64 + i) / 128: slope
    B / 2^16 = 1 / (24 f(m_i)^2) = f'(m_i), intercept A / 2^15 = f(m_i) - m_i
    * slope (with the exact slope), each rounded."""
    getcontext().prec = 40
    words = []
    for i in range(64):
        m = Decimal(64 + i) / 128
        f = m ** (Decimal(1) / 3) / 2
        slope = 1 / (24 * f * f)
        b = _round_half_up(slope * 65536)
        a = _round_half_up((f - m * slope) * 32768)
        assert 0 < b < 0x8000 and 0 < a < 0x10000
        words.append((b << 16) | a)
    return words


def lut_1by3():
    formula = lut_1by3_formula()
    differ = 0
    for i, (got, stored) in enumerate(zip(formula, LUT_1BY3_STORED)):
        if got != stored:
            differ += 1
            assert abs((got >> 16) - (stored >> 16)) <= 5, i
            assert abs((got & 0xFFFF) - (stored & 0xFFFF)) <= 1, i
    assert differ == 56, differ
    return LUT_1BY3_STORED


# 2^(k/3) * 2^26 as stored: from k = 2 on the words lie above the exact rounding by a
# relative amount below 1e-7, growing with k; the last (2^31) is stored as the
# largest positive word.
LUT_2POW1BY3_STORED = [67108864, 84551870, 106528682, 134217730, 169103745, 213057369,
                       268435467, 338207497, 426114748, 536870945, 676415009, 852229515,
                       1073741912, 1352830047, 1704459065, 2147483647]


def lut_2pow1by3():
    exact = [round_root(1 << (k + 78), 3) for k in range(16)]
    assert exact[15] == 1 << 31 and LUT_2POW1BY3_STORED[15] == 0x7FFFFFFF
    for k in range(15):
        e, s = exact[k], LUT_2POW1BY3_STORED[k]
        assert 0 <= (s - e) * 10**7 <= e, (k, e, s)
    assert exact[:2] == LUT_2POW1BY3_STORED[:2]
    return LUT_2POW1BY3_STORED


# x^(1/3) * 2^26 for x = 1..63, rounded to nearest. Only the small-value
# branch of the cube root reads this table (the pair kernel dequantises values
# below 64 with lut_1_63_4by3). Two stored words of the reference listing lie
# slightly above the exact rounding and are kept as stored; the others are
# exact roundings.
LUT_1_63_STORED = {3: 96787731, 63: 267030020}


def lut_1_63():
    vals = [round_root(x << 78, 3) for x in range(1, 64)]
    assert vals[:2] == [67108864, 84551870]
    for x, s in LUT_1_63_STORED.items():
        assert 0 < s - vals[x - 1] <= 16, (x, s, vals[x - 1])
        vals[x - 1] = s
    return vals


def generate(_ref_dir):
    out = file_header("the dequantisation formulas of ISO/IEC 11172-3, 2.4.3.4",
                      ["tables/dequant_tables.h"])
    out += "\n" + array("int32_t", "lut_1_63", [63], lut_1_63(), 6,
                        comment="x^(1/3) * 2^26 for x = 1..63 (Q26 cube roots), rounded to nearest;\n"
                                "entries 3 and 63 are the stored words 96787731 and 267030020.")
    out += "\n" + array("int32_t", "lut_1_63_4by3", [64], lut_1_63_4by3(), 6,
                        comment="round(x^(4/3) * 2^23) for x = 0..63.")
    out += "\n" + array("int32_t", "scale_fac_table_lf", [5], scale_fac_table_lf(), 5,
                        comment="round(2^(-r/4) * 2^31) for r = 0..4, r = 0 saturated to 2^31 - 1.")
    out += "\n" + array("uint32_t", "lut_1by3", [64], lut_1by3(), 8, fmt=lambda v: "0x%08X" % v,
                        comment="Cube-root seed for a mantissa m in [(64 + i)/128, (65 + i)/128): high\n"
                                "half the signed slope B (value B / 2^16), low half the intercept A\n"
                                "(value A / 2^15) of the tangent of m^(1/3) / 2 at (64 + i)/128.")
    out += "\n" + array("int32_t", "lut_2pow1by3", [16], lut_2pow1by3(), 4,
                        comment="2^(k/3) * 2^26 for k = 0..15 as stored (k = 15 saturated).")
    return out + FOOTER
