#!/usr/bin/env bash
# mp3d decode --seek and --duration: the part they write equals the same
# samples of the whole decode, from a file (seeking) and from a pipe
# (decoding and dropping), in 24-bit raw words and in a 16-bit WAV.
# Usage: cli_seek.sh MP3D SOURCE_DIR
set -u
mp3d="$1" src="$2"
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"
in="$src/samples/sample.mp3"  # 44.1 kHz stereo, LAME tag: gapless

"$mp3d" decode -q --raw --24 "$in" "$tmp/all.raw" || fail "whole decode"
"$mp3d" decode -q "$in" "$tmp/all.wav" || fail "whole decode (WAV)"
# 1.5 s = sample 66150, 0.75 s = 33075 samples; 8 bytes per raw stereo sample.
"$mp3d" decode -q --raw --24 --seek 1.5 --duration 0.75 "$in" "$tmp/part.raw" || fail "seek (file)"
cmp -s <(tail -c +$((66150 * 8 + 1)) "$tmp/all.raw" | head -c $((33075 * 8))) "$tmp/part.raw" ||
    fail "seek in a file: not the whole decode's samples"
cat "$in" | "$mp3d" decode -q --raw --24 --seek 1.5 --duration 0.75 - "$tmp/pipe.raw" ||
    fail "seek (pipe)"
cmp -s "$tmp/part.raw" "$tmp/pipe.raw" || fail "seek in a pipe differs from seek in a file"
"$mp3d" decode -q --seek 0.5 "$in" "$tmp/part.wav" || fail "seek (WAV)"
cmp -s <(tail -c +$((44 + 22050 * 4 + 1)) "$tmp/all.wav") <(tail -c +45 "$tmp/part.wav") ||
    fail "seek to the end of a WAV: not the whole decode's samples"
# Past the end: nothing written, exit 1 saying so; a bad number: usage.
"$mp3d" decode -q --seek 3600 "$in" "$tmp/none.wav" 2> "$tmp/err"
[ $? -eq 1 ] || fail "--seek past the end: expected exit 1"
grep -q "nothing to decode after 3600 s" "$tmp/err" || fail "--seek past the end: $(cat "$tmp/err")"
[ -e "$tmp/none.wav" ] && fail "--seek past the end wrote a file"
for bad in "--seek abc" "--duration 0" "--duration -1" "--seek"; do
    "$mp3d" decode -q $bad "$in" "$tmp/x.wav" 2> /dev/null
    [ $? -eq 2 ] || fail "$bad: expected exit 2"
done
"$mp3d" info --seek 1 "$in" > /dev/null 2>&1
[ $? -eq 2 ] || fail "info --seek: expected exit 2"

finish
