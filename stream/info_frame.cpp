#include "stream/info_frame.h"

#include "mp3d_stream.h"

namespace mp3d_stream {

namespace {

uint32_t be32(const uint8_t *p) {
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

bool is(const uint8_t *p, const char *magic) {
    return p[0] == magic[0] && p[1] == magic[1] && p[2] == magic[2] && p[3] == magic[3];
}

bool alnum(uint8_t c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

}  // namespace

bool parse_info_frame(const uint8_t *data, int32_t bytes, const MpegHeader &h, InfoFrame &info) {
    if (h.layer != 3) return false;
    info = InfoFrame{};
    info.frames = info.bytes = -1;
    info.quality = info.delay = info.padding = -1;
    // Fraunhofer's VBRI header sits 32 bytes behind the frame header.
    if (bytes >= 36 + 26 && is(data + 36, "VBRI")) {
        const uint8_t *v = data + 36;
        info.kind = MP3D_STREAM_INFO_VBRI;
        info.delay = v[6] << 8 | v[7];
        info.quality = v[8] << 8 | v[9];
        info.bytes = be32(v + 10);
        info.frames = be32(v + 14);
        return true;
    }
    // Xing/Info follows the side information. Encoders place it there even
    // when a check word follows the header; it is also looked for behind it.
    int32_t pos = 4 + side_info_bytes(h);
    if (!(pos + 8 <= bytes && (is(data + pos, "Xing") || is(data + pos, "Info")))) {
        pos += 2;
        if (!h.crc || !(pos + 8 <= bytes && (is(data + pos, "Xing") || is(data + pos, "Info"))))
            return false;
    }
    info.kind = is(data + pos, "Xing") ? MP3D_STREAM_INFO_XING : MP3D_STREAM_INFO_INFO;
    const uint32_t flags = be32(data + pos + 4);
    pos += 8;
    if ((flags & 1) && pos + 4 <= bytes) info.frames = be32(data + pos), pos += 4;
    if ((flags & 2) && pos + 4 <= bytes) info.bytes = be32(data + pos), pos += 4;
    if (flags & 4) pos += 100;  // table of contents
    if ((flags & 8) && pos + 4 <= bytes)
        info.quality = static_cast<int32_t>(be32(data + pos) & 0x7fffffff), pos += 4;
    // LAME's extension: 9 characters of encoder name, then 27 bytes of
    // fields. FFmpeg writes the same layout.
    if (pos + 36 > bytes) return true;
    const uint8_t *x = data + pos;
    for (int i = 0; i < 4; ++i)
        if (!alnum(x[i])) return true;
    info.has_lame = 1;
    int n = 0;
    while (n < 9 && x[n] >= 0x20 && x[n] < 0x7f) info.encoder[n] = static_cast<char>(x[n]), ++n;
    while (n > 0 && info.encoder[n - 1] == ' ') --n;
    info.encoder[n] = '\0';
    info.vbr_method = x[9] & 15;
    info.lowpass_hz = x[10] * 100;
    info.lame_bitrate_kbps = x[20];
    info.delay = x[21] << 4 | x[22] >> 4;
    info.padding = (x[22] & 15) << 8 | x[23];
    return true;
}

}  // namespace mp3d_stream
