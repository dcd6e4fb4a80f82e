/*
 * mp3ddec: a GStreamer audio decoder element around the mp3d library.
 *
 * Takes parsed MPEG-1/2/2.5 Layer II and Layer III frames (as mpegaudioparse
 * delivers them, one frame per buffer) and outputs interleaved S16LE
 * (24-bit output rounded to 16 bits) or S24_32LE PCM.
 *
 * Input: the library pulls its input through a callback, which hands it one
 * queued frame per call; a block stays mapped and unchanged until the next
 * call. A callback that reports no data ends the decoder's input for good,
 * so the element calls the decoder only while the frame after the one it
 * decodes is queued as well: a call reads its own frame and at most the
 * first bytes of the next one (the window refill, and the look at the next
 * header that confirms a sync). That gives an output frame for every input
 * frame with one frame of look-ahead. The end of input is reported only when
 * draining at the end of the stream (EOS).
 *
 * Discontinuities: when the parser loses sync on damaged input it marks the
 * next frame DISCONT, and the base class drains the element first and drops
 * the input frames it has not finished. Such a drain in mid-stream finishes
 * every queued frame but keeps the decoder running: a frame that still
 * waits for its look-ahead is decoded with a few zero bytes in place of the
 * next frame's start, which the next header search passes over. The decoder
 * then goes on with the frames after the gap: Layer III frames find their
 * main data in the reservoir, and output keeps its timing (silence for
 * frames that cannot be decoded).
 *
 * Timing: every input frame is finished with exactly its own samples, so
 * that the base class's timestamps stay right: a frame the decoder could not
 * decode (main data not yet in the reservoir after a seek, a damaged frame)
 * is finished with silence. Frames before the first decoded one after a
 * start, seek or flush are finished empty instead, so the first buffer takes
 * the timestamp of the first decoded frame; the parser's lead-in frames
 * before a seek target fill the reservoir, and the base class clips what
 * lies before the target.
 *
 * Errors that make the decoder search for sync again (other than missing
 * main data and Huffman overruns) restart it on the next queued frame, so
 * that the frames it reads stay the frames the element counts.
 */
#include <gst/audio/audio.h>
#include <gst/audio/gstaudiodecoder.h>
#include <gst/gst.h>
#include <stdlib.h>
#include <string.h>

#include "mp3d.h"

GST_DEBUG_CATEGORY_STATIC(mp3ddec_debug);
#define GST_CAT_DEFAULT mp3ddec_debug

#define GST_TYPE_MP3D_DEC (gst_mp3d_dec_get_type())
G_DECLARE_FINAL_TYPE(GstMp3dDec, gst_mp3d_dec, GST, MP3D_DEC, GstAudioDecoder)

/* One input frame that is not finished yet. */
typedef struct {
    GstBuffer *buffer;
    guint samples;              /* per channel, from its header; 0 if it has none */
    gboolean free_format;       /* bitrate index 0 */
    guint layer;                /* 2 or 3 */
    guint64 cut_start, cut_end; /* gapless clipping, in samples */
} Mp3dFrame;

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
    gboolean ready;   /* decoder initialised */
    GQueue frames;    /* unfinished input frames, oldest first (Mp3dFrame) */
    GList *next_feed; /* link in frames of the next frame to hand over */
    GstBuffer *block; /* the buffer the decoder is reading */
    GstMapInfo block_map;
    gboolean draining;     /* report the end of input when nothing is queued */
    gboolean eos;          /* a drain now ends the stream (EOS, new segment) */
    gboolean bridge;       /* hand zeros once when the queue runs dry (mid-stream drain) */
    gboolean starved;      /* the callback ran dry before the end of the stream */
    gboolean begun;        /* the decoder has begun the oldest frame */
    gint calls_left;       /* decoder calls still to come for that frame */
    gint layer;            /* its layer */
    gboolean measure_next; /* a free-format frame would be measured */
    gboolean synced;       /* a header step succeeded since the last restart */
    gboolean locked;       /* output has begun since the start or last flush */
    gboolean any_decoded;  /* a frame decoded without error since start */
    GByteArray *out;       /* output of the oldest frame so far */
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

/* Handed to the decoder when the queue runs dry before the end of the
 * stream (which the look-ahead rule prevents on parsed input): zeros hold
 * no sync word, so the call fails and the element restarts the decoder. */
static const uint8_t no_data[512];

/* Zeros that stand in for the start of the frame after a mid-stream drain:
 * more than a Layer II frame's end step reads past its frame, well within
 * the header search's reach. */
#define BRIDGE_BYTES 16

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
    while (self->next_feed != NULL) {
        Mp3dFrame *frame = self->next_feed->data;
        self->next_feed = self->next_feed->next;
        if (gst_buffer_get_size(frame->buffer) > 0 &&
            gst_buffer_map(frame->buffer, &self->block_map, GST_MAP_READ)) {
            self->block = gst_buffer_ref(frame->buffer);
            *buffer = self->block_map.data;
            *bytes_left = (int32_t)MIN(self->block_map.size, G_MAXINT32);
            return 0;
        }
    }
    if (self->draining) {
        *bytes_left = 0;
        return 0;
    }
    if (self->bridge) {
        self->bridge = FALSE;
        *buffer = no_data;
        *bytes_left = BRIDGE_BYTES;
        return 0;
    }
    GST_WARNING_OBJECT(self, "input ran out before the end of the stream");
    self->starved = TRUE;
    *buffer = no_data;
    *bytes_left = (int32_t)sizeof no_data;
    return 0;
}

static void free_frame(Mp3dFrame *frame) {
    gst_buffer_unref(frame->buffer);
    g_free(frame);
}

/* Lays the decoder out afresh. Frames not yet handed to it stay queued. */
static gboolean restart_decoder(GstMp3dDec *self) {
    release_block(self);
    self->starved = FALSE;
    self->begun = FALSE;
    self->measure_next = TRUE;
    self->synced = FALSE;
    g_byte_array_set_size(self->out, 0);
    self->feed.config.input_callback = feed_input;
    self->feed.config.pcm_no_shift = 1; /* 24-bit; rounded here for S16LE */
    /* The pointer comes back to the first callback, which ignores it. */
    static const uint8_t no_input[1];
    self->ready = mp3d_decode_init(&self->feed.config, no_input) == MP3D_OK;
    if (!self->ready) GST_ERROR_OBJECT(self, "mp3d_decode_init failed");
    return self->ready;
}

/* Drops every queued frame (start, seek, flush, after a drain). */
static gboolean reset_stream(GstMp3dDec *self) {
    release_block(self);
    g_queue_clear_full(&self->frames, (GDestroyNotify)free_frame);
    self->next_feed = NULL;
    self->draining = FALSE;
    self->bridge = FALSE;
    self->locked = FALSE;
    return restart_decoder(self);
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
    self->any_decoded = FALSE;
    return reset_stream(self);
}

static gboolean gst_mp3d_dec_stop(GstAudioDecoder *dec) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    reset_stream(self);
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

static gsize bytes_per_sample(const GstMp3dDec *self) {
    return (gsize)self->out_channels * (self->out_format == GST_AUDIO_FORMAT_S16LE ? 2 : 4);
}

/* Finishes the oldest input frame with the output collected for it. With
 * pad, output that falls short of the frame's length (a frame the decoder
 * failed on) is completed with silence once output has begun. The samples
 * that the parser marked for gapless clipping (the information frame, the
 * encoder delay, the padding) are cut. */
static GstFlowReturn finish_oldest(GstMp3dDec *self, gboolean pad) {
    Mp3dFrame *frame = g_queue_peek_head(&self->frames);
    if (frame == NULL) return GST_FLOW_OK;
    if (self->next_feed == self->frames.head) self->next_feed = self->next_feed->next;
    g_queue_pop_head(&self->frames);
    GstBuffer *buffer = NULL;
    /* Input in which no frame decoded is no MPEG audio: it gives no output,
     * and at the end the base class reports that no valid frames were
     * decoded. */
    if (self->locked && (self->any_decoded || !self->draining)) {
        const gsize frame_bytes = bytes_per_sample(self);
        const gsize want = (gsize)frame->samples * frame_bytes;
        if (pad && self->out->len < want) {
            const guint old = self->out->len;
            g_byte_array_set_size(self->out, (guint)want);
            memset(self->out->data + old, 0, want - old);
        }
        const gsize len = self->out->len;
        const gsize cut_start = MIN(frame->cut_start * frame_bytes, len);
        const gsize cut_end = MIN(frame->cut_end * frame_bytes, len - cut_start);
        if (len > cut_start + cut_end)
            buffer = gst_buffer_new_memdup(self->out->data + cut_start, len - cut_start - cut_end);
    }
    GST_LOG_OBJECT(self, "frame of %u samples finished with %" G_GSIZE_FORMAT " bytes",
                   frame->samples, buffer != NULL ? gst_buffer_get_size(buffer) : 0);
    free_frame(frame);
    g_byte_array_set_size(self->out, 0);
    self->begun = FALSE;
    return gst_audio_decoder_finish_frame(GST_AUDIO_DECODER(self), buffer, 1);
}

static void append_output(GstMp3dDec *self, gsize words) {
    const guint old = self->out->len;
    if (self->out_format == GST_AUDIO_FORMAT_S16LE) {
        g_byte_array_set_size(self->out, old + (guint)(words * 2));
        for (gsize i = 0; i < words; i++)
            GST_WRITE_UINT16_LE(self->out->data + old + 2 * i,
                                (guint16)mp3d_pcm_round16(self->pcm[i]));
    } else {
        g_byte_array_set_size(self->out, old + (guint)(words * 4));
        for (gsize i = 0; i < words; i++)
            GST_WRITE_UINT32_LE(self->out->data + old + 4 * i, (guint32)self->pcm[i]);
    }
    self->locked = TRUE;
}

/* After an error that sends the decoder back to the sync search: the frames
 * it has read are finished (with silence) and it restarts on the next
 * queued frame, so that its frames and the element's stay in step. */
static GstFlowReturn restart_after_error(GstMp3dDec *self) {
    GstFlowReturn flow = GST_FLOW_OK;
    while (flow == GST_FLOW_OK && self->frames.head != NULL && self->frames.head != self->next_feed)
        flow = finish_oldest(self, TRUE);
    if (!restart_decoder(self)) return GST_FLOW_ERROR;
    return flow;
}

/* Whether everything the next decoder call reads is queued. A Layer III
 * frame's header step reads the frame up to its last byte and no further,
 * and a second granule reads no input. Other calls read into the next
 * frame: the first header step after a (re)start confirms the sync by the
 * next frame's header (two frames ahead when it measures a free-format
 * length), and a Layer II frame's end step fills the bit window from the
 * next frame. When draining, the end of the input is reported instead. */
static gboolean can_decode(const GstMp3dDec *self) {
    if (self->draining) return self->frames.length > 0;
    const Mp3dFrame *oldest = g_queue_peek_head((GQueue *)&self->frames);
    if (oldest == NULL) return FALSE;
    guint need = 1;
    if (!self->begun) {
        if (!self->synced)
            need = oldest->free_format ? 3 : 2;
        else if (oldest->samples == 0 || oldest->layer != 3)
            need = 2;
    }
    return self->frames.length >= need;
}

/* Whether the next input frame begins where the oldest one ends: a frame
 * decoded from stray bytes that happened to look like a header (a picture,
 * say) is not taken as proof that the input is MPEG audio. */
static gboolean followed(const GstMp3dDec *self) {
    if (self->frames.head == NULL || self->frames.head->next == NULL) return FALSE;
    const GstBuffer *a = ((const Mp3dFrame *)self->frames.head->data)->buffer;
    const GstBuffer *b = ((const Mp3dFrame *)self->frames.head->next->data)->buffer;
    if (GST_BUFFER_OFFSET(a) == GST_BUFFER_OFFSET_NONE ||
        GST_BUFFER_OFFSET(b) == GST_BUFFER_OFFSET_NONE)
        return TRUE;
    return GST_BUFFER_OFFSET(a) + gst_buffer_get_size((GstBuffer *)a) == GST_BUFFER_OFFSET(b);
}

/* One decoder call. Returns FALSE at the end of the input. */
static gboolean decode_call(GstMp3dDec *self, GstFlowReturn *flow) {
    MP3D_Frame_Info info;
    memset(&info, 0, sizeof info);
    info.layer = -1; /* tells whether the call began a frame */
    const int32_t status = mp3d_decode_frame(&self->feed.config, &info, self->pcm);
    GST_LOG_OBJECT(self, "status %d", status);
    if (status == MP3D_END_OF_STREAM) return FALSE;
    if (self->starved) {
        *flow = restart_after_error(self);
        return TRUE;
    }
    if (info.layer != -1) {
        /* The first free-format frame after a restart is measured, not
         * decoded: the call has gone through it into the next frame. */
        if (info.bitrate_kbps == 0 && self->measure_next) *flow = finish_oldest(self, TRUE);
        self->measure_next = FALSE;
        self->synced = TRUE;
        self->begun = TRUE;
        self->layer = info.layer;
        self->calls_left = info.layer == 2 ? 1 : info.samples_per_frame / 576;
        if (*flow == GST_FLOW_OK && !negotiate_output(self, info.sample_rate, info.num_channels))
            *flow = GST_FLOW_NOT_NEGOTIATED;
        if (*flow != GST_FLOW_OK) return FALSE;
    }
    if (status == MP3D_ERROR_MAIN_DATA) {
        /* The frame's main data lies before what the reservoir holds: the
         * frame is consumed without output (silence once output began). */
        self->synced = TRUE;
        *flow = finish_oldest(self, TRUE);
        return TRUE;
    }
    if (!self->begun) { /* the header step failed and reset the decoder */
        GST_DEBUG_OBJECT(self, "stream error %d", status);
        *flow = restart_after_error(self);
        return TRUE;
    }
    /* A granule (or Layer II frame): decoded (0), decoded with the frame's
     * main data overrun (38), or failed Huffman decoding (40: silence). */
    if (status == MP3D_ERROR_HUFFMAN) memset(self->pcm, 0, sizeof self->pcm);
    if (status == MP3D_OK && followed(self)) self->any_decoded = TRUE;
    if (status == MP3D_OK || status == MP3D_ERROR_FRAME_END || status == MP3D_ERROR_HUFFMAN)
        append_output(self, (gsize)(self->layer == 2 ? 1152 : 576) * (gsize)self->out_channels);
    if (--self->calls_left <= 0 || (status != MP3D_OK && status != MP3D_ERROR_HUFFMAN)) {
        *flow = finish_oldest(self, TRUE);
        /* 38 and other errors reset the decoder's stream state. */
        if (status != MP3D_OK && status != MP3D_ERROR_HUFFMAN && *flow == GST_FLOW_OK)
            *flow = restart_after_error(self);
    }
    return TRUE;
}
/* Samples per channel and free format from a frame's header. */
static void read_header(Mp3dFrame *frame) {
    guint8 h[4];
    frame->samples = 0;
    frame->free_format = FALSE;
    if (gst_buffer_extract(frame->buffer, 0, h, 4) != 4 || h[0] != 0xFF || (h[1] & 0xE0) != 0xE0)
        return;
    const guint version = (h[1] >> 3) & 3, layer = (h[1] >> 1) & 3;
    frame->layer = 4 - layer;
    if (layer == 2) /* Layer II */
        frame->samples = 1152;
    else if (layer == 1) /* Layer III: one granule in MPEG-2 and 2.5, two in MPEG-1 */
        frame->samples = version == 3 ? 1152 : 576;
    frame->free_format = (h[2] >> 4) == 0;
}

static GstFlowReturn gst_mp3d_dec_handle_frame(GstAudioDecoder *dec, GstBuffer *buffer) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    GstFlowReturn flow = GST_FLOW_OK;
    if (!self->ready) return GST_FLOW_ERROR;
    if (buffer != NULL) {
        Mp3dFrame *frame = g_new0(Mp3dFrame, 1);
        frame->buffer = gst_buffer_ref(buffer);
        read_header(frame);
        const GstAudioClippingMeta *meta = gst_buffer_get_audio_clipping_meta(buffer);
        if (meta != NULL && meta->format == GST_FORMAT_DEFAULT) {
            frame->cut_start = meta->start;
            frame->cut_end = meta->end;
        }
        /* The parser marks the encoder's information frame decode-only. */
        if (GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DECODE_ONLY))
            frame->cut_start = G_MAXUINT32;
        g_queue_push_tail(&self->frames, frame);
        if (self->next_feed == NULL) self->next_feed = self->frames.tail;
        while (flow == GST_FLOW_OK && can_decode(self) && decode_call(self, &flow)) {
        }
        return flow;
    }
    if (!self->eos) {
        /* A drain in mid-stream (a discontinuity, new caps): every queued
         * frame is finished now, since the base class drops what is left,
         * but the decoder keeps its state for the frames that follow. */
        self->bridge = TRUE;
        while (flow == GST_FLOW_OK && self->frames.length > 0 && decode_call(self, &flow)) {
        }
        self->bridge = FALSE;
        if (self->frames.length > 0) {
            /* Not all decoded (a flow error): silence where output goes on,
             * and a fresh start, as the base class drops what is left. */
            while (flow == GST_FLOW_OK && self->frames.length > 0) flow = finish_oldest(self, TRUE);
            g_queue_clear_full(&self->frames, (GDestroyNotify)free_frame);
            self->next_feed = NULL;
            if (!restart_decoder(self)) return GST_FLOW_ERROR;
        }
        return flow;
    }
    /* End of stream: decode everything, then start afresh for what may
     * follow. */
    self->draining = TRUE;
    while (flow == GST_FLOW_OK && can_decode(self) && decode_call(self, &flow)) {
    }
    /* Frames the input ended in keep what they got. */
    while (flow == GST_FLOW_OK && self->frames.length > 0) flow = finish_oldest(self, FALSE);
    reset_stream(self);
    return flow;
}

/* A hard flush (seek) starts afresh; the soft one that follows a
 * mid-stream drain keeps the decoder running. */
static void gst_mp3d_dec_flush(GstAudioDecoder *dec, gboolean hard) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    if (hard && self->chunks[0] != NULL) reset_stream(self);
}

/* Marks the drains that end the decoder's input: the one at EOS, and the
 * one before a new segment in mid-stream (a seek without flush, after which
 * the input goes on elsewhere). */
static gboolean gst_mp3d_dec_sink_event(GstAudioDecoder *dec, GstEvent *event) {
    GstMp3dDec *self = GST_MP3D_DEC(dec);
    const GstEventType type = GST_EVENT_TYPE(event);
    if (type == GST_EVENT_EOS || type == GST_EVENT_SEGMENT) self->eos = TRUE;
    const gboolean ok = GST_AUDIO_DECODER_CLASS(gst_mp3d_dec_parent_class)->sink_event(dec, event);
    self->eos = FALSE;
    return ok;
}

static void gst_mp3d_dec_init(GstMp3dDec *self) {
    g_queue_init(&self->frames);
    self->out = g_byte_array_new();
    gst_audio_decoder_set_drainable(GST_AUDIO_DECODER(self), TRUE);
    gst_audio_decoder_set_needs_format(GST_AUDIO_DECODER(self), TRUE);
    gst_audio_decoder_set_use_default_pad_acceptcaps(GST_AUDIO_DECODER_CAST(self), TRUE);
    GST_PAD_SET_ACCEPT_TEMPLATE(GST_AUDIO_DECODER_SINK_PAD(self));
}

static void gst_mp3d_dec_finalize(GObject *object) {
    GstMp3dDec *self = GST_MP3D_DEC(object);
    release_block(self);
    g_queue_clear_full(&self->frames, (GDestroyNotify)free_frame);
    g_byte_array_unref(self->out);
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
    decoder_class->sink_event = GST_DEBUG_FUNCPTR(gst_mp3d_dec_sink_event);
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
