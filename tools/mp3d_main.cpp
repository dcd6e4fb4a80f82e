// mp3d: decode MPEG audio Layer II/III streams with the mp3d library, show
// their parameters, and measure the decoder's accuracy.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "cli.h"

namespace fs = std::filesystem;
using namespace mp3d_tools;

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

bool parse_options(int argc, char **argv, int first, CliOptions &options) {
    for (int i = first; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--24") {
            options.bits24 = true;
        } else if (arg == "--raw") {
            options.raw = true;
        } else if (arg == "--tsv") {
            options.tsv = true;
        } else if (arg == "--no-gapless") {
            options.gapless = false;
        } else if (arg == "-v" || arg == "--verbose") {
            options.verbose = true;
        } else if (arg == "-q" || arg == "--quiet") {
            options.quiet = true;
        } else if (arg == "--dither") {
            options.dither = true;
        } else if (arg == "--no-partial") {
            options.no_partial = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "--seek" || arg == "--duration") {
            char *end = nullptr;
            const double v = i + 1 < argc ? std::strtod(argv[i + 1], &end) : -1;
            const bool positive = arg == "--duration" ? v > 0 : v >= 0;
            if (i + 1 >= argc || end == argv[i + 1] || *end != '\0' || !positive || v > 1e7) {
                std::fprintf(stderr, "mp3d: %s needs a number of seconds\n", arg.c_str());
                return false;
            }
            ++i;
            (arg == "--seek" ? options.seek_seconds : options.duration_seconds) = v;
            options.positioned = true;
        } else if (arg == "--block") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "mp3d: --block needs a byte count\n");
                return false;
            }
            char *end = nullptr;
            errno = 0;
            const long long n = std::strtoll(argv[++i], &end, 10);
            if (errno != 0 || end == argv[i] || *end != '\0' || n < 1 || n > (1 << 30)) {
                std::fprintf(stderr, "mp3d: --block: not a byte count from 1 to 2^30: %s\n",
                             argv[i]);
                return false;
            }
            options.block_size = static_cast<size_t>(n);
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            std::fprintf(stderr, "mp3d: unknown option %s\n", arg.c_str());
            return false;
        } else {
            options.operands.push_back(arg);
        }
    }
    return true;
}

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

}  // namespace mp3d_tools

namespace {

// The bundled sample, found beside the executable only: installed as
// PREFIX/share/mp3d/sample.mp3 next to PREFIX/bin/mp3d, and copied to the
// same place relative to the tool in the build tree. Empty when absent.
std::string find_sample(const char *argv0) {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec) exe = fs::absolute(argv0, ec);
    const fs::path candidate = exe.parent_path() / ".." / "share" / "mp3d" / "sample.mp3";
    if (fs::is_regular_file(candidate, ec)) return candidate.lexically_normal().string();
    return {};
}

bool is_command(const std::string &name) {
    for (const CommandHelp &c : kCommands)
        if (name == c.name) return true;
    return false;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        const std::string sample = find_sample(argv[0]);
        if (sample.empty()) {
            std::fprintf(stderr, "mp3d: no bundled sample beside this program; give a command\n");
            print_usage(stderr);
            return kExitUsage;
        }
        CliOptions options;
        return cli_decode(sample, "sample.wav", options, true);
    }
    const std::string command = argv[1];
    if (command == "-h" || command == "--help" || command == "help") {
        print_usage(stdout, argc > 2 && command == "help" && is_command(argv[2]) ? argv[2] : "");
        return kExitOk;
    }
    if (command == "--version" || command == "-V") {
        std::printf("mp3d %s\n", MP3D_VERSION);
        return kExitOk;
    }
    if (!is_command(command)) {
        std::fprintf(stderr, "mp3d: unknown command %s\n", command.c_str());
        print_usage(stderr);
        return kExitUsage;
    }
    CliOptions options;
    if (!parse_options(argc, argv, 2, options)) {
        print_usage(stderr, command);
        return kExitUsage;
    }
    if (options.help) {
        print_usage(stdout, command);
        return kExitOk;
    }
    const auto &ops = options.operands;
    const bool decode_only =
        options.verbose || options.quiet || options.no_partial || options.positioned;
    if (command == "decode" && ops.size() == 2 &&
        !(options.dither && (options.bits24 || options.raw)))
        return cli_decode(ops[0], ops[1], options, false);
    const bool other_option = decode_only || options.dither;
    if (command == "info" && ops.size() == 1 && !options.raw && !options.bits24 && !other_option)
        return cli_info(ops[0], options);
    const bool container_option = other_option || !options.gapless;
    if (command == "compare" && ops.size() == 2 && !options.raw && !options.bits24 &&
        !container_option)
        return cli_compare(ops[0], ops[1], options);
    if (command == "checksum" && !ops.empty() && !options.raw && !options.bits24 &&
        !container_option)
        return cli_checksum(ops, options);
    std::fprintf(stderr, "mp3d: wrong arguments for %s\n", command.c_str());
    print_usage(stderr, command);
    return kExitUsage;
}
