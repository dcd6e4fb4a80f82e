#!/usr/bin/env bash
# Builds mp3d and runs its test suite with ctest: the command that the README
# gives and that CI (.ci/run) runs.
#
# Environment:
#   MP3D_BUILD_DIR     build directory (default: build-ci in the repository)
#   MP3D_CI_JOBS      0: skip the extra jobs in tools/ci/jobs (default 1)
#   MP3D_TEST_STREAMS  0: leave out the whole-stream accuracy tests (ctest
#                      label "streams"); 1 (default): run them
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
build="${MP3D_BUILD_DIR:-$root/build-ci}"

# Install missing build dependencies when running as root (a fresh machine).
missing=()
while read -r pkg; do
    [ -n "$pkg" ] || continue
    dpkg-query -W -f='${Status}' "$pkg" 2> /dev/null | grep -q "install ok installed" || missing+=("$pkg")
done < "$root/tools/ci/packages.txt"
if [ "${#missing[@]}" -gt 0 ]; then
    if [ "$(id -u)" -eq 0 ]; then
        echo "installing: ${missing[*]}"
        apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
    else
        echo "missing packages: ${missing[*]} (run: sudo apt-get install -y ${missing[*]})" >&2
        exit 1
    fi
fi

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j2

labels=()
if [ "${MP3D_TEST_STREAMS:-1}" = 0 ]; then labels=(-LE streams); fi
(cd "$build" && ctest --output-on-failure -j2 "${labels[@]}")

# Further checks, one script each (sanitizers, fuzzing, threads, cross
# builds, ...). Each installs what it needs and exits non-zero on failure.
# MP3D_CI_JOBS=0 leaves them out.
if [ "${MP3D_CI_JOBS:-1}" != 0 ]; then
    for job in "$root"/tools/ci/jobs/*.sh; do
        [ -e "$job" ] || continue
        echo "== $(basename "$job" .sh)"
        bash "$job" "$root" "$build"
    done
fi
