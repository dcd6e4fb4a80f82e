#!/usr/bin/env bash
# The mp3d tool's refusals: usage errors exit 2; a missing file, a directory
# or input without MPEG audio frames exit 1 with a one-line message and
# leave no output file behind.
set -u
mp3d="$1"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
failures=0
expect() {  # expect STATUS DESCRIPTION -- COMMAND...
    local want="$1" what="$2"
    shift 3
    "$@" > "$tmp/out" 2> "$tmp/err"
    local got=$?
    if [ "$got" -ne "$want" ]; then
        echo "FAIL: $what: exit $got, expected $want"; cat "$tmp/err"; failures=$((failures + 1))
    fi
}
one_line_error() {
    if [ "$(wc -l < "$tmp/err")" -ne 1 ]; then
        echo "FAIL: $1: expected a one-line error, got:"; cat "$tmp/err"; failures=$((failures + 1))
    fi
}

expect 2 "unknown command" -- "$mp3d" frobnicate
expect 2 "decode without output" -- "$mp3d" decode only-input.mp3
expect 2 "bad block size" -- "$mp3d" decode --block 0 a.mp3 b.wav
expect 2 "unknown option" -- "$mp3d" info --what a.mp3
expect 2 "compare from stdin" -- "$mp3d" compare - ref.pcm

expect 1 "missing input" -- "$mp3d" decode "$tmp/missing.mp3" "$tmp/missing.wav"
one_line_error "missing input"
[ -e "$tmp/missing.wav" ] && { echo "FAIL: WAV written for a missing input"; failures=$((failures + 1)); }

expect 1 "directory as input" -- "$mp3d" info "$tmp"
one_line_error "directory as input"

head -c 20000 /dev/urandom | tr -d '\377' > "$tmp/noise.bin"
expect 1 "input without frames" -- "$mp3d" decode "$tmp/noise.bin" "$tmp/noise.wav"
one_line_error "input without frames"
[ -e "$tmp/noise.wav" ] && { echo "FAIL: WAV written for input without frames"; failures=$((failures + 1)); }
expect 1 "input without frames, raw" -- "$mp3d" decode --raw "$tmp/noise.bin" "$tmp/noise.raw"
[ -e "$tmp/noise.raw" ] && { echo "FAIL: raw output written for input without frames"; failures=$((failures + 1)); }
expect 1 "empty stdin" -- bash -c "'$mp3d' decode - - < /dev/null"
[ -s "$tmp/out" ] && { echo "FAIL: bytes on stdout for empty input"; failures=$((failures + 1)); }
expect 1 "checksum of input without frames" -- "$mp3d" checksum "$tmp/noise.bin"

if [ "$failures" -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
echo "all checks passed"
