#!/usr/bin/env bash
# ARMv6 target: cross-builds the library, the mp3d tool and the unit tests
# with cmake/toolchain-armv6.cmake, checks that the library is ARMv6 code
# calling nothing but memory and integer-division helpers (no floating point,
# no system services), runs the unit tests under qemu-arm, decodes every
# pinned stream (fixtures and conformance files) with the ARM build of
# `mp3d checksum` and compares the 24-bit output with the hashes pinned from
# the x86-64 build in tests/fixtures/checksums.txt. Prints the library's size.
#
# Usage: 40-armv6.sh [ROOT [BUILD]]  (own build directory: BUILD-armv6)
# Environment: MP3D_SHARED_DIR  conformance data (default: ROOT/../shared)
set -uo pipefail
root="$(cd "${1:-$(dirname "${BASH_SOURCE[0]}")/../../..}" && pwd)"
build="${2:-$root/build-ci}-armv6"
shared="${MP3D_SHARED_DIR:-$root/../shared}"
triple=arm-linux-gnueabi
# The cross toolchain's own libraries come first: where Debian's armel
# multiarch packages are installed too (bench/arm/measure.sh installs some),
# the loader would otherwise mix their C library with the cross one.
qemu=(qemu-arm -L "/usr/$triple" -E LD_LIBRARY_PATH="/usr/$triple/lib")
source "$root/tools/ci/check.sh"
finish() {
    echo "armv6: $passed passed, $failed failed"
    [ "$failed" -eq 0 ]
}

# Cross compiler, emulator and GoogleTest's sources.
install_tools() {
    local missing=() pkg
    for pkg in gcc-$triple g++-$triple qemu-user googletest; do
        dpkg-query -W -f='${Status}' "$pkg" 2> /dev/null | grep -q "install ok installed" ||
            missing+=("$pkg")
    done
    [ "${#missing[@]}" -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "missing packages: ${missing[*]}"
        return 1
    fi
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get install -y -qq "${missing[@]}" ||
        { apt-get update -qq && apt-get install -y -qq "${missing[@]}"; }
}
check "cross compiler and qemu-arm installed" install_tools
[ "$failed" -eq 0 ] || { finish; exit; }

cross_build() {
    local extra=()
    if [ -n "${MP3D_SHARED_DIR:-}" ]; then extra=(-DMP3D_SHARED_DIR="$MP3D_SHARED_DIR"); fi
    cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-armv6.cmake" \
        -DCMAKE_BUILD_TYPE=Release "${extra[@]}" &&
        cmake --build "$build" -j2 --target mp3d mp3d_static mp3d_cli mp3d_tests
}
check "cross build (-march=armv6 -marm, warnings are errors)" cross_build
[ "$failed" -eq 0 ] || { finish; exit; }
lib="$build/libmp3d.so"

# The library is ARMv6 code, and the only functions it calls from outside
# are the C library's memcpy/memset and the EABI integer helpers (ARMv6 has
# no divide instruction). Any floating-point helper (__aeabi_fmul, ...) or
# system call would show up here.
library_imports() {
    local attributes
    attributes="$("$triple-readelf" -A "$lib")"
    grep -q "Tag_CPU_arch: v6$" <<< "$attributes" || {
        echo "not ARMv6 code:"
        echo "$attributes"
        return 1
    }
    local defined imports
    defined="$("$triple-nm" --defined-only "$build/libmp3d.a" | awk 'NF == 3 {print $3}' | sort -u)"
    imports="$("$triple-nm" -u "$build/libmp3d.a" | awk 'NF == 2 {print $2}' | sort -u |
        comm -23 - <(echo "$defined"))"
    echo "imports: $(echo "$imports" | tr '\n' ' ')"
    local allowed='^(memcpy|memmove|memset|_GLOBAL_OFFSET_TABLE_|__aeabi_(u?idiv|u?idivmod|u?ldivmod|llsl|llsr|lasr|lmul|mem(cpy|move|set|clr)[48]?))$'
    local bad
    bad="$(echo "$imports" | grep -Ev "$allowed")"
    [ -z "$bad" ] || {
        echo "library calls outside memory and integer helpers: $bad"
        return 1
    }
}
check "library: ARMv6 code, no floating point, no system calls" library_imports
grep "^imports" "$check_log"

check "unit tests under qemu-arm" "${qemu[@]}" "$build/tests/mp3d_tests" --gtest_brief=1
grep -E "tests? from .* ran|SKIPPED|PASSED" "$check_log"

# Every pinned stream decoded by the ARM build gives the pinned 24-bit output.
# Every fixture and conformance stream must be pinned (Layer I, which the
# decoder refuses, aside).
pinned_output() {
    local -A pin=()
    local path hash resolved files=() bad=0 differ=0 absent=0
    while read -r path hash; do
        case "$path" in "" | "#"*) continue ;; esac
        resolved="$root/$path"
        case "$path" in ../shared/*) resolved="$shared/${path#../shared/}" ;; esac
        if [ -e "$resolved" ]; then
            pin["$resolved"]="$hash"
            files+=("$resolved")
        else
            absent=$((absent + 1))
        fi
    done < "$root/tests/fixtures/checksums.txt"
    for path in "$root"/tests/fixtures/layer[23]/*.mp[23] "$root"/samples/*.mp3 "$shared"/conformance/*.bit; do
        [ -e "$path" ] || continue
        case "$(basename "$path")" in l1-*) continue ;; esac
        [ -n "${pin[$path]:-}" ] || {
            echo "not pinned: $path"
            bad=$((bad + 1))
        }
    done
    local out
    out="$("${qemu[@]}" "$build/cli/mp3d" checksum "${files[@]}")" || bad=$((bad + 1))
    local seen=0
    while read -r path hash; do
        case "$path" in "" | "#"*) continue ;; esac
        seen=$((seen + 1))
        if [ "${pin[$path]:-}" != "$hash" ]; then
            echo "differs: $path: $hash, pinned ${pin[$path]:-none}"
            differ=$((differ + 1))
        fi
    done <<< "$out"
    echo "$seen streams decoded, $((seen - differ)) identical to the pinned x86-64 output" \
        "($absent pinned streams absent)"
    [ "$seen" -eq "${#files[@]}" ] && [ "$bad" -eq 0 ] && [ "$differ" -eq 0 ]
}
check "24-bit output of every pinned stream under qemu-arm" pinned_output
tail -n 1 "$check_log"

# Size of the library on ARMv6: Berkeley `size` of the shared library, then
# the static library's sections: code (.text), constant data (.rodata and
# the relocated constant pointer tables .data.rel.ro), mutable data.
echo "size of the library (Release, -march=armv6 -marm):"
"$triple-size" "$lib"
"$triple-size" -A "$build/libmp3d.a" | awk '
    /^[^ ]+\.o +:/ || /\(ex / { obj = $1 }
    $1 ~ /^\.text/ { code += $2 }
    $1 ~ /^\.(rodata|data\.rel\.ro)/ { constant += $2; if (obj ~ /_tables\.cpp\.o/) tables += $2 }
    $1 ~ /^\.data$|^\.data\.[^r]/ { data += $2 }
    $1 ~ /^\.bss/ { bss += $2 }
    END {
        printf "objects: code %d bytes, constant data %d bytes (%d in the table modules), data %d, bss %d\n",
            code, constant, tables, data, bss
    }'
finish
