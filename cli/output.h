// Output helpers of mp3d decode: one output format for a whole stream, and
// the progress bar.
#ifndef MP3D_CLI_OUTPUT_H
#define MP3D_CLI_OUTPUT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mp3d_tools {

// Converts PCM words to the format of the first call: channels are doubled
// (mono) or averaged (stereo), other rates resampled by linear
// interpolation. Words stay in the decoder's scale.
class FormatKeeper {
  public:
    // Converts one call's interleaved words; the result stays valid until
    // the next call. *changed is set on the first call whose format differs.
    const std::vector<int32_t> &convert(const int32_t *words, size_t frames, int channels, int rate,
                                        bool *changed);
    int channels() const { return channels_; }
    int rate() const { return rate_; }
    bool converted() const { return converted_; }

  private:
    int channels_ = 0, rate_ = 0;
    bool converted_ = false;
    int in_rate_ = 0;                // rate of the previous call
    double position_ = 0;            // next output instant, in input frames of the current call
    std::vector<int32_t> previous_;  // last frame of the previous call (output channels)
    std::vector<int32_t> mixed_, out_;
};

// A one-line progress bar on stderr, redrawn at most ten times a second and
// only once the work has taken a moment.
class ProgressBar {
  public:
    ProgressBar(std::string label, uint64_t total);
    void update(uint64_t done);
    void finish();  // clears the line

  private:
    std::string label_;
    uint64_t total_;
    std::chrono::steady_clock::time_point start_, last_;
    bool shown_ = false;
};

}  // namespace mp3d_tools

#endif
