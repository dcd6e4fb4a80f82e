// The per-call cycle: end of stream, error reset, end-of-frame steps, and a
// walk through the conformance streams checking the reported frame facts.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "decoder/frame_cycle.h"
#include "decoder/mp2_decode_frame.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using mp3d_test::BitWriter;
using mp3d_test::HeaderFields;
using mp3d_test::StreamDecoder;

namespace {

HeaderFields layer2_frame() {
    HeaderFields f;
    f.layer_field = 2;
    f.bitrate_index = 8;  // 417 bytes at 44100 Hz
    return f;
}

}  // namespace

TEST(FrameCycle, EndOfStreamIsReportedOnEveryLaterCall) {
    BitWriter w;
    mp3d_test::put_zero_frame(w, layer2_frame());
    mp3d_test::put_zero_frame(w, layer2_frame());
    StreamDecoder d(w.bytes(), 50);
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
    EXPECT_EQ(d.end_reports(), 1);  // the callback is not asked again
}

TEST(FrameCycle, InputEndingInsideAHeaderEndsTheStream) {
    BitWriter w;
    mp3d_test::put_zero_frame(w, layer2_frame());
    std::vector<uint8_t> bytes = w.bytes();
    bytes.push_back(0xFF);
    bytes.push_back(0xFD);  // the next header is cut after two bytes
    StreamDecoder d(bytes);
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    info.layer = -7;
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
    EXPECT_EQ(info.layer, -7);
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
}

TEST(FrameCycle, MainDataCutByTheEndOfInputEndsTheStream) {
    HeaderFields f;  // Layer III stereo, 417 bytes
    BitWriter w;
    mp3d_test::put_zero_frame(w, f);
    mp3d_test::put_zero_frame(w, f);
    std::vector<uint8_t> bytes = w.bytes();
    bytes.resize(bytes.size() - 100);
    StreamDecoder d(bytes, 64);
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
}

TEST(FrameCycle, FrameInfoIsWrittenWhenAFrameBegins) {
    HeaderFields f;  // MPEG-1 Layer III stereo 44100 Hz 128 kbit/s
    BitWriter w;
    mp3d_test::put_zero_frame(w, f);
    f.protection_bit = 0;  // with a check word, which is not verified
    mp3d_test::put_header(w, f);
    w.put(0xBEEF, 16);
    w.fill(0, 417 - 6);
    StreamDecoder d(w.bytes());
    ASSERT_EQ(d.init(), MP3D_OK);
    for (int frame = 0; frame < 2; ++frame) {
        MP3D_Frame_Info info{};
        EXPECT_EQ(d.decode(&info), MP3D_OK);
        EXPECT_EQ(info.sample_rate, 44100);
        EXPECT_EQ(info.num_channels, 2);
        EXPECT_EQ(info.samples_per_frame, 1152);
        EXPECT_EQ(info.bitrate_kbps, 128);
        EXPECT_EQ(info.layer, 3);
        EXPECT_EQ(d.state()->granule_index, 1);
        MP3D_Frame_Info second{-1, -1, -1, -1, -1};
        EXPECT_EQ(d.decode(&second), MP3D_OK);
        EXPECT_EQ(second.layer, -1);  // untouched by the second granule
        EXPECT_EQ(d.state()->granule_index, 0);
    }
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
}

TEST(FrameCycle, ErrorResetKeepsInputAndHistory) {
    std::vector<uint8_t> stream(64, 0x11);
    StreamDecoder d(stream, 16);
    ASSERT_EQ(d.init(), MP3D_OK);
    auto *s = d.state();
    for (int i = 0; i < 3; ++i) mp3d::getbits1(12, s);
    s->res_write_index = 100;
    s->res_read_index = 50;
    s->res_bits_consumed = 77;
    s->res_window = 5;
    s->res_bits_in_window = 9;
    s->main_data_end = 300;
    s->reservoir_buffer[17] = 9;
    s->overlap_buffer[5] = 3;
    s->prev_block_type[7] = 2;
    s->free_format_slots = 418;
    s->free_format_bitrate = 129;
    s->frame_start_bit = 1000;
    s->granule_index = 1;
    s->synthesis_buffer[100] = 42;
    s->spectral_buffer[3] = 43;
    s->prev_nonzero_subbands[0] = 7;
    s->nonzero_subbands[1] = 8;
    s->input_exhausted = 1;
    const uint8_t *read_ptr = s->input_read_ptr;
    const int32_t left = s->input_bytes_left;

    mp3d::HandleError(s);
    EXPECT_EQ(s->res_write_index, 0);
    EXPECT_EQ(s->res_read_index, 0);
    EXPECT_EQ(s->res_bits_consumed, 0);
    EXPECT_EQ(s->res_window, 0u);
    EXPECT_EQ(s->res_bits_in_window, 0);
    EXPECT_EQ(s->main_data_end, 0);
    EXPECT_EQ(s->reservoir_buffer[17], 0);
    EXPECT_EQ(s->overlap_buffer[5], 0);
    EXPECT_EQ(s->prev_block_type[7], 0u);
    EXPECT_EQ(s->free_format_slots, 0);
    EXPECT_EQ(s->frame_start_bit, 0u);
    EXPECT_EQ(s->bits_consumed, 0u);
    EXPECT_EQ(s->bits_in_window, 0);
    EXPECT_EQ(s->bit_window, 0u);
    EXPECT_EQ(s->end_of_bitstream, 0);
    EXPECT_EQ(s->granule_index, 0);
    // Kept: the input position, the end flag, histories and free-format rate.
    EXPECT_EQ(s->input_read_ptr, read_ptr);
    EXPECT_EQ(s->input_bytes_left, left);
    EXPECT_EQ(s->input_exhausted, 1);
    EXPECT_EQ(s->free_format_bitrate, 129);
    EXPECT_EQ(s->synthesis_buffer[100], 42);
    EXPECT_EQ(s->spectral_buffer[3], 43);
    EXPECT_EQ(s->prev_nonzero_subbands[0], 7);
    EXPECT_EQ(s->nonzero_subbands[1], 8);
}

TEST(FrameCycle, LayerIIEndOfFrameSkipsAncillaryData) {
    // A 417-byte frame whose last bytes are ancillary data containing sync
    // patterns: the end-of-frame step must pass over them.
    BitWriter w;
    mp3d_test::put_header(w, layer2_frame());
    w.fill(0, 300);
    w.fill(0xFF, 100);
    w.fill(0, 417 - 404);
    HeaderFields second = layer2_frame();
    second.mode = 3;
    mp3d_test::put_zero_frame(w, second);
    StreamDecoder d(w.bytes(), 7);
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(info.num_channels, 2);
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(info.num_channels, 1);
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
}

TEST(FrameCycle, HostileStreamsEndCleanly) {
    // Sync words with random header fields and random payloads of random
    // length: every call must return a defined code, the reservoir must stay
    // within its buffer (the sanitizer builds check the accesses), and the
    // stream must end.
    uint32_t seed = 12345;
    auto next = [&seed](uint32_t range) {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % range;
    };
    for (int round = 0; round < 20; ++round) {
        BitWriter w;
        for (int k = 0; k < 40; ++k) {
            w.put(0xFFE00000u | next(1u << 21), 32);
            if (next(4) == 0) w.put_byte(0);  // some headers off the expected spot
            const uint32_t payload = next(2200);
            for (uint32_t i = 0; i < payload; ++i)
                w.put_byte(next(8) == 0 ? 0xFF : static_cast<uint8_t>(next(256)));
        }
        StreamDecoder d(w.bytes(), 1 + static_cast<int>(next(700)));
        ASSERT_EQ(d.init(), MP3D_OK);
        int calls = 0;
        for (;; ++calls) {
            ASSERT_LT(calls, 20000);
            MP3D_Frame_Info info{};
            const int32_t code = d.decode(&info);
            if (code == MP3D_END_OF_STREAM) break;
            const bool known = code == MP3D_OK || (code >= 31 && code <= 41 && code != 35);
            ASSERT_TRUE(known) << code;
            const auto *s = d.state();
            ASSERT_GE(s->res_write_index, 0);
            ASSERT_LE(s->res_write_index, mp3d::kReservoirBytes);
        }
    }
}

// ---------------------------------------------------------------------------
// Conformance streams: the frames are found by the test itself from the
// standard's header rules, then the decoder's reports are compared.

namespace {

struct ScannedFrame {
    int layer, sample_rate, channels, samples, kbps;
};

struct ParsedHeader {
    HeaderFields f;
    bool valid;
};

ParsedHeader parse_header(const std::vector<uint8_t> &b, size_t p) {
    ParsedHeader h{};
    if (p + 4 > b.size() || b[p] != 0xFF || (b[p + 1] & 0xE0) != 0xE0) return h;
    h.f.id = (b[p + 1] >> 3) & 3;
    h.f.layer_field = (b[p + 1] >> 1) & 3;
    h.f.protection_bit = b[p + 1] & 1;
    h.f.bitrate_index = b[p + 2] >> 4;
    h.f.sampling_frequency = (b[p + 2] >> 2) & 3;
    h.f.padding_bit = (b[p + 2] >> 1) & 1;
    h.f.mode = b[p + 3] >> 6;
    h.valid = h.f.id != 1 && h.f.layer_field != 0 && h.f.bitrate_index != 15 &&
              h.f.sampling_frequency != 3;
    return h;
}

// Frame length of a free-format stream: distance from the first header to
// the next header of the same kind, less the first frame's padding byte.
int free_format_length(const std::vector<uint8_t> &b, size_t first) {
    for (size_t p = first + 4; p + 4 <= b.size(); ++p) {
        if (b[p] == b[first] && b[p + 1] == b[first + 1] &&
            (b[p + 2] & 0xFC) == (b[first + 2] & 0xFC))
            return static_cast<int>(p - first) - ((b[first + 2] >> 1) & 1);
    }
    return 0;
}

std::vector<ScannedFrame> scan_frames(const std::vector<uint8_t> &b, bool *free_format) {
    std::vector<ScannedFrame> frames;
    *free_format = false;
    int free_length = 0;
    // Leading bytes before the first header are skipped by the decoder's
    // sync search.
    size_t p = 0;
    while (p + 4 <= b.size() && !parse_header(b, p).valid) ++p;
    const size_t first = p;
    for (;;) {
        const ParsedHeader h = parse_header(b, p);
        if (!h.valid) break;
        const int layer = 4 - h.f.layer_field;
        int length = mp3d_test::frame_bytes(h.f);
        if (h.f.bitrate_index == 0) {
            *free_format = true;
            if (free_length == 0) free_length = free_format_length(b, first);
            length = free_length + h.f.padding_bit;
        }
        if (length <= 4 || p + static_cast<size_t>(length) > b.size()) break;
        ScannedFrame f;
        f.layer = layer;
        f.sample_rate = mp3d_test::sample_rate_hz(h.f.id, h.f.sampling_frequency);
        f.channels = h.f.mode == 3 ? 1 : 2;
        f.samples = (layer == 3 && h.f.id != 3) ? 576 : 1152;
        f.kbps = mp3d_test::bitrate_kbps(h.f.id, layer, h.f.bitrate_index);
        frames.push_back(f);
        p += static_cast<size_t>(length);
    }
    return frames;
}

std::vector<uint8_t> read_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// Walks one stream call by call: each frame the scan found must begin one
// call (two for MPEG-1 Layer III, whose second granule call must succeed)
// that reports the frame's facts; Layer III frames may instead report missing
// main data. Then the end of stream.
void walk_stream(const std::string &name, const std::vector<uint8_t> &bytes) {
    bool free_format = false;
    std::vector<ScannedFrame> frames = scan_frames(bytes, &free_format);
    ASSERT_GT(frames.size(), 1u) << name;
    // A free-format stream's first frame is measured, not decoded.
    if (free_format) frames.erase(frames.begin());
    StreamDecoder d(bytes, 1000);
    ASSERT_EQ(d.init(), MP3D_OK);
    size_t frame = 0;
    for (int calls = 0;; ++calls) {
        ASSERT_LT(calls, 100000) << name;
        const bool begins = d.state()->granule_index == 0;
        MP3D_Frame_Info info{-1, -1, -1, -1, -1};
        const int32_t code = d.decode(&info);
        if (code == MP3D_END_OF_STREAM) break;
        if (!begins) {
            ASSERT_EQ(code, MP3D_OK) << name << " frame " << frame;
            continue;
        }
        ASSERT_LT(frame, frames.size()) << name << ": more frames than the stream holds";
        if (code == MP3D_ERROR_MAIN_DATA && frames[frame].layer == 3) {
            ++frame;
            continue;
        }
        ASSERT_EQ(code, MP3D_OK) << name << " frame " << frame;
        const ScannedFrame &want = frames[frame];
        EXPECT_EQ(info.layer, want.layer) << name << " frame " << frame;
        EXPECT_EQ(info.sample_rate, want.sample_rate) << name << " frame " << frame;
        EXPECT_EQ(info.num_channels, want.channels) << name << " frame " << frame;
        EXPECT_EQ(info.samples_per_frame, want.samples) << name << " frame " << frame;
        EXPECT_EQ(info.bitrate_kbps, want.kbps) << name << " frame " << frame;
        ++frame;
    }
    EXPECT_EQ(frame, frames.size()) << name;
}

std::filesystem::path conformance_dir() {
    // MP3D_SHARED_DIR in the environment overrides the build's location.
    const char *env = std::getenv("MP3D_SHARED_DIR");
    return std::filesystem::path(env != nullptr ? env : MP3D_SHARED_DIR) / "conformance";
}

// The conformance streams whose first frame has the given layer.
std::vector<std::filesystem::path> streams_of_layer(int layer) {
    std::vector<std::filesystem::path> out;
    for (const auto &entry : std::filesystem::directory_iterator(conformance_dir())) {
        if (entry.path().extension() != ".bit") continue;
        bool free_format = false;
        const auto frames = scan_frames(read_file(entry.path()), &free_format);
        if (!frames.empty() && frames[0].layer == layer) out.push_back(entry.path());
    }
    return out;
}

// Frames are only delimited correctly once the layer's own reader consumes
// its part of each frame: the Layer III side information, or the Layer II
// frame body (the end-of-frame step falls 12 bits further short of the frame
// end with each frame until the decoded data reaches past its target).
// Probe for those readers on a synthetic frame, so that the walks wait for
// them instead of failing on false sync words inside frames.
bool layer_reader_consumes_frame(int layer) {
    HeaderFields f;
    f.layer_field = 4 - layer;
    BitWriter w;
    mp3d_test::put_zero_frame(w, f);
    StreamDecoder d(w.bytes());
    if (d.init() != MP3D_OK) return false;
    auto *s = d.state();
    if (mp3d::Mp3_Decode_Info(s) != MP3D_OK) return false;
    if (layer == 3) return s->bits_consumed == 8u * 417u;  // header, side info, main data
    const uint32_t header_bits = s->bits_consumed;
    mp3d::MP2D_decode_frame(d.output().data(), s);
    return s->bits_consumed > header_bits;  // at least the allocation was read
}

}  // namespace

TEST(FrameCycle, ConformanceLayerIIIStreamsReportEveryFrame) {
    if (!std::filesystem::is_directory(conformance_dir()))
        GTEST_SKIP() << "no conformance streams at " << conformance_dir();
    if (!layer_reader_consumes_frame(3))
        GTEST_SKIP() << "the Layer III side-information reader is not in this build";
    const auto streams = streams_of_layer(3);
    EXPECT_FALSE(streams.empty());
    for (const auto &path : streams) walk_stream(path.filename().string(), read_file(path));
}

TEST(FrameCycle, ConformanceLayerIIStreamsReportEveryFrame) {
    if (!std::filesystem::is_directory(conformance_dir()))
        GTEST_SKIP() << "no conformance streams at " << conformance_dir();
    if (!layer_reader_consumes_frame(2))
        GTEST_SKIP() << "the Layer II frame decoder is not in this build";
    const auto streams = streams_of_layer(2);
    EXPECT_FALSE(streams.empty());
    for (const auto &path : streams) walk_stream(path.filename().string(), read_file(path));
}

TEST(FrameCycle, ConformanceLayerIStreamIsRefused) {
    // Layer I frames (576 bytes here) are refused at their header; the next
    // search starts inside the refused frame and may run out of reach (36) or
    // meet a false sync word in its data before it finds the next header.
    const auto path = conformance_dir() / "l1-fl1.bit";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no " << path;
    const auto bytes = read_file(path);
    bool free_format = false;
    const auto frames = scan_frames(bytes, &free_format);
    ASSERT_GT(frames.size(), 10u);
    ASSERT_EQ(frames[0].layer, 1);
    StreamDecoder d(bytes, 1000);
    ASSERT_EQ(d.init(), MP3D_OK);
    int calls = 0, refused = 0;
    for (;; ++calls) {
        ASSERT_LT(calls, 100000);
        MP3D_Frame_Info info{-1, -1, -1, -1, -1};
        const int32_t code = d.decode(&info);
        if (code == MP3D_END_OF_STREAM) break;
        EXPECT_NE(info.layer, 1);
        if (code == MP3D_ERROR_LAYER) ++refused;
    }
    EXPECT_GE(refused * 10, static_cast<int>(frames.size()) * 9)
        << refused << " of " << frames.size();
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
    EXPECT_EQ(d.decode(&info), MP3D_END_OF_STREAM);
}
