/*
 * Decodes one stream from memory to 16-bit PCM with one decoder, for the
 * instruction counter (bench/arm/count.py) running it under qemu-arm:
 *
 *   driver mp3d|mad|mpg123 STREAM
 *
 * The whole file is read and each decoder is set up before measure_begin()
 * and released after measure_end(): the counter counts only what executes
 * between the two calls, so the figures are those of the decode loop. The
 * load address of every loaded object is printed ("object BASE PATH") so that
 * the counter can name the functions of shared libraries.
 *
 * Decoders: mp3d through its public API (the kernel set the library chose at
 * build time), libmad's low-level frame API and libmpg123's feed API, both
 * black boxes used as any application would (each built in when
 * MEASURE_HAVE_MAD / MEASURE_HAVE_MPG123 is defined).
 */
#define _GNU_SOURCE
#include <link.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "mp3d.h"
#ifdef MEASURE_HAVE_MAD
#include <mad.h>
#define GUARD_BYTES MAD_BUFFER_GUARD
#else
#define GUARD_BYTES 8
#endif
#ifdef MEASURE_HAVE_MPG123
#include <mpg123.h>
#endif

/* The counter starts at the first instruction of measure_begin and stops at
 * the first of measure_end. They must stay out-of-line calls. */
__attribute__((noinline)) void measure_begin(void) {
    __asm__ volatile("" ::: "memory");
}
__attribute__((noinline)) void measure_end(void) {
    __asm__ volatile("" ::: "memory");
}

static int16_t pcm16[2 * 1152];
static uint64_t samples;
static uint32_t checksum;

/* Keeps the output observable at a negligible cost. */
static void fold(const int16_t *pcm, unsigned count) {
    checksum = checksum * 31u + (uint16_t)pcm[count / 2] + count;
    samples += count;
}

/* ---- mp3d ---- */

struct mp3d_input {
    MP3D_Decode_Config config; /* first member: the callback gets this record */
    const uint8_t *data;
    int32_t size;
    int given;
};

static int32_t mp3d_input(const uint8_t **buffer, int32_t *left, MP3D_Decode_Config *config) {
    struct mp3d_input *in = (struct mp3d_input *)config;
    *buffer = in->data;
    *left = in->given ? 0 : in->size;
    in->given = 1;
    return 0;
}

/* mp3d's words already hold the 16-bit range (pcm_no_shift = 0): narrowing
 * is all an application does. */
__attribute__((noinline)) static void mp3d_to16(const int32_t *in, unsigned count) {
    for (unsigned i = 0; i < count; ++i) pcm16[i] = (int16_t)in[i];
}

static int run_mp3d(const uint8_t *data, size_t size) {
    static struct mp3d_input in;
    static uint8_t chunks[2][65536] __attribute__((aligned(16)));
    static int32_t out[MP3D_MAX_OUTPUT_WORDS];
    in.data = data;
    in.size = (int32_t)size;
    in.config.input_callback = mp3d_input;
    if (mp3d_query_dec_mem(&in.config) != MP3D_OK) return 1;
    for (int i = 0; i < 2; ++i) {
        if (in.config.mem_info[i].size > (int32_t)sizeof chunks[i]) return 1;
        in.config.mem_info[i].base = chunks[i];
    }
    if (mp3d_decode_init(&in.config, data) != MP3D_OK) return 1;
    MP3D_Frame_Info info;
    memset(&info, 0, sizeof info);
    measure_begin();
    for (;;) {
        int32_t code = mp3d_decode_frame(&in.config, &info, out);
        if (code == MP3D_END_OF_STREAM || code == MP3D_ERROR_INIT ||
            code == MP3D_ERROR_NULL_POINTER)
            break;
        if (code == MP3D_OK || code == MP3D_ERROR_HUFFMAN || code == MP3D_ERROR_FRAME_END) {
            unsigned count = (unsigned)((info.layer == 2 ? 1152 : 576) * info.num_channels);
            mp3d_to16(out, count);
            fold(pcm16, count);
        }
    }
    measure_end();
    return 0;
}

#ifdef MEASURE_HAVE_MAD
/* ---- libmad ---- */

/* libmad's samples are fixed point with MAD_F_FRACBITS fraction bits: the
 * application rounds and clips them to 16 bits. */
__attribute__((noinline)) static void mad_to16(const struct mad_pcm *pcm) {
    const unsigned n = pcm->length, channels = pcm->channels;
    for (unsigned c = 0; c < channels; ++c) {
        const mad_fixed_t *in = pcm->samples[c];
        for (unsigned i = 0; i < n; ++i) {
            mad_fixed_t s = in[i] + (1L << (MAD_F_FRACBITS - 16));
            if (s >= MAD_F_ONE) s = MAD_F_ONE - 1;
            if (s < -MAD_F_ONE) s = -MAD_F_ONE;
            pcm16[i * channels + c] = (int16_t)(s >> (MAD_F_FRACBITS + 1 - 16));
        }
    }
}

static int run_mad(const uint8_t *data, size_t size) {
    static struct mad_stream ms;
    static struct mad_frame mf;
    static struct mad_synth syn;
    mad_stream_init(&ms);
    mad_frame_init(&mf);
    mad_synth_init(&syn);
    /* The buffer holds MAD_BUFFER_GUARD zero bytes after the stream so that
     * the last frame decodes. */
    mad_stream_buffer(&ms, data, size + MAD_BUFFER_GUARD);
    measure_begin();
    for (;;) {
        if (mad_frame_decode(&mf, &ms) != 0) {
            if (MAD_RECOVERABLE(ms.error)) continue;
            break;
        }
        mad_synth_frame(&syn, &mf);
        mad_to16(&syn.pcm);
        fold(pcm16, (unsigned)syn.pcm.length * syn.pcm.channels);
    }
    measure_end();
    mad_synth_finish(&syn);
    mad_frame_finish(&mf);
    mad_stream_finish(&ms);
    return 0;
}
#endif

#ifdef MEASURE_HAVE_MPG123
/* ---- libmpg123 ---- */

static int run_mpg123(const uint8_t *data, size_t size) {
    int err = MPG123_OK;
#if MPG123_API_VERSION < 46
    mpg123_init();
#endif
    mpg123_handle *mh = mpg123_new(NULL, &err);
    if (mh == NULL) return 1;
    mpg123_param(mh, MPG123_FLAGS, MPG123_IGNORE_INFOFRAME | MPG123_QUIET, 0.0);
    /* 16-bit output at the stream's own rate and channels. */
    mpg123_format_none(mh);
    const long *rates;
    size_t nrates;
    mpg123_rates(&rates, &nrates);
    for (size_t i = 0; i < nrates; ++i)
        mpg123_format(mh, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16);
    if (mpg123_open_feed(mh) != MPG123_OK || mpg123_feed(mh, data, size) != MPG123_OK) return 1;
    measure_begin();
    for (;;) {
        off_t frame;
        unsigned char *audio;
        size_t bytes;
        int code = mpg123_decode_frame(mh, &frame, &audio, &bytes);
        if (code == MPG123_OK && bytes > 0) {
            fold((const int16_t *)audio, (unsigned)(bytes / 2));
        } else if (code != MPG123_OK && code != MPG123_NEW_FORMAT) {
            break;
        }
    }
    measure_end();
    mpg123_delete(mh);
    return 0;
}
#endif

static int print_object(struct dl_phdr_info *info, size_t size, void *unused) {
    (void)size;
    (void)unused;
    printf("object 0x%08lx %s\n", (unsigned long)info->dlpi_addr,
           info->dlpi_name[0] != '\0' ? info->dlpi_name : "(main)");
    return 0;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s mp3d|mad|mpg123 STREAM\n", argv[0]);
        return 2;
    }
    FILE *f = fopen(argv[2], "rb");
    if (f == NULL) {
        perror(argv[2]);
        return 1;
    }
    fseek(f, 0, SEEK_END);
    long size = ftell(f);
    fseek(f, 0, SEEK_SET);
    uint8_t *data = calloc((size_t)size + GUARD_BYTES, 1);
    if (data == NULL || fread(data, 1, (size_t)size, f) != (size_t)size) return 1;
    fclose(f);

    int rc;
    if (strcmp(argv[1], "mp3d") == 0) {
        rc = run_mp3d(data, (size_t)size);
#ifdef MEASURE_HAVE_MAD
    } else if (strcmp(argv[1], "mad") == 0) {
        rc = run_mad(data, (size_t)size);
#endif
#ifdef MEASURE_HAVE_MPG123
    } else if (strcmp(argv[1], "mpg123") == 0) {
        rc = run_mpg123(data, (size_t)size);
#endif
    } else {
        fprintf(stderr, "unknown decoder %s\n", argv[1]);
        return 2;
    }
    dl_iterate_phdr(print_object, NULL);
    printf("samples %llu checksum %08x\n", (unsigned long long)samples, (unsigned)checksum);
    free(data);
    return rc;
}
