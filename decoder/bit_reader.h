// Frame bit reader over the application's input blocks, and the sync search.
#ifndef MP3D_BIT_READER_H
#define MP3D_BIT_READER_H

#include "decoder/decoder_state.h"

namespace mp3d {

// Asks the input callback for the next block, to be read from
// input_read_ptr. Returns 1 when it delivered one; 0 at the end of input (no
// callback, no block or an empty one), which sets input_exhausted: the
// callback is not asked again. Each caller decides what else the end means.
int32_t next_input_block(MP3D_Decoder_State *state);
uint8_t readword(MP3D_Decoder_State *state);  // next input byte, 0 at the end
void getword(MP3D_Decoder_State *state);      // two more bytes into the window
// getbits1 for every case: reads wider than 16 bits, n <= 0, and refills that
// reach the end of the input block (and so may call the input callback).
uint32_t getbits1_slow(int n, MP3D_Decoder_State *state);
uint32_t sstell1(const MP3D_Decoder_State *state);  // bits_consumed
int32_t end_bs1(const MP3D_Decoder_State *state);   // end_of_bitstream
// 1 when the n-bit pattern was found at one of the next 301 byte boundaries.
int seek_sync(uint32_t sync, int n, MP3D_Decoder_State *state);

// Next n bits (1..16), MSB first. The window is refilled 16 bits at a time
// whenever it holds 16 bits or fewer before a read. Inline for the common case
// (a read of 1..16 bits whose refill, if any, finds two bytes in the current
// block); everything else goes through getbits1_slow. Both leave the reader
// in the same state.
inline uint32_t getbits1(int n, MP3D_Decoder_State *state) {
    if (static_cast<unsigned>(n) - 1u >= 16u) return getbits1_slow(n, state);
    int32_t bits = state->bits_in_window;
    uint32_t window = state->bit_window;
    if (bits <= 16) {
        if (state->input_bytes_left < 2) return getbits1_slow(n, state);
        const uint8_t *p = state->input_read_ptr;
        window = (window << 16) | (uint32_t{p[0]} << 8) | p[1];
        state->input_read_ptr = p + 2;
        state->input_bytes_left -= 2;
        state->bit_window = window;
        bits += 16;
    }
    bits -= n;
    state->bits_in_window = bits;
    state->bits_consumed += static_cast<uint32_t>(n);
    return (window >> bits) & ((1u << n) - 1u);
}

// The frame bit reader held in locals for a run of reads (a whole Layer II
// granule or more): the compiler keeps it in registers instead of reloading
// the state after every store to a sample buffer. Each get() does exactly what
// getbits1 does, so after store() the state is the same as after the same
// getbits1 calls. Between load and store nothing else may use the reader.
//
// The stream position is not counted per read: a read moves bits out of the
// window and a refill moves 16 bits from the block into it, so
// bits_consumed + bits_in_window + 8 * input_bytes_left stays the same
// between refills through readword (origin, in wrapping arithmetic).
struct BitCursor {
    uint32_t window;
    int32_t bits;
    const uint8_t *ptr;
    int32_t left;
    uint32_t origin;

    explicit BitCursor(const MP3D_Decoder_State *state)
        : window(state->bit_window),
          bits(state->bits_in_window),
          ptr(state->input_read_ptr),
          left(state->input_bytes_left),
          origin(state->bits_consumed + static_cast<uint32_t>(bits) +
                 8u * static_cast<uint32_t>(left)) {}

    void store(MP3D_Decoder_State *state) const {
        state->bit_window = window;
        state->bits_in_window = bits;
        state->bits_consumed =
            origin - static_cast<uint32_t>(bits) - 8u * static_cast<uint32_t>(left);
        state->input_read_ptr = ptr;
        state->input_bytes_left = left;
    }

    // n from 1 to 16.
    uint32_t get(int n, MP3D_Decoder_State *state) {
        if (bits <= 16) {
            if (left >= 2) {
                window = (window << 16) | (uint32_t{ptr[0]} << 8) | ptr[1];
                ptr += 2;
                left -= 2;
                bits += 16;
            } else {
                refill(state);
            }
        }
        bits -= n;
        return (window >> bits) & ((1u << n) - 1u);
    }

  private:
    // The refill through readword (end of block: callback, end of input).
    void refill(MP3D_Decoder_State *state) {
        store(state);
        getword(state);
        *this = BitCursor(state);
    }
};

// Runs body(get), where get(n) reads n bits (1..16) like getbits1, for a run
// of reads that takes at most max_bits bits. The refills of such a run take
// at most max_bits / 8 + 4 bytes; when the current block holds these and two
// more (each refill looks at the next two bytes), the refills need not look
// for the end of the block and run without branches on the window held in
// plain locals. Otherwise get() is the cursor's full read.
template <class Body>
inline void read_run(BitCursor *bits, int32_t max_bits, MP3D_Decoder_State *state, Body body) {
    if (bits->left >= (max_bits >> 3) + 6) {
        uint32_t window = bits->window;
        int32_t count = bits->bits;
        const uint8_t *const start = bits->ptr;
        const uint8_t *p = start;
        auto get = [&](int n) -> uint32_t {
            const uint32_t fresh = (window << 16) | (uint32_t{p[0]} << 8) | p[1];
            const bool empty = count <= 16;
            window = empty ? fresh : window;
            p += empty ? 2 : 0;
            count += empty ? 16 : 0;
            count -= n;
            return (window >> count) & ((1u << n) - 1u);
        };
        body(get);
        bits->window = window;
        bits->bits = count;
        bits->ptr = p;
        bits->left -= static_cast<int32_t>(p - start);
    } else {
        auto get = [&](int n) { return bits->get(n, state); };
        body(get);
    }
}

}  // namespace mp3d

#endif
