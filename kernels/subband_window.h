// Windowing kernels of the polyphase synthesis: the 512-tap window of
// ISO/IEC 11172-3 applied to the DCT history, 24-bit saturated PCM out.
#ifndef MP3D_KERNELS_SUBBAND_WINDOW_H
#define MP3D_KERNELS_SUBBAND_WINDOW_H

#include <cstdint>

namespace mp3d {

// synthesis_buffer quadrants (16 rows of 12 columns each, word 12 row + col):
// the upper part holds X[16 + row], the lower part -X[15 - row] of the slot in
// that column. Column 0 is the newest slot of a bank, each higher column a slot
// two slots older.
inline constexpr int kSynthesisOddUpper = 0;
inline constexpr int kSynthesisEvenUpper = 192;
inline constexpr int kSynthesisOddLower = 384;
inline constexpr int kSynthesisEvenLower = 576;
// Words of one channel's history: the four quadrants.
inline constexpr int kSynthesisWords = 768;
// Samples the window makes of half a granule: 9 slots x 32 outputs.
inline constexpr int kHalfGranuleSamples = 288;

// The window of half a granule: kHalfGranuleSamples samples (slot-major),
// sample s to out[stride * s] (stride 1 or 2), as 24-bit words (no_shift
// non-zero) or as those words shifted right by 8; then the history move.
void MP3D_polyphase_window(int32_t *synthesis, int32_t *out, int stride, int32_t no_shift,
                           const int32_t *window);

// The history move that ends every half: shifts both banks' columns so that
// the next half's slots find their 16 predecessors in place.
void MP3D_synthesis_history_move(int32_t *synthesis);

}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_WINDOW_H
