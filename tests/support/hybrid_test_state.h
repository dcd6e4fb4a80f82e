// A decoder state for unit tests of the Layer III filterbank modules: zero
// filled, with its own overlap, block-type and PCM buffers, the frame
// parameters pointing at the state's header, and the constant tables set.
#ifndef MP3D_TESTS_SUPPORT_HYBRID_TEST_STATE_H
#define MP3D_TESTS_SUPPORT_HYBRID_TEST_STATE_H

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "decoder/decoder_state.h"
#include "decoder/memory_layout.h"

namespace mp3d_test {

struct Hybrid_Test_State {
    mp3d::MP3D_Decoder_State state;
    mp3d::MP3D_Frame_Params params;
    std::array<int32_t, 2 * 32 * 9> overlap;
    std::array<uint32_t, 2 * 32> prev_block_type;
    std::array<int32_t, 576> pcm;

    Hybrid_Test_State() {
        std::memset(&state, 0, sizeof state);
        std::memset(&params, 0, sizeof params);
        overlap.fill(0);
        prev_block_type.fill(0);
        pcm.fill(0);
        params.header = &state.header;
        state.frame_params = &params;
        state.overlap_buffer = overlap.data();
        state.prev_block_type = prev_block_type.data();
        state.pcm_buffer = pcm.data();
        state.prev_nonzero_subbands[0] = state.prev_nonzero_subbands[1] = 32;
        state.header.version = 1;  // MPEG-1, 44.1 kHz
        state.header.sampling_frequency = 0;
        mp3d::MP3D_init_tables(&state);
    }
    Hybrid_Test_State(const Hybrid_Test_State &) = delete;
    Hybrid_Test_State &operator=(const Hybrid_Test_State &) = delete;
};

inline std::unique_ptr<Hybrid_Test_State> make_hybrid_test_state() {
    return std::make_unique<Hybrid_Test_State>();
}

}  // namespace mp3d_test

#endif
