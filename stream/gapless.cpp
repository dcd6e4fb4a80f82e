#include "stream/gapless.h"

#include "stream/mpeg_header.h"

namespace mp3d_stream {

Trim make_trim(int64_t frames, int32_t samples_per_frame, int32_t delay, int32_t padding) {
    Trim trim{0, frames >= 0 ? frames * samples_per_frame : -1};
    if (delay < 0) return trim;
    trim.skip = int64_t{delay} + kDecoderDelay;
    if (frames < 0 || padding < 0) {
        trim.length = -1;
        return trim;
    }
    trim.length = frames * samples_per_frame - delay - padding;
    if (trim.length < 0) trim.length = 0;
    return trim;
}

void trim_block(const Trim &trim, int64_t at, int32_t n, int64_t from, int32_t *first,
                int32_t *count) {
    int64_t lo = trim.skip > from ? trim.skip : from;
    int64_t hi = at + n;
    if (trim.length >= 0 && trim.skip + trim.length < hi) hi = trim.skip + trim.length;
    if (lo < at) lo = at;
    *first = static_cast<int32_t>(lo < hi ? lo - at : 0);
    *count = static_cast<int32_t>(lo < hi ? hi - lo : 0);
}

}  // namespace mp3d_stream
