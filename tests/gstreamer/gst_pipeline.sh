#!/usr/bin/env bash
# The GStreamer element against the mp3d tool: the same PCM through
# filesrc ! mpegaudioparse ! mp3ddec ! wavenc, through uridecodebin and
# playbin with mp3ddec ranked first, and 24-bit through S24_32LE.
# Usage: gst_pipeline.sh MP3D PLUGIN_DIR SOURCE_DIR. Exits 77 (skipped)
# without the GStreamer tools or plugins.
set -u
mp3d="$1"
export GST_PLUGIN_PATH="$2"
src="$3"
skip() { echo "SKIPPED: $*"; exit 77; }
command -v gst-launch-1.0 > /dev/null && command -v gst-inspect-1.0 > /dev/null ||
    skip "gst-launch-1.0 not installed (gstreamer1.0-tools)"
for e in mpegaudioparse wavenc id3demux audioconvert; do
    gst-inspect-1.0 "$e" > /dev/null 2>&1 || skip "GStreamer element $e missing"
done
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
passed=0 failed=0
check() {  # check DESCRIPTION COMMAND...
    local what="$1"; shift
    if "$@" > "$tmp/log" 2>&1; then passed=$((passed + 1)); else
        echo "FAIL: $what"; tail -5 "$tmp/log"; failed=$((failed + 1)); fi
}
# Same data chunk: the tool's WAV has a 44-byte header; wavenc's has the
# data size at byte 40 and may append further chunks.
same_pcm() {
    local n=$(( $(stat -c %s "$1") - 44 )) g
    g=$(od -An -tu4 -j40 -N4 "$2")
    [ "$n" -eq "$g" ] && cmp -s <(tail -c +45 "$1") <(tail -c +45 "$2" | head -c "$n")
}
decode_both() {  # decode_both IN PARSE_CHAIN: CLI and gst-launch, compared
    "$mp3d" decode -q "$1" "$tmp/cli.wav" &&
        gst-launch-1.0 -q filesrc location="$1" ! $2 mp3ddec ! wavenc ! filesink location="$tmp/gst.wav" &&
        same_pcm "$tmp/cli.wav" "$tmp/gst.wav"
}

check "gst-inspect-1.0 lists mp3ddec" bash -c "gst-inspect-1.0 mp3ddec | grep -q 'Codec/Decoder/Audio'"
for f in "$src"/samples/sample.mp3 "$src"/tests/fixtures/layer3/*.mp3 "$src"/tests/fixtures/layer2/*.mp2; do
    check "$(basename "$f")" decode_both "$f" "mpegaudioparse !"
done

if command -v lame > /dev/null && command -v sox > /dev/null; then
    # A LAME file with a large picture in its ID3v2 tag and an ID3v1 tag.
    (cd "$tmp" && sox -n -r 44100 -c 2 -b 16 in.wav synth 2 sine 200-4000 gain -3 &&
        (printf '\211PNG\r\n\032\n'; head -c 300000 /dev/urandom) > pic.png &&
        lame --quiet --add-id3v2 --ti pic.png --tt title -V 3 in.wav tagged.mp3) ||
        { echo "FAIL: making the LAME file"; exit 1; }
    check "tagged LAME file" decode_both "$tmp/tagged.mp3" "id3demux ! mpegaudioparse !"
    check "tagged LAME file has the original length" cmp -s <(head -c 44 "$tmp/in.wav" | tail -c 4) <(head -c 44 "$tmp/cli.wav" | tail -c 4)
    export GST_PLUGIN_FEATURE_RANK=mp3ddec:MAX
    uri="file://$tmp/tagged.mp3"
    check "uridecodebin picks mp3ddec" bash -c "gst-launch-1.0 -v uridecodebin uri='$uri' ! audioconvert ! \
        audio/x-raw,format=S16LE ! wavenc ! filesink location='$tmp/uri.wav' > '$tmp/uri.log' && grep -q GstMp3dDec '$tmp/uri.log'"
    check "uridecodebin output" same_pcm "$tmp/cli.wav" "$tmp/uri.wav"
    check "playbin picks mp3ddec" bash -c "gst-launch-1.0 -v playbin uri='$uri' video-sink=fakesink \
        audio-sink='audioconvert ! audio/x-raw,format=S16LE ! wavenc ! filesink location=$tmp/play.wav' > '$tmp/play.log' && grep -q GstMp3dDec '$tmp/play.log'"
    check "playbin output" same_pcm "$tmp/cli.wav" "$tmp/play.wav"
    check "24-bit output" bash -c "'$mp3d' decode -q --24 '$tmp/tagged.mp3' '$tmp/cli24.wav' &&
        gst-launch-1.0 -q filesrc location='$tmp/tagged.mp3' ! id3demux ! mpegaudioparse ! mp3ddec ! \
        audio/x-raw,format=S24_32LE ! audioconvert ! audio/x-raw,format=S24LE ! wavenc ! \
        filesink location='$tmp/gst24.wav'"
    check "24-bit output identical" same_pcm "$tmp/cli24.wav" "$tmp/gst24.wav"
else
    echo "lame or sox not installed: the tagged-file, uridecodebin and playbin checks are skipped"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
