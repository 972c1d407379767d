#!/usr/bin/env python3
"""A source on an HTTP server is decoded as the same file is: from nginx, and from a bad server.

WAVE_MODULE names the module."""
import contextlib
import http.server
import itertools
import os
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path

from codec_module import DECODE, INFO, PROPERTIES, TAGS, Decoder, describe
from test_mpeg_peers import layer1
from wave_files import UNKNOWN, bext, chunk, fmt, id3, info, riff

NOISE = bytes(itertools.islice(itertools.cycle(os.urandom(65521)), 1_500_004))
PCM, DATA, BEXT = fmt(1, 2, 44100, 16), chunk(b"data", NOISE), bext(b"A take")
ID3 = id3(3, (b"TIT2", b"\0A title"), (b"PRIV", bytes(300_000)))
FILES = {
    "pcm.wav": riff(PCM, DATA),
    "behind.wav": riff(PCM, DATA, info(INAM="Behind"), BEXT),
    "before.wav": riff(ID3, info(IART="Before"), chunk(b"JUNK", bytes(70_000)), BEXT,
                       fmt(3, 2, 96000, 32), DATA),
    "rf64.wav": b"RF64" + UNKNOWN + riff(chunk(b"ds64", bytes(28)), fmt(1, 1, 48000, 24),
                                         b"data" + UNKNOWN, NOISE)[8:],
    "odd.wav": riff(PCM, chunk(b"fact", bytes(4)), chunk(b"data", NOISE[:131_075])),
    "tiny.wav": riff(fmt(1, 1, 8000, 16), chunk(b"data", NOISE[:1000])),
    "mpeg.wav": riff(fmt(80, 2, 44100, 0, b"", byte_rate=56000, align=484),
                     chunk(b"data", layer1(500)), info(INAM="MPEG")),
    "none.wav": riff(PCM),
    "empty.wav": b"",
    # Audio within a chunk.
    "nested.wav": riff(chunk(b"cue ", bytes(20_000) + fmt(1, 1, 8000, 8) + DATA), PCM, DATA),
    "cut.wav": riff(PCM, DATA, info(INAM="Cut"))[:800_001],
}
NGINX = shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin")


def decoded(name, first=0, end=-1, seeks=()):
    """What an `Open` tells, and the bytes: of the range, and behind each seek."""
    with Decoder() as decoder:
        decoder.set_range(first, end)
        record = decoder.open(name)
        if record is None:
            return decoder.error_lines()[-1], []
        parts = [decoder.decode()]
        for frame in seeks:
            parts += [decoder.seek(frame), decoder.decode()]
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

    def same_as_file(self, where, name, **what):
        with self.subTest(where=where, name=name, **what):
            (told, parts), (wanted, audio) = (decoded(source, **what) for source in (
                f"{self.url}{where}{name}", self.files / name))
            self.assertEqual(told, wanted)
            self.assertTrue(parts == audio, "other bytes")  # a difference would take minutes


@unittest.skipUnless(NGINX, "no nginx")
class Nginx(Served):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        with socket.create_server(("127.0.0.1", 0)) as probe:
            port = probe.getsockname()[1]
        cls.url = f"http://127.0.0.1:{port}/"
        (cls.folder / "nginx.conf").write_text(f"""
            daemon off; master_process off; pid {cls.folder}/pid; error_log {cls.folder}/error.log;
            events {{ }}
            http {{
              log_format requests '$request_uri $status $http_range';
              access_log {cls.folder}/access.log requests;
              {"".join(f"{kind}_temp_path {cls.folder}/{kind};" for kind in
                       ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))}
              server {{
                listen 127.0.0.1:{port};
                location /plain/ {{ alias {cls.files}/; }}
                location /slow/ {{ alias {cls.files}/; limit_rate_after 700k; limit_rate 700k; }}
                location /noranges/ {{ alias {cls.files}/; max_ranges 0; }}
                location /1/ {{ rewrite ^/1/(.*) /2/$1 permanent; }}
                location /2/ {{ rewrite ^/2/(.*) {cls.url}3/$1 permanent; }}
                location /3/ {{ rewrite ^/3/(.*) /plain/$1 permanent; }}
                location /0/ {{ rewrite ^/0/(.*) /1/$1 permanent; }}
                location /302/ {{ rewrite ^/302/(.*) /plain/$1 redirect; }}
              }}
            }}""")
        server = subprocess.Popen([NGINX, "-p", cls.folder, "-c", cls.folder / "nginx.conf"],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(server.wait)
        cls.addClassCleanup(server.terminate)
        for _ in range(200):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    return
            time.sleep(0.05)
        raise RuntimeError("the server does not start")

    def requests(self, name, flags):
        """The requests as which a source is read, as (status, range)."""
        log = self.folder / "access.log"
        before, seen = log.read_text().count("\n"), []
        with Decoder() as decoder:
            decoder.open(name, flags)
            if flags & DECODE:
                decoder.decode()
        for _ in range(40):  # nginx writes one when its connection ends
            now = [tuple(line.split(" ")[1:]) for line in log.read_text().splitlines()[before:]]
            if now and now == seen:
                break
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
                self.assertEqual(described(self.url + where + name), described(self.files / name))
        # What only a server with ranges gives is not invented for another.
        tags, properties = described(self.url + "noranges/behind.wav")
        self.assertEqual(([t for t, _, _ in tags], "ID Tag" in properties),
                         (["_riff_1", "_riff_2"], False))

    def test_asks_no_more_than_it_needs(self):
        size, end = len(FILES["behind.wav"]), 44 + len(NOISE)
        for name, flags, ranges in (
                ("behind.wav", DECODE | INFO, []), ("before.wav", TAGS | PROPERTIES, []),
                ("behind.wav", DECODE | INFO | TAGS | PROPERTIES, [end, 44])):
            self.assertEqual(self.requests(f"{self.url}plain/{name}", flags), [
                ("200", "-"), *(("206", f"bytes={first}-{size}") for first in ranges)])

    def test_refuses(self):
        for path in ("plain/absent.wav", "0/pcm.wav", "302/pcm.wav", "plain/\r\nX: y"):
            with self.subTest(path):
                told, parts = decoded(self.url + path)
                self.assertEqual(parts, [])
                if "\n" not in path:
                    self.assertEqual(told, f"Error opening file '{self.url + path}' check no other "
                                     "program has it open.")
        with Decoder() as decoder:
            decoder.open(self.url + "noranges/pcm.wav")
            self.assertTrue(decoder.seek(0))  # it is there
            self.assertFalse(decoder.seek(1000))
            self.assertEqual(decoder.error_lines(), ["Error SetPosition returned false."])
            self.assertEqual(decoder.decode(), NOISE)


class BadServer(http.server.BaseHTTPRequestHandler):
    """/WHAT-NUMBER/file: the file, and what is wrong with it."""

    def do_GET(self):
        _, what, name = self.path.split("/")
        kind, _, number = what.partition("-")
        asked = re.match("bytes=([0-9]+)-", self.headers.get("Range", ""))
        asked = asked if kind != "ignores" else None
        first, size = int(asked[1]) if asked else 0, len(FILES[name])
        body, status, head = FILES[name][first:], 206 if asked else 200, ""
        if asked:
            begin = first + 4 if kind == "elsewhere" else first
            head += f"Content-Range: bytes {begin}-{size - 1}/{size}\r\n"
        if kind != "unsized":
            more = 1000 if kind == "longer" else 0
            head += f"Accept-Ranges: bytes\r\nContent-Length: {size - first + more}\r\n"
        if kind == "status":
            status = number
        elif kind == "flaky" and (visit := next(self.server.visits)) < 3:
            kind, status = "drops", 503 if visit else 200  # and then there are two failures
        if kind in ("drops", "silent"):
            body = body[:int(number)]
        with contextlib.suppress(OSError):  # the client has had enough
            self.wfile.write(f"HTTP/1.1 {status} Here\r\n{head}\r\n".encode() + body)
            if kind == "silent" and not self.server.stop.wait(60):
                self.wfile.write(bytes(size))  # nobody should wait for that

    def log_message(self, *_):
        pass


class Bad(Served):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), BadServer)
        server.stop, server.visits = threading.Event(), itertools.count()
        cls.url = f"http://127.0.0.1:{server.server_port}/"
        threading.Thread(target=server.serve_forever, daemon=True).start()
        for cleanup in (server.server_close, server.shutdown, server.stop.set):
            cls.addClassCleanup(cleanup)

    def test_the_bytes_are_the_files_or_none(self):
        for what in ("drops-1/", "drops-7/"):
            self.same_as_file(what, "tiny.wav")
        for what in ("drops-65536/", "drops-100000/", "silent-1600000/", "ignores/", "unsized/",
                     "longer/", "status-206/"):
            self.same_as_file(what, "before.wav")
        for what in ("status-204", "status-404", "drops-0"):
            with self.subTest(what):
                self.assertEqual(decoded(f"{self.url}{what}/pcm.wav")[1], [])
        self.same_as_file("ignores/", "behind.wav", seeks=(1000, 0))
        self.same_as_file("drops-200000/", "behind.wav", seeks=(1000, 0), first=7)
        # Where a chunk could not be received the next one is not looked for in its midst.
        with Decoder() as decoder:
            self.assertIsNone(decoder.open(f"{self.url}flaky-20020/nested.wav", DECODE | TAGS))
        # A reply for other bytes than those asked for ends the seek, and no wrong audio comes.
        with Decoder() as decoder:
            decoder.open(f"{self.url}elsewhere/pcm.wav")
            self.assertFalse(decoder.seek(1000))
            self.assertIn(decoder.decode(), (NOISE, b"!"))


if __name__ == "__main__":
    unittest.main()
