#!/usr/bin/env python3
"""Decoding MPEG in Wave beside mpg123 on the same bytes: mpeg_rate.py DECODE_RATE FOLDER"""
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

SECONDS = 600
TOOL, FOLDER = sys.argv[1], Path(sys.argv[2])


def timed(*command):
    begin = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - begin


def wrap(coded, tag):
    head = b"WAVEfmt " + (18).to_bytes(4, "little") + tag.to_bytes(2, "little") + bytes.fromhex(
        "0200 44ac0000 803e0000 0100 0000 0000") + b"data" + len(coded).to_bytes(4, "little")
    return b"RIFF" + (len(head) + len(coded)).to_bytes(4, "little") + head + coded


if not all(map(shutil.which, ("ffmpeg", "lame", "twolame", "mpg123"))):
    sys.exit("ffmpeg, lame, twolame or mpg123: not installed")
FOLDER.mkdir(parents=True, exist_ok=True)
source = FOLDER / "noise.wav"
if not source.exists():
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                    f"anoisesrc=d={SECONDS}:c=pink:r=44100:a=0.3", "-ac", "2", source], check=True)
for name, tag, encoder in (("layer 3, 128 kbit/s", 0x55, ("lame", "--quiet", "-b", "128")),
                           ("layer 2, 192 kbit/s", 0x50, ("twolame", "--quiet", "-b", "192"))):
    coded, wave = FOLDER / f"{tag}.mpeg", FOLDER / f"{tag}.wav"
    if not coded.exists():
        subprocess.run([*encoder, source, coded], check=True)
    wave.write_bytes(wrap(coded.read_bytes(), tag))
    theirs, ours = [], []
    for _ in range(7):
        theirs.append(timed("mpg123", "-q", "--test", coded))
        ours.append(timed(TOOL, wave))
    ratio = statistics.median(theirs) / statistics.median(ours)
    print(f"{name}: {SECONDS / statistics.median(ours):.0f} times real time, {ratio:.2f} of mpg123")
