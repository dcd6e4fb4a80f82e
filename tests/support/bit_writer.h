// Test helper: builds bitstreams bit by bit, most significant bit first, and
// writes MPEG audio frame headers from their fields.
#ifndef MP3D_TEST_BIT_WRITER_H
#define MP3D_TEST_BIT_WRITER_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mp3d_test {

class BitWriter {
  public:
    // Appends the low n bits of value (0 <= n <= 32), first bit most significant.
    BitWriter &put(uint32_t value, int n);
    BitWriter &put_byte(uint8_t byte) { return put(byte, 8); }
    // Appends count bytes of the given value.
    BitWriter &fill(uint8_t value, size_t count);
    // Pads with zero bits up to the next byte boundary.
    BitWriter &align() { return put(0, static_cast<int>((8 - bits_ % 8) % 8)); }
    size_t bit_count() const { return bits_; }
    // The bytes written so far; a partial last byte is padded with zero bits.
    const std::vector<uint8_t> &bytes() const { return bytes_; }

  private:
    std::vector<uint8_t> bytes_;
    size_t bits_ = 0;
};

// Fields of a frame header as they appear in the stream (ISO/IEC 11172-3,
// 2.4.1.3). id: 3 MPEG-1, 2 MPEG-2 LSF, 0 MPEG-2.5, 1 reserved. layer_field:
// 3 Layer I, 2 Layer II, 1 Layer III, 0 reserved. Defaults: MPEG-1 Layer III,
// 128 kbit/s, 44100 Hz, stereo, no check word.
struct HeaderFields {
    int id = 3, layer_field = 1, protection_bit = 1, bitrate_index = 9, sampling_frequency = 0;
    int padding_bit = 0, private_bit = 0, mode = 0, mode_extension = 0;
    int copyright = 0, original = 0, emphasis = 0;
};

// Writes the 32-bit header (sync word included).
void put_header(BitWriter &writer, const HeaderFields &fields);

// Standard values for the fields, computed from ISO/IEC 11172-3 and 13818-3
// tables: sampling rate in Hz, bitrate in kbit/s of the layer (1..3), and
// frame length in bytes (0 for free format).
int sample_rate_hz(int id, int sampling_frequency);
int bitrate_kbps(int id, int layer, int bitrate_index);
int frame_bytes(const HeaderFields &fields);

// A whole frame: header, then zero bytes up to the frame length.
void put_zero_frame(BitWriter &writer, const HeaderFields &fields);

// n bits (at most 32) of a byte string from bit position pos, MSB first; bits
// past the end read as 0.
uint32_t bits_at(const std::vector<uint8_t> &bytes, int64_t pos, int n);

}  // namespace mp3d_test

#endif
