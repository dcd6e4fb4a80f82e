#include "support/fenced_decode.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "support/bit_writer.h"

namespace mp3d_test {

FencedBuffer::FencedBuffer(size_t n, bool guard_before) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE)), pages = (n + page - 1) / page;
    map_bytes_ = (pages + 1) * page;
    void *m = mmap(nullptr, map_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED) throw std::runtime_error("mmap failed");
    map_ = static_cast<uint8_t *>(m);
    mprotect(guard_before ? map_ : map_ + pages * page, page, PROT_NONE);
    data_ = guard_before ? map_ + page : map_ + pages * page - n;
}

FencedRun decode_fenced(const std::vector<uint8_t> &stream, size_t block_size, bool guard_before) {
    FencedBuffer block(block_size, guard_before), out_mem(MP3D_MAX_OUTPUT_WORDS * 4, guard_before);
    struct Feed {
        MP3D_Decode_Config config;  // first: the callback gets back here
        const uint8_t *data;
        uint8_t *block;
        size_t size, pos, block_size, callbacks;
    } f{{}, stream.data(), block.data(), stream.size(), 0, block_size, 0};
    f.config.input_callback = [](const uint8_t **buffer, int32_t *left, MP3D_Decode_Config *c) {
        Feed *f = reinterpret_cast<Feed *>(c);
        const size_t n = std::min(f->block_size, f->size - f->pos);
        // The block ends (or starts) at the fence whatever its length.
        *buffer = std::copy_n(f->data + f->pos, n, f->block + (f->block_size - n)) - n;
        *left = static_cast<int32_t>(n);
        f->pos += n, f->callbacks++;
        return int32_t{0};
    };
    mp3d_query_dec_mem(&f.config);
    FencedBuffer chunk0(size_t(f.config.mem_info[0].size), guard_before),
        chunk1(size_t(f.config.mem_info[1].size), guard_before);
    f.config.mem_info[0].base = chunk0.data();
    f.config.mem_info[1].base = chunk1.data();
    f.config.pcm_no_shift = 1;
    const uint8_t first = 0;
    if (mp3d_decode_init(&f.config, &first) != MP3D_OK) throw std::runtime_error("init failed");

    FencedRun run;
    auto *out = reinterpret_cast<int32_t *>(out_mem.data());
    const int32_t canary = 0x7eadbeef;
    MP3D_Frame_Info current{};
    uint64_t idle = 0, last_callbacks = 0;
    for (;;) {
        std::fill(out, out + MP3D_MAX_OUTPUT_WORDS, canary);
        MP3D_Frame_Info info = current;
        info.layer = -1;
        FencedCall call{};
        call.code = mp3d_decode_frame(&f.config, &info, out);
        call.new_frame = info.layer != -1;
        call.info = current = call.new_frame ? info : current;
        for (size_t i = MP3D_MAX_OUTPUT_WORDS; i > 0 && call.words_written == 0; --i)
            if (out[i - 1] != canary) call.words_written = i;
        if (FencedRun::delivers_pcm(call.code))
            call.pcm.assign(out, out + (current.layer == 2 ? 1152 : 576) * current.num_channels);
        run.calls.push_back(std::move(call));
        if (run.calls.back().code == MP3D_END_OF_STREAM) break;
        idle = f.callbacks == last_callbacks ? idle + 1 : 0;
        last_callbacks = f.callbacks;
        if ((run.stalled = idle > 4 * block_size + 64)) break;
    }
    return run;
}

size_t frame_length_at(const std::vector<uint8_t> &s, size_t at) {
    if (at + 4 > s.size() || s[at] != 0xff || (s[at + 1] & 0xe0) != 0xe0) return 0;
    HeaderFields h;
    h.id = (s[at + 1] >> 3) & 3, h.layer_field = (s[at + 1] >> 1) & 3;
    h.bitrate_index = s[at + 2] >> 4, h.sampling_frequency = (s[at + 2] >> 2) & 3;
    h.padding_bit = (s[at + 2] >> 1) & 1;
    if (h.id == 1 || h.layer_field == 0 || h.bitrate_index == 15 || h.sampling_frequency == 3)
        return 0;
    if (h.bitrate_index != 0) return static_cast<size_t>(frame_bytes(h));
    // Free format: up to the next header of the same stream.
    for (size_t len = 5; at + len + 3 <= s.size(); ++len)
        if (std::equal(&s[at], &s[at + 2], &s[at + len]) && (s[at + len + 2] ^ s[at + 2]) < 4)
            return len;
    return s.size() - at;
}

std::vector<size_t> frame_offsets(const std::vector<uint8_t> &s) {
    std::vector<size_t> offsets;
    for (size_t at = 0, len; at + 4 <= s.size(); at += len ? len : 1)  // 1: tag or padding
        if ((len = frame_length_at(s, at)) != 0) offsets.push_back(at);
    return offsets;
}

}  // namespace mp3d_test
