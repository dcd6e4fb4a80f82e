// Layer II sample requantisation (ISO/IEC 11172-3, 2.4.3.3.4): one granule of
// three samples per subband and channel, s'' = C * (s''' + D) scaled by the
// scale factor, in fixed point (C, D Q30; result Q28).
//
// The per-frame constants of every set of codes (class, C, D, multipliers,
// where the samples go) are gathered once into a plan; each granule then only
// reads codes and multiplies.
#include "decoder/mp2_dequantize.h"

#include "decoder/bit_reader.h"
#include "decoder/mp2_bounds.h"
#include "decoder/mp2_dequantize_steps.h"
#include "kernels/fixed_point.h"

namespace mp3d {

void MP2D_build_plan(Mp2Plan *plan, const uint8_t *allocation, const uint8_t *const *planes,
                     const MP3D_Frame_Params *frame_params, const MP3D_Decoder_State *state) {
    const Mp2Bounds b = mp2_bounds(frame_params);
    const MP2D_Table_Block *tables = state->mp2_tables;
    const uint8_t *rows = frame_params->alloc_table;
    int n = 0;
    int ai = 0;  // next allocation entry
    int si = 0;  // next scale-factor entry
    int32_t granule_bits = 0;
    plan->written[0] = plan->written[1] = 0;
    auto add = [&](int sb, int ch, int a, int joint) {
        Mp2Unit &u = plan->units[n++];
        const int q = tables->alloc_table_array[rows[sb] + a];
        const int width = q < 3 ? q + 2 : q;
        u.q = static_cast<uint8_t>(q);
        u.shift = static_cast<uint8_t>(31 - width);
        granule_bits += q < 3 ? q + (1 << q) + 4 : 3 * q;
        u.c = tables->c[q];
        u.d = tables->d[q] - (int32_t{1} << 30);
        u.sb = static_cast<uint8_t>(sb);
        u.ch = static_cast<uint8_t>(ch);
        u.joint = static_cast<uint8_t>(joint);
        u.odd = (sb & 1) != 0 ? ~0u : 0u;
        for (int out = 0; out <= joint; ++out) {
            for (int p = 0; p < 3; ++p) u.m[out][p] = tables->multiple[planes[p][si]];
            ++si;
            u.row[out] = kSpectralWords * (ch + out) + 18 * sb;
            plan->written[ch + out] |= 1u << sb;
        }
        if (joint == 0) u.row[1] = u.row[0];
    };
    for (int sb = 0; sb < b.js_bound; ++sb) {
        for (int ch = 0; ch < b.channels; ++ch) {
            const int a = allocation[ai++];
            if (a != 0) add(sb, ch, a, 0);
        }
    }
    // Joint stereo: one set of codes per subband, scaled for each channel.
    for (int sb = b.js_bound; sb < b.sb_limit; ++sb) {
        const int a = allocation[ai];
        ai += 2;
        if (a != 0) add(sb, 0, a, 1);
    }
    plan->count = n;
    plan->granule_bits = granule_bits;
}

void MP2D_dequantize_sample(int32_t *const *blocks, const uint8_t *allocation,
                            const uint8_t *scalefactor_plane, const MP3D_Frame_Params *frame_params,
                            MP3D_Decoder_State *state) {
    Mp2Plan plan;
    const uint8_t *const planes[3] = {scalefactor_plane, scalefactor_plane, scalefactor_plane};
    MP2D_build_plan(&plan, allocation, planes, frame_params, state);
    const int channels = frame_params->channels > 1 ? 2 : 1;
    for (int ch = 0; ch < channels; ++ch)
        for (int i = 0; i < 96; ++i) blocks[ch][i] = 0;
    BitCursor bits(state);
    mp2_steps::run_granule<mp2_steps::Portable_Requantiser>(
        plan, 0, &bits, state, [&](const Mp2Unit &u, int out, const int32_t *r, int32_t m) {
            int32_t *block = blocks[u.ch + out];
            const int sb = u.sb;
            for (int i = 0; i < 3; ++i)
                block[32 * i + sb] = static_cast<int32_t>((int64_t{r[i]} * m) >> 31);
        });
    bits.store(state);
}

void MP2D_dequantize_half(int32_t *samples, const Mp2Plan *plan, int h, MP3D_Decoder_State *state) {
    mp2_steps::dequantize_half<mp2_steps::Portable_Requantiser>(samples, plan, h, state);
}

}  // namespace mp3d
