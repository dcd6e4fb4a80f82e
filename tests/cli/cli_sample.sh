#!/usr/bin/env bash
# The mp3d tool on the bundled sample: with no arguments it writes
# ./sample.wav; stdout streaming, raw words and block sizes agree with it.
set -u
mp3d="$1"
src="$2"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
fail() { echo "FAIL: $*"; exit 1; }

"$mp3d" > msg.txt || fail "mp3d without arguments exited $?"
[ -s sample.wav ] || fail "no sample.wav"
grep -q "$tmp/sample.wav" msg.txt || fail "the message does not say where the WAV went: $(cat msg.txt)"
# 4.4 s of 44.1 kHz stereo 16-bit, header included.
size=$(stat -c %s sample.wav)
[ "$size" -gt 700000 ] || fail "sample.wav is only $size bytes"
[ "$(head -c 4 sample.wav)" = "RIFF" ] || fail "no RIFF header"

"$mp3d" decode --block 1 "$src/samples/sample.mp3" block1.wav 2> /dev/null || fail "decode --block 1"
cmp -s sample.wav block1.wav || fail "--block 1 output differs"
"$mp3d" decode - - < "$src/samples/sample.mp3" > stream.wav 2> /dev/null || fail "decode - -"
cmp -s <(tail -c +45 sample.wav) <(tail -c +45 stream.wav) || fail "streamed samples differ"
"$mp3d" decode --raw "$src/samples/sample.mp3" words.raw 2> /dev/null || fail "decode --raw"
[ $(( $(stat -c %s words.raw) )) -eq $(( (size - 44) * 2 )) ] || fail "raw size does not match the WAV"
"$mp3d" info "$src/samples/sample.mp3" > info.txt || fail "info"
grep -q "sample rate: *44100 Hz" info.txt || fail "info: $(cat info.txt)"
echo "all checks passed"
