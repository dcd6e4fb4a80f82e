"""Cube roots of the escape values 64 .. CUBE_ROOT_TABLE_END - 1 exactly as the
decoder's division-free cube root computes them (v^(1/3) in Q26 from the
64-entry tangent table and two fixed-slope correction steps), so that the big
values look them up instead of running the correction steps. The generator
runs the decoder's integer computation; the result differs from the exact
root by a few units, which the assertions bound.
"""
from emit import array, file_header, FOOTER
from tbl_dequant_tables import lut_1by3, lut_2pow1by3, round_root

OUTPUT = "tables/huffman_cube_roots.cpp"

CUBE_ROOT_TABLE_START = 64
CUBE_ROOT_TABLE_END = 256


def wrap32(x):
    x &= 0xFFFFFFFF
    return x - (1 << 32) if x >= (1 << 31) else x


def mul_w16(a, h):
    return wrap32((a * h) >> 16)


def mul_shr31(a, b):
    return wrap32((a * b) >> 31)


def cube_root_q26(v, tangents, powers):
    """The decoder's dequant_1by3 for 64 <= v <= 32767."""
    s = 32 - v.bit_length()
    n = v << (s - 1)
    assert (1 << 30) <= n < (1 << 31)
    entry = tangents[(n >> 24) - 64]
    slope = wrap32(entry >> 16 << 16) >> 16
    intercept = entry & 0xFFFF
    y = wrap32(wrap32(intercept << 16) + mul_w16(n, slope))
    for _ in range(2):
        y2 = mul_shr31(y, y)
        y3 = mul_shr31(y, y2)
        d = wrap32(n - wrap32(y3 << 3))
        y = wrap32(y + mul_w16(d, slope))
    return mul_shr31(wrap32(y << 1), powers[32 - s])


def roots():
    tangents, powers = lut_1by3(), lut_2pow1by3()
    vals = []
    for v in range(CUBE_ROOT_TABLE_START, CUBE_ROOT_TABLE_END):
        r = cube_root_q26(v, tangents, powers)
        exact = round_root(v << 78, 3)
        assert abs(r - exact) <= 64, (v, r, exact)
        vals.append(r)
    return vals


def generate(_ref_dir):
    out = file_header("the cube root of ISO/IEC 11172-3, 2.4.3.4, as the decoder computes it",
                      ["tables/huffman_cube_roots.h"])
    out += "\n" + array("int32_t", "huf_cube_roots",
                        [CUBE_ROOT_TABLE_END - CUBE_ROOT_TABLE_START], roots(), 6,
                        comment="v^(1/3) * 2^26 for v = %d..%d, as dequant_1by3 computes it." % (
                            CUBE_ROOT_TABLE_START, CUBE_ROOT_TABLE_END - 1))
    return out + FOOTER
