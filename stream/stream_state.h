// The stream layer's state, at the start of the application's chunk 2,
// followed by the input buffer and the seek index.
#ifndef MP3D_STREAM_STREAM_STATE_H
#define MP3D_STREAM_STREAM_STATE_H

#include <cstdint>

#include "mp3d.h"
#include "mp3d_stream.h"
#include "stream/byte_window.h"
#include "stream/frame_scan.h"
#include "stream/gapless.h"
#include "stream/mpeg_header.h"

struct MP3D_Stream {
    // First member: the decoder hands its config to the input callback,
    // which gets back to the stream from it.
    MP3D_Decode_Config core;
    MP3D_Stream_Config config;
    mp3d_stream::ByteWindow window;
    mp3d_stream::SeekIndex index;
    mp3d_stream::RecentFrame recent[mp3d_stream::kRecentFrames];
    MP3D_Stream_Info info;
    mp3d_stream::MpegHeader first;  // the first audio frame
    int32_t free_base;              // free format: unpadded frame length, else 0
    bool constant;                  // frame offsets by arithmetic
    int64_t info_offset;            // of the information frame
    bool end_checked;               // whether the input runs on past the counted end
    int64_t frames;                 // audio frames, -1 when unknown
    mp3d_stream::Trim trim;

    // Feeding the decoder.
    int64_t feed;            // next input offset handed to the decoder
    int32_t stand_in_stage;  // free format: 1, 2: stand-in header, body to hand
    int32_t stand_in_bytes;
    uint8_t stand_in_header[4];
    int64_t hold;  // forward-only input: bytes held back for end tags
    bool end_tags_known;

    // The decode's place, in untrimmed samples from the first audio frame.
    int64_t frame_start;  // position of the frame being decoded
    int64_t next_start;   // position of the frame that the decoder begins next
    int32_t granule;      // granules of the frame delivered
    int32_t frame_samples;
    int32_t layer;
    int32_t channels;  // of the frame being decoded
    int32_t sample_rate;
    int64_t from;            // nothing before this untrimmed position is delivered
    int64_t position;        // next output sample (trimmed)
    int32_t block_channels;  // format of the last block delivered
    int32_t block_rate;
    bool ended;

    MP3D_Stream_Stats stats;
};

#endif
