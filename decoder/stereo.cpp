// Layer III stereo processing (ISO/IEC 11172-3, ISO/IEC 13818-3): middle/side
// and intensity stereo for MPEG-1 and the LSF variants, with long, short and
// mixed blocks.
//
// The granule's bookkeeping is done once on band boundaries: which line
// ranges are intensity-coded, and with which position, is written as a list
// of (first line, last line, position) triples into pcm_buffer (free at this
// point of the granule), and stereo_loop then does the per-line work.
// Position 31 marks a range without intensity: it gets middle/side when that
// is on and stays as it is otherwise.
#include "decoder/stereo.h"

#include "decoder/frame_header.h"
#include "kernels/stereo_loop.h"
#include "tables/scale_factor_tables.h"
#include "tables/stereo_tables.h"

namespace mp3d {

namespace {

constexpr int16_t kNoIntensity = 31;
// Positions with a stored factor pair in every table row.
constexpr int16_t kStoredPositions = 7;
// LSF positions with a factor pair in the extended rows (0..30).
constexpr int16_t kLsfPositions = 31;
// Ranges of the short section (13 bands x 3 windows).
constexpr int kShortRanges = 39;
// The top band (long band 21, short band 12 of each window) carries no
// position of its own. Inside the intensity region it continues the band
// below it. When the band below is coded normally, that band's scale factor
// is a gain and not a position; an LSF top band that starts the intensity
// region then takes position 0, the pair (1, 1): both channels get the left
// value unscaled. MPEG-1 keeps the band below's factor.
constexpr int16_t kLsfTopAlone = 0;

enum class Blocks { kLong, kShort, kMixed };

Blocks block_kind(const MP3D_Granule_Info *g) {
    if (g->window_switching_flag == 0 || g->block_type != 2) return Blocks::kLong;
    return g->mixed_block_flag ? Blocks::kMixed : Blocks::kShort;
}

// A factor or mark outside the positions that have a factor pair is treated
// as the illegal position: no intensity for that range.
int16_t legal_or_none(int32_t v, int16_t limit) {
    return (v >= 0 && v < limit) ? static_cast<int16_t>(v) : kNoIntensity;
}

struct SegmentList {
    int32_t *words;
    int32_t count;
    int16_t max_position;  // largest position other than 31, -1 if none
};

void add_segment(SegmentList *list, int32_t first, int32_t last, int16_t position) {
    int32_t *t = list->words + 3 * list->count;
    t[0] = first;
    t[1] = last;
    t[2] = position;
    ++list->count;
    if (position != kNoIntensity && position > list->max_position) list->max_position = position;
}

// Long blocks: bands from the first one lying wholly above the right
// channel's non-zero part take their positions; band 21 takes band 20's when
// band 20 is intensity-coded too.
void build_long(SegmentList *list, const int16_t *bnd, const int16_t *positions, int32_t last,
                bool lsf) {
    int b0 = 0;
    while (b0 < 22 && bnd[b0] <= last) ++b0;
    add_segment(list, 0, bnd[b0] - 1, kNoIntensity);
    for (int b = b0; b <= 20; ++b) add_segment(list, bnd[b], bnd[b + 1] - 1, positions[b]);
    const int16_t top = lsf && b0 > 20 ? kLsfTopAlone : positions[20];
    add_segment(list, bnd[b0 > 21 ? b0 : 21], 575, top);
}

// Position of range j, one of the top band's three ranges (the last three of
// a short or mixed section), given whether the same window's range in the
// band below is intensity-coded.
int16_t top_position(const int16_t *positions, int j, bool below_intensity, bool lsf) {
    return lsf && !below_intensity ? kLsfTopAlone : positions[j];
}

// Walks ranges start..0 backwards and marks each one intensity (true) or not.
// Ranges start..n_ranges-1 begin marked. Three found-flags are used in
// rotation, so that with windows interleaved every window keeps its own flag:
// a window's ranges are intensity-coded down to its highest range that holds
// a non-zero right-channel line, and none below that.
void walk_backwards(bool *marks, const int16_t *bnd, const int32_t *right, int start,
                    int n_ranges) {
    for (int j = start; j < n_ranges; ++j) marks[j] = true;
    bool found[3] = {false, false, false};
    int flag = 0;
    for (int j = start; j >= 0; --j) {
        if (!found[flag]) {
            bool nonzero = false;
            for (int32_t i = bnd[j + 1] - 1; i >= bnd[j]; --i) {
                if (right[i] != 0) {
                    nonzero = true;
                    break;
                }
            }
            marks[j] = !nonzero;
            found[flag] = nonzero;
        } else {
            marks[j] = false;
        }
        flag = flag == 2 ? 0 : flag + 1;
    }
}

// Segments from the first range marked intensity upwards, each with its
// position or 31, then an empty closing range.
void emit_marked(SegmentList *list, const bool *marks, const int16_t *bnd, const int16_t *positions,
                 int n_ranges, bool lsf) {
    int j1 = 0;
    while (j1 < n_ranges - 1 && !marks[j1]) ++j1;
    add_segment(list, 0, bnd[j1] - 1, kNoIntensity);
    for (int j = j1; j < n_ranges; ++j) {
        int16_t position = kNoIntensity;
        if (marks[j])
            position =
                j >= n_ranges - 3 ? top_position(positions, j, marks[j - 3], lsf) : positions[j];
        add_segment(list, bnd[j], bnd[j + 1] - 1, position);
    }
    add_segment(list, kSpectralWords, kSpectralWords - 1, kNoIntensity);
}

void build_short(SegmentList *list, const int16_t *bnd, const int16_t *positions,
                 const int32_t *right, int32_t last, bool lsf) {
    int j0 = 0;
    while (j0 <= 36 && bnd[j0] <= last) j0 += 3;
    if (j0 > 36) j0 = kShortRanges - 1;
    bool marks[kShortRanges];
    walk_backwards(marks, bnd, right, j0, kShortRanges);
    emit_marked(list, marks, bnd, positions, kShortRanges, lsf);
}

void build_mixed(SegmentList *list, const int16_t *bnd, const int16_t *positions,
                 const int32_t *right, int32_t last, int n_long, int n_total, bool lsf) {
    if (bnd[n_long] > last) {
        // The right channel's coded part ends inside the long part: walk
        // the long bands too.
        bool marks[kShortRanges];
        walk_backwards(marks, bnd, right, n_long, n_total);
        emit_marked(list, marks, bnd, positions, n_total, lsf);
        return;
    }
    // Otherwise every range from the first one above the coded part is
    // intensity-coded, without looking at its lines.
    int j1 = 0;
    while (j1 < n_total - 1 && bnd[j1] <= last) ++j1;
    add_segment(list, 0, bnd[j1] - 1, kNoIntensity);
    for (int j = j1; j < n_total; ++j) {
        const int16_t position =
            j >= n_total - 3 ? top_position(positions, j, j - 3 >= j1, lsf) : positions[j];
        add_segment(list, bnd[j], bnd[j + 1] - 1, position);
    }
    add_segment(list, bnd[n_total], 575, positions[n_total - 1]);
}

}  // namespace

void copy_scale_fac_short(const MP3D_Scale_Factors *positions, int16_t *out, int first_band,
                          int offset) {
    for (int b = first_band; b <= 11; ++b)
        for (int w = 0; w < 3; ++w) out[3 * b - offset + w] = positions->scalefac_s[w][b];
    // Band 12 carries no position of its own and repeats band 11's.
    for (int w = 0; w < 3; ++w) out[36 - offset + w] = positions->scalefac_s[w][11];
}

void set_intensity_illpos(MP3D_Scale_Factors *positions, const MP3D_Granule_Info *right_side_info,
                          MP3D_Decoder_State *state) {
    if (state->header.version == 1) {
        // MPEG-1: the factors are the positions; 7 is the illegal one. The
        // factors of bands 0..10 may reach 15, but tan(p*pi/12) gives no
        // usable pair there (p = 9 divides by zero, the others leave
        // [0, 1]), so every factor above 6 counts as no intensity.
        for (int16_t &v : positions->scalefac_l) v = legal_or_none(v, kStoredPositions);
        for (auto &window : positions->scalefac_s)
            for (int16_t &v : window) v = legal_or_none(v, kStoredPositions);
        return;
    }

    // LSF: the positions are the marks that the scale-factor reader left,
    // with 31 where the position was the illegal one. Entries that the block
    // type does not use are set to 31.
    const uint8_t *marks = state->is_pos_marks;
    for (int16_t &v : positions->scalefac_l) v = kNoIntensity;
    for (auto &window : positions->scalefac_s)
        for (int16_t &v : window) v = kNoIntensity;
    switch (block_kind(right_side_info)) {
        case Blocks::kLong:
            for (int b = 0; b <= 20; ++b)
                positions->scalefac_l[b] = legal_or_none(marks[b], kLsfPositions);
            break;
        case Blocks::kShort:
            for (int b = 0; b <= 11; ++b)
                for (int w = 0; w < 3; ++w)
                    positions->scalefac_s[w][b] = legal_or_none(marks[3 * b + w], kLsfPositions);
            break;
        case Blocks::kMixed:
            for (int b = 0; b <= 5; ++b)
                positions->scalefac_l[b] = legal_or_none(marks[b], kLsfPositions);
            for (int b = 3; b <= 11; ++b)
                for (int w = 0; w < 3; ++w)
                    positions->scalefac_s[w][b] =
                        legal_or_none(marks[6 + 3 * (b - 3) + w], kLsfPositions);
            break;
    }
}

void III_stereo(int32_t *spectral, const MP3D_Scale_Factors *scale_factors,
                const MP3D_Granule_Info *right_side_info, MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    const bool joint = h.mode == 1;
    const int ms = joint && (h.mode_extension & 2) != 0;
    const int is = joint && (h.mode_extension & 1) != 0;
    const bool lsf = is_lsf(h);
    const int k = 3 * h.version + h.sampling_frequency;

    MP3D_Scale_Factors positions = scale_factors[1];
    set_intensity_illpos(&positions, right_side_info, state);

    if (state->frame_params->channels != 2) return;
    if (!ms && !is) return;
    if (k < 0 || k > 8) return;  // not a parsed header

    int32_t *left = spectral;
    int32_t *right = spectral + kSpectralWords;
    SegmentList list{state->pcm_buffer, 0, -1};

    if (is) {
        const int16_t *record = state->tables.sfBandIndex[k];
        // The intensity region begins above the right channel's highest
        // non-zero line. Coded lines above it can be zero (a pair or
        // quadruple ending in zeros, possibly across a band boundary), so
        // the coded extent alone could keep a band out of the region.
        int32_t last = state->last_coded_line;
        if (last > kSpectralWords - 1) last = kSpectralWords - 1;
        while (last >= 0 && right[last] == 0) --last;
        int16_t pos[kShortRanges];
        switch (block_kind(right_side_info)) {
            case Blocks::kLong:
                for (int b = 0; b <= 20; ++b) pos[b] = positions.scalefac_l[b];
                build_long(&list, record + kSfbLongSection, pos, last, lsf);
                break;
            case Blocks::kShort:
                copy_scale_fac_short(&positions, pos, 0, 0);
                build_short(&list, record + kSfbShortSection, pos, right, last, lsf);
                break;
            case Blocks::kMixed: {
                const int n_long = lsf ? 6 : 8;
                const int n_total = lsf ? 36 : 38;
                for (int b = 0; b < n_long; ++b) pos[b] = positions.scalefac_l[b];
                copy_scale_fac_short(&positions, pos, 3, lsf ? 3 : 1);
                build_mixed(&list, record + kSfbMixedSection, pos, right, last, n_long, n_total,
                            lsf);
                break;
            }
        }
    } else {
        list.count = 1;  // not read: the kernel does middle/side on every line
    }

    const int32_t *ratio_table;
    if (lsf) {
        const int row = right_side_info->scalefac_compress & 1;
        if (list.max_position >= kStoredPositions) {
            // Positions 7..30 (ISO/IEC 13818-3) need the extended rows,
            // whose first seven pairs are the stored ones.
            ratio_table = ms && is ? LSF_k_val_table_root2_full[row] : LSF_k_val_table_full[row];
        } else {
            ratio_table =
                (ms && is ? state->tables.LSF_k_val_table_root2 : state->tables.LSF_k_val_table) +
                2 * kStoredPositions * row;
        }
    } else {
        ratio_table = ms && is ? state->tables.is_ratio_table_root2 : state->tables.is_ratio_table;
    }

    stereo_loop(left, right, list.words, ms, is, list.count, ratio_table);

    // The hybrid filterbank transforms the same subbands in both channels:
    // intensity fills the right channel above its own coded part.
    int16_t *nz = state->nonzero_subbands;
    const int16_t larger = nz[0] > nz[1] ? nz[0] : nz[1];
    nz[0] = larger;
    nz[1] = larger;
}

}  // namespace mp3d
