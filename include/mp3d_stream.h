/*
 * mp3d_stream: playing MPEG audio files with the mp3d decoder, for
 * applications without a media framework.
 *
 * On top of the decoder (mp3d.h) it skips the tags around the audio (ID3v2
 * at the start, ID3v1, APEv2 and footer-marked ID3v2 at the end), reads the
 * encoder's information frame (Xing/Info, VBRI, LAME's extension with the
 * encoder delay and padding), trims the output to the encoder's input for
 * gapless playback, reports the exact length where the file records it, and
 * seeks to any sample exactly.
 *
 * Same rules as the decoder: no memory of its own, no I/O, no threads, no
 * floating point. The application supplies three memory chunks (the
 * decoder's two and one for this layer), a read callback, and a seek
 * callback where the input is seekable.
 *
 *   MP3D_Stream_Config config = {0};
 *   config.read = my_read; config.seek = my_seek; config.user = my_file;
 *   mp3d_stream_query_mem(&config);            sizes in config.mem_size[]
 *   config.mem[i] = malloc(config.mem_size[i]) for i = 0, 1, 2
 *   mp3d_stream_open(&config, &stream);
 *   while (mp3d_stream_read(stream, pcm, &block) == MP3D_STREAM_OK)
 *       play block.samples samples per channel from pcm
 *
 * Seeking (mp3d_stream_seek) is exact: the output after a seek to sample N
 * equals, sample for sample, the output of a decode from the start at
 * sample N. A Layer III granule's output depends on more than its own
 * frame: its main data may begin up to 511 bytes (MPEG-1) or 255 bytes
 * (MPEG-2 LSF, MPEG-2.5) before the frame, in earlier frames (the bit
 * reservoir); the first half of its filterbank output is added to the
 * overlap left by the previous granule; and the polyphase synthesis works
 * on the last 16 time slots of the previous granule, whose own output
 * carries the overlap of the granule before. So the two granules before the
 * target's frame must decode as in a decode from the start (frame F-1 in
 * MPEG-1, frames F-2 and F-1 in LSF), plus one frame of margin; before
 * those, as many frames as hold 511 (255) bytes of main data refill the
 * reservoir. The seek restarts the decoder there and drops the PCM up to
 * the target: at 128 kbit/s (MPEG-1) 4 frames, about 100 ms of audio; at
 * the lowest bitrates up to about 30 frames. Layer II depends on the
 * synthesis history only: one frame back, plus the margin.
 *
 * The frame to start from is found by arithmetic in a constant-bitrate
 * stream (an "Info" frame; or no information frame, the first 8 frames at
 * one bitrate and the audio a whole number of frames long), checked by a
 * valid header there (else the frames are walked); otherwise by walking the
 * frame headers from the nearest point of a seek index that the walks fill
 * in (one entry per power-of-two number of frames, thinned when full). A
 * Xing table of contents maps percentages to byte positions rounded to
 * 1/256 of the file, which does not identify a frame, so exact seeks do not
 * use it. Exactness holds for undamaged streams; in damaged ones the seek
 * lands near the target and decoding goes on safely.
 *
 * Output: one decoder call per read (at most 1152 samples per channel),
 * 24-bit samples in int32_t words, or 16-bit samples (int16_t, rounded with
 * mp3d_pcm_round16) when pcm_16bit is set; channels interleaved.
 */
#ifndef MP3D_STREAM_H
#define MP3D_STREAM_H

#include <stdint.h>

#include "mp3d.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Return codes. */
#define MP3D_STREAM_OK 0
#define MP3D_STREAM_END 1             /* no more audio */
#define MP3D_STREAM_ERROR_NO_AUDIO 60 /* open: no MPEG audio frame found */
#define MP3D_STREAM_ERROR_IO 61       /* the read or seek callback failed */
#define MP3D_STREAM_ERROR_SEEK 62     /* seek backwards on an input without seek callback */
#define MP3D_STREAM_ERROR_ARGUMENT 63 /* null pointer, missing or too small memory */

/* Reads up to bytes bytes into dest; returns the number read (short reads
 * are fine), 0 at the end of the input, negative on an error. */
typedef int32_t (*MP3D_Stream_Read)(void *user, uint8_t *dest, int32_t bytes);
/* Moves the read position like lseek: whence 0 from the start, 2 from the
 * end; returns the new position from the start, negative on an error. */
typedef int64_t (*MP3D_Stream_Seek)(void *user, int64_t offset, int32_t whence);

#define MP3D_STREAM_MEM_CHUNKS 3
/* Largest output of one read, in bytes (MP3D_MAX_OUTPUT_WORDS words). */
#define MP3D_STREAM_PCM_BYTES (4 * MP3D_MAX_OUTPUT_WORDS)

typedef struct MP3D_Stream_Config {
    /* Set by the application before mp3d_stream_query_mem. */
    MP3D_Stream_Read read; /* required */
    MP3D_Stream_Seek seek; /* NULL: the input is read once, front to back */
    void *user;            /* handed to both callbacks */
    int32_t buffer_bytes;  /* input buffer, 0: 16384 (at least 8192) */
    int32_t index_entries; /* seek index entries of 8 bytes, 0: 2048 */
    int32_t pcm_16bit;     /* non-zero: int16_t output, else 24-bit int32_t */
    int32_t no_gapless;    /* non-zero: keep the encoder delay and padding */
    /* Written by mp3d_stream_query_mem: bytes of chunks 0 and 1 (the
     * decoder's) and 2 (this layer's). */
    int32_t mem_size[MP3D_STREAM_MEM_CHUNKS];
    /* Supplied by the application: at least mem_size[i] bytes, 8-byte
     * aligned (what malloc returns). They must outlive the stream. */
    void *mem[MP3D_STREAM_MEM_CHUNKS];
} MP3D_Stream_Config;

typedef struct MP3D_Stream MP3D_Stream; /* lives in chunk 2 */

/* A tag's place in the input; bytes 0 when there is none. */
typedef struct MP3D_Stream_Tag {
    int64_t offset;
    int64_t bytes;
} MP3D_Stream_Tag;

#define MP3D_STREAM_INFO_NONE 0
#define MP3D_STREAM_INFO_XING 1 /* "Xing": variable bitrate */
#define MP3D_STREAM_INFO_INFO 2 /* "Info": constant bitrate */
#define MP3D_STREAM_INFO_VBRI 3 /* Fraunhofer's VBRI */

typedef struct MP3D_Stream_Info {
    /* The first audio frame. */
    int32_t sample_rate;
    int32_t num_channels;
    int32_t layer;             /* 2 or 3 */
    int32_t version;           /* 1, 2 (MPEG-2 LSF) or 25 (MPEG-2.5) */
    int32_t bitrate_kbps;      /* 0: free format */
    int32_t samples_per_frame; /* per channel */
    /* Length in samples per channel after trimming, -1 when unknown.
     * length_exact: 1 when counted from the information frame's frame
     * count, 0 when estimated from the file size at a constant bitrate. */
    int64_t total_samples;
    int32_t length_exact;
    int32_t gapless; /* the output is trimmed to the encoder's input */
    /* The audio runs on well past what the information frame counts (files
     * joined together): the end is not trimmed and the length not known. */
    int32_t longer_than_tag;
    int32_t seekable;
    /* The information frame. */
    int32_t info_frame;        /* MP3D_STREAM_INFO_* */
    int64_t info_frames;       /* audio frames it counts, -1 if not given */
    int64_t info_bytes;        /* audio bytes it counts, -1 if not given */
    int32_t info_quality;      /* Xing quality or VBRI quality, -1 if not given */
    int32_t has_lame;          /* LAME's extension (also FFmpeg's) present */
    char encoder[10];          /* from the extension, e.g. "LAME3.100" */
    int32_t vbr_method;        /* LAME: 1 CBR, 2 ABR, 3-6 VBR, 8 CBR 2-pass, 9 ABR 2-pass */
    int32_t lowpass_hz;        /* LAME */
    int32_t lame_bitrate_kbps; /* LAME: CBR rate, ABR target or VBR minimum */
    int32_t encoder_delay;     /* samples, -1 if not given */
    int32_t encoder_padding;   /* samples, -1 if not given */
    /* Where the audio and the tags are. The end tags of an input without
     * seek callback are known once the read has reached the end. */
    int64_t audio_offset;      /* first audio frame (behind the information frame) */
    int64_t audio_end;         /* end of the audio, -1 while unknown */
    MP3D_Stream_Tag id3v2;     /* the ID3v2 tags at the start, back to back */
    MP3D_Stream_Tag id3v2_end; /* an ID3v2 tag at the end (with footer) */
    MP3D_Stream_Tag apev2;     /* header (if any), items and footer */
    MP3D_Stream_Tag id3v1;     /* 128 bytes, 355 with the extended "TAG+" block */
} MP3D_Stream_Info;

/* What one read delivered. */
typedef struct MP3D_Stream_Block {
    int32_t samples; /* per channel */
    int32_t num_channels;
    int32_t sample_rate;
    int32_t format_changed; /* channels or rate differ from the previous block's */
    int64_t position;       /* of the first sample, per channel, from the start */
    int32_t decoder_status; /* the decoder's code for this PCM: MP3D_OK or a
                               stream error (MP3D_ERROR_HUFFMAN: silence,
                               MP3D_ERROR_MAIN_DATA: a frame played as silence) */
} MP3D_Stream_Block;

/* Fills config->mem_size from the decoder's request and buffer_bytes and
 * index_entries. Returns MP3D_STREAM_OK or MP3D_STREAM_ERROR_ARGUMENT. */
MP3D_API int32_t mp3d_stream_query_mem(MP3D_Stream_Config *config);

/* Reads the start (and, when seekable, the end) of the input, finds the
 * first audio frame and initialises the decoder. The config is copied.
 * Returns MP3D_STREAM_OK, MP3D_STREAM_ERROR_NO_AUDIO,
 * MP3D_STREAM_ERROR_IO or MP3D_STREAM_ERROR_ARGUMENT. */
MP3D_API int32_t mp3d_stream_open(const MP3D_Stream_Config *config, MP3D_Stream **stream);

MP3D_API int32_t mp3d_stream_get_info(const MP3D_Stream *stream, MP3D_Stream_Info *info);

/* Decodes the next block into pcm (MP3D_STREAM_PCM_BYTES, 4-byte aligned).
 * Returns MP3D_STREAM_OK with block->samples > 0, MP3D_STREAM_END, or
 * MP3D_STREAM_ERROR_IO. Damaged frames are skipped or played as silence
 * (see decoder_status); decoding goes on. */
MP3D_API int32_t mp3d_stream_read(MP3D_Stream *stream, void *pcm, MP3D_Stream_Block *block);

/* Moves to sample (per channel, after trimming); the next read starts
 * there. Past the end: the next read returns MP3D_STREAM_END. Without a
 * seek callback only forward seeks work (decoding and dropping). */
MP3D_API int32_t mp3d_stream_seek(MP3D_Stream *stream, int64_t sample);

/* The position of the next sample that a read delivers. */
MP3D_API int64_t mp3d_stream_tell(const MP3D_Stream *stream);

/* What happened since the open: for diagnostics and measurements. */
typedef struct MP3D_Stream_Stats {
    int64_t frames;             /* frames the decoder began */
    int64_t free_format_frames; /* of them, free format */
    int64_t layer3_granules;    /* Layer III granules decoded or refused */
    int64_t layer2_frames;      /* Layer II frames decoded */
    int64_t silent_granules;    /* refused (MP3D_ERROR_HUFFMAN), played as silence */
    int64_t silent_frames;      /* main data missing (MP3D_ERROR_MAIN_DATA), played as silence */
    int32_t min_bitrate_kbps;   /* of the frames with a bitrate index, 0 if none */
    int32_t max_bitrate_kbps;
    int32_t format_changed; /* channels or rate changed in the stream */
    int64_t bytes_read;     /* delivered by the read callback */
    int64_t read_calls;
    int64_t seek_calls;
    int64_t status_counts[64]; /* each code the decoder returned, by code */
} MP3D_Stream_Stats;

MP3D_API int32_t mp3d_stream_get_stats(const MP3D_Stream *stream, MP3D_Stream_Stats *stats);

#ifdef __cplusplus
}
#endif

#endif /* MP3D_STREAM_H */
