// The steps of one decode call: the header step that begins a frame, the
// decoding of one Layer III granule into the caller's PCM, and the
// end-of-frame steps of both layers.
#include "decoder/frame_cycle.h"

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "decoder/frame_header.h"
#include "decoder/huffman_driver.h"
#include "decoder/hybrid.h"
#include "decoder/kernel_select.h"
#include "decoder/lsf_scale_factors.h"
#include "decoder/reorder.h"
#include "decoder/reservoir.h"
#include "decoder/scale_factors.h"
#include "decoder/side_info.h"
#include "decoder/stereo.h"
#include "kernels/memory.h"

namespace mp3d {

int32_t Mp3_Decode_Info(MP3D_Decoder_State *state) {
    state->frame_start_bit = state->bits_consumed;
    int32_t status = decode_info(state);
    if (status != MP3D_OK) {
        HandleError(state);
        return status;
    }
    hdr_to_frps(state);
    const MP3D_Frame_Header &h = state->header;
    state->granules = (h.version == 0 || h.version == 2) ? 1 : 2;
    if (h.crc_present) getbits1(16, state);  // the check word is not verified
    if (h.layer == 3) {
        status = III_get_side_info(&state->side_info, state);
        if (status != MP3D_OK) {
            HandleError(state);
            return status;
        }
        status = III_main_data_position(state);
        if (status != MP3D_OK) return status;  // 37: no reset
    }
    state->channels = state->frame_params->channels;
    return MP3D_OK;
}

int32_t Mp3_Decode_Frame(int32_t *output, MP3D_Decoder_State *state) {
    const int gr = state->granule_index;
    const int channels = state->channels;
    const bool lsf = state->header.version == 0 || state->header.version == 2;
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
        int32_t *synthesis = state->synthesis_buffer + 768 * ch;
        for (int half = 0; half < 2; ++half) {
            int32_t *pcm = state->pcm_buffer + 288 * half;
            state->kernels->subband_dct9(x, half, synthesis);
            state->kernels->polyphase_window(synthesis, pcm, state->tables.window_lf);
        }
        // The shift to 16 bits (unless pcm_no_shift) is applied while
        // interleaving into the caller's buffer, in one pass over the 576 words.
        Mp3_pcm_deliver(output + ch, state->pcm_buffer, kSpectralWords, channels == 2 ? 2 : 1,
                        state->config->pcm_no_shift);
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

int32_t Mp2_Decode_End(MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    // Frame length from the bitrate: 144000 * kbit/s / Hz bytes (plus padding).
    // MPEG-2 LSF and MPEG-2.5 frames take their bitrate from the LSF row.
    const int32_t kbps = h.version == 1 ? state->MP2D_bitrate[1][h.bitrate_index]
                                        : state->tables.bitrate[h.version][h.bitrate_index];
    const int32_t numerator =
        h.bitrate_index == 0 ? state->free_format_bitrate * 1152 : kbps * 115200;
    const int32_t divisor = state->tables.s_freq[h.version][h.sampling_frequency] * 8 / 10;
    int32_t length = numerator / divisor;
    if (h.padding_bit) length += 1;
    // The target lies 12 bits short of the frame end; the next header search
    // covers the rest.
    int64_t skip = int64_t{8} * length -
                   static_cast<int64_t>(state->bits_consumed - state->frame_start_bit) - 12;
    while (skip > 0) {
        const int n = skip > 16 ? 16 : static_cast<int>(skip);
        getbits1(n, state);
        skip -= n;
    }
    if (hwrapbuf(state) != 0) {
        HandleError(state);
        return MP3D_ERROR_FRAME_END;
    }
    return MP3D_OK;
}

}  // namespace mp3d
