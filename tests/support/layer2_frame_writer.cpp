#include "support/layer2_frame_writer.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include "support/layer2_support.h"

namespace layer2_test {

namespace {

// ISO/IEC 11172-3 Table 3-B.2: steps of allocations 1.. for each row kind.
const std::vector<int> kA = {3,    7,    15,   31,   63,    127,   255,  511,
                             1023, 2047, 4095, 8191, 16383, 32767, 65535};
const std::vector<int> kB = {3, 5, 7, 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 65535};
const std::vector<int> kC = {3, 5, 7, 9, 15, 31, 65535};
const std::vector<int> kD = {3, 5, 65535};
const std::vector<int> kE = {3,   5,    9,    15,   31,   63,    127,  255,
                             511, 1023, 2047, 4095, 8191, 16383, 32767};
const std::vector<int> kF = {3, 5, 9, 15, 31, 63, 127};
// ISO/IEC 13818-3 Table B.1.
const std::vector<int> kL0 = {3, 5, 7, 9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383};
const std::vector<int> kL1 = {3, 5, 9, 15, 31, 63, 127};
const std::vector<int> kL2 = {3, 5, 9};

const std::vector<int> *row_of(int table, int sb) {
    switch (table) {
        case 0:
        case 1:
            if (sb < 3) return &kA;
            if (sb < 11) return &kB;
            if (sb < 23) return &kC;
            return sb < (table == 0 ? 27 : 30) ? &kD : nullptr;
        case 2:
        case 3:
            if (sb < 2) return &kE;
            return sb < (table == 2 ? 8 : 12) ? &kF : nullptr;
        default:
            if (sb < 4) return &kL0;
            if (sb < 11) return &kL1;
            return sb < 30 ? &kL2 : nullptr;
    }
}

int bits_of(size_t entries) {
    int n = 0;
    while ((size_t{1} << n) < entries + 1) ++n;
    return n;
}

const int kBitrate1[15] = {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};
const int kBitrate2[15] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
const int kRate[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};

bool grouped(int steps) {
    return steps == 3 || steps == 5 || steps == 9;
}

int code_bits(int steps) {
    int nb = 0;
    while ((1 << nb) < steps) ++nb;
    return nb;
}

}  // namespace

int frame_table(const Mp2Frame &f) {
    if (f.version != 1) return 4;
    const int br = kBitrate1[f.bitrate_index] / f.channels();
    const int khz = kRate[1][f.sampling_frequency] / 1000;
    if ((khz == 48 && br >= 56) || (br >= 56 && br <= 80)) return 0;
    if (khz != 48 && br >= 96) return 1;
    if (khz == 32) return 3;
    return br <= 48 ? 2 : 3;
}

int frame_sblimit(const Mp2Frame &f) {
    static const int kLimit[5] = {27, 30, 8, 12, 30};
    return kLimit[frame_table(f)];
}

int frame_bound(const Mp2Frame &f) {
    const int limit = frame_sblimit(f);
    if (f.mode != 1) return limit;
    const int bound = 4 * (f.mode_extension + 1);
    return bound < limit ? bound : limit;
}

int frame_bytes(const Mp2Frame &f) {
    const int kbps = (f.version == 1 ? kBitrate1 : kBitrate2)[f.bitrate_index];
    return 144000 * kbps / kRate[f.version][f.sampling_frequency] + (f.padding ? 1 : 0);
}

int frame_nbal(const Mp2Frame &f, int sb) {
    const std::vector<int> *row = row_of(frame_table(f), sb);
    return row == nullptr ? 0 : bits_of(row->size());
}

int frame_steps(const Mp2Frame &f, int sb, int a) {
    return a == 0 ? 0 : (*row_of(frame_table(f), sb))[static_cast<size_t>(a - 1)];
}

std::vector<uint8_t> write_frame(const Mp2Frame &f) {
    BitWriter w;
    w.put(0xFFF, 12);
    w.put(f.version == 1 ? 1 : 0, 1);
    w.put(2, 2);  // Layer II
    w.put(f.crc ? 0 : 1, 1);
    w.put(static_cast<uint32_t>(f.bitrate_index), 4);
    w.put(static_cast<uint32_t>(f.sampling_frequency), 2);
    w.put(f.padding ? 1 : 0, 1);
    w.put(0, 1);
    w.put(static_cast<uint32_t>(f.mode), 2);
    w.put(static_cast<uint32_t>(f.mode_extension), 2);
    w.put(0, 4);
    if (f.crc) w.put(0xBEEF, 16);  // not checked by the decoder

    const int channels = f.channels();
    const int limit = frame_sblimit(f);
    const int bound = frame_bound(f);
    auto alloc = [&](int ch, int sb) { return f.alloc[sb >= bound ? 0 : ch][sb]; };
    for (int sb = 0; sb < limit; ++sb)
        for (int ch = 0; ch < (sb < bound ? channels : 1); ++ch)
            w.put(static_cast<uint32_t>(f.alloc[ch][sb]), frame_nbal(f, sb));
    for (int sb = 0; sb < limit; ++sb)
        for (int ch = 0; ch < channels; ++ch)
            if (alloc(ch, sb) != 0) w.put(static_cast<uint32_t>(f.scfsi[ch][sb]), 2);
    for (int sb = 0; sb < limit; ++sb) {
        for (int ch = 0; ch < channels; ++ch) {
            if (alloc(ch, sb) == 0) continue;
            const int *s = f.scf[ch][sb];
            switch (f.scfsi[ch][sb]) {
                case 0:
                    w.put(s[0], 6), w.put(s[1], 6), w.put(s[2], 6);
                    break;
                case 1:
                    w.put(s[0], 6), w.put(s[2], 6);
                    break;
                case 2:
                    w.put(s[0], 6);
                    break;
                default:
                    w.put(s[0], 6), w.put(s[1], 6);
                    break;
            }
        }
    }
    for (int gr = 0; gr < 12; ++gr) {
        for (int sb = 0; sb < limit; ++sb) {
            for (int ch = 0; ch < (sb < bound ? channels : 1); ++ch) {
                const int a = f.alloc[ch][sb];
                if (a == 0) continue;
                const int steps = frame_steps(f, sb, a);
                const int *c = f.codes[ch][sb][gr];
                if (grouped(steps)) {
                    w.put(static_cast<uint32_t>(c[0] + steps * (c[1] + steps * c[2])),
                          steps == 3   ? 5
                          : steps == 5 ? 7
                                       : 10);
                } else {
                    for (int i = 0; i < 3; ++i)
                        w.put(static_cast<uint32_t>(c[i]), code_bits(steps));
                }
            }
        }
    }
    for (uint8_t b : f.ancillary) w.put(b, 8);
    const size_t size = static_cast<size_t>(frame_bytes(f));
    std::vector<uint8_t> out = w.bytes(size);
    if (out.size() != size) return {};  // the content does not fit the frame
    return out;
}

double requantise(int code, int steps, int scale_index) {
    const int nb = code_bits(steps);
    int v = code ^ (1 << (nb - 1));
    if (v & (1 << (nb - 1))) v -= 1 << nb;
    const double fraction = static_cast<double>(v) / static_cast<double>(1 << (nb - 1));
    const double c = static_cast<double>(1 << nb) / static_cast<double>(steps);
    const double d = grouped(steps) ? 0.5 : 2.0 / static_cast<double>(1 << nb);
    return c * (fraction + d) * std::pow(2.0, 1.0 - scale_index / 3.0);
}

bool ReferenceSynthesis::load(const std::string &window_file) {
    std::ifstream in(window_file);
    if (!in) return false;
    std::string line;
    int count = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int i = 0;
        long units = 0;
        if (!(fields >> i >> units) || i < 0 || i >= 512) return false;
        d_[i] = static_cast<double>(units) / 65536.0;
        ++count;
    }
    return count == 512;
}

void ReferenceSynthesis::run(const double *subband, double *pcm) {
    const double pi = std::acos(-1.0);
    for (int i = 1023; i >= 64; --i) v_[i] = v_[i - 64];
    for (int i = 0; i < 64; ++i) {
        double sum = 0;
        for (int k = 0; k < 32; ++k)
            sum += std::cos((16 + i) * (2 * k + 1) * pi / 64.0) * subband[k];
        v_[i] = sum;
    }
    for (int j = 0; j < 32; ++j) {
        double sum = 0;
        for (int i = 0; i < 8; ++i) {
            sum += v_[128 * i + j] * d_[64 * i + j];
            sum += v_[128 * i + 96 + j] * d_[64 * i + 32 + j];
        }
        pcm[j] = sum;
    }
}

std::vector<double> reference_decode(const Mp2Frame &f, ReferenceSynthesis *synth) {
    const int channels = f.channels();
    const int bound = frame_bound(f);
    std::vector<double> out(static_cast<size_t>(1152 * channels));
    for (int ch = 0; ch < channels; ++ch) {
        for (int gr = 0; gr < 12; ++gr) {
            for (int slot = 0; slot < 3; ++slot) {
                double subband[32] = {};
                for (int sb = 0; sb < 32; ++sb) {
                    const int src = sb >= bound ? 0 : ch;
                    const int a = f.alloc[src][sb];
                    if (a == 0 || sb >= frame_sblimit(f)) continue;
                    subband[sb] = requantise(f.codes[src][sb][gr][slot], frame_steps(f, sb, a),
                                             f.scf[ch][sb][gr / 4]);
                }
                double pcm[32];
                synth[ch].run(subband, pcm);
                for (int j = 0; j < 32; ++j)
                    out[static_cast<size_t>((96 * gr + 32 * slot + j) * channels + ch)] = pcm[j];
            }
        }
    }
    return out;
}

}  // namespace layer2_test
