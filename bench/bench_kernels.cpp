// Micro-benchmarks of the hot kernels on synthetic data (Google Benchmark):
// the big-value pair kernel per code table, the count1 kernel, the 36- and
// 12-point IMDCT with windowing, the 32-point DCT, the synthesis window
// (portable and, where available, AVX2) and the Layer II sample reading.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "decoder/decoder_state.h"
#include "decoder/memory_layout.h"
#include "decoder/mp2_alloc_table.h"
#include "decoder/mp2_dequantize.h"
#include "kernels/huffman_dequant.h"
#include "kernels/imdct_winola.h"
#include "kernels/kernel_set.h"
#include "kernels/subband_fdct32.h"
#include "kernels/subband_window.h"
#include "tables/huffman_tables.h"
#include "tables/imdct_tables.h"
#include "tables/synthesis_tables.h"

using namespace mp3d;

namespace {

// MPEG-1 44.1 kHz long bands.
const int16_t kLongBands[23] = {0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576};

struct Fixture {
    MP3D_Decoder_State state{};
    std::vector<uint8_t> reservoir;
    std::vector<int32_t> out = std::vector<int32_t>(576);
    int32_t exponents[22];
    explicit Fixture(uint32_t seed) : reservoir(kReservoirBytes) {
        MP3D_init_tables(&state);
        std::mt19937 rng(seed);
        for (uint8_t &b : reservoir) b = static_cast<uint8_t>(rng());
        state.reservoir_buffer = reservoir.data();
        for (int b = 0; b < 22; ++b) exponents[b] = -40 - (b % 7);
    }
    // Reader at bit 0 with a full window.
    void rewind() {
        state.res_read_index = 4;
        state.res_bits_in_window = 32;
        state.res_window = (uint32_t{reservoir[0]} << 24) | (uint32_t{reservoir[1]} << 16) |
                           (uint32_t{reservoir[2]} << 8) | reservoir[3];
    }
};

std::vector<int32_t> random_words(size_t n, int bits, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<int32_t> v(n);
    for (int32_t &x : v) x = static_cast<int32_t>(rng()) >> (32 - bits);
    return v;
}

// One granule's big values (576 lines) from random bits with one code table.
void BM_BigValuePairs(benchmark::State &st) {
    Fixture f(7);
    const Huffman_Pair_Table_Entry &t = Huffman_Pair_Table_Info[st.range(0)];
    MP3D_Pair_Region region{t.code_table, t.linbits, 0, 22, kLongBands, f.exponents, 576};
    int32_t band = 0, stop = 0;
    for (auto _ : st) {
        f.rewind();
        benchmark::DoNotOptimize(
            Huf_dec_dequant_region_pair(f.out.data(), &region, &f.state, &band, &stop));
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_BigValuePairs)->Arg(1)->Arg(7)->Arg(13)->Arg(15)->Arg(24);

// Codewords (bits, length) of a pair table by (x, y), from its leaves.
void collect_codes(const uint16_t *t, int base, uint32_t width, uint32_t prefix, uint32_t length,
                   std::vector<std::pair<uint32_t, uint32_t>> &codes) {
    for (uint32_t j = 0; j < (1u << width); ++j) {
        const uint16_t e = t[base + static_cast<int>(j)];
        const uint32_t code = (prefix << width) | j;
        if ((e & 1) == 0) {
            collect_codes(t, base + ((e >> 1) & 0x3FF), e >> 11, code, length + width, codes);
        } else {
            const uint32_t len = (e >> 1) & 31u, drop = length + width - len;
            codes[(e >> 12) * 16 + ((e >> 8) & 15)] = {code >> drop, len};
        }
    }
}

// One granule's big values (576 lines) coded with one table from values
// drawn like real spectra: mostly small magnitudes, few escapes.
void BM_BigValuePairsCoded(benchmark::State &st) {
    Fixture f(7);
    const Huffman_Pair_Table_Entry &t = Huffman_Pair_Table_Info[st.range(0)];
    std::vector<std::pair<uint32_t, uint32_t>> codes(256);
    collect_codes(t.code_table, 1, t.code_table[0], 0, 0, codes);
    std::mt19937 rng(3);
    std::geometric_distribution<int> magnitude(0.35);
    std::vector<uint8_t> bits;
    auto put = [&](uint32_t value, uint32_t n) {
        for (uint32_t i = n; i-- > 0;) bits.push_back(static_cast<uint8_t>((value >> i) & 1));
    };
    for (int pair = 0; pair < 288; ++pair) {
        int v[2];
        for (int &m : v) m = std::min(magnitude(rng), t.linbits != 0 ? 40 : 15);
        const auto field = [&](int m) { return std::min(m, 15); };
        put(codes[field(v[0]) * 16 + field(v[1])].first,
            codes[field(v[0]) * 16 + field(v[1])].second);
        for (int m : v) {
            if (t.linbits != 0 && m >= 15) put(static_cast<uint32_t>(m - 15), t.linbits);
            if (m != 0) put(rng() & 1, 1);
        }
    }
    std::fill(f.reservoir.begin(), f.reservoir.end(), 0);
    bits.resize(std::min(bits.size(), 8 * f.reservoir.size()));
    for (size_t i = 0; i < bits.size(); ++i)
        f.reservoir[i / 8] |= static_cast<uint8_t>(bits[i] << (7 - i % 8));
    MP3D_Pair_Region region{t.code_table, t.linbits, 0, 22, kLongBands, f.exponents, 576};
    int32_t band = 0, stop = 0;
    for (auto _ : st) {
        f.rewind();
        benchmark::DoNotOptimize(
            Huf_dec_dequant_region_pair(f.out.data(), &region, &f.state, &band, &stop));
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_BigValuePairsCoded)->Arg(13)->Arg(15)->Arg(17)->Arg(24);

// Count1 quadruples over up to 576 lines (table A or B).
void BM_Count1(benchmark::State &st) {
    Fixture f(11);
    MP3D_Quad_Region region{
        Huffman_Quad_Table_Info[st.range(0)], 1200, 0, kLongBands, f.exponents, 0};
    int32_t lines = 0;
    for (auto _ : st) {
        f.rewind();
        benchmark::DoNotOptimize(Huf_dec_dequant_quadplex(f.out.data(), &region, &f.state, &lines));
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_Count1)->Arg(0)->Arg(1);

// 32 long subbands: alias reduction, 36-point IMDCT, window, overlap-add.
void BM_Imdct36(benchmark::State &st) {
    Fixture f(3);
    const std::vector<int32_t> in = random_words(576 + 8, 24, 5);
    std::vector<int32_t> x(in.size()), ovl = random_words(32 * 9, 24, 6);
    for (auto _ : st) {
        x = in;
        for (int sb = 0; sb < 32; ++sb)
            imdct_lee_36(x.data() + 18 * sb, x.data() + 18 * sb,
                         f.state.tables.coef_cos_long_root2_interleaved, idctlee_III_coeff, sb < 31,
                         ovl.data() + 9 * sb, 0, 0, f.state.tables.Cs_Ca_tbl_lf,
                         f.state.tables.imdct_win_lf);
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_Imdct36);

// The same 32 subbands as one run through the AVX2 kernel set, when this
// build and processor have it.
void BM_Imdct36Avx2(benchmark::State &st) {
    const MP3D_Kernel_Set *avx2 = MP3D_avx2_kernels();
    if (avx2 == nullptr) {
        st.SkipWithError("no AVX2 kernels in this build or on this processor");
        return;
    }
    Fixture f(3);
    const std::vector<int32_t> in = random_words(576 + 8, 24, 5);
    std::vector<int32_t> x(in.size()), ovl = random_words(32 * 9, 24, 6);
    std::vector<uint32_t> prev(32);
    for (auto _ : st) {
        x = in;
        avx2->hybrid_long(x.data(), x.data(), 32, 31, 0, ovl.data(), prev.data(),
                          f.state.tables.coef_cos_long_root2_interleaved,
                          f.state.tables.Cs_Ca_tbl_lf, f.state.tables.imdct_win_lf);
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_Imdct36Avx2);

// 32 short subbands: three 12-point IMDCTs and the short windowing.
void BM_Imdct12(benchmark::State &st) {
    Fixture f(3);
    const std::vector<int32_t> in = random_words(576, 24, 8);
    std::vector<int32_t> out(576), ovl = random_words(32 * 9, 24, 9);
    for (auto _ : st) {
        for (int sb = 0; sb < 32; ++sb) {
            int32_t s[18];
            for (int w = 0; w < 3; ++w)
                imdct_lee_12(in.data() + 18 * sb + w, s + 6 * w,
                             f.state.tables.coef_cos_short_root2_interleaved);
            window_convert(s, out.data() + 18 * sb, ovl.data() + 9 * sb, 2, 2,
                           f.state.tables.imdct_win_lf);
        }
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 576);
}
BENCHMARK(BM_Imdct12);

// The DCT stage of half a granule: nine 32-point DCTs into the history.
void BM_Dct32(benchmark::State &st) {
    const std::vector<int32_t> in = random_words(576, 26, 12);
    std::vector<int32_t> synthesis(768);
    int half = 0;
    for (auto _ : st) {
        MP3D_subband_dct9(in.data(), half, synthesis.data());
        half ^= 1;
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 288);
}
BENCHMARK(BM_Dct32);

// The same through the AVX2 kernel set, when this build and processor have it.
void BM_Dct32Avx2(benchmark::State &st) {
    const MP3D_Kernel_Set *avx2 = MP3D_avx2_kernels();
    if (avx2 == nullptr) {
        st.SkipWithError("no AVX2 kernels in this build or on this processor");
        return;
    }
    const std::vector<int32_t> in = random_words(576, 26, 12);
    std::vector<int32_t> synthesis(768);
    int half = 0;
    for (auto _ : st) {
        avx2->subband_dct9(in.data(), half, synthesis.data());
        half ^= 1;
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 288);
}
BENCHMARK(BM_Dct32Avx2);

// The windowing of half a granule: 288 PCM samples and the history move.
void BM_SynthesisWindow(benchmark::State &st) {
    std::vector<int32_t> synthesis = random_words(768, 24, 13), pcm(288);
    for (auto _ : st) {
        MP3D_polyphase_window(synthesis.data(), pcm.data(), 1, 1, window_lf);
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 288);
}
BENCHMARK(BM_SynthesisWindow);

// The same with the AVX2 kernel set, where the build and the processor have it.
void BM_SynthesisWindowAvx2(benchmark::State &st) {
    const MP3D_Kernel_Set *avx2 = MP3D_avx2_kernels();
    if (avx2 == nullptr) {
        st.SkipWithError("no AVX2 kernels in this build or on this processor");
        return;
    }
    std::vector<int32_t> synthesis = random_words(768, 24, 13), pcm(288);
    for (auto _ : st) {
        avx2->polyphase_window(synthesis.data(), pcm.data(), 1, 1, window_lf);
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 288);
}
BENCHMARK(BM_SynthesisWindowAvx2);

// The twelve granules of a stereo Layer II frame (table 0, 27 subbands, no
// joint stereo) from random codes, allocations up to 6 per subband: reading,
// requantisation and the stores in synthesis order, 2304 samples.
void BM_Mp2FrameSamples(benchmark::State &st) {
    MP3D_Decoder_State state{};
    MP3D_Frame_Params fp{};
    state.frame_params = &fp;
    MP2D_decode_init(&state);
    MP2D_initialize_alloc_table(&state, 0);
    fp.alloc_table = state.mp2_alloc_rows;
    fp.channels = 2;
    fp.sb_limit = fp.js_bound = 27;
    std::mt19937 rng(5);
    for (int sb = 0; sb < 27; ++sb) {
        const int nbal = state.mp2_tables->alloc_table_array[fp.alloc_table[sb]];
        const int top = (1 << nbal) - 1 < 6 ? (1 << nbal) - 1 : 6;
        for (int ch = 0; ch < 2; ++ch)
            state.mp2_allocation[2 * sb + ch] = static_cast<uint8_t>(1 + rng() % top);
    }
    for (auto &plane : state.mp2_scalefactors)
        for (uint8_t &v : plane) v = static_cast<uint8_t>(rng() % 63);
    const uint8_t *const planes[3] = {state.mp2_scalefactors[0], state.mp2_scalefactors[1],
                                      state.mp2_scalefactors[2]};
    Mp2Plan plan;
    MP2D_build_plan(&plan, state.mp2_allocation, planes, &fp, &state);
    std::vector<uint8_t> codes(4096);
    for (uint8_t &b : codes) b = static_cast<uint8_t>(rng());
    std::vector<int32_t> samples(1152);
    for (auto _ : st) {
        state.input_read_ptr = codes.data();
        state.input_bytes_left = static_cast<int32_t>(codes.size());
        state.bits_in_window = 0;
        for (int h = 0; h < 2; ++h) MP2D_dequantize_half(samples.data(), &plan, h, &state);
        benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * 2304);
}
BENCHMARK(BM_Mp2FrameSamples);

}  // namespace

BENCHMARK_MAIN();
