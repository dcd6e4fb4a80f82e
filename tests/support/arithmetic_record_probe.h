// Every member of an arithmetic record (kernels/portable_ops.h) applied to
// one set of operands, so that the records of the instruction sets can be
// compared with the portable one result for result.
#ifndef MP3D_TESTS_SUPPORT_ARITHMETIC_RECORD_PROBE_H
#define MP3D_TESTS_SUPPORT_ARITHMETIC_RECORD_PROBE_H

#include <cstdint>
#include <random>
#include <vector>

#include "kernels/portable_ops.h"

namespace mp3d::test {

inline constexpr int kRecordResults = 17;
inline constexpr const char *kRecordMembers[kRecordResults] = {
    "add",      "sub",           "neg",          "shl 1",           "shl 2",           "shl 16",
    "asr 2",    "asr 3",         "mulhi_round",  "mulhi_round_add", "mulhi_round_sub", "mulw_high",
    "mulw_low", "mulw_high_add", "mulw_low_add", "pcm24",           "mul_q31"};

// out[i]: member i of R on lanes a and acc with the coefficient word c.
template <class R>
inline void apply_record(typename R::Lane a, typename R::Lane acc, int32_t c,
                         typename R::Lane *out) {
    out[0] = R::add(a, acc);
    out[1] = R::sub(a, acc);
    out[2] = R::neg(a);
    out[3] = R::shl(a, 1);
    out[4] = R::shl(a, 2);
    out[5] = R::shl(a, 16);
    out[6] = R::asr(a, 2);
    out[7] = R::asr(a, 3);
    out[8] = R::mulhi_round(a, c);
    out[9] = R::mulhi_round_add(acc, a, c);
    out[10] = R::mulhi_round_sub(acc, a, c);
    out[11] = R::mulw_high(a, c);
    out[12] = R::mulw_low(a, c);
    out[13] = R::mulw_high_add(acc, a, c);
    out[14] = R::mulw_low_add(acc, a, c);
    out[15] = R::pcm24(a);
    out[16] = mul_q31<R>(a, c);
}

// Extremes, the edges of the 16-bit halves and of the 24-bit range, and
// random words.
inline std::vector<int32_t> record_operands() {
    std::vector<int32_t> v = {INT32_MIN,  INT32_MIN + 1,
                              -65536,     -32769,
                              -32768,     -2,
                              -1,         0,
                              1,          2,
                              32767,      32768,
                              65535,      0x40000000,
                              0x7fff8000, 0x3ffffff8,
                              -0x4000000, INT32_MAX};
    std::mt19937 rng(3);
    for (int i = 0; i < 22; ++i) v.push_back(static_cast<int32_t>(rng()));
    return v;
}

// The AVX2 record on eight lanes (support/arithmetic_record_avx2.cpp,
// compiled with -mavx2): out[i][l] is member i on a[l], acc[l], c. Only to be
// called where the processor runs AVX2; false in builds without the AVX2
// kernels.
bool apply_avx2_record(const int32_t *a, const int32_t *acc, int32_t c, int32_t (*out)[8]);

}  // namespace mp3d::test

#endif  // MP3D_TESTS_SUPPORT_ARITHMETIC_RECORD_PROBE_H
