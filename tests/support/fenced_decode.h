// Test helper: decodes a stream with chunk 0, chunk 1, every input block and
// the output area each placed right against an inaccessible page, so that
// any access outside them faults. Records every call. It has its own decode
// loop rather than the harness's (tools/harness/decode_run.h): the harness
// allocates ordinary aligned buffers and copies the output, where this one
// must own every buffer's placement and see each call's words in place.
#ifndef MP3D_TEST_FENCED_DECODE_H
#define MP3D_TEST_FENCED_DECODE_H

#include <sys/mman.h>

#include <string>
#include <vector>

#include "mp3d.h"

namespace mp3d_test {

// n bytes whose last byte is followed (or, with guard_before, whose first
// byte is preceded) by an inaccessible page.
struct FencedBuffer {
    FencedBuffer(size_t n, bool guard_before);
    ~FencedBuffer() { munmap(map_, map_bytes_); }
    FencedBuffer(const FencedBuffer &) = delete;
    uint8_t *data() const { return data_; }
    uint8_t *map_ = nullptr, *data_ = nullptr;
    size_t map_bytes_ = 0;
};

struct FencedCall {
    int32_t code;
    bool new_frame;            // the call reported frame parameters
    MP3D_Frame_Info info;      // the frame the call belongs to
    std::vector<int32_t> pcm;  // the words of a call that delivered PCM (0, 38, 40)
    size_t words_written;      // highest output word changed, plus one
};

struct FencedRun {
    std::vector<FencedCall> calls;
    bool stalled = false;  // many calls in a row without input consumed
    // The PCM of all calls that delivered some, one entry per call.
    std::vector<std::vector<int32_t>> ok_pcm() const {
        std::vector<std::vector<int32_t>> out;
        for (const FencedCall &c : calls)
            if (delivers_pcm(c.code)) out.push_back(c.pcm);
        return out;
    }
    // The return codes that come with a granule's or frame's PCM.
    static bool delivers_pcm(int32_t code) {
        return code == MP3D_OK || code == MP3D_ERROR_FRAME_END || code == MP3D_ERROR_HUFFMAN;
    }
};

// Decodes to the end of the stream with block_size-byte input blocks and
// 24-bit output (pcm_no_shift).
FencedRun decode_fenced(const std::vector<uint8_t> &stream, size_t block_size, bool guard_before);

// Length of the frame whose header starts at `at` (free format: up to the
// next header of the same stream); 0 when no usable header starts there.
size_t frame_length_at(const std::vector<uint8_t> &stream, size_t at);
// Start offsets of the frames of a valid stream, by walking its headers.
std::vector<size_t> frame_offsets(const std::vector<uint8_t> &stream);

}  // namespace mp3d_test

#endif
