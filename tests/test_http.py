#!/usr/bin/env python3
"""A source on an HTTP server is decoded as the same file is: from servers in use, and from bad ones.

WAVE_MODULE names the module. A server that is not installed is left out."""
import concurrent.futures
import ctypes
import http.server
import itertools
import os
import re
import shutil
import socket
import socketserver
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

from codec_module import (DECODE, INFO, PROPERTIES, TAGS, Decoder, chunk, describe, fmt, info, riff)
from test_mpeg_peers import layer1

NOISE = bytes(itertools.islice(itertools.cycle(os.urandom(65521)), 1_500_004))
BEXT = chunk(b"bext", b"A take".ljust(256, b"\0") + bytes(346))
ID3 = chunk(b"id3 ", b"ID3\3\0\0\0\0\0\x12TIT2\0\0\0\x08\0\0\0A title" + bytes(300_000))


def rf64(*chunks):
    body = riff(chunk(b"ds64", bytes(28)), *chunks)[8:]
    return b"RF64\xff\xff\xff\xff" + body.replace(b"data" + struct.pack("<I", len(NOISE)),
                                                  b"data\xff\xff\xff\xff")


FILES = {
    "pcm.wav": riff(fmt(1, 2, 44100, 16), chunk(b"data", NOISE)),
    "behind.wav": riff(fmt(1, 2, 44100, 16), chunk(b"data", NOISE), info(INAM="Behind"), BEXT),
    "before.wav": riff(ID3, info(IART="Before"), chunk(b"JUNK", bytes(70_000)), BEXT,
                       fmt(3, 2, 96000, 32), chunk(b"data", NOISE)),
    "rf64.wav": rf64(fmt(1, 1, 48000, 24), chunk(b"data", NOISE)),
    "odd.wav": riff(fmt(1, 2, 44100, 16), chunk(b"fact", bytes(4)), chunk(b"data", NOISE[:131_075])),
    "tiny.wav": riff(fmt(1, 1, 8000, 16), chunk(b"data", NOISE[:1000])),
    "mpeg.wav": riff(chunk(b"fmt ", struct.pack("<HHIIHHH", 80, 2, 44100, 56000, 484, 0, 0)),
                     chunk(b"data", layer1(500)), info(INAM="MPEG")),
    "none.wav": riff(fmt(1, 2, 44100, 16)),
    "empty.wav": b"",
    # Audio within a chunk.
    "nested.wav": riff(chunk(b"cue ", bytes(20_000) + fmt(1, 1, 8000, 8) + chunk(b"data", NOISE)),
                       fmt(1, 2, 44100, 16), chunk(b"data", NOISE)),
    "cut.wav": riff(fmt(1, 2, 44100, 16), chunk(b"data", NOISE), info(INAM="Cut"))[:800_001],
}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(port):
    for _ in range(200):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.05)
    raise RuntimeError("the server does not start")


def decoded(name, first=0, end=-1, seeks=()):
    """What an `Open` tells, and the bytes: of the range, and behind each seek."""
    with Decoder() as decoder:
        decoder.set_range(first, end)
        record = decoder.open(name)
        if record is None:
            return decoder.error_lines()[-1], []
        parts = [decoder.decode()]
        for frame in seeks:
            parts.append(decoder.seek(frame))
            parts.append(decoder.decode())
        return bytes(record.audio), parts


def described(name):
    tags, properties = describe(name)
    properties.pop("Riff Chunks", None)
    return tags, properties


class Served(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.files = cls.folder / "files"
        cls.files.mkdir()
        for name, data in FILES.items():
            (cls.files / name).write_bytes(data)
        cls.port = free_port()

    @classmethod
    def start(cls, *command):
        server = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(server.wait)
        cls.addClassCleanup(server.terminate)
        wait_for(cls.port)

    def same_as_file(self, address, name, **what):
        with self.subTest(address=address, **what):
            self.assertEqual(decoded(f"http://127.0.0.1:{self.port}/{address}{name}", **what),
                             decoded(self.files / name, **what))


@unittest.skipUnless(shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin"), "no nginx")
class Nginx(Served):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.folder / "nginx.conf").write_text(f"""
            daemon off; master_process off; pid {cls.folder}/pid; error_log {cls.folder}/error.log;
            events {{ }}
            http {{
              log_format requests '$request_uri $status $http_range';
              access_log {cls.folder}/access.log requests;
              {"".join(f"{kind}_temp_path {cls.folder}/{kind};" for kind in
                       ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))}
              server {{
                listen 127.0.0.1:{cls.port};
                location /plain/ {{ alias {cls.files}/; }}
                location /slow/ {{ alias {cls.files}/; limit_rate_after 700k; limit_rate 700k; }}
                location /noranges/ {{ alias {cls.files}/; max_ranges 0; }}
                location /1/ {{ rewrite ^/1/(.*) /2/$1 permanent; }}
                location /2/ {{ rewrite ^/2/(.*) http://127.0.0.1:{cls.port}/3/$1 permanent; }}
                location /3/ {{ rewrite ^/3/(.*) /plain/$1 permanent; }}
                location /0/ {{ rewrite ^/0/(.*) /1/$1 permanent; }}
                location /302/ {{ rewrite ^/302/(.*) /plain/$1 redirect; }}
              }}
            }}""")
        cls.start(shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin"), "-p", cls.folder,
                  "-c", cls.folder / "nginx.conf")

    def requests(self, work):
        """The requests that `work` makes, as (status, range)."""
        log = self.folder / "access.log"
        before = log.read_text().count("\n")
        work()
        seen = []
        for _ in range(40):  # nginx writes one when its connection ends
            now = [tuple(line.split(" ")[1:]) for line in log.read_text().splitlines()[before:]]
            if now and now == seen:
                return now
            seen = now
            time.sleep(0.05)
        return seen

    def test_decodes_as_the_file(self):
        for name in FILES:
            self.same_as_file("plain/", name, seeks=(1000, 0, 300, 200_000, 10**9))
            for first, end in ((100, 50_000), (400, -1), (10, 5), (10**9, -1)):
                self.same_as_file("plain/", name, first=first, end=end)
            for where in ("noranges/", "1/"):
                self.same_as_file(where, name)
        self.same_as_file("slow/", "pcm.wav")
        self.same_as_file("noranges/", "pcm.wav", first=1000, end=50_000)
        self.same_as_file("3/", "behind.wav", seeks=(70_000,))

    def test_describes_as_the_file(self):
        for name, where in itertools.product(FILES, ("plain/", "2/")):
            with self.subTest(name=name, where=where):
                self.assertEqual(described(f"http://127.0.0.1:{self.port}/{where}{name}"),
                                 described(self.files / name))
        # What only a server with ranges gives is not invented for another.
        tags, properties = described(f"http://127.0.0.1:{self.port}/noranges/behind.wav")
        self.assertEqual(([t for t, _, _ in tags], "ID Tag" in properties),
                         (["_riff_1", "_riff_2"], False))

    def test_asks_no_more_than_it_needs(self):
        url = f"http://127.0.0.1:{self.port}/plain/"
        self.assertEqual(self.requests(lambda: decoded(url + "behind.wav")), [("200", "-")])
        self.assertEqual(self.requests(lambda: describe(url + "before.wav")), [("200", "-")])
        size, end = len(FILES["behind.wav"]), 44 + len(NOISE)

        def everything():
            with Decoder() as decoder:
                decoder.open(url + "behind.wav", DECODE | INFO | TAGS | PROPERTIES)
                decoder.decode()
        self.assertEqual(self.requests(everything), [("200", "-"), ("206", f"bytes={end}-{size}"),
                                                     ("206", f"bytes=44-{size}")])

    def test_refuses(self):
        for path in ("plain/absent.wav", "0/pcm.wav", "302/pcm.wav", "plain/\r\nX: y"):
            name = f"http://127.0.0.1:{self.port}/{path}"
            with self.subTest(path):
                self.assertEqual(decoded(name)[0], f"Error opening file '{name}' check no other "
                                 "program has it open." if "\n" not in name else decoded(name)[0])
                self.assertEqual(decoded(name)[1], [])
        with Decoder() as decoder:
            decoder.open(f"http://127.0.0.1:{self.port}/noranges/pcm.wav")
            self.assertTrue(decoder.seek(0))  # it is there
            self.assertFalse(decoder.seek(1000))
            self.assertEqual(decoder.error_lines(), ["Error SetPosition returned false."])
            self.assertEqual(decoder.decode(), NOISE)


class PythonsOwn(Served):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.start(sys.executable, "-m", "http.server", "-b", "127.0.0.1", "-d", cls.files,
                  str(cls.port))

    def test_decodes_as_the_file(self):
        for name in FILES:
            self.same_as_file("", name)


class BadServer(http.server.BaseHTTPRequestHandler):
    """/WHAT/file: the file, and what is wrong with it."""
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        _, what, name = self.path.split("/")
        kind, _, number = what.partition("-")
        number, data, self.close_connection = int(number or 0), FILES[name], True
        asked = re.match("bytes=([0-9]+)-", self.headers.get("Range", ""))
        first = int(asked[1]) if asked and kind != "ignores" else 0
        head = {"Accept-Ranges": "bytes", "Content-Length": len(data) - first}
        status = 206 if asked and kind != "ignores" else 200
        body = data[first:]
        if status == 206:
            begin = first + 4 if kind == "elsewhere" else first
            head["Content-Range"] = f"bytes {begin}-{len(data) - 1}/{len(data)}"
        if kind == "drops":
            body = body[:number]
        elif kind == "longer":
            head["Content-Length"] += 1000
        elif kind == "flaky" and (visit := next(self.server.visits)) < 3:
            body = body[:number]  # and then there are two failures
            status = 503 if visit else 200
        elif kind == "loop":
            status, head = 301, {"Location": self.path}
        elif kind == "status":
            status = number
        elif kind == "chunked":
            del head["Content-Length"]
            head["Transfer-Encoding"] = "chunked"
            pieces = (body[i:i + number] for i in range(0, len(body), number))
            body = b"".join(b"%X;x=y\r\n%s\r\n" % (len(p), p) for p in pieces) + b"0\r\nA: b\r\n\r\n"
        elif kind in ("icy", "unsized"):
            head = {}
        try:
            if kind == "headless":
                while True:
                    self.wfile.write(b"X-More: " + bytes(60_000) + b"\r\n")
            if kind == "stallhead":
                self.wfile.write(b"HTTP/1.1 200 OK\r\nX: ")
                self.server.stop.wait(60)
            start = "ICY 200 OK" if kind == "icy" else f"HTTP/1.1 {status} Here"
            self.wfile.write("\r\n".join([start, *(f"{k}: {v}" for k, v in head.items()), "", ""])
                             .encode())
            if kind == "stallbody":
                self.wfile.write(body[:number])
                self.server.stop.wait(60)
            elif kind == "drips":
                for i in range(100):
                    self.wfile.write(body[i:i + 1])
                    self.server.stop.wait(1)
            else:
                self.wfile.write(body)
        except OSError:
            pass  # the client has had enough

    def log_message(self, *_):
        pass


class Bad(Served):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        server = socketserver.ThreadingTCPServer(("127.0.0.1", cls.port), BadServer)
        server.daemon_threads, server.stop, server.visits = True, threading.Event(), itertools.count()
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.addClassCleanup(server.server_close)
        cls.addClassCleanup(server.shutdown)
        cls.addClassCleanup(server.stop.set)
        # Silence is waited for meanwhile.
        pool = concurrent.futures.ThreadPoolExecutor()
        cls.silent = {what: pool.submit(cls.timed, f"http://127.0.0.1:{cls.port}/{what}/pcm.wav")
                      for what in ("stallhead", "stallbody-3", "stallbody-800000", "drips")}

    @staticmethod
    def timed(name):
        begin = time.monotonic()
        return decoded(name), time.monotonic() - begin

    def test_the_bytes_are_the_files_or_none(self):
        for what in ("drops-1", "drops-7", "drops-65536", "drops-100000", "ignores", "chunked-1000",
                     "chunked-100000", "unsized", "icy", "longer", "status-203", "status-206"):
            name = "tiny.wav" if what in ("drops-1", "drops-7") else "before.wav"
            self.same_as_file(what + "/", name)
        for what in ("headless", "loop", "status-204", "status-302", "status-404", "drops-0"):
            with self.subTest(what):
                self.assertEqual(decoded(f"http://127.0.0.1:{self.port}/{what}/pcm.wav")[1], [])
        self.same_as_file("ignores/", "behind.wav", seeks=(1000, 0))
        self.same_as_file("drops-200000/", "behind.wav", seeks=(1000, 0), first=7)
        # Where a chunk could not be received the next one is not looked for in its midst.
        with Decoder() as decoder:
            address = f"http://127.0.0.1:{self.port}/flaky-{12 + 8 + 20_000}/nested.wav"
            self.assertIsNone(decoder.open(address, DECODE | TAGS))
        # A reply for other bytes than those asked for ends the seek, and no wrong audio comes.
        with Decoder() as decoder:
            decoder.open(f"http://127.0.0.1:{self.port}/elsewhere/pcm.wav")
            self.assertFalse(decoder.seek(1000))
            self.assertIn(decoder.decode(), (NOISE, b"!"))

    def test_a_silent_server_ends_the_call(self):
        for what, waited in self.silent.items():
            (told, parts), seconds = waited.result()
            with self.subTest(what):
                self.assertLess(seconds, 60)
                # A second connection goes on where the first one fell silent.
                self.assertEqual(b"".join(parts), NOISE if what == "stallbody-800000" else b"", told)


if __name__ == "__main__":
    unittest.main()
