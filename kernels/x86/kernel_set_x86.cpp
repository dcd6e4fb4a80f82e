// The AVX2 kernel set and the check that the processor runs it: cpuid and
// xgetbv, no global state, no library call. Compiled with the library's
// own flags (not -mavx2), so nothing here runs an AVX2 instruction before
// the check has passed.
#include <cpuid.h>

#include "kernels/huffman_dequant.h"
#include "kernels/imdct_winola.h"
#include "kernels/kernel_set.h"
#include "kernels/x86/kernels_avx2.h"

namespace mp3d {
namespace {

// The Huffman kernels and the short-block hybrid have no AVX2 variants; the set uses the
// portable ones.
const MP3D_Kernel_Set kAvx2Kernels = {"avx2",
                                      MP3D_subband_dct9_avx2,
                                      MP3D_polyphase_window_avx2,
                                      MP3D_hybrid_long_avx2,
                                      MP3D_hybrid_short,
                                      Huf_dec_dequant_region_pair,
                                      Huf_dec_dequant_quadplex};

// AVX2 needs the instruction set (cpuid leaf 7, EBX bit 5) and an operating
// system that saves the YMM registers (OSXSAVE, then XCR0 bits 1 and 2).
bool cpu_runs_avx2() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
    const unsigned osxsave = 1u << 27, avx = 1u << 28;
    if ((c & (osxsave | avx)) != (osxsave | avx)) return false;
    unsigned xcr0_lo = 0, xcr0_hi = 0;
    __asm__("xgetbv" : "=a"(xcr0_lo), "=d"(xcr0_hi) : "c"(0));
    if ((xcr0_lo & 6u) != 6u) return false;
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0) return false;
    return (b & (1u << 5)) != 0;
}

}  // namespace

const MP3D_Kernel_Set *MP3D_avx2_kernels() {
    return cpu_runs_avx2() ? &kAvx2Kernels : nullptr;
}

}  // namespace mp3d
