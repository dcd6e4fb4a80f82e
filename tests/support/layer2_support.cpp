#include "support/layer2_support.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace layer2_test {

void BitWriter::put(uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) {
        if (bits_ % 8 == 0) data_.push_back(0);
        if ((value >> i) & 1u) data_.back() |= static_cast<uint8_t>(0x80u >> (bits_ % 8));
        ++bits_;
    }
}

std::vector<uint8_t> BitWriter::bytes(size_t min_size) const {
    std::vector<uint8_t> out = data_;
    if (out.size() < min_size) out.resize(min_size, 0);
    return out;
}

Decoder::Decoder(std::vector<uint8_t> stream, size_t block_size, bool no_shift)
    : stream_(std::move(stream)), block_size_(block_size) {
    harness_.self = this;
    MP3D_Decode_Config *cfg = &harness_.config;
    mp3d_query_dec_mem(cfg);
    chunk0_.assign((cfg->mem_info[0].size + 7) / 8, 0);
    chunk1_.assign((cfg->mem_info[1].size + 7) / 8, 0);
    cfg->mem_info[0].base = chunk0_.data();
    cfg->mem_info[1].base = chunk1_.data();
    cfg->pcm_no_shift = no_shift ? 1 : 0;
    cfg->input_callback = &Decoder::feed;
    static const uint8_t kNothing = 0;
    mp3d_decode_init(cfg, &kNothing);
}

mp3d::MP3D_Decoder_State *Decoder::state() const {
    return static_cast<mp3d::MP3D_Decoder_State *>(harness_.config.decoder_state);
}

int32_t Decoder::decode(MP3D_Frame_Info *info, int32_t *output) {
    return mp3d_decode_frame(&harness_.config, info, output);
}

int32_t Decoder::feed(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config) {
    Decoder *self = reinterpret_cast<Harness *>(config)->self;
    size_t n = self->stream_.size() - self->position_;
    if (self->block_size_ != 0 && n > self->block_size_) n = self->block_size_;
    *buffer = self->stream_.data() + self->position_;
    *bytes_left = static_cast<int32_t>(n);
    self->position_ += n;
    return 0;
}

std::string shared_dir() {
    const char *env = std::getenv("MP3D_SHARED_DIR");
    return env != nullptr && *env != 0 ? std::string(env) : std::string(MP3D_SHARED_DIR);
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(f),
                                std::istreambuf_iterator<char>());
}

DecodedStream decode_stream(const std::vector<uint8_t> &stream, bool no_shift) {
    DecodedStream out;
    Decoder dec(stream, 0, no_shift);
    std::vector<int32_t> buffer(MP3D_MAX_OUTPUT_WORDS);
    for (int calls = 0; calls < 100000; ++calls) {
        MP3D_Frame_Info info{};
        const int32_t status = dec.decode(&info, buffer.data());
        if (status == MP3D_END_OF_STREAM) break;
        if (status != MP3D_OK) {
            ++out.errors;
            continue;
        }
        out.channels = info.num_channels;
        out.sample_rate = info.sample_rate;
        ++out.frames;
        const size_t words =
            (info.layer == 2 ? 1152 : 576) * static_cast<size_t>(info.num_channels);
        out.pcm.insert(out.pcm.end(), buffer.begin(), buffer.begin() + static_cast<long>(words));
    }
    return out;
}

Difference compare16(const std::vector<int32_t> &a, const std::vector<int32_t> &b, size_t count) {
    Difference d;
    double sum = 0;
    for (size_t i = 0; i < count; ++i) {
        const double e = static_cast<double>(a[i]) - static_cast<double>(b[i]);
        sum += e * e;
        if (std::fabs(e) > d.max_abs) d.max_abs = std::fabs(e);
    }
    d.samples = count;
    d.rms = count != 0 ? std::sqrt(sum / static_cast<double>(count)) / 32768.0 : 0.0;
    return d;
}

double limited_accuracy_rms() {
    return std::ldexp(1.0, -11) / std::sqrt(12.0);
}

}  // namespace layer2_test
