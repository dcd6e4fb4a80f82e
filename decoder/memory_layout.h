// Layout of the decoder in the application's two chunks.
#ifndef MP3D_MEMORY_LAYOUT_H
#define MP3D_MEMORY_LAYOUT_H

#include "decoder/decoder_state.h"

namespace mp3d {

void MP3D_init_tables(MP3D_Decoder_State *state);
int32_t MP3D_init_huffman(uint8_t *start, int32_t bytes_left, MP3D_Decode_Config *config,
                          MP3D_Decoder_State *state);

}  // namespace mp3d

#endif
