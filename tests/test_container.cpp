// The file container around the audio: tags, the encoder's information
// frame, gapless trimming, and a LAME round trip through `mp3d decode`.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "container/container_reader.h"
#include "container/tags.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/mpg123_reference.h"

using namespace mp3d_tools;
using Bytes = std::vector<uint8_t>;

namespace {

void append(Bytes &b, const std::string &s) {
    b.insert(b.end(), s.begin(), s.end());
}
void append_le32(Bytes &b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void put_be32(uint8_t *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}
// An ID3v2.4 tag with `body` bytes, with or without footer.
Bytes id3v2(uint32_t body, bool footer) {
    Bytes b = {'I', 'D', '3', 4, 0, static_cast<uint8_t>(footer ? 0x10 : 0)};
    for (int shift = 21; shift >= 0; shift -= 7) b.push_back((body >> shift) & 0x7f);
    b.resize(b.size() + body, 0xff);
    if (footer) b.insert(b.end(), {'3', 'D', 'I', 4, 0, 0x10, b[6], b[7], b[8], b[9]});
    return b;
}
Bytes apev2(uint32_t items_bytes) {  // with header and footer
    Bytes b;
    for (int part = 0; part < 2; ++part) {
        append(b, "APETAGEX");
        append_le32(b, 2000);
        append_le32(b, items_bytes + 32);
        append_le32(b, 1);
        append_le32(b, 0x80000000u | (part == 0 ? 0x20000000u : 0));
        b.resize(b.size() + 8, 0);
        if (part == 0) b.resize(b.size() + items_bytes, 'x');
    }
    return b;
}
Bytes id3v1() {
    Bytes b;
    append(b, "TAG");
    b.resize(128, ' ');
    return b;
}
// An MPEG-1 Layer III frame, 128 kbit/s at 44.1 kHz (417 bytes), stereo or
// mono, filled with `fill`.
Bytes frame(uint8_t fill, bool mono = false) {
    Bytes f(417, fill);
    f[0] = 0xff, f[1] = 0xfb, f[2] = 0x90, f[3] = mono ? 0xc4 : 0x44;
    return f;
}
// An information frame with LAME's extension: delay 576, padding 1234.
Bytes info_frame(bool mono, uint32_t frames) {
    Bytes f = frame(0, mono);
    size_t pos = mono ? 21 : 36;
    std::memcpy(&f[pos], "Info", 4);
    put_be32(&f[pos + 4], 0x0f);
    put_be32(&f[pos + 8], frames);
    put_be32(&f[pos + 12], frames * 417);
    put_be32(&f[pos + 116], 57);  // quality, behind the 100-byte seek table
    pos += 120;
    std::memcpy(&f[pos], "LAME3.100", 9);
    f[pos + 9] = 0x13;  // revision 1, VBR method 3
    f[pos + 20] = 128;
    f[pos + 21] = 576 >> 4, f[pos + 22] = (576 & 15) << 4 | 1234 >> 8, f[pos + 23] = 1234 & 255;
    return f;
}

}  // namespace

TEST(Container, TagsAtBothEnds) {
    EXPECT_EQ(id3v2_tag_size(id3v2(300000, false).data(), 10), 300010u);
    EXPECT_EQ(id3v2_tag_size(id3v2(500, true).data(), 10), 520u);
    Bytes bad = id3v2(100, false);
    bad[7] = 0x80;  // not synchsafe
    EXPECT_EQ(id3v2_tag_size(bad.data(), bad.size()), 0u);

    for (bool ape_first : {true, false}) {
        Bytes file = frame(1);
        const Bytes a = apev2(700), v1 = id3v1(), v2 = id3v2(60, true);
        for (const Bytes *tag : ape_first ? std::vector{&a, &v2, &v1} : std::vector{&v1, &a})
            file.insert(file.end(), tag->begin(), tag->end());
        const TrailingTags t = find_trailing_tags(file.data(), file.size());
        EXPECT_EQ(t.apev2, a.size());
        EXPECT_EQ(t.id3v1, 128u);
        EXPECT_EQ(t.id3v2, ape_first ? v2.size() : 0u);
        EXPECT_EQ(file.size() - t.total(), 417u);
    }
    // An APE footer claiming more bytes than there are is not a tag.
    Bytes lie = apev2(10);
    lie[lie.size() - 20] = 0xff;
    EXPECT_EQ(find_trailing_tags(lie.data(), lie.size()).apev2, 0u);
}

TEST(Container, InfoFrameFieldsAndTrimming) {
    for (bool mono : {false, true}) {
        const Bytes f = info_frame(mono, 100);
        InfoFrame info;
        ASSERT_TRUE(parse_info_frame(f.data(), f.size(), info));
        EXPECT_EQ(info.kind, "Info");
        EXPECT_EQ(info.frames, 100);
        EXPECT_EQ(info.bytes, 41700);
        EXPECT_EQ(info.quality, 57);
        EXPECT_EQ(info.encoder, "LAME3.100");
        EXPECT_STREQ(lame_vbr_method_name(info.vbr_method), "VBR");
        EXPECT_EQ(info.lame_bitrate_kbps, 128);
        EXPECT_EQ(info.encoder_delay, 576);
        EXPECT_EQ(info.encoder_padding, 1234);

        // 1105 samples cut at the start, 115200 - 576 - 1234 kept, over
        // calls of 576 sample frames.
        GaplessTrim trim(info);
        size_t kept = 0, first = 0, count = 0, first_kept = 0;
        for (size_t call = 0; call < 200; ++call) {
            trim.apply(576, &first, &count);
            if (count > 0 && kept == 0) first_kept = call * 576 + first;
            kept += count;
        }
        EXPECT_EQ(first_kept, 1105u);
        EXPECT_EQ(kept, 100u * 1152 - 576 - 1234);
    }
    InfoFrame info;
    const Bytes audio = frame(0);
    EXPECT_FALSE(parse_info_frame(audio.data(), audio.size(), info));
}

TEST(Container, ReaderPassesOnlyTheAudio) {
    Bytes audio;
    for (int i = 0; i < 20; ++i) {
        const Bytes f = frame(static_cast<uint8_t>(i));
        audio.insert(audio.end(), f.begin(), f.end());
    }
    Bytes file = id3v2(2'000'000, true), more = id3v2(10, false), info = info_frame(false, 20);
    for (const Bytes *part : {&more, &info, &audio})
        file.insert(file.end(), part->begin(), part->end());
    const Bytes a = apev2(3000), v1 = id3v1();
    for (const Bytes *tag : {&a, &v1}) file.insert(file.end(), tag->begin(), tag->end());

    for (size_t hold : {size_t{4096}, size_t{1} << 20}) {
        ContainerReader reader(memory_reader(file.data(), file.size()), hold);
        Bytes out(4000);
        Bytes got;
        for (size_t n; (n = reader.read(out.data(), 1 + got.size() % 3000)) > 0;)
            got.insert(got.end(), out.begin(), out.begin() + static_cast<long>(n));
        EXPECT_EQ(got, audio) << "tail hold " << hold;
        EXPECT_EQ(reader.leading_tag_bytes(), 2'000'020u + 20u);
        ASSERT_TRUE(reader.info_frame().has_value());
        EXPECT_EQ(reader.trailing_tags().total(), a.size() + 128);
    }
}

// A LAME file with a large picture in its ID3v2 tag and an ID3v1 tag comes
// back from `mp3d decode` with the original's length and libmpg123's
// gapless samples.
TEST(Container, LameFileDecodesGapless) {
    if (std::system("command -v lame > /dev/null && command -v sox > /dev/null") != 0)
        GTEST_SKIP() << "lame or sox not installed";
    if (!mpg123_available()) GTEST_SKIP() << "built without libmpg123";
#ifndef MP3D_CLI
    GTEST_SKIP() << "built without the mp3d tool";
#else
    const auto dir =
        std::filesystem::temp_directory_path() /
        ("mp3d_gapless_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
    std::filesystem::create_directories(dir);
    const std::string d = dir.string();
    const std::string script =
        "cd '" + d + "' && sox -n -r 44100 -c 2 -b 16 in.wav synth 2.5 sine 300-3000 sine 440 " +
        "gain -3 && (printf '\\211PNG\\r\\n\\032\\n'; head -c 400000 /dev/zero) > pic.png && " +
        "lame --quiet --add-id3v2 --ti pic.png --tt title -b 128 in.wav in.mp3 && " +
        std::string(MP3D_CLI) + " decode -q in.mp3 out.wav";
    ASSERT_EQ(std::system(script.c_str()), 0) << script;

    Bytes in, out, mp3;
    ASSERT_TRUE(read_file(d + "/in.wav", in, nullptr) && read_file(d + "/out.wav", out, nullptr));
    ASSERT_TRUE(read_file(d + "/in.mp3", mp3, nullptr));
    EXPECT_GT(id3v2_tag_size(mp3.data(), mp3.size()), 400000u);
    EXPECT_EQ(find_trailing_tags(mp3.data(), mp3.size()).id3v1, 128u);
    EXPECT_EQ(out.size(), in.size()) << "the WAV length differs from the original";

    FloatReference reference;
    std::string error;
    ASSERT_TRUE(mpg123_decode_file(d + "/in.mp3", reference, &error, true)) << error;
    std::vector<double> decoded;
    for (size_t i = 44; i + 1 < out.size(); i += 2)
        decoded.push_back(static_cast<int16_t>(out[i] | out[i + 1] << 8) / 32768.0);
    EXPECT_EQ(decoded.size(), reference.samples.size());
    const Comparison c = compare_at(decoded, reference.samples, 0);
    EXPECT_TRUE(c.verdict == Verdict::Full || c.verdict == Verdict::Limited)
        << "RMS " << c.rms << ", max " << c.max_abs;
    std::filesystem::remove_all(dir);
#endif
}
