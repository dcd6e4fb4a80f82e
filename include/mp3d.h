/*
 * mp3d: fixed-point MPEG audio decoder (Layer III of MPEG-1, MPEG-2 LSF and
 * MPEG-2.5; Layer II). Layer I frames are refused.
 *
 * The library owns no memory, performs no I/O and starts no threads. The
 * application asks how much memory it needs (mp3d_query_dec_mem), supplies
 * two chunks, initialises a decoder inside them (mp3d_decode_init), feeds
 * compressed data through an input callback and calls mp3d_decode_frame
 * until it returns MP3D_END_OF_STREAM.
 *
 * Output is PCM in signed 32-bit words, channels interleaved: one Layer III
 * granule (576 samples per channel) or one Layer II frame (1152 samples per
 * channel) per call. Samples are 24-bit when pcm_no_shift is non-zero,
 * otherwise shifted right by 8 into the 16-bit range.
 *
 * 16-bit output: the shift by 8 (pcm_no_shift = 0) rounds toward minus
 * infinity. That costs half an LSB of DC offset and about 0.7 LSB RMS of
 * extra error: on ordinary streams only about half of its samples equal a
 * correctly rounded 16-bit decode. The accurate path to 16 bits is to set
 * pcm_no_shift and round each 24-bit word in the application, as
 * mp3d_pcm_round16 below does.
 */
#ifndef MP3D_H
#define MP3D_H

#include <stdint.h>

#if defined(_WIN32)
#define MP3D_API
#elif defined(__GNUC__)
#define MP3D_API __attribute__((visibility("default")))
#else
#define MP3D_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Return codes. Three come with PCM in the output buffer, every word of the
 * call's format written: MP3D_OK; MP3D_ERROR_HUFFMAN (the granule was
 * refused and is delivered as silence, so the output keeps its timing); and
 * MP3D_ERROR_FRAME_END (after the frame's last granule or Layer II frame,
 * whose PCM is delivered, silence if that granule was refused; then the
 * decoder resets). Every other code delivers no PCM: the buffer may have been
 * written and must not be played.
 *
 * Synchronisation: a header that begins exactly where the previous frame
 * ends continues the stream. A header found by searching (the first of a
 * stream, any after a reset or after bytes that were skipped) is trusted only
 * when the next frame's header follows exactly where the found frame's
 * length says and has the same MPEG version, layer and sampling frequency
 * (and, for free format, is free format again), or when the input ends
 * exactly there. Otherwise the frame yields no PCM and the call returns
 * MP3D_ERROR_SYNC, so a single header-shaped bit pattern in non-audio data
 * (images, archives, tags holding pictures) never becomes sound. The check
 * looks four bytes ahead through the input callback; it neither copies input
 * nor asks for a block before the current one is used up. */
#define MP3D_OK 0                  /* success */
#define MP3D_END_OF_STREAM 1       /* the input callback reported the end */
#define MP3D_ERROR_LAYER 31        /* Layer I or reserved layer */
#define MP3D_ERROR_SAMPLING_FREQ 32 /* reserved sampling frequency */
#define MP3D_ERROR_BITRATE 33      /* forbidden bitrate index 15 */
#define MP3D_ERROR_SIDE_INFO 34    /* window switching with block type 0 */
#define MP3D_ERROR_SYNC 36         /* no sync word within the search reach, or
                                      a found header not confirmed */
#define MP3D_ERROR_MAIN_DATA 37    /* main data not (yet) in the reservoir */
#define MP3D_ERROR_FRAME_END 38    /* main data read past what was written:
                                      PCM delivered, then a reset */
#define MP3D_ERROR_FREE_FORMAT 39  /* free-format frame length not measured */
#define MP3D_ERROR_HUFFMAN 40      /* invalid Huffman data in a granule:
                                      silence delivered */
#define MP3D_ERROR_VERSION 41      /* reserved version id */
#define MP3D_ERROR_INIT 51         /* query or init refused */
#define MP3D_ERROR_NULL_POINTER 52 /* null argument to mp3d_decode_frame */

/* Number of memory chunks the decoder asks for. */
#define MP3D_MEM_CHUNKS 2

/* Largest output of one mp3d_decode_frame call, in 32-bit words
 * (a stereo Layer II frame). */
#define MP3D_MAX_OUTPUT_WORDS 2304

/* One memory chunk: requested by mp3d_query_dec_mem, supplied by the
 * application (base, at least size bytes, 4-byte aligned). */
typedef struct MP3D_Mem_Info {
    int32_t size;          /* bytes requested and supplied */
    int32_t mem_type;      /* memory type: always 1; never read */
    int32_t spectral_role; /* non-zero: the chunk that holds the spectral buffer */
    int32_t reserved;      /* neither written nor read */
    void *base;            /* chunk address, supplied by the application */
} MP3D_Mem_Info;

typedef struct MP3D_Decode_Config MP3D_Decode_Config;

/*
 * Input callback. Called only when the current input block is used up.
 * Store the address of the next block in *input_buffer and its length in
 * bytes in *input_bytes_left; a length of 0 or less reports the end of
 * input, after which the callback is never called again. The block must
 * stay valid and unchanged until the next call. The return value is ignored.
 * To reach application data, embed the config in a larger record.
 */
typedef int32_t (*MP3D_Input_Callback)(const uint8_t **input_buffer,
                                       int32_t *input_bytes_left,
                                       MP3D_Decode_Config *config);

/* The application's record, passed to all three entry points and kept by
 * pointer in the decoder: it must outlive the decoder. */
struct MP3D_Decode_Config {
    int32_t mem_count;                       /* written by the query: 2 */
    MP3D_Mem_Info mem_info[MP3D_MEM_CHUNKS]; /* chunk 0, chunk 1 */
    void *decoder_state;                     /* written by mp3d_decode_init */
    int32_t pcm_no_shift;                    /* non-zero: 24-bit output */
    MP3D_Input_Callback input_callback;      /* copied at init */
};

/* Stream parameters, filled when a call begins a new frame. */
typedef struct MP3D_Frame_Info {
    int32_t sample_rate;       /* Hz */
    int32_t num_channels;      /* 1 or 2 */
    int32_t samples_per_frame; /* per channel */
    int32_t bitrate_kbps;      /* 0 for free format */
    int32_t layer;             /* 2 or 3 */
} MP3D_Frame_Info;

/* Fills mem_count and both chunk requests. Returns MP3D_OK, or
 * MP3D_ERROR_INIT for a null config. */
MP3D_API int32_t mp3d_query_dec_mem(MP3D_Decode_Config *config);

/* Lays the decoder out in the two chunks and resets it. input_buffer is
 * handed back to the first input callback. Returns MP3D_OK or
 * MP3D_ERROR_INIT. */
MP3D_API int32_t mp3d_decode_init(MP3D_Decode_Config *config,
                                  const uint8_t *input_buffer);

/* Decodes one Layer III granule or one Layer II frame into output (room for
 * MP3D_MAX_OUTPUT_WORDS words always suffices). frame_info is written only
 * when the call begins a new frame. Returns MP3D_OK, MP3D_END_OF_STREAM or
 * an error code; after an error other than MP3D_ERROR_INIT or
 * MP3D_ERROR_NULL_POINTER keep calling: the decoder resynchronises. */
MP3D_API int32_t mp3d_decode_frame(MP3D_Decode_Config *config,
                                   MP3D_Frame_Info *frame_info,
                                   int32_t *output);

/* Rounds one 24-bit output word (pcm_no_shift set) to 16 bits: to nearest,
 * halves upward, saturated to [-32768, 32767]. Words outside the 24-bit
 * range are clamped first. All arithmetic is on unsigned values, so the
 * result does not depend on how the compiler shifts negative numbers. */
static inline int16_t mp3d_pcm_round16(int32_t sample24) {
    uint32_t biased;
    if (sample24 > 8388607) sample24 = 8388607;
    if (sample24 < -8388608) sample24 = -8388608;
    /* Offset binary: 0 .. 2^24 - 1, then + half an LSB of 16 bits. */
    biased = ((uint32_t)sample24 + 0x800000u + 0x80u) >> 8; /* 0 .. 65536 */
    if (biased > 0xFFFFu) biased = 0xFFFFu;
    return (int16_t)((int32_t)biased - 32768);
}

#ifdef __cplusplus
}
#endif

#endif /* MP3D_H */
