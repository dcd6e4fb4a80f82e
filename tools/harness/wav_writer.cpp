#include "harness/wav_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "mp3d.h"

namespace mp3d_tools {

namespace {

void put16(uint8_t *p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void put32(uint8_t *p, uint32_t v) {
    put16(p, v & 0xffff);
    put16(p + 2, v >> 16);
}

int32_t clamp_bits(int64_t v, uint16_t bits) {
    const int64_t hi = (int64_t{1} << (bits - 1)) - 1;
    return static_cast<int32_t>(std::clamp(v, -hi - 1, hi));
}

}  // namespace

std::array<uint8_t, 44> wav_header(uint32_t sample_rate, uint16_t channels, uint16_t bits,
                                   uint32_t data_bytes) {
    std::array<uint8_t, 44> h{};
    const uint32_t block_align = channels * (bits / 8u);
    std::memcpy(&h[0], "RIFF", 4);
    put32(&h[4], data_bytes == 0xffffffffu ? 0xffffffffu : 36u + data_bytes);
    std::memcpy(&h[8], "WAVE", 4);
    std::memcpy(&h[12], "fmt ", 4);
    put32(&h[16], 16);
    put16(&h[20], 1);  // integer PCM
    put16(&h[22], channels);
    put32(&h[24], sample_rate);
    put32(&h[28], sample_rate * block_align);
    put16(&h[32], block_align);
    put16(&h[34], bits);
    std::memcpy(&h[36], "data", 4);
    put32(&h[40], data_bytes);
    return h;
}

WavWriter::~WavWriter() {
    if (file_ != nullptr && !is_stdout_) std::fclose(file_);
}

bool WavWriter::fail(const std::string &what) {
    failed_ = true;
    if (error_.empty()) error_ = (is_stdout_ ? std::string("stdout") : path_) + ": " + what;
    return false;
}

bool WavWriter::open(int channels, uint32_t sample_rate) {
    is_stdout_ = path_ == "-";
    file_ = is_stdout_ ? stdout : std::fopen(path_.c_str(), "wb");
    if (file_ == nullptr) return fail(std::strerror(errno));
    channels_ = channels;
    // The header can be rewritten where the output is a regular file that
    // writes land where we seek (not O_APPEND). Nothing has gone through
    // the stdio buffer yet, so the descriptor's offset is the header's.
    const int fd = fileno(file_);
    struct stat st;
    const int fl = fcntl(fd, F_GETFL);
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && fl != -1 && (fl & O_APPEND) == 0) {
        const off_t at = lseek(fd, 0, SEEK_CUR);
        if (at >= 0) {
            seekable_ = true;
            header_at_ = at;
        }
    }
    // Maximal sizes until finish() knows the length: a reader of a file
    // left by a killed process then reads to its end.
    const auto header =
        wav_header(sample_rate, static_cast<uint16_t>(channels), bits_, 0xffffffffu);
    if (std::fwrite(header.data(), 1, header.size(), file_) != header.size())
        return fail(std::strerror(errno));
    return true;
}

int32_t WavWriter::to_16(int64_t sample24) {
    if (dither_) {
        // Two uniform values of 0..255 (in 24-bit units, 1/256 LSB of the
        // 16-bit result) summed: triangular over -255..255, mean 0.
        uint32_t x = dither_state_;
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        dither_state_ = x;
        sample24 += static_cast<int64_t>(x & 0xffu) + ((x >> 8) & 0xffu) - 255;
    }
    return mp3d_pcm_round16(static_cast<int32_t>(std::clamp<int64_t>(sample24, -8388608, 8388607)));
}

bool WavWriter::write(const int32_t *words, size_t count, int channels, uint32_t sample_rate) {
    if (failed_) return false;
    if (file_ == nullptr && !open(channels, sample_rate)) return false;
    const size_t bytes_per_sample = bits_ / 8u;
    const size_t frames = count / static_cast<size_t>(channels);
    buffer_.resize(frames * static_cast<size_t>(channels_) * bytes_per_sample);
    if (channels != channels_) converted_ = true;
    uint8_t *out = buffer_.data();
    for (size_t f = 0; f < frames; ++f) {
        for (int ch = 0; ch < channels_; ++ch) {
            int64_t v;
            if (channels == channels_) {
                v = words[f * channels + ch];
            } else if (channels == 1) {
                v = words[f];  // mono frame in a stereo file: both channels
            } else {
                v = (int64_t{words[2 * f]} + words[2 * f + 1]) / 2;  // stereo frame in a mono file
            }
            const int32_t s = bits_ == 16 ? to_16(v) : clamp_bits(v, bits_);
            for (size_t b = 0; b < bytes_per_sample; ++b)
                *out++ = static_cast<uint8_t>(static_cast<uint32_t>(s) >> (8 * b));
        }
    }
    if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size())
        return fail(std::strerror(errno));
    frames_ += frames;
    return true;
}

bool WavWriter::rewrite_header() {
    const int fd = fileno(file_);
    const off_t end = lseek(fd, 0, SEEK_END);
    if (end < 0) return fail(std::strerror(errno));
    const uint64_t block = static_cast<uint64_t>(channels_) * (bits_ / 8u);
    const int64_t after_header = static_cast<int64_t>(end) - header_at_ - 44;
    uint64_t data = after_header > 0 ? static_cast<uint64_t>(after_header) : 0;
    // A write that failed part-way may have left a partial sample frame:
    // cut it off so that the file ends on a whole frame.
    if (data % block != 0) {
        data -= data % block;
        if (ftruncate(fd, static_cast<off_t>(header_at_ + 44 + static_cast<int64_t>(data))) != 0)
            return fail(std::strerror(errno));
    }
    frames_ = data / block;
    const uint32_t size =
        data > 0xffffffffu - 36u ? 0xffffffffu - 36u : static_cast<uint32_t>(data);
    uint8_t riff[4], field[4];
    put32(riff, 36u + size);
    put32(field, size);
    // pwrite leaves the descriptor's offset alone and needs no new space,
    // so it works on a full disk too.
    if (pwrite(fd, riff, 4, header_at_ + 4) != 4 || pwrite(fd, field, 4, header_at_ + 40) != 4)
        return fail(std::strerror(errno));
    return true;
}

bool WavWriter::finish() {
    if (file_ == nullptr) return !failed_;
    // Everything buffered goes out first, so that the file's length is final.
    if (std::fflush(file_) != 0) fail(std::strerror(errno));
    if (seekable_) rewrite_header();
    if (!is_stdout_ && std::fclose(file_) != 0) fail(std::strerror(errno));
    file_ = nullptr;
    return !failed_;
}

RawWriter::~RawWriter() {
    if (file_ != nullptr && !is_stdout_) std::fclose(file_);
}

bool RawWriter::write(const int32_t *words, size_t count) {
    if (failed_) return false;
    if (file_ == nullptr) {
        is_stdout_ = path_ == "-";
        file_ = is_stdout_ ? stdout : std::fopen(path_.c_str(), "wb");
        if (file_ == nullptr) {
            failed_ = true;
            error_ = path_ + ": " + std::strerror(errno);
            return false;
        }
    }
    buffer_.resize(count * 4);
    for (size_t i = 0; i < count; ++i) {
        const auto w = static_cast<uint32_t>(words[i]);
        for (int b = 0; b < 4; ++b) buffer_[4 * i + b] = static_cast<uint8_t>(w >> (8 * b));
    }
    if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size()) {
        failed_ = true;
        error_ = (is_stdout_ ? std::string("stdout") : path_) + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool RawWriter::finish() {
    if (file_ == nullptr) return !failed_;
    bool ok = !failed_;
    const int r = is_stdout_ ? std::fflush(file_) : std::fclose(file_);
    if (r != 0 && ok) {
        failed_ = true;
        error_ = path_ + ": " + std::strerror(errno);
        ok = false;
    }
    file_ = nullptr;
    return ok;
}

}  // namespace mp3d_tools
