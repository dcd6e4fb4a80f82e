// Frame header parsing (ISO/IEC 11172-3, 2.4.1.3; ISO/IEC 13818-3 and the
// MPEG-2.5 extension for the version field), the values derived from the
// header, and the length measurement of free-format frames.
#include "decoder/frame_header.h"

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "decoder/mp2_alloc_table.h"
#include "decoder/side_info.h"
#include "tables/stream_tables.h"

namespace mp3d {

namespace {

constexpr uint32_t kSyncWord = 2047;  // eleven 1 bits
constexpr int kSyncBits = 11;
// A free-format frame is measured up to this distance from its header.
constexpr uint32_t kFreeFormatSearchBits = 13824;
// Largest main-data block the reservoir can take on top of what compaction
// keeps: 512 unloaded bytes, up to 3 more whose bits were still unread in the
// reader's window, and the 4 window bytes.
constexpr int32_t kMaxFreeFormatMainData = kReservoirBytes - 519;

}  // namespace

int32_t get_frame_params(MP3D_Frame_Header *header, MP3D_Decoder_State *state) {
    if (!seek_sync(kSyncWord, kSyncBits, state)) return MP3D_ERROR_SYNC;

    // ID: 3 MPEG-1, 2 MPEG-2 LSF, 0 MPEG-2.5, 1 reserved.
    const uint32_t id = getbits1(2, state);
    if (id == 1) {
        HandleError(state);
        return MP3D_ERROR_VERSION;
    }
    header->version = static_cast<int16_t>(id == 3 ? 1 : (id == 2 ? 0 : 2));

    header->layer = static_cast<int16_t>(4 - static_cast<int>(getbits1(2, state)));
    if (header->layer != 3 && header->layer != 2) return MP3D_ERROR_LAYER;

    header->crc_present = static_cast<int16_t>(1 - static_cast<int>(getbits1(1, state)));

    header->bitrate_index = static_cast<int16_t>(getbits1(4, state));
    if (header->bitrate_index == 15) return MP3D_ERROR_BITRATE;

    header->sampling_frequency = static_cast<int16_t>(getbits1(2, state));
    if (header->sampling_frequency == 3) return MP3D_ERROR_SAMPLING_FREQ;

    header->padding_bit = static_cast<int16_t>(getbits1(1, state));
    return MP3D_OK;
}

// Measures the first free-format frame as the distance to the next
// free-format header. Both positions lie just behind a padding bit, so their
// distance is one frame. On success the stream stands inside the following
// frame's header and the header record holds that frame's fields: decoding
// continues with it, the measured frame is not decoded.
int32_t handle_free_bitrate(MP3D_Decoder_State *state) {
    MP3D_Frame_Header *header = &state->header;
    const uint32_t start = state->bits_consumed;
    // The padding of the frame being measured: headers rejected on the way
    // (fixed-bitrate candidates inside the frame) overwrite the record.
    const int padding = header->padding_bit;
    while (!state->end_of_bitstream) {
        const int32_t status = get_frame_params(header, state);
        // Unsigned distance: a reset inside the search (reserved version id)
        // restarts the position count, which reads as a huge distance and ends
        // the search.
        const uint32_t distance = state->bits_consumed - start;
        if (status == MP3D_OK && header->bitrate_index == 0) {
            int32_t bytes = static_cast<int32_t>(distance / 8);
            if (padding == 1) bytes -= 1;
            const int32_t rate = state->tables.s_freq[header->version][header->sampling_frequency];
            // Layer III frames of this length must fit the reservoir; the
            // check assumes the largest main data that any frame of that
            // length can carry (one channel, padded, no check word).
            if (header->layer == 3) {
                const int32_t side_info = side_info_bytes(*header, 1);
                if (bytes + 1 - side_info - 4 > kMaxFreeFormatMainData)
                    return MP3D_ERROR_FREE_FORMAT;
            }
            int32_t kbps = bytes * rate / 144000;
            if (144000 * kbps / rate != bytes) kbps += 1;  // round up
            state->free_format_slots = static_cast<int16_t>(bytes);
            state->free_format_bitrate = kbps;
            return MP3D_OK;
        }
        if (distance > kFreeFormatSearchBits) break;
    }
    return state->end_of_bitstream ? MP3D_ERROR_SYNC : MP3D_ERROR_FREE_FORMAT;
}

int32_t decode_info(MP3D_Decoder_State *state) {
    MP3D_Frame_Header *header = &state->header;
    const int32_t status = get_frame_params(header, state);
    if (status != MP3D_OK) return status;

    if (header->bitrate_index == 0 && state->free_format_slots == 0) {
        if (handle_free_bitrate(state) != MP3D_OK) return MP3D_ERROR_FREE_FORMAT;
    }

    header->private_bit = static_cast<int16_t>(getbits1(1, state));
    header->mode = static_cast<int16_t>(getbits1(2, state));
    header->mode_extension = static_cast<int16_t>(getbits1(2, state));
    header->copyright = static_cast<int16_t>(getbits1(1, state));
    header->original = static_cast<int16_t>(getbits1(1, state));
    header->emphasis = static_cast<int16_t>(getbits1(2, state));

    if (header->layer == 2) {
        MP3D_Frame_Params *params = state->frame_params;
        params->channels = header_channels(*header);
        params->sb_limit = static_cast<int16_t>(MP2D_pick_table(state));
        // Joint stereo: the bound comes from mode_extension (Layer II row of
        // the 3 x 4 table).
        params->js_bound =
            header->mode == 1
                ? static_cast<int16_t>(state->mp2_tables->jsb_table[4 + header->mode_extension])
                : params->sb_limit;
    }
    return MP3D_OK;
}

int confirm_next_header(MP3D_Decoder_State *state) {
    const uint32_t misaligned = state->bits_consumed & 7u;
    if (misaligned != 0) getbits1(static_cast<int>(8u - misaligned), state);
    // Bits in the window are unread whole bytes here; top it up to four.
    while (state->bits_in_window < 32) {
        state->bit_window = (state->bit_window << 8) | readword(state);
        state->bits_in_window += 8;
    }
    // Bytes read past the end of input all follow the real ones: more than
    // four means the frame itself was cut short.
    const int fake = state->input_exhausted ? state->input_zero_bytes : 0;
    if (fake > 4) return 0;
    const int real = 4 - fake;
    if (real == 0) return 1;  // the input ends exactly with this frame

    const MP3D_Frame_Header &h = state->header;
    const uint32_t id = h.version == 1 ? 3u : (h.version == 0 ? 2u : 0u);
    const uint32_t want = 0xFFE00000u | id << 19 | static_cast<uint32_t>(4 - h.layer) << 17 |
                          static_cast<uint32_t>(h.sampling_frequency) << 10;
    // Sync, version, layer; sampling frequency. Only the fields that the
    // input still delivered are compared.
    const uint32_t fields[4] = {0xFF000000u, 0xFFFE0000u, 0xFFFE0C00u, 0xFFFE0C00u};
    const uint32_t word = state->bit_window;
    if (((word ^ want) & fields[real - 1]) != 0) return 0;
    if (real >= 3) {
        const uint32_t bitrate_index = (word >> 12) & 15u;
        if (bitrate_index == 15) return 0;
        if ((bitrate_index == 0) != (h.bitrate_index == 0)) return 0;
    }
    return 1;
}

void reject_searched_frame(MP3D_Decoder_State *state) {
    const uint32_t window = state->bit_window;
    // The whole unread bytes (a frame that read past its end may stand inside
    // a byte, whose rest is dropped).
    const int32_t bits = state->input_exhausted ? 0 : state->bits_in_window & ~7;
    HandleError(state);
    // bits_consumed is 0 again: the kept bytes stand on byte boundaries.
    state->bit_window = window;
    state->bits_in_window = bits;
}

int32_t frame_bitrate_kbps(const MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    // Layer II of MPEG-1 has its own row; Layer III, and Layer II of MPEG-2
    // LSF and MPEG-2.5, take the row of their version.
    if (h.layer == 2 && !is_lsf(h)) return state->MP2D_bitrate[1][h.bitrate_index];
    return state->tables.bitrate[h.version][h.bitrate_index];
}

void hdr_to_frps(MP3D_Decoder_State *state) {
    state->frame_params->channels = header_channels(state->header);
}

}  // namespace mp3d
