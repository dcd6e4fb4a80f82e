// Finding frames in the input: the first audio frame behind the leading
// tags, the walk over frame headers that counts frames, the seek index that
// walks fill in, and the frame offsets of a constant-bitrate stream.
#ifndef MP3D_STREAM_FRAME_SCAN_H
#define MP3D_STREAM_FRAME_SCAN_H

#include <cstdint>

#include "stream/byte_window.h"
#include "stream/mpeg_header.h"

namespace mp3d_stream {

// The longest frame (Layer II, 384 kbit/s at 32 kHz, or free format up to
// what the decoder measures) and how far behind the tags the first frame is
// looked for.
inline constexpr int32_t kMaxFrameBytes = 1729;
inline constexpr int64_t kFirstFrameReach = 256 * 1024;

struct FoundFrame {
    int64_t offset;
    MpegHeader header;
    int32_t bytes;      // this frame's length
    int32_t free_base;  // free format: the unpadded length, else 0
};

// Finds, from offset `from` up to `reach` bytes on, a frame header whose
// successor follows where its length says (or which ends less than a
// header's length before `end`, the end of the audio when known, else -1,
// or before the end of the input). With `like` non-null only
// headers of the same stream count. Free-format lengths are measured up to
// the next free-format header. False when there is none.
bool find_frame(ByteWindow &w, int64_t from, int64_t reach, int64_t end, const MpegHeader *like,
                int32_t free_base, FoundFrame &found);

// Seek index: input offsets (from the first audio frame) of every
// stride-th frame, in frame order; when full, every other entry goes and
// the stride doubles.
struct IndexEntry {
    uint32_t frame;
    uint32_t offset;
};
struct SeekIndex {
    IndexEntry *entries;
    int32_t capacity;
    int32_t count;
    uint32_t stride;
};
void index_init(SeekIndex &index, IndexEntry *storage, int32_t capacity);
void index_note(SeekIndex &index, int64_t frame, int64_t offset);
// The last entry at or before frame.
IndexEntry index_lookup(const SeekIndex &index, int64_t frame);

// The frames walked last, for choosing how far before a target to start.
inline constexpr int32_t kRecentFrames = 64;
struct RecentFrame {
    int64_t offset;
    int32_t main_data;  // Layer III main-data bytes the frame carries
    int32_t bytes;
};

// Walks frame headers from frame `frame` at input offset `offset` on to
// frame `target`, noting frames in the index and the last kRecentFrames in
// recent[frame % kRecentFrames]. Returns the frame reached: target, or less
// when the audio ends (at audio_end, or where no further frame is found).
// Lost sync (damage) is regained by a search, counting on.
int64_t walk_frames(ByteWindow &w, SeekIndex &index, const MpegHeader &stream, int32_t free_base,
                    int64_t audio_offset, int64_t audio_end, int64_t frame, int64_t offset,
                    int64_t target, RecentFrame *recent);

}  // namespace mp3d_stream

#endif
