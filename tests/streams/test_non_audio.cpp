// Input that is not MPEG audio yields no PCM: random bytes, bytes dense with
// sync-like patterns, 16-bit sample data, and tags holding binary pictures,
// alone and around real streams (whose output must not change). The data
// comes from fixed seeds, generated here.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "harness/decode_run.h"
#include "support/fenced_decode.h"
#include "support/fixtures.h"

namespace {

using Bytes = std::vector<uint8_t>;
using mp3d_tools::decode_buffer;
using mp3d_tools::DecodeOptions;

Bytes random_bytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto &x : b) x = static_cast<uint8_t>(rng() >> 24);
    return b;
}

// Random bytes with a sync word and a random header byte every few hundred
// bytes: many candidates, none continued by a second header.
Bytes sync_dense(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes b;
    while (b.size() < n) {
        for (uint32_t k = rng() % 400; k > 0; --k) b.push_back(static_cast<uint8_t>(rng()));
        b.push_back(0xFF);
        b.push_back(static_cast<uint8_t>(0xE0 | (rng() & 0x1F)));
        b.push_back(static_cast<uint8_t>(rng()));
    }
    return b;
}

// Little-endian 16-bit noise of varying loudness, as in a WAV file.
Bytes pcm16(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> noise(0.0, 1.0);
    Bytes b;
    for (size_t i = 0; b.size() < n; ++i) {
        const double level = i % 40000 < 20000 ? 30.0 : 8000.0;
        const auto v =
            static_cast<int16_t>(std::max(-32768.0, std::min(32767.0, level * noise(rng))));
        b.push_back(static_cast<uint8_t>(v & 0xFF));
        b.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
    }
    return b;
}

void append_u32le(Bytes &b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

// An APEv2 tag (header, one binary item, footer) holding `picture`.
Bytes apev2(const Bytes &picture) {
    Bytes item;
    append_u32le(item, static_cast<uint32_t>(picture.size()));
    append_u32le(item, 2);  // binary
    for (char c : std::string("Cover Art (Front)")) item.push_back(static_cast<uint8_t>(c));
    item.push_back(0);
    item.insert(item.end(), picture.begin(), picture.end());
    auto header = [&](uint32_t flags) {
        Bytes h = {'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X'};
        append_u32le(h, 2000);
        append_u32le(h, static_cast<uint32_t>(item.size() + 32));
        append_u32le(h, 1);
        append_u32le(h, flags);
        h.resize(32, 0);
        return h;
    };
    Bytes tag = header(0xA0000000u);
    tag.insert(tag.end(), item.begin(), item.end());
    const Bytes footer = header(0x80000000u);
    tag.insert(tag.end(), footer.begin(), footer.end());
    return tag;
}

// An ID3v2.3 tag with one APIC frame holding `picture`.
Bytes id3v2(const Bytes &picture) {
    Bytes body = {0};
    for (char c : std::string("image/png")) body.push_back(static_cast<uint8_t>(c));
    body.insert(body.end(), {0, 3, 0});
    body.insert(body.end(), picture.begin(), picture.end());
    Bytes frame = {'A', 'P', 'I', 'C'};
    for (int i = 3; i >= 0; --i) frame.push_back(static_cast<uint8_t>(body.size() >> (8 * i)));
    frame.insert(frame.end(), {0, 0});
    frame.insert(frame.end(), body.begin(), body.end());
    Bytes tag = {'I', 'D', '3', 3, 0, 0};
    for (int i = 3; i >= 0; --i)
        tag.push_back(static_cast<uint8_t>((frame.size() >> (7 * i)) & 0x7F));
    tag.insert(tag.end(), frame.begin(), frame.end());
    return tag;
}

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

size_t pcm_words(const Bytes &data, size_t block) {
    DecodeOptions options;
    options.pcm_no_shift = true;
    options.block_size = block;
    return decode_buffer(data, options).words.size();
}

TEST(NonAudio, YieldsNoPcm) {
    const std::pair<const char *, Bytes> inputs[] = {
        {"random", random_bytes(3 << 20, 1)},        {"sync-dense", sync_dense(1 << 20, 2)},
        {"16-bit samples", pcm16(1 << 20, 3)},       {"APEv2 tag", apev2(random_bytes(600000, 4))},
        {"ID3v2 tag", id3v2(sync_dense(600000, 5))},
    };
    for (const auto &[name, data] : inputs)
        for (const size_t block : {65536u, 1000u}) {
            EXPECT_EQ(pcm_words(data, block), 0u) << name << ", block " << block;
        }
}

TEST(NonAudio, TagsAroundAStreamLeaveItsOutputAlone) {
    for (const char *path : {"tests/fixtures/layer3/m1_44k_joint_crc_cbr112.mp3",
                             "tests/fixtures/layer2/stereo_44k_64_pad.mp2",
                             "tests/fixtures/layer3/m2_22k_joint_cbr64.mp3"}) {
        SCOPED_TRACE(path);
        const Bytes stream = mp3d_test::read_source(path);
        ASSERT_FALSE(stream.empty());
        DecodeOptions options;
        options.pcm_no_shift = true;
        const auto clean = decode_buffer(stream, options).words;
        for (uint32_t seed = 10; seed < 13; ++seed) {
            const Bytes picture = random_bytes(300000 + 1000 * seed, seed);
            EXPECT_TRUE(decode_buffer(stream + apev2(picture), options).words == clean)
                << "APEv2 behind, seed " << seed;
            EXPECT_TRUE(decode_buffer(id3v2(picture) + stream, options).words == clean)
                << "ID3v2 in front, seed " << seed;
        }
    }
}

}  // namespace
