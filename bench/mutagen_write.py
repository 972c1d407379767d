#!/usr/bin/env python3
"""What writing a tag into a large Wave file takes mutagen: mutagen_write.py FILE

FILE is the one that the benchmarks `Write_…` leave; its content is lost."""
import os
import statistics
import struct
import sys
import time

try:
    from mutagen.id3 import COMM
    from mutagen.wave import WAVE
except ImportError:
    print("mutagen: not installed")
    sys.exit()

PATH = sys.argv[1]
REPEAT = 5
FMT = b"fmt " + struct.pack("<IHHIIHH", 16, 1, 2, 44100, 176400, 4, 16)
AUDIO = os.path.getsize(PATH) >> 20 << 20  # whole MiB


def id3(padding):
    text = b"\0eng\0" + b"o" * 200
    frames = b"COMM" + struct.pack(">IH", len(text), 0) + text + bytes(padding)
    size = bytes(len(frames) >> shift & 127 for shift in (21, 14, 7, 0))
    tag = b"ID3\3\0\0" + size + frames
    return b"id3 " + struct.pack("<I", len(tag)) + tag + bytes(len(tag) % 2)


def restore(front, back):
    head = b"WAVE" + FMT + front + b"data" + struct.pack("<I", AUDIO)
    size = len(head) + AUDIO + len(back)
    with open(PATH, "r+b") as file:
        file.write(b"RIFF" + struct.pack("<I", size) + head)
        file.seek(8 + len(head) + AUDIO)
        file.write(back)
        file.truncate()
        os.fdatasync(file.fileno())


def write():
    file = WAVE(PATH)
    if file.tags is None:
        file.add_tags()
    file.tags.add(COMM(encoding=0, lang="eng", desc="", text=["n" * 900]))
    file.save(padding=lambda info: max(info.padding, 0))


def shift():
    """The audio moved by bare system calls, for comparison."""
    file = os.open(PATH, os.O_RDWR)
    end = os.fstat(file).st_size
    while end > 36:
        piece = min(65536, end - 36)
        end -= piece
        os.pwrite(file, os.pread(file, piece, end), end + 922)
    os.close(file)


CASES = {"append": (b"", b"", write), "edit_end": (b"", id3(0), write),
         "edit_padded": (id3(4096), b"", write), "insert": (id3(0), b"", write),
         "bare shift": (b"", b"", shift)}
times = {name: [] for name in CASES}
for _ in range(REPEAT):
    for name, (front, back, work) in CASES.items():
        restore(front, back)
        start = time.perf_counter()
        work()
        times[name].append(time.perf_counter() - start)
for name, taken in times.items():
    print(f"mutagen: {name:12} {statistics.median(taken) * 1e6:12.1f} us")
