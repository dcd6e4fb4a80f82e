#!/usr/bin/env bash
# Regenerates docs/performance.md: builds the benchmarks (Release), makes the
# 60-second streams, and measures throughput against the installed peers,
# instruction counts, kernel timings and memory figures.
#   bench/report.sh [BUILD_DIR]        (default: build-bench)
# Environment: ROUNDS (default 7), SHARED (default ../shared or /work/shared),
# ARMV6_TOOLCHAIN (default cmake/toolchain-armv6.cmake): when it exists with
# its cross compiler and qemu-arm, the ARMv6 memory figures are added. The
# ARMv6 cycle section (bench/arm/measure.sh) is kept from the existing file.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$src/build-bench}
rounds=${ROUNDS:-7}
shared=${SHARED:-}
for d in "$src/../shared" /work/shared; do
  [ -z "$shared" ] && [ -d "$d/conformance" ] && shared=$(cd "$d" && pwd)
done
out=$src/docs/performance.md
jobs=${JOBS:-2}

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DMP3D_BUILD_BENCH=ON \
  -DMP3D_BUILD_TESTS=OFF -DMP3D_BUILD_TOOLS=OFF >/dev/null
make -C "$build" -j"$jobs" mp3d_static mp3d_bench mp3d_bench_count >/dev/null
make -C "$build" -j"$jobs" mp3d_kernel_bench >/dev/null 2>&1 || true
bench=$build/bench/mp3d_bench
"$src/bench/make_streams.sh" "$build/bench-streams" >/dev/null
gen=(l3_44k_joint_128.mp3 l3_44k_joint_320.mp3 l3_44k_joint_v2.mp3 l3_22k_mono_64.mp3
     l2_48k_stereo_192.mp2)
streams=()
for s in "${gen[@]}"; do streams+=("$build/bench-streams/$s"); done
conf=()
if [ -n "$shared" ]; then
  for f in "$shared"/conformance/l2-*.bit "$shared"/conformance/l3-*.bit \
           "$shared"/conformance/M2L3*.bit; do
    [ -f "$f" ] && conf+=("$f")
  done
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

echo "report.sh: throughput ($rounds rounds)..." >&2
"$bench" --rounds "$rounds" --markdown "${streams[@]}" >"$tmp/gen.md"
[ ${#conf[@]} -gt 0 ] && "$bench" --rounds "$rounds" --markdown "${conf[@]}" >"$tmp/conf.md"

# Instruction counts: the hardware counter where the kernel allows it, else
# callgrind (which cannot load libavcodec's dependencies: those are left out).
echo "report.sh: instruction counts..." >&2
count_tool=""
if "$bench" --count --only mp3d "${streams[0]}" >/dev/null 2>&1; then
  count_tool="hardware counter (perf_event_open)"
  "$bench" --count "${streams[@]}" >"$tmp/count.txt"
elif command -v valgrind >/dev/null; then
  count_tool="valgrind --tool=callgrind (libavcodec not measurable under valgrind)"
  (cd "$tmp" && valgrind --tool=callgrind --callgrind-out-file="$tmp/cg.%p" \
     "$build/bench/mp3d_bench_count" --count "${streams[@]}" >/dev/null 2>&1)
  for f in $(ls -v "$tmp"/cg.*.*); do
    part=$(sed -n 's/^desc: Trigger: Client Request: //p' "$f")
    total=$(sed -n 's/^totals: //p' "$f")
    echo "$part|$total"
  done >"$tmp/count.txt"
  # Where mp3d's instructions go: the exclusive profile of the 128 kbit/s
  # stream, portable build.
  prof=$(grep -l "^desc: Trigger: Client Request: l3_44k_joint_128.mp3|mp3d|" "$tmp"/cg.*.* |
         head -1 || true)
  if [ -n "$prof" ] && command -v callgrind_annotate >/dev/null; then
    callgrind_annotate --threshold=100 "$prof" 2>/dev/null | grep 'mp3d::' | head -14 |
      awk '{ir = $1; match($0, /\( *[0-9.]+%\)/); pct = substr($0, RSTART + 1, RLENGTH - 2);
            gsub(/ /, "", pct); name = substr($0, RSTART + RLENGTH);
            sub(/^ +/, "", name); sub(/^\?\?\?:/, "", name); sub(/^void /, "", name);
            gsub(/\(anonymous namespace\)::/, "", name); sub(/\(.*$/, "", name);
            printf "| `%s` | %s | %s |\n", name, ir, pct}' >"$tmp/profile.md" || true
  fi
fi

echo "report.sh: kernels and memory..." >&2
kernels=$build/bench/mp3d_kernel_bench
[ -x "$kernels" ] && "$kernels" --benchmark_min_time=0.2 --benchmark_repetitions=3 \
  --benchmark_report_aggregates_only=true 2>/dev/null | grep '_median' >"$tmp/kernels.txt" || true
"$bench" --memory "$build/bench-streams/l3_44k_joint_128.mp3" \
  "$build/bench-streams/l2_48k_stereo_192.mp2" >"$tmp/memory.txt"

# ARMv6: the same memory probe, cross-built and run under qemu-arm.
armv6_tc=${ARMV6_TOOLCHAIN:-$src/cmake/toolchain-armv6.cmake}
arm_const=""
if [ -f "$armv6_tc" ] && command -v arm-linux-gnueabi-g++ >/dev/null &&
   command -v qemu-arm >/dev/null; then
  echo "report.sh: ARMv6 memory figures..." >&2
  cmake -S "$src" -B "$build-armv6" -DCMAKE_TOOLCHAIN_FILE="$armv6_tc" \
    -DCMAKE_BUILD_TYPE=Release -DMP3D_BUILD_BENCH=ON -DMP3D_BUILD_TESTS=OFF \
    -DMP3D_BUILD_TOOLS=OFF >/dev/null
  make -C "$build-armv6" -j"$jobs" mp3d_static mp3d_bench >/dev/null
  qemu-arm -L /usr/arm-linux-gnueabi "$build-armv6/bench/mp3d_bench" --memory \
    "$build/bench-streams/l3_44k_joint_128.mp3" "$build/bench-streams/l2_48k_stereo_192.mp2" \
    >"$tmp/memory_arm.txt"
fi

# Constant tables: read-only data of the library's objects.
rodata() { size -A "$@" 2>/dev/null | awk '$1 ~ /^\.rodata|^\.data\.rel\.ro/ {s += $2} END {print s + 0}'; }
const_mp3d=$(rodata "$build/libmp3d.a")
peer_lib() { ldconfig -p | awk -v n="$1" '$1 == n && !found {print $NF; found = 1}'; }

# The ARMv6 section is written by bench/arm/measure.sh (by emulation, much
# slower): kept as it stands.
arm_section=""
[ -f "$out" ] && arm_section=$(sed -n '/^<!-- arm-measure begin/,/^<!-- arm-measure end -->/p' "$out")

{
  echo "# Performance"
  echo
  echo "Generated by \`bench/report.sh\` on $(date -u +%Y-%m-%d): do not edit by hand."
  echo
  echo "Machine: $(grep -m1 'model name' /proc/cpuinfo | sed 's/.*: //'), $(nproc) cores (shared,"
  echo "noisy); compiler: $(${CXX:-c++} --version | head -1); one core, CPU time of the"
  echo "decoding thread, best of $rounds rounds in which the decoders take turns."
  echo
  echo "Peers (Debian packages, black boxes through their public APIs, fed from memory):"
  echo "libmpg123 with its default (fastest) decoder and with \`generic\` (16-bit output),"
  echo "libmad (fixed point; output rounded and clipped to 16 bits),"
  echo "libavcodec \`mp3\`/\`mp2\` (fixed point) and \`mp3float\`/\`mp2float\` with its parser."
  echo "mp3d delivers 32-bit words (16-bit range). \`mp3d\` runs the portable kernels,"
  echo "\`mp3d-avx2\` the AVX2 kernels that the library selects at init on this processor"
  echo "(the same build). *speed-up* is that mp3d's throughput divided by the decoder's"
  echo "(above 1: mp3d is faster)."
  echo
  echo "## Throughput: generated 60-second streams"
  echo
  echo "Music-like signal (\`bench/gen_signal.py\`) encoded by \`bench/make_streams.sh\`:"
  echo "lame 128 and 320 kbit/s joint stereo, V2 VBR (44.1 kHz), 64 kbit/s mono at 22.05 kHz;"
  echo "twolame Layer II 192 kbit/s stereo at 48 kHz."
  echo
  cat "$tmp/gen.md"
  if [ -s "$tmp/conf.md" ]; then
    echo
    echo "## Throughput: conformance streams"
    echo
    echo "Short streams: figures are noisier."
    echo
    cat "$tmp/conf.md"
  fi
  if [ -s "$tmp/count.txt" ]; then
    echo
    echo "## Instructions per output sample"
    echo
    echo "Counted with $count_tool; one decode of each stream."
    echo
    echo "| stream | decoder | instructions | per sample |"
    echo "| --- | --- | ---: | ---: |"
    sort -t'|' -s -k1,1 "$tmp/count.txt" |
      awk -F'|' '$3 > 0 {printf "| %s | %s | %.1fM | %.1f |\n", $1, $2, $4 / 1e6, $4 / $3}'
  fi
  if [ -s "$tmp/profile.md" ]; then
    echo
    echo "## Profile of mp3d (portable kernels, 128 kbit/s stream)"
    echo
    echo "Exclusive instructions per function (callgrind), for one decode of the stream."
    echo
    echo "| function | instructions | share |"
    echo "| --- | ---: | ---: |"
    cat "$tmp/profile.md"
  fi
  if [ -s "$tmp/kernels.txt" ]; then
    echo
    echo "## Kernels (Google Benchmark, median CPU time of 3)"
    echo
    echo "Synthetic data: big values per code table and count1 over 576 lines, 32 subbands"
    echo "of IMDCT, nine 32-point DCTs and the window of half a granule (288 samples)."
    echo
    echo "| kernel | CPU ns | per item (ns) |"
    echo "| --- | ---: | ---: |"
    awk '{name = $1; sub(/_median$/, "", name); cpu = $4;
          items = (name ~ /Dct32|Synthesis/) ? 288 : 576;
          printf "| %s | %s | %.2f |\n", name, cpu, cpu / items}' "$tmp/kernels.txt"
  fi
  echo
  echo "## Memory"
  echo
  echo "Peak stack: a whole decode run on a painted stack, less the benchmark's own"
  echo "frames (for mp3d: the deepest single \`mp3d_decode_frame\` call with its input"
  echo "callback). Heap in use after the last frame: for mp3d what the library itself"
  echo "allocated (its two chunks come from the application). The peers' state is"
  echo "on their heap, except libmad's, whose records (stream, frame, synthesis) the"
  echo "benchmark holds on its stack as the low-level API lets an application do."
  echo
  sed -n 's/^mp3d chunks: \(.*\) + \(.*\) bytes$/mp3d state: chunk 0 \1 bytes, chunk 1 \2 bytes./p' "$tmp/memory.txt"
  echo
  grep '^|' "$tmp/memory.txt"
  echo
  if [ -s "$tmp/memory_arm.txt" ]; then
    echo "ARMv6 build (\`-march=armv6 -marm\`, run under qemu-arm):"
    echo
    sed -n 's/^mp3d chunks: \(.*\) + \(.*\) bytes$/mp3d state: chunk 0 \1 bytes, chunk 1 \2 bytes./p' "$tmp/memory_arm.txt"
    echo
    grep '^|' "$tmp/memory_arm.txt"
    echo
    echo "Constant tables (read-only data of the library, ARMv6): mp3d $(rodata "$build-armv6/libmp3d.a") bytes."
  fi
  echo "Constant tables (read-only data of the library, x86-64): mp3d $const_mp3d bytes."
  for lib in libmpg123.so.0 libmad.so.0 libavcodec.so.59; do
    p=$(peer_lib "$lib")
    [ -n "$p" ] && echo "Read-only data of $lib (tables and strings): $(rodata "$p") bytes."
  done
  echo
} >"$out"
[ -n "$arm_section" ] && printf '%s\n' "$arm_section" >>"$out"
echo "report.sh: wrote $out" >&2
