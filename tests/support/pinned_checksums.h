// The pinned decoder output of tests/fixtures/checksums.txt: "PATH HASH" lines,
// PATH relative to the repository root, "../shared/" standing for
// MP3D_SHARED_DIR. Streams whose file is absent (the conformance streams on a
// machine without the shared data) are left out.
#ifndef MP3D_TESTS_PINNED_CHECKSUMS_H
#define MP3D_TESTS_PINNED_CHECKSUMS_H

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace mp3d_test {

struct PinnedStream {
    std::string path;  // resolved
    std::string hash;  // 16 hex digits
};

// False when the list is unreadable or a line is malformed (error says which).
inline bool pinned_streams(std::vector<PinnedStream> &out, std::string &error) {
    const std::string list = fixture_path("checksums.txt");
    std::ifstream in(list);
    if (!in) return error = "cannot read " + list, false;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line.substr(0, line.find('#')));
        std::string path, hash, extra;
        if (!(fields >> path)) continue;  // blank or comment
        if (!(fields >> hash) || (fields >> extra) || hash.size() != 16)
            return error = "malformed line: " + line, false;
        path = source_path(path);
        if (std::filesystem::exists(path)) out.push_back({path, hash});
    }
    return true;
}

}  // namespace mp3d_test

#endif
