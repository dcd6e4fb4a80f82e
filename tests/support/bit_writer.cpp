#include "support/bit_writer.h"

#include <stdexcept>

namespace mp3d_test {

void BitWriter::put(uint32_t value, int n) {
    if (n < 0 || n > 32) throw std::invalid_argument("bit count out of range");
    for (int i = n - 1; i >= 0; --i) {
        if (bits_ % 8 == 0) bytes_.push_back(0);
        const uint32_t bit = (value >> i) & 1u;
        bytes_.back() = static_cast<uint8_t>(bytes_.back() | (bit << (7 - bits_ % 8)));
        ++bits_;
    }
}

void BitWriter::put_bytes(const std::vector<uint8_t> &bytes) {
    for (uint8_t b : bytes) put_byte(b);
}

void BitWriter::fill(uint8_t value, size_t count) {
    if (bits_ % 8 != 0) throw std::logic_error("fill needs a byte-aligned writer");
    bytes_.insert(bytes_.end(), count, value);
    bits_ += 8 * count;
}

void BitWriter::align() {
    if (bits_ % 8 != 0) put(0, static_cast<int>(8 - bits_ % 8));
}

void put_header(BitWriter &w, const HeaderFields &f) {
    w.put(0x7FF, 11);
    w.put(static_cast<uint32_t>(f.id), 2);
    w.put(static_cast<uint32_t>(f.layer_field), 2);
    w.put(static_cast<uint32_t>(f.protection_bit), 1);
    w.put(static_cast<uint32_t>(f.bitrate_index), 4);
    w.put(static_cast<uint32_t>(f.sampling_frequency), 2);
    w.put(static_cast<uint32_t>(f.padding_bit), 1);
    w.put(static_cast<uint32_t>(f.private_bit), 1);
    w.put(static_cast<uint32_t>(f.mode), 2);
    w.put(static_cast<uint32_t>(f.mode_extension), 2);
    w.put(static_cast<uint32_t>(f.copyright), 1);
    w.put(static_cast<uint32_t>(f.original), 1);
    w.put(static_cast<uint32_t>(f.emphasis), 2);
}

int sample_rate_hz(int id, int sf) {
    static const int mpeg1[3] = {44100, 48000, 32000};
    if (sf < 0 || sf > 2) return 0;
    switch (id) {
        case 3:
            return mpeg1[sf];
        case 2:
            return mpeg1[sf] / 2;
        case 0:
            return mpeg1[sf] / 4;
        default:
            return 0;
    }
}

int bitrate_kbps(int id, int layer, int index) {
    // ISO/IEC 11172-3 Table 3-B.3 (MPEG-1) and ISO/IEC 13818-3 (lower
    // sampling frequencies, also used by MPEG-2.5).
    static const int mpeg1[3][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    };
    static const int lsf_layer1[15] = {0,   32,  48,  56,  64,  80,  96, 112,
                                       128, 144, 160, 176, 192, 224, 256};
    static const int lsf_layer23[15] = {0,  8,  16, 24,  32,  40,  48, 56,
                                        64, 80, 96, 112, 128, 144, 160};
    if (index < 0 || index > 14 || layer < 1 || layer > 3) return 0;
    if (id == 3) return mpeg1[layer - 1][index];
    return layer == 1 ? lsf_layer1[index] : lsf_layer23[index];
}

int frame_bytes(const HeaderFields &f) {
    const int layer = 4 - f.layer_field;
    const int rate = sample_rate_hz(f.id, f.sampling_frequency);
    const int kbps = bitrate_kbps(f.id, layer, f.bitrate_index);
    if (rate == 0 || kbps == 0) return 0;
    if (layer == 1) return (12000 * kbps / rate + f.padding_bit) * 4;
    // Layer III of MPEG-2 LSF and MPEG-2.5 has 576 samples per frame.
    const int samples = (layer == 3 && f.id != 3) ? 576 : 1152;
    return samples / 8 * 1000 * kbps / rate + f.padding_bit;
}

void put_zero_frame(BitWriter &w, const HeaderFields &f) {
    put_header(w, f);
    const int total = frame_bytes(f);
    if (total > 4) w.fill(0, static_cast<size_t>(total - 4));
}

}  // namespace mp3d_test
