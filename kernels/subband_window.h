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

// Outputs j and 32 - j (j = 1..15) of four slots of one parity, two at a
// time. upper_own: row 0 of the upper part of the first slot's own bank at its
// column; lower_other: row 0 of the lower part of the other bank at the
// column of the slot one older. Each following slot is one column lower and
// 64 words further in pcm (slot k + 2). window: window_lf.
void MP3D_subband_window(const int32_t *upper_own, const int32_t *lower_other,
                         const int32_t *window, int32_t *pcm);

// Outputs 0 and 16 of slots 0..7 and all 32 outputs of slot 8 of a half, then
// the history move that prepares synthesis for the next half.
void MP3D_subband_window_1(const int32_t *window, int32_t *pcm, int32_t *synthesis);

// The window of half a granule: kHalfGranuleSamples samples (slot-major) from the history,
// then the history move. Returns 0.
int32_t MP3D_polyphase_window(int32_t *synthesis, int32_t *pcm, const int32_t *window);

// The history move that ends every half: shifts both banks' columns so that
// the next half's slots find their 16 predecessors in place.
void MP3D_synthesis_history_move(int32_t *synthesis);

}  // namespace mp3d

#endif  // MP3D_KERNELS_SUBBAND_WINDOW_H
