#include "peers.h"

#include <cstring>

#include "decoder/decoder_state.h"
#include "kernels/kernel_set.h"
#include "mp3d.h"

#ifdef MP3D_BENCH_HAVE_MPG123
#include <mpg123.h>
#endif
#ifdef MP3D_BENCH_HAVE_MAD
#include <mad.h>
#endif
#ifdef MP3D_BENCH_HAVE_AVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}
#endif

namespace mp3d_bench {

namespace {

// Folds a block of output into the checksum (cheap, so that the work of the
// decoders dominates; it only has to keep the output observable).
inline uint64_t fold(uint64_t sum, const void *data, size_t bytes) {
    uint64_t word = 0;
    std::memcpy(&word, data, bytes < 8 ? bytes : 8);
    return sum * 31 + word + bytes;
}

// --- mp3d: the public API, the whole stream handed over as one block. ---
// Its own loop rather than the harness's (tools/harness/decode_run.h): the
// chunks are static so that the memory probe sees no heap of ours, and no
// per-call callback or copy is timed with the decoder.

struct Mp3dInput {
    MP3D_Decode_Config config;  // first member: the callback gets this record
    const uint8_t *data;
    int32_t size;
    bool given;
};

int32_t mp3d_input(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config) {
    auto *in = reinterpret_cast<Mp3dInput *>(config);
    if (in->given) {
        *bytes_left = 0;
        return 0;
    }
    in->given = true;
    *buffer = in->data;
    *bytes_left = in->size;
    return 0;
}

DecodeResult decode_mp3d_with(const Stream &stream, const mp3d::MP3D_Kernel_Set *kernels,
                              void (*before_release)()) {
    DecodeResult r;
    Mp3dInput in{};
    in.data = stream.data.data();
    in.size = static_cast<int32_t>(stream.size);
    in.config.input_callback = mp3d_input;
    if (mp3d_query_dec_mem(&in.config) != MP3D_OK) return r;
    // The application's chunks: static storage here, so that any heap use
    // seen during a decode would be the library's own.
    alignas(16) static uint8_t chunk_store[2][32768];
    for (int i = 0; i < 2; ++i) {
        if (in.config.mem_info[i].size > static_cast<int32_t>(sizeof(chunk_store[i]))) return r;
        in.config.mem_info[i].base = chunk_store[i];
    }
    if (mp3d_decode_init(&in.config, in.data) == MP3D_OK) {
        static_cast<mp3d::MP3D_Decoder_State *>(in.config.decoder_state)->kernels = kernels;
        static int32_t pcm[MP3D_MAX_OUTPUT_WORDS];
        MP3D_Frame_Info info{};
        for (;;) {
            const int32_t code = mp3d_decode_frame(&in.config, &info, pcm);
            if (code == MP3D_END_OF_STREAM) break;
            if (code == MP3D_OK) {
                const uint64_t words = static_cast<uint64_t>(info.layer == 2 ? 1152 : 576) *
                                       static_cast<uint64_t>(info.num_channels);
                r.samples += words;
                r.checksum = fold(r.checksum, pcm + 100, 32);
                r.rate = info.sample_rate;
                r.channels = info.num_channels;
            } else if (code >= MP3D_ERROR_INIT) {
                break;
            }
        }
        r.ok = r.samples > 0;
        if (before_release != nullptr) before_release();
    }
    return r;
}

// mp3d with the portable kernels, and with the processor-specific kernels
// (AVX2, ARMv6) where this build and processor have them.
DecodeResult decode_mp3d_portable(const Stream &stream, void (*before_release)()) {
    return decode_mp3d_with(stream, &mp3d::kPortableKernels, before_release);
}
DecodeResult decode_mp3d_avx2(const Stream &stream, void (*before_release)()) {
    return decode_mp3d_with(stream, mp3d::MP3D_avx2_kernels(), before_release);
}
DecodeResult decode_mp3d_armv6(const Stream &stream, void (*before_release)()) {
    return decode_mp3d_with(stream, mp3d::MP3D_armv6_kernels(), before_release);
}

#ifdef MP3D_BENCH_HAVE_MPG123
// --- libmpg123: fed from memory, 16-bit output at the native rate. ---

DecodeResult decode_mpg123_with(const Stream &stream, const char *decoder,
                                void (*before_release)()) {
    DecodeResult r;
    int err = MPG123_OK;
    mpg123_handle *mh = mpg123_new(decoder, &err);
    if (mh == nullptr) return r;
    // No gapless trimming, the info frame decoded like any other frame, as
    // mp3d does; no messages.
    mpg123_param(mh, MPG123_FLAGS, MPG123_IGNORE_INFOFRAME | MPG123_QUIET, 0.0);
    if (mpg123_open_feed(mh) == MPG123_OK &&
        mpg123_feed(mh, stream.data.data(), stream.size) == MPG123_OK) {
        for (;;) {
            off_t frame_number = 0;
            unsigned char *audio = nullptr;
            size_t bytes = 0;
            const int code = mpg123_decode_frame(mh, &frame_number, &audio, &bytes);
            if (code == MPG123_NEW_FORMAT) {
                long rate = 0;
                int channels = 0, encoding = 0;
                mpg123_getformat(mh, &rate, &channels, &encoding);
                r.rate = static_cast<int32_t>(rate);
                r.channels = channels;
                continue;
            }
            if (code != MPG123_OK) break;
            r.samples += bytes / 2;
            r.checksum = fold(r.checksum, audio + 200, 32);
        }
        r.ok = r.samples > 0;
        if (before_release != nullptr) before_release();
    }
    mpg123_delete(mh);
    return r;
}

DecodeResult decode_mpg123(const Stream &stream, void (*before_release)()) {
    return decode_mpg123_with(stream, nullptr, before_release);
}

DecodeResult decode_mpg123_generic(const Stream &stream, void (*before_release)()) {
    return decode_mpg123_with(stream, "generic", before_release);
}
#endif

#ifdef MP3D_BENCH_HAVE_MAD
// --- libmad: the low-level frame API, output rounded and clipped to 16 bits
// as an application must do with its fixed-point samples. ---

inline int16_t mad_to_16(mad_fixed_t s) {
    s += 1L << (MAD_F_FRACBITS - 16);
    if (s >= MAD_F_ONE) s = MAD_F_ONE - 1;
    if (s < -MAD_F_ONE) s = -MAD_F_ONE;
    return static_cast<int16_t>(s >> (MAD_F_FRACBITS + 1 - 16));
}

DecodeResult decode_mad(const Stream &stream, void (*before_release)()) {
    DecodeResult r;
    mad_stream ms;
    mad_frame mf;
    mad_synth syn;
    mad_stream_init(&ms);
    mad_frame_init(&mf);
    mad_synth_init(&syn);
    mad_stream_buffer(&ms, stream.data.data(), stream.data.size());
    static int16_t pcm[2 * 1152];
    for (;;) {
        if (mad_frame_decode(&mf, &ms) != 0) {
            if (MAD_RECOVERABLE(ms.error)) continue;
            break;
        }
        mad_synth_frame(&syn, &mf);
        const unsigned n = syn.pcm.length, channels = syn.pcm.channels;
        for (unsigned i = 0; i < n; ++i)
            for (unsigned c = 0; c < channels; ++c)
                pcm[i * channels + c] = mad_to_16(syn.pcm.samples[c][i]);
        r.samples += static_cast<uint64_t>(n) * channels;
        r.checksum = fold(r.checksum, pcm + 100, 32);
        r.rate = static_cast<int32_t>(syn.pcm.samplerate);
        r.channels = static_cast<int32_t>(channels);
    }
    r.ok = r.samples > 0;
    if (before_release != nullptr) before_release();
    mad_synth_finish(&syn);
    mad_frame_finish(&mf);
    mad_stream_finish(&ms);
    return r;
}
#endif

#ifdef MP3D_BENCH_HAVE_AVCODEC
// --- libavcodec: its MPEG audio parser splits the frames, the named decoder
// (fixed "mp3"/"mp2" or floating "mp3float"/"mp2float") decodes them. ---

DecodeResult decode_avcodec_with(const Stream &stream, bool fixed, void (*before_release)()) {
    DecodeResult r;
    av_log_set_level(AV_LOG_QUIET);
    // The stream's layer picks the decoder: the first header's layer bits.
    bool layer2 = false;
    for (size_t i = 0; i + 1 < stream.size; ++i)
        if (stream.data[i] == 0xff && (stream.data[i + 1] & 0xe0) == 0xe0) {
            layer2 = ((stream.data[i + 1] >> 1) & 3) == 2;
            break;
        }
    const char *name = layer2 ? (fixed ? "mp2" : "mp2float") : (fixed ? "mp3" : "mp3float");
    const AVCodec *codec = avcodec_find_decoder_by_name(name);
    if (codec == nullptr) return r;
    AVCodecParserContext *parser = av_parser_init(codec->id);
    AVCodecContext *ctx = avcodec_alloc_context3(codec);
    AVPacket *pkt = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    if (parser != nullptr && ctx != nullptr && pkt != nullptr && frame != nullptr &&
        avcodec_open2(ctx, codec, nullptr) == 0) {
        auto drain = [&] {
            while (avcodec_receive_frame(ctx, frame) == 0) {
                const int channels = frame->ch_layout.nb_channels;
                r.samples += static_cast<uint64_t>(frame->nb_samples) * channels;
                r.checksum = fold(r.checksum, frame->data[0] + 200, 32);
                r.rate = frame->sample_rate;
                r.channels = channels;
            }
        };
        const uint8_t *p = stream.data.data();
        size_t left = stream.size;
        bool flushed = false;
        while (!flushed) {
            const int used =
                av_parser_parse2(parser, ctx, &pkt->data, &pkt->size, p, static_cast<int>(left),
                                 AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
            if (used < 0) break;
            p += used;
            left -= static_cast<size_t>(used);
            if (pkt->size > 0) {
                if (avcodec_send_packet(ctx, pkt) == 0) drain();
            } else if (left == 0) {
                flushed = true;  // the parser has handed over its last frame
            }
        }
        avcodec_send_packet(ctx, nullptr);
        drain();
        r.ok = r.samples > 0;
        if (before_release != nullptr) before_release();
    }
    av_frame_free(&frame);
    av_packet_free(&pkt);
    avcodec_free_context(&ctx);
    if (parser != nullptr) av_parser_close(parser);
    return r;
}

DecodeResult decode_avcodec_fixed(const Stream &stream, void (*before_release)()) {
    return decode_avcodec_with(stream, true, before_release);
}

DecodeResult decode_avcodec_float(const Stream &stream, void (*before_release)()) {
    return decode_avcodec_with(stream, false, before_release);
}
#endif

}  // namespace

std::vector<Decoder> all_decoders() {
    std::vector<Decoder> d;
    d.push_back({"mp3d", decode_mp3d_portable});
    if (mp3d::MP3D_avx2_kernels() != nullptr) d.push_back({"mp3d-avx2", decode_mp3d_avx2});
    if (mp3d::MP3D_armv6_kernels() != nullptr) d.push_back({"mp3d-armv6", decode_mp3d_armv6});
#ifdef MP3D_BENCH_HAVE_MPG123
    d.push_back({"mpg123", decode_mpg123});
    d.push_back({"mpg123-generic", decode_mpg123_generic});
#endif
#ifdef MP3D_BENCH_HAVE_MAD
    d.push_back({"libmad", decode_mad});
#endif
#ifdef MP3D_BENCH_HAVE_AVCODEC
    d.push_back({"lavc-fixed", decode_avcodec_fixed});
    d.push_back({"lavc-float", decode_avcodec_float});
#endif
    return d;
}

}  // namespace mp3d_bench
