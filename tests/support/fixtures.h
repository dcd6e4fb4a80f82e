// Where the tests find their files: the repository (committed fixtures, the
// sample, the pinned checksum list) and the shared data directory
// (conformance streams, reference data), both fixed when the build is
// configured; and reading a whole file. Header-only, so that every test
// binary uses the same paths.
#ifndef MP3D_TESTS_SUPPORT_FIXTURES_H
#define MP3D_TESTS_SUPPORT_FIXTURES_H

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace mp3d_test {

// A file of the shared data directory, e.g. "conformance/layer3/x.bit".
inline std::string shared_path(const std::string &relative) {
    return std::string(MP3D_SHARED_DIR) + "/" + relative;
}

// A file of the repository by its path from the repository root; a path
// that starts "../shared/" (as the pinned checksum list names the
// conformance streams) leads into the shared data directory.
inline std::string source_path(const std::string &relative) {
    if (relative.rfind("../shared/", 0) == 0) return shared_path(relative.substr(10));
    return std::string(MP3D_SOURCE_DIR) + "/" + relative;
}

// A committed fixture by its path under tests/fixtures, e.g.
// "layer2/mono_32k_48.mp2".
inline std::string fixture_path(const std::string &relative) {
    return source_path("tests/fixtures/" + relative);
}

// The committed fixture streams: the Layer II ones, then the Layer III ones,
// each sorted by name.
inline std::vector<std::string> fixture_streams() {
    std::vector<std::string> out;
    for (const char *layer : {"layer2", "layer3"}) {
        std::vector<std::string> paths;
        std::error_code ec;
        for (const auto &entry : std::filesystem::directory_iterator(fixture_path(layer), ec)) {
            const std::string ext = entry.path().extension().string();
            if (ext == ".mp2" || ext == ".mp3") paths.push_back(entry.path().string());
        }
        std::sort(paths.begin(), paths.end());
        out.insert(out.end(), paths.begin(), paths.end());
    }
    return out;
}

// A whole file; empty when it cannot be read.
inline std::vector<uint8_t> read_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// A file of the repository (as source_path names it), read whole.
inline std::vector<uint8_t> read_source(const std::string &relative) {
    return read_bytes(source_path(relative));
}

}  // namespace mp3d_test

#endif  // MP3D_TESTS_SUPPORT_FIXTURES_H
