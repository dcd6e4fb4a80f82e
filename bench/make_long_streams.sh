#!/usr/bin/env bash
# Long MP3 files for the seek benchmark, in DIR: one minute of music-like
# sound encoded by lame at 128 kbit/s CBR (with its Info frame, and without
# any information frame) and VBR -V 5 (Xing frame with table), each repeated
# to 10, 60 and 120 minutes (audio frames repeated, the frame count in the
# information frame scaled to match).
# Usage: make_long_streams.sh DIR
set -eu
dir="$1"
mkdir -p "$dir" && cd "$dir"
sox -r 44100 -n -c 2 -b 16 minute.wav synth 60 sine 200-5000 sine 330 tremolo 3 40 gain -6
lame --quiet -b 128 minute.wav cbr.mp3
lame --quiet -b 128 -t minute.wav cbr_bare.mp3
lame --quiet -V 5 minute.wav vbr.mp3
python3 - <<'PY'
import struct
def frames(data, start):
    # frame lengths of MPEG-1 Layer III at 44.1 kHz
    rates = [0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320]
    out, at = [], start
    while at + 4 <= len(data) and data[at] == 0xff:
        n = 144000 * rates[data[at + 2] >> 4] // 44100 + ((data[at + 2] >> 1) & 1)
        out.append(data[at:at + n]); at += n
    return out
for name, info in (("cbr", True), ("cbr_bare", False), ("vbr", True)):
    data = open(name + ".mp3", "rb").read()
    fr = frames(data, 0)
    head, audio = (fr[0], fr[1:]) if info else (b"", fr)
    for minutes in (10, 60, 120):
        body = b"".join(audio) * minutes
        h = bytearray(head)
        if info:
            at = h.find(b"Xing") if b"Xing" in h else h.find(b"Info")
            flags = struct.unpack(">I", h[at + 4:at + 8])[0]
            struct.pack_into(">I", h, at + 8, len(audio) * minutes)
            if flags & 2: struct.pack_into(">I", h, at + 12, len(body) + len(h))
        open("%s_%dmin.mp3" % (name, minutes), "wb").write(bytes(h) + body)
PY
