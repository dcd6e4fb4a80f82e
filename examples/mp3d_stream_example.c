/* mp3d_stream_example: plays an MP3 or MP2 file (tags skipped, gapless) to
 * raw signed 16-bit little-endian PCM, optionally from a position.
 * Usage: mp3d_stream_example IN.mp3 OUT.raw [START_SECONDS] */
#define _POSIX_C_SOURCE 200809L /* fseeko, ftello */
#define _FILE_OFFSET_BITS 64    /* files beyond 2 GiB on 32-bit systems */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <mp3d_stream.h>

static int32_t read_file(void *user, uint8_t *dest, int32_t bytes) {
    size_t n = fread(dest, 1, (size_t)bytes, (FILE *)user);
    return n == 0 && ferror((FILE *)user) ? -1 : (int32_t)n;
}

static int64_t seek_file(void *user, int64_t offset, int32_t whence) {
    if (fseeko((FILE *)user, (off_t)offset, whence == 2 ? SEEK_END : SEEK_SET) != 0) return -1;
    return (int64_t)ftello((FILE *)user);
}

int main(int argc, char **argv) {
    MP3D_Stream_Config config = {0};
    MP3D_Stream *stream;
    MP3D_Stream_Info info;
    MP3D_Stream_Block block;
    static int16_t pcm[MP3D_STREAM_PCM_BYTES / 2];
    FILE *in, *out;
    int64_t samples = 0;
    int i, status;

    if (argc < 3 || !(in = fopen(argv[1], "rb")) || !(out = fopen(argv[2], "wb"))) {
        fprintf(stderr, "usage: mp3d_stream_example IN OUT.raw [START_SECONDS]\n");
        return 2;
    }
    config.read = read_file;
    config.seek = seek_file; /* NULL for a pipe: then only forward seeks work */
    config.user = in;
    config.pcm_16bit = 1; /* rounded from the decoder's 24-bit output */
    mp3d_stream_query_mem(&config);
    for (i = 0; i < MP3D_STREAM_MEM_CHUNKS; i++) config.mem[i] = malloc((size_t)config.mem_size[i]);
    status = mp3d_stream_open(&config, &stream);
    if (status != MP3D_STREAM_OK) {
        fprintf(stderr, "%s: %s\n", argv[1],
                status == MP3D_STREAM_ERROR_NO_AUDIO ? "no MPEG audio found" : "cannot open");
        return 1;
    }
    mp3d_stream_get_info(stream, &info);
    if (argc > 3) mp3d_stream_seek(stream, (int64_t)(atof(argv[3]) * info.sample_rate));

    while (mp3d_stream_read(stream, pcm, &block) == MP3D_STREAM_OK) {
        /* block.samples per channel, block.num_channels interleaved; a
         * player would reconfigure its output when block.format_changed. */
        for (i = 0; i < block.samples * block.num_channels; i++) {
            uint8_t le[2] = {(uint8_t)pcm[i], (uint8_t)((uint16_t)pcm[i] >> 8)};
            fwrite(le, 1, 2, out);
        }
        samples += block.samples;
    }
    printf("%lld samples per channel, %d Hz, %d channel(s), length %lld\n", (long long)samples,
           info.sample_rate, info.num_channels, (long long)info.total_samples);
    for (i = 0; i < MP3D_STREAM_MEM_CHUNKS; i++) free(config.mem[i]);
    fclose(in);
    return fclose(out) == 0 && samples > 0 ? 0 : 1;
}
