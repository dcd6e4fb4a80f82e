// The tool's command line: the commands with their help, and the options
// of every command in one table.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cli.h"

namespace mp3d_tools {

namespace {

struct CommandHelp {
    const char *name;
    const char *usage;  // one or more lines, each without "usage: "
    const char *text;
};

const CommandHelp kCommands[] = {
    {"decode",
     "mp3d decode [--24 | --dither] [--no-gapless] [--seek S] [--duration S] [--no-partial] [-v] "
     "[-q] [--block N] IN OUT.wav\n"
     "mp3d decode --raw [--24] [--no-gapless] [--seek S] [--duration S] [--no-partial] [-v] [-q] "
     "[--block N] IN OUT\n",
     "decode    writes a 16-bit WAV, each sample rounded to nearest from the decoder's\n"
     "          24-bit output (--dither: triangular dither of +-1 LSB first; --24: a\n"
     "          24-bit WAV). --raw writes the decoder's 32-bit output words unchanged,\n"
     "          little-endian (16-bit range, shifted by the decoder, unless --24).\n"
     "          ID3v2, ID3v1 and APEv2 tags and the Xing/Info/VBRI frame are skipped;\n"
     "          the encoder delay and padding that a LAME tag records are trimmed\n"
     "          (--no-gapless: kept). --seek S starts S seconds in, exactly at that\n"
     "          sample; --duration S writes at most S seconds (of the first format).\n"
     "          A stream that changes rate or channel count is\n"
     "          converted to its first format. -v: count the stream errors; -q: no\n"
     "          summary, no progress bar. OUT is created with the first decoded\n"
     "          frame; when the decode stops early (read or write error, SIGINT,\n"
     "          SIGTERM) the WAV keeps what was decoded with a header giving its true\n"
     "          length (--no-partial: OUT is removed instead). OUT may not be IN.\n"},
    {"info", "mp3d info [--no-gapless] [--block N] IN\n",
     "info      prints the stream's parameters, duration, encoder tag, the tags skipped\n"
     "          and the count of every return code\n"},
    {"compare", "mp3d compare [--block N] [--tsv] IN REF.pcm|mpg123\n",
     "compare   measures the output against REF, a raw signed 16-bit little-endian\n"
     "          file, or 'mpg123' for libmpg123's decode of IN: the decoder's own\n"
     "          16-bit and 24-bit output (RMS, max, ISO/IEC 11172-4 verdict), and the\n"
     "          rounded 16-bit output that decode writes, sample by sample (share\n"
     "          identical, mean offset, RMS, max; against libmpg123's 16-bit output)\n"},
    {"checksum", "mp3d checksum [--block N] IN...\n",
     "checksum  prints 'IN HASH': the FNV-1a 64 hash of the 24-bit output words\n"
     "          (compare and checksum hand the whole file to the decoder, tags and\n"
     "          information frame included, and trim nothing)\n"},
};

const char kCommon[] =
    "--block N reads at most N bytes per read (default 65536); compare and checksum\n"
    "          hand the decoder blocks of N bytes.\n"
    "IN and OUT may be '-' for standard input and output.\n"
    "\n"
    "Exit status:\n"
    "  0  success\n"
    "  1  input or output error: IN cannot be read, no MPEG audio found in IN, a read\n"
    "     or write error; compare: the accuracy is not reached\n"
    "  2  usage: unknown command or option, wrong operands, OUT is the input file\n"
    "A decode stopped by SIGINT or SIGTERM closes its WAV, then ends by that signal\n"
    "(status 130 or 143 in a shell). Errors are one line on stderr, 'mp3d: ...'.\n";

void print_usage_lines(std::FILE *stream, const char *lines, bool &first) {
    for (const char *p = lines; *p != '\0';) {
        const char *nl = std::strchr(p, '\n');
        std::fprintf(stream, "%s%.*s\n", first ? "usage: " : "       ", static_cast<int>(nl - p),
                     p);
        first = false;
        p = nl + 1;
    }
}

// What an option sets. A switch stores `value` in its flag; a number of
// seconds or a byte count reads the next argument.
enum class OptionKind { Switch, Seconds, PositiveSeconds, ByteCount };

struct OptionSpec {
    const char *names[2];  // long name, and the short one or null
    OptionKind kind;
    bool CliOptions::*flag = nullptr;       // Switch
    bool value = true;                      // Switch
    double CliOptions::*seconds = nullptr;  // Seconds, PositiveSeconds
};

const OptionSpec kOptions[] = {
    {{"--24", nullptr}, OptionKind::Switch, &CliOptions::bits24},
    {{"--raw", nullptr}, OptionKind::Switch, &CliOptions::raw},
    {{"--tsv", nullptr}, OptionKind::Switch, &CliOptions::tsv},
    {{"--no-gapless", nullptr}, OptionKind::Switch, &CliOptions::gapless, false},
    {{"--verbose", "-v"}, OptionKind::Switch, &CliOptions::verbose},
    {{"--quiet", "-q"}, OptionKind::Switch, &CliOptions::quiet},
    {{"--dither", nullptr}, OptionKind::Switch, &CliOptions::dither},
    {{"--no-partial", nullptr}, OptionKind::Switch, &CliOptions::no_partial},
    {{"--help", "-h"}, OptionKind::Switch, &CliOptions::help},
    {{"--seek", nullptr}, OptionKind::Seconds, nullptr, true, &CliOptions::seek_seconds},
    {{"--duration", nullptr},
     OptionKind::PositiveSeconds,
     nullptr,
     true,
     &CliOptions::duration_seconds},
    {{"--block", nullptr}, OptionKind::ByteCount},
};

const OptionSpec *find_option(const std::string &arg) {
    for (const OptionSpec &o : kOptions)
        if (arg == o.names[0] || (o.names[1] != nullptr && arg == o.names[1])) return &o;
    return nullptr;
}

// Reads the value of `spec` from argv[i + 1] into `options`; false (after
// a message on stderr) when it is missing or out of range.
bool read_value(const OptionSpec &spec, int argc, char **argv, int i, CliOptions &options) {
    const char *name = spec.names[0];
    if (spec.kind == OptionKind::ByteCount) {
        if (i + 1 >= argc) {
            std::fprintf(stderr, "mp3d: %s needs a byte count\n", name);
            return false;
        }
        char *end = nullptr;
        errno = 0;
        const long long n = std::strtoll(argv[i + 1], &end, 10);
        if (errno != 0 || end == argv[i + 1] || *end != '\0' || n < 1 || n > (1 << 30)) {
            std::fprintf(stderr, "mp3d: %s: not a byte count from 1 to 2^30: %s\n", name,
                         argv[i + 1]);
            return false;
        }
        options.block_size = static_cast<size_t>(n);
        return true;
    }
    char *end = nullptr;
    const double v = i + 1 < argc ? std::strtod(argv[i + 1], &end) : -1;
    const bool positive = spec.kind == OptionKind::PositiveSeconds ? v > 0 : v >= 0;
    if (i + 1 >= argc || end == argv[i + 1] || *end != '\0' || !positive || v > 1e7) {
        std::fprintf(stderr, "mp3d: %s needs a number of seconds\n", name);
        return false;
    }
    options.*spec.seconds = v;
    options.positioned = true;
    return true;
}

}  // namespace

void print_usage(std::FILE *stream, const std::string &command) {
    bool first = true;
    if (command.empty())
        print_usage_lines(stream,
                          "mp3d                          decode the bundled sample to "
                          "./sample.wav\n",
                          first);
    for (const CommandHelp &c : kCommands)
        if (command.empty() || command == c.name) print_usage_lines(stream, c.usage, first);
    if (command.empty())
        print_usage_lines(stream, "mp3d --help | COMMAND --help | --version\n", first);
    std::fputs("\n", stream);
    for (const CommandHelp &c : kCommands)
        if (command.empty() || command == c.name) std::fputs(c.text, stream);
    std::fputs(kCommon, stream);
}

bool is_command(const std::string &name) {
    for (const CommandHelp &c : kCommands)
        if (name == c.name) return true;
    return false;
}

bool parse_options(int argc, char **argv, int first, CliOptions &options) {
    for (int i = first; i < argc; ++i) {
        const std::string arg = argv[i];
        if (const OptionSpec *spec = find_option(arg)) {
            if (spec->kind == OptionKind::Switch) {
                options.*spec->flag = spec->value;
            } else {
                if (!read_value(*spec, argc, argv, i, options)) return false;
                ++i;
            }
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            std::fprintf(stderr, "mp3d: unknown option %s\n", arg.c_str());
            return false;
        } else {
            options.operands.push_back(arg);
        }
    }
    return true;
}

}  // namespace mp3d_tools
