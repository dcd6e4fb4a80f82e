#include "support/stream_harness.h"

#include <algorithm>
#include <stdexcept>

namespace mp3d_test {

int32_t StreamDecoder::callback(const uint8_t **buffer, int32_t *bytes_left,
                                MP3D_Decode_Config *config) {
    StreamDecoder *self = reinterpret_cast<Feed *>(config)->owner;
    ++self->callbacks_;
    size_t n = self->stream_.size() - self->pos_;
    if (n == 0) {
        ++self->end_reports_;
        *bytes_left = self->end_length_;
        return 0;
    }
    if (self->block_size_ > 0 && static_cast<size_t>(self->block_size_) < n)
        n = static_cast<size_t>(self->block_size_);
    self->block_.reset(new uint8_t[n]);
    std::copy_n(self->stream_.data() + self->pos_, n, self->block_.get());
    self->pos_ += n;
    *buffer = self->block_.get();
    *bytes_left = static_cast<int32_t>(n);
    return 0;
}

int32_t StreamDecoder::init() {
    MP3D_Decode_Config &c = feed_.config;
    if (mp3d_query_dec_mem(&c) != MP3D_OK) return -1;
    chunk0_.reset(new uint8_t[static_cast<size_t>(c.mem_info[0].size)]);
    chunk1_.reset(new uint8_t[static_cast<size_t>(c.mem_info[1].size)]);
    c.mem_info[0].base = chunk0_.get();
    c.mem_info[1].base = chunk1_.get();
    c.input_callback = &StreamDecoder::callback;
    return mp3d_decode_init(&c, &initial_input_);
}

std::unique_ptr<StreamDecoder> started(std::vector<uint8_t> stream, int block_size) {
    auto d = std::make_unique<StreamDecoder>(std::move(stream), block_size);
    if (d->init() != MP3D_OK) throw std::runtime_error("decoder init failed");
    return d;
}

void load_reservoir(mp3d::MP3D_Decoder_State *state, const std::vector<uint8_t> &bytes) {
    std::copy(bytes.begin(), bytes.end(), state->reservoir_buffer + 4);
    state->res_write_index = static_cast<int32_t>(bytes.size()) + 4;
    state->res_read_index = 4;
}

std::vector<int32_t> decode_to_end(StreamDecoder &d, std::vector<MP3D_Frame_Info> *infos,
                                   size_t max_calls) {
    std::vector<int32_t> codes;
    while (codes.size() < max_calls && (codes.empty() || codes.back() != MP3D_END_OF_STREAM)) {
        const bool begins = d.state()->granule_index == 0;
        MP3D_Frame_Info info{};
        codes.push_back(d.decode(&info));
        if (begins && codes.back() == MP3D_OK && infos != nullptr) infos->push_back(info);
    }
    return codes;
}

}  // namespace mp3d_test
