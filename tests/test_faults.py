#!/usr/bin/env python3
"""What is left of a Wave file when writing its tags fails, falls short or is killed at any moment.

Each scenario is written once without a fault to count the calls that change files (or read them), and then again
with each fault at each of these calls. WAVE_MODULE and FAULT_INJECTOR name the parts.
FAULT_POINTS: the most points of a scenario to try, 0 for all.
FAULT_TORN=1: writes are torn where no page ends, too, which no kernel does.

A fault is WHAT@K: what happens at the K-th call, counted from 1
  eio eio+                    it fails; so does every later one
  enospc enospc+              the same for what may need room, as where no block is overwritten
  full                        from it on, what lengthens a file fails with ENOSPC
  short short+                half of its bytes; every later one as well
  short-eio short-enospc      half of its bytes, then as eio+ or enospc+
  kill kill-half kill-after   the process ends before it, after half of its bytes, after it
  stop                        the process waits for SIGCONT before it
  unclaimed+                  the file system cannot claim room
  unread unread+              a read fails; so does every later one. K counts reads"""
import codecs
import collections
import ctypes
import errno
import json
import os
import pickle
import random
import resource
import shutil
import signal
import sys
import tempfile
import time
import unittest
from pathlib import Path

from codec_module import DECODE, ROOT, TAGS, Decoder, entries
from fault_scenarios import DATA, FMT, NOISE, SCENARIOS, chunk, foreign, looseness, riff, scenario
from wave_files import bext, id3, info, text_frame

INJECTOR = os.environ.get("FAULT_INJECTOR", str(ROOT / "build/release/bin/libfault_injector.so"))
if INJECTOR not in os.environ.get("LD_PRELOAD", ""):  # starts again, with it
    os.execve(sys.executable, [sys.executable, *sys.argv], {**os.environ, "LD_PRELOAD": INJECTOR})
POINTS = int(os.environ.get("FAULT_POINTS", "36"))
TORN = os.environ.get("FAULT_TORN")
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
USER = None if os.geteuid() else 65534  # whom modes of files bind, unlike the superuser: nobody
C = ctypes.CDLL(None)
JUDGE = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int64,
                         ctypes.POINTER(ctypes.c_uint64), ctypes.c_int64)
END_AFTER = -1  # a verdict
ALL = "eio eio+ enospc enospc+ full kill".split()
SHORTS, TEARS = ["short", "short+"], ["short-eio", "short-enospc", "kill-half"]
DEAD = ("eio+", "short-eio")  # nothing can be taken back after them
LASTING = DEAD + ("enospc+", "short-enospc")

Call = collections.namedtuple("Call", "kind file offset count size")
Done = collections.namedtuple("Done", "value calls")


def part(call):
    """Half of a write. The kernel looks for signals and for room page by page: where there is a
    page's end in the write, the half ends at one."""
    middle = call.offset + call.count // 2
    end = middle // 4096 * 4096 + 4096
    cut = end if end < call.offset + call.count else middle // 4096 * 4096
    return cut - call.offset if cut > call.offset else call.count // 2


def verdict(fault, number, call, count):
    """What becomes of a call when there is that fault; `count` are the bytes that it gets."""
    what, at = fault.split("@")
    later = number - int(at)
    if later < 0 or later and not what.endswith(("+", "full", "-eio", "-enospc")):
        return 0
    if call.kind == "read":
        return errno.EIO
    if what == "unclaimed+":
        return errno.EOPNOTSUPP * (call.kind == "room")
    needs_room = call.kind in ("write", "room", "create")
    if what in SHORTS + TEARS and not (later and "-" in what):
        if call.kind != "write" or call.count < 2:
            return 0
        count[0] = part(call)
        return END_AFTER if what == "kill-half" else 0
    if what in ("kill", "stop"):
        os.kill(os.getpid(), signal.SIGKILL if what == "kill" else signal.SIGSTOP)
        return 0
    if what == "kill-after":
        return END_AFTER
    if what == "full":  # lengthening by a cut counts too: it only puts off the question
        lengthens = needs_room or call.kind == "cut"
        return errno.ENOSPC * (call.kind == "create" or
                               lengthens and call.offset + call.count > call.size)
    return errno.EIO if "eio" in what else errno.ENOSPC * needs_room


class Child:
    """Work in a process of its own, which may be killed."""

    def __init__(self, work):
        reader, writer = os.pipe()
        self.pid = os.fork()
        if self.pid == 0:
            try:
                with open(writer, "wb") as pipe:
                    pickle.dump(work(), pipe)
            except BaseException:
                sys.excepthook(*sys.exc_info())
            finally:
                C.exit(0)
        os.close(writer)
        self.pipe = open(reader, "rb")

    def result(self):
        """What the work gave; None when it was killed."""
        with self.pipe:
            told = self.pipe.read()
        status = os.waitpid(self.pid, 0)[1]
        assert status in (0, signal.SIGKILL), f"ended with status {status}"
        return None if status else pickle.loads(told)


def in_turns(work, items):
    count = os.cpu_count()
    children = [Child(lambda i=i: list(map(work, items[i::count]))) for i in range(count)]
    shares = [child.result() for child in children]
    return [shares[i % count][i // count] for i in range(len(items))]


# What a child does to a file.

def read(path):
    """Audio and tags of a file as the module reads them; None when it refuses."""
    with Decoder() as decoder:
        record = decoder.open(path, DECODE | TAGS)
        audio = decoder.decode() if record else b"!"
        if len(audio) % 4 == 1:  # audio is whole sample frames
            assert decoder.error_lines(), "refused without an error line"
            return None
        found = entries(record.tags, record.tag_size)
        return audio, {(name, value) for name, value, _ in found if name[0] != "_"}


def change(path, command, *fields):
    """Whether a tag command succeeds, and the error lines."""
    with Decoder() as decoder:
        done = decoder.delete_tags(path, *fields) if command == "delete" else \
            decoder.write_tags(path, [field.split("=") for field in fields])
        return done, decoder.error_lines()


class Place:
    """A folder of its own for a file that is put to the test."""

    def __init__(self, case):
        self.case = case
        self.root = Path(tempfile.mkdtemp(prefix="faults-", dir=MEMORY))
        self.folder = self.root / "files"
        self.file = self.folder / "a.wav"
        self.folder.mkdir()
        self.file.write_bytes(case.file)
        options = case.options
        for key in ("Tagging", "Tonvark", "Mardel", "Software", "HKCU"):
            options = {key: options}
        (self.root / "settings").write_text(json.dumps(options))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root)

    def start(self, work, fault=None, user=None):
        folder, calls = str(self.folder).encode(), []

        def judged():
            signal.alarm(60)
            codecs.lookup("utf-16-le")  # from a file that not every user can read
            if user:
                os.setuid(user)
            tempfile.gettempdir()  # what the tests themselves put somewhere is not judged
            os.environ.update(XCLASS_XREGISTRY_LOCATION=str(self.root / "settings"),
                              TMPDIR=str(self.folder))

            def judge(kind, path, offset, count, size):
                if (kind == b"read") != (fault or "").startswith("unread"):
                    return 0
                calls.append(Call(kind.decode(), path.decode(), offset, count[0], size))
                return verdict(fault, len(calls), calls[-1], count) if fault else 0

            judge = JUDGE(judge)
            C.JudgeAccesses(folder, judge)
            return Done(work(self.file), calls)
        return Child(judged)

    def run(self, work, fault=None, user=None):
        return self.start(work, fault, user).result()

    def write(self, fault=None, user=None):
        return self.run(lambda path: change(path, *self.case.command), fault, user)

    def beside(self):
        return [path.name for path in self.folder.iterdir() if path != self.file]

    def keep(self):
        shutil.copytree(self.folder, self.root / "kept")

    def take_back(self):
        shutil.rmtree(self.folder)
        shutil.copytree(self.root / "kept", self.folder)


def some(items, most=POINTS):
    return items if most == 0 or len(items) <= most else random.Random(7).sample(items, most)


def points(calls):
    found = [f"{kind}@{k}" for k in range(1, len(calls) + 1) for kind in ALL]
    for k, call in enumerate(calls, 1):
        if call.kind == "write":
            # As the kernel does it, a write can end in the middle at the end of a page.
            pages = (call.offset + call.count - 1) // 4096 - call.offset // 4096
            found += [f"{kind}@{k}" for kind in SHORTS + TEARS * bool(TORN or pages)]
    first = {call.kind: k for k, call in reversed(list(enumerate(calls, 1)))}
    always = [f"eio@{k}" for k in first.values()] + ["unclaimed+@1"] * ("room" in first)
    return some(found) + always + [f"kill-after@{len(calls)}"]


class Truth:
    """What a scenario is without a fault."""

    def __init__(self, case):
        self.case = case
        with Place(case) as place:
            self.audio, self.old_tags = read(place.file)
            (done, errors), self.calls = place.write()
            assert done, f"it fails without a fault: {errors}"
            assert not place.beside(), place.beside()
            self.new = place.file.read_bytes()
            audio, self.new_tags = read(place.file)
        assert audio == self.audio, "the audio changes without a fault"
        assert foreign(self.new) == foreign(case.file), "foreign chunks change without a fault"
        assert not looseness(self.new, case.trailing), looseness(self.new, case.trailing)
        own = [(k, call) for k, call in enumerate(self.calls, 1) if call.file.endswith("a.wav")]
        self.first_change = self.find_first_change(own, len(case.file))
        self.first_overwrite = next((k for k, call in own if call.kind == "write"
                                     and call.offset < len(case.file)), 0)

    def find_first_change(self, own, size):
        """The first call that changes what the file held before; under a journal, the first that
        it could finish."""
        begun = not any("journal" in call.file for call in self.calls)
        for k, call in own:
            if call.kind in ("write", "cut"):
                if begun and (call.offset < size or "journal" in self.calls[0].file):
                    return k
                begun = begun or call.offset >= size  # the mark of a file that has a journal
        return len(self.calls) + 1


def judge_result(truth, place, fault, done, errors):
    """Whether a process that was not killed did what it must."""
    kind, k = fault.split("@")
    call, data = truth.calls[int(k) - 1], place.file.read_bytes()
    if done:
        assert data == truth.new, "success was told, but the file is not the new one"
        assert kind not in ("eio", "short-eio") or call.kind != "write" or \
            not call.file.endswith("a.wav"), "a failed write was not told"
        return
    assert kind not in (*SHORTS, "unclaimed+"), "did not go on"
    assert errors, "failed without an error line"
    if data == truth.case.file:
        assert kind in LASTING or not place.beside(), f"left {place.beside()}"
        return
    late = int(k) >= truth.first_change or kind in DEAD or \
        kind in LASTING and int(k) > truth.first_overwrite
    assert late and kind != "full", "failed before anything is moved, but the file is another"
    assert data == truth.new or kind in LASTING, "failed for a moment, and is left in between"


def judge_file(truth, place):
    """Whether the file has the old or the new tags; it is as it may be afterwards."""
    found, data = read(place.file), place.file.read_bytes()
    assert found, "the module cannot read it any more"
    assert found[0] == truth.audio, "the audio is not the same"
    assert foreign(data) == foreign(truth.case.file), "a foreign chunk is not the same"
    assert read(place.file) == found, "a second look finds something else"
    assert found[1] in (truth.old_tags, truth.new_tags), "the tags are others"
    return "new" if found[1] == truth.new_tags else "old"


def try_point(truth, fault):
    """The kind of tags that a fault leaves."""
    with Place(truth.case) as place:
        done = place.write(fault)
        assert (done is None) == fault.startswith("kill"), f"ended with {done}"
        if done:
            judge_result(truth, place, fault, *done.value)
        place.keep()
        kind = judge_file(truth, place)
        if not done:  # the same file once more, looked at first by one who writes
            place.take_back()
            (done, errors), _ = place.write()
            assert done, f"cannot be written again: {errors}"
            judge_file(truth, place)
            assert read(place.file)[1] == truth.new_tags, "written again, the tags are others"
    return kind


def outcome(work, truth, fault):
    try:
        return work(truth, fault)
    except AssertionError as error:
        return f"{fault}: {error}"


def look_at(truth, fault):
    """How many reads there are to look at the file, which finds the truth or tells that it
    cannot."""
    with Place(truth.case) as place:
        found, reads = place.run(read, fault)
        assert not found or found[0] == truth.audio, "the audio is another"
        names = {name for name, _ in truth.old_tags}  # a source of less weight may take the place
        assert not found or {name for name, _ in found[1]} <= names, "there are other tags"
        return len(reads)


def write_what_cannot_be_read(truth, fault):
    """How many reads there are to write the file, where nothing may get lost."""
    with Place(truth.case) as place:
        (done, errors), reads = place.write(fault)
        data = place.file.read_bytes()
        assert done or errors, "failed without an error line"
        assert data == truth.new or not done, "success was told, but the file is not the new one"
        assert data in (truth.case.file, truth.new) or place.beside(), "the file is left in between"
        judge_file(truth, place)
        return len(reads)


class Faults(unittest.TestCase):
    maxDiff = None

    def try_scenario(self, name):
        truth = Truth(SCENARIOS[name])
        todo = points(truth.calls)

        kinds = collections.Counter(in_turns(lambda fault: outcome(try_point, truth, fault), todo))
        print(f"{name:21} {len(truth.calls):3} calls, {len(todo)} points: {dict(kinds)}")
        self.assertLessEqual(set(kinds), {"old", "new"})

    def killed(self, name):
        """Places where a process was killed at some calls while it was moving the audio."""
        truth = Truth(SCENARIOS[name])
        numbers = range(truth.first_change, len(truth.calls) + 1)
        for k in numbers if POINTS == 0 else numbers[::max(1, len(numbers) // 4)]:
            with Place(truth.case) as place:
                place.write(f"kill@{k}")
                yield truth, place

    def test_what_cannot_be_read(self):
        for name in ("append_both", "append_rf64", "grow_behind", "insert", "all_ways"):
            truth = Truth(SCENARIOS[name])
            for work in (look_at, write_what_cannot_be_read):
                todo = [f"{kind}@{k}" for k in range(1, work(truth, "unread@0") + 1)
                        for kind in ("unread", "unread+")]
                with self.subTest(name=name, work=work.__name__):
                    found = set(in_turns(lambda fault: outcome(work, truth, fault), todo))
                    self.assertEqual([told for told in found if isinstance(told, str)], [])

    def test_no_memory_for_what_is_there(self):
        text = b"t" * (40 << 20)
        for old in (bext(b"Old", history=text), info(INAM=b"Old", ICMT=text),
                    id3(4, text_frame(b"TIT2", "t" * len(text)))):
            case = scenario(riff(FMT, DATA, old), ("write", "Artist=New", "Description=New"))

            def poor(path):
                pages = int(Path("/proc/self/statm").read_text().split()[0])
                most = pages * resource.getpagesize() + (30 << 20)
                resource.setrlimit(resource.RLIMIT_AS, (most, most))
                return change(path, *case.command)
            with Place(case) as place, self.subTest(old[:4]):
                done, errors = place.run(poor).value
                self.assertFalse(done)
                self.assertTrue(errors)
                self.assertTrue(place.file.read_bytes() == case.file)

    def test_killed_again_while_it_is_finished(self):
        for name in ("insert", "shrink", "all_ways"):
            for truth, place in self.killed(name):
                place.keep()
                calls = place.run(read).calls
                for k in some(range(1, len(calls) + 1), POINTS // 4):
                    place.take_back()
                    place.run(read, f"kill-half@{k}" if k % 2 else f"kill@{k}")
                    with self.subTest(name=name, again=k):
                        judge_file(truth, place)

    def test_a_file_that_was_put_there_since_is_not_touched(self):
        for truth, place in self.killed("insert"):
            place.keep()
            for content in (place.case.file, truth.new, riff(FMT, chunk(b"data", NOISE[::-1]))):
                for replaced in (False, True):  # by another file; by writing into it
                    place.take_back()
                    if replaced:
                        place.file.unlink()
                    place.file.write_bytes(content)
                    read(place.file)
                    self.assertTrue(place.file.read_bytes() == content, replaced)

    def test_what_cannot_be_finished_is_not_decoded(self):
        for truth, place in self.killed("insert"):
            place.root.chmod(0o755)
            for file_mode, folder_mode in ((0o444, 0o555), (0o666, 0o555), (0o444, 0o777)):
                place.file.chmod(file_mode)
                place.folder.chmod(folder_mode)
                found = place.run(read, user=USER).value
                self.assertTrue(found is None or found[0] == truth.audio)
            place.folder.chmod(0o755)
            place.file.chmod(0o644)
            judge_file(truth, place)

    def test_what_can_have_no_journal_keeps_its_audio(self):
        def try_out(truth, fault):
            with Place(truth.case) as place:
                place.root.chmod(0o755)
                place.folder.chmod(0o555)
                place.file.chmod(0o666)
                place.write(fault, USER)
                found = read(place.file)
                place.folder.chmod(0o755)
                assert found and found[0] == truth.audio, "the audio is not the same"

        faults = [f"{kind}@{k}" for kind in ("kill", "kill-half", "eio+") for k in range(1, 7)]
        for name in ("grow_into_junk", "grow_two_into_junk", "grow_by_half_a_header",
                     "grow_by_shortened_junk", "grow_behind", "shrink_behind"):
            truth = Truth(SCENARIOS[name])
            with self.subTest(name):
                found = in_turns(lambda fault: outcome(try_out, truth, fault), faults)
                self.assertEqual(set(found), {None})

    def test_a_reader_waits_for_a_writer(self):
        truth = Truth(SCENARIOS["insert"])
        with Place(truth.case) as place:
            in_the_middle = (truth.first_change + len(truth.calls)) // 2
            writer = place.start(lambda path: change(path, *place.case.command),
                                 f"stop@{in_the_middle}")
            os.waitpid(writer.pid, os.WUNTRACED)
            reader = place.start(read)
            time.sleep(0.2)
            os.kill(writer.pid, signal.SIGCONT)
            found, wrote = reader.result().value, writer.result().value
            self.assertTrue(wrote[0] and found and found[0] == truth.audio)


for scenario_name in SCENARIOS:
    setattr(Faults, f"test_{scenario_name}",
            lambda self, name=scenario_name: self.try_scenario(name))


if __name__ == "__main__":
    unittest.main()
