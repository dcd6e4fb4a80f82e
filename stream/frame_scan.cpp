#include "stream/frame_scan.h"

namespace mp3d_stream {

bool find_frame(ByteWindow &w, int64_t from, int64_t reach, int64_t end, const MpegHeader *like,
                int32_t free_base, FoundFrame &found) {
    for (int64_t i = from; i < from + reach; ++i) {
        if (end >= 0 && i + 4 > end) return false;
        const uint8_t *p = nullptr;
        const int32_t n = window_fetch(w, i, 2 * kMaxFrameBytes + 8, &p);
        if (n < 4) return false;
        MpegHeader h;
        if (!parse_header(p, h) || (like != nullptr && !same_stream(h, *like))) continue;
        int32_t length = h.frame_bytes, base = 0;
        if (length == 0 && free_base > 0) {
            base = free_base;
            length = base + h.padding;
        }
        // Free format: the distance to the next free-format header of the
        // same stream, less this frame's padding byte.
        for (int32_t j = 16; length == 0 && j <= kMaxFrameBytes && j + 4 <= n; ++j) {
            MpegHeader next;
            if (parse_header(p + j, next) && next.bitrate_kbps == 0 && same_stream(h, next)) {
                length = j;
                base = j - h.padding;
            }
        }
        if (length == 0) continue;
        // Confirmed by the next header, or by ending exactly where the
        // audio (or the input) ends.
        bool confirmed = end >= 0 && i + length <= end && end < i + length + 4;
        if (!confirmed && length + 4 <= n) {
            MpegHeader next;
            confirmed = parse_header(p + length, next) && same_stream(h, next);
        } else if (!confirmed) {
            confirmed = end < 0 && n >= length;  // the input ends behind the frame
        }
        if (!confirmed) continue;
        found.offset = i;
        found.header = h;
        found.bytes = length;
        found.free_base = base;
        return true;
    }
    return false;
}

void index_init(SeekIndex &index, IndexEntry *storage, int32_t capacity) {
    index.entries = storage;
    index.capacity = capacity;
    index.count = 1;
    index.stride = 1;
    storage[0] = IndexEntry{0, 0};
}

void index_note(SeekIndex &index, int64_t frame, int64_t offset) {
    if (frame % index.stride != 0 || frame <= index.entries[index.count - 1].frame ||
        frame > UINT32_MAX || offset > UINT32_MAX)
        return;
    if (index.count == index.capacity) {
        int32_t kept = 0;
        for (int32_t i = 0; i < index.count; ++i)
            if (index.entries[i].frame % (2 * index.stride) == 0)
                index.entries[kept++] = index.entries[i];
        index.count = kept;
        index.stride *= 2;
        if (frame % index.stride != 0) return;
    }
    index.entries[index.count++] =
        IndexEntry{static_cast<uint32_t>(frame), static_cast<uint32_t>(offset)};
}

IndexEntry index_lookup(const SeekIndex &index, int64_t frame) {
    int32_t lo = 0, hi = index.count - 1;  // entries[0] is frame 0
    while (lo < hi) {
        const int32_t mid = (lo + hi + 1) / 2;
        if (index.entries[mid].frame <= frame)
            lo = mid;
        else
            hi = mid - 1;
    }
    return index.entries[lo];
}

int64_t walk_frames(ByteWindow &w, SeekIndex &index, const MpegHeader &stream, int32_t free_base,
                    int64_t audio_offset, int64_t audio_end, int64_t frame, int64_t offset,
                    int64_t target, RecentFrame *recent) {
    int64_t k = frame, o = offset;
    while (k < target) {
        if (audio_end >= 0 && o >= audio_end) break;
        const uint8_t *p = nullptr;
        const int32_t n = window_fetch(w, o, 4, &p);
        if (n < 4) break;
        MpegHeader h;
        if (!parse_header(p, h) || !same_stream(h, stream)) {
            // Damage: go on at the next confirmed frame of the stream.
            FoundFrame found;
            if (!find_frame(w, o + 1, 65536, audio_end, &stream, free_base, found)) break;
            o = found.offset;
            continue;
        }
        const int32_t length = frame_length(h, free_base);
        if (length <= 4 || (audio_end >= 0 && o + length > audio_end)) break;
        recent[k % kRecentFrames] = RecentFrame{o, main_data_bytes(h, length), length};
        index_note(index, k, o - audio_offset);
        o += length;
        ++k;
    }
    return k;
}

}  // namespace mp3d_stream
