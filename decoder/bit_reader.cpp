// Frame bit reader: delivers the stream most significant bit first out of the
// application's input blocks, pulled one block at a time through the input
// callback, and finds the next sync word.
//
// The window holds the last four bytes loaded (the most recent in the low
// byte); bits_in_window counts the unread bits from its low end. It is
// refilled 16 bits at a time, so it never holds more than 32 bits.
#include "decoder/bit_reader.h"

namespace mp3d {

int32_t next_input_block(MP3D_Decoder_State *state) {
    // A missing callback is treated like one that reports the end.
    if (state->input_callback != nullptr)
        state->input_callback(&state->input_buffer, &state->input_bytes_left, state->config);
    else
        state->input_bytes_left = 0;
    if (state->input_bytes_left <= 0 || state->input_buffer == nullptr) {
        state->input_bytes_left = 0;
        state->input_exhausted = 1;
        return 0;
    }
    state->input_read_ptr = state->input_buffer;
    return 1;
}

uint8_t readword(MP3D_Decoder_State *state) {
    if (state->input_bytes_left <= 0) {
        if (state->input_exhausted) {
            if (state->input_zero_bytes < 255) ++state->input_zero_bytes;
            return 0;
        }
        if (!next_input_block(state)) {
            // End of input met by the frame reader: it also ends the
            // bitstream (the header search stops on end_of_bitstream), and
            // every further byte reads as 0, counted in input_zero_bytes.
            state->end_of_bitstream = 1;
            state->input_zero_bytes = 1;
            return 0;
        }
    }
    --state->input_bytes_left;
    return *state->input_read_ptr++;
}

void getword(MP3D_Decoder_State *state) {
    state->bits_in_window += 16;
    state->bit_window = (state->bit_window << 8) | readword(state);
    state->bit_window = (state->bit_window << 8) | readword(state);
}

uint32_t getbits1_slow(int n, MP3D_Decoder_State *state) {
    if (n <= 0) return 0;
    if (n > 16) {
        // Wider reads are split so that the window never needs more than 32
        // bits; the result keeps the low 32 bits of the field.
        const uint32_t high = getbits1_slow(n - 16, state);
        return (high << 16) | getbits1_slow(16, state);
    }
    state->bits_consumed += static_cast<uint32_t>(n);
    if (state->bits_in_window <= 16) getword(state);
    state->bits_in_window -= n;
    return (state->bit_window >> state->bits_in_window) & ((1u << n) - 1u);
}

uint32_t sstell1(const MP3D_Decoder_State *state) {
    return state->bits_consumed;
}

int32_t end_bs1(const MP3D_Decoder_State *state) {
    return state->end_of_bitstream;
}

int seek_sync(uint32_t sync, int n, MP3D_Decoder_State *state) {
    // The pattern is tested only where it starts on a byte boundary of the
    // stream position: at the first boundary and at each of the next 300.
    const uint32_t misaligned = state->bits_consumed & 7u;
    if (misaligned != 0) getbits1(static_cast<int>(8u - misaligned), state);
    const uint32_t mask = n >= 32 ? ~0u : (1u << n) - 1u;
    uint32_t candidate = getbits1(n, state);
    int steps = 0;
    for (;;) {
        if ((candidate & mask) == sync) return state->end_of_bitstream ? 0 : 1;
        if (state->end_of_bitstream) return 0;
        candidate = (candidate << 8) | getbits1(8, state);
        if (++steps > 300) return 0;
    }
}

}  // namespace mp3d
