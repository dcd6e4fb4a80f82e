// The 36-point IMDCT kernel with alias reduction, windowing and overlap-add
// against the formulas of ISO/IEC 11172-3 evaluated in double precision.
#include <gtest/gtest.h>

#include <algorithm>

#include "kernels/imdct_winola.h"
#include "support/hybrid_reference.h"
#include "tables/imdct_tables.h"

using namespace mp3d;
using namespace mp3d_test;

// The folded transform carries the rounding of every product through running
// sums and quadruplings: random full inputs stay within about 80 units of the
// exact value whatever their magnitude, while a wrong coefficient gives errors
// in proportion to the input. (The short-block kernels are checked through
// the hybrid filterbank against the same reference.)
TEST(Imdct, Long36MatchesFormula) {
    // Random input and overlap, block types 0, 1, 3 after 0..3, root2 and
    // plain tables (a further 1/sqrt(2) down).
    std::mt19937 rng(36);
    double worst = 0;
    for (int trial = 0; trial < 30; ++trial)
        for (uint32_t bt : {0u, 1u, 3u})
            for (uint32_t prev = 0; prev < 4; ++prev)
                for (int plain = 0; plain < 2; ++plain) {
                    std::vector<int32_t> x = random_words(rng, 18, 1 << 26, 18);
                    const std::vector<int32_t> o = random_words(rng, 9, 1 << 27, 9);
                    const std::vector<double> y =
                        iso_imdct(std::vector<double>(x.begin(), x.end()).data(), 36);
                    std::vector<int32_t> ovl = o;
                    std::vector<int32_t> out(18);
                    imdct_lee_36(
                        x.data(), out.data(),
                        plain ? coef_cos_long_interleaved : coef_cos_long_root2_interleaved,
                        idctlee_III_coeff, 0, ovl.data(), bt, prev, Cs_Ca_tbl_lf, imdct_win_lf);
                    const double scale = plain ? M_SQRT1_2 : 1.0;
                    for (int i = 0; i < 18; ++i) {
                        // The previous block's second half: y[18 + j] = y[35 - j] =
                        // 2 ovl[j], windowed as a start block after a short one.
                        const double prev_y = 2.0 * o[i < 9 ? i : 17 - i];
                        const double want = y[i] * iso_window(bt, i) * scale / 4 +
                                            prev_y * iso_window(prev == 2 ? 1 : prev, 18 + i) / 4;
                        worst = std::max(worst, std::fabs(out[i] - want));
                    }
                    for (int j = 0; j < 9; ++j)
                        worst = std::max(worst, std::fabs(ovl[j] - y[18 + j] * scale / 2));
                }
    EXPECT_LT(worst, 100.0);
}
