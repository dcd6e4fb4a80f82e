// The AVX2 arithmetic record applied for the record tests; compiled with
// -mavx2 where the build has the AVX2 kernels, empty of vector code otherwise.
#include "support/arithmetic_record_probe.h"

#if defined(MP3D_HAVE_X86_KERNELS)
#include "kernels/x86/avx2_ops.h"
#endif

namespace mp3d::test {

bool apply_avx2_record(const int32_t *a, const int32_t *acc, int32_t c, int32_t (*out)[8]) {
#if defined(MP3D_HAVE_X86_KERNELS)
    Avx2_Ops::Lane results[kRecordResults];
    apply_record<Avx2_Ops>(avx2::load8(a), avx2::load8(acc), c, results);
    for (int i = 0; i < kRecordResults; ++i) avx2::store8(out[i], results[i]);
    return true;
#else
    (void)a, (void)acc, (void)c, (void)out;
    return false;
#endif
}

}  // namespace mp3d::test
