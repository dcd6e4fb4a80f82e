// The per-call cycle: frame info, end of stream, the error reset, and hostile
// streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "harness/decode_run.h"
#include "support/bit_writer.h"
#include "support/fixtures.h"
#include "support/stream_harness.h"

using mp3d_test::BitWriter;
using mp3d_test::decode_to_end;

TEST(FrameCycle, FrameInfoIsWrittenWhenAFrameBeginsAndTheEndRepeats) {
    // MPEG-1 Layer III stereo, 44100 Hz, 128 kbit/s; the second frame carries
    // a check word, which is skipped unverified.
    BitWriter w;
    mp3d_test::put_zero_frame(w, {});
    mp3d_test::put_header(w, {.protection_bit = 0});
    w.put(0xBEEF, 16).fill(0, 417 - 6);
    auto d = mp3d_test::started(w.bytes());
    for (int call = 0; call < 4; ++call) {
        MP3D_Frame_Info f{-1, -1, -1, -1, -1};
        EXPECT_EQ(d->decode(&f), MP3D_OK);
        EXPECT_EQ(
            (std::vector<int>{f.sample_rate, f.num_channels, f.samples_per_frame, f.bitrate_kbps,
                              f.layer}),
            (call % 2 == 0 ? std::vector<int>{44100, 2, 1152, 128, 3} : std::vector<int>(5, -1)));
    }
    // The end is reported on every later call; the callback is not asked again.
    for (int call = 0; call < 2; ++call)
        EXPECT_EQ(decode_to_end(*d), std::vector<int32_t>{MP3D_END_OF_STREAM});
    EXPECT_EQ(d->end_reports(), 1);
}

TEST(FrameCycle, ErrorResetClearsTheStreamStateOnly) {
    auto d = mp3d_test::started(std::vector<uint8_t>(64, 0x11), 16);
    auto *s = d->state();
    mp3d::getbits1(12, s);
    s->res_write_index = s->res_read_index = s->res_bits_consumed = s->main_data_end = 100;
    s->free_format_slots = s->granule_index = s->input_exhausted = 1;
    s->reservoir_buffer[17] = s->overlap_buffer[5] = s->prev_block_type[7] = 9;
    s->synthesis_buffer[100] = 42;
    s->free_format_bitrate = 129;
    const uint8_t *read_ptr = s->input_read_ptr;
    mp3d::HandleError(s);
    EXPECT_EQ((std::vector<int64_t>{s->res_write_index, s->res_read_index, s->res_bits_consumed,
                                    s->main_data_end, s->free_format_slots, s->granule_index,
                                    s->reservoir_buffer[17], s->overlap_buffer[5],
                                    s->prev_block_type[7], s->bits_consumed, s->bits_in_window}),
              std::vector<int64_t>(11, 0));
    // Kept: the input position and end flag, the synthesis history and the
    // free-format bitrate.
    EXPECT_EQ(s->input_read_ptr, read_ptr);
    EXPECT_EQ((std::vector<int64_t>{s->input_exhausted, s->synthesis_buffer[100],
                                    s->free_format_bitrate}),
              (std::vector<int64_t>{1, 42, 129}));
}

TEST(FrameCycle, HostileStreamsEndCleanly) {
    // Sync words with random header fields and random payloads of random
    // length, fed in random block sizes: every call returns a defined code,
    // the reservoir stays within its buffer (the sanitizer builds check every
    // access), and the stream ends.
    std::mt19937 rng(12345);
    for (int round = 0; round < 20; ++round) {
        BitWriter w;
        for (int k = 0; k < 40; ++k) {
            w.put(0xFFE00000u | (rng() >> 11), 32);
            if (rng() % 4 == 0) w.put_byte(0);  // some headers off the expected spot
            for (uint32_t i = rng() % 2200; i > 0; --i)
                w.put_byte(rng() % 8 == 0 ? 0xFF : rng() & 0xFF);
        }
        auto d = mp3d_test::started(w.bytes(), 1 + static_cast<int>(rng() % 700));
        const auto codes = decode_to_end(*d, nullptr, 20000);
        ASSERT_EQ(codes.back(), MP3D_END_OF_STREAM);
        for (int32_t code : codes)
            ASSERT_TRUE(code <= 1 || (code >= 31 && code <= 41 && code != 35)) << code;
        const int32_t written = d->state()->res_write_index;
        ASSERT_TRUE(written >= 0 && written <= mp3d::kReservoirBytes) << written;
    }
}

TEST(FrameCycle, SixteenBitOutputIsTheShifted24BitOutput) {
    // The 24-bit output is pinned by checksum; the 16-bit output (the shift
    // applied while interleaving into the caller's buffer) must be exactly
    // each of its words shifted right by 8, for one and two channels of both
    // layers.
    const char *streams[] = {"layer3/m1_44k_stereo_cbr128.mp3", "layer3/m1_32k_mono_cbr64.mp3",
                             "layer2/stereo_44k_192.mp2", "layer2/mono_32k_48.mp2"};
    for (const char *name : streams) {
        std::vector<uint8_t> data;
        std::string error;
        const std::string path = mp3d_test::fixture_path(name);
        ASSERT_TRUE(mp3d_tools::read_file(path, data, &error)) << error;
        mp3d_tools::DecodeOptions options;
        options.pcm_no_shift = true;
        const auto wide = mp3d_tools::decode_buffer(data, options);
        options.pcm_no_shift = false;
        const auto narrow = mp3d_tools::decode_buffer(data, options);
        ASSERT_GT(wide.words.size(), 4608u) << name;
        ASSERT_EQ(narrow.words.size(), wide.words.size()) << name;
        size_t mismatches = 0, loud = 0;
        for (size_t i = 0; i < wide.words.size(); ++i) {
            mismatches += narrow.words[i] != (wide.words[i] >> 8);
            loud += wide.words[i] >= 256 || wide.words[i] < -256;
        }
        EXPECT_EQ(mismatches, 0u) << name;
        EXPECT_GT(loud, wide.words.size() / 4) << name;  // not a silent decode
    }
}

TEST(FrameCycle, CodesThatDeliverPcmFillTheCallersBuffer) {
    // MPEG-1 Layer III mono frames of zeros, one of them damaged: granule 0
    // claims 4095 bits of Huffman data, more than the frame holds, and
    // granule 1 asks for Huffman table 4, which does not exist. Granule 1 is
    // refused and the frame end finds the reader past the frame's data, so
    // the call returns 38: with granule 1's PCM, silence.
    const mp3d_test::HeaderFields mono{.mode = 3};
    BitWriter w;
    for (int i = 0; i < 2; ++i) mp3d_test::put_zero_frame(w, mono);
    mp3d_test::put_header(w, mono);
    w.put(0, 9).put(0, 5).put(0, 4);                // main_data_begin, private, scfsi
    w.put(4095, 12).put(0, 9).put(0, 8).put(0, 4);  // granule 0
    w.put(0, 1).put(0, 15).put(0, 4).put(0, 3).put(0, 3);
    w.put(200, 12).put(50, 9).put(0, 8).put(0, 4);                   // granule 1: big_values 50
    w.put(0, 1).put(4, 5).put(0, 10).put(0, 4).put(0, 3).put(0, 3);  // table 4
    w.align().fill(0x55, 417 - 4 - 17);
    for (int i = 0; i < 3; ++i) mp3d_test::put_zero_frame(w, mono);

    auto d = mp3d_test::started(w.bytes());
    std::vector<int32_t> codes;
    for (int call = 0; call < 20; ++call) {
        std::fill(d->output().begin(), d->output().end(), 0x7eadbeef);
        MP3D_Frame_Info info{};
        const int32_t code = d->decode(&info);
        codes.push_back(code);
        if (code == MP3D_END_OF_STREAM) break;
        const auto &out = d->output();
        if (code == MP3D_OK || code == MP3D_ERROR_HUFFMAN || code == MP3D_ERROR_FRAME_END) {
            // Every word of the granule written, nothing beyond it.
            EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 576,
                                    [](int32_t v) { return v != 0x7eadbeef; }))
                << "call " << call << " code " << code;
            EXPECT_EQ(out[576], 0x7eadbeef) << "call " << call;
            if (code != MP3D_OK) {
                EXPECT_TRUE(
                    std::all_of(out.begin(), out.begin() + 576, [](int32_t v) { return v == 0; }))
                    << "call " << call << " code " << code;
            }
        } else {
            EXPECT_EQ(out[0], 0x7eadbeef) << "call " << call << " code " << code;
        }
    }
    // Two good frames, the damaged one (its refused last granule reported as
    // 38 at the frame end), then the rest.
    EXPECT_EQ(std::vector<int32_t>(codes.begin(), codes.begin() + 6),
              (std::vector<int32_t>{0, 0, 0, 0, 0, MP3D_ERROR_FRAME_END}));
}
