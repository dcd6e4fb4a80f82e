// The mp3d command-line tool: shared option parsing and the subcommands.
#ifndef MP3D_TOOLS_CLI_H
#define MP3D_TOOLS_CLI_H

#include <cstddef>
#include <string>
#include <vector>

namespace mp3d_tools {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // nothing decoded, an I/O error, or accuracy not met
constexpr int kExitUsage = 2;

struct CliOptions {
    size_t block_size = 65536;
    bool bits24 = false;  // --24: 24-bit output (pcm_no_shift)
    bool raw = false;     // --raw: words unchanged, signed 32-bit LE
    bool tsv = false;     // compare: tab-separated lines
    std::vector<std::string> operands;
};

// Parses the options after the subcommand name; false (after a message on
// stderr) on a bad option.
bool parse_options(int argc, char **argv, int first, CliOptions &options);
void print_usage();

int cli_decode(const std::string &in, const std::string &out, const CliOptions &options,
               bool announce_output);
int cli_info(const std::string &in, const CliOptions &options);
int cli_compare(const std::string &in, const std::string &reference, const CliOptions &options);
int cli_checksum(const std::vector<std::string> &inputs, const CliOptions &options);

// Opens IN ("-" for standard input) for reading; prints a one-line error and
// returns null when it cannot.
std::FILE *open_input(const std::string &in);
void close_input(std::FILE *file);

struct DecodeStats;
// Prints the one-line reason why a decode produced nothing usable (no frame,
// stalled decoder, unreadable input) and returns false; true when it is fine.
bool check_decoded(const std::string &in, const DecodeStats &stats);

}  // namespace mp3d_tools

#endif
