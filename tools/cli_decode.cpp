// mp3d decode: stream to WAV or raw words; mp3d checksum: hash of the
// 24-bit output.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "cli.h"
#include "cli_output.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/wav_writer.h"

namespace fs = std::filesystem;

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

namespace {

uint64_t file_size(std::FILE *file) {
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
    return static_cast<uint64_t>(st.st_size);
}

}  // namespace

DecodeStats decode_container(std::FILE *input, const std::string &in, const CliOptions &options,
                             bool progress, ContainerReader &container, const ContainerSink &sink) {
    DecodeOptions decode_options;
    decode_options.block_size = options.block_size;
    decode_options.pcm_no_shift = options.bits24;
    ProgressBar bar(in == "-" ? "stdin" : fs::path(in).filename().string(),
                    progress ? file_size(input) : 0);
    GaplessTrim trim;
    bool trim_known = false;
    // Output past the tag's end is held back: it is the padding, unless the
    // stream runs on for longer (files joined together), when it is
    // delivered after all and the end is not cut.
    struct Held {
        std::vector<int32_t> words;
        MP3D_Frame_Info info;
    };
    std::vector<Held> held;
    size_t held_frames = 0;
    const ByteReader reader = container.reader();
    DecodeStats stats = run_decoder(
        reader, decode_options,
        [&](const int32_t *words, size_t count, const MP3D_Frame_Info &info) {
            if (!trim_known) {
                // The information frame has been read with the first bytes.
                trim_known = true;
                if (options.gapless && container.info_frame())
                    trim = GaplessTrim(*container.info_frame());
            }
            bar.update(container.source_bytes());
            const size_t channels = static_cast<size_t>(info.num_channels);
            size_t first = 0, frames = 0, beyond = 0;
            trim.apply(count / channels, &first, &frames, &beyond);
            if (frames > 0 && !sink(words + first * channels, frames, info)) return false;
            if (beyond == 0) return true;
            held.push_back(
                {std::vector<int32_t>(words + count - beyond * channels, words + count), info});
            held_frames += beyond;
            const auto &tag = *container.info_frame();
            if (held_frames <= static_cast<size_t>(tag.encoder_padding) +
                                   2 * static_cast<size_t>(tag.header.samples_per_frame))
                return true;
            std::fprintf(stderr,
                         "mp3d: %s: the stream runs on past the length that its "
                         "LAME tag gives; its end is not trimmed\n",
                         in == "-" ? "stdin" : in.c_str());
            trim.keep_end();
            for (const Held &h : held)
                if (!sink(h.words.data(), h.words.size() / static_cast<size_t>(h.info.num_channels),
                          h.info))
                    return false;
            held.clear();
            return true;
        });
    bar.finish();
    return stats;
}

int cli_decode(const std::string &in, const std::string &out, const CliOptions &options,
               bool announce_output) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    const char *name = in == "-" ? "stdin" : in.c_str();

    WavWriter wav(out, options.bits24 ? 24 : 16);
    RawWriter raw(out);
    FormatKeeper keeper;
    bool read_failed = false;
    ContainerReader container(file_reader(input, &read_failed));
    const bool progress = !options.quiet && isatty(fileno(stderr)) && out != "-";
    DecodeStats stats = decode_container(
        input, in, options, progress, container,
        [&](const int32_t *words, size_t frames, const MP3D_Frame_Info &info) {
            const size_t channels = static_cast<size_t>(info.num_channels);
            if (options.raw) return raw.write(words, frames * channels);
            bool changed = false;
            const std::vector<int32_t> &pcm =
                keeper.convert(words, frames, info.num_channels, info.sample_rate, &changed);
            if (changed)
                std::fprintf(stderr,
                             "mp3d: %s: the stream changes to %d Hz, %d channel(s); converting "
                             "to %d Hz, %d channel(s)\n",
                             name, info.sample_rate, info.num_channels, keeper.rate(),
                             keeper.channels());
            return pcm.empty() || wav.write(pcm.data(), pcm.size(), keeper.channels(),
                                            static_cast<uint32_t>(keeper.rate()));
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
    const int rate = options.raw ? stats.first_info.sample_rate : keeper.rate();
    const int channels = options.raw ? stats.first_info.num_channels : keeper.channels();
    const uint64_t frames_out = options.raw ? 0 : wav.frames_written();
    const double seconds = static_cast<double>(frames_out) / rate;
    if (announce_output) {
        std::error_code ec;
        const auto where = std::filesystem::absolute(out, ec);
        std::printf("Decoded %s (%d Hz, %d channel%s, %.2f s) to %s\n", in.c_str(), rate, channels,
                    channels == 1 ? "" : "s", seconds, ec ? out.c_str() : where.string().c_str());
    } else if (out != "-" && !options.quiet) {
        std::fprintf(stderr, "mp3d: %s -> %s: %llu frames, %d Hz, %d channel%s", name, out.c_str(),
                     static_cast<unsigned long long>(stats.frames), rate, channels,
                     channels == 1 ? "" : "s");
        if (!options.raw)
            std::fprintf(stderr, ", %llu samples, %.2f s",
                         static_cast<unsigned long long>(frames_out), seconds);
        std::fprintf(stderr, "\n");
    }
    if (options.verbose) print_stream_errors(stats);
    return kExitOk;
}

void print_stream_errors(const DecodeStats &stats) {
    uint64_t errors = 0;
    for (const auto &[code, count] : stats.codes) {
        if (code == MP3D_OK || code == MP3D_END_OF_STREAM) continue;
        if (errors == 0) std::fprintf(stderr, "mp3d: stream errors:\n");
        errors += count;
        std::fprintf(stderr, "  %-26s %2d: %llu\n", return_code_name(code), code,
                     static_cast<unsigned long long>(count));
    }
    if (errors == 0) std::fprintf(stderr, "mp3d: no stream errors\n");
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
