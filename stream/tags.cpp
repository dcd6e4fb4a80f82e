#include "stream/tags.h"

namespace mp3d_stream {

namespace {

uint32_t le32(const uint8_t *p) {
    return uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0];
}

bool starts_with(const uint8_t *p, const char *magic, int n) {
    for (int i = 0; i < n; ++i)
        if (p[i] != static_cast<uint8_t>(magic[i])) return false;
    return true;
}

// The 10-byte ID3v2 header or footer ("ID3" or "3DI"): body bytes, or -1.
int64_t id3v2_body(const uint8_t *p, const char *magic, bool *footer) {
    if (!starts_with(p, magic, 3) || p[3] == 0xff || p[4] == 0xff) return -1;
    int64_t size = 0;
    for (int i = 6; i < 10; ++i) {
        if (p[i] & 0x80) return -1;  // sizes are "synchsafe": 7 bits per byte
        size = size << 7 | p[i];
    }
    // The footer flag exists from version 4 on.
    *footer = p[3] >= 4 && (p[5] & 0x10) != 0;
    return size;
}

}  // namespace

int64_t id3v2_tag_bytes(const uint8_t *p) {
    bool footer = false;
    const int64_t body = id3v2_body(p, "ID3", &footer);
    return body < 0 ? 0 : body + 10 + (footer ? 10 : 0);
}

EndTagFound end_tag(const uint8_t *tail, int32_t tail_bytes, int64_t before) {
    const uint8_t *end = tail + tail_bytes;
    if (tail_bytes >= 128 && starts_with(end - 128, "TAG", 3)) {
        // The extended tag's block sits right in front of the TAG block.
        if (tail_bytes >= 355 && starts_with(end - 355, "TAG+", 4)) return {EndTag::kId3v1, 355};
        return {EndTag::kId3v1, 128};
    }
    if (tail_bytes >= 32 && starts_with(end - 32, "APETAGEX", 8)) {
        const uint8_t *footer = end - 32;
        // The size counts items and footer; bit 31 of the flags: a header too.
        const int64_t bytes = int64_t{le32(footer + 12)} + ((le32(footer + 20) >> 31) ? 32 : 0);
        if (bytes >= 32 && bytes <= before) return {EndTag::kApev2, bytes};
    }
    bool footer = false;
    if (tail_bytes >= 10) {
        const int64_t body = id3v2_body(end - 10, "3DI", &footer);
        if (body >= 0 && body + 20 <= before) return {EndTag::kId3v2, body + 20};
    }
    return {EndTag::kNone, 0};
}

}  // namespace mp3d_stream
