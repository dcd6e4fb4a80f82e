// Decoder instances share nothing mutable: eight decoders, each in its own
// memory chunks, decoding eight different streams on eight threads at once
// give exactly the output pinned from single-threaded decoding. Run under
// ThreadSanitizer in CI (tools/ci/jobs/30-threads.sh).
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "harness/accuracy_core.h"
#include "harness/decode_run.h"
#include "support/pinned_checksums.h"

TEST(Threads, EightDecodersMatchTheirSequentialOutput) {
    constexpr size_t kThreads = 8;
    std::vector<mp3d_test::PinnedStream> present;
    std::string error;
    ASSERT_TRUE(mp3d_test::pinned_streams(present, error)) << error;
    ASSERT_GE(present.size(), kThreads) << "too few pinned streams present";

    // Streams spread evenly over the list: Layer III and Layer II fixtures,
    // and the conformance streams when they are present.
    std::vector<mp3d_test::PinnedStream> chosen;
    std::vector<std::vector<uint8_t>> data(kThreads);
    for (size_t i = 0; i < kThreads; ++i) {
        chosen.push_back(present[i * present.size() / kThreads]);
        ASSERT_TRUE(mp3d_tools::read_file(chosen[i].path, data[i], &error)) << error;
    }

    std::vector<uint64_t> hashes(kThreads, 0);
    std::latch start(kThreads);  // all decoders begin together, so their calls overlap
    std::vector<std::thread> threads;
    for (size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            mp3d_tools::DecodeOptions options;
            options.pcm_no_shift = true;
            options.block_size = 997 + 1531 * i;  // each thread cuts its input differently
            start.arrive_and_wait();
            const auto decoded = mp3d_tools::decode_buffer(data[i], options);
            hashes[i] = mp3d_tools::fnv1a64_words(decoded.words.data(), decoded.words.size());
        });
    }
    for (auto &thread : threads) thread.join();
    for (size_t i = 0; i < kThreads; ++i)
        EXPECT_EQ(mp3d_tools::hash_hex(hashes[i]), chosen[i].hash) << chosen[i].path;
}
