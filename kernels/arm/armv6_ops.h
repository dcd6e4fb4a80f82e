// The ARMv6 multiply and saturate instructions that the decoder's fixed-point
// arithmetic was designed around, as small inline functions, and the ARMv6
// arithmetic record built on them (Armv6_Ops, the shape of Portable_Ops in
// kernels/portable_ops.h). Each instruction gives exactly the result of its
// portable counterpart in kernels/fixed_point.h (ARM Architecture Reference
// Manual, ARMv6 media and DSP instructions):
//
//   smulwb(a, w)         = mul_w16(a, low half of w)             SMULWB
//   smulwt(a, w)         = mul_w16(a, high half of w)            SMULWT
//   smlawb(acc, a, w)    = acc + mul_w16(a, low half of w)       SMLAWB
//   smlawt(acc, a, w)    = acc + mul_w16(a, high half of w)      SMLAWT
//   smmulr(a, b)         = mulhi_round(a, b)                      SMMULR
//   smmul(a, b)          = (a * b) >> 32, the upper word          SMMUL
//   smmlar(acc, a, b)    = mulhi_round_add(acc, a, b)             SMMLAR
//   smmlsr(acc, a, b)    = mulhi_round_sub(acc, a, b)             SMMLSR
//   ssat24_asr3(a)       = saturate24(a >> 3)                     SSAT #24, ASR #3
//   ssat16_asr11(a)      = saturate16(a >> 11)                    SSAT #16, ASR #11
//   ldrd_advance(p)      = p[0], p[1]; p += 2 (p 8-byte aligned)  LDRD post-indexed
//
// SMLAW adds the upper 32 bits of the 48-bit product to the accumulator
// modulo 2^32 (an overflow only sets the sticky Q flag, which nothing
// reads). SMMLAR and SMMLSR form acc * 2^32 +/- a * b + 2^31 in 64 bits and
// keep the upper word, which is the wrapping sum of acc and the rounded upper
// word of the product.
//
// Available where the target has the ARMv6 media instructions and the DSP
// extension, in ARM or Thumb-2 code (MP3D_HAVE_ARMV6_KERNELS, set by CMake).
#ifndef MP3D_KERNELS_ARM_ARMV6_OPS_H
#define MP3D_KERNELS_ARM_ARMV6_OPS_H

#include <cstdint>

#include "kernels/fixed_point.h"
#include "kernels/portable_ops.h"

#if defined(MP3D_HAVE_ARMV6_KERNELS)

namespace mp3d::armv6 {

inline int32_t smulwb(int32_t a, int32_t w) {
    int32_t r;
    __asm__("smulwb %0, %1, %2" : "=r"(r) : "r"(a), "r"(w));
    return r;
}

inline int32_t smulwt(int32_t a, int32_t w) {
    int32_t r;
    __asm__("smulwt %0, %1, %2" : "=r"(r) : "r"(a), "r"(w));
    return r;
}

inline int32_t smlawb(int32_t acc, int32_t a, int32_t w) {
    int32_t r;
    __asm__("smlawb %0, %1, %2, %3" : "=r"(r) : "r"(a), "r"(w), "r"(acc));
    return r;
}

inline int32_t smlawt(int32_t acc, int32_t a, int32_t w) {
    int32_t r;
    __asm__("smlawt %0, %1, %2, %3" : "=r"(r) : "r"(a), "r"(w), "r"(acc));
    return r;
}

inline int32_t smmulr(int32_t a, int32_t b) {
    int32_t r;
    __asm__("smmulr %0, %1, %2" : "=r"(r) : "r"(a), "r"(b));
    return r;
}

inline int32_t smmul(int32_t a, int32_t b) {
    int32_t r;
    __asm__("smmul %0, %1, %2" : "=r"(r) : "r"(a), "r"(b));
    return r;
}

inline int32_t smmlar(int32_t acc, int32_t a, int32_t b) {
    int32_t r;
    __asm__("smmlar %0, %1, %2, %3" : "=r"(r) : "r"(a), "r"(b), "r"(acc));
    return r;
}

inline int32_t smmlsr(int32_t acc, int32_t a, int32_t b) {
    int32_t r;
    __asm__("smmlsr %0, %1, %2, %3" : "=r"(r) : "r"(a), "r"(b), "r"(acc));
    return r;
}

inline int32_t ssat24_asr3(int32_t a) {
    int32_t r;
    __asm__("ssat %0, #24, %1, asr #3" : "=r"(r) : "r"(a));
    return r;
}

inline int32_t ssat16_asr11(int32_t a) {
    int32_t r;
    __asm__("ssat %0, #16, %1, asr #11" : "=r"(r) : "r"(a));
    return r;
}

// The two words at p in one load (a register pair: low word p[0]), then p
// advanced past them. The memory operand tells the compiler what is read.
inline uint64_t ldrd_advance(const int32_t *&p) {
    uint64_t v;
    __asm__("ldrd %Q0, %R0, [%1], #8"
            : "=r"(v), "+r"(p)
            : "m"(*reinterpret_cast<const int32_t(*)[2]>(p)));
    return v;
}

}  // namespace mp3d::armv6

namespace mp3d {

// The arithmetic record of the ARMv6 kernels: every product on one
// instruction, the pair-word products on the halves as stored (no unpacking),
// the clamp on SSAT. Sums, differences and shifts are the portable record's:
// they are single instructions already.
struct Armv6_Ops : Portable_Ops {
    static Lane mulhi_round(Lane a, int32_t c) { return armv6::smmulr(a, c); }
    static Lane mulhi_round_add(Lane acc, Lane a, int32_t c) { return armv6::smmlar(acc, a, c); }
    static Lane mulhi_round_sub(Lane acc, Lane a, int32_t c) { return armv6::smmlsr(acc, a, c); }

    static Lane mulw_high(Lane a, int32_t w) { return armv6::smulwt(a, w); }
    static Lane mulw_low(Lane a, int32_t w) { return armv6::smulwb(a, w); }
    static Lane mulw_high_add(Lane acc, Lane a, int32_t w) { return armv6::smlawt(acc, a, w); }
    static Lane mulw_low_add(Lane acc, Lane a, int32_t w) { return armv6::smlawb(acc, a, w); }

    static void load_pair(const int32_t *&p, int32_t &a, int32_t &b) {
        const uint64_t v = armv6::ldrd_advance(p);
        a = static_cast<int32_t>(static_cast<uint32_t>(v));
        b = static_cast<int32_t>(static_cast<uint32_t>(v >> 32));
    }

    static Lane pcm24(Lane acc) { return armv6::ssat24_asr3(acc); }
    static Lane pcm16(Lane acc) { return armv6::ssat16_asr11(acc); }
};

}  // namespace mp3d

#endif  // MP3D_HAVE_ARMV6_KERNELS

#endif  // MP3D_KERNELS_ARM_ARMV6_OPS_H
