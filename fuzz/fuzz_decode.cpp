// Fuzz target: the whole decode loop over arbitrary bytes. The first byte
// chooses the output format and how many of the following bytes set the
// input block sizes; the rest is the stream.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    const bool pcm_no_shift = data[0] & 1;
    size_t nsizes = (data[0] >> 1) & 7;
    if (nsizes > size - 1) nsizes = size - 1;
    mp3d_fuzz::decode_checked(data + 1 + nsizes, size - 1 - nsizes, data + 1, nsizes, pcm_no_shift);
    return 0;
}
