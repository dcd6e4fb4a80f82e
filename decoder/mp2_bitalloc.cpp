// Layer II bit allocation, scale-factor selection information and scale
// factors (ISO/IEC 11172-3, 2.4.1.6 and 2.4.2.6), read into records packed in
// bitstream order so that the requantisation walks them sequentially.
#include "decoder/mp2_bitalloc.h"

#include "decoder/bit_reader.h"
#include "decoder/mp2_bounds.h"

namespace mp3d {

void MP2D_decode_bitalloc(uint8_t *allocation, const MP3D_Frame_Params *frame_params,
                          MP3D_Decoder_State *state) {
    const Mp2Bounds b = mp2_bounds(frame_params);
    const uint8_t *rows = state->mp2_tables->alloc_table_array;
    const uint8_t *alloc_rows = frame_params->alloc_table;
    BitCursor bits(state);
    // At most 64 fields of at most 4 bits.
    read_run(&bits, 256, state, [&](auto &get) {
        auto field = [&](int nbal) { return static_cast<uint8_t>(nbal > 0 ? get(nbal) : 0); };
        int n = 0;
        for (int sb = 0; sb < b.js_bound; ++sb) {
            const int nbal = rows[alloc_rows[sb]];
            for (int ch = 0; ch < b.channels; ++ch) allocation[n++] = field(nbal);
        }
        for (int sb = b.js_bound; sb < b.sb_limit; ++sb) {
            const uint8_t a = field(rows[alloc_rows[sb]]);
            allocation[n++] = a;
            allocation[n++] = a;
        }
    });
    bits.store(state);
}

void MP2D_decode_scale(uint8_t *scfsi, const uint8_t *allocation, uint8_t (*scalefactors)[64],
                       const MP3D_Frame_Params *frame_params, MP3D_Decoder_State *state) {
    const Mp2Bounds b = mp2_bounds(frame_params);
    const int entries = b.sb_limit * b.channels;
    BitCursor bits(state);
    int pairs = 0;
    for (int i = 0; i < entries; ++i)
        if (allocation[i] != 0) scfsi[pairs++] = static_cast<uint8_t>(bits.get(2, state));

    for (int n = 0; n < pairs; ++n) {
        const auto a = static_cast<uint8_t>(bits.get(6, state));
        uint8_t p1 = a;
        uint8_t p2 = a;
        switch (scfsi[n]) {
            case 0:
                p1 = static_cast<uint8_t>(bits.get(6, state));
                p2 = static_cast<uint8_t>(bits.get(6, state));
                break;
            case 1:
                p2 = static_cast<uint8_t>(bits.get(6, state));
                break;
            case 2:
                break;
            default:
                p1 = static_cast<uint8_t>(bits.get(6, state));
                p2 = p1;
                break;
        }
        scalefactors[0][n] = a;
        scalefactors[1][n] = p1;
        scalefactors[2][n] = p2;
    }
    bits.store(state);
}

}  // namespace mp3d
