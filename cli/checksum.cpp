// mp3d checksum: the FNV-1a 64 hash of each input's 24-bit output words, the
// whole file handed to the decoder (tags and information frame included,
// nothing trimmed), as the pinned checksums of the test suite are made.
#include <cstdio>

#include "cli.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"

namespace mp3d_tools {

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
