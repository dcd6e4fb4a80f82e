#!/usr/bin/env python3
"""Writes a deterministic music-like test signal as a 16-bit WAV file.

usage: gen_signal.py OUT.wav RATE CHANNELS SECONDS

A melody of harmonic notes (decaying envelopes, a few partials each) over a
bass line, a chord pad panned against the melody, and short noise bursts on
the beat: tonal and transient content with a spectrum that moves, so that
the encoders use long, short and mixed blocks and both stereo modes.
"""
import array
import math
import random
import struct
import sys


def main():
    out, rate, channels, seconds = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4])
    rng = random.Random(1234)
    total = int(rate * seconds)
    left = array.array("d", bytes(8 * total))
    right = array.array("d", bytes(8 * total))
    scale = [0, 2, 4, 5, 7, 9, 11, 12]
    beat = int(rate * 0.25)

    def note(buf_l, buf_r, start, length, freq, amp, pan, partials, decay):
        w = 2 * math.pi * freq / rate
        gl, gr = amp * (1 - pan), amp * pan
        end = min(total, start + length)
        for n in range(start, end):
            t = n - start
            env = math.exp(-decay * t / rate) * min(1.0, t / 64.0)
            s = 0.0
            for k in range(1, partials + 1):
                s += math.sin(w * k * t) / k
            s *= env
            buf_l[n] += gl * s
            buf_r[n] += gr * s

    pos, bar = 0, 0
    while pos < total:
        root = 110.0 * 2 ** (rng.choice([0, 3, 5, 7]) / 12)
        # Bass on every beat of the bar, chord pad held for the bar.
        for b in range(4):
            note(left, right, pos + b * beat, beat, root / 2, 0.18, 0.5, 4, 3.0)
        for iv in (0, 4, 7):
            note(left, right, pos, 4 * beat, root * 2 * 2 ** (iv / 12), 0.06, 0.2 + 0.3 * (bar % 2), 3, 0.8)
        # Melody: eight notes of varying length and pan.
        m = pos
        while m < pos + 4 * beat:
            length = rng.choice([beat // 2, beat, beat // 4])
            freq = root * 4 * 2 ** (rng.choice(scale) / 12)
            note(left, right, m, length, freq, 0.12, rng.random(), 6, 6.0)
            m += length
        # Noise bursts (hi-hat like) on the off-beats.
        for b in range(4):
            s0 = pos + b * beat + beat // 2
            for n in range(s0, min(total, s0 + beat // 8)):
                e = 0.08 * math.exp(-40.0 * (n - s0) / rate)
                left[n] += e * (rng.random() * 2 - 1)
                right[n] += e * (rng.random() * 2 - 1)
        pos += 4 * beat
        bar += 1

    pcm = array.array("h")
    for n in range(total):
        if channels == 1:
            pcm.append(max(-32768, min(32767, int(16384 * (left[n] + right[n])))))
        else:
            pcm.append(max(-32768, min(32767, int(32767 * left[n]))))
            pcm.append(max(-32768, min(32767, int(32767 * right[n]))))
    if sys.byteorder != "little":
        pcm.byteswap()
    data = pcm.tobytes()
    with open(out, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVE")
        f.write(b"fmt " + struct.pack("<IHHIIHH", 16, 1, channels, rate, rate * channels * 2, channels * 2, 16))
        f.write(b"data" + struct.pack("<I", len(data)) + data)


if __name__ == "__main__":
    main()
