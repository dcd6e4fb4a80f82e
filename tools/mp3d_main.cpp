// Placeholder command-line tool; replaced by the full decoder front end.
#include <cstdio>

#include "mp3d.h"

int main() {
    MP3D_Decode_Config config{};
    return mp3d_query_dec_mem(&config) == MP3D_OK ? 0 : 1;
}
