// mp3d info: the stream's parameters and the return codes met.
#include <cstdio>

#include "cli.h"
#include "harness/decode_run.h"

namespace mp3d_tools {

int cli_info(const std::string &in, const CliOptions &options) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    DecodeOptions decode_options;
    decode_options.block_size = options.block_size;
    bool read_failed = false;
    DecodeStats stats =
        run_decoder(file_reader(input, &read_failed), decode_options,
                    [](const int32_t *, size_t, const MP3D_Frame_Info &) { return true; });
    stats.read_failed = read_failed;
    close_input(input);
    if (!check_decoded(in, stats)) {
        // The codes still tell why nothing was decoded.
        for (const auto &[code, count] : stats.codes)
            std::fprintf(stderr, "  %s (%d): %llu\n", return_code_name(code), code,
                         static_cast<unsigned long long>(count));
        return kExitFailed;
    }

    const MP3D_Frame_Info &f = stats.first_info;
    const uint64_t samples = stats.output_words / static_cast<uint64_t>(f.num_channels);
    std::printf("file:            %s\n", in == "-" ? "stdin" : in.c_str());
    std::printf("layer:           %s\n", f.layer == 2 ? "II" : "III");
    std::printf("version:         MPEG-%s\n", mpeg_version_name(f.sample_rate));
    std::printf("sample rate:     %d Hz\n", f.sample_rate);
    std::printf("channels:        %d%s\n", f.num_channels,
                stats.format_changed ? " (first frame; rate or channel count changes)" : "");
    if (stats.free_format_frames == stats.frames)
        std::printf("bitrate:         free format\n");
    else if (stats.min_bitrate == stats.max_bitrate)
        std::printf("bitrate:         %d kbit/s%s\n", stats.max_bitrate,
                    stats.free_format_frames > 0 ? " (some frames free format)" : "");
    else
        std::printf("bitrate:         %d to %d kbit/s (variable)\n", stats.min_bitrate,
                    stats.max_bitrate);
    std::printf("frames:          %llu (%d samples per channel each)\n",
                static_cast<unsigned long long>(stats.frames), f.samples_per_frame);
    if (f.layer == 3)
        std::printf("granules:        %llu decoded (%d per frame)\n",
                    static_cast<unsigned long long>(stats.layer3_granules),
                    f.samples_per_frame / 576);
    else
        std::printf("frames decoded:  %llu\n",
                    static_cast<unsigned long long>(stats.layer2_frames));
    std::printf("samples:         %llu per channel (%.3f s)\n",
                static_cast<unsigned long long>(samples),
                static_cast<double>(samples) / f.sample_rate);
    if (stats.silent_granules > 0)
        std::printf("silent granules: %llu (refused Huffman data)\n",
                    static_cast<unsigned long long>(stats.silent_granules));
    std::printf("input:           %llu bytes in %llu blocks\n",
                static_cast<unsigned long long>(stats.bytes_in),
                static_cast<unsigned long long>(stats.callbacks));
    std::printf("return codes:\n");
    for (const auto &[code, count] : stats.codes)
        std::printf("  %-26s %2d: %llu\n", return_code_name(code), code,
                    static_cast<unsigned long long>(count));
    return kExitOk;
}

}  // namespace mp3d_tools
