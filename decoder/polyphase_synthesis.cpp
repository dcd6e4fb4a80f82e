// Placeholder until this module is implemented.
#include "decoder/polyphase_synthesis.h"

namespace mp3d {

void MP3D_subband_dct9(const int32_t *, int, int32_t *) {}
int32_t MP3D_polyphase_window(int32_t *, int32_t *pcm, const int32_t *) {
    for (int i = 0; i < 288; ++i) pcm[i] = 0;
    return 0;
}

}  // namespace mp3d
