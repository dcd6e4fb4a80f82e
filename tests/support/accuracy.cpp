#include "support/accuracy.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "harness/mpg123_reference.h"

namespace fs = std::filesystem;

namespace mp3d_test {

std::string shared_dir() {
    return MP3D_SHARED_DIR;
}
std::string source_dir() {
    return MP3D_SOURCE_DIR;
}
std::string conformance_dir() {
    return shared_dir() + "/conformance";
}

bool conformance_available() {
    std::error_code ec;
    return fs::is_directory(conformance_dir(), ec);
}

std::vector<std::string> layer3_conformance_names() {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(conformance_dir(), ec)) {
        const fs::path p = entry.path();
        if (p.extension() != ".bit") continue;
        const std::string stem = p.stem().string();
        if (stem.rfind("l3-", 0) == 0 || stem.rfind("M2L3", 0) == 0) names.push_back(stem);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Fixture::path() const {
    return source_dir() + "/tests/fixtures/layer3/" + file;
}

bool read_text_file(const std::string &path, std::string &text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return true;
}

namespace {

std::vector<std::string> split(const std::string &line, char separator) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream s(line);
    while (std::getline(s, field, separator)) fields.push_back(field);
    return fields;
}

}  // namespace

bool parse_fixture_list(const std::string &text, std::vector<Fixture> &out, std::string *error) {
    out.clear();
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        if (line.empty() || line[0] == '#') continue;
        const auto f = split(line, '\t');
        Fixture fixture;
        bool ok = f.size() >= 6;
        if (ok) {
            fixture.file = f[0];
            fixture.version = f[1];
            fixture.sample_rate = std::atoi(f[2].c_str());
            fixture.mode = f[3];
            fixture.bitrate = f[4];
            fixture.crc = f[5] == "yes";
            ok = !fixture.file.empty() && (f[5] == "yes" || f[5] == "no") &&
                 fixture.sample_rate > 0 &&
                 (fixture.version == "1" || fixture.version == "2" || fixture.version == "2.5");
        }
        if (!ok) {
            if (error != nullptr)
                *error = "fixture list line " + std::to_string(number) + ": " + line;
            return false;
        }
        out.push_back(fixture);
    }
    return true;
}

std::vector<Fixture> layer3_fixtures() {
    std::string text;
    std::vector<Fixture> fixtures;
    if (read_text_file(source_dir() + "/tests/fixtures/layer3/fixtures.tsv", text))
        parse_fixture_list(text, fixtures, nullptr);
    return fixtures;
}

namespace {

Measurement measure(const std::string &stream, const std::vector<double> &reference, bool no_shift,
                    size_t block_size) {
    Measurement m;
    std::vector<uint8_t> data;
    if (!mp3d_tools::read_file(stream, data, &m.error)) return m;
    mp3d_tools::DecodeOptions options;
    options.block_size = block_size;
    options.pcm_no_shift = no_shift;
    const mp3d_tools::DecodedStream decoded = mp3d_tools::decode_buffer(data, options);
    m.stats = decoded.stats;
    if (decoded.stats.output_calls == 0) {
        m.error = stream + ": nothing decoded";
        return m;
    }
    mp3d_tools::AlignmentSearch search;
    search.frame_samples = static_cast<size_t>(decoded.stats.first_info.samples_per_frame);
    search.channels = static_cast<size_t>(decoded.stats.first_info.num_channels);
    m.comparison = mp3d_tools::compare_aligned(
        mp3d_tools::words_to_samples(decoded.words, no_shift), reference, search);
    return m;
}

}  // namespace

Measurement measure_against_pcm(const std::string &stream, const std::string &pcm, bool no_shift,
                                size_t block_size) {
    std::vector<double> reference;
    Measurement m;
    if (!mp3d_tools::read_s16le_file(pcm, reference, &m.error)) return m;
    return measure(stream, reference, no_shift, block_size);
}

Measurement measure_against_mpg123(const std::string &stream, bool no_shift, size_t block_size) {
    mp3d_tools::FloatReference reference;
    Measurement m;
    if (!mp3d_tools::mpg123_decode_file(stream, reference, &m.error)) return m;
    return measure(stream, reference.samples, no_shift, block_size);
}

bool parse_checksums(const std::string &text, std::vector<PinnedChecksum> &out,
                     std::string *error) {
    out.clear();
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        const size_t hash_mark = line.find('#');
        if (hash_mark != std::string::npos) line.erase(hash_mark);
        std::istringstream fields(line);
        std::string path, hex, extra;
        if (!(fields >> path)) continue;  // blank or comment
        bool ok = static_cast<bool>(fields >> hex) && !(fields >> extra) && hex.size() == 16 &&
                  hex.find_first_not_of("0123456789abcdef") == std::string::npos;
        if (!ok) {
            if (error != nullptr) *error = "checksum line " + std::to_string(number) + ": " + line;
            return false;
        }
        out.push_back({path, std::stoull(hex, nullptr, 16)});
    }
    return true;
}

std::string resolve_repo_path(const std::string &path) {
    const std::string shared_prefix = "../shared/";
    if (path.rfind(shared_prefix, 0) == 0)
        return shared_dir() + "/" + path.substr(shared_prefix.size());
    if (!path.empty() && path[0] == '/') return path;
    return source_dir() + "/" + path;
}

}  // namespace mp3d_test
