// What surrounds the audio in an MP3 or MP2 file: ID3v2 tags at the start,
// APEv2 and ID3v1 tags at the end, and the Xing/Info/VBRI frame that encoders
// put in front of the audio (with LAME's extension: encoder delay and
// padding for gapless playback). Parsing only; the decoder library itself
// sees nothing but MPEG audio frames.
#ifndef MP3D_TOOLS_CONTAINER_TAGS_H
#define MP3D_TOOLS_CONTAINER_TAGS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace mp3d_tools {

// Length in bytes of the ID3v2 tag (header, body and footer) that begins at
// data, or 0 when data does not begin with a valid ID3v2 header. Needs the
// 10 header bytes only.
size_t id3v2_tag_size(const uint8_t *data, size_t size);

// Tags found at the end of a file.
struct TrailingTags {
    size_t id3v1 = 0;  // bytes of the ID3v1 tag (0 or 128, 355 with the "TAG+" block)
    size_t apev2 = 0;  // bytes of the APEv2 tag, header included
    size_t id3v2 = 0;  // bytes of an ID3v2 tag located by its footer ("3DI")
    size_t total() const { return id3v1 + apev2 + id3v2; }
};
// Finds ID3v1, APEv2 and footer-marked ID3v2 tags at the end of data, in
// any order. A tag that claims to begin before data is not counted.
TrailingTags find_trailing_tags(const uint8_t *data, size_t size);

// The fields of a 4-byte MPEG audio frame header that locate the frame.
struct MpegHeader {
    int version = 0;       // 1 (MPEG-1), 2 (MPEG-2 LSF) or 25 (MPEG-2.5)
    int layer = 0;         // 1, 2 or 3
    int bitrate_kbps = 0;  // 0: free format
    int sample_rate = 0;
    int channels = 0;
    bool crc = false;
    int samples_per_frame = 0;
    size_t frame_bytes = 0;  // 0 for free format
};
// Parses the header at data; false when the 4 bytes are not a valid header.
bool parse_mpeg_header(const uint8_t *data, size_t size, MpegHeader &header);

// An encoder's information frame: "Xing" (VBR) or "Info" (CBR), optionally
// with LAME's extension, or Fraunhofer's "VBRI".
struct InfoFrame {
    std::string kind;        // "Xing", "Info" or "VBRI"
    size_t frame_bytes = 0;  // length of the information frame itself
    MpegHeader header;       // its header
    int64_t frames = -1;     // audio frames that follow, -1 if not given
    int64_t bytes = -1;      // bytes of the audio, -1 if not given
    int quality = -1;        // Xing quality indicator, -1 if not given
    bool has_lame = false;   // LAME extension present
    std::string encoder;     // e.g. "LAME3.100", from the extension
    int vbr_method = 0;      // LAME: 1 CBR, 2 ABR, 3-6 VBR, 8 CBR 2-pass, 9 ABR 2-pass
    int lowpass_hz = 0;
    int lame_bitrate_kbps = 0;  // LAME: CBR rate, ABR target or VBR minimum
    int encoder_delay = -1;     // samples, -1 if not given
    int encoder_padding = -1;   // samples, -1 if not given
};
// Recognises an information frame at data (which begins with the frame's
// header); false for an ordinary audio frame.
bool parse_info_frame(const uint8_t *data, size_t size, InfoFrame &info);

// Name of a LAME VBR method ("CBR", "ABR", "VBR", ...).
const char *lame_vbr_method_name(int method);

// Samples by which every standard MPEG audio Layer III decoder's output
// trails its input (the synthesis filterbank's delay, 528 + 1).
constexpr int kDecoderDelay = 529;

}  // namespace mp3d_tools

#endif
