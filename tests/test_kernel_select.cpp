// Kernel selection: the vector set is chosen exactly where the processor
// runs it, and every set is complete.
#include <gtest/gtest.h>

#include "kernels/kernel_set.h"

using namespace mp3d;

TEST(KernelSelect, ChoosesTheVectorSetOnlyWhereTheProcessorHasIt) {
    const MP3D_Kernel_Set *chosen = MP3D_select_kernels();
    ASSERT_NE(chosen, nullptr);
    for (const MP3D_Kernel_Set *set : {&kPortableKernels, chosen})
        EXPECT_TRUE(set->subband_dct9 && set->polyphase_window && set->hybrid_long) << set->name;
#if defined(MP3D_HAVE_X86_KERNELS)
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2");
    EXPECT_EQ(MP3D_avx2_kernels() != nullptr, avx2);
    EXPECT_STREQ(chosen->name, avx2 ? "avx2" : "portable");
#else
    EXPECT_EQ(MP3D_avx2_kernels(), nullptr);
#endif
#if defined(MP3D_HAVE_ARMV6_KERNELS)
    EXPECT_STREQ(chosen->name, "armv6");
#else
    EXPECT_EQ(MP3D_armv6_kernels(), nullptr);
#endif
}

// The build's detection of the ARMv6 DSP instructions (which switches the
// ARMv6 set on by default) agrees with the compiler's own macros.
TEST(KernelSelect, BuildDetectsTheArmv6Instructions) {
#if defined(__arm__) && defined(__ARM_ARCH) && __ARM_ARCH >= 6 && defined(__ARM_FEATURE_DSP) && \
    (!defined(__thumb__) || defined(__thumb2__))
    const bool target_has_dsp = true;
#else
    const bool target_has_dsp = false;
#endif
#if defined(MP3D_DETECTED_ARMV6_DSP)
    const bool detected = true;
#else
    const bool detected = false;
#endif
    EXPECT_EQ(detected, target_has_dsp);
}
