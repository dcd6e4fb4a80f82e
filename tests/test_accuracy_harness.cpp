// The accuracy harness and the tool's building blocks: the ISO/IEC 11172-4
// verdict, alignment, hashing, reference reading, WAV output and input
// feeding. These run without any decoding.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/stream_input.h"
#include "harness/wav_writer.h"
#include "support/accuracy.h"

using namespace mp3d_tools;
namespace fs = std::filesystem;

namespace {

constexpr double kLsb = 1.0 / 32768.0;

std::vector<uint8_t> file_bytes(const std::string &path) {
    std::vector<uint8_t> data;
    std::string error;
    EXPECT_TRUE(read_file(path, data, &error)) << error;
    return data;
}

std::string temp_path(const std::string &name) {
    return (fs::temp_directory_path() / ("mp3d_harness_" + std::to_string(::getpid()) + "_" + name))
        .string();
}

// A deterministic pseudo-random signal in [-0.5, 0.5).
std::vector<double> signal(size_t n, uint32_t seed) {
    std::vector<double> s(n);
    for (auto &v : s) {
        seed = seed * 1664525u + 1013904223u;
        v = static_cast<double>(seed >> 8) / 16777216.0 - 0.5;
    }
    return s;
}

}  // namespace

TEST(AccuracyHarness, VerdictThresholdsFollowIso11172_4) {
    // RMS limit of full accuracy is 2^-15/sqrt(12), about 0.2887 LSB16.
    EXPECT_NEAR(kFullAccuracyRms / kLsb, 1.0 / std::sqrt(12.0), 1e-12);
    EXPECT_NEAR(kFullAccuracyMax / kLsb, 2.0, 1e-12);
    EXPECT_NEAR(kLimitedAccuracyRms / kLsb, 16.0 / std::sqrt(12.0), 1e-12);

    EXPECT_EQ(iso_verdict(0.28 * kLsb, 2.0 * kLsb, 10), Verdict::Full);  // max 2^-14 is allowed
    EXPECT_EQ(iso_verdict(0.28 * kLsb, 2.001 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(0.29 * kLsb, 1.0 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(4.6 * kLsb, 100 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(4.62 * kLsb, 5 * kLsb, 10), Verdict::Neither);
    EXPECT_EQ(iso_verdict(0.0, 0.0, 0), Verdict::NothingCompared);
}

TEST(AccuracyHarness, RmsAndMaxOfKnownDifferences) {
    const std::vector<double> ref = signal(1000, 1);
    std::vector<double> test = ref;
    // Differences alternate 3 and 4 LSB: RMS sqrt(12.5), max 4; one sample
    // off by -7 LSB sets the max and its index.
    for (size_t i = 0; i < test.size(); ++i) test[i] += (i % 2 ? 4 : 3) * kLsb;
    Comparison c = compare_at(test, ref, 0);
    EXPECT_EQ(c.compared, 1000u);
    EXPECT_NEAR(c.rms_lsb16(), std::sqrt(12.5), 1e-9);
    EXPECT_NEAR(c.max_lsb16(), 4.0, 1e-9);
    EXPECT_EQ(c.verdict, Verdict::Limited);

    test = ref;
    test[617] -= 7 * kLsb;
    c = compare_at(test, ref, 0);
    EXPECT_NEAR(c.max_lsb16(), 7.0, 1e-9);
    EXPECT_EQ(c.max_index, 617u);
    EXPECT_NEAR(c.rms_lsb16(), 7.0 / std::sqrt(1000.0), 1e-9);
    EXPECT_EQ(c.verdict, Verdict::Limited);  // RMS tiny, but one sample beyond 2 LSB

    c = compare_at(ref, ref, 0);
    EXPECT_EQ(c.rms, 0.0);
    EXPECT_EQ(c.verdict, Verdict::Full);
}

TEST(AccuracyHarness, ComparesOnlyWhatTheDecoderProduced) {
    const std::vector<double> ref = signal(5000, 2);
    const std::vector<double> test(ref.begin(), ref.begin() + 3000);
    const Comparison c = compare_aligned(test, ref, AlignmentSearch{});
    EXPECT_EQ(c.compared, 3000u);
    EXPECT_EQ(c.test_samples, 3000u);
    EXPECT_EQ(c.reference_samples, 5000u);
    EXPECT_EQ(c.offset_frames, 0);
    EXPECT_EQ(c.verdict, Verdict::Full);
}

TEST(AccuracyHarness, AlignmentFindsSkippedFramesInEitherStream) {
    AlignmentSearch search;
    search.frame_samples = 1152;
    search.channels = 2;
    const size_t frame = 2304;
    const std::vector<double> ref = signal(20 * frame, 3);

    // The decoder did not output the reference's first two frames.
    std::vector<double> test(ref.begin() + 2 * frame, ref.end());
    Comparison c = compare_aligned(test, ref, search);
    EXPECT_EQ(c.offset_frames, 2);
    EXPECT_EQ(c.offset_samples, 2304);
    EXPECT_EQ(c.compared, test.size());
    EXPECT_EQ(c.rms, 0.0);

    // The decoder output a frame that the reference lacks.
    test = signal(frame, 4);
    test.insert(test.end(), ref.begin(), ref.end());
    c = compare_aligned(test, ref, search);
    EXPECT_EQ(c.offset_frames, -1);
    EXPECT_EQ(c.offset_samples, -1152);
    EXPECT_EQ(c.compared, ref.size());
    EXPECT_EQ(c.rms, 0.0);

    // Offsets outside the searched range are not taken.
    test.assign(ref.begin() + 9 * frame, ref.end());
    c = compare_aligned(test, ref, search);
    EXPECT_NE(c.offset_frames, 9);
    EXPECT_EQ(c.verdict, Verdict::Neither);
}

TEST(AccuracyHarness, Fnv1a64OverLittleEndianWords) {
    EXPECT_EQ(hash_hex(fnv1a64_words(nullptr, 0)), "cbf29ce484222325");
    const int32_t abcd = 0x64636261;  // bytes "abcd" in memory order
    EXPECT_EQ(hash_hex(fnv1a64_words(&abcd, 1)), "fc179f83ee0724dd");
    const int32_t words[2] = {-1, -8388608};
    EXPECT_EQ(hash_hex(fnv1a64_words(words, 2)), "4d0776864a5500ec");
    // Hashing in pieces equals hashing at once.
    EXPECT_EQ(fnv1a64_words(words + 1, 1, fnv1a64_words(words, 1)), fnv1a64_words(words, 2));
}

TEST(AccuracyHarness, ReadsSigned16BitLittleEndianReferences) {
    const std::string path = temp_path("ref.pcm");
    const unsigned char bytes[] = {0x00, 0x80, 0xff, 0x7f, 0xff, 0xff, 0x01, 0x00};
    std::FILE *f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fwrite(bytes, 1, sizeof bytes, f);
    std::fclose(f);
    std::vector<double> samples;
    std::string error;
    ASSERT_TRUE(read_s16le_file(path, samples, &error)) << error;
    ASSERT_EQ(samples.size(), 4u);
    EXPECT_EQ(samples[0], -1.0);
    EXPECT_EQ(samples[1], 32767.0 / 32768.0);
    EXPECT_EQ(samples[2], -1.0 / 32768.0);
    EXPECT_EQ(samples[3], 1.0 / 32768.0);

    f = std::fopen(path.c_str(), "ab");
    std::fputc(0, f);
    std::fclose(f);
    EXPECT_FALSE(read_s16le_file(path, samples, &error));  // odd length
    fs::remove(path);
    EXPECT_FALSE(read_s16le_file(path, samples, &error));  // missing
}

TEST(AccuracyHarness, WordScalingFor16And24BitOutput) {
    const std::vector<double> s16 = words_to_samples({-32768, 16384}, false);
    EXPECT_EQ(s16[0], -1.0);
    EXPECT_EQ(s16[1], 0.5);
    const std::vector<double> s24 = words_to_samples({-8388608, 4194304}, true);
    EXPECT_EQ(s24[0], -1.0);
    EXPECT_EQ(s24[1], 0.5);
}

TEST(AccuracyHarness, FixtureListParsing) {
    std::vector<mp3d_test::Fixture> fixtures;
    std::string error;
    ASSERT_TRUE(mp3d_test::parse_fixture_list(
        "# header\nm2_x.mp3\t2\t22050\tmono\tCBR 48\tyes\t-m m -b 48 -p\n", fixtures, &error));
    ASSERT_EQ(fixtures.size(), 1u);
    EXPECT_EQ(fixtures[0].file, "m2_x.mp3");
    EXPECT_EQ(fixtures[0].sample_rate, 22050);
    EXPECT_TRUE(fixtures[0].crc);
    EXPECT_EQ(fixtures[0].channels(), 1);
    EXPECT_FALSE(
        mp3d_test::parse_fixture_list("a.mp3\t3\t22050\tmono\tCBR\tno\n", fixtures, &error));
    EXPECT_FALSE(mp3d_test::parse_fixture_list("a.mp3\t1\t44100\n", fixtures, &error));
}

TEST(AccuracyHarness, FixtureListMatchesTheCommittedStreams) {
    // Every committed Layer III fixture is listed, and every listed one exists.
    const auto fixtures = mp3d_test::layer3_fixtures();
    ASSERT_FALSE(fixtures.empty());
    std::vector<std::string> listed, present;
    for (const auto &f : fixtures) listed.push_back(f.file);
    for (const auto &entry :
         fs::directory_iterator(mp3d_test::source_dir() + "/tests/fixtures/layer3"))
        if (entry.path().extension() == ".mp3") present.push_back(entry.path().filename().string());
    std::sort(listed.begin(), listed.end());
    std::sort(present.begin(), present.end());
    EXPECT_EQ(listed, present);
}

TEST(AccuracyHarness, ChecksumListParsing) {
    std::vector<mp3d_test::PinnedChecksum> pins;
    std::string error;
    ASSERT_TRUE(mp3d_test::parse_checksums(
        "# comment\n\ntests/a.mp3 0123456789abcdef\n../shared/conformance/x.bit ffffffffffffffff # "
        "note\n",
        pins, &error))
        << error;
    ASSERT_EQ(pins.size(), 2u);
    EXPECT_EQ(pins[0].hash, 0x0123456789abcdefull);
    EXPECT_EQ(mp3d_test::resolve_repo_path(pins[1].path),
              mp3d_test::shared_dir() + "/conformance/x.bit");
    EXPECT_EQ(mp3d_test::resolve_repo_path(pins[0].path), mp3d_test::source_dir() + "/tests/a.mp3");
    EXPECT_FALSE(mp3d_test::parse_checksums("a.mp3 123\n", pins, &error));
    EXPECT_FALSE(mp3d_test::parse_checksums("a.mp3 0123456789ABCDEF\n", pins, &error));
    EXPECT_FALSE(mp3d_test::parse_checksums("a.mp3 0123456789abcdef extra\n", pins, &error));
}

TEST(WavWriter, HeaderBytes) {
    const auto h = wav_header(44100, 2, 16, 1000);
    const uint8_t expected[44] = {'R', 'I', 'F',  'F',  0x0c, 0x04, 0,    0,    'W',  'A', 'V',
                                  'E', 'f', 'm',  't',  ' ',  16,   0,    0,    0,    1,   0,
                                  2,   0,   0x44, 0xac, 0,    0,    0x10, 0xb1, 0x02, 0,   4,
                                  0,   16,  0,    'd',  'a',  't',  'a',  0xe8, 0x03, 0,   0};
    EXPECT_EQ(std::vector<uint8_t>(h.begin(), h.end()),
              std::vector<uint8_t>(expected, expected + 44));
    // 24-bit mono at 8 kHz: block align 3, byte rate 24000.
    const auto h24 = wav_header(8000, 1, 24, 0xffffffffu);
    EXPECT_EQ(h24[32], 3);
    EXPECT_EQ(h24[34], 24);
    EXPECT_EQ(h24[28] | h24[29] << 8 | h24[30] << 16, 24000);
    for (int i : {4, 5, 6, 7, 40, 41, 42, 43}) EXPECT_EQ(h24[i], 0xff) << i;  // unknown length
}

TEST(WavWriter, WritesSamplesAndPatchesSizes) {
    const std::string path = temp_path("out.wav");
    {
        WavWriter wav(path, 24);
        const int32_t stereo[4] = {-1, 8388607, -8388608, 9000000};  // the last is clamped
        ASSERT_TRUE(wav.write(stereo, 4, 2, 48000));
        const int32_t mono[1] = {0x123456};  // a mono frame in a stereo file: doubled
        ASSERT_TRUE(wav.write(mono, 1, 1, 48000));
        EXPECT_TRUE(wav.converted_channels());
        ASSERT_TRUE(wav.finish());
    }
    const std::vector<uint8_t> bytes = file_bytes(path);
    ASSERT_EQ(bytes.size(), 44u + 18u);
    const auto header = wav_header(48000, 2, 24, 18);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 44),
              std::vector<uint8_t>(header.begin(), header.end()));
    const std::vector<uint8_t> data(bytes.begin() + 44, bytes.end());
    EXPECT_EQ(data, (std::vector<uint8_t>{0xff, 0xff, 0xff, 0xff, 0xff, 0x7f, 0x00, 0x00, 0x80,
                                          0xff, 0xff, 0x7f, 0x56, 0x34, 0x12, 0x56, 0x34, 0x12}));
    fs::remove(path);

    // 16-bit; a stereo frame in a mono file is averaged.
    {
        WavWriter wav(path, 16);
        const int32_t mono[2] = {-32768, 40000};
        ASSERT_TRUE(wav.write(mono, 2, 1, 8000));
        const int32_t stereo[2] = {100, 301};
        ASSERT_TRUE(wav.write(stereo, 2, 2, 8000));
        ASSERT_TRUE(wav.finish());
    }
    const std::vector<uint8_t> b16 = file_bytes(path);
    ASSERT_EQ(b16.size(), 44u + 6u);
    EXPECT_EQ(std::vector<uint8_t>(b16.begin() + 44, b16.end()),
              (std::vector<uint8_t>{0x00, 0x80, 0xff, 0x7f, 200, 0}));
    fs::remove(path);
}

TEST(WavWriter, NothingWrittenCreatesNoFile) {
    const std::string path = temp_path("never.wav");
    {
        WavWriter wav(path, 16);
        EXPECT_TRUE(wav.finish());
        RawWriter raw(path);
        EXPECT_TRUE(raw.finish());
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(WavWriter, RawWordsAreLittleEndian32Bit) {
    const std::string path = temp_path("out.raw");
    {
        RawWriter raw(path);
        const int32_t words[2] = {-2, 0x01020304};
        ASSERT_TRUE(raw.write(words, 2));
        ASSERT_TRUE(raw.finish());
    }
    EXPECT_EQ(file_bytes(path), (std::vector<uint8_t>{0xfe, 0xff, 0xff, 0xff, 4, 3, 2, 1}));
    fs::remove(path);
}

TEST(StreamInput, BlocksCarryTheStreamInOrder) {
    std::vector<uint8_t> data(1000);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7 + 3);
    for (const size_t block : {1u, 7u, 999u, 1000u, 4096u}) {
        const ByteReader reader = memory_reader(data.data(), data.size());
        StreamInput input{};
        stream_input_setup(input, reader, block);
        std::vector<uint8_t> seen;
        const uint8_t *buffer = nullptr;
        int32_t left = 0;
        for (int guard = 0; guard < 2000; ++guard) {
            stream_input_callback(&buffer, &left, &input.config);
            if (left <= 0) break;
            // Every block but the last is full.
            if (seen.size() + static_cast<size_t>(left) < data.size()) {
                EXPECT_EQ(static_cast<size_t>(left), block);
            }
            seen.insert(seen.end(), buffer, buffer + left);
        }
        EXPECT_EQ(seen, data) << "block " << block;
        EXPECT_EQ(input.bytes_fed, data.size());
        // After the end the callback keeps reporting it.
        stream_input_callback(&buffer, &left, &input.config);
        EXPECT_EQ(left, 0);
    }
}

TEST(StreamInput, ShortReadsStillFillWholeBlocks) {
    // A source that delivers 3 bytes at a time, like a pipe.
    std::vector<uint8_t> data(100);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i);
    size_t position = 0;
    const ByteReader trickle = [&](uint8_t *dest, size_t count) {
        const size_t n = std::min({count, size_t{3}, data.size() - position});
        std::copy_n(data.begin() + static_cast<long>(position), n, dest);
        position += n;
        return n;
    };
    StreamInput input{};
    stream_input_setup(input, trickle, 64);
    const uint8_t *buffer = nullptr;
    int32_t left = 0;
    stream_input_callback(&buffer, &left, &input.config);
    EXPECT_EQ(left, 64);
    stream_input_callback(&buffer, &left, &input.config);
    EXPECT_EQ(left, 36);
    EXPECT_EQ(buffer[35], 99);
    stream_input_callback(&buffer, &left, &input.config);
    EXPECT_EQ(left, 0);
}

TEST(DecodeRun, InputWithoutFramesEndsWithoutOutput) {
    // Bytes that never form a frame header: the run must end (by the end of
    // the stream, or by its guard against a decoder that stops consuming)
    // and deliver nothing.
    const std::vector<uint8_t> noise(5000, 0x55);
    for (const size_t block : {1u, 333u, 65536u}) {
        DecodeOptions options;
        options.block_size = block;
        const DecodedStream d = decode_buffer(noise, options);
        EXPECT_FALSE(d.stats.init_failed);
        EXPECT_EQ(d.stats.output_calls, 0u);
        EXPECT_TRUE(d.words.empty());
        EXPECT_TRUE(d.stats.stalled || d.stats.codes.count(MP3D_END_OF_STREAM) == 1);
        EXPECT_EQ(d.stats.codes.count(MP3D_OK), 0u);
    }
}
