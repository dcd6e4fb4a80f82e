// Damaged streams: truncation, bit flips, inserted garbage, spliced layers
// and formats, absurd free-format lengths and corrupt side information. For
// every damaged stream: only documented return codes, no call writes more
// words than its frame format holds, no stall, every buffer fenced (see
// support/fenced_decode.h), and once the damage is past the output equals
// the undamaged decode within kRecoveryFrames frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "support/fenced_decode.h"
#include "support/fixtures.h"

namespace {

using namespace mp3d_test;
using Bytes = std::vector<uint8_t>;
using Pcm = std::vector<std::vector<int32_t>>;

// Frames after the damage whose output may still differ from the clean
// decode: after a reset, main data reaching back up to 511 bytes into frames
// not held, then one granule of overlap. The worst case met below is 4 (a
// flipped mode bit in a Layer II LSF header).
constexpr size_t kRecoveryFrames = 4;

struct Stream {
    Bytes bytes;
    std::vector<size_t> frames;  // start offsets
    Pcm pcm;                     // clean decode, one entry per call
    size_t calls_per_frame;
    Bytes slice(size_t from, size_t to = SIZE_MAX) const {  // frames [from, to)
        return Bytes(bytes.begin() + long(frames[from]),
                     to < frames.size() ? bytes.begin() + long(frames[to]) : bytes.end());
    }
    // The first frame that starts at or after `offset`.
    size_t at_or_after(size_t at) const {
        return std::ranges::lower_bound(frames, at) - frames.begin();
    }
};

Stream load(const std::string &path) {
    Stream s{mp3d_test::read_source(path), {}, {}, 1};
    s.frames = frame_offsets(s.bytes);
    const FencedRun run = decode_fenced(s.bytes, 4096, false);
    s.pcm = run.ok_pcm();
    const MP3D_Frame_Info &info = run.calls.front().info;
    if (info.layer == 3 && info.sample_rate >= 32000) s.calls_per_frame = 2;
    return s;
}

// Per test: damaged streams decoded, calls of the clean decode behind the
// damage that the damaged decode does not reproduce (frames lost to the
// damage and to resynchronisation), and calls that delivered PCM. Printed at
// the end of each test so that changes to the resynchronisation can be
// compared.
struct Tally {
    size_t streams = 0, lost_calls = 0, pcm_calls = 0;
    void print(const char *test) const {
        std::printf("[ tally    ] %s: %zu damaged streams, %zu clean calls lost, %zu PCM calls\n",
                    test, streams, lost_calls, pcm_calls);
    }
};
Tally tally;

// Decodes a damaged stream with alternating block sizes and fence sides and
// checks the guarantees. The damaged stream must end with the frames of
// `clean` from frame `resume` on (the first frame behind the damage): their
// output must equal the clean decode from resume + kRecoveryFrames on.
FencedRun check(const Bytes &damaged, const Stream *clean, size_t resume, const std::string &what) {
    static unsigned variant = 0;
    const size_t blocks[] = {4096, 417, 13, 1500}, block = blocks[variant % 4];
    SCOPED_TRACE(what + ", block " + std::to_string(block));
    const FencedRun run = decode_fenced(damaged, block, (variant++ & 4) != 0);
    EXPECT_FALSE(run.stalled);
    for (bool seen_frame = false; const auto &c : run.calls) {
        // Documented codes only: 0, 1 and 31..41 but 35.
        EXPECT_TRUE(c.code <= 1 ? c.code >= 0 : c.code >= 31 && c.code <= 41 && c.code != 35)
            << c.code;
        seen_frame |= c.new_frame;
        const int32_t words = (c.info.layer == 2 ? 1152 : 576) * c.info.num_channels;
        EXPECT_LE(c.words_written, seen_frame ? size_t(words) : 0) << "code " << c.code;
        // A code that delivers PCM has written every word of the format.
        if (FencedRun::delivers_pcm(c.code)) {
            EXPECT_EQ(c.words_written, size_t(words)) << "code " << c.code;
        }
    }
    tally.streams++;
    tally.pcm_calls += run.ok_pcm().size();
    if (clean == nullptr) return run;
    const Pcm got = run.ok_pcm(), &want = clean->pcm;
    size_t same = 0;  // trailing calls equal to the clean decode
    while (same < std::min(got.size(), want.size()) && got.rbegin()[same] == want.rbegin()[same])
        ++same;
    const size_t after = clean->frames.size() - std::min(resume, clean->frames.size());
    tally.lost_calls +=
        after * clean->calls_per_frame - std::min(same, after * clean->calls_per_frame);
    EXPECT_LE(after - std::min(same / clean->calls_per_frame, after), kRecoveryFrames)
        << after << " clean frames behind the damage";
    return run;
}

// A header that damage creates or alters claims a frame of its own length:
// the bytes it covers are lost too. Where the damaged stream holds a usable
// header at `at` standing for clean offset `clean_at`, the first intact
// frame is the later of `resume` and the first frame behind that claim.
size_t behind_claim(const Stream &s, const Bytes &d, size_t at, size_t clean_at, size_t resume) {
    const size_t len = frame_length_at(d, at);
    return std::max(resume, len ? s.at_or_after(clean_at + len) : 0);
}

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const char *kL3 = "tests/fixtures/layer3/m1_44k_joint_crc_cbr112.mp3";
const char *kL3Short = "tests/fixtures/layer3/m25_8k_mono_cbr16.mp3";
const char *kL2 = "tests/fixtures/layer2/stereo_44k_64_pad.mp2";
const char *kFree = "tests/fixtures/layer3/m1_48k_joint_free160.mp3";

TEST(DamagedStreams, CutAtEveryOffsetAndGarbageBetweenFrames) {
    tally = {};
    const Bytes sync = {0xff, 0xfb, 0x90, 0x64}, junk = {0xff, 0xe3, 0xff, 0xff, 0, 0xff, 0xfa};
    for (const char *path : {kL3, kL3Short, kL2, kFree}) {
        const Stream s = load(path);
        SCOPED_TRACE(path);
        for (size_t cut = 0; cut <= s.frames[2]; ++cut) {
            const Bytes head(s.bytes.begin(), s.bytes.begin() + static_cast<long>(cut));
            // A cut stream decodes as a prefix of the whole one; a frame cut
            // short may still decode (its missing bits read as zero).
            const Pcm got = check(head, nullptr, 0, "cut at " + std::to_string(cut)).ok_pcm();
            ASSERT_LE(got.size(), s.pcm.size());
            for (size_t i = 0; i + 1 < got.size(); ++i) ASSERT_EQ(got[i], s.pcm[i]) << "call " << i;
        }
        for (size_t len : {1, 3, 4, 100, 1500}) {
            Bytes g(len);
            for (size_t i = 0; i < len; ++i) g[i] = static_cast<uint8_t>(i * 97 + len);
            for (const Bytes &ins : {g, sync, junk}) {
                const Bytes d = s.slice(0, 2) + ins + s.slice(2);
                size_t resume = 2;  // a header inside the garbage claims stream bytes
                for (size_t k = 0, at = s.frames[2]; k < ins.size(); ++k)
                    resume = behind_claim(s, d, at + k, at + k - ins.size(), resume);
                check(d, &s, resume, "garbage " + std::to_string(ins.size()));
            }
        }
    }
    tally.print("CutAtEveryOffsetAndGarbageBetweenFrames");
}

TEST(DamagedStreams, EverySingleBitFlip) {
    tally = {};
    // Every bit of the first two frames of short streams.
    for (const char *path : {kL3Short, "tests/fixtures/layer2/lsf_mono_16k_32.mp2"}) {
        const Stream s = load(path);
        SCOPED_TRACE(path);
        for (size_t bit = 0; bit < s.frames[2] * 8 && !HasFailure(); ++bit) {
            Bytes d = s.bytes;
            d[bit / 8] ^= static_cast<uint8_t>(0x80u >> (bit % 8));
            const size_t frame = s.at_or_after(bit / 8 + 1) - 1, at = s.frames[frame];
            check(d, &s, behind_claim(s, d, at, at, frame + 1), "bit " + std::to_string(bit));
        }
    }
    tally.print("EverySingleBitFlip");
}

TEST(DamagedStreams, SplicedAndAlteredStreams) {
    tally = {};
    // Layer III into Layer II and back; rate, channels and version changing;
    // free-format streams with absurd lengths; intensity stereo switched on in
    // joint-stereo frames, making the right channel's scale factors
    // positions, many beyond the table.
    const Stream l2 = load(kL2), l3 = load(kL3), lsf = load(kL3Short), fr = load(kFree),
                 m2 = load("tests/fixtures/layer3/m2_22k_joint_cbr64.mp3"),
                 vbr = load("tests/fixtures/layer3/m1_44k_joint_vbr.mp3");
    const Bytes head(fr.bytes.begin(), fr.bytes.begin() + 40);
    auto intensity = [](const Stream &s, Bytes d) {
        for (size_t f = 1; f < s.frames.size() - 8; ++f) d[s.frames[f] + 3] |= 0x10;
        return d;
    };
    const std::tuple<Bytes, const Stream *, size_t> cases[] = {
        // stream, its tail, resume
        {l2.slice(0, 5) + l3.slice(0, 6) + l2.slice(5), &l2, 5},
        {l3.slice(0, 5) + l2.slice(0, 4) + l3.slice(5), &l3, 5},
        {l3.slice(0, 4) + lsf.slice(0, 4) + m2.slice(0), &m2, 0},
        {m2.slice(0, 4) + l3.slice(7, 11) + lsf.slice(2), &lsf, 2},
        {fr.slice(0, 1) + Bytes(700, 0) + fr.slice(1), &fr, 3},
        {fr.slice(0, 1) + Bytes(6000, 0) + fr.slice(1), &fr, 3},  // beyond the search reach
        {fr.slice(0, 1) + Bytes(head.begin(), head.begin() + 5) + fr.slice(1), &fr, 3},
        {fr.slice(0, 3) + head + fr.slice(3), &fr, 3},
        {fr.slice(0, 3) + fr.slice(0, 1) + fr.slice(0, 1) + fr.slice(3), &fr, 3},
        {intensity(vbr, vbr.bytes), &vbr, vbr.frames.size() - 8},
        {intensity(m2, m2.bytes), &m2, m2.frames.size() - 8},
    };
    for (const auto &c : cases)
        check(std::get<0>(c), std::get<1>(c), std::get<2>(c), "case " + std::to_string(&c - cases));
    tally.print("SplicedAndAlteredStreams");
}

TEST(DamagedStreams, CorruptSideInformation) {
    tally = {};
    // MPEG-1 mono without check word: granule 0's fields start at bit 32+18.
    const Stream s = load("tests/fixtures/layer3/m1_32k_mono_cbr64.mp3");
    // Field position, width and value; a code the damaged frame must produce, or 0.
    const std::tuple<size_t, int, uint32_t, int32_t> edits[] = {
        {50 + 33, 3, 0b100, MP3D_ERROR_SIDE_INFO},  // block_type 0 under window switching
        {50 + 12, 9, 511, 0},                       // big_values 511
        {50, 12, 4095, 0},                          // part2_3_length 4095
        {50, 21, (20u << 9) | 288, 0},              // part2_3_length 20, big_values 288
        {32, 9, 511, MP3D_ERROR_MAIN_DATA},         // main_data_begin 511
    };
    for (const auto &[field, n, value, expect] : edits)
        for (size_t frame : {1, 4}) {
            Bytes d = s.bytes;
            for (int i = n - 1, bit = int(s.frames[frame] * 8 + field); i >= 0; --i, ++bit)
                d[bit / 8] = uint8_t((d[bit / 8] & ~(0x80u >> bit % 8)) |
                                     ((value >> i & 1) << 7 >> bit % 8));
            const auto run =
                check(d, &s, frame + 1, "bit " + std::to_string(8 * s.frames[frame] + field));
            EXPECT_TRUE(expect == 0 || std::ranges::count(run.calls, expect, &FencedCall::code));
        }
    tally.print("CorruptSideInformation");
}

}  // namespace
