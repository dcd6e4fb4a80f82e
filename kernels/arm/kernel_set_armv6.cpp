// The ARMv6 kernel set. The build enables it only for targets with the ARMv6
// media instructions and the DSP extension (MP3D_HAVE_ARMV6_KERNELS), which
// every processor of such a target has: no run-time check.
#include "kernels/arm/kernels_armv6.h"
#include "kernels/kernel_set.h"

namespace mp3d {
namespace {

const MP3D_Kernel_Set kArmv6Kernels = {"armv6",
                                       MP3D_subband_dct9_armv6,
                                       MP3D_polyphase_window_armv6,
                                       MP3D_hybrid_long_armv6,
                                       MP3D_hybrid_short_armv6,
                                       Huf_dec_dequant_region_pair_armv6,
                                       Huf_dec_dequant_quadplex_armv6};

}  // namespace

const MP3D_Kernel_Set *MP3D_armv6_kernels() {
    return &kArmv6Kernels;
}

}  // namespace mp3d
