// Comparison of decoded PCM with a reference decoding, judged by the
// accuracy criteria of ISO/IEC 11172-4, and the output hash used to pin
// decoder output.
#ifndef MP3D_TOOLS_ACCURACY_CORE_H
#define MP3D_TOOLS_ACCURACY_CORE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mp3d_tools {

// Both sides are given as samples scaled to full scale 1.0 (a 16-bit word w
// is w / 32768, a 24-bit word w / 8388608), laid out identically (channels
// interleaved as the frames carry them).
enum class Verdict { Full, Limited, Neither, NothingCompared };

// ISO/IEC 11172-4: full accuracy when the RMS of the difference is below
// 2^-15/sqrt(12) and no sample differs by more than 2^-14; limited accuracy
// when the RMS is below 2^-11/sqrt(12).
Verdict iso_verdict(double rms, double max_abs, size_t compared);
const char *verdict_name(Verdict verdict);

extern const double kFullAccuracyRms;
extern const double kFullAccuracyMax;
extern const double kLimitedAccuracyRms;

struct Comparison {
    size_t test_samples = 0;       // samples the decoder produced
    size_t reference_samples = 0;  // samples in the reference
    size_t compared = 0;           // samples compared
    long offset_frames = 0;        // reference frames skipped (negative: decoder frames skipped)
    long offset_samples = 0;       // the same, in samples per channel
    double rms = 0.0;              // of the difference, relative to full scale
    double max_abs = 0.0;          // largest difference, relative to full scale
    size_t max_index = 0;          // test sample index of the largest difference
    Verdict verdict = Verdict::NothingCompared;
    double rms_lsb16() const { return rms * 32768.0; }
    double max_lsb16() const { return max_abs * 32768.0; }
};

struct AlignmentSearch {
    size_t frame_samples = 1152;  // samples per channel in one frame
    size_t channels = 2;          // of the first frame (frame step = product)
    long min_frames = -2;         // offsets searched, in whole frames
    long max_frames = 8;
};

// Compares test with reference at offset 0.
Comparison compare_at(const std::vector<double> &test, const std::vector<double> &reference,
                      long offset_words);

// Compares at every whole-frame offset in the search range and keeps the one
// with the smallest RMS (offset 0 wins ties). Only offsets under which at
// least half of the test samples meet a reference sample are considered.
// Only as many samples as overlap are compared: references that run longer
// than the decoded stream are cut.
Comparison compare_aligned(const std::vector<double> &test, const std::vector<double> &reference,
                           const AlignmentSearch &search);

// Sample-by-sample agreement of two 16-bit outputs, in 16-bit LSB: how many
// samples are identical or within 1, the mean signed difference (test minus
// reference: a DC offset), its RMS and the largest difference.
struct Agreement16 {
    size_t compared = 0;
    size_t identical = 0;
    size_t within_one = 0;
    double mean = 0.0;
    double rms = 0.0;
    int max_abs = 0;
    size_t max_index = 0;  // test sample index of the largest difference
    double identical_share() const {
        return compared > 0 ? static_cast<double>(identical) / static_cast<double>(compared) : 0.0;
    }
};

// Compares with test sample i meeting reference sample i + offset_words
// (negative: test samples skipped), over the overlap only.
Agreement16 agree16(const std::vector<int16_t> &test, const std::vector<int16_t> &reference,
                    long offset_words);

// 24-bit decoder words rounded to 16 bits as the tool writes them.
std::vector<int16_t> round_to_16(const std::vector<int32_t> &words24);
// 16-bit samples scaled to full scale 1.0.
std::vector<double> samples16_to_double(const std::vector<int16_t> &samples);
// Reads a raw signed 16-bit little-endian file as it is.
bool read_s16le_words(const std::string &path, std::vector<int16_t> &samples, std::string *error);

// 64-bit FNV-1a over the words as little-endian signed 32-bit bytes.
uint64_t fnv1a64_words(const int32_t *words, size_t count, uint64_t hash = 0xcbf29ce484222325ull);
std::string hash_hex(uint64_t hash);

// Reads a raw signed 16-bit little-endian PCM file, scaled to full scale 1.0.
bool read_s16le_file(const std::string &path, std::vector<double> &samples, std::string *error);

// Decoder words to full-scale samples: 16-bit range unless no_shift.
std::vector<double> words_to_samples(const std::vector<int32_t> &words, bool no_shift);

}  // namespace mp3d_tools

#endif
