#!/usr/bin/env python3
"""What is left of a Wave file when writing its tags fails, falls short or is killed at any moment.

Each scenario is written once without a fault to count the calls that change files, and then again
with each fault at each of these calls. WAVE_MODULE, FAULT_TOOL and FAULT_INJECTOR name the parts.
FAULT_POINTS: the most points of a scenario to try, 0 for all.
FAULT_TORN=1: writes are torn where no page ends, too, which no kernel does."""
import collections
import concurrent.futures
import ctypes
import json
import os
import random
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from codec_module import DECODE, TAGS, Decoder
from fault_scenarios import (FMT, MOVES, NOISE, SCENARIOS, chunk, foreign, riff, strict, tag_chunks)

ROOT = Path(__file__).resolve().parent.parent
BIN = ROOT / "build/release/bin"
MODULE = os.environ.get("WAVE_MODULE", str(BIN / "wave.dll"))
TOOL = os.environ.get("FAULT_TOOL", str(BIN / "fault_tool"))
INJECTOR = os.environ.get("FAULT_INJECTOR", str(BIN / "libfault_injector.so"))
POINTS = int(os.environ.get("FAULT_POINTS", "36"))
TORN = os.environ.get("FAULT_TORN")
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
SHORTS, TEARS = ["short", "short+"], ["short-eio", "short-enospc", "kill-half"]
ALL = "eio eio+ enospc enospc+ full kill".split()
DEAD = ("eio+", "short-eio")  # nothing can be taken back after them
LASTING = DEAD + ("enospc+", "short-enospc")


# The module, and processes that meet a fault.

def read(path):
    """Audio and tags of a file as the module reads them; None when it refuses."""
    with Decoder(MODULE) as decoder:
        record = decoder.open(path, DECODE | TAGS)
        if record is None:
            return None
        tags = ctypes.string_at(record.tags, record.tag_size) if record.tag_size else bytes(4)
        audio = [block and block[0] for block in decoder.blocks()]
    return None if None in audio else (b"".join(audio), user_tags(tags))


def user_tags(block):
    tags, at = set(), 4
    while at < len(block):
        size = struct.unpack_from("<i", block, at)[0]
        if block[at + 4:at + 6] != b"_\0":
            tags.add(block[at + 4:at + size])
        at += size
    return tags


class Place:
    """A folder of its own for a file that is put to the test."""

    def __init__(self, case):
        self.case = case
        self.root = Path(tempfile.mkdtemp(prefix="faults-", dir=MEMORY))
        self.folder = self.root / "files"
        self.file = self.folder / "a.wav"
        self.settings = self.root / "settings"
        options = case.options
        for key in ("Tagging", "Tonvark", "Mardel", "Software", "HKCU"):
            options = {key: options}
        self.settings.write_text(json.dumps(options))
        self.fresh()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root)

    def fresh(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        self.file.write_bytes(self.case.file)

    def start(self, *arguments, fault=None, trace=None, tool=(TOOL, MODULE), user=None):
        environment = {**os.environ, "XCLASS_XREGISTRY_LOCATION": str(self.settings),
                       "TMPDIR": str(self.folder), "FAULT_FOLDER": str(self.folder),
                       "LD_PRELOAD": INJECTOR}
        if fault:
            environment["FAULT"] = fault
        if trace:
            environment["FAULT_TRACE"] = str(trace)
        return subprocess.Popen([*tool, arguments[0], str(self.file), *arguments[1:]], user=user,
                                env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run(self, *arguments, **options):
        with self.start(*arguments, **options) as process:
            output, errors = process.communicate(timeout=60)
        return subprocess.CompletedProcess(arguments, process.returncode, output, errors)

    def write(self, fault=None, trace=None):
        return self.run(*self.case.command, fault=fault, trace=trace)

    def trace(self, *arguments, **options):
        """The calls that change files in a run without a fault: kind, file, offset, bytes, size."""
        path = self.root / "trace"
        path.unlink(missing_ok=True)
        done = self.run(*arguments, trace=path, **options)
        lines = path.read_text().splitlines() if path.exists() else []
        return done, [(k, f, int(o), int(c), int(s))
                      for _, k, f, o, c, s in (line.split("\t") for line in lines)]

    def beside(self):
        return sorted(p.name for p in self.folder.iterdir() if p != self.file)


def tears(call):
    """Whether a write can end in the middle, as the kernel does it: at the end of a page."""
    _, _, offset, count, _ = call
    return count > 1 and (TORN or offset // 4096 != (offset + count - 1) // 4096)


def some(items, most=POINTS):
    return items if most == 0 or len(items) <= most else random.Random(7).sample(items, most)


def points(trace):
    found = [f"{kind}@{k}" for k in range(1, len(trace) + 1) for kind in ALL]
    for k, call in enumerate(trace, 1):
        if call[0] == "write":
            found += [f"{kind}@{k}" for kind in SHORTS + (TEARS if tears(call) else [])]
    return some(found) + [f"kill-after@{len(trace)}"]


class Truth:
    """What a scenario is without a fault."""

    def __init__(self, case):
        self.command = case.command
        with Place(case) as place:
            self.audio, self.old_tags = read(place.file)
            done, self.trace = place.trace(*case.command)
            assert done.returncode == 1, f"it fails without a fault: {done.stderr.decode()}"
            assert not place.beside(), place.beside()
            self.new = place.file.read_bytes()
            audio, self.new_tags = read(place.file)
        assert audio == self.audio, "the audio changes without a fault"
        assert foreign(self.new) == foreign(case.file), "foreign chunks change without a fault"
        assert not strict(self.new, case.trailing), strict(self.new, case.trailing)
        old, new = tag_chunks(case.file), tag_chunks(self.new)
        self.bodies = {name: (old[name], new[name]) for name in old}
        self.loose = bool(strict(case.file, None))
        self.first_change = self.find_first_change(len(case.file))
        self.first_overwrite = next((k for k, call in enumerate(self.trace, 1) if call[0] == "write"
                                     and call[2] < len(case.file) and "journal" not in call[1]), 0)

    def find_first_change(self, size):
        """The first call that changes what the file held before; under a journal, the first that
        it could finish."""
        begun = not any("journal" in call[1] for call in self.trace)
        for k, (kind, file, offset, _, _) in enumerate(self.trace, 1):
            if file.endswith("a.wav") and kind in ("write", "cut"):
                if begun and (offset < size or "journal" in self.trace[0][1]):
                    return k
                begun = begun or offset >= size  # the mark of a file that has a journal
        return len(self.trace) + 1

    def expected(self):
        """Tags that are there after one more try. A torn tag may have lost fields that are not
        written again."""
        if self.command[0] == "delete":
            return self.new_tags
        return {b"".join(t.encode("utf-16le") + b"\0\0" for t in field.split("="))
                for field in self.command[1:]}

    def kind_of_tags(self, data, tags):
        if tags == self.new_tags:
            return "new"
        if tags == self.old_tags:
            return "old"
        mixed = all(body in self.bodies[name] for name, body in tag_chunks(data).items())
        return "mixed" if mixed else "neither"


def judge_result(case, truth, place, fault, done):
    """What a process that was not killed must have done."""
    kind, k = fault.split("@")
    k = int(k)
    data = place.file.read_bytes()
    if done.returncode == 1:
        if data != truth.new:
            return "success was told, but the file is not the new one"
        return None if kind not in ("eio", "short-eio") or truth.trace[k - 1][0] != "write" \
            or not truth.trace[k - 1][1].endswith("a.wav") else "a failed write was not told"
    if done.returncode != 0:
        return f"ended with {done.returncode}: {done.stderr.decode()}"
    if kind.startswith("short") and "-" not in kind:
        return "did not go on after a short write"
    if not done.stderr.strip():
        return "failed without an error line"
    if data == case.file:
        if place.beside() and kind not in LASTING:
            return f"left {place.beside()}"
    elif kind == "full" or k < truth.first_change and not (
            kind in DEAD or kind in LASTING and k > truth.first_overwrite):
        return "failed before anything is moved, but the file is not as it was"
    elif data != truth.new and kind not in LASTING:
        return "failed for a moment, and the file is left in between"
    return None


def judge_file(case, truth, place, fault, seen):
    """What the module and the walker find in the file afterwards."""
    left = place.beside()
    found = read(place.file)
    if found is None:
        return "the module cannot read it any more"
    if found[0] != truth.audio:
        return "the audio is not the same"
    data = place.file.read_bytes()
    if foreign(data) != foreign(case.file):
        return "a foreign chunk is not the same"
    kind = truth.kind_of_tags(data, found[1])
    seen[kind] += 1
    seen["journal"] += bool(left)
    seen["left beside"] += bool(place.beside())
    if not truth.loose:
        seen["not tight"] += bool(strict(data, None))
        seen["remains behind"] += not strict(data, None) and bool(strict(data, case.trailing))
    if read(place.file) != found:
        return "a second look finds something else"
    if kind == "neither" and not fault.startswith("kill") and not fault.startswith(LASTING):
        return "the tags are neither the old nor the new ones"
    return None


def try_point(case, truth, fault):
    seen = collections.Counter(points=1)
    with Place(case) as place:
        done = place.write(fault=fault)
        killed = done.returncode < 0
        if killed != fault.startswith("kill"):
            return seen, f"ended with {done.returncode}: {done.stderr.decode()}"
        bad = None if killed else judge_result(case, truth, place, fault, done)
        seen["result 1"] += done.returncode == 1
        kept = place.root / "kept"
        shutil.copytree(place.folder, kept)
        bad = bad or judge_file(case, truth, place, fault, seen)
        if bad or not killed:
            return seen, bad
        # The same file once more, looked at first by one who writes.
        shutil.rmtree(place.folder)
        kept.rename(place.folder)
        done = place.write()
        if done.returncode != 1:
            return seen, f"cannot be written again: {done.stderr.decode()}"
        bad = judge_file(case, truth, place, fault, collections.Counter())
        if not bad and not truth.expected() <= read(place.file)[1]:
            bad = "written again, the tags are not the new ones"
    return seen, bad


def look(truth, place):
    return judge_file(place.case, truth, place, "kill", collections.Counter())


def in_turns(work, items):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(work, items))


class Faults(unittest.TestCase):
    maxDiff = None

    def try_scenario(self, name):
        case = SCENARIOS[name]
        truth = Truth(case)
        todo = points(truth.trace)
        results = in_turns(lambda fault: try_point(case, truth, fault), todo)
        total = sum((seen for seen, _ in results), collections.Counter())
        print(f"{name:21} {len(truth.trace):3} calls; " +
              ", ".join(f"{v} {k}" for k, v in total.items() if v), flush=True)
        bad = [f"{fault}: {bad}" for fault, (_, bad) in zip(todo, results) if bad]
        self.assertEqual(bad, [])

    def killed(self, name, often):
        """Places where a process was killed at some calls while it was moving the audio."""
        truth = Truth(SCENARIOS[name])
        numbers = range(truth.first_change, len(truth.trace) + 1)
        for k in numbers if POINTS == 0 else numbers[::max(1, len(numbers) // often)]:
            with Place(SCENARIOS[name]) as place:
                place.write(fault=f"kill@{k}")
                yield truth, place

    def test_killed_again_while_it_is_finished(self):
        for name in ("insert", "shrink", "all_ways"):
            for truth, place in self.killed(name, 4):
                kept = place.root / "kept"
                shutil.copytree(place.folder, kept)
                _, calls = place.trace("decode")
                for k in some(range(1, len(calls) + 1), POINTS // 4):
                    shutil.rmtree(place.folder)
                    shutil.copytree(kept, place.folder)
                    place.run("decode", fault=f"kill-half@{k}" if k % 2 else f"kill@{k}")
                    self.assertEqual(look(truth, place), None, f"again at {k}")

    def test_a_file_that_was_put_there_since_is_not_touched(self):
        for truth, place in self.killed("insert", 4):
            for content in (place.case.file, truth.new, riff(FMT, chunk(b"data", NOISE[::-1]))):
                left = place.file.read_bytes()
                journal = {name: (place.folder / name).read_bytes() for name in place.beside()}
                for replaced in (False, True):  # by another file; by writing into it
                    if replaced:
                        place.file.unlink()
                    place.file.write_bytes(content)
                    read(place.file)
                    self.assertEqual(place.file.read_bytes() == content, True, replaced)
                    for name, data in journal.items():
                        (place.folder / name).write_bytes(data)
                place.file.write_bytes(left)

    def test_what_cannot_be_finished_is_not_decoded(self):
        for truth, place in self.killed("insert", 4):
            place.root.chmod(0o755)
            for file_mode, folder_mode in ((0o444, 0o555), (0o666, 0o555), (0o444, 0o777)):
                place.file.chmod(file_mode)
                place.folder.chmod(folder_mode)
                try:  # modes do not bind the superuser
                    done = place.run("decode", user=None if os.geteuid() else 65534)
                except PermissionError:
                    self.skipTest("nobody may not run the tool")
                refused = done.returncode == 0 and done.stderr and not done.stdout
                self.assertTrue(refused or done.stdout == truth.audio, done.stderr)
            place.folder.chmod(0o755)
            place.file.chmod(0o644)
            self.assertEqual(look(truth, place), None)

    def test_a_reader_waits_for_a_writer(self):
        truth = Truth(SCENARIOS["insert"])
        with Place(SCENARIOS["insert"]) as place:
            in_the_middle = (truth.first_change + len(truth.trace)) // 2
            writer = place.start(*place.case.command, fault=f"stop@{in_the_middle}")
            os.waitpid(writer.pid, os.WUNTRACED)
            reader = place.start("decode")
            time.sleep(0.2)
            writer.send_signal(signal.SIGCONT)
            audio, errors = reader.communicate()
            writer.communicate()
            self.assertEqual(writer.returncode, 1)
            self.assertTrue(audio == truth.audio, errors)


for scenario_name in SCENARIOS:
    setattr(Faults, f"test_{scenario_name}",
            lambda self, name=scenario_name: self.try_scenario(name))


if __name__ == "__main__":
    unittest.main()
