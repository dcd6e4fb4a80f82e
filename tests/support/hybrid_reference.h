// Double-precision hybrid synthesis of ISO/IEC 11172-3 (alias reduction,
// windowed IMDCT, overlap-add), straight from the standard's formulas, for
// checking the fixed-point filterbank.
#ifndef MP3D_TESTS_SUPPORT_HYBRID_REFERENCE_H
#define MP3D_TESTS_SUPPORT_HYBRID_REFERENCE_H

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace mp3d_test {

// n words, the first `count` uniformly random in [-magnitude, magnitude], the rest zero.
inline std::vector<int32_t> random_words(std::mt19937 &rng, int n, int32_t magnitude, int count) {
    std::uniform_int_distribution<int32_t> dist(-magnitude, magnitude);
    std::vector<int32_t> v(n, 0);
    for (int i = 0; i < count; ++i) v[i] = dist(rng);
    return v;
}

// y[i] = sum_k X[k] cos(pi/(2n) (2i + 1 + n/2)(2k + 1)) for n/2 inputs taken
// every `stride` words.
inline std::vector<double> iso_imdct(const double *X, int n, int stride = 1) {
    std::vector<double> y(n, 0.0);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n / 2; ++k)
            y[i] += X[stride * k] * std::cos(M_PI / (2 * n) * (2 * i + 1 + n / 2) * (2 * k + 1));
    return y;
}

// Window of block type 0, 1 or 3 at i = 0..35; type 2: the short window, i = 0..11.
inline double iso_window(int block_type, int i) {
    auto sine = [](double n, int x) { return std::sin(M_PI / n * (x + 0.5)); };
    if (block_type == 2) return sine(12, i);
    if (block_type == 1 && i >= 18) return i < 24 ? 1.0 : i < 30 ? sine(12, i - 18) : 0.0;
    if (block_type == 3 && i < 18) return i < 6 ? 0.0 : i < 12 ? sine(12, i - 6) : 1.0;
    return sine(36, i);
}

// One channel across granules. Subbands below long_subbands use block type 0;
// butterflies at sb|sb+1 for sb < alias_limit. Returns the outputs times scale.
struct Reference_Hybrid {
    double overlap[32][18] = {};
    std::vector<double> granule(const int32_t *input, int block_type, int long_subbands,
                                int alias_limit, double scale) {
        static constexpr double c[8] = {-0.6,   -0.535, -0.33,   -0.185,
                                        -0.095, -0.041, -0.0142, -0.0037};  // Table B.9
        std::vector<double> x(input, input + 576), out(576);
        for (int sb = 0; sb < alias_limit; ++sb)
            for (int i = 0; i < 8; ++i) {
                const double cs = 1 / std::sqrt(1 + c[i] * c[i]), ca = c[i] * cs;
                const double lo = x[18 * sb + 17 - i], up = x[18 * sb + 18 + i];
                x[18 * sb + 17 - i] = lo * cs - up * ca;
                x[18 * sb + 18 + i] = up * cs + lo * ca;
            }
        for (int sb = 0; sb < 32; ++sb) {
            // The 36 windowed values; short input is interleaved (window w,
            // line k at w + 3 k).
            const int bt = sb < long_subbands ? 0 : block_type;
            const std::vector<double> y = iso_imdct(&x[18 * sb], 36);
            double z[36] = {};
            for (int i = 0; i < 36 && bt != 2; ++i) z[i] = y[i] * iso_window(bt, i);
            for (int w = 0; w < 3 && bt == 2; ++w) {
                const std::vector<double> s = iso_imdct(&x[18 * sb + w], 12, 3);
                for (int i = 0; i < 12; ++i) z[6 + 6 * w + i] += s[i] * iso_window(2, i);
            }
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
