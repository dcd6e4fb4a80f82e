// The tool's inputs: opening IN, the one-line reasons why an input gave no
// audio, and the read loop over a file opened through the stream layer.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "cli.h"
#include "output.h"

namespace fs = std::filesystem;

namespace mp3d_tools {

namespace {

uint64_t file_size(std::FILE *file) {
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
    return static_cast<uint64_t>(st.st_size);
}

}  // namespace

std::FILE *open_input(const std::string &in) {
    if (in == "-") return stdin;
    std::error_code ec;
    if (fs::is_directory(in, ec)) {
        std::fprintf(stderr, "mp3d: %s: is a directory\n", in.c_str());
        return nullptr;
    }
    std::FILE *file = std::fopen(in.c_str(), "rb");
    if (file == nullptr) std::fprintf(stderr, "mp3d: %s: %s\n", in.c_str(), std::strerror(errno));
    return file;
}

void close_input(std::FILE *file) {
    if (file != nullptr && file != stdin) std::fclose(file);
}

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
    if (stats.frames == 0) {
        std::fprintf(stderr, "mp3d: no MPEG audio found in %s\n", name);
        return false;
    }
    if (stats.output_calls == 0) {
        std::fprintf(stderr, "mp3d: %s: no MPEG audio frame could be decoded\n", name);
        return false;
    }
    return true;
}

bool open_stream(std::FILE *input, const std::string &in, const CliOptions &options,
                 StreamFile &file, const volatile std::sig_atomic_t *stop) {
    const int32_t status = file.open(input, options.block_size, options.gapless, stop);
    if (status == MP3D_STREAM_OK) return true;
    DecodeStats stats;
    stats.read_failed = file.read_failed() || status == MP3D_STREAM_ERROR_IO;
    stats.init_failed = status == MP3D_STREAM_ERROR_ARGUMENT;
    check_decoded(in, stats);  // says why: no audio, read error
    return false;
}

bool decode_stream(std::FILE *input, const std::string &in, bool progress, StreamFile &file,
                   int64_t max_samples, const StreamSink &sink) {
    ProgressBar bar(in == "-" ? "stdin" : fs::path(in).filename().string(),
                    progress ? file_size(input) : 0);
    std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Stream_Block block{};
    int64_t done = 0;
    bool ok = true;
    while ((max_samples < 0 || done < max_samples) &&
           mp3d_stream_read(file.stream(), pcm.data(), &block) == MP3D_STREAM_OK) {
        bar.update(file.bytes_read());
        if (max_samples >= 0 && done + block.samples > max_samples)
            block.samples = static_cast<int32_t>(max_samples - done);
        done += block.samples;
        if (!sink(pcm.data(), block)) {
            ok = false;
            break;
        }
    }
    bar.finish();
    return ok;
}

}  // namespace mp3d_tools
