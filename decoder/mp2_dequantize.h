// Layer II sample requantisation of one granule (3 samples per subband).
#ifndef MP3D_MP2_DEQUANTIZE_H
#define MP3D_MP2_DEQUANTIZE_H

#include "decoder/decoder_state.h"

namespace mp3d {

// blocks: one 96-sample block per channel (sample i of subband sb at 32*i + sb).
void MP2D_dequantize_sample(int32_t *const *blocks, const uint8_t *allocation,
                            const uint8_t *scalefactor_plane, const MP3D_Frame_Params *frame_params,
                            MP3D_Decoder_State *state);

// One set of sample codes of a granule, in bitstream order: those of one
// allocated (subband, channel) pair, or those of a joint-stereo subband shared
// by both channels.
struct Mp2Unit {
    int32_t c;        // C of the class (Q30)
    int32_t d;        // D of the class less 1.0 (Q30): f + D = (code << shift) + d
    int32_t m[2][3];  // scale multipliers [output][part of the frame]
    int32_t row[2];   // kSpectralWords * channel + 18 * sb of each output
    uint32_t odd;     // all ones for an odd subband
    uint8_t q;        // quantisation class
    uint8_t shift;    // 31 - code width nb
    uint8_t sb;       // subband
    uint8_t ch;       // channel of output 0
    uint8_t joint;    // 1: output 1 goes to channel 1
};

// What a frame's allocation and scale factors make of every granule: the units
// in reading order, and per channel the subbands that receive samples.
struct Mp2Plan {
    Mp2Unit units[64];
    int count;
    int32_t granule_bits;  // bits of the codes of one granule
    uint32_t written[2];   // bit sb set: subband sb has samples in that channel
};

// planes: the scale-factor planes of parts 0, 1 and 2 of the frame.
void MP2D_build_plan(Mp2Plan *plan, const uint8_t *allocation, const uint8_t *const *planes,
                     const MP3D_Frame_Params *frame_params, const MP3D_Decoder_State *state);

// Reads and requantises the six granules of half h (0 or 1) of a frame
// straight into the synthesis input: sample t of subband sb of channel ch at
// element kSpectralWords*ch + 18*sb + t of samples, divided by 4 (Q26), odd subbands
// negated at odd t. Elements of subbands without samples are left as they are.
void MP2D_dequantize_half(int32_t *samples, const Mp2Plan *plan, int h, MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
