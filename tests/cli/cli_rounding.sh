#!/usr/bin/env bash
# mp3d decode's 16-bit WAV is rounded from the 24-bit output: against the
# 16-bit output of the mpg123 program (libmpg123, gapless like the tool) it
# has the same length, every sample within 1 LSB, nearly all identical and no
# DC offset. --dither keeps within 1 LSB of the rounded output, without an
# offset, and is reproducible.
# Usage: cli_rounding.sh MP3D SOURCE_DIR (exit 77 without the mpg123 program)
set -u
mp3d="$1"
src="$2"
command -v mpg123 > /dev/null || { echo "SKIPPED: no mpg123 program"; exit 77; }
. "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

# agree A B MIN_IDENTICAL: 16-bit samples of A (WAV or raw) against B.
agree() {
    python3 - "$@" <<'PY'
import array, sys
def samples(path):
    data = open(path, "rb").read()
    return array.array("h", data[44:] if data[:4] == b"RIFF" else data)
a, b = samples(sys.argv[1]), samples(sys.argv[2])
if len(a) != len(b):
    sys.exit(f"{sys.argv[1]}: {len(a)} samples, {sys.argv[2]}: {len(b)}")
d = [x - y for x, y in zip(a, b)]
same = d.count(0) / len(d)
mean = sum(d) / len(d)
worst = max(map(abs, d))
print(f"{sys.argv[1]}: {100 * same:.2f}% identical, mean {mean:+.4f} LSB, max {worst} LSB")
sys.exit(0 if worst <= 1 and abs(mean) < 0.01 and same >= float(sys.argv[3]) else 1)
PY
}

for stream in "$src/samples/sample.mp3" "$src/tests/fixtures/layer2/joint_48k_192.mp2" \
              "$src/tests/fixtures/layer3/m2_22k_joint_cbr64.mp3"; do
    name="$(basename "$stream")"
    mpg123 -q -s "$stream" > "$tmp/$name.ref" 2> /dev/null || { fail "mpg123 $name"; continue; }
    "$mp3d" decode -q "$stream" "$tmp/$name.wav" || { fail "decode $name"; continue; }
    # The share identical is bounded by the decoder's 24-bit accuracy: a
    # sample whose exact value lies within that error of a rounding
    # boundary may round either way.
    agree "$tmp/$name.wav" "$tmp/$name.ref" 0.975 || fail "$name: rounded output against mpg123"
done

"$mp3d" decode -q --dither "$src/samples/sample.mp3" "$tmp/dither1.wav" || fail "decode --dither"
"$mp3d" decode -q --dither "$src/samples/sample.mp3" "$tmp/dither2.wav" || fail "decode --dither"
cmp -s "$tmp/dither1.wav" "$tmp/dither2.wav" || fail "--dither is not reproducible"
cmp -s "$tmp/dither1.wav" "$tmp/sample.mp3.wav" && fail "--dither changed nothing"
# Dither of +-1 LSB moves a sample by at most 1 from its rounding, and
# leaves most of them where they were.
agree "$tmp/dither1.wav" "$tmp/sample.mp3.wav" 0.4 || fail "--dither against the rounded output"
"$mp3d" decode --dither --24 "$src/samples/sample.mp3" "$tmp/d24.wav" 2> /dev/null
[ $? -eq 2 ] || fail "--dither with --24 is not refused"

finish
