#include "container/container_reader.h"

#include <algorithm>
#include <cstring>

namespace mp3d_tools {

namespace {
// How far into the data behind the tags the first frame is looked for, and
// the longest information frame.
constexpr size_t kFirstFrameReach = 4096;
constexpr size_t kMaxFrameBytes = 2881;
constexpr size_t kReadChunk = 65536;
}  // namespace

void ContainerReader::fill(size_t want) {
    if (pos_ > kReadChunk && pos_ * 2 > buffer_.size()) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(pos_));
        if (tail_checked_) end_ -= pos_;
        pos_ = 0;
    }
    while (!source_ended_ && available() < want) {
        const size_t old = buffer_.size();
        buffer_.resize(old + kReadChunk);
        const size_t got = source_(buffer_.data() + old, kReadChunk);
        buffer_.resize(old + got);
        source_bytes_ += got;
        if (got == 0) source_ended_ = true;
    }
    if (source_ended_ && !tail_checked_) {
        tail_checked_ = true;
        trailing_ = find_trailing_tags(buffer_.data() + pos_, available());
        end_ = buffer_.size() - trailing_.total();
    }
}

void ContainerReader::skip(uint64_t count) {
    while (count > 0) {
        fill(1);
        const size_t n = static_cast<size_t>(std::min<uint64_t>(count, available()));
        if (n == 0) return;
        pos_ += n;
        count -= n;
    }
}

void ContainerReader::read_head() {
    head_done_ = true;
    for (;;) {
        fill(10);
        const size_t tag = id3v2_tag_size(buffer_.data() + pos_, available());
        if (tag == 0) break;
        leading_tags_ += tag;
        skip(tag);
    }
    // The first frame: a header whose successor is where its length says.
    fill(kFirstFrameReach + 2 * kMaxFrameBytes);
    const uint8_t *data = buffer_.data() + pos_;
    const size_t size = available();
    for (size_t i = 0; i < std::min(size, kFirstFrameReach); ++i) {
        MpegHeader first, next;
        if (!parse_mpeg_header(data + i, size - i, first)) continue;
        size_t length = first.frame_bytes;
        // Free format: the length is the distance to the next header alike.
        for (size_t j = i + 4; length == 0 && j + 4 <= std::min(size, i + 2 * kMaxFrameBytes); ++j)
            if (parse_mpeg_header(data + j, size - j, next) && next.bitrate_kbps == 0 &&
                next.version == first.version && next.layer == first.layer &&
                next.sample_rate == first.sample_rate)
                length = j - i;
        if (length == 0) continue;
        if (i + length < size && !parse_mpeg_header(data + i + length, size - i - length, next))
            continue;
        InfoFrame info;
        if (parse_info_frame(data + i, length, info)) {
            info_ = info;
            // The decoder measures the first frame of a free-format stream
            // and outputs nothing for it: that one may as well be this one.
            if (first.frame_bytes != 0) pos_ += i + length;
        }
        break;
    }
}

size_t ContainerReader::read(uint8_t *dest, size_t count) {
    if (!head_done_) read_head();
    fill(hold_ + count);
    // Until the source ends, the last hold_ bytes may be a tag.
    const size_t limit = source_ended_ ? end_ : buffer_.size() - std::min(hold_, buffer_.size());
    const size_t n = limit > pos_ ? std::min(count, limit - pos_) : 0;
    std::memcpy(dest, buffer_.data() + pos_, n);
    pos_ += n;
    return n;
}

GaplessTrim::GaplessTrim(const InfoFrame &info) {
    if (!info.has_lame || info.encoder_delay < 0 || info.header.layer != 3) return;
    active_ = true;
    skip_ = static_cast<uint64_t>(info.encoder_delay) + kDecoderDelay;
    if (info.frames > 0 && info.encoder_padding >= 0) {
        length_ =
            info.frames * info.header.samples_per_frame - info.encoder_delay - info.encoder_padding;
        if (length_ < 0) length_ = 0;
    }
}

void GaplessTrim::apply(size_t frames, size_t *first, size_t *count, size_t *beyond) {
    const uint64_t begin = position_, end = position_ + frames;
    position_ = end;
    if (beyond != nullptr) *beyond = 0;
    if (!active_) {
        *first = 0;
        *count = frames;
        return;
    }
    const uint64_t keep_begin = skip_;
    const uint64_t keep_end = length_ < 0 ? UINT64_MAX : skip_ + static_cast<uint64_t>(length_);
    const uint64_t from = std::max(begin, keep_begin), to = std::min(end, keep_end);
    *first = static_cast<size_t>(from - begin);
    *count = to > from ? static_cast<size_t>(to - from) : 0;
    if (beyond != nullptr && end > keep_end)
        *beyond = static_cast<size_t>(end - std::max(begin, keep_end));
}

}  // namespace mp3d_tools
