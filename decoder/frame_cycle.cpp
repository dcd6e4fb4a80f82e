// The steps of one decode call: the header step that begins a frame, the
// decoding of one Layer III granule into the caller's PCM, and the
// end-of-frame steps of both layers.
#include "decoder/frame_cycle.h"

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "decoder/frame_header.h"
#include "decoder/huffman_driver.h"
#include "decoder/hybrid.h"
#include "decoder/lsf_scale_factors.h"
#include "decoder/reorder.h"
#include "decoder/reservoir.h"
#include "decoder/scale_factors.h"
#include "decoder/side_info.h"
#include "decoder/stereo.h"
#include "kernels/kernel_set.h"
#include "kernels/memory.h"

namespace mp3d {

int32_t Mp3_Decode_Info(MP3D_Decoder_State *state) {
    state->lookahead_end = 0;
    int32_t status = decode_info(state);
    if (status != MP3D_OK) {
        HandleError(state);
        return status;
    }
    // decode_info has read the 32 header bits. A header that begins where
    // the previous frame ended continues the stream; any other was found by
    // the sync search and is confirmed at the end of its frame.
    state->frame_start_bit = state->bits_consumed - 32u;
    state->header_searched = static_cast<int16_t>(state->next_header_known == 0 ||
                                                  state->frame_start_bit != state->next_header_bit);
    state->next_header_known = 0;
    hdr_to_frps(state);
    const MP3D_Frame_Header &h = state->header;
    state->granules = is_lsf(h) ? 1 : 2;
    if (h.crc_present) getbits1(16, state);  // the check word is not verified
    if (h.layer == 3) {
        status = III_get_side_info(&state->side_info, state);
        if (status != MP3D_OK) {
            HandleError(state);
            return status;
        }
        const bool fits = main_data_slots(state) <= kReservoirBytes - state->res_write_index;
        status = III_main_data_position(state);
        // A frame too long for the reservoir was skipped with a reset; input
        // ending inside the frame ends the stream.
        if (!fits || state->input_exhausted) return status;
        // The main data is appended: the reader stands at the frame end.
        if (state->header_searched && !confirm_next_header(state)) {
            reject_searched_frame(state);
            return MP3D_ERROR_SYNC;
        }
        state->lookahead_end = state->input_exhausted;
        state->next_header_bit = state->bits_consumed;
        state->next_header_known = 1;
        if (status != MP3D_OK) return status;  // 37: no reset
    }
    state->channels = state->frame_params->channels;
    return MP3D_OK;
}

int32_t Mp3_Decode_Frame(int32_t *output, MP3D_Decoder_State *state) {
    const int gr = state->granule_index;
    const int channels = state->channels;
    const bool lsf = is_lsf(state->header);
    MP3D_Side_Info *si = &state->side_info;
    int32_t *spectral = state->spectral_buffer;

    for (int ch = 0; ch < channels; ++ch) {
        const uint32_t part2_bits =
            lsf ? III_get_LSF_scale_factors(state->scalefac, si, gr, ch, state)
                : III_get_scale_factors(state->scalefac, si, gr, ch, state);
        const int32_t status = III_hufman_decode_dequant_main(
            spectral + kSpectralWords * ch, si, &state->scalefac[ch], ch, gr, part2_bits, state);
        if (status != MP3D_OK) return status;
    }

    III_stereo(spectral, state->scalefac, &si->ch[1].gr[gr], state);

    for (int ch = 0; ch < channels; ++ch) {
        int32_t *x = spectral + kSpectralWords * ch;
        const MP3D_Granule_Info *granule = &si->ch[ch].gr[gr];
        III_reorder(x, granule, state->frame_params, state);
        III_hybrid(x, x, ch, granule, state);
        int32_t *synthesis = state->synthesis_buffer + kSynthesisWords * ch;
        // The window writes the samples straight into the caller's buffer,
        // interleaved and (unless pcm_no_shift) shifted to 16 bits.
        const int stride = channels == 2 ? 2 : 1;
        for (int half = 0; half < 2; ++half) {
            state->kernels->subband_dct9(x, half, synthesis);
            state->kernels->polyphase_window(
                synthesis, output + ch + stride * kHalfGranuleSamples * half, stride,
                state->config->pcm_no_shift, state->tables.window_lf);
        }
    }
    return MP3D_OK;
}

int32_t Mp3_Decode_End(MP3D_Decoder_State *state) {
    // A granule whose part2_3_length reaches past the frame's main data
    // leaves the reader beyond the bytes written (where the buffer index
    // stops and the window no longer follows the position): start afresh.
    if (hsstell(state) > 8 * static_cast<int32_t>(state->main_data_end) || hwrapbuf(state) != 0) {
        HandleError(state);
        return MP3D_ERROR_FRAME_END;
    }
    state->granule_index = 0;
    return MP3D_OK;
}

int32_t Mp2_frame_bytes(const MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    int32_t length;
    if (h.bitrate_index == 0) {
        // Free format: the measured length of an unpadded frame. (A length
        // derived from a whole kbit/s value would be off by up to a byte
        // per frame and lose the sync.)
        length = state->free_format_slots;
    } else {
        // 144000 * kbit/s / Hz bytes.
        const int32_t kbps = frame_bitrate_kbps(state);
        const int32_t divisor = state->tables.s_freq[h.version][h.sampling_frequency] * 8 / 10;
        length = kbps * 115200 / divisor;
    }
    return h.padding_bit ? length + 1 : length;
}

int32_t Mp2_Decode_End(int32_t *output, MP3D_Decoder_State *state) {
    // Skip to the frame end, where the next header search begins.
    const uint32_t frame_end =
        state->frame_start_bit + 8u * static_cast<uint32_t>(Mp2_frame_bytes(state));
    int32_t skip = static_cast<int32_t>(frame_end - state->bits_consumed);
    while (skip > 0) {
        const int n = skip > 16 ? 16 : skip;
        getbits1(n, state);
        skip -= n;
    }
    if (state->header_searched != 0) {
        // A frame that read past its end, or whose successor disagrees, was
        // not audio: its PCM is withdrawn and its synthesis history cleared,
        // so that it cannot sound in the frames that follow.
        if (skip < 0 || !confirm_next_header(state)) {
            const int channels = state->frame_params->channels > 1 ? 2 : 1;
            Mp3_memset(output, 0, 4 * 1152 * channels);
            Mp3_memset(state->synthesis_buffer, 0, kSynthesisBufferBytes);
            reject_searched_frame(state);
            return MP3D_ERROR_SYNC;
        }
    }
    if (skip == 0) {
        state->next_header_bit = frame_end;
        state->next_header_known = 1;
    }
    if (hwrapbuf(state) != 0) {
        HandleError(state);
        return MP3D_ERROR_FRAME_END;
    }
    return MP3D_OK;
}

}  // namespace mp3d
