// mp3d decode: stream to WAV or raw words; mp3d checksum: hash of the
// 24-bit output.
#include <cstdio>
#include <filesystem>

#include "cli.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/wav_writer.h"

namespace mp3d_tools {

bool check_decoded(const std::string &in, const DecodeStats &stats) {
    const char *name = in == "-" ? "stdin" : in.c_str();
    if (stats.init_failed) {
        std::fprintf(stderr, "mp3d: %s: the decoder could not be initialised\n", name);
        return false;
    }
    if (stats.read_failed) {
        std::fprintf(stderr, "mp3d: %s: read error\n", name);
        return false;
    }
    if (stats.stalled) {
        std::fprintf(stderr, "mp3d: %s: the decoder stopped consuming input after %llu bytes\n",
                     name, static_cast<unsigned long long>(stats.bytes_in));
        return false;
    }
    if (stats.output_calls == 0) {
        std::fprintf(stderr, "mp3d: %s: no MPEG audio frame decoded\n", name);
        return false;
    }
    return true;
}

int cli_decode(const std::string &in, const std::string &out, const CliOptions &options,
               bool announce_output) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    DecodeOptions decode_options;
    decode_options.block_size = options.block_size;
    decode_options.pcm_no_shift = options.bits24;

    WavWriter wav(out, options.bits24 ? 24 : 16);
    RawWriter raw(out);
    bool read_failed = false;
    const ByteReader reader = file_reader(input, &read_failed);
    DecodeStats stats =
        run_decoder(reader, decode_options,
                    [&](const int32_t *words, size_t count, const MP3D_Frame_Info &info) {
                        if (options.raw) return raw.write(words, count);
                        return wav.write(words, count, info.num_channels,
                                         static_cast<uint32_t>(info.sample_rate));
                    });
    stats.read_failed = read_failed;
    close_input(input);

    const bool finished = options.raw ? raw.finish() : wav.finish();
    const std::string &write_error = options.raw ? raw.error() : wav.error();
    if (!write_error.empty()) {
        std::fprintf(stderr, "mp3d: %s\n", write_error.c_str());
        return kExitFailed;
    }
    if (!check_decoded(in, stats) || !finished) {
        // A file cut short by a stalled decoder or a read error is removed:
        // it would look like a complete decode.
        if (out != "-" && stats.output_calls > 0) {
            std::error_code ec;
            std::filesystem::remove(out, ec);
        }
        return kExitFailed;
    }
    if (wav.converted_channels())
        std::fprintf(
            stderr, "mp3d: %s: the channel count changes; frames were converted to %d channel(s)\n",
            in.c_str(), stats.first_info.num_channels);
    const double seconds = static_cast<double>(stats.output_words) / stats.first_info.num_channels /
                           stats.first_info.sample_rate;
    if (announce_output) {
        std::error_code ec;
        const auto where = std::filesystem::absolute(out, ec);
        std::printf("Decoded %s (%d Hz, %d channel%s, %.2f s) to %s\n", in.c_str(),
                    stats.first_info.sample_rate, stats.first_info.num_channels,
                    stats.first_info.num_channels == 1 ? "" : "s", seconds,
                    ec ? out.c_str() : where.string().c_str());
    } else if (out != "-") {
        std::fprintf(stderr, "mp3d: %s -> %s: %llu frames, %d Hz, %d channel%s, %.2f s\n",
                     in.c_str(), out.c_str(), static_cast<unsigned long long>(stats.frames),
                     stats.first_info.sample_rate, stats.first_info.num_channels,
                     stats.first_info.num_channels == 1 ? "" : "s", seconds);
    }
    return kExitOk;
}

int cli_checksum(const std::vector<std::string> &inputs, const CliOptions &options) {
    int result = kExitOk;
    std::printf("# mp3d checksum: FNV-1a 64 of the 24-bit output words, little-endian\n");
    for (const std::string &in : inputs) {
        std::FILE *input = open_input(in);
        if (input == nullptr) {
            result = kExitFailed;
            continue;
        }
        DecodeOptions decode_options;
        decode_options.block_size = options.block_size;
        decode_options.pcm_no_shift = true;
        uint64_t hash = fnv1a64_words(nullptr, 0);
        bool read_failed = false;
        DecodeStats stats =
            run_decoder(file_reader(input, &read_failed), decode_options,
                        [&hash](const int32_t *words, size_t count, const MP3D_Frame_Info &) {
                            hash = fnv1a64_words(words, count, hash);
                            return true;
                        });
        stats.read_failed = read_failed;
        close_input(input);
        if (!check_decoded(in, stats)) {
            result = kExitFailed;
            continue;
        }
        std::printf("%s %s\n", in.c_str(), hash_hex(hash).c_str());
    }
    return result;
}

}  // namespace mp3d_tools
