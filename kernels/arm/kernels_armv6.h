// ARMv6 variants of the kernel set: the portable kernels' arithmetic on the
// ARMv6 DSP multiplies (32x16 multiply-accumulate on the halves of a window
// pair word, rounded 32x32 upper-word multiplies). Each gives exactly the
// portable kernel's output. Built only where CMake finds the target has ARMv6
// with the DSP instructions, and then defines MP3D_HAVE_ARMV6_KERNELS.
#ifndef MP3D_KERNELS_ARM_KERNELS_ARMV6_H
#define MP3D_KERNELS_ARM_KERNELS_ARMV6_H

#include <cstdint>

namespace mp3d {

struct MP3D_Decoder_State;
struct MP3D_Pair_Region;
struct MP3D_Quad_Region;

// The DCT stage of half a granule as MP3D_subband_dct9 (kernels/subband_fdct32.h)
// from the half's first slot: slot k at slots + k, inverting form where
// parity ^ (k & 1) is 1. In assembly (subband_fdct32_armv6.S).
extern "C" void mp3d_fdct32_half_armv6(const int32_t *slots, int parity, int32_t *synthesis,
                                       const int32_t *dct8_coeff, const int32_t *dct32_coeff);

// As MP3D_subband_dct9 (kernels/subband_fdct32.h) and MP3D_polyphase_window
// (kernels/subband_window.h).
void MP3D_subband_dct9_armv6(const int32_t *samples, int half, int32_t *synthesis);
void MP3D_polyphase_window_armv6(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                                 const int32_t *window);

// As MP3D_hybrid_long and MP3D_hybrid_short (kernels/imdct_winola.h).
void MP3D_hybrid_long_armv6(int32_t *x, int32_t *out, int count, int alias_count,
                            uint32_t block_type, int32_t *ovl, uint32_t *prev_types,
                            const int32_t *cos_long, const int32_t *cs_ca,
                            const int32_t (*window)[36]);
void MP3D_hybrid_short_armv6(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                             uint32_t *prev_types, const int32_t *cos_short,
                             const int32_t (*window)[36]);

// As Huf_dec_dequant_region_pair and Huf_dec_dequant_quadplex
// (kernels/huffman_dequant.h), on a 32-bit bit window.
uint32_t Huf_dec_dequant_region_pair_armv6(int32_t *out, const MP3D_Pair_Region *region,
                                           MP3D_Decoder_State *state, int32_t *band_reached,
                                           int32_t *stop);
uint32_t Huf_dec_dequant_quadplex_armv6(int32_t *out, const MP3D_Quad_Region *region,
                                        MP3D_Decoder_State *state, int32_t *lines);

}  // namespace mp3d

#endif  // MP3D_KERNELS_ARM_KERNELS_ARMV6_H
