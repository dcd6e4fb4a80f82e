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
#include "kernels/fixed_point.h"

namespace mp3d {

namespace {

// Splits a grouped code word into its three samples (first sample in the
// lowest digit). Codes beyond levels^3 - 1 are taken as they come.
template <uint32_t Levels>
inline void split(uint32_t code, uint32_t *s) {
    s[0] = code % Levels;
    code /= Levels;
    s[1] = code % Levels;
    code /= Levels;
    s[2] = code % Levels;
}

// Reads the codes of one unit and requantises them (Q29): r = ((f + D) * C)
// >> 31, where f is the nb-bit code s with its most significant bit inverted,
// read as a two's-complement fraction in Q30. That fraction is
// s / 2^(nb-1) - 1 (s < 2^nb), so f + D = (s << shift) + unit d.
//
// |f + D| <= 1.0 and C < 2.0, so |r| < 2^30: r is kept in 64 bits, where the
// value is the same as that of the 32-bit result.
template <class Get>
inline void read_and_requantise(const Mp2Unit &u, Get &get, int64_t *r) {
    uint32_t s[3];
    switch (u.q) {
        case 0:
            split<3>(get(5), s);
            break;
        case 1:
            split<5>(get(7), s);
            break;
        case 2:
            split<9>(get(10), s);
            break;
        default:
            s[0] = get(u.q);
            s[1] = get(u.q);
            s[2] = get(u.q);
            break;
    }
    const int64_t d = u.d;
    const int64_t c = u.c;
    for (int i = 0; i < 3; ++i) r[i] = ((int64_t{s[i] << u.shift} + d) * c) >> 31;
}

template <class Get, class Put>
inline void run_units(const Mp2Plan &plan, int part, Get &get, Put &put) {
    const int count = plan.count;
    for (int k = 0; k < count; ++k) {
        const Mp2Unit &u = plan.units[k];
        int64_t r[3];
        read_and_requantise(u, get, r);
        put(u, 0, r, u.m[0][part]);
        if (u.joint != 0) put(u, 1, r, u.m[1][part]);
    }
}

// Runs one granule of the plan; put(unit, output, r, m) stores three samples
// (and must read what it needs of the unit before it stores).
template <class Put>
inline void run_granule(const Mp2Plan &plan, int part, BitCursor *bits, MP3D_Decoder_State *state,
                        Put put) {
    read_run(bits, plan.granule_bits, state, [&](auto &get) { run_units(plan, part, get, put); });
}

}  // namespace

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
    run_granule(plan, 0, &bits, state, [&](const Mp2Unit &u, int out, const int64_t *r, int32_t m) {
        int32_t *block = blocks[u.ch + out];
        const int sb = u.sb;
        for (int i = 0; i < 3; ++i) block[32 * i + sb] = static_cast<int32_t>((r[i] * m) >> 31);
    });
    bits.store(state);
}

void MP2D_dequantize_half(int32_t *samples, const Mp2Plan *plan, int h, MP3D_Decoder_State *state) {
    // The reader lives in locals for the half: the sample stores cannot
    // alias it.
    BitCursor bits(state);
    for (int g = 0; g < 6; ++g) {
        int32_t *const x = samples + 3 * g;
        // Sign masks of the three time slots t = 3g + i for odd subbands: the
        // DCT stage inverts odd subbands at odd time slots (the frequency
        // inversion that Layer III needs); inverting them here first lets
        // Layer II samples through unchanged.
        const uint32_t odd_g = (g & 1) != 0 ? ~0u : 0u;
        const uint32_t odd_t[3] = {odd_g, ~odd_g, odd_g};
        run_granule(*plan, (6 * h + g) / 4, &bits, state,
                    [&](const Mp2Unit &u, int out, const int64_t *r, int32_t m) {
                        int32_t *y = x + u.row[out];
                        const uint32_t odd_sb = u.odd;
                        for (int i = 0; i < 3; ++i) {
                            const uint32_t neg = odd_t[i] & odd_sb;
                            // |r * m >> 31| < 2^30: one shift does both.
                            const auto v = static_cast<uint32_t>((r[i] * m) >> 33);
                            y[i] = static_cast<int32_t>((v ^ neg) - neg);
                        }
                    });
    }
    bits.store(state);
}

}  // namespace mp3d
