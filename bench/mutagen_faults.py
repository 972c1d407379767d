#!/usr/bin/env python3
"""Prints what kills and full disks do to Wave files that mutagen writes; in the environment of
test_faults.py, by an interpreter that has mutagen."""
import collections
import sys
from pathlib import Path

from mutagen.id3 import COMM
from mutagen.wave import WAVE

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests"))

from fault_scenarios import BIG, DATA, FMT, id3, riff, scenario
from test_faults import Place, in_turns, read

# Its tag goes behind the audio; one that grows before the audio stands for an insertion.
FILES = {"append": riff(FMT, DATA), "grow before data": riff(FMT, id3(99), BIG)}
KINDS = ("kill", "kill-half", "full", "enospc+")


def write(path):
    """Whether it told success."""
    try:
        file = WAVE(path)
        if file.tags is None:
            file.add_tags()
        file.tags.add(COMM(encoding=0, lang="eng", desc="", text=["long " * 700]))
        file.save()
        return True
    except Exception:
        return False


def outcome(case, new, audio, fault):
    with Place(case) as place:
        done = place.run(write, fault)
        found = read(place.file)
        kind = fault.split("@")[0]
        if found is None or found[0] != audio:
            return f"{kind}: audio lost"
        if done and done.value and place.file.read_bytes() != new:
            return f"{kind}: told as success, but is none"
        return f"{kind}: audio whole"


for name, file in FILES.items():
    case = scenario(file, ("write",))
    with Place(case) as place:
        audio = read(place.file)[0]
        done, calls = place.run(write)
        assert done, "it fails without a fault"
        new = place.file.read_bytes()
    faults = [f"{kind}@{k}" for kind in KINDS for k in range(1, len(calls) + 1)]
    counts = collections.Counter(in_turns(lambda f: outcome(case, new, audio, f), faults))
    told = ", ".join(f"{count} {what}" for what, count in counts.items())
    print(f"mutagen, {name}, {len(calls)} calls: {told}")
