#!/bin/sh
# Builds a corpus of non-audio input (about 60 MB) in DIR and counts the PCM
# the decoder makes of it: random bytes, PNG and JPEG images, a ZIP archive,
# WAV files, text, APEv2 and ID3v2 tags holding binary pictures (standing
# alone, and around a real stream). Everything comes from fixed seeds, so two
# runs build the same corpus.
#
# Usage: tools/nonaudio/make_corpus.sh DIR [BUILD_DIR]
# Prints one line per file (samples per channel, PCM calls, file), the total
# over the non-audio files (the goal is 0) and, for each tagged stream, the
# samples it decodes to beyond those of the stream alone (the goal is 0).
# Needs python3, sox, ImageMagick's convert, zip and a C compiler; BUILD_DIR
# (default build) must hold libmp3d.a (target mp3d_static).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
dir=$1
build=$(cd "${2:-$root/build}" && pwd)
mkdir -p "$dir/files" "$dir/tagged"
cd "$dir"

c++ -x c -std=c99 -O2 -I"$root/include" "$here/count_pcm.c" -x none "$build/libmp3d.a" -o count_pcm

# Images: plasma and noise at a few sizes, as PNG (16-bit and 8-bit) and JPEG.
n=0
for size in 1600x1200 1024x768 800x600; do
    n=$((n + 1))
    convert -strip -seed $n -size $size plasma:fractal files/plasma_$n.png
    convert -strip -seed $n -size $size plasma:fractal -depth 8 -quality 92 files/plasma_$n.jpg
    convert -strip -seed $n -size $size xc: +noise Random files/noise_$n.png
    convert -strip -seed $n -size $size xc: +noise Random -quality 85 files/noise_$n.jpg
done

# WAV: noise, tones and near-silence, 16-bit and 24-bit.
sox -D -R -n -r 44100 -c 2 -b 16 files/noise.wav synth 20 whitenoise gain -6
sox -D -R -n -r 48000 -c 2 -b 24 files/tones.wav synth 15 sine 440 sine 1000-5000
sox -D -R -n -r 22050 -c 1 -b 16 files/quiet.wav synth 20 pinknoise gain -60

python3 - "$root" <<'PY'
import os, random, struct, sys, zipfile, zlib
root = sys.argv[1]
rng = random.Random(20261124)

def rand(n):
    return rng.getrandbits(8 * n).to_bytes(n, "little")

# Random bytes, in files of several sizes.
for i, size in enumerate([1 << 20] * 12 + [4 << 20, 3 << 20, 65536, 4096, 100]):
    open(f"files/random_{i:02d}.bin", "wb").write(rand(size))

# Runs of 0xFF and sync-like words among random bytes.
buf = bytearray()
while len(buf) < (2 << 20):
    buf += rand(rng.randrange(1, 600)) + bytes([0xFF, 0xE0 | rng.randrange(32), rng.randrange(256)])
open("files/synclike.bin", "wb").write(bytes(buf))

# Text.
words = "the of and to in is was for that on as with by at from audio frame stream decoder".split()
text = " ".join(rng.choice(words) for _ in range(900000))
open("files/text.txt", "w").write(text)

# A ZIP of binary and text members.
members = [("random.bin", rand(2 << 20)), ("text.txt", text[:1000000].encode()),
           ("plasma.png", open("files/plasma_3.png", "rb").read())]
with zipfile.ZipFile("files/archive.zip", "w", zipfile.ZIP_DEFLATED) as z:
    for name, data in members:  # fixed dates: the same archive every time
        z.writestr(zipfile.ZipInfo(name, (2026, 1, 1, 0, 0, 0)), data, zipfile.ZIP_DEFLATED)

def syncsafe(n):
    return bytes([(n >> 21) & 127, (n >> 14) & 127, (n >> 7) & 127, n & 127])

def id3v2(picture):
    body = b"\x00image/png\x00\x03\x00" + picture
    frame = b"APIC" + struct.pack(">I", len(body)) + b"\x00\x00" + body
    return b"ID3\x03\x00\x00" + syncsafe(len(frame)) + frame

def apev2(picture):
    item = struct.pack("<II", len(picture) + 10, 2) + b"Cover Art (Front)\x00" + b"cover.png\x00" + picture
    def header(flags):
        return b"APETAGEX" + struct.pack("<IIII", 2000, len(item) + 32, 1, flags) + bytes(8)
    return header(0xA0000000) + item + header(0x80000000)

pictures = [open(f"files/{n}", "rb").read() for n in ("plasma_1.png", "noise_2.jpg", "noise_1.png")]
pictures.append(rand(1900000))
for i, pic in enumerate(pictures):
    open(f"files/apev2_{i}.tag", "wb").write(apev2(pic))
    open(f"files/id3v2_{i}.tag", "wb").write(id3v2(pic))

# Tags around real streams: the stream alone, and with tags before and after.
streams = ["samples/sample.mp3", "tests/fixtures/layer2/stereo_44k_192.mp2",
           "tests/fixtures/layer3/m2_22k_joint_cbr64.mp3"]
for s in streams:
    data = open(os.path.join(root, s), "rb").read()
    name = os.path.basename(s)
    open(f"tagged/{name}", "wb").write(data)
    for i, pic in enumerate(pictures):
        open(f"tagged/{name}.ape{i}.after", "wb").write(data + apev2(pic))
        open(f"tagged/{name}.id3{i}.before", "wb").write(id3v2(pic) + data)
        open(f"tagged/{name}.id3ape{i}.both", "wb").write(id3v2(pic) + data + apev2(pic))
PY

echo "corpus: $(du -sb files | cut -f1) bytes in $(ls files | wc -l) files"
./count_pcm files/* > files.txt 2>/dev/null
cat files.txt
echo "non-audio total: $(awk '{s += $1} END {print s}' files.txt) samples per channel"
./count_pcm tagged/* > tagged.txt 2>/dev/null
# Extra samples of each tagged stream over the stream alone.
awk '{n = $3; sub(/^tagged\//, "", n); base = n; sub(/\.(ape|id3|id3ape)[0-9]\.(after|before|both)$/, "", base);
      if (n == base) clean[base] = $1; else { tagged[n] = $1; of[n] = base } }
     END { bad = 0; for (n in tagged) { d = tagged[n] - clean[of[n]]; if (d != 0) bad++;
           printf "%+d %s\n", d, n } print "tagged streams whose sample count differs: " bad }' tagged.txt | sort -k2
