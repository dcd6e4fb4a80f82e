// Pinned decoder output: for every stream listed in
// tests/fixtures/checksums.txt, the FNV-1a 64 hash of the 24-bit output
// words must match. Regenerate the list with `mp3d checksum` (see README).
#include <gtest/gtest.h>

#include <filesystem>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "support/accuracy.h"

TEST(OutputChecksums, PinnedStreamsDecodeToTheirHash) {
    std::string text;
    const std::string list = mp3d_test::source_dir() + "/tests/fixtures/checksums.txt";
    ASSERT_TRUE(mp3d_test::read_text_file(list, text)) << list;
    std::vector<mp3d_test::PinnedChecksum> pins;
    std::string error;
    ASSERT_TRUE(mp3d_test::parse_checksums(text, pins, &error)) << error;
    if (pins.empty()) GTEST_SKIP() << "no output checksums pinned in " << list;
    int checked = 0;
    for (const auto &pin : pins) {
        const std::string path = mp3d_test::resolve_repo_path(pin.path);
        if (!std::filesystem::exists(path)) {
            // Conformance streams are absent on machines without the shared data.
            EXPECT_EQ(pin.path.rfind("../shared/", 0), 0u) << "missing: " << pin.path;
            continue;
        }
        std::vector<uint8_t> data;
        ASSERT_TRUE(mp3d_tools::read_file(path, data, &error)) << error;
        mp3d_tools::DecodeOptions options;
        options.pcm_no_shift = true;
        const auto decoded = mp3d_tools::decode_buffer(data, options);
        EXPECT_EQ(mp3d_tools::hash_hex(
                      mp3d_tools::fnv1a64_words(decoded.words.data(), decoded.words.size())),
                  mp3d_tools::hash_hex(pin.hash))
            << pin.path;
        ++checked;
    }
    if (checked == 0) GTEST_SKIP() << "none of the pinned streams is present";
}
