// Decoders measured by the throughput benchmark: mp3d itself and, when their
// development packages were found at configure time, the peers (libmpg123,
// libmad, libavcodec), all used as black boxes through their public APIs.
#ifndef MP3D_BENCH_PEERS_H
#define MP3D_BENCH_PEERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mp3d_bench {

// One stream, held in memory, with guard bytes of zeros after its end (libmad
// needs them to decode the last frame; the others never see them).
struct Stream {
    std::string name;
    std::vector<uint8_t> data;  // size() includes the guard
    size_t size = 0;            // stream bytes
};

// What one decode of a whole stream produced.
struct DecodeResult {
    bool ok = false;
    uint64_t samples = 0;  // output samples, all channels
    int32_t rate = 0;
    int32_t channels = 0;
    uint64_t checksum = 0;  // keeps the output observable
};

struct Decoder {
    const char *name;
    // Decodes the whole stream once from memory: a fresh decoder instance,
    // every frame, released at the end. before_release, when given, is
    // called after the last frame while the instance still exists.
    DecodeResult (*decode)(const Stream &stream, void (*before_release)());
};

// mp3d first, then the peers built in, in a fixed order.
std::vector<Decoder> all_decoders();

}  // namespace mp3d_bench

#endif
