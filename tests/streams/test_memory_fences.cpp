// Memory fences: every committed stream decoded with chunk 0, chunk 1 (at
// exactly the sizes the query asks), each input block and the output area
// placed against an inaccessible page, behind and in front, so that any
// stray access faults. The damaged-stream tests decode through the same
// fences. The output must equal an unfenced decode.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decoder/decoder_state.h"
#include "harness/decode_run.h"
#include "support/fenced_decode.h"
#include "support/fixtures.h"

namespace {

std::vector<std::string> fixtures() {
    std::vector<std::string> out = mp3d_test::fixture_streams();
    out.push_back(mp3d_test::source_path("samples/sample.mp3"));
    return out;
}

TEST(MemoryFences, EveryFixtureDecodesInsideItsBuffers) {
    const std::vector<std::string> names = fixtures();
    ASSERT_GT(names.size(), 20u);
    for (const std::string &name : names) {
        const std::vector<uint8_t> stream = mp3d_test::read_bytes(name);
        ASSERT_FALSE(stream.empty()) << name;
        mp3d_tools::DecodeOptions options;
        options.pcm_no_shift = true;
        const auto plain = mp3d_tools::decode_buffer(stream, options);
        for (bool guard_before : {false, true})
            for (size_t block : {size_t{1}, size_t{417}, stream.size()}) {
                const auto run = mp3d_test::decode_fenced(stream, block, guard_before);
                std::vector<int32_t> words;
                for (const auto &pcm : run.ok_pcm())
                    words.insert(words.end(), pcm.begin(), pcm.end());
                EXPECT_EQ(words, plain.words) << name << ", block " << block;
                EXPECT_EQ(run.calls.back().code, MP3D_END_OF_STREAM) << name;
            }
    }
}

TEST(MemoryFences, InitRefusesChunksBelowTheQueriedSizes) {
    // Refused before the first write: a fenced chunk that is too small
    // would fault otherwise.
    for (int chunk = 0; chunk < 2; ++chunk) {
        MP3D_Decode_Config config{};
        ASSERT_EQ(mp3d_query_dec_mem(&config), MP3D_OK);
        // Below what init needs (chunk 0: state, parameters and carve; chunk 1:
        // the query's size), and a multiple of 8 so that the fenced base stays
        // aligned and only the size can be the reason for the refusal.
        config.mem_info[chunk].size =
            chunk == 0 ? static_cast<int32_t>((mp3d::kMinChunk0Bytes - 1) & ~size_t{7})
                       : config.mem_info[1].size - 8;
        mp3d_test::FencedBuffer c0(static_cast<size_t>(config.mem_info[0].size), false);
        mp3d_test::FencedBuffer c1(static_cast<size_t>(config.mem_info[1].size), false);
        config.mem_info[0].base = c0.data();
        config.mem_info[1].base = c1.data();
        const uint8_t first = 0;
        EXPECT_EQ(mp3d_decode_init(&config, &first), MP3D_ERROR_INIT) << "chunk " << chunk;
    }
}

TEST(MemoryFences, FencedBufferFaultsJustOutside) {
    // The fence itself: one byte past the end (or before the start) faults.
    EXPECT_DEATH(
        {
            mp3d_test::FencedBuffer b(100, false);
            b.data()[100] = 1;
        },
        "");
    EXPECT_DEATH(
        {
            mp3d_test::FencedBuffer b(100, true);
            b.data()[-1] = 1;
        },
        "");
}

}  // namespace
