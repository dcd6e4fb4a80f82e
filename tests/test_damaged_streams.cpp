// Damaged streams: truncation, bit flips, inserted garbage, spliced layers
// and formats, absurd free-format lengths and corrupt side information. For
// every damaged stream: only documented return codes, no call writes more
// words than its frame format holds, no stall, every buffer fenced (see
// support/fenced_decode.h), and once the damage is past the output equals
// the undamaged decode within kRecoveryFrames frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/fenced_decode.h"

namespace {

using mp3d_test::decode_fenced;
using mp3d_test::FencedRun;
using mp3d_test::frame_offsets;
using mp3d_test::read_fixture;
using Bytes = std::vector<uint8_t>;
using Pcm = std::vector<std::vector<int32_t>>;

// Frames after the damage whose output may still differ from the clean
// decode: after a reset, main data reaching back up to 511 bytes into frames
// not held, then one granule of overlap. The worst case met below is 4 (a
// flipped mode bit in a Layer II LSF header).
constexpr size_t kRecoveryFrames = 4;

bool documented(int32_t code) {
    return code == MP3D_OK || code == MP3D_END_OF_STREAM || (code >= 31 && code <= 34) ||
           (code >= 36 && code <= 41);
}

struct Stream {
    Bytes bytes;
    std::vector<size_t> frames;  // start offsets
    Pcm pcm;                     // clean decode, one entry per call
    size_t calls_per_frame;
    Bytes slice(size_t from, size_t to) const {  // frames [from, to)
        const size_t a = frames[from], b = to < frames.size() ? frames[to] : bytes.size();
        return Bytes(bytes.begin() + static_cast<long>(a), bytes.begin() + static_cast<long>(b));
    }
};

Stream load(const std::string &path) {
    Stream s;
    s.bytes = read_fixture(path);
    s.frames = frame_offsets(s.bytes);
    const FencedRun run = decode_fenced(s.bytes, 4096, false);
    s.pcm = run.ok_pcm();
    const MP3D_Frame_Info &info = run.calls.front().info;
    s.calls_per_frame = info.layer == 3 && info.sample_rate >= 32000 ? 2 : 1;
    // Every frame decodes, but for the first of a free-format stream, which
    // is only measured.
    EXPECT_GE(s.pcm.size(), (s.frames.size() - 1) * s.calls_per_frame) << path;
    return s;
}

// Decodes a damaged stream with alternating block sizes and fence sides and
// checks the guarantees. The damaged stream must end with the frames of
// `clean` from frame `resume` on (the first frame behind the damage): their
// output must equal the clean decode from resume + kRecoveryFrames on.
Pcm check(const Bytes &damaged, const Stream *clean, size_t resume, const std::string &what) {
    static unsigned variant = 0;
    static const size_t blocks[] = {4096, 417, 13, 1500};
    const size_t block = blocks[variant % 4];
    SCOPED_TRACE(what + ", block " + std::to_string(block));
    const FencedRun run = decode_fenced(damaged, block, (variant++ & 4) != 0);
    EXPECT_FALSE(run.stalled);
    bool seen_frame = false;
    for (const auto &c : run.calls) {
        EXPECT_TRUE(documented(c.code)) << c.code;
        seen_frame |= c.new_frame;
        const size_t allowed = seen_frame ? (c.info.layer == 2 ? 1152u : 576u) *
                                                static_cast<size_t>(c.info.num_channels)
                                          : 0;
        EXPECT_LE(c.words_written, allowed) << "code " << c.code;
    }
    const Pcm got = run.ok_pcm();
    if (clean == nullptr) return got;
    size_t same = 0;  // trailing calls equal to the clean decode
    while (same < got.size() && same < clean->pcm.size() &&
           got[got.size() - 1 - same] == clean->pcm[clean->pcm.size() - 1 - same])
        ++same;
    const size_t frames_same = same / clean->calls_per_frame;
    const size_t frames_after = clean->frames.size() - std::min(resume, clean->frames.size());
    const size_t needed = frames_after - std::min(frames_same, frames_after);
    EXPECT_LE(needed, kRecoveryFrames) << frames_after << " clean frames behind the damage";
    return got;
}

// First frame of `s` that starts at or after `offset`.
size_t frame_at_or_after(const Stream &s, size_t offset) {
    return static_cast<size_t>(std::lower_bound(s.frames.begin(), s.frames.end(), offset) -
                               s.frames.begin());
}

// A header that damage creates or alters claims a frame of its own length:
// the bytes it covers are lost too. Where the damaged stream holds a usable
// header at `at` standing for clean offset `clean_at`, the first intact
// frame is the later of `resume` and the first frame behind that claim.
size_t behind_claim(const Stream &s, const Bytes &damaged, size_t at, size_t clean_at,
                    size_t resume) {
    const size_t len = mp3d_test::frame_length_at(damaged, at);
    return std::max(resume, len ? frame_at_or_after(s, clean_at + len) : 0);
}

void set_bits(Bytes &b, size_t bit, int n, uint32_t value) {
    for (int i = 0; i < n; ++i, ++bit) {
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (bit % 8));
        b[bit / 8] = static_cast<uint8_t>((value >> (n - 1 - i)) & 1 ? b[bit / 8] | mask
                                                                     : b[bit / 8] & ~mask);
    }
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

const char *kL3 = "tests/fixtures/layer3/m1_44k_joint_crc_cbr112.mp3";
const char *kL3Short = "tests/fixtures/layer3/m25_8k_mono_cbr16.mp3";
const char *kL2 = "tests/fixtures/layer2/stereo_44k_64_pad.mp2";
const char *kFree = "tests/fixtures/layer3/m1_48k_joint_free160.mp3";

TEST(DamagedStreams, CutAtEveryOffsetOfTheFirstFrames) {
    for (const char *path : {kL3, kL3Short, kL2, kFree}) {
        const Stream s = load(path);
        for (size_t cut = 0; cut <= s.frames[2]; ++cut) {
            const Bytes head(s.bytes.begin(), s.bytes.begin() + static_cast<long>(cut));
            // A cut stream decodes as a prefix of the whole one; a frame cut
            // short may still decode (its missing bits read as zero).
            const Pcm got =
                check(head, nullptr, 0, std::string(path) + " cut at " + std::to_string(cut));
            ASSERT_LE(got.size(), s.pcm.size());
            for (size_t i = 0; i + 1 < got.size(); ++i)
                ASSERT_EQ(got[i], s.pcm[i]) << path << " cut at " << cut << ", call " << i;
        }
    }
}

TEST(DamagedStreams, EverySingleBitFlip) {
    // Every bit of the first two frames of short streams.
    for (const char *path : {kL3Short, "tests/fixtures/layer2/lsf_mono_16k_32.mp2"}) {
        const Stream s = load(path);
        for (size_t bit = 0; bit < s.frames[2] * 8; ++bit) {
            Bytes d = s.bytes;
            d[bit / 8] ^= static_cast<uint8_t>(0x80u >> (bit % 8));
            const size_t frame = frame_at_or_after(s, bit / 8 + 1) - 1;
            const size_t resume = behind_claim(s, d, s.frames[frame], s.frames[frame], frame + 1);
            check(d, &s, resume, std::string(path) + " bit " + std::to_string(bit));
            if (HasFailure()) return;
        }
    }
}

TEST(DamagedStreams, GarbageBetweenFrames) {
    const Bytes sync_only = {0xff, 0xfb, 0x90, 0x64};
    const Bytes junk = {0xff, 0xe3, 0xff, 0xff, 0x00, 0xff, 0xfa};
    for (const char *path : {kL3, kL3Short, kL2, kFree}) {
        const Stream s = load(path);
        for (size_t len : {1, 3, 4, 100, 1500}) {
            Bytes g(len);
            for (size_t i = 0; i < len; ++i) g[i] = static_cast<uint8_t>(i * 97 + len);
            for (const Bytes &ins : {g, sync_only, junk}) {
                const Bytes d = join({s.slice(0, 2), ins, s.slice(2, s.frames.size())});
                size_t resume = 2;  // a header inside the garbage claims stream bytes
                for (size_t k = 0; k < ins.size(); ++k)
                    resume =
                        behind_claim(s, d, s.frames[2] + k, s.frames[2] + k - ins.size(), resume);
                check(d, &s, resume, std::string(path) + " garbage " + std::to_string(ins.size()));
            }
        }
    }
}

TEST(DamagedStreams, SplicedLayersRatesAndChannels) {
    // Layer III into Layer II and back; rate, channels and version changing.
    const Stream l2 = load(kL2), l3 = load(kL3), lsf = load(kL3Short),
                 m2 = load("tests/fixtures/layer3/m2_22k_joint_cbr64.mp3");
    struct Splice {
        Bytes bytes;
        const Stream *last;
        size_t resume;
    };
    const Splice cases[] = {
        {join({l2.slice(0, 5), l3.slice(0, 6), l2.slice(5, l2.frames.size())}), &l2, 5},
        {join({l3.slice(0, 5), l2.slice(0, 4), l3.slice(5, l3.frames.size())}), &l3, 5},
        {join({l3.slice(0, 4), lsf.slice(0, 4), m2.slice(0, m2.frames.size())}), &m2, 0},
        {join({m2.slice(0, 4), l3.slice(7, 11), lsf.slice(2, lsf.frames.size())}), &lsf, 2},
    };
    for (const Splice &c : cases)
        check(c.bytes, c.last, c.resume, "splice " + std::to_string(&c - cases));
}

TEST(DamagedStreams, FreeFormatWithAbsurdLengths) {
    const Stream s = load(kFree);
    const size_t n = s.frames.size();
    const Bytes zeros(6000, 0), header(s.bytes.begin(), s.bytes.begin() + 40);
    const Bytes cases[] = {
        join({s.slice(0, 1), Bytes(zeros.begin(), zeros.begin() + 700), s.slice(1, n)}),
        join({s.slice(0, 1), zeros, s.slice(1, n)}),  // beyond the search reach
        join({s.slice(0, 1), Bytes(header.begin(), header.begin() + 5), s.slice(1, n)}),
        join({s.slice(0, 3), header, s.slice(3, n)}),
        join({s.slice(0, 3), s.slice(0, 1), s.slice(0, 1), s.slice(3, n)}),
    };
    for (const Bytes &d : cases) check(d, &s, 3, "free format " + std::to_string(&d - cases));
}

TEST(DamagedStreams, CorruptSideInformation) {
    // MPEG-1 mono without check word: granule 0's fields start at bit 32+18.
    const Stream s = load("tests/fixtures/layer3/m1_32k_mono_cbr64.mp3");
    struct Edit {
        const char *what;
        size_t bit;
        int n;
        uint32_t value;
        int32_t expect;  // a code the damaged frame must produce, or 0
    };
    const Edit edits[] = {
        {"block_type 0 under window switching", 50 + 33, 3, 0b100, MP3D_ERROR_SIDE_INFO},
        {"big_values 511", 50 + 12, 9, 511, 0},
        {"part2_3_length 4095", 50, 12, 4095, 0},
        {"part2_3_length 20, big_values 288", 50, 21, (20u << 9) | 288, 0},
        {"main_data_begin 511", 32, 9, 511, MP3D_ERROR_MAIN_DATA},
    };
    for (const Edit &e : edits)
        for (size_t frame : {1, 4}) {
            Bytes d = s.bytes;
            set_bits(d, s.frames[frame] * 8 + e.bit, e.n, e.value);
            check(d, &s, frame + 1, std::string(e.what) + " in frame " + std::to_string(frame));
            if (e.expect == 0) continue;
            const FencedRun run = decode_fenced(d, 4096, false);
            EXPECT_TRUE(std::any_of(run.calls.begin(), run.calls.end(), [&](const auto &c) {
                return c.code == e.expect;
            })) << e.what;
        }
}

TEST(DamagedStreams, IntensityPositionsOutOfRange) {
    // Intensity stereo switched on in joint-stereo frames: the right
    // channel's scale factors become positions, many beyond the table.
    for (const char *path : {"tests/fixtures/layer3/m1_44k_joint_vbr.mp3",
                             "tests/fixtures/layer3/m2_22k_joint_cbr64.mp3"}) {
        const Stream s = load(path);
        Bytes d = s.bytes;
        const size_t last = s.frames.size() - 8;
        for (size_t f = 1; f < last; ++f) d[s.frames[f] + 3] |= 0x10;
        check(d, &s, last, path);
    }
}

}  // namespace
