#!/usr/bin/env python3
"""Writes Sounds/chime.wav: a small bell of 0.7 seconds."""
import math
import pathlib
import struct
import wave

RATE = 22050
SECONDS = 0.7
TONES = [(1046.5, 0.5, 0.16), (2097.0, 0.22, 0.10), (3135.0, 0.1, 0.06)]  # hertz, loudness, fading


def sample(seconds):
    strike = min(seconds / 0.004, 1) * min((SECONDS - seconds) / 0.1, 1)
    return 0.5 * strike * sum(loudness * math.exp(-seconds / fading)
                              * math.sin(2 * math.pi * hertz * seconds)
                              for hertz, loudness, fading in TONES)


sounds = pathlib.Path(__file__).parent.parent / "Sounds"
with wave.open(str(sounds / "chime.wav"), "wb") as file:
    file.setnchannels(1)
    file.setsampwidth(2)
    file.setframerate(RATE)
    file.writeframes(b"".join(struct.pack("<h", round(32767 * sample(i / RATE)))
                              for i in range(int(RATE * SECONDS))))
