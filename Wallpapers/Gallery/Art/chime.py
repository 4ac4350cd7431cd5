#!/usr/bin/env python3
"""Makes chime.wav: two small bells, one after the other, that ring out softly.

    chime.py [FILE]    writes FILE, or Sounds/chime.wav
"""
import math
import pathlib
import struct
import sys
import wave

RATE = 22050
SECONDS = 1.4
LOUDEST = 0.5
SOUND = pathlib.Path(__file__).parent.parent / "Sounds/chime.wav"

# A bell's tones: how high above its note, how loud, and in how many seconds each fades to a third.
TONES = [(0.5, 0.25, 0.55), (1, 1, 0.42), (2.004, 0.45, 0.26), (2.99, 0.22, 0.16),
         (4.18, 0.12, 0.10), (5.43, 0.06, 0.06)]

# When each bell is struck, its note, how loud, and from where: 0 left, 1 right.
BELLS = [(0.0, 880.0, 1.0, 0.4), (0.11, 1318.51, 0.8, 0.6)]

STRIKE = 0.004  # seconds in which a bell comes up
FADE = 0.2  # seconds in which all is taken back to silence at the end


def bell(seconds, note):
    if seconds < 0:
        return 0.0
    strike = min(seconds / STRIKE, 1)
    return strike * sum(loudness * math.exp(-seconds / fade)
                        * math.sin(2 * math.pi * note * height * seconds)
                        for height, loudness, fade in TONES)


def sample(seconds):
    """Left and right."""
    fade = min((SECONDS - seconds) / FADE, 1)
    fade *= fade * (3 - 2 * fade)
    left = right = 0.0
    for start, note, loudness, place in BELLS:
        value = fade * loudness * bell(seconds - start, note)
        left += value * math.cos(place * math.pi / 2)
        right += value * math.sin(place * math.pi / 2)
    return left, right


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else SOUND
    frames = [sample(i / RATE) for i in range(round(RATE * SECONDS))]
    loudest = max(abs(value) for frame in frames for value in frame)
    scale = 32767 * LOUDEST / loudest
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(b"".join(struct.pack("<hh", *(round(value * scale) for value in frame))
                                  for frame in frames))


if __name__ == "__main__":
    main()
