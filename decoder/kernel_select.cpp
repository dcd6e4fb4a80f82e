// Kernel selection: detects the x86-64 vector extensions with cpuid (no
// global state, no library call), so each decoder instance records its
// choice in its own state.
#include "decoder/kernel_select.h"

#include "decoder/hybrid.h"
#include "decoder/polyphase_synthesis.h"
#if defined(MP3D_HAVE_X86_KERNELS)
#include <cpuid.h>

#include "kernels/x86/imdct_avx2.h"
#include "kernels/x86/synthesis_avx2.h"
#endif
#include "kernels/arm/synthesis_armv6.h"

namespace mp3d {

const MP3D_Kernel_Set kPortableKernels = {"portable", MP3D_subband_dct9, MP3D_polyphase_window,
                                          MP3D_hybrid_long};

#if defined(MP3D_HAVE_X86_KERNELS)
namespace {

const MP3D_Kernel_Set kAvx2Kernels = {"avx2", MP3D_subband_dct9_avx2, MP3D_polyphase_window_avx2,
                                      MP3D_hybrid_long_avx2};

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
#else
const MP3D_Kernel_Set *MP3D_avx2_kernels() {
    return nullptr;
}
#endif

#if defined(MP3D_HAVE_ARMV6_KERNELS)
namespace {
const MP3D_Kernel_Set kArmv6Kernels = {"armv6", MP3D_subband_dct9_armv6,
                                       MP3D_polyphase_window_armv6, MP3D_hybrid_long};
}  // namespace

const MP3D_Kernel_Set *MP3D_armv6_kernels() {
    return &kArmv6Kernels;
}
#else
const MP3D_Kernel_Set *MP3D_armv6_kernels() {
    return nullptr;
}
#endif

const MP3D_Kernel_Set *MP3D_select_kernels() {
    if (const MP3D_Kernel_Set *avx2 = MP3D_avx2_kernels()) return avx2;
    if (const MP3D_Kernel_Set *armv6 = MP3D_armv6_kernels()) return armv6;
    return &kPortableKernels;
}

}  // namespace mp3d
