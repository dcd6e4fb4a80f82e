// The stream layer's exported entry points: memory query, open (tags,
// first frame, information frame, length), reads with gapless trimming, and
// exact seeks.
#include <cstddef>
#include <cstring>
#include <new>

#include "stream/info_frame.h"
#include "stream/stream_state.h"
#include "stream/tags.h"

using namespace mp3d_stream;

namespace {

constexpr int32_t kDefaultBuffer = 16384;
constexpr int32_t kMinBuffer = 8192;
constexpr int32_t kMaxBuffer = 1 << 24;
constexpr int32_t kDefaultIndex = 2048;
constexpr int32_t kMinIndex = 16;
constexpr int32_t kMaxIndex = 1 << 22;

// The body of a free-format stand-in frame.
const uint8_t kZeros[kMaxFrameBytes] = {};

int32_t round8(size_t n) {
    return static_cast<int32_t>((n + 7) / 8 * 8);
}

bool sizes(const MP3D_Stream_Config &c, int32_t *buffer, int32_t *index) {
    *buffer = c.buffer_bytes == 0 ? kDefaultBuffer : c.buffer_bytes;
    *index = c.index_entries == 0 ? kDefaultIndex : c.index_entries;
    return *buffer >= kMinBuffer && *buffer <= kMaxBuffer && *index >= kMinIndex &&
           *index <= kMaxIndex;
}

// The decoder's input callback: hands over the audio from s->feed on, up to
// the end of the audio (and, while a forward-only input's end is not known,
// not the last `hold` bytes read, which may be a tag).
int32_t feed_decoder(const uint8_t **buffer, int32_t *bytes, MP3D_Decode_Config *config) {
    auto *s = reinterpret_cast<MP3D_Stream *>(config);
    ByteWindow &w = s->window;
    const uint8_t *p = nullptr;
    *bytes = 0;
    // Free format: a stand-in for the frame the decoder measures (its
    // header, then zeros: no false sync word inside), handed in two blocks.
    if (s->stand_in_stage == 1) {
        s->stand_in_stage = 2;
        *buffer = s->stand_in_header;
        *bytes = 4;
        return 0;
    }
    if (s->stand_in_stage == 2) {
        s->stand_in_stage = 0;
        *buffer = kZeros;
        *bytes = s->stand_in_bytes - 4;
        return 0;
    }
    int64_t end = s->info.audio_end;
    int32_t n = window_fetch(w, s->feed, w.capacity, &p);
    if (end < 0) {
        if (w.source_end) {
            // The whole rest of the input is in the window: find the end tags.
            int64_t tail_end = w.base + w.size;
            for (int i = 0; i < 4; ++i) {
                const int64_t behind = tail_end - w.base;
                const int32_t tail =
                    static_cast<int32_t>(behind < kTailBytes ? behind : kTailBytes);
                const EndTagFound tag = end_tag(w.data + (tail_end - tail - w.base), tail,
                                                tail_end - s->info.audio_offset);
                if (tag.kind == EndTag::kNone) break;
                MP3D_Stream_Tag *slot = tag.kind == EndTag::kId3v1   ? &s->info.id3v1
                                        : tag.kind == EndTag::kApev2 ? &s->info.apev2
                                                                     : &s->info.id3v2_end;
                tail_end -= tag.bytes;
                *slot = MP3D_Stream_Tag{tail_end, tag.bytes};
            }
            end = s->info.audio_end = tail_end < s->feed ? s->feed : tail_end;
        } else {
            n = n > s->hold ? n - static_cast<int32_t>(s->hold) : 0;
            if (n == 0 && !w.failed) n = 1;  // cannot happen with hold < capacity
        }
    }
    if (end >= 0 && s->feed + n > end) n = static_cast<int32_t>(end - s->feed);
    if (n <= 0 || w.failed) return 0;
    *buffer = p;
    *bytes = n;
    s->feed += n;
    return 0;
}

// Restarts the decoder at frame `frame`, which begins at input offset
// `offset`.
bool restart(MP3D_Stream *s, int64_t frame, int64_t offset) {
    s->core.input_callback = feed_decoder;
    s->core.pcm_no_shift = 1;
    if (mp3d_decode_init(&s->core, s->window.data) != MP3D_OK) return false;
    s->feed = offset;
    s->next_start = frame * s->first.samples_per_frame;
    s->frame_start = s->next_start;
    s->granule = 0;
    s->frame_samples = s->first.samples_per_frame;
    s->layer = s->first.layer;
    s->channels = s->first.channels;
    s->sample_rate = s->first.sample_rate;
    s->ended = false;
    s->stand_in_stage = 0;
    // The decoder measures the first free-format frame it meets and does not
    // decode it: it first gets a stand-in of the same length, so that the
    // real frame plays.
    if (s->free_base > 0) {
        const uint8_t *p = nullptr;
        MpegHeader h;
        if (window_fetch(s->window, offset, 4, &p) == 4 && parse_header(p, h) &&
            frame_length(h, s->free_base) <= kMaxFrameBytes) {
            std::memcpy(s->stand_in_header, p, 4);
            s->stand_in_bytes = frame_length(h, s->free_base);
            s->stand_in_stage = 1;
        }
    }
    return true;
}

// Reads the end tags of a seekable input; sets audio_end.
void read_end_tags(MP3D_Stream *s, int64_t size) {
    int64_t end = size;
    for (int i = 0; i < 4; ++i) {
        const int64_t before = end - s->info.audio_offset;
        const int32_t tail =
            static_cast<int32_t>(before < kTailBytes ? (before > 0 ? before : 0) : kTailBytes);
        const uint8_t *p = nullptr;
        if (tail == 0 || window_fetch(s->window, end - tail, tail, &p) != tail) break;
        const EndTagFound tag = end_tag(p, tail, before);
        if (tag.kind == EndTag::kNone) break;
        MP3D_Stream_Tag *slot = tag.kind == EndTag::kId3v1   ? &s->info.id3v1
                                : tag.kind == EndTag::kApev2 ? &s->info.apev2
                                                             : &s->info.id3v2_end;
        end -= tag.bytes;
        *slot = MP3D_Stream_Tag{end, tag.bytes};
    }
    s->info.audio_end = end;
}

// Offset of frame k of a constant-bitrate stream, checked: a header of the
// stream at most 2 bytes from the ideal place, whose successor follows.
// -1 when there is none.
int64_t constant_offset(MP3D_Stream *s, int64_t k) {
    const MpegHeader &h = s->first;
    // Average frame length: samples / 8 * bitrate / rate bytes.
    const int64_t num = int64_t{h.samples_per_frame} * h.bitrate_kbps * 125;
    const int64_t ideal = s->info.audio_offset + k * num / h.sample_rate;
    static const int8_t kNear[5] = {0, 1, -1, 2, -2};
    for (const int8_t d : kNear) {
        const int64_t at = ideal + d;
        if (at < s->info.audio_offset) continue;
        if (at == s->info.audio_offset && k == 0) return at;
        const uint8_t *p = nullptr;
        const int32_t n = window_fetch(s->window, at, kMaxFrameBytes + 4, &p);
        MpegHeader a, b;
        if (n < 4 || !parse_header(p, a) || !same_stream(a, h) || a.bitrate_kbps != h.bitrate_kbps)
            continue;
        if (n == a.frame_bytes ||
            (n >= a.frame_bytes + 4 && parse_header(p + a.frame_bytes, b) && same_stream(a, b)))
            return at;
    }
    return -1;
}

// Whether the audio runs on well past the bytes that the Xing/Info frame
// counts from its own start (files joined together). Where the end of the
// audio is not known yet (a forward-only input), a frame header where the
// counted bytes end tells; only what the input buffer holds is looked at,
// since the decoder's current block must stay where it is.
bool runs_on(const MP3D_Stream *s) {
    const MP3D_Stream_Info &info = s->info;
    if (info.info_bytes <= 0 ||
        (info.info_frame != MP3D_STREAM_INFO_XING && info.info_frame != MP3D_STREAM_INFO_INFO))
        return false;
    const int64_t counted_end = s->info_offset + info.info_bytes;
    if (info.audio_end >= 0) return info.audio_end > counted_end + 4 * kMaxFrameBytes;
    const ByteWindow &w = s->window;
    if (counted_end < w.base || counted_end + 4 > w.base + w.size) return false;
    MpegHeader h;
    return parse_header(w.data + (counted_end - w.base), h) && same_stream(h, s->first);
}

// Untrimmed position of the next sample the decoder delivers.
int64_t next_position(const MP3D_Stream *s) {
    if (s->layer == 3 && s->granule > 0 && s->granule * 576 < s->frame_samples)
        return s->frame_start + int64_t{s->granule} * 576;
    return s->next_start;
}

}  // namespace

extern "C" MP3D_API int32_t mp3d_stream_query_mem(MP3D_Stream_Config *config) {
    if (config == nullptr) return MP3D_STREAM_ERROR_ARGUMENT;
    int32_t buffer = 0, index = 0;
    if (!sizes(*config, &buffer, &index)) return MP3D_STREAM_ERROR_ARGUMENT;
    MP3D_Decode_Config core{};
    mp3d_query_dec_mem(&core);
    config->mem_size[0] = core.mem_info[0].size;
    config->mem_size[1] = core.mem_info[1].size;
    config->mem_size[2] = round8(sizeof(MP3D_Stream)) + round8(static_cast<size_t>(buffer)) +
                          index * static_cast<int32_t>(sizeof(IndexEntry));
    return MP3D_STREAM_OK;
}

extern "C" MP3D_API int32_t mp3d_stream_open(const MP3D_Stream_Config *config,
                                             MP3D_Stream **stream) {
    if (stream != nullptr) *stream = nullptr;
    int32_t buffer = 0, entries = 0;
    if (config == nullptr || stream == nullptr || config->read == nullptr ||
        !sizes(*config, &buffer, &entries))
        return MP3D_STREAM_ERROR_ARGUMENT;
    MP3D_Stream_Config sized = *config;
    if (mp3d_stream_query_mem(&sized) != MP3D_STREAM_OK) return MP3D_STREAM_ERROR_ARGUMENT;
    for (int i = 0; i < MP3D_STREAM_MEM_CHUNKS; ++i)
        if (config->mem[i] == nullptr || reinterpret_cast<uintptr_t>(config->mem[i]) % 8 != 0)
            return MP3D_STREAM_ERROR_ARGUMENT;

    auto *bytes = static_cast<uint8_t *>(config->mem[2]);
    std::memset(bytes, 0, static_cast<size_t>(sized.mem_size[2]));
    auto *s = new (bytes) MP3D_Stream();
    s->config = sized;
    mp3d_query_dec_mem(&s->core);
    for (int i = 0; i < MP3D_MEM_CHUNKS; ++i) s->core.mem_info[i].base = config->mem[i];
    uint8_t *input = bytes + round8(sizeof(MP3D_Stream));
    window_init(s->window, sized, input, buffer);
    index_init(s->index,
               reinterpret_cast<IndexEntry *>(input + round8(static_cast<size_t>(buffer))),
               entries);
    s->hold = buffer / 4;
    MP3D_Stream_Info &info = s->info;
    info.audio_end = -1;
    info.total_samples = -1;
    info.info_frames = info.info_bytes = -1;
    info.info_quality = info.encoder_delay = info.encoder_padding = -1;
    info.seekable = config->seek != nullptr;
    ByteWindow &w = s->window;

    // The end of the input and its tags, when it can be seen now (first: the
    // head is read once, after it).
    if (info.seekable) {
        const int64_t size = window_input_size(w);
        if (size < 0) return MP3D_STREAM_ERROR_IO;
        read_end_tags(s, size);
        if (w.failed) return MP3D_STREAM_ERROR_IO;
    }

    // Leading ID3v2 tags, back to back.
    int64_t at = 0;
    for (;;) {
        const uint8_t *p = nullptr;
        if (window_fetch(w, at, 10, &p) < 10) break;
        const int64_t tag = id3v2_tag_bytes(p);
        if (tag == 0 || (info.audio_end >= 0 && at + tag > info.audio_end)) break;
        at += tag;
    }
    info.id3v2 = MP3D_Stream_Tag{0, at};
    if (w.failed) return MP3D_STREAM_ERROR_IO;

    FoundFrame first;
    if (!find_frame(w, at, kFirstFrameReach, info.audio_end, nullptr, 0, first))
        return w.failed ? MP3D_STREAM_ERROR_IO : MP3D_STREAM_ERROR_NO_AUDIO;
    s->first = first.header;
    s->free_base = first.free_base;
    info.audio_offset = first.offset;

    InfoFrame tag{};
    const uint8_t *p = nullptr;
    if (window_fetch(w, first.offset, first.bytes, &p) == first.bytes &&
        parse_info_frame(p, first.bytes, first.header, tag)) {
        info.audio_offset = first.offset + first.bytes;
        s->info_offset = first.offset;
        info.info_frame = tag.kind;
        info.info_frames = tag.frames;
        info.info_bytes = tag.bytes;
        info.info_quality = tag.quality;
        info.has_lame = tag.has_lame;
        std::memcpy(info.encoder, tag.encoder, sizeof info.encoder);
        info.vbr_method = tag.vbr_method;
        info.lowpass_hz = tag.lowpass_hz;
        info.lame_bitrate_kbps = tag.lame_bitrate_kbps;
        info.encoder_delay = tag.delay;
        info.encoder_padding = tag.padding;
        // The first audio frame's parameters are the stream's.
        MpegHeader audio;
        if (window_fetch(w, info.audio_offset, 4, &p) == 4 && parse_header(p, audio) &&
            same_stream(audio, first.header))
            s->first = audio;
    }
    // Free format without information frame: the decoder measures the first
    // frame and never plays it; neither does the stream (its output equals
    // the decoder's on the bare stream). Later restarts hand the decoder a
    // stand-in to measure instead.
    if (s->free_base > 0 && info.info_frame == MP3D_STREAM_INFO_NONE)
        info.audio_offset = first.offset + first.bytes;
    const MpegHeader &h = s->first;
    info.sample_rate = h.sample_rate;
    info.num_channels = h.channels;
    info.layer = h.layer;
    info.version = h.version;
    info.bitrate_kbps = h.bitrate_kbps;
    info.samples_per_frame = h.samples_per_frame;

    // Constant bitrate: an "Info" frame; or none, the first frames alike
    // and the audio a whole number of frames long.
    if (h.bitrate_kbps != 0 && info.info_frame == MP3D_STREAM_INFO_INFO) s->constant = true;
    if (h.bitrate_kbps != 0 && info.info_frame == MP3D_STREAM_INFO_NONE && info.audio_end >= 0) {
        bool alike = true;
        int64_t at = info.audio_offset;
        for (int i = 0; i < 8 && alike && at + 4 <= info.audio_end; ++i) {
            MpegHeader next;
            alike = window_fetch(w, at, 4, &p) == 4 && parse_header(p, next) &&
                    same_stream(next, h) && next.bitrate_kbps == h.bitrate_kbps;
            at += next.frame_bytes;
        }
        const int64_t num = int64_t{h.samples_per_frame} * h.bitrate_kbps * 125;
        const int64_t audio = info.audio_end - info.audio_offset;
        const int64_t whole = (audio * h.sample_rate + num / 2) / num;
        const int64_t off = audio - whole * num / h.sample_rate;
        s->constant = alike && off >= -2 && off <= 2;
    }
    s->frames = -1;
    if (runs_on(s)) {
        info.longer_than_tag = 1;
        info.info_frames = -1;
    }
    if (info.info_frames >= 0) {
        s->frames = info.info_frames;
        info.length_exact = 1;
    }
    const bool gapless = config->no_gapless == 0 && info.has_lame && tag.delay >= 0 &&
                         h.layer == 3 && info.info_frame != MP3D_STREAM_INFO_VBRI;
    s->trim = make_trim(s->frames, h.samples_per_frame, gapless ? tag.delay : -1,
                        gapless ? tag.padding : -1);
    info.gapless = gapless;
    info.total_samples = s->trim.length;
    if (s->frames < 0 && s->constant && info.audio_end >= 0) {
        // Estimated from the size: frames of the average length.
        const int64_t num = int64_t{h.samples_per_frame} * h.bitrate_kbps * 125;
        const int64_t estimate =
            ((info.audio_end - info.audio_offset) * h.sample_rate + num / 2) / num;
        info.total_samples = estimate * h.samples_per_frame - s->trim.skip;
        if (info.total_samples < 0) info.total_samples = 0;
    }
    if (w.failed) return MP3D_STREAM_ERROR_IO;

    s->block_channels = h.channels;
    s->block_rate = h.sample_rate;
    if (!restart(s, 0, info.audio_offset)) return MP3D_STREAM_ERROR_ARGUMENT;
    s->from = 0;
    s->position = 0;
    *stream = s;
    return MP3D_STREAM_OK;
}

extern "C" MP3D_API int32_t mp3d_stream_get_info(const MP3D_Stream *stream,
                                                 MP3D_Stream_Info *info) {
    if (stream == nullptr || info == nullptr) return MP3D_STREAM_ERROR_ARGUMENT;
    *info = stream->info;
    return MP3D_STREAM_OK;
}

extern "C" MP3D_API int32_t mp3d_stream_read(MP3D_Stream *s, void *pcm, MP3D_Stream_Block *block) {
    if (s == nullptr || pcm == nullptr || block == nullptr) return MP3D_STREAM_ERROR_ARGUMENT;
    *block = MP3D_Stream_Block{};
    auto *words = static_cast<int32_t *>(pcm);
    const Trim &trim = s->trim;
    while (!s->ended) {
        // Past the exact end: the rest is the encoder's padding.
        if (trim.length >= 0 && next_position(s) >= trim.skip + trim.length) {
            s->ended = true;
            break;
        }
        MP3D_Frame_Info frame{};
        const int32_t status = mp3d_decode_frame(&s->core, &frame, words);
        MP3D_Stream_Stats &stats = s->stats;
        ++stats.status_counts[status & 63];
        if (s->window.failed) return MP3D_STREAM_ERROR_IO;
        if (status == MP3D_END_OF_STREAM) {
            s->ended = true;
            break;
        }
        if (frame.sample_rate != 0) {
            // The call began a frame.
            ++stats.frames;
            if (frame.bitrate_kbps == 0) {
                ++stats.free_format_frames;
            } else {
                if (stats.min_bitrate_kbps == 0 || frame.bitrate_kbps < stats.min_bitrate_kbps)
                    stats.min_bitrate_kbps = frame.bitrate_kbps;
                if (frame.bitrate_kbps > stats.max_bitrate_kbps)
                    stats.max_bitrate_kbps = frame.bitrate_kbps;
            }
            if (stats.frames > 1 &&
                (frame.num_channels != s->channels || frame.sample_rate != s->sample_rate))
                stats.format_changed = 1;
            s->frame_start = s->next_start;
            s->next_start += frame.samples_per_frame;
            s->granule = 0;
            s->frame_samples = frame.samples_per_frame;
            s->layer = frame.layer;
            s->channels = frame.num_channels;
            s->sample_rate = frame.sample_rate;
        }
        int64_t at = 0;
        int32_t n = 0;
        if (status == MP3D_ERROR_MAIN_DATA) {
            // A frame whose main data is not held (the start of a cut
            // stream, the first frames after a seek): played as silence so
            // that every frame keeps its place in time.
            at = s->next_start;
            n = s->frame_samples;
            s->next_start += n;
            ++stats.silent_frames;
            std::memset(words, 0, sizeof(int32_t) * static_cast<size_t>(n * s->channels));
        } else if (status == MP3D_OK || status == MP3D_ERROR_FRAME_END ||
                   status == MP3D_ERROR_HUFFMAN) {
            // One Layer III granule or one Layer II frame.
            n = s->layer == 3 ? 576 : s->frame_samples;
            at = s->frame_start + int64_t{s->granule} * n;
            ++s->granule;
            ++(s->layer == 3 ? stats.layer3_granules : stats.layer2_frames);
            stats.silent_granules += status == MP3D_ERROR_HUFFMAN;
            if (status == MP3D_ERROR_HUFFMAN)
                std::memset(words, 0, sizeof(int32_t) * static_cast<size_t>(n * s->channels));
        } else {
            continue;  // no PCM: the decoder resynchronises
        }
        if (!s->end_checked && trim.length >= 0 && at + n >= trim.skip + trim.length) {
            s->end_checked = true;
            if (runs_on(s)) {
                s->info.longer_than_tag = 1;
                s->info.length_exact = 0;
                s->info.total_samples = -1;
                s->trim.length = -1;
            }
        }
        int32_t first = 0, count = 0;
        trim_block(trim, at, n, s->from, &first, &count);
        if (count == 0) continue;
        const int32_t channels = s->channels;
        if (first > 0)
            std::memmove(words, words + first * channels,
                         sizeof(int32_t) * static_cast<size_t>(count * channels));
        if (s->config.pcm_16bit) {
            // In place, front to back: each 16-bit sample lands at or before
            // the word it comes from.
            auto *out = static_cast<uint8_t *>(pcm);
            for (int32_t i = 0; i < count * channels; ++i) {
                const int16_t v = mp3d_pcm_round16(words[i]);
                std::memcpy(out + 2 * i, &v, 2);
            }
        }
        block->samples = count;
        block->num_channels = channels;
        block->sample_rate = s->sample_rate;
        block->format_changed = channels != s->block_channels || s->sample_rate != s->block_rate;
        block->position = at + first - trim.skip;
        block->decoder_status = status;
        s->block_channels = channels;
        s->block_rate = s->sample_rate;
        s->position = block->position + count;
        return MP3D_STREAM_OK;
    }
    return MP3D_STREAM_END;
}

extern "C" MP3D_API int32_t mp3d_stream_seek(MP3D_Stream *s, int64_t sample) {
    if (s == nullptr) return MP3D_STREAM_ERROR_ARGUMENT;
    // Beyond 2^40 samples (more than 250 days) nothing lies; the bound keeps
    // the offset arithmetic in range.
    if (sample < 0) sample = 0;
    if (sample > (int64_t{1} << 40)) sample = int64_t{1} << 40;
    const Trim &trim = s->trim;
    if (trim.length >= 0 && sample >= trim.length) {
        s->ended = true;
        s->position = trim.length;
        return MP3D_STREAM_OK;
    }
    const int64_t target = sample + trim.skip;  // untrimmed
    if (!s->info.seekable) {
        // Forward only: decode on and drop up to the target.
        if (s->ended || target < next_position(s) || target < s->from)
            return MP3D_STREAM_ERROR_SEEK;
        s->from = target;
        s->position = sample;
        return MP3D_STREAM_OK;
    }
    const MpegHeader &h = s->first;
    const int32_t spf = h.samples_per_frame;
    const int64_t f = target / spf;
    // The frames before f that must decode as in a decode from the start:
    // the two granules before it (overlap and synthesis history; Layer II:
    // the synthesis history, one frame) plus one frame of margin, from
    // frame e on; before e, Layer III frames holding the longest reach of
    // main_data_begin.
    const int64_t e = f - (h.layer == 3 && h.version != 1 ? 2 : 1) - 1;
    const int32_t reservoir = h.layer == 3 ? max_main_data_begin(h) : 0;
    int64_t start = 0, offset = s->info.audio_offset;
    bool placed = e <= 0;
    if (!placed && s->constant) {
        const int32_t per_frame = main_data_bytes(h, h.frame_bytes - h.padding);
        const int64_t back = reservoir == 0  ? 0
                             : per_frame > 0 ? (reservoir + per_frame - 1) / per_frame
                                             : kRecentFrames - 2;
        start = e - back > 0 ? e - back : 0;
        offset = constant_offset(s, start);
        placed = offset >= 0;
    }
    if (!placed) {
        const IndexEntry entry =
            index_lookup(s->index, f + 1 > kRecentFrames ? f + 1 - kRecentFrames : 0);
        const int64_t reached = walk_frames(s->window, s->index, h, s->free_base,
                                            s->info.audio_offset, s->info.audio_end, entry.frame,
                                            s->info.audio_offset + entry.offset, f + 1, s->recent);
        if (s->window.failed) return MP3D_STREAM_ERROR_IO;
        if (reached <= f) {
            // The target lies beyond the last frame.
            s->ended = true;
            const int64_t end = reached * spf - trim.skip;
            s->position = end > 0 ? end : 0;
            return MP3D_STREAM_OK;
        }
        // Frames recent[] holds: f + 1 - kRecentFrames .. f.
        const int64_t oldest = f + 1 > kRecentFrames ? f + 1 - kRecentFrames : 0;
        start = e;
        for (int32_t held = 0; held < reservoir && start > oldest;)
            held += s->recent[--start % kRecentFrames].main_data;
        offset = s->recent[start % kRecentFrames].offset;
    }
    if (!restart(s, start, offset)) return MP3D_STREAM_ERROR_ARGUMENT;
    s->from = target;
    s->position = sample;
    return s->window.failed ? MP3D_STREAM_ERROR_IO : MP3D_STREAM_OK;
}

extern "C" MP3D_API int64_t mp3d_stream_tell(const MP3D_Stream *s) {
    return s == nullptr ? -1 : s->position;
}

extern "C" MP3D_API int32_t mp3d_stream_get_stats(const MP3D_Stream *s, MP3D_Stream_Stats *stats) {
    if (s == nullptr || stats == nullptr) return MP3D_STREAM_ERROR_ARGUMENT;
    *stats = s->stats;
    stats->bytes_read = s->window.bytes_read;
    stats->read_calls = s->window.reads;
    stats->seek_calls = s->window.seeks;
    return MP3D_STREAM_OK;
}
