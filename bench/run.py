#!/usr/bin/env python3
"""Measures the module beside its peers and writes one table: run.py [FILTER]

All contenders of a work take turns, in another order each round. FILTER is a regular expression for
the works' keys; with one the table goes to build/bench/results.md instead of docs/performance.md."""
import contextlib
import os
import platform
import random
import re
import shutil
import subprocess
import sys
from pathlib import Path

import peers
import report
import web_server
from wave_files import FOLDER, MIB, large

ROUNDS = 5
HERE = Path(__file__).resolve().parent
RESULTS = FOLDER.parent


def first_line(*command):
    with contextlib.suppress(OSError):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.stdout.decode(errors="replace").strip().split("\n")[0]
    return ""


def machine():
    processor = platform.processor()
    with contextlib.suppress(OSError):
        info = Path("/proc/cpuinfo").read_text(encoding="utf-8")
        processor = re.search("model name\\s*: (.*)", info)[1]
    return {"processor": processor, "cores": os.cpu_count(), "system": platform.platform(),
            "load": os.getloadavg()[0], "peers": {name: first_line(name, option) for name, option in (
                ("curl", "--version"), ("ffmpeg", "-version"), ("mpg123", "--version"),
                ("sox", "--version"))}}


def measured(work):
    results = {one.who: {"who": one.who, "seconds": [], "cpu": []} for one in work.contenders}
    for one in work.contenders:
        results[one.who].update(one.cost())
    order = list(work.contenders)
    for _ in range(ROUNDS):
        random.shuffle(order)
        for one in order:
            seconds, cpu = one.run()
            results[one.who]["seconds"].append(seconds)
            results[one.who]["cpu"].append(cpu)
    return {"key": work.key, "title": work.title, "places": work.places,
            "contenders": list(results.values())}


def works(wanted, stack):
    """Those that are wanted; makes files and starts servers only for these."""
    def of(keys, make):
        if any(re.search(wanted, key, re.IGNORECASE) for key in keys.split()):
            yield from (work for work in make() if re.search(wanted, work.key, re.IGNORECASE))

    def fetching():
        path = large("decode.wav")
        if not shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin"):
            return iter(())
        return peers.fetching(stack.enter_context(web_server.nginx(FOLDER)),
                              web_server.dropping(path))
    yield from of("decode decode-samples decode-check", peers.decoding)
    yield from of("open tags", peers.reading)
    yield from of("append edit_padded edit_end insert write-process", peers.writing)
    yield from of("http", fetching)
    yield from of("mpeg3 mpeg2", peers.decoding_mpeg)
    if wanted != ".":
        yield from of("million-Chunks million-InfoItems million-TitleFrames million-PrivateFrames "
                      "million-UserTextFrames", peers.millions)


def main():
    wanted = sys.argv[1] if len(sys.argv) > 1 else "."
    results = {"machine": machine(), "rounds": ROUNDS, "works": []}
    try:
        with contextlib.ExitStack() as stack:
            for work in works(wanted, stack):
                print(f"{work.title} ({work.places}) …", file=sys.stderr, flush=True)
                results["works"].append(measured(work))
    finally:
        for path in FOLDER.glob("*.wav"):
            if path.stat().st_size > 100 * MIB:
                path.unlink()
    if not results["works"]:
        sys.exit(f"no work is called {wanted}")
    results["machine"]["load_at_end"] = os.getloadavg()[0]
    report.write(results, RESULTS, HERE.parent / "docs" if wanted == "." else None)


main()
