#!/usr/bin/env python3
"""Files a second whose tags and properties mutagen reads: mutagen_rate.py FOLDER"""
import sys
import time
from pathlib import Path

try:
    from mutagen.wave import WAVE
except ImportError:
    print("mutagen: not installed")
    sys.exit()

files = sorted(Path(sys.argv[1]).glob("*.wav"))
best = float("inf")
for _ in range(3):
    start = time.perf_counter()
    for path in files:
        wave = WAVE(path)
        if not wave.tags or not wave.info.sample_rate:
            sys.exit(f"{path}: no tags")
    best = min(best, time.perf_counter() - start)
print(f"mutagen: {len(files) / best:.0f} files/s")
