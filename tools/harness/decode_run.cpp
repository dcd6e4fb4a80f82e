#include "harness/decode_run.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

namespace mp3d_tools {

namespace {

struct AlignedFree {
    void operator()(void *p) const { ::operator delete (p, std::align_val_t{16}); }
};
using Chunk = std::unique_ptr<void, AlignedFree>;

Chunk allocate_chunk(int32_t size) {
    return Chunk(::operator new (static_cast<size_t>(size), std::align_val_t{16}));
}

}  // namespace

const char *mpeg_version_name(int32_t sample_rate) {
    switch (sample_rate) {
        case 32000:
        case 44100:
        case 48000:
            return "1";
        case 16000:
        case 22050:
        case 24000:
            return "2";
        case 8000:
        case 11025:
        case 12000:
            return "2.5";
        default:
            return "?";
    }
}

DecodeStats run_decoder(const ByteReader &reader, const DecodeOptions &options,
                        const PcmSink &sink) {
    DecodeStats stats;
    StreamInput feed{};
    stream_input_setup(feed, reader, options.block_size);

    MP3D_Decode_Config &config = feed.config;
    if (mp3d_query_dec_mem(&config) != MP3D_OK) {
        stats.init_failed = true;
        return stats;
    }
    Chunk chunks[MP3D_MEM_CHUNKS];
    for (int i = 0; i < MP3D_MEM_CHUNKS; ++i) {
        chunks[i] = allocate_chunk(config.mem_info[i].size);
        config.mem_info[i].base = chunks[i].get();
    }
    config.pcm_no_shift = options.pcm_no_shift ? 1 : 0;
    // The first callback receives this pointer back; it is never read.
    if (mp3d_decode_init(&config, feed.block.data()) != MP3D_OK) {
        stats.init_failed = true;
        return stats;
    }
    if (options.after_init) options.after_init(config.decoder_state);

    std::vector<int32_t> output(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Frame_Info current{};
    // A working decoder consumes input on all but a few consecutive calls
    // (the second granule of a frame, a refused granule); a long run of
    // calls without a callback means it has stopped making progress.
    const uint64_t stall_limit = 4 * static_cast<uint64_t>(feed.block.size()) + 64;
    uint64_t calls_since_callback = 0;
    uint64_t last_callbacks = 0;

    for (;;) {
        MP3D_Frame_Info info = current;
        info.layer = -1;  // tells whether the call began a new frame
        const int32_t status = mp3d_decode_frame(&config, &info, output.data());
        stats.codes[status]++;
        // A header that the next one did not confirm (a Layer II candidate is
        // refused only after its decode) began no frame: nothing is counted.
        if (info.layer != -1 && status != MP3D_ERROR_SYNC) {
            if (stats.frames == 0) {
                stats.first_info = info;
            } else if (info.sample_rate != current.sample_rate ||
                       info.num_channels != current.num_channels) {
                stats.format_changed = true;
            }
            current = info;
            stats.frames++;
            if (info.bitrate_kbps == 0) {
                stats.free_format_frames++;
            } else {
                if (stats.min_bitrate == 0 || info.bitrate_kbps < stats.min_bitrate)
                    stats.min_bitrate = info.bitrate_kbps;
                if (info.bitrate_kbps > stats.max_bitrate) stats.max_bitrate = info.bitrate_kbps;
            }
        }
        if (status == MP3D_END_OF_STREAM || status == MP3D_ERROR_INIT ||
            status == MP3D_ERROR_NULL_POINTER)
            break;

        bool deliver = false;
        if (status == MP3D_OK || status == MP3D_ERROR_HUFFMAN || status == MP3D_ERROR_FRAME_END) {
            // These deliver PCM (a granule refused with 40 as silence; 38
            // after the frame's last granule or Layer II frame); every other
            // code delivers nothing.
            if (current.layer == 3) stats.layer3_granules++;
            if (current.layer == 2) stats.layer2_frames++;
            if (status == MP3D_ERROR_HUFFMAN) stats.silent_granules++;
            if (status == MP3D_ERROR_FRAME_END) stats.frame_end_calls++;
            deliver = current.layer == 2 || current.layer == 3;
        }
        if (deliver) {
            const size_t count = words_per_call(current);
            stats.output_calls++;
            stats.output_words += count;
            if (!sink(output.data(), count, current)) {
                stats.sink_failed = true;
                break;
            }
        }

        if (feed.callbacks != last_callbacks) {
            last_callbacks = feed.callbacks;
            calls_since_callback = 0;
        } else if (++calls_since_callback > stall_limit) {
            stats.stalled = true;
            break;
        }
    }
    stats.bytes_in = feed.bytes_fed;
    stats.callbacks = feed.callbacks;
    return stats;
}

DecodedStream decode_buffer(const std::vector<uint8_t> &data, const DecodeOptions &options) {
    DecodedStream result;
    const ByteReader reader = memory_reader(data.data(), data.size());
    result.stats = run_decoder(
        reader, options, [&result](const int32_t *words, size_t count, const MP3D_Frame_Info &) {
            result.words.insert(result.words.end(), words, words + count);
            result.call_words.push_back(static_cast<uint32_t>(count));
            return true;
        });
    return result;
}

bool read_file(const std::string &path, std::vector<uint8_t> &data, std::string *error) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        if (error != nullptr) *error = path + ": " + std::strerror(errno);
        return false;
    }
    data.clear();
    uint8_t buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        data.insert(data.end(), buffer, buffer + n);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        if (error != nullptr) *error = path + ": read error";
        return false;
    }
    return true;
}

const char *return_code_name(int32_t code) {
    switch (code) {
        case MP3D_OK:
            return "MP3D_OK";
        case MP3D_END_OF_STREAM:
            return "MP3D_END_OF_STREAM";
        case MP3D_ERROR_LAYER:
            return "MP3D_ERROR_LAYER";
        case MP3D_ERROR_SAMPLING_FREQ:
            return "MP3D_ERROR_SAMPLING_FREQ";
        case MP3D_ERROR_BITRATE:
            return "MP3D_ERROR_BITRATE";
        case MP3D_ERROR_SIDE_INFO:
            return "MP3D_ERROR_SIDE_INFO";
        case MP3D_ERROR_SYNC:
            return "MP3D_ERROR_SYNC";
        case MP3D_ERROR_MAIN_DATA:
            return "MP3D_ERROR_MAIN_DATA";
        case MP3D_ERROR_FRAME_END:
            return "MP3D_ERROR_FRAME_END";
        case MP3D_ERROR_FREE_FORMAT:
            return "MP3D_ERROR_FREE_FORMAT";
        case MP3D_ERROR_HUFFMAN:
            return "MP3D_ERROR_HUFFMAN";
        case MP3D_ERROR_VERSION:
            return "MP3D_ERROR_VERSION";
        case MP3D_ERROR_INIT:
            return "MP3D_ERROR_INIT";
        case MP3D_ERROR_NULL_POINTER:
            return "MP3D_ERROR_NULL_POINTER";
        default:
            return "unknown";
    }
}

}  // namespace mp3d_tools
