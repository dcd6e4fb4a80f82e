/*
 * mp3ddec: a GStreamer audio decoder element around the mp3d library.
 *
 * Takes parsed MPEG-1/2/2.5 Layer II and Layer III frames (as mpegaudioparse
 * delivers them) and outputs interleaved S16LE or S24_32LE PCM. The library
 * pulls its input through a callback; the element hands it one queued input
 * buffer per callback and only calls the decoder while more than any one
 * call can read is queued, so the callback never runs dry mid-stream. Only
 * at the end of the stream (drain) does it report the end of input, after
 * which the decoder is initialised afresh. Seeks and flushes initialise it
 * afresh too.
 */
#include <gst/audio/audio.h>
#include <gst/audio/gstaudiodecoder.h>
#include <gst/gst.h>
#include <stdlib.h>
#include <string.h>

#include "mp3d.h"

GST_DEBUG_CATEGORY_STATIC(mp3ddec_debug);
#define GST_CAT_DEFAULT mp3ddec_debug

/* Bytes that must be queued before a decoder call: more than one call reads
 * in the worst case (a sync search over 301 bytes, a free-format length
 * measurement over 1728 bytes, and a frame of at most 2881 bytes). */
#define MP3DDEC_RESERVE 6144

#define GST_TYPE_MP3D_DEC (gst_mp3d_dec_get_type())
G_DECLARE_FINAL_TYPE(GstMp3dDec, gst_mp3d_dec, GST, MP3D_DEC, GstAudioDecoder)

/* Samples to cut from the start and the end of one input frame's output. */
typedef struct {
    guint64 start, end;
} Mp3dClip;

/* The decoder hands the callback its config: the config comes first so
 * that the callback finds the element from it. */
typedef struct {
    MP3D_Decode_Config config;
    GstMp3dDec *self;
} Mp3dFeed;

struct _GstMp3dDec {
    GstAudioDecoder parent;
    Mp3dFeed feed;
    void *chunks[MP3D_MEM_CHUNKS];
    gboolean ready; /* decoder initialised */
    GQueue queue;   /* input buffers not yet handed to the decoder */
    gsize queued_bytes;
    GstBuffer *block; /* the buffer the decoder is reading */
    GstMapInfo block_map;
    gboolean draining;     /* report the end of input when the queue is empty */
    guint pending;         /* input frames not yet finished */
    GArray *clips;         /* their gapless clipping, in samples (Mp3dClip) */
    MP3D_Frame_Info info;  /* the frame being decoded */
    gboolean measure_next; /* a free-format frame would be measured */
    GByteArray *out;       /* output of that frame so far */
    gint out_rate, out_channels;
    GstAudioFormat out_format;
    int32_t pcm[MP3D_MAX_OUTPUT_WORDS];
};

G_DEFINE_TYPE(GstMp3dDec, gst_mp3d_dec, GST_TYPE_AUDIO_DECODER)

static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/mpeg, mpegversion = (int) 1, layer = (int) [ 2, 3 ], "
                    "parsed = (boolean) true, rate = (int) { 8000, 11025, 12000, 16000, 22050, "
                    "24000, 32000, 44100, 48000 }, channels = (int) [ 1, 2 ]"));

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/x-raw, format = (string) { S16LE, S24_32LE }, "
                    "layout = (string) interleaved, rate = (int) { 8000, 11025, 12000, 16000, "
                    "22050, 24000, 32000, 44100, 48000 }, channels = (int) [ 1, 2 ]"));

static void release_block(GstMp3dDec *self) {
    if (self->block != NULL) {
        gst_buffer_unmap(self->block, &self->block_map);
        gst_buffer_unref(self->block);
        self->block = NULL;
    }
}

static int32_t feed_input(const uint8_t **buffer, int32_t *bytes_left, MP3D_Decode_Config *config) {
    GstMp3dDec *self = ((Mp3dFeed *)config)->self;
    release_block(self);
    GstBuffer *next;
    while ((next = g_queue_pop_head(&self->queue)) != NULL) {
        self->queued_bytes -= gst_buffer_get_size(next);
        if (gst_buffer_get_size(next) > 0 && gst_buffer_map(next, &self->block_map, GST_MAP_READ)) {
            self->block = next;
            *buffer = self->block_map.data;
            *bytes_left = (int32_t)MIN(self->block_map.size, G_MAXINT32);
            return 0;
        }
        gst_buffer_unref(next);
    }
    /* Reached only at the end of the stream: the reserve rule keeps data
     * queued for every call made before it. */
    if (!self->draining) GST_WARNING_OBJECT(self, "input ran out before the end of the stream");
    *bytes_left = 0;
    return 0;
}

static void clear_input(GstMp3dDec *self) {
    release_block(self);
    g_queue_clear_full(&self->queue, (GDestroyNotify)gst_buffer_unref);
    self->queued_bytes = 0;
}

static gboolean init_decoder(GstMp3dDec *self) {
    clear_input(self);
    self->draining = FALSE;
    self->pending = 0;
    g_array_set_size(self->clips, 0);
    self->measure_next = TRUE;
    memset(&self->info, 0, sizeof self->info);
    g_byte_array_set_size(self->out, 0);
    self->feed.config.input_callback = feed_input;
    self->feed.config.pcm_no_shift = 1; /* 24-bit; shifted here for S16LE */
    /* The pointer comes back to the first callback, which ignores it. */
    static const uint8_t no_input[1];
    self->ready = mp3d_decode_init(&self->feed.config, no_input) == MP3D_OK;
    if (!self->ready) GST_ERROR_OBJECT(self, "mp3d_decode_init failed");
    return self->ready;
}

static gboolean gst_mp3d_dec_start(GstAudioDecoder *dec) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    self->feed.self = self;
    if (mp3d_query_dec_mem(&self->feed.config) != MP3D_OK) return FALSE;
    for (int i = 0; i < MP3D_MEM_CHUNKS; i++) {
        const gsize size = ((gsize)self->feed.config.mem_info[i].size + 15) & ~(gsize)15;
        self->chunks[i] = aligned_alloc(16, size);
        if (self->chunks[i] == NULL) return FALSE;
        self->feed.config.mem_info[i].base = self->chunks[i];
    }
    self->out_rate = self->out_channels = 0;
    return init_decoder(self);
}

static gboolean gst_mp3d_dec_stop(GstAudioDecoder *dec) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    clear_input(self);
    for (int i = 0; i < MP3D_MEM_CHUNKS; i++) {
        free(self->chunks[i]);
        self->chunks[i] = NULL;
    }
    self->ready = FALSE;
    return TRUE;
}

static gboolean gst_mp3d_dec_set_format(GstAudioDecoder *dec, GstCaps *caps) {
    GST_DEBUG_OBJECT(dec, "input caps %" GST_PTR_FORMAT, caps);
    return TRUE;
}

/* S16LE unless downstream takes only S24_32LE. */
static GstAudioFormat choose_format(GstMp3dDec *self, gint rate, gint channels) {
    GstCaps *allowed = gst_pad_get_allowed_caps(GST_AUDIO_DECODER_SRC_PAD(self));
    GstAudioFormat format = GST_AUDIO_FORMAT_S16LE;
    if (allowed != NULL) {
        GstCaps *s16 =
            gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S16LE", "rate", G_TYPE_INT,
                                rate, "channels", G_TYPE_INT, channels, NULL);
        GstCaps *s24 =
            gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S24_32LE", "rate",
                                G_TYPE_INT, rate, "channels", G_TYPE_INT, channels, NULL);
        if (!gst_caps_can_intersect(allowed, s16) && gst_caps_can_intersect(allowed, s24))
            format = GST_AUDIO_FORMAT_S24_32LE;
        gst_caps_unref(s16);
        gst_caps_unref(s24);
        gst_caps_unref(allowed);
    }
    return format;
}

static gboolean negotiate_output(GstMp3dDec *self, gint rate, gint channels) {
    if (rate == self->out_rate && channels == self->out_channels) return TRUE;
    GstAudioInfo info;
    self->out_format = choose_format(self, rate, channels);
    gst_audio_info_init(&info);
    gst_audio_info_set_format(&info, self->out_format, rate, channels, NULL);
    if (!gst_audio_decoder_set_output_format(GST_AUDIO_DECODER(self), &info)) return FALSE;
    self->out_rate = rate;
    self->out_channels = channels;
    return TRUE;
}

/* Finishes one input frame with the output collected for it, less the
 * samples that the parser marked for gapless clipping (the information
 * frame, the encoder delay, the padding). */
static GstFlowReturn finish_output(GstMp3dDec *self) {
    GstBuffer *buffer = NULL;
    if (self->pending == 0) return GST_FLOW_OK; /* kept for the next input frame */
    const Mp3dClip clip = g_array_index(self->clips, Mp3dClip, 0);
    g_array_remove_index(self->clips, 0);
    const gsize frame_bytes =
        (gsize)self->out_channels * (self->out_format == GST_AUDIO_FORMAT_S16LE ? 2 : 4);
    const gsize len = self->out->len;
    const gsize cut_start = MIN((gsize)clip.start * frame_bytes, len);
    const gsize cut_end = MIN((gsize)clip.end * frame_bytes, len - cut_start);
    if (len > cut_start + cut_end)
        buffer = gst_buffer_new_memdup(self->out->data + cut_start, len - cut_start - cut_end);
    g_byte_array_set_size(self->out, 0);
    self->pending--;
    return gst_audio_decoder_finish_frame(GST_AUDIO_DECODER(self), buffer, 1);
}

static void append_output(GstMp3dDec *self, gsize words) {
    if (self->out_format == GST_AUDIO_FORMAT_S16LE) {
        const guint old = self->out->len;
        g_byte_array_set_size(self->out, old + (guint)(words * 2));
        for (gsize i = 0; i < words; i++) {
            const int32_t s = self->pcm[i] >> 8;
            self->out->data[old + 2 * i] = (guint8)s;
            self->out->data[old + 2 * i + 1] = (guint8)(s >> 8);
        }
    } else {
        const guint old = self->out->len;
        g_byte_array_set_size(self->out, old + (guint)(words * 4));
        for (gsize i = 0; i < words; i++)
            GST_WRITE_UINT32_LE(self->out->data + old + 4 * i, (guint32)self->pcm[i]);
    }
}

/* One decoder call. Returns FALSE at the end of the stream. */
static gboolean decode_call(GstMp3dDec *self, GstFlowReturn *flow) {
    MP3D_Frame_Info info = self->info;
    info.layer = -1; /* tells whether the call began a frame */
    const int32_t status = mp3d_decode_frame(&self->feed.config, &info, self->pcm);
    if (info.layer != -1 || status == MP3D_END_OF_STREAM) {
        /* A new frame (or the end): the previous frame is complete. */
        if (self->info.layer != 0 || self->out->len > 0) *flow = finish_output(self);
        /* The first free-format frame after a reset is measured, not
         * decoded: this call has gone through two input frames. */
        if (info.layer != -1 && info.bitrate_kbps == 0 && self->measure_next &&
            *flow == GST_FLOW_OK)
            *flow = finish_output(self);
        if (info.layer != -1) self->info = info, self->measure_next = FALSE;
    }
    /* Errors that reset the decoder's stream state. */
    if (status != MP3D_OK && status != MP3D_END_OF_STREAM && status != MP3D_ERROR_MAIN_DATA &&
        status != MP3D_ERROR_HUFFMAN)
        self->measure_next = TRUE;
    if (status == MP3D_END_OF_STREAM || status == MP3D_ERROR_INIT ||
        status == MP3D_ERROR_NULL_POINTER)
        return FALSE;
    if (status != MP3D_OK && status != MP3D_ERROR_HUFFMAN) {
        GST_DEBUG_OBJECT(self, "stream error %d", status);
        return TRUE;
    }
    if (status == MP3D_ERROR_HUFFMAN) memset(self->pcm, 0, sizeof self->pcm); /* keeps timing */
    const gsize words =
        (gsize)(self->info.layer == 2 ? 1152 : 576) * (gsize)self->info.num_channels;
    if (!negotiate_output(self, self->info.sample_rate, self->info.num_channels)) {
        *flow = GST_FLOW_NOT_NEGOTIATED;
        return FALSE;
    }
    append_output(self, words);
    return TRUE;
}

static GstFlowReturn gst_mp3d_dec_handle_frame(GstAudioDecoder *dec, GstBuffer *buffer) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    GstFlowReturn flow = GST_FLOW_OK;
    if (!self->ready) return GST_FLOW_ERROR;
    if (buffer != NULL) {
        g_queue_push_tail(&self->queue, gst_buffer_ref(buffer));
        self->queued_bytes += gst_buffer_get_size(buffer);
        self->pending++;
        Mp3dClip clip = {0, 0};
        const GstAudioClippingMeta *meta = gst_buffer_get_audio_clipping_meta(buffer);
        if (meta != NULL && meta->format == GST_FORMAT_DEFAULT) {
            clip.start = meta->start;
            clip.end = meta->end;
        }
        /* The parser marks the encoder's information frame decode-only. */
        if (GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DECODE_ONLY)) clip.start = G_MAXUINT32;
        g_array_append_val(self->clips, clip);
        gboolean running = TRUE;
        while (flow == GST_FLOW_OK && running && self->queued_bytes >= MP3DDEC_RESERVE)
            running = decode_call(self, &flow);
        if (!running && flow == GST_FLOW_OK) {
            /* The decoder ended although the stream goes on: drop what is
             * queued and start afresh. */
            while (flow == GST_FLOW_OK && self->pending > 0) flow = finish_output(self);
            init_decoder(self);
        }
        return flow;
    }
    /* Drain: decode everything, then start afresh for what may follow. */
    self->draining = TRUE;
    while (flow == GST_FLOW_OK && decode_call(self, &flow)) {
    }
    while (flow == GST_FLOW_OK && self->pending > 0) flow = finish_output(self);
    init_decoder(self);
    return flow;
}

static void gst_mp3d_dec_flush(GstAudioDecoder *dec, gboolean hard) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    (void)hard;
    if (self->ready || self->chunks[0] != NULL) init_decoder(self);
}

static void gst_mp3d_dec_init(GstMp3dDec *self) {
    g_queue_init(&self->queue);
    self->out = g_byte_array_new();
    self->clips = g_array_new(FALSE, FALSE, sizeof(Mp3dClip));
    gst_audio_decoder_set_drainable(GST_AUDIO_DECODER(self), TRUE);
    gst_audio_decoder_set_needs_format(GST_AUDIO_DECODER(self), TRUE);
    gst_audio_decoder_set_use_default_pad_acceptcaps(GST_AUDIO_DECODER_CAST(self), TRUE);
    GST_PAD_SET_ACCEPT_TEMPLATE(GST_AUDIO_DECODER_SINK_PAD(self));
}

static void gst_mp3d_dec_finalize(GObject *object) {
    GstMp3dDec *self = GST_MP3D_DEC(object);
    clear_input(self);
    g_byte_array_unref(self->out);
    g_array_unref(self->clips);
    G_OBJECT_CLASS(gst_mp3d_dec_parent_class)->finalize(object);
}

static void gst_mp3d_dec_class_init(GstMp3dDecClass *klass) {
    GstElementClass *element_class = GST_ELEMENT_CLASS(klass);
    GstAudioDecoderClass *decoder_class = GST_AUDIO_DECODER_CLASS(klass);
    G_OBJECT_CLASS(klass)->finalize = gst_mp3d_dec_finalize;
    gst_element_class_add_static_pad_template(element_class, &sink_template);
    gst_element_class_add_static_pad_template(element_class, &src_template);
    gst_element_class_set_static_metadata(
        element_class, "mp3d MPEG audio decoder", "Codec/Decoder/Audio",
        "Decodes MPEG-1/2/2.5 Layer II and Layer III audio with the fixed-point mp3d library",
        "mp3d developers");
    decoder_class->start = GST_DEBUG_FUNCPTR(gst_mp3d_dec_start);
    decoder_class->stop = GST_DEBUG_FUNCPTR(gst_mp3d_dec_stop);
    decoder_class->set_format = GST_DEBUG_FUNCPTR(gst_mp3d_dec_set_format);
    decoder_class->handle_frame = GST_DEBUG_FUNCPTR(gst_mp3d_dec_handle_frame);
    decoder_class->flush = GST_DEBUG_FUNCPTR(gst_mp3d_dec_flush);
}

static gboolean plugin_init(GstPlugin *plugin) {
    GST_DEBUG_CATEGORY_INIT(mp3ddec_debug, "mp3ddec", 0, "mp3d MPEG audio decoder");
    /* Below the usual primary decoders: selected by rank only when raised,
     * e.g. GST_PLUGIN_FEATURE_RANK=mp3ddec:primary+1. */
    return gst_element_register(plugin, "mp3ddec", GST_RANK_SECONDARY, GST_TYPE_MP3D_DEC);
}

#define PACKAGE "mp3d"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, mp3d,
                  "MPEG audio Layer II/III decoding with the fixed-point mp3d library", plugin_init,
                  MP3D_VERSION, GST_LICENSE_UNKNOWN, "mp3d", "mp3d")
