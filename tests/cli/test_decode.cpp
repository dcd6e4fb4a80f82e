// The tool's gapless decode: a LAME file with a large ID3v2 tag comes back
// from `mp3d decode` with the original's length and libmpg123's gapless
// samples.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/mpg123_reference.h"

using namespace mp3d_tools;
using Bytes = std::vector<uint8_t>;

// A LAME file with a large picture in its ID3v2 tag and an ID3v1 tag comes
// back from `mp3d decode` with the original's length and libmpg123's
// gapless samples.
TEST(ToolGapless, LameFileDecodesGapless) {
    if (std::system("command -v lame > /dev/null && command -v sox > /dev/null") != 0 ||
        !mpg123_available())
        GTEST_SKIP() << "lame, sox or libmpg123 missing";
#ifndef MP3D_CLI
    GTEST_SKIP() << "built without the mp3d tool";
#else
    const std::string d = testing::TempDir() + "mp3d_gapless_" +
                          std::to_string(testing::UnitTest::GetInstance()->random_seed());
    const std::string script =
        "mkdir -p '" + d + "' && cd '" + d + "' && sox -n -r 44100 -c 2 -b 16 in.wav synth 2.5 " +
        "sine 300-3000 sine 440 gain -3 && (printf '\\211PNG\\r\\n\\032\\n'; head -c 400000 " +
        "/dev/zero) > pic.png && lame --quiet --add-id3v2 --ti pic.png --tt title -b 128 in.wav " +
        "in.mp3 && " + std::string(MP3D_CLI) + " decode -q in.mp3 out.wav";
    ASSERT_EQ(std::system(script.c_str()), 0) << script;

    Bytes in, out;
    ASSERT_TRUE(read_file(d + "/in.wav", in, nullptr) && read_file(d + "/out.wav", out, nullptr));
    EXPECT_EQ(out.size(), in.size()) << "the WAV length differs from the original";

    FloatReference reference;
    std::string error;
    ASSERT_TRUE(mpg123_decode_file(d + "/in.mp3", reference, &error, true)) << error;
    std::vector<double> decoded;
    for (size_t i = 44; i + 1 < out.size(); i += 2)
        decoded.push_back(static_cast<int16_t>(out[i] | out[i + 1] << 8) / 32768.0);
    const Comparison c = compare_at(decoded, reference.samples, 0);
    EXPECT_TRUE(c.verdict == Verdict::Full || c.verdict == Verdict::Limited)
        << "RMS " << c.rms << ", max " << c.max_abs;
    std::filesystem::remove_all(d);
#endif
}
