#include "harness/stream_input.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace mp3d_tools {

ByteReader memory_reader(const uint8_t *data, size_t size) {
    auto position = std::make_shared<size_t>(0);
    return [data, size, position](uint8_t *dest, size_t count) {
        const size_t n = std::min(count, size - *position);
        if (n > 0) std::memcpy(dest, data + *position, n);
        *position += n;
        return n;
    };
}

ByteReader file_reader(std::FILE *file, bool *failed) {
    return [file, failed](uint8_t *dest, size_t count) {
        const size_t n = std::fread(dest, 1, count, file);
        if (n == 0 && std::ferror(file) && failed != nullptr) *failed = true;
        return n;
    };
}

void stream_input_setup(StreamInput &input, const ByteReader &reader, size_t block_size) {
    input.reader = &reader;
    // The callback reports the block length as a signed 32-bit count.
    input.block.assign(std::clamp<size_t>(block_size, 1, size_t{1} << 30), 0);
    input.bytes_fed = 0;
    input.callbacks = 0;
    input.ended = false;
    input.config.input_callback = stream_input_callback;
}

int32_t stream_input_callback(const uint8_t **input_buffer, int32_t *input_bytes_left,
                              MP3D_Decode_Config *config) {
    auto *input = reinterpret_cast<StreamInput *>(config);
    input->callbacks++;
    size_t filled = 0;
    while (!input->ended && filled < input->block.size()) {
        const size_t got =
            (*input->reader)(input->block.data() + filled, input->block.size() - filled);
        if (got == 0) input->ended = true;
        filled += got;
    }
    input->bytes_fed += filled;
    *input_buffer = input->block.data();
    *input_bytes_left = static_cast<int32_t>(filled);
    return 0;
}

}  // namespace mp3d_tools
