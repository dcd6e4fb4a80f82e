"""Dequantised magnitudes of the big-value kernel before the band's power of
two, placed in 64-bit words so that one right shift per value applies it.

For each quarter step r = 0..3 and magnitude x = 0..63 the kernel needs
shift_by(P, 6 - q) with P = mulhi_round(lut_1_63_4by3[x], scale_fac_table_lf[r]),
the rounded upper word of the product, and for x = 1 its own rounding
shift_by(scale_fac_table_lf[r], -(q + 3)). Stored: P << 32, and for x = 1 the
scale << 23; the kernel shifts the word right by 26 + q and keeps its low 32
bits, which gives both results for every q from -26 upwards.
"""
from emit import array, file_header, FOOTER
from tbl_dequant_tables import lut_1_63_4by3, scale_fac_table_lf

OUTPUT = "tables/huffman_magnitudes.cpp"


def mulhi_round(a, b):
    """(a*b + 2^31) >> 32 on signed 32-bit operands, as the decoder computes it."""
    assert -(1 << 31) <= a < (1 << 31) and -(1 << 31) <= b < (1 << 31)
    return (a * b + (1 << 31)) >> 32


def shift_by(a, s):
    """The decoder's shift_by on a 32-bit value, as an unsigned 32-bit result."""
    if s >= 0:
        return 0 if s >= 32 else (a << s) & 0xFFFFFFFF
    return (a >> min(-s, 31)) & 0xFFFFFFFF


def words():
    powers = lut_1_63_4by3()
    scales = scale_fac_table_lf()
    vals = []
    for r in range(4):
        for x in range(64):
            p = mulhi_round(powers[x], scales[r])
            assert 0 <= p < (1 << 31)
            vals.append(scales[r] << 23 if x == 1 else p << 32)
    # The kernel's shift reproduces the decoder's formulas for all q >= -26.
    for r in range(4):
        for q in range(-26, 60):
            k = min(26 + q, 63)
            for x in range(64):
                got = (vals[64 * r + x] >> k) & 0xFFFFFFFF
                if x == 1:
                    want = shift_by(scales[r], -(q + 3))
                else:
                    want = shift_by(mulhi_round(powers[x], scales[r]), 6 - q)
                assert got == want, (r, q, x)
    return vals


def generate(_ref_dir):
    out = file_header("the dequantisation formulas of ISO/IEC 11172-3, 2.4.3.4",
                      ["tables/huffman_magnitudes.h"])
    out += "\n" + array("uint64_t", "huf_scaled_powers", [4, 64], words(), 4,
                        fmt=lambda v: "0x%016X" % v,
                        comment="Row r = 0..3, x = 0..63: mulhi_round(lut_1_63_4by3[x],\n"
                                "scale_fac_table_lf[r]) << 32; x = 1: scale_fac_table_lf[r] << 23.")
    return out + FOOTER
