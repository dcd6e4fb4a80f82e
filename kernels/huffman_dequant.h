// Layer III Huffman decoding fused with dequantisation: the big-value pair
// kernel, the count1 quadruple kernel and the cube root for large values.
#ifndef MP3D_KERNELS_HUFFMAN_DEQUANT_H
#define MP3D_KERNELS_HUFFMAN_DEQUANT_H

#include "decoder/decoder_state.h"

namespace mp3d {

// One region of the big-value part.
struct MP3D_Pair_Region {
    const uint16_t *code_table;  // null for table 0
    uint32_t linbits;
    int32_t start_band;  // bands start_band .. end_band - 1
    int32_t end_band;
    const int16_t *band_table;  // cumulative line boundaries
    const int32_t *exponents;   // one per decoding band
    int32_t line_limit;         // 2 * min(big_values, kSpectralWords / 2)
};

// The count1 part.
struct MP3D_Quad_Region {
    const uint8_t *code_table;  // g_au8HufCodeTableA or B
    int32_t budget;             // bits left for the count1 part (> 0)
    int32_t start_band;
    const int16_t *band_table;
    const int32_t *exponents;
    int32_t start_line;
};

// Decodes one region into out (the region's first line). Returns the bits
// consumed; band_reached gets the band where decoding stopped, stop is set to
// 1 when the line limit was reached (or the reads ran past the end of the
// reservoir, which only corrupt data can cause). Both kernels take over the
// reservoir reader (res_window, res_bits_in_window in 0..32, res_read_index)
// and write it back; res_bits_consumed is left to the caller.
uint32_t Huf_dec_dequant_region_pair(int32_t *out, const MP3D_Pair_Region *region,
                                     MP3D_Decoder_State *state, int32_t *band_reached,
                                     int32_t *stop);
// Decodes the count1 part into out (the start line). Returns the bits
// consumed; lines gets the number of lines covered (a multiple of 4).
uint32_t Huf_dec_dequant_quadplex(int32_t *out, const MP3D_Quad_Region *quad_region,
                                  MP3D_Decoder_State *state, int32_t *lines);
// Dequantised magnitude of v >= 1 (meant for v >= 64) with scale =
// scale_fac_table_lf[r] and negq = -q. v is clamped to 0..32767, the range of
// the cube-root tables (escape values reach 8206).
int32_t dequant_greaterthan63(int32_t v, int32_t scale, int32_t negq, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
