// Double-precision hybrid synthesis of ISO/IEC 11172-3 (alias reduction,
// windowed IMDCT, overlap-add), written straight from the standard's
// formulas, for checking the fixed-point filterbank.
#ifndef MP3D_TESTS_SUPPORT_HYBRID_REFERENCE_H
#define MP3D_TESTS_SUPPORT_HYBRID_REFERENCE_H

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace mp3d_test {

inline constexpr double kPi = 3.14159265358979323846;

// IMDCT of n/2 inputs: y[i] = sum_k X[k] cos(pi/(2n) (2i + 1 + n/2)(2k + 1)).
inline std::vector<double> iso_imdct(const std::vector<double> &X, int n) {
    std::vector<double> y(n, 0.0);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n / 2; ++k)
            y[i] += X[k] * std::cos(kPi / (2 * n) * (2 * i + 1 + n / 2) * (2 * k + 1));
    return y;
}

// Window of block type 0, 1 or 3 at position i = 0..35.
inline double iso_long_window(int block_type, int i) {
    const double lw = std::sin(kPi / 36 * (i + 0.5));
    switch (block_type) {
        case 1:
            if (i < 18) return lw;
            if (i < 24) return 1.0;
            if (i < 30) return std::sin(kPi / 12 * (i - 18 + 0.5));
            return 0.0;
        case 3:
            if (i < 6) return 0.0;
            if (i < 12) return std::sin(kPi / 12 * (i - 6 + 0.5));
            if (i < 18) return 1.0;
            return lw;
        default:
            return lw;
    }
}

inline double iso_short_window(int i) {
    return std::sin(kPi / 12 * (i + 0.5));
}

// Alias-reduction constants of ISO/IEC 11172-3 Table B.9.
inline constexpr double kAliasC[8] = {-0.6,   -0.535, -0.33,   -0.185,
                                      -0.095, -0.041, -0.0142, -0.0037};

// Windowed 36-point block (before overlap-add) of one subband.
inline std::array<double, 36> iso_subband_block(const double *x, int block_type) {
    std::array<double, 36> z{};
    if (block_type == 2) {
        for (int w = 0; w < 3; ++w) {
            std::vector<double> X(6);
            for (int k = 0; k < 6; ++k) X[k] = x[w + 3 * k];  // interleaved order
            const std::vector<double> y = iso_imdct(X, 12);
            for (int i = 0; i < 12; ++i) z[6 + 6 * w + i] += y[i] * iso_short_window(i);
        }
    } else {
        const std::vector<double> X(x, x + 18);
        const std::vector<double> y = iso_imdct(X, 36);
        for (int i = 0; i < 36; ++i) z[i] = y[i] * iso_long_window(block_type, i);
    }
    return z;
}

// One channel of the hybrid synthesis across granules. Short-block input is
// taken in the interleaved order of the reordering (window w, line k of
// subband sb at 18 sb + w + 3 k).
struct Reference_Hybrid {
    double overlap[32][18] = {};

    // Subbands below long_subbands (the long part of a mixed block) use the
    // long transform with block type 0, the others block_type; alias
    // boundaries sb|sb+1 for sb < alias_limit. Returns the 576 outputs times scale.
    std::vector<double> granule(const int32_t *input, int block_type, int long_subbands,
                                int alias_limit, double scale) {
        std::vector<double> x(input, input + 576);
        for (int sb = 0; sb < alias_limit; ++sb)
            for (int i = 0; i < 8; ++i) {
                const double cs = 1 / std::sqrt(1 + kAliasC[i] * kAliasC[i]);
                const double ca = kAliasC[i] * cs;
                const double lo = x[18 * sb + 17 - i], up = x[18 * sb + 18 + i];
                x[18 * sb + 17 - i] = lo * cs - up * ca;
                x[18 * sb + 18 + i] = up * cs + lo * ca;
            }
        std::vector<double> out(576);
        for (int sb = 0; sb < 32; ++sb) {
            const int bt = sb < long_subbands ? 0 : block_type;
            const std::array<double, 36> z = iso_subband_block(&x[18 * sb], bt);
            for (int i = 0; i < 18; ++i) {
                out[18 * sb + i] = (z[i] + overlap[sb][i]) * scale;
                overlap[sb][i] = z[18 + i];
            }
        }
        return out;
    }
};

}  // namespace mp3d_test

#endif
