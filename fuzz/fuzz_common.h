// Shared by the fuzz targets: decodes a byte string through the public API
// with every buffer the decoder may touch allocated at its exact size, and
// aborts on anything the decoder promises never to do. Its own decode loop
// rather than the harness's (tools/harness/decode_run.h): exact-size buffers
// for the sanitizers, checks on every call's code and words, and no
// dependence on the harness library in the fuzz binaries.
#ifndef MP3D_FUZZ_COMMON_H
#define MP3D_FUZZ_COMMON_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "mp3d.h"

namespace mp3d_fuzz {

#define MP3D_FUZZ_CHECK(cond)                                                             \
    do {                                                                                  \
        if (!(cond)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                 \
        }                                                                                 \
    } while (0)

inline bool code_in_table(int32_t code) {
    switch (code) {
        case MP3D_OK:
        case MP3D_END_OF_STREAM:
        case MP3D_ERROR_LAYER:
        case MP3D_ERROR_SAMPLING_FREQ:
        case MP3D_ERROR_BITRATE:
        case MP3D_ERROR_SIDE_INFO:
        case MP3D_ERROR_SYNC:
        case MP3D_ERROR_MAIN_DATA:
        case MP3D_ERROR_FRAME_END:
        case MP3D_ERROR_FREE_FORMAT:
        case MP3D_ERROR_HUFFMAN:
        case MP3D_ERROR_VERSION:
            return true;
        default:
            return false;
    }
}

// The application record: the decoder hands the config back to the
// callback, which reaches the rest through it.
struct Feed {
    MP3D_Decode_Config config;
    const uint8_t *data;
    size_t size, pos;
    const uint8_t *sizes;  // block-size schedule, cycled
    size_t nsizes, next_size;
    uint8_t *block;  // the current block: a heap copy of exactly its length
    bool ended;
    uint64_t callbacks;
};

inline int32_t feed_callback(const uint8_t **buffer, int32_t *left, MP3D_Decode_Config *config) {
    Feed *f = reinterpret_cast<Feed *>(config);
    MP3D_FUZZ_CHECK(!f->ended);  // never called again after the end
    f->callbacks++;
    // The previous block is released: any later read of it is a fault.
    std::free(f->block);
    f->block = nullptr;
    if (f->pos >= f->size) {
        f->ended = true;
        *buffer = nullptr;
        *left = 0;
        return 0;
    }
    size_t n = f->nsizes ? 1 + f->sizes[f->next_size++ % f->nsizes] * 16u +
                               (f->sizes[(f->next_size) % f->nsizes] & 15u)
                         : 4096;
    if (n > f->size - f->pos) n = f->size - f->pos;
    f->block = static_cast<uint8_t *>(std::malloc(n));
    std::memcpy(f->block, f->data + f->pos, n);
    f->pos += n;
    *buffer = f->block;
    *left = static_cast<int32_t>(n);
    return 0;
}

// Decodes `data` to the end with blocks sized from `sizes` (each entry
// gives 1 + 16*s + low nibble of the next: 1 to 4096 bytes; empty: 4096).
// Checks every call: a return code from the table; no word written beyond
// what the call's frame format allows; every word written, within 16 or 24
// bits, by a call that delivers PCM (0, 38, 40);
// progress (the input is consumed: no hang). Returns the number of calls.
inline size_t decode_checked(const uint8_t *data, size_t size, const uint8_t *sizes, size_t nsizes,
                             bool pcm_no_shift) {
    Feed f{};
    f.data = data;
    f.size = size;
    f.sizes = sizes;
    f.nsizes = nsizes;
    f.config.input_callback = feed_callback;
    MP3D_FUZZ_CHECK(mp3d_query_dec_mem(&f.config) == MP3D_OK);
    void *chunk[2];
    for (int i = 0; i < 2; ++i) {
        chunk[i] = std::aligned_alloc(
            16, (static_cast<size_t>(f.config.mem_info[i].size) + 15) & ~size_t{15});
        f.config.mem_info[i].base = chunk[i];
    }
    f.config.pcm_no_shift = pcm_no_shift ? 1 : 0;
    static const uint8_t first = 0;
    MP3D_FUZZ_CHECK(mp3d_decode_init(&f.config, &first) == MP3D_OK);

    const int32_t canary = 0x5a5a5a5a;
    int32_t *out = static_cast<int32_t *>(std::malloc(MP3D_MAX_OUTPUT_WORDS * sizeof(int32_t)));
    const int32_t limit = pcm_no_shift ? (1 << 23) : (1 << 15);
    size_t allowed = 0;  // words of the frame format last reported
    size_t calls = 0, idle = 0;
    uint64_t last_callbacks = 0;
    for (;;) {
        for (int i = 0; i < MP3D_MAX_OUTPUT_WORDS; ++i) out[i] = canary;
        MP3D_Frame_Info info;
        std::memset(&info, 0xff, sizeof info);
        const int32_t code = mp3d_decode_frame(&f.config, &info, out);
        ++calls;
        MP3D_FUZZ_CHECK(code_in_table(code));
        if (info.layer != -1) {
            MP3D_FUZZ_CHECK(info.layer == 2 || info.layer == 3);
            MP3D_FUZZ_CHECK(info.num_channels == 1 || info.num_channels == 2);
            allowed = static_cast<size_t>(info.layer == 2 ? 1152 : 576) *
                      static_cast<size_t>(info.num_channels);
        }
        for (size_t i = allowed; i < MP3D_MAX_OUTPUT_WORDS; ++i) MP3D_FUZZ_CHECK(out[i] == canary);
        // The codes that deliver PCM write every word of the format (the
        // canary lies outside both sample ranges).
        if (code == MP3D_OK || code == MP3D_ERROR_FRAME_END || code == MP3D_ERROR_HUFFMAN)
            for (size_t i = 0; i < allowed; ++i)
                MP3D_FUZZ_CHECK(out[i] >= -limit && out[i] < limit);
        if (code == MP3D_END_OF_STREAM) break;
        // A working decoder consumes input on all but a few calls in a row.
        if (f.callbacks != last_callbacks) {
            last_callbacks = f.callbacks;
            idle = 0;
        } else {
            MP3D_FUZZ_CHECK(++idle <= 4 * 4096 + 64);
        }
    }
    std::free(out);
    std::free(f.block);
    std::free(chunk[0]);
    std::free(chunk[1]);
    return calls;
}

}  // namespace mp3d_fuzz

#endif
