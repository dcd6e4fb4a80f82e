/* mp3d_example: decodes an MPEG audio stream (Layer II or III) to raw
 * signed 16-bit little-endian PCM.  Usage: mp3d_example IN.mp3 OUT.raw */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <mp3d.h>

/* The config comes first, so the callback can reach the file from it. */
typedef struct {
    MP3D_Decode_Config config;
    FILE *file;
    uint8_t block[4096];
} App;

static int32_t feed(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config) {
    App *app = (App *)config;
    *buffer = app->block;
    *bytes_left = (int32_t)fread(app->block, 1, sizeof app->block, app->file); /* 0: the end */
    return 0;
}

int main(int argc, char **argv) {
    static App app;
    static int32_t pcm[MP3D_MAX_OUTPUT_WORDS];
    MP3D_Frame_Info info = {0};
    FILE *out;
    long calls = 0, errors = 0;
    int32_t status;
    int i;

    if (argc != 3 || !(app.file = fopen(argv[1], "rb")) || !(out = fopen(argv[2], "wb"))) {
        fprintf(stderr, "usage: mp3d_example IN OUT.raw\n");
        return 2;
    }
    mp3d_query_dec_mem(&app.config);
    for (i = 0; i < app.config.mem_count; i++)
        app.config.mem_info[i].base = malloc((size_t)app.config.mem_info[i].size);
    app.config.input_callback = feed;
    app.config.pcm_no_shift = 1; /* 24-bit words, rounded to 16 bits below */
    if (mp3d_decode_init(&app.config, app.block) != MP3D_OK) return 1;

    while ((status = mp3d_decode_frame(&app.config, &info, pcm)) != MP3D_END_OF_STREAM) {
        /* MP3D_OK, MP3D_ERROR_FRAME_END and MP3D_ERROR_HUFFMAN (silence)
         * deliver PCM; other codes deliver nothing and the decoder
         * resynchronises by itself. */
        if (status != MP3D_OK) errors++;
        if (status != MP3D_OK && status != MP3D_ERROR_FRAME_END && status != MP3D_ERROR_HUFFMAN)
            continue;
        /* One Layer III granule (576 samples per channel) or one Layer II
         * frame (1152), channels interleaved. */
        int count = (info.layer == 2 ? 1152 : 576) * info.num_channels;
        for (i = 0; i < count; i++) {
            int16_t s = mp3d_pcm_round16(pcm[i]);
            uint8_t le[2] = {(uint8_t)s, (uint8_t)((uint16_t)s >> 8)};
            fwrite(le, 1, 2, out);
        }
        calls++;
    }
    printf("%ld blocks of PCM, %d Hz, %d channel(s), %ld stream errors\n", calls, info.sample_rate,
           info.num_channels, errors);
    for (i = 0; i < app.config.mem_count; i++) free(app.config.mem_info[i].base);
    fclose(app.file);
    return fclose(out) == 0 && calls > 0 ? 0 : 1;
}
