// Cost of exact seeks through the stream layer on files: the time and the
// input bytes and seek callbacks of an open, a first seek to the middle, a
// second seek to three quarters (the seek index filled by the first), and
// the read of one block after each.
// Usage: mp3d_stream_seek_bench [--once] FILE...   (--once: the seek to the middle only)
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "mp3d_stream.h"

namespace {

int32_t read_file(void *user, uint8_t *dest, int32_t bytes) {
    return static_cast<int32_t>(
        std::fread(dest, 1, static_cast<size_t>(bytes), static_cast<FILE *>(user)));
}
int64_t seek_file(void *user, int64_t offset, int32_t whence) {
    if (fseeko(static_cast<FILE *>(user), offset, whence == 2 ? SEEK_END : SEEK_SET) != 0)
        return -1;
    return ftello(static_cast<FILE *>(user));
}

double microseconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - since)
        .count();
}

}  // namespace

int main(int argc, char **argv) {
    std::printf("%-28s %8s %9s | %-28s | %-28s\n", "file", "MB", "minutes",
                "open: us, kB read, seeks", "seek 1/2 + read: us, kB, seeks");
    const bool once = argc > 1 && std::string(argv[1]) == "--once";
    for (int a = once ? 2 : 1; a < argc; ++a) {
        FILE *f = std::fopen(argv[a], "rb");
        if (f == nullptr) return 1;
        MP3D_Stream_Config config{};
        config.read = read_file;
        config.seek = seek_file;
        config.user = f;
        mp3d_stream_query_mem(&config);
        std::vector<uint64_t> mem[3];
        for (int i = 0; i < 3; ++i) {
            mem[i].resize(static_cast<size_t>(config.mem_size[i]) / 8 + 1);
            config.mem[i] = mem[i].data();
        }
        std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
        MP3D_Stream *s = nullptr;
        auto t = std::chrono::steady_clock::now();
        if (mp3d_stream_open(&config, &s) != MP3D_STREAM_OK) return 1;
        const double open_us = microseconds(t);
        MP3D_Stream_Info info{};
        mp3d_stream_get_info(s, &info);
        MP3D_Stream_Stats stats{};
        mp3d_stream_get_stats(s, &stats);
        const int64_t open_bytes = stats.bytes_read, open_seeks = stats.seek_calls;
        std::printf("%-28s %8.1f %9.1f | %9.0f %9.1f %6lld |", argv[a], info.audio_end / 1e6,
                    info.total_samples / 60.0 / info.sample_rate, open_us, open_bytes / 1e3,
                    static_cast<long long>(open_seeks));
        int64_t bytes = open_bytes, seeks = open_seeks;
        for (int64_t at : {info.total_samples / 2, info.total_samples * 3 / 4}) {
            if (once && at != info.total_samples / 2) break;
            MP3D_Stream_Block block{};
            t = std::chrono::steady_clock::now();
            mp3d_stream_seek(s, at);
            mp3d_stream_read(s, pcm.data(), &block);
            const double us = microseconds(t);
            mp3d_stream_get_stats(s, &stats);
            std::printf(" %9.0f %9.1f %6lld |", us, (stats.bytes_read - bytes) / 1e3,
                        static_cast<long long>(stats.seek_calls - seeks));
            bytes = stats.bytes_read;
            seeks = stats.seek_calls;
        }
        std::printf("\n");
        std::fclose(f);
    }
    return 0;
}
