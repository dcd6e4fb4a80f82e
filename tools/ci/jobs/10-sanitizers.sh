#!/usr/bin/env bash
# The whole test suite under AddressSanitizer and UndefinedBehaviorSanitizer
# (Debug build in its own directory; any report aborts the test).
set -uo pipefail
root="${1:?usage: 10-sanitizers.sh ROOT BUILD}"
build="$root/build-sanitize"
shared_opt=()
[ -d "$root/../shared" ] || shared_opt=(-DMP3D_SHARED_DIR="${MP3D_SHARED_DIR:-$root/../shared}")
echo "sanitizers: Debug build with -DMP3D_SANITIZE=address,undefined in $build"
if ! cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DMP3D_SANITIZE=address,undefined \
    "${shared_opt[@]}" > /dev/null || ! cmake --build "$build" -j2 > /dev/null; then
    echo "0 passed, 1 failed"
    exit 1
fi
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1
# Tests that build programs against the installed library or drive external
# programs (GStreamer) are run by the regular build and job 50, not here.
if (cd "$build" && ctest --output-on-failure -j2 \
    -E '^(mp3d_install_consume|mp3d_gst_pipeline|mp3d_readme_examples)$'); then
    echo "1 passed, 0 failed"
else
    echo "0 passed, 1 failed"
    exit 1
fi
