// The mp3d command-line tool: shared option parsing and the subcommands.
#ifndef MP3D_CLI_CLI_H
#define MP3D_CLI_CLI_H

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "harness/decode_run.h"
#include "stream_file.h"

namespace mp3d_tools {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // input or output error (no audio, read or write error,
                                // interrupted), or the accuracy not met
constexpr int kExitUsage = 2;   // bad command line, or the output would overwrite the input

struct CliOptions {
    size_t block_size = 65536;
    bool bits24 = false;           // --24: 24-bit output (pcm_no_shift)
    bool raw = false;              // --raw: words unchanged, signed 32-bit LE
    bool tsv = false;              // compare: tab-separated lines
    bool gapless = true;           // decode: trim encoder delay and padding (--no-gapless: keep)
    bool verbose = false;          // decode: report stream errors per code (-v)
    bool quiet = false;            // decode: no summary line, no progress bar (-q)
    bool dither = false;           // decode: TPDF dither before rounding to 16 bits
    bool no_partial = false;       // decode: remove the output when the decode does not complete
    bool help = false;             // --help after the command
    double seek_seconds = 0;       // decode: start here (--seek)
    double duration_seconds = -1;  // decode: this much at most (--duration), -1: all
    bool positioned = false;       // --seek or --duration given
    std::vector<std::string> operands;
};

// Parses the options after the subcommand name; false (after a message on
// stderr) on a bad option.
bool parse_options(int argc, char **argv, int first, CliOptions &options);
// True for the name of a command (decode, info, compare, checksum).
bool is_command(const std::string &name);
// The usage of one command ("" for all of them) on `stream`.
void print_usage(std::FILE *stream, const std::string &command = "");

int cli_decode(const std::string &in, const std::string &out, const CliOptions &options,
               bool announce_output);
int cli_info(const std::string &in, const CliOptions &options);
int cli_compare(const std::string &in, const std::string &reference, const CliOptions &options);
int cli_checksum(const std::vector<std::string> &inputs, const CliOptions &options);

// Opens IN ("-" for standard input) for reading; prints a one-line error and
// returns null when it cannot.
std::FILE *open_input(const std::string &in);
void close_input(std::FILE *file);

// Prints the one-line reason why a decode produced nothing usable (no frame,
// stalled decoder, unreadable input) and returns false; true when it is fine.
bool check_decoded(const std::string &in, const DecodeStats &stats);

// Receives one block of PCM (24-bit words, after gapless trimming).
using StreamSink = std::function<bool(const int32_t *words, const MP3D_Stream_Block &block)>;
// Decodes the audio of a file opened through the stream layer from its
// current position, up to max_samples samples per channel (-1: all), with a
// progress bar on stderr when `progress` is set and the input is a regular
// file. Returns false when the sink gave up.
bool decode_stream(std::FILE *input, const std::string &in, bool progress, StreamFile &file,
                   int64_t max_samples, const StreamSink &sink);
// Opens `input` through the stream layer; on failure prints why (as
// check_decoded does) and returns false.
bool open_stream(std::FILE *input, const std::string &in, const CliOptions &options,
                 StreamFile &file, const volatile std::sig_atomic_t *stop = nullptr);
// Prints the count of every stream error code met, on stderr.
void print_stream_errors(const DecodeStats &stats);

}  // namespace mp3d_tools

#endif
