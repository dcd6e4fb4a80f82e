// Gapless trimming: the encoder delay plus the decoder's own delay is cut
// from the start and the padding from the end, so that the output has
// exactly the encoder's input length. Positions here count samples per
// channel of the untrimmed decode, frame by frame from the first audio
// frame.
#ifndef MP3D_STREAM_GAPLESS_H
#define MP3D_STREAM_GAPLESS_H

#include <cstdint>

namespace mp3d_stream {

struct Trim {
    int64_t skip;    // untrimmed samples before output sample 0
    int64_t length;  // output samples, -1 when unknown (no cut at the end)
};

// The trim for a stream of `frames` frames (-1: unknown) of
// samples_per_frame samples: with delay >= 0 the start is cut by delay plus
// the decoder delay, with padding >= 0 too the end by the padding.
Trim make_trim(int64_t frames, int32_t samples_per_frame, int32_t delay, int32_t padding);

// Of a block of n samples at untrimmed position at, the part to deliver when
// nothing before untrimmed position `from` is wanted: [*first, *first +
// *count) within the block.
void trim_block(const Trim &trim, int64_t at, int32_t n, int64_t from, int32_t *first,
                int32_t *count);

}  // namespace mp3d_stream

#endif
