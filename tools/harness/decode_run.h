// Decoding a whole stream through the library's public entry points, for the
// command-line tool and the test suite alike.
#ifndef MP3D_TOOLS_DECODE_RUN_H
#define MP3D_TOOLS_DECODE_RUN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "harness/stream_input.h"
#include "mp3d.h"

namespace mp3d_tools {

// Words of PCM that one successful call delivers for a frame.
inline size_t words_per_call(const MP3D_Frame_Info &info) {
    return static_cast<size_t>(info.layer == 2 ? 1152 : 576) *
           static_cast<size_t>(info.num_channels);
}

// MPEG version deduced from the sampling rate: "1", "2" (LSF) or "2.5".
const char *mpeg_version_name(int32_t sample_rate);

struct DecodeOptions {
    size_t block_size = 65536;  // bytes handed over per input callback
    bool pcm_no_shift = false;  // true: 24-bit output words
    // Called once after a successful init with the decoder's state (tests
    // use it to pick the kernels the decoder runs).
    std::function<void(void *decoder_state)> after_init;
};

struct DecodeStats {
    bool init_failed = false;
    bool stalled = false;          // the decoder stopped consuming input
    bool sink_failed = false;      // the PCM consumer gave up (e.g. write error)
    bool read_failed = false;      // the input could not be read to its end
    MP3D_Frame_Info first_info{};  // valid when frames > 0
    uint64_t frames = 0;           // calls that began a frame
    uint64_t layer3_granules = 0;  // Layer III granule calls (0, 38 or 40)
    uint64_t layer2_frames = 0;    // Layer II frame calls
    uint64_t output_calls = 0;     // calls whose PCM was delivered
    uint64_t output_words = 0;     // words handed to the sink
    uint64_t silent_granules = 0;  // granules refused with 40, output as silence
    uint64_t frame_end_calls = 0;  // calls that delivered PCM and returned 38
    uint64_t free_format_frames = 0;
    uint64_t bytes_in = 0;
    uint64_t callbacks = 0;
    int32_t min_bitrate = 0, max_bitrate = 0;  // of non-free-format frames
    bool format_changed = false;               // rate or channel count changed mid-stream
    std::map<int32_t, uint64_t> codes;         // every return code met, with its count
};

// Receives the PCM of one call: `words` interleaved words laid out as `info`
// describes. Returns false to stop decoding.
using PcmSink =
    std::function<bool(const int32_t *words, size_t count, const MP3D_Frame_Info &info)>;

// Queries the memory, allocates both chunks (16-byte aligned), initialises
// a decoder and calls mp3d_decode_frame until the end of the stream. The
// PCM of every call returning MP3D_OK, MP3D_ERROR_HUFFMAN (a refused granule,
// silence from the decoder) or MP3D_ERROR_FRAME_END (the frame's last
// granule, then a reset) goes to the sink, so the output keeps its timing;
// other codes deliver nothing.
DecodeStats run_decoder(const ByteReader &reader, const DecodeOptions &options,
                        const PcmSink &sink);

// Whole-stream output of one decode, every call's words in order.
struct DecodedStream {
    DecodeStats stats;
    std::vector<int32_t> words;
    std::vector<uint32_t> call_words;  // words per delivered call, in order
};
DecodedStream decode_buffer(const std::vector<uint8_t> &data, const DecodeOptions &options);
// Reads a whole file; false (and a message in *error) when it cannot.
bool read_file(const std::string &path, std::vector<uint8_t> &data, std::string *error);

// Name of a return code as the public header spells it.
const char *return_code_name(int32_t code);

}  // namespace mp3d_tools

#endif
