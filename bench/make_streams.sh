#!/usr/bin/env bash
# Generates the benchmark streams into DIR (default: ./bench-streams): a
# 60-second music-like signal encoded by lame and twolame. Nothing here is
# committed; the streams are made again when missing.
#   make_streams.sh [DIR]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir=${1:-bench-streams}
mkdir -p "$dir"
cd "$dir"
for tool in python3 sox lame twolame; do
  command -v "$tool" >/dev/null || { echo "make_streams.sh: $tool is missing" >&2; exit 1; }
done
[ -s signal44.wav ] || python3 "$here/gen_signal.py" signal44.wav 44100 2 60
[ -s signal22m.wav ] || sox -q signal44.wav -r 22050 -c 1 signal22m.wav
[ -s signal48.wav ] || sox -q signal44.wav -r 48000 signal48.wav
enc() { [ -s "$1" ] || "${@:2}"; }
enc l3_44k_joint_128.mp3 lame --quiet --noreplaygain -b 128 -m j signal44.wav l3_44k_joint_128.mp3
enc l3_44k_joint_320.mp3 lame --quiet --noreplaygain -b 320 -m j signal44.wav l3_44k_joint_320.mp3
enc l3_44k_joint_v2.mp3 lame --quiet --noreplaygain -V 2 -m j signal44.wav l3_44k_joint_v2.mp3
enc l3_22k_mono_64.mp3 lame --quiet --noreplaygain -b 64 -m m signal22m.wav l3_22k_mono_64.mp3
enc l2_48k_stereo_192.mp2 twolame --quiet -b 192 -m s signal48.wav l2_48k_stereo_192.mp2
ls "$PWD"/*.mp3 "$PWD"/*.mp2
