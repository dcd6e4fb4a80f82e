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
    void put(uint32_t value, int n);
    void put_byte(uint8_t byte) { put(byte, 8); }
    void put_bytes(const std::vector<uint8_t> &bytes);
    // Appends count bytes of the given value (the writer must be byte-aligned).
    void fill(uint8_t value, size_t count);
    // Pads with zero bits up to the next byte boundary.
    void align();
    size_t bit_count() const { return bits_; }
    size_t byte_count() const { return (bits_ + 7) / 8; }
    // The bytes written so far; a partial last byte is padded with zero bits.
    const std::vector<uint8_t> &bytes() const { return bytes_; }

  private:
    std::vector<uint8_t> bytes_;
    size_t bits_ = 0;
};

// Fields of a frame header as they appear in the stream (ISO/IEC 11172-3,
// 2.4.1.3). id: 3 MPEG-1, 2 MPEG-2 LSF, 0 MPEG-2.5, 1 reserved. layer_field:
// 3 Layer I, 2 Layer II, 1 Layer III, 0 reserved.
struct HeaderFields {
    int id = 3;
    int layer_field = 1;
    int protection_bit = 1;  // 1: no check word follows
    int bitrate_index = 9;
    int sampling_frequency = 0;
    int padding_bit = 0;
    int private_bit = 0;
    int mode = 0;  // 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel
    int mode_extension = 0;
    int copyright = 0;
    int original = 0;
    int emphasis = 0;
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

}  // namespace mp3d_test

#endif
