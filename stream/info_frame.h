// The information frame that encoders put in front of the audio: "Xing"
// (variable bitrate) or "Info" (constant bitrate) behind the side
// information, with LAME's extension (encoder delay and padding), or
// Fraunhofer's "VBRI" 32 bytes behind the header.
#ifndef MP3D_STREAM_INFO_FRAME_H
#define MP3D_STREAM_INFO_FRAME_H

#include <cstdint>

#include "stream/mpeg_header.h"

namespace mp3d_stream {

struct InfoFrame {
    int32_t kind;     // MP3D_STREAM_INFO_*
    int64_t frames;   // audio frames that follow, -1 if not given
    int64_t bytes;    // bytes of the audio, -1 if not given
    int32_t quality;  // -1 if not given
    int32_t has_lame;
    char encoder[10];  // NUL-terminated
    int32_t vbr_method;
    int32_t lowpass_hz;
    int32_t lame_bitrate_kbps;
    int32_t delay;    // samples, -1 if not given
    int32_t padding;  // samples, -1 if not given
};

// Recognises an information frame in the Layer III frame of `bytes` bytes
// at data with header h; false for an ordinary audio frame.
bool parse_info_frame(const uint8_t *data, int32_t bytes, const MpegHeader &h, InfoFrame &info);

}  // namespace mp3d_stream

#endif
