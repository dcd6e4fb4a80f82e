// Pinned decoder output: for every stream listed in
// tests/fixtures/checksums.txt ("PATH HASH" lines, PATH relative to the
// repository root, "../shared/" standing for MP3D_SHARED_DIR), the FNV-1a 64
// hash of the 24-bit output words must match. Regenerate the list with
// `mp3d checksum` (see README).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"

TEST(OutputChecksums, PinnedStreamsDecodeToTheirHash) {
    const std::string list = MP3D_SOURCE_DIR "/tests/fixtures/checksums.txt";
    std::ifstream in(list);
    ASSERT_TRUE(in) << list;
    int checked = 0;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line.substr(0, line.find('#')));
        std::string path, hash, extra;
        if (!(fields >> path)) continue;  // blank or comment
        ASSERT_TRUE(fields >> hash && !(fields >> extra) && hash.size() == 16) << line;
        if (path.rfind("../shared/", 0) == 0) {
            path = MP3D_SHARED_DIR + path.substr(9);
            // Conformance streams are absent on machines without the shared data.
            if (!std::filesystem::exists(path)) continue;
        } else {
            path = MP3D_SOURCE_DIR "/" + path;
        }
        std::vector<uint8_t> data;
        std::string error;
        ASSERT_TRUE(mp3d_tools::read_file(path, data, &error)) << error;
        mp3d_tools::DecodeOptions options;
        options.pcm_no_shift = true;
        const auto decoded = mp3d_tools::decode_buffer(data, options);
        EXPECT_EQ(mp3d_tools::hash_hex(
                      mp3d_tools::fnv1a64_words(decoded.words.data(), decoded.words.size())),
                  hash)
            << path;
        ++checked;
    }
    if (checked == 0) GTEST_SKIP() << "none of the pinned streams is present";
}
