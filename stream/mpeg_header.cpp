#include "stream/mpeg_header.h"

namespace mp3d_stream {

bool parse_header(const uint8_t *p, MpegHeader &h) {
    static const int16_t kBitrates[3][15] = {
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},  // MPEG-1 II
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},   // MPEG-1 III
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};      // LSF II, III
    static const int32_t kRates[3] = {44100, 48000, 32000};
    if (p[0] != 0xff || (p[1] & 0xe0) != 0xe0) return false;
    const int version_bits = (p[1] >> 3) & 3, layer_bits = (p[1] >> 1) & 3;
    const int bitrate_index = p[2] >> 4, rate_index = (p[2] >> 2) & 3;
    // Reserved version, Layer I and reserved layer, forbidden bitrate,
    // reserved rate.
    if (version_bits == 1 || layer_bits == 0 || layer_bits == 3 || bitrate_index == 15 ||
        rate_index == 3)
        return false;
    h.version = version_bits == 3 ? 1 : version_bits == 2 ? 2 : 25;
    h.layer = 4 - layer_bits;
    h.crc = (p[1] & 1) == 0;
    h.padding = (p[2] >> 1) & 1;
    const int row = h.version == 1 ? h.layer - 2 : 2;
    h.bitrate_kbps = kBitrates[row][bitrate_index];
    h.sample_rate = kRates[rate_index] / (h.version == 1 ? 1 : h.version == 2 ? 2 : 4);
    h.channels = (p[3] >> 6) == 3 ? 1 : 2;
    // Layer II holds 1152 samples in every version (the decoder decodes
    // LSF Layer II frames so).
    h.samples_per_frame = (h.layer == 3 && h.version != 1) ? 576 : 1152;
    h.frame_bytes =
        h.bitrate_kbps == 0
            ? 0
            : h.samples_per_frame / 8 * h.bitrate_kbps * 1000 / h.sample_rate + h.padding;
    return true;
}

}  // namespace mp3d_stream
