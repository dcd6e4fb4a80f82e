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
if (cd "$build" && ctest --output-on-failure -j2); then
    echo "1 passed, 0 failed"
else
    echo "0 passed, 1 failed"
    exit 1
fi
