#!/usr/bin/env python3
"""Tests of the command-line host with the real module. WAVEHOST names the executable."""
import fcntl
import http.server
import json
import os
import pty
import re
import resource
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
HOST = os.environ.get("WAVEHOST", str(ROOT / "build/release/bin/wavehost"))
GUID_TAIL = bytes.fromhex("0000000010008000 00AA00389B71")  # behind a tag: the sub-format's GUID


def fmt(tag, channels, rate, bits, extra=None):
    align = channels * bits // 8
    body = struct.pack("<HHIIHH", tag, channels, rate, rate * align, align, bits)
    return body if extra is None else body + struct.pack("<H", len(extra)) + extra


def extensible(tag, channels, rate, bits, valid, mask):
    extra = struct.pack("<HIH", valid, mask, tag) + GUID_TAIL
    return fmt(0xFFFE, channels, rate, bits, extra)


def wave(*chunks):
    body = b"".join(i + struct.pack("<I", len(b)) + b + b"\0" * (len(b) % 2) for i, b in chunks)
    return b"RIFF" + struct.pack("<I", 4 + len(body)) + b"WAVE" + body


def samples(size):
    return bytes((7 * i + i // 251) % 256 for i in range(size))


def info_list(**texts):
    items = b"".join(name.encode() + struct.pack("<I", len(text)) + text + b"\0" * (len(text) % 2)
                     for name, text in texts.items())
    return b"LIST", b"INFO" + items


def bext(description, originator, history):
    head = description.ljust(256, b"\0") + originator.ljust(64, b"\0") + b"2026-11-2108:30:00"
    return b"bext", head + struct.pack("<QH", 44100, 1) + bytes(254) + history


def syncsafe(size):
    return bytes(size >> shift & 0x7F for shift in (21, 14, 7, 0))


def id3(version, *frames):
    size = syncsafe if version == 4 else (lambda number: struct.pack(">I", number))
    body = b"".join(name + size(len(data)) + b"\0\0" + data for name, data in frames)
    return b"id3 ", b"ID3" + bytes([version, 0, 0]) + syncsafe(len(body)) + body


def text_frame(name, text):
    return name, b"\3" + text.encode()


def apic(kind, description, picture):  # the description in UTF-16
    return b"APIC", b"\1image/jpeg\0" + bytes([kind]) + description.encode("utf-16") + b"\0\0" + picture


JPEG = b"\xff\xd8\xff\xe0" + samples(3000)
PNG = b"\x89PNG\r\n\x1a\n" + samples(50)
PCM16 = fmt(1, 2, 44100, 16)
FLOAT = fmt(3, 1, 48000, 32, b"")
EXTENSIBLE = extensible(1, 2, 96000, 32, 24, 3)
EXTENSIBLE_FLOAT = extensible(3, 2, 48000, 32, 32, 3)
SILENT_FRAME = b"\xff\xfb\x90\x64" + bytes(413)  # MPEG-1 layer 3, 128 kbit/s, 1152 samples in stereo


class HostCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="wavehost-test-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def put_wave(self, name, form=PCM16, size=200000):
        (self.folder / name).write_bytes(wave((b"fmt ", form), (b"data", samples(size))))

    def put_tagged(self, name, *chunks, form=PCM16):
        (self.folder / name).write_bytes(wave((b"fmt ", form), (b"data", samples(800)), *chunks))

    def run_host(self, *arguments, status=0, **options):
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        done = subprocess.run([HOST, *arguments], cwd=self.folder, timeout=60, **streams)
        self.assertEqual(done.returncode, status, (arguments, done.stderr))
        done.stderr = (done.stderr or b"").decode()
        return done

    def run_json(self, *arguments, status=0):
        lines = self.run_host(*arguments, "--json", status=status).stdout.decode().splitlines()
        return [json.loads(line) for line in lines]

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())


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
                self.put_wave("in.wav", form, size)
                (told,) = self.run_json("info", "in.wav")
                self.assertEqual({**told, **expected}, told)
        self.put_wave("long.wav", fmt(1, 1, 10, 8), 37235)
        text = self.run_host("info", "long.wav").stdout.decode()
        self.assertRegex(text, r"^long\.wav\n(.|\n)*Length +1:02:03\.500 \(37235 sample frames\)")

    def test_decode_to_wave(self):
        fact = struct.pack("<I", 3)
        cases = [  # format of the input, bytes of 3 frames, chunks before the data of the output
            (PCM16, 12, [(b"fmt ", PCM16)]),
            (fmt(1, 2, 44100, 16, b"gone"), 12, [(b"fmt ", PCM16)]),
            (fmt(1, 1, 8000, 8), 3, [(b"fmt ", fmt(1, 1, 8000, 8))]),
            (fmt(1, 1, 8000, 24), 9, [(b"fmt ", fmt(1, 1, 8000, 24))]),
            (FLOAT, 12, [(b"fmt ", FLOAT), (b"fact", fact)]),
            (EXTENSIBLE, 24, [(b"fmt ", EXTENSIBLE)]),
            (EXTENSIBLE_FLOAT, 24, [(b"fmt ", EXTENSIBLE_FLOAT), (b"fact", fact)]),
        ]
        for form, size, chunks in cases:
            with self.subTest(form=form):
                self.put_wave("in.wav", form, size)
                expected = wave(*chunks, (b"data", samples(size)))
                self.run_host("decode", "in.wav", "-fo", "out.wav")
                self.assertEqual((self.folder / "out.wav").read_bytes(), expected)
                piped = self.run_host("decode", "in.wav", "-o", "-", "--format", "wav")
                self.assertEqual(piped.stdout, expected)

    def test_decode_elsewhere(self):
        audio = samples(200000)
        for name in ("a.wav", "b.wav", "-c.wav"):
            self.put_wave(name)
        (checked,) = self.run_json("decode", "a.wav")
        self.assertEqual((checked["frames"], checked["bytes"], checked["lengthMs"]),
                         (50000, 200000, 1133))
        self.assertEqual(self.run_host("decode", "a.wav", "-o", "-").stdout, audio)
        self.run_host("decode", "a.wav", "-o", "a.pcm")
        self.run_host("decode", "a.wav", "--format=raw", "-o", "new/sub/", "--", "-c.wav", "b.wav")
        for name in ("a.pcm", "new/sub/a.raw", "new/sub/b.raw", "new/sub/-c.raw"):
            self.assertEqual((self.folder / name).read_bytes(), audio, name)
        self.run_host("decode", "a.wav", "-o", "new")
        self.assertEqual((self.folder / "new/a.wav").read_bytes()[44:], audio)
        self.assertEqual(self.run_host("decode", "-q", "a.wav", "-o", "/dev/null").stdout, b"")

    def test_range(self):
        self.put_wave("in.wav", fmt(1, 1, 1000, 16), 200000)  # 100 s, 1000 frames a second
        cases = [
            (["--from", "10", "--to", "12"], 10, 12),
            (["--to", "0"], 0, 0),
            (["--from", "1.5s", "--to=2s"], 1500, 2000),
            (["--from", "250ms", "--to", "300"], 250, 300),
            (["--from", "1:30"], 90000, 100000),
            (["--from", "0:01:02.5", "--to", "2:02:02.5"], 62500, 100000),
            (["--from", "1.0006s", "--to", "1.0014s"], 1001, 1001),
            (["--from", "999999999"], 100000, 100000),
        ]
        for arguments, first, end in cases:
            with self.subTest(arguments=arguments):
                output = self.run_host("decode", "in.wav", "-o", "-", *arguments).stdout
                self.assertEqual(output, samples(200000)[2 * first : 2 * end])

    def test_refused_output(self):
        out = self.folder / "out.wav"
        out.write_bytes(b"precious")
        out.chmod(0o640)
        (self.folder / "sub").mkdir()
        self.put_wave("sub/in.wav")
        self.put_wave("in.wav")
        os.link(self.folder / "sub/in.wav", self.folder / "same.wav")
        before = self.names()

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))

        cases = [
            (["sub/in.wav", "-o", "out.wav"], "exists already", None),
            (["sub/in.wav", "-fo", "same.wav"], "is an input", None),
            (["sub/in.wav", "-fo", "sub"], "is an input", None),
            (["sub/in.wav", "in.wav", "-fo", "./"], "sub/in.wav: the output './in.wav' is", None),
            (["sub/in.wav", "-o", "missing/out.wav"], "No such file", None),
            (["sub/in.wav", "-fo", "out.wav"], "cannot write 'out.wav'", limit),
            (["sub/in.wav", "-o", "new.raw"], "cannot write 'new.raw'", limit),
            (["sub/in.wav", "--from", "9", "--to", "8"], "ends before", None),
        ]
        if sys.platform == "linux":
            cases.append((["sub/in.wav", "-o", "/dev/full"], "No space left", None))
        for arguments, message, preexec in cases:
            with self.subTest(arguments=arguments):
                done = self.run_host("decode", *arguments, status=1, preexec_fn=preexec)
                self.assertIn(message, done.stderr)
                self.assertEqual(self.names(), before)
                self.assertEqual(out.read_bytes(), b"precious")
        self.run_host("decode", "sub/in.wav", "-fo", "out.wav")
        self.assertEqual((out.stat().st_size, out.stat().st_mode & 0o777), (200044, 0o640))
        twice = self.run_host("decode", "sub/in.wav", "sub/../sub/in.wav", "-o", "d/", status=1)
        self.assertIn("another input", twice.stderr)

    def test_failing_file_among_good_ones(self):
        self.put_wave("a.wav")
        self.put_wave("z.wav")
        (self.folder / "bad.wav").write_bytes(wave((b"data", samples(8))))
        for command in ("info", "decode"):
            done = self.run_host(command, "a.wav", "bad.wav", "nothing.wav", "z.wav", status=1)
            self.assertRegex(done.stderr, r"(?m)^wavehost: bad\.wav: Error [^\[\r]*$")
            self.assertRegex(done.stderr, r"(?m)^wavehost: nothing\.wav: Error [^\[\r]*$")
            self.assertIn(b"z.wav", done.stdout)
            told = self.run_json(command, "a.wav", "bad.wav", "z.wav", status=1)
            self.assertEqual([item["file"] for item in told], ["a.wav", "bad.wav", "z.wav"])
            self.assertEqual(["error" in item for item in told], [False, True, False])
        self.run_host("decode", "bad.wav", "a.wav", "-o", "new/", status=1)
        self.assertEqual(os.listdir(self.folder / "new"), ["a.wav"])

    def put_concert(self):
        comment = "Caf\u00e9 \u201clive\u201d\r\nsecond\tline".encode("cp1252")
        self.put_tagged(
            "concert.wav", info_list(ICMT=comment, IENG=b"Eve"),
            bext(b"Take 1", b"Desk", b"A=PCM,F=44100\r\nA=ANALOGUE\r\n"),
            id3(4, text_frame(b"TIT2", "\u590f\u306e\u97f3\x1b[31m\u202e"), text_frame(b"TPE1", "Ann\0Bob"),
                text_frame(b"TXXX", "odd\nname:\0kept"), text_frame(b"TXXX", "_mine\0hidden"),
                apic(3, "../../x", JPEG), apic(4, "", PNG), apic(3, "a\rb", PNG), apic(0, "", b"?" * 5)),
            (b",  '", b"abcd"), (b"cue ", bytes(2000)))

    def test_tags(self):
        self.put_concert()
        (told,) = self.run_json("info", "concert.wav")
        self.assertEqual(told["properties"]["ID Tag"], "LIST & ID3 & BEXT v1")
        self.assertEqual(told["properties"]["Gapless"], "Yes")
        self.assertEqual([chunk["id"] for chunk in told["chunks"]],
                         ["fmt ", "data", "LIST", "bext", "id3 ", ",  '", "cue "])
        self.assertEqual(told["chunks"][5], {"id": ",  '", "size": "4 bytes"})
        self.assertEqual(
            [(p["index"], p["kind"], p["description"], p["mime"], p["bytes"]) for p in told["pictures"]],
            [(1, "Front Album Cover", "../../x", "image/jpeg", len(JPEG)),
             (2, "Back Album Cover", "", "image/png", len(PNG)),
             (3, "Front Album Cover", "a\rb", "image/png", len(PNG)),
             (4, "Undefined", "", "application/octet-stream", 5)])
        (listed,) = self.run_json("tags", "concert.wav", "--raw")
        self.assertEqual((listed["tags"], listed["kinds"]), (told["tags"], "LIST & ID3 & BEXT v1"))
        tags = {tag["name"]: tag.get("value", tag.get("values")) for tag in told["tags"]}
        expected = {"Title": "\u590f\u306e\u97f3\x1b[31m\u202e", "Artist": ["Ann", "Bob"],
                    "odd\nname:": "kept",
                    "Comment": "Caf\u00e9 \u201clive\u201d\r\nsecond\tline", "Engineer": "Eve",
                    "CodingHistory": "A=PCM,F=44100\r\nA=ANALOGUE", "TimeReference": "44100"}
        self.assertEqual({**tags, **expected}, tags)
        reserved = {item["name"]: item for item in listed["reserved"]}
        self.assertEqual(reserved["_mine"]["value"], "hidden")
        self.assertEqual(reserved["_riff_4"]["bytes"], 2004)
        self.assertEqual(reserved["_riff_4"]["hex"], b"cue ".hex() + "00" * 28)

        for arguments, lines in [
            (["info", "concert.wav"],
             ["  Tags", "    Title          \u590f\u306e\u97f3?[31m?", "    Artist         Ann",
              " " * 19 + "Bob", '    3  image/png, 58 bytes, front album cover, "a?b"',
              "  Chunks", "    ',  ''  4 bytes", "    2  image/png, 58 bytes, back album cover",
              '    1  image/jpeg, 3 KB, front album cover, "../../x"']),
            (["tags", "concert.wav"], ["  Title:          \u590f\u306e\u97f3?[31m?", "  odd?name::      kept",
                                       " " * 18 + "second line"]),
            (["tags", "--raw", "concert.wav"],
             [f"  {'_riff_1:':<24}  4 bytes  66 6d 74 20", f"  {'_mine:':<24}  hidden"]),
        ]:
            text = self.run_host(*arguments).stdout.decode()
            self.assertEqual([line for line in lines if line not in text.split("\n")], [], text)
            self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\u202e]")
        self.assertNotIn("_riff_", self.run_host("tags", "concert.wav").stdout.decode())

    def test_tags_on_a_terminal(self):
        self.put_tagged("in.wav", info_list(ICMT=b"ten chars " * 60 + b"x" * 100))
        for command, count in (("info", 8), ("tags", 21)):
            master, slave = pty.openpty()
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 50, 0, 0))
            self.run_host(command, "in.wav", stdout=slave)
            os.close(slave)
            text = b""
            try:
                while piece := os.read(master, 65536):
                    text += piece
            except OSError:  # how the end looks on Linux
                pass
            os.close(master)
            comment = re.search(r"Comment(.*\n(?: {11}.*\n)*)", text.decode().replace("\r", "")).group()
            lines = comment.splitlines()
            self.assertEqual((len(lines), max(map(len, lines)) <= 50), (count, True), text)
            self.assertEqual("more lines" in lines[-1], command == "info")

    def test_art(self):
        self.put_concert()
        names = ["concert.back-album-cover.png", "concert.front-album-cover-2.png",
                 "concert.front-album-cover.jpg", "concert.picture.bin"]
        (told,) = self.run_json("art", "concert.wav", "-o", "new/sub")
        self.assertEqual(sorted(os.listdir(self.folder / "new/sub")), names)
        self.assertEqual([picture["output"] for picture in told["pictures"]],
                         ["new/sub/" + names[i] for i in (2, 0, 1, 3)])
        self.assertEqual((self.folder / "new/sub" / names[2]).read_bytes(), JPEG)
        self.assertEqual(self.names(), ["concert.wav", "new"])
        self.run_host("art", "concert.wav")
        self.assertEqual(self.names(), sorted([*names, "concert.wav", "new"]))

        cover = self.folder / names[2]
        cover.write_bytes(b"precious")
        refused = self.run_host("art", "concert.wav", status=1)
        self.assertIn("exists already", refused.stderr)
        self.assertEqual(cover.read_bytes(), b"precious")
        self.run_host("art", "-fq", "concert.wav")
        self.assertEqual(cover.read_bytes(), JPEG)
        refused = self.run_host("art", "-f", "concert.wav", names[2], status=1)
        self.assertIn("is an input", refused.stderr)

        big = b"GIF89a" + samples(5 << 20)
        self.put_tagged("big.wav", id3(3, apic(8, "", big)))
        self.put_tagged("plain.wav", form=fmt(2, 1, 8000, 4, b""))
        (self.folder / "bad.wav").write_bytes(wave((b"data", samples(8))))
        (self.folder / "text.wav").write_bytes(b"no audio at all")
        files = ["plain.wav", "bad.wav", "text.wav", "nothing.wav", "big.wav"]
        done = self.run_host("art", *files, status=1)
        self.assertIn("wavehost: no pictures in plain.wav\n", done.stderr)
        self.assertRegex(done.stderr, r"(?m)^wavehost: bad\.wav: [^\n]+\nwavehost: text\.wav: ")
        self.assertEqual((self.folder / "big.artist.gif").read_bytes(), big)
        self.assertEqual(self.run_host("art", "plain.wav").stdout, b"")
        told = self.run_json("tags", *files, status=1)
        self.assertEqual([item["file"] for item in told], files)
        self.assertEqual(["error" in item for item in told], [False, True, True, True, False])
        self.assertIn(b"(no tags)", self.run_host("tags", "plain.wav").stdout)

    def test_usage(self):
        self.put_wave("in.wav")
        wrong = [[], ["info"], ["nothing"], ["info", "--bad", "in.wav"],
                 ["decode", "in.wav", "in.wav", "-o", "out.wav"], ["decode", "in.wav", "-o", ""],
                 ["decode", "in.wav", "--json", "-o", "-"], ["decode", "in.wav", "--format", "raw"],
                 ["decode", "in.wav", "-o", "x", "--format", "mp3"], ["formats", "--", "in.wav"],
                 ["tags"], ["art", "in.wav", "-o", ""], ["info", "--raw", "in.wav"]]
        times = "-1 1.5 1e3 1:60 1:60:00 1:2:3:4 1:2: 1.5:3 5m .5s s 99999999999999999999".split()
        for text in [*times, "", " 1"]:
            wrong.append(["decode", "in.wav", "--from=" + text])
        for arguments in wrong:
            with self.subTest(arguments=arguments):
                done = self.run_host(*arguments, status=2)
                self.assertEqual((done.stdout, self.names()), (b"", ["in.wav"]))
                self.assertTrue(done.stderr.startswith("wavehost: "), done.stderr)
        for arguments in (["--help"], ["decode", "--help"], ["--version"]):
            self.assertIn(b"wavehost", self.run_host(*arguments).stdout)
        for module in ("nothing.dll", "in.wav"):
            done = self.run_host("formats", "--module", module, status=1)
            self.assertIn(f"cannot load the codec module '{module}'", done.stderr)

    def test_formats(self):
        (told,) = self.run_json("formats")
        self.assertIn({"extension": ".wav", "name": "Wave"}, told["decodes"])
        self.assertIn("audio/wav", told["streaming"])
        self.assertLess(set(told["defaultProperties"]), set(told["properties"]))
        for option in told["tagOptions"]:
            self.assertGreater(len(option["choices"]), 1, option)
        self.assertIn(told["tagOptions"][-1]["setting"], self.run_host("formats").stdout.decode())

    @unittest.skipIf(sys.platform == "darwin", "file names are UTF-8 there")
    def test_name_that_is_not_utf8(self):
        name = "caf\u00e9 \udce9\udcff\udcc3.wav"
        self.put_wave(name)
        (told,) = self.run_json("info", name)
        self.assertEqual(told["file"], "caf\u00e9 \ufffd\ufffd\ufffd.wav")
        self.run_host("decode", name, "-o", "out/")
        self.assertEqual(os.listdir(self.folder / "out"), [name])

    @unittest.skipUnless("C_HOST" in os.environ, "needs the C host")
    def test_host_in_plain_c(self):
        self.put_wave("in.wav")
        command = [os.environ["C_HOST"], os.environ["WAVE_MODULE"], "in.wav"]
        self.assertEqual(subprocess.check_output(command, cwd=self.folder), samples(200000))

    def test_streams(self):
        self.put_wave("in.wav")
        done = self.run_host("decode", "in.wav", "-o", "-", "--report")
        self.assertEqual(done.stdout, samples(200000))
        self.assertIn("->->  [Open]", done.stderr)
        for arguments in (["formats"], ["info", "in.wav"], ["tags", "in.wav"],
                          ["decode", "in.wav", "-o", "-"]):
            reader, writer = os.pipe()
            os.close(reader)
            self.assertEqual(self.run_host(*arguments, status=1, stdout=writer).stderr, "")
            os.close(writer)

    def test_more_than_4_gib(self):
        data = 5 << 30
        frames = data // 4
        begin, end = b"RF64\xff\xff\xff\xffWAVEds64", b"data\xff\xff\xff\xff"
        form = b"fmt " + struct.pack("<I", len(FLOAT)) + FLOAT
        ds64 = struct.pack("<IQQQI", 28, 86 + data, data, frames, 0)
        with open(self.folder / "huge.wav", "wb") as file:
            file.write(begin + ds64 + form + end)
            file.truncate(file.tell() + data)
        command = [HOST, "decode", "-q", "huge.wav", "-o", "-", "--format", "wav"]
        with subprocess.Popen(command, cwd=self.folder, stdout=subprocess.PIPE) as host:
            header = host.stdout.read(94)
        self.assertEqual(host.returncode, 1)  # nobody reads on
        fact = b"fact" + struct.pack("<II", 4, frames)
        self.assertEqual(header, begin + ds64 + form + fact + end)

    def check_wave(self, output, sizes_known, audio):
        """A Wave file without other chunks than padding; the sizes in its header may be unknown."""
        self.assertEqual(output.endswith(audio), True)
        head = output[: len(output) - len(audio)]
        size = len(output) - 8 if sizes_known else 0xFFFFFFFF
        self.assertEqual(head[:12], b"RIFF" + struct.pack("<I", size) + b"WAVE")
        self.assertEqual(head[-32:], b"fmt " + struct.pack("<I", 16) + PCM16 + b"data" +
                         struct.pack("<I", len(audio) if sizes_known else 0xFFFFFFFF))
        self.assertIn(head[12:-32], (b"", b"JUNK" + struct.pack("<I", 28) + bytes(28)))

    @unittest.skipUnless(Path(HOST).with_name("mp3.dll").exists(), "needs the decoder of MPEG")
    def test_mpeg(self):
        form = fmt(0x55, 2, 44100, 0, struct.pack("<HIHHH", 1, 2, 417, 1, 0))
        form = form[:8] + struct.pack("<IH", 16000, 1) + form[14:]
        (self.folder / "in.wav").write_bytes(wave((b"fmt ", form), (b"data", SILENT_FRAME * 200)))
        (told,) = self.run_json("info", "in.wav")
        expected = dict(format="MPEG-1 Layer 3", channels=2, sampleRate=44100, bitRate=128000,
                        decodable=True, decoded=dict(format="PCM", bits=16))
        self.assertEqual(({**told, **expected}, "bits" in told, "frames" in told), (told, False, False))
        text = self.run_host("info", "in.wav").stdout.decode()
        self.assertRegex(text, r"Format +MPEG-1 Layer 3\n(.|\n)*Decoded to +PCM, 16 bits\n")

        cases = [([], 200 * 1152), (["--from", "1s", "--to", "99999"], 99999 - 44100), (["--to", "0"], 0),
                 (["--from", "1:00"], 0)]
        for arguments, frames in cases:
            with self.subTest(arguments=arguments):
                self.run_host("decode", "in.wav", "-fo", "out.wav", *arguments)
                self.check_wave((self.folder / "out.wav").read_bytes(), True, bytes(4 * frames))
                piped = self.run_host("decode", "in.wav", "-o", "-", "--format", "wav", *arguments).stdout
                self.check_wave(piped, False, bytes(4 * frames))


class AddressTest(HostCase):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            body = wave((b"fmt ", PCM16), info_list(INAM=b"Far"), id3(3, apic(3, "", JPEG)),
                        (b"data", samples(200000)))
            if self.path in ("/live", "/live64"):  # made while it is sent
                body = body[:-200004] + b"\xff" * 4 + body[-200000:]
            if self.path == "/live64":
                body = b"RF64" + b"\xff" * 4 + body[8:]
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
            told = self.run_json(command, "near.wav", far, self.server + "none", "near.wav", status=1)
            self.assertEqual(["error" in item for item in told], [False, False, True, False])
            self.assertIn("no such file there", told[2]["error"])
        self.assertEqual((self.folder / "far.front-album-cover.jpg").read_bytes(), JPEG)
        (info,) = self.run_json("info", far)
        self.assertIn({"name": "Title", "value": "Far"}, info["tags"])
        self.assertEqual((info["frames"], "chunks" in info), (50000, False))
        self.assertEqual(self.run_host("decode", far, "-o", "-").stdout, samples(200000))
        piece = self.run_host("decode", far, "-o", "-", "--from", "0.5s", "--to", "40000").stdout
        self.assertEqual(piece, samples(160000)[4 * 22050 :])

        for live in ("live", "live64"):
            (info,) = self.run_json("info", self.server + live)
            self.assertEqual({"bytes", "frames", "lengthMs"} & set(info), set())
            piped = self.run_host("decode", self.server + live, "-o", "-", "--format", "wav").stdout
            self.assertEqual((piped[:8], piped[44:]), (b"RIFF" + b"\xff" * 4, samples(200000)))

        before = self.names()
        broken = self.run_host("decode", self.server + "broken", "-o", "new.wav", status=1)
        self.assertIn("the connection stopped", broken.stderr)
        unreachable = self.run_host("info", "http://127.0.0.1:1/a.wav", status=1)
        self.assertIn("no connection", unreachable.stderr)
        self.assertEqual(self.names(), before)

    def test_names_of_outputs(self):
        cases = [("a/b/take.wav?x=/y.wav#/z.wav", "take"), ("caf%C3%A9%20%31%2.flac", "caf\u00e9 1%2"),
                 ("", "audio"), ("folder/", "audio"), ("?/x.wav", "audio"), ("..%2f..%5Cx.wav", "_._.._x"),
                 (".profile", "_profile"), ("..", "_"), ("%00%1b%ff%e2%80%ae.wav", "__\ufffd_"),
                 ("%C3%A9" * 300, "\u00e9" * 80)]
        for path, stem in cases:
            with self.subTest(path=path):
                self.run_host("decode", self.server + path, "-fo", "out/")
                self.assertEqual(os.listdir(self.folder / "out"), [stem + ".wav"])
                (self.folder / "out" / (stem + ".wav")).unlink()

    def test_writing_is_refused(self):
        self.put_tagged("near.wav", info_list(INAM=b"Near"))
        before = (self.folder / "near.wav").read_bytes()
        for arguments in (["tag", "near.wav", self.server + "a.wav?b=c", "Title=x"], ["untag", "-y", self.server],
                          ["untag", "near.wav", "HTTP://x/a", "Title"], ["tag", "Title=x", "--", self.server]):
            done = self.run_host(*arguments, status=2)
            self.assertIn("not to an address", done.stderr)
        self.assertEqual((self.folder / "near.wav").read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
