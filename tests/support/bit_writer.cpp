#include "support/bit_writer.h"

#include <stdexcept>

namespace mp3d_test {

BitWriter &BitWriter::put(uint32_t value, int n) {
    if (n < 0 || n > 32) throw std::invalid_argument("bit count out of range");
    for (int i = n - 1; i >= 0; --i, ++bits_) {
        if (bits_ % 8 == 0) bytes_.push_back(0);
        bytes_.back() =
            static_cast<uint8_t>(bytes_.back() | (((value >> i) & 1u) << (7 - bits_ % 8)));
    }
    return *this;
}

BitWriter &BitWriter::fill(uint8_t value, size_t count) {
    for (size_t i = 0; i < count; ++i) put_byte(value);
    return *this;
}

void put_header(BitWriter &w, const HeaderFields &f) {
    w.put(0x7FF, 11).put(f.id, 2).put(f.layer_field, 2).put(f.protection_bit, 1);
    w.put(f.bitrate_index, 4).put(f.sampling_frequency, 2).put(f.padding_bit, 1);
    w.put(f.private_bit, 1).put(f.mode, 2).put(f.mode_extension, 2).put(f.copyright, 1);
    w.put(f.original, 1).put(f.emphasis, 2);
}

int sample_rate_hz(int id, int sf) {
    static const int mpeg1[3] = {44100, 48000, 32000};  // halved for LSF, quartered for MPEG-2.5
    if (sf < 0 || sf > 2 || id < 0 || id > 3 || id == 1) return 0;
    return mpeg1[sf] >> (id == 3 ? 0 : 2 - id / 2);
}

int bitrate_kbps(int id, int layer, int index) {
    // ISO/IEC 11172-3 Table 3-B.3 (MPEG-1, layers I to III) and ISO/IEC
    // 13818-3 (lower sampling frequencies, also used by MPEG-2.5).
    static const int table[5][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    };
    if (index < 0 || index > 14 || layer < 1 || layer > 3) return 0;
    return table[id == 3 ? layer - 1 : (layer == 1 ? 3 : 4)][index];
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

uint32_t bits_at(const std::vector<uint8_t> &bytes, int64_t pos, int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; ++i, ++pos) {
        const size_t byte = static_cast<size_t>(pos / 8);
        v = (v << 1) | (byte < bytes.size() ? (bytes[byte] >> (7 - pos % 8)) & 1u : 0u);
    }
    return v;
}

}  // namespace mp3d_test
