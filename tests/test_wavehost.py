#!/usr/bin/env python3
"""Tests of the command-line host with the real module. WAVEHOST names the executable."""
import contextlib
import fcntl
import http.server
import json
import os
import pty
import re
import resource
import signal
import struct
import subprocess
import sys
import termios
import threading
import time
import unittest
from pathlib import Path

from folder_case import FolderCase
from wave_files import (UNKNOWN, apic, bext, chunk, extensible, fmt, id3, info, rf64, riff, samples,
                        text_frame)

ROOT = Path(__file__).resolve().parent.parent
HOST = os.environ.get("WAVEHOST", str(ROOT / "build/release/bin/wavehost"))
JPEG = b"\xff\xd8\xff\xe0" + samples(3000)
PNG = b"\x89PNG\r\n\x1a\n" + samples(50)
AUDIO = samples(200000)
PCM16 = fmt(1, 2, 44100, 16)
FLOAT = fmt(3, 1, 48000, 32, b"")
EXTENSIBLE = extensible(1, 2, 96000, 32, 24, 3)
EXTENSIBLE_FLOAT = extensible(3, 2, 48000, 32, 32, 3)
SILENT_FRAME = b"\xff\xfb\x90\x64" + bytes(413)  # MPEG-1 layer 3, 128 kbit/s, 1152 in stereo


@contextlib.contextmanager
def terminal():
    handles = master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 50, 0, 0))
    yield master, slave
    for handle in handles:
        os.close(handle)


class HostCase(FolderCase):
    def put_wave(self, name, *chunks, form=PCM16, audio=AUDIO):
        return self.put(name, riff(form, chunk(b"data", audio), *chunks))

    def put_sparse(self, name, head, size):
        os.truncate(self.put(name, head), len(head) + size)

    def run_host(self, *arguments, status=0, **options):
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        done = subprocess.run([HOST, *arguments], cwd=self.folder, timeout=60, **streams)
        self.assertEqual(done.returncode, status, (arguments, done.stderr))
        done.stderr = (done.stderr or b"").decode()
        return done

    def run_text(self, *arguments):
        return self.run_host(*arguments).stdout.decode()

    def run_json(self, *arguments, status=0):
        lines = self.run_host(*arguments, "--json", status=status).stdout.decode().splitlines()
        return [json.loads(line) for line in lines]

    def assert_has(self, told, **expected):
        self.assertEqual({**told, **expected}, told)

    def assert_files(self, told, **failed):
        """The files that were told of, in their order, and whether they failed."""
        self.assertEqual([(item["file"], "error" in item) for item in told], list(failed.items()))

    def read(self, name):
        return (self.folder / name).read_bytes()

    def names(self, folder="."):
        return sorted(path.name for path in (self.folder / folder).iterdir())


class HostTest(HostCase):
    def test_info(self):
        cases = [
            (PCM16, 88200, dict(format="PCM", channels=2, sampleRate=44100, bits=16, frames=22050,
                                lengthMs=500, bytes=88200, bitRate=1411200, decodable=True)),
            (FLOAT, 192000, dict(format="IEEE float", frames=48000, lengthMs=1000, bits=32)),
            (EXTENSIBLE, 800, dict(format="PCM (extensible)", validBits=24, channelMask=3)),
            (EXTENSIBLE_FLOAT, 8, dict(format="IEEE float (extensible)", frames=1)),
            (fmt(2, 1, 8000, 4, b"\0" * 4), 100, dict(format="compressed", decodable=False)),
        ]
        for form, size, expected in cases:
            with self.subTest(expected=expected):
                self.put_wave("in.wav", form=form, audio=bytes(size))
                self.assert_has(*self.run_json("info", "in.wav"), **expected)
        self.put_wave("long.wav", form=fmt(1, 1, 10, 8), audio=bytes(37235))
        self.assertRegex(self.run_text("info", "long.wav"),
                         r"^long\.wav\n(.|\n)*Length +1:02:03\.500 \(37235 sample frames\)")

    def test_decode_to_wave(self):
        fact, mono8, mono24 = chunk(b"fact", b"\3\0\0\0"), fmt(1, 1, 8000, 8), fmt(1, 1, 8000, 24)
        cases = [  # format of the input, bytes of 3 frames, chunks before the data of the output
            (PCM16, 12, PCM16), (fmt(1, 2, 44100, 16, b"gone"), 12, PCM16), (mono8, 3, mono8),
            (mono24, 9, mono24), (FLOAT, 12, FLOAT + fact), (EXTENSIBLE, 24, EXTENSIBLE),
            (EXTENSIBLE_FLOAT, 24, EXTENSIBLE_FLOAT + fact),
        ]
        for form, size, chunks in cases:
            with self.subTest(form=form):
                self.put_wave("in.wav", form=form, audio=samples(size))
                expected = riff(chunks, chunk(b"data", samples(size)))
                self.run_host("decode", "in.wav", "-fo", "out.wav")
                self.assertEqual(self.read("out.wav"), expected)
                piped = self.run_host("decode", "in.wav", "-o", "-", "--format", "wav")
                self.assertEqual(piped.stdout, expected)

    def test_decode_elsewhere(self):
        for name in ("a.wav", "b.wav", "-c.wav"):
            self.put_wave(name)
        (checked,) = self.run_json("decode", "a.wav")
        self.assert_has(checked, frames=50000, bytes=200000, lengthMs=1133)
        self.assertEqual(self.run_host("decode", "a.wav", "-o", "-").stdout, AUDIO)
        self.run_host("decode", "a.wav", "-o", "a.pcm")
        self.run_host("decode", "a.wav", "--format=raw", "-o", "new/sub/", "--", "-c.wav", "b.wav")
        for name in ("a.pcm", "new/sub/a.raw", "new/sub/b.raw", "new/sub/-c.raw"):
            self.assertEqual(self.read(name), AUDIO, name)
        self.run_host("decode", "a.wav", "-o", "new")
        self.assertEqual(self.read("new/a.wav")[44:], AUDIO)
        self.assertEqual(self.run_host("decode", "-q", "a.wav", "-o", "/dev/null").stdout, b"")

    def test_range(self):
        self.put_wave("in.wav", form=fmt(1, 1, 1000, 16))  # 100 s, 1000 frames a second
        cases = [("--from 10 --to 12", 10, 12), ("--to 0", 0, 0), ("--from 1:30", 90000, 100000),
                 ("--from 1.5s --to=2s", 1500, 2000), ("--from 250ms --to 300", 250, 300),
                 ("--from 0:01:02.5 --to 2:02:02.5", 62500, 100000),
                 ("--from 1.0006s --to 1.0014s", 1001, 1001), ("--from 999999999", 100000, 100000)]
        for arguments, first, end in cases:
            with self.subTest(arguments=arguments):
                output = self.run_host("decode", "in.wav", "-o", "-", *arguments.split()).stdout
                self.assertEqual(output, AUDIO[2 * first:2 * end])

    def test_refused_output(self):
        out = self.put("out.wav", b"precious")
        out.chmod(0o640)
        (self.folder / "sub").mkdir()
        self.put_wave("sub/in.wav")
        self.put_wave("in.wav")
        os.link(self.folder / "sub/in.wav", self.folder / "same.wav")
        (self.folder / "there/in.wav").mkdir(parents=True)
        before = self.names()
        cases = [
            ("-o out.wav", "exists already", False), ("-fo same.wav", "is an input", False),
            ("-fo sub", "is an input", False), ("-o missing/out.wav", "No such file", False),
            ("in.wav -fo ./", "sub/in.wav: the output './in.wav' is", False),
            ("-fo out.wav", "cannot write 'out.wav'", True),
            ("-o new.raw", "cannot write 'new.raw'", True),
            ("--from 9 --to 8", "ends before", False), ("-o there/", "is a folder", False),
            ("-o out.wav/new/", "cannot make the folder", False),
            *[("-o /dev/full", "No space left", False)] * (sys.platform == "linux"),
        ]
        for arguments, message, limited in cases:
            def limit(most=100000 if limited else resource.RLIM_INFINITY):
                resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))
            with self.subTest(arguments=arguments):
                done = self.run_host("decode", "sub/in.wav", *arguments.split(), status=1,
                                     preexec_fn=limit)
                self.assertIn(message, done.stderr)
                self.assertEqual((self.names(), out.read_bytes()), (before, b"precious"))
        self.run_host("decode", "sub/in.wav", "-fo", "out.wav")
        self.assertEqual((out.stat().st_size, out.stat().st_mode & 0o777), (200044, 0o640))
        twice = self.run_host("decode", "sub/in.wav", "sub/../sub/in.wav", "-o", "d/", status=1)
        self.assertIn("another input", twice.stderr)

    def test_failing_files_among_good_ones(self):
        files = {"a.wav": False, **dict.fromkeys(("bad.wav", "text.wav", "none.wav"), True),
                 "z.wav": False}
        for name in ("a.wav", "z.wav"):
            self.put_wave(name, form=fmt(1, 1, 8000, 8))
        self.put("bad.wav", riff(chunk(b"data", bytes(8))))
        self.put("text.wav", b"no audio at all")
        for command in ("info", "decode", "tags", "art"):
            self.assert_files(self.run_json(command, *files, status=1), **files)
            done = self.run_host(command, *files, status=1)
            self.assertIn("z.wav", done.stderr if command == "art" else done.stdout.decode())
            for name in ("bad", "text", "none"):
                self.assertRegex(
                    done.stderr, rf"(?m)^wavehost: {name}\.wav: (Error|the module) [^\[\r\n]*$")
        self.run_host("decode", "bad.wav", "a.wav", "-o", "new/", status=1)
        self.assertEqual(self.names("new"), ["a.wav"])

    def put_concert(self):
        comment = "Caf\u00e9 \u201clive\u201d\r\nsecond\tline".encode("cp1252")
        self.put_wave(
            "concert.wav", info(ICMT=comment, IENG="Eve"),
            bext(b"Take 1", b"Desk", b"A=PCM,F=44100\r\nA=ANALOGUE\r\n"),
            id3(4, text_frame(b"TIT2", "\u590f\u306e\u97f3\x1b[31m\u202e"),
                text_frame(b"TPE1", "Ann\0Bob"), text_frame(b"TXXX", "odd\nname:\0kept"),
                text_frame(b"TXXX", "_mine\0hidden"), apic(3, "../../x", JPEG), apic(4, "", PNG),
                apic(3, "a\rb", PNG), apic(0, "", b"?" * 5)),
            chunk(b",  '", b"abcd"), chunk(b"cue ", bytes(2000)))

    def test_tags(self):
        self.put_concert()
        (told,) = self.run_json("info", "concert.wav")
        kinds = "LIST & ID3 & BEXT v1"
        self.assert_has(told["properties"], **{"ID Tag": kinds, "Gapless": "Yes"})
        self.assertEqual([item["id"] for item in told["chunks"]],
                         ["fmt ", "data", "LIST", "bext", "id3 ", ",  '", "cue "])
        self.assertEqual(told["chunks"][5], {"id": ",  '", "size": "4 bytes"})
        self.assertEqual([list(picture.values()) for picture in told["pictures"]],
                         [[1, "Front Album Cover", "../../x", "image/jpeg", len(JPEG)],
                          [2, "Back Album Cover", "", "image/png", len(PNG)],
                          [3, "Front Album Cover", "a\rb", "image/png", len(PNG)],
                          [4, "Undefined", "", "application/octet-stream", 5]])
        (listed,) = self.run_json("tags", "concert.wav", "--raw")
        self.assert_has(listed, tags=told["tags"], kinds=kinds)
        tags = {tag["name"]: tag.get("value", tag.get("values")) for tag in told["tags"]}
        self.assert_has(tags, **{
            "Title": "\u590f\u306e\u97f3\x1b[31m\u202e", "Artist": ["Ann", "Bob"],
            "Engineer": "Eve", "odd\nname:": "kept",
            "Comment": "Caf\u00e9 \u201clive\u201d\r\nsecond\tline",
            "CodingHistory": "A=PCM,F=44100\r\nA=ANALOGUE", "TimeReference": "44100"})
        reserved = {item["name"]: item for item in listed["reserved"]}
        self.assertEqual(reserved["_mine"]["value"], "hidden")
        self.assert_has(reserved["_riff_4"], bytes=2004, hex=b"cue ".hex() + "00" * 28)

        for arguments, lines in [
            ("info concert.wav",
             ["  Tags", "    Title          \u590f\u306e\u97f3?[31m?", "    Artist         Ann",
              " " * 19 + "Bob", '    3  image/png, 58 bytes, front album cover, "a?b"',
              "  Chunks", "    ',  ''  4 bytes", "    2  image/png, 58 bytes, back album cover",
              '    1  image/jpeg, 3 KB, front album cover, "../../x"']),
            ("tags concert.wav", ["  Title:          \u590f\u306e\u97f3?[31m?",
                                  "  odd?name::      kept", " " * 18 + "second line"]),
            ("tags --raw concert.wav",
             [f"  {'_riff_1:':<24}  4 bytes  66 6d 74 20", f"  {'_mine:':<24}  hidden"]),
        ]:
            text = self.run_text(*arguments.split())
            self.assertEqual([line for line in lines if line not in text.split("\n")], [], text)
            self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\u202e]")
        self.assertNotIn("_riff_", self.run_text("tags", "concert.wav"))

    def test_tags_on_a_terminal(self):
        self.put_wave("in.wav", info(ICMT="ten chars " * 60 + "x" * 100))
        for command, count in (("info", 8), ("tags", 21)):
            with terminal() as (master, slave):
                self.run_host(command, "in.wav", stdout=slave)
                os.set_blocking(master, False)
                text = os.read(master, 65536).decode().replace("\r", "")
            lines = re.search(r"Comment(.*\n(?: {11}.*\n)*)", text).group().splitlines()
            self.assertEqual((len(lines), max(map(len, lines)) <= 50), (count, True), text)
            self.assertEqual("more lines" in lines[-1], command == "info")

    def test_art(self):
        self.put_concert()
        names = ["concert.back-album-cover.png", "concert.front-album-cover-2.png",
                 "concert.front-album-cover.jpg", "concert.picture.bin"]
        (told,) = self.run_json("art", "concert.wav", "-o", "new/sub")
        self.assertEqual(self.names("new/sub"), names)
        self.assertEqual([picture["output"] for picture in told["pictures"]],
                         ["new/sub/" + names[i] for i in (2, 0, 1, 3)])
        self.assertEqual(self.read("new/sub/" + names[2]), JPEG)
        self.assertEqual(self.names(), ["concert.wav", "new"])
        self.run_host("art", "concert.wav")
        self.assertEqual(self.names(), sorted([*names, "concert.wav", "new"]))

        cover = self.put(names[2], b"precious")
        for arguments, status, message, content in (
                ("concert.wav", 1, "exists already", b"precious"), ("-fq concert.wav", 0, "", JPEG),
                ("-f concert.wav " + names[2], 1, "is an input", JPEG)):
            done = self.run_host("art", *arguments.split(), status=status)
            self.assertIn(message, done.stderr)
            self.assertEqual(cover.read_bytes(), content)

        big = b"GIF89a" + bytes(5 << 20)
        self.put_wave("big.wav", id3(3, apic(8, "", big)))
        self.put_wave("plain.wav", form=fmt(2, 1, 8000, 4, b""))
        done = self.run_host("art", "plain.wav", "big.wav")
        self.assertEqual(done.stderr, "wavehost: no pictures in plain.wav\n")
        self.assertEqual(self.read("big.artist.gif"), big)
        self.assertEqual(self.run_text("art", "plain.wav"), "")
        self.assertIn("(no tags)", self.run_text("tags", "plain.wav"))

    def test_usage(self):
        self.put_wave("in.wav")
        wrong = [text.split() for text in (
            "", "info", "nothing", "info --bad in.wav", "decode in.wav in.wav -o out.wav",
            "decode in.wav --json -o -", "decode in.wav --format raw", "tags", "formats -- in.wav",
            "decode in.wav -o x --format mp3", "info --raw in.wav")]
        times = "-1 1.5 1e3 1:60 1:60:00 1:2:3:4 1:2: 1.5:3 5m .5s s 99999999999999999999".split()
        wrong += [["decode", "in.wav", "--from=" + text] for text in (*times, "", " 1")]
        wrong += [[command, "in.wav", "-o", ""] for command in ("decode", "art")]
        for arguments in wrong:
            with self.subTest(arguments=arguments):
                done = self.run_host(*arguments, status=2)
                self.assertEqual((done.stdout, self.names()), (b"", ["in.wav"]))
                self.assertTrue(done.stderr.startswith("wavehost: "), done.stderr)
        for arguments in (["--help"], ["decode", "--help"], ["--version"]):
            self.assertIn("wavehost", self.run_text(*arguments))
        for module in ("nothing.dll", "in.wav"):
            done = self.run_host("formats", "--module", module, status=1)
            self.assertIn(f"cannot load the codec module '{module}'", done.stderr)
        if sys.platform == "linux":
            library = re.search(r"/\S+/libc[.-]\S+", Path("/proc/self/maps").read_text()).group()
            done = self.run_host("formats", "--module", library, status=1)
            self.assertIn("is no codec module", done.stderr)

    def test_formats(self):
        (told,) = self.run_json("formats")
        self.assertIn({"extension": ".wav", "name": "Wave"}, told["decodes"])
        self.assertIn("audio/wav", told["streaming"])
        self.assertLess(set(told["defaultProperties"]), set(told["properties"]))
        self.assertGreater(min(len(option["choices"]) for option in told["tagOptions"]), 1)
        self.assertIn(told["tagOptions"][-1]["setting"], self.run_text("formats"))

    @unittest.skipIf(sys.platform == "darwin", "file names are UTF-8 there")
    def test_name_that_is_not_utf8(self):
        name = "caf\u00e9 \udce9\udcff\udcc3.wav"
        self.put_wave(name)
        self.assert_has(*self.run_json("info", name), file="caf\u00e9 \ufffd\ufffd\ufffd.wav")
        self.run_host("decode", name, "-o", "out/")
        self.assertEqual(self.names("out"), [name])

    @unittest.skipUnless("C_HOST" in os.environ, "needs the C host")
    def test_host_in_plain_c(self):
        self.put_wave("in.wav")
        command = [os.environ["C_HOST"], os.environ["WAVE_MODULE"], "in.wav"]
        self.assertEqual(subprocess.check_output(command, cwd=self.folder), samples(200000))

    def test_streams(self):
        self.put_wave("in.wav")
        done = self.run_host("decode", "in.wav", "-o", "-", "--report")
        self.assertEqual(done.stdout, AUDIO)
        self.assertIn("->->  [Open]", done.stderr)
        for arguments in ("formats", "info in.wav", "tags in.wav", "decode in.wav -o -"):
            reader, writer = os.pipe()
            os.close(reader)
            told = self.run_host(*arguments.split(), status=1, stdout=writer).stderr
            os.close(writer)
            self.assertEqual(told, "")

    def test_progress_and_interruption(self):
        self.put_wave("in.wav", audio=AUDIO * 5)
        command = [HOST, "decode", "in.wav", "-o", "-"]
        options = dict(cwd=self.folder, stdout=subprocess.PIPE, env={**os.environ, "TERM": "vt100"})
        with terminal() as (master, slave):
            with subprocess.Popen(command, stderr=slave, **options) as host:
                time.sleep(1.1)  # it waits for a reader; the bar comes when work takes long
                host.stdout.read(500000)
                drawn = os.read(master, 1000).decode()
                host.send_signal(signal.SIGINT)
                self.assertEqual(host.wait(), 128 + signal.SIGINT)
            self.assertRegex(drawn, r"\r\x1b\[Kin.wav \[.*=+.* +\] +\d+ %")
            self.assertTrue(os.read(master, 1000).endswith(b"\r\x1b[K"))

    def test_more_than_4_gib(self):
        size, frames = 5 << 30, 5 << 28
        head = bytearray(rf64(FLOAT, chunk(b"data", b"")))
        struct.pack_into("<QQQ", head, 20, len(head) - 8 + size, size, frames)
        self.put_sparse("huge.wav", head, size)
        command = [HOST, "decode", "-q", "huge.wav", "-o", "-", "--format", "wav"]
        with subprocess.Popen(command, cwd=self.folder, stdout=subprocess.PIPE) as host:
            header = host.stdout.read(94)
        self.assertEqual(host.returncode, 1)  # nobody reads on
        fact = chunk(b"fact", struct.pack("<I", frames))
        struct.pack_into("<Q", head, 20, len(head) + len(fact) - 8 + size)
        self.assertEqual(header, bytes(head[:-8] + fact + head[-8:]))

    def check_wave(self, output, sizes_known, audio):
        """A Wave file without other chunks than padding; the sizes in its header may be unknown."""
        heads = []
        for padding in (b"", chunk(b"JUNK", bytes(28))):
            head = bytearray(riff(padding, PCM16, chunk(b"data", audio))[:len(padding) + 44])
            if not sizes_known:
                head[4:8] = head[-4:] = UNKNOWN
            heads.append(bytes(head))
        self.assertIn(output[:len(output) - len(audio)], heads)
        self.assertTrue(output.endswith(audio))

    @unittest.skipUnless(Path(HOST).with_name("mp3.dll").exists(), "needs the decoder of MPEG")
    def test_mpeg(self):
        form = fmt(0x55, 2, 44100, 0, struct.pack("<HIHHH", 1, 2, 417, 1, 0), 16000, 1)
        self.put_wave("in.wav", form=form, audio=SILENT_FRAME * 200)
        (told,) = self.run_json("info", "in.wav")
        self.assert_has(told, format="MPEG-1 Layer 3", channels=2, sampleRate=44100, bitRate=128000,
                        decodable=True, decoded=dict(format="PCM", bits=16))
        self.assertFalse({"bits", "frames"} & told.keys())
        self.assertRegex(self.run_text("info", "in.wav"),
                         r"Format +MPEG-1 Layer 3\n(.|\n)*Decoded to +PCM, 16 bits\n")
        for arguments, frames in (("", 200 * 1152), ("--from 1s --to 99999", 99999 - 44100),
                                  ("--to 0", 0), ("--from 1:00", 0)):
            with self.subTest(arguments=arguments):
                command = ["decode", "in.wav", *arguments.split()]
                self.run_host(*command, "-fo", "out.wav")
                self.check_wave(self.read("out.wav"), True, bytes(4 * frames))
                piped = self.run_host(*command, "-o", "-", "--format", "wav").stdout
                self.check_wave(piped, False, bytes(4 * frames))


class AddressTest(HostCase):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            body = riff(PCM16, info(INAM="Far"), id3(3, apic(3, "", JPEG)), chunk(b"data", AUDIO))
            if self.path in ("/live", "/live64"):  # made while it is sent
                body = body[:-200004] + UNKNOWN + AUDIO
            if self.path == "/live64":
                body = b"RF64" + UNKNOWN + body[8:]
            self.send_response(404 if self.path.startswith("/none") else 200)
            if not self.path.startswith("/live"):
                self.send_header("Content-Length", str(len(body) + (self.path == "/broken")))
            self.end_headers()
            self.wfile.write(body[:-100000] if self.path == "/broken" else body)

        def log_message(self, *arguments):
            pass

    def setUp(self):
        super().setUp()
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self.Handler)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, args=(0.01,)).start()
        self.server = f"http://127.0.0.1:{server.server_port}/"

    def test_reading(self):
        self.put_wave("near.wav")
        far = self.server.upper() + "far.wav"
        for command in ("info", "tags", "art", "decode"):
            none = self.server + "none"
            told = self.run_json(command, "near.wav", far, none, "near.wav", status=1)
            self.assertEqual(["error" in item for item in told], [False, False, True, False])
            self.assertIn("no such file there", told[2]["error"])
        self.assertEqual(self.read("far.front-album-cover.jpg"), JPEG)
        (told,) = self.run_json("info", far)
        self.assertIn({"name": "Title", "value": "Far"}, told["tags"])
        self.assertEqual((told["frames"], "chunks" in told), (50000, False))
        for options, audio in (("", AUDIO), ("--from 0.5s --to 40000", AUDIO[4 * 22050:160000])):
            piped = self.run_host("decode", far, "-o", "-", *options.split()).stdout
            self.assertEqual(piped, audio)
        for live in ("live", "live64"):
            (told,) = self.run_json("info", self.server + live)
            self.assertFalse({"bytes", "frames", "lengthMs"} & told.keys())
            piped = self.run_host("decode", self.server + live, "-o", "-", "--format", "wav").stdout
            self.assertEqual((piped[:8], piped[44:]), (b"RIFF" + UNKNOWN, AUDIO))
        before = self.names()
        for command, message in (
                (f"decode {self.server}broken -o new.wav", "the connection stopped"),
                ("info http://127.0.0.1:1/a.wav", "no connection")):
            self.assertIn(message, self.run_host(*command.split(), status=1).stderr)
        self.assertEqual(self.names(), before)

    def test_names_of_outputs(self):
        cases = [("a/b/take.wav?x=/y.wav#/z.wav", "take"), ("?/x.wav", "audio"), ("..", "_"),
                 ("caf%C3%A9%20%31%2.flac", "caf\u00e9 1%2"), ("", "audio"), ("folder/", "audio"),
                 ("..%2f..%5Cx.wav", "_._.._x"), (".profile", "_profile"),
                 ("%00%1b%ff%e2%80%ae.wav", "__\ufffd_"), ("%C3%A9" * 300, "\u00e9" * 80)]
        for path, stem in cases:
            with self.subTest(path=path):
                self.run_host("decode", self.server + path, "-fo", "out/")
                self.assertEqual(self.names("out"), [stem + ".wav"])
                (self.folder / "out" / (stem + ".wav")).unlink()

    def test_writing_is_refused(self):
        before = self.put_wave("near.wav", info(INAM="Near")).read_bytes()
        for arguments in (f"tag near.wav {self.server}a.wav?b=c Title=x", f"untag -y {self.server}",
                          "untag near.wav HTTP://x/a Title", f"tag Title=x -- {self.server}"):
            self.assertIn("not to an address",
                          self.run_host(*arguments.split(), status=2).stderr)
        self.assertEqual(self.read("near.wav"), before)


if __name__ == "__main__":
    unittest.main()
