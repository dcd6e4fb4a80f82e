// Header parsing, refusals with recovery, free-format measurement.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "decoder/frame_header.h"
#include "support/bit_writer.h"
#include "support/stream_harness.h"

using mp3d_test::BitWriter;
using mp3d_test::HeaderFields;
using mp3d_test::StreamDecoder;

namespace {

HeaderFields layer2_frame() {
    HeaderFields f;
    f.layer_field = 2;
    f.bitrate_index = 8;  // 128 kbit/s: 417 bytes at 44100 Hz
    return f;
}

HeaderFields free_format_layer3(int mode) {
    HeaderFields f;
    f.bitrate_index = 0;
    f.mode = mode;
    return f;
}

// Free-format frames of the given length: header, then zeros.
void put_free_frame(BitWriter &w, HeaderFields f, int bytes) {
    mp3d_test::put_header(w, f);
    w.fill(0, static_cast<size_t>(bytes - 4));
}

struct Outcome {
    std::vector<int32_t> codes;
    std::vector<MP3D_Frame_Info> infos;  // one per header step that returned 0
};

// Decodes until the end of stream is reported (or a call limit).
Outcome decode_all(StreamDecoder &d, int limit = 200) {
    Outcome o;
    for (int i = 0; i < limit; ++i) {
        const bool new_frame = d.state()->granule_index == 0;
        MP3D_Frame_Info info{-1, -1, -1, -1, -1};
        const int32_t code = d.decode(&info);
        o.codes.push_back(code);
        if (new_frame && code == MP3D_OK) o.infos.push_back(info);
        if (code == MP3D_END_OF_STREAM) break;
    }
    return o;
}

}  // namespace

TEST(FrameHeader, RefusedHeadersAreFollowedByRecovery) {
    struct Case {
        const char *what;
        HeaderFields bad;
        int32_t code;
    };
    std::vector<Case> cases;
    HeaderFields f = layer2_frame();
    f.layer_field = 3;  // Layer I, otherwise valid
    cases.push_back({"layer I", f, MP3D_ERROR_LAYER});
    f = layer2_frame();
    f.layer_field = 0;
    cases.push_back({"reserved layer", f, MP3D_ERROR_LAYER});
    f = layer2_frame();
    f.sampling_frequency = 3;
    cases.push_back({"reserved sampling frequency", f, MP3D_ERROR_SAMPLING_FREQ});
    f = layer2_frame();
    f.bitrate_index = 15;
    cases.push_back({"forbidden bitrate", f, MP3D_ERROR_BITRATE});
    f = layer2_frame();
    f.id = 1;
    cases.push_back({"reserved version", f, MP3D_ERROR_VERSION});

    for (const Case &c : cases) {
        BitWriter w;
        mp3d_test::put_header(w, c.bad);
        w.fill(0, 30);
        mp3d_test::put_zero_frame(w, layer2_frame());
        mp3d_test::put_zero_frame(w, layer2_frame());
        StreamDecoder d(w.bytes());
        ASSERT_EQ(d.init(), MP3D_OK);
        const Outcome o = decode_all(d);
        EXPECT_EQ(o.codes, (std::vector<int32_t>{c.code, 0, 0, 1})) << c.what;
        ASSERT_EQ(o.infos.size(), 2u) << c.what;
        EXPECT_EQ(o.infos[0].layer, 2) << c.what;
        EXPECT_EQ(o.infos[0].sample_rate, 44100) << c.what;
        EXPECT_EQ(o.infos[0].bitrate_kbps, 128) << c.what;
    }
}

TEST(FrameHeader, NoSyncWithinReachThenRecovery) {
    BitWriter w;
    w.fill(0, 400);
    mp3d_test::put_zero_frame(w, layer2_frame());
    StreamDecoder d(w.bytes());
    ASSERT_EQ(d.init(), MP3D_OK);
    const Outcome o = decode_all(d);
    EXPECT_EQ(o.codes, (std::vector<int32_t>{MP3D_ERROR_SYNC, 0, 1}));
}

TEST(FrameHeader, VersionAndSamplingFrequencySelectTheRate) {
    struct Case {
        int id, sf, rate, samples;
    };
    const Case cases[] = {
        {3, 0, 44100, 1152}, {3, 1, 48000, 1152}, {3, 2, 32000, 1152},
        {2, 0, 22050, 576},  {2, 1, 24000, 576},  {2, 2, 16000, 576},
        {0, 0, 11025, 576},  {0, 1, 12000, 576},  {0, 2, 8000, 576},
    };
    for (const Case &c : cases) {
        HeaderFields f;  // Layer III
        f.id = c.id;
        f.sampling_frequency = c.sf;
        f.bitrate_index = 8;
        f.mode = 3;
        BitWriter w;
        mp3d_test::put_zero_frame(w, f);
        mp3d_test::put_zero_frame(w, f);
        StreamDecoder d(w.bytes());
        ASSERT_EQ(d.init(), MP3D_OK);
        const Outcome o = decode_all(d);
        ASSERT_EQ(o.infos.size(), 2u) << c.id << "/" << c.sf;
        EXPECT_EQ(o.infos[0].sample_rate, c.rate);
        EXPECT_EQ(o.infos[0].samples_per_frame, c.samples);
        EXPECT_EQ(o.infos[0].num_channels, 1);
        EXPECT_EQ(o.infos[0].layer, 3);
        EXPECT_EQ(o.infos[0].bitrate_kbps, mp3d_test::bitrate_kbps(c.id, 3, 8));
        EXPECT_EQ(d.state()->granules, c.id == 3 ? 2 : 1);
        EXPECT_EQ(o.codes.back(), MP3D_END_OF_STREAM);
    }
}

TEST(FrameHeader, LayerIIJointStereoBound) {
    const int bounds[4] = {4, 8, 12, 16};
    for (int mode = 0; mode < 4; ++mode) {
        for (int ext = 0; ext < 4; ++ext) {
            HeaderFields f = layer2_frame();
            f.mode = mode;
            f.mode_extension = ext;
            BitWriter w;
            mp3d_test::put_zero_frame(w, f);
            StreamDecoder d(w.bytes());
            ASSERT_EQ(d.init(), MP3D_OK);
            ASSERT_EQ(mp3d::decode_info(d.state()), MP3D_OK);
            const mp3d::MP3D_Frame_Params *p = d.state()->frame_params;
            EXPECT_EQ(p->channels, mode == 3 ? 1 : 2);
            EXPECT_EQ(p->js_bound, mode == 1 ? bounds[ext] : p->sb_limit) << mode << ext;
            EXPECT_EQ(d.state()->header.mode_extension, ext);
        }
    }
}

TEST(FrameHeader, FreeFormatLengthIsMeasuredOnce) {
    // 418-byte frames at 44100 Hz: 418 * 44100 / 144000 truncates to 128,
    // which gives back only 417 bytes, so the bitrate rounds up to 129. The
    // first frame has padding, so its measured 419 bytes count as 418.
    BitWriter w;
    HeaderFields first = free_format_layer3(0);
    first.padding_bit = 1;
    put_free_frame(w, first, 419);
    for (int i = 0; i < 4; ++i) put_free_frame(w, free_format_layer3(0), 418);
    StreamDecoder d(w.bytes(), 100);
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(d.state()->free_format_slots, 418);
    EXPECT_EQ(d.state()->free_format_bitrate, 129);
    Outcome o = decode_all(d);
    o.codes.insert(o.codes.begin(), MP3D_OK);
    o.infos.insert(o.infos.begin(), info);
    // The measured first frame is not decoded: four frames of two granules.
    EXPECT_EQ(o.codes, (std::vector<int32_t>{0, 0, 0, 0, 0, 0, 0, 0, 1}));
    ASSERT_EQ(o.infos.size(), 4u);
    for (const auto &info : o.infos) {
        EXPECT_EQ(info.bitrate_kbps, 0);
        EXPECT_EQ(info.sample_rate, 44100);
        EXPECT_EQ(info.num_channels, 2);
    }
}

TEST(FrameHeader, FixedBitrateHeaderInsideFreeFormatFrameIsPassedOver) {
    BitWriter w;
    mp3d_test::put_header(w, free_format_layer3(3));
    w.fill(0, 96);
    HeaderFields fixed;
    fixed.bitrate_index = 9;
    mp3d_test::put_header(w, fixed);  // at byte 100 of the first frame
    w.fill(0, 418 - 104);
    put_free_frame(w, free_format_layer3(3), 418);
    put_free_frame(w, free_format_layer3(3), 418);
    StreamDecoder d(w.bytes());
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_OK);
    EXPECT_EQ(d.state()->free_format_slots, 418);
    EXPECT_EQ(info.num_channels, 1);
}

TEST(FrameHeader, FreeFormatFramesTooLongForTheReservoirAreRefused) {
    // One channel, MPEG-1: main data = length + 1 (padding) - 17 - 4. The
    // reservoir takes at most 1529 bytes on top of the 519 that compaction
    // can keep. The frames are silent: nothing of their main data is read,
    // which leaves the most behind at each compaction.
    for (int length : {1549, 1550}) {
        BitWriter w;
        for (int i = 0; i < 4; ++i) put_free_frame(w, free_format_layer3(3), length);
        StreamDecoder d(w.bytes());
        ASSERT_EQ(d.init(), MP3D_OK);
        const Outcome o = decode_all(d);
        if (length == 1549) {
            EXPECT_EQ(o.codes, (std::vector<int32_t>{0, 0, 0, 0, 0, 0, 1}));
        } else {
            ASSERT_GE(o.codes.size(), 2u);
            EXPECT_EQ(o.codes.front(), MP3D_ERROR_FREE_FORMAT);
            EXPECT_TRUE(o.infos.empty());
            EXPECT_EQ(o.codes.back(), MP3D_END_OF_STREAM);
            EXPECT_EQ(d.state()->free_format_slots, 0);
        }
    }
}

TEST(FrameHeader, FreeFormatWithoutFollowingHeaderFails) {
    BitWriter w;
    put_free_frame(w, free_format_layer3(3), 300);
    w.fill(0, 2000);
    StreamDecoder d(w.bytes());
    ASSERT_EQ(d.init(), MP3D_OK);
    MP3D_Frame_Info info{};
    EXPECT_EQ(d.decode(&info), MP3D_ERROR_FREE_FORMAT);
}
