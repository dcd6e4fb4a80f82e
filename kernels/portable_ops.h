// The arithmetic record of the portable kernels. The steps that every kernel
// set shares (the 9-point IDCT of the IMDCT, the 32-point DCT, the synthesis
// window) are templates over such a record, and each instruction set gives
// one of the same shape beside its kernels (kernels/arm/armv6_ops.h,
// kernels/x86/avx2_ops.h) whose every member gives, lane for lane, exactly
// the result of the member here.
//
// Lane is what one operation works on: one 32-bit word here and on ARMv6,
// eight of them in an AVX2 register. Coefficients are always single words,
// the same in every lane. Members:
//   add, sub, neg          wrapping sums
//   shl(a, n), asr(a, n)   wrapping left shift, arithmetic right shift (n < 32)
//   mulhi_round(a, c)      (a c + 2^31) >> 32
//   mulhi_round_add/_sub   acc plus the rounded upper word of +a c / -a c
//   mulw_high(a, w)        (a h) >> 16 with h the high half of pair word w
//   mulw_low(a, w)         (a h) >> 16 with h the low half of w
//   mulw_high_add/_low_add acc plus the same product
//   load_pair(p, a, b)     a = p[0], b = p[1] (p 8-byte aligned), p += 2
//   pcm24(acc)             saturate24(acc >> 3), a window sum as a sample
//   pcm16(acc)             saturate16(acc >> 11) = pcm24(acc) >> 8, the same
//                          sample as a 16-bit word (floor division by 2^8
//                          commutes with a clamp whose bounds it maps onto
//                          the 16-bit bounds)
#ifndef MP3D_KERNELS_PORTABLE_OPS_H
#define MP3D_KERNELS_PORTABLE_OPS_H

#include <cstdint>

#include "kernels/fixed_point.h"

namespace mp3d {

struct Portable_Ops {
    using Lane = int32_t;

    static Lane add(Lane a, Lane b) { return wrap_add(a, b); }
    static Lane sub(Lane a, Lane b) { return wrap_sub(a, b); }
    static Lane neg(Lane a) { return wrap_neg(a); }
    static Lane shl(Lane a, int n) { return wrap_shl(a, n); }
    static Lane asr(Lane a, int n) { return a >> n; }

    static Lane mulhi_round(Lane a, int32_t c) { return mp3d::mulhi_round(a, c); }
    static Lane mulhi_round_add(Lane acc, Lane a, int32_t c) {
        return mp3d::mulhi_round_add(acc, a, c);
    }
    static Lane mulhi_round_sub(Lane acc, Lane a, int32_t c) {
        return mp3d::mulhi_round_sub(acc, a, c);
    }

    static Lane mulw_high(Lane a, int32_t w) { return mul_w16(a, w >> 16); }
    static Lane mulw_low(Lane a, int32_t w) { return mul_w16(a, static_cast<int16_t>(w)); }
    static Lane mulw_high_add(Lane acc, Lane a, int32_t w) {
        return wrap_add(acc, mulw_high(a, w));
    }
    static Lane mulw_low_add(Lane acc, Lane a, int32_t w) { return wrap_add(acc, mulw_low(a, w)); }

    static void load_pair(const int32_t *&p, int32_t &a, int32_t &b) {
        a = p[0];
        b = p[1];
        p += 2;
    }

    static Lane pcm24(Lane acc) { return saturate24(acc >> 3); }
    static Lane pcm16(Lane acc) { return saturate16(acc >> 11); }
};

// Mul(a, c) = 2 mulhi_round(a, c) for a Q31 coefficient c, on any record.
template <class Ops>
inline typename Ops::Lane mul_q31(typename Ops::Lane a, int32_t c) {
    return Ops::shl(Ops::mulhi_round(a, c), 1);
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_PORTABLE_OPS_H
