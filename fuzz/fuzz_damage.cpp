// Fuzz target: valid streams, damaged. The corpus starts from the fixtures;
// a custom mutator damages them the way transmission and storage do: bit
// flips, cut-outs, duplicated, dropped and spliced frames, changed header
// fields, garbage between frames. Each input is a complete stream, so a
// finding reproduces from its file alone. The block size and output format
// come from a hash of the input.
#include <algorithm>

#include "fuzz_common.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace {

uint32_t next(uint32_t &s) {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    return s;
}

// Offsets of everything that looks like a frame header (12-bit sync).
std::vector<size_t> headers(const uint8_t *d, size_t n) {
    std::vector<size_t> h;
    for (size_t i = 0; i + 4 <= n; ++i)
        if (d[i] == 0xff && (d[i + 1] & 0xe0) == 0xe0) h.push_back(i);
    return h;
}

size_t pick_boundary(const std::vector<size_t> &h, size_t n, uint32_t &s) {
    return h.empty() ? next(s) % (n + 1) : h[next(s) % h.size()];
}

// Length of the frame starting at header offset i: up to the next header.
size_t frame_len(const std::vector<size_t> &h, size_t idx, size_t n) {
    return (idx + 1 < h.size() ? h[idx + 1] : n) - h[idx];
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size,
                                          unsigned int seed) {
    uint32_t s = seed | 1;
    std::vector<uint8_t> v(data, data + size);
    const std::vector<size_t> h = headers(data, size);
    switch (next(s) % 8) {
        case 0: {  // flip a few bits
            if (v.empty()) break;
            for (uint32_t k = 1 + next(s) % 8; k; --k) v[next(s) % v.size()] ^= 1u << (next(s) % 8);
            break;
        }
        case 1: {  // cut out a range
            if (v.empty()) break;
            const size_t at = next(s) % v.size();
            const size_t len = 1 + next(s) % std::min<size_t>(v.size() - at, 2048);
            v.erase(v.begin() + at, v.begin() + at + len);
            break;
        }
        case 2: {  // duplicate a frame at another frame boundary
            if (h.empty()) break;
            const size_t i = next(s) % h.size();
            std::vector<uint8_t> f(v.begin() + h[i], v.begin() + h[i] + frame_len(h, i, size));
            const size_t at = pick_boundary(h, size, s);
            v.insert(v.begin() + at, f.begin(), f.end());
            break;
        }
        case 3: {  // drop a frame
            if (h.empty()) break;
            const size_t i = next(s) % h.size();
            v.erase(v.begin() + h[i], v.begin() + h[i] + frame_len(h, i, size));
            break;
        }
        case 4: {  // change one header field: version, layer, protection,
                   // bitrate, sampling frequency, padding, mode, mode extension
            if (h.empty()) break;
            const size_t at = h[next(s) % h.size()];
            static const struct {
                uint8_t byte, mask;
            } fields[] = {{1, 0x18}, {1, 0x06}, {1, 0x01}, {2, 0xf0},
                          {2, 0x0c}, {2, 0x02}, {3, 0xc0}, {3, 0x30}};
            const auto &fl = fields[next(s) % 8];
            v[at + fl.byte] =
                static_cast<uint8_t>((v[at + fl.byte] & ~fl.mask) | (next(s) & fl.mask));
            break;
        }
        case 5: {  // garbage, or a lone sync word, between frames
            const size_t at = pick_boundary(h, size, s);
            std::vector<uint8_t> g(1 + next(s) % 64);
            for (auto &b : g) b = static_cast<uint8_t>(next(s));
            if (next(s) & 1) g[0] = 0xff, g[g.size() > 1 ? 1 : 0] |= 0xe0;
            v.insert(v.begin() + at, g.begin(), g.end());
            break;
        }
        case 6: {  // overwrite a frame's side information with random bytes
            if (h.empty()) break;
            const size_t i = next(s) % h.size();
            const size_t len = frame_len(h, i, size);
            for (size_t k = 4; k < std::min<size_t>(len, 40); ++k)
                if (next(s) % 4 == 0) v[h[i] + k] = static_cast<uint8_t>(next(s));
            break;
        }
        default:
            return LLVMFuzzerMutate(data, size, max_size);
    }
    if (v.size() > max_size) v.resize(max_size);
    std::copy(v.begin(), v.end(), data);
    return v.size();
}

// Splices two streams at frame boundaries: the head of one, the tail of the
// other (for instance Layer III into Layer II and back).
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t *d1, size_t n1, const uint8_t *d2,
                                            size_t n2, uint8_t *out, size_t max_out,
                                            unsigned int seed) {
    uint32_t s = seed | 1;
    const size_t a = pick_boundary(headers(d1, n1), n1, s);
    const size_t b = pick_boundary(headers(d2, n2), n2, s);
    const size_t head = std::min(a, max_out);
    const size_t tail = std::min(n2 - b, max_out - head);
    std::memcpy(out, d1, head);
    std::memcpy(out + head, d2 + b, tail);
    return head + tail;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    uint32_t hash = 2166136261u;
    for (size_t i = 0; i < size; i += 61) hash = (hash ^ data[i]) * 16777619u;
    const uint8_t sizes[2] = {static_cast<uint8_t>(hash >> 8), static_cast<uint8_t>(hash >> 16)};
    mp3d_fuzz::decode_checked(data, size, sizes, 2, hash & 1);
    return 0;
}
