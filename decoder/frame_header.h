// Frame header parsing, free-format measurement and derived frame parameters.
#ifndef MP3D_FRAME_HEADER_H
#define MP3D_FRAME_HEADER_H

#include "decoder/decoder_state.h"

namespace mp3d {

// MPEG-2 LSF and MPEG-2.5, every version but MPEG-1 (version 1): one granule
// per Layer III frame, the LSF scale factors and band tables.
inline bool is_lsf(const MP3D_Frame_Header &h) {
    return h.version != 1;
}

// Channels coded in a frame: one in single-channel mode, two otherwise.
inline int16_t header_channels(const MP3D_Frame_Header &h) {
    return static_cast<int16_t>(h.mode == 3 ? 1 : 2);
}

// Bitrate of the current header in kbit/s (0 for free format).
int32_t frame_bitrate_kbps(const MP3D_Decoder_State *state);

int32_t get_frame_params(MP3D_Frame_Header *header, MP3D_Decoder_State *state);
int32_t decode_info(MP3D_Decoder_State *state);
int32_t handle_free_bitrate(MP3D_Decoder_State *state);
void hdr_to_frps(MP3D_Decoder_State *state);
// Sync confirmation at the end of a frame whose header was found by
// searching. The reader stands on the byte where the frame ends: the next
// four bytes are loaded into the bit window without being consumed (the sync
// search reads them next) and compared with the current header. Returns 1
// when they begin a header of the same version, layer and sampling frequency
// (and, for free format, again free format), or when the input ends exactly
// at the frame end or inside such a header; 0 otherwise, also when the input
// ended before the frame end.
int confirm_next_header(MP3D_Decoder_State *state);
// Drops a frame that failed the confirmation: resets the decoder but keeps
// the four bytes behind the frame in the window, so that the sync search
// starts on them.
void reject_searched_frame(MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
