// Whole files through the stream layer, made at test time with lame,
// twolame and sox, and the committed fixtures: gapless round trips against the original length and
// libmpg123's gapless decode, exact seeks on variable-bitrate, VBRI,
// tagged, Layer II and unmarked streams, and files with no audio or cut
// short.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "harness/mpg123_reference.h"
#include "support/fixtures.h"
#include "support/stream_input.h"

using mp3d_test::OpenStream;
using Bytes = std::vector<uint8_t>;

namespace {

// Appends (resize and copy: GCC 12 warns falsely on vector inserts here).
void append(Bytes &to, const uint8_t *from, size_t n) {
    const size_t old = to.size();
    to.resize(old + n);
    if (n > 0) std::memcpy(to.data() + old, from, n);
}
void append(Bytes &to, const Bytes &from) {
    append(to, from.data(), from.size());
}

bool have_tools() {
    return std::system("command -v lame > /dev/null && command -v sox > /dev/null") == 0;
}

// Encodes `samples` samples per channel of a sweep at `rate` Hz with lame
// `options`; returns the MP3 path ("" on failure).
std::string lame_file(const std::string &name, int rate, int channels, int samples,
                      const std::string &options) {
    const std::string dir = mp3d_test::make_in_temp_dir(
        name, "sox -r " + std::to_string(rate) + " -n -c " + std::to_string(channels) +
                  " -b 16 in.wav synth " + std::to_string(samples) +
                  "s sine 200-5000 sine 330 gain -4 && lame --quiet --resample " +
                  std::to_string(rate / 1000.0).substr(0, 6) + " " + options + " in.wav out.mp3");
    return dir.empty() ? "" : dir + "/out.mp3";
}

// Seeks to frame boundaries, their neighbours, the first and last frames,
// past the end and random places, forwards and backwards; each read after a
// seek must equal the full decode there.
void expect_exact_seeks(const Bytes &data, const std::string &what) {
    const std::vector<int32_t> full = mp3d_test::decode_all(data);
    OpenStream s(data);
    ASSERT_EQ(s.status, MP3D_STREAM_OK) << what;
    const int channels = s.channels;
    const int64_t total = static_cast<int64_t>(full.size()) / channels;
    const int32_t spf = s.info().samples_per_frame;
    std::vector<int64_t> at = {total / 2, 0, 1, spf - 1, total - 1, total - spf / 2, total + 1, 3};
    for (int64_t k : {1, 4, 9, 30, 31}) at.insert(at.end(), {k * spf - 1, k * spf, k * spf + 1});
    std::mt19937 random(7);
    for (int i = 0; i < 10; ++i) at.push_back(static_cast<int64_t>(random() % total));
    for (int64_t p : at) {
        if (p < 0) continue;
        ASSERT_EQ(mp3d_stream_seek(s.stream, p), MP3D_STREAM_OK) << what;
        std::vector<int32_t> got;
        s.read(got, 2000);
        const int64_t n = p >= total ? 0 : std::min<int64_t>(2000, total - p);
        ASSERT_EQ(static_cast<int64_t>(got.size()), n * channels) << what << ", seek to " << p;
        EXPECT_TRUE(std::equal(got.begin(), got.end(), full.begin() + p * channels))
            << what << ", seek to " << p;
    }
}

}  // namespace

// lame-encoded WAVs of odd lengths come back with exactly their length and
// within 1 LSB (16 bits) of libmpg123's gapless decode; the length is known
// at open.
TEST(StreamFiles, GaplessRoundTrips) {
    if (!have_tools() || !mp3d_tools::mpg123_available())
        GTEST_SKIP() << "lame, sox or libmpg123 missing";
    struct Case {
        const char *name;
        int rate, channels, samples;
        const char *options;
    } cases[] = {{"m1_cbr", 44100, 2, 100003, "-b 128"}, {"m1_vbr", 48000, 2, 77777, "-V 4"},
                 {"m1_mono", 32000, 1, 40001, "-b 64"},  {"m2_cbr", 22050, 1, 30011, "-b 64"},
                 {"m2_vbr", 24000, 2, 50001, "-V 6"},    {"m25_cbr", 11025, 2, 20001, "-b 32"},
                 {"m25_vbr", 8000, 1, 12345, "-V 7"},    {"m1_short", 44100, 2, 999, "-b 192"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = lame_file(c.name, c.rate, c.channels, c.samples, c.options);
        ASSERT_FALSE(path.empty());
        const Bytes data = mp3d_test::read_bytes(path);
        OpenStream s(data);
        ASSERT_EQ(s.status, MP3D_STREAM_OK);
        const MP3D_Stream_Info info = s.info();
        EXPECT_EQ(info.total_samples, c.samples);
        EXPECT_EQ(info.length_exact, 1);
        EXPECT_EQ(info.gapless, 1);
        EXPECT_EQ(info.sample_rate, c.rate);
        std::vector<int32_t> got;
        EXPECT_EQ(s.read(got), MP3D_STREAM_END);
        ASSERT_EQ(got.size(), static_cast<size_t>(c.samples) * c.channels);

        mp3d_tools::FloatReference ref;
        std::string error;
        ASSERT_TRUE(mp3d_tools::mpg123_decode_file(path, ref, &error, true)) << error;
        ASSERT_EQ(ref.samples.size(), got.size());
        double worst = 0;
        for (size_t i = 0; i < got.size(); ++i)
            worst = std::max(worst, std::fabs(got[i] / 8388608.0 - ref.samples[i]) * 32768.0);
        EXPECT_LE(worst, 1.0) << "largest difference in 16-bit LSB";

        // Without trimming: whole frames, the decoder delay included.
        MP3D_Stream_Config keep{};
        keep.no_gapless = 1;
        const std::vector<int32_t> all = mp3d_test::decode_all(data, keep);
        EXPECT_EQ(all.size() / c.channels % info.samples_per_frame, 0u);
        EXPECT_TRUE(std::equal(got.begin(), got.end(),
                               all.begin() + (info.encoder_delay + 529) * c.channels));
    }
}

// Seeks on VBR (Xing table) and CBR streams of every version, streams
// without information frame (walked, and by arithmetic), and a stream whose
// information frame is Fraunhofer's VBRI.
TEST(StreamFiles, SeeksAreExactOnEveryKindOfFile) {
    if (!have_tools()) GTEST_SKIP() << "lame or sox missing";
    const std::string vbr = lame_file("seek_vbr", 44100, 2, 150001, "-V 2");
    const std::string lsf = lame_file("seek_lsf", 22050, 2, 60001, "-V 5");
    const std::string m25 = lame_file("seek_m25", 8000, 1, 30001, "-b 24");
    const std::string bare = lame_file("seek_bare", 44100, 2, 90001, "-V 3 -t");
    const std::string cbr_bare = lame_file("seek_cbr_bare", 32000, 2, 90001, "-b 96 -t");
    ASSERT_FALSE(vbr.empty() || lsf.empty() || m25.empty() || bare.empty() || cbr_bare.empty());
    expect_exact_seeks(mp3d_test::read_bytes(vbr), "Xing VBR");
    expect_exact_seeks(mp3d_test::read_bytes(lsf), "LSF VBR");
    expect_exact_seeks(mp3d_test::read_bytes(m25), "MPEG-2.5 CBR");
    expect_exact_seeks(mp3d_test::read_bytes(bare), "VBR without information frame");
    expect_exact_seeks(mp3d_test::read_bytes(cbr_bare), "CBR without information frame");

    // VBRI: a silent frame carrying Fraunhofer's header (32 bytes behind the
    // frame header: version, delay, quality, bytes, frames, table entries,
    // scale, entry size, frames per entry, table) in front of real frames.
    Bytes audio = mp3d_test::read_bytes(bare);
    const int64_t frames = static_cast<int64_t>(mp3d_test::decode_all(audio).size()) / 2 / 1152;
    ASSERT_GT(frames, 50);
    Bytes file(417, 0);
    file[0] = 0xff, file[1] = 0xfb, file[2] = 0x90, file[3] = 0x00;
    const uint8_t vbri[26] = {'V',
                              'B',
                              'R',
                              'I',
                              0,
                              1,
                              0x02,
                              0x41,
                              0,
                              75,
                              static_cast<uint8_t>(audio.size() >> 24),
                              static_cast<uint8_t>(audio.size() >> 16),
                              static_cast<uint8_t>(audio.size() >> 8),
                              static_cast<uint8_t>(audio.size()),
                              0,
                              0,
                              static_cast<uint8_t>(frames >> 8),
                              static_cast<uint8_t>(frames),
                              0,
                              0,
                              0,
                              1,
                              0,
                              2,
                              0,
                              1};
    std::copy(vbri, vbri + 26, file.begin() + 36);
    append(file, audio);
    {
        OpenStream s(file);
        ASSERT_EQ(s.status, MP3D_STREAM_OK);
        EXPECT_EQ(s.info().info_frame, MP3D_STREAM_INFO_VBRI);
        EXPECT_EQ(s.info().info_frames, frames);
        EXPECT_EQ(s.info().encoder_delay, 0x241);
        EXPECT_EQ(s.info().total_samples, frames * 1152);
        EXPECT_EQ(s.info().audio_offset, 417);
        // The VBRI frame is not output: the audio equals the bare file's.
        std::vector<int32_t> got;
        s.read(got);
        MP3D_Stream_Config keep{};
        EXPECT_EQ(got, mp3d_test::decode_all(audio, keep));
    }
    expect_exact_seeks(file, "VBRI");
}

TEST(StreamFiles, CommittedFixturesSeekExactly) {
    for (const char *name :
         {"tests/fixtures/layer3/m1_44k_stereo_cbr128.mp3",
          "tests/fixtures/layer3/m1_44k_joint_vbr.mp3",
          "tests/fixtures/layer3/m1_48k_joint_free160.mp3",
          "tests/fixtures/layer3/m2_24k_stereo_vbr.mp3",
          "tests/fixtures/layer3/m25_8k_mono_cbr16.mp3",
          "tests/fixtures/layer3/m25_12k_stereo_vbr.mp3",
          "tests/fixtures/layer3/m1_32k_joint_nores_cbr96.mp3",
          "tests/fixtures/layer3/m2_22k_mono_crc_cbr48.mp3",
          "tests/fixtures/layer2/stereo_44k_64_pad.mp2",
          "tests/fixtures/layer2/lsf_joint_24k_96_crc.mp2", "samples/sample.mp3"})
        expect_exact_seeks(mp3d_test::read_source(name), name);
}

TEST(StreamFiles, LayerTwoSeeksExactly) {
    if (std::system("command -v twolame > /dev/null && command -v sox > /dev/null") != 0)
        GTEST_SKIP() << "twolame or sox missing";
    const std::string dir =
        mp3d_test::make_in_temp_dir("layer2",
                                    "sox -n -r 48000 -c 2 -b 16 in.wav synth 3.3 sine 100-8000 && "
                                    "twolame --quiet -b 192 in.wav out.mp2");
    ASSERT_FALSE(dir.empty());
    const Bytes data = mp3d_test::read_bytes(dir + "/out.mp2");
    OpenStream s(data);
    ASSERT_EQ(s.status, MP3D_STREAM_OK);
    EXPECT_EQ(s.info().layer, 2);
    EXPECT_EQ(s.info().length_exact, 0);  // estimated from the size
    EXPECT_EQ(s.info().total_samples, static_cast<int64_t>(mp3d_test::decode_all(data).size() / 2));
    expect_exact_seeks(data, "Layer II");
}
