// Reading through the stream layer: inputs without audio or cut short,
// every size of read, inputs without seek callback, 16-bit output, the
// memory it asks for (placed against inaccessible pages) and its refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/fenced_decode.h"
#include "support/fixtures.h"
#include "support/stream_input.h"

using mp3d_test::OpenStream;
using Bytes = std::vector<uint8_t>;

namespace {

Bytes fixture(const std::string &name) {
    return mp3d_test::read_source(name);
}
void append(Bytes &to, const Bytes &from) {
    const size_t old = to.size();
    to.resize(old + from.size());
    if (!from.empty()) std::memcpy(to.data() + old, from.data(), from.size());
}
Bytes id3v2(uint32_t body) {
    Bytes b(10 + body, 0);
    const uint8_t head[6] = {'I', 'D', '3', 4, 0, 0};
    std::memcpy(b.data(), head, 6);
    for (int i = 0; i < 4; ++i) b[6 + i] = (body >> (21 - 7 * i)) & 0x7f;
    return b;
}
Bytes id3v1() {
    Bytes b(128, ' ');
    std::memcpy(b.data(), "TAG", 3);
    return b;
}

// A LAME file with an Info frame (gapless) and a Layer II file.
const char *kLame = "tests/fixtures/layer3/m1_44k_stereo_cbr128.mp3";
const char *kLayer2 = "tests/fixtures/layer2/mono_32k_48.mp2";

}  // namespace

TEST(StreamReading, InputsWithoutAudio) {
    // Tags only, nothing, garbage.
    Bytes tags = id3v2(5000);
    append(tags, id3v1());
    for (const Bytes &data : {tags, Bytes{}, Bytes(70000, 0x55)}) {
        OpenStream s(data);
        EXPECT_EQ(s.status, MP3D_STREAM_ERROR_NO_AUDIO);
        EXPECT_EQ(s.stream, nullptr);
        OpenStream once(data, false, 100);
        EXPECT_EQ(once.status, MP3D_STREAM_ERROR_NO_AUDIO);
    }
    // An information frame and no audio: opens, plays nothing, length 0.
    const Bytes lame = fixture(kLame);
    Bytes info_only(lame.begin(), lame.begin() + 417);
    ASSERT_EQ(info_only[36], 'I');  // "Info" behind 32 bytes of side information
    info_only[36 + 11] = 0;         // frames: 0
    for (bool seekable : {true, false}) {
        OpenStream s(info_only, seekable);
        ASSERT_EQ(s.status, MP3D_STREAM_OK);
        EXPECT_EQ(s.info().total_samples, 0);
        std::vector<int32_t> got;
        EXPECT_EQ(s.read(got), MP3D_STREAM_END);
        EXPECT_TRUE(got.empty());
        EXPECT_EQ(mp3d_stream_seek(s.stream, 1000), MP3D_STREAM_OK);
        EXPECT_EQ(s.read(got), MP3D_STREAM_END);
    }
}

// A file cut anywhere plays a prefix of the whole file's output (the frame
// cut in two lost, nothing invented) and seeks within what is left.
TEST(StreamReading, TruncatedFiles) {
    const Bytes whole = fixture(kLame);
    const std::vector<int32_t> full = mp3d_test::decode_all(whole);
    for (size_t cut :
         {size_t{417 + 2}, size_t{417 + 417 + 100}, whole.size() / 2, whole.size() - 1}) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<long>(cut));
        OpenStream s(part);
        ASSERT_EQ(s.status, MP3D_STREAM_OK) << cut;
        std::vector<int32_t> got;
        EXPECT_EQ(s.read(got), MP3D_STREAM_END);
        EXPECT_LE(got.size(), full.size());
        EXPECT_TRUE(std::equal(got.begin(), got.end(), full.begin())) << cut;
        // Frames wholly present are all played.
        const size_t frames = (cut - 417) / 417;
        EXPECT_GE(got.size() + 2 * (576 + 529 + 1152), frames * 1152 * 2) << cut;
        if (got.size() < 4000) continue;
        const int64_t at = static_cast<int64_t>(got.size()) / 4;
        ASSERT_EQ(mp3d_stream_seek(s.stream, at), MP3D_STREAM_OK);
        std::vector<int32_t> again;
        s.read(again);
        EXPECT_TRUE(std::equal(again.begin(), again.end(), got.begin() + at * 2)) << cut;
        EXPECT_EQ(again.size(), got.size() - static_cast<size_t>(at) * 2) << cut;
        // Beyond what is there: the end.
        ASSERT_EQ(mp3d_stream_seek(s.stream, static_cast<int64_t>(got.size())), MP3D_STREAM_OK);
        EXPECT_EQ(s.read(again), MP3D_STREAM_END);
    }
}

// Every read size from 1 byte up, with and without seek callback, and tags
// at both ends: the same output, the same tags found.
TEST(StreamReading, EveryReadSizeGivesTheSameOutput) {
    for (const char *name : {kLame, kLayer2}) {
        Bytes file = id3v2(3000);
        Bytes audio = fixture(name);
        audio.resize(std::min<size_t>(audio.size(), 6000));  // a few frames
        append(file, audio);
        append(file, id3v1());
        const std::vector<int32_t> expect = mp3d_test::decode_all(file);
        ASSERT_FALSE(expect.empty());
        for (int32_t size = 1; size <= 1200; size += size < 100 ? 1 : 37)
            for (bool seekable : {true, false}) {
                OpenStream s(file, seekable, size);
                ASSERT_EQ(s.status, MP3D_STREAM_OK) << name << ", " << size;
                std::vector<int32_t> got;
                EXPECT_EQ(s.read(got), MP3D_STREAM_END);
                ASSERT_EQ(got, expect)
                    << name << ", reads of " << size << " bytes, seekable " << seekable;
                const MP3D_Stream_Info info = s.info();
                EXPECT_EQ(info.id3v2.bytes, 3010);
                EXPECT_EQ(info.id3v1.bytes, 128) << "seekable " << seekable;
                EXPECT_EQ(info.audio_end, static_cast<int64_t>(file.size() - 128));
            }
    }
}

// Without seek callback: forward seeks decode and drop, backward ones are
// refused; position and output as with one.
TEST(StreamReading, ForwardOnlyInput) {
    const Bytes file = fixture(kLame);
    const std::vector<int32_t> full = mp3d_test::decode_all(file);
    OpenStream s(file, false);
    ASSERT_EQ(s.status, MP3D_STREAM_OK);
    EXPECT_EQ(s.info().seekable, 0);
    std::vector<int32_t> got;
    s.read(got, 1000);
    EXPECT_EQ(mp3d_stream_seek(s.stream, 500), MP3D_STREAM_ERROR_SEEK);
    ASSERT_EQ(mp3d_stream_seek(s.stream, 5000), MP3D_STREAM_OK);
    EXPECT_EQ(mp3d_stream_tell(s.stream), 5000);
    got.clear();
    s.read(got, 3000);
    EXPECT_TRUE(std::equal(got.begin(), got.end(), full.begin() + 5000 * 2));
    EXPECT_GE(mp3d_stream_tell(s.stream), 8000);  // whole blocks were read
    EXPECT_LT(mp3d_stream_tell(s.stream), 8000 + 576);
}

// 16-bit output is the 24-bit output rounded by mp3d_pcm_round16; blocks
// report their position and count; trimming off keeps whole frames.
TEST(StreamReading, BlocksAnd16BitOutput) {
    const Bytes file = fixture(kLame);
    const std::vector<int32_t> full = mp3d_test::decode_all(file);
    MP3D_Stream_Config config{};
    config.pcm_16bit = 1;
    OpenStream s(file, true, 1 << 30, config);
    ASSERT_EQ(s.status, MP3D_STREAM_OK);
    std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Stream_Block block{};
    int64_t position = 0;
    size_t mismatches = 0;
    while (mp3d_stream_read(s.stream, pcm.data(), &block) == MP3D_STREAM_OK) {
        EXPECT_EQ(block.position, position);
        EXPECT_EQ(block.num_channels, 2);
        EXPECT_EQ(block.sample_rate, 44100);
        EXPECT_EQ(block.format_changed, 0);
        EXPECT_GT(block.samples, 0);
        EXPECT_LE(block.samples, 576);
        int16_t words[2 * 576];
        std::memcpy(words, pcm.data(), sizeof(int16_t) * 2 * static_cast<size_t>(block.samples));
        for (int i = 0; i < 2 * block.samples; ++i)
            mismatches += words[i] != mp3d_pcm_round16(full[static_cast<size_t>(position * 2 + i)]);
        position += block.samples;
    }
    EXPECT_EQ(position * 2, static_cast<int64_t>(full.size()));
    EXPECT_EQ(mismatches, 0u);
    MP3D_Stream_Stats stats{};
    ASSERT_EQ(mp3d_stream_get_stats(s.stream, &stats), MP3D_STREAM_OK);
    EXPECT_EQ(stats.status_counts[MP3D_OK], 2 * s.info().info_frames);
    EXPECT_EQ(stats.frames, s.info().info_frames);
    EXPECT_EQ(stats.layer3_granules, 2 * s.info().info_frames);
    EXPECT_EQ(stats.min_bitrate_kbps, 128);
    EXPECT_EQ(stats.max_bitrate_kbps, 128);
    // The head once, and the last bytes for the end tags.
    EXPECT_LE(stats.bytes_read, static_cast<int64_t>(file.size()) + 355);
}

// A stream whose rate and channels change: the block that brings the change
// says so, the others do not.
TEST(StreamReading, FormatChangeIsReported) {
    Bytes file = fixture("tests/fixtures/layer2/stereo_44k_192.mp2");
    append(file, fixture(kLayer2));
    OpenStream s(file);
    ASSERT_EQ(s.status, MP3D_STREAM_OK);
    std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Stream_Block block{};
    int changes = 0, mono_blocks = 0;
    while (mp3d_stream_read(s.stream, pcm.data(), &block) == MP3D_STREAM_OK) {
        if (block.format_changed) {
            ++changes;
            EXPECT_EQ(block.num_channels, 1);
            EXPECT_EQ(block.sample_rate, 32000);
        }
        mono_blocks += block.num_channels == 1;
    }
    EXPECT_EQ(changes, 1);
    EXPECT_GT(mono_blocks, 10);
}

// The three chunks at exactly the sizes asked for, each against an
// inaccessible page behind and in front, and the output area too: a whole
// decode and seeks touch nothing outside them.
TEST(StreamReading, StaysInsideItsMemory) {
    for (const char *name : {kLame, kLayer2, "tests/fixtures/layer3/m1_48k_joint_free160.mp3"}) {
        const Bytes file = fixture(name);
        const std::vector<int32_t> expect = mp3d_test::decode_all(file);
        for (bool before : {false, true}) {
            mp3d_test::MemoryFile input{&file};
            MP3D_Stream_Config config{};
            config.read = mp3d_test::memory_read;
            config.seek = mp3d_test::memory_seek;
            config.user = &input;
            config.buffer_bytes = 8192;
            config.index_entries = 16;
            ASSERT_EQ(mp3d_stream_query_mem(&config), MP3D_STREAM_OK);
            // The fence is page-aligned in front; behind, sizes are multiples of 8.
            mp3d_test::FencedBuffer c0(static_cast<size_t>(config.mem_size[0]), before),
                c1(static_cast<size_t>(config.mem_size[1]), before),
                c2(static_cast<size_t>(config.mem_size[2]), before),
                out(MP3D_STREAM_PCM_BYTES, before);
            config.mem[0] = c0.data(), config.mem[1] = c1.data(), config.mem[2] = c2.data();
            MP3D_Stream *s = nullptr;
            ASSERT_EQ(mp3d_stream_open(&config, &s), MP3D_STREAM_OK) << name;
            MP3D_Stream_Block block{};
            std::vector<int32_t> got;
            auto *pcm = reinterpret_cast<int32_t *>(out.data());
            while (mp3d_stream_read(s, pcm, &block) == MP3D_STREAM_OK)
                got.insert(got.end(), pcm, pcm + block.samples * block.num_channels);
            EXPECT_EQ(got, expect) << name;
            for (int64_t at : {int64_t{3000}, int64_t{0}, int64_t{20000}}) {
                ASSERT_EQ(mp3d_stream_seek(s, at), MP3D_STREAM_OK);
                while (mp3d_stream_read(s, pcm, &block) == MP3D_STREAM_OK) {
                }
            }
        }
    }
}

TEST(StreamReading, RefusesBadArguments) {
    MP3D_Stream_Config config{};
    EXPECT_EQ(mp3d_stream_query_mem(nullptr), MP3D_STREAM_ERROR_ARGUMENT);
    config.buffer_bytes = 4096;  // below the minimum
    EXPECT_EQ(mp3d_stream_query_mem(&config), MP3D_STREAM_ERROR_ARGUMENT);
    config.buffer_bytes = 0;
    ASSERT_EQ(mp3d_stream_query_mem(&config), MP3D_STREAM_OK);
    MP3D_Stream *s = reinterpret_cast<MP3D_Stream *>(&config);
    EXPECT_EQ(mp3d_stream_open(&config, &s), MP3D_STREAM_ERROR_ARGUMENT);  // no read callback
    EXPECT_EQ(s, nullptr);
    const Bytes file = fixture(kLame);
    mp3d_test::MemoryFile input{&file};
    config.read = mp3d_test::memory_read;
    config.user = &input;
    std::vector<uint64_t> mem[3];
    for (int i = 0; i < 3; ++i) {
        mem[i].resize(static_cast<size_t>(config.mem_size[i]) / 8 + 1);
        config.mem[i] = mem[i].data();
    }
    config.mem[2] = reinterpret_cast<uint8_t *>(mem[2].data()) + 4;  // misaligned
    EXPECT_EQ(mp3d_stream_open(&config, &s), MP3D_STREAM_ERROR_ARGUMENT);
    config.mem[2] = mem[2].data();
    ASSERT_EQ(mp3d_stream_open(&config, &s), MP3D_STREAM_OK);
    MP3D_Stream_Block block;
    EXPECT_EQ(mp3d_stream_read(s, nullptr, &block), MP3D_STREAM_ERROR_ARGUMENT);
    EXPECT_EQ(mp3d_stream_read(nullptr, mem[0].data(), &block), MP3D_STREAM_ERROR_ARGUMENT);
    EXPECT_EQ(mp3d_stream_seek(nullptr, 0), MP3D_STREAM_ERROR_ARGUMENT);
    // A read callback that fails.
    config.read = [](void *, uint8_t *, int32_t) -> int32_t { return -1; };
    EXPECT_EQ(mp3d_stream_open(&config, &s), MP3D_STREAM_ERROR_IO);
}

// Files joined behind a LAME file, read with and without seek callback: the
// audio runs on past what the Info frame counts, so the end is not cut and
// everything plays.
TEST(StreamReading, JoinedFilesPlayToTheEnd) {
    const Bytes one = fixture(kLame);
    Bytes two = one;
    append(two, one);
    const std::vector<int32_t> single = mp3d_test::decode_all(one);
    for (bool seekable : {true, false}) {
        OpenStream s(two, seekable);
        ASSERT_EQ(s.status, MP3D_STREAM_OK);
        std::vector<int32_t> got;
        s.read(got);
        EXPECT_EQ(s.info().longer_than_tag, 1) << seekable;
        EXPECT_EQ(s.info().length_exact, 0) << seekable;
        // The first file's padding and the second's Info frame (silence)
        // and delay play too.
        EXPECT_GT(got.size(), 2 * single.size()) << seekable;
        EXPECT_TRUE(std::equal(single.begin(), single.end(), got.begin())) << seekable;
    }
    OpenStream alone(one, false);
    std::vector<int32_t> got;
    alone.read(got);
    EXPECT_EQ(alone.info().longer_than_tag, 0);
    EXPECT_EQ(got, single);
}

// Tags of every kind around the audio, as large as they come: two ID3v2
// tags in front (2 MB with footer, then a small one), APEv2, an ID3v2 tag
// with footer and ID3v1 behind. Only the audio plays, with or without seek
// callback and with short reads, and seeks land as in the bare audio.
TEST(StreamReading, TagsAroundTheAudio) {
    Bytes big = id3v2(2'000'000);
    big[5] = 0x10;  // footer present
    const uint8_t footer[10] = {'3', 'D', 'I', 4, 0, 0x10, big[6], big[7], big[8], big[9]};
    big.insert(big.end(), footer, footer + 10);
    const Bytes audio = fixture(kLame);
    Bytes file = big;
    append(file, id3v2(10));
    append(file, audio);
    const size_t ape_at = file.size();
    Bytes ape(64 + 200, 'x');
    for (size_t at : {size_t{0}, size_t{232}}) {
        std::fill_n(ape.begin() + static_cast<long>(at), 32, 0);
        std::memcpy(&ape[at], "APETAGEX\xd0\x07", 10);
        ape[at + 12] = 232, ape[at + 16] = 1, ape[at + 23] = at ? 0x80 : 0xa0;
    }
    append(file, ape);
    Bytes end_id3 = id3v2(60);
    end_id3[5] = 0x10;
    const uint8_t end_footer[10] = {'3', 'D', 'I', 4, 0, 0x10, 0, 0, 0, 60};
    end_id3.insert(end_id3.end(), end_footer, end_footer + 10);
    append(file, end_id3);
    append(file, id3v1());
    const std::vector<int32_t> expect = mp3d_test::decode_all(audio);
    for (bool seekable : {true, false})
        for (int32_t reads : {1 << 30, 1000}) {
            OpenStream s(file, seekable, reads);
            ASSERT_EQ(s.status, MP3D_STREAM_OK);
            std::vector<int32_t> got;
            s.read(got);
            EXPECT_EQ(got, expect) << seekable << " " << reads;
            const MP3D_Stream_Info i = s.info();
            EXPECT_EQ(i.id3v2.bytes, 2'000'020 + 20);
            EXPECT_EQ(i.apev2.offset, static_cast<int64_t>(ape_at));
            EXPECT_EQ(i.apev2.bytes, 264);
            EXPECT_EQ(i.id3v2_end.bytes, 80);
            EXPECT_EQ(i.id3v1.bytes, 128);
            if (!seekable) continue;
            for (int64_t at : {int64_t{20000}, int64_t{5}, int64_t{30000}}) {
                ASSERT_EQ(mp3d_stream_seek(s.stream, at), MP3D_STREAM_OK);
                got.clear();
                s.read(got);
                EXPECT_TRUE(std::equal(got.begin(), got.end(), expect.begin() + 2 * at));
                EXPECT_EQ(got.size(), expect.size() - 2 * static_cast<size_t>(at));
            }
        }
}

// Damaged files: bytes changed at random places (frame headers, the Info
// frame, tags, audio), random cuts and random seeks. Whatever the damage,
// open either refuses or gives a stream that reads to its end within a
// bounded number of calls, and seeks return. (Run under the sanitizers, the
// same test checks every access.)
TEST(StreamReading, DamagedFilesStaySafe) {
    Bytes base = id3v2(300);
    append(base, fixture(kLame));
    append(base, id3v1());
    const Bytes layer2 = fixture(kLayer2);
    std::mt19937 random(2024);
    for (int round = 0; round < 300; ++round) {
        Bytes file = round % 3 == 2 ? layer2 : base;
        const int changes = 1 + static_cast<int>(random() % 40);
        for (int i = 0; i < changes; ++i) {
            // Half the changes near the start: tags, Info frame, first headers.
            const size_t span = random() % 2 ? std::min<size_t>(file.size(), 1500) : file.size();
            file[random() % span] = static_cast<uint8_t>(random());
        }
        if (random() % 4 == 0) file.resize(random() % file.size());
        const bool seekable = random() % 2;
        OpenStream s(file, seekable, 1 + static_cast<int32_t>(random() % 5000));
        if (s.status != MP3D_STREAM_OK) {
            EXPECT_TRUE(s.status == MP3D_STREAM_ERROR_NO_AUDIO) << round << ": " << s.status;
            continue;
        }
        std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
        MP3D_Stream_Block block{};
        for (int pass = 0; pass < 3; ++pass) {
            int calls = 0;
            while (mp3d_stream_read(s.stream, pcm.data(), &block) == MP3D_STREAM_OK) {
                ASSERT_LT(++calls, 4000) << round;
                ASSERT_GT(block.samples, 0);
                ASSERT_LE(block.samples * block.num_channels, MP3D_MAX_OUTPUT_WORDS);
            }
            const int64_t at = static_cast<int64_t>(random() % 60000);
            const int32_t status = mp3d_stream_seek(s.stream, at);
            EXPECT_TRUE(status == MP3D_STREAM_OK || (!seekable && status == MP3D_STREAM_ERROR_SEEK))
                << round << ": " << status;
        }
    }
}
