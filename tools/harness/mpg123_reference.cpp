#include "harness/mpg123_reference.h"

#ifdef MP3D_HAVE_MPG123
#include <mpg123.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "harness/decode_run.h"
#endif

namespace mp3d_tools {

#ifdef MP3D_HAVE_MPG123

namespace {
constexpr double kMaxSample = 8388607.0 / 8388608.0;
}  // namespace

bool mpg123_available() {
    return true;
}

bool mpg123_decode_file(const std::string &path, FloatReference &out, std::string *error,
                        bool gapless) {
    out = FloatReference{};
    int err = MPG123_OK;
    mpg123_handle *mh = mpg123_new(nullptr, &err);
    if (mh == nullptr) {
        if (error != nullptr) *error = std::string("libmpg123: ") + mpg123_plain_strerror(err);
        return false;
    }
    auto fail = [&](const std::string &what) {
        if (error != nullptr) *error = path + ": libmpg123: " + what;
        mpg123_delete(mh);
        return false;
    };
    // Only the flags set here: no gapless trimming, the info frame decoded
    // like any other (unless gapless), float output, no messages on stderr.
    const long flags =
        MPG123_FORCE_FLOAT | MPG123_QUIET | (gapless ? MPG123_GAPLESS : MPG123_IGNORE_INFOFRAME);
    if (mpg123_param(mh, MPG123_FLAGS, flags, 0.0) != MPG123_OK) return fail(mpg123_strerror(mh));
    // Every native rate in mono and stereo, float only: nothing is resampled
    // or remixed.
    mpg123_format_none(mh);
    const long *rates = nullptr;
    size_t rate_count = 0;
    mpg123_rates(&rates, &rate_count);
    for (size_t i = 0; i < rate_count; ++i)
        mpg123_format(mh, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
    // The whole stream is handed over from memory, as the decoder under test
    // receives it (no file-specific handling such as seeking or tag scans).
    std::vector<uint8_t> data;
    std::string read_error;
    if (!read_file(path, data, &read_error)) return fail(read_error);
    if (mpg123_open_feed(mh) != MPG123_OK) return fail(mpg123_strerror(mh));
    if (mpg123_feed(mh, data.data(), data.size()) != MPG123_OK) return fail(mpg123_strerror(mh));

    long rate = 0;
    int channels = 0, encoding = 0;
    for (;;) {
        off_t frame_number = 0;
        unsigned char *audio = nullptr;
        size_t bytes = 0;
        const int r = mpg123_decode_frame(mh, &frame_number, &audio, &bytes);
        if (r == MPG123_NEW_FORMAT) {
            mpg123_getformat(mh, &rate, &channels, &encoding);
            if (encoding != MPG123_ENC_FLOAT_32) return fail("no float output");
            if (out.frames == 0) {
                out.sample_rate = rate;
                out.channels = channels;
            }
            continue;
        }
        if (r == MPG123_DONE || r == MPG123_NEED_MORE) break;
        if (r != MPG123_OK) return fail(mpg123_strerror(mh));
        const auto *f = reinterpret_cast<const float *>(audio);
        // Float output is not clipped; integer PCM saturates, so the
        // reference is limited to the 24-bit range like the decoder's output.
        for (size_t i = 0; i < bytes / sizeof(float); ++i)
            out.samples.push_back(std::clamp(static_cast<double>(f[i]), -1.0, kMaxSample));
        if (bytes > 0) out.frames++;
    }
    mpg123_close(mh);
    mpg123_delete(mh);
    return true;
}

#else

bool mpg123_available() {
    return false;
}

bool mpg123_decode_file(const std::string &, FloatReference &, std::string *error, bool) {
    if (error != nullptr) *error = "built without libmpg123";
    return false;
}

#endif

}  // namespace mp3d_tools
