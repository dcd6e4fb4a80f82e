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

void print_usage() {
    std::fputs(
        "usage: mp3d                          decode the bundled sample to ./sample.wav\n"
        "       mp3d decode [--24] [--no-gapless] [-v] [-q] [--block N] IN OUT.wav\n"
        "       mp3d decode --raw [--24] [--no-gapless] [-v] [-q] [--block N] IN OUT\n"
        "       mp3d info [--no-gapless] [--block N] IN\n"
        "       mp3d compare [--block N] [--tsv] IN REF.pcm|mpg123\n"
        "       mp3d checksum [--block N] IN...\n"
        "\n"
        "decode    writes a 16-bit WAV (--24: 24-bit); --raw writes the decoder's\n"
        "          32-bit output words unchanged, little-endian. ID3v2, ID3v1 and APEv2\n"
        "          tags and the Xing/Info/VBRI frame are skipped; the encoder delay and\n"
        "          padding that a LAME tag records are trimmed (--no-gapless: kept).\n"
        "          A stream that changes rate or channel count is converted to its\n"
        "          first format. -v: count the stream errors; -q: no summary, no\n"
        "          progress bar\n"
        "info      prints the stream's parameters, duration, encoder tag and the count\n"
        "          of every return code\n"
        "compare   measures 16-bit and 24-bit output against REF, a raw signed 16-bit\n"
        "          little-endian file, or 'mpg123' for libmpg123's float decode of IN,\n"
        "          and gives the ISO/IEC 11172-4 verdict\n"
        "checksum  prints 'IN HASH': the FNV-1a 64 hash of the 24-bit output words\n"
        "          (compare and checksum hand the whole file to the decoder, tags and\n"
        "          information frame included, and trim nothing)\n"
        "--block N feeds the decoder N bytes per input callback (default 65536)\n"
        "IN and OUT may be '-' for standard input and output.\n"
        "Exit status: 0 success, 1 nothing decoded, error or accuracy not met, 2 usage.\n",
        stderr);
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

// The bundled sample: in the source tree this tool was built from, else
// next to the executable (build tree or installed layout).
std::string find_sample(const char *argv0) {
    const fs::path baked = fs::path(MP3D_SOURCE_DIR) / "samples" / "sample.mp3";
    std::error_code ec;
    if (fs::is_regular_file(baked, ec)) return baked.string();
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec) exe = fs::absolute(argv0, ec);
    const fs::path dir = exe.parent_path();
    for (const fs::path &candidate :
         {dir / "samples" / "sample.mp3", dir / ".." / "samples" / "sample.mp3",
          dir / ".." / ".." / "samples" / "sample.mp3",
          dir / ".." / "share" / "mp3d" / "sample.mp3"}) {
        if (fs::is_regular_file(candidate, ec)) return candidate.lexically_normal().string();
    }
    return baked.string();
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        const std::string sample = find_sample(argv[0]);
        CliOptions options;
        return cli_decode(sample, "sample.wav", options, true);
    }
    const std::string command = argv[1];
    if (command == "-h" || command == "--help" || command == "help") {
        print_usage();
        return kExitOk;
    }
    CliOptions options;
    if (!parse_options(argc, argv, 2, options)) {
        print_usage();
        return kExitUsage;
    }
    const auto &ops = options.operands;
    if (command == "decode" && ops.size() == 2) return cli_decode(ops[0], ops[1], options, false);
    const bool decode_only = options.verbose || options.quiet;
    if (command == "info" && ops.size() == 1 && !options.raw && !options.bits24 && !decode_only)
        return cli_info(ops[0], options);
    const bool container_option = decode_only || !options.gapless;
    if (command == "compare" && ops.size() == 2 && !options.raw && !options.bits24 &&
        !container_option)
        return cli_compare(ops[0], ops[1], options);
    if (command == "checksum" && !ops.empty() && !options.raw && !options.bits24 &&
        !container_option)
        return cli_checksum(ops, options);
    if (command != "decode" && command != "info" && command != "compare" && command != "checksum")
        std::fprintf(stderr, "mp3d: unknown command %s\n", command.c_str());
    else
        std::fprintf(stderr, "mp3d: wrong arguments for %s\n", command.c_str());
    print_usage();
    return kExitUsage;
}
