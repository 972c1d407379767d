#!/usr/bin/env python3
"""mp3.dll, which MP3_MODULE names, gives the samples that the `mpg123` program gives for the same bytes,
whatever encoder made them and however they are cut into blocks. A tool that is not installed is skipped."""
import ctypes
import itertools
import math
import os
import random
import shutil
import struct
import subprocess
import tempfile
import unittest
import wave
from pathlib import Path

from codec_module import PACKETS, ROOT, AudioBlock, Decoder, OpenRecord

MODULE = os.environ.get("MP3_MODULE", str(ROOT / "build/release/bin/mp3.dll"))
RATES = (8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000)


def decode(data, most, seed=0):
    """(rate, channels) and the samples of data handed in as blocks of up to `most` bytes."""
    sizes, source = random.Random(seed), ctypes.create_string_buffer(data, len(data))
    found, samples, at = None, [], 0
    with Decoder(MODULE) as decoder:
        assert decoder.module.Open(decoder.instance, ctypes.byref(OpenRecord(flags=PACKETS))) == 1
        while at < len(data):
            size = min(sizes.randint(1, most), len(data) - at)
            block = AudioBlock(data=ctypes.addressof(source) + at, size=size,
                               last=at + size == len(data))
            assert decoder.module.DecodeBlock(decoder.instance, ctypes.byref(block)) == 1, \
                decoder.error_lines()
            at += size
            if block.size:
                samples.append(ctypes.string_at(block.data, block.size))
                _, channels, rate = struct.unpack_from("<HHI", bytes(block.format))
                assert found in (None, (rate, channels)), "the format changes"
                found = rate, channels
    return found, b"".join(samples)


def run(*command):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=60, check=False)
    assert done.returncode == 0, (command, done.stderr)
    return done.stdout


def music(path, rate, channels, seconds):
    """A Wave file of a gliding tone, its overtone on the other side, and a little noise."""
    noise, samples = random.Random(rate), []
    for i in range(int(rate * seconds)):
        turn = 2 * math.pi * i / rate * (200 + 300 * i / rate)
        for side in range(channels):
            samples.append(int(14000 * math.sin(turn * (1 + side)) + noise.randint(-1500, 1500)))
    with wave.open(str(path), "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(struct.pack(f"<{len(samples)}h", *samples))


def layer1(frames, seed=1):
    """Layer 1 frames, stereo, 44.1 kHz, 448 kbit/s: four bits a sample, the samples are noise."""
    noise, head = random.Random(seed), b"\xff\xff\xe0\x00" + b"\x33" * 32
    return b"".join(head + noise.randbytes(448) for _ in range(frames))


@unittest.skipUnless(shutil.which("mpg123"), "mpg123 is not here")
class PeerTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def check(self, data, channels=None, rate=None, options=()):
        """In blocks of 64 KiB and in small ones the samples are those of mpg123."""
        path = self.folder / "stream.mpeg"
        path.write_bytes(data)
        wanted = run("mpg123", "-q", "-s", *options, path)
        self.assertTrue(wanted)
        for most in (65536, 3000, 40):
            found, samples = decode(data, most, seed=most)
            self.assertEqual(len(samples), len(wanted))
            self.assertTrue(samples == wanted, f"samples differ in blocks of up to {most} bytes")
            if rate:
                self.assertEqual(found, (rate, channels))

    def encoded(self, rate, channels, command, seconds=0.7):
        """What an encoder makes; "IN" and "OUT" stand for the files."""
        if not shutil.which(command[0]):
            self.skipTest(f"{command[0]} is not here")
        source, target = self.folder / f"{rate}.{channels}.wav", self.folder / "out.mp3"
        if not source.exists():
            music(source, rate, channels, seconds)
        run(*[{"IN": source, "OUT": target}.get(part, part) for part in command])
        return target.read_bytes()

    def test_lame(self):
        controls = itertools.cycle((["-b", "32"], ["-V", "2"], ["--abr", "56"], ["-V", "9", "-p"],
                                    ["-b", "64", "-t"]))
        for rate, mode in itertools.product(RATES, ("m", "j", "s")):
            channels = 1 if mode == "m" else 2
            options = ["-m", mode, *next(controls), "--resample", str(rate / 1000)]
            with self.subTest(rate=rate, options=options):
                self.check(self.encoded(rate, channels, ["lame", "--quiet", *options, "IN", "OUT"]),
                           channels, rate)

    def test_lame_free_format(self):
        self.check(self.encoded(44100, 2, ["lame", "--quiet", "--freeformat", "-b", "400",
                                           "IN", "OUT"]))

    def test_twolame(self):
        for rate, mode in itertools.product((16000, 22050, 24000, 32000, 44100, 48000), "mjs"):
            with self.subTest(rate=rate, mode=mode):
                channels = 1 if mode == "m" else 2
                protect = ["-p"] if rate > 30000 else []
                command = ["twolame", "--quiet", "-m", mode, "-b", "96", *protect, "IN", "OUT"]
                self.check(self.encoded(rate, channels, command), channels, rate)

    def test_ffmpeg(self):
        for codec, extra in (("mp2", ["-f", "mp2"]), ("libmp3lame", ["-id3v2_version", "3"]),
                             ("libmp3lame", ["-write_xing", "0", "-write_id3v1", "1"])):
            with self.subTest(codec=codec, extra=extra):
                self.check(self.encoded(44100, 2, [
                    "ffmpeg", "-v", "error", "-y", "-i", "IN", "-c:a", codec, "-metadata",
                    "title=" + "T" * 5000, *extra, "OUT"]), 2, 44100)

    def test_layer1(self):
        self.check(layer1(40), 2, 44100)

    def test_damaged_streams(self):
        """Garbage, lost bytes, flipped bits: as mpg123 conceals them when it keeps one format where
        bits make a frame look like another kind."""
        data = self.encoded(32000, 2, ["lame", "--quiet", "-b", "96", "-t", "--resample", "32",
                                       "IN", "OUT"], seconds=3)
        options = ("-r", "32000", "--stereo", "--resample", "ntom")
        for seed in range(30):
            noise, broken = random.Random(seed), bytearray(data)
            for _ in range(noise.randint(0, 20)):
                broken[noise.randrange(2000, len(broken))] ^= 1 << noise.randrange(8)
            at = noise.randrange(2000, len(broken) - 700)
            if seed % 3 == 0:
                del broken[at:at + noise.randint(1, 700)]
            if seed % 3 == 1:
                broken[at:at] = bytes(noise.randint(1, 600))
            if seed % 2:
                broken[:0] = bytes(noise.randrange(255) for _ in range(noise.randint(1, 5000)))
            with self.subTest(seed=seed):
                self.check(bytes(broken), 2, 32000, options)


if __name__ == "__main__":
    unittest.main()
