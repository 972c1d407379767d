"""Who does the same work as the module, and how each is measured.

A contender runs once and tells (seconds, seconds of processor time); cost() tells the rest, for which
it runs again: tracing takes its time."""
import functools
import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

from wave_files import COMMENT, FOLDER, large, mpeg, restore, settings

HERE = Path(__file__).resolve().parent
BIN = HERE.parent / "build" / "bench" / "bin"


def output(*command, **environment):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, check=True,
                          stderr=subprocess.DEVNULL, env={**os.environ, **environment})
    return done.stdout.decode()


class InProcess:
    """One benchmark of wavecodec_bench."""

    def __init__(self, benchmark, who):
        self.name, self.who = benchmark, who

    def told(self, **environment):
        told = json.loads(output(BIN / "wavecodec_bench", f"--benchmark_filter=^{self.name}",
                                 "--benchmark_format=json", "--benchmark_min_time=0.1",
                                 **environment))["benchmarks"][0]
        if told.get("error_occurred"):
            raise RuntimeError(f"{self.name}: {told['error_message']}")
        return told

    def run(self):
        told = self.told()
        return told["real_time"] / 1e9, told.get("cpu_seconds", told["cpu_time"] / 1e9)

    def cost(self):
        told = self.told(WAVECODEC_BENCH_COST="1")
        cost = {"written": told["written"], "memory_kib": told["heap_kib"], "memory": "heap"}
        if "calls" in told:
            return {**cost, "calls": told["calls"]}
        return {**cost, "calls": told["reads_writes"], "calls_at_least": True}


class Process:
    """A command from its start to its end."""

    def __init__(self, who, *command, before=None, after=None, **environment):
        self.who, self.command, self.environment = who, command, environment
        self.before, self.after = before or (lambda: None), after or (lambda: None)

    def measure(self, *options):
        self.before()
        told = output(BIN / "measure", *options, *self.command, **self.environment)
        self.after()
        return [float(number) for number in told.split()]

    def run(self):
        return tuple(self.measure()[:2])

    def cost(self):
        _, _, memory, written = self.measure()
        return {"written": written, "memory_kib": memory, "memory": "resident",
                "calls": self.measure("--calls")[0]}


class Mutagen:
    """mutagen in a Python that has loaded it already; its memory is that of Python, too."""
    who = "mutagen"

    def __init__(self, work):
        self.command = (sys.executable, HERE / "mutagen_work.py", work)

    def run(self):
        return tuple(float(number) for number in output(*self.command).split()[:2])

    def cost(self):
        def measure(*arguments):
            return float(output(BIN / "measure", *arguments).split()[-2 if len(arguments) == 4 else 0])
        return {"written": float(output(*self.command).split()[2]), "memory": "resident",
                "memory_kib": measure(*self.command, 1),
                "calls": measure("--calls", *self.command, 1) - measure("--calls", *self.command, 0)}


class Work:
    """What is done. The first contender is the module, or the program that uses it."""

    def __init__(self, key, title, contenders, places="in one process"):
        self.key, self.title, self.places = key, title, places
        self.contenders = [one for one in contenders if is_there(one)]


@functools.cache
def has_mutagen():
    return subprocess.run([sys.executable, "-c", "import mutagen"], check=False,
                          stderr=subprocess.DEVNULL).returncode == 0


def is_there(contender):
    if isinstance(contender, Mutagen):
        return has_mutagen()
    return not isinstance(contender, Process) or shutil.which(contender.command[0]) is not None


def in_process(kind, variant="", peers=(), bare="system calls"):
    names = {"Module": "wave.dll", "Bare": bare}
    return [InProcess(f"{kind}_{who}{variant}", names.get(who, who))
            for who in ("Module", "Bare", *peers)]


def decoding():
    file = large("decode.wav")
    host = str(BIN / "wavehost")
    yield Work("decode", "Decode 1 GiB of 16-bit PCM",
               in_process("Decode", peers=["libsndfile"], bare="`read` of 64 KiB"))
    yield Work("decode-samples", "Decode 1 GiB, samples to `/dev/null`", [
        Process("wavehost", host, "decode", "-q", file, "-o", "-"), Process("cat", "cat", file),
        Process("sox", "sox", "-V1", file, "-t", "raw", "-"),
        Process("ffmpeg", "ffmpeg", "-v", "error", "-nostdin", "-i", file, "-f", "s16le", "pipe:1")],
        "whole processes")
    yield Work("decode-check", "Decode 1 GiB, samples nowhere", [
        Process("wavehost", host, "decode", "-q", file),
        Process("sox", "sox", "-V1", file, "-n"),
        Process("ffmpeg", "ffmpeg", "-v", "error", "-nostdin", "-i", file, "-f", "null", "-")],
        "whole processes")


def reading():
    yield Work("open", "Open a file of 5 chunks, close it",
               in_process("Open", "/5", ["libsndfile"]))
    yield Work("tags", "Open 2,000 files with tags and properties",
               [*in_process("Tags", peers=["TagLib"]), Mutagen("tags")])


def writing():
    def write(key, title, peers):
        return Work(key, title, [*in_process("Write", "/" + key, peers), Mutagen(key)])
    yield write("append", "Append a tag chunk to 1 GiB", ["TagLib"])
    yield write("edit_padded", "Edit a tag within padding, 1 GiB", [])
    yield write("edit_end", "Edit a tag at the end of 1 GiB", ["TagLib"])
    yield write("insert", "Insert a tag before 1 GiB of audio", ["TagLib"])
    path, copy = large("write.wav"), FOLDER / "copy.wav"

    def tag(who, position):
        return Process(who, str(BIN / "wavehost"), "tag", "-q", path, f"Comment={COMMENT}",
                       before=lambda: restore(path),
                       XCLASS_XREGISTRY_LOCATION=str(settings(position)))
    yield Work("write-process", "Write a comment into 1 GiB", [
        tag("wavehost, at the end", 0), tag("wavehost, before the audio", 1),
        Process("ffmpeg -c copy, a new file", "ffmpeg", "-v", "error", "-nostdin", "-y", "-i", path,
                "-c", "copy", "-metadata", f"comment={COMMENT}", copy,
                before=lambda: restore(path), after=lambda: copy.unlink(missing_ok=True))],
        "whole processes")


def fetching(address, dropping):
    """`address` of the folder, `dropping` that of a file whose server drops connections."""
    host = str(BIN / "wavehost")
    yield Work("http", "Decode 1 GiB from a local nginx", [
        Process("wavehost", host, "decode", "-q", f"{address}/decode.wav"),
        Process("curl -o /dev/null", "curl", "-s", "-o", "/dev/null", f"{address}/decode.wav"),
        Process("wavehost, dropped every 64 MiB", host, "decode", "-q", dropping)],
        "whole processes")


def decoding_mpeg():
    for layer, rate in ((3, 128), (2, 192)):
        coded, wave = mpeg(layer)
        yield Work(f"mpeg{layer}", f"Decode MPEG layer {layer}, {rate} kbit/s", [
            Process("wavehost", str(BIN / "wavehost"), "decode", "-q", wave),
            Process("mpg123 --test", "mpg123", "-q", "--test", coded),
            Process("ffmpeg", "ffmpeg", "-v", "error", "-nostdin", "-i", wave, "-f", "null", "-")],
            "whole processes")


def millions():
    """Nobody else beside: only when they are asked for."""
    for kind in ("Chunks", "InfoItems", "TitleFrames", "PrivateFrames", "UserTextFrames"):
        yield Work(f"million-{kind}", f"Open a file of a million: {kind}",
                   [InProcess(f"Million_Module/{kind}", "wave.dll")])
