#include "harness/mpg123_reference.h"

#ifdef MP3D_HAVE_MPG123
#include <mpg123.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
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

namespace {

// Decodes the whole file with libmpg123 in one output encoding at the
// stream's own rates and channel counts, handing each frame's bytes to
// `audio`; `format` sees each new format first and may refuse it.
bool decode_with(const std::string &path, int encoding, bool gapless, std::string *error,
                 const std::function<bool(long rate, int channels, int encoding)> &format,
                 const std::function<void(const unsigned char *bytes, size_t count)> &audio) {
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
    // like any other (unless gapless), no messages on stderr. Float output
    // is forced where asked for; 16-bit output is libmpg123's own rounding.
    const long flags = (encoding == MPG123_ENC_FLOAT_32 ? MPG123_FORCE_FLOAT : 0) | MPG123_QUIET |
                       (gapless ? MPG123_GAPLESS : MPG123_IGNORE_INFOFRAME);
    if (mpg123_param(mh, MPG123_FLAGS, flags, 0.0) != MPG123_OK) return fail(mpg123_strerror(mh));
    // Every native rate in mono and stereo, one encoding only: nothing is
    // resampled or remixed.
    mpg123_format_none(mh);
    const long *rates = nullptr;
    size_t rate_count = 0;
    mpg123_rates(&rates, &rate_count);
    for (size_t i = 0; i < rate_count; ++i)
        mpg123_format(mh, rates[i], MPG123_MONO | MPG123_STEREO, encoding);
    // The whole stream is handed over from memory, as the decoder under test
    // receives it (no file-specific handling such as seeking or tag scans).
    std::vector<uint8_t> data;
    std::string read_error;
    if (!read_file(path, data, &read_error)) return fail(read_error);
    if (mpg123_open_feed(mh) != MPG123_OK) return fail(mpg123_strerror(mh));
    if (mpg123_feed(mh, data.data(), data.size()) != MPG123_OK) return fail(mpg123_strerror(mh));

    for (;;) {
        off_t frame_number = 0;
        unsigned char *bytes = nullptr;
        size_t count = 0;
        const int r = mpg123_decode_frame(mh, &frame_number, &bytes, &count);
        if (r == MPG123_NEW_FORMAT) {
            long rate = 0;
            int channels = 0, got_encoding = 0;
            mpg123_getformat(mh, &rate, &channels, &got_encoding);
            if (got_encoding != encoding || !format(rate, channels, got_encoding))
                return fail("unexpected output format");
            continue;
        }
        if (r == MPG123_DONE || r == MPG123_NEED_MORE) break;
        if (r != MPG123_OK) return fail(mpg123_strerror(mh));
        audio(bytes, count);
    }
    mpg123_close(mh);
    mpg123_delete(mh);
    return true;
}

}  // namespace

bool mpg123_decode_file(const std::string &path, FloatReference &out, std::string *error,
                        bool gapless) {
    out = FloatReference{};
    return decode_with(
        path, MPG123_ENC_FLOAT_32, gapless, error,
        [&out](long rate, int channels, int) {
            if (out.frames == 0) {
                out.sample_rate = rate;
                out.channels = channels;
            }
            return true;
        },
        [&out](const unsigned char *bytes, size_t count) {
            // Float output is not clipped; integer PCM saturates, so the
            // reference is limited to the 24-bit range like the decoder's output.
            for (size_t i = 0; i + sizeof(float) <= count; i += sizeof(float)) {
                float f;
                std::memcpy(&f, bytes + i, sizeof f);
                out.samples.push_back(std::clamp(static_cast<double>(f), -1.0, kMaxSample));
            }
            if (count > 0) out.frames++;
        });
}

bool mpg123_decode_file_s16(const std::string &path, std::vector<int16_t> &out,
                            std::string *error) {
    out.clear();
    return decode_with(
        path, MPG123_ENC_SIGNED_16, false, error, [](long, int, int) { return true; },
        [&out](const unsigned char *bytes, size_t count) {
            for (size_t i = 0; i + 1 < count; i += 2)
                out.push_back(
                    static_cast<int16_t>(static_cast<uint16_t>(bytes[i] | (bytes[i + 1] << 8))));
        });
}

#else

bool mpg123_available() {
    return false;
}

bool mpg123_decode_file(const std::string &, FloatReference &, std::string *error, bool) {
    if (error != nullptr) *error = "built without libmpg123";
    return false;
}

bool mpg123_decode_file_s16(const std::string &, std::vector<int16_t> &, std::string *error) {
    if (error != nullptr) *error = "built without libmpg123";
    return false;
}

#endif

}  // namespace mp3d_tools
