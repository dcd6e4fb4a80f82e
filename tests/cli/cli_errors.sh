#!/usr/bin/env bash
# The mp3d tool's refusals: usage errors exit 2; a missing file, a directory
# or input without MPEG audio exit 1 with a one-line message and leave no
# output file behind. Also: info lists the tags it skipped.
# Usage: cli_errors.sh MP3D SOURCE_DIR
set -u
mp3d="$1"
src="$2"
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"
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

# Inputs that hold no MPEG audio: decode and info say so by name, exit 1,
# and write nothing.
echo "This is a text file, not a stream." > "$tmp/text.txt"
head -c 50000 /dev/zero > "$tmp/zeros.bin"
# An ID3v2.4 tag of 128 bytes of padding and nothing after it.
{ printf 'ID3\004\000\000\000\000\001\000'; head -c 128 /dev/zero; } > "$tmp/id3only.mp3"
for f in text.txt zeros.bin id3only.mp3; do
    expect 1 "decode $f" -- "$mp3d" decode "$tmp/$f" "$tmp/$f.wav"
    grep -qx "mp3d: no MPEG audio found in $tmp/$f" "$tmp/err" || {
        echo "FAIL: decode $f: message: $(cat "$tmp/err")"; failures=$((failures + 1)); }
    one_line_error "decode $f"
    [ -e "$tmp/$f.wav" ] && { echo "FAIL: WAV written for $f"; failures=$((failures + 1)); }
    expect 1 "info $f" -- "$mp3d" info "$tmp/$f"
    grep -qx "mp3d: no MPEG audio found in $tmp/$f" "$tmp/err" || {
        echo "FAIL: info $f: message: $(cat "$tmp/err")"; failures=$((failures + 1)); }
    one_line_error "info $f"
done

# An APEv2 tag (header, one item, footer) after the audio is listed by info.
python3 - "$src/samples/sample.mp3" "$tmp/ape.mp3" <<'PY'
import struct, sys
item = struct.pack("<II", 5, 0) + b"Title\0" + b"Hello"
def part(flags):
    return b"APETAGEX" + struct.pack("<IIII", 2000, len(item) + 32, 1, flags) + bytes(8)
data = open(sys.argv[1], "rb").read()
open(sys.argv[2], "wb").write(data + part(0xA0000000) + item + part(0x80000000))
PY
expect 0 "info with an APEv2 tag" -- "$mp3d" info "$tmp/ape.mp3"
grep -q "^tags:.*APEv2 (" "$tmp/out" || { echo "FAIL: info does not list the APEv2 tag:"; cat "$tmp/out"; failures=$((failures + 1)); }

head -c 20000 /dev/urandom | tr -d '\377' > "$tmp/noise.bin"
expect 1 "input without frames" -- "$mp3d" decode "$tmp/noise.bin" "$tmp/noise.wav"
one_line_error "input without frames"
[ -e "$tmp/noise.wav" ] && { echo "FAIL: WAV written for input without frames"; failures=$((failures + 1)); }
expect 1 "input without frames, raw" -- "$mp3d" decode --raw "$tmp/noise.bin" "$tmp/noise.raw"
[ -e "$tmp/noise.raw" ] && { echo "FAIL: raw output written for input without frames"; failures=$((failures + 1)); }
expect 1 "empty stdin" -- bash -c "'$mp3d' decode - - < /dev/null"
[ -s "$tmp/out" ] && { echo "FAIL: bytes on stdout for empty input"; failures=$((failures + 1)); }
expect 1 "checksum of input without frames" -- "$mp3d" checksum "$tmp/noise.bin"

finish
