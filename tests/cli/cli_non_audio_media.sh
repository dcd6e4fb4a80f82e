#!/usr/bin/env bash
# Media files that are not MPEG audio, made at test time: a PNG image and a
# PCM WAV file. mp3d decode and mp3d info must find no MPEG audio in them,
# exit 1 with "no MPEG audio found in FILE" and leave no output file, even
# though their bytes may hold a header-shaped pattern here and there.
# Usage: cli_non_audio_media.sh MP3D (exit 77 without ImageMagick or sox)
set -u
mp3d="$1"
command -v convert > /dev/null && command -v sox > /dev/null ||
    { echo "SKIPPED: needs ImageMagick's convert and sox"; exit 77; }
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

convert -size 256x256 plasma:fractal -seed 7 "$tmp/image.png" 2> /dev/null ||
    convert -seed 7 -size 256x256 plasma:fractal "$tmp/image.png"
sox -R -n -r 44100 -c 2 -b 16 "$tmp/tone.wav" synth 2 sine 440 sine 1234 2> /dev/null
sox -R -n -r 48000 -c 1 -b 16 "$tmp/noise.wav" synth 1 whitenoise 2> /dev/null
for f in image.png tone.wav noise.wav; do
    [ -s "$tmp/$f" ] || { fail "$f was not made"; continue; }
    "$mp3d" decode "$tmp/$f" "$tmp/$f.out.wav" 2> "$tmp/err"
    status=$?
    [ "$status" -eq 1 ] || fail "decode $f: exit $status, expected 1"
    grep -qx "mp3d: no MPEG audio found in $tmp/$f" "$tmp/err" || fail "decode $f: $(head -2 "$tmp/err")"
    [ -e "$tmp/$f.out.wav" ] && fail "decode $f wrote an output file"
    "$mp3d" info "$tmp/$f" > /dev/null 2> "$tmp/err"
    status=$?
    [ "$status" -eq 1 ] || fail "info $f: exit $status, expected 1"
    grep -qx "mp3d: no MPEG audio found in $tmp/$f" "$tmp/err" || fail "info $f: $(head -2 "$tmp/err")"
done

finish
