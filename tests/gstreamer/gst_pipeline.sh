#!/usr/bin/env bash
# The GStreamer element against the mp3d tool and mpg123audiodec: the same
# PCM through filesrc ! mpegaudioparse ! mp3ddec ! wavenc, through
# uridecodebin and playbin with mp3ddec ranked first, and 24-bit through
# S24_32LE; sample-exact seeks, start-up latency, the refusal of non-audio
# input and damaged input, each measured against mpg123audiodec in the same
# run.
# Usage: gst_pipeline.sh MP3D PLUGIN_DIR SOURCE_DIR HELPER_DIR (where
# gst_seek_check was built). Exits 77 (skipped) without the
# GStreamer tools or plugins.
set -u
mp3d="$1"
export GST_PLUGIN_PATH="$2"
src="$3"
helpers="${4:-}"
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
# Same data chunk: REF is raw PCM (or a WAV with a 44-byte header, WAV_HEADER=44);
# wavenc's WAV has the data size at byte 40 and may append further chunks.
same_pcm() {
    local skip="${WAV_HEADER:-0}" n g
    n=$(( $(stat -c %s "$1") - skip ))
    g=$(od -An -tu4 -j40 -N4 "$2")
    [ "$n" -eq "$g" ] && cmp -s <(tail -c +$((skip + 1)) "$1") <(tail -c +45 "$2" | head -c "$n")
}
# The element's S16LE output equals the tool's 16-bit WAV (both round the
# library's 24-bit output with mp3d_pcm_round16): its data after the 44-byte
# header.
tool16() {  # tool16 IN OUT.raw
    "$mp3d" decode -q "$1" "$tmp/tool16.wav" && tail -c +45 "$tmp/tool16.wav" > "$2"
}
decode_both() {  # decode_both IN PARSE_CHAIN: CLI and gst-launch, compared
    tool16 "$1" "$tmp/cli16.raw" &&
        gst-launch-1.0 -q filesrc location="$1" ! $2 mp3ddec ! wavenc ! filesink location="$tmp/gst.wav" &&
        same_pcm "$tmp/cli16.raw" "$tmp/gst.wav"
}

[ -x "$helpers/gst_seek_check" ] ||
    { echo "FAIL: gst_seek_check not found in '$helpers'"; echo "0 passed, 1 failed"; exit 1; }
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
    check "tagged LAME file has the original length" test "$(stat -c %s "$tmp/cli16.raw")" -eq $(( $(stat -c %s "$tmp/in.wav") - 44 ))
    export GST_PLUGIN_FEATURE_RANK=mp3ddec:MAX
    uri="file://$tmp/tagged.mp3"
    check "uridecodebin picks mp3ddec" bash -c "gst-launch-1.0 -v uridecodebin uri='$uri' ! audioconvert ! \
        audio/x-raw,format=S16LE ! wavenc ! filesink location='$tmp/uri.wav' > '$tmp/uri.log' && grep -q GstMp3dDec '$tmp/uri.log'"
    check "uridecodebin output" same_pcm "$tmp/cli16.raw" "$tmp/uri.wav"
    check "playbin picks mp3ddec" bash -c "gst-launch-1.0 -v playbin uri='$uri' video-sink=fakesink \
        audio-sink='audioconvert ! audio/x-raw,format=S16LE ! wavenc ! filesink location=$tmp/play.wav' > '$tmp/play.log' && grep -q GstMp3dDec '$tmp/play.log'"
    check "playbin output" same_pcm "$tmp/cli16.raw" "$tmp/play.wav"
    check "24-bit output" bash -c "'$mp3d' decode -q --24 '$tmp/tagged.mp3' '$tmp/cli24.wav' &&
        gst-launch-1.0 -q filesrc location='$tmp/tagged.mp3' ! id3demux ! mpegaudioparse ! mp3ddec ! \
        audio/x-raw,format=S24_32LE ! audioconvert ! audio/x-raw,format=S24LE ! wavenc ! \
        filesink location='$tmp/gst24.wav'"
    check "24-bit output identical" env WAV_HEADER=44 bash -c "$(declare -f same_pcm); same_pcm '$tmp/cli24.wav' '$tmp/gst24.wav'"
    unset GST_PLUGIN_FEATURE_RANK

    # Non-audio input: a picture with one stray MPEG frame in it (the first
    # frame of a Layer II file, between zeros) ends in the "no valid frames"
    # error, as with mpg123audiodec, and gives no audio. (GStreamer at times
    # hangs on shutting such a pipeline down, with either decoder: hence the
    # time limit and no test of the exit status.)
    if command -v twolame > /dev/null; then
        twolame --quiet -b 192 "$tmp/in.wav" "$tmp/l2.mp2" &&
            (printf '\211PNG\r\n\032\n'; head -c 3000 /dev/zero; head -c 626 "$tmp/l2.mp2"; head -c 3000 /dev/zero) > "$tmp/noise.png"
    else
        echo "twolame not installed: the non-audio check uses a picture of noise"
        (printf '\211PNG\r\n\032\n'; head -c 300000 /dev/urandom) > "$tmp/noise.png"
    fi
    refuses() {  # refuses DECODER
        timeout 60 gst-launch-1.0 -v filesrc location="$tmp/noise.png" ! mpegaudioparse ! "$1" ! \
            fakesink silent=false > "$tmp/pic.log" 2>&1
        grep -qi "no valid frames" "$tmp/pic.log" && ! grep -q "chain" "$tmp/pic.log"
    }
    if gst-inspect-1.0 mpg123audiodec > /dev/null 2>&1; then
        check "mpg123audiodec refuses the picture" refuses mpg123audiodec
    fi
    check "mp3ddec refuses the picture with 'no valid frames'" refuses mp3ddec

    # Seeks (FLUSH | ACCURATE to 3.7, 10 and 17.3 s) give the full decode's
    # samples at the timestamps they carry, with the end padding trimmed, and
    # the first output comes after at most 3 input frames at the start and no
    # later than mpg123audiodec's after a seek.
    (cd "$tmp" && sox -D -n -r 44100 -c 2 -b 16 s44.wav synth 20 sine 200-4000 sine 300-1500 gain -3 &&
        sox -n -r 22050 -c 2 -b 16 s22.wav synth 20 sine 200-4000 sine 500-900 gain -3 &&
        lame --quiet -b 128 s44.wav cbr.mp3 && lame --quiet -V 2 s44.wav vbr.mp3 &&
        lame --quiet -b 64 s22.wav mpeg2.mp3) || { echo "FAIL: making the seek files"; exit 1; }
    no_later() {  # no_later OURS THEIRS: each seek's first output no later
        paste -d' ' <(grep '^seek' "$1") <(grep '^seek' "$2") |
            awk '{ split($3, a, "="); split($10, b, "="); if (a[2] > b[2]) bad = 1 } END { exit bad }'
    }
    have_mpg123=0
    gst-inspect-1.0 mpg123audiodec > /dev/null 2>&1 && have_mpg123=1
    for f in cbr vbr mpeg2; do
        check "$f.mp3: seeks exact, latency at most 3 frames" bash -c \
            "'$helpers/gst_seek_check' '$tmp/$f.mp3' mp3ddec 3.7 10 17.3 > '$tmp/$f.ours'"
        sed "s/^/  mp3ddec $f.mp3: /" "$tmp/$f.ours"
        if [ "$have_mpg123" -eq 1 ]; then
            "$helpers/gst_seek_check" "$tmp/$f.mp3" mpg123audiodec 3.7 10 17.3 > "$tmp/$f.theirs" 2> /dev/null
            sed "s/^/  mpg123audiodec $f.mp3: /" "$tmp/$f.theirs"
            check "$f.mp3: first output after a seek no later than mpg123audiodec's" no_later "$tmp/$f.ours" "$tmp/$f.theirs"
        fi
    done

    # Damaged input: twelve bits flipped at seeded positions, 1000 bytes cut
    # out at 40 % (the parser loses sync and marks the next frame DISCONT)
    # and 777 junk bytes put in at 70 %. Against the clean file's decode:
    # mp3ddec loses no more samples than mpg123audiodec, times the output
    # after each discontinuity as it does, and away from the 14 damaged
    # places (3 frames each) its output equals the clean decode at the
    # timestamps it carries.
    flip_bits() {  # flip_bits FILE SEED COUNT: bits past the first 4096 bytes
        local f="$1" x="$2" size pos byte i
        size=$(stat -c %s "$f")
        for ((i = 0; i < $3; i++)); do
            x=$(( (x * 1103515245 + 12345) % 2147483648 ))
            pos=$(( 4096 + (x >> 8) % (size - 4096) ))
            byte=$(od -An -tu1 -j "$pos" -N1 "$f")
            printf "$(printf '\\%03o' $(( byte ^ (1 << (x & 7)) )))" |
                dd of="$f" bs=1 seek="$pos" conv=notrunc status=none
        done
    }
    damage() {  # damage IN OUT
        local size cut ins
        size=$(stat -c %s "$1"); cut=$(( size * 4 / 10 )); ins=$(( size * 7 / 10 ))
        { head -c "$cut" "$1"; tail -c +$(( cut + 1001 )) "$1" | head -c $(( ins - cut - 1000 ))
          LC_ALL=C awk 'BEGIN { x = 7; for (i = 0; i < 777; i++) {
              x = (x * 1103515245 + 12345) % 2147483648; printf "%c", int(x / 65536) % 256 } }'
          tail -c +$(( ins + 1 )) "$1"; } > "$2" && flip_bits "$2" 5 12
    }
    field() { sed -n "s/.* $1=\([-0-9]*\).*/\1/p" "$2"; }
    damaged=(cbr.mp3 vbr.mp3)
    command -v twolame > /dev/null && twolame --quiet -b 192 "$tmp/s44.wav" "$tmp/l2s.mp2" &&
        damaged+=(l2s.mp2)
    for f in "${damaged[@]}"; do
        damage "$tmp/$f" "$tmp/bad_$f" || { echo "FAIL: damaging $f"; exit 1; }
        "$helpers/gst_seek_check" --damaged "$tmp/$f" "$tmp/bad_$f" mp3ddec > "$tmp/$f.dours"
        sed "s/^/  mp3ddec $f damaged: /" "$tmp/$f.dours"
        check "$f damaged: mp3ddec's output equals the clean decode away from the damage" \
            test "$(field differ "$tmp/$f.dours")" -le $(( 14 * 3 * 1152 ))
        if [ "$have_mpg123" -eq 1 ]; then
            "$helpers/gst_seek_check" --damaged "$tmp/$f" "$tmp/bad_$f" mpg123audiodec > "$tmp/$f.dtheirs"
            sed "s/^/  mpg123audiodec $f damaged: /" "$tmp/$f.dtheirs"
            check "$f damaged: mp3ddec loses no more samples than mpg123audiodec" \
                test "$(field lost "$tmp/$f.dours" | tr -d -)" -le "$(field lost "$tmp/$f.dtheirs" | tr -d -)"
            check "$f damaged: after each discontinuity the same timestamps as mpg123audiodec" \
                test "$(grep -o 'offsets=.*' "$tmp/$f.dours")" = "$(grep -o 'offsets=.*' "$tmp/$f.dtheirs")"
        fi
    done
else
    echo "lame or sox not installed: the tagged-file, uridecodebin and playbin checks are skipped"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
