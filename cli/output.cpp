#include "output.h"

#include <cmath>
#include <cstdio>

namespace mp3d_tools {

const std::vector<int32_t> &FormatKeeper::convert(const int32_t *words, size_t frames, int channels,
                                                  int rate, bool *changed) {
    if (channels_ == 0) channels_ = channels, rate_ = rate, in_rate_ = rate;
    *changed = false;
    if ((channels != channels_ || rate != rate_) && !converted_) converted_ = *changed = true;
    // Channels first: the result has the output's channel count.
    const size_t out_ch = static_cast<size_t>(channels_);
    mixed_.resize(frames * out_ch);
    for (size_t i = 0; i < frames; ++i) {
        for (size_t c = 0; c < out_ch; ++c) {
            int64_t v;
            if (channels == channels_)
                v = words[i * out_ch + c];
            else if (channels == 1)
                v = words[i];
            else  // stereo to mono: the average, rounded towards minus infinity
                v = (int64_t{words[2 * i]} + words[2 * i + 1]) >> 1;
            mixed_[i * out_ch + c] = static_cast<int32_t>(v);
        }
    }
    if (rate != in_rate_) position_ = 0;  // a new rate starts afresh
    in_rate_ = rate;
    if (rate == rate_ || frames == 0) {
        if (frames > 0)
            previous_.assign(mixed_.end() - static_cast<ptrdiff_t>(out_ch), mixed_.end());
        return mixed_;
    }
    // Linear interpolation; position_ runs over [-1, frames - 1], where -1 is
    // the previous call's last frame.
    if (previous_.size() != out_ch) previous_.assign(mixed_.begin(), mixed_.begin() + out_ch);
    const double step = static_cast<double>(rate) / rate_;
    out_.clear();
    const double last = static_cast<double>(frames - 1);
    for (; position_ <= last; position_ += step) {
        const double base = std::floor(position_);
        const double f = position_ - base;
        const long i = static_cast<long>(base);
        for (size_t c = 0; c < out_ch; ++c) {
            const double a = i < 0 ? previous_[c] : mixed_[static_cast<size_t>(i) * out_ch + c];
            const double b = f == 0.0 ? a : mixed_[static_cast<size_t>(i + 1) * out_ch + c];
            out_.push_back(static_cast<int32_t>(std::lround(a + (b - a) * f)));
        }
    }
    position_ -= static_cast<double>(frames);
    previous_.assign(mixed_.end() - static_cast<ptrdiff_t>(out_ch), mixed_.end());
    return out_;
}

ProgressBar::ProgressBar(std::string label, uint64_t total)
    : label_(std::move(label)), total_(total), start_(std::chrono::steady_clock::now()) {}

void ProgressBar::update(uint64_t done) {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (total_ == 0 || now - start_ < milliseconds(300) || now - last_ < milliseconds(100)) return;
    last_ = now;
    shown_ = true;
    const double part = done >= total_ ? 1.0 : static_cast<double>(done) / total_;
    const int width = 30, filled = static_cast<int>(part * width);
    std::fprintf(stderr, "\r%s [%.*s%*s] %3d%%", label_.c_str(), filled,
                 "==============================", width - filled, "",
                 static_cast<int>(part * 100));
    std::fflush(stderr);
}

void ProgressBar::finish() {
    if (shown_) std::fprintf(stderr, "\r%*s\r", static_cast<int>(label_.size()) + 40, "");
    shown_ = false;
}

}  // namespace mp3d_tools
