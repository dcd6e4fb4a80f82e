// Layer III main-data reservoir (ISO/IEC 11172-3, 2.4.3.4.4: main_data_begin
// may point back into the main data of earlier frames).
//
// Every frame's main-data bytes are appended to reservoir_buffer, and the
// granules are read from there. Positions are kept on a scale of their own:
// res_bits_consumed (bits) and main_data_end (bytes) are not buffer indices,
// so compaction can move bytes without touching them; once per 2048 bytes
// read both drop by 2048 bytes together. The next unread bit sits at bit
// 8 * res_read_index - res_bits_in_window of the buffer, and res_window holds
// the bytes at res_read_index - 4 .. res_read_index - 1 (the Huffman kernels
// rely on that representation).
#include "decoder/reservoir.h"

#include "decoder/bit_reader.h"
#include "decoder/decoder_reset.h"
#include "decoder/frame_header.h"
#include "decoder/side_info.h"
#include "kernels/memory.h"

namespace mp3d {

namespace {

// Unread bytes kept by compaction; main_data_begin reaches back at most 511.
constexpr int32_t kKeptBytes = 512;

// A reservoir byte; indices outside the buffer (reads that have run past the
// written data of a full buffer, or window bytes from before its start) read
// as 0 so that no access leaves the buffer.
inline uint32_t res_byte(const MP3D_Decoder_State *state, int32_t index) {
    return (index >= 0 && index < kReservoirBytes) ? state->reservoir_buffer[index] : 0u;
}

}  // namespace

int32_t main_data_slots(MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    int32_t slots;
    if (h.bitrate_index == 0) {
        slots = state->free_format_slots;
    } else {
        slots = 144000 * frame_bitrate_kbps(state) /
                state->tables.s_freq[h.version][h.sampling_frequency];
        if (is_lsf(h)) slots /= 2;
    }
    slots -= side_info_bytes(h, state->frame_params->channels);
    if (h.padding_bit) slots += 1;
    slots -= 4;
    if (h.crc_present) slots -= 2;
    return slots;
}

// Appends the next n stream bytes. The frame bit reader stands on a byte
// boundary: bytes already in its window are moved out of it first, the rest
// is copied from the input blocks in one block copy per block. The callback
// is asked for a new block only when more bytes are needed, so a frame that
// ends exactly at the end of the last block is complete and decodes; the end
// of input is then reported by the next call. At the end of input the append
// stops short (input_exhausted is set). Bytes that would not fit into the
// buffer are consumed from the stream but not stored.
void hputbuf(int32_t n, MP3D_Decoder_State *state) {
    if (n <= 0) return;
    int32_t room = kReservoirBytes - state->res_write_index;
    if (room < 0) room = 0;
    const int32_t keep = n < room ? n : room;
    uint8_t *const buffer = state->reservoir_buffer;
    int32_t taken = 0;

    while (taken < n && state->bits_in_window >= 8) {
        const uint32_t byte = (state->bit_window >> (state->bits_in_window - 8)) & 0xFFu;
        if (taken < keep) buffer[state->res_write_index++] = static_cast<uint8_t>(byte);
        state->bits_in_window -= 8;
        ++taken;
    }

    while (taken < n) {
        if (state->input_bytes_left <= 0) {
            // End of input met by the append: it only stops short and leaves
            // end_of_bitstream alone; the frame step sees input_exhausted
            // after the append and ends the stream there.
            if (state->input_exhausted || !next_input_block(state)) break;
        }
        const int32_t wanted = n - taken;
        const int32_t take = wanted < state->input_bytes_left ? wanted : state->input_bytes_left;
        int32_t store = keep - taken;
        if (store > take) store = take;
        if (store > 0) {
            Mp3_memcopy(buffer + state->res_write_index, state->input_read_ptr, store);
            state->res_write_index += store;
        }
        state->input_read_ptr += take;
        state->input_bytes_left -= take;
        taken += take;
    }

    state->bits_consumed += 8u * static_cast<uint32_t>(taken);
}

void hgetword(MP3D_Decoder_State *state) {
    state->res_bits_in_window += 16;
    // Loads never run more than 4 bytes past the written data.
    if (state->res_read_index - 2 > state->res_write_index)
        state->res_read_index = state->res_write_index + 2;
    const int32_t i = state->res_read_index;
    state->res_window =
        (state->res_window << 16) | (res_byte(state, i) << 8) | res_byte(state, i + 1);
    state->res_read_index = i + 2;
}

void hinitbuf(MP3D_Decoder_State *state) {
    while (state->res_bits_in_window <= 16) hgetword(state);
}

uint32_t hgetbits(int n, MP3D_Decoder_State *state) {
    if (n <= 0) return 0;
    if (n > 16) {
        const uint32_t high = hgetbits(n - 16, state);
        return (high << 16) | hgetbits(16, state);
    }
    // One load suffices whenever the count is not negative; the loop only
    // guards against a window that a kernel has overdrawn.
    while (state->res_bits_in_window <= 16) hgetword(state);
    state->res_bits_in_window -= n;
    state->res_bits_consumed += n;
    return (state->res_window >> state->res_bits_in_window) & ((1u << n) - 1u);
}

int32_t hsstell(const MP3D_Decoder_State *state) {
    return state->res_bits_consumed;
}

void hputbyte(MP3D_Decoder_State *state) {
    state->res_bits_in_window -= 8;
    if (state->res_read_index > 4) --state->res_read_index;
    state->res_window =
        (state->res_window >> 8) | (res_byte(state, state->res_read_index - 4) << 24);
}

// A negative count does nothing: only backward moves are defined.
void rewindNbits(int32_t n, MP3D_Decoder_State *state) {
    if (n < 0) return;
    state->res_bits_consumed -= n;
    // Whole multiples of 2048 bits move the position scale only (the
    // positioning step lowers the scale that way).
    state->res_bits_in_window += n % 2048;
    while (state->res_bits_in_window > 32) hputbyte(state);
}

void rewindNbytes(int32_t n, MP3D_Decoder_State *state) {
    if (n < 0 || n > 0x0FFFFFFF) return;
    rewindNbits(8 * n, state);
}

int32_t hwrapbuf(MP3D_Decoder_State *state) {
    const int32_t d = state->res_write_index - state->res_read_index;
    if (d < -4) return 1;  // the reader has run past the written data

    if (d > kKeptBytes) {
        // Drop the e oldest unread bytes: the read position advances by 8e
        // bits and the window is rebuilt around it.
        const int32_t e = d - kKeptBytes;
        state->res_bits_consumed += 8 * e;
        const int32_t b = state->res_bits_in_window - 8 * e;
        const int32_t q = b / 8;
        const int32_t r = b - 8 * q;
        state->res_read_index = state->res_read_index - q + 1;
        state->res_bits_in_window = r + 8;
        state->res_window = (res_byte(state, state->res_read_index - 2) << 8) |
                            res_byte(state, state->res_read_index - 1);
    }

    if (state->res_read_index > state->res_write_index) {
        // Bytes loaded past the written data are given back.
        state->res_bits_in_window -= 8 * (state->res_read_index - state->res_write_index);
        state->res_read_index = state->res_write_index;
        const int32_t i = state->res_read_index;
        state->res_window = (res_byte(state, i - 4) << 24) | (res_byte(state, i - 3) << 16) |
                            (res_byte(state, i - 2) << 8) | res_byte(state, i - 1);
    }

    // Keep the window bytes at 0..3 and the unloaded bytes behind them.
    uint8_t *const buffer = state->reservoir_buffer;
    const int32_t from = state->res_read_index;
    const int32_t count = state->res_write_index - from;
    if (count > 0) {
        if (from >= 4) {
            Mp3_memcopy(buffer + 4, buffer + from, count);
        } else {
            // Only right after a reset can fewer than four bytes precede the
            // read position; then the move goes up and must descend.
            for (int32_t k = count - 1; k >= 0; --k) buffer[4 + k] = buffer[from + k];
        }
    }
    const uint32_t w = state->res_window;
    buffer[0] = static_cast<uint8_t>(w >> 24);
    buffer[1] = static_cast<uint8_t>(w >> 16);
    buffer[2] = static_cast<uint8_t>(w >> 8);
    buffer[3] = static_cast<uint8_t>(w);
    state->res_write_index = (count > 0 ? count : 0) + 4;
    state->res_read_index = 4;
    return 0;
}

int32_t III_main_data_position(MP3D_Decoder_State *state) {
    const int32_t n = main_data_slots(state);
    if (n > kReservoirBytes - state->res_write_index) {
        // Only a hostile stream gets here (table bitrates need at most 1428
        // bytes and compaction keeps at most 519; free-format lengths are
        // checked when measured, but a later frame may change version or
        // layer): skip the frame's bytes and start the reservoir afresh.
        hputbuf(n, state);
        HandleError(state);
        return MP3D_ERROR_MAIN_DATA;
    }
    const int32_t written_before = state->res_write_index;
    hputbuf(n, state);
    const int32_t appended = state->res_write_index - written_before;
    hinitbuf(state);

    int32_t t = state->res_bits_consumed / 8;
    const int32_t partial = state->res_bits_consumed & 7;
    if (partial != 0) {
        hgetbits(8 - partial, state);
        t += 1;
    }
    // This frame's main data starts main_data_begin bytes before the end of
    // the data appended by earlier frames.
    const int32_t skip =
        state->main_data_end - t - static_cast<int32_t>(state->side_info.main_data_begin);
    if (t > kReservoirBytes) {
        state->main_data_end = static_cast<int16_t>(state->main_data_end - kReservoirBytes);
        rewindNbytes(kReservoirBytes, state);
    }
    state->main_data_end = static_cast<int16_t>(state->main_data_end + appended);

    if (skip < 0) {
        // The data is not (or no longer) held; this frame's bytes stay for
        // later frames.
        hwrapbuf(state);
        return MP3D_ERROR_MAIN_DATA;
    }
    for (int32_t i = 0; i < skip; ++i) hgetbits(8, state);
    return MP3D_OK;
}

}  // namespace mp3d
