// MPEG-2 LSF and MPEG-2.5 Layer III scale factors (ISO/IEC 13818-3 2.4.3.2):
// the partition chosen by the 9-bit scalefac_compress, read into a flat
// scratch buffer and distributed into the channel's scale-factor record.
#include "decoder/lsf_scale_factors.h"

#include "decoder/reservoir.h"

namespace mp3d {

namespace {

// Slots of lsf_scalefac_buffer cleared before every read.
constexpr int kClearedSlots = 45;

}  // namespace

void III_get_LSF_scale_data(MP3D_Side_Info *side_info, int gr, int ch, MP3D_Decoder_State *state) {
    MP3D_Granule_Info &g = side_info->ch[ch].gr[gr];
    const uint32_t sc = g.scalefac_compress & 511;

    int t = 0;  // 0 long, 1 short, 2 mixed
    if (g.block_type == 2) t = g.mixed_block_flag == 0 ? 1 : 2;

    g.preflag = 0;
    uint32_t s[4] = {0, 0, 0, 0};
    int row;
    if ((state->header.mode_extension & 1) != 0 && ch == 1) {
        // Intensity-coded right channel: the values are intensity positions.
        const uint32_t i = sc >> 1;
        if (i < 180) {
            s[0] = i / 36;
            s[1] = (i % 36) / 6;
            s[2] = (i % 36) % 6;
            row = 3;
        } else if (i < 244) {
            const uint32_t u = i - 180;
            s[0] = (u >> 4) & 3;
            s[1] = (u >> 2) & 3;
            s[2] = u & 3;
            row = 4;
        } else {
            const uint32_t u = i - 244;
            s[0] = u / 3;
            s[1] = u % 3;
            row = 5;
        }
    } else if (sc < 400) {
        s[0] = (sc >> 4) / 5;
        s[1] = (sc >> 4) % 5;
        s[2] = (sc >> 2) & 3;
        s[3] = sc & 3;
        row = 0;
    } else if (sc < 500) {
        const uint32_t u = sc - 400;
        s[0] = (u >> 2) / 5;
        s[1] = (u >> 2) % 5;
        s[2] = u & 3;
        row = 1;
    } else {
        const uint32_t u = sc - 500;
        s[0] = u / 3;
        s[1] = u % 3;
        row = 2;
        g.preflag = 1;
    }

    int32_t *buf = state->lsf_scalefac_buffer;
    for (int k = 0; k < kClearedSlots; ++k) buf[k] = 0;

    const int32_t *counts = state->tables.nr_of_sfb_block[row][t];
    uint8_t *marks = state->is_pos_marks;
    int k = 0;
    for (int p = 0; p < 4; ++p) {
        const int bits = static_cast<int>(s[p]);
        // The largest value of a non-empty field marks an illegal intensity
        // position; stereo processing looks for 31.
        const uint32_t largest = (1u << bits) - 1;
        for (int32_t n = 0; n < counts[p]; ++n, ++k) {
            const uint32_t v = bits != 0 ? hgetbits(bits, state) : 0;
            buf[k] = static_cast<int32_t>(v);
            if (ch == 1) marks[k] = (bits != 0 && v == largest) ? uint8_t{31} : uint8_t(v & 0xFF);
        }
    }
}

uint32_t III_get_LSF_scale_factors(MP3D_Scale_Factors *scalefac, MP3D_Side_Info *side_info, int gr,
                                   int ch, MP3D_Decoder_State *state) {
    const int32_t start = state->res_bits_consumed;
    III_get_LSF_scale_data(side_info, gr, ch, state);

    const MP3D_Granule_Info &g = side_info->ch[ch].gr[gr];
    const int32_t *buf = state->lsf_scalefac_buffer;
    MP3D_Scale_Factors &sf = scalefac[ch];
    if (g.window_switching_flag == 1 && g.block_type == 2) {
        if (g.mixed_block_flag == 1) {
            // Long bands 0..5, then the three windows of short bands 3..12.
            for (int b = 0; b < 6; ++b) sf.scalefac_l[b] = static_cast<int16_t>(buf[b]);
            for (int j = 0; j < 10; ++j) {
                for (int w = 0; w < 3; ++w) {
                    sf.scalefac_s[w][3 + j] = static_cast<int16_t>(buf[6 + 3 * j + w]);
                }
            }
        } else {
            for (int j = 0; j < 13; ++j) {
                for (int w = 0; w < 3; ++w) {
                    sf.scalefac_s[w][j] = static_cast<int16_t>(buf[3 * j + w]);
                }
            }
        }
    } else {
        for (int b = 0; b < 21; ++b) sf.scalefac_l[b] = static_cast<int16_t>(buf[b]);
        sf.scalefac_l[21] = 0;
    }
    return static_cast<uint32_t>(state->res_bits_consumed - start);
}

}  // namespace mp3d
