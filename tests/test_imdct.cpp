// IMDCT, windowing and overlap kernels against the formulas of
// ISO/IEC 11172-3 evaluated in double precision.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "decoder/tables/imdct_tables.h"
#include "kernels/imdct_winola.h"
#include "support/hybrid_reference.h"

using namespace mp3d;
using mp3d_test::iso_imdct;
using mp3d_test::iso_long_window;
using mp3d_test::iso_short_window;
using mp3d_test::kPi;

namespace {

constexpr double kQ31 = 2147483648.0;

// Rounding error bounds of the folded transforms. The running sums of the
// 36-point recombination and the quadruplings after the Q31 products carry
// the rounding of every product into the result, so random full inputs stay
// within about 80 units of the exact value (28 for the 12-point transform),
// whatever their magnitude; a wrong coefficient instead gives an error in
// proportion to the input.
constexpr double kLongTolerance = 100.0;
constexpr double kShortTolerance = 40.0;

std::vector<int32_t> random_words(std::mt19937 &rng, int count, int32_t magnitude) {
    std::uniform_int_distribution<int32_t> dist(-magnitude, magnitude);
    std::vector<int32_t> v(count);
    for (auto &w : v) w = dist(rng);
    return v;
}

// Transforms one long subband with the root2 table; returns the 18 outputs,
// leaves the new overlap in ovl.
std::array<int32_t, 18> long_block(std::vector<int32_t> x, std::array<int32_t, 9> &ovl,
                                   uint32_t block_type, uint32_t prev_block_type) {
    std::array<int32_t, 18> out{};
    imdct_lee_36(x.data(), out.data(), coef_cos_long_root2_interleaved, idctlee_III_coeff, 0,
                 ovl.data(), block_type, prev_block_type, Cs_Ca_tbl_lf, imdct_win_lf);
    return out;
}

}  // namespace

TEST(Imdct, Dct9MatchesCosineSum) {
    std::mt19937 rng(9);
    double worst = 0;
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<int32_t> a = random_words(rng, 9, 1 << 26);
        std::vector<int32_t> o = a;
        idct_III_lee_9(o.data(), idctlee_III_coeff);
        for (int k = 0; k < 9; ++k) {
            double ref = 0;
            for (int n = 0; n < 9; ++n) ref += a[n] * std::cos(kPi * k * (2 * n + 1) / 18);
            if (k > 0) ref *= 2;
            worst = std::max(worst, std::fabs(o[k] - ref));
        }
    }
    EXPECT_LT(worst, 8.0);
}

TEST(Imdct, Long36SingleInputMatchesFormula) {
    // X[k] = 2^20 alone: the overlap holds y[18 + j] / 2 and a normal block
    // without previous overlap outputs y[i] w[i] / 4.
    for (int k = 0; k < 18; ++k) {
        std::vector<int32_t> x(18, 0);
        x[k] = 1 << 20;
        std::array<int32_t, 9> ovl{};
        const std::array<int32_t, 18> out = long_block(x, ovl, 0, 0);
        for (int j = 0; j < 9; ++j)
            EXPECT_NEAR(ovl[j], 524288.0 * std::cos(kPi / 72 * (2 * j + 55) * (2 * k + 1)), 32.0)
                << "k=" << k << " j=" << j;
        for (int i = 0; i < 18; ++i) {
            const double y = 1048576.0 * std::cos(kPi / 72 * (2 * i + 19) * (2 * k + 1));
            EXPECT_NEAR(out[i], y * iso_long_window(0, i) / 4, 32.0) << "k=" << k << " i=" << i;
        }
    }
}

TEST(Imdct, Long36WindowsAndOverlapMatchFormula) {
    // Random inputs and overlap, every pair of current (0, 1, 3) and
    // previous (0..3) block types; plain tables a further 1/sqrt(2) down.
    std::mt19937 rng(36);
    double worst = 0;
    for (int trial = 0; trial < 50; ++trial) {
        for (uint32_t bt : {0u, 1u, 3u}) {
            for (uint32_t prev = 0; prev < 4; ++prev) {
                for (int plain = 0; plain < 2; ++plain) {
                    std::vector<int32_t> x = random_words(rng, 18, 1 << 26);
                    std::vector<int32_t> o = random_words(rng, 9, 1 << 27);
                    std::array<int32_t, 9> ovl;
                    std::copy(o.begin(), o.end(), ovl.begin());
                    std::array<int32_t, 18> out{};
                    std::vector<int32_t> xin = x;
                    imdct_lee_36(
                        xin.data(), out.data(),
                        plain ? coef_cos_long_interleaved : coef_cos_long_root2_interleaved,
                        idctlee_III_coeff, 0, ovl.data(), bt, prev, Cs_Ca_tbl_lf, imdct_win_lf);
                    const double scale = plain ? 1 / std::sqrt(2.0) : 1.0;
                    const std::vector<double> y =
                        iso_imdct(std::vector<double>(x.begin(), x.end()), 36);
                    for (int i = 0; i < 18; ++i) {
                        // The previous block's second half: y_prev[18 + j] =
                        // y_prev[35 - j] = 2 ovl[j].
                        const double prev_y = 2.0 * o[i < 9 ? i : 17 - i];
                        const double ref =
                            y[i] * iso_long_window(bt, i) * scale / 4 +
                            prev_y * iso_long_window(prev == 2 ? 1 : prev, 18 + i) / 4;
                        worst = std::max(worst, std::fabs(out[i] - ref));
                    }
                    for (int j = 0; j < 9; ++j)
                        worst = std::max(worst, std::fabs(ovl[j] - y[18 + j] * scale / 2));
                }
            }
        }
    }
    EXPECT_LT(worst, kLongTolerance);
}

TEST(Imdct, Long36ZeroInput) {
    std::vector<int32_t> x(18, 0);
    std::array<int32_t, 9> ovl{};
    std::array<int32_t, 18> out = long_block(x, ovl, 0, 0);
    for (int32_t v : out) EXPECT_EQ(v, 0);
    for (int32_t v : ovl) EXPECT_EQ(v, 0);

    // With an overlap, zero input gives exactly the overlap flush.
    std::mt19937 rng(1);
    for (uint32_t prev = 0; prev < 4; ++prev) {
        std::vector<int32_t> o = random_words(rng, 9, 1 << 30);
        std::array<int32_t, 9> ovl_a, ovl_b;
        std::copy(o.begin(), o.end(), ovl_a.begin());
        ovl_b = ovl_a;
        out = long_block(x, ovl_a, 0, prev);
        std::array<int32_t, 18> flushed{};
        window_overlap(flushed.data(), ovl_b.data(), prev, imdct_win_lf);
        EXPECT_EQ(out, flushed) << "prev=" << prev;
        for (int j = 0; j < 9; ++j) {
            EXPECT_EQ(ovl_a[j], 0);
            EXPECT_EQ(ovl_b[j], 0);
        }
    }
}

TEST(Imdct, AliasButterfliesMatchRealArithmetic) {
    // In-place butterflies on x[10..25] with a separate output buffer, so
    // the rewritten inputs stay visible.
    std::mt19937 rng(8);
    for (int trial = 0; trial < 100; ++trial) {
        std::vector<int32_t> x = random_words(rng, 36, 1 << 28);
        std::vector<int32_t> before = x;
        std::array<int32_t, 9> ovl{};
        std::array<int32_t, 18> out{};
        imdct_lee_36(x.data(), out.data(), coef_cos_long_root2_interleaved, idctlee_III_coeff, 1,
                     ovl.data(), 0, 0, Cs_Ca_tbl_lf, imdct_win_lf);
        for (int i = 0; i < 8; ++i) {
            const double c = mp3d_test::kAliasC[i];
            const double cs = 1 / std::sqrt(1 + c * c), ca = c * cs;
            const double lo = before[17 - i], up = before[18 + i];
            // The stored pairs carry 25 to 26 significant bits.
            const double tol = 3.0 + (std::fabs(lo) + std::fabs(up)) * 64 / kQ31;
            EXPECT_NEAR(x[17 - i], lo * cs - up * ca, tol);
            EXPECT_NEAR(x[18 + i], up * cs + lo * ca, tol);
        }
        for (int i = 0; i < 10; ++i) EXPECT_EQ(x[i], before[i]);
        for (int i = 26; i < 36; ++i) EXPECT_EQ(x[i], before[i]);
    }
}

TEST(Imdct, Short12MatchesFormula) {
    std::mt19937 rng(12);
    double worst = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const bool single = trial < 6;
        std::vector<int32_t> x(18, 0);
        if (single) {
            x[3 * trial] = 1 << 20;
        } else {
            x = random_words(rng, 18, 1 << 27);
        }
        for (int plain = 0; plain < 2; ++plain) {
            std::array<int32_t, 6> s{};
            imdct_lee_12(x.data(), s.data(),
                         plain ? coef_cos_short_interleaved : coef_cos_short_root2_interleaved);
            std::vector<double> X(6);
            for (int k = 0; k < 6; ++k) X[k] = x[3 * k];
            const std::vector<double> y = iso_imdct(X, 12);
            const double scale = plain ? 1 / std::sqrt(2.0) : 1.0;
            for (int m = 0; m < 3; ++m) {
                worst = std::max(worst, std::fabs(s[m] - y[m] * scale / 2));
                worst = std::max(worst, std::fabs(s[3 + m] - y[6 + m] * scale / 2));
            }
        }
    }
    EXPECT_LT(worst, kShortTolerance);
}

TEST(Imdct, ShortBlockWindowingMatchesFormula) {
    // Three windows through imdct_lee_12 and window_convert, then a second
    // window_convert with zero input to read out the overlap: one quarter of
    // the standard 36-point short block.
    std::mt19937 rng(3);
    double worst = 0;
    for (int trial = 0; trial < 100; ++trial) {
        std::vector<int32_t> x = random_words(rng, 18, 1 << 27);
        std::array<int32_t, 18> s{};
        for (int w = 0; w < 3; ++w)
            imdct_lee_12(x.data() + w, s.data() + 6 * w, coef_cos_short_root2_interleaved);
        std::array<int32_t, 9> ovl{};
        std::array<int32_t, 18> first{}, second{};
        window_convert(s.data(), first.data(), ovl.data(), 2, 0, imdct_win_lf);
        const std::array<int32_t, 18> zeros{};
        window_convert(zeros.data(), second.data(), ovl.data(), 2, 2, imdct_win_lf);
        for (int32_t v : ovl) EXPECT_EQ(v, 0);

        std::vector<double> xd(x.begin(), x.end());
        const std::array<double, 36> z = mp3d_test::iso_subband_block(xd.data(), 2);
        for (int i = 0; i < 18; ++i) {
            worst = std::max(worst, std::fabs(first[i] - z[i] / 4));
            worst = std::max(worst, std::fabs(second[i] - z[18 + i] / 4));
        }
    }
    EXPECT_LT(worst, kShortTolerance);
}

TEST(Imdct, WindowConvertZeroInputFlushesOverlap) {
    std::mt19937 rng(4);
    std::vector<int32_t> o = random_words(rng, 9, 1 << 30);
    std::array<int32_t, 9> ovl;
    std::copy(o.begin(), o.end(), ovl.begin());
    const std::array<int32_t, 18> s{};
    std::array<int32_t, 18> out{};
    // The block types do not matter: the overlap is always windowed as a
    // start or short block leaves it.
    window_convert(s.data(), out.data(), ovl.data(), 2, 0, imdct_win_lf);
    for (int j = 0; j < 6; ++j) EXPECT_EQ(out[j], o[j] >> 1);
    for (int m = 0; m < 3; ++m) {
        // o[6 + m] = y[6 + m] / 2 = y[11 - m] / 2 of the previous third window.
        EXPECT_NEAR(out[6 + m], o[6 + m] * iso_short_window(6 + m) / 2, 1.0);
        EXPECT_NEAR(out[11 - m], o[6 + m] * iso_short_window(11 - m) / 2, 1.0);
    }
    for (int j = 12; j < 18; ++j) EXPECT_EQ(out[j], 0);
    for (int32_t v : ovl) EXPECT_EQ(v, 0);
}

TEST(Imdct, WindowRowsFollowTheStandardWindows) {
    // Rows 0, 1, 3: the standard windows, negated at the mirrored positions
    // 9..17. Row 2: the short window in 0..11 (3..5 negated), zero in
    // 12..17, and the start window's second half.
    for (int r = 0; r < 4; ++r) {
        for (int i = 0; i < 36; ++i) {
            double w;
            if (r == 2) {
                w = i < 12 ? iso_short_window(i) * ((i >= 3 && i <= 5) ? -1 : 1)
                           : (i < 18 ? 0.0 : iso_long_window(1, i));
            } else {
                w = iso_long_window(r, i) * ((i >= 9 && i <= 17) ? -1 : 1);
            }
            EXPECT_NEAR(imdct_win_lf[r][i] / kQ31, w, 1.01 / kQ31) << "row " << r << " i " << i;
        }
    }
    EXPECT_EQ(imdct_win_lf[1][18], 0x7FFFFFFF);
    EXPECT_EQ(imdct_win_lf[3][12], static_cast<int32_t>(0x80000001));
    for (int i = 18; i < 36; ++i) EXPECT_EQ(imdct_win_lf[1][i], imdct_win_lf[2][i]);
}
