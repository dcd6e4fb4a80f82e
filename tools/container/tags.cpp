#include "container/tags.h"

#include <cctype>
#include <cstring>

namespace mp3d_tools {

namespace {

uint32_t be32(const uint8_t *p) {
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}
uint32_t le32(const uint8_t *p) {
    return uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0];
}

// The 10-byte ID3v2 header or footer ("ID3" or "3DI"): body size, or -1.
int64_t id3v2_body_size(const uint8_t *p, const char *magic, bool *has_footer) {
    if (std::memcmp(p, magic, 3) != 0 || p[3] == 0xff || p[4] == 0xff) return -1;
    uint32_t size = 0;
    for (int i = 6; i < 10; ++i) {
        if (p[i] & 0x80) return -1;  // sizes are "synchsafe": 7 bits per byte
        size = size << 7 | p[i];
    }
    // The footer flag exists from version 4 on.
    *has_footer = p[3] >= 4 && (p[5] & 0x10) != 0;
    return size;
}

}  // namespace

size_t id3v2_tag_size(const uint8_t *data, size_t size) {
    bool footer = false;
    if (size < 10) return 0;
    const int64_t body = id3v2_body_size(data, "ID3", &footer);
    return body < 0 ? 0 : static_cast<size_t>(body) + 10 + (footer ? 10 : 0);
}

TrailingTags find_trailing_tags(const uint8_t *data, size_t size) {
    TrailingTags tags;
    size_t end = size;
    for (bool found = true; found;) {
        found = false;
        if (tags.id3v1 == 0 && end >= 128 && std::memcmp(data + end - 128, "TAG", 3) == 0) {
            tags.id3v1 = 128;
            // The extended tag's block sits right in front of the TAG block.
            if (end >= 355 && std::memcmp(data + end - 355, "TAG+", 4) == 0) tags.id3v1 = 355;
            end -= tags.id3v1;
            found = true;
        }
        if (tags.apev2 == 0 && end >= 32 && std::memcmp(data + end - 32, "APETAGEX", 8) == 0) {
            const uint8_t *footer = data + end - 32;
            // Size counts items and footer; bit 31 of the flags: a header too.
            const uint64_t bytes =
                uint64_t{le32(footer + 12)} + ((le32(footer + 20) & 0x80000000u) ? 32 : 0);
            if (bytes >= 32 && bytes <= end) {
                tags.apev2 = static_cast<size_t>(bytes);
                end -= tags.apev2;
                found = true;
            }
        }
        bool footer = false;
        if (tags.id3v2 == 0 && end >= 10) {
            const int64_t body = id3v2_body_size(data + end - 10, "3DI", &footer);
            if (body >= 0 && static_cast<uint64_t>(body) + 20 <= end) {
                tags.id3v2 = static_cast<size_t>(body) + 20;
                end -= tags.id3v2;
                found = true;
            }
        }
    }
    return tags;
}

bool parse_mpeg_header(const uint8_t *p, size_t size, MpegHeader &h) {
    static const int kBitrates[5][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG-1 I
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG-1 II
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // MPEG-1 III
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // LSF I
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};         // LSF II, III
    static const int kRates[3] = {44100, 48000, 32000};
    if (size < 4 || p[0] != 0xff || (p[1] & 0xe0) != 0xe0) return false;
    const int version_bits = (p[1] >> 3) & 3, layer_bits = (p[1] >> 1) & 3;
    const int bitrate_index = p[2] >> 4, rate_index = (p[2] >> 2) & 3;
    if (version_bits == 1 || layer_bits == 0 || bitrate_index == 15 || rate_index == 3)
        return false;
    h.version = version_bits == 3 ? 1 : version_bits == 2 ? 2 : 25;
    h.layer = 4 - layer_bits;
    h.crc = (p[1] & 1) == 0;
    const int row = h.version == 1 ? h.layer - 1 : (h.layer == 1 ? 3 : 4);
    h.bitrate_kbps = kBitrates[row][bitrate_index];
    h.sample_rate = kRates[rate_index] / (h.version == 1 ? 1 : h.version == 2 ? 2 : 4);
    h.channels = (p[3] >> 6) == 3 ? 1 : 2;
    h.samples_per_frame = h.layer == 1 ? 384 : (h.layer == 3 && h.version != 1) ? 576 : 1152;
    const size_t padding = (p[2] >> 1) & 1;
    const size_t bits_per_second = static_cast<size_t>(h.bitrate_kbps) * 1000;
    if (h.layer == 1)
        h.frame_bytes = (12 * bits_per_second / h.sample_rate + padding) * 4;
    else
        h.frame_bytes =
            static_cast<size_t>(h.samples_per_frame) / 8 * bits_per_second / h.sample_rate +
            padding;
    return true;
}

bool parse_info_frame(const uint8_t *data, size_t size, InfoFrame &info) {
    MpegHeader h;
    if (!parse_mpeg_header(data, size, h) || h.layer != 3 || h.frame_bytes > size) return false;
    info = InfoFrame{};
    info.header = h;
    // A free-format frame is given whole: its length is the size.
    info.frame_bytes = h.frame_bytes != 0 ? h.frame_bytes : size;
    const size_t end = info.frame_bytes;
    // Fraunhofer's VBRI header sits 32 bytes behind the frame header.
    if (end >= 36 + 26 && std::memcmp(data + 36, "VBRI", 4) == 0) {
        const uint8_t *v = data + 36;
        info.kind = "VBRI";
        info.encoder_delay = v[6] << 8 | v[7];
        info.quality = v[8] << 8 | v[9];
        info.bytes = be32(v + 10);
        info.frames = be32(v + 14);
        return true;
    }
    // Xing/Info follows the side information (17 or 32 bytes for MPEG-1,
    // 9 or 17 for LSF). Encoders place it there even when a CRC word
    // follows the header; it is also looked for behind the CRC word.
    const size_t side = h.version == 1 ? (h.channels == 1 ? 17 : 32) : (h.channels == 1 ? 9 : 17);
    size_t pos = 4 + side;
    auto is_tag = [&](size_t at) {
        return at + 8 <= end &&
               (std::memcmp(data + at, "Xing", 4) == 0 || std::memcmp(data + at, "Info", 4) == 0);
    };
    if (!is_tag(pos)) {
        pos += 2;
        if (!h.crc || !is_tag(pos)) return false;
    }
    info.kind.assign(reinterpret_cast<const char *>(data + pos), 4);
    const uint32_t flags = be32(data + pos + 4);
    pos += 8;
    if ((flags & 1) && pos + 4 <= end) info.frames = be32(data + pos), pos += 4;
    if ((flags & 2) && pos + 4 <= end) info.bytes = be32(data + pos), pos += 4;
    if (flags & 4) pos += 100;  // seek table
    if ((flags & 8) && pos + 4 <= end) info.quality = static_cast<int>(be32(data + pos)), pos += 4;
    // LAME's extension: 9 characters of encoder name, then 27 bytes of
    // fields. Other encoders (FFmpeg) write the same layout.
    if (pos + 36 > end) return true;
    const uint8_t *x = data + pos;
    for (int i = 0; i < 4; ++i)
        if (!std::isalnum(x[i])) return true;
    info.has_lame = true;
    for (int i = 0; i < 9 && std::isprint(x[i]); ++i) info.encoder += static_cast<char>(x[i]);
    while (!info.encoder.empty() && info.encoder.back() == ' ') info.encoder.pop_back();
    info.vbr_method = x[9] & 15;
    info.lowpass_hz = x[10] * 100;
    info.lame_bitrate_kbps = x[20];
    info.encoder_delay = x[21] << 4 | x[22] >> 4;
    info.encoder_padding = (x[22] & 15) << 8 | x[23];
    return true;
}

const char *lame_vbr_method_name(int method) {
    switch (method) {
        case 1:
            return "CBR";
        case 2:
            return "ABR";
        case 3:
        case 4:
        case 5:
        case 6:
            return "VBR";
        case 8:
            return "CBR (2 pass)";
        case 9:
            return "ABR (2 pass)";
        default:
            return "unknown";
    }
}

}  // namespace mp3d_tools
