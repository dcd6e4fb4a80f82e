#!/usr/bin/env bash
# Runs one fuzz target for a given number of seconds from a seed corpus made
# of the committed fixtures, the sample and (when present) the conformance
# streams, each cut to its first 3 KB. Earlier findings in fuzz/regressions
# are replayed first.
#
#   fuzz/run.sh TARGET SECONDS [extra libFuzzer options]
#
# Environment: MP3D_FUZZ_BUILD (build directory, default build-fuzz in the
# repository; configured and built with clang when missing), MP3D_FUZZ_WORK
# (corpus and logs, default $MP3D_FUZZ_BUILD/work), MP3D_SHARED_DIR.
# Exits non-zero when the target finds a crash, leak, hang or failed check.
set -euo pipefail
target="${1:?usage: fuzz/run.sh fuzz_decode|fuzz_damage SECONDS}"
seconds="${2:?usage: fuzz/run.sh TARGET SECONDS}"
shift 2
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${MP3D_FUZZ_BUILD:-$root/build-fuzz}"
work="${MP3D_FUZZ_WORK:-$build/work}"
shared="${MP3D_SHARED_DIR:-$root/../shared}"

if [ ! -x "$build/fuzz/$target" ]; then
    CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DMP3D_BUILD_FUZZ=ON -DMP3D_BUILD_TESTS=OFF -DMP3D_BUILD_TOOLS=OFF > /dev/null
    cmake --build "$build" -j2 --target "$target" > /dev/null
fi

seeds="$work/seeds"
corpus="$work/corpus-$target"
mkdir -p "$seeds" "$corpus"
for f in "$root"/tests/fixtures/layer2/*.mp2 "$root"/tests/fixtures/layer3/*.mp3 \
    "$root"/samples/*.mp3 "$shared"/conformance/*.bit; do
    [ -f "$f" ] || continue
    head -c 3072 "$f" > "$seeds/$(basename "$f")"
done
if [ "$target" = fuzz_decode ]; then
    # This target reads a format byte and block sizes before the stream:
    # 0x06 = 16-bit output, three block sizes (417, 5 and 75 bytes).
    for f in "$seeds"/*; do
        case "$f" in *.seed) continue ;; esac
        { printf '\x06\x1a\x00\x04'; cat "$f"; } > "$f.seed"
        rm "$f"
    done
fi

if compgen -G "$root/fuzz/regressions/$target/*" > /dev/null; then
    "$build/fuzz/$target" "$root"/fuzz/regressions/"$target"/* 2>&1 | tail -n 2
fi
log="$work/$target.log"
echo "fuzzing $target for ${seconds}s (log: $log)"
status=0
"$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 \
    -max_len=8192 -print_final_stats=1 -artifact_prefix="$work/" "$@" \
    "$corpus" "$seeds" > "$log" 2>&1 || status=$?
grep -E '^#[0-9]+.*(DONE|pulse|NEW)' "$log" | tail -n 1 || true
grep -E '^stat::(number_of_executed_units|peak_rss_mb)' "$log" || true
if [ "$status" -ne 0 ]; then
    grep -E 'ERROR|SUMMARY|check failed|Test unit written' "$log" | head -n 20 >&2
    echo "$target: FAILED (status $status)" >&2
fi
exit "$status"
