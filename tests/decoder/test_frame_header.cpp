// Header parsing, refusals with recovery, free-format measurement.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/bit_writer.h"
#include "support/stream_harness.h"

using mp3d_test::BitWriter;
using mp3d_test::decode_to_end;
using mp3d_test::HeaderFields;

// Free-format Layer III frames of the given length (without the padding byte).
static void put_free_frames(BitWriter &w, int count, int bytes, int mode = 3, int padding = 0) {
    for (int i = 0; i < count; ++i) {
        mp3d_test::put_header(w, {.bitrate_index = 0, .padding_bit = padding, .mode = mode});
        w.fill(0, static_cast<size_t>(bytes + padding - 4));
    }
}

TEST(FrameHeader, RefusedHeadersAreFollowedByRecovery) {
    const std::pair<HeaderFields, int32_t> cases[] = {
        {{.layer_field = 3, .bitrate_index = 8}, MP3D_ERROR_LAYER},  // Layer I, otherwise valid
        {{.layer_field = 0}, MP3D_ERROR_LAYER},
        {{.sampling_frequency = 3}, MP3D_ERROR_SAMPLING_FREQ},
        {{.bitrate_index = 15}, MP3D_ERROR_BITRATE},
        {{.id = 1}, MP3D_ERROR_VERSION},
        {{}, MP3D_ERROR_SYNC},  // 400 bytes without a header
    };
    for (const auto &[bad, code] : cases) {
        BitWriter w;
        if (code != MP3D_ERROR_SYNC) mp3d_test::put_header(w, bad);
        w.fill(0, code == MP3D_ERROR_SYNC ? 400 : 30);
        for (int i = 0; i < 2; ++i)
            mp3d_test::put_zero_frame(w, {.layer_field = 2, .bitrate_index = 8});
        auto d = mp3d_test::started(w.bytes());
        EXPECT_EQ(decode_to_end(*d), (std::vector<int32_t>{code, 0, 0, 1})) << code;
    }
}

TEST(FrameHeader, FreeFormatLengthIsMeasuredOnce) {
    // 418-byte frames at 44100 Hz: 418 * 44100 / 144000 truncates to 128,
    // which gives back only 417 bytes, so the bitrate rounds up to 129. The
    // first frame is padded (419 bytes count as 418), or it holds a
    // fixed-bitrate header, which the measurement passes over.
    for (int padded = 0; padded < 2; ++padded) {
        BitWriter w;
        put_free_frames(w, 1, padded ? 418 : 104, 0, padded);
        if (!padded) mp3d_test::put_header(w, {});
        w.fill(0, padded ? 0 : 418 - 108);
        put_free_frames(w, 4, 418, 0);
        auto d = mp3d_test::started(w.bytes(), 100);
        std::vector<MP3D_Frame_Info> infos;
        // The measured first frame is not decoded: four frames of two granules.
        EXPECT_EQ(decode_to_end(*d, &infos, 8), std::vector<int32_t>(8, MP3D_OK));
        EXPECT_EQ(d->state()->free_format_slots, 418);
        EXPECT_EQ(d->state()->free_format_bitrate, 129);
        ASSERT_EQ(infos.size(), 4u);
        EXPECT_EQ(infos[3].bitrate_kbps, 0);
        EXPECT_EQ(decode_to_end(*d), std::vector<int32_t>{MP3D_END_OF_STREAM});
    }

    // Mono MPEG-1 main data is length + 1 (padding) - 17 - 4 bytes; the
    // reservoir takes at most 1529 on top of the 519 that compaction keeps.
    // Silent frames leave the most behind at each compaction. Length 0: a
    // frame that no header follows.
    for (int length : {1549, 1550, 0}) {
        BitWriter s;
        put_free_frames(s, length == 0 ? 1 : 4, length == 0 ? 300 : length);
        s.fill(0, length == 0 ? 2000 : 0);
        const auto codes = decode_to_end(*mp3d_test::started(s.bytes()));
        EXPECT_EQ(codes.front(), length == 1549 ? MP3D_OK : MP3D_ERROR_FREE_FORMAT) << length;
        EXPECT_EQ(std::count(codes.begin(), codes.end(), MP3D_OK), length == 1549 ? 6 : 0);
    }
}
