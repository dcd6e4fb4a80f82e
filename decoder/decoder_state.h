// The decoder's records: the state that lives at the start of chunk 0, the
// frame-parameter record behind it, and the Layer III side information and
// scale-factor records inside the state. Plain data, no behaviour; every
// internal function receives the state as its last argument.
#ifndef MP3D_DECODER_STATE_H
#define MP3D_DECODER_STATE_H

#include <cstddef>
#include <cstdint>

#include "kernels/subband_window.h"
#include "mp3d.h"

namespace mp3d {

// Lines of one granule and channel (18 per subband), and subbands.
inline constexpr int32_t kSpectralWords = 576;
inline constexpr int kSubbands = 32;

// Byte sizes of the buffers carved from chunk 0, in carve order, and of the
// two chunks that the memory query asks for.
inline constexpr int32_t kOverlapBufferBytes = 2304;     // 2 ch x 32 sb x 9 words
inline constexpr int32_t kPrevBlockTypeBytes = 256;      // 2 ch x 32 sb x 1 word
inline constexpr int32_t kReservoirBytes = 2048;         // Layer III main data
inline constexpr int32_t kLsfScalefacBufferBytes = 216;  // 54 words of LSF scratch
inline constexpr int32_t kIsPosMarksBytes = 52;          // one byte per band slot
inline constexpr int32_t kSynthesisBufferBytes = 2 * kSynthesisWords * 4;  // 2 ch
inline constexpr int32_t kPcmBufferBytes = kSpectralWords * 4;             // one granule
inline constexpr int32_t kCarveBytes = kOverlapBufferBytes + kPrevBlockTypeBytes + kReservoirBytes +
                                       kLsfScalefacBufferBytes + kIsPosMarksBytes +
                                       kSynthesisBufferBytes + kPcmBufferBytes;
static_assert(kCarveBytes == 13324, "carve of chunk 0");

inline constexpr int32_t kChunk0Bytes = 14976;
inline constexpr int32_t kChunk1Bytes = 2 * kSpectralWords * 4 + 32;  // 2 channels + slack
static_assert(kChunk1Bytes == 4640, "chunk 1");

// Parsed frame header: twelve signed 16-bit fields. version is the row index
// of every per-version table: 0 MPEG-2 LSF, 1 MPEG-1, 2 MPEG-2.5.
struct MP3D_Frame_Header {
    int16_t version;
    int16_t layer;  // 3 = Layer III, 2 = Layer II
    int16_t crc_present;
    int16_t bitrate_index;
    int16_t sampling_frequency;
    int16_t padding_bit;
    int16_t private_bit;
    int16_t mode;  // 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel
    int16_t mode_extension;
    int16_t copyright;
    int16_t original;
    int16_t emphasis;
};

// Values derived from the header, behind the state in chunk 0.
struct MP3D_Frame_Params {
    MP3D_Frame_Header *header;
    // Layer II: the 32 per-subband allocation rows in use, each a byte offset
    // into MP2D_alloc_table_array; null until a table is first chosen.
    const uint8_t *alloc_table;
    int16_t alloc_table_index;  // -1 until a table is first chosen
    int16_t channels;
    int16_t js_bound;
    int16_t sb_limit;
};

// Side information of one granule and channel: the bitstream values,
// right-aligned.
struct MP3D_Granule_Info {
    uint32_t part2_3_length;
    uint32_t big_values;
    uint32_t global_gain;
    uint32_t scalefac_compress;
    uint32_t window_switching_flag;
    uint32_t block_type;
    uint32_t mixed_block_flag;
    uint32_t table_select[3];
    uint32_t subblock_gain[3];
    uint32_t region0_count;
    uint32_t region1_count;
    uint32_t preflag;
    uint32_t scalefac_scale;
    uint32_t count1table_select;
};
static_assert(sizeof(MP3D_Granule_Info) == 18 * 4, "eighteen words");

struct MP3D_Channel_Side_Info {
    uint32_t scfsi[4];
    MP3D_Granule_Info gr[2];
};

struct MP3D_Side_Info {
    uint32_t main_data_begin;
    uint32_t private_bits;
    MP3D_Channel_Side_Info ch[2];
};

// Scale factors of one channel.
struct MP3D_Scale_Factors {
    int16_t scalefac_l[23];     // long bands 0..21 (21 always 0), 22 unused
    int16_t scalefac_s[3][13];  // [window][short band], band 12 always 0
};

// Layer II tables, reached through the state's pointer to this block.
struct MP2D_Table_Block {
    const int32_t *sblimit;            // MP2D_sblimit
    const int32_t *jsb_table;          // MP2D_jsb_table, 3 x 4
    const uint8_t *alloc_table_array;  // MP2D_alloc_table_array
    const int32_t *c;                  // MP2D_c
    const int32_t *d;                  // MP2D_d
    const int32_t *multiple;           // MP2D_multiple
    const void *unused;                // neither set nor read
    const uint8_t *alloc_count_index;  // MP2D_alloc_count_index, 5 x 8
};

// Constant tables reached through the state (filled by MP3D_init_tables).
struct MP3D_Table_Pointers {
    const int32_t *index_array_III_get_side_info;  // 2 x 4
    const int32_t *sfbtable_short_mixed_block;     // 3
    const int32_t (*s_freq)[4];                    // [version][sampling_frequency]
    const int16_t (*bitrate)[15];                  // [version][bitrate_index]
    const int32_t *is_ratio_table;                 // 7 pairs
    const int32_t *is_ratio_table_root2;           // 7 pairs
    const int32_t *LSF_k_val_table;                // 2 rows of 7 pairs
    const int32_t *LSF_k_val_table_root2;          // 2 rows of 7 pairs
    const int32_t *window_lf;                      // 318 words
    const int32_t *coef_cos_short_interleaved;     // 9
    const int32_t *coef_cos_long_interleaved;      // 27
    const int32_t *coef_cos_short_root2_interleaved;
    const int32_t *coef_cos_long_root2_interleaved;
    const int32_t *sfbtable;                 // 8
    const int32_t (*slen)[16];               // 2 x 16
    const int16_t (*sfBandIndex)[107];       // 9 records
    const uint16_t (*sfBandIndex_s)[13];     // 6 rows
    const int32_t *pretab;                   // 22
    const int32_t (*nr_of_sfb_block)[3][4];  // 6 x 3 x 4
    const int32_t *Cs_Ca_tbl_lf;             // 16
    const int32_t (*imdct_win_lf)[36];       // 4 rows
};

struct MP3D_Kernel_Set;

struct MP3D_Decoder_State {
    // 1. Main-data reservoir reader.
    uint32_t res_window;
    int32_t res_bits_in_window;
    uint8_t *reservoir_buffer;
    int32_t res_read_index;
    int32_t res_bits_consumed;

    // 2. Dequantisation tables.
    const int32_t *lut_1_63;
    const int32_t *lut_1_63_4by3;
    const int32_t *scale_fac_table_lf;
    const uint32_t *lut_1by3;
    const int32_t *lut_2pow1by3;

    // 3, 4.
    int32_t res_write_index;
    int16_t input_exhausted;

    // 5. Buffers.
    int32_t *spectral_buffer;   // [ch][kSpectralWords] (chunk 1)
    int32_t *overlap_buffer;    // [ch][sb][9]
    uint32_t *prev_block_type;  // [ch][sb]

    // 6. Free-format bookkeeping.
    int16_t free_format_slots;
    int32_t free_format_bitrate;

    // 7, 8, 9.
    uint32_t frame_start_bit;
    int16_t main_data_end;
    int16_t last_coded_line;

    // 10. Frame bit reader.
    uint32_t bits_consumed;
    int32_t end_of_bitstream;
    uint32_t bit_window;
    int32_t bits_in_window;

    // 11.
    int32_t *lsf_scalefac_buffer;
    uint8_t *is_pos_marks;

    // 12. Input block.
    const uint8_t *input_read_ptr;
    const uint8_t *input_buffer;

    // 13, 14, 15.
    MP3D_Frame_Params *frame_params;
    MP3D_Frame_Header header;
    int16_t granule_index;
    int16_t channels;
    int16_t granules;

    // 16, 17. Layer III scale factors and side information.
    MP3D_Scale_Factors scalefac[2];
    MP3D_Side_Info side_info;

    // 18.
    int32_t *synthesis_buffer;  // [ch][kSynthesisWords]
    int32_t *pcm_buffer;        // kSpectralWords words

    // 19. Input callback (copy) and bytes left in the current block.
    MP3D_Input_Callback input_callback;
    int32_t input_bytes_left;

    // 20. Constant-table pointers.
    MP3D_Table_Pointers tables;

    // 21.
    MP3D_Decode_Config *config;

    // 22. Layer II working records, rewritten every frame.
    uint8_t mp2_allocation[64];
    uint8_t mp2_scfsi[64];
    uint8_t mp2_scalefactors[3][64];

    // 23. Layer II tables: MP2D_bitrate, the table block, the pointer to it,
    // and the per-subband allocation rows (byte offsets into
    // MP2D_alloc_table_array) of the table in use.
    const int16_t (*MP2D_bitrate)[15];
    MP2D_Table_Block mp2_table_block;
    const MP2D_Table_Block *mp2_tables;
    uint8_t mp2_alloc_rows[kSubbands];

    // 24. Subband counts for the hybrid filterbank, per channel.
    int16_t prev_nonzero_subbands[2];
    int16_t nonzero_subbands[2];

    // 25. Kernel set chosen at init for this processor: the synthesis DCT and
    // window and the long-block hybrid transform.
    const MP3D_Kernel_Set *kernels;

    // 26. Sync confirmation. A frame ends where its length says; the header
    // that begins there (next_header_bit, on the bits_consumed scale, valid
    // while next_header_known) continues the stream. A header found anywhere
    // else was found by searching (header_searched) and is trusted only once
    // the header behind its frame agrees with it.
    uint32_t next_header_bit;
    int16_t next_header_known;
    int16_t header_searched;
    // The input ended while the header step looked at the next header: the
    // frame itself is complete and still decodes.
    int16_t lookahead_end;
    // Bytes read as 0 after the end of input (counted up to 255).
    int16_t input_zero_bytes;
};

// Offset of the frame-parameter record and of the carve from chunk 0's base.
inline constexpr size_t align4(size_t n) {
    return (n + 3) & ~size_t{3};
}
inline constexpr size_t kFrameParamsOffset = align4(sizeof(MP3D_Decoder_State));
inline constexpr size_t kCarveOffset = align4(kFrameParamsOffset + sizeof(MP3D_Frame_Params));
// Smallest chunk 0 that init accepts.
inline constexpr size_t kMinChunk0Bytes = kCarveOffset + kCarveBytes;
static_assert(kMinChunk0Bytes <= static_cast<size_t>(kChunk0Bytes),
              "state, frame parameters and carve must fit the requested chunk 0");
static_assert(alignof(MP3D_Decoder_State) <= 8 && alignof(MP3D_Frame_Params) <= 8,
              "records need no more than pointer alignment");

}  // namespace mp3d

#endif  // MP3D_DECODER_STATE_H
