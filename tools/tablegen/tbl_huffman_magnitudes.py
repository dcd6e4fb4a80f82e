"""Dequantised magnitudes of the big-value kernel before the band's power of
two: for each quarter step r = 0..3 and magnitude x = 0..63 the rounded upper
word of lut_1_63_4by3[x] * scale_fac_table_lf[r], the product the kernel
would otherwise form per band. The band then only shifts it by 6 - q.
"""
from emit import array, file_header, FOOTER
from tbl_dequant_tables import lut_1_63_4by3, scale_fac_table_lf

OUTPUT = "decoder/tables/huffman_magnitudes.cpp"


def mulhi_round(a, b):
    """(a*b + 2^31) >> 32 on signed 32-bit operands, as the decoder computes it."""
    assert -(1 << 31) <= a < (1 << 31) and -(1 << 31) <= b < (1 << 31)
    return (a * b + (1 << 31)) >> 32


def magnitudes():
    powers = lut_1_63_4by3()
    scales = scale_fac_table_lf()
    vals = [mulhi_round(powers[x], scales[r]) for r in range(4) for x in range(64)]
    # Non-negative and below 2^31: the kernel shifts them right as unsigned
    # words where a right shift of 31 must give 0.
    assert all(0 <= v < (1 << 31) for v in vals)
    assert vals[1] == 1 << 22 and vals[64 + 1] == 3526975
    return vals


def generate(_ref_dir):
    out = file_header("the dequantisation formulas of ISO/IEC 11172-3, 2.4.3.4",
                      ["decoder/tables/huffman_magnitudes.h"])
    out += "\n" + array("int32_t", "huf_scaled_powers", [4, 64], magnitudes(), 6,
                        comment="(lut_1_63_4by3[x] * scale_fac_table_lf[r] + 2^31) >> 32 for\n"
                                "r = 0..3 (rows) and x = 0..63.")
    return out + FOOTER
