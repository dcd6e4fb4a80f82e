// MPEG-1 Layer III scale factors (ISO/IEC 11172-3 2.4.1.7, 2.4.2.7), read from
// the main-data reservoir into the channel's scale-factor record.
#include "decoder/scale_factors.h"

#include "decoder/reservoir.h"

namespace mp3d {

namespace {

// A field length of 0 reads nothing and yields 0.
inline int16_t read_field(int32_t bits, MP3D_Decoder_State *state) {
    return bits == 0 ? int16_t{0} : static_cast<int16_t>(hgetbits(bits, state));
}

}  // namespace

void fill_scale_factors_short(int16_t (*scalefac_s)[13], uint32_t scalefac_compress,
                              const int32_t *bounds, MP3D_Decoder_State *state) {
    const uint32_t sc = scalefac_compress & 15;
    for (int p = 0; p < 2; ++p) {
        const int32_t bits = state->tables.slen[p][sc];
        int32_t b = bounds[p];
        // Bitstream order: band-major, then window.
        for (; b < bounds[p + 1]; ++b) {
            for (int w = 0; w < 3; ++w) scalefac_s[w][b] = read_field(bits, state);
        }
        for (int w = 0; w < 3; ++w) scalefac_s[w][b] = 0;
    }
}

uint32_t III_get_scale_factors(MP3D_Scale_Factors *scalefac, const MP3D_Side_Info *side_info,
                               int gr, int ch, MP3D_Decoder_State *state) {
    const int32_t start = state->res_bits_consumed;
    const MP3D_Granule_Info &g = side_info->ch[ch].gr[gr];
    const uint32_t sc = g.scalefac_compress & 15;
    const MP3D_Table_Pointers &t = state->tables;
    MP3D_Scale_Factors &sf = scalefac[ch];

    if (g.window_switching_flag == 1 && g.block_type == 2) {
        if (g.mixed_block_flag == 1) {
            // Long bands 0..7, then short bands 3..11.
            for (int b = 0; b < 8; ++b) sf.scalefac_l[b] = read_field(t.slen[0][sc], state);
            fill_scale_factors_short(sf.scalefac_s, sc, t.sfbtable_short_mixed_block, state);
        } else {
            fill_scale_factors_short(sf.scalefac_s, sc, t.sfbtable + 5, state);
        }
    } else {
        // Four groups of long bands; in granule 1 a group flagged in scfsi
        // keeps granule 0's values.
        const uint32_t *scfsi = side_info->ch[ch].scfsi;
        for (int i = 0; i < 4; ++i) {
            if (gr != 0 && scfsi[i] != 0) continue;
            const int32_t bits = t.slen[i < 2 ? 0 : 1][sc];
            for (int32_t b = t.sfbtable[i]; b < t.sfbtable[i + 1]; ++b) {
                sf.scalefac_l[b] = read_field(bits, state);
            }
        }
        sf.scalefac_l[21] = 0;
    }
    return static_cast<uint32_t>(state->res_bits_consumed - start);
}

}  // namespace mp3d
