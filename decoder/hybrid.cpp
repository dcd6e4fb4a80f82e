// Layer III hybrid filterbank driver: per subband the long (36-point) or
// short (3 x 12-point) inverse MDCT with alias reduction, windowing and
// overlap-add, skipping the subbands above the last non-zero input.
#include "decoder/hybrid.h"

#include "kernels/imdct_winola.h"
#include "kernels/kernel_set.h"
#include "tables/imdct_tables.h"

namespace mp3d {

namespace {

struct Subband_Job {
    const int32_t *cos_long;
    const int32_t *cos_short;
    const int32_t *cs_ca;
    const int32_t (*window)[36];
    int32_t *overlap;      // this channel's 32 x 9 words
    uint32_t *prev_types;  // this channel's 32 block types
};

// Transforms one long-block subband with block type bt (runs of short
// subbands go through the kernel set); alias_flag applies the butterflies
// between it and the next subband first.
void transform(int32_t *in, int32_t *out, int sb, uint32_t bt, int alias_flag,
               const Subband_Job &job) {
    int32_t *ovl = job.overlap + kOverlapWords * sb;
    // The butterflies rewrite the input in place; the kernel writes the
    // output only after reading every input of the subband.
    imdct_lee_36(in + 18 * sb, out + 18 * sb, job.cos_long, idctlee_III_coeff, alias_flag, ovl, bt,
                 job.prev_types[sb], job.cs_ca, job.window);
    job.prev_types[sb] = bt;
}

// A subband without input: emits and clears the overlap of the previous
// granule.
void flush(int32_t *out, int sb, uint32_t bt, const Subband_Job &job) {
    int32_t *ovl = job.overlap + kOverlapWords * sb;
    if (bt == 2) {
        const int32_t zeros[18] = {};
        window_convert(zeros, out + 18 * sb, ovl, bt, job.prev_types[sb], job.window);
    } else {
        window_overlap(out + 18 * sb, ovl, job.prev_types[sb], job.window);
    }
    job.prev_types[sb] = bt;
}

// A subband that holds neither input nor overlap: its values are zero.
void skip(const int32_t *in, int32_t *out, int sb, uint32_t bt, const Subband_Job &job) {
    if (in != out)
        for (int t = 0; t < 18; ++t) out[18 * sb + t] = in[18 * sb + t];
    job.prev_types[sb] = bt;
}

}  // namespace

void III_hybrid(int32_t *input, int32_t *output, int channel, const MP3D_Granule_Info *side_info,
                MP3D_Decoder_State *state) {
    const int ch = channel & 1;
    const MP3D_Frame_Header &header = state->header;
    const MP3D_Table_Pointers &tables = state->tables;

    // Middle/side stereo leaves its 1/sqrt(2) to the cosine tables.
    const bool ms = header.mode == 1 && (header.mode_extension & 2) != 0;
    Subband_Job job;
    job.cos_long = ms ? tables.coef_cos_long_interleaved : tables.coef_cos_long_root2_interleaved;
    job.cos_short =
        ms ? tables.coef_cos_short_interleaved : tables.coef_cos_short_root2_interleaved;
    job.cs_ca = tables.Cs_Ca_tbl_lf;
    job.window = tables.imdct_win_lf;
    job.overlap = state->overlap_buffer + kSubbands * kOverlapWords * ch;
    job.prev_types = state->prev_block_type + kSubbands * ch;

    const bool switched = side_info->window_switching_flag != 0;
    const uint32_t block_type = switched ? (side_info->block_type & 3) : 0;
    const bool mixed = switched && side_info->mixed_block_flag != 0;

    // A mixed block transforms its lowest subbands as a normal long block
    // (block type 0) and the others with the granule's block type: 2
    // subbands (36 lines), or for short blocks of MPEG-2.5 at 8 kHz the 4
    // subbands (72 lines) that the reordering leaves in long order. Alias
    // butterflies act at the boundaries sb|sb+1 with sb < alias_limit: all of
    // them for long blocks, those between the long subbands of a mixed
    // short block, none for a pure short block.
    const bool wide = header.version == 2 && header.sampling_frequency == 2;
    const int long_subbands = mixed ? (block_type == 2 && wide ? 4 : 2) : 0;
    int alias_limit = kSubbands - 1;
    if (block_type == 2) {
        alias_limit = mixed ? long_subbands - 1 : 0;

        int last = kSpectralWords - 1;
        while (last >= 0 && input[last] == 0) --last;
        int count = last / 18 + 1;
        // The butterflies of the last long subband spill into the one above
        // it, which must then be transformed even when its own input is zero.
        if (count < long_subbands) count = long_subbands;
        state->prev_nonzero_subbands[ch] = state->nonzero_subbands[ch];
        state->nonzero_subbands[ch] = static_cast<int16_t>(count);
    }
    auto bt = [&](int sb) { return sb < long_subbands ? 0u : block_type; };

    const int count = state->nonzero_subbands[ch];
    const int prev_count = state->prev_nonzero_subbands[ch];
    const int n = count < 0 ? 0 : (count > kSubbands - 1 ? kSubbands - 1 : count);

    // Ascending order: the butterflies of subband sb rewrite the first lines
    // of subband sb + 1 before that subband is transformed.
    int sb = 0;
    // A long block that reaches the top subband runs all 32 in one go: the
    // top one has no butterflies (alias_count 31) and nothing lies between.
    // So does a short block: its subbands have no butterflies at all.
    const bool long_top = block_type != 2 && !mixed && count >= kSubbands;
    const bool short_top = block_type == 2 && count >= kSubbands;
    if (block_type != 2 || mixed) {
        // Long blocks, or the long part of a mixed block (block type 0): the
        // common case, one run through the decoder's kernel set.
        const int long_end =
            long_top ? kSubbands : (mixed ? (n < long_subbands ? n : long_subbands) : n);
        const int alias_count = long_end < alias_limit ? long_end : alias_limit;
        state->kernels->hybrid_long(input, output, long_end, alias_count, mixed ? 0u : block_type,
                                    job.overlap, job.prev_types, job.cos_long, job.cs_ca,
                                    job.window);
        sb = long_end;
    }
    if (block_type == 2) {
        // The short subbands above it, in one run.
        const int short_end = short_top ? kSubbands : n;
        if (sb < short_end)
            state->kernels->hybrid_short(input + 18 * sb, output + 18 * sb, short_end - sb,
                                         job.overlap + kOverlapWords * sb, job.prev_types + sb,
                                         job.cos_short, job.window);
        sb = short_end;
    }
    // Long subbands of type 1 or 3 above the long part of a mixed block.
    for (; sb < n; ++sb) transform(input, output, sb, bt(sb), sb < alias_limit, job);

    for (int sb = n; sb < kSubbands - 1; ++sb) {
        if (sb < prev_count)
            flush(output, sb, bt(sb), job);
        else
            skip(input, output, sb, bt(sb), job);
    }

    // The top subband has no upper neighbour for the butterflies (a long
    // block reaching it was transformed in the run above).
    const int top = kSubbands - 1;
    if (long_top || short_top) return;
    if (count >= kSubbands)
        transform(input, output, top, bt(top), 0, job);
    else if (prev_count >= kSubbands)
        flush(output, top, bt(top), job);
    else
        skip(input, output, top, bt(top), job);
}

}  // namespace mp3d
