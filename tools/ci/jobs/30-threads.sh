#!/usr/bin/env bash
# Concurrency: builds the unit tests with ThreadSanitizer in a build directory
# of their own and runs them; Threads.* decodes eight streams on eight
# threads at once and compares each output with its pinned checksum.
#
# Usage: 30-threads.sh [ROOT [BUILD]]  (own build directory: BUILD-tsan)
# Environment: MP3D_SHARED_DIR  conformance data (default: the tests' default)
set -uo pipefail
root="$(cd "${1:-$(dirname "${BASH_SOURCE[0]}")/../../..}" && pwd)"
build="${2:-$root/build-ci}-tsan"
source "$root/tools/ci/check.sh"

shared=()
if [ -n "${MP3D_SHARED_DIR:-}" ]; then shared=(-DMP3D_SHARED_DIR="$MP3D_SHARED_DIR"); fi
build_tests() {
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMP3D_SANITIZE=thread \
        -DMP3D_BUILD_TOOLS=OFF "${shared[@]}" && cmake --build "$build" -j2 --target mp3d_tests
}
check "build with -fsanitize=thread" build_tests

if [ "$failed" -eq 0 ]; then
    # ThreadSanitizer needs a fixed address-space layout on kernels with high
    # mmap randomisation; run without randomisation where that is allowed.
    norand=()
    if setarch "$(uname -m)" -R true 2> /dev/null; then norand=(setarch "$(uname -m)" -R); fi
    export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
    tests="$build/tests/mp3d_tests"
    check "eight decoders on eight threads (ThreadSanitizer)" \
        "${norand[@]}" "$tests" --gtest_filter='Threads.*' --gtest_brief=1
    check "unit tests (ThreadSanitizer)" "${norand[@]}" "$tests" --gtest_filter='-Threads.*' \
        --gtest_brief=1
fi
echo "threads: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
