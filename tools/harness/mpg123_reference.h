// Floating-point reference decoding with libmpg123, used as a black box to
// judge the decoder on streams that come without a reference PCM file.
#ifndef MP3D_TOOLS_MPG123_REFERENCE_H
#define MP3D_TOOLS_MPG123_REFERENCE_H

#include <cstdint>
#include <string>
#include <vector>

namespace mp3d_tools {

// True when the build found libmpg123.
bool mpg123_available();

struct FloatReference {
    std::vector<double> samples;  // full scale 1.0, each frame's channels interleaved
    long sample_rate = 0;         // of the first frame
    int channels = 0;             // of the first frame
    size_t frames = 0;
};

// Decodes the whole file with 32-bit float output at the stream's own rate
// and channel count (no resampling, no gapless trimming, the Xing/LAME info
// frame decoded as an ordinary frame), clipped to the 24-bit range. With
// `gapless`, libmpg123 instead treats the file as a player does: the info
// frame is not decoded and the encoder delay and padding are trimmed. False
// with a message on failure or when built without libmpg123.
bool mpg123_decode_file(const std::string &path, FloatReference &out, std::string *error,
                        bool gapless = false);

// The same decode (not gapless) with libmpg123's own signed 16-bit output,
// each frame's channels interleaved.
bool mpg123_decode_file_s16(const std::string &path, std::vector<int16_t> &out, std::string *error);

}  // namespace mp3d_tools

#endif
