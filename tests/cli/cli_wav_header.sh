#!/usr/bin/env bash
# The WAV header tells the length actually written on every way out of
# mp3d decode where the output can seek: a normal end, stdout redirected to a
# file, a write cut short by a file-size limit, SIGINT and SIGTERM. A partial
# file is kept, except with --no-partial.
# Usage: cli_wav_header.sh MP3D SOURCE_DIR
set -u
mp3d="$1"
src="$2"
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

# header_ok FILE: RIFF and data sizes match the file's length, and the data
# is a whole number of sample frames.
header_ok() {
    python3 - "$1" <<'PY'
import struct, sys, os
path = sys.argv[1]
size = os.path.getsize(path)
with open(path, "rb") as f:
    h = f.read(44)
riff, = struct.unpack_from("<I", h, 4)
align, = struct.unpack_from("<H", h, 32)
data, = struct.unpack_from("<I", h, 40)
ok = h[:4] == b"RIFF" and data == size - 44 and riff == size - 8 and data % align == 0
if not ok:
    print(f"{path}: {size} bytes, header says RIFF {riff}, data {data}, block {align}")
sys.exit(0 if ok else 1)
PY
}

sample="$src/samples/sample.mp3"
"$mp3d" decode -q "$sample" "$tmp/plain.wav" || fail "plain decode"
header_ok "$tmp/plain.wav" || fail "plain decode: header"

# stdout redirected to a regular file is rewritten like a named file; a pipe
# keeps the maximal sizes.
"$mp3d" decode -q "$sample" - > "$tmp/stdout.wav" || fail "decode to stdout"
header_ok "$tmp/stdout.wav" || fail "stdout to a file: header not rewritten"
cmp -s "$tmp/plain.wav" "$tmp/stdout.wav" || fail "stdout to a file differs from a named file"
"$mp3d" decode -q "$sample" - | cat > "$tmp/piped.wav"
[ "$(od -An -tu4 -j40 -N4 "$tmp/piped.wav" | tr -d ' ')" = 4294967295 ] ||
    fail "piped output: data size is not the maximal one"

# A file-size limit part-way: the write fails (no SIGXFSZ death), the tool
# says so, exits 1 and leaves a WAV whose header says what it holds.
(ulimit -f 100; exec "$mp3d" decode -q "$sample" "$tmp/limited.wav") 2> "$tmp/err"
status=$?
[ "$status" -eq 1 ] || fail "file-size limit: exit $status, expected 1"
grep -q "File too large" "$tmp/err" || fail "file-size limit: no message: $(cat "$tmp/err")"
[ -e "$tmp/limited.wav" ] && header_ok "$tmp/limited.wav" || fail "file-size limit: header"
(ulimit -f 100; exec "$mp3d" decode -q --no-partial "$sample" "$tmp/gone.wav") 2> /dev/null
[ -e "$tmp/gone.wav" ] && fail "file-size limit with --no-partial: the partial file stays"

# A signal mid-decode. The input is more than the 1 MiB that the tool holds
# back to find trailing tags, so output has begun while it waits for more.
for i in $(seq 20); do cat "$sample"; done > "$tmp/long.mp3"
mkfifo "$tmp/fifo"
# interrupt SIGNAL EXPECTED_STATUS OUT [OPTIONS]: decodes from a FIFO that is
# fed the long stream and then held open, and signals the tool once it has
# written what it can.
interrupt() {
    local sig="$1" want="$2" out="$3"
    shift 3
    rm -f "$out"
    # Python restores the default action for SIGINT, which a background job
    # of a non-interactive shell would otherwise inherit as ignored.
    python3 -c '
import os, signal, sys
signal.signal(signal.SIGINT, signal.SIG_DFL)
os.execv(sys.argv[1], sys.argv[1:])' "$mp3d" decode -q "$@" - "$out" < "$tmp/fifo" 2> "$tmp/err" &
    local pid=$!
    exec 3> "$tmp/fifo"
    cat "$tmp/long.mp3" >&3
    local size=0 last=-1
    for _ in $(seq 100); do
        size=$(stat -c %s "$out" 2> /dev/null || echo 0)
        [ "$size" -gt 100000 ] && [ "$size" -eq "$last" ] && break
        last=$size
        sleep 0.1
    done
    kill -"$sig" "$pid"
    wait "$pid"
    local status=$?
    exec 3>&-
    [ "$size" -gt 100000 ] || fail "$sig: only $size bytes written before the signal"
    [ "$status" -eq "$want" ] || fail "$sig: status $status, expected $want ($(cat "$tmp/err"))"
}
interrupt TERM 143 "$tmp/term.wav"
header_ok "$tmp/term.wav" || fail "SIGTERM: header"
interrupt INT 130 "$tmp/int.wav"
header_ok "$tmp/int.wav" || fail "SIGINT: header"
grep -q "interrupted" "$tmp/err" || fail "SIGINT: no message"
interrupt INT 130 "$tmp/int_gone.wav" --no-partial
[ -e "$tmp/int_gone.wav" ] && fail "SIGINT with --no-partial: the partial file stays"

finish
