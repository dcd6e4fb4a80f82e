// Throughput, instruction and memory benchmark of mp3d against its peers.
//
//   mp3d_bench [--rounds N] [--only A,B] [--markdown] FILE...
//       Decodes every stream from memory with every decoder, N rounds (the
//       decoders take turns within a round, so load on the machine spreads
//       evenly), and prints per stream and decoder the best round: seconds
//       of audio per CPU second (x real time), CPU nanoseconds per output
//       sample, and the throughput of mp3d (portable kernels, then the
//       vector kernels where the processor has them) divided by the
//       decoder's.
//   mp3d_bench --count [--only A,B] FILE...
//       One decode per stream and decoder, counting user-space instructions
//       with the hardware counter where the kernel allows it; under
//       valgrind --tool=callgrind every decode is dumped as its own part
//       (named "stream|decoder|samples") for bench/report.sh to read.
//   mp3d_bench --memory LAYER3_FILE LAYER2_FILE
//       Peak stack of a whole decode run on a painted stack (less the
//       benchmark's own frames), heap in use after the last frame, and
//       mp3d's two chunks.
#include <linux/perf_event.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "mp3d.h"
#include "peers.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define MP3D_BENCH_CALLGRIND 1
#endif

using namespace mp3d_bench;

namespace {

double thread_cpu_seconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

bool load(const std::string &path, Stream &s) {
    std::ifstream f(path, std::ios::binary);
    if (!f) return false;
    s.data.assign(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
    s.size = s.data.size();
    s.data.resize(s.size + 64, 0);  // guard bytes
    const size_t slash = path.find_last_of('/');
    s.name = slash == std::string::npos ? path : path.substr(slash + 1);
    return s.size > 0;
}

std::vector<Decoder> select(const std::string &only) {
    std::vector<Decoder> all = all_decoders(), out;
    if (only.empty()) return all;
    size_t start = 0;
    while (start <= only.size()) {
        size_t end = only.find(',', start);
        if (end == std::string::npos) end = only.size();
        const std::string name = only.substr(start, end - start);
        for (const Decoder &d : all)
            if (name == d.name) out.push_back(d);
        start = end + 1;
    }
    return out;
}

// --- Throughput ---

struct Figures {
    double best = 1e300;  // CPU seconds of the fastest round
    DecodeResult result;
};

int run_throughput(const std::vector<Stream> &streams, const std::vector<Decoder> &decoders,
                   int rounds, bool markdown) {
    if (markdown) {
        std::printf("| stream | decoder | x real time | ns/sample |");
        for (const Decoder &d : decoders)
            if (std::string(d.name).rfind("mp3d", 0) == 0) std::printf(" %s speed-up |", d.name);
        std::printf("\n| --- | --- | ---: | ---: |");
        for (const Decoder &d : decoders)
            if (std::string(d.name).rfind("mp3d", 0) == 0) std::printf(" ---: |");
        std::printf("\n");
    }
    for (const Stream &s : streams) {
        std::vector<Figures> fig(decoders.size());
        for (int round = 0; round < rounds; ++round)
            for (size_t i = 0; i < decoders.size(); ++i) {
                const double t0 = thread_cpu_seconds();
                const DecodeResult r = decoders[i].decode(s, nullptr);
                const double t = thread_cpu_seconds() - t0;
                fig[i].best = std::min(fig[i].best, t);
                fig[i].result = r;
            }
        // Throughput of each mp3d kernel set ("mp3d" portable, "mp3d-avx2"),
        // against which every decoder is compared.
        std::vector<std::pair<const char *, double>> own;
        for (size_t i = 0; i < decoders.size(); ++i)
            if (std::string(decoders[i].name).rfind("mp3d", 0) == 0 && fig[i].result.ok)
                own.emplace_back(decoders[i].name,
                                 static_cast<double>(fig[i].result.samples) / fig[i].best);
        if (!markdown) std::printf("%s\n", s.name.c_str());
        for (size_t i = 0; i < decoders.size(); ++i) {
            const Figures &f = fig[i];
            if (!f.result.ok) {
                std::printf(markdown ? "| %s | %s | failed | |" : "  %-16s %s failed",
                            s.name.c_str(), decoders[i].name);
                for (size_t k = 0; markdown && k < own.size(); ++k) std::printf(" |");
                std::printf("\n");
                continue;
            }
            const double samples = static_cast<double>(f.result.samples);
            const double audio = samples / f.result.channels / f.result.rate;
            const double xrt = audio / f.best;
            const double ns = 1e9 * f.best / samples;
            if (markdown)
                std::printf("| %s | %s | %.0f | %.2f |", s.name.c_str(), decoders[i].name, xrt, ns);
            else
                std::printf("  %-16s %8.0f x real time  %7.2f ns/sample ", decoders[i].name, xrt,
                            ns);
            for (const auto &[name, rate] : own) {
                const double ratio = rate / (samples / f.best);
                if (markdown)
                    std::printf(" %.2f |", ratio);
                else
                    std::printf(" %s speed-up %.2f", name, ratio);
            }
            std::printf("\n");
        }
        std::fflush(stdout);
    }
    return 0;
}

// --- Instruction counts ---

int open_instruction_counter() {
    perf_event_attr attr{};
    attr.type = PERF_TYPE_HARDWARE;
    attr.size = sizeof(attr);
    attr.config = PERF_COUNT_HW_INSTRUCTIONS;
    attr.disabled = 1;
    attr.exclude_kernel = 1;
    attr.exclude_hv = 1;
    return static_cast<int>(syscall(SYS_perf_event_open, &attr, 0, -1, -1, 0));
}

int run_count(const std::vector<Stream> &streams, const std::vector<Decoder> &decoders) {
    bool under_valgrind = false;
#ifdef MP3D_BENCH_CALLGRIND
    under_valgrind = RUNNING_ON_VALGRIND != 0;
#endif
    const int fd = under_valgrind ? -1 : open_instruction_counter();
    if (!under_valgrind && fd < 0) {
        std::fprintf(stderr,
                     "mp3d_bench: no instruction counter here; run under "
                     "valgrind --tool=callgrind\n");
        return 2;
    }
    for (const Stream &s : streams)
        for (const Decoder &d : decoders) {
            if (under_valgrind) {
#ifdef MP3D_BENCH_CALLGRIND
                CALLGRIND_ZERO_STATS;
                const DecodeResult r = d.decode(s, nullptr);
                const std::string part =
                    s.name + "|" + d.name + "|" + std::to_string(r.ok ? r.samples : 0);
                CALLGRIND_DUMP_STATS_AT(part.c_str());
#endif
                continue;
            }
            ioctl(fd, PERF_EVENT_IOC_RESET, 0);
            ioctl(fd, PERF_EVENT_IOC_ENABLE, 0);
            const DecodeResult r = d.decode(s, nullptr);
            ioctl(fd, PERF_EVENT_IOC_DISABLE, 0);
            uint64_t count = 0;
            if (read(fd, &count, sizeof(count)) != sizeof(count)) count = 0;
            std::printf("%s|%s|%llu|%llu\n", s.name.c_str(), d.name,
                        static_cast<unsigned long long>(r.ok ? r.samples : 0),
                        static_cast<unsigned long long>(count));
        }
    if (fd >= 0) close(fd);
    return 0;
}

// --- Memory ---

constexpr size_t kPaintedStack = 1 << 20;
constexpr uint8_t kPaint = 0xa5;
ucontext_t g_main_context, g_probe_context;
const Decoder *g_probe_decoder = nullptr;
const Stream *g_probe_stream = nullptr;
size_t g_heap_before = 0, g_heap_live = 0;

size_t heap_in_use() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

void record_heap() {
    g_heap_live = heap_in_use() - g_heap_before;
}

void probe_entry() {
    if (g_probe_decoder != nullptr) g_probe_decoder->decode(*g_probe_stream, record_heap);
}

// Runs the probe on a freshly painted stack; returns the bytes it touched.
size_t painted_run(std::vector<uint8_t> &stack) {
    std::fill(stack.begin(), stack.end(), kPaint);
    getcontext(&g_probe_context);
    g_probe_context.uc_stack.ss_sp = stack.data();
    g_probe_context.uc_stack.ss_size = stack.size();
    g_probe_context.uc_link = &g_main_context;
    makecontext(&g_probe_context, probe_entry, 0);
    g_heap_before = heap_in_use();
    g_heap_live = 0;
    swapcontext(&g_main_context, &g_probe_context);
    size_t untouched = 0;
    while (untouched < stack.size() && stack[untouched] == kPaint) ++untouched;
    return stack.size() - untouched;
}

int run_memory(const std::vector<Stream> &streams, const std::vector<Decoder> &decoders) {
    std::vector<uint8_t> stack(kPaintedStack);
    g_probe_decoder = nullptr;
    painted_run(stack);
    const size_t baseline = painted_run(stack);
    MP3D_Decode_Config cfg{};
    mp3d_query_dec_mem(&cfg);
    std::printf("mp3d chunks: %d + %d bytes\n", cfg.mem_info[0].size, cfg.mem_info[1].size);
    std::printf("| decoder | stream | peak stack (bytes) | heap in use after decoding (bytes) |\n");
    std::printf("| --- | --- | ---: | ---: |\n");
    for (const Decoder &d : decoders)
        for (const Stream &s : streams) {
            g_probe_decoder = &d;
            g_probe_stream = &s;
            // The first run binds the dynamic symbols (the resolver's frames
            // are deep); the second one measures.
            painted_run(stack);
            const size_t used = painted_run(stack);
            const size_t heap = g_heap_live;
            std::printf("| %s | %s | %zu | %zu |\n", d.name, s.name.c_str(), used - baseline, heap);
        }
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    int rounds = 5;
    std::string only, mode = "throughput";
    bool markdown = false;
    std::vector<Stream> streams;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--rounds" && i + 1 < argc) {
            rounds = std::max(1, std::atoi(argv[++i]));
        } else if (a == "--only" && i + 1 < argc) {
            only = argv[++i];
        } else if (a == "--markdown") {
            markdown = true;
        } else if (a == "--count" || a == "--memory") {
            mode = a.substr(2);
        } else if (a == "--list") {
            for (const Decoder &d : all_decoders()) std::printf("%s\n", d.name);
            return 0;
        } else if (a.rfind("--", 0) == 0) {
            std::fprintf(stderr, "mp3d_bench: unknown option %s\n", a.c_str());
            return 2;
        } else {
            Stream s;
            if (!load(a, s)) {
                std::fprintf(stderr, "mp3d_bench: cannot read %s\n", a.c_str());
                return 2;
            }
            streams.push_back(std::move(s));
        }
    }
    if (streams.empty()) {
        std::fprintf(stderr,
                     "usage: mp3d_bench [--rounds N] [--only A,B] [--markdown | --count | "
                     "--memory | --list] FILE...\n");
        return 2;
    }
    const std::vector<Decoder> decoders = select(only);
    if (mode == "count") return run_count(streams, decoders);
    if (mode == "memory") return run_memory(streams, decoders);
    return run_throughput(streams, decoders, rounds, markdown);
}
