#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for
# 60 seconds from the seed corpus; replays fuzz/regressions first. Fails on
# any crash, sanitizer report, hang or failed check.
set -uo pipefail
root="${1:?usage: 20-fuzz.sh ROOT BUILD}"
if ! command -v clang++ > /dev/null; then
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq clang libclang-rt-14-dev > /dev/null
    fi
fi
export MP3D_FUZZ_BUILD="$root/build-fuzz-ci" MP3D_FUZZ_WORK="$root/build-fuzz-ci/work"
rm -rf "$MP3D_FUZZ_WORK"
passed=0 failed=0
for target in fuzz_decode fuzz_damage; do
    if bash "$root/fuzz/run.sh" "$target" "${MP3D_FUZZ_SECONDS:-60}"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
    fi
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
