// The mp3d command-line tool: shared option parsing and the subcommands.
#ifndef MP3D_TOOLS_CLI_H
#define MP3D_TOOLS_CLI_H

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "container/container_reader.h"
#include "harness/decode_run.h"

namespace mp3d_tools {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // input or output error (no audio, read or write error,
                                // interrupted), or the accuracy not met
constexpr int kExitUsage = 2;   // bad command line, or the output would overwrite the input

struct CliOptions {
    size_t block_size = 65536;
    bool bits24 = false;      // --24: 24-bit output (pcm_no_shift)
    bool raw = false;         // --raw: words unchanged, signed 32-bit LE
    bool tsv = false;         // compare: tab-separated lines
    bool gapless = true;      // decode: trim encoder delay and padding (--no-gapless: keep)
    bool verbose = false;     // decode: report stream errors per code (-v)
    bool quiet = false;       // decode: no summary line, no progress bar (-q)
    bool dither = false;      // decode: TPDF dither before rounding to 16 bits
    bool no_partial = false;  // decode: remove the output when the decode does not complete
    bool help = false;        // --help after the command
    std::vector<std::string> operands;
};

// Parses the options after the subcommand name; false (after a message on
// stderr) on a bad option.
bool parse_options(int argc, char **argv, int first, CliOptions &options);
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

// Receives the PCM of one call after gapless trimming: `frames` sample
// frames laid out as `info` describes.
using ContainerSink =
    std::function<bool(const int32_t *words, size_t frames, const MP3D_Frame_Info &info)>;
// Decodes the audio of a file read through `container` (tags dropped,
// gapless trimming unless options.gapless is off), with a progress bar on
// stderr when `progress` is set and the input is a regular file.
DecodeStats decode_container(std::FILE *input, const std::string &in, const CliOptions &options,
                             bool progress, ContainerReader &container, const ContainerSink &sink);
// Prints the count of every stream error code met, on stderr.
void print_stream_errors(const DecodeStats &stats);

}  // namespace mp3d_tools

#endif
