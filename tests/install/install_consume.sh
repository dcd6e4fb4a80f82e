#!/usr/bin/env bash
# Installs the build into a temporary prefix and builds the README's C
# example (examples/mp3d_example.c) against the installed package, through
# pkg-config and through CMake's find_package (shared and static library),
# then runs each on a Layer II fixture and compares with the mp3d tool.
# Also checks that the README carries the example verbatim.
# Usage: install_consume.sh BUILD_DIR SOURCE_DIR MP3D
set -u
build="$1" src="$(cd "$2" && pwd)" mp3d="$3"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/prefix"
passed=0 failed=0
check() {  # check DESCRIPTION COMMAND...
    local what="$1"; shift
    if "$@" > "$tmp/log" 2>&1; then passed=$((passed + 1)); else
        echo "FAIL: $what"; tail -15 "$tmp/log"; failed=$((failed + 1)); fi
}
stream="$src/tests/fixtures/layer2/joint_48k_192.mp2"
"$mp3d" decode -q "$stream" "$tmp/tool.wav" || { echo "FAIL: mp3d decode"; exit 1; }
# The example writes the library's 16-bit words; the tool's WAV rounds the
# 24-bit output instead, and its --raw output is the library's words as they
# come. Either is what a correct example produces.
"$mp3d" decode -q --raw "$stream" "$tmp/tool.words" || { echo "FAIL: mp3d decode --raw"; exit 1; }
python3 - "$tmp/tool.words" "$tmp/tool_shifted.raw" <<'PY'
import array, sys
words = array.array("i", open(sys.argv[1], "rb").read())
open(sys.argv[2], "wb").write(array.array("h", words).tobytes())
PY
# The stream example plays a LAME file as the tool decodes it
# (gapless, 16 bits), and from 1.5 s on as the tool's output from there.
lame_file="$src/samples/sample.mp3"
"$mp3d" decode -q "$lame_file" "$tmp/tool_lame.wav" || { echo "FAIL: mp3d decode"; exit 1; }
plays_like_the_tool() {  # plays_like_the_tool PROGRAM
    "$@" "$lame_file" "$tmp/play.raw" | grep -q "44100 Hz, 2 channel" &&
        cmp -s <(tail -c +45 "$tmp/tool_lame.wav") "$tmp/play.raw" &&
        "$@" "$lame_file" "$tmp/play_seek.raw" 1.5 > /dev/null &&
        cmp -s <(tail -c +$((45 + 66150 * 4)) "$tmp/tool_lame.wav") "$tmp/play_seek.raw"
}
runs_like_the_tool() {  # runs_like_the_tool PROGRAM
    "$@" "$stream" "$tmp/out.raw" | grep -q "48000 Hz, 2 channel" &&
        { cmp -s "$tmp/tool_shifted.raw" "$tmp/out.raw" ||
            cmp -s <(tail -c +45 "$tmp/tool.wav") "$tmp/out.raw"; }
}

for example in mp3d_example.c mp3d_stream_example.c; do
check "README carries examples/$example verbatim" python3 - "$src" "$example" <<'PY'
import sys
src, name = sys.argv[1], sys.argv[2]
example = open(src + "/examples/" + name).read()
sys.exit(0 if "```c\n" + example + "```\n" in open(src + "/README.md").read() else 1)
PY
done
check "cmake --install" cmake --install "$build" --prefix "$prefix"
for f in include/mp3d.h include/mp3d_stream.h lib/libmp3d.a lib/libmp3d.so lib/libmp3d_stream.a \
    lib/libmp3d_stream.so lib/pkgconfig/mp3d.pc lib/pkgconfig/mp3d_stream.pc lib/cmake/mp3d/mp3dConfig.cmake; do
    check "installed $f" test -e "$prefix/$f"
done
# The installed tool decodes the installed sample when run bare, anywhere.
check "installed bin/mp3d decodes share/mp3d/sample.mp3 when run bare" bash -c \
    "mkdir -p '$tmp/bare' && cd '$tmp/bare' && '$prefix/bin/mp3d' && test -s sample.wav && test -e '$prefix/share/mp3d/sample.mp3'"
export LD_LIBRARY_PATH="$prefix/lib"

export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
check "pkg-config build" bash -c "cc -std=c99 -Wall -Werror '$src/examples/mp3d_example.c' \
    \$(pkg-config --cflags --libs mp3d) -o '$tmp/example_pc'"
check "pkg-config build runs" runs_like_the_tool "$tmp/example_pc"
check "pkg-config build uses the installed library" bash -c "ldd '$tmp/example_pc' | grep -q '$prefix/lib/libmp3d.so'"
check "pkg-config build (stream)" bash -c "cc -std=c99 -Wall -Werror '$src/examples/mp3d_stream_example.c' \
    \$(pkg-config --cflags --libs mp3d_stream) -o '$tmp/stream_pc'"
check "pkg-config build (stream) plays" plays_like_the_tool "$tmp/stream_pc"
check "pkg-config build (stream) uses the installed library" bash -c "ldd '$tmp/stream_pc' | grep -q '$prefix/lib/libmp3d_stream.so'"

mkdir -p "$tmp/consumer"
cat > "$tmp/consumer/CMakeLists.txt" << CMAKE
cmake_minimum_required(VERSION 3.20)
project(consumer C)
find_package(mp3d 0.1 REQUIRED)
add_executable(example_shared "$src/examples/mp3d_example.c")
target_link_libraries(example_shared PRIVATE mp3d::mp3d)
add_executable(example_static "$src/examples/mp3d_example.c")
target_link_libraries(example_static PRIVATE mp3d::mp3d_static)
find_package(mp3d 0.1 REQUIRED COMPONENTS stream)
add_executable(stream_shared "$src/examples/mp3d_stream_example.c")
target_link_libraries(stream_shared PRIVATE mp3d::mp3d_stream)
add_executable(stream_static "$src/examples/mp3d_stream_example.c")
target_link_libraries(stream_static PRIVATE mp3d::mp3d_stream_static)
CMAKE
check "find_package build" bash -c "cmake -S '$tmp/consumer' -B '$tmp/consumer/build' \
    -DCMAKE_PREFIX_PATH='$prefix' && cmake --build '$tmp/consumer/build'"
check "find_package build runs (shared)" runs_like_the_tool "$tmp/consumer/build/example_shared"
check "find_package build runs (static)" runs_like_the_tool "$tmp/consumer/build/example_static"
check "find_package build plays (stream, shared)" plays_like_the_tool "$tmp/consumer/build/stream_shared"
check "find_package build plays (stream, static)" plays_like_the_tool "$tmp/consumer/build/stream_static"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
