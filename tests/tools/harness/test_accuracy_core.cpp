// The accuracy measures behind the mp3d tool and the stream tests: the
// ISO/IEC 11172-4 verdict, comparison and alignment, and the rounding to 16
// bits. The output hash and WAV output are proven by the pinned checksums and
// the LAME round trip.
#include <gtest/gtest.h>

#include <cmath>

#include "harness/accuracy_core.h"

using namespace mp3d_tools;

namespace {

constexpr double kLsb = 1.0 / 32768.0;

// A deterministic pseudo-random signal in [-0.5, 0.5).
std::vector<double> signal(size_t n, uint32_t seed) {
    std::vector<double> s(n);
    for (auto &v : s)
        v = static_cast<double>((seed = seed * 1664525u + 1013904223u) >> 8) / 16777216.0 - 0.5;
    return s;
}

}  // namespace

TEST(AccuracyHarness, VerdictAtTheIso11172_4Thresholds) {
    // Full: RMS below 2^-15/sqrt(12) (0.2887 LSB16), no sample beyond 2^-14;
    // limited: RMS below 2^-11/sqrt(12) (4.6188 LSB16).
    const struct {
        double rms, max;
        size_t n;
        Verdict want;
    } cases[] = {{0.288, 2.0, 10, Verdict::Full},    {0.288, 2.001, 10, Verdict::Limited},
                 {0.289, 1.0, 10, Verdict::Limited}, {4.618, 100, 10, Verdict::Limited},
                 {4.619, 5, 10, Verdict::Neither},   {0, 0, 0, Verdict::NothingCompared}};
    for (const auto &c : cases)
        EXPECT_EQ(iso_verdict(c.rms * kLsb, c.max * kLsb, c.n), c.want) << c.rms << " " << c.max;
}

TEST(AccuracyHarness, RmsAndMaxOfKnownDifferences) {
    const std::vector<double> ref = signal(1000, 1);
    std::vector<double> test = ref;
    // Differences alternate 3 and 4 LSB, but one sample off by -7 LSB.
    for (size_t i = 0; i < test.size(); ++i) test[i] += (i == 617 ? -7 : i % 2 ? 4 : 3) * kLsb;
    const Comparison c = compare_at(test, ref, 0);
    EXPECT_NEAR(c.rms_lsb16(), std::sqrt((499 * 16 + 500 * 9 + 49) / 1000.0), 1e-9);
    EXPECT_NEAR(c.max_lsb16(), 7.0, 1e-9);
    EXPECT_EQ(c.max_index, 617u);
}

TEST(AccuracyHarness, AlignmentFindsSkippedFramesInEitherStream) {
    const size_t frame = 2304;  // 1152 samples x 2 channels, the default search
    const std::vector<double> ref = signal(20 * frame, 3);
    for (const long offset : {0L, 2L, -1L}) {  // frames missing from the test (+) or ref (-)
        SCOPED_TRACE(testing::Message() << "offset " << offset);
        const long skipped_ref = std::max(offset, 0L);
        std::vector<double> test = signal(static_cast<size_t>(-std::min(offset, 0L)) * frame, 4);
        test.insert(test.end(), ref.begin() + skipped_ref * frame, ref.end() - 3 * frame);
        const Comparison c = compare_aligned(test, ref, AlignmentSearch{});
        EXPECT_EQ(c.offset_frames, offset);
        EXPECT_EQ(c.offset_samples, offset * 1152);
        EXPECT_EQ(c.compared, static_cast<size_t>(17 - skipped_ref) * frame);
        EXPECT_EQ(c.verdict, Verdict::Full);
    }
    // Offsets outside the searched range (-2..8 frames) are not taken.
    const std::vector<double> late(ref.begin() + 9 * static_cast<long>(frame), ref.end());
    EXPECT_EQ(compare_aligned(late, ref, AlignmentSearch{}).verdict, Verdict::Neither);
}

TEST(AccuracyHarness, SixteenBitAgreementCountsSignedDifferencesOverTheOverlap) {
    const std::vector<int16_t> ref = {100, -100, 32767, -32768, 0, 5, 7, 9};
    // Test sample i meets reference sample i + 2: differences 0, +1, -1, 0,
    // +3, -1.
    const std::vector<int16_t> test = {32767, -32767, -1, 5, 10, 8, 1000};
    const Agreement16 a = agree16(test, ref, 2);
    EXPECT_EQ(a.compared, 6u);
    EXPECT_EQ(a.identical, 2u);
    EXPECT_EQ(a.within_one, 5u);
    EXPECT_DOUBLE_EQ(a.mean, 2.0 / 6.0);
    EXPECT_DOUBLE_EQ(a.rms, std::sqrt(12.0 / 6.0));
    EXPECT_EQ(a.max_abs, 3);
    EXPECT_EQ(a.max_index, 4u);
    // A negative offset skips test samples instead.
    const Agreement16 b = agree16(ref, test, -2);
    EXPECT_EQ(b.compared, 6u);
    EXPECT_DOUBLE_EQ(b.mean, -2.0 / 6.0);
    // No overlap: nothing compared.
    EXPECT_EQ(agree16(test, ref, 8).compared, 0u);
    EXPECT_EQ(agree16(test, ref, -7).compared, 0u);
}

TEST(AccuracyHarness, RoundingToSixteenBitsAsTheToolWrites) {
    // Halves round up, the rest to nearest, the ends saturate.
    const std::vector<int32_t> words = {0x7f, 0x80, -0x80, -0x81, 0x17f, 8388607, -8388608};
    const std::vector<int16_t> want = {0, 1, 0, -1, 1, 32767, -32768};
    EXPECT_EQ(round_to_16(words), want);
}
