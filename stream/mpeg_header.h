// The 4-byte MPEG audio frame header as far as the stream layer needs it:
// where the frame ends, how many samples it holds, how much main data it
// carries.
#ifndef MP3D_STREAM_MPEG_HEADER_H
#define MP3D_STREAM_MPEG_HEADER_H

#include <cstdint>

namespace mp3d_stream {

struct MpegHeader {
    int32_t version;       // 1 (MPEG-1), 2 (MPEG-2 LSF) or 25 (MPEG-2.5)
    int32_t layer;         // 2 or 3 (Layer I is refused like the decoder does)
    int32_t bitrate_kbps;  // 0: free format
    int32_t sample_rate;
    int32_t channels;
    int32_t crc;
    int32_t padding;
    int32_t samples_per_frame;
    int32_t frame_bytes;  // 0 for free format (the length is measured)
};

// Parses the header at p (4 bytes); false when they are no valid Layer II or
// III header.
bool parse_header(const uint8_t *p, MpegHeader &h);

// Length of a free-format frame whose unpadded length is base_bytes.
inline int32_t frame_length(const MpegHeader &h, int32_t free_base_bytes) {
    return h.frame_bytes != 0 ? h.frame_bytes : free_base_bytes + h.padding;
}

// Whether two headers belong to the same stream (version, layer, rate).
inline bool same_stream(const MpegHeader &a, const MpegHeader &b) {
    return a.version == b.version && a.layer == b.layer && a.sample_rate == b.sample_rate;
}

// Bytes of Layer III side information behind the header (and check word).
inline int32_t side_info_bytes(const MpegHeader &h) {
    return h.version == 1 ? (h.channels == 1 ? 17 : 32) : (h.channels == 1 ? 9 : 17);
}

// Main-data bytes that a Layer III frame of length bytes adds to the
// reservoir.
inline int32_t main_data_bytes(const MpegHeader &h, int32_t bytes) {
    const int32_t n = bytes - 4 - (h.crc ? 2 : 0) - side_info_bytes(h);
    return n > 0 ? n : 0;
}

// The farthest back that main_data_begin reaches (9 bits MPEG-1, 8 LSF).
inline int32_t max_main_data_begin(const MpegHeader &h) {
    return h.version == 1 ? 511 : 255;
}

// Samples by which a Layer III decoder's output trails its input (the
// synthesis filterbank's delay, 528 + 1).
inline constexpr int32_t kDecoderDelay = 529;

}  // namespace mp3d_stream

#endif
