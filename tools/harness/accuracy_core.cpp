#include "harness/accuracy_core.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "mp3d.h"

namespace mp3d_tools {

const double kFullAccuracyRms = std::ldexp(1.0, -15) / std::sqrt(12.0);
const double kFullAccuracyMax = std::ldexp(1.0, -14);
const double kLimitedAccuracyRms = std::ldexp(1.0, -11) / std::sqrt(12.0);

Verdict iso_verdict(double rms, double max_abs, size_t compared) {
    if (compared == 0) return Verdict::NothingCompared;
    if (rms < kFullAccuracyRms && max_abs <= kFullAccuracyMax) return Verdict::Full;
    if (rms < kLimitedAccuracyRms) return Verdict::Limited;
    return Verdict::Neither;
}

const char *verdict_name(Verdict verdict) {
    switch (verdict) {
        case Verdict::Full:
            return "full accuracy";
        case Verdict::Limited:
            return "limited accuracy";
        case Verdict::Neither:
            return "not compliant";
        case Verdict::NothingCompared:
            return "nothing compared";
    }
    return "?";
}

Comparison compare_at(const std::vector<double> &test, const std::vector<double> &reference,
                      long offset_words) {
    Comparison c;
    c.test_samples = test.size();
    c.reference_samples = reference.size();
    // Test sample i meets reference sample i + offset.
    size_t test_begin = 0;
    size_t ref_begin = 0;
    if (offset_words >= 0) {
        ref_begin = static_cast<size_t>(offset_words);
    } else {
        test_begin = static_cast<size_t>(-offset_words);
    }
    size_t count = 0;
    if (test_begin < test.size() && ref_begin < reference.size())
        count = std::min(test.size() - test_begin, reference.size() - ref_begin);
    double sum_sq = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const double d = std::fabs(test[test_begin + i] - reference[ref_begin + i]);
        sum_sq += d * d;
        if (d > c.max_abs) {
            c.max_abs = d;
            c.max_index = test_begin + i;
        }
    }
    c.compared = count;
    c.rms = count > 0 ? std::sqrt(sum_sq / static_cast<double>(count)) : 0.0;
    c.verdict = iso_verdict(c.rms, c.max_abs, count);
    return c;
}

Comparison compare_aligned(const std::vector<double> &test, const std::vector<double> &reference,
                           const AlignmentSearch &search) {
    const long step = static_cast<long>(search.frame_samples * search.channels);
    Comparison best = compare_at(test, reference, 0);
    bool have_best = best.compared * 2 >= test.size() && best.compared > 0;
    for (long k = search.min_frames; k <= search.max_frames; ++k) {
        if (k == 0 || step == 0) continue;
        Comparison c = compare_at(test, reference, k * step);
        if (c.compared == 0 || c.compared * 2 < test.size()) continue;
        if (!have_best || c.rms < best.rms) {
            c.offset_frames = k;
            c.offset_samples = k * static_cast<long>(search.frame_samples);
            best = c;
            have_best = true;
        }
    }
    return best;
}

uint64_t fnv1a64_words(const int32_t *words, size_t count, uint64_t hash) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t w = static_cast<uint32_t>(words[i]);
        for (int b = 0; b < 4; ++b) {
            hash ^= (w >> (8 * b)) & 0xffu;
            hash *= 0x100000001b3ull;
        }
    }
    return hash;
}

std::string hash_hex(uint64_t hash) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

bool read_s16le_words(const std::string &path, std::vector<int16_t> &samples, std::string *error) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        if (error != nullptr) *error = path + ": " + std::strerror(errno);
        return false;
    }
    samples.clear();
    unsigned char buffer[65536];
    size_t n;
    bool odd = false;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        // Files are read in even-sized pieces except possibly the last.
        if (n % 2 != 0) odd = true;
        for (size_t i = 0; i + 1 < n; i += 2)
            samples.push_back(
                static_cast<int16_t>(static_cast<uint16_t>(buffer[i] | (buffer[i + 1] << 8))));
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed || odd) {
        if (error != nullptr) *error = path + (failed ? ": read error" : ": odd number of bytes");
        return false;
    }
    return true;
}

bool read_s16le_file(const std::string &path, std::vector<double> &samples, std::string *error) {
    std::vector<int16_t> words;
    if (!read_s16le_words(path, words, error)) return false;
    samples = samples16_to_double(words);
    return true;
}

std::vector<double> samples16_to_double(const std::vector<int16_t> &samples) {
    std::vector<double> out(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) out[i] = samples[i] / 32768.0;
    return out;
}

std::vector<int16_t> round_to_16(const std::vector<int32_t> &words24) {
    std::vector<int16_t> out(words24.size());
    for (size_t i = 0; i < words24.size(); ++i) out[i] = mp3d_pcm_round16(words24[i]);
    return out;
}

Agreement16 agree16(const std::vector<int16_t> &test, const std::vector<int16_t> &reference,
                    long offset_words) {
    Agreement16 a;
    const size_t test_begin = offset_words < 0 ? static_cast<size_t>(-offset_words) : 0;
    const size_t ref_begin = offset_words > 0 ? static_cast<size_t>(offset_words) : 0;
    if (test_begin >= test.size() || ref_begin >= reference.size()) return a;
    a.compared = std::min(test.size() - test_begin, reference.size() - ref_begin);
    int64_t sum = 0;
    uint64_t sum_sq = 0;
    for (size_t i = 0; i < a.compared; ++i) {
        const int d = int{test[test_begin + i]} - int{reference[ref_begin + i]};
        const int m = d < 0 ? -d : d;
        sum += d;
        sum_sq += static_cast<uint64_t>(m) * static_cast<uint64_t>(m);
        if (m == 0) ++a.identical;
        if (m <= 1) ++a.within_one;
        if (m > a.max_abs) {
            a.max_abs = m;
            a.max_index = test_begin + i;
        }
    }
    const double n = static_cast<double>(a.compared);
    a.mean = static_cast<double>(sum) / n;
    a.rms = std::sqrt(static_cast<double>(sum_sq) / n);
    return a;
}

std::vector<double> words_to_samples(const std::vector<int32_t> &words, bool no_shift) {
    const double scale = no_shift ? 1.0 / 8388608.0 : 1.0 / 32768.0;
    std::vector<double> samples(words.size());
    for (size_t i = 0; i < words.size(); ++i) samples[i] = words[i] * scale;
    return samples;
}

}  // namespace mp3d_tools
