// Tags around the audio of an MP3 or MP2 file: ID3v2 at the start (any
// number, any size, with or without footer), and at the end ID3v1 (with the
// extended "TAG+" block), APEv2 and ID3v2 marked by its footer.
#ifndef MP3D_STREAM_TAGS_H
#define MP3D_STREAM_TAGS_H

#include <cstdint>

namespace mp3d_stream {

// Bytes of the ID3v2 tag (header, body, footer) that begins with the 10
// bytes at p, or 0 when they are no valid ID3v2 header.
int64_t id3v2_tag_bytes(const uint8_t *p);

// Which tag ends at a given end of the file. tail holds the tail_bytes
// bytes just in front of that end (fewer near the start of the file); at
// most kTailBytes are looked at. `before` is how many bytes of the file lie
// in front of the end: a tag claiming more is no tag.
inline constexpr int32_t kTailBytes = 355;
enum class EndTag { kNone, kId3v1, kApev2, kId3v2 };
struct EndTagFound {
    EndTag kind;
    int64_t bytes;
};
EndTagFound end_tag(const uint8_t *tail, int32_t tail_bytes, int64_t before);

}  // namespace mp3d_stream

#endif
