// Placeholder until this module is implemented.
#include "decoder/mp2_alloc_table.h"

namespace mp3d {

void MP2D_decode_init(MP3D_Decoder_State *) {}
void MP2D_reset_state() {}
int32_t MP2D_pick_table(MP3D_Decoder_State *) {
    return 0;
}
void MP2D_initialize_alloc_table(MP3D_Decoder_State *, int) {}

}  // namespace mp3d
