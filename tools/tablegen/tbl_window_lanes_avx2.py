"""window_lf rearranged for the AVX2 synthesis window: the 20 words of eight
output pairs at a time, transposed so that vector m of a batch holds word m
of the outputs j = 8b .. 8b + 7 in its lanes."""
import tbl_synthesis_tables as synthesis
from emit import FOOTER, array, file_header

OUTPUT = "tables/x86/window_lanes_avx2.cpp"
NEEDS_REFERENCE_DATA = True


def block(words, j):
    """The 20-word block of output pair j; output 0 (words 0..9) is spread
    into the layout of the other outputs, its mirror words left zero."""
    if j > 0:
        return words[10 + 20 * (j - 1):10 + 20 * j]
    w = words[:10]
    return [w[0], 0, w[1], 0, w[2], 0, w[3], w[4], 0, 0,
            w[5], w[6], 0, 0, w[7], 0, w[8], 0, w[9], 0]


def lanes(words):
    out = []
    for b in range(2):
        blocks = [block(words, 8 * b + lane) for lane in range(8)]
        for m in range(20):
            out += [blocks[lane][m] for lane in range(8)]
    return out


def generate(ref_dir):
    words = synthesis.window_words(synthesis.read_window(ref_dir))
    out = file_header("the synthesis window of ISO/IEC 11172-3 (Table 3-B.3)",
                      ["tables/x86/window_lanes_avx2.h"])
    out += "\n" + array(
        "int32_t", "window_lf_lanes", [2, 20, 8], lanes(words), 8,
        comment="window_lf by lanes: [b][m][l] is word m of the block of output pair\n"
                "j = 8b + l (window_lf words 10 + 20 (j - 1) + m; for j = 0 words 0..9\n"
                "spread as 0 - 1 - 2 - 3 4 - - 5 6 - - 7 - 8 - 9 -, '-' zero).")
    return out + FOOTER
