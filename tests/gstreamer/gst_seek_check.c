/*
 * Seek accuracy and start-up latency of an MPEG audio decoder element.
 *
 * Usage: gst_seek_check FILE DECODER SECONDS...
 *
 * Runs filesrc ! mpegaudioparse ! DECODER ! S16LE ! appsink once from the
 * start (the reference) and once per seek position, seeking with
 * FLUSH | ACCURATE in PAUSED. After each seek the output is compared with
 * the reference at the sample its first timestamp names. One line per run:
 *
 *   full frames_to_first_output=N samples=N
 *   seek T frames_to_first_output=N pts_sample=N offset=D mismatches=M tail=E
 *
 * offset: shift in samples that best aligns the output after the seek with
 * the reference (positive: the audio comes from later than its timestamp
 * says); mismatches: samples that differ from the reference at offset 0;
 * tail: samples after the seek beyond (positive) or short of the reference's
 * end. frames_to_first_output counts the input frames that entered the
 * decoder (since the start, or since the seek's flush) before its first
 * output buffer. Exits 1 when any run has a non-zero offset, mismatches or
 * tail, or when the first output of the full decode waits for more than 3
 * input frames; 2 on errors.
 *
 *   gst_seek_check --damaged CLEAN DAMAGED DECODER
 *
 * Decodes both files from the start and places every output buffer of the
 * damaged one on the clean decode's timeline at the sample its timestamp
 * names. The parser times the frames after a gap in the input as if nothing
 * was lost, so each run of output from one DISCONT buffer to the next is
 * placed with its own offset: the multiple of 576 samples (within 16) that
 * matches most samples. One line:
 *
 *   damaged samples=N clean=N lost=L differ=D overlap=O offsets=D,...
 *
 * lost: samples (per channel) the damaged decode has fewer than the clean
 * one; differ: samples of the clean timeline that the damaged decode does
 * not reproduce exactly at their timestamps (missing or different);
 * overlap: samples placed where an earlier buffer already put some, or
 * outside the clean decode; offsets: per run. Exits 0, or 2 on errors.
 */
#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* One output buffer: where its timestamp puts it, in samples. */
typedef struct {
    gint64 pos;
    gsize len;
    gsize from; /* index of its first sample in the run's data */
    gboolean discont;
} Piece;

typedef struct {
    gint16 *data; /* interleaved samples */
    gsize len;    /* in samples per channel */
    gsize cap;
    gint channels, rate;
    GstClockTime first_pts;
    guint frames_in;   /* input buffers since the start or the last flush */
    gint first_out_at; /* frames_in when the first output buffer left; -1 */
    GArray *pieces;    /* Piece per output buffer, in order */
} Run;

static GstPadProbeReturn count_input(GstPad *pad, GstPadProbeInfo *info, gpointer data) {
    Run *run = data;
    (void)pad;
    if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
        run->frames_in++;
    } else if (info->type & GST_PAD_PROBE_TYPE_EVENT_FLUSH) {
        if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_FLUSH_STOP) {
            run->frames_in = 0;
            run->first_out_at = -1;
        }
    }
    return GST_PAD_PROBE_OK;
}

static GstPadProbeReturn note_output(GstPad *pad, GstPadProbeInfo *info, gpointer data) {
    Run *run = data;
    (void)pad;
    (void)info;
    if (run->first_out_at < 0) run->first_out_at = (gint)run->frames_in;
    return GST_PAD_PROBE_OK;
}

static void append(Run *run, GstSample *sample) {
    GstBuffer *buffer = gst_sample_get_buffer(sample);
    GstStructure *s = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
    gst_structure_get_int(s, "channels", &run->channels);
    gst_structure_get_int(s, "rate", &run->rate);
    if (run->len == 0) run->first_pts = GST_BUFFER_PTS(buffer);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
    const gsize n = map.size / (2 * (gsize)run->channels);
    Piece piece = {(gint64)run->len, n, run->len, GST_BUFFER_IS_DISCONT(buffer)};
    if (GST_BUFFER_PTS_IS_VALID(buffer))
        piece.pos = (gint64)gst_util_uint64_scale_round(GST_BUFFER_PTS(buffer), (guint64)run->rate,
                                                        GST_SECOND);
    else if (run->pieces->len > 0) {
        const Piece *last = &g_array_index(run->pieces, Piece, run->pieces->len - 1);
        piece.pos = last->pos + (gint64)last->len;
    }
    g_array_append_val(run->pieces, piece);
    if (run->len + n > run->cap) {
        run->cap = (run->len + n) * 2;
        run->data = g_realloc_n(run->data, run->cap * (gsize)run->channels, sizeof(gint16));
    }
    memcpy(run->data + run->len * (gsize)run->channels, map.data, n * 2 * (gsize)run->channels);
    run->len += n;
    gst_buffer_unmap(buffer, &map);
}

/* Decodes FILE, from SECONDS when it is not negative. */
static gboolean decode(const char *file, const char *decoder, double seconds, Run *run) {
    gchar *desc = g_strdup_printf(
        "filesrc name=src ! mpegaudioparse ! %s name=dec ! "
        "audio/x-raw,format=S16LE ! appsink name=sink sync=false",
        decoder);
    GError *error = NULL;
    GstElement *pipeline = gst_parse_launch(desc, &error);
    g_free(desc);
    if (error != NULL) { /* also a missing element, with a partial pipeline */
        fprintf(stderr, "%s\n", error->message);
        g_error_free(error);
        if (pipeline != NULL) gst_object_unref(pipeline);
        return FALSE;
    }
    GstElement *src = gst_bin_get_by_name(GST_BIN(pipeline), "src");
    g_object_set(src, "location", file, NULL);
    gst_object_unref(src);
    GstElement *dec = gst_bin_get_by_name(GST_BIN(pipeline), "dec");
    GstPad *sinkpad = gst_element_get_static_pad(dec, "sink");
    GstPad *srcpad = gst_element_get_static_pad(dec, "src");
    memset(run, 0, sizeof *run);
    run->first_out_at = -1;
    run->pieces = g_array_new(FALSE, FALSE, sizeof(Piece));
    gst_pad_add_probe(sinkpad, GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH,
                      count_input, run, NULL);
    gst_pad_add_probe(srcpad, GST_PAD_PROBE_TYPE_BUFFER, note_output, run, NULL);
    gst_object_unref(sinkpad);
    gst_object_unref(srcpad);
    gst_object_unref(dec);
    GstAppSink *sink = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(pipeline), "sink"));
    gboolean ok = TRUE;
    if (seconds >= 0) {
        gst_element_set_state(pipeline, GST_STATE_PAUSED);
        ok = gst_element_get_state(pipeline, NULL, NULL, 10 * GST_SECOND) ==
                 GST_STATE_CHANGE_SUCCESS &&
             gst_element_seek_simple(pipeline, GST_FORMAT_TIME,
                                     GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE,
                                     (gint64)(seconds * GST_SECOND)) &&
             gst_element_get_state(pipeline, NULL, NULL, 10 * GST_SECOND) ==
                 GST_STATE_CHANGE_SUCCESS;
    }
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstSample *sample;
    while (ok && (sample = gst_app_sink_pull_sample(sink)) != NULL) {
        append(run, sample);
        gst_sample_unref(sample);
    }
    GstBus *bus = gst_element_get_bus(pipeline);
    GstMessage *msg = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
    if (msg != NULL) {
        gst_message_parse_error(msg, &error, NULL);
        fprintf(stderr, "%s: %s\n", decoder, error->message);
        g_error_free(error);
        gst_message_unref(msg);
        ok = FALSE;
    }
    gst_object_unref(bus);
    gst_object_unref(sink);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return ok && run->len > 0;
}

/* Samples (per channel) of SEEK that differ from REF at POS + OFFSET,
 * counted over COUNT samples from FROM. */
static gsize mismatches(const Run *ref, const Run *seek, gint64 pos, gint64 offset, gsize from,
                        gsize count) {
    gsize bad = 0;
    const gsize ch = (gsize)ref->channels;
    for (gsize i = from; i < from + count && i < seek->len; i++) {
        const gint64 r = pos + offset + (gint64)i;
        if (r < 0 || (gsize)r >= ref->len ||
            memcmp(seek->data + i * ch, ref->data + (gsize)r * ch, 2 * ch) != 0)
            bad++;
    }
    return bad;
}

static void free_run(Run *run) {
    g_free(run->data);
    g_array_unref(run->pieces);
}

/* Places the pieces FIRST to END of DMG on REF's timeline (sample pos -
 * ORIGIN) and returns how many of their samples equal REF's there. With
 * STATE, marks each sample of the timeline equal (1) or different (2) and
 * counts in OVERLAP the samples that fall outside it or on a marked one. */
static gsize place(const Run *ref, const Run *dmg, guint first, guint end, gint64 origin,
                   guint8 *state, gsize *overlap) {
    const gsize ch = (gsize)ref->channels;
    gsize same_total = 0;
    for (guint p = first; p < end; p++) {
        const Piece *piece = &g_array_index(dmg->pieces, Piece, p);
        for (gsize i = 0; i < piece->len; i++) {
            const gint64 t = piece->pos - origin + (gint64)i;
            if (t < 0 || t >= (gint64)ref->len || dmg->channels != ref->channels ||
                (state != NULL && state[t] != 0)) {
                if (overlap != NULL) (*overlap)++;
                continue;
            }
            const gboolean same =
                memcmp(dmg->data + (piece->from + i) * ch, ref->data + (gsize)t * ch, 2 * ch) == 0;
            same_total += same;
            if (state != NULL) state[t] = same ? 1 : 2;
        }
    }
    return same_total;
}

/* The damaged decode against the clean one, on the clean one's timeline. */
static int compare_damaged(const char *clean, const char *damaged, const char *decoder) {
    Run ref, dmg;
    if (!decode(clean, decoder, -1, &ref)) return 2;
    if (!decode(damaged, decoder, -1, &dmg)) {
        free_run(&ref);
        return 2;
    }
    const gint64 origin = gst_util_uint64_scale_round(ref.first_pts, (guint64)ref.rate, GST_SECOND);
    guint8 *state = g_malloc0(ref.len); /* 0 not covered, 1 equal, 2 different */
    gsize overlap = 0;
    GString *offsets = g_string_new(NULL);
    for (guint first = 0, end; first < dmg.pieces->len; first = end) {
        for (end = first + 1;
             end < dmg.pieces->len && !g_array_index(dmg.pieces, Piece, end).discont; end++) {
        }
        gint64 best = 0;
        gsize best_same = 0;
        for (gint64 d = -16 * 576; d <= 16 * 576; d += 576) {
            const gsize same = place(&ref, &dmg, first, end, origin - d, NULL, NULL);
            if (same > best_same || (same == best_same && llabs(d) < llabs(best)))
                best = d, best_same = same;
        }
        place(&ref, &dmg, first, end, origin - best, state, &overlap);
        g_string_append_printf(offsets, "%s%" G_GINT64_FORMAT, first > 0 ? "," : "", best);
    }
    gsize differ = 0;
    for (gsize t = 0; t < ref.len; t++) differ += state[t] != 1;
    printf("damaged samples=%zu clean=%zu lost=%" G_GINT64_FORMAT
           " differ=%zu overlap=%zu offsets=%s\n",
           dmg.len, ref.len, (gint64)ref.len - (gint64)dmg.len, differ, overlap, offsets->str);
    g_string_free(offsets, TRUE);
    g_free(state);
    free_run(&ref);
    free_run(&dmg);
    return 0;
}

int main(int argc, char **argv) {
    gst_init(&argc, &argv);
    if (argc == 5 && strcmp(argv[1], "--damaged") == 0)
        return compare_damaged(argv[2], argv[3], argv[4]);
    if (argc < 3) {
        fprintf(stderr, "usage: %s FILE DECODER SECONDS... | --damaged CLEAN DAMAGED DECODER\n",
                argv[0]);
        return 2;
    }
    Run ref;
    if (!decode(argv[1], argv[2], -1, &ref)) return 2;
    int status = 0;
    printf("full frames_to_first_output=%d samples=%zu\n", ref.first_out_at, ref.len);
    if (ref.first_out_at > 3) status = 1;
    for (int a = 3; a < argc; a++) {
        const double seconds = g_ascii_strtod(argv[a], NULL);
        Run seek;
        if (!decode(argv[1], argv[2], seconds, &seek)) return 2;
        const gint64 pos =
            (gint64)gst_util_uint64_scale_round(seek.first_pts, (guint64)ref.rate, GST_SECOND);
        /* The offset that best aligns a window well behind the seek. */
        const gsize from = MIN(seek.len / 2, 4608), count = 4608;
        gint64 best = 0;
        gsize best_bad = G_MAXSIZE;
        for (gint64 d = -6912; d <= 6912; d++) {
            const gsize bad = mismatches(&ref, &seek, pos, d, from, count);
            if (bad < best_bad || (bad == best_bad && llabs(d) < llabs(best)))
                best = d, best_bad = bad;
        }
        const gsize bad = mismatches(&ref, &seek, pos, 0, 0, seek.len);
        const gint64 tail = pos + (gint64)seek.len - (gint64)ref.len;
        printf("seek %s frames_to_first_output=%d pts_sample=%" G_GINT64_FORMAT
               " offset=%" G_GINT64_FORMAT " mismatches=%zu tail=%" G_GINT64_FORMAT "\n",
               argv[a], seek.first_out_at, pos, best, bad, tail);
        if (best != 0 || bad != 0 || tail != 0) status = 1;
        free_run(&seek);
    }
    free_run(&ref);
    return status;
}
