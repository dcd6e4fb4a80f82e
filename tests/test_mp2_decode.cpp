// Layer II bit allocation, scale factors, requantisation and whole frames.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>

#include "decoder/bit_reader.h"
#include "decoder/mp2_alloc_table.h"
#include "decoder/mp2_bitalloc.h"
#include "decoder/mp2_dequantize.h"
#include "support/layer2_frame_writer.h"
#include "support/layer2_support.h"

using namespace mp3d;
using namespace layer2_test;

namespace {

// A decoder whose frame bit reader delivers `bits`, with the frame parameters
// of a Layer II frame set by hand.
struct Unit {
    Unit(const BitWriter &bits, int table, int channels, int js_bound)
        : dec(bits.bytes(bits.bit_count() / 8 + 8)) {
        s = dec.state();
        MP3D_Frame_Params *fp = s->frame_params;
        MP2D_initialize_alloc_table(s, table);
        fp->alloc_table = s->mp2_alloc_rows;
        fp->alloc_table_index = static_cast<int16_t>(table);
        fp->channels = static_cast<int16_t>(channels);
        fp->sb_limit = static_cast<int16_t>(s->mp2_tables->sblimit[table]);
        fp->js_bound = static_cast<int16_t>(js_bound);
    }
    // Dequantises one granule into the two blocks (prefilled with a marker).
    void granule(const uint8_t *plane) {
        for (auto &b : block) std::fill(std::begin(b), std::end(b), 0x5A5A5A5A);
        int32_t *const blocks[2] = {block[0], block[1]};
        MP2D_dequantize_sample(blocks, s->mp2_allocation, plane, s->frame_params, s);
    }
    Decoder dec;
    MP3D_Decoder_State *s = nullptr;
    int32_t block[2][96] = {};
};

constexpr uint32_t kMarker = 0xA5;

}  // namespace

TEST(Mp2Bitalloc, PacksAllocationsInBitstreamOrder) {
    // Joint stereo, bound 4, table 0 (limit 27): two fields per subband below
    // the bound, one above, stored twice.
    BitWriter w;
    for (int sb = 0; sb < 4; ++sb) w.put(sb + 1, 4), w.put(sb + 9, 4);
    for (int sb = 4; sb < 27; ++sb) {
        const int nbal = sb < 11 ? 4 : sb < 23 ? 3 : 2;
        w.put(static_cast<uint32_t>(sb % ((1 << nbal) - 1) + 1), nbal);
    }
    w.put(kMarker, 8);
    Unit u(w, 0, 2, 4);
    MP2D_decode_bitalloc(u.s->mp2_allocation, u.s->frame_params, u.s);
    EXPECT_EQ(u.s->bits_consumed, 8u * 4 + 7 * 4 + 12 * 3 + 4 * 2);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int sb = 0; sb < 4; ++sb) {
        EXPECT_EQ(u.s->mp2_allocation[2 * sb], sb + 1);
        EXPECT_EQ(u.s->mp2_allocation[2 * sb + 1], sb + 9);
    }
    for (int sb = 4; sb < 27; ++sb) {
        const int nbal = sb < 11 ? 4 : sb < 23 ? 3 : 2;
        EXPECT_EQ(u.s->mp2_allocation[2 * sb], sb % ((1 << nbal) - 1) + 1) << sb;
        EXPECT_EQ(u.s->mp2_allocation[2 * sb + 1], u.s->mp2_allocation[2 * sb]) << sb;
    }
}

TEST(Mp2Bitalloc, MonoAndBoundAboveTheLimit) {
    // Table 2 (limit 8): nbal 4, 4, then 3. Mono reads one field per subband.
    BitWriter mono;
    for (int sb = 0; sb < 8; ++sb) mono.put(static_cast<uint32_t>(sb % 7 + 1), sb < 2 ? 4 : 3);
    mono.put(kMarker, 8);
    Unit m(mono, 2, 1, 8);
    MP2D_decode_bitalloc(m.s->mp2_allocation, m.s->frame_params, m.s);
    EXPECT_EQ(getbits1(8, m.s), kMarker);
    for (int sb = 0; sb < 8; ++sb) EXPECT_EQ(m.s->mp2_allocation[sb], sb % 7 + 1);

    // Joint stereo with bound 16 over a limit of 8: every coded subband has
    // two fields, exactly as in plain stereo.
    BitWriter js;
    for (int sb = 0; sb < 8; ++sb)
        for (int ch = 0; ch < 2; ++ch) js.put(static_cast<uint32_t>((sb + ch) % 7), sb < 2 ? 4 : 3);
    js.put(kMarker, 8);
    Unit j(js, 2, 2, 16);
    MP2D_decode_bitalloc(j.s->mp2_allocation, j.s->frame_params, j.s);
    EXPECT_EQ(getbits1(8, j.s), kMarker);
    for (int sb = 0; sb < 8; ++sb)
        for (int ch = 0; ch < 2; ++ch) EXPECT_EQ(j.s->mp2_allocation[2 * sb + ch], (sb + ch) % 7);
}

TEST(Mp2Scale, ScfsiSelectsWhichIndicesAreRead) {
    // Stereo, table 2. Allocated pairs in order: (0,0) (1,0) (1,1) (3,0) (3,1);
    // (0,1) and subband 2 carry nothing.
    BitWriter w;
    const int scfsi[5] = {0, 1, 2, 3, 2};
    for (int v : scfsi) w.put(static_cast<uint32_t>(v), 2);
    const int read[] = {1, 2, 3, /*scfsi 1*/ 4, 5, /*scfsi 2*/ 6, /*scfsi 3*/ 7, 8, /*scfsi 2*/ 63};
    for (int v : read) w.put(static_cast<uint32_t>(v), 6);
    w.put(kMarker, 8);
    Unit u(w, 2, 2, 8);
    uint8_t *alloc = u.s->mp2_allocation;
    std::fill(alloc, alloc + 64, 0);
    alloc[0] = 1, alloc[2] = 2, alloc[3] = 3, alloc[6] = 1, alloc[7] = 1;
    MP2D_decode_scale(u.s->mp2_scfsi, alloc, u.s->mp2_scalefactors, u.s->frame_params, u.s);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    const int planes[5][3] = {{1, 2, 3}, {4, 4, 5}, {6, 6, 6}, {7, 8, 8}, {63, 63, 63}};
    for (int n = 0; n < 5; ++n) {
        EXPECT_EQ(u.s->mp2_scfsi[n], scfsi[n]) << n;
        for (int p = 0; p < 3; ++p)
            EXPECT_EQ(u.s->mp2_scalefactors[p][n], planes[n][p]) << n << " " << p;
    }
}

TEST(Mp2Dequantize, GroupedThreeStepCodes) {
    // Table 0, subband 0, allocation 1: 3 steps, scale index 3 (1.0).
    BitWriter w;
    w.put(0 + 3 * 1 + 9 * 2, 5);  // samples 0, 1, 2
    w.put(26, 5);                 // 2, 2, 2
    w.put(31, 5);                 // 1, 1, 0 (beyond 26: taken modulo 3)
    Unit u(w, 0, 1, 27);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[0] = 1;
    const uint8_t plane[64] = {3};
    const int32_t lo = -178956971, mid = 0, hi = 178956970;
    const int32_t expect[3][3] = {{lo, mid, hi}, {hi, hi, hi}, {mid, mid, lo}};
    for (const auto &e : expect) {
        u.granule(plane);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(u.block[0][32 * i], e[i]);
        for (int i = 0; i < 96; ++i) {
            if (i % 32 != 0) {
                EXPECT_EQ(u.block[0][i], 0) << i;
            }
        }
    }
    EXPECT_EQ(u.s->bits_consumed, 15u);
}

TEST(Mp2Dequantize, MatchesTheStandardRequantisation) {
    // Table 0: subband 0 uses row A (3, 7, 15, ... 65535), subband 3 row B
    // (3, 5, 7, 9, ...). Each case: subband, allocation, codes, scale index.
    struct Case {
        int sb, alloc, steps;
        int codes[3];
        int scale;
    };
    const Case cases[] = {
        {3, 2, 5, {4, 0, 3}, 0},                // grouped 5 steps, 7 bits
        {3, 4, 9, {8, 4, 0}, 1},                // grouped 9 steps, 10 bits
        {0, 2, 7, {0, 7, 4}, 5},                // 3 bits per sample (7 is the unused all-ones code)
        {0, 3, 15, {1, 14, 8}, 10},             // 4 bits
        {0, 13, 16383, {0, 8191, 16382}, 4},    // class 14
        {0, 15, 65535, {0, 32768, 65534}, 20},  // 16 bits per sample
        {0, 15, 65535, {0, 32768, 65534}, 62},  // smallest scale factor
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "steps " << c.steps << " scale " << c.scale);
        BitWriter w;
        int bits = 0;
        if (c.steps == 5 || c.steps == 9) {
            bits = c.steps == 5 ? 7 : 10;
            w.put(static_cast<uint32_t>(c.codes[0] + c.steps * (c.codes[1] + c.steps * c.codes[2])),
                  bits);
        } else {
            const int nb = static_cast<int>(std::ceil(std::log2(c.steps)));
            for (int code : c.codes) w.put(static_cast<uint32_t>(code), nb);
            bits = 3 * nb;
        }
        Unit u(w, 0, 1, 27);
        std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
        u.s->mp2_allocation[c.sb] = static_cast<uint8_t>(c.alloc);
        const uint8_t plane[64] = {static_cast<uint8_t>(c.scale)};
        u.granule(plane);
        EXPECT_EQ(u.s->bits_consumed, static_cast<uint32_t>(bits));
        for (int i = 0; i < 3; ++i) {
            const double want = requantise(c.codes[i], c.steps, c.scale) * (1 << 28);
            EXPECT_NEAR(u.block[0][32 * i + c.sb], want, 2.0) << "slot " << i;
        }
    }
}

TEST(Mp2Dequantize, ZerosAndScaleIndex63) {
    // Table 2 (limit 8), stereo: subband 1 of channel 0 has scale index 63,
    // subband 2 of channel 1 is coded; everything else must come out zero,
    // including subbands 8..31, and the codes of the silenced pair are read.
    BitWriter w;
    w.put(0x7FF, 12);  // subband 1, channel 0: 15 steps (4 bits) x 3
    w.put(0x123, 12);  // subband 2, channel 1: 15 steps x 3
    w.put(kMarker, 8);
    Unit u(w, 2, 2, 8);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[2] = 4;          // row E allocation 4: 15 steps
    u.s->mp2_allocation[2 * 2 + 1] = 4;  // row F allocation 4: 15 steps
    const uint8_t plane[64] = {63, 9};
    u.granule(plane);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int ch = 0; ch < 2; ++ch) {
        for (int i = 0; i < 96; ++i) {
            if (!(ch == 1 && i % 32 == 2)) {
                EXPECT_EQ(u.block[ch][i], 0) << ch << " " << i;
            }
        }
    }
    EXPECT_NEAR(u.block[1][2], requantise(1, 15, 9) * (1 << 28), 2.0);
    EXPECT_NEAR(u.block[1][34], requantise(2, 15, 9) * (1 << 28), 2.0);
    EXPECT_NEAR(u.block[1][66], requantise(3, 15, 9) * (1 << 28), 2.0);
}

TEST(Mp2Dequantize, JointStereoSharesRequantisedValues) {
    // Bound 4, table 0: subband 5 (row B, allocation 5: 15 steps) is coded
    // once; channel 0 has scale index 3 (1.0), channel 1 index 6 (0.5).
    BitWriter w;
    w.put(1, 4), w.put(9, 4), w.put(14, 4);
    w.put(kMarker, 8);
    Unit u(w, 0, 2, 4);
    std::fill(u.s->mp2_allocation, u.s->mp2_allocation + 64, 0);
    u.s->mp2_allocation[10] = u.s->mp2_allocation[11] = 5;
    const uint8_t plane[64] = {3, 6};
    u.granule(plane);
    EXPECT_EQ(getbits1(8, u.s), kMarker);
    for (int i = 0; i < 3; ++i) {
        const int32_t c0 = u.block[0][32 * i + 5];
        EXPECT_NE(c0, 0);
        // floor(r/2) then floor(r/4) of the same requantised r.
        EXPECT_EQ(u.block[1][32 * i + 5], c0 >> 1) << i;
    }
}

namespace {

std::string window_file() {
    return shared_dir() + "/reference-data/synthesis_window.txt";
}

// A random but valid frame: a few coded subbands per channel at moderate
// scale factors (no clipping), every scfsi, every kind of row.
Mp2Frame random_frame(std::mt19937 *rng, Mp2Frame f) {
    auto uniform = [rng](int lo, int hi) {
        return std::uniform_int_distribution<int>(lo, hi)(*rng);
    };
    const int limit = frame_sblimit(f);
    const int bound = frame_bound(f);
    for (int ch = 0; ch < f.channels(); ++ch) {
        for (int sb = 0; sb < limit; ++sb) {
            f.alloc[ch][sb] = 0;
            if (ch == 1 && sb >= bound) {
                f.alloc[1][sb] = f.alloc[0][sb];
            } else if (uniform(0, 3) == 0) {
                f.alloc[ch][sb] = uniform(1, (1 << frame_nbal(f, sb)) - 1);
            }
            if (f.alloc[ch][sb] == 0) continue;
            const int scfsi = uniform(0, 3);
            const int a = uniform(12, 40), b = uniform(12, 40), c = uniform(12, 40);
            const int planes[4][3] = {{a, b, c}, {a, a, c}, {a, a, a}, {a, b, b}};
            f.scfsi[ch][sb] = scfsi;
            for (int p = 0; p < 3; ++p) f.scf[ch][sb][p] = planes[scfsi][p];
            const int steps = frame_steps(f, sb, f.alloc[ch][sb]);
            for (auto &gr : f.codes[ch][sb])
                for (int &code : gr) code = uniform(0, steps - 1);
        }
    }
    return f;
}

// Decodes the frames (24-bit output) and compares each with the standard's
// reconstruction of the same samples.
void expect_frames_match_reference(const std::vector<Mp2Frame> &frames) {
    ReferenceSynthesis synth[2];
    if (!synth[0].load(window_file()) || !synth[1].load(window_file()))
        GTEST_SKIP() << "synthesis window not found at " << window_file();
    std::vector<uint8_t> stream;
    for (const Mp2Frame &f : frames) {
        const std::vector<uint8_t> bytes = write_frame(f);
        ASSERT_FALSE(bytes.empty()) << "frame content exceeds its length";
        stream.insert(stream.end(), bytes.begin(), bytes.end());
    }
    Decoder dec(stream, 0, /*no_shift=*/true);
    std::vector<int32_t> out(MP3D_MAX_OUTPUT_WORDS + 16);
    for (size_t k = 0; k < frames.size(); ++k) {
        std::fill(out.begin(), out.end(), 0x12345678);
        MP3D_Frame_Info info{};
        ASSERT_EQ(dec.decode(&info, out.data()), MP3D_OK) << "frame " << k;
        const int channels = frames[k].channels();
        EXPECT_EQ(info.num_channels, channels);
        EXPECT_EQ(info.samples_per_frame, 1152);
        const std::vector<double> want = reference_decode(frames[k], synth);
        double worst = 0;
        for (size_t i = 0; i < want.size(); ++i)
            worst = std::max(worst, std::fabs(out[i] - want[i] * 8388608.0));
        EXPECT_LT(worst, 32.0) << "frame " << k << ": largest difference in 24-bit units";
        // Nothing is written behind the frame's samples.
        for (size_t i = want.size(); i < out.size(); ++i) ASSERT_EQ(out[i], 0x12345678) << i;
    }
}

}  // namespace

TEST(Mp2DecodeFrame, MonoFramesMatchTheStandardSynthesis) {
    // 48 kHz mono 192 kbit/s (table 0). The first frame carries only
    // subband 1 with the same positive code in every slot: odd subbands at odd
    // time slots must reach the synthesis with their own sign.
    Mp2Frame first;
    first.bitrate_index = 10;
    first.alloc[0][1] = 3;  // 15 steps
    first.scfsi[0][1] = 2;
    for (int &s : first.scf[0][1]) s = 9;
    for (auto &gr : first.codes[0][1])
        for (int &code : gr) code = 13;
    std::mt19937 rng(1);
    expect_frames_match_reference({first, random_frame(&rng, first), random_frame(&rng, first)});
}

TEST(Mp2DecodeFrame, StereoFramesMatchTheStandardSynthesis) {
    std::mt19937 rng(2);
    Mp2Frame f;  // 48 kHz 384 kbit/s: table 0
    f.bitrate_index = 14;
    f.mode = 0;
    Mp2Frame joint = f;
    joint.mode = 1;
    joint.mode_extension = 1;  // bound 8
    joint.crc = true;
    Mp2Frame dual = f;
    dual.mode = 2;
    expect_frames_match_reference({random_frame(&rng, f), random_frame(&rng, joint),
                                   random_frame(&rng, dual), random_frame(&rng, joint)});
}

TEST(Mp2DecodeFrame, LowerSamplingFrequencyFramesMatchTheStandardSynthesis) {
    std::mt19937 rng(3);
    Mp2Frame f;  // MPEG-2 24 kHz, 160 kbit/s: the ISO/IEC 13818-3 table
    f.version = 0;
    f.bitrate_index = 14;
    f.mode = 1;
    f.mode_extension = 0;  // bound 4
    Mp2Frame mono = f;
    mono.mode = 3;
    mono.sampling_frequency = 2;  // 16 kHz
    mono.bitrate_index = 8;       // 64 kbit/s
    expect_frames_match_reference(
        {random_frame(&rng, f), random_frame(&rng, f), random_frame(&rng, mono)});
}

TEST(Mp2DecodeFrame, EndOfFrameSkipsAncillaryData) {
    // Three frames of different formats, each ending in ancillary bytes that
    // hold a well-formed Layer II header: the decoder must skip them and find
    // each real frame.
    const std::vector<uint8_t> decoy = {0xFF, 0xFD, 0x14, 0xC4, 0xFF, 0xFD, 0x14, 0xC4, 0x55};
    Mp2Frame a;  // MPEG-1 48 kHz mono 64 kbit/s, CRC: 192 bytes
    a.bitrate_index = 4;
    a.crc = true;
    a.alloc[0][0] = 1;
    a.ancillary = decoy;
    Mp2Frame b;  // MPEG-2 24 kHz stereo 32 kbit/s: 192 bytes
    b.version = 0;
    b.bitrate_index = 4;
    b.mode = 0;
    b.alloc[1][2] = 2;
    b.ancillary = decoy;
    Mp2Frame c;  // MPEG-1 44.1 kHz stereo 64 kbit/s, padded: 209 bytes
    c.sampling_frequency = 0;
    c.bitrate_index = 4;
    c.mode = 0;
    c.padding = true;
    c.ancillary = decoy;
    std::vector<uint8_t> stream;
    for (const Mp2Frame *f : {&a, &b, &c, &a}) {
        const std::vector<uint8_t> bytes = write_frame(*f);
        // Put the decoy at the very end of the frame, behind zero bytes.
        std::vector<uint8_t> framed(bytes.size(), 0);
        std::copy(bytes.begin(), bytes.begin() + 40, framed.begin());
        std::copy(decoy.begin(), decoy.end(), framed.end() - static_cast<long>(decoy.size()));
        stream.insert(stream.end(), framed.begin(), framed.end());
    }
    ASSERT_EQ(stream.size(), 192u + 192 + 209 + 192);
    for (size_t block : {size_t{0}, size_t{7}}) {
        SCOPED_TRACE(testing::Message() << "input blocks of " << block << " bytes");
        Decoder dec(stream, block);
        std::vector<int32_t> out(MP3D_MAX_OUTPUT_WORDS);
        const int rates[4] = {48000, 24000, 44100, 48000};
        const int kbps[4] = {64, 32, 64, 64};
        for (int k = 0; k < 4; ++k) {
            MP3D_Frame_Info info{};
            ASSERT_EQ(dec.decode(&info, out.data()), MP3D_OK) << "frame " << k;
            EXPECT_EQ(info.sample_rate, rates[k]);
            EXPECT_EQ(info.bitrate_kbps, kbps[k]);
            EXPECT_EQ(info.samples_per_frame, 1152);
            EXPECT_EQ(info.layer, 2);
        }
        MP3D_Frame_Info info{};
        EXPECT_EQ(dec.decode(&info, out.data()), MP3D_END_OF_STREAM);
    }
}

// ISO/IEC 11172-4 and 13818-4 Layer II conformance streams: 16-bit output
// against the reference decodings.
TEST(Mp2Conformance, StreamsReachLimitedAccuracy) {
    const std::string dir = shared_dir() + "/conformance/";
    if (read_file(dir + "l2-fl10.bit").empty())
        GTEST_SKIP() << "conformance streams not found in " << dir;
    for (const char *name : {"l2-fl10", "l2-fl11", "l2-fl12", "l2-fl13", "l2-fl14", "l2-fl15",
                             "l2-fl16", "l2-test32"}) {
        SCOPED_TRACE(name);
        const DecodedStream got = decode_stream(read_file(dir + name + ".bit"));
        const std::vector<uint8_t> raw = read_file(dir + name + ".pcm");
        std::vector<int32_t> ref(raw.size() / 2);
        for (size_t i = 0; i < ref.size(); ++i)
            ref[i] =
                static_cast<int16_t>(static_cast<uint16_t>(raw[2 * i] | (raw[2 * i + 1] << 8)));
        EXPECT_EQ(got.errors, 0);
        ASSERT_GT(got.frames, 0);
        ASSERT_LE(got.pcm.size(), ref.size());
        const Difference d = compare16(got.pcm, ref, got.pcm.size());
        std::printf("%-10s %4d frames  rms %.3g of full scale (%.3f LSB)  max %.0f LSB\n", name,
                    got.frames, d.rms, d.rms * 32768, d.max_abs);
        EXPECT_LT(d.rms, limited_accuracy_rms());
    }
}

// Layer I is not decoded: the headers of the Layer I conformance stream are
// refused with MP3D_ERROR_LAYER. (The searches in between may meet false sync
// words inside the audio data, which report whatever they parse to.)
TEST(Mp2Conformance, LayerOneIsRefused) {
    const std::vector<uint8_t> stream = read_file(shared_dir() + "/conformance/l1-fl1.bit");
    if (stream.empty()) GTEST_SKIP() << "conformance streams not found in " << shared_dir();
    Decoder dec(stream);
    std::vector<int32_t> out(MP3D_MAX_OUTPUT_WORDS);
    MP3D_Frame_Info info{};
    EXPECT_EQ(dec.decode(&info, out.data()), MP3D_ERROR_LAYER);
    int refused = 1;
    int status = MP3D_OK;
    for (int call = 0; call < 10000 && status != MP3D_END_OF_STREAM; ++call) {
        status = dec.decode(&info, out.data());
        if (status == MP3D_ERROR_LAYER) ++refused;
    }
    EXPECT_EQ(status, MP3D_END_OF_STREAM);
    EXPECT_GT(refused, 10);
}

// Corrupted Layer II streams (random bytes overwritten, including headers,
// allocations and scale factors) decode to the end with in-range output; the
// sanitizer build checks that no access or arithmetic goes astray.
TEST(Mp2Fixtures, CorruptStreamsDecodeSafely) {
    const std::string dir = std::string(MP3D_SOURCE_DIR) + "/tests/fixtures/layer2/";
    std::mt19937 rng(7);
    for (const char *name : {"joint_48k_192", "lsf_joint_24k_96_crc", "mono_32k_48"}) {
        SCOPED_TRACE(name);
        std::vector<uint8_t> stream = read_file(dir + name + ".mp2");
        ASSERT_FALSE(stream.empty());
        for (size_t i = 0; i < stream.size() / 50; ++i)
            stream[std::uniform_int_distribution<size_t>(0, stream.size() - 1)(rng)] =
                static_cast<uint8_t>(rng());
        const DecodedStream got = decode_stream(stream);
        EXPECT_GT(got.frames, 0);
        for (int32_t v : got.pcm) ASSERT_TRUE(v >= -32768 && v <= 32767) << v;
    }
}

#ifdef MP3D_HAVE_MPG123
#include <mpg123.h>

namespace {

// libmpg123's 16-bit decoding of a whole stream, interleaved.
std::vector<int32_t> mpg123_decode(const std::vector<uint8_t> &stream, int *channels) {
    std::vector<int32_t> pcm;
    int err = 0;
    mpg123_handle *mh = mpg123_new(nullptr, &err);
    if (mh == nullptr) return pcm;
    mpg123_param(mh, MPG123_ADD_FLAGS, MPG123_QUIET, 0.0);
    mpg123_format_none(mh);
    for (long rate : {8000L, 11025L, 12000L, 16000L, 22050L, 24000L, 32000L, 44100L, 48000L})
        mpg123_format(mh, rate, MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16);
    mpg123_open_feed(mh);
    mpg123_feed(mh, stream.data(), stream.size());
    std::vector<unsigned char> buffer(1 << 16);
    for (;;) {
        size_t done = 0;
        const int ret = mpg123_read(mh, buffer.data(), buffer.size(), &done);
        for (size_t i = 0; i + 1 < done; i += 2)
            pcm.push_back(
                static_cast<int16_t>(static_cast<uint16_t>(buffer[i] | (buffer[i + 1] << 8))));
        if (ret == MPG123_NEW_FORMAT) {
            long rate = 0;
            int enc = 0;
            mpg123_getformat(mh, &rate, channels, &enc);
            continue;
        }
        if (ret != MPG123_OK) break;
    }
    mpg123_delete(mh);
    return pcm;
}

}  // namespace

TEST(Mp2Fixtures, MatchLibmpg123) {
    const std::string dir = std::string(MP3D_SOURCE_DIR) + "/tests/fixtures/layer2/";
    const char *names[] = {"ancillary_44k_128", "dual_48k_256_crc",  "joint_48k_192",
                           "joint_48k_96",      "lsf_joint_24k_32",  "lsf_joint_24k_96_crc",
                           "lsf_mono_16k_32",   "lsf_stereo_22k_64", "mono_32k_48",
                           "stereo_32k_96_crc", "stereo_44k_192",    "stereo_44k_64_pad"};
    for (const char *name : names) {
        SCOPED_TRACE(name);
        const std::vector<uint8_t> stream = read_file(dir + name + ".mp2");
        ASSERT_FALSE(stream.empty());
        const DecodedStream got = decode_stream(stream);
        int channels = 0;
        const std::vector<int32_t> ref = mpg123_decode(stream, &channels);
        EXPECT_EQ(got.errors, 0);
        EXPECT_EQ(got.channels, channels);
        EXPECT_EQ(got.pcm.size(), ref.size());
        const size_t n = std::min(got.pcm.size(), ref.size());
        ASSERT_GT(n, 0u);
        const Difference d = compare16(got.pcm, ref, n);
        std::printf("%-22s %3d frames  rms %.3g of full scale (%.3f LSB)  max %.0f LSB\n", name,
                    got.frames, d.rms, d.rms * 32768, d.max_abs);
        EXPECT_LT(d.rms, limited_accuracy_rms());
    }
}
#endif
