// Reading the MPEG audio out of a file: a byte source that drops the tags
// around the audio and the encoder's information frame, and the gapless
// trimming that the information frame asks for.
#ifndef MP3D_TOOLS_CONTAINER_CONTAINER_READER_H
#define MP3D_TOOLS_CONTAINER_CONTAINER_READER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "container/tags.h"
#include "harness/stream_input.h"

namespace mp3d_tools {

// Wraps a byte source and hands on only the audio frames: leading ID3v2 tags
// (any number, any size) are skipped, a Xing/Info/VBRI frame at the start is
// parsed and dropped, and tags at the end (ID3v1, APEv2, ID3v2 with footer)
// are cut. The end is found by holding back the last `tail_hold` bytes until
// the source ends; a trailing tag larger than that reaches the decoder in
// part, which skips it as data between frames.
class ContainerReader {
  public:
    explicit ContainerReader(ByteReader source, size_t tail_hold = size_t{1} << 20)
        : source_(std::move(source)), hold_(tail_hold) {}
    ContainerReader(const ContainerReader &) = delete;
    ContainerReader &operator=(const ContainerReader &) = delete;

    // ByteReader semantics: up to count bytes, 0 at the end.
    size_t read(uint8_t *dest, size_t count);
    // A ByteReader over this object (which must outlive it).
    ByteReader reader() {
        return [this](uint8_t *dest, size_t count) { return read(dest, count); };
    }

    // Known once the first byte has been read.
    uint64_t leading_tag_bytes() const { return leading_tags_; }
    const std::optional<InfoFrame> &info_frame() const { return info_; }
    // Known once the end has been reached.
    const TrailingTags &trailing_tags() const { return trailing_; }
    uint64_t source_bytes() const { return source_bytes_; }

  private:
    size_t available() const { return buffer_.size() - pos_; }
    void fill(size_t want);
    void skip(uint64_t count);
    void read_head();

    ByteReader source_;
    size_t hold_;
    std::vector<uint8_t> buffer_;
    size_t pos_ = 0;
    size_t end_ = 0;  // end of the audio in buffer_, once tail_checked_
    bool source_ended_ = false;
    bool tail_checked_ = false;
    bool head_done_ = false;
    uint64_t source_bytes_ = 0;
    uint64_t leading_tags_ = 0;
    std::optional<InfoFrame> info_;
    TrailingTags trailing_;
};

// Gapless trimming of Layer III output: the encoder delay plus the decoder's
// own delay is cut from the start, the padding from the end, so that the
// output has exactly the encoder's input length.
class GaplessTrim {
  public:
    GaplessTrim() = default;
    // Trims according to `info`'s LAME fields; without them nothing is cut.
    explicit GaplessTrim(const InfoFrame &info);
    bool active() const { return active_; }
    uint64_t skip() const { return skip_; }
    int64_t length() const { return length_; }  // -1: up to the end
    // For a call delivering `frames` sample frames, the part [*first,
    // *first + *count) to keep; *beyond: the call's last frames that lie
    // past the end (the padding).
    void apply(size_t frames, size_t *first, size_t *count, size_t *beyond = nullptr);
    // Stops cutting at the end: for streams that run on past the length that
    // the tag gives (concatenated files).
    void keep_end() { length_ = -1; }

  private:
    bool active_ = false;
    uint64_t skip_ = 0;
    int64_t length_ = -1;
    uint64_t position_ = 0;  // sample frames decoded so far
};

}  // namespace mp3d_tools

#endif
