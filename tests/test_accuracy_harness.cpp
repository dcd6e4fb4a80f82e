// The harness behind the mp3d tool and the stream tests: the ISO/IEC 11172-4
// verdict, comparison and alignment, the output hash, WAV and raw output, and
// input feeding. Decoding through it is covered by the stream tests.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/stream_input.h"
#include "harness/wav_writer.h"

using namespace mp3d_tools;
namespace fs = std::filesystem;

namespace {

constexpr double kLsb = 1.0 / 32768.0;

std::string temp_path(const std::string &name) {
    return (fs::temp_directory_path() / ("mp3d_harness_" + std::to_string(::getpid()) + "_" + name))
        .string();
}

// The bytes of a file, which is then removed.
std::vector<uint8_t> take_file(const std::string &path) {
    std::vector<uint8_t> data;
    std::string error;
    EXPECT_TRUE(read_file(path, data, &error)) << error;
    fs::remove(path);
    return data;
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

TEST(AccuracyHarness, VerdictAtTheIso11172_4Thresholds) {
    // Full: RMS below 2^-15/sqrt(12) (0.2887 LSB16), no sample beyond 2^-14;
    // limited: RMS below 2^-11/sqrt(12) (4.6188 LSB16).
    EXPECT_EQ(iso_verdict(0.288 * kLsb, 2.0 * kLsb, 10), Verdict::Full);
    EXPECT_EQ(iso_verdict(0.288 * kLsb, 2.001 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(0.289 * kLsb, 1.0 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(4.618 * kLsb, 100 * kLsb, 10), Verdict::Limited);
    EXPECT_EQ(iso_verdict(4.619 * kLsb, 5 * kLsb, 10), Verdict::Neither);
    EXPECT_EQ(iso_verdict(0.0, 0.0, 0), Verdict::NothingCompared);
}

TEST(AccuracyHarness, RmsAndMaxOfKnownDifferences) {
    const std::vector<double> ref = signal(1000, 1);
    std::vector<double> test = ref;
    // Differences alternate 3 and 4 LSB: RMS sqrt(12.5), max 4.
    for (size_t i = 0; i < test.size(); ++i) test[i] += (i % 2 ? 4 : 3) * kLsb;
    Comparison c = compare_at(test, ref, 0);
    EXPECT_EQ(c.compared, 1000u);
    EXPECT_NEAR(c.rms_lsb16(), std::sqrt(12.5), 1e-9);
    EXPECT_NEAR(c.max_lsb16(), 4.0, 1e-9);
    // One sample off by -7 LSB sets the max and its index.
    test = ref;
    test[617] -= 7 * kLsb;
    c = compare_at(test, ref, 0);
    EXPECT_NEAR(c.max_lsb16(), 7.0, 1e-9);
    EXPECT_EQ(c.max_index, 617u);
    EXPECT_NEAR(c.rms_lsb16(), 7.0 / std::sqrt(1000.0), 1e-9);
}

TEST(AccuracyHarness, AlignmentFindsSkippedFramesInEitherStream) {
    const size_t frame = 2304;  // 1152 samples x 2 channels, the default search
    const std::vector<double> ref = signal(20 * frame, 3);
    struct Case {
        long skipped_ref, skipped_test;  // frames missing from the other side
        long offset;
    };
    for (const Case &k : {Case{0, 0, 0}, Case{2, 0, 2}, Case{0, 1, -1}}) {
        SCOPED_TRACE(testing::Message() << "offset " << k.offset);
        std::vector<double> test = signal(k.skipped_test * frame, 4);
        test.insert(test.end(), ref.begin() + k.skipped_ref * frame, ref.end() - 3 * frame);
        const Comparison c = compare_aligned(test, ref, AlignmentSearch{});
        EXPECT_EQ(c.offset_frames, k.offset);
        EXPECT_EQ(c.offset_samples, k.offset * 1152);
        EXPECT_EQ(c.compared, (17 - k.skipped_ref) * frame);  // only what the decoder produced
        EXPECT_EQ(c.rms, 0.0);
        EXPECT_EQ(c.verdict, Verdict::Full);
    }
    // Offsets outside the searched range (-2..8 frames) are not taken.
    const std::vector<double> late(ref.begin() + 9 * static_cast<long>(frame), ref.end());
    EXPECT_EQ(compare_aligned(late, ref, AlignmentSearch{}).verdict, Verdict::Neither);
}

TEST(AccuracyHarness, Fnv1a64OverLittleEndianWords) {
    EXPECT_EQ(hash_hex(fnv1a64_words(nullptr, 0)), "cbf29ce484222325");
    const int32_t words[3] = {0x64636261, -1, -8388608};  // first: bytes "abcd"
    EXPECT_EQ(hash_hex(fnv1a64_words(words, 1)), "fc179f83ee0724dd");
    EXPECT_EQ(hash_hex(fnv1a64_words(words + 1, 2)), "4d0776864a5500ec");
    // Hashing in pieces equals hashing at once.
    EXPECT_EQ(fnv1a64_words(words + 2, 1, fnv1a64_words(words + 1, 1)),
              fnv1a64_words(words + 1, 2));
}

TEST(AccuracyHarness, ReadsSigned16BitLittleEndianReferences) {
    const std::string path = temp_path("ref.pcm");
    std::FILE *f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fwrite("\x00\x80\xff\x7f\xff\xff\x01", 1, 7, f);  // odd length
    std::fclose(f);
    std::vector<double> samples;
    std::string error;
    EXPECT_FALSE(read_s16le_file(path, samples, &error));
    fs::resize_file(path, 6);
    ASSERT_TRUE(read_s16le_file(path, samples, &error)) << error;
    EXPECT_EQ(samples, (std::vector<double>{-1.0, 32767.0 * kLsb, -kLsb}));
    fs::remove(path);
    EXPECT_FALSE(read_s16le_file(path, samples, &error));  // missing
}

TEST(WavWriter, HeaderBytes) {
    const auto h = wav_header(44100, 2, 16, 1000);
    const uint8_t expected[44] = {'R', 'I', 'F',  'F',  0x0c, 0x04, 0,    0,    'W',  'A', 'V',
                                  'E', 'f', 'm',  't',  ' ',  16,   0,    0,    0,    1,   0,
                                  2,   0,   0x44, 0xac, 0,    0,    0x10, 0xb1, 0x02, 0,   4,
                                  0,   16,  0,    'd',  'a',  't',  'a',  0xe8, 0x03, 0,   0};
    EXPECT_TRUE(std::equal(h.begin(), h.end(), expected));
    // 24-bit mono at 8 kHz: block align 3, byte rate 24000; unknown length.
    const auto h24 = wav_header(8000, 1, 24, 0xffffffffu);
    EXPECT_EQ(h24[32], 3);
    EXPECT_EQ(h24[28] | h24[29] << 8 | h24[30] << 16, 24000);
    for (int i : {4, 5, 6, 7, 40, 41, 42, 43}) EXPECT_EQ(h24[i], 0xff) << i;
}

TEST(WavWriter, WritesClampsConvertsChannelsAndPatchesSizes) {
    const std::string path = temp_path("out.wav");
    WavWriter never(path, 16);
    EXPECT_TRUE(never.finish());
    EXPECT_FALSE(fs::exists(path));  // nothing written: no file
    {
        WavWriter wav(path, 24);
        const int32_t stereo[4] = {-1, 8388607, -8388608, 9000000};  // the last is clamped
        ASSERT_TRUE(wav.write(stereo, 4, 2, 48000));
        const int32_t mono[1] = {0x123456};  // a mono frame in a stereo file: doubled
        ASSERT_TRUE(wav.write(mono, 1, 1, 48000));
        ASSERT_TRUE(wav.finish());
    }
    std::vector<uint8_t> bytes = take_file(path);
    const auto header = wav_header(48000, 2, 24, 18);
    ASSERT_EQ(bytes.size(), 44u + 18u);
    EXPECT_TRUE(std::equal(header.begin(), header.end(), bytes.begin()));
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 44, bytes.end()),
              (std::vector<uint8_t>{0xff, 0xff, 0xff, 0xff, 0xff, 0x7f, 0x00, 0x00, 0x80, 0xff,
                                    0xff, 0x7f, 0x56, 0x34, 0x12, 0x56, 0x34, 0x12}));
    {
        WavWriter wav(path, 16);
        const int32_t mono[2] = {-32768, 40000};
        ASSERT_TRUE(wav.write(mono, 2, 1, 8000));
        const int32_t stereo[2] = {100, 301};  // a stereo frame in a mono file: averaged
        ASSERT_TRUE(wav.write(stereo, 2, 2, 8000));
        ASSERT_TRUE(wav.finish());
    }
    bytes = take_file(path);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 44, bytes.end()),
              (std::vector<uint8_t>{0x00, 0x80, 0xff, 0x7f, 200, 0}));
    {
        RawWriter raw(path);
        const int32_t words[2] = {-2, 0x01020304};
        ASSERT_TRUE(raw.write(words, 2));
        ASSERT_TRUE(raw.finish());
    }
    EXPECT_EQ(take_file(path), (std::vector<uint8_t>{0xfe, 0xff, 0xff, 0xff, 4, 3, 2, 1}));
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
    for (const int32_t want : {64, 36, 0, 0}) {
        stream_input_callback(&buffer, &left, &input.config);
        ASSERT_EQ(left, want);
        EXPECT_TRUE(want == 0 || buffer[want - 1] == (want == 64 ? 63 : 99));
    }
    EXPECT_EQ(input.bytes_fed, 100u);
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
        EXPECT_TRUE(d.stats.stalled || d.stats.codes.count(MP3D_END_OF_STREAM) == 1);
        EXPECT_EQ(d.stats.codes.count(MP3D_OK), 0u);
    }
}
