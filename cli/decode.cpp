// mp3d decode: a stream to a WAV file or raw words, through the stream layer
// (tags skipped, gapless trimming, seeking).
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

#include "cli.h"
#include "harness/decode_run.h"
#include "harness/wav_writer.h"
#include "output.h"

namespace fs = std::filesystem;

namespace mp3d_tools {

namespace {

// The signal that asked the tool to stop (SIGINT, SIGTERM), or 0. The
// handler only records it; the decode loop sees it at the next callback or
// output block and winds down through the ordinary exit path.
volatile std::sig_atomic_t g_stop_signal = 0;

extern "C" void record_stop_signal(int sig) {
    g_stop_signal = sig;
}

// Installs the handlers for one decode. SA_RESTART is left out so that a
// read waiting on a pipe returns at once. A signal that was ignored when the
// tool started (a background job of a script) stays ignored. SIGXFSZ is
// ignored so that a file-size limit makes the write fail with EFBIG instead
// of killing the tool before it can fix the header.
void catch_stop_signals() {
    struct sigaction action {};
    action.sa_handler = record_stop_signal;
    sigemptyset(&action.sa_mask);
    for (const int sig : {SIGINT, SIGTERM}) {
        struct sigaction old {};
        if (sigaction(sig, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
        sigaction(sig, &action, nullptr);
    }
    std::signal(SIGXFSZ, SIG_IGN);
}

// Ends the process by the signal that stopped the decode, so that the shell
// or a calling script sees the usual status of an interrupted program.
[[noreturn]] void die_by(int sig) {
    std::fflush(nullptr);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
    std::_Exit(128 + sig);
}

// True when the named output is the input file itself (same device and
// inode, whatever the path): writing it would truncate what is being read.
bool same_file(std::FILE *input, const std::string &out) {
    struct stat in_st, out_st;
    if (fstat(fileno(input), &in_st) != 0 || !S_ISREG(in_st.st_mode)) return false;
    const int out_ok = out == "-" ? fstat(fileno(stdout), &out_st) : stat(out.c_str(), &out_st);
    return out_ok == 0 && in_st.st_dev == out_st.st_dev && in_st.st_ino == out_st.st_ino;
}

}  // namespace

int cli_decode(const std::string &in, const std::string &out, const CliOptions &options,
               bool announce_output) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    const char *name = in == "-" ? "stdin" : in.c_str();
    if (same_file(input, out)) {
        std::fprintf(stderr, "mp3d: %s: the output is the input file\n", name);
        close_input(input);
        return kExitUsage;
    }
    catch_stop_signals();

    // The WAV is made from the 24-bit output: 16-bit samples are rounded
    // (the library's own 16-bit mode truncates). --raw writes the words of
    // the library's 24-bit or (shifted by 8 as it does) 16-bit mode.
    WavWriter wav(out, options.bits24 ? 24 : 16);
    wav.set_dither(options.dither);
    RawWriter raw(out);
    FormatKeeper keeper;
    bool created = false;  // the sink has written: the output file exists
    StreamFile file;
    if (!open_stream(input, in, options, file, &g_stop_signal)) {
        close_input(input);
        if (g_stop_signal != 0) die_by(g_stop_signal);
        return kExitFailed;
    }
    const MP3D_Stream_Info &info = file.info();
    if (info.longer_than_tag && options.gapless)
        std::fprintf(stderr,
                     "mp3d: %s: the stream runs on past the length that its "
                     "LAME tag gives; its end is not trimmed\n",
                     name);
    if (options.seek_seconds > 0)
        mp3d_stream_seek(file.stream(),
                         static_cast<int64_t>(options.seek_seconds * info.sample_rate + 0.5));
    const int64_t max_samples =
        options.duration_seconds < 0
            ? -1
            : static_cast<int64_t>(options.duration_seconds * info.sample_rate + 0.5);
    const bool progress = !options.quiet && isatty(fileno(stderr)) && out != "-";
    decode_stream(input, in, progress, file, max_samples,
                  [&](const int32_t *words, const MP3D_Stream_Block &block) {
                      if (g_stop_signal != 0) return false;
                      created = true;
                      const size_t count = static_cast<size_t>(block.samples * block.num_channels);
                      if (options.raw) {
                          if (options.bits24) return raw.write(words, count);
                          // The decoder's own 16-bit range: its shift by 8.
                          std::vector<int32_t> shifted(words, words + count);
                          for (int32_t &w : shifted) w >>= 8;
                          return raw.write(shifted.data(), count);
                      }
                      bool changed = false;
                      const std::vector<int32_t> &pcm =
                          keeper.convert(words, static_cast<size_t>(block.samples),
                                         block.num_channels, block.sample_rate, &changed);
                      if (changed)
                          std::fprintf(
                              stderr,
                              "mp3d: %s: the stream changes to %d Hz, %d channel(s); converting "
                              "to %d Hz, %d channel(s)\n",
                              name, block.sample_rate, block.num_channels, keeper.rate(),
                              keeper.channels());
                      return pcm.empty() || wav.write(pcm.data(), pcm.size(), keeper.channels(),
                                                      static_cast<uint32_t>(keeper.rate()));
                  });
    DecodeStats stats = file.stats();
    const int stop_signal = g_stop_signal;
    // A read cut short by the signal is the interruption, not a read error.
    stats.read_failed = stats.read_failed && stop_signal == 0;
    close_input(input);

    // The output is closed, with a header that gives the length written, on
    // every path below.
    const bool finished = options.raw ? raw.finish() : wav.finish();
    const std::string &write_error = options.raw ? raw.error() : wav.error();
    bool ok = true;
    if (stop_signal != 0) {
        std::fprintf(stderr, "mp3d: %s: interrupted\n", name);
        ok = false;
    } else if (!write_error.empty()) {
        std::fprintf(stderr, "mp3d: %s\n", write_error.c_str());
        ok = false;
    } else if (options.seek_seconds > 0 && !created && !stats.read_failed) {
        std::fprintf(stderr, "mp3d: %s: nothing to decode after %g s\n", name,
                     options.seek_seconds);
        ok = false;
    } else if (!check_decoded(in, stats) || !finished) {
        ok = false;
    }
    if (!ok) {
        // The part decoded stays (its header tells its true length) unless
        // the user asked for no partial output.
        if (options.no_partial && out != "-" && created) {
            std::error_code ec;
            std::filesystem::remove(out, ec);
        }
        if (stop_signal != 0) die_by(stop_signal);
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

}  // namespace mp3d_tools
