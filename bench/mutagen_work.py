#!/usr/bin/env python3
"""What reading or writing tags takes mutagen: mutagen_work.py WORK [TIMES]

Does the work once unmeasured and then TIMES times; prints the seconds, the seconds of processor time
and the bytes written of each time."""
import os
import sys
import time

from mutagen.id3 import COMM
from mutagen.wave import WAVE

from wave_files import COMMENT, FOLDER, id3, large, restore

WRITES = {"append": (b"", b""), "edit_end": (b"", id3(0)), "edit_padded": (id3(4096), b""),
          "insert": (id3(0), b"")}


def read_tags():
    for path in sorted((FOLDER / "tags").glob("*.wav")):
        wave = WAVE(path)
        if not wave.tags or not wave.info.sample_rate:
            sys.exit(f"{path}: no tags")


def write_tag():
    file = WAVE(FOLDER / "write.wav")
    if file.tags is None:
        file.add_tags()
    file.tags.add(COMM(encoding=0, lang="eng", desc="", text=[COMMENT]))
    file.save(padding=lambda info: max(info.padding, 0))


def bytes_written():
    try:
        with open("/proc/self/io", encoding="ascii") as io:
            return int(io.read().split()[3])
    except OSError:
        return 0


name = sys.argv[1]
times = int(sys.argv[2]) if len(sys.argv) > 2 else 1 if name in ("tags", "insert") else 20
work = write_tag if name in WRITES else read_tags
seconds = cpu = written = 0
for turn in range(times + 1):
    if name in WRITES:
        restore(large("write.wav"), *WRITES[name])
    if turn == 0 and name == "insert":
        continue  # takes long enough
    start = time.perf_counter(), time.process_time(), bytes_written()
    work()
    if turn > 0:
        seconds += time.perf_counter() - start[0]
        cpu += time.process_time() - start[1]
        written += bytes_written() - start[2]
print(seconds / max(times, 1), cpu / max(times, 1), written // max(times, 1))
