/*
 * Reads the decoder's raw 32-bit output words (24-bit samples, as
 * `mp3d decode --raw --24` writes them) on standard input and writes them
 * rounded to signed 16-bit little-endian with mp3d_pcm_round16: the 16-bit
 * output the GStreamer element must match.
 */
#include <stdint.h>
#include <stdio.h>

#include "mp3d.h"

int main(void) {
    unsigned char in[4];
    while (fread(in, 1, 4, stdin) == 4) {
        const uint32_t word =
            (uint32_t)in[0] | (uint32_t)in[1] << 8 | (uint32_t)in[2] << 16 | (uint32_t)in[3] << 24;
        const uint16_t s = (uint16_t)mp3d_pcm_round16((int32_t)word);
        const unsigned char out[2] = {(unsigned char)s, (unsigned char)(s >> 8)};
        if (fwrite(out, 1, 2, stdout) != 2) return 1;
    }
    return ferror(stdin) ? 1 : 0;
}
