// mp3d info: the stream's parameters and the return codes met.
#include <cstdio>

#include "cli.h"
#include "harness/decode_run.h"

namespace mp3d_tools {

int cli_info(const std::string &in, const CliOptions &options) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    bool read_failed = false;
    ContainerReader container(file_reader(input, &read_failed));
    uint64_t kept_frames = 0;  // sample frames after gapless trimming
    DecodeStats stats =
        decode_container(input, in, options, false, container,
                         [&kept_frames](const int32_t *, size_t frames, const MP3D_Frame_Info &) {
                             kept_frames += frames;
                             return true;
                         });
    stats.read_failed = read_failed;
    close_input(input);
    if (!check_decoded(in, stats)) {
        // Where frames were found, the codes tell why none decoded.
        if (stats.frames > 0)
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
    const auto &tag = container.info_frame();
    const bool variable = stats.min_bitrate != stats.max_bitrate ||
                          (tag && tag->has_lame &&
                           (tag->vbr_method == 2 || tag->vbr_method == 9 ||
                            (tag->vbr_method >= 3 && tag->vbr_method <= 6)));
    std::printf("encoding:        %s\n", variable ? "VBR" : "CBR");
    std::printf("duration:        %.3f s (%llu samples per channel%s)\n",
                static_cast<double>(kept_frames) / f.sample_rate,
                static_cast<unsigned long long>(kept_frames),
                !options.gapless                    ? ", gapless trimming off"
                : tag && GaplessTrim(*tag).active() ? ", gapless"
                                                    : "");
    if (tag) {
        std::printf("encoder tag:     %s frame", tag->kind.c_str());
        if (tag->frames >= 0) std::printf(", %lld frames", static_cast<long long>(tag->frames));
        if (tag->bytes >= 0) std::printf(", %lld bytes", static_cast<long long>(tag->bytes));
        if (tag->quality >= 0) std::printf(", quality %d", tag->quality);
        std::printf("\n");
        if (tag->has_lame) {
            std::printf("encoder:         %s, %s", tag->encoder.c_str(),
                        lame_vbr_method_name(tag->vbr_method));
            if (tag->lame_bitrate_kbps > 0) std::printf(" %d kbit/s", tag->lame_bitrate_kbps);
            if (tag->lowpass_hz > 0) std::printf(", lowpass %d Hz", tag->lowpass_hz);
            std::printf("\n");
        }
        if (tag->encoder_delay >= 0)
            std::printf("encoder delay:   %d samples, padding %d samples\n", tag->encoder_delay,
                        tag->encoder_padding);
    }
    const TrailingTags &trailing = container.trailing_tags();
    if (container.leading_tag_bytes() > 0 || trailing.total() > 0) {
        std::printf("tags:           ");
        if (container.leading_tag_bytes() > 0)
            std::printf(" ID3v2 (%llu bytes)",
                        static_cast<unsigned long long>(container.leading_tag_bytes()));
        if (trailing.id3v2 > 0) std::printf(" ID3v2 at the end (%zu bytes)", trailing.id3v2);
        if (trailing.apev2 > 0) std::printf(" APEv2 (%zu bytes)", trailing.apev2);
        if (trailing.id3v1 > 0) std::printf(" ID3v1");
        std::printf("\n");
    }
    std::printf("frames:          %llu (%d samples per channel each)\n",
                static_cast<unsigned long long>(stats.frames), f.samples_per_frame);
    if (f.layer == 3)
        std::printf("granules:        %llu decoded (%d per frame)\n",
                    static_cast<unsigned long long>(stats.layer3_granules),
                    f.samples_per_frame / 576);
    else
        std::printf("frames decoded:  %llu\n",
                    static_cast<unsigned long long>(stats.layer2_frames));
    std::printf("samples:         %llu per channel decoded\n",
                static_cast<unsigned long long>(samples));
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
