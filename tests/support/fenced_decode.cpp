#include "support/fenced_decode.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/bit_writer.h"

namespace mp3d_test {

FencedBuffer::FencedBuffer(size_t n, bool guard_before) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (n + page - 1) / page;
    map_bytes_ = (pages + 1) * page;
    void *m = mmap(nullptr, map_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED) throw std::runtime_error("mmap failed");
    map_ = static_cast<uint8_t *>(m);
    if (guard_before) {
        mprotect(map_, page, PROT_NONE);
        data_ = map_ + page;
    } else {
        mprotect(map_ + pages * page, page, PROT_NONE);
        data_ = map_ + pages * page - n;
    }
}

FencedBuffer::~FencedBuffer() {
    munmap(map_, map_bytes_);
}

std::vector<std::vector<int32_t>> FencedRun::ok_pcm() const {
    std::vector<std::vector<int32_t>> out;
    for (const FencedCall &c : calls)
        if (c.code == MP3D_OK) out.push_back(c.pcm);
    return out;
}

namespace {

struct Feed {
    MP3D_Decode_Config config;  // first: the callback gets back here
    const std::vector<uint8_t> *stream;
    size_t pos, block_size;
    FencedBuffer *block;
    uint64_t callbacks;
};

int32_t feed(const uint8_t **buffer, int32_t *left, MP3D_Decode_Config *config) {
    Feed *f = reinterpret_cast<Feed *>(config);
    f->callbacks++;
    const size_t n = std::min(f->block_size, f->stream->size() - f->pos);
    // The block ends (or starts) at the fence whatever its length.
    uint8_t *at = f->block->data() + (f->block_size - n);
    if (n > 0) std::memcpy(at, f->stream->data() + f->pos, n);
    f->pos += n;
    *buffer = at;
    *left = static_cast<int32_t>(n);
    return 0;
}

}  // namespace

FencedRun decode_fenced(const std::vector<uint8_t> &stream, size_t block_size, bool guard_before,
                        bool shift16) {
    FencedRun run;
    Feed f{};
    f.stream = &stream;
    f.block_size = block_size;
    f.config.input_callback = feed;
    mp3d_query_dec_mem(&f.config);
    FencedBuffer chunk0(static_cast<size_t>(f.config.mem_info[0].size), guard_before);
    FencedBuffer chunk1(static_cast<size_t>(f.config.mem_info[1].size), guard_before);
    FencedBuffer block(block_size, guard_before);
    FencedBuffer out_mem(MP3D_MAX_OUTPUT_WORDS * 4, guard_before);
    f.block = &block;
    f.config.mem_info[0].base = chunk0.data();
    f.config.mem_info[1].base = chunk1.data();
    f.config.pcm_no_shift = shift16 ? 0 : 1;
    const uint8_t first = 0;
    if (mp3d_decode_init(&f.config, &first) != MP3D_OK) throw std::runtime_error("init failed");

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
        if (call.new_frame) current = info;
        call.info = current;
        for (size_t i = MP3D_MAX_OUTPUT_WORDS; i > 0; --i)
            if (out[i - 1] != canary) {
                call.words_written = i;
                break;
            }
        if (call.code == MP3D_OK) {
            const size_t words =
                (current.layer == 2 ? 1152u : 576u) * static_cast<size_t>(current.num_channels);
            call.pcm.assign(out, out + std::min<size_t>(words, MP3D_MAX_OUTPUT_WORDS));
        }
        run.calls.push_back(std::move(call));
        if (run.calls.back().code == MP3D_END_OF_STREAM) break;
        if (f.callbacks != last_callbacks) {
            last_callbacks = f.callbacks;
            idle = 0;
        } else if (++idle > 4 * block_size + 64) {
            run.stalled = true;
            break;
        }
    }
    return run;
}

size_t frame_length_at(const std::vector<uint8_t> &s, size_t at) {
    if (at + 4 > s.size() || s[at] != 0xff || (s[at + 1] & 0xe0) != 0xe0) return 0;
    HeaderFields h;
    h.id = (s[at + 1] >> 3) & 3;
    h.layer_field = (s[at + 1] >> 1) & 3;
    h.bitrate_index = s[at + 2] >> 4;
    h.sampling_frequency = (s[at + 2] >> 2) & 3;
    h.padding_bit = (s[at + 2] >> 1) & 1;
    if (h.id == 1 || h.layer_field == 0 || h.bitrate_index == 15 || h.sampling_frequency == 3)
        return 0;
    if (h.bitrate_index != 0) return static_cast<size_t>(frame_bytes(h));
    // Free format: up to the next header of the same stream.
    for (size_t len = 5; at + len + 3 <= s.size(); ++len)
        if (s[at + len] == s[at] && s[at + len + 1] == s[at + 1] &&
            (s[at + len + 2] & 0xfc) == (s[at + 2] & 0xfc))
            return len;
    return s.size() - at;
}

std::vector<size_t> frame_offsets(const std::vector<uint8_t> &s) {
    std::vector<size_t> offsets;
    for (size_t at = 0; at + 4 <= s.size();) {
        const size_t len = frame_length_at(s, at);
        if (len == 0) {
            ++at;  // not a header: leading tag or padding
            continue;
        }
        offsets.push_back(at);
        at += len;
    }
    return offsets;
}

std::vector<uint8_t> read_fixture(const std::string &relative_path) {
    std::ifstream in(std::string(MP3D_SOURCE_DIR) + "/" + relative_path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

}  // namespace mp3d_test
