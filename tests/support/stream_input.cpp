#include "support/stream_input.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace mp3d_test {

int32_t memory_read(void *user, uint8_t *dest, int32_t bytes) {
    auto *f = static_cast<MemoryFile *>(user);
    const int64_t size = static_cast<int64_t>(f->data->size());
    int64_t n = size - f->pos;
    if (n > bytes) n = bytes;
    if (n > f->max_read) n = f->max_read;
    if (n <= 0) return 0;
    std::memcpy(dest, f->data->data() + f->pos, static_cast<size_t>(n));
    f->pos += n;
    ++f->reads;
    return static_cast<int32_t>(n);
}

int64_t memory_seek(void *user, int64_t offset, int32_t whence) {
    auto *f = static_cast<MemoryFile *>(user);
    const int64_t to = whence == 2 ? static_cast<int64_t>(f->data->size()) + offset : offset;
    if (to < 0) return -1;
    f->pos = to;
    return to;
}

OpenStream::OpenStream(const std::vector<uint8_t> &data, bool seekable, int32_t max_read,
                       MP3D_Stream_Config config) {
    file.data = &data;
    file.max_read = max_read;
    config.read = memory_read;
    config.seek = seekable ? memory_seek : nullptr;
    config.user = &file;
    if (mp3d_stream_query_mem(&config) != MP3D_STREAM_OK) return;
    for (int i = 0; i < MP3D_STREAM_MEM_CHUNKS; ++i) {
        mem[i].assign((static_cast<size_t>(config.mem_size[i]) + 7) / 8, 0);
        config.mem[i] = mem[i].data();
    }
    status = mp3d_stream_open(&config, &stream);
    if (stream != nullptr) channels = info().num_channels;
}

MP3D_Stream_Info OpenStream::info() const {
    MP3D_Stream_Info i{};
    mp3d_stream_get_info(stream, &i);
    return i;
}

int32_t OpenStream::read(std::vector<int32_t> &out, int64_t samples) {
    std::vector<int32_t> pcm(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Stream_Block block{};
    int64_t got = 0;
    while (samples < 0 || got < samples) {
        const int32_t status = mp3d_stream_read(stream, pcm.data(), &block);
        if (status != MP3D_STREAM_OK) return status;
        int64_t n = block.samples;
        if (samples >= 0 && got + n > samples) n = samples - got;
        out.insert(out.end(), pcm.begin(), pcm.begin() + n * block.num_channels);
        got += n;
    }
    return MP3D_STREAM_OK;
}

std::vector<int32_t> decode_all(const std::vector<uint8_t> &data, MP3D_Stream_Config config) {
    OpenStream s(data, true, 1 << 30, config);
    std::vector<int32_t> out;
    if (s.stream != nullptr) s.read(out);
    return out;
}

std::string make_in_temp_dir(const std::string &name, const std::string &command) {
    const std::string dir = testing::TempDir() + "mp3d_stream_" + name + "_" +
                            std::to_string(testing::UnitTest::GetInstance()->random_seed());
    const std::string script = "rm -rf '" + dir + "' && mkdir -p '" + dir + "' && cd '" + dir +
                               "' && (" + command + ") > /dev/null 2>&1";
    return std::system(script.c_str()) == 0 ? dir : "";
}

}  // namespace mp3d_test
