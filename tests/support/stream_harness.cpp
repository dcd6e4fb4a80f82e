#include "support/stream_harness.h"

#include <cstring>

namespace mp3d_test {

StreamDecoder::StreamDecoder(std::vector<uint8_t> stream, int block_size, int end_length)
    : stream_(std::move(stream)),
      block_size_(block_size),
      end_length_(end_length),
      output_(MP3D_MAX_OUTPUT_WORDS + 16, 0) {
    feed_.owner = this;
}

int32_t StreamDecoder::callback(const uint8_t **buffer, int32_t *bytes_left,
                                MP3D_Decode_Config *config) {
    StreamDecoder *self = reinterpret_cast<Feed *>(config)->owner;
    ++self->callbacks_;
    const size_t left = self->stream_.size() - self->pos_;
    if (left == 0) {
        ++self->end_reports_;
        *bytes_left = self->end_length_;
        return 0;
    }
    size_t n = left;
    if (self->block_size_ > 0 && static_cast<size_t>(self->block_size_) < n)
        n = static_cast<size_t>(self->block_size_);
    self->block_.reset(new uint8_t[n]);
    std::memcpy(self->block_.get(), self->stream_.data() + self->pos_, n);
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

int32_t StreamDecoder::decode(MP3D_Frame_Info *info) {
    return mp3d_decode_frame(&feed_.config, info, output_.data());
}

}  // namespace mp3d_test
