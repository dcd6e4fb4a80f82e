// mp3d info: the stream's parameters and the return codes met.
#include <cstdio>

#include "cli.h"
#include "harness/decode_run.h"

namespace mp3d_tools {

namespace {

const char *lame_vbr_method_name(int method) {
    switch (method) {
        case 1:
            return "CBR";
        case 2:
            return "ABR";
        case 3:
        case 4:
        case 5:
        case 6:
            return "VBR";
        case 8:
            return "CBR (2 pass)";
        case 9:
            return "ABR (2 pass)";
        default:
            return "unknown";
    }
}

}  // namespace

int cli_info(const std::string &in, const CliOptions &options) {
    std::FILE *input = open_input(in);
    if (input == nullptr) return kExitFailed;
    StreamFile file;
    if (!open_stream(input, in, options, file)) {
        close_input(input);
        return kExitFailed;
    }
    uint64_t kept_frames = 0;  // sample frames after gapless trimming
    decode_stream(input, in, false, file, -1,
                  [&kept_frames](const int32_t *, const MP3D_Stream_Block &block) {
                      kept_frames += static_cast<uint64_t>(block.samples);
                      return true;
                  });
    const DecodeStats stats = file.stats();
    // Read again after the decode: the end tags of a pipe are known now.
    MP3D_Stream_Info info{};
    mp3d_stream_get_info(file.stream(), &info);
    const MP3D_Stream_Info &tag = info;
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
    const bool variable = stats.min_bitrate != stats.max_bitrate ||
                          (tag.has_lame && (tag.vbr_method == 2 || tag.vbr_method == 9 ||
                                            (tag.vbr_method >= 3 && tag.vbr_method <= 6)));
    std::printf("encoding:        %s\n", variable ? "VBR" : "CBR");
    std::printf("duration:        %.3f s (%llu samples per channel%s)\n",
                static_cast<double>(kept_frames) / f.sample_rate,
                static_cast<unsigned long long>(kept_frames),
                !options.gapless ? ", gapless trimming off"
                : tag.gapless    ? ", gapless"
                                 : "");
    if (tag.info_frame != MP3D_STREAM_INFO_NONE) {
        std::printf("encoder tag:     %s frame", info_frame_name(tag.info_frame));
        if (tag.info_frames >= 0)
            std::printf(", %lld frames", static_cast<long long>(tag.info_frames));
        if (tag.info_bytes >= 0)
            std::printf(", %lld bytes", static_cast<long long>(tag.info_bytes));
        if (tag.info_quality >= 0) std::printf(", quality %d", tag.info_quality);
        std::printf("\n");
        if (tag.has_lame) {
            std::printf("encoder:         %s, %s", tag.encoder,
                        lame_vbr_method_name(tag.vbr_method));
            if (tag.lame_bitrate_kbps > 0) std::printf(" %d kbit/s", tag.lame_bitrate_kbps);
            if (tag.lowpass_hz > 0) std::printf(", lowpass %d Hz", tag.lowpass_hz);
            std::printf("\n");
        }
        if (tag.encoder_delay >= 0)
            std::printf("encoder delay:   %d samples, padding %d samples\n", tag.encoder_delay,
                        tag.encoder_padding);
    }
    if (info.id3v2.bytes > 0 || info.id3v2_end.bytes > 0 || info.apev2.bytes > 0 ||
        info.id3v1.bytes > 0) {
        std::printf("tags:           ");
        if (info.id3v2.bytes > 0)
            std::printf(" ID3v2 (%llu bytes)", static_cast<unsigned long long>(info.id3v2.bytes));
        if (info.id3v2_end.bytes > 0)
            std::printf(" ID3v2 at the end (%llu bytes)",
                        static_cast<unsigned long long>(info.id3v2_end.bytes));
        if (info.apev2.bytes > 0)
            std::printf(" APEv2 (%llu bytes)", static_cast<unsigned long long>(info.apev2.bytes));
        if (info.id3v1.bytes > 0) std::printf(" ID3v1");
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
