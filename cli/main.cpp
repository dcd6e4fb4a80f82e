// mp3d: decode MPEG audio Layer II/III streams with the mp3d library, show
// their parameters, and measure the decoder's accuracy.
#include <cstdio>
#include <filesystem>
#include <string>

#include "cli.h"

namespace fs = std::filesystem;
using namespace mp3d_tools;

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
