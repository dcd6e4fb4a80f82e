#include "stream_file.h"

#include <sys/stat.h>

namespace mp3d_tools {

int32_t StreamFile::read(void *user, uint8_t *dest, int32_t bytes) {
    auto *f = static_cast<StreamFile *>(user);
    if (f->stop_ != nullptr && *f->stop_ != 0) return 0;
    const size_t want =
        static_cast<size_t>(bytes) < f->block_ ? static_cast<size_t>(bytes) : f->block_;
    const size_t got = std::fread(dest, 1, want, f->input_);
    if (got == 0 && std::ferror(f->input_)) {
        f->read_failed_ = true;
        return -1;
    }
    return static_cast<int32_t>(got);
}

int64_t StreamFile::seek(void *user, int64_t offset, int32_t whence) {
    auto *f = static_cast<StreamFile *>(user);
    if (fseeko(f->input_, static_cast<off_t>(offset), whence == 2 ? SEEK_END : SEEK_SET) != 0)
        return -1;
    return static_cast<int64_t>(ftello(f->input_));
}

int32_t StreamFile::open(std::FILE *input, size_t block, bool gapless,
                         const volatile std::sig_atomic_t *stop) {
    input_ = input;
    block_ = block;
    stop_ = stop;
    struct stat st;
    const bool regular = fstat(fileno(input), &st) == 0 && S_ISREG(st.st_mode);
    MP3D_Stream_Config config{};
    config.read = read;
    config.seek = regular ? seek : nullptr;
    config.user = this;
    config.no_gapless = gapless ? 0 : 1;
    mp3d_stream_query_mem(&config);
    for (int i = 0; i < MP3D_STREAM_MEM_CHUNKS; ++i) {
        memory_[i].assign(static_cast<size_t>(config.mem_size[i]) / 8 + 1, 0);
        config.mem[i] = memory_[i].data();
    }
    const int32_t status = mp3d_stream_open(&config, &stream_);
    if (status == MP3D_STREAM_OK) mp3d_stream_get_info(stream_, &info_);
    return status;
}

uint64_t StreamFile::bytes_read() const {
    MP3D_Stream_Stats s{};
    if (stream_ == nullptr || mp3d_stream_get_stats(stream_, &s) != MP3D_STREAM_OK) return 0;
    return static_cast<uint64_t>(s.bytes_read);
}

DecodeStats StreamFile::stats() const {
    DecodeStats d;
    d.read_failed = read_failed_;
    MP3D_Stream_Stats s{};
    if (stream_ == nullptr || mp3d_stream_get_stats(stream_, &s) != MP3D_STREAM_OK) return d;
    d.first_info.sample_rate = info_.sample_rate;
    d.first_info.num_channels = info_.num_channels;
    d.first_info.samples_per_frame = info_.samples_per_frame;
    d.first_info.bitrate_kbps = info_.bitrate_kbps;
    d.first_info.layer = info_.layer;
    d.frames = static_cast<uint64_t>(s.frames);
    d.layer3_granules = static_cast<uint64_t>(s.layer3_granules);
    d.layer2_frames = static_cast<uint64_t>(s.layer2_frames);
    d.output_calls = static_cast<uint64_t>(s.layer3_granules + s.layer2_frames);
    d.output_words = static_cast<uint64_t>(s.layer3_granules * 576 + s.layer2_frames * 1152) *
                     static_cast<uint64_t>(info_.num_channels);
    d.silent_granules = static_cast<uint64_t>(s.silent_granules);
    d.free_format_frames = static_cast<uint64_t>(s.free_format_frames);
    d.bytes_in = static_cast<uint64_t>(s.bytes_read);
    d.callbacks = static_cast<uint64_t>(s.read_calls);
    d.min_bitrate = s.min_bitrate_kbps;
    d.max_bitrate = s.max_bitrate_kbps;
    d.format_changed = s.format_changed != 0;
    for (int32_t code = 0; code < 64; ++code)
        if (s.status_counts[code] > 0) d.codes[code] = static_cast<uint64_t>(s.status_counts[code]);
    return d;
}

const char *info_frame_name(int32_t kind) {
    switch (kind) {
        case MP3D_STREAM_INFO_XING:
            return "Xing";
        case MP3D_STREAM_INFO_INFO:
            return "Info";
        case MP3D_STREAM_INFO_VBRI:
            return "VBRI";
        default:
            return "none";
    }
}

}  // namespace mp3d_tools
