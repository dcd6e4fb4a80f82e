/* count_pcm: decodes each file through the library's public API, handing it
 * the bytes as they are (no tag handling), and prints the PCM samples per
 * channel that the decoder delivered (calls returning 0, 38 or 40) and the
 * number of such calls.  Usage: count_pcm [--block N] FILE...  */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <mp3d.h>

typedef struct {
    MP3D_Decode_Config config; /* first: the callback gets back here */
    FILE *file;
    uint8_t *block;
    size_t block_size;
} Feed;

static int32_t feed(const uint8_t **buffer, int32_t *left, MP3D_Decode_Config *config) {
    Feed *f = (Feed *)config;
    *buffer = f->block;
    *left = (int32_t)fread(f->block, 1, f->block_size, f->file);
    return 0;
}

int main(int argc, char **argv) {
    static int32_t pcm[MP3D_MAX_OUTPUT_WORDS];
    size_t block_size = 65536;
    unsigned long long total = 0;
    int i = 1;
    if (argc > 2 && strcmp(argv[1], "--block") == 0) {
        block_size = (size_t)atol(argv[2]);
        i = 3;
    }
    for (; i < argc; i++) {
        Feed f;
        MP3D_Frame_Info info = {0}, current = {0};
        unsigned long long samples = 0, calls = 0;
        int32_t status;
        int k;
        memset(&f, 0, sizeof f);
        if (!(f.file = fopen(argv[i], "rb"))) {
            perror(argv[i]);
            return 2;
        }
        f.block_size = block_size ? block_size : 1;
        f.block = malloc(f.block_size);
        mp3d_query_dec_mem(&f.config);
        for (k = 0; k < f.config.mem_count; k++)
            f.config.mem_info[k].base = malloc((size_t)f.config.mem_info[k].size);
        f.config.input_callback = feed;
        f.config.pcm_no_shift = 1;
        if (mp3d_decode_init(&f.config, f.block) != MP3D_OK) return 2;
        for (;;) {
            info.layer = -1; /* tells whether the call began a frame */
            status = mp3d_decode_frame(&f.config, &info, pcm);
            if (status == MP3D_END_OF_STREAM) break;
            if (info.layer != -1) current = info;
            if (status == MP3D_OK || status == MP3D_ERROR_FRAME_END || status == MP3D_ERROR_HUFFMAN) {
                samples += current.layer == 2 ? 1152 : 576;
                calls++;
            }
        }
        printf("%llu %llu %s\n", samples, calls, argv[i]);
        total += samples;
        for (k = 0; k < f.config.mem_count; k++) free(f.config.mem_info[k].base);
        free(f.block);
        fclose(f.file);
    }
    fprintf(stderr, "total %llu samples per channel\n", total);
    return 0;
}
