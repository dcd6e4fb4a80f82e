// Kernel selection: the portable set, and the processor-specific sets where
// the build has them (their own files in kernels/x86 and kernels/arm decide
// whether the processor runs them). No global state: each decoder instance
// records its choice in its own state.
#include "kernels/kernel_set.h"

#include "kernels/huffman_dequant.h"
#include "kernels/imdct_winola.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"

namespace mp3d {

const MP3D_Kernel_Set kPortableKernels = {
    "portable",        MP3D_subband_dct9,           MP3D_polyphase_window,   MP3D_hybrid_long,
    MP3D_hybrid_short, Huf_dec_dequant_region_pair, Huf_dec_dequant_quadplex};

#if !defined(MP3D_HAVE_X86_KERNELS)
const MP3D_Kernel_Set *MP3D_avx2_kernels() {
    return nullptr;
}
#endif

#if !defined(MP3D_HAVE_ARMV6_KERNELS)
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
