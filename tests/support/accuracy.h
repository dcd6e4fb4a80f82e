// Test-side helpers for whole-stream accuracy measurements: where the
// streams are, and decoding plus comparison in one call.
#ifndef MP3D_TESTS_SUPPORT_ACCURACY_H
#define MP3D_TESTS_SUPPORT_ACCURACY_H

#include <cstdint>
#include <string>
#include <vector>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"

namespace mp3d_test {

std::string shared_dir();       // MP3D_SHARED_DIR
std::string source_dir();       // MP3D_SOURCE_DIR
std::string conformance_dir();  // shared_dir()/conformance
bool conformance_available();

// Base names (without .bit) of the Layer III conformance streams present,
// sorted: the l3-* and M2L3_* files.
std::vector<std::string> layer3_conformance_names();

// One line of tests/fixtures/layer3/fixtures.tsv.
struct Fixture {
    std::string file;     // file name inside tests/fixtures/layer3
    std::string version;  // "1", "2" or "2.5"
    int sample_rate = 0;
    std::string mode;  // mono, stereo, joint, forced m/s, dual
    std::string bitrate;
    bool crc = false;
    std::string path() const;
    int channels() const { return mode == "mono" ? 1 : 2; }
};
// Parses a fixture list; false with a message on a malformed line.
bool parse_fixture_list(const std::string &text, std::vector<Fixture> &out, std::string *error);
std::vector<Fixture> layer3_fixtures();  // the committed list (empty when unreadable)

struct Measurement {
    std::string error;  // non-empty when decoding or the reference failed
    mp3d_tools::DecodeStats stats;
    mp3d_tools::Comparison comparison;
};

// Decodes `stream` through the public API and compares it with a raw s16le
// reference file, with frame alignment.
Measurement measure_against_pcm(const std::string &stream, const std::string &pcm, bool no_shift,
                                size_t block_size = 65536);
// The same against libmpg123's float decoding of the stream.
Measurement measure_against_mpg123(const std::string &stream, bool no_shift,
                                   size_t block_size = 65536);

// Pinned output hashes: lines "PATH HASH" (PATH relative to the repository
// root; "../shared/" stands for MP3D_SHARED_DIR), '#' starts a comment.
struct PinnedChecksum {
    std::string path;
    uint64_t hash = 0;
};
bool parse_checksums(const std::string &text, std::vector<PinnedChecksum> &out, std::string *error);
std::string resolve_repo_path(const std::string &path);

bool read_text_file(const std::string &path, std::string &text);

}  // namespace mp3d_test

#endif
