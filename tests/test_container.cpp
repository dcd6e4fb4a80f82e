// The file container around the audio: tags, the encoder's information
// frame, gapless trimming, and a LAME round trip through `mp3d decode`.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "container/container_reader.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/mpg123_reference.h"

using namespace mp3d_tools;
using Bytes = std::vector<uint8_t>;

namespace {

void put(Bytes &b, const std::string &s, std::initializer_list<uint32_t> be32 = {}) {
    b.insert(b.end(), s.begin(), s.end());
    for (uint32_t v : be32)
        for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (24 - 8 * i)));
}
// An ID3v2.4 tag with `body` bytes, with or without footer.
Bytes id3v2(uint32_t body, bool footer) {
    Bytes b = {'I', 'D', '3', 4, 0, static_cast<uint8_t>(footer ? 0x10 : 0)};
    for (int shift = 21; shift >= 0; shift -= 7) b.push_back((body >> shift) & 0x7f);
    b.resize(b.size() + body, 0xff);
    if (footer) b.insert(b.end(), {'3', 'D', 'I', 4, 0, 0x10, b[6], b[7], b[8], b[9]});
    return b;
}
Bytes apev2(uint8_t items) {  // header, items, footer (little-endian fields)
    Bytes b(64 + items, 'x');
    for (size_t at : {size_t{0}, size_t{32} + items}) {
        std::fill_n(b.begin() + static_cast<long>(at), 32, 0);
        std::copy_n("APETAGEX\xd0\x07", 10, b.begin() + static_cast<long>(at));
        b[at + 12] = items + 32, b[at + 16] = 1, b[at + 23] = at ? 0x80 : 0xa0;
    }
    return b;
}
// An MPEG-1 Layer III frame, 128 kbit/s at 44.1 kHz (417 bytes); as an
// information frame with LAME's extension: delay 576, padding 1234.
Bytes frame(uint8_t fill, bool mono = false, uint32_t info_frames = 0) {
    Bytes f(417, fill), info;
    f[0] = 0xff, f[1] = 0xfb, f[2] = 0x90, f[3] = mono ? 0xc4 : 0x44;
    if (info_frames == 0) return f;
    put(info, "Info", {0x0f, info_frames, info_frames * 417});
    info.resize(120, 0);
    put(info, "LAME3.100");
    info.resize(141, 0);
    info.insert(info.end(), {576 >> 4, (576 & 15) << 4 | 1234 >> 8, 1234 & 255});
    std::copy(info.begin(), info.end(), f.begin() + (mono ? 21 : 36));
    return f;
}

}  // namespace

TEST(Container, InfoFrameAndBadTags) {
    InfoFrame info;
    for (bool mono : {false, true}) {
        const Bytes f = frame(0, mono, 100);
        ASSERT_TRUE(parse_info_frame(f.data(), f.size(), info));
        EXPECT_EQ(info.frames, 100);
        EXPECT_EQ(info.encoder_delay, 576);
        EXPECT_EQ(info.encoder_padding, 1234);
    }
    EXPECT_FALSE(parse_info_frame(frame(0).data(), 417, info));
    Bytes bad = id3v2(100, false);
    bad[7] = 0x80;  // not synchsafe
    EXPECT_EQ(id3v2_tag_size(bad.data(), bad.size()), 0u);
    Bytes lie = apev2(10);  // a footer claiming more bytes than there are
    lie[lie.size() - 20] = 0xff;
    EXPECT_EQ(find_trailing_tags(lie.data(), lie.size()).apev2, 0u);
}

TEST(Container, ReaderPassesOnlyTheAudio) {
    Bytes audio, file, v1;
    for (uint8_t i = 0; i < 20; ++i)
        for (uint8_t b : frame(i)) audio.push_back(b);
    put(v1, "TAG");
    v1.resize(128, ' ');
    for (const Bytes &part : {id3v2(2'000'000, true), id3v2(10, false), frame(0, false, 20), audio,
                              apev2(200), id3v2(60, true), v1})
        file.insert(file.end(), part.begin(), part.end());
    for (size_t hold : {size_t{4096}, size_t{1} << 20}) {
        ContainerReader reader(memory_reader(file.data(), file.size()), hold);
        Bytes out(4000), got;
        for (size_t n; (n = reader.read(out.data(), 1 + got.size() % 3000)) > 0;)
            got.insert(got.end(), out.begin(), out.begin() + static_cast<long>(n));
        EXPECT_EQ(got, audio) << "tail hold " << hold;
        EXPECT_TRUE(reader.info_frame().has_value());
    }
}

// A LAME file with a large picture in its ID3v2 tag and an ID3v1 tag comes
// back from `mp3d decode` with the original's length and libmpg123's
// gapless samples.
TEST(Container, LameFileDecodesGapless) {
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
