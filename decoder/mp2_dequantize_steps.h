// The steps of Layer II requantisation: reading the codes of a granule,
// splitting grouped codes, and the order in which samples are produced, over
// a requantiser record that does the two products per sample:
//
//   requantise(t, c)  floor(t c / 2^31): (f + D) * C for t = f + D (Q30,
//                     |t| <= 2^30) and C (Q30, < 2.0); |result| < 2^30
//   scale(r, m)       floor(r m / 2^33): the requantised sample times its
//                     scale multiplier, divided by 4 (Q26 for the synthesis)
//
// Portable_Requantiser computes both as plain 64-bit products on 32-bit
// operands (one SMULL each on ARMv6). The ARMv6 upper-word multiply saves
// only about 0.3 cycles per sample here, so there is no ARMv6 record.
#ifndef MP3D_MP2_DEQUANTIZE_STEPS_H
#define MP3D_MP2_DEQUANTIZE_STEPS_H

#include <cstdint>

#include "decoder/bit_reader.h"
#include "decoder/mp2_dequantize.h"
#include "kernels/fixed_point.h"

namespace mp3d::mp2_steps {

struct Portable_Requantiser {
    static int32_t requantise(int32_t t, int32_t c) {
        return static_cast<int32_t>((int64_t{t} * c) >> 31);
    }
    static int32_t scale(int32_t r, int32_t m) {
        return static_cast<int32_t>((int64_t{r} * m) >> 33);
    }
};

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
// s / 2^(nb-1) - 1 (s < 2^nb), so f + D = (s << shift) + unit d, which lies
// in -2^30 .. 2^30 (|f + D| <= 1.0) and so in a 32-bit word.
template <class Requantiser, class Get>
inline void read_and_requantise(const Mp2Unit &u, Get &get, int32_t *r) {
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
    for (int i = 0; i < 3; ++i)
        r[i] = Requantiser::requantise(wrap_add(static_cast<int32_t>(s[i] << u.shift), u.d), u.c);
}

template <class Requantiser, class Get, class Put>
inline void run_units(const Mp2Plan &plan, int part, Get &get, Put &put) {
    const int count = plan.count;
    for (int k = 0; k < count; ++k) {
        const Mp2Unit &u = plan.units[k];
        int32_t r[3];
        read_and_requantise<Requantiser>(u, get, r);
        put(u, 0, r, u.m[0][part]);
        if (u.joint != 0) put(u, 1, r, u.m[1][part]);
    }
}

// Runs one granule of the plan; put(unit, output, r, m) stores three samples
// (and must read what it needs of the unit before it stores).
template <class Requantiser, class Put>
inline void run_granule(const Mp2Plan &plan, int part, BitCursor *bits, MP3D_Decoder_State *state,
                        Put put) {
    read_run(bits, plan.granule_bits, state,
             [&](auto &get) { run_units<Requantiser>(plan, part, get, put); });
}

// MP2D_dequantize_half (decoder/mp2_dequantize.h) over a requantiser record.
template <class Requantiser>
inline void dequantize_half(int32_t *samples, const Mp2Plan *plan, int h,
                            MP3D_Decoder_State *state) {
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
        run_granule<Requantiser>(*plan, (6 * h + g) / 4, &bits, state,
                                 [&](const Mp2Unit &u, int out, const int32_t *r, int32_t m) {
                                     int32_t *y = x + u.row[out];
                                     const uint32_t odd_sb = u.odd;
                                     for (int i = 0; i < 3; ++i) {
                                         const uint32_t neg = odd_t[i] & odd_sb;
                                         const auto v =
                                             static_cast<uint32_t>(Requantiser::scale(r[i], m));
                                         y[i] = static_cast<int32_t>((v ^ neg) - neg);
                                     }
                                 });
    }
    bits.store(state);
}

}  // namespace mp3d::mp2_steps

#endif  // MP3D_MP2_DEQUANTIZE_STEPS_H
