// Exact seeking through the stream layer: after a seek to any sample the
// output equals the decode from the start at that sample, on constant and
// variable bitrate, free-format, LSF, MPEG-2.5, Layer II and tagged files.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/stream_input.h"

using mp3d_test::OpenStream;

namespace {

std::vector<uint8_t> fixture(const std::string &name) {
    return mp3d_test::read_bytes(std::string(MP3D_SOURCE_DIR) + "/" + name);
}

// Seeks to each position (in order, with a fresh stream every few seeks so
// that both a new and a used seek index are exercised) and compares `span`
// samples per channel with the full decode.
void expect_exact_seeks(const std::vector<uint8_t> &data, const std::string &what,
                        int32_t max_read = 1 << 30, int64_t span = 1500) {
    const std::vector<int32_t> full = mp3d_test::decode_all(data);
    OpenStream s(data, true, max_read);
    ASSERT_EQ(s.status, MP3D_STREAM_OK) << what;
    const int channels = s.channels;
    const int64_t total = static_cast<int64_t>(full.size()) / channels;
    ASSERT_GT(total, 0) << what;
    const int32_t spf = s.info().samples_per_frame;
    const int64_t skip = s.info().gapless ? s.info().encoder_delay + 529 : 0;

    std::vector<int64_t> at = {0, 1, total - 1, total, total + 5000, spf / 2, total - spf / 3};
    for (int64_t k : {1, 2, 3, 7, 20, 50})  // frame boundaries and their neighbours
        for (int64_t d : {-1, 0, 1}) at.push_back(k * spf - skip + d);
    std::mt19937 random(12345);
    for (int i = 0; i < 12; ++i) at.push_back(static_cast<int64_t>(random() % total));
    at.push_back(total / 2);
    at.push_back(3);  // backwards again

    for (int64_t p : at) {
        if (p < 0) continue;
        ASSERT_EQ(mp3d_stream_seek(s.stream, p), MP3D_STREAM_OK) << what << " seek " << p;
        EXPECT_EQ(mp3d_stream_tell(s.stream), p < total ? p
                                              : s.info().total_samples >= 0
                                                  ? total
                                                  : mp3d_stream_tell(s.stream));
        std::vector<int32_t> got;
        s.read(got, span);
        const int64_t expect_n = p >= total ? 0 : std::min(span, total - p);
        ASSERT_EQ(static_cast<int64_t>(got.size()), expect_n * channels) << what << " seek " << p;
        for (int64_t i = 0; i < expect_n * channels; ++i)
            if (got[i] != full[p * channels + i]) {
                ADD_FAILURE() << what << ": seek to " << p << " differs at sample " << i / channels
                              << " of " << expect_n;
                break;
            }
    }
}

}  // namespace

TEST(StreamSeek, CommittedFixturesSeekExactly) {
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
          "tests/fixtures/layer2/lsf_joint_24k_96_crc.mp2", "samples/sample.mp3"}) {
        SCOPED_TRACE(name);
        expect_exact_seeks(fixture(name), name);
    }
}
