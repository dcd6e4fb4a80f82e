// The set of kernels a decoder instance runs for its signal path (the DCT and
// window of the polyphase synthesis, the long-block hybrid transform): the
// portable reference or a variant for the processor, chosen once at init.
// Every set gives bit-identical output; only the speed differs.
//
// Each instruction set has its own folder (kernels/x86, kernels/arm) with its
// kernels, its arithmetic record and the file that builds its set and checks
// the processor. A build enables one with a compiler definition
// (MP3D_HAVE_X86_KERNELS, MP3D_HAVE_ARMV6_KERNELS) set by CMake.
#ifndef MP3D_KERNELS_KERNEL_SET_H
#define MP3D_KERNELS_KERNEL_SET_H

#include <cstdint>

namespace mp3d {

struct MP3D_Decoder_State;
struct MP3D_Pair_Region;
struct MP3D_Quad_Region;

struct MP3D_Kernel_Set {
    const char *name;  // "portable", "avx2", "armv6"
    // DCT of the nine slots of one half granule into the history.
    void (*subband_dct9)(const int32_t *samples, int half, int32_t *synthesis);
    // Window of one half granule into kHalfGranuleSamples samples of the
    // caller's output, sample s at out[stride * s], 24-bit words or (no_shift
    // zero) those words shifted right by 8; then the history move.
    void (*polyphase_window)(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                             const int32_t *window);
    // A run of long-block subbands of one channel (as MP3D_hybrid_long,
    // kernels/imdct_winola.h): alias butterflies, 36-point IMDCT, window,
    // overlap.
    void (*hybrid_long)(int32_t *x, int32_t *out, int count, int alias_count, uint32_t block_type,
                        int32_t *ovl, uint32_t *prev_types, const int32_t *cos_long,
                        const int32_t *cs_ca, const int32_t (*window)[36]);
    // A run of short-block subbands of one channel (as MP3D_hybrid_short,
    // kernels/imdct_winola.h): three 12-point IMDCTs, window, overlap.
    void (*hybrid_short)(const int32_t *x, int32_t *out, int count, int32_t *ovl,
                         uint32_t *prev_types, const int32_t *cos_short,
                         const int32_t (*window)[36]);
    // Layer III Huffman decoding with dequantisation: one region of big-value
    // pairs and the count1 part (as Huf_dec_dequant_region_pair and
    // Huf_dec_dequant_quadplex, kernels/huffman_dequant.h).
    uint32_t (*huffman_pair)(int32_t *out, const MP3D_Pair_Region *region,
                             MP3D_Decoder_State *state, int32_t *band_reached, int32_t *stop);
    uint32_t (*huffman_quad)(int32_t *out, const MP3D_Quad_Region *region,
                             MP3D_Decoder_State *state, int32_t *lines);
};

// The portable reference kernels, available everywhere.
extern const MP3D_Kernel_Set kPortableKernels;

// The AVX2 set when this build has it and the processor and operating system
// support it (checked with cpuid and xgetbv); null otherwise.
const MP3D_Kernel_Set *MP3D_avx2_kernels();

// The ARMv6 set when this build targets ARMv6 or later with the DSP
// instructions (decided at compile time); null otherwise.
const MP3D_Kernel_Set *MP3D_armv6_kernels();

// The fastest set this processor can run.
const MP3D_Kernel_Set *MP3D_select_kernels();

}  // namespace mp3d

#endif  // MP3D_KERNELS_KERNEL_SET_H
