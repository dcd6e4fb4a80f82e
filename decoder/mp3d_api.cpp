// The library's three exported entry points.
#include <new>

#include "decoder/decoder_reset.h"
#include "decoder/decoder_state.h"
#include "decoder/frame_cycle.h"
#include "decoder/frame_header.h"
#include "decoder/memory_layout.h"
#include "decoder/mp2_decode_frame.h"
#include "kernels/kernel_set.h"
#include "kernels/memory.h"

using namespace mp3d;

extern "C" MP3D_API int32_t mp3d_query_dec_mem(MP3D_Decode_Config *config) {
    if (config == nullptr) return MP3D_ERROR_INIT;
    config->mem_count = MP3D_MEM_CHUNKS;
    config->mem_info[0].size = kChunk0Bytes;
    config->mem_info[0].mem_type = 1;
    config->mem_info[0].spectral_role = 0;
    config->mem_info[0].base = nullptr;
    config->mem_info[1].size = kChunk1Bytes;
    config->mem_info[1].mem_type = 1;
    config->mem_info[1].spectral_role = 1;
    config->mem_info[1].base = nullptr;
    return MP3D_OK;
}

extern "C" MP3D_API int32_t mp3d_decode_init(MP3D_Decode_Config *config,
                                             const uint8_t *input_buffer) {
    if (config == nullptr || input_buffer == nullptr) return MP3D_ERROR_INIT;
    const MP3D_Mem_Info &chunk0 = config->mem_info[0];
    const MP3D_Mem_Info &chunk1 = config->mem_info[1];
    if (chunk0.base == nullptr) return MP3D_ERROR_INIT;
    // Everything is checked before the first write, so a refused init leaves
    // both chunks untouched: chunk 0 must hold the state, the frame-parameter
    // record and the carve, at the alignment of the state's fields; the
    // spectral buffer needs chunk 1 at its full size and word alignment.
    const auto base0 = reinterpret_cast<uintptr_t>(chunk0.base);
    if (chunk0.size < 0 || static_cast<size_t>(chunk0.size) < kMinChunk0Bytes ||
        base0 % alignof(MP3D_Decoder_State) != 0)
        return MP3D_ERROR_INIT;
    if (chunk1.spectral_role == 0 || chunk1.base == nullptr || chunk1.size < kChunk1Bytes ||
        reinterpret_cast<uintptr_t>(chunk1.base) % 4 != 0)
        return MP3D_ERROR_INIT;

    auto *bytes = static_cast<uint8_t *>(chunk0.base);
    Mp3_memset(bytes, 0, chunk0.size);
    auto *state = new (bytes) MP3D_Decoder_State();
    config->decoder_state = state;
    state->config = config;
    state->frame_params = new (bytes + kFrameParamsOffset) MP3D_Frame_Params();

    state->input_exhausted = 0;
    state->input_bytes_left = 0;
    state->input_read_ptr = nullptr;
    state->input_buffer = input_buffer;
    state->input_callback = config->input_callback;

    MP3D_init_tables(state);
    state->kernels = MP3D_select_kernels();
    const size_t after_params = kFrameParamsOffset + sizeof(MP3D_Frame_Params);
    if (MP3D_init_huffman(bytes + after_params, chunk0.size - static_cast<int32_t>(after_params),
                          config, state) != MP3D_OK)
        return MP3D_ERROR_INIT;
    Mp3_Decode_Init(state);
    return MP3D_OK;
}

extern "C" MP3D_API int32_t mp3d_decode_frame(MP3D_Decode_Config *config,
                                              MP3D_Frame_Info *frame_info, int32_t *output) {
    if (config == nullptr || frame_info == nullptr || output == nullptr)
        return MP3D_ERROR_NULL_POINTER;
    auto *state = static_cast<MP3D_Decoder_State *>(config->decoder_state);
    int32_t status = MP3D_OK;
    if (state->granule_index == 0) {
        status = Mp3_Decode_Info(state);
        if (status == MP3D_OK) {
            const MP3D_Frame_Header &h = state->header;
            frame_info->sample_rate = state->tables.s_freq[h.version][h.sampling_frequency];
            frame_info->num_channels = header_channels(h);
            if (h.layer == 3) {
                frame_info->samples_per_frame = kSpectralWords * state->granules;
            } else {
                // Layer II frames hold 1152 samples per channel in every
                // version.
                frame_info->samples_per_frame = 1152;
            }
            frame_info->bitrate_kbps = frame_bitrate_kbps(state);
            frame_info->layer = h.layer;
        }
    }
    // Input ending in the look-ahead behind a complete frame does not stop it.
    if (state->input_exhausted && state->lookahead_end == 0)
        return status == MP3D_ERROR_MAIN_DATA ? status : MP3D_END_OF_STREAM;
    if (status != MP3D_OK) return status;

    if (state->header.layer == 3) {
        const int32_t granule_status = Mp3_Decode_Frame(output, state);
        // A refused granule is delivered as silence, so every call that
        // decodes a granule (0, 40, and 38 at the frame end) delivers PCM.
        if (granule_status != MP3D_OK)
            Mp3_memset(output, 0, 4 * kSpectralWords * (state->channels == 2 ? 2 : 1));
        state->granule_index = static_cast<int16_t>(state->granule_index + 1);
        if (state->granule_index == state->granules) {
            const int32_t end = Mp3_Decode_End(state);
            if (end != MP3D_OK) return end;
        }
        return granule_status;
    }
    MP2D_decode_frame(output, state);
    return Mp2_Decode_End(output, state);
}
