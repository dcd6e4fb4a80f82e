// Layer II sample requantisation (ISO/IEC 11172-3, 2.4.3.3.4): one granule of
// three samples per subband and channel, s'' = C * (s''' + D) scaled by the
// scale factor, in fixed point (C, D Q30; result Q28).
#include "decoder/mp2_dequantize.h"

#include "decoder/bit_reader.h"
#include "decoder/mp2_bounds.h"
#include "kernels/fixed_point.h"

namespace mp3d {

namespace {

// The requantised values (Q29) of one subband's three samples.
struct Requantised {
    int32_t r[3];
};

// Reads the codes of class q and requantises them: r = ((f + D) * C) >> 31,
// where f is the code with its most significant bit inverted read as an
// nb-bit two's-complement fraction, in Q30.
Requantised read_and_requantise(int q, const MP2D_Table_Block *tables, MP3D_Decoder_State *state) {
    uint32_t s[3];
    int nb;
    if (q < 3) {
        // Three samples share one code word of 5, 7 or 10 bits with 3, 5 or 9
        // levels each; codes beyond levels^3 - 1 are taken as they come.
        uint32_t code = getbits1(q + (1 << q) + 4, state);
        const uint32_t levels = (2u << q) + 1;
        s[0] = code % levels;
        code /= levels;
        s[1] = code % levels;
        code /= levels;
        s[2] = code % levels;
        nb = q + 2;
    } else {
        s[0] = getbits1(q, state);
        s[1] = getbits1(q, state);
        s[2] = getbits1(q, state);
        nb = q;
    }
    const int32_t c = tables->c[q];
    const int32_t d = tables->d[q];
    const uint32_t msb = 1u << (nb - 1);
    Requantised out{};
    for (int i = 0; i < 3; ++i) {
        const uint32_t x = s[i] ^ msb;
        // Sign-extend the nb-bit value: |v| <= 2^(nb-1), so |f| <= 2^30.
        const int32_t v =
            static_cast<int32_t>(x) - ((x & msb) != 0 ? static_cast<int32_t>(2 * msb) : 0);
        const int32_t f = v * (int32_t{1} << (31 - nb));
        out.r[i] = mul_shr31(f + d, c);
    }
    return out;
}

}  // namespace

void MP2D_dequantize_sample(int32_t *const *blocks, const uint8_t *allocation,
                            const uint8_t *scalefactor_plane, const MP3D_Frame_Params *frame_params,
                            MP3D_Decoder_State *state) {
    const Mp2Bounds b = mp2_bounds(frame_params);
    const MP2D_Table_Block *tables = state->mp2_tables;
    const uint8_t *rows = frame_params->alloc_table;
    int ai = 0;  // next allocation entry
    int si = 0;  // next scale-factor entry
    for (int sb = 0; sb < b.js_bound; ++sb) {
        const uint8_t *row = tables->alloc_table_array + rows[sb];
        for (int ch = 0; ch < b.channels; ++ch) {
            int32_t *out = blocks[ch];
            const int a = allocation[ai++];
            if (a == 0) {
                out[sb] = out[32 + sb] = out[64 + sb] = 0;
                continue;
            }
            const Requantised rq = read_and_requantise(row[a], tables, state);
            const int32_t m = tables->multiple[scalefactor_plane[si++]];
            for (int i = 0; i < 3; ++i) out[32 * i + sb] = mul_shr31(rq.r[i], m);
        }
    }
    // Joint stereo: one set of codes per subband, scaled for each channel.
    for (int sb = b.js_bound; sb < b.sb_limit; ++sb) {
        const uint8_t *row = tables->alloc_table_array + rows[sb];
        const int a = allocation[ai];
        ai += 2;
        if (a == 0) {
            for (int ch = 0; ch < 2; ++ch)
                blocks[ch][sb] = blocks[ch][32 + sb] = blocks[ch][64 + sb] = 0;
            continue;
        }
        const Requantised rq = read_and_requantise(row[a], tables, state);
        for (int ch = 0; ch < 2; ++ch) {
            const int32_t m = tables->multiple[scalefactor_plane[si++]];
            for (int i = 0; i < 3; ++i) blocks[ch][32 * i + sb] = mul_shr31(rq.r[i], m);
        }
    }
    for (int ch = 0; ch < b.channels; ++ch) {
        for (int sb = b.sb_limit; sb < 32; ++sb)
            blocks[ch][sb] = blocks[ch][32 + sb] = blocks[ch][64 + sb] = 0;
    }
}

}  // namespace mp3d
