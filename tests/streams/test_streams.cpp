// Whole Layer II and Layer III streams through the public API: every
// conformance stream against its reference PCM (16-bit output, ISO/IEC
// 11172-4 limited accuracy at least), every committed fixture against
// libmpg123's float decoding (16- and 24-bit output), and the independence of
// a fixture's output from the input block size; the rounded 16-bit output
// that the tool writes against libmpg123's 16-bit output and the references.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/mpg123_reference.h"
#include "support/fixtures.h"

namespace fs = std::filesystem;
using namespace mp3d_tools;

namespace {

const std::string kConformanceDir = mp3d_test::shared_path("conformance");

// The streams in `dir` with the extension, sorted.
std::vector<std::string> streams_in(const std::string &dir, const std::string &extension) {
    std::vector<std::string> paths;
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(dir, ec)) {
        const fs::path p = entry.path();
        // Layer I is refused, so its conformance stream has nothing to compare.
        if (p.extension() == extension && p.stem().string().rfind("l1-", 0) != 0)
            paths.push_back(p.string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// One test per stream; a single empty entry, which skips, when the shared
// data is absent.
std::vector<std::string> conformance_streams() {
    std::vector<std::string> paths = streams_in(kConformanceDir, ".bit");
    if (paths.empty()) paths.push_back("");
    return paths;
}

std::vector<std::string> fixtures() {
    return mp3d_test::fixture_streams();
}

// The free-format Layer II fixtures (free_*.mp2).
std::vector<std::string> free_layer2_fixtures() {
    std::vector<std::string> paths;
    for (const auto &p : mp3d_test::fixture_streams())
        if (fs::path(p).stem().string().rfind("free_", 0) == 0) paths.push_back(p);
    return paths;
}

std::string test_name(const testing::TestParamInfo<std::string> &info) {
    std::string s = info.param.empty() ? "absent" : fs::path(info.param).stem().string();
    for (char &c : s)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return s;
}

std::vector<uint8_t> read_bytes(const std::string &path) {
    std::vector<uint8_t> data;
    std::string error;
    EXPECT_TRUE(read_file(path, data, &error)) << error;
    return data;
}

DecodedStream decode(const std::string &path, bool no_shift, size_t block_size = 65536) {
    std::vector<uint8_t> data;
    std::string error;
    EXPECT_TRUE(read_file(path, data, &error)) << error;
    DecodeOptions options;
    options.pcm_no_shift = no_shift;
    options.block_size = block_size;
    return decode_buffer(data, options);
}

Comparison compare(const DecodedStream &d, const std::vector<double> &reference, bool no_shift) {
    AlignmentSearch search;
    search.frame_samples = static_cast<size_t>(d.stats.first_info.samples_per_frame);
    search.channels = static_cast<size_t>(d.stats.first_info.num_channels);
    return compare_aligned(words_to_samples(d.words, no_shift), reference, search);
}

// The fixed-bitrate twin of an MPEG-1 Layer II free-format stream whose
// frames are as long as a bitrate of the table makes them: every header gets
// that bitrate's index. Empty when the stream is not such a stream.
std::vector<uint8_t> fixed_rate_twin(std::vector<uint8_t> s) {
    static const int kKbps[15] = {0,   32,  48,  56,  64,  80,  96, 112,
                                  128, 160, 192, 224, 256, 320, 384};
    static const int kRate[3] = {44100, 48000, 32000};
    if (s.size() < 4 || s[0] != 0xFF || (s[1] & 0xFE) != 0xFC || (s[2] & 0xF0) != 0) return {};
    const int rate = kRate[(s[2] >> 2) & 3];
    // The first frame's length: up to the next header of the same stream.
    size_t next = 4;
    while (next + 3 <= s.size() &&
           !(s[next] == s[0] && s[next + 1] == s[1] && (s[next + 2] & 0xFC) == (s[2] & 0xFC)))
        ++next;
    int index = 0;
    for (int i = 1; i < 15; ++i)
        if (144000 * kKbps[i] / rate + ((s[2] >> 1) & 1) == static_cast<int>(next)) index = i;
    if (index == 0) return {};
    const uint8_t b0 = s[0], b1 = s[1], b2 = s[2] & 0xFC;
    for (size_t at = 0; at + 3 <= s.size();) {
        if (s[at] != b0 || s[at + 1] != b1 || (s[at + 2] & 0xFC) != b2) return {};
        s[at + 2] = static_cast<uint8_t>(s[at + 2] | index << 4);
        at += static_cast<size_t>(144000 * kKbps[index] / rate + ((s[at + 2] >> 1) & 1));
    }
    return s;
}

bool compliant(const Comparison &c) {
    return c.verdict == Verdict::Full || c.verdict == Verdict::Limited;
}

std::string describe(const Comparison &c) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "RMS %.3f LSB16, max %.3f LSB16 at sample %zu, %zu of %zu samples compared "
                  "(reference %zu), offset %ld frames: %s",
                  c.rms_lsb16(), c.max_lsb16(), c.max_index, c.compared, c.test_samples,
                  c.reference_samples, c.offset_frames, verdict_name(c.verdict));
    return text;
}

}  // namespace

class Conformance : public testing::TestWithParam<std::string> {};

TEST_P(Conformance, LimitedAccuracyAgainstReference) {
    if (GetParam().empty()) GTEST_SKIP() << "no conformance streams in " << kConformanceDir;
    std::vector<double> reference;
    std::string error;
    const std::string pcm = fs::path(GetParam()).replace_extension(".pcm").string();
    ASSERT_TRUE(read_s16le_file(pcm, reference, &error)) << error;
    const DecodedStream d = decode(GetParam(), false);
    ASSERT_GT(d.stats.output_calls, 0u);
    const Comparison c = compare(d, reference, false);
    EXPECT_TRUE(compliant(c)) << describe(c);
    if (d.stats.first_info.layer == 2) {
        // Layer II frames carry everything they need: every frame decodes and
        // all of the output meets the reference (which runs on past the end).
        EXPECT_EQ(d.stats.codes.count(MP3D_OK) + d.stats.codes.count(MP3D_END_OF_STREAM),
                  d.stats.codes.size());
        EXPECT_EQ(c.offset_frames, 0) << describe(c);
        EXPECT_EQ(c.compared, c.test_samples) << describe(c);
    } else {
        // The decoder covers the reference except frames it cannot decode (a
        // free-format stream's measured first frame, main data missing right
        // after it).
        EXPECT_GE(c.compared * 10, c.reference_samples * 9) << describe(c);
        // Layer III is held to more than the limited-accuracy RMS, which a
        // fault confined to a few granules in a long stream can stay under:
        // the 16-bit output is at most 1 off the reference's own rounding
        // anywhere, and the 24-bit output is within a third of a 16-bit step
        // RMS of the 16-bit reference.
        EXPECT_LE(c.max_lsb16(), 1.0) << describe(c);
        const Comparison c24 = compare(decode(GetParam(), true), reference, true);
        EXPECT_LE(c24.rms_lsb16(), 0.35) << "24-bit output: " << describe(c24);
    }
    RecordProperty("accuracy", describe(c));
}

INSTANTIATE_TEST_SUITE_P(Streams, Conformance, testing::ValuesIn(conformance_streams()), test_name);

class Fixture : public testing::TestWithParam<std::string> {};

TEST_P(Fixture, LimitedAccuracyAgainstMpg123) {
    if (!mpg123_available()) GTEST_SKIP() << "built without libmpg123";
    if (!fixed_rate_twin(read_bytes(GetParam())).empty())
        GTEST_SKIP() << "free-format Layer II: compared through its fixed-bitrate twin";
    FloatReference reference;
    std::string error;
    ASSERT_TRUE(mpg123_decode_file(GetParam(), reference, &error)) << error;
    for (const bool no_shift : {false, true}) {
        SCOPED_TRACE(no_shift ? "24-bit output" : "16-bit output");
        const DecodedStream d = decode(GetParam(), no_shift);
        const MP3D_Frame_Info &info = d.stats.first_info;
        EXPECT_EQ(info.sample_rate, reference.sample_rate);
        EXPECT_EQ(info.num_channels, reference.channels);
        EXPECT_EQ(d.stats.codes.count(MP3D_ERROR_HUFFMAN), 0u);
        EXPECT_EQ(d.stats.codes.count(MP3D_ERROR_FRAME_END), 0u);
        const Comparison c = compare(d, reference.samples, no_shift);
        EXPECT_TRUE(compliant(c)) << describe(c);
        // A free-format stream's first frame is measured, not decoded: the
        // output starts one frame behind the reference. Otherwise the output
        // and the reference have the same length.
        const bool free_format = info.bitrate_kbps == 0;
        const size_t skipped = free_format ? static_cast<size_t>(info.samples_per_frame) *
                                                 static_cast<size_t>(info.num_channels)
                                           : 0;
        EXPECT_EQ(c.offset_frames, free_format ? 1 : 0) << describe(c);
        EXPECT_EQ(c.compared, c.test_samples) << describe(c);
        EXPECT_EQ(c.compared + skipped, c.reference_samples) << describe(c);
    }
}

// A free-format Layer II stream against its fixed-bitrate twin: apart from
// the measured first frame, which is not decoded, and the next one, whose
// synthesis lacks that frame's history, the output is the same word for
// word, and it meets libmpg123's decoding of the twin at full accuracy.
// (libmpg123 decodes free-format Layer II at 32 and 44.1 kHz with another
// allocation table than the encoder used, so its decoding of the
// free-format stream itself is no reference there.)
class FreeFormatLayer2 : public testing::TestWithParam<std::string> {};

TEST_P(FreeFormatLayer2, MatchesItsFixedBitrateTwin) {
    std::vector<uint8_t> data;
    std::string error;
    ASSERT_TRUE(read_file(GetParam(), data, &error)) << error;
    const std::vector<uint8_t> twin = fixed_rate_twin(data);
    ASSERT_FALSE(twin.empty()) << "no fixed-bitrate twin";
    DecodeOptions options;
    options.pcm_no_shift = true;
    const DecodedStream free = decode_buffer(data, options), fixed = decode_buffer(twin, options);
    EXPECT_EQ(free.stats.first_info.bitrate_kbps, 0);
    EXPECT_EQ(free.stats.codes.size(), 2u) << "only 0 and the end";
    const size_t frame = words_per_call(free.stats.first_info);
    ASSERT_EQ(free.words.size() + frame, fixed.words.size());
    ASSERT_GT(free.words.size(), 2 * frame);
    EXPECT_TRUE(std::equal(free.words.begin() + long(frame), free.words.end(),
                           fixed.words.begin() + long(2 * frame)));

    if (!mpg123_available()) return;
    const std::string twin_path =
        testing::TempDir() + "/" + fs::path(GetParam()).filename().string();
    std::FILE *file = std::fopen(twin_path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fwrite(twin.data(), 1, twin.size(), file);
    std::fclose(file);
    FloatReference reference, direct;
    ASSERT_TRUE(mpg123_decode_file(twin_path, reference, &error)) << error;
    ASSERT_TRUE(mpg123_decode_file(GetParam(), direct, &error)) << error;
    std::remove(twin_path.c_str());
    // As many samples as libmpg123 makes of the free-format stream, less the
    // measured frame.
    EXPECT_EQ(free.words.size() + frame, direct.samples.size());
    const std::vector<double> test = words_to_samples(
        std::vector<int32_t>(free.words.begin() + long(frame), free.words.end()), true);
    const std::vector<double> want(reference.samples.begin() + long(2 * frame),
                                   reference.samples.end());
    const Comparison c = compare_at(test, want, 0);
    EXPECT_EQ(c.verdict, Verdict::Full) << describe(c);
    EXPECT_EQ(c.compared, want.size()) << describe(c);
}

INSTANTIATE_TEST_SUITE_P(Streams, FreeFormatLayer2, testing::ValuesIn(free_layer2_fixtures()),
                         test_name);

TEST_P(Fixture, OutputDoesNotDependOnInputBlockSize) {
    const DecodedStream whole = decode(GetParam(), true);
    ASSERT_GT(whole.words.size(), 0u);
    for (const size_t block : {1u, 5u, 418u}) {
        const DecodedStream pieces = decode(GetParam(), true, block);
        EXPECT_EQ(pieces.stats.codes, whole.stats.codes) << "block " << block;
        EXPECT_TRUE(pieces.words == whole.words) << "block " << block;
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Fixture, testing::ValuesIn(fixtures()), test_name);

namespace {

std::vector<std::string> all_streams() {
    std::vector<std::string> paths = fixtures();
    paths.push_back(mp3d_test::source_path("samples/sample.mp3"));
    for (const auto &p : streams_in(kConformanceDir, ".bit")) paths.push_back(p);
    return paths;
}

// The 24-bit output against a full-precision reference, and its rounding to
// 16 bits (what mp3d decode writes) against a 16-bit one at the same
// alignment.
struct Rounded {
    Comparison c24;
    Agreement16 a;
};

Rounded rounded_against(const std::string &path, const std::vector<double> &reference,
                        const std::vector<int16_t> &reference16) {
    const DecodedStream d = decode(path, true);
    Rounded r;
    r.c24 = compare(d, reference, true);
    const long frame_words = static_cast<long>(d.stats.first_info.samples_per_frame) *
                             static_cast<long>(d.stats.first_info.num_channels);
    r.a = agree16(round_to_16(d.words), reference16, r.c24.offset_frames * frame_words);
    return r;
}

std::string describe(const Agreement16 &a) {
    char text[200];
    std::snprintf(text, sizeof text,
                  "%.3f%% identical, %zu of %zu within 1 LSB, mean %+.4f LSB, RMS %.3f LSB, "
                  "max %d LSB at sample %zu",
                  100.0 * a.identical_share(), a.within_one, a.compared, a.mean, a.rms, a.max_abs,
                  a.max_index);
    return text;
}

}  // namespace

class Rounding : public testing::TestWithParam<std::string> {};

// Against libmpg123's 16-bit output: every sample within 1 LSB, no DC offset,
// and nearly all identical. The share identical is bounded by the 24-bit
// output's own error against libmpg123 (RMS about 6 units of 2^-23): a
// sample that close to a rounding boundary may round either way.
TEST_P(Rounding, SixteenBitOutputAgreesWithMpg123) {
    if (!mpg123_available()) GTEST_SKIP() << "built without libmpg123";
    FloatReference reference;
    std::vector<int16_t> reference16;
    std::string error;
    ASSERT_TRUE(mpg123_decode_file(GetParam(), reference, &error)) << error;
    ASSERT_TRUE(mpg123_decode_file_s16(GetParam(), reference16, &error)) << error;
    const Rounded r = rounded_against(GetParam(), reference.samples, reference16);
    if (r.c24.verdict != Verdict::Full)
        GTEST_SKIP() << "the 24-bit output itself differs from libmpg123's (" << describe(r.c24)
                     << "): the rounding cannot be judged against it";
    RecordProperty("agreement", describe(r.a));
    EXPECT_GE(r.a.compared * 10, reference16.size() * 9) << describe(r.a);
    EXPECT_LE(r.a.max_abs, 1) << describe(r.a);
    EXPECT_LT(std::fabs(r.a.mean), 0.01) << describe(r.a);
    EXPECT_GE(r.a.identical_share(), 0.975) << describe(r.a);
}

// Against the conformance references (16-bit, rounded): full accuracy
// wherever the 24-bit output lies within the references' own rounding.
class RoundingConformance : public testing::TestWithParam<std::string> {};

TEST_P(RoundingConformance, SixteenBitOutputFullAccuracyAgainstReference) {
    if (GetParam().empty()) GTEST_SKIP() << "no conformance streams in " << kConformanceDir;
    const fs::path pcm = fs::path(GetParam()).replace_extension(".pcm");
    std::vector<int16_t> reference16;
    std::string error;
    ASSERT_TRUE(read_s16le_words(pcm.string(), reference16, &error)) << error;
    const Rounded r = rounded_against(GetParam(), samples16_to_double(reference16), reference16);
    if (r.c24.max_lsb16() > 1.0)
        GTEST_SKIP() << "the 24-bit output is more than 1 LSB from the reference ("
                     << describe(r.c24) << ")";
    RecordProperty("agreement", describe(r.a));
    const Verdict v = iso_verdict(r.a.rms / 32768.0, r.a.max_abs / 32768.0, r.a.compared);
    EXPECT_EQ(v, Verdict::Full) << describe(r.a);
    EXPECT_LE(r.a.max_abs, 1) << describe(r.a);
}

INSTANTIATE_TEST_SUITE_P(Streams, Rounding, testing::ValuesIn(all_streams()), test_name);
INSTANTIATE_TEST_SUITE_P(Streams, RoundingConformance, testing::ValuesIn(conformance_streams()),
                         test_name);
