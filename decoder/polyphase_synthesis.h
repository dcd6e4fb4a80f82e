// Polyphase synthesis filterbank shared by Layer III and Layer II: the DCT
// stage over half a granule and the windowing into 24-bit PCM.
#ifndef MP3D_POLYPHASE_SYNTHESIS_H
#define MP3D_POLYPHASE_SYNTHESIS_H

#include <cstdint>

namespace mp3d {

// samples: 576 subband-major samples (Q26); half 0 or 1; synthesis: the
// channel's 768-word history.
void MP3D_subband_dct9(const int32_t *samples, int half, int32_t *synthesis);
// Writes 288 samples (slot-major) and moves the history. Returns 0.
int32_t MP3D_polyphase_window(int32_t *synthesis, int32_t *pcm, const int32_t *window);

}  // namespace mp3d

#endif
