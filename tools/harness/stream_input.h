// Feeding the decoder's input callback from a byte source, block by block.
#ifndef MP3D_TOOLS_STREAM_INPUT_H
#define MP3D_TOOLS_STREAM_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <type_traits>
#include <vector>

#include "mp3d.h"

namespace mp3d_tools {

// Reads up to `count` bytes into `dest`; returns the number read, 0 at the
// end of input. Short reads before the end are allowed.
using ByteReader = std::function<size_t(uint8_t *dest, size_t count)>;

// A reader over a byte buffer that the caller keeps alive.
ByteReader memory_reader(const uint8_t *data, size_t size);
// A reader over an open stdio stream (not closed by the reader). A read
// error ends the input and sets *failed when given.
ByteReader file_reader(std::FILE *file, bool *failed = nullptr);

// The application record handed to the decoder. The decoder passes the
// config pointer to the callback, so the config is the first member and the
// callback gets back to the rest of the record from it.
struct StreamInput {
    MP3D_Decode_Config config;
    const ByteReader *reader;
    std::vector<uint8_t> block;  // the current block, reused for every call
    uint64_t bytes_fed;
    uint64_t callbacks;
    bool ended;
};
static_assert(std::is_standard_layout_v<StreamInput>);

// Prepares `input` to hand over `block_size` bytes per callback from
// `reader` (which must outlive the decoding) and installs the callback.
void stream_input_setup(StreamInput &input, const ByteReader &reader, size_t block_size);

// The input callback: fills the block completely (reading repeatedly from
// sources that deliver less) unless the input ends; reports the end with a
// length of 0.
int32_t stream_input_callback(const uint8_t **input_buffer, int32_t *input_bytes_left,
                              MP3D_Decode_Config *config);

}  // namespace mp3d_tools

#endif
