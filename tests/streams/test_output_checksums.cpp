// Pinned decoder output: every stream listed in tests/fixtures/checksums.txt
// must decode to 24-bit output words whose FNV-1a 64 hash is the pinned one.
// Regenerate the list with `mp3d checksum` (see README). Every stream is
// decoded with the portable kernels and with the set chosen for this
// processor.
#include <gtest/gtest.h>

#include "decoder/decoder_state.h"
#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "kernels/kernel_set.h"
#include "support/pinned_checksums.h"

TEST(OutputChecksums, PinnedStreamsDecodeToTheirHash) {
    std::vector<mp3d_test::PinnedStream> pins;
    std::string error;
    ASSERT_TRUE(mp3d_test::pinned_streams(pins, error)) << error;
    if (pins.empty()) GTEST_SKIP() << "none of the pinned streams is present";
    for (const auto &pin : pins) {
        std::vector<uint8_t> data;
        ASSERT_TRUE(mp3d_tools::read_file(pin.path, data, &error)) << error;
        for (const mp3d::MP3D_Kernel_Set *kernels :
             {&mp3d::kPortableKernels, mp3d::MP3D_select_kernels()}) {
            mp3d_tools::DecodeOptions options;
            options.pcm_no_shift = true;
            options.after_init = [kernels](void *state) {
                static_cast<mp3d::MP3D_Decoder_State *>(state)->kernels = kernels;
            };
            const auto decoded = mp3d_tools::decode_buffer(data, options);
            EXPECT_EQ(mp3d_tools::hash_hex(
                          mp3d_tools::fnv1a64_words(decoded.words.data(), decoded.words.size())),
                      pin.hash)
                << pin.path << " (" << kernels->name << " kernels)";
        }
    }
}
