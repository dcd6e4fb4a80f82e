// Whole Layer III streams through the public API: the conformance streams
// against their reference PCM (16-bit output, ISO/IEC 11172-4 limited
// accuracy at least), the committed LAME fixtures against libmpg123's float
// decoding, and the independence of the output from the input block size.
#include <gtest/gtest.h>

#include <cctype>

#include "harness/mpg123_reference.h"
#include "support/accuracy.h"

using mp3d_tools::Verdict;

namespace {

std::string test_name(std::string s) {
    for (char &c : s)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return s;
}

bool compliant(Verdict v) {
    return v == Verdict::Full || v == Verdict::Limited;
}

std::string describe(const mp3d_test::Measurement &m) {
    const auto &c = m.comparison;
    char text[256];
    std::snprintf(text, sizeof text,
                  "RMS %.3f LSB16, max %.3f LSB16 at sample %zu, %zu of %zu samples compared "
                  "(reference %zu), offset %ld frames: %s",
                  c.rms_lsb16(), c.max_lsb16(), c.max_index, c.compared, c.test_samples,
                  c.reference_samples, c.offset_frames, mp3d_tools::verdict_name(c.verdict));
    return text;
}

// Conformance streams (one test each); a single placeholder when the shared
// data is absent, which skips.
std::vector<std::string> conformance_params() {
    std::vector<std::string> names = mp3d_test::layer3_conformance_names();
    if (names.empty()) names.push_back("");
    return names;
}

std::vector<std::string> fixture_params() {
    std::vector<std::string> files;
    for (const auto &f : mp3d_test::layer3_fixtures()) files.push_back(f.file);
    if (files.empty()) files.push_back("");
    return files;
}

}  // namespace

class Layer3Conformance : public ::testing::TestWithParam<std::string> {};

TEST_P(Layer3Conformance, LimitedAccuracyAgainstReference) {
    if (GetParam().empty())
        GTEST_SKIP() << "no conformance streams in " << mp3d_test::conformance_dir();
    const std::string base = mp3d_test::conformance_dir() + "/" + GetParam();
    const auto m = mp3d_test::measure_against_pcm(base + ".bit", base + ".pcm", false);
    ASSERT_TRUE(m.error.empty()) << m.error;
    const auto &c = m.comparison;
    EXPECT_TRUE(compliant(c.verdict)) << describe(m);
    // The decoder covers the reference except frames it cannot decode
    // (a free-format stream's measured first frame, main data missing
    // right after it).
    EXPECT_GE(c.compared * 10, c.reference_samples * 9) << describe(m);
    RecordProperty("accuracy", describe(m));
}

INSTANTIATE_TEST_SUITE_P(Streams, Layer3Conformance, ::testing::ValuesIn(conformance_params()),
                         [](const auto &info) {
                             return info.param.empty() ? std::string("absent")
                                                       : test_name(info.param);
                         });

class Layer3Fixture : public ::testing::TestWithParam<std::string> {
  protected:
    const mp3d_test::Fixture *fixture() {
        for (const auto &f : fixtures_)
            if (f.file == GetParam()) return &f;
        return nullptr;
    }
    std::vector<mp3d_test::Fixture> fixtures_ = mp3d_test::layer3_fixtures();
};

TEST_P(Layer3Fixture, LimitedAccuracyAgainstMpg123) {
    const mp3d_test::Fixture *f = fixture();
    ASSERT_NE(f, nullptr) << "fixture list unreadable";
    if (!mp3d_tools::mpg123_available()) GTEST_SKIP() << "built without libmpg123";
    for (const bool no_shift : {false, true}) {
        SCOPED_TRACE(no_shift ? "24-bit output" : "16-bit output");
        const auto m = mp3d_test::measure_against_mpg123(f->path(), no_shift);
        ASSERT_TRUE(m.error.empty()) << m.error;
        EXPECT_TRUE(compliant(m.comparison.verdict)) << describe(m);
        // A free-format stream's first frame is measured, not decoded: the
        // output starts one frame behind the reference.
        const bool free_format = m.stats.first_info.bitrate_kbps == 0;
        const size_t skipped =
            free_format ? static_cast<size_t>(m.stats.first_info.samples_per_frame) *
                              m.stats.first_info.num_channels
                        : 0;
        EXPECT_EQ(m.comparison.offset_frames, free_format ? 1 : 0) << describe(m);
        EXPECT_EQ(m.comparison.compared + skipped, m.comparison.reference_samples)
            << describe(m);
        // The frames report what the fixture was made with.
        EXPECT_EQ(m.stats.first_info.layer, 3);
        EXPECT_EQ(m.stats.first_info.sample_rate, f->sample_rate);
        EXPECT_EQ(m.stats.first_info.num_channels, f->channels());
        EXPECT_EQ(m.stats.first_info.samples_per_frame, f->version == "1" ? 1152 : 576);
        EXPECT_EQ(m.stats.codes.count(MP3D_ERROR_HUFFMAN), 0u);
        EXPECT_EQ(m.stats.codes.count(MP3D_ERROR_FRAME_END), 0u);
    }
}

TEST_P(Layer3Fixture, OutputDoesNotDependOnInputBlockSize) {
    const mp3d_test::Fixture *f = fixture();
    ASSERT_NE(f, nullptr) << "fixture list unreadable";
    std::vector<uint8_t> data;
    std::string error;
    ASSERT_TRUE(mp3d_tools::read_file(f->path(), data, &error)) << error;
    mp3d_tools::DecodeOptions options;
    options.pcm_no_shift = true;
    const auto whole = mp3d_tools::decode_buffer(data, options);
    ASSERT_GT(whole.words.size(), 0u);
    for (const size_t block : {1u, 5u, 418u, 4096u}) {
        options.block_size = block;
        const auto pieces = mp3d_tools::decode_buffer(data, options);
        EXPECT_EQ(pieces.stats.codes, whole.stats.codes) << "block " << block;
        EXPECT_TRUE(pieces.words == whole.words) << "block " << block;
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Layer3Fixture, ::testing::ValuesIn(fixture_params()),
                         [](const auto &info) {
                             return info.param.empty() ? std::string("absent")
                                                       : test_name(info.param);
                         });
