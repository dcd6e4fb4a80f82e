#!/usr/bin/env bash
# The stream layer's shared library exports only mp3d_stream_* and needs
# nothing from outside but the decoder's public entry points and the C
# library's memory copies: no allocation, no I/O, no floating-point helpers
# (in a sanitizer build, also the sanitizers' runtime).
# Usage: symbols.sh LIBMP3D_STREAM.so
set -u
lib="$1"
passed=0 failed=0
exported=$(nm -D --defined-only "$lib" | awk '$2 ~ /[TDBR]/ {print $3}' | grep -v '^mp3d_stream_')
if [ -n "$exported" ]; then echo "FAIL: exported beyond mp3d_stream_*: $exported"; failed=$((failed + 1)); else passed=$((passed + 1)); fi
needed=$(nm -D --undefined-only "$lib" | awk '$1 == "U" {sub(/@.*/, "", $2); print $2}' |
    grep -Ev '^(mp3d_query_dec_mem|mp3d_decode_init|mp3d_decode_frame|memcpy|memmove|memset|__stack_chk_fail|__memcpy_chk|__memmove_chk|__memset_chk)$' |
    grep -Ev '^__(asan|ubsan|tsan|sanitizer)_')  # sanitizer builds: the instrumentation's own runtime
if [ -n "$needed" ]; then echo "FAIL: needs $needed"; failed=$((failed + 1)); else passed=$((passed + 1)); fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
