#!/usr/bin/env bash
# Regenerates samples/sample.mp3: about 4.4 seconds of synthesized music-like
# audio (plucked chords, a sine sweep, a noise swell, a few percussive hits),
# encoded by LAME at 128 kbit/s joint stereo, 44.1 kHz.
# Needs: sox, lame.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"

rate=44100
d=1.1  # seconds per section
synth() { sox -R -n -r "$rate" -b 16 -c 1 "$@"; }

# Three plucked chords, each note on its own track, panned by channel.
synth c1l.wav synth $d pluck A2 synth $d pluck mix E3 synth $d pluck mix A3 gain -8 fade 0 $d 0.2
synth c1r.wav synth $d pluck C#4 synth $d pluck mix E4 synth $d pluck mix A4 gain -10 fade 0 $d 0.2
synth c2l.wav synth $d pluck F#2 synth $d pluck mix C#3 synth $d pluck mix F#3 gain -8 fade 0 $d 0.2
synth c2r.wav synth $d pluck A3 synth $d pluck mix C#4 synth $d pluck mix F#4 gain -10 fade 0 $d 0.2
sox c1l.wav c2l.wav left.wav
sox c1r.wav c2r.wav right.wav
sox -M left.wav right.wav chords.wav

# A rising sweep with a falling one against it, under a pink-noise swell.
synth sweepl.wav synth $d sine 200-2400 gain -14
synth sweepr.wav synth $d sine 2400-200 gain -14
sox -M sweepl.wav sweepr.wav sweep.wav
sox -R -n -r "$rate" -b 16 -c 2 noise.wav synth $d pinknoise gain -24 fade q 0.6 $d 0.3
sox -m sweep.wav noise.wav sweepnoise.wav

# Percussive hits: short noise bursts (exercise the encoder's short blocks)
# over a low sine.
sox -R -n -r "$rate" -b 16 -c 2 hit.wav synth 0.05 whitenoise gain -6 fade 0 0.05 0.045 pad 0 0.2
sox hit.wav hit.wav hit.wav hit.wav hit.wav hits.wav trim 0 $d
sox -R -n -r "$rate" -b 16 -c 2 bass.wav synth $d sine 110 gain -12
sox -m hits.wav bass.wav drums.wav

sox chords.wav sweepnoise.wav drums.wav music.wav gain -n -3
lame --quiet -m j -b 128 music.wav "$here/sample.mp3"
ls -l "$here/sample.mp3"
