// Polyphase synthesis of half a granule: the DCT of nine time slots into the
// channel's history, then the window into 288 PCM samples.
#include "decoder/polyphase_synthesis.h"

#include "decoder/tables/synthesis_tables.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"

namespace mp3d {

// Slot k of the half goes to the even bank (even k, column 4 - k/2) or the
// odd bank (odd k, column 3 - (k - 1)/2): the newest slot of each bank ends
// in column 0. The parity of slot t = 9 half + k is the parity of t: the
// inverting form negates the odd subbands of odd slots (Layer III frequency
// inversion).
void MP3D_subband_dct9(const int32_t *samples, int half, int32_t *synthesis) {
    const int32_t *slot = samples + (half != 0 ? 9 : 0);
    const int p0 = half & 1;
    const int p1 = p0 ^ 1;
    const int32_t *c8 = dct8_II_coeff;
    const int32_t *c32 = dct32_II_coeff;
    int32_t *even_upper = synthesis + kSynthesisEvenUpper;
    int32_t *even_lower = synthesis + kSynthesisEvenLower;
    int32_t *odd_upper = synthesis + kSynthesisOddUpper;
    int32_t *odd_lower = synthesis + kSynthesisOddLower;

    MP3D_subband_fastdct32(slot + 0, p0, even_upper + 4, even_lower + 4, c8, c32);
    MP3D_subband_fastdct32(slot + 1, p1, odd_upper + 3, odd_lower + 3, c8, c32);
    MP3D_subband_fastdct32(slot + 2, p0, even_upper + 3, even_lower + 3, c8, c32);
    MP3D_subband_fastdct32(slot + 3, p1, odd_upper + 2, odd_lower + 2, c8, c32);
    MP3D_subband_fastdct32(slot + 4, p0, even_upper + 2, even_lower + 2, c8, c32);
    MP3D_subband_fastdct32(slot + 5, p1, odd_upper + 1, odd_lower + 1, c8, c32);
    MP3D_subband_fastdct32(slot + 6, p0, even_upper + 1, even_lower + 1, c8, c32);
    MP3D_subband_fastdct32(slot + 7, p1, odd_upper + 0, odd_lower + 0, c8, c32);
    MP3D_subband_fastdct32(slot + 8, p0, even_upper + 0, even_lower + 0, c8, c32);
}

// Odd slots 1, 3, 5, 7 (own bank odd from column 3, odd-age values in the
// even bank from column 4), then even slots 0, 2, 4, 6 (own bank even from
// column 4, odd-age values in the odd bank from column 4), then outputs 0
// and 16, slot 8 and the history move.
int32_t MP3D_polyphase_window(int32_t *synthesis, int32_t *pcm, const int32_t *window) {
    MP3D_subband_window(synthesis + kSynthesisOddUpper + 3, synthesis + kSynthesisEvenLower + 4,
                        window, pcm + 32);
    MP3D_subband_window(synthesis + kSynthesisEvenUpper + 4, synthesis + kSynthesisOddLower + 4,
                        window, pcm);
    MP3D_subband_window_1(window, pcm, synthesis);
    return 0;
}

}  // namespace mp3d
