// Subband bounds of a Layer II frame, clamped to what the allocation record
// can hold.
#ifndef MP3D_MP2_BOUNDS_H
#define MP3D_MP2_BOUNDS_H

#include "decoder/decoder_state.h"

namespace mp3d {

struct Mp2Bounds {
    int channels;  // 1 or 2
    int js_bound;  // first joint-stereo subband, at most sb_limit
    int sb_limit;  // subbands carrying an allocation field, at most 32
};

// The joint-stereo bound may exceed the subband limit (bound 12 or 16 with a
// table of limit 8 or 12); subbands from the limit on carry no allocation
// field, so clamping the bound reads exactly the same bits. A single channel
// has no joint-stereo range.
inline Mp2Bounds mp2_bounds(const MP3D_Frame_Params *fp) {
    Mp2Bounds b{};
    b.channels = fp->channels > 1 ? 2 : 1;
    b.sb_limit = fp->sb_limit < 0 ? 0 : (fp->sb_limit > 32 ? 32 : fp->sb_limit);
    b.js_bound = fp->js_bound < 0 ? 0 : (fp->js_bound > b.sb_limit ? b.sb_limit : fp->js_bound);
    if (b.channels == 1) b.js_bound = b.sb_limit;
    return b;
}

}  // namespace mp3d

#endif
