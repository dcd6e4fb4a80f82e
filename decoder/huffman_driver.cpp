// Layer III Huffman decoding driver: splits a granule's big-value part into
// its three regions, computes one dequantisation exponent per decoding band,
// runs the pair and count1 kernels and settles the bit accounting against
// part2_3_length, so that the reservoir reader ends exactly at the end of the
// granule's data.
#include "decoder/huffman_driver.h"

#include "decoder/frame_header.h"
#include "decoder/reservoir.h"
#include "kernels/huffman_dequant.h"
#include "kernels/kernel_set.h"
#include "tables/huffman_tables.h"
#include "tables/scale_factor_tables.h"

namespace mp3d {

namespace {

constexpr int kMaxBands = 40;  // decoding bands of a pure short block (39) + 1
constexpr int32_t kMaxBigValues = kSpectralWords / 2;  // pairs

// rewindNbits treats multiples of 2048 bits as a change of the position scale
// and moves the window by the remainder only; a long rewind therefore goes in
// steps that are all below 2048 bits.
void rewind_bits(int32_t n, MP3D_Decoder_State *state) {
    while (n > 0) {
        const int32_t step = n > 1024 ? 1024 : n;
        rewindNbits(step, state);
        n -= step;
    }
}

void skip_bits(int32_t n, MP3D_Decoder_State *state) {
    while (n > 16) {
        hgetbits(16, state);
        n -= 16;
    }
    if (n > 0) hgetbits(static_cast<int>(n), state);
}

}  // namespace

int32_t III_Get_Region_and_Band_Info(int32_t *region_info, const int16_t **band_table,
                                     const MP3D_Granule_Info *granule, MP3D_Decoder_State *state) {
    const MP3D_Frame_Header &h = state->header;
    const int16_t *record = state->tables.sfBandIndex[h.version * 3 + h.sampling_frequency];

    if (granule->window_switching_flag == 1 && granule->block_type == 2) {
        if (granule->mixed_block_flag == 0) {
            *band_table = record + kSfbShortSection;
            region_info[0] = 9;
            region_info[1] = 39;
            region_info[2] = 39;
        } else {
            *band_table = record + kSfbMixedSection;
            const int32_t bands = is_lsf(h) ? 36 : 38;
            region_info[0] = bands - 30;
            region_info[1] = bands;
            region_info[2] = bands;
        }
        return MP3D_OK;
    }
    *band_table = record + kSfbLongSection;
    const int32_t bands = 22;
    const int32_t r0 = static_cast<int32_t>(granule->region0_count) + 1;
    const int32_t r1 = r0 + static_cast<int32_t>(granule->region1_count) + 1;
    // Region counts of a malformed stream can point past the last band.
    region_info[0] = r0 < bands ? r0 : bands;
    region_info[1] = r1 < bands ? r1 : bands;
    region_info[2] = bands;
    return MP3D_OK;
}

void Huf_dec_dequant_exponents(int32_t *exponents, const MP3D_Granule_Info *granule,
                               const MP3D_Scale_Factors *scalefac_ch, MP3D_Decoder_State *state) {
    // Exponents count quarter powers of two: a scale factor is worth 2 or 4
    // quarters, a subblock gain 8.
    const int32_t gain = static_cast<int32_t>(granule->global_gain) - 210;
    const int k = granule->scalefac_scale != 0 ? 2 : 1;

    if (granule->block_type != 2) {
        const int32_t *pretab = state->tables.pretab;
        const int32_t pre = granule->preflag != 0 ? 1 : 0;
        for (int b = 0; b < 22; ++b) {
            const int32_t s = scalefac_ch->scalefac_l[b] + pretab[b] * pre;
            exponents[b] = gain - static_cast<int32_t>(static_cast<uint32_t>(s) << k);
        }
        return;
    }

    int i = 0;
    int s = 0;
    int end = 39;
    if (granule->mixed_block_flag != 0) {
        const int long_bands = is_lsf(state->header) ? 6 : 8;
        for (int b = 0; b < long_bands; ++b) {
            exponents[b] =
                gain - static_cast<int32_t>(static_cast<uint32_t>(scalefac_ch->scalefac_l[b]) << k);
        }
        i = long_bands;
        s = 3;
        end = long_bands + 30;
    }
    for (; i < end; i += 3, ++s) {
        for (int w = 0; w < 3; ++w) {
            const int32_t sub = 8 * static_cast<int32_t>(granule->subblock_gain[w]);
            exponents[i + w] =
                gain - sub -
                static_cast<int32_t>(static_cast<uint32_t>(scalefac_ch->scalefac_s[w][s]) << k);
        }
    }
}

int32_t III_hufman_decode_dequant_main(int32_t *spectral, MP3D_Side_Info *side_info,
                                       const MP3D_Scale_Factors *scalefac, int ch, int gr,
                                       uint32_t part2_bits, MP3D_Decoder_State *state) {
    const MP3D_Granule_Info *g = &side_info->ch[ch].gr[gr];
    int32_t exponents[kMaxBands] = {};
    int32_t stop = 0;
    int32_t band_reached = 0;
    int32_t count1_lines = 0;

    const int32_t length = static_cast<int32_t>(g->part2_3_length);
    const int32_t part2 = static_cast<int32_t>(part2_bits);
    if (length - part2 < 0) return MP3D_ERROR_HUFFMAN;

    // Tables 4 and 14 are not used by the standard.
    const int carried = g->window_switching_flag != 0 ? 2 : 3;
    for (int j = 0; j < carried; ++j) {
        if (g->table_select[j] == 4 || g->table_select[j] == 14) return MP3D_ERROR_HUFFMAN;
    }

    int32_t region_info[3];
    const int16_t *band_table = nullptr;
    III_Get_Region_and_Band_Info(region_info, &band_table, g, state);
    Huf_dec_dequant_exponents(exponents, g, scalefac, state);

    for (int i = 0; i < kSpectralWords; ++i) spectral[i] = 0;

    // Big-value part: up to three regions, each with its own pair table.
    int32_t position = 0;  // next line to decode
    int32_t limit = 0;
    uint32_t bits = 0;
    if (g->big_values > 0) {
        const int32_t pairs = g->big_values < static_cast<uint32_t>(kMaxBigValues)
                                  ? static_cast<int32_t>(g->big_values)
                                  : kMaxBigValues;
        limit = 2 * pairs;
        int32_t start_band = 0;
        for (int j = 0; j < 3 && stop == 0; ++j) {
            const int32_t end_band = region_info[j];
            const int32_t end_line = band_table[end_band];
            const Huffman_Pair_Table_Entry &table =
                Huffman_Pair_Table_Info[g->table_select[j] & 31];
            if (table.code_table == nullptr && limit >= end_line) {
                // Table 0 over the whole region: all zero, nothing to read.
                position = end_line;
            } else {
                MP3D_Pair_Region region;
                region.code_table = table.code_table;
                region.linbits = table.linbits;
                region.start_band = start_band;
                region.end_band = end_band;
                region.band_table = band_table;
                region.exponents = exponents;
                region.line_limit = limit;
                bits += state->kernels->huffman_pair(spectral + position, &region, state,
                                                     &band_reached, &stop);
                position = end_line < limit ? end_line : limit;
            }
            start_band = end_band;
        }
    }

    const int32_t budget = length - part2 - static_cast<int32_t>(bits);
    if (budget < 0) {
        // The big values ran past the granule's data: put the reader back to
        // the end of that data and give up the granule.
        state->res_bits_consumed += static_cast<int32_t>(bits);
        rewind_bits(-budget, state);
        return MP3D_ERROR_HUFFMAN;
    }
    if (budget > 0) {
        MP3D_Quad_Region quad;
        quad.code_table = Huffman_Quad_Table_Info[g->count1table_select & 1];
        quad.budget = budget;
        quad.start_band = band_reached;
        quad.band_table = band_table;
        quad.exponents = exponents;
        quad.start_line = limit;
        bits += state->kernels->huffman_quad(spectral + limit, &quad, state, &count1_lines);
        position = limit + count1_lines;
    }

    const int32_t used = part2 + static_cast<int32_t>(bits);
    state->res_bits_consumed += static_cast<int32_t>(bits);
    if (used > length) {
        // The last quadruple ran past the granule's data: discard it.
        rewind_bits(used - length, state);
        if (count1_lines >= 4) {
            position -= 4;
            for (int i = 0; i < 4; ++i) spectral[position + i] = 0;
        }
    } else if (used < length) {
        skip_bits(length - used, state);  // stuffing or ancillary bits
    }

    const int32_t last = position - 1;
    state->last_coded_line = static_cast<int16_t>(last);

    // For long blocks the hybrid filterbank needs the number of subbands
    // (18 lines each) that hold coded lines; alias reduction reaches 8 lines
    // into the next subband, hence the extra one when the last line lies at
    // 10 or beyond inside its subband.
    if (g->block_type != 2) {
        state->prev_nonzero_subbands[ch] = state->nonzero_subbands[ch];
        const int32_t q = last / 18;
        const int32_t r = last - 18 * q;
        state->nonzero_subbands[ch] = static_cast<int16_t>(r >= 10 ? q + 2 : q + 1);
    }
    return MP3D_OK;
}

}  // namespace mp3d
