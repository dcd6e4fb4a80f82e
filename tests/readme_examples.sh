#!/usr/bin/env bash
# Runs the README's shell examples that are marked "<!-- tested: NAME -->",
# each block in a fresh directory holding song.mp3 (the bundled LAME sample)
# and a link "build" to the build directory, with mp3d on the PATH. The
# gstreamer block is skipped without the GStreamer tools or the element.
# Usage: readme_examples.sh SOURCE_DIR BUILD_DIR MP3D
set -u
src="$1" build="$(cd "$2" && pwd)" mp3d="$(cd "$(dirname "$3")" && pwd)/$(basename "$3")"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$tmp/bin" && ln -s "$mp3d" "$tmp/bin/mp3d"
passed=0 failed=0
for name in cli gstreamer; do
    block="$(awk -v tag="<!-- tested: $name -->" '
        $0 == tag { armed = 1; next }
        armed && /^```/ { if (inside) exit; inside = 1; next }
        inside { print }' "$src/README.md")"
    if [ -z "$block" ]; then echo "FAIL: no README block '$name'"; failed=$((failed + 1)); continue; fi
    if [ "$name" = gstreamer ] && { ! command -v gst-launch-1.0 > /dev/null || [ ! -e "$build/gstreamer/libgstmp3d.so" ] ||
        ! gst-inspect-1.0 mpegaudioparse > /dev/null 2>&1; }; then
        echo "skipped: README block '$name' (GStreamer or the element not available)"; continue
    fi
    dir="$tmp/$name" && mkdir -p "$dir" && cp "$src/samples/sample.mp3" "$dir/song.mp3" && ln -s "$build" "$dir/build"
    if (cd "$dir" && PATH="$tmp/bin:$PATH" bash -e -o pipefail -c "$block") > "$tmp/log" 2>&1; then
        passed=$((passed + 1))
    else
        echo "FAIL: README block '$name':"; cat "$tmp/log"; failed=$((failed + 1))
    fi
    # Every WAV the block wrote holds audio.
    for wav in "$dir"/*.wav; do
        [ "$(stat -c %s "$wav")" -gt 100000 ] || { echo "FAIL: $name: $wav is short"; failed=$((failed + 1)); }
    done
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
