// mp3d compare: accuracy of the 16-bit and 24-bit output against a reference.
#include <cstdio>

#include "cli.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "harness/mpg123_reference.h"

namespace mp3d_tools {

namespace {

void print_comparison(const char *label, const Comparison &c, const DecodeStats &stats, bool tsv) {
    if (tsv) {
        // depth, rms, rms in LSB, max, max in LSB, compared, decoded, reference,
        // offset in frames, offset in samples per channel, verdict
        std::printf("%s\t%.6e\t%.4f\t%.6e\t%.4f\t%zu\t%zu\t%zu\t%ld\t%ld\t%s\n", label, c.rms,
                    c.rms_lsb16(), c.max_abs, c.max_lsb16(), c.compared, c.test_samples,
                    c.reference_samples, c.offset_frames, c.offset_samples,
                    verdict_name(c.verdict));
        return;
    }
    std::printf("%s output: RMS %.3e (%.3f LSB16), max %.3e (%.3f LSB16): %s\n", label, c.rms,
                c.rms_lsb16(), c.max_abs, c.max_lsb16(), verdict_name(c.verdict));
    std::printf("    %zu of %zu decoded samples compared with a reference of %zu", c.compared,
                c.test_samples, c.reference_samples);
    if (c.offset_frames > 0)
        std::printf(
            "; reference offset by %ld frame(s) = %ld samples per channel (frames the decoder did "
            "not output)",
            c.offset_frames, c.offset_samples);
    else if (c.offset_frames < 0)
        std::printf(
            "; decoded output offset by %ld frame(s) = %ld samples per channel (frames the "
            "reference lacks)",
            -c.offset_frames, -c.offset_samples);
    else
        std::printf("; no offset");
    std::printf("\n");
    if (stats.silent_granules > 0)
        std::printf("    %llu granule(s) refused by the decoder and compared as silence\n",
                    static_cast<unsigned long long>(stats.silent_granules));
}

void print_agreement(const char *label, const Agreement16 &a, bool tsv) {
    const Verdict v = iso_verdict(a.rms / 32768.0, a.max_abs / 32768.0, a.compared);
    if (tsv) {
        // label, identical share, within-1 share, mean offset, rms, max (all
        // in 16-bit LSB), compared, verdict
        const double n = a.compared > 0 ? static_cast<double>(a.compared) : 1.0;
        std::printf("%s\t%.6f\t%.6f\t%.6f\t%.4f\t%d\t%zu\t%s\n", label, a.identical_share(),
                    static_cast<double>(a.within_one) / n, a.mean, a.rms, a.max_abs, a.compared,
                    verdict_name(v));
        return;
    }
    std::printf(
        "%s: %.2f%% identical, %.4f%% within 1 LSB, mean offset %+.4f LSB, RMS %.3f LSB, "
        "max %d LSB (%zu samples): %s\n",
        label, 100.0 * a.identical_share(),
        a.compared > 0 ? 100.0 * static_cast<double>(a.within_one) / static_cast<double>(a.compared)
                       : 0.0,
        a.mean, a.rms, a.max_abs, a.compared, verdict_name(v));
}

}  // namespace

int cli_compare(const std::string &in, const std::string &reference_name,
                const CliOptions &options) {
    if (in == "-") {
        std::fprintf(stderr, "mp3d: compare reads IN twice: give a file, not stdin\n");
        return kExitUsage;
    }
    std::vector<uint8_t> data;
    std::string error;
    if (!read_file(in, data, &error)) {
        std::fprintf(stderr, "mp3d: %s\n", error.c_str());
        return kExitFailed;
    }

    // The full-precision reference (libmpg123's float decode or the 16-bit
    // file) and a 16-bit one (libmpg123's own 16-bit output or the file).
    std::vector<double> reference;
    std::vector<int16_t> reference16;
    if (reference_name == "mpg123") {
        FloatReference ref;
        if (!mpg123_decode_file(in, ref, &error) ||
            !mpg123_decode_file_s16(in, reference16, &error)) {
            std::fprintf(stderr, "mp3d: %s\n", error.c_str());
            return kExitFailed;
        }
        reference = std::move(ref.samples);
    } else if (read_s16le_words(reference_name, reference16, &error)) {
        reference = samples16_to_double(reference16);
    } else {
        std::fprintf(stderr, "mp3d: %s\n", error.c_str());
        return kExitFailed;
    }

    DecodeOptions decode_options;
    decode_options.block_size = options.block_size;
    bool all_compliant = true;
    if (!options.tsv) std::printf("%s against %s\n", in.c_str(), reference_name.c_str());
    std::vector<int16_t> shifted16, rounded16;
    long offset_words = 0;
    for (const bool no_shift : {false, true}) {
        decode_options.pcm_no_shift = no_shift;
        const DecodedStream decoded = decode_buffer(data, decode_options);
        if (!check_decoded(in, decoded.stats)) return kExitFailed;
        AlignmentSearch search;
        search.frame_samples = static_cast<size_t>(decoded.stats.first_info.samples_per_frame);
        search.channels = static_cast<size_t>(decoded.stats.first_info.num_channels);
        const Comparison c =
            compare_aligned(words_to_samples(decoded.words, no_shift), reference, search);
        print_comparison(no_shift ? "24-bit" : "16-bit", c, decoded.stats, options.tsv);
        if (c.verdict != Verdict::Full && c.verdict != Verdict::Limited) all_compliant = false;
        if (no_shift) {
            // The 24-bit output's alignment holds for its rounding too.
            offset_words =
                c.offset_frames * static_cast<long>(search.frame_samples * search.channels);
            rounded16 = round_to_16(decoded.words);
        } else {
            // The shifting mode's words are 16-bit values already.
            shifted16.assign(decoded.words.begin(), decoded.words.end());
        }
    }
    // Sample by sample against the 16-bit reference: the library's shifting
    // mode, and the rounding that mp3d decode writes to its 16-bit WAV.
    if (!options.tsv)
        std::printf("against %s 16-bit output, sample by sample:\n",
                    reference_name == "mpg123" ? "libmpg123's" : "the reference's");
    print_agreement(options.tsv ? "16-bit-shifted" : "  16-bit shifted (library)",
                    agree16(shifted16, reference16, offset_words), options.tsv);
    const Agreement16 rounded = agree16(rounded16, reference16, offset_words);
    print_agreement(options.tsv ? "16-bit-rounded" : "  16-bit rounded (decode)", rounded,
                    options.tsv);
    const Verdict v =
        iso_verdict(rounded.rms / 32768.0, rounded.max_abs / 32768.0, rounded.compared);
    if (v != Verdict::Full && v != Verdict::Limited) all_compliant = false;
    return all_compliant ? kExitOk : kExitFailed;
}

}  // namespace mp3d_tools
